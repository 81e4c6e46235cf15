// Refused queries end to end, in both server generations: every query refused in
// turn reaches its own callback and no other, with a zeroed record, finish false,
// an empty account text and the server's error id; the log lines.

#include <gtest/gtest.h>

#include <functional>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "support/e2e_client.h"
#include "support/records_ii.h"

using namespace zul_test;

namespace {

const char* const ACCOUNT = "ZQ7";

// A refusal as a server writes it.
zulsim::Bytes refusal_bytes(uint16_t sub_msg_id, uint32_t error_id) {
    hv27_query_err_resp e;
    e.m_user_id = 70123;
    e.m_sub_msg_id = sub_msg_id;
    e.m_error_id = error_id;
    return zulsim::DataSet::bytes_of(e);
}

struct refused_query {
    uint16_t request_id;
    std::function<RESULT(void*)> ask;
    record_slot slot;
    size_t record_size;
    bool has_account;
    bool has_finish;
};

// What each request's refusal must reach, written from the public callback types.
std::vector<refused_query> all_queries(bool hv27) {
    const char* a = ACCOUNT;
    return {
        {71, [](void* h) { return KQZUL_QueryUserAccount(h); }, SLOT_ACCOUNT,
         sizeof(ZUL_AccountInfo), false, true},
        {72, [](void* h) { return KQZUL_QuerySymbolList(h, 3); }, SLOT_SYMBOL,
         sizeof(ZUL_SymbolField), false, true},
        // Asked for options, refused through the futures position callback.
        {73, [a](void* h) { return KQZUL_QueryAccountPosition(h, a, 2); }, SLOT_POSITION,
         sizeof(ZUL_AccountPosition), true, true},
        {74, [a](void* h) { return KQZUL_QueryAccountOrder(h, a, 3); }, SLOT_ORDER,
         sizeof(ZUL_QueryAccountOrder), true, true},
        {75, [a](void* h) { return KQZUL_QueryAccountOrderExecution(h, a, 3, 0); },
         hv27 ? SLOT_EXEC_EX : SLOT_EXEC,
         hv27 ? sizeof(ZUL_QueryOrderExecutionEx) : sizeof(ZUL_QueryOrderExecution), true, true},
        {76, [](void* h) { return KQZUL_QueryComboRule(h, 1, 1); }, SLOT_COMBO_RULE,
         sizeof(ZUL_AccountComboRule), false, true},
        {77, [a](void* h) { return KQZUL_QueryAccountTradeMargin(h, a); }, SLOT_MARGIN,
         sizeof(ZUL_AccountMargin), true, true},
        {78, [a](void* h) { return KQZUL_QueryAccountTradeFee(h, a, 3); }, SLOT_FEE,
         sizeof(ZUL_AccountFee), true, true},
        {79, [a](void* h) { return KQZUL_QueryComboPosition(h, a); }, SLOT_COMBO_POSITION,
         sizeof(ZUL_AccountComboPosition), true, true},
        {81, [a](void* h) { return KQZUL_QueryAccountBP(h, a); }, SLOT_BP, sizeof(ZUL_AccountBP),
         true, false},
        {82, [a](void* h) { return KQZUL_QueryAccountRiskData(h, a, "", 0); }, SLOT_RISK,
         sizeof(ZUL_AccountRiskData), false, false},
        {83, [a](void* h) { return KQZUL_QueryAccountSymbolRiskData(h, a, "", 0); },
         SLOT_SYMBOL_RISK, sizeof(ZUL_AccountSymbolRiskData), false, false},
        {85, [a](void* h) { return KQZUL_QueryAccountCashInOut(h, a); }, SLOT_CASH_INOUT,
         sizeof(ZUL_AccountCashInout), true, false},
        {88, [a](void* h) { return KQZUL_QueryAccountBPDetail(h, a); }, SLOT_BP_DETAIL,
         sizeof(ZUL_AccountBPDetail), true, false},
        {95, [a](void* h) { return KQZUL_QueryAccountQuote(h, a, 2); }, SLOT_QUOTE,
         sizeof(ZUL_QueryAccountQuote), true, true},
        {98, [a](void* h) { return KQZUL_QueryAccountArbiOrder(h, a); }, SLOT_ARBI_ORDER,
         sizeof(ZUL_QueryAccountArbiOrder), true, true},
    };
}

// An error id of its own for every request, so that crossed wires show.
uint32_t error_for(uint16_t request_id) {
    return 900000u + request_id * 7u;
}

class Refusals : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        zulsim::Options o;
        o.hv27 = GetParam();
        m_session.reset(new sim_session(o));
        m_book.reset(new record_book(m_session->handle()));
        m_session->connect_and_logon();
    }
    void TearDown() override {
        m_session.reset();
        m_book.reset();
    }
    void* handle() { return m_session->handle(); }
    zulsim::Simulator& sim() { return m_session->sim(); }

    // Waits until everything sent so far has been handled; the risk query that
    // serves as the marker is the one not under test.
    void sync_beside(record_slot slot) {
        ASSERT_TRUE(m_book->sync(slot == SLOT_SYMBOL_RISK ? SLOT_RISK : SLOT_SYMBOL_RISK));
    }

    std::unique_ptr<sim_session> m_session;
    std::unique_ptr<record_book> m_book;
};

}  // namespace

TEST_P(Refusals, EveryRefusedQueryReachesItsOwnCallbackOnly) {
    const bool hv27 = GetParam();
    for (const refused_query& q : all_queries(hv27)) {
        SCOPED_TRACE("request " + std::to_string(q.request_id));
        m_book->clear();
        const uint32_t error = error_for(q.request_id);
        sim().configure([&](zulsim::Options& o) { o.refusals = {{q.request_id, error}}; });
        const RESULT sent = q.ask(handle());
        if (sent == ZUL_RESULT_NOT_SUPPORTED) {
            // Not asked of an hv27 server; its refusal, should one come, is routed
            // all the same.
            ASSERT_TRUE(hv27);
            ASSERT_EQ(1u, sim().send_raw(refusal_bytes(q.request_id, error)));
        } else {
            ASSERT_EQ(ZUL_RESULT_OK, sent);
        }
        sync_beside(q.slot);

        const std::vector<slot_call> calls = m_book->calls_but_sync();
        ASSERT_EQ(1u, calls.size()) << "calls besides the one expected";
        const slot_call& c = calls[0];
        EXPECT_EQ(q.slot, c.slot);
        EXPECT_EQ(q.record_size, c.record.size());
        EXPECT_TRUE(c.record_is_zero());
        EXPECT_TRUE(c.has_error);
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(q.has_finish, c.has_finish);
        EXPECT_FALSE(c.finish);
        EXPECT_EQ(q.has_account, c.has_account);
        EXPECT_FALSE(c.account_null);
        EXPECT_EQ("", c.account);
    }
}

TEST_P(Refusals, TraceLinesOnlyWithTheSwitchOn) {
    sim().configure([](zulsim::Options& o) {
        o.refusals = {{REWIND_ACCOUNT_ORDER_REQ_MSG_ID, 3},
                      {QUERY_ACCOUNT_BP_DETAIL_REQ_MSG_ID, 4}};
    });
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountOrder(handle(), ACCOUNT, 3));
    ASSERT_EQ(1u, sim().send_raw(refusal_bytes(84, 6)));
    ASSERT_TRUE(m_book->sync());
    std::string log = m_session->text_log();
    EXPECT_EQ(std::string::npos, log.find("proc sub msg")) << "a refusal leaves no line";
    EXPECT_EQ(std::string::npos, log.find("process query error"));
    // An unknown sub id is logged all the same, and calls nothing.
    EXPECT_NE(std::string::npos, log.find(" error receive unknown sub msg type: 84\n"));
    EXPECT_EQ(1u, m_book->calls_but_sync().size());

    KQZUL_SetQueryLoggerSwitch(handle(), true);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountOrder(handle(), ACCOUNT, 3));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountBPDetail(handle(), ACCOUNT));
    ASSERT_EQ(1u, sim().send_raw(refusal_bytes(80, 6)));
    ASSERT_TRUE(m_book->sync());
    log = m_session->text_log();
    const size_t order = log.find(" 00000 proc sub msg account order query \n");
    ASSERT_NE(std::string::npos, order);
    const size_t order_info = log.find(" info process query error sub message type:[74]\n", order);
    ASSERT_NE(std::string::npos, order_info);
    // The dispatcher's own trace of message 1064 follows the handler's lines.
    EXPECT_NE(std::string::npos, log.find(" 00000 proc query_err_resp \n", order_info));
    EXPECT_NE(std::string::npos, log.find(" 00000 proc sub msg query account bp detail \n"));
    EXPECT_NE(std::string::npos, log.find(" info process query error sub message type:[88]\n"));
    // An unknown id has its error line and the info line, and no trace text.
    const size_t unknown = log.find(" error receive unknown sub msg type: 80\n");
    ASSERT_NE(std::string::npos, unknown);
    EXPECT_NE(std::string::npos,
              log.find(" info process query error sub message type:[80]\n", unknown));
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, Refusals, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "hv27" : "other";
                         });
