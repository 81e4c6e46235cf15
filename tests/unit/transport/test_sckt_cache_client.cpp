#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "light_client_support.h"
#include "transport/sckt_cache_client.h"

namespace {

using namespace transport_test;
typedef light_session<lc::sckt_cache_client> cache_session;
// Smaller than the runs in the tests, so that the hold buffer has to grow.
const unsigned int HOLD_SIZE = 16;

TEST(ScktCacheClient, SplitMessageIsOfferedWholeOnceComplete) {
    cache_session s(CONSUME_WHOLE_FRAMES, HOLD_SIZE);
    ASSERT_TRUE(s.open());
    std::string frame = make_frame(pattern(98));
    ASSERT_TRUE(loopback_server::write_all(s.peer, frame.substr(0, 40)));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 1));
    ASSERT_TRUE(loopback_server::write_all(s.peer, frame.substr(40)));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 2));
    auto runs = s.rec.of_type(EVENT_RECEIVE);
    ASSERT_EQ(2u, runs.size());
    EXPECT_EQ(frame.substr(0, 40), runs[0].bytes);
    // The held part and the new bytes as one run, from the first byte not consumed.
    EXPECT_EQ(frame, runs[1].bytes);
    EXPECT_EQ(std::vector<std::string>{pattern(98)}, s.rec.frames());
    // The other events pass through as they come.
    EXPECT_EQ(1, s.rec.count(EVENT_CONNECT));
    EXPECT_TRUE(s.rec.wait_for(EVENT_SEND, 1));
    EXPECT_TRUE(s.client.sock_close());
    EXPECT_EQ(1, s.rec.count(EVENT_LOCALE_DISCONNECT));
}

TEST(ScktCacheClient, CalledOncePerReadWhatIsLeftComesBackWithTheNextBytes) {
    cache_session s(CONSUME_ONE_FRAME, HOLD_SIZE);
    ASSERT_TRUE(s.open());
    // One write, one read: three messages in one run.
    ASSERT_TRUE(loopback_server::write_all(
        s.peer, make_frame("one") + make_frame("two") + make_frame("three")));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 1));
    quiet_window();
    EXPECT_EQ(1, s.rec.count(EVENT_RECEIVE));
    EXPECT_EQ(std::vector<std::string>{"one"}, s.rec.frames());
    ASSERT_TRUE(loopback_server::write_all(s.peer, make_frame("four")));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 2));
    EXPECT_EQ(make_frame("two") + make_frame("three") + make_frame("four"),
              s.rec.of_type(EVENT_RECEIVE)[1].bytes);
    EXPECT_EQ((std::vector<std::string>{"one", "two"}), s.rec.frames());
}

TEST(ScktCacheClient, NewConnectionStartsWithAnEmptyHoldBuffer) {
    cache_session s(CONSUME_WHOLE_FRAMES, HOLD_SIZE);
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(loopback_server::write_all(s.peer, make_frame("lost").substr(0, 3)));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 1));
    s.server.close_peer(s.peer);
    ASSERT_TRUE(s.rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(loopback_server::write_all(s.peer, make_frame("fresh")));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 2));
    EXPECT_EQ(make_frame("fresh"), s.rec.of_type(EVENT_RECEIVE)[1].bytes);
    EXPECT_EQ(std::vector<std::string>{"fresh"}, s.rec.frames());
}

TEST(ScktCacheClient, NullUserCallbackIsRefusedBeforeConnecting) {
    cache_session s(CONSUME_ALL, HOLD_SIZE);
    int fds = open_fd_count();
    EXPECT_FALSE(s.client.sock_init(LOOPBACK, s.server.port(), nullptr, nullptr));
    EXPECT_EQ(-1, s.server.accept_peer(100));
    EXPECT_FALSE(s.client.is_connected());
    EXPECT_EQ(fds, open_fd_count());
}

// Holds the event thread in the report of received bytes until released.
struct blocking_user {
    std::atomic<bool> entered{false};
    std::atomic<bool> release{false};
    std::atomic<bool> returned{false};
    static int callback(lc::sckt_param& p, void* self) {
        auto* me = static_cast<blocking_user*>(self);
        if (p.get_event_type() != lc::EVENT_RECEIVE)
            return 0;
        me->entered = true;
        wait_until([me] { return me->release.load(); });
        p.set_proc_len(p.get_buff_size());
        me->returned = true;
        return 0;
    }
};

TEST(ScktCacheClient, CloseAndDestroyWhileTheThreadIsInACallback) {
    int fds = open_fd_count();
    int threads = baseline_thread_count();
    blocking_user user;
    std::thread releaser;
    {
        loopback_server server;
        lc::sckt_cache_client client(HOLD_SIZE);
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), blocking_user::callback, &user));
        int peer = server.accept_peer();
        ASSERT_TRUE(loopback_server::write_all(peer, pattern(100)));
        ASSERT_TRUE(wait_until([&] { return user.entered.load(); }));
        EXPECT_FALSE(client.sock_close());
        EXPECT_FALSE(client.is_connected());
        // Released while the destructor waits, as a rule; the thread still pops the
        // hold buffer and closes the socket after the callback returns.
        releaser = std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            user.release = true;
        });
    }
    EXPECT_TRUE(user.returned.load());
    releaser.join();
    EXPECT_EQ(fds, open_fd_count());
    EXPECT_TRUE(threads_back_to(threads));
}

}  // namespace
