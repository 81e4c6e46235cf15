// Translators of the futures, option and combination positions. All three are
// streams whose callbacks take the wire's account text, the closing record's too;
// they run on the transport's receive thread.

#include <cstdlib>
#include <cstring>

#include "client/QueryClient.h"
#include "client/record_copy.h"
#include "client/response_shapes.h"
#include "protocol/msg_define.h"

using namespace record_copy;
using namespace response_shapes;

namespace {

// The decimal number a text field begins with, read as atoi reads it. A field that
// its digits fill has no terminator, so the text is read from a terminated copy and
// never runs into the next field. Nine characters can't overflow an int.
template <size_t N>
unsigned int leading_number(const char (&field)[N]) {
    char text[N + 1];
    memcpy(text, field, N);
    text[N] = '\0';
    return static_cast<unsigned int>(atoi(text));
}

void fill_fut_position(ZUL_AccountPosition& r, const query_account_fut_position_resp& m) {
    account_copy(r.m_ActId, m.m_account_id);
    forced_end(r.m_Symbol, m.m_symbol);
    r.m_PosiDirection = static_cast<ZUL_PosiDirection>(m.m_posi_direction);
    r.m_InitOvnQty = m.m_init_ovn_qty;
    r.m_OvnQty = m.m_ovn_qty;
    r.m_FrozenOvnQty = m.m_frozen_ovn_qty;
    r.m_TodayQty = m.m_today_qty;
    r.m_FrozenTodayQty = m.m_frozen_today_qty;
    r.m_OvnMargin = m.m_ovn_occupied_margin;
    r.m_TodayMargin = m.m_today_occupied_margin;
    r.m_PositionCost = m.m_pos_cost;
    r.m_HedgeFlag = m.m_hedge_flag;
}

// The wire holds today's quantities before the overnight ones, the public record the
// other way round: names decide, not positions.
void fill_opt_position(ZUL_AccountOptionPosition& r, const query_account_opt_position_resp& m) {
    limited_text(r.m_ActId, m.account_id);
    limited_text(r.m_Symbol, m.full_symbol);
    r.m_PosiDirection = static_cast<ZUL_PosiDirection>(m.pos_dir);
    limited_text(r.m_UnderlyingSymbol, m.underlying_symbol);
    r.m_CallPut = m.call_put;
    r.m_StrikePrice = m.strike_price;
    r.m_ExpireDate = leading_number(m.expire_date);
    r.m_InitOvnQty = m.init_ovn_qty;
    r.m_CurOvnQty = m.cur_ovn_qty;
    r.m_CurTodayQty = m.cur_today_qty;
    r.m_CoverOvnLockedQty = m.cover_ovn_locked_qty;
    r.m_CoverTodayLockedQty = m.cover_today_locked_qty;
    r.m_ExecPendingQty = m.exec_pending_qty;
    r.m_ExecAppliedQty = m.exec_applied_qty;
    r.m_CxlExecPendingQty = m.cxl_exec_pending_qty;
    r.m_LiquidPl = m.liquid_pl;
    r.m_AvgPrice = m.avg_price;
    r.m_TotalCommissionFee = m.total_commission_fee;
    r.m_HedgeFlag = m.hedge_flag;
}

void fill_combo_position(ZUL_AccountComboPosition& r, const query_combo_position_resp& m) {
    account_copy(r.m_Account, m.m_account_id);
    r.m_ComboType = m.m_combo_type;
    forced_end(r.m_ComboSymbol, m.m_combo_symbol);
    forced_end(r.m_FirstSymbol, m.m_first_symbol);
    r.m_FirstDirection = m.m_first_direction;
    forced_end(r.m_SecondSymbol, m.m_second_symbol);
    r.m_SecondDirection = m.m_second_direction;
    r.m_Qty = m.m_qty;
    r.m_InitQty = m.m_init_qty;
    r.m_ComboMargin = m.m_combo_margin;
    r.m_ReturnMargin = m.m_return_margin;
    r.m_HedgeFlag = m.m_hedge_flag;
}

}  // namespace

void CQueryClient::ProcQueryAccountFutPositionRespMsg(query_account_fut_position_resp* pMsg) {
    account_stream_message(*this, m_ptr_fun_act_position, *pMsg, fill_fut_position);
}

void CQueryClient::ProcQueryAccountOptionPositionRespMsg(query_account_opt_position_resp* pMsg) {
    account_stream_message(*this, m_ptr_fun_act_opt_position, *pMsg, fill_opt_position);
}

void CQueryClient::ProcQueryAccountComboPositionRespMsg(query_combo_position_resp* pMsg) {
    account_stream_message(*this, m_ptr_combo_position_event, *pMsg, fill_combo_position);
}
