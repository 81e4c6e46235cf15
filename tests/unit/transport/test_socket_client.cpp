#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "transport/linux_socket_client.h"
#include "transport/socket_cache_client.h"
#include "transport_support.h"

namespace {

using namespace transport_test;
typedef std::vector<std::string> strings;

// Sends from inside the report of a reset, while the socket is still open.
struct send_on_reset {
    socket_client* client = nullptr;
    std::atomic<int> result{1};
    static int callback(socket_param& p, void* self) {
        auto* me = static_cast<send_on_reset*>(self);
        if (p.get_event_type() == EVENT_REMOTE_DISCONNECT)
            me->result = me->client->sock_send("late", 4);
        return 0;
    }
};

TEST(SocketClient, SendToAResetPeerFailsWithoutKillingTheProcess) {
    loopback_server server;
    socket_client client;
    send_on_reset user;
    user.client = &client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), send_on_reset::callback, &user));
    server.close_peer(server.accept_peer(), true);
    ASSERT_TRUE(wait_until([&] { return user.result.load() != 1; }));
    EXPECT_EQ(-1, user.result.load());
}

// Holds the event thread in its first report until released.
struct slow_user {
    std::atomic<bool> entered{false}, release{false}, finished{false};
    std::atomic<int> locale_closes{0}, notices{0};
    static int callback(socket_param& p, void* self) {
        auto* me = static_cast<slow_user*>(self);
        me->locale_closes += p.get_event_type() == EVENT_LOCALE_DISCONNECT;
        if (p.get_event_type() != EVENT_CONNECT)
            return 0;
        me->entered = true;
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!me->release && std::chrono::steady_clock::now() < limit)
            usleep(1000);
        me->finished = true;
        return 0;
    }
    static void notice(void* self) { ++static_cast<slow_user*>(self)->notices; }
};

// A close waits for a callback that takes its time, telling the wait notice every few
// seconds; the thread is never cancelled, so the callback ends as it would have.
TEST(SocketClient, CloseWaitsForALongCallbackAndNeverCancelsItsThread) {
    leak_check leaks;
    slow_user user;
    {
        loopback_server server;
        socket_client client;
        client.set_wait_notice(slow_user::notice, &user);
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), slow_user::callback, &user));
        ASSERT_TRUE(wait_until([&] { return user.entered.load(); }));
        std::atomic<bool> closed{false};
        std::thread closer([&] {
            client.sock_close();
            closed = true;
        });
        // Well past the 5 s after which the thread used to be cancelled.
        const bool noticed = wait_until([&] { return user.notices >= 2; }, 30000);
        EXPECT_FALSE(closed.load());
        user.release = true;
        closer.join();
        EXPECT_TRUE(noticed);
        EXPECT_TRUE(user.finished.load());
        EXPECT_EQ(1, user.locale_closes.load());
    }
    EXPECT_TRUE(leaks.clean());
}

typedef session<socket_cache_client> cache_session;

TEST(SocketCacheClient, SplitMessageLargerThanTheHoldBufferIsOfferedWholeOnceComplete) {
    cache_session s(CONSUME_WHOLE_FRAMES, 16u);
    ASSERT_TRUE(s.open());
    const std::string body = pattern(50000), frame = make_frame(body);
    ASSERT_TRUE(write_all(s.peer, frame.substr(0, 40)));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 1));
    quiet_window();  // nothing was consumed: the same bytes are not offered again
    EXPECT_EQ(1, s.rec.count(EVENT_RECEIVE));
    ASSERT_TRUE(write_all(s.peer, frame.substr(40)));
    ASSERT_TRUE(wait_until([&] { return !s.rec.frames().empty(); }));
    EXPECT_EQ(strings{body}, s.rec.frames());
    // Each run starts at the first byte not consumed and grows by what arrived.
    auto runs = s.rec.of_type(EVENT_RECEIVE);
    for (size_t i = 0; i < runs.size(); ++i) {
        EXPECT_EQ(0, runs[i].sock);
        EXPECT_TRUE(frame.compare(0, runs[i].bytes.size(), runs[i].bytes) == 0) << i;
        EXPECT_TRUE(i == 0 || runs[i].bytes.size() > runs[i - 1].bytes.size()) << i;
    }
}

TEST(SocketCacheClient, UserConsumingOneMessagePerCallIsCalledOncePerMessage) {
    cache_session s(CONSUME_ONE_FRAME, 8192u);
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(write_all(s.peer, make_frame("one") + make_frame("two") + make_frame("three")));
    ASSERT_TRUE(wait_until([&] { return s.rec.frames().size() == 3; }));
    quiet_window();
    EXPECT_EQ(3, s.rec.count(EVENT_RECEIVE));
    EXPECT_EQ((strings{"one", "two", "three"}), s.rec.frames());
    EXPECT_EQ(make_frame("three"), s.rec.of_type(EVENT_RECEIVE)[2].bytes);
}

TEST(SocketCacheClient, EachEndIsReportedOnceAndTheObjectConnectsAgain) {
    cache_session s(CONSUME_ALL, 8192u);
    leak_check leaks;
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(s.open());
        ASSERT_TRUE(write_all(s.peer, "dddd"));
        if (round == 2) {  // the far side ends this one at once; nobody takes it up again
            s.server.close_peer(s.peer);
            ASSERT_TRUE(s.rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));
            EXPECT_EQ(-1, s.server.accept_peer(200));
        }
        // Bytes that came before the end are read before it is seen.
        EXPECT_TRUE(wait_until([&] { return s.rec.consumed() == std::string(4u * round, 'd'); }));
        EXPECT_TRUE(s.client.sock_close());
        EXPECT_TRUE(s.client.sock_close());
        EXPECT_EQ(1, s.rec.count(EVENT_LOCALE_DISCONNECT));
        EXPECT_FALSE(s.client.is_connected());
        EXPECT_EQ(-1, s.client.get_socket());
        EXPECT_EQ(-1, s.client.sock_send("x", 1));
        if (round == 1)
            s.server.close_peer(s.peer);
        EXPECT_TRUE(leaks.clean()) << "round " << round;
    }
    EXPECT_EQ(2, s.rec.count(EVENT_CONNECT));
    EXPECT_EQ(1, s.rec.count(EVENT_REMOTE_DISCONNECT));
}

TEST(SocketCacheClient, AsynchronousSendWithoutConnectionTakesTheWholeLength) {
    event_recorder rec;
    socket_cache_client client(8192);
    const std::string data(100, 'q');
    EXPECT_EQ(100, client.sock_send(data.data(), 100));
    // A connect that cannot be made (here refused before any packet goes out).
    EXPECT_FALSE(
        client.sock_init("999.0.0.1", closed_port(), event_recorder::callback, &rec, true));
    EXPECT_EQ(100, client.sock_send(data.data(), 100));
    EXPECT_TRUE(client.sock_close());
    EXPECT_EQ(0, rec.count(ANY_EVENT));
}

// One connection's life as the query client lives it: a new transport, connect,
// request, answer, close, destroy.
void run_cycle(loopback_server& server, int round) {
    event_recorder rec;
    socket_cache_client client(8192);
    client.set_epoll_max_wait_time(1);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    const std::string request = "req" + std::to_string(round), answer = "ans" + request;
    ASSERT_EQ(static_cast<int>(request.size()),
              client.sock_send(request.data(), static_cast<int>(request.size())));
    ASSERT_EQ(request, read_exact(peer, request.size()));
    ASSERT_TRUE(write_all(peer, answer));
    ASSERT_TRUE(wait_until([&] { return rec.consumed() == answer; }));
    ASSERT_TRUE(client.sock_close());
    server.close_peer(peer);
}

TEST(TransportCycles, ThousandConnectionsLeakNoDescriptorAndNoThread) {
    loopback_server server;
    leak_check leaks;
    for (int round = 0; round < 1000 && !HasFatalFailure(); ++round)
        run_cycle(server, round);
    EXPECT_TRUE(leaks.clean()) << leak_check::threads() << " threads, " << leak_check::fds()
                               << " fds";
}

}  // namespace
