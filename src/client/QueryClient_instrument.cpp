// Translators of the symbol list, the combination rules and the margin and fee
// rates. All four are streams; they run on the transport's receive thread, and each
// public record lives on the stack for the length of its callback.

#include "client/QueryClient.h"
#include "client/record_copy.h"
#include "client/response_shapes.h"
#include "protocol/msg_define.h"

using namespace record_copy;
using namespace response_shapes;

namespace {

// A fee's direction 1 is passed on; every other value the server sends reaches the
// caller as 5.
const ZUL_PosiDirection FEE_DIRECTION_KEPT = 1;
const ZUL_PosiDirection FEE_DIRECTION_OTHER = 5;

// The option reading of the record's two unions; the fields of the other reading
// stay zero.
void fill_option_symbol(ZUL_SymbolField& r, const query_symbol_resp& m) {
    whole_field(r.m_UnderlyingSymbol, m.m_underlying_fut_symbol);
    r.m_StrikePrice = m.m_strike_price;
    r.m_CallPut = m.m_call_put;
}

void fill_future_symbol(ZUL_SymbolField& r, const query_symbol_resp& m) {
    bounded_text(r.m_SymbolName, m.m_instrument_name);
    r.m_StartDelivDate = m.m_start_deliv_date;
    r.m_EndDelivDate = m.m_end_deliv_date;
}

void fill_symbol(ZUL_SymbolField& r, const query_symbol_resp& m) {
    r.m_SecType = m.m_instrument_type;
    bounded_text(r.m_Symbol, m.m_symbol);
    r.m_ExchangeID = m.m_exchange_id;
    forced_end(r.m_ProdID, m.m_product_id);
    r.m_DeliveryYear = m.m_delivery_year;
    r.m_DeliveryMonth = m.m_delivery_month;
    r.m_MaxMarketOrderVolume = m.m_max_market_order_volume;
    r.m_MinMarketOrderVolume = m.m_min_market_order_volume;
    r.m_MaxLimitOrderVolume = m.m_max_limit_order_volume;
    r.m_MinLimitOrderVolume = m.m_min_limit_order_volume;
    r.m_VolumeMultiple = m.m_volume_multiple;
    r.m_PriceTick = m.m_price_tick;
    r.m_CreateDate = m.m_create_date;
    r.m_OpenDate = m.m_open_date;
    r.m_ExpireDate = m.m_expire_date;
    r.m_InstLifePhase = m.m_inst_life_phase;
    r.m_IsTrading = m.m_is_trading;
    r.m_SymbolIdx = m.m_symbol_idx;
    if (m.m_instrument_type == SEC_TYPE_OPTION)
        fill_option_symbol(r, m);
    else
        fill_future_symbol(r, m);
}

void fill_combo_rule(ZUL_AccountComboRule& r, const query_combo_rule_resp& m) {
    r.m_RuleProdType = m.m_rule_prod_type;
    bounded_text(r.m_Trading_date, m.m_trading_date);
    r.m_ComboType = m.m_combo_type;
    r.m_Priority = m.m_priority;
    r.m_HedgeFlag = m.m_hedge_flag;
    r.m_ComboMargin = m.m_combo_margin;
    r.m_InstrId = m.m_instr_id;
    bounded_text(r.m_ComboSymbol, m.m_combo_symbol);
    bounded_text(r.m_FirstSymbol, m.m_combo_leg1);
    r.m_FirstDirection = m.m_direction_leg1;
    r.m_FirstRegion = m.m_region_leg1;
    bounded_text(r.m_SecondSymbol, m.m_combo_leg2);
    r.m_SecondDirection = m.m_direction_leg2;
    r.m_SecondRegion = m.m_region_leg2;
}

// What the margin and fee rates have in common; their symbols differ in form.
template <class Public, class Wire>
void fill_rate_head(Public& r, const Wire& m) {
    r.m_HedgeFlag = m.m_hedge_flag;
    r.m_ExchangeID = m.m_exchange_id;
    forced_end(r.m_ProdID, m.m_prod_id);
}

void fill_margin(ZUL_AccountMargin& r, const query_account_margin_resp& m) {
    fill_rate_head(r, m);
    // The margin symbol keeps all 20 bytes, terminated or not.
    whole_field(r.m_Symbol, m.m_symbol);
    r.m_LongMarginRatio = m.m_long_margin_ratio;
    r.m_ShortMarginRatio = m.m_short_margin_ratio;
}

void fill_fee(ZUL_AccountFee& r, const query_account_fee_resp& m) {
    fill_rate_head(r, m);
    forced_end(r.m_Symbol, m.m_symbol);
    r.m_OpenRatioByMoney = m.m_open_ratio_by_money;
    r.m_OpenRatioByVolume = m.m_open_ratio_by_volume;
    r.m_CloseYesterdayRatioByMoney = m.m_close_yesterday_ratio_by_money;
    r.m_CloseYesterdayRatioByVolume = m.m_close_yesterday_ratio_by_volume;
    r.m_CloseTodayRatioByMoney = m.m_close_today_ratio_by_money;
    r.m_CloseTodayRatioByVolume = m.m_close_today_ratio_by_volume;
    r.m_PositionDir = m.m_pos_dir == FEE_DIRECTION_KEPT ? FEE_DIRECTION_KEPT : FEE_DIRECTION_OTHER;
}

}  // namespace

void CQueryClient::ProcQuerySymbolRespMsg(query_symbol_resp* pMsg) {
    stream_message(*this, m_ptr_query_symbol_event, *pMsg, fill_symbol);
}

void CQueryClient::ProcQueryComboRuleRespMsg(query_combo_rule_resp* pMsg) {
    stream_message(*this, m_ptr_combo_rule_event, *pMsg, fill_combo_rule);
}

void CQueryClient::ProcQueryAccountMarginRespMsg(query_account_margin_resp* pMsg) {
    account_stream_message(*this, m_ptr_trade_margin_event, *pMsg, fill_margin);
}

void CQueryClient::ProcQueryAccountFeeRespMsg(query_account_fee_resp* pMsg) {
    account_stream_message(*this, m_ptr_trade_fee_evnet, *pMsg, fill_fee);
}
