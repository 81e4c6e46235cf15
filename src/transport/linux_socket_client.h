#ifndef VORTANE_TRANSPORT_LINUX_SOCKET_CLIENT_H
#define VORTANE_TRANSPORT_LINUX_SOCKET_CLIENT_H

#include <netinet/in.h>
#include <pthread.h>
#include <sys/epoll.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

#include "transport/linux_socket_param.h"
#include "transport/socket_param.h"

// One outgoing IPv4 TCP connection: a socket, an epoll instance watching only it, and
// a detached event thread that reads and reports each read at once through the
// callback. No queue, no buffer beyond the line buffer.
//
// Threads: the event thread reports EVENT_CONNECT, EVENT_RECEIVE and
// EVENT_REMOTE_DISCONNECT; sock_send reports EVENT_SEND on the caller's thread;
// sock_close reports EVENT_LOCALE_DISCONNECT on the caller's thread after the event
// thread has gone. No lock is held during a callback. A callback may call sock_send
// and, on the event thread, sock_close; it must not destroy the object.
//
// Waits are bounded or can be ended from another thread: the connect gives up after
// CONNECT_TIMEOUT_MS, and an eventfd in the event thread's epoll set (the "end" latch)
// is written when the connection is to end (sock_close, interrupt, fail_link), which
// wakes the event loop, a connect in progress and a send waiting for room at once.
// A thread is never cancelled: a close waits for the callback in progress, however
// long, and tells the wait notice every few seconds meanwhile.
class socket_client {
public:
    socket_client();
    // Ends a running event thread without a report and waits until it has left.
    virtual ~socket_client();
    virtual bool is_connected() { return m_connected.load(); }

    // Longest wait for the server's answer to a connect.
    static constexpr int CONNECT_TIMEOUT_MS = 5000;
    // A waiting close calls the wait notice this often.
    static constexpr int WAIT_NOTICE_INTERVAL_MS = 5000;
    typedef void (*wait_notice_fun)(void* param);

    // Kept for the owner, and not used: the event loop waits without a time limit, since
    // the end latch wakes it for everything it must look at.
    void set_epoll_max_wait_time(int max_wait_time) { m_max_wait_time.store(max_wait_time); }
    // A copy of the connected state in a word of the owner's, which the owner may read
    // when this object may be gone: `tag` * 2 + 1 while connected, `tag` * 2 while not.
    // A change is written only while the word still carries this object's tag, so the
    // owner takes the object out of it by writing another tag. Set before sock_init.
    void set_connected_mirror(std::atomic<unsigned>* word, unsigned tag);
    void sock_set_context(socket_context* context) { m_context = context; }
    bool sock_init(const std::string& ip, unsigned short port, socket_event_callback fun,
                   void* user_param);
    bool sock_init(const std::string& server_ip, unsigned short server_port,
                   const std::string& local_ip, unsigned short local_port,
                   socket_event_callback fun, void* user_param);
    bool sock_close();
    int sock_send(const char* buff, int len);
    // Waits up to timeout_ms for room in the socket's send buffer: 1 when there is room
    // (or the next send will tell of an error), 0 when the time ran out, -1 when there is
    // no socket or the connection is ending.
    int wait_writable(int timeout_ms);
    // Ends at once every wait of the connection (a connect in progress, a send waiting
    // for room, the event loop's wait); the owner then closes with sock_close. Any thread.
    void interrupt();
    // Ends the connection as if the far side had: nothing more is sent, and the event
    // thread reports EVENT_REMOTE_DISCONNECT (unless a close comes first). Any thread.
    void fail_link();
    // Called on the closing thread every WAIT_NOTICE_INTERVAL_MS while a close waits for
    // the event thread to leave a callback.
    void set_wait_notice(wait_notice_fun fun, void* param);
    int get_sock() { return m_socket.load(); }
    // The four octets of the connection's local address, first first; false without
    // a socket.
    bool get_local_ip(unsigned char* local_ip);
    // The six bytes of the hardware address of the interface that carries the
    // connection; false, and nothing written, without a socket, without such an
    // interface ("lo" is never one) or when it has no readable hardware address.
    bool get_local_mac(unsigned char* p_mac);

protected:
    virtual bool event_client_close();
    virtual bool event_client_error();
    virtual bool event_client_connect();
    virtual bool event_client_disconnect(bool locale_flag);
    virtual bool event_client_receive();
    virtual bool event_client_send();

    static void* event_client_thread(void* ptr_param);
    void* on_event_client_thread();
    bool proc_event(epoll_event* events, int event_num);
    bool start_client_event_thread();
    bool stop_client_event_thread();
    bool set_sock_options(const int& sock);
    bool report_user(SOCKET_EVENT event_type, int socket_id, const char* buff, unsigned int size,
                     int sock);
    void log_msg(const char* msg);
    void proc_thread_error(int err_num);

    // True while an event thread of this object has not yet left.
    bool is_event_thread_alive() { return m_event_threads.load() > 0; }
    // Stops the event thread without a report and waits until it has left; for the
    // destructors, which must not leave the thread on freed memory.
    void end_event_thread();
    // Takes the socket out of the event thread's epoll set, so that nothing more is read
    // and TCP pushes back on the server, and puts it back. Any thread.
    void pause_reading();
    void resume_reading();
    bool is_reading_paused() const { return m_read_paused.load(); }
    void call_wait_notice();
    void set_connected(bool connected);
    // What a read that gave `n` (with `err`, its errno, when below 0) means for the
    // connection: true while it goes on (bytes, or nothing there yet), false at its
    // end; a failure other than a reset is logged and reported as an error.
    bool read_outcome(ssize_t n, int err);

    static const int LINE_SIZE = 8192;

    std::atomic<bool> m_connected;
    void* m_caller;
    socket_event_callback m_callback;
    char m_line[LINE_SIZE];
    epoll_error m_error_statistic;
    std::atomic<int> m_socket;
    std::string m_ip;
    unsigned short m_port;
    std::atomic<int> m_epoll_handle;
    std::atomic<bool> m_thread_quit_flag;
    std::atomic<bool> m_thread_quit_finish_flag;
    pthread_t m_thread_id;
    socket_context* m_context;
    std::atomic<int> m_max_wait_time;

private:
    socket_client(const socket_client&);
    socket_client& operator=(const socket_client&);

    bool init_connection(const std::string& server_ip, unsigned short server_port,
                         const std::string* local_ip, unsigned short local_port,
                         socket_event_callback fun, void* user_param);
    bool open_connection(int sock, const std::string* local_ip, unsigned short local_port);
    bool connect_within(int sock, const sockaddr_in& server, int timeout_ms);
    // Stops the event thread and reports a local end if the connection stood.
    bool close_connection();
    void signal_end();
    void clear_end();
    // Waits, without limit, until no event thread of this object is left.
    void wait_event_thread_gone();
    bool bind_local(int sock, const std::string& local_ip, unsigned short local_port);
    void abandon_connection();
    void close_descriptors();
    bool is_event_thread();

    // Held around a send, a wait for room and closing the socket, so that neither
    // reaches a descriptor number that was closed meanwhile and reused.
    std::mutex m_socket_mutex;
    // Serialises taking the socket out of the epoll set and putting it back, and the
    // closing of the epoll descriptor.
    std::mutex m_read_gate_mutex;
    std::atomic<bool> m_read_paused;

    // The end latch: an eventfd of the object's whole life, written when the
    // connection is to end and read empty only when a new connection begins.
    int m_end_fd;
    std::atomic<bool> m_interrupted;
    std::atomic<bool> m_link_failed;
    std::atomic<wait_notice_fun> m_wait_notice;
    std::atomic<void*> m_wait_notice_param;

    // Event threads started and not yet gone; a thread that goes says so under
    // m_gone_lock, through m_gone_cond.
    std::atomic<int> m_event_threads;
    std::mutex m_gone_lock;
    std::condition_variable m_gone_cond;

    std::atomic<unsigned>* m_connected_mirror;
    unsigned m_connected_tag;
};

#endif
