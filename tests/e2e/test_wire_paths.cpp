// The outbound and inbound paths over a real connection: the binary log holds
// exactly the bytes that crossed, every cut of the server's writes is framed alike,
// the send path's refusals, and sends from several threads while the server keeps
// dropping the connection.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "client/QueryClient.h"
#include "protocol/msg_define.h"
#include "support/e2e_client.h"

using namespace zul_test;

namespace {

CQueryClient* engine(void* handle) {
    return static_cast<CQueryClient*>(handle);
}

bool logged(sim_session& s, const std::string& line) {
    return s.text_log().find(line) != std::string::npos;
}

void logon(void* handle) {
    KQZUL_QueryUserLogon(handle, "trader01", "pw123456");
}

}  // namespace

TEST(WirePaths, BinaryLogHoldsExactlyWhatCrossedWhileTheSwitchIsOn) {
    sim_session s;
    s.connect_and_logon();
    KQZUL_SetQueryLoggerSwitch(s.handle(), true);
    logon(s.handle());
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 2; }));
    KQZUL_SetQueryLoggerSwitch(s.handle(), false);
    logon(s.handle());
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 3; }));
    KQZUL_QueryLoggerFlush(s.handle());

    std::vector<bin_record> recs;
    ASSERT_TRUE(walk_bin_records(s.bin_log(), recs));
    ASSERT_EQ(2u, recs.size());
    const zulsim::Bytes sent = s.sim().requests()[1].raw;
    EXPECT_EQ('0', recs[0].flag);
    EXPECT_EQ(std::string(sent.begin(), sent.end()), recs[0].payload);
    EXPECT_EQ('1', recs[1].flag);
    ASSERT_EQ(56u, recs[1].payload.size());
    query_logon_msg_resp answer;
    memcpy(&answer, recs[1].payload.data(), sizeof(answer));
    EXPECT_EQ(QUERY_LOGON_MSG_RESP_MSG_ID, +answer.m_msg_id);
    EXPECT_EQ(s.sim().options().user_id, +answer.m_user_id);
}

TEST(WirePaths, AnswersAreFramedHoweverTheServerCutsItsWritesAndUnknownIdsAreSkipped) {
    sim_session s;
    s.connect_and_logon();
    uint32_t user = 900;
    for (zulsim::WriteMode mode :
         {zulsim::WriteMode::whole, zulsim::WriteMode::byte_by_byte, zulsim::WriteMode::split,
          zulsim::WriteMode::chunks, zulsim::WriteMode::coalesce}) {
        SCOPED_TRACE(static_cast<int>(mode));
        s.sim().configure([&](zulsim::Options& o) {
            o.write_mode = mode;
            o.write_param = 7;  // cuts the 8-byte header
        });
        // Three answers in one message, then one that the server writes itself.
        zulsim::Bytes burst;
        for (int i = 0; i < 3; ++i) {
            query_logon_msg_resp m;
            m.m_user_id = ++user;
            const zulsim::Bytes one = zulsim::DataSet::bytes_of(m);
            burst.insert(burst.end(), one.begin(), one.end());
        }
        const size_t before = s.rec().logons().size();
        ASSERT_EQ(1u, s.sim().send_raw(burst));
        ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == before + 3; }));
        logon(s.handle());
        ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == before + 4; }));
        const std::vector<ZUL_QueryLogonResponse> logons = s.rec().logons();
        for (size_t i = 0; i < 3; ++i)
            EXPECT_EQ(user - 2 + i, +logons[before + i].m_UserId);
        EXPECT_EQ(s.sim().options().user_id, +logons[before + 3].m_UserId);
    }
    s.sim().configure([](zulsim::Options& o) { o.write_mode = zulsim::WriteMode::whole; });
    zulsim::Bytes junk(40, 0x11);
    junk[0] = 0x48;  // id 0x1148 = 4424
    ASSERT_EQ(1u, s.sim().send_raw(junk));
    ASSERT_TRUE(wait_until(
        [&] { return logged(s, "error msg type receive unknown msg type: 4424, len is 40\n"); }));
    EXPECT_TRUE(engine(s.handle())->IsConnect());
    const size_t before = s.rec().logons().size();
    logon(s.handle());
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == before + 1; }));
}

TEST(WirePaths, SendsAreRefusedWithoutConnectionElsewhereEmptyAndBeyondTheLimiterWindow) {
    sim_session s;
    CQueryClient* c = engine(s.handle());
    const char msg[16] = {71, 0, 16, 0};
    EXPECT_EQ(-1, c->SendMsgToZul("x", msg, sizeof(msg), SD_QUERY_TCP));
    EXPECT_TRUE(logged(s, " send_error tcp client disconn.\n"));
    KQZUL_SetQueryLoggerSwitch(s.handle(), true);
    s.connect_and_logon();
    const size_t bin_before = s.bin_log().size();
    EXPECT_EQ(-1, c->SendMsgToZul("x", msg, sizeof(msg), SD_TRADE_TCP));
    EXPECT_EQ(-1, c->SendMsgToZul("x", msg, sizeof(msg), SD_TRADE_AUTO));
    EXPECT_EQ(0, c->SendMsgToZul("x", msg, 0, SD_QUERY_TCP));
    EXPECT_EQ(bin_before, s.bin_log().size()) << "refused or empty sends must not be logged";

    // Limit 3: the first order opens the window, the second passes, the third unit
    // is refused. Cancels are counted apart, and requests pass by the limiter.
    ASSERT_TRUE(c->ChangeFCParam(3, 2));
    char order[100] = {10, 0, 100, 0};
    char cancel[44] = {11, 0, 44, 0};
    EXPECT_EQ(100, c->SendMsgToZul("order", order, sizeof(order), SD_QUERY_TCP));
    EXPECT_EQ(100, c->SendMsgToZul("order", order, sizeof(order), SD_QUERY_TCP));
    EXPECT_EQ(-2, c->SendMsgToZul("order", order, sizeof(order), SD_QUERY_TCP));
    EXPECT_EQ(44, c->SendMsgToZul("cancel", cancel, sizeof(cancel), SD_QUERY_TCP));
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(s.handle()));
}

TEST(WirePaths, SendsFromSeveralThreadsDuringReconnectsNeverInterleave) {
    sim_session s;
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.rec().on_conn = [](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK)
            logon(h);
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->IsLogon(); }));
    std::atomic<bool> stop{false};
    std::atomic<long> sent{0};
    std::vector<std::thread> senders;
    for (int t = 0; t < 3; ++t)
        senders.emplace_back([&] {
            while (!stop) {
                sent += KQZUL_QueryUserLogon(s.handle(), "trader01", "pw123456") == ZUL_RESULT_OK;
                std::this_thread::sleep_for(200us);
            }
        });
    bool repaired = true;  // the senders are joined before any assertion ends the test
    for (size_t round = 1; round <= 2 && repaired; ++round) {
        repaired = wait_until([&] { return sent > 200 * static_cast<long>(round); }, 20s);
        s.sim().drop_connections();
        repaired = repaired &&
                   wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == round + 1; }, 20s);
    }
    stop = true;
    for (std::thread& t : senders)
        t.join();
    ASSERT_TRUE(repaired);
    // Every framed request is a whole logon: the bytes of two never mixed.
    for (const zulsim::ReceivedRequest& r : s.sim().requests()) {
        ASSERT_EQ(68, r.id);
        ASSERT_EQ("trader01", r.text("m_login_id"));
    }
}
