#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "loopback_server.h"
#include "transport/vortane_sock_thread.h"

namespace {

using std::chrono::milliseconds;
using transport_test::thread_count;
using transport_test::wait_until;

// The function a worker runs: counts passes and, when told, acts from inside a pass.
struct pass_counter {
    std::atomic<int> passes{0};
    std::atomic<int> result{0};
    std::atomic<int> stop_at{-1};
    std::atomic<int> pause_at{-1};
    std::atomic<int> start_at{-1};
    std::atomic<bool> hold{false};  // the pass waits while set
    std::atomic<bool> inside_result{false};
    std::atomic<int> status_seen_inside{-1};
    std::atomic<int> passes_finished{0};
    std::atomic<long> last_tid{0};
    vortane_socket_thread* worker = nullptr;

    static int run(void* self) { return static_cast<pass_counter*>(self)->on_pass(); }

    int on_pass() {
        int n = ++passes;
        last_tid = syscall(SYS_gettid);
        while (hold)
            std::this_thread::sleep_for(milliseconds(1));
        if (n == stop_at)
            act_inside(worker->stop());
        if (n == pause_at)
            act_inside(worker->pause());
        if (n == start_at)
            act_inside(worker->start());
        ++passes_finished;
        return result;
    }
    void act_inside(bool ok) {
        inside_result = ok;
        status_seen_inside = worker->get_thread_status();
    }
};

// The sleep rules, reached without a running thread.
class open_worker : public vortane_socket_thread {
public:
    using vortane_socket_thread::break_sleep;
    using vortane_socket_thread::set_thread_status;
};

class SocketThread : public ::testing::Test {
protected:
    void SetUp() override { m_base_threads = thread_count(); }
    void attach(vortane_socket_thread& worker, int wait_micro_sec, bool auto_sleep = true) {
        m_fn.worker = &worker;
        worker.register_function(pass_counter::run, &m_fn, auto_sleep);
        worker.set_thread_wait_micro_sec(wait_micro_sec);
    }
    bool passes_reach(int n) {
        return wait_until([&] { return m_fn.passes.load() >= n; });
    }
    bool threads_back_to(int n) {
        return wait_until([&] { return thread_count() == n; });
    }

    int m_base_threads = 0;
    pass_counter m_fn;  // declared before any worker of a test, so it outlives it
};

double elapsed_ms(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - since)
        .count();
}

TEST_F(SocketThread, NeverStartedWorkerStopsAtOnceAndCannotPause) {
    auto begin = std::chrono::steady_clock::now();
    {
        vortane_socket_thread worker;
        attach(worker, 1000);
        EXPECT_TRUE(worker.stop());
        EXPECT_EQ(THREAD_INIT, worker.get_thread_status());
        EXPECT_FALSE(worker.pause());
        EXPECT_EQ(THREAD_INIT, worker.get_thread_status());
    }
    EXPECT_LT(elapsed_ms(begin), 2000.0);
    EXPECT_EQ(0, m_fn.passes.load());
}

TEST_F(SocketThread, SecondStartMakesNoSecondThread) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    ASSERT_TRUE(worker.start());
    EXPECT_EQ(THREAD_RUN, worker.get_thread_status());
    ASSERT_TRUE(passes_reach(3));
    EXPECT_TRUE(worker.start());
    long tid = m_fn.last_tid;
    ASSERT_TRUE(passes_reach(m_fn.passes + 3));
    EXPECT_EQ(tid, m_fn.last_tid.load());
    EXPECT_EQ(m_base_threads + 1, thread_count());
    EXPECT_TRUE(worker.stop());
    EXPECT_EQ(THREAD_STOPED, worker.get_thread_status());
    EXPECT_TRUE(threads_back_to(m_base_threads));
}

TEST_F(SocketThread, PauseHoldsThePassesAndStartResumesTheSameThread) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(2));
    ASSERT_TRUE(worker.pause());
    EXPECT_EQ(THREAD_PAUSED, worker.get_thread_status());
    int held = m_fn.passes;
    long tid = m_fn.last_tid;
    // A window in which a paused worker must not run its function.
    std::this_thread::sleep_for(milliseconds(30));
    EXPECT_EQ(held, m_fn.passes.load());
    EXPECT_TRUE(worker.pause());
    EXPECT_EQ(THREAD_PAUSED, worker.get_thread_status());

    ASSERT_TRUE(worker.start());
    EXPECT_EQ(THREAD_RUN, worker.get_thread_status());
    ASSERT_TRUE(passes_reach(held + 3));
    EXPECT_EQ(tid, m_fn.last_tid.load());
    EXPECT_EQ(m_base_threads + 1, thread_count());
}

TEST_F(SocketThread, StopThenStartRunsOnANewThread) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(2));
    ASSERT_TRUE(worker.stop());
    EXPECT_EQ(THREAD_STOPED, worker.get_thread_status());
    EXPECT_FALSE(worker.pause());
    EXPECT_TRUE(worker.stop());
    long old_tid = m_fn.last_tid;
    int stopped_at = m_fn.passes;
    ASSERT_TRUE(threads_back_to(m_base_threads));
    EXPECT_EQ(stopped_at, m_fn.passes.load());

    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(stopped_at + 2));
    EXPECT_NE(old_tid, m_fn.last_tid.load());
}

TEST_F(SocketThread, StopFromInsideReturnsAtOnceAndThePassFinishes) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    m_fn.stop_at = 3;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(threads_back_to(m_base_threads));
    EXPECT_TRUE(m_fn.inside_result.load());
    EXPECT_EQ(THREAD_STOPED, m_fn.status_seen_inside.load());
    EXPECT_EQ(3, m_fn.passes.load());
    EXPECT_EQ(3, m_fn.passes_finished.load());
    EXPECT_EQ(THREAD_STOPED, worker.get_thread_status());
}

TEST_F(SocketThread, PauseFromInsideTakesEffectAfterThePass) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    m_fn.pause_at = 2;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(wait_until([&] { return m_fn.passes_finished.load() >= 2; }));
    EXPECT_TRUE(m_fn.inside_result.load());
    EXPECT_EQ(THREAD_PAUSED, m_fn.status_seen_inside.load());
    std::this_thread::sleep_for(milliseconds(30));
    EXPECT_EQ(2, m_fn.passes.load());
    ASSERT_TRUE(worker.start());
    EXPECT_TRUE(passes_reach(4));
}

TEST_F(SocketThread, StartFromInsideIsRefused) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    m_fn.inside_result = true;
    m_fn.start_at = 2;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(3));
    EXPECT_FALSE(m_fn.inside_result.load());
    EXPECT_EQ(THREAD_RUN, m_fn.status_seen_inside.load());
}

TEST_F(SocketThread, NonZeroResultKeepsTheWorkerFromPausing) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    m_fn.result = 1;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(1));
    auto pauser = std::async(std::launch::async, [&] { return worker.pause(); });
    EXPECT_EQ(std::future_status::timeout, pauser.wait_for(milliseconds(100)));
    EXPECT_EQ(THREAD_PAUSEING, worker.get_thread_status());
    m_fn.result = 0;
    ASSERT_EQ(std::future_status::ready, pauser.wait_for(std::chrono::seconds(10)));
    EXPECT_TRUE(pauser.get());
    EXPECT_EQ(THREAD_PAUSED, worker.get_thread_status());
}

TEST_F(SocketThread, PausedWorkerRunsOnceMoreWhenStopped) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(2));
    ASSERT_TRUE(worker.pause());
    int held = m_fn.passes;
    ASSERT_TRUE(worker.stop());
    EXPECT_EQ(THREAD_STOPED, worker.get_thread_status());
    EXPECT_EQ(held + 1, m_fn.passes.load());
}

TEST_F(SocketThread, WhileStoppingNeitherStartNorPauseIsTaken) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(1));
    m_fn.hold = true;
    int held_pass = m_fn.passes + 1;
    ASSERT_TRUE(passes_reach(held_pass));
    auto stopper = std::async(std::launch::async, [&] { return worker.stop(); });
    ASSERT_TRUE(wait_until([&] { return worker.get_thread_status() == THREAD_STOPING; }));
    EXPECT_FALSE(worker.start());
    EXPECT_FALSE(worker.pause());
    m_fn.hold = false;
    ASSERT_EQ(std::future_status::ready, stopper.wait_for(std::chrono::seconds(10)));
    EXPECT_TRUE(stopper.get());
    EXPECT_EQ(THREAD_STOPED, worker.get_thread_status());
}

TEST_F(SocketThread, WithoutAutoSleepTheWorkerSleepsOnlyWhenIdle) {
    vortane_socket_thread worker;
    attach(worker, 1000000, false);
    ASSERT_TRUE(worker.start());
    // With a sleep of 1 s after each pass this would take nearly a minute.
    EXPECT_TRUE(passes_reach(50));
}

TEST_F(SocketThread, WithAutoSleepThePassesAreSpacedByTheWait) {
    vortane_socket_thread worker;
    attach(worker, 1000000, true);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(1));
    std::this_thread::sleep_for(milliseconds(300));
    EXPECT_LE(m_fn.passes.load(), 2);
}

TEST_F(SocketThread, WakeEndsTheSleepBetweenPasses) {
    vortane_socket_thread worker;
    attach(worker, 5000000);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(1));
    worker.wake();
    // Well below the 5 s that the sleep would last.
    EXPECT_TRUE(wait_until([&] { return m_fn.passes.load() >= 2; }, milliseconds(3000)));
}

TEST_F(SocketThread, StopEndsALongSleepPromptly) {
    vortane_socket_thread worker;
    attach(worker, 5000000);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(passes_reach(1));
    auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(worker.stop());
    EXPECT_LT(elapsed_ms(begin), 2000.0);
}

TEST(SocketThreadSleep, LongSleepsAreWholeStepsOfTenMilliseconds) {
    open_worker w;
    w.set_thread_status(THREAD_RUN);
    auto begin = std::chrono::steady_clock::now();
    w.break_sleep(25000);
    EXPECT_GE(elapsed_ms(begin), 30.0);
    begin = std::chrono::steady_clock::now();
    w.break_sleep(10001);
    EXPECT_GE(elapsed_ms(begin), 20.0);
    // A paused worker's sleep goes on through its steps as well.
    w.set_thread_status(THREAD_PAUSED);
    begin = std::chrono::steady_clock::now();
    w.break_sleep(25000);
    EXPECT_GE(elapsed_ms(begin), 30.0);
    w.set_thread_status(THREAD_INIT);
}

TEST(SocketThreadSleep, ShortSleepsLastAtLeastTheirLength) {
    open_worker w;
    auto begin = std::chrono::steady_clock::now();
    w.break_sleep(10000);
    EXPECT_GE(elapsed_ms(begin), 10.0);
    begin = std::chrono::steady_clock::now();
    w.break_sleep(1999);
    EXPECT_GE(elapsed_ms(begin), 1.0);
}

TEST(SocketThreadSleep, LongSleepEndsAtOnceWhenAStopIsPending) {
    open_worker w;
    w.set_thread_status(THREAD_STOPING);
    auto begin = std::chrono::steady_clock::now();
    w.break_sleep(5000000);
    EXPECT_LT(elapsed_ms(begin), 2000.0);
    w.set_thread_status(THREAD_INIT);
}

TEST(SocketThreadSleep, AWakeBeforeTheSleepEndsItOnceOnly) {
    open_worker w;
    w.set_thread_status(THREAD_RUN);
    w.wake();
    auto begin = std::chrono::steady_clock::now();
    w.break_sleep(5000000);
    EXPECT_LT(elapsed_ms(begin), 2000.0);
    // The wake is used up: the next sleep is whole again.
    begin = std::chrono::steady_clock::now();
    w.break_sleep(25000);
    EXPECT_GE(elapsed_ms(begin), 30.0);
    w.set_thread_status(THREAD_INIT);
}

}  // namespace
