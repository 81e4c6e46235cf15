#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "light_client_support.h"
#include "transport/linux_sckt_client.h"
#include "transport/linux_socket_param.h"

namespace {

using namespace transport_test;

// Reaches the state the tests look at and the error path of the event loop.
class open_sckt_client : public lc::sckt_client {
public:
    using lc::sckt_client::proc_thread_error;
    int sckt() { return m_sckt.load(); }
    bool thread_running() { return m_thread_running_flag.load(); }
};
typedef light_session<open_sckt_client> sckt_session;

TEST(ScktParam, DefaultRecordAndCopies) {
    lc::sckt_param empty;
    EXPECT_EQ(7, static_cast<int>(empty.get_event_type()));
    EXPECT_EQ(nullptr, empty.get_buff_addr());
    EXPECT_EQ(0u, empty.get_buff_size());

    const char* data = "payload";
    lc::sckt_param src(lc::EVENT_RECEIVE, 3, &data, 7);
    const char* refused = "no";
    EXPECT_FALSE(src.set_buff(nullptr, 2));
    EXPECT_FALSE(src.set_buff(&refused, 0));
    EXPECT_EQ(data, src.get_buff_addr());
    EXPECT_EQ(7u, src.get_buff_size());
    src.set_proc_len(5);
    src.set_alias("src");
    lc::sckt_param copy(src);
    EXPECT_EQ(5u, copy.get_proc_len());
    EXPECT_EQ(3, copy.get_sckt_id());
    EXPECT_EQ("", copy.get_alias());
    lc::sckt_param assigned;
    assigned.set_alias("mine");
    assigned = src;
    EXPECT_EQ(lc::EVENT_RECEIVE, assigned.get_event_type());
    EXPECT_EQ("mine", assigned.get_alias());
}

TEST(ScktClient, ReportsOneSendWhenFirstWritableThenReadsInOrder) {
    sckt_session s(CONSUME_ALL);
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(s.rec.wait_for(EVENT_SEND, 1));
    EXPECT_TRUE(s.client.is_connected());
    std::string data = pattern(20000);
    ASSERT_TRUE(loopback_server::write_all(s.peer, data));
    ASSERT_TRUE(wait_until([&] { return s.rec.consumed().size() >= data.size(); }));
    EXPECT_EQ(data, s.rec.consumed());
    auto reads = s.rec.of_type(EVENT_RECEIVE);
    EXPECT_GE(reads.size(), 3u);
    for (const auto& r : reads)
        EXPECT_LE(r.bytes.size(), 8192u);
    // Writability is reported once only, however long the socket stays writable.
    quiet_window();
    auto sends = s.rec.of_type(EVENT_SEND);
    ASSERT_EQ(1u, sends.size());
    EXPECT_EQ("", sends[0].bytes);
    auto connect = s.rec.of_type(EVENT_CONNECT);
    ASSERT_EQ(1u, connect.size());
    EXPECT_NE(std::this_thread::get_id(), connect[0].thread);
    EXPECT_EQ(connect[0].thread, reads.back().thread);
}

TEST(ScktClient, SendHandsOverTheWholeBufferOrFailsBeforeTheFirstByte) {
    sckt_session s(CONSUME_ALL);
    EXPECT_EQ(-1, s.client.sock_send("abc", 3));
    EXPECT_EQ(-1, s.client.sock_send("", 0));
    ASSERT_TRUE(s.open());
    EXPECT_EQ(0, s.client.sock_send("", 0));

    // Far more than the socket buffers hold: the call waits until all is taken.
    std::string big = pattern(2 * 1024 * 1024 + 3);
    std::string received;
    std::thread reader([&] { received = loopback_server::read_exact(s.peer, big.size()); });
    EXPECT_EQ(static_cast<int>(big.size()),
              s.client.sock_send(big.data(), static_cast<int>(big.size())));
    reader.join();
    EXPECT_TRUE(received == big);

    // Single bytes into a peer that doesn't read: each goes whole or not at all, and
    // the first that finds the socket full gives -1 with nothing sent. Small buffers
    // on both ends make that come soon.
    int small = 4096;
    setsockopt(s.client.sckt(), SOL_SOCKET, SO_SNDBUF, &small, sizeof(small));
    setsockopt(s.peer, SOL_SOCKET, SO_RCVBUF, &small, sizeof(small));
    int taken = 0;
    int result = 1;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (result == 1 && std::chrono::steady_clock::now() < deadline) {
        result = s.client.sock_send("z", 1);
        taken += result == 1;
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ(std::string(static_cast<size_t>(taken), 'z'),
              loopback_server::read_exact(s.peer, static_cast<size_t>(taken)));
    char extra;
    EXPECT_EQ(-1, recv(s.peer, &extra, 1, MSG_DONTWAIT));
    EXPECT_TRUE(s.client.is_connected());
    // sock_send itself reports nothing.
    EXPECT_TRUE(s.rec.wait_for(EVENT_SEND, 1));
    quiet_window();
    EXPECT_EQ(1, s.rec.count(EVENT_SEND));
}

TEST(ScktClient, FarSideEndIsReportedOnceAndClosesOurDescriptors) {
    sckt_session s(CONSUME_ALL);
    int fds = open_fd_count();
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(s.rec.wait_for(EVENT_CONNECT, 1));
    // Bytes and the end together: whatever of them is read comes in order.
    ASSERT_TRUE(loopback_server::write_all(s.peer, "tail"));
    s.server.close_peer(s.peer);
    ASSERT_TRUE(s.rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));
    EXPECT_EQ(0u, std::string("tail").find(s.rec.consumed()));
    EXPECT_FALSE(s.client.is_connected());
    ASSERT_TRUE(wait_until([&] { return !s.client.thread_running(); }));
    EXPECT_EQ(-1, s.client.sckt());
    EXPECT_EQ(fds, open_fd_count());
    EXPECT_EQ(-1, s.client.sock_send("x", 1));
    // Every close reports the local end, also after the far side's.
    EXPECT_TRUE(s.client.sock_close());
    EXPECT_TRUE(s.client.sock_close());
    EXPECT_EQ(2, s.rec.count(EVENT_LOCALE_DISCONNECT));
    EXPECT_EQ(1, s.rec.count(EVENT_REMOTE_DISCONNECT));
}

TEST(ScktClient, OurCloseReachesTheFarSide) {
    sckt_session s(CONSUME_ALL);
    int fds = open_fd_count();
    ASSERT_TRUE(s.open());
    EXPECT_TRUE(s.client.sock_close());
    EXPECT_EQ(1, s.rec.count(EVENT_LOCALE_DISCONNECT));
    EXPECT_FALSE(s.client.is_connected());
    EXPECT_TRUE(peer_sees_end(s.peer));
    // Only the server's end of the connection is left.
    EXPECT_EQ(fds + 1, open_fd_count());
    EXPECT_EQ(0, s.rec.count(EVENT_REMOTE_DISCONNECT));
}

TEST(ScktClient, FailedInitShowsOnlyInItsResult) {
    sckt_session s(CONSUME_ALL);
    int fds = open_fd_count();
    EXPECT_FALSE(s.client.sock_init(LOOPBACK, s.server.port(), nullptr, nullptr));
    EXPECT_FALSE(s.client.sock_init(LOOPBACK, closed_port(), light_to_recorder, &s.rec));
    EXPECT_FALSE(s.client.is_connected());
    EXPECT_EQ(-1, s.client.sock_send("abc", 3));
    EXPECT_EQ(0u, s.rec.total());
    EXPECT_EQ(fds, open_fd_count());
    // A close reports the local end even where no connection stood.
    EXPECT_TRUE(s.client.sock_close());
    EXPECT_EQ(1, s.rec.count(EVENT_LOCALE_DISCONNECT));
}

TEST(ScktClient, StandingConnectionIsKeptAndAnEndedOneReopened) {
    sckt_session s(CONSUME_ALL);
    ASSERT_TRUE(s.open());
    // A second init leaves the standing connection alone.
    EXPECT_FALSE(s.client.sock_init(LOOPBACK, s.server.port(), light_to_recorder, &s.rec));
    EXPECT_EQ(-1, s.server.accept_peer(100));
    ASSERT_TRUE(loopback_server::write_all(s.peer, "one"));
    ASSERT_TRUE(wait_until([&] { return s.rec.consumed() == "one"; }));

    // Reopened at once from the far side's end: the leaving thread is waited for.
    s.server.close_peer(s.peer);
    ASSERT_TRUE(s.rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(loopback_server::write_all(s.peer, "two"));
    ASSERT_TRUE(wait_until([&] { return s.rec.consumed() == "onetwo"; }));

    // And from our own close.
    EXPECT_TRUE(s.client.sock_close());
    ASSERT_TRUE(s.open());
    EXPECT_EQ(3, s.client.sock_send("abc", 3));
    EXPECT_EQ("abc", loopback_server::read_exact(s.peer, 3));
    EXPECT_TRUE(s.rec.wait_for(EVENT_CONNECT, 3));
}

// Closes its own client from inside the report of received bytes.
struct close_on_receive {
    lc::sckt_client* client = nullptr;
    std::atomic<int> result{-2};
    std::atomic<int> locale_closes{0};
    static int callback(lc::sckt_param& p, void* self) {
        auto* me = static_cast<close_on_receive*>(self);
        if (p.get_event_type() == lc::EVENT_LOCALE_DISCONNECT)
            ++me->locale_closes;
        if (p.get_event_type() == lc::EVENT_RECEIVE)
            me->result = me->client->sock_close() ? 1 : 0;
        return 0;
    }
};

TEST(ScktClient, CloseFromItsOwnCallbackGivesUpWaitingAndTheThreadEnds) {
    loopback_server server;
    open_sckt_client client;
    close_on_receive user;
    user.client = &client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), close_on_receive::callback, &user));
    int peer = server.accept_peer();
    ASSERT_TRUE(loopback_server::write_all(peer, "x"));
    ASSERT_TRUE(wait_until([&] { return user.result.load() != -2; }));
    // The thread can't see itself leave while it is still in the callback.
    EXPECT_EQ(0, user.result.load());
    EXPECT_TRUE(peer_sees_end(peer));
    ASSERT_TRUE(wait_until([&] { return !client.thread_running(); }));
    EXPECT_EQ(1, user.locale_closes.load());
}

// Blocks the event thread in its first report until it is cancelled.
struct stuck_user {
    std::atomic<bool> entered{false};
    std::atomic<int> locale_closes{0};
    static int callback(lc::sckt_param& p, void* self) {
        auto* me = static_cast<stuck_user*>(self);
        if (p.get_event_type() == lc::EVENT_LOCALE_DISCONNECT)
            ++me->locale_closes;
        if (p.get_event_type() != lc::EVENT_CONNECT)
            return 0;
        me->entered = true;
        for (;;)
            usleep(1000);
    }
};

TEST(ScktClient, DestructorCancelsACallbackThatNeverReturns) {
    int fds = open_fd_count();
    int threads = baseline_thread_count();
    stuck_user user;
    {
        loopback_server server;
        std::unique_ptr<lc::sckt_client> client(new lc::sckt_client());
        ASSERT_TRUE(client->sock_init(LOOPBACK, server.port(), stuck_user::callback, &user));
        ASSERT_TRUE(wait_until([&] { return user.entered.load(); }));
        EXPECT_FALSE(client->sock_close());
        EXPECT_EQ(1, user.locale_closes.load());
        // The destructor waits its bound, cancels, and waits for the unwinding.
        auto begin = std::chrono::steady_clock::now();
        client.reset();
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    }
    EXPECT_EQ(fds, open_fd_count());
    EXPECT_TRUE(threads_back_to(threads));
}

TEST(ScktClient, EveryWaitFailureIsLoggedWithItsRunningCount) {
    open_sckt_client client;
    epoll_error counts;
    std::ostringstream out;
    std::streambuf* old = std::cout.rdbuf(out.rdbuf());
    for (int err : {EINTR, EINTR, EBADF, EFAULT, EINVAL, ENOMEM, ENOMEM})
        client.proc_thread_error(err, counts);
    std::cout.rdbuf(old);
    EXPECT_EQ(2, counts.m_wait_error_EINTR);
    EXPECT_EQ(1, counts.m_wait_error_EBADF);
    EXPECT_EQ(1, counts.m_wait_error_EFAULT);
    EXPECT_EQ(1, counts.m_wait_error_EINVAL);
    EXPECT_EQ(2, counts.m_wait_error_UNDEF);
    std::string eintr =
        "epoll_waite error! the call was interrupted by a signal handler before any of the "
        "requested events occurred or timeout expired. error times(";
    EXPECT_EQ(eintr + "1)\n" + eintr + "2)\n" +
                  "epoll_waite error! epoll_handle:-1  is not a valid file descriptor. error "
                  "times(1)\n"
                  "epoll_waite error! epoll_event is not accessible with write. error times(1)\n"
                  "epoll_waite error! m_epoll_handle is not an epoll file descriptor, or "
                  "maxevents is less than or equal to zero. error times(1)\n"
                  "epoll_waite error! undefine wait error. error times(1)\n"
                  "epoll_waite error! undefine wait error. error times(2)\n",
              out.str());
}

}  // namespace
