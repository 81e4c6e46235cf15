// The decoder fed from memory: whole messages out in order however the bytes are cut,
// the cut tail held and nothing more, the hold buffer grown for a long message, and the
// trace of every offer that the transport's hold buffer would make.

#include "client/query_decoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "protocol/msg_define.h"
#include "support/scratch_dir.h"

using namespace zul_test;

namespace {

std::vector<int> g_users;  // user ids of the logon answers delivered, in order
std::vector<int> g_risk;   // user ids of the risk answers delivered

std::string logon_bytes(Int4 user_id) {
    query_logon_msg_resp m;
    m.m_user_id = user_id;
    return std::string(reinterpret_cast<const char*>(&m), sizeof(m));
}

// The 1006-byte risk answer of the other generation, longer than a small hold buffer.
std::string risk_bytes(Int4 user_id) {
    account_risk_real_data_resp m;
    m.m_user_id = user_id;
    return std::string(reinterpret_cast<const char*>(&m), sizeof(m));
}

class QueryDecoder : public ::testing::Test {
protected:
    QueryDecoder() {
        g_users.clear();
        g_risk.clear();
        m_client.m_ptr_fun_logon_event = [](void*, ZUL_QueryLogonResponse* r) {
            g_users.push_back(r->m_UserId);
        };
        m_client.m_ptr_fun_query_account_risk_data_event = [](void*, ZUL_AccountRiskData* r,
                                                              ZUL_QueryErrorId) {
            g_risk.push_back(static_cast<int>(r->m_user_id));
        };
    }
    std::vector<std::string> text_lines() {
        return split_lines(read_file(std::string("mavlog_") + precise_time::m_startDate + ".log"));
    }

    scratch_dir m_dir;  // first: the logs open in it
    CQueryClient m_client{nullptr};
};

TEST_F(QueryDecoder, MessagesComeOutWholeAndInOrderWhereverTheBytesAreCut) {
    const std::string stream = logon_bytes(1) + logon_bytes(2) + risk_bytes(77) + logon_bytes(3);
    for (size_t cut = 0; cut <= stream.size(); ++cut) {
        g_users.clear();
        g_risk.clear();
        query_decoder decoder(m_client, 64);
        ASSERT_TRUE(decoder.feed(stream.data(), cut));
        ASSERT_TRUE(decoder.feed(stream.data() + cut, stream.size() - cut));
        ASSERT_EQ((std::vector<int>{1, 2, 3}), g_users) << "cut at " << cut;
        ASSERT_EQ((std::vector<int>{77}), g_risk) << "cut at " << cut;
        ASSERT_EQ(0u, decoder.held());
    }
    // Byte by byte, with a small buffer that must grow for the 1006-byte message.
    g_users.clear();
    g_risk.clear();
    query_decoder decoder(m_client, 16);
    for (char c : stream)
        ASSERT_TRUE(decoder.feed(&c, 1));
    EXPECT_EQ((std::vector<int>{1, 2, 3}), g_users);
    EXPECT_EQ((std::vector<int>{77}), g_risk);
}

TEST_F(QueryDecoder, OnlyTheCutTailIsHeldAndANewConnectionDropsIt) {
    query_decoder decoder(m_client, 8192);
    const std::string two = logon_bytes(1) + logon_bytes(2);
    const std::string third = logon_bytes(3);
    EXPECT_TRUE(decoder.feed((two + third.substr(0, 10)).data(), two.size() + 10));
    EXPECT_EQ(10u, decoder.held());
    EXPECT_TRUE(decoder.feed(third.data() + 10, 1));
    EXPECT_EQ(11u, decoder.held());
    EXPECT_TRUE(decoder.feed(third.data() + 11, third.size() - 11));
    EXPECT_EQ(0u, decoder.held());
    EXPECT_EQ((std::vector<int>{1, 2, 3}), g_users);
    // One byte waits for its partner; an unknown id takes all that is at hand.
    EXPECT_TRUE(decoder.feed("\x44", 1));
    EXPECT_EQ(1u, decoder.held());
    EXPECT_TRUE(decoder.feed("\x01\x99\x99", 3));
    EXPECT_EQ(0u, decoder.held());
    // The head of a message from a connection that ended is not glued to the next one.
    EXPECT_TRUE(decoder.feed(third.data(), 30));
    decoder.clear();
    EXPECT_EQ(0u, decoder.held());
    EXPECT_TRUE(decoder.feed(logon_bytes(4).data(), third.size()));
    EXPECT_EQ((std::vector<int>{1, 2, 3, 4}), g_users);
    EXPECT_EQ(0u, decoder.held());
}

// With the trace on, every offer of an unfinished message is traced: the pass that
// takes the whole messages in front of it, and the pass on what is left, as the
// transport offers its hold buffer.
TEST_F(QueryDecoder, TraceShowsEveryOfferOfAnUnfinishedMessage) {
    query_decoder decoder(m_client, 8192);
    m_client.SetLoggerSwitch(true);
    const size_t before = text_lines().size();
    const std::string third = logon_bytes(3);
    const std::string first = logon_bytes(1) + logon_bytes(2) + third.substr(0, 10);
    EXPECT_TRUE(decoder.feed(first.data(), first.size()));
    EXPECT_TRUE(decoder.feed(third.data() + 10, 5));
    EXPECT_TRUE(decoder.feed(third.data() + 15, third.size() - 15));
    const std::vector<std::string> lines = text_lines();
    std::vector<std::string> flags;
    for (size_t i = before; i < lines.size(); ++i) {
        ASSERT_GE(parse_log_header(lines[i], 0), 0) << lines[i];
        const std::string flag = lines[i].substr(31);
        flags.push_back(flag.compare(0, 21, "process message type:") == 0 ? "cost" : flag);
    }
    const std::string logon = "proc query_logon_msg_resp ";
    const std::vector<std::string> expected = {
        logon,    "cost", logon, "cost",  // the two whole messages
        "proc  ", "cost",                 // the unfinished one, in the same pass
        "proc  ", "cost",                 // and offered again on its own
        "proc  ", "cost",                 // five more bytes: still unfinished
        logon,    "cost",                 // the rest
    };
    EXPECT_EQ(expected, flags);
    // The binary log holds the three messages and nothing of the offers that took none.
    std::vector<bin_record> records;
    ASSERT_TRUE(walk_bin_records(
        read_file(std::string("mavlog_") + precise_time::m_startDate + ".bin"), records));
    ASSERT_EQ(3u, records.size());
    EXPECT_EQ(third, records[2].payload);
}

}  // namespace
