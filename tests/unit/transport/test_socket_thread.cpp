#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "transport/vortane_sock_thread.h"
#include "transport_support.h"

namespace {

using namespace transport_test;
using std::chrono::milliseconds;

// The function of a worker: counts passes and, when told, acts from inside a pass.
struct pass_counter {
    std::atomic<int> passes{0};
    std::atomic<bool> hold{false};  // the pass waits while set
    std::atomic<int> stop_at{-1}, pause_at{-1};
    std::atomic<int> inside_results{0};  // bit 0: stop or pause granted, bit 1: start
    std::atomic<int> status_inside{-1};
    std::atomic<long> tid{0};
    vortane_socket_thread* worker = nullptr;

    static int run(void* self) { return static_cast<pass_counter*>(self)->on_pass(); }
    int on_pass() {
        int n = ++passes;
        tid = syscall(SYS_gettid);
        while (hold)
            std::this_thread::sleep_for(milliseconds(1));
        if (n == stop_at || n == pause_at) {
            bool asked = n == stop_at ? worker->stop() : worker->pause();
            status_inside = worker->get_thread_status();
            inside_results = (asked ? 1 : 0) | (worker->start() ? 2 : 0);
        }
        return 0;
    }
    bool reaches(int n) {
        return wait_until([&] { return passes.load() >= n; });
    }
};

class SocketThread : public ::testing::Test {
protected:
    SocketThread() {
        m_fn.worker = &m_worker;
        m_worker.register_function(pass_counter::run, &m_fn, true);
        m_worker.set_thread_wait_micro_sec(1000);
    }
    socket_thread_status status() { return m_worker.get_thread_status(); }
    // No pass may come while the worker is held.
    void expect_no_pass() {
        int held = m_fn.passes;
        std::this_thread::sleep_for(milliseconds(30));
        EXPECT_EQ(held, m_fn.passes.load());
    }

    leak_check m_leaks;
    pass_counter m_fn;  // declared before the worker, so that it outlives it
    vortane_socket_thread m_worker;
};

TEST_F(SocketThread, StartPauseStopFromOutsideFollowTheStateTable) {
    EXPECT_FALSE(m_worker.pause());  // never started
    EXPECT_TRUE(m_worker.stop());
    EXPECT_EQ(THREAD_INIT, status());
    ASSERT_TRUE(m_worker.start());
    ASSERT_TRUE(m_fn.reaches(2));
    EXPECT_TRUE(m_worker.start());  // running: no second thread
    ASSERT_TRUE(m_worker.pause());
    EXPECT_EQ(THREAD_PAUSED, status());
    expect_no_pass();
    EXPECT_LE(leak_check::threads(), m_leaks.m_threads + 1);
    const long tid = m_fn.tid;
    int held = m_fn.passes;
    ASSERT_TRUE(m_worker.start());  // resumes the same thread
    ASSERT_TRUE(m_fn.reaches(held + 2));
    EXPECT_EQ(tid, m_fn.tid.load());

    ASSERT_TRUE(m_worker.pause());
    held = m_fn.passes;
    ASSERT_TRUE(m_worker.stop());  // a paused worker that is stopped runs once more
    EXPECT_EQ(THREAD_STOPED, status());
    EXPECT_EQ(held + 1, m_fn.passes.load());
    EXPECT_FALSE(m_worker.pause());
    ASSERT_TRUE(m_leaks.clean());
    ASSERT_TRUE(m_worker.start());  // a new thread
    ASSERT_TRUE(m_fn.reaches(held + 3));
    EXPECT_NE(tid, m_fn.tid.load());
}

TEST_F(SocketThread, PauseAndStopFromInsideHoldFromTheEndOfThePass) {
    m_fn.pause_at = 2;
    ASSERT_TRUE(m_worker.start());
    ASSERT_TRUE(wait_until([&] { return m_fn.inside_results.load() != 0; }));
    // Set at once, not waited for; a start from inside is refused.
    EXPECT_EQ(1, m_fn.inside_results.load());
    EXPECT_EQ(THREAD_PAUSED, m_fn.status_inside.load());
    expect_no_pass();

    m_fn.stop_at = 4;
    ASSERT_TRUE(m_worker.start());
    ASSERT_TRUE(m_leaks.clean());
    EXPECT_EQ(1, m_fn.inside_results.load());
    EXPECT_EQ(THREAD_STOPED, m_fn.status_inside.load());
    EXPECT_EQ(4, m_fn.passes.load());
}

TEST_F(SocketThread, WhileAStopWaitsForThePassNeitherStartNorPauseIsTaken) {
    m_fn.hold = true;
    ASSERT_TRUE(m_worker.start());
    ASSERT_TRUE(m_fn.reaches(1));
    auto stopper = std::async(std::launch::async, [&] { return m_worker.stop(); });
    ASSERT_TRUE(wait_until([&] { return status() == THREAD_STOPING; }));
    EXPECT_FALSE(m_worker.start());
    EXPECT_FALSE(m_worker.pause());
    EXPECT_EQ(std::future_status::timeout, stopper.wait_for(milliseconds(20)));
    m_fn.hold = false;
    ASSERT_EQ(std::future_status::ready, stopper.wait_for(std::chrono::seconds(10)));
    EXPECT_TRUE(stopper.get());
    EXPECT_EQ(THREAD_STOPED, status());
}

TEST_F(SocketThread, OnePassAfterStartThenWakeAndStopCutALongSleepShort) {
    m_worker.set_thread_wait_micro_sec(5000000);
    ASSERT_TRUE(m_worker.start());
    ASSERT_TRUE(m_fn.reaches(1));
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_EQ(1, m_fn.passes.load()) << "the start's own wake must not give a second pass";
    m_worker.wake();
    EXPECT_TRUE(wait_until([&] { return m_fn.passes.load() >= 2; }, 3000));
    auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(m_worker.stop());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
}

}  // namespace
