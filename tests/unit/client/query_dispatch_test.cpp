// The message loop driven from buffers, with no socket: framing by id and size,
// partial messages, unknown ids, the trace lines and the binary record.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "protocol/msg_define.h"
#include "support/scratch_dir.h"
#include "transport/socket_param.h"

using namespace zul_test;

namespace {

std::vector<ZUL_QueryLogonResponse> g_logons;

void on_logon(void*, ZUL_QueryLogonResponse* r) { g_logons.push_back(*r); }

std::string logon_bytes(Int4 user_id, Int1 version_flag = 0) {
    query_logon_msg_resp m;
    m.m_user_id = user_id;
    m.m_reserved[0] = static_cast<char>(version_flag);
    return std::string(reinterpret_cast<const char*>(&m), sizeof(m));
}

// Offers bytes as the transport would and returns what the loop consumed.
unsigned int feed(CQueryClient& c, const std::string& bytes) {
    const char* p = bytes.data();
    socket_param out(EVENT_RECEIVE, 0, &p, static_cast<unsigned int>(bytes.size()), 0);
    c.on_query_callback(out);
    return out.get_proc_len();
}

class Dispatch : public ::testing::Test {
protected:
    void SetUp() override {
        g_logons.clear();
        m_client.reset(new CQueryClient(nullptr));
        m_client->m_ptr_fun_logon_event = on_logon;
    }
    void TearDown() override { m_client.reset(); }
    std::string text_log() { return read_file(std::string("mavlog_") + precise_time::m_startDate + ".log"); }
    std::string bin_log() { return read_file(std::string("mavlog_") + precise_time::m_startDate + ".bin"); }

    scratch_dir m_dir;
    std::unique_ptr<CQueryClient> m_client;
};

}  // namespace

TEST_F(Dispatch, TwoWholeMessagesAndAPartialThird) {
    std::string bytes = logon_bytes(1) + logon_bytes(2) + logon_bytes(3).substr(0, 10);
    EXPECT_EQ(112u, feed(*m_client, bytes));
    ASSERT_EQ(2u, g_logons.size());
    EXPECT_EQ(1, +g_logons[0].m_UserId);
    EXPECT_EQ(2, +g_logons[1].m_UserId);
}

TEST_F(Dispatch, SizeBoundaryOfTheLogonAnswer) {
    const std::string m = logon_bytes(7);
    EXPECT_EQ(0u, feed(*m_client, m.substr(0, 55)));
    EXPECT_EQ(0u, g_logons.size());
    EXPECT_EQ(56u, feed(*m_client, m));
    EXPECT_EQ(56u, feed(*m_client, m + "\x01"));
    EXPECT_EQ(2u, g_logons.size());
}

TEST_F(Dispatch, ByteByByteDeliversOnceComplete) {
    const std::string m = logon_bytes(9);
    std::string held;
    for (char c : m) {
        held += c;
        const unsigned int used = feed(*m_client, held);
        if (held.size() < m.size()) {
            ASSERT_EQ(0u, used) << "at " << held.size() << " bytes";
        } else {
            EXPECT_EQ(56u, used);
        }
    }
    ASSERT_EQ(1u, g_logons.size());
    EXPECT_EQ(9, +g_logons[0].m_UserId);
}

TEST_F(Dispatch, UnknownIdSwallowsEverythingAtHand) {
    std::string bytes(500, '\0');
    const Int2 id = 1096;
    memcpy(&bytes[0], &id, 2);
    bytes.replace(100, 56, logon_bytes(4));  // a whole message among them is lost
    EXPECT_EQ(500u, feed(*m_client, bytes));
    EXPECT_EQ(0u, g_logons.size());
    EXPECT_NE(std::string::npos, text_log().find(" error msg type receive unknown msg type: 1096, len is 500\n"));
    // One byte alone waits for its partner, and writes nothing.
    EXPECT_EQ(0u, feed(*m_client, std::string(1, '\x48')));
}

TEST_F(Dispatch, NegativeIdsAreUnknownAndPrintedAsTheyAre) {
    m_client->SetLoggerSwitch(true);
    EXPECT_EQ(4u, feed(*m_client, std::string("\xff\xff\x01\x02", 4)));
    const std::string log = text_log();
    EXPECT_NE(std::string::npos, log.find("receive unknown msg type: 4294967295, len is 4\n"));
    EXPECT_NE(std::string::npos, log.find(" 00000 process message type:[-1] cost:["));
    // The binary record holds the four bytes thrown away, flag '1'.
    const std::string bin = bin_log();
    ASSERT_EQ(31u + 2 + 4 + 1, bin.size());
    EXPECT_EQ(4, parse_log_header(bin, 0));
    EXPECT_EQ(std::string("1 \xff\xff\x01\x02\n", 7), bin.substr(31));
}

TEST_F(Dispatch, TraceLinesOnlyWithTheSwitchOn) {
    EXPECT_EQ(56u, feed(*m_client, logon_bytes(1)));
    EXPECT_EQ(std::string::npos, text_log().find("proc "));
    EXPECT_EQ("", bin_log());

    m_client->SetLoggerSwitch(true);
    const std::string m = logon_bytes(2);
    EXPECT_EQ(56u, feed(*m_client, m));
    const std::string log = text_log();
    EXPECT_NE(std::string::npos, log.find(" 00000 proc query_logon_msg_resp \n"));
    const size_t cost = log.find(" 00000 process message type:[1068] cost:[");
    ASSERT_NE(std::string::npos, cost);
    EXPECT_NE(std::string::npos, log.find("]us \n", cost));
    EXPECT_EQ(m, bin_log().substr(33, 56));

    // An incomplete message is traced with the bare "proc " flag and no record.
    const size_t bin_before = bin_log().size();
    EXPECT_EQ(0u, feed(*m_client, m.substr(0, 20)));
    EXPECT_NE(std::string::npos, text_log().find(" 00000 proc  \n"));
    EXPECT_EQ(bin_before, bin_log().size());
}

TEST_F(Dispatch, GenerationFlagOfALogonAppliesToTheNextMessageInTheBuffer) {
    EXPECT_EQ(56u, feed(*m_client, logon_bytes(1, HV27_VERSION_FLAG)));
    EXPECT_TRUE(m_client->IsHv27Version());
    EXPECT_EQ(112u, feed(*m_client, logon_bytes(1, 5) + logon_bytes(2, HV27_VERSION_FLAG)));
    EXPECT_TRUE(m_client->IsHv27Version()) << "the last logon answer decides";
    EXPECT_EQ(56u, feed(*m_client, logon_bytes(1, 7)));
    EXPECT_FALSE(m_client->IsHv27Version());
}

TEST_F(Dispatch, LogonAnswerWithoutALiveConnectionIsDeliveredButLogsNothingOn) {
    // Bytes that the receive thread hands over after their connection ended.
    EXPECT_EQ(56u, feed(*m_client, logon_bytes(42)));
    ASSERT_EQ(1u, g_logons.size());
    EXPECT_EQ(42, +g_logons[0].m_UserId);
    EXPECT_FALSE(m_client->IsLogon());
    EXPECT_EQ(0u, m_client->GetUserID());
    EXPECT_EQ(E_STATUS_NONE, m_client->m_e_connect_status.load());
}

TEST(SwichEndian, ReversesBytesAndTimestampsSplitBack) {
    EXPECT_EQ(0x0807060504030201ULL, CQueryClient::SwichEndian(0x0102030405060708ULL));
    EXPECT_EQ(0x04030201u, CQueryClient::SwichEndian32(0x01020304u));
    const auto ts = CQueryClient::convert_now_to_timestamp();
    const time_t now = time(nullptr);
    EXPECT_LE(static_cast<long long>(ts >> 32) - now, 1);
    EXPECT_LT(ts & 0xffffffffULL, 1000000000ULL);
}
