#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "loopback_server.h"
#include "transport/socket_cache_client.h"

namespace {

using transport_test::CONSUME_ALL;
using transport_test::CONSUME_ONE_FRAME;
using transport_test::CONSUME_WHOLE_FRAMES;
using transport_test::event_recorder;
using transport_test::loopback_server;
using transport_test::make_frame;
using transport_test::open_fd_count;
using transport_test::thread_count;
using transport_test::wait_until;

const char* const LOOPBACK = "127.0.0.1";
const unsigned int HOLD_SIZE = 8192;

std::string pattern(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i)
        s.push_back(static_cast<char>('A' + i % 23));
    return s;
}

TEST(SocketCacheClient, SplitMessageIsOfferedWholeOnlyOnceComplete) {
    loopback_server server;
    event_recorder rec(CONSUME_WHOLE_FRAMES);
    socket_cache_client client(HOLD_SIZE);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    std::string frame = make_frame(pattern(98));
    ASSERT_TRUE(loopback_server::write_all(peer, frame.substr(0, 40)));
    ASSERT_TRUE(rec.wait_for(EVENT_RECEIVE, 1));
    // Nothing was consumed: the worker must not offer the same bytes again.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(1, rec.count(EVENT_RECEIVE));
    ASSERT_TRUE(loopback_server::write_all(peer, frame.substr(40)));
    ASSERT_TRUE(rec.wait_for(EVENT_RECEIVE, 2));
    auto runs = rec.of_type(EVENT_RECEIVE);
    ASSERT_EQ(2u, runs.size());
    EXPECT_EQ(frame.substr(0, 40), runs[0].bytes);
    EXPECT_EQ(frame, runs[1].bytes);
    for (const auto& r : runs) {
        EXPECT_EQ(0, r.sock);
        EXPECT_EQ(0, r.socket_id);
    }
    ASSERT_EQ(1u, rec.frames().size());
    EXPECT_EQ(pattern(98), rec.frames()[0]);
    client.sock_close();
}

TEST(SocketCacheClient, UserConsumingOneMessagePerCallIsCalledOncePerMessage) {
    loopback_server server;
    event_recorder rec(CONSUME_ONE_FRAME);
    socket_cache_client client(HOLD_SIZE);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    ASSERT_TRUE(loopback_server::write_all(
        peer, make_frame("one") + make_frame("two") + make_frame("three")));
    ASSERT_TRUE(wait_until([&] { return rec.frames().size() == 3; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(3, rec.count(EVENT_RECEIVE));
    EXPECT_EQ((std::vector<std::string>{"one", "two", "three"}), rec.frames());
    // Each call starts at the first byte not consumed.
    auto runs = rec.of_type(EVENT_RECEIVE);
    EXPECT_EQ(make_frame("three"), runs[2].bytes);
    client.sock_close();
}

TEST(SocketCacheClient, MessageLargerThanTheHoldBufferArrivesWhole) {
    loopback_server server;
    event_recorder rec(CONSUME_WHOLE_FRAMES);
    socket_cache_client client(16);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    std::string body = pattern(50000);
    ASSERT_TRUE(loopback_server::write_all(peer, make_frame(body)));
    ASSERT_TRUE(wait_until([&] { return rec.frames().size() == 1; }));
    EXPECT_EQ(body, rec.frames()[0]);
    client.sock_close();
}

TEST(SocketCacheClient, EachEventComesFromItsThread) {
    loopback_server server;
    event_recorder rec(CONSUME_ALL);
    socket_cache_client client(HOLD_SIZE);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    ASSERT_TRUE(rec.wait_for(EVENT_CONNECT, 1));
    ASSERT_TRUE(loopback_server::write_all(peer, "ping"));
    ASSERT_TRUE(rec.wait_for(EVENT_RECEIVE, 1));
    EXPECT_EQ(4, client.sock_send("pong", 4));
    EXPECT_EQ("pong", loopback_server::read_exact(peer, 4));
    client.sock_close();

    auto me = std::this_thread::get_id();
    auto event_thread = rec.of_type(EVENT_CONNECT)[0].thread;
    auto receive_thread = rec.of_type(EVENT_RECEIVE)[0].thread;
    EXPECT_NE(me, event_thread);
    EXPECT_NE(me, receive_thread);
    EXPECT_NE(event_thread, receive_thread);
    // Direct sends and the local close run on the caller.
    auto sends = rec.of_type(EVENT_SEND);
    ASSERT_EQ(1u, sends.size());
    EXPECT_EQ(me, sends[0].thread);
    EXPECT_EQ("pong", sends[0].bytes);
    auto closes = rec.of_type(EVENT_LOCALE_DISCONNECT);
    ASSERT_EQ(1u, closes.size());
    EXPECT_EQ(me, closes[0].thread);
}

TEST(SocketCacheClient, AsynchronousSendGoesOutOnTheSendWorker) {
    loopback_server server;
    event_recorder rec(CONSUME_ALL);
    socket_cache_client client(HOLD_SIZE);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec, true));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    std::string message = pattern(3000);
    std::string copy = message;
    EXPECT_EQ(3000, client.sock_send(copy.data(), 3000));
    // The bytes were copied: the caller may reuse its buffer at once.
    copy.assign(copy.size(), '#');
    EXPECT_EQ(message, loopback_server::read_exact(peer, 3000));
    ASSERT_TRUE(rec.wait_for(EVENT_SEND, 1));
    std::string sent;
    for (const auto& s : rec.of_type(EVENT_SEND)) {
        EXPECT_NE(std::this_thread::get_id(), s.thread);
        sent += s.bytes;
    }
    EXPECT_EQ(message, sent);
    client.sock_close();
}

TEST(SocketCacheClient, AsynchronousSendWithoutConnectionTakesTheWholeLength) {
    event_recorder rec;
    socket_cache_client client(HOLD_SIZE);
    std::string data(100, 'q');
    EXPECT_EQ(100, client.sock_send(data.data(), 100));

    unsigned short port;
    {
        loopback_server gone;
        port = gone.port();
    }
    EXPECT_FALSE(client.sock_init(LOOPBACK, port, event_recorder::callback, &rec, true));
    EXPECT_EQ(100, client.sock_send(data.data(), 100));
    EXPECT_EQ(0, client.sock_send(data.data(), 0));
    EXPECT_EQ(-1, client.sock_send(nullptr, 5));
    EXPECT_TRUE(client.sock_close());
    EXPECT_TRUE(rec.events().empty());
}

TEST(SocketCacheClient, CloseTwiceReportsOnceAndInitAfterCloseWorks) {
    loopback_server server;
    event_recorder rec(CONSUME_ALL);
    socket_cache_client client(HOLD_SIZE);
    int threads = thread_count();
    int fds = open_fd_count();
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
        int peer = server.accept_peer();
        ASSERT_NE(-1, peer);
        ASSERT_TRUE(loopback_server::write_all(peer, "data"));
        ASSERT_TRUE(wait_until([&] { return rec.consumed().size() == 4u * round; }));
        EXPECT_TRUE(client.sock_close());
        EXPECT_TRUE(client.sock_close());
        EXPECT_EQ(round, rec.count(EVENT_LOCALE_DISCONNECT));
        EXPECT_FALSE(client.is_connected());
        server.close_peer(peer);
        EXPECT_TRUE(wait_until([&] { return thread_count() == threads; }));
        EXPECT_EQ(fds, open_fd_count());
    }
    EXPECT_EQ(2, rec.count(EVENT_CONNECT));
    EXPECT_EQ(0, rec.count(EVENT_REMOTE_DISCONNECT));
}

TEST(SocketCacheClient, FarSideCloseIsReportedOnceAfterTheLastBytes) {
    loopback_server server;
    event_recorder rec(CONSUME_ALL);
    socket_cache_client client(HOLD_SIZE);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    ASSERT_TRUE(loopback_server::write_all(peer, "goodbye"));
    server.close_peer(peer);
    ASSERT_TRUE(rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));
    EXPECT_TRUE(wait_until([&] { return rec.consumed() == "goodbye"; }));
    EXPECT_FALSE(client.is_connected());
    EXPECT_TRUE(client.sock_close());
    EXPECT_EQ(1, rec.count(EVENT_REMOTE_DISCONNECT));
    EXPECT_EQ(0, rec.count(EVENT_LOCALE_DISCONNECT));
}

TEST(SocketCacheClient, ReconnectionDropsThePartialMessageOfTheOldConnection) {
    loopback_server server;
    event_recorder rec(CONSUME_WHOLE_FRAMES);
    socket_cache_client client(HOLD_SIZE);
    client.set_auto_reconn_falg(true, 1);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int first = server.accept_peer();
    ASSERT_NE(-1, first);
    ASSERT_TRUE(loopback_server::write_all(first, make_frame("lost message").substr(0, 6)));
    ASSERT_TRUE(rec.wait_for(EVENT_RECEIVE, 1));
    server.close_peer(first);
    ASSERT_TRUE(rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));

    int second = server.accept_peer(15000);
    ASSERT_NE(-1, second);
    ASSERT_TRUE(rec.wait_for(EVENT_CONNECT, 2));
    EXPECT_TRUE(client.is_connected());
    ASSERT_TRUE(loopback_server::write_all(second, make_frame("fresh")));
    ASSERT_TRUE(wait_until([&] { return !rec.frames().empty(); }));
    EXPECT_EQ(std::vector<std::string>{"fresh"}, rec.frames());
    EXPECT_TRUE(client.sock_close());
    EXPECT_EQ(1, rec.count(EVENT_LOCALE_DISCONNECT));
}

TEST(SocketCacheClient, WithoutAutoReconnectALostConnectionStaysDown) {
    loopback_server server;
    event_recorder rec(CONSUME_ALL);
    socket_cache_client client(HOLD_SIZE);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    server.close_peer(peer);
    ASSERT_TRUE(rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));
    EXPECT_EQ(-1, server.accept_peer(200));
    EXPECT_EQ(1, rec.count(EVENT_CONNECT));
    client.sock_close();
}

TEST(SocketCacheClient, DestroyingWithoutCloseStopsEverythingQuietly) {
    int threads = thread_count();
    loopback_server server;
    event_recorder rec(CONSUME_ALL);
    {
        socket_cache_client client(HOLD_SIZE);
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
        int peer = server.accept_peer();
        ASSERT_NE(-1, peer);
        ASSERT_TRUE(loopback_server::write_all(peer, "x"));
        ASSERT_TRUE(rec.wait_for(EVENT_RECEIVE, 1));
    }
    EXPECT_EQ(0, rec.count(EVENT_LOCALE_DISCONNECT));
    EXPECT_TRUE(wait_until([&] { return thread_count() == threads; }));
}

}  // namespace
