// The outbound and inbound paths over a real connection: the binary log holds
// exactly the bytes that crossed, splits and coalesced writes are framed alike,
// the send path's refusals, and sends from several threads while the server
// keeps dropping the connection.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "client/QueryClient.h"
#include "protocol/msg_define.h"
#include "support/e2e_client.h"

using namespace zul_test;

namespace {

CQueryClient* engine(void* handle) { return static_cast<CQueryClient*>(handle); }

struct bin_entry {
    char flag;
    std::string payload;
};

// Walks the binary log by its length fields.
std::vector<bin_entry> parse_bin(const std::string& data) {
    std::vector<bin_entry> out;
    size_t pos = 0;
    while (pos < data.size()) {
        const long len = parse_log_header(data, pos);
        if (len < 0 || pos + 33 + len + 1 > data.size()) {
            ADD_FAILURE() << "malformed binary log at " << pos;
            break;
        }
        out.push_back({data[pos + 31], data.substr(pos + 33, len)});
        pos += 33 + len + 1;
    }
    return out;
}

std::string bytes_text(const zulsim::Bytes& b) { return std::string(b.begin(), b.end()); }

}  // namespace

TEST(WirePaths, BinaryLogHoldsExactlyWhatCrossedWithTheSwitchOn) {
    sim_session s;
    KQZUL_SetQueryLoggerSwitch(s.handle(), true);
    s.connect_and_logon();
    ASSERT_TRUE(s.sim().wait_for_requests(1, 5s));
    const std::vector<bin_entry> recs = parse_bin(s.bin_log());
    ASSERT_EQ(2u, recs.size());
    EXPECT_EQ('0', recs[0].flag);
    EXPECT_EQ(bytes_text(s.sim().requests()[0].raw), recs[0].payload);
    EXPECT_EQ('1', recs[1].flag);
    ASSERT_EQ(56u, recs[1].payload.size());
    query_logon_msg_resp answer;
    memcpy(&answer, recs[1].payload.data(), sizeof(answer));
    EXPECT_EQ(QUERY_LOGON_MSG_RESP_MSG_ID, +answer.m_msg_id);
    EXPECT_EQ(s.sim().options().user_id, +answer.m_user_id);
}

TEST(WirePaths, NothingInTheBinaryLogWithTheSwitchOff) {
    sim_session s;
    s.connect_and_logon();
    EXPECT_EQ("", s.bin_log());
    EXPECT_EQ(std::string::npos, s.text_log().find("proc "));
}

class SplitWrites : public ::testing::TestWithParam<zulsim::WriteMode> {};

TEST_P(SplitWrites, AnswersAreFramedWhateverTheServerCuts) {
    zulsim::Options o;
    o.write_mode = GetParam();
    o.write_param = 7;
    sim_session s(o);
    s.connect_and_logon();
    // Several answers in a row, and a raw burst of three answers in one write.
    for (int i = 0; i < 3; ++i) ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", "pw"));
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 4; }));
    zulsim::Bytes burst;
    for (uint32_t id : {901u, 902u, 903u}) {
        query_logon_msg_resp m;
        m.m_user_id = id;
        zulsim::Bytes one = zulsim::DataSet::bytes_of(m);
        burst.insert(burst.end(), one.begin(), one.end());
    }
    ASSERT_EQ(1u, s.sim().send_raw(burst));
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 7; }));
    auto logons = s.rec().logons();
    EXPECT_EQ(901, +logons[4].m_UserId);
    EXPECT_EQ(902, +logons[5].m_UserId);
    EXPECT_EQ(903, +logons[6].m_UserId);
}

INSTANTIATE_TEST_SUITE_P(Modes, SplitWrites,
                         ::testing::Values(zulsim::WriteMode::whole, zulsim::WriteMode::byte_by_byte,
                                           zulsim::WriteMode::split, zulsim::WriteMode::chunks,
                                           zulsim::WriteMode::coalesce));

TEST(WirePaths, UnknownMessageIsLoggedAndTheConnectionStays) {
    sim_session s;
    s.connect_and_logon();
    zulsim::Bytes junk(40, 0x11);
    junk[0] = 0x48;  // id 0x1148 = 4424
    junk[1] = 0x11;
    ASSERT_EQ(1u, s.sim().send_raw(junk));
    ASSERT_TRUE(wait_until([&] {
        return s.text_log().find("error msg type receive unknown msg type: 4424, len is 40\n") != std::string::npos;
    }));
    EXPECT_TRUE(engine(s.handle())->IsConnect());
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", "pw"));
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 2; }));
}

TEST(WirePaths, SendRefusals) {
    sim_session s;
    const char msg[16] = {71, 0, 16, 0};
    EXPECT_EQ(-1, engine(s.handle())->SendMsgToZul("x", msg, sizeof(msg), SD_QUERY_TCP));
    EXPECT_NE(std::string::npos, s.text_log().find(" send_error tcp client disconn.\n"));
    KQZUL_SetQueryLoggerSwitch(s.handle(), true);
    s.connect_and_logon();
    const size_t bin_before = s.bin_log().size();
    EXPECT_EQ(-1, engine(s.handle())->SendMsgToZul("x", msg, sizeof(msg), SD_TRADE_TCP));
    EXPECT_EQ(-1, engine(s.handle())->SendMsgToZul("x", msg, sizeof(msg), SD_TRADE_AUTO));
    EXPECT_EQ(0, engine(s.handle())->SendMsgToZul("x", msg, 0, SD_QUERY_TCP));
    EXPECT_EQ(bin_before, s.bin_log().size()) << "refused or empty sends must not be logged";
    EXPECT_EQ(16, engine(s.handle())->SendMsgToZul("x", msg, sizeof(msg), SD_QUERY_TCP));
}

TEST(WirePaths, LimiterRefusesOrdersBeyondTheLoweredWindowOnly) {
    sim_session s;
    s.connect_and_logon();
    CQueryClient* c = engine(s.handle());
    EXPECT_FALSE(c->ChangeFCParam(0, 10));
    EXPECT_FALSE(c->ChangeFCParam(296, 10));
    EXPECT_FALSE(c->ChangeFCParam(10, 296));
    ASSERT_TRUE(c->ChangeFCParam(3, 2));
    char order[100] = {10, 0, 100, 0};
    char cancel[44] = {11, 0, 44, 0};
    // Limit 3: the first opens the window, two more pass, the third unit is refused.
    EXPECT_EQ(100, c->SendMsgToZul("order", order, sizeof(order), SD_QUERY_TCP));
    EXPECT_EQ(100, c->SendMsgToZul("order", order, sizeof(order), SD_QUERY_TCP));
    EXPECT_EQ(-2, c->SendMsgToZul("order", order, sizeof(order), SD_QUERY_TCP));
    // Cancels are counted apart, and requests pass by the limiter.
    EXPECT_EQ(44, c->SendMsgToZul("cancel", cancel, sizeof(cancel), SD_QUERY_TCP));
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", "pw"));
}

TEST(WirePaths, SendsFromSeveralThreadsDuringReconnectsNeverInterleave) {
    sim_session s;
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.rec().on_conn = [](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK) KQZUL_QueryUserLogon(h, "trader01", "pw123456");
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->IsLogon(); }));
    std::atomic<bool> stop{false};
    std::atomic<long> sent{0};
    std::vector<std::thread> senders;
    for (int t = 0; t < 3; ++t) {
        senders.emplace_back([&] {
            while (!stop) {
                if (KQZUL_QueryUserLogon(s.handle(), "trader01", "pw123456") == ZUL_RESULT_OK) ++sent;
                std::this_thread::sleep_for(200us);
            }
        });
    }
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(wait_until([&] { return sent > 200 * round; }, 20s));
        s.sim().drop_connections();
        ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == static_cast<size_t>(round) + 1; }, 20s));
    }
    stop = true;
    for (auto& t : senders) t.join();
    // Every framed request is a whole logon: bytes of two never mixed.
    for (const zulsim::ReceivedRequest& r : s.sim().requests()) {
        ASSERT_EQ(68, r.id);
        ASSERT_EQ("trader01", r.text("m_login_id"));
    }
}
