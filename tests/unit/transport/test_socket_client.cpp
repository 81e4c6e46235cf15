#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "loopback_server.h"
#include "transport/linux_socket_client.h"

namespace {

using transport_test::event_recorder;
using transport_test::loopback_server;
using transport_test::open_fd_count;
using transport_test::thread_count;
using transport_test::wait_until;

const char* const LOOPBACK = "127.0.0.1";

// Collects the log lines of a socket object.
class line_collector : public socket_context {
public:
    void on_socket_write_info_msg(const char* msg, int len) override {
        std::lock_guard<std::mutex> guard(m_lock);
        m_lines.push_back(std::string(msg, static_cast<size_t>(len)));
    }
    void on_socket_write_error_msg(const char*, int) override {}
    void on_socket_write_bin_msg(const char*, int) override {}
    std::vector<std::string> lines() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_lines;
    }

private:
    std::mutex m_lock;
    std::vector<std::string> m_lines;
};

// Reaches the counters and the error path of the event loop.
class open_client : public socket_client {
public:
    using socket_client::proc_thread_error;
    const epoll_error& errors() const { return m_error_statistic; }
};

unsigned short closed_port() {
    // A port that was just free: nothing listens there.
    loopback_server gone;
    return gone.port();
}

TEST(SocketClient, InitWithoutCallbackFails) {
    loopback_server server;
    socket_client client;
    EXPECT_FALSE(client.sock_init(LOOPBACK, server.port(), nullptr, nullptr));
    EXPECT_FALSE(client.is_connected());
    EXPECT_EQ(-1, client.get_sock());
}

TEST(SocketClient, InitWithoutCallbackEndsTheEarlierConnection) {
    loopback_server server;
    event_recorder rec;
    socket_client client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    ASSERT_TRUE(rec.wait_for(EVENT_CONNECT, 1));
    EXPECT_FALSE(client.sock_init(LOOPBACK, server.port(), nullptr, nullptr));
    EXPECT_EQ(1, rec.count(EVENT_LOCALE_DISCONNECT));
    EXPECT_FALSE(client.is_connected());
}

TEST(SocketClient, UnreachableServerFailsQuietly) {
    int fds = open_fd_count();
    event_recorder rec;
    socket_client client;
    EXPECT_FALSE(client.sock_init(LOOPBACK, closed_port(), event_recorder::callback, &rec));
    EXPECT_FALSE(client.is_connected());
    EXPECT_EQ(-1, client.get_sock());
    EXPECT_EQ(-1, client.sock_send("abc", 3));
    EXPECT_TRUE(client.sock_close());
    EXPECT_TRUE(rec.events().empty());
    EXPECT_EQ(fds, open_fd_count());
}

TEST(SocketClient, ConnectIsReportedByTheEventThread) {
    loopback_server server;
    event_recorder rec;
    socket_client client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    ASSERT_TRUE(rec.wait_for(EVENT_CONNECT, 1));
    EXPECT_TRUE(client.is_connected());
    EXPECT_NE(-1, client.get_sock());
    transport_test::recorded_event connect = rec.events().front();
    EXPECT_EQ(EVENT_CONNECT, connect.type);
    EXPECT_NE(std::this_thread::get_id(), connect.thread);
    EXPECT_EQ("", connect.bytes);
    EXPECT_EQ(0, connect.sock);
    client.sock_close();
}

TEST(SocketClient, LargeWriteArrivesInOrderInReadsOfAtMost8192) {
    loopback_server server;
    event_recorder rec;
    socket_client client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    std::string data;
    for (int i = 0; i < 20000; ++i)
        data.push_back(static_cast<char>('a' + i % 26));
    ASSERT_TRUE(loopback_server::write_all(peer, data));
    ASSERT_TRUE(wait_until([&] { return rec.consumed().size() >= data.size(); }));
    EXPECT_EQ(data, rec.consumed());
    auto reads = rec.of_type(EVENT_RECEIVE);
    EXPECT_GE(reads.size(), 3u);
    for (const auto& r : reads) {
        EXPECT_LE(r.bytes.size(), 8192u);
        EXPECT_EQ(client.get_sock(), r.sock);
        EXPECT_EQ(0, r.socket_id);
    }
    client.sock_close();
}

TEST(SocketClient, SendReportsWhatWentOutOnTheCallingThread) {
    loopback_server server;
    event_recorder rec;
    socket_client client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    EXPECT_EQ(5, client.sock_send("hello", 5));
    EXPECT_EQ("hello", loopback_server::read_exact(peer, 5));
    auto sends = rec.of_type(EVENT_SEND);
    ASSERT_EQ(1u, sends.size());
    EXPECT_EQ("hello", sends[0].bytes);
    EXPECT_EQ(client.get_sock(), sends[0].sock);
    EXPECT_EQ(std::this_thread::get_id(), sends[0].thread);
    client.sock_close();
}

TEST(SocketClient, FullSocketBufferTakesNothingAndReportsNothing) {
    loopback_server server;
    event_recorder rec;
    socket_client client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    ASSERT_NE(-1, server.accept_peer());
    // The peer reads nothing, so the buffers fill up.
    std::string block(65536, 'x');
    int result = 1;
    for (int i = 0; i < 10000 && result > 0; ++i)
        result = client.sock_send(block.data(), 65536);
    ASSERT_EQ(0, result);
    int sends = rec.count(EVENT_SEND);
    EXPECT_EQ(0, client.sock_send(block.data(), 65536));
    EXPECT_EQ(sends, rec.count(EVENT_SEND));
    client.sock_close();
}

TEST(SocketClient, LocalCloseIsReportedOnceOnTheCallersThread) {
    loopback_server server;
    event_recorder rec;
    socket_client client;
    int fds = open_fd_count();
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    ASSERT_TRUE(rec.wait_for(EVENT_CONNECT, 1));
    EXPECT_TRUE(client.sock_close());
    EXPECT_FALSE(client.is_connected());
    EXPECT_EQ(-1, client.get_sock());
    auto closes = rec.of_type(EVENT_LOCALE_DISCONNECT);
    ASSERT_EQ(1u, closes.size());
    EXPECT_EQ(std::this_thread::get_id(), closes[0].thread);
    // A second close finds nothing to end.
    EXPECT_TRUE(client.sock_close());
    EXPECT_EQ(1, rec.count(EVENT_LOCALE_DISCONNECT));
    EXPECT_EQ(0, rec.count(EVENT_REMOTE_DISCONNECT));
    EXPECT_EQ(-1, client.sock_send("x", 1));
    EXPECT_EQ(fds, open_fd_count());
}

TEST(SocketClient, FarSideCloseIsReportedOnceAndClosesTheDescriptors) {
    loopback_server server;
    event_recorder rec;
    socket_client client;
    int fds = open_fd_count();
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    ASSERT_TRUE(loopback_server::write_all(peer, "last words"));
    server.close_peer(peer);
    ASSERT_TRUE(rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));
    // The bytes that came before the end are delivered first.
    EXPECT_EQ("last words", rec.consumed());
    EXPECT_FALSE(client.is_connected());
    EXPECT_TRUE(wait_until([&] { return client.get_sock() == -1 && open_fd_count() == fds; }));
    EXPECT_TRUE(client.sock_close());
    EXPECT_EQ(1, rec.count(EVENT_REMOTE_DISCONNECT));
    EXPECT_EQ(0, rec.count(EVENT_LOCALE_DISCONNECT));
}

// Sends from inside the report of a reset, while the socket is still open.
struct send_on_reset {
    socket_client* client = nullptr;
    std::atomic<int> result{1};
    std::atomic<bool> done{false};
    static int callback(socket_param& p, void* self) {
        auto* me = static_cast<send_on_reset*>(self);
        if (p.get_event_type() == EVENT_REMOTE_DISCONNECT) {
            me->result = me->client->sock_send("late", 4);
            me->done = true;
        }
        return 0;
    }
};

TEST(SocketClient, SendToAResetPeerFailsWithoutKillingTheProcess) {
    loopback_server server;
    socket_client client;
    send_on_reset user;
    user.client = &client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), send_on_reset::callback, &user));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    server.reset_peer(peer);
    ASSERT_TRUE(wait_until([&] { return user.done.load(); }));
    EXPECT_EQ(-1, user.result.load());
    client.sock_close();
}

TEST(SocketClient, CloseFromACallbackOnTheEventThreadDoesNotWaitForItself) {
    struct closer {
        socket_client* client = nullptr;
        std::atomic<bool> closed{false};
        static int callback(socket_param& p, void* self) {
            auto* me = static_cast<closer*>(self);
            if (p.get_event_type() == EVENT_CONNECT) {
                me->client->sock_close();
                me->closed = true;
            }
            return 0;
        }
    };
    int threads = thread_count();
    loopback_server server;
    socket_client client;
    closer user;
    user.client = &client;
    auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), closer::callback, &user));
    ASSERT_TRUE(wait_until([&] { return user.closed.load(); }));
    // Waiting for itself would take the full 5 s before the cancellation.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    EXPECT_TRUE(wait_until([&] { return thread_count() == threads; }));
    EXPECT_EQ(-1, client.get_sock());
}

TEST(SocketClient, ReinitAfterCloseConnectsAgain) {
    loopback_server server;
    event_recorder rec;
    socket_client client;
    for (int round = 1; round <= 3; ++round) {
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
        int peer = server.accept_peer();
        ASSERT_NE(-1, peer);
        ASSERT_TRUE(loopback_server::write_all(peer, "r"));
        ASSERT_TRUE(
            wait_until([&] { return rec.consumed().size() == static_cast<size_t>(round); }));
        EXPECT_TRUE(client.sock_close());
        server.close_peer(peer);
    }
    EXPECT_EQ(3, rec.count(EVENT_CONNECT));
    EXPECT_EQ(3, rec.count(EVENT_LOCALE_DISCONNECT));
}

TEST(SocketClient, BindsToTheGivenLocalAddress) {
    loopback_server server;
    unsigned short local_port = closed_port();
    event_recorder rec;
    socket_client client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), LOOPBACK, local_port,
                                 event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    sockaddr_in from;
    socklen_t len = sizeof(from);
    ASSERT_EQ(0, getpeername(peer, reinterpret_cast<sockaddr*>(&from), &len));
    EXPECT_EQ(local_port, ntohs(from.sin_port));
    client.sock_close();
}

TEST(SocketClient, FailedBindIsLoggedWithItsAddresses) {
    loopback_server server;
    line_collector log;
    event_recorder rec;
    socket_client client;
    client.sock_set_context(&log);
    // The server's own port is taken, and no address reuse is asked for.
    EXPECT_FALSE(client.sock_init(LOOPBACK, server.port(), LOOPBACK, server.port(),
                                  event_recorder::callback, &rec));
    EXPECT_FALSE(client.is_connected());
    EXPECT_EQ(-1, client.get_sock());
    EXPECT_TRUE(rec.events().empty());
    auto lines = log.lines();
    ASSERT_EQ(1u, lines.size());
    // 127.0.0.1 in network order read as a host int, and the port likewise.
    int raw_addr = static_cast<int>(htonl(0x7f000001));
    int raw_port = static_cast<int>(htons(server.port()));
    std::string expected =
        "*****socket client local_addr error!***** error code:" + std::to_string(EADDRINUSE) +
        " error message:(" + strerror(EADDRINUSE) + ") 127.0.0.1  " +
        std::to_string(server.port()) + "  " + std::to_string(raw_addr) + " " +
        std::to_string(raw_port) + " \n ";
    EXPECT_EQ(expected, lines[0]);
}

TEST(SocketClient, WaitFailuresAreLoggedOncePerKindAndAllCounted) {
    line_collector log;
    open_client client;
    client.sock_set_context(&log);
    for (int i = 0; i < 3; ++i)
        client.proc_thread_error(EINTR);
    client.proc_thread_error(EBADF);
    client.proc_thread_error(EFAULT);
    client.proc_thread_error(ENOMEM);
    client.proc_thread_error(ENOMEM);
    EXPECT_EQ(3, client.errors().m_wait_error_EINTR);
    EXPECT_EQ(1, client.errors().m_wait_error_EBADF);
    EXPECT_EQ(1, client.errors().m_wait_error_EFAULT);
    EXPECT_EQ(0, client.errors().m_wait_error_EINVAL);
    EXPECT_EQ(2, client.errors().m_wait_error_UNDEF);
    auto lines = log.lines();
    ASSERT_EQ(4u, lines.size());
    EXPECT_EQ(
        "epoll_waite error! the call was interrupted by a signal handler before any of the "
        "requested events occurred or timeout expired. error times(0)\n",
        lines[0]);
    EXPECT_EQ(
        "epoll_waite error! epoll_handle:-1  is not a valid file descriptor. error times(0)\n",
        lines[1]);
    EXPECT_EQ("epoll_waite error! epoll_event is not accessible with write. error times(0)",
              lines[2]);
    EXPECT_EQ("epoll_waite error! undefine wait error. error times(0)\n", lines[3]);
}

// Blocks the event thread in its first report until told, or until cancelled.
struct stuck_user {
    std::atomic<bool> release{false};
    std::atomic<bool> entered{false};
    std::atomic<int> locale_closes{0};
    static int callback(socket_param& p, void* self) {
        auto* me = static_cast<stuck_user*>(self);
        if (p.get_event_type() == EVENT_CONNECT) {
            me->entered = true;
            while (!me->release)
                usleep(1000);
        }
        if (p.get_event_type() == EVENT_LOCALE_DISCONNECT)
            ++me->locale_closes;
        return 0;
    }
};

TEST(SocketClient, ThreadThatDoesNotLeaveIsCancelledAndItsDescriptorsClosed) {
    int fds = open_fd_count();
    int threads = thread_count();
    stuck_user user;
    auto begin = std::chrono::steady_clock::now();
    {
        loopback_server server;
        socket_client client;
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), stuck_user::callback, &user));
        ASSERT_TRUE(wait_until([&] { return user.entered.load(); }));
        EXPECT_TRUE(client.sock_close());
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
        EXPECT_EQ(1, user.locale_closes.load());
        EXPECT_FALSE(client.is_connected());
        // The destructor waits until the cancelled thread has unwound.
    }
    EXPECT_EQ(fds, open_fd_count());
    EXPECT_TRUE(wait_until([&] { return thread_count() == threads; }));
}

TEST(SocketClient, DestroyingAConnectedClientEndsItsThreadWithoutAReport) {
    int threads = thread_count();
    loopback_server server;
    event_recorder rec;
    {
        socket_client client;
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
        ASSERT_TRUE(rec.wait_for(EVENT_CONNECT, 1));
    }
    EXPECT_EQ(1u, rec.events().size());
    EXPECT_TRUE(wait_until([&] { return thread_count() == threads; }));
}

}  // namespace
