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

using namespace transport_test;
using std::chrono::milliseconds;

// The function of a worker: counts passes and, when told, acts from inside a pass.
struct pass_counter {
    std::atomic<int> passes{0};
    std::atomic<int> finished{0};
    std::atomic<int> result{0};
    std::atomic<bool> hold{false};  // the pass waits while set
    std::atomic<int> stop_at{-1};
    std::atomic<int> pause_at{-1};
    std::atomic<int> inside_results{0};  // bit 0: stop or pause, bit 1: start
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
        ++finished;
        return result;
    }
    bool reaches(int n) {
        return wait_until([&] { return passes.load() >= n; });
    }
};

class SocketThread : public ::testing::Test {
protected:
    void SetUp() override { m_threads = baseline_thread_count(); }
    void attach(vortane_socket_thread& worker, int wait_micro_sec, bool auto_sleep = true) {
        m_fn.worker = &worker;
        worker.register_function(pass_counter::run, &m_fn, auto_sleep);
        worker.set_thread_wait_micro_sec(wait_micro_sec);
    }

    int m_threads = 0;
    pass_counter m_fn;  // declared before the worker of a test, so it outlives it
};

double ms_since(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - since)
        .count();
}

TEST_F(SocketThread, NeverStartedWorkerStopsAtOnceAndCannotPause) {
    auto begin = std::chrono::steady_clock::now();
    {
        vortane_socket_thread worker;
        attach(worker, 1000);
        EXPECT_TRUE(worker.stop());
        EXPECT_FALSE(worker.pause());
        EXPECT_EQ(THREAD_INIT, worker.get_thread_status());
    }
    EXPECT_LT(ms_since(begin), 2000.0);
    EXPECT_EQ(0, m_fn.passes.load());
}

TEST_F(SocketThread, PauseAndResumeKeepTheOneThread) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    ASSERT_TRUE(worker.start());
    EXPECT_EQ(THREAD_RUN, worker.get_thread_status());
    ASSERT_TRUE(m_fn.reaches(2));
    EXPECT_TRUE(worker.start());
    ASSERT_TRUE(worker.pause());
    EXPECT_EQ(THREAD_PAUSED, worker.get_thread_status());
    int held = m_fn.passes;
    long tid = m_fn.tid;
    std::this_thread::sleep_for(milliseconds(30));  // no pass may come meanwhile
    EXPECT_EQ(held, m_fn.passes.load());
    EXPECT_TRUE(worker.pause());
    EXPECT_EQ(m_threads + 1, thread_count());

    ASSERT_TRUE(worker.start());
    EXPECT_EQ(THREAD_RUN, worker.get_thread_status());
    ASSERT_TRUE(m_fn.reaches(held + 3));
    EXPECT_EQ(tid, m_fn.tid.load());
    // A paused worker that is stopped runs its function once more.
    ASSERT_TRUE(worker.pause());
    held = m_fn.passes;
    ASSERT_TRUE(worker.stop());
    EXPECT_EQ(THREAD_STOPED, worker.get_thread_status());
    EXPECT_EQ(held + 1, m_fn.passes.load());
    EXPECT_TRUE(threads_back_to(m_threads));
}

TEST_F(SocketThread, StopThenStartRunsOnANewThread) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(m_fn.reaches(2));
    ASSERT_TRUE(worker.stop());
    EXPECT_EQ(THREAD_STOPED, worker.get_thread_status());
    EXPECT_FALSE(worker.pause());
    EXPECT_TRUE(worker.stop());
    long old_tid = m_fn.tid;
    int stopped_at = m_fn.passes;
    ASSERT_TRUE(threads_back_to(m_threads));
    EXPECT_EQ(stopped_at, m_fn.passes.load());

    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(m_fn.reaches(stopped_at + 2));
    EXPECT_NE(old_tid, m_fn.tid.load());
}

TEST_F(SocketThread, PauseAndStopFromInsideHoldFromTheEndOfThePass) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    m_fn.pause_at = 2;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(wait_until([&] { return m_fn.finished.load() >= 2; }));
    // Set at once, not waited for; a start from inside is refused.
    EXPECT_EQ(1, m_fn.inside_results.load());
    EXPECT_EQ(THREAD_PAUSED, m_fn.status_inside.load());
    std::this_thread::sleep_for(milliseconds(30));  // no pass may come meanwhile
    EXPECT_EQ(2, m_fn.passes.load());

    m_fn.stop_at = 4;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(threads_back_to(m_threads));
    EXPECT_EQ(1, m_fn.inside_results.load());
    EXPECT_EQ(THREAD_STOPED, m_fn.status_inside.load());
    EXPECT_EQ(4, m_fn.finished.load());
    EXPECT_EQ(THREAD_STOPED, worker.get_thread_status());
}

TEST_F(SocketThread, NonZeroResultKeepsTheWorkerFromPausing) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    m_fn.result = 1;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(m_fn.reaches(1));
    auto pauser = std::async(std::launch::async, [&] { return worker.pause(); });
    EXPECT_EQ(std::future_status::timeout, pauser.wait_for(milliseconds(100)));
    EXPECT_EQ(THREAD_PAUSEING, worker.get_thread_status());
    m_fn.result = 0;
    ASSERT_EQ(std::future_status::ready, pauser.wait_for(std::chrono::seconds(10)));
    EXPECT_TRUE(pauser.get());
    EXPECT_EQ(THREAD_PAUSED, worker.get_thread_status());
}

TEST_F(SocketThread, WhileStoppingNeitherStartNorPauseIsTaken) {
    vortane_socket_thread worker;
    attach(worker, 1000);
    m_fn.hold = true;
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(m_fn.reaches(1));
    auto stopper = std::async(std::launch::async, [&] { return worker.stop(); });
    ASSERT_TRUE(wait_until([&] { return worker.get_thread_status() == THREAD_STOPING; }));
    EXPECT_FALSE(worker.start());
    EXPECT_FALSE(worker.pause());
    m_fn.hold = false;
    ASSERT_EQ(std::future_status::ready, stopper.wait_for(std::chrono::seconds(10)));
    EXPECT_TRUE(stopper.get());
    EXPECT_EQ(THREAD_STOPED, worker.get_thread_status());
}

TEST_F(SocketThread, AutoSleepSpacesThePassesOnlyWhenOn) {
    pass_counter spaced;
    vortane_socket_thread eager, sleepy;
    attach(eager, 1000000, false);
    sleepy.register_function(pass_counter::run, &spaced, true);
    sleepy.set_thread_wait_micro_sec(1000000);
    ASSERT_TRUE(eager.start());
    ASSERT_TRUE(sleepy.start());
    // With a sleep of 1 s after each pass this would take nearly a minute.
    EXPECT_TRUE(m_fn.reaches(50));
    ASSERT_TRUE(spaced.reaches(1));
    std::this_thread::sleep_for(milliseconds(300));
    EXPECT_LE(spaced.passes.load(), 2);
}

TEST_F(SocketThread, WakeAndStopCutALongSleepShort) {
    vortane_socket_thread worker;
    attach(worker, 5000000);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(m_fn.reaches(1));
    worker.wake();
    EXPECT_TRUE(wait_until([&] { return m_fn.passes.load() >= 2; }, milliseconds(3000)));
    auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(worker.stop());
    EXPECT_LT(ms_since(begin), 2000.0);
}

// The sleep rules, reached without a running thread.
class open_worker : public vortane_socket_thread {
public:
    using vortane_socket_thread::break_sleep;
    using vortane_socket_thread::set_thread_status;
    double timed_sleep(int micro_sec) {
        auto begin = std::chrono::steady_clock::now();
        break_sleep(micro_sec);
        return ms_since(begin);
    }
};

TEST(SocketThreadSleep, LongSleepsAreWholeTenMillisecondSteps) {
    open_worker w;
    EXPECT_GE(w.timed_sleep(10000), 10.0);
    w.set_thread_status(THREAD_RUN);
    EXPECT_GE(w.timed_sleep(25000), 30.0);
    EXPECT_GE(w.timed_sleep(10001), 20.0);
    w.set_thread_status(THREAD_PAUSED);
    EXPECT_GE(w.timed_sleep(25000), 30.0);
    w.set_thread_status(THREAD_INIT);
}

TEST(SocketThreadSleep, PendingStopOrWakeEndsALongSleep) {
    open_worker w;
    w.set_thread_status(THREAD_STOPING);
    EXPECT_LT(w.timed_sleep(5000000), 2000.0);
    w.set_thread_status(THREAD_RUN);
    w.wake();
    EXPECT_LT(w.timed_sleep(5000000), 2000.0);
    // The wake is used up: the next sleep is whole again.
    EXPECT_GE(w.timed_sleep(25000), 30.0);
    w.set_thread_status(THREAD_INIT);
}

}  // namespace
