#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "loopback_server.h"
#include "transport/socket_cache_client.h"

namespace {

using namespace transport_test;
typedef session<socket_cache_client> cache_session;
const unsigned int HOLD_SIZE = 8192;

std::string pattern(size_t n) {
    std::string s(n, ' ');
    for (size_t i = 0; i < n; ++i)
        s[i] = static_cast<char>('A' + i % 23);
    return s;
}

// A window in which a call that must not come would have come.
void quiet_window() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

TEST(SocketCacheClient, SplitMessageIsOfferedWholeOnlyOnceComplete) {
    cache_session s(CONSUME_WHOLE_FRAMES, HOLD_SIZE);
    ASSERT_TRUE(s.open());
    std::string frame = make_frame(pattern(98));
    ASSERT_TRUE(loopback_server::write_all(s.peer, frame.substr(0, 40)));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 1));
    // Nothing was consumed: the same bytes are not offered again.
    quiet_window();
    EXPECT_EQ(1, s.rec.count(EVENT_RECEIVE));
    ASSERT_TRUE(loopback_server::write_all(s.peer, frame.substr(40)));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 2));
    auto runs = s.rec.of_type(EVENT_RECEIVE);
    ASSERT_EQ(2u, runs.size());
    EXPECT_EQ(frame.substr(0, 40), runs[0].bytes);
    EXPECT_EQ(frame, runs[1].bytes);
    EXPECT_EQ(0, runs[1].sock);
    EXPECT_EQ(std::vector<std::string>{pattern(98)}, s.rec.frames());
}

TEST(SocketCacheClient, UserConsumingOneMessagePerCallIsCalledOncePerMessage) {
    cache_session s(CONSUME_ONE_FRAME, HOLD_SIZE);
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(loopback_server::write_all(
        s.peer, make_frame("one") + make_frame("two") + make_frame("three")));
    ASSERT_TRUE(wait_until([&] { return s.rec.frames().size() == 3; }));
    quiet_window();
    EXPECT_EQ(3, s.rec.count(EVENT_RECEIVE));
    EXPECT_EQ((std::vector<std::string>{"one", "two", "three"}), s.rec.frames());
    // Each call starts at the first byte not consumed.
    EXPECT_EQ(make_frame("three"), s.rec.of_type(EVENT_RECEIVE)[2].bytes);
}

TEST(SocketCacheClient, MessageLargerThanTheHoldBufferArrivesWhole) {
    cache_session s(CONSUME_WHOLE_FRAMES, 16u);
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(loopback_server::write_all(s.peer, make_frame(pattern(50000))));
    ASSERT_TRUE(wait_until([&] { return s.rec.frames().size() == 1; }));
    EXPECT_EQ(pattern(50000), s.rec.frames()[0]);
}

TEST(SocketCacheClient, EachEventComesFromItsThread) {
    cache_session s(CONSUME_ALL, HOLD_SIZE);
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(loopback_server::write_all(s.peer, "ping"));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 1));
    EXPECT_EQ(4, s.client.sock_send("pong", 4));
    EXPECT_EQ("pong", loopback_server::read_exact(s.peer, 4));
    s.client.sock_close();

    auto me = std::this_thread::get_id();
    auto event_thread = s.rec.of_type(EVENT_CONNECT)[0].thread;
    auto receive_thread = s.rec.of_type(EVENT_RECEIVE)[0].thread;
    EXPECT_NE(me, event_thread);
    EXPECT_NE(me, receive_thread);
    EXPECT_NE(event_thread, receive_thread);
    // Direct sends and the local close run on the caller.
    auto sends = s.rec.of_type(EVENT_SEND);
    ASSERT_EQ(1u, sends.size());
    EXPECT_EQ(me, sends[0].thread);
    EXPECT_EQ("pong", sends[0].bytes);
    auto closes = s.rec.of_type(EVENT_LOCALE_DISCONNECT);
    ASSERT_EQ(1u, closes.size());
    EXPECT_EQ(me, closes[0].thread);
}

TEST(SocketCacheClient, AsynchronousSendGoesOutOnTheSendWorker) {
    cache_session s(CONSUME_ALL, HOLD_SIZE);
    ASSERT_TRUE(
        s.client.sock_init(LOOPBACK, s.server.port(), event_recorder::callback, &s.rec, true));
    int peer = s.server.accept_peer();
    std::string copy = pattern(3000);
    EXPECT_EQ(3000, s.client.sock_send(copy.data(), 3000));
    // The bytes were copied: the caller may reuse its buffer at once.
    copy.assign(copy.size(), '#');
    EXPECT_EQ(pattern(3000), loopback_server::read_exact(peer, 3000));
    ASSERT_TRUE(s.rec.wait_for(EVENT_SEND, 1));
    std::string sent;
    for (const auto& e : s.rec.of_type(EVENT_SEND)) {
        EXPECT_NE(std::this_thread::get_id(), e.thread);
        sent += e.bytes;
    }
    EXPECT_EQ(pattern(3000), sent);
}

TEST(SocketCacheClient, AsynchronousSendWithoutConnectionTakesTheWholeLength) {
    event_recorder rec;
    socket_cache_client client(HOLD_SIZE);
    std::string data(100, 'q');
    EXPECT_EQ(100, client.sock_send(data.data(), 100));
    EXPECT_FALSE(client.sock_init(LOOPBACK, closed_port(), event_recorder::callback, &rec, true));
    EXPECT_EQ(100, client.sock_send(data.data(), 100));
    EXPECT_EQ(0, client.sock_send(data.data(), 0));
    EXPECT_EQ(-1, client.sock_send(nullptr, 5));
    EXPECT_TRUE(client.sock_close());
    EXPECT_EQ(0u, rec.total());
}

TEST(SocketCacheClient, CloseTwiceReportsOnceAndInitAfterCloseWorks) {
    cache_session s(CONSUME_ALL, HOLD_SIZE);
    int threads = baseline_thread_count();
    int fds = open_fd_count();
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(s.open());
        ASSERT_TRUE(loopback_server::write_all(s.peer, "data"));
        ASSERT_TRUE(wait_until([&] { return s.rec.consumed().size() == 4u * round; }));
        EXPECT_TRUE(s.client.sock_close());
        EXPECT_TRUE(s.client.sock_close());
        EXPECT_EQ(round, s.rec.count(EVENT_LOCALE_DISCONNECT));
        EXPECT_FALSE(s.client.is_connected());
        EXPECT_EQ(-1, s.client.get_socket());
        EXPECT_EQ(-1, s.client.sock_send("x", 1));
        s.server.close_peer(s.peer);
        EXPECT_TRUE(threads_back_to(threads));
        EXPECT_EQ(fds, open_fd_count());
    }
    EXPECT_EQ(2, s.rec.count(EVENT_CONNECT));
    EXPECT_EQ(0, s.rec.count(EVENT_REMOTE_DISCONNECT));
}

TEST(SocketCacheClient, FarSideCloseIsReportedOnceAndNotTakenUpAlone) {
    cache_session s(CONSUME_ALL, HOLD_SIZE);
    int fds = open_fd_count();
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(loopback_server::write_all(s.peer, "goodbye"));
    s.server.close_peer(s.peer);
    ASSERT_TRUE(s.rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));
    EXPECT_TRUE(wait_until([&] { return s.rec.consumed() == "goodbye"; }));
    EXPECT_FALSE(s.client.is_connected());
    // The event thread closes both descriptors on its way out.
    EXPECT_TRUE(wait_until([&] { return open_fd_count() == fds; }));
    EXPECT_EQ(-1, s.client.get_socket());
    // Without auto reconnect nobody connects again.
    EXPECT_EQ(-1, s.server.accept_peer(200));
    EXPECT_TRUE(s.client.sock_close());
    EXPECT_EQ(1, s.rec.count(EVENT_REMOTE_DISCONNECT));
    EXPECT_EQ(0, s.rec.count(EVENT_LOCALE_DISCONNECT));
}

TEST(SocketCacheClient, ReconnectionDropsThePartialMessageOfTheOldConnection) {
    cache_session s(CONSUME_WHOLE_FRAMES, HOLD_SIZE);
    s.client.set_auto_reconn_falg(true, 1);
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(loopback_server::write_all(s.peer, make_frame("lost message").substr(0, 6)));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 1));
    s.server.close_peer(s.peer);
    ASSERT_TRUE(s.rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));

    int second = s.server.accept_peer(15000);
    ASSERT_NE(-1, second);
    ASSERT_TRUE(s.rec.wait_for(EVENT_CONNECT, 2));
    ASSERT_TRUE(loopback_server::write_all(second, make_frame("fresh")));
    ASSERT_TRUE(wait_until([&] { return !s.rec.frames().empty(); }));
    EXPECT_EQ(std::vector<std::string>{"fresh"}, s.rec.frames());
    EXPECT_TRUE(s.client.sock_close());
    EXPECT_EQ(1, s.rec.count(EVENT_LOCALE_DISCONNECT));
}

// Calls back into the client from the client's own threads.
struct reentrant_user {
    socket_cache_client* client = nullptr;
    unsigned short port = 0;
    std::atomic<int> init_result{-1};
    std::atomic<bool> closed{false};
    static int callback(socket_param& p, void* self) {
        auto* me = static_cast<reentrant_user*>(self);
        if (p.get_event_type() == EVENT_RECEIVE && me->init_result == -1)
            me->init_result = me->client->sock_init(LOOPBACK, me->port, callback, me);
        if (p.get_event_type() == EVENT_REMOTE_DISCONNECT) {
            me->client->sock_close();
            me->closed = true;
        }
        return 0;
    }
};

TEST(SocketCacheClient, InitFromTheReceiveWorkerFailsWithAMessage) {
    loopback_server server;
    line_collector log;
    socket_cache_client client(HOLD_SIZE);
    client.sock_set_context(&log);
    reentrant_user user;
    user.client = &client;
    user.port = server.port();
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), reentrant_user::callback, &user));
    ASSERT_TRUE(loopback_server::write_all(server.accept_peer(), "x"));
    ASSERT_TRUE(wait_until([&] { return user.init_result.load() != -1; }));
    EXPECT_EQ(0, user.init_result.load());
    EXPECT_EQ(std::vector<std::string>{"start receive thread error, server ip:127.0.0.1, server "
                                       "port:" +
                                       std::to_string(server.port())},
              log.lines());
    // The connection that stood is untouched.
    EXPECT_TRUE(client.is_connected());
    client.sock_close();
}

TEST(SocketCacheClient, CloseFromTheEventThreadWaitsForTheWorkersOnly) {
    int threads = baseline_thread_count();
    loopback_server server;
    socket_cache_client client(HOLD_SIZE);
    reentrant_user user;
    user.client = &client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), reentrant_user::callback, &user));
    auto begin = std::chrono::steady_clock::now();
    server.close_peer(server.accept_peer());
    ASSERT_TRUE(wait_until([&] { return user.closed.load(); }));
    // Waiting for itself would take the 5 s before the cancellation.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    EXPECT_TRUE(threads_back_to(threads));
}

TEST(SocketCacheClient, DestroyingWithoutCloseStopsEverythingQuietly) {
    int threads = baseline_thread_count();
    loopback_server server;
    event_recorder rec;
    {
        socket_cache_client client(HOLD_SIZE);
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
        ASSERT_TRUE(loopback_server::write_all(server.accept_peer(), "x"));
        ASSERT_TRUE(rec.wait_for(EVENT_RECEIVE, 1));
    }
    EXPECT_EQ(0, rec.count(EVENT_LOCALE_DISCONNECT));
    EXPECT_TRUE(threads_back_to(threads));
}

}  // namespace
