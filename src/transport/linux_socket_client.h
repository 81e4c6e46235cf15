#ifndef VORTANE_TRANSPORT_LINUX_SOCKET_CLIENT_H
#define VORTANE_TRANSPORT_LINUX_SOCKET_CLIENT_H

#include <pthread.h>
#include <sys/epoll.h>

#include <atomic>
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
class socket_client {
public:
    socket_client();
    // Ends a running event thread without a report and waits until it has left.
    virtual ~socket_client();
    virtual bool is_connected() { return m_connected.load(); }

    void set_epoll_max_wait_time(int max_wait_time) { m_max_wait_time.store(max_wait_time); }
    void sock_set_context(socket_context* context) { m_context = context; }
    bool sock_init(const std::string& ip, unsigned short port, socket_event_callback fun,
                   void* user_param);
    bool sock_init(const std::string& server_ip, unsigned short server_port,
                   const std::string& local_ip, unsigned short local_port,
                   socket_event_callback fun, void* user_param);
    bool sock_close();
    int sock_send(const char* buff, int len);
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

    // True while an event thread of this object has not yet left (also a cancelled
    // one that is still unwinding).
    bool is_event_thread_alive() { return m_event_threads.load() > 0; }
    // Stops the event thread without a report and waits until it has left; for the
    // destructors, which must not leave the thread on freed memory.
    void end_event_thread();

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
    bool bind_local(int sock, const std::string& local_ip, unsigned short local_port);
    void abandon_connection();
    void close_descriptors();
    bool is_event_thread();
    // The event thread's last step, also when it is cancelled. `finished` is false
    // after a cancellation: event_client_close never ran, so the thread's own
    // descriptors are closed here.
    void leave_event_thread(bool finished, int sock, int epoll_handle);

    // Held around a send and around closing the socket, so that a send never
    // reaches a descriptor number that was closed meanwhile and reused.
    std::mutex m_socket_mutex;

    // Event threads started and not yet gone. A new connection's thread may overlap
    // a cancelled one that is still unwinding, hence a count and not a flag.
    std::atomic<int> m_event_threads;
};

#endif
