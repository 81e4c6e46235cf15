// Connection supervision end to end: connect, logon, local and remote ends, the
// reconnect thread, and closing or destroying a client from its own callbacks.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "client/QueryClient.h"
#include "protocol/msg_define.h"
#include "support/e2e_client.h"

using namespace zul_test;

namespace {

CQueryClient* engine(void* handle) {
    return static_cast<CQueryClient*>(handle);
}

size_t occurrences(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t pos = text.find(part); pos != std::string::npos; pos = text.find(part, pos + 1))
        ++n;
    return n;
}

void logon(void* handle) {
    KQZUL_QueryUserLogon(handle, "trader01", "pw123456");
}

}  // namespace

TEST(Connection, BadParamsAndAbsentServerFailSilentlyThenConnOkComesFromTheEventThread) {
    sim_session s;
    const std::string port = std::to_string(s.sim().port());
    EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, KQZUL_ConnQueryServer(nullptr, server_at(1)));
    EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, KQZUL_DisConnQueryServer(nullptr));
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle())) << "never connected";
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, KQZUL_ConnQueryServer(s.handle(), server_at(0)));
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED,
              KQZUL_ConnQueryServer(s.handle(), server_at(s.sim().port(), "")));
    s.sim().configure([](zulsim::Options& o) { o.accept_mode = zulsim::AcceptMode::refuse; });
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, s.connect());
    EXPECT_EQ(1u, occurrences(s.text_log(), "info invalid query port params 127.0.0.1:0.\n"));
    EXPECT_EQ(1u, occurrences(s.text_log(), "info invalid query port params :" + port + ".\n"));
    EXPECT_TRUE(s.rec().conn_events().empty());

    s.sim().configure([](zulsim::Options& o) { o.accept_mode = zulsim::AcceptMode::accept; });
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 1; }));
    const conn_event ok = s.rec().conn_events()[0];
    EXPECT_EQ("conn ok", ok.text);
    EXPECT_FALSE(pthread_equal(ok.thread, pthread_self())) << "not on the event thread";
    EXPECT_EQ(
        1u, occurrences(s.text_log(), "info open query servr 127.0.0.1:" + port + " successed\n"));
    EXPECT_TRUE(engine(s.handle())->IsConnect());
}

class LogonInConnOk : public ::testing::TestWithParam<bool> {};

TEST_P(LogonInConnOk, WorksInBothGenerationsWhileAConnectThereIsRefused) {
    zulsim::Options o;
    o.hv27 = GetParam();
    sim_session s(o);
    std::atomic<int> connect_result{-1};
    s.rec().on_conn = [&](void* h, ERR_NO code) {
        if (code != ZUL_CONN_OK)
            return;
        connect_result = KQZUL_ConnQueryServer(h, server_at(s.sim().port()));
        logon(h);
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 1; }));
    EXPECT_EQ(0, +s.rec().logons()[0].m_Result);
    CQueryClient* c = engine(s.handle());
    ASSERT_TRUE(wait_until([&] { return c->m_e_connect_status == E_STATUS_LOGONED; }));
    EXPECT_TRUE(c->IsLogon());
    EXPECT_EQ(GetParam(), c->IsHv27Version());
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, connect_result.load());
    EXPECT_EQ(1u, s.sim().accepted());
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, LogonInConnOk, ::testing::Bool());

TEST(Connection, LogonAnsweredBeforeConnOkReturnsSurvivesTheEventThreadsStateWrites) {
    sim_session s;
    CQueryClient* c = engine(s.handle());
    // The transport reads nothing while "conn ok" runs, so the answer is handed to
    // the client from another thread, as its receive worker would, and handled in full.
    s.rec().on_conn = [&](void*, ERR_NO code) {
        query_logon_msg_resp answer;
        if (code == ZUL_CONN_OK)
            std::thread([&] { c->ProcQueryPortLogonRespMsg(&answer); }).join();
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    // Bytes read after the callback: their log line comes after its state writes.
    zulsim::Bytes junk(16, 0);
    junk[0] = 0x48, junk[1] = 0x11, junk[2] = 16;
    ASSERT_EQ(1u, s.sim().send_raw(junk));
    ASSERT_TRUE(
        wait_until([&] { return occurrences(s.text_log(), "unknown msg type: 4424") == 1; }));
    EXPECT_EQ(1u, s.rec().logons().size());
    EXPECT_TRUE(c->IsLogon());
    EXPECT_EQ(E_STATUS_LOGONED, c->m_e_connect_status.load());
}

TEST(Connection, LocalClosesAreReportedOnceOnTheClosingThread) {
    sim_session s;
    s.connect_and_logon();
    // A second connect closes the first connection on this thread.
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }));
    EXPECT_FALSE(engine(s.handle())->IsLogon()) << "a new connection starts logged off";
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    const std::vector<conn_event> events = s.rec().conn_events();
    ASSERT_EQ(4u, events.size());
    for (size_t i : {1, 3}) {
        EXPECT_EQ(ZUL_CONN_LOCAL_DISCONNECTED, events[i].code);
        EXPECT_EQ("local disconnected", events[i].text);
        EXPECT_TRUE(pthread_equal(events[i].thread, pthread_self()));
    }
    EXPECT_FALSE(engine(s.handle())->IsConnect());
    EXPECT_EQ(E_STATUS_DISCONN_BY_LOCAL, engine(s.handle())->m_e_connect_status.load());
    EXPECT_EQ(2u, occurrences(s.text_log(), "info close query client\n"));
    EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, KQZUL_QueryUserLogon(s.handle(), "u", "p"));
}

TEST(Connection, ServerDropsAreReportedAndRepairedUntilALocalClose) {
    sim_session s;
    CQueryClient* c = engine(s.handle());
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.rec().on_conn = [](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK)
            logon(h);
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return c->m_connect_thread_is_running == 1; })) << "no thread";
    for (size_t round = 1; round <= 2; ++round) {
        s.sim().drop_connections();
        ASSERT_TRUE(
            wait_until([&] { return s.rec().count_conn(ZUL_CONN_REMOTE_DISCONNECTED) == round; }));
        EXPECT_EQ("remote disconnected", s.rec().conn_events().back().text);
        // The campaign waits 2 s before its first attempt, and ends on the logon.
        ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == round + 1; }, 15s));
        ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == round + 1; }));
        ASSERT_TRUE(wait_until(
            [&] { return occurrences(s.text_log(), "quit for logon success\n") == round; }));
    }
    EXPECT_EQ(2u, occurrences(s.text_log(), "error query port disconnected by server\n"));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    ASSERT_TRUE(wait_until([&] { return c->m_connect_thread_is_running == 0; }, 5s));
    EXPECT_EQ(1u, occurrences(s.text_log(), "debug _th_query_clt_check_and_reconn stop\n"));
    EXPECT_EQ(3u, s.sim().accepted());
}

TEST(Connection, DestroyWaitsForTheReconnectThreadItInterrupts) {
    sim_session s;
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.connect_and_logon();
    s.sim().drop_connections();
    // Inside the campaign's wait before its first attempt: a destruction that does
    // not wait for the thread shows as a use after free under the sanitizers.
    ASSERT_TRUE(wait_until(
        [&] { return occurrences(s.text_log(), "debug query _th_try_reconn start\n") == 1; }));
    s.destroy();
    EXPECT_EQ(1u, occurrences(s.text_log(), "info destroy query client\n"));
}

// Closing (0-2) or destroying (3-5) from inside the client's own callbacks: on the
// event thread ("conn ok"), the receive thread (logon answer) and the closing
// thread ("local disconnected").
class CloseFromCallback : public ::testing::TestWithParam<int> {};

TEST_P(CloseFromCallback, NeitherDeadlocksNorLeaks) {
    const bool destroy = GetParam() >= 3;
    const int where = GetParam() % 3;
    sim_session s;
    void* h = destroy ? s.release() : s.handle();
    std::atomic<int> closed{0};
    auto close = [&](void* hh) {
        closed += (destroy ? KQZUL_DestroyQuery(hh) : KQZUL_DisConnQueryServer(hh)) == 0;
    };
    s.rec().on_conn = [&](void* hh, ERR_NO code) {
        if (code == ZUL_CONN_OK)
            where == 0 ? close(hh) : logon(hh);
        if (code == ZUL_CONN_LOCAL_DISCONNECTED && where == 2 && closed == 0)
            close(hh);
    };
    s.rec().on_logon = [&](void* hh, const ZUL_QueryLogonResponse&) {
        if (where == 1)
            close(hh);
    };
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_ConnQueryServer(h, server_at(s.sim().port())));
    if (where == 2) {
        ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 1; }));
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(h));
    }
    ASSERT_TRUE(wait_until([&] { return closed == 1; }));
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_LOCAL_DISCONNECTED) == 1; }));
    ASSERT_TRUE(wait_until([&] { return s.sim().connections() == 0; }));
    if (destroy) {
        // Freed later on a thread of its own; the leak check sees it done.
        ASSERT_TRUE(wait_until(
            [&] { return occurrences(s.text_log(), "info destroy query client\n") == 1; }));
    } else {
        ASSERT_EQ(ZUL_RESULT_OK, s.connect()) << "the client stays usable";
        ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }));
    }
}

INSTANTIATE_TEST_SUITE_P(OnEventReceiveAndClosingThread, CloseFromCallback, ::testing::Range(0, 6));
