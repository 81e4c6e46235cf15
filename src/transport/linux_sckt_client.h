#ifndef VORTANE_TRANSPORT_LINUX_SCKT_CLIENT_H
#define VORTANE_TRANSPORT_LINUX_SCKT_CLIENT_H

#include <pthread.h>
#include <sys/epoll.h>

#include <atomic>
#include <string>

#include "transport/sckt_param.h"

struct epoll_error;

namespace CLIENT_SCKT_ONLY {

// Dotted IPv4 address of the interface `str_eth`, or "" (the transport's look-up).
std::string get_local_ip(std::string str_eth);

// A light outgoing IPv4 TCP connection: one socket, one epoll instance and one
// detached event thread that reads and reports each read at once. No log target, no
// queue.
//
// Threads: the event thread reports EVENT_CONNECT, one EVENT_SEND when the socket
// first turns writable, EVENT_RECEIVE and EVENT_REMOTE_DISCONNECT; sock_close
// reports EVENT_LOCALE_DISCONNECT on its caller's thread, on every call. No lock is
// held during a callback. One caller thread drives sock_init, sock_close and the
// destructor; sock_send may come from any thread.
//
// Ownership: the event thread closes the socket and the epoll descriptor when the
// connection ends, from either side. The destructor waits until the event thread
// has left, however long its callback takes (the thread is never cancelled), so that
// it never runs on freed memory; it must not be called from a callback.
class sckt_client {
public:
    sckt_client();
    virtual ~sckt_client();
    virtual bool is_connected() { return m_is_connected.load(); }

    void set_epoll_max_wait_time(int max_wait_time) { m_max_wait_time.store(max_wait_time); }
    // Connects. A connection that stands is left alone and the call refused; an
    // event thread that is still leaving an ended connection is waited for first.
    bool sock_init(const std::string& ip, unsigned short port, sckt_event_callback fun,
                   void* user_param);
    // Stops the event thread, waiting about 100 ms for it; false if it is still in a
    // callback then (it leaves, and closes the socket, when that returns).
    bool sock_close();
    // Sends the whole buffer: len, or -1 if nothing could go or a hard error came.
    int sock_send(const char* buff, int len);

protected:
    virtual bool event_client_close();
    virtual bool event_client_error();
    virtual bool event_client_connect();
    virtual bool event_client_disconnect(bool locale_flag);
    virtual bool event_client_receive();
    virtual bool event_client_send();

    static void* event_client_thread(void* ptr_param);
    void* on_event_client_thread();
    void proc_event(const epoll_event& event);
    // Counts a failed wait in `counts` (this run's counters) and logs it.
    void proc_thread_error(int err_num, epoll_error& counts);
    bool start_client_event_thread();
    bool stop_client_event_thread();
    bool set_sock_options(const int& sock);
    bool report_user(SOCKET_EVENT event_type, int sckt_id, const char* buff, unsigned int size);
    void log_msg(const std::string& msg);

    // True when no event thread runs, after waiting for one that is leaving; false
    // while a connection stands or when called on the event thread itself.
    bool ready_for_init();
    // Stops the event thread without a report and waits until it has left; for the
    // destructors, which must not leave it on freed memory.
    void end_event_thread();

    static const int LINE_SIZE = 8192;

    void* m_caller;
    sckt_event_callback m_callback;
    char m_line[LINE_SIZE];
    std::atomic<int> m_sckt;
    std::string m_ip;
    unsigned short m_port;
    std::atomic<int> m_epoll_handle;
    std::atomic<bool> m_thread_quit_flag;
    // Set from the start of a thread until its very last touch of the object.
    std::atomic<bool> m_thread_running_flag;
    std::atomic<bool> m_is_connected;
    std::atomic<int> m_max_wait_time;

private:
    sckt_client(const sckt_client&);
    sckt_client& operator=(const sckt_client&);

    bool open_connection(int sckt);
    void close_descriptors();
    // Polls m_thread_running_flag every millisecond; false if still set after `polls`.
    bool wait_thread_gone(int polls);
    bool is_event_thread();
    // The event thread's last step.
    void leave_event_thread(bool finished);

    // Written by the event thread itself, for the self-check.
    std::atomic<pthread_t> m_thread_id;
};

}  // namespace CLIENT_SCKT_ONLY

#endif
