#include "transport/vortane_sock_thread.h"

#include <unistd.h>

#include <chrono>

namespace {

// Sleeps up to this long are whole milliseconds, truncated.
const int SHORT_SLEEP_LIMIT_MICRO_SEC = 10000;

}  // namespace

kq_thread_handle kq_create_thread(vortane_socket_thread_fun fuc_trn, void* pParam,
                                  kq_thread_id& id) {
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    if (pthread_create(&id, &attr, fuc_trn, pParam) != 0)
        id = 0;
    pthread_attr_destroy(&attr);
    return id;
}

socket_thread_ret kq_suspend_thread(kq_thread_handle) {
    return 0;
}

socket_thread_ret kq_resume_thread(kq_thread_handle) {
    return 0;
}

// Departure: kept for the transport's thread helpers, but nothing calls it. No thread
// of the library is ever cancelled: one may be inside a caller's callback, holding the
// caller's locks; closes wait for it instead.
socket_thread_ret kq_close_thread(kq_thread_handle handle) {
    return static_cast<socket_thread_ret>(pthread_cancel(handle));
}

void kq_sleep(unsigned int nMilliSecond) {
    usleep(nMilliSecond * 1000);
}

vortane_socket_thread::vortane_socket_thread()
    : m_func_thread(nullptr),
      m_func_param(nullptr),
      m_thread_id(0),
      m_enum_status(THREAD_INIT),
      m_i_wait_micro_sec(1),
      m_b_auto_sleep(false),
      m_h_thread(0),
      m_live_threads(0),
      m_wake_pending(false),
      m_wait_notice(nullptr),
      m_wait_notice_param(nullptr) {}

vortane_socket_thread::~vortane_socket_thread() {
    stop();
    bool own_thread = is_same_thread();
    m_enum_status.store(THREAD_CLOSE);
    // A worker that stopped itself may still be finishing its pass.
    if (!own_thread)
        wait_for_old_worker();
}

void vortane_socket_thread::register_function(socket_user_thread_function func, void* p_param,
                                              bool b_auto_sleep) {
    m_func_thread = func;
    m_func_param = p_param;
    m_b_auto_sleep = b_auto_sleep;
}

void vortane_socket_thread::set_thread_wait_micro_sec(int micro_sec) {
    m_i_wait_micro_sec.store(micro_sec);
}

bool vortane_socket_thread::is_same_thread() {
    // An exited worker's identity may come back for another thread: only a live
    // worker can be the caller.
    return m_live_threads.load() > 0 && pthread_equal(pthread_self(), m_thread_id) != 0;
}

bool vortane_socket_thread::start() {
    if (is_same_thread())
        return false;
    for (;;) {
        socket_thread_status found = m_enum_status.load();
        switch (found) {
            case THREAD_RUN:
                return true;
            case THREAD_PAUSED:
            case THREAD_PAUSEING:
                if (!m_enum_status.compare_exchange_strong(found, THREAD_RUN))
                    continue;
                status_changed();
                wake();
                return true;
            case THREAD_INIT:
            case THREAD_STOPED:
                wait_for_old_worker();
                start_spt_thread();
                if (m_h_thread == 0) {
                    // No worker exists: a later stop() must not wait for one.
                    m_enum_status.store(THREAD_INIT);
                    return false;
                }
                m_enum_status.store(THREAD_RUN);
                wake();
                return true;
            default:
                return false;
        }
    }
}

bool vortane_socket_thread::pause() {
    for (;;) {
        socket_thread_status found = m_enum_status.load();
        if (found == THREAD_PAUSED)
            return true;
        if (found != THREAD_RUN && found != THREAD_PAUSEING)
            return false;
        if (is_same_thread()) {
            // The worker never waits for itself: the pause holds from the end of this pass.
            if (m_enum_status.compare_exchange_strong(found, THREAD_PAUSED)) {
                status_changed();
                return true;
            }
            continue;
        }
        if (found != THREAD_PAUSEING &&
            !m_enum_status.compare_exchange_strong(found, THREAD_PAUSEING)) {
            continue;
        }
        // True once the request is taken up, also when a stop overrode it.
        request_and_wait(THREAD_PAUSEING);
        return true;
    }
}

bool vortane_socket_thread::stop() {
    for (;;) {
        socket_thread_status found = m_enum_status.load();
        if (found == THREAD_INIT || found == THREAD_STOPED || found == THREAD_CLOSE)
            return true;
        if (is_same_thread()) {
            if (m_enum_status.compare_exchange_strong(found, THREAD_STOPED)) {
                status_changed();
                return true;
            }
            continue;
        }
        if (found != THREAD_STOPING &&
            !m_enum_status.compare_exchange_strong(found, THREAD_STOPING)) {
            continue;
        }
        // A pause waiting for the worker sees its request overridden.
        status_changed();
        request_and_wait(THREAD_STOPING);
        return true;
    }
}

void vortane_socket_thread::set_wait_notice(wait_notice_fun fun, void* param) {
    m_wait_notice_param.store(param);
    m_wait_notice.store(fun);
}

// Departure: start, pause and stop wait for the worker on a condition variable that
// every change of the status signals, instead of looking at the status every
// millisecond: a close no longer pays a millisecond or more for each worker.
void vortane_socket_thread::request_and_wait(socket_thread_status request) {
    // The sleeper looks at the status only when its sleep ends.
    wake();
    // No time limit: the pass may be a caller's callback, whose duration is the
    // caller's. The notice tells of a long wait.
    std::unique_lock<std::mutex> guard(m_wake_lock);
    while (!m_status_cond.wait_for(guard, std::chrono::milliseconds(WAIT_NOTICE_INTERVAL_MS),
                                   [&] { return m_enum_status.load() != request; })) {
        guard.unlock();
        wait_notice_fun fun = m_wait_notice.load();
        if (fun != nullptr)
            fun(m_wait_notice_param.load());
        guard.lock();
    }
}

void vortane_socket_thread::wait_for_old_worker() {
    std::unique_lock<std::mutex> guard(m_wake_lock);
    m_status_cond.wait(guard, [this] { return m_live_threads.load() == 0; });
}

void vortane_socket_thread::status_changed() {
    // Taken and let go: a waiter that has looked at the status is waiting by now.
    { std::lock_guard<std::mutex> guard(m_wake_lock); }
    m_status_cond.notify_all();
}

void vortane_socket_thread::start_spt_thread() {
    m_enum_status.store(THREAD_INIT);
    m_live_threads.fetch_add(1);
    m_h_thread = kq_create_thread(run_thread, this, m_thread_id);
    if (m_h_thread == 0)
        m_live_threads.fetch_sub(1);
}

void* vortane_socket_thread::run_thread(void* param) {
    if (param == nullptr)
        return nullptr;
    static_cast<vortane_socket_thread*>(param)->run_loop();
    return nullptr;
}

void vortane_socket_thread::run_loop() {
    for (;;) {
        socket_thread_status status = m_enum_status.load();
        if (status == THREAD_CLOSE || status == THREAD_STOPED)
            break;
        if (status == THREAD_INIT || status == THREAD_PAUSED) {
            break_sleep(m_i_wait_micro_sec.load());
            continue;
        }
        // A wake given before this pass began is answered by the pass itself;
        // left pending it would end the next wait at once, for a second pass.
        clear_wake();
        // A worker without a function runs empty passes, so that pause and stop
        // still take effect instead of waiting for ever.
        int result = m_func_thread != nullptr ? m_func_thread(m_func_param) : 0;
        if (result != 0)
            continue;
        if (end_of_pass())
            break;
    }
    // The last touch of the object: from here the owner may destroy or restart it.
    // Under the lock, so that the owner, who waits under it, cannot destroy the
    // object before the notice is given.
    std::lock_guard<std::mutex> guard(m_wake_lock);
    m_live_threads.fetch_sub(1);
    m_status_cond.notify_all();
}

bool vortane_socket_thread::end_of_pass() {
    socket_thread_status found = THREAD_PAUSEING;
    if (m_enum_status.compare_exchange_strong(found, THREAD_PAUSED)) {
        status_changed();
        return false;
    }
    found = THREAD_STOPING;
    if (m_enum_status.compare_exchange_strong(found, THREAD_STOPED)) {
        status_changed();
        return true;
    }
    thread_sleep();
    return false;
}

void vortane_socket_thread::thread_sleep() {
    if (m_b_auto_sleep)
        break_sleep(m_i_wait_micro_sec.load());
}

// Departure: a long sleep is one wait, not steps of 10 ms that look at the status
// after each. Start, pause and stop wake the sleeper, so it sees them at once rather
// than within a step, and an idle worker no longer wakes a hundred times a second.
void vortane_socket_thread::break_sleep(int micro_sec) {
    if (micro_sec < 0 || micro_sec > SHORT_SLEEP_LIMIT_MICRO_SEC) {
        sleep_unless_woken(micro_sec);
        return;
    }
    // Between 1 and 10 ms the sleep is whole milliseconds, truncated.
    if (micro_sec >= 1000)
        micro_sec = micro_sec / 1000 * 1000;
    sleep_unless_woken(micro_sec);
}

bool vortane_socket_thread::sleep_unless_woken(int micro_sec) {
    std::unique_lock<std::mutex> guard(m_wake_lock);
    bool woken = true;
    if (micro_sec < 0) {
        m_wake_cond.wait(guard, [this] { return m_wake_pending; });
    } else {
        woken = m_wake_cond.wait_for(guard, std::chrono::microseconds(micro_sec),
                                     [this] { return m_wake_pending; });
    }
    m_wake_pending = false;
    return woken;
}

void vortane_socket_thread::clear_wake() {
    std::lock_guard<std::mutex> guard(m_wake_lock);
    m_wake_pending = false;
}

void vortane_socket_thread::wake() {
    {
        std::lock_guard<std::mutex> guard(m_wake_lock);
        m_wake_pending = true;
    }
    // Outside the lock, so the sleeper doesn't wake only to wait for it.
    m_wake_cond.notify_one();
}
