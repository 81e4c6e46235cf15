// Each registration function fills its own slot. Every callback below is a
// distinct function, so a function that stores into the wrong slot fails.

#include <gtest/gtest.h>

#include "client/QueryClient.h"
#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"
#include "support/scratch_dir.h"

using namespace zul_test;

namespace {

void on_conn(void*, ERR_NO, const char*) {}
void on_logon(void*, ZUL_QueryLogonResponse*) {}
void on_change_pwd(void*, ZUL_ChangePasswordResult) {}
void on_account(void*, ZUL_AccountInfo*, bool, ZUL_QueryErrorId) {}
void on_position(void*, const char*, ZUL_AccountPosition*, bool, ZUL_QueryErrorId) {}
void on_opt_position(void*, const char*, ZUL_AccountOptionPosition*, bool, ZUL_QueryErrorId) {}
void on_bp(void*, const char*, ZUL_AccountBP*, ZUL_QueryErrorId) {}
void on_bp_detail(void*, const char*, ZUL_AccountBPDetail*, ZUL_QueryErrorId) {}
void on_bp_report(void*, const char*, ZUL_AccountBP*) {}
void on_cash(void*, const char*, ZUL_AccountCashInout*, ZUL_QueryErrorId) {}
void on_risk(void*, ZUL_AccountRiskData*, ZUL_QueryErrorId) {}
void on_symbol_risk(void*, ZUL_AccountSymbolRiskData*, ZUL_QueryErrorId) {}
void on_symbol(void*, ZUL_SymbolField*, bool, ZUL_QueryErrorId) {}
void on_margin(void*, const char*, ZUL_AccountMargin*, bool, ZUL_QueryErrorId) {}
void on_fee(void*, const char*, ZUL_AccountFee*, bool, ZUL_QueryErrorId) {}
void on_order(void*, const char*, ZUL_QueryAccountOrder*, bool, ZUL_QueryErrorId) {}
void on_arbi_order(void*, const char*, ZUL_QueryAccountArbiOrder*, bool, ZUL_QueryErrorId) {}
void on_exec(void*, const char*, ZUL_QueryOrderExecution*, bool, ZUL_QueryErrorId) {}
void on_exec_ex(void*, const char*, ZUL_QueryOrderExecutionEx*, bool, ZUL_QueryErrorId) {}
void on_quote(void*, const char*, ZUL_QueryAccountQuote*, bool, ZUL_QueryErrorId) {}
void on_combo_position(void*, const char*, ZUL_AccountComboPosition*, bool, ZUL_QueryErrorId) {}
void on_combo_rule(void*, ZUL_AccountComboRule*, bool, ZUL_QueryErrorId) {}

// A second account callback, to see that registering again replaces.
void on_account_again(void*, ZUL_AccountInfo*, bool, ZUL_QueryErrorId) {}

// Sets every slot through its own function, to its callback above or to null;
// gives how many of the functions returned 0.
int set_all(void* h, bool fill) {
    auto pick = [fill](auto fn) { return fill ? fn : nullptr; };
    int ok = 0;
    ok += KQZUL_SetQueryConnectionEvent(h, pick(on_conn)) == 0;
    ok += KQZUL_SetQueryUserLogonEvent(h, pick(on_logon)) == 0;
    ok += KQZUL_SetQueryChangePasswordEvent(h, pick(on_change_pwd)) == 0;
    ok += KQZUL_SetQueryUserAccountEvent(h, pick(on_account)) == 0;
    ok += KQZUL_SetQueryAccountPositionEvent(h, pick(on_position)) == 0;
    ok += KQZUL_SetQueryAccountOptionPositionEvent(h, pick(on_opt_position)) == 0;
    ok += KQZUL_SetQueryAccountBPEvent(h, pick(on_bp)) == 0;
    ok += KQZUL_SetQueryAccountBPDetailEvent(h, pick(on_bp_detail)) == 0;
    ok += KQZUL_ReportAccountBPEvent(h, pick(on_bp_report)) == 0;
    ok += KQZUL_NotifyAccountCashInOutEvent(h, pick(on_cash)) == 0;
    ok += KQZUL_SetQueryAccountRiskDataEvent(h, pick(on_risk)) == 0;
    ok += KQZUL_SetQueryAccountSymbolRiskDataEvent(h, pick(on_symbol_risk)) == 0;
    ok += KQZUL_SetQuerySymbolListEvent(h, pick(on_symbol)) == 0;
    ok += KQZUL_SetQueryAccountTradeMarginEvent(h, pick(on_margin)) == 0;
    ok += KQZUL_SetQueryAccountTradeFeeEvent(h, pick(on_fee)) == 0;
    ok += KQZUL_SetQueryTradeOrderEvent(h, pick(on_order)) == 0;
    ok += KQZUL_SetQueryTradeArbiOrderEvent(h, pick(on_arbi_order)) == 0;
    ok += KQZUL_SetQueryTradeOrderExecEvent(h, pick(on_exec)) == 0;
    ok += KQZUL_SetQueryTradeOrderExecEventEx(h, pick(on_exec_ex)) == 0;
    ok += KQZUL_SetQueryTradeQuoteEvent(h, pick(on_quote)) == 0;
    ok += KQZUL_SetQueryComboPositionEvent(h, pick(on_combo_position)) == 0;
    ok += KQZUL_SetQueryComboRuleEvent(h, pick(on_combo_rule)) == 0;
    return ok;
}

// Each slot against the function expected in it; an empty expectation is null.
void expect_slots(CQueryClient& c, bool filled) {
    auto want = [filled](auto fn) { return filled ? fn : nullptr; };
    EXPECT_EQ(c.m_ptr_fun_conn_event.load(), want(on_conn));
    EXPECT_EQ(c.m_ptr_fun_logon_event.load(), want(on_logon));
    EXPECT_EQ(c.m_ptr_fun_change_pwd_event.load(), want(on_change_pwd));
    EXPECT_EQ(c.m_ptr_fun_qry_act.load(), want(on_account));
    EXPECT_EQ(c.m_ptr_fun_act_position.load(), want(on_position));
    EXPECT_EQ(c.m_ptr_fun_act_opt_position.load(), want(on_opt_position));
    EXPECT_EQ(c.m_ptr_fun_act_bp.load(), want(on_bp));
    EXPECT_EQ(c.m_ptr_fun_act_bp_detail.load(), want(on_bp_detail));
    EXPECT_EQ(c.m_ptr_fun_report_act_bp_event.load(), want(on_bp_report));
    EXPECT_EQ(c.m_ptr_fun_act_cash_inout_ntf_event.load(), want(on_cash));
    EXPECT_EQ(c.m_ptr_fun_query_account_risk_data_event.load(), want(on_risk));
    EXPECT_EQ(c.m_ptr_fun_query_account_symbol_risk_data_event.load(), want(on_symbol_risk));
    EXPECT_EQ(c.m_ptr_query_symbol_event.load(), want(on_symbol));
    EXPECT_EQ(c.m_ptr_trade_margin_event.load(), want(on_margin));
    EXPECT_EQ(c.m_ptr_trade_fee_evnet.load(), want(on_fee));
    EXPECT_EQ(c.m_ptr_fun_query_trade_order.load(), want(on_order));
    EXPECT_EQ(c.m_ptr_fun_query_trade_arbi_order.load(), want(on_arbi_order));
    EXPECT_EQ(c.m_ptr_fun_query_trade_order_exec.load(), want(on_exec));
    EXPECT_EQ(c.m_ptr_fun_query_trade_order_exec_ex.load(), want(on_exec_ex));
    EXPECT_EQ(c.m_ptr_fun_query_trade_quote.load(), want(on_quote));
    EXPECT_EQ(c.m_ptr_combo_position_event.load(), want(on_combo_position));
    EXPECT_EQ(c.m_ptr_combo_rule_event.load(), want(on_combo_rule));
}

}  // namespace

TEST(Registration, EachFunctionFillsItsOwnSlotAndNullEmptiesIt) {
    scratch_dir dir;
    void* h = KQZUL_CreateQuery(nullptr);
    CQueryClient& client = *static_cast<CQueryClient*>(h);
    expect_slots(client, false);

    EXPECT_EQ(set_all(h, true), 22);
    expect_slots(client, true);

    EXPECT_EQ(KQZUL_SetQueryUserAccountEvent(h, on_account_again), 0);
    EXPECT_EQ(client.m_ptr_fun_qry_act.load(), on_account_again);
    EXPECT_EQ(client.m_ptr_fun_act_position.load(), on_position);

    EXPECT_EQ(set_all(h, false), 22);
    expect_slots(client, false);
    KQZUL_DestroyQuery(h);
}

TEST(Registration, NullHandleGivesEightForEveryFunction) {
    EXPECT_EQ(set_all(nullptr, true), 0);
    EXPECT_EQ(set_all(nullptr, false), 0);
    EXPECT_EQ(KQZUL_SetQueryConnectionEvent(nullptr, on_conn), 8);
    EXPECT_EQ(KQZUL_SetQueryComboRuleEvent(nullptr, on_combo_rule), 8);
    EXPECT_EQ(KQZUL_SetQueryAccountSymbolRiskDataEvent(nullptr, on_symbol_risk), 8);
}

namespace {

struct fired {
    void* handle = nullptr;
    ERR_NO code = -1;
    std::string text;
    int calls = 0;
} g_fired;

void record_conn(void* handle, ERR_NO code, const char* text) {
    g_fired.handle = handle;
    g_fired.code = code;
    g_fired.text = text;
    g_fired.calls++;
}

}  // namespace

TEST(Registration, FiringPassesTheHandleAndAnEmptySlotDropsTheEvent) {
    scratch_dir dir;
    void* h = KQZUL_CreateQuery(nullptr);
    CQueryClient& client = *static_cast<CQueryClient*>(h);
    client.fire_event(client.m_ptr_fun_conn_event, ZUL_CONN_OK, "conn ok");
    EXPECT_EQ(g_fired.calls, 0);

    KQZUL_SetQueryConnectionEvent(h, record_conn);
    client.fire_event(client.m_ptr_fun_conn_event, ZUL_CONN_REMOTE_DISCONNECTED,
                      "remote disconnected");
    EXPECT_EQ(g_fired.calls, 1);
    EXPECT_EQ(g_fired.handle, h);
    EXPECT_EQ(g_fired.code, 2);
    EXPECT_EQ(g_fired.text, "remote disconnected");

    KQZUL_SetQueryConnectionEvent(h, nullptr);
    client.fire_event(client.m_ptr_fun_conn_event, ZUL_CONN_OK, "conn ok");
    EXPECT_EQ(g_fired.calls, 1);
    KQZUL_DestroyQuery(h);
}
