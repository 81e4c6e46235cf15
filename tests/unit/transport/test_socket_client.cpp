#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>

#include "loopback_server.h"
#include "transport/linux_socket_client.h"

namespace {

using namespace transport_test;
using std::chrono::seconds;
typedef session<socket_client> client_session;

TEST(SocketClient, FailedInitShowsOnlyInItsResult) {
    client_session s(CONSUME_ALL);
    ASSERT_TRUE(s.open());
    // A null callback ends the earlier connection first.
    EXPECT_FALSE(s.client.sock_init(LOOPBACK, s.server.port(), nullptr, nullptr));
    EXPECT_EQ(1, s.rec.count(EVENT_LOCALE_DISCONNECT));
    int fds = open_fd_count();
    size_t events = s.rec.total();
    EXPECT_FALSE(s.client.sock_init(LOOPBACK, closed_port(), event_recorder::callback, &s.rec));
    EXPECT_FALSE(s.client.is_connected());
    EXPECT_EQ(-1, s.client.get_sock());
    EXPECT_EQ(-1, s.client.sock_send("abc", 3));
    EXPECT_TRUE(s.client.sock_close());
    EXPECT_EQ(events, s.rec.total());
    EXPECT_EQ(fds, open_fd_count());
}

TEST(SocketClient, ReadsArriveInOrderInChunksOfAtMost8192) {
    client_session s(CONSUME_ALL);
    ASSERT_TRUE(s.open());
    std::string data(20000, 'a');
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>('a' + i % 26);
    ASSERT_TRUE(loopback_server::write_all(s.peer, data));
    ASSERT_TRUE(wait_until([&] { return s.rec.consumed().size() >= data.size(); }));
    EXPECT_EQ(data, s.rec.consumed());
    auto reads = s.rec.of_type(EVENT_RECEIVE);
    EXPECT_GE(reads.size(), 3u);
    for (const auto& r : reads) {
        EXPECT_LE(r.bytes.size(), 8192u);
        EXPECT_EQ(s.client.get_sock(), r.sock);
    }
    auto connect = s.rec.of_type(EVENT_CONNECT);
    ASSERT_EQ(1u, connect.size());
    EXPECT_EQ(reads[0].thread, connect[0].thread);
    EXPECT_NE(std::this_thread::get_id(), connect[0].thread);
    EXPECT_EQ(0, connect[0].sock);
}

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
    server.reset_peer(server.accept_peer());
    ASSERT_TRUE(wait_until([&] { return user.result.load() != 1; }));
    EXPECT_EQ(-1, user.result.load());
}

TEST(SocketClient, BindsToTheGivenLocalAddressAndLogsAFailedBind) {
    client_session s(CONSUME_ALL);
    line_collector log;
    s.client.sock_set_context(&log);
    unsigned short local_port = closed_port();
    ASSERT_TRUE(s.client.sock_init(LOOPBACK, s.server.port(), LOOPBACK, local_port,
                                   event_recorder::callback, &s.rec));
    int peer = s.server.accept_peer();
    sockaddr_in from;
    socklen_t len = sizeof(from);
    ASSERT_EQ(0, getpeername(peer, reinterpret_cast<sockaddr*>(&from), &len));
    EXPECT_EQ(local_port, ntohs(from.sin_port));
    s.client.sock_close();

    // The server's own port is taken, and no address reuse is asked for.
    size_t events = s.rec.total();
    EXPECT_FALSE(s.client.sock_init(LOOPBACK, s.server.port(), LOOPBACK, s.server.port(),
                                    event_recorder::callback, &s.rec));
    EXPECT_EQ(-1, s.client.get_sock());
    EXPECT_EQ(events, s.rec.total());
    // 127.0.0.1 and the port in network order, read as host ints.
    std::string expected =
        "*****socket client local_addr error!***** error code:" + std::to_string(EADDRINUSE) +
        " error message:(" + strerror(EADDRINUSE) + ") 127.0.0.1  " +
        std::to_string(s.server.port()) + "  16777343 " +
        std::to_string((s.server.port() & 0xff) << 8 | s.server.port() >> 8) + " \n ";
    EXPECT_EQ(std::vector<std::string>{expected}, log.lines());
}

// Reaches the counters and the error path of the event loop.
class open_client : public socket_client {
public:
    using socket_client::proc_thread_error;
    const epoll_error& errors() const { return m_error_statistic; }
};

TEST(SocketClient, WaitFailuresAreLoggedOncePerKindAndAllCounted) {
    line_collector log;
    open_client client;
    client.sock_set_context(&log);
    for (int err : {EINTR, EINTR, EINTR, EBADF, EFAULT, ENOMEM, ENOMEM})
        client.proc_thread_error(err);
    EXPECT_EQ(3, client.errors().m_wait_error_EINTR);
    EXPECT_EQ(1, client.errors().m_wait_error_EBADF);
    EXPECT_EQ(1, client.errors().m_wait_error_EFAULT);
    EXPECT_EQ(0, client.errors().m_wait_error_EINVAL);
    EXPECT_EQ(2, client.errors().m_wait_error_UNDEF);
    std::vector<std::string> expected = {
        "epoll_waite error! the call was interrupted by a signal handler before any of the "
        "requested events occurred or timeout expired. error times(0)\n",
        "epoll_waite error! epoll_handle:-1  is not a valid file descriptor. error times(0)\n",
        "epoll_waite error! epoll_event is not accessible with write. error times(0)",
        "epoll_waite error! undefine wait error. error times(0)\n"};
    EXPECT_EQ(expected, log.lines());
}

// Blocks the event thread in its first report until it is cancelled.
struct stuck_user {
    std::atomic<bool> entered{false};
    std::atomic<int> locale_closes{0};
    static int callback(socket_param& p, void* self) {
        auto* me = static_cast<stuck_user*>(self);
        if (p.get_event_type() == EVENT_LOCALE_DISCONNECT)
            ++me->locale_closes;
        if (p.get_event_type() != EVENT_CONNECT)
            return 0;
        me->entered = true;
        for (;;)
            usleep(1000);
    }
};

TEST(SocketClient, ThreadThatDoesNotLeaveIsCancelledAndItsDescriptorsClosed) {
    int fds = open_fd_count();
    int threads = baseline_thread_count();
    stuck_user user;
    {
        loopback_server server;
        socket_client client;
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), stuck_user::callback, &user));
        ASSERT_TRUE(wait_until([&] { return user.entered.load(); }));
        auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(client.sock_close());
        EXPECT_GE(std::chrono::steady_clock::now() - begin, seconds(4));
        EXPECT_EQ(1, user.locale_closes.load());
        // The destructor waits until the cancelled thread has unwound.
    }
    EXPECT_EQ(fds, open_fd_count());
    EXPECT_TRUE(threads_back_to(threads));
}

}  // namespace
