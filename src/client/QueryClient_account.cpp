// Translators of the logon, password, account and balance messages. They run on
// the transport's receive thread; each public record lives on the stack for the
// length of its callback.

#include <cstring>

#include "client/QueryClient.h"
#include "client/record_copy.h"
#include "client/response_shapes.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"

using record_copy::account_copy;
using namespace response_shapes;

namespace {

const ZUL_QueryErrorId NO_ERROR_ID = 0;

// The balance figures that the account list, the BP answer and the BP detail all
// carry, each at offsets of its own.
template <class Public, class Wire>
void fill_balance(Public& r, const Wire& m) {
    account_copy(r.m_Account, m.m_account_id);
    r.m_InitialBp = m.m_initial_bp;
    r.m_AvailableBp = m.m_available_bp;
    r.m_Margin = m.m_margin;
    r.m_FrozenMargin = m.m_frozen_margin;
    r.m_CommissionFee = m.m_commission_fee;
    r.m_FrozenCommission = m.m_frozen_commission;
}

// What the BP answer and the BP detail add to the balance.
template <class Public, class Wire>
void fill_bp_totals(Public& r, const Wire& m) {
    fill_balance(r, m);
    r.m_OvnInitMargin = m.m_ovn_init_margin;
    r.m_TotalLiquidPL = m.m_total_liquid_pl;
    r.m_TotalMarketPL = m.m_total_market_pl;
}

void fill_account_info(ZUL_AccountInfo& r, const query_user_account_resp& m) {
    fill_balance(r, m);
    r.m_Previlege = static_cast<ZUL_Previlege>(m.m_previlege);
    r.m_AccountIdx = m.m_account_idx;
}

// The BP answer and the pushed BP report share this layout and this mapping.
void fill_bp(ZUL_AccountBP& r, const query_account_bp_resp& m) {
    fill_bp_totals(r, m);
    r.m_AccountIdx = m.m_account_idx;
}

// Both generations' layouts are read at once, so no check of the generation is
// needed: byte 164 is the hv27 push mode (reserved in the other form), byte 173 the
// other form's account index (the first reserved byte of hv27, which carries it too).
void fill_bp_detail(ZUL_AccountBPDetail& r, const query_account_bp_detail_resp& m) {
    const hv27_query_account_bp_detail_resp& hv27 =
        reinterpret_cast<const hv27_query_account_bp_detail_resp&>(m);
    fill_bp_totals(r, m);
    r.m_InitialEquity = m.m_initial_equity;
    r.m_OptPremiumBalance = m.m_opt_premium_balance;
    r.m_OptFrozenPremium = m.m_opt_frozen_premium;
    r.m_CommDeclarationFee = m.m_comm_declaration_fee;
    r.m_StepDeclarationFee = m.m_step_declaration_fee;
    r.m_CashInTotal = m.m_cash_in_total;
    r.m_CashOutTotal = m.m_cash_out_total;
    r.m_RiskRate = m.m_risk_rate;
    r.m_PushMode = static_cast<unsigned char>(hv27.m_push_mode);
    r.m_AmountCount = static_cast<ZUL_INT8>(m.m_amount_count);
    r.m_AccountIdx = m.m_account_idx;
}

void fill_cash_inout(ZUL_AccountCashInout& r, const account_cash_inout_notify& m) {
    account_copy(r.m_Account, m.m_account_id);
    r.m_AvailableBp = m.m_available_bp;
    r.m_CashInOut = m.m_cash_in_out;
    r.m_CashInTotal = m.m_cash_in_total;
    r.m_CashOutTotal = m.m_cash_out_total;
}

}  // namespace

void CQueryClient::ProcQueryPortLogonRespMsg(query_logon_msg_resp* pMsg) {
    // Byte 51 tells the generation, for a refused logon too, before anything else.
    const hv27_query_logon_msg_resp* hv27 =
        reinterpret_cast<const hv27_query_logon_msg_resp*>(pMsg);
    m_bHv27Server = hv27->m_version_flag == HV27_VERSION_FLAG;

    ZUL_QueryLogonResponse logon;
    memset(&logon, 0, sizeof(logon));
    logon.m_Result = static_cast<ZUL_LogonResult>(pMsg->Result);
    logon.m_UserId = static_cast<ZUL_UserID>(pMsg->m_user_id);
    logon.m_UserTokenCancelEnable = pMsg->m_user_token_cancel_enable;
    logon.m_UserSelfexecCheckEnable = pMsg->m_user_selfexec_check_enable;

    if (pMsg->Result != 0) {
        fire_event(m_ptr_fun_logon_event, &logon);
        m_bQueryPortLogon = false;
        return;
    }
    const bool current = on_logon_accepted(pMsg->m_user_id);
    // Logged on before the callback: it may send queries at once.
    fire_event(m_ptr_fun_logon_event, &logon);
    after_logon_accepted(current);
}

void CQueryClient::ProcChangePwdRespMsg(change_password_resp* pMsg) {
    fire_event(m_ptr_fun_change_pwd_event,
               static_cast<ZUL_ChangePasswordResult>(pMsg->m_result_code));
}

void CQueryClient::ProcQueryUserAccountRespMsg(query_user_account_resp* pMsg) {
    stream_message(*this, m_ptr_fun_qry_act, *pMsg, fill_account_info);
}

void CQueryClient::ProcQueryAccountBpResp(query_account_bp_resp* pMsg) {
    account_message(*this, m_ptr_fun_act_bp, *pMsg, fill_bp, NO_ERROR_ID);
}

void CQueryClient::ProcQueryAccountBpDetailResp(query_account_bp_detail_resp* pMsg) {
    account_message(*this, m_ptr_fun_act_bp_detail, *pMsg, fill_bp_detail, NO_ERROR_ID);
}

// Pushed without a request; its callback has no error id.
void CQueryClient::ProcAccountBpReport(report_account_bp* pMsg) {
    const query_account_bp_resp& bp = *pMsg;
    account_message(*this, m_ptr_fun_report_act_bp_event, bp, fill_bp);
}

// Serves the server's own notices and the answers to a cash query alike: the two
// can't be told apart on the wire.
void CQueryClient::ProcAccountCashInOutNotify(account_cash_inout_notify* pMsg) {
    account_message(*this, m_ptr_fun_act_cash_inout_ntf_event, *pMsg, fill_cash_inout, NO_ERROR_ID);
}
