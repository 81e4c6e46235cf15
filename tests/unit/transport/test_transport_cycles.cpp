#include <gtest/gtest.h>

#include <string>

#include "loopback_server.h"
#include "transport/socket_cache_client.h"

namespace {

using namespace transport_test;

// One connection's life as the query client lives it: a new transport, connect,
// request, answer, close, destroy.
void run_cycle(loopback_server& server, int round) {
    event_recorder rec(CONSUME_ALL);
    socket_cache_client client(8192);
    // A short wait keeps the close, which waits for the event loop, quick.
    client.set_epoll_max_wait_time(1);
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    int peer = server.accept_peer();
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
    int threads = baseline_thread_count();
    for (int round = 0; round < 1000 && !HasFatalFailure(); ++round)
        run_cycle(server, round);
    // The threads are detached: the last ones may take a moment to be gone.
    EXPECT_TRUE(threads_back_to(threads)) << thread_count() << " threads, " << threads << " before";
    EXPECT_EQ(fds, open_fd_count());
}

}  // namespace
