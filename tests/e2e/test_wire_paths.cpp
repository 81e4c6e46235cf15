// The outbound and inbound paths over a real connection: the send path's refusals,
// the binary log holds exactly the bytes that crossed, and every cut of the
// server's writes is framed alike. (Sends from several threads during reconnects
// are in the connection tests.)

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "protocol/msg_define.h"
#include "support/e2e_client.h"

using namespace zul_test;

TEST(WirePaths, RefusedSendsAreNotLoggedAndTheBinaryLogHoldsExactlyWhatCrossed) {
    sim_session s;
    CQueryClient* c = s.client();
    const char msg[16] = {71, 0, 16, 0};
    EXPECT_EQ(-1, c->SendMsgToZul("x", msg, sizeof(msg), SD_QUERY_TCP));
    EXPECT_EQ(1u, s.log_count(" send_error tcp client disconn.\n"));
    s.connect_and_logon();
    KQZUL_SetQueryLoggerSwitch(s.handle(), true);
    EXPECT_EQ(-1, c->SendMsgToZul("x", msg, sizeof(msg), SD_TRADE_TCP));
    EXPECT_EQ(-1, c->SendMsgToZul("x", msg, sizeof(msg), SD_TRADE_AUTO));
    EXPECT_EQ(0, c->SendMsgToZul("x", msg, 0, SD_QUERY_TCP));
    for (size_t logons = 2; logons <= 3; ++logons) {
        send_logon(s.handle());
        ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == logons; }));
        KQZUL_SetQueryLoggerSwitch(s.handle(), false);
    }
    KQZUL_QueryLoggerFlush(s.handle());
    std::vector<bin_record> recs;
    ASSERT_TRUE(walk_bin_records(s.bin_log(), recs));
    ASSERT_EQ(2u, recs.size()) << "only the logon and its answer, with the switch on";
    // The answer may be logged before the send is: the record follows the send call.
    if (recs[0].flag == '1')
        std::swap(recs[0], recs[1]);
    const zulsim::Bytes sent = s.sim().requests()[1].raw;
    EXPECT_EQ('0', recs[0].flag);
    EXPECT_EQ(std::string(sent.begin(), sent.end()), recs[0].payload);
    EXPECT_EQ('1', recs[1].flag);
    ASSERT_EQ(56u, recs[1].payload.size());
    query_logon_msg_resp answer;
    memcpy(&answer, recs[1].payload.data(), sizeof(answer));
    EXPECT_EQ(QUERY_LOGON_MSG_RESP_MSG_ID, +answer.m_msg_id);
    EXPECT_EQ(s.sim().options().user_id, +answer.m_user_id);

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
        // Three answers in one message.
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
        const std::vector<ZUL_QueryLogonResponse> logons = s.rec().logons();
        for (size_t i = 0; i < 3; ++i)
            EXPECT_EQ(user - 2 + i, +logons[before + i].m_UserId);
    }
    s.sim().configure([](zulsim::Options& o) { o.write_mode = zulsim::WriteMode::whole; });
    zulsim::Bytes junk(40, 0x11);
    junk[0] = 0x48;  // id 0x1148 = 4424
    ASSERT_EQ(1u, s.sim().send_raw(junk));
    ASSERT_TRUE(wait_until(
        [&] { return s.log_count("error msg type receive unknown msg type: 4424, len is 40\n"); }));
    const size_t before = s.rec().logons().size();
    ASSERT_EQ(ZUL_RESULT_OK, send_logon(s.handle())) << "the connection stays";
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == before + 1; }));
}
