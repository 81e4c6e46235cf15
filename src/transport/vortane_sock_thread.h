#ifndef VORTANE_TRANSPORT_VORTANE_SOCK_THREAD_H
#define VORTANE_TRANSPORT_VORTANE_SOCK_THREAD_H

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

typedef pthread_t kq_thread_id;
typedef pthread_t kq_thread_handle;
typedef unsigned long socket_thread_ret;
typedef void* (*vortane_socket_thread_fun)(void*);
typedef int (*socket_user_thread_function)(void*);

// Creates a detached thread; `id` receives its identity, or 0 when creation failed.
kq_thread_handle kq_create_thread(vortane_socket_thread_fun fuc_trn, void* pParam,
                                  kq_thread_id& id);
socket_thread_ret kq_suspend_thread(kq_thread_handle handle);
socket_thread_ret kq_resume_thread(kq_thread_handle handle);
socket_thread_ret kq_close_thread(kq_thread_handle handle);
void kq_sleep(unsigned int nMilliSecond);

enum socket_thread_status {
    THREAD_INIT = 0,
    THREAD_RUN = 1,
    THREAD_PAUSED = 2,
    THREAD_PAUSEING = 3,
    THREAD_STOPED = 4,
    THREAD_STOPING = 5,
    THREAD_CLOSE = 6,
};

// Runs one user function over and over on a detached thread, with a sleep between
// passes. The status word is the control channel: start, pause and stop write a
// request into it and the worker takes a pause or stop up only at the end of a pass
// whose function returned 0. Nothing is joined. A sleep between passes is ended by
// wake(), which start, pause and stop give as well, so that no one waits for the
// sleeper's timer; with WAIT_UNTIL_WOKEN there is no timer at all.
//
// Ownership: the owner creates and destroys the object from its own threads, never
// from the worker. The destructor stops the worker and waits until it has left.
class vortane_socket_thread {
public:
    vortane_socket_thread();
    virtual ~vortane_socket_thread();

    // A wait (set_thread_wait_micro_sec) with no time limit: the worker sleeps until
    // woken, so an idle worker costs no wake-ups at all.
    static constexpr int WAIT_UNTIL_WOKEN = -1;

    bool start();
    bool pause();
    bool stop();
    void register_function(socket_user_thread_function func, void* p_param, bool b_auto_sleep);
    void set_thread_wait_micro_sec(int micro_sec);
    socket_thread_status get_thread_status() { return m_enum_status.load(); }
    int get_thread_id() { return static_cast<int>(m_thread_id); }
    bool is_same_thread();

    // Ends a sleep in progress, or the next one if the worker is not sleeping now.
    void wake();

    // Called on the waiting thread every WAIT_NOTICE_INTERVAL_MS while pause or stop
    // waits for a pass that takes its time (a caller's callback, say).
    static constexpr int WAIT_NOTICE_INTERVAL_MS = 5000;
    typedef void (*wait_notice_fun)(void* param);
    void set_wait_notice(wait_notice_fun fun, void* param);

protected:
    void start_spt_thread();
    void set_thread_status(socket_thread_status status) {
        m_enum_status.store(status);
        status_changed();
    }
    static void* run_thread(void* param);
    virtual const char* get_thread_name() { return ""; }
    void thread_sleep();
    void break_sleep(int micro_sec);

private:
    vortane_socket_thread(const vortane_socket_thread&);
    vortane_socket_thread& operator=(const vortane_socket_thread&);

    void run_loop();
    // Takes up a pending pause or stop after a pass; true when the worker must leave.
    bool end_of_pass();
    // Sleeps up to micro_sec (without limit when negative); true when a wake() ended
    // the sleep.
    bool sleep_unless_woken(int micro_sec);
    void clear_wake();
    // With `request` written, wakes the worker and waits until it has taken the
    // request up (or another request overrode it).
    void request_and_wait(socket_thread_status request);
    void wait_for_old_worker();
    // Tells the threads waiting in request_and_wait or wait_for_old_worker to look again.
    void status_changed();

    socket_user_thread_function m_func_thread;
    void* m_func_param;
    kq_thread_id m_thread_id;
    // Written by both sides without a lock: atomic so every look reads afresh and
    // every write is seen by the other thread.
    std::atomic<socket_thread_status> m_enum_status;
    std::atomic<int> m_i_wait_micro_sec;
    bool m_b_auto_sleep;
    kq_thread_handle m_h_thread;

    // Workers of this object that have not yet left. A restart and the destructor wait
    // for 0, so an old worker finishing its last pass never overlaps a new one or
    // outlives the object.
    std::atomic<int> m_live_threads;
    std::mutex m_wake_lock;
    std::condition_variable m_wake_cond;
    bool m_wake_pending;
    // Under m_wake_lock: the status has moved, or a worker has left.
    std::condition_variable m_status_cond;
    std::atomic<wait_notice_fun> m_wait_notice;
    std::atomic<void*> m_wait_notice_param;
};

#endif
