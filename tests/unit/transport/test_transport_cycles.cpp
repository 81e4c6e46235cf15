#include <gtest/gtest.h>

#include <string>

#include "loopback_server.h"
#include "transport/socket_cache_client.h"

namespace {

using transport_test::CONSUME_ALL;
using transport_test::event_recorder;
using transport_test::loopback_server;
using transport_test::open_fd_count;
using transport_test::thread_count;
using transport_test::wait_until;

// One connection's life as the query client lives it: a new transport, connect,
// request, answer, close, destroy.
void run_cycle(loopback_server& server, int round) {
    event_recorder rec(CONSUME_ALL);
    socket_cache_client client(8192);
    // A short wait keeps the close, which waits for the event loop, quick.
    client.set_epoll_max_wait_time(1);
    ASSERT_TRUE(client.sock_init("127.0.0.1", server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    std::string request = "req" + std::to_string(round);
    ASSERT_EQ(static_cast<int>(request.size()),
              client.sock_send(request.data(), static_cast<int>(request.size())));
    ASSERT_EQ(request, loopback_server::read_exact(peer, request.size()));
    std::string answer = "ans" + std::to_string(round);
    ASSERT_TRUE(loopback_server::write_all(peer, answer));
    ASSERT_TRUE(wait_until([&] { return rec.consumed() == answer; }));
    ASSERT_TRUE(client.sock_close());
    server.close_peer(peer);
    ASSERT_EQ(1, rec.count(EVENT_LOCALE_DISCONNECT));
}

TEST(TransportCycles, ThousandConnectionsLeakNoDescriptorAndNoThread) {
    loopback_server server;
    int fds = open_fd_count();
    int threads = thread_count();
    for (int round = 0; round < 1000; ++round) {
        run_cycle(server, round);
        if (HasFatalFailure())
            FAIL() << "cycle " << round;
    }
    // The workers are detached: give the last ones a moment to be gone.
    EXPECT_TRUE(wait_until([&] { return thread_count() == threads; }))
        << thread_count() << " threads, " << threads << " before";
    EXPECT_EQ(fds, open_fd_count());
}

}  // namespace
