// The plain face's callbacks of a session: each one finds its SessionCore through the
// client's user parameter and hands over what arrived. They run on the library's threads.

#include "session/session_core.h"

namespace zulquery {
namespace detail {

namespace {

SessionCore* core_of(void* handle) {
    return static_cast<SessionCore*>(KQZUL_GetQueryUserParam(handle));
}

template <Rec K, class R>
void list_cb(void* h, R* record, bool finish, ZUL_QueryErrorId error) {
    core_of(h)->on_record(K, record, sizeof(R), finish ? Part::closing : Part::data, error);
}

template <Rec K, class R>
void account_list_cb(void* h, const char*, R* record, bool finish, ZUL_QueryErrorId error) {
    list_cb<K>(h, record, finish, error);
}

template <Rec K, class R>
void single_cb(void* h, R* record, ZUL_QueryErrorId error) {
    core_of(h)->on_record(K, record, sizeof(R), Part::whole, error);
}

template <Rec K, class R>
void account_single_cb(void* h, const char*, R* record, ZUL_QueryErrorId error) {
    single_cb<K>(h, record, error);
}

void cash_cb(void* h, const char*, ZUL_AccountCashInout* record, ZUL_QueryErrorId error) {
    core_of(h)->on_cash(record, error);
}

void bp_report_cb(void* h, const char*, ZUL_AccountBP* record) {
    core_of(h)->on_bp_report(record);
}

void connection_cb(void* h, ERR_NO code, const char*) {
    core_of(h)->on_connection(code);
}

void logon_cb(void* h, ZUL_QueryLogonResponse* answer) {
    if (answer != nullptr)
        core_of(h)->on_logon(*answer);
}

void password_cb(void* h, ZUL_ChangePasswordResult result) {
    const int code = result;
    core_of(h)->on_record(Rec::password, &code, sizeof(code), Part::whole, 0);
}

}  // namespace

void register_callbacks(void* h) {
    KQZUL_SetQueryConnectionEvent(h, connection_cb);
    KQZUL_SetQueryUserLogonEvent(h, logon_cb);
    KQZUL_SetQueryChangePasswordEvent(h, password_cb);
    KQZUL_SetQueryUserAccountEvent(h, list_cb<Rec::account, ZUL_AccountInfo>);
    KQZUL_SetQueryAccountPositionEvent(h, account_list_cb<Rec::position, ZUL_AccountPosition>);
    KQZUL_SetQueryAccountOptionPositionEvent(
        h, account_list_cb<Rec::option_position, ZUL_AccountOptionPosition>);
    KQZUL_SetQueryAccountBPEvent(h, account_single_cb<Rec::bp, ZUL_AccountBP>);
    KQZUL_SetQueryAccountBPDetailEvent(h, account_single_cb<Rec::bp_detail, ZUL_AccountBPDetail>);
    KQZUL_ReportAccountBPEvent(h, bp_report_cb);
    KQZUL_NotifyAccountCashInOutEvent(h, cash_cb);
    KQZUL_SetQuerySymbolListEvent(h, list_cb<Rec::symbol, ZUL_SymbolField>);
    KQZUL_SetQueryAccountTradeMarginEvent(h, account_list_cb<Rec::margin, ZUL_AccountMargin>);
    KQZUL_SetQueryAccountTradeFeeEvent(h, account_list_cb<Rec::fee, ZUL_AccountFee>);
    KQZUL_SetQueryTradeOrderEvent(h, account_list_cb<Rec::order, ZUL_QueryAccountOrder>);
    KQZUL_SetQueryTradeArbiOrderEvent(h,
                                      account_list_cb<Rec::arbi_order, ZUL_QueryAccountArbiOrder>);
    KQZUL_SetQueryTradeOrderExecEvent(h, account_list_cb<Rec::execution, ZUL_QueryOrderExecution>);
    KQZUL_SetQueryTradeOrderExecEventEx(
        h, account_list_cb<Rec::execution_ex, ZUL_QueryOrderExecutionEx>);
    KQZUL_SetQueryTradeQuoteEvent(h, account_list_cb<Rec::quote, ZUL_QueryAccountQuote>);
    KQZUL_SetQueryComboPositionEvent(
        h, account_list_cb<Rec::combo_position, ZUL_AccountComboPosition>);
    KQZUL_SetQueryComboRuleEvent(h, list_cb<Rec::combo_rule, ZUL_AccountComboRule>);
    KQZUL_SetQueryAccountRiskDataEvent(h, single_cb<Rec::risk, ZUL_AccountRiskData>);
    KQZUL_SetQueryAccountSymbolRiskDataEvent(
        h, single_cb<Rec::symbol_risk, ZUL_AccountSymbolRiskData>);
}

}  // namespace detail
}  // namespace zulquery
