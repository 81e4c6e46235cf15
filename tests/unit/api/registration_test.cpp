// Each registration function fills its own slot of the client. All slots are set before any
// is checked, so a function that stores into another slot fails.

#include <gtest/gtest.h>

#include <tuple>
#include <typeinfo>

#include "client/QueryClient.h"
#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"
#include "support/scratch_dir.h"

namespace {

template <class Fn>
struct slot {
    RESULT (*set)(void*, Fn);
    std::atomic<Fn> CQueryClient::*field;
};
template <class Fn>
slot(RESULT (*)(void*, Fn), std::atomic<Fn> CQueryClient::*) -> slot<Fn>;

using C = CQueryClient;
const auto kSlots = std::make_tuple(
    slot{KQZUL_SetQueryConnectionEvent, &C::m_ptr_fun_conn_event},
    slot{KQZUL_SetQueryUserLogonEvent, &C::m_ptr_fun_logon_event},
    slot{KQZUL_SetQueryChangePasswordEvent, &C::m_ptr_fun_change_pwd_event},
    slot{KQZUL_SetQueryUserAccountEvent, &C::m_ptr_fun_qry_act},
    slot{KQZUL_SetQueryAccountPositionEvent, &C::m_ptr_fun_act_position},
    slot{KQZUL_SetQueryAccountOptionPositionEvent, &C::m_ptr_fun_act_opt_position},
    slot{KQZUL_SetQueryAccountBPEvent, &C::m_ptr_fun_act_bp},
    slot{KQZUL_SetQueryAccountBPDetailEvent, &C::m_ptr_fun_act_bp_detail},
    slot{KQZUL_ReportAccountBPEvent, &C::m_ptr_fun_report_act_bp_event},
    slot{KQZUL_NotifyAccountCashInOutEvent, &C::m_ptr_fun_act_cash_inout_ntf_event},
    slot{KQZUL_SetQueryAccountRiskDataEvent, &C::m_ptr_fun_query_account_risk_data_event},
    slot{KQZUL_SetQueryAccountSymbolRiskDataEvent,
         &C::m_ptr_fun_query_account_symbol_risk_data_event},
    slot{KQZUL_SetQuerySymbolListEvent, &C::m_ptr_query_symbol_event},
    slot{KQZUL_SetQueryAccountTradeMarginEvent, &C::m_ptr_trade_margin_event},
    slot{KQZUL_SetQueryAccountTradeFeeEvent, &C::m_ptr_trade_fee_evnet},
    slot{KQZUL_SetQueryTradeOrderEvent, &C::m_ptr_fun_query_trade_order},
    slot{KQZUL_SetQueryTradeArbiOrderEvent, &C::m_ptr_fun_query_trade_arbi_order},
    slot{KQZUL_SetQueryTradeOrderExecEvent, &C::m_ptr_fun_query_trade_order_exec},
    slot{KQZUL_SetQueryTradeOrderExecEventEx, &C::m_ptr_fun_query_trade_order_exec_ex},
    slot{KQZUL_SetQueryTradeQuoteEvent, &C::m_ptr_fun_query_trade_quote},
    slot{KQZUL_SetQueryComboPositionEvent, &C::m_ptr_combo_position_event},
    slot{KQZUL_SetQueryComboRuleEvent, &C::m_ptr_combo_rule_event});
static_assert(std::tuple_size_v<decltype(kSlots)> == 22);

// Two callbacks of each type: generation 0 and 1. Each body stores its own generation, so
// the two are not alike and no linker can fold them into one address.
int g_generation = -1;
template <int Gen, class... Args>
void callback(void*, Args...) {
    g_generation = Gen;
}
template <int Gen, class... Args>
auto callback_for(RESULT (*)(void*, void (*)(void*, Args...))) {
    return &callback<Gen, Args...>;
}

template <class Fn>
void each_slot(Fn fn) {
    std::apply([&](auto... s) { (fn(s), ...); }, kSlots);
}

}  // namespace

TEST(Registration, EachFunctionFillsItsOwnSlotReplacesAndEmpties) {
    zul_test::scratch_dir dir;
    void* h = KQZUL_CreateQuery(nullptr);
    CQueryClient& client = *static_cast<CQueryClient*>(h);
    auto in_slot = [&](auto s) { return (client.*s.field).load(); };

    each_slot([&](auto s) { EXPECT_EQ(in_slot(s), nullptr); });
    each_slot([&](auto s) { EXPECT_EQ(s.set(h, callback_for<0>(s.set)), 0); });
    each_slot([&](auto s) { EXPECT_EQ(in_slot(s), callback_for<0>(s.set)) << typeid(s).name(); });
    each_slot([&](auto s) {
        EXPECT_EQ(s.set(h, callback_for<1>(s.set)), 0);
        EXPECT_EQ(in_slot(s), callback_for<1>(s.set)) << typeid(s).name();
        EXPECT_EQ(s.set(h, nullptr), 0);
        EXPECT_EQ(in_slot(s), nullptr) << typeid(s).name();
        EXPECT_EQ(s.set(nullptr, callback_for<0>(s.set)), 8);
    });
    KQZUL_DestroyQuery(h);
}
