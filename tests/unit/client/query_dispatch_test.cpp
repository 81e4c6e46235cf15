// The message loop driven from buffers, with no socket: framing by id and size,
// partial messages, unknown ids, the trace lines and the binary record.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "protocol/msg_define.h"
#include "support/scratch_dir.h"
#include "transport/socket_param.h"

using namespace zul_test;

namespace {

std::vector<int> g_logons;  // user ids of the logon answers delivered

std::string logon_bytes(Int4 user_id, Int1 version_flag = 0) {
    query_logon_msg_resp m;
    m.m_user_id = user_id;
    m.m_reserved[0] = static_cast<char>(version_flag);
    return std::string(reinterpret_cast<const char*>(&m), sizeof(m));
}

class Dispatch : public ::testing::Test {
protected:
    void SetUp() override {
        g_logons.clear();
        m_client->m_ptr_fun_logon_event = [](void*, ZUL_QueryLogonResponse* r) {
            g_logons.push_back(r->m_UserId);
        };
    }
    // Offers bytes as the transport would and gives what the loop consumed.
    unsigned int feed(const std::string& bytes) {
        const char* p = bytes.data();
        socket_param out(EVENT_RECEIVE, 0, &p, static_cast<unsigned int>(bytes.size()), 0);
        m_client->on_query_callback(out);
        return out.get_proc_len();
    }
    std::string log(const char* suffix) {
        return read_file(std::string("mavlog_") + precise_time::m_startDate + suffix);
    }
    bool logged(const char* text) { return log(".log").find(text) != std::string::npos; }

    scratch_dir m_dir;  // made first: the client's logs go there
    std::unique_ptr<CQueryClient> m_client{new CQueryClient(nullptr)};
};

TEST_F(Dispatch, WholeMessagesAreDeliveredAndAPartialOneWaits) {
    const std::string m = logon_bytes(3);
    EXPECT_EQ(112u, feed(logon_bytes(1) + logon_bytes(2) + m.substr(0, 10)));
    EXPECT_EQ(0u, feed(m.substr(0, 55)));
    EXPECT_EQ(56u, feed(m + "\x01"));
    EXPECT_EQ((std::vector<int>{1, 2, 3}), g_logons);
    // Byte by byte: nothing until the last byte is there.
    std::string held;
    for (char c : logon_bytes(9)) {
        held += c;
        ASSERT_EQ(held.size() == 56 ? 56u : 0u, feed(held)) << "at " << held.size() << " bytes";
    }
    EXPECT_EQ((std::vector<int>{1, 2, 3, 9}), g_logons);
    EXPECT_EQ(0u, feed(std::string(1, '\x44')));  // one byte of an id waits for its partner
    // The answers came with no live connection, as after its end: nothing is logged on.
    EXPECT_FALSE(m_client->IsLogon());
    EXPECT_EQ(0u, m_client->GetUserID());
    EXPECT_EQ(E_STATUS_NONE, m_client->m_e_connect_status.load());
}

TEST_F(Dispatch, UnknownIdsAndTheTraceWhichOnlyTheSwitchTurnsOn) {
    std::string bytes(500, '\0');
    const Int2 id = 1096;
    memcpy(&bytes[0], &id, 2);
    bytes.replace(100, 56, logon_bytes(4));  // a whole message among them is lost
    EXPECT_EQ(500u, feed(bytes));
    EXPECT_TRUE(g_logons.empty());
    EXPECT_TRUE(logged(" error msg type receive unknown msg type: 1096, len is 500\n"));
    EXPECT_EQ(56u, feed(logon_bytes(1)));
    EXPECT_FALSE(logged("proc "));
    EXPECT_EQ("", log(".bin"));

    m_client->SetLoggerSwitch(true);
    const std::string m = logon_bytes(2);
    EXPECT_EQ(56u, feed(m));
    EXPECT_TRUE(logged(" 00000 proc query_logon_msg_resp \n"));
    const size_t cost = log(".log").find(" 00000 process message type:[1068] cost:[");
    ASSERT_NE(std::string::npos, cost);
    EXPECT_NE(std::string::npos, log(".log").find("]us \n", cost));
    EXPECT_EQ(std::string(" 00056 1 ") + m + "\n", log(".bin").substr(24));
    // An incomplete message is traced with the bare "proc " flag and no record.
    EXPECT_EQ(0u, feed(m.substr(0, 20)));
    EXPECT_TRUE(logged(" 00000 proc  \n"));
    // Negative ids are unknown, printed as they are; the bytes thrown away are recorded.
    EXPECT_EQ(4u, feed(std::string("\xff\xff\x01\x02", 4)));
    EXPECT_TRUE(logged("receive unknown msg type: 4294967295, len is 4\n"));
    EXPECT_TRUE(logged(" 00000 process message type:[-1] cost:["));
    EXPECT_EQ(std::string(" 00004 1 \xff\xff\x01\x02\n", 14), log(".bin").substr(24 + 90));
}

TEST_F(Dispatch, GenerationFlagOfALogonAppliesToTheNextMessageInTheBuffer) {
    EXPECT_EQ(56u, feed(logon_bytes(1, HV27_VERSION_FLAG)));
    EXPECT_TRUE(m_client->IsHv27Version());
    EXPECT_EQ(112u, feed(logon_bytes(1, 5) + logon_bytes(2, HV27_VERSION_FLAG)));
    EXPECT_TRUE(m_client->IsHv27Version()) << "the last logon answer decides";
    EXPECT_EQ(56u, feed(logon_bytes(1, 7)));
    EXPECT_FALSE(m_client->IsHv27Version());
}

}  // namespace
