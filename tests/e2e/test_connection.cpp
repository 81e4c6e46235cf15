// Connection supervision end to end: connect, logon, local and remote ends, the
// reconnect thread, and closing or destroying a client from its own callbacks.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "protocol/msg_define.h"
#include "support/e2e_client.h"

using namespace zul_test;

TEST(Connection, EveryOpenAndCloseIsReportedOnceOnItsThreadAndBadParamsNever) {
    sim_session s;
    EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, KQZUL_ConnQueryServer(nullptr, server_at(1)));
    EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, KQZUL_DisConnQueryServer(nullptr));
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle())) << "never connected";
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, KQZUL_ConnQueryServer(s.handle(), server_at(0)));
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, KQZUL_ConnQueryServer(s.handle(), server_at(1, "")));
    EXPECT_EQ(1u, s.log_count("info invalid query port params 127.0.0.1:0.\n"));
    EXPECT_EQ(1u, s.log_count("info invalid query port params :1.\n"));
    EXPECT_TRUE(s.rec().conn_events().empty());

    s.connect_and_logon();
    EXPECT_EQ(1u, s.log_count("info open query servr 127.0.0.1:" + std::to_string(s.sim().port()) +
                              " successed\n"));
    // A second connect closes the first connection on this thread.
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }));
    EXPECT_FALSE(s.client()->IsLogon()) << "a new connection starts logged off";
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    const std::vector<conn_event> events = s.rec().conn_events();
    ASSERT_EQ(4u, events.size());
    for (size_t i : {0, 1, 2, 3}) {
        EXPECT_EQ(i % 2 ? "local disconnected" : "conn ok", events[i].text);
        EXPECT_EQ(i % 2 ? ZUL_CONN_LOCAL_DISCONNECTED : ZUL_CONN_OK, events[i].code);
        EXPECT_EQ(i % 2 == 1, pthread_equal(events[i].thread, pthread_self()) != 0) << "thread";
    }
    EXPECT_EQ(2u, s.log_count("info close query client\n"));
    EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, send_logon(s.handle()));
}

class LogonInConnOk : public ::testing::TestWithParam<bool> {};

TEST_P(LogonInConnOk, WorksInBothGenerationsWhileAConnectThereIsRefused) {
    zulsim::Options o;
    o.hv27 = GetParam();
    sim_session s(o);
    std::atomic<int> connect_result{-1};
    s.rec().on_conn = [&](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK) {
            connect_result = KQZUL_ConnQueryServer(h, server_at(s.sim().port()));
            send_logon(h);
        }
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.client()->m_e_connect_status == E_STATUS_LOGONED; }));
    EXPECT_TRUE(s.client()->IsLogon());
    EXPECT_EQ(GetParam(), s.client()->IsHv27Version());
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, connect_result.load());
    EXPECT_EQ(1u, s.sim().accepted());
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, LogonInConnOk, ::testing::Bool());

TEST(Connection, LogonAnsweredBeforeConnOkReturnsSurvivesTheEventThreadsStateWrites) {
    sim_session s;
    // The transport reads nothing while "conn ok" runs, so the answer is handed to
    // the client from another thread, as its receive worker would, and handled in full.
    s.rec().on_conn = [&](void*, ERR_NO code) {
        query_logon_msg_resp answer;
        if (code == ZUL_CONN_OK)
            std::thread([&] { s.client()->ProcQueryPortLogonRespMsg(&answer); }).join();
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    // The client's connect returns once the link is up, which may be before the
    // simulator has taken the connection on: then there is nobody to send to yet.
    ASSERT_TRUE(s.sim().wait_for_accepted(1, 10s));
    // Bytes read after the callback: their log line comes after its state writes.
    zulsim::Bytes junk(16, 0);
    junk[0] = 0x48, junk[1] = 0x11, junk[2] = 16;
    ASSERT_EQ(1u, s.sim().send_raw(junk));
    ASSERT_TRUE(wait_until([&] { return s.log_count("unknown msg type: 4424") == 1; }));
    EXPECT_TRUE(s.client()->IsLogon());
    EXPECT_EQ(E_STATUS_LOGONED, s.client()->m_e_connect_status.load());
}

// With auto reconnect every server drop is reported, logged and repaired with a new
// "conn ok" and logon, while three threads keep sending: no two requests ever mix.
// A local close stops the reconnect thread, and a destruction waits for it.
TEST(Connection, AutoReconnectRepairsEveryDropUntilCloseOrDestroy) {
    sim_session s;
    CQueryClient* c = s.client();
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.rec().on_conn = [](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK)
            send_logon(h);
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return c->m_connect_thread_is_running == 1; })) << "not started";
    std::atomic<bool> stop{false};
    std::vector<std::thread> senders;
    for (int t = 0; t < 3; ++t)
        senders.emplace_back([&] {
            for (; !stop; std::this_thread::sleep_for(200us))
                send_logon(s.handle());
        });
    bool repaired = true;  // the senders are joined before any assertion ends the test
    for (size_t round = 1; round <= 2 && repaired; ++round) {
        repaired = s.sim().wait_for_requests(100 * round, 10s);
        s.sim().drop_connections();
        // The campaign waits 2 s before its first attempt, and ends on the logon.
        repaired =
            repaired &&
            wait_until([&] { return s.log_count("quit for logon success\n") == round; }, 20s);
    }
    stop = true;
    for (std::thread& t : senders)
        t.join();
    ASSERT_TRUE(repaired);
    std::string trail;
    for (const conn_event& e : s.rec().conn_events())
        trail += e.text + "|";
    EXPECT_EQ("conn ok|remote disconnected|conn ok|remote disconnected|conn ok|", trail);
    EXPECT_EQ(2u, s.log_count("error query port disconnected by server\n"));
    for (const zulsim::ReceivedRequest& r : s.sim().requests())
        ASSERT_TRUE(r.id == 68 && r.text("m_login_id") == "trader01") << r.name;

    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    ASSERT_TRUE(wait_until([&] { return c->m_connect_thread_is_running == 0; }, 5s));
    EXPECT_EQ(3u, s.sim().accepted());
    // A new campaign, in its wait before the first attempt: a destruction that does
    // not wait for the thread shows as a use after free under the sanitizers.
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return c->m_connect_thread_is_running == 1; }));
    s.sim().drop_connections();
    ASSERT_TRUE(wait_until([&] { return s.log_count("debug query _th_try_reconn start\n") == 3; }));
    s.destroy();
}

// A link that ends while the first logon's callback runs is repaired all the same:
// the logon succeeded, so reconnection is due.
TEST(Connection, AutoReconnectRepairsALinkLostDuringTheLogonCallback) {
    sim_session s;
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.rec().on_conn = [](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK)
            send_logon(h);
    };
    std::atomic<int> logons{0};
    s.rec().on_logon = [&](void*, const ZUL_QueryLogonResponse&) {
        if (logons++ > 0)
            return;
        s.sim().drop_connections();
        wait_until([&] { return s.rec().count_conn(ZUL_CONN_REMOTE_DISCONNECTED) == 1; });
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }, 20s));
    ASSERT_TRUE(wait_until([&] { return s.log_count("quit for logon success\n") == 1; }));
    EXPECT_EQ(E_STATUS_LOGONED, s.client()->m_e_connect_status.load());
}

// Closing (0-2) or destroying (3-5) from inside the client's own callbacks: on the
// event thread ("conn ok"), the receive thread (logon answer) and the closing
// thread ("local disconnected"). test_teardown_in_callback.cpp holds the rest.
class CloseFromCallback : public ::testing::TestWithParam<int> {};

TEST_P(CloseFromCallback, NeitherDeadlocksNorLeaks) {
    const bool destroy = GetParam() >= 3;
    const int where = GetParam() % 3;
    sim_session s;
    void* h = destroy ? s.release() : s.handle();
    std::atomic<int> closed{0}, local_closes{0};
    auto close = [&](void* hh) {
        closed += (destroy ? KQZUL_DestroyQuery(hh) : KQZUL_DisConnQueryServer(hh)) == 0;
    };
    s.rec().on_conn = [&](void* hh, ERR_NO code) {
        if (code == ZUL_CONN_OK)
            where == 0 ? close(hh) : (void)send_logon(hh);
        if (code == ZUL_CONN_LOCAL_DISCONNECTED && where == 2 && closed == 0)
            close(hh);
        local_closes += code == ZUL_CONN_LOCAL_DISCONNECTED;  // last: done with the session
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
    // A destroy inside a callback is the last the caller hears of the client: no
    // "local disconnected" follows it (in 5 it came first and made the destroy).
    const int local_closes_expected = destroy && where != 2 ? 0 : 1;
    ASSERT_TRUE(wait_until([&] { return local_closes == local_closes_expected; }));
    ASSERT_TRUE(wait_until([&] { return s.sim().connections() == 0; }));
    if (destroy) {
        // Freed later on a thread of its own; the leak check sees it done.
        ASSERT_TRUE(wait_until([&] { return s.log_count("info destroy query client\n") == 1; }));
        EXPECT_EQ(local_closes_expected, local_closes.load());
    } else {
        ASSERT_EQ(ZUL_RESULT_OK, s.connect()) << "the client stays usable";
        ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }));
    }
}

INSTANTIATE_TEST_SUITE_P(OnEventReceiveAndClosingThread, CloseFromCallback, ::testing::Range(0, 6));
