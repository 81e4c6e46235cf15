// Logon, password, account list, BP, BP detail, BP reports and cash notices end to
// end: every delivered field against the wire record the simulator sent, mapped here
// by the test's own reading of each field.

#include <gtest/gtest.h>

#include "client/QueryClient.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "support/records_i.h"

using namespace zul_test;

namespace {

CQueryClient* engine(void* handle) {
    return static_cast<CQueryClient*>(handle);
}

const char FULL_ACCOUNT[] = "ACCT-FULL-WIDE16";  // fills the 16 wire bytes

// ---- The mapping, as the caller must see it.

// Read at the wire offsets, not through the record's declaration.
template <class T>
T at(const void* record, size_t offset) {
    T v;
    memcpy(&v, static_cast<const char*>(record) + offset, sizeof(T));
    return v;
}

// The account id and the six balance figures that follow it in order: initial and
// available BP, margin, frozen margin, commission, frozen commission.
template <class R>
void expect_balance(R& e, const void* w, size_t account_at, size_t figures_at) {
    memcpy(e.m_Account, static_cast<const char*>(w) + account_at, 16);  // 17th byte stays 0
    e.m_InitialBp = at<double>(w, figures_at);
    e.m_AvailableBp = at<double>(w, figures_at + 8);
    e.m_Margin = at<double>(w, figures_at + 16);
    e.m_FrozenMargin = at<double>(w, figures_at + 24);
    e.m_CommissionFee = at<double>(w, figures_at + 32);
    e.m_FrozenCommission = at<double>(w, figures_at + 40);
}

ZUL_AccountInfo expected_info(const query_user_account_resp& w) {
    ZUL_AccountInfo e = zeroed<ZUL_AccountInfo>();
    expect_balance(e, &w, 13, 33);
    e.m_Previlege = at<int>(&w, 29);
    e.m_AccountIdx = at<unsigned char>(&w, 81);
    return e;
}

ZUL_AccountBP expected_bp(const query_account_bp_resp& w) {
    ZUL_AccountBP e = zeroed<ZUL_AccountBP>();
    expect_balance(e, &w, 12, 32);
    e.m_OvnInitMargin = at<double>(&w, 80);
    e.m_TotalLiquidPL = at<double>(&w, 88);
    e.m_TotalMarketPL = at<double>(&w, 96);
    e.m_AccountIdx = at<unsigned char>(&w, 104);
    return e;
}

// Push mode and account index are taken from the raw bytes 164 and 173, whatever
// the layout names them.
ZUL_AccountBPDetail expected_detail(const zulsim::Bytes& raw) {
    query_account_bp_detail_resp w;
    memcpy(&w, raw.data(), sizeof(w));
    ZUL_AccountBPDetail e = zeroed<ZUL_AccountBPDetail>();
    memcpy(e.m_Account, w.m_account_id, 16);
    e.m_InitialEquity = w.m_initial_equity;
    e.m_InitialBp = w.m_initial_bp;
    e.m_OvnInitMargin = w.m_ovn_init_margin;
    e.m_AvailableBp = w.m_available_bp;
    e.m_Margin = w.m_margin;
    e.m_FrozenMargin = w.m_frozen_margin;
    e.m_CommissionFee = w.m_commission_fee;
    e.m_FrozenCommission = w.m_frozen_commission;
    e.m_OptPremiumBalance = w.m_opt_premium_balance;
    e.m_OptFrozenPremium = w.m_opt_frozen_premium;
    e.m_CommDeclarationFee = w.m_comm_declaration_fee;
    e.m_StepDeclarationFee = w.m_step_declaration_fee;
    e.m_CashInTotal = w.m_cash_in_total;
    e.m_CashOutTotal = w.m_cash_out_total;
    e.m_TotalLiquidPL = w.m_total_liquid_pl;
    e.m_TotalMarketPL = w.m_total_market_pl;
    e.m_RiskRate = w.m_risk_rate;
    e.m_PushMode = raw[164];
    memcpy(&e.m_AmountCount, raw.data() + 165, 8);
    e.m_AccountIdx = raw[173];
    return e;
}

ZUL_AccountCashInout expected_cash(const account_cash_inout_notify& w) {
    ZUL_AccountCashInout e = zeroed<ZUL_AccountCashInout>();
    memcpy(e.m_Account, w.m_account_id, 16);
    e.m_AvailableBp = w.m_available_bp;
    e.m_CashInOut = w.m_cash_in_out;
    e.m_CashInTotal = w.m_cash_in_total;
    e.m_CashOutTotal = w.m_cash_out_total;
    return e;
}

// A single answer about one account: the callback's account text is the record's
// own terminated m_Account, and the error id is 0.
template <class R>
void expect_single(const delivery<R>& d, const std::string& account) {
    EXPECT_EQ(account, d.account);
    EXPECT_TRUE(d.account_in_record);
    EXPECT_EQ('\0', d.record.m_Account[16]);
    EXPECT_FALSE(d.finish);
    EXPECT_EQ(0u, d.error);
}

class Accounts : public ::testing::TestWithParam<bool> {
protected:
    Accounts() : s(with_generation(GetParam())) {}
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(s.logon()); }
    bool hv27() const { return GetParam(); }

    responses_session s;
};

}  // namespace

TEST_P(Accounts, AccountListDeliversEachAccountThenOneFinishCall) {
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(s.handle()));
    ASSERT_TRUE(s.complete(&records_i::accounts));
    auto wire = wire_records<query_user_account_resp>(s.sim(), QUERY_USER_ACCOUNT_RESP_MSG_ID, "");
    ASSERT_EQ(4u, wire.size()) << "three accounts and the closing record";
    expect_stream(s.rec().get(&records_i::accounts), wire, expected_info);
    // The sixteen-character id fills the wire field: the public one is terminated.
    auto got = s.rec().get(&records_i::accounts);
    EXPECT_EQ(std::string(FULL_ACCOUNT), got[0].record.m_Account);
}

TEST_P(Accounts, EmptyAccountListIsOneFinishCallAndFlagTwoCloses) {
    zulsim::DataSet data = s.sim().data();
    query_user_account_resp closing;
    closing.m_last_record_flag = 2;
    memcpy(closing.m_account_id, "LEFT-OVER", 9);  // a closing record carries no account
    closing.m_previlege = 9;
    data.set(QUERY_USER_ACCOUNT_RESP_MSG_ID, "", {zulsim::DataSet::bytes_of(closing)});
    s.sim().set_data(data);

    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(s.handle()));
    ASSERT_TRUE(s.complete(&records_i::accounts));
    auto got = s.rec().get(&records_i::accounts);
    ASSERT_EQ(1u, got.size());
    EXPECT_TRUE(got[0].finish);
    EXPECT_EQ(0u, got[0].error);
    EXPECT_TRUE(all_zero(got[0].record));
}

TEST_P(Accounts, BpDetailReadsPushModeAtByte164AndAccountIndexAt173) {
    for (const char* account : {FULL_ACCOUNT, "ZQ7"}) {
        SCOPED_TRACE(account);
        const size_t before = s.rec().count(&records_i::bp_detail);
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountBPDetail(s.handle(), account));
        ASSERT_TRUE(s.wait_count(&records_i::bp_detail, before + 1));
        const zulsim::Bytes raw =
            s.sim().data().find(QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID, account)->front();
        ASSERT_EQ(200u, raw.size());
        auto d = s.rec().get(&records_i::bp_detail).back();
        expect_same_record(expected_detail(raw), d.record);
        expect_single(d, account);
    }
    // The generation's own byte is there to be read.
    const zulsim::Bytes raw =
        s.sim().data().find(QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID, "ZQ7")->front();
    EXPECT_NE(0, raw[173]);
    if (hv27()) {
        EXPECT_NE(0, raw[164]);
    }
}

TEST_P(Accounts, BpDetailBytes164And173AreReadInEitherGeneration) {
    zulsim::DataSet data = s.sim().data();
    zulsim::Bytes raw = data.find(QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID, "ZQ7")->front();
    raw[164] = 1;
    raw[173] = 0x5a;
    data.set(QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID, "ZQ7", {raw});
    s.sim().set_data(data);

    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountBPDetail(s.handle(), "ZQ7"));
    ASSERT_TRUE(s.wait_count(&records_i::bp_detail, 1));
    auto d = s.rec().get(&records_i::bp_detail).back();
    EXPECT_EQ(1, d.record.m_PushMode);
    EXPECT_EQ(0x5a, d.record.m_AccountIdx);
    expect_same_record(expected_detail(raw), d.record);
}

TEST_P(Accounts, BpAnswerOnTheOtherGenerationOnly) {
    if (hv27()) {
        EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, KQZUL_QueryAccountBP(s.handle(), "ZQ7"));
        return;
    }
    for (const char* account : {FULL_ACCOUNT, "ZQ7"}) {
        SCOPED_TRACE(account);
        const size_t before = s.rec().count(&records_i::bp);
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountBP(s.handle(), account));
        ASSERT_TRUE(s.wait_count(&records_i::bp, before + 1));
        auto w =
            s.sim().data().record<query_account_bp_resp>(QUERY_ACCOUNT_BP_RESP_MSG_ID, account, 0);
        auto d = s.rec().get(&records_i::bp).back();
        expect_same_record(expected_bp(w), d.record);
        expect_single(d, account);
    }
    EXPECT_EQ(0u, s.rec().count(&records_i::bp_report)) << "an answer is not a report";
}

TEST_P(Accounts, CashAnswerAndNoticeShareOneCallback) {
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountCashInOut(s.handle(), FULL_ACCOUNT));
    ASSERT_TRUE(s.wait_count(&records_i::cash, 1));
    ASSERT_EQ(1u, s.sim().push_cash_notice("ZQ7"));
    ASSERT_TRUE(s.wait_count(&records_i::cash, 2));
    auto got = s.rec().get(&records_i::cash);
    const char* accounts[] = {FULL_ACCOUNT, "ZQ7"};
    for (size_t i = 0; i < 2; ++i) {
        SCOPED_TRACE(accounts[i]);
        auto w = s.sim().data().record<account_cash_inout_notify>(ACCOUNT_CASH_INOUT_NOTIFY,
                                                                  accounts[i], 0);
        expect_same_record(expected_cash(w), got[i].record);
        expect_single(got[i], accounts[i]);
    }
}

TEST_P(Accounts, BpReportReachesItsOwnSlotOnly) {
    ASSERT_EQ(1u, s.sim().push_bp_report(FULL_ACCOUNT));
    ASSERT_TRUE(s.wait_count(&records_i::bp_report, 1));
    ASSERT_TRUE(s.barrier());
    auto w =
        s.sim().data().record<query_account_bp_resp>(REPORT_ACCOUNT_BP_MSG_ID, FULL_ACCOUNT, 0);
    auto d = s.rec().get(&records_i::bp_report)[0];
    expect_same_record(expected_bp(w), d.record);
    EXPECT_EQ(FULL_ACCOUNT, d.account);
    EXPECT_TRUE(d.account_in_record);
    EXPECT_EQ(0u, s.rec().count(&records_i::bp)) << "the BP query's slot stays untouched";
    EXPECT_EQ(1u, s.rec().count(&records_i::bp_report));
}

TEST_P(Accounts, PushesArriveWhileAStreamIsRunning) {
    s.sim().configure([](zulsim::Options& o) {
        o.bulk_records = 120;
        o.pause = std::chrono::milliseconds(5);
    });
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QuerySymbolList(s.handle(), SEC_TYPE_FUTURE));
    ASSERT_TRUE(s.wait_count(&records_i::symbols, 1));
    ASSERT_EQ(1u, s.sim().push_bp_report("ZQ7"));
    ASSERT_EQ(1u, s.sim().push_cash_notice("ZQ7"));
    ASSERT_TRUE(s.wait_finished(&records_i::symbols));
    ASSERT_TRUE(s.wait_count(&records_i::cash, 1));
    ASSERT_TRUE(s.wait_count(&records_i::bp_report, 1));

    auto symbols = s.rec().get(&records_i::symbols);
    ASSERT_EQ(121u, symbols.size());
    const unsigned long finish_order = symbols.back().order;
    auto report = s.rec().get(&records_i::bp_report);
    auto cash = s.rec().get(&records_i::cash);
    ASSERT_EQ(1u, report.size());
    ASSERT_EQ(1u, cash.size());
    EXPECT_LT(report[0].order, finish_order) << "the report waited for the stream's end";
    EXPECT_LT(cash[0].order, finish_order) << "the notice waited for the stream's end";
    EXPECT_GT(report[0].order, symbols.front().order);
    EXPECT_EQ("ZQ7", report[0].account);
    EXPECT_EQ("ZQ7", cash[0].account);
    EXPECT_EQ(0u, s.rec().count(&records_i::bp));
}

TEST_P(Accounts, EmptySlotDropsTheListAndTheNextOneArrives) {
    KQZUL_SetQueryUserAccountEvent(s.handle(), nullptr);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(s.handle()));
    ASSERT_TRUE(s.barrier());
    EXPECT_EQ(0u, s.rec().count(&records_i::accounts));

    KQZUL_SetQueryUserAccountEvent(s.handle(), on_stream<ZUL_AccountInfo, &records_i::accounts>);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(s.handle()));
    ASSERT_TRUE(s.complete(&records_i::accounts));
    EXPECT_EQ(4u, s.rec().count(&records_i::accounts));
}

TEST_P(Accounts, BpDetailGoesToItsOwnSlotOnly) {
    KQZUL_SetQueryAccountBPDetailEvent(s.handle(), nullptr);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountBPDetail(s.handle(), "ZQ7"));
    ASSERT_TRUE(s.barrier());
    EXPECT_EQ(0u, s.rec().count(&records_i::bp_detail));
    EXPECT_EQ(0u, s.rec().count(&records_i::bp)) << "the detail must not reach the BP slot";
}

TEST_P(Accounts, LogonUserIdAndGenerationTravelIntoLaterRequests) {
    EXPECT_EQ(hv27(), engine(s.handle())->IsHv27Version());
    EXPECT_EQ(4242u, engine(s.handle())->GetUserID());
    s.sim().clear_requests();
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(s.handle()));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountBPDetail(s.handle(), "ZQ7"));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountCashInOut(s.handle(), "ZQ7"));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(s.handle(), "ZQ7", SEC_TYPE_OPTION));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountTradeFee(s.handle(), "ZQ7", 1));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryChangePassword(s.handle(), "secret99", "fresh2024"));
    ASSERT_TRUE(s.sim().wait_for_requests(6, std::chrono::seconds(10)));
    for (const zulsim::ReceivedRequest& r : s.sim().requests()) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(4242, r.number("m_user_id"));
    }
}

TEST_P(Accounts, PasswordChangeDeliversTheResultCode) {
    s.sim().configure([](zulsim::Options& o) { o.change_password_result = 17; });
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryChangePassword(s.handle(), "secret99", "fresh2024"));
    ASSERT_TRUE(wait_until([&] { return s.rec().password_results().size() == 1; }));
    EXPECT_EQ(17, s.rec().password_results()[0]);
    EXPECT_TRUE(engine(s.handle())->IsLogon()) << "a password answer changes no state";
}

TEST_P(Accounts, RefusedLogonLeavesTheClientLoggedOff) {
    // The refusal names another user id: the client must keep the one it had.
    s.sim().configure([](zulsim::Options& o) {
        o.logon_result = 5;
        o.user_id = 777;
    });
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", "secret99"));
    ASSERT_TRUE(wait_until([&] { return s.session().rec().logons().size() == 2; }));
    ZUL_QueryLogonResponse r = s.session().rec().logons()[1];
    EXPECT_EQ(5, +r.m_Result);
    EXPECT_EQ(777, +r.m_UserId);
    ASSERT_TRUE(wait_until([&] { return !engine(s.handle())->IsLogon(); }));
    EXPECT_EQ(4242u, engine(s.handle())->GetUserID());
    EXPECT_EQ(hv27(), engine(s.handle())->IsHv27Version());

    const size_t requests = s.sim().requests().size();
    EXPECT_EQ(ZUL_RESULT_NOT_LOGGED_ON, KQZUL_QueryUserAccount(s.handle()));
    EXPECT_EQ(ZUL_RESULT_NOT_LOGGED_ON, KQZUL_QueryAccountBPDetail(s.handle(), "ZQ7"));
    EXPECT_EQ(requests, s.sim().requests().size()) << "nothing is sent while logged off";
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, Accounts, ::testing::Values(false, true),
                         generation_name);
