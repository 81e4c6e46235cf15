// Connection supervision end to end: connect, logon, local and remote ends, the
// reconnect thread, and closing or destroying a client from its own callbacks.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "client/QueryClient.h"
#include "support/e2e_client.h"

using namespace zul_test;

namespace {

CQueryClient* engine(void* handle) { return static_cast<CQueryClient*>(handle); }

zulsim::Options generation(bool hv27) {
    zulsim::Options o;
    o.hv27 = hv27;
    return o;
}

}  // namespace

TEST(Connection, ConnectReportsConnOkOnTheEventThreadAndLogsTheAddress) {
    sim_session s;
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 1; }));
    EXPECT_TRUE(KQZUL_GetQueryUserParam(s.handle()) == &s.rec());
    auto events = s.rec().conn_events();
    EXPECT_EQ("conn ok", events[0].text);
    EXPECT_FALSE(pthread_equal(events[0].thread, pthread_self()));
    EXPECT_TRUE(engine(s.handle())->IsConnect());
    EXPECT_FALSE(engine(s.handle())->IsLogon());
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->m_e_connect_status == E_STATUS_CONNCTED; }));
    const std::string line = "info open query servr 127.0.0.1:" + std::to_string(s.sim().port()) + " successed\n";
    EXPECT_NE(std::string::npos, s.text_log().find(line));
}

TEST(Connection, InvalidParametersAreRefusedWithALogLine) {
    sim_session s;
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, KQZUL_ConnQueryServer(s.handle(), server_at(0)));
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, KQZUL_ConnQueryServer(s.handle(), server_at(s.sim().port(), "")));
    const std::string log = s.text_log();
    EXPECT_NE(std::string::npos, log.find("info invalid query port params 127.0.0.1:0.\n"));
    EXPECT_NE(std::string::npos, log.find("info invalid query port params :" + std::to_string(s.sim().port()) + ".\n"));
    EXPECT_EQ(0u, s.rec().conn_events().size());
    EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, KQZUL_ConnQueryServer(nullptr, server_at(1)));
    EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, KQZUL_DisConnQueryServer(nullptr));
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle())) << "never connected";
}

TEST(Connection, UnreachableServerFailsWithoutEvent) {
    sim_session s;
    s.sim().configure([](zulsim::Options& o) { o.accept_mode = zulsim::AcceptMode::refuse; });
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, s.connect());
    EXPECT_FALSE(engine(s.handle())->IsConnect());
    EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, KQZUL_QueryUserLogon(s.handle(), "u", "p"));
    EXPECT_EQ(0u, s.rec().conn_events().size());
}

class LogonGeneration : public ::testing::TestWithParam<bool> {};

TEST_P(LogonGeneration, LogonFromInsideConnOkCallback) {
    const bool hv27 = GetParam();
    sim_session s(generation(hv27));
    s.rec().on_conn = [](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK) {
            EXPECT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(h, "trader01", "pw123456"));
        }
    };
    std::atomic<bool> logged_on_in_callback{false};
    s.rec().on_logon = [&](void* h, const ZUL_QueryLogonResponse&) {
        // The client counts as logged on already, the status follows the callback.
        logged_on_in_callback = engine(h)->IsLogon() && engine(h)->m_e_connect_status != E_STATUS_LOGONED;
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 1; }));
    ZUL_QueryLogonResponse r = s.rec().logons()[0];
    EXPECT_EQ(0, +r.m_Result);
    EXPECT_EQ(static_cast<int>(s.sim().options().user_id), +r.m_UserId);
    EXPECT_TRUE(logged_on_in_callback);
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->m_e_connect_status == E_STATUS_LOGONED; }));
    EXPECT_TRUE(engine(s.handle())->IsLogon());
    EXPECT_EQ(hv27, engine(s.handle())->IsHv27Version());
    EXPECT_EQ(s.sim().options().user_id, engine(s.handle())->GetUserID());

    ASSERT_TRUE(s.sim().wait_for_requests(1, 5s));
    zulsim::ReceivedRequest req = s.sim().requests()[0];
    EXPECT_EQ(68, req.id);
    EXPECT_EQ(80u, req.raw.size());
    EXPECT_EQ("trader01", req.text("m_login_id"));
    EXPECT_EQ(15, req.number("m_proto_version"));
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, LogonGeneration, ::testing::Values(false, true));

TEST(Connection, RefusedLogonLeavesTheClientLoggedOff) {
    zulsim::Options o;
    o.logon_result = 5;
    sim_session s(o);
    s.connect_and_logon();
    ZUL_QueryLogonResponse r = s.rec().logons()[0];
    EXPECT_EQ(5, +r.m_Result);
    EXPECT_FALSE(engine(s.handle())->IsLogon());
    EXPECT_EQ(0u, engine(s.handle())->GetUserID()) << "a refusal must not store the user id";
    EXPECT_EQ(E_STATUS_CONNCTED, engine(s.handle())->m_e_connect_status.load());
}

TEST(Connection, LogonAnsweredDuringConnOkCallbackSurvivesItsStateWrites) {
    sim_session s;
    // The callback logs on and stays until the answer has been handled on the
    // receive thread: the state writes of "conn ok" come after the logon's.
    s.rec().on_conn = [&](void* h, ERR_NO code) {
        if (code != ZUL_CONN_OK) return;
        KQZUL_QueryUserLogon(h, "trader01", "pw123456");
        wait_until([&] { return s.rec().logons().size() == 1; });
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 1; }));
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 1; }));
    // Let the event thread finish its writes.
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->m_e_connect_status == E_STATUS_LOGONED; }));
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(engine(s.handle())->IsLogon());
    EXPECT_EQ(E_STATUS_LOGONED, engine(s.handle())->m_e_connect_status.load());
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", "pw123456"));
}

TEST(Connection, LocalDisconnectIsReportedOnceOnTheClosingThread) {
    sim_session s;
    s.connect_and_logon();
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    auto events = s.rec().conn_events();
    ASSERT_EQ(2u, events.size());
    EXPECT_EQ(ZUL_CONN_LOCAL_DISCONNECTED, events[1].code);
    EXPECT_EQ("local disconnected", events[1].text);
    EXPECT_TRUE(pthread_equal(events[1].thread, pthread_self()));
    EXPECT_FALSE(engine(s.handle())->IsConnect());
    EXPECT_FALSE(engine(s.handle())->IsLogon());
    EXPECT_EQ(E_STATUS_DISCONN_BY_LOCAL, engine(s.handle())->m_e_connect_status.load());
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    EXPECT_EQ(2u, s.rec().conn_events().size()) << "a second close must report nothing";
    EXPECT_NE(std::string::npos, s.text_log().find("info close query client\n"));
    EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, KQZUL_QueryUserLogon(s.handle(), "u", "p"));
}

TEST(Connection, ReconnectingReportsLocalCloseThenConnOk) {
    sim_session s;
    s.connect_and_logon();
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }));
    auto events = s.rec().conn_events();
    ASSERT_EQ(3u, events.size());
    EXPECT_EQ(ZUL_CONN_LOCAL_DISCONNECTED, events[1].code);
    EXPECT_EQ(ZUL_CONN_OK, events[2].code);
    EXPECT_FALSE(engine(s.handle())->IsLogon()) << "a new connection starts logged off";
}

TEST(Connection, RemoteDropIsReportedOnceAndLogged) {
    sim_session s;
    s.connect_and_logon();
    s.sim().drop_connections();
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_REMOTE_DISCONNECTED) == 1; }));
    auto events = s.rec().conn_events();
    EXPECT_EQ("remote disconnected", events.back().text);
    EXPECT_FALSE(engine(s.handle())->IsConnect());
    EXPECT_FALSE(engine(s.handle())->IsLogon());
    EXPECT_EQ(E_STATUS_DISCONN_OTHER, engine(s.handle())->m_e_connect_status.load());
    EXPECT_NE(std::string::npos, s.text_log().find("error query port disconnected by server\n"));
    // Without auto reconnect nothing more happens, and a later close adds no event.
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    EXPECT_EQ(events.size(), s.rec().conn_events().size());
    EXPECT_EQ(E_STATUS_DISCONN_OTHER, engine(s.handle())->m_e_connect_status.load());
}

TEST(Connection, AutoReconnectRepairsServerDropsRepeatedly) {
    sim_session s;
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.rec().on_conn = [](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK) KQZUL_QueryUserLogon(h, "trader01", "pw123456");
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->m_e_connect_status == E_STATUS_LOGONED; }));
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->m_connect_thread_is_running == 1; }));
    auto campaigns_won = [&] {
        const std::string log = s.text_log();
        size_t n = 0;
        for (size_t pos = log.find("debug query _th_try_reconn quit for logon success\n"); pos != std::string::npos;
             pos = log.find("debug query _th_try_reconn quit for logon success\n", pos + 1))
            ++n;
        return n;
    };
    for (size_t round = 1; round <= 2; ++round) {
        s.sim().drop_connections();
        ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_REMOTE_DISCONNECTED) == round; }));
        // The campaign waits 2 s before its first attempt.
        ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == round + 1; }, 15s));
        ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == round + 1; }, 10s));
        ASSERT_TRUE(wait_until([&] { return engine(s.handle())->IsLogon(); }));
        // The campaign ends when its watch sees the logon.
        ASSERT_TRUE(wait_until([&] { return campaigns_won() == round; }));
    }
    const std::string log = s.text_log();
    EXPECT_NE(std::string::npos, log.find("debug _th_query_clt_check_and_reconn start\n"));
    EXPECT_NE(std::string::npos, log.find("debug query _th_try_reconn ConnServer try times:1.\n"));

    // A local close stops the thread, and nothing reconnects.
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->m_connect_thread_is_running == 0; }, 5s));
    EXPECT_NE(std::string::npos, s.text_log().find("debug _th_query_clt_check_and_reconn stop\n"));
    const size_t oks = s.rec().count_conn(ZUL_CONN_OK);
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(oks, s.rec().count_conn(ZUL_CONN_OK));
    EXPECT_EQ(oks, s.sim().accepted()) << "a connection was opened after the close";
}

TEST(Connection, DestroyWhileTheReconnectThreadCampaigns) {
    // The thread waits between attempts when the client is destroyed; destruction
    // must wait for it (a use after free shows under the sanitizers).
    sim_session s;
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.connect_and_logon();
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->m_connect_thread_is_running == 1; }));
    s.sim().drop_connections();
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_REMOTE_DISCONNECTED) == 1; }));
    std::this_thread::sleep_for(300ms);  // inside the campaign's wait
    const auto start = std::chrono::steady_clock::now();
    s.destroy();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_NE(std::string::npos, s.text_log().find("info destroy query client\n"));
}

TEST(Connection, DestroyOfAConnectedClientReportsLocalCloseBeforeItsLastLine) {
    sim_session s;
    std::atomic<bool> destroy_line_seen_in_callback{true};
    s.connect_and_logon();
    s.rec().on_conn = [&](void*, ERR_NO code) {
        if (code == ZUL_CONN_LOCAL_DISCONNECTED)
            destroy_line_seen_in_callback = s.text_log().find("destroy query client") != std::string::npos;
    };
    s.destroy();
    EXPECT_EQ(1u, s.rec().count_conn(ZUL_CONN_LOCAL_DISCONNECTED));
    EXPECT_FALSE(destroy_line_seen_in_callback);
    EXPECT_NE(std::string::npos, s.text_log().find("info destroy query client\n"));
    EXPECT_TRUE(wait_until([&] { return s.sim().connections() == 0; }));
}

// Closing or destroying from inside the client's own callbacks: on the event
// thread ("conn ok"), on the receive thread (logon answer) and on the closing
// thread ("local disconnected").
class CloseFromCallback : public ::testing::TestWithParam<int> {};

TEST_P(CloseFromCallback, DisconnectInsideCallbackNeitherDeadlocksNorLeaks) {
    const int where = GetParam();
    sim_session s;
    std::atomic<int> results{0};
    s.rec().on_conn = [&](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK && where == 0) results += KQZUL_DisConnQueryServer(h) == 0;
        if (code == ZUL_CONN_OK && where != 0) KQZUL_QueryUserLogon(h, "trader01", "pw123456");
    };
    s.rec().on_logon = [&](void* h, const ZUL_QueryLogonResponse&) {
        if (where == 1) results += KQZUL_DisConnQueryServer(h) == 0;
    };
    s.rec().on_conn = [&, inner = s.rec().on_conn](void* h, ERR_NO code) {
        inner(h, code);
        if (code == ZUL_CONN_LOCAL_DISCONNECTED && where == 2) results += KQZUL_DisConnQueryServer(h) == 0;
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    if (where == 2) {
        ASSERT_TRUE(wait_until([&] { return s.rec().logons().size() == 1; }));
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    }
    ASSERT_TRUE(wait_until([&] { return results == 1; }));
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_LOCAL_DISCONNECTED) == 1; }));
    ASSERT_TRUE(wait_until([&] { return !engine(s.handle())->IsConnect(); }));
    ASSERT_TRUE(wait_until([&] { return s.sim().connections() == 0; }));
    // The client stays usable.
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }));
}

TEST_P(CloseFromCallback, DestroyInsideCallbackFreesTheClientLater) {
    const int where = GetParam();
    scratch_dir dir;
    zulsim::Simulator sim;
    ASSERT_TRUE(sim.start());
    recorder rec;
    void* h = KQZUL_CreateQuery(&rec);
    KQZUL_SetQueryConnectionEvent(h, record_conn);
    KQZUL_SetQueryUserLogonEvent(h, record_logon);
    std::atomic<int> results{0};
    rec.on_conn = [&](void* hh, ERR_NO code) {
        if (code == ZUL_CONN_OK && where == 0) results += KQZUL_DestroyQuery(hh) == 0;
        if (code == ZUL_CONN_OK && where == 1) KQZUL_QueryUserLogon(hh, "trader01", "pw123456");
        if (code == ZUL_CONN_LOCAL_DISCONNECTED && where == 2 && results == 0) results += KQZUL_DestroyQuery(hh) == 0;
    };
    rec.on_logon = [&](void* hh, const ZUL_QueryLogonResponse&) {
        if (where == 1) results += KQZUL_DestroyQuery(hh) == 0;
    };
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_ConnQueryServer(h, server_at(sim.port())));
    if (where == 2) {
        ASSERT_TRUE(wait_until([&] { return rec.count_conn(ZUL_CONN_OK) == 1; }));
        KQZUL_DisConnQueryServer(h);
    }
    ASSERT_TRUE(wait_until([&] { return results == 1; }));
    const std::string log_name = std::string("mavlog_") + precise_time::m_startDate + ".log";
    ASSERT_TRUE(wait_until([&] { return read_file(log_name).find("destroy query client") != std::string::npos; }));
    // The destruction reported its local close, through the recorder's lock.
    ASSERT_TRUE(wait_until([&] { return rec.count_conn(ZUL_CONN_LOCAL_DISCONNECTED) == 1; }));
    ASSERT_TRUE(wait_until([&] { return sim.connections() == 0; }));
    sim.stop();
}

INSTANTIATE_TEST_SUITE_P(EventReceiveAndClosingThread, CloseFromCallback, ::testing::Values(0, 1, 2));

TEST(Connection, ConnectInsideOwnCallbackIsRefused) {
    sim_session s;
    std::atomic<int> result{-1};
    s.rec().on_conn = [&](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK) result = KQZUL_ConnQueryServer(h, server_at(1));
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return result != -1; }));
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, result.load());
    EXPECT_TRUE(engine(s.handle())->IsConnect());
}

TEST(Connection, MaxWaitTimeIgnoresNegativeValues) {
    sim_session s;
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_SetQueryMaxWaitTime(s.handle(), -1));
    EXPECT_EQ(500, engine(s.handle())->m_epoll_max_wait_time_query.load());
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_SetQueryMaxWaitTime(s.handle(), 0));
    EXPECT_EQ(0, engine(s.handle())->m_epoll_max_wait_time_query.load());
    EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, KQZUL_SetQueryMaxWaitTime(nullptr, 10));
    EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, KQZUL_SetQueryAutoReconnect(nullptr, true));
    // A zero wait makes the event thread poll; the connection still works.
    s.connect_and_logon();
    EXPECT_TRUE(engine(s.handle())->IsLogon());
}
