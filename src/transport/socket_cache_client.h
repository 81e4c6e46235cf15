#ifndef VORTANE_TRANSPORT_SOCKET_CACHE_CLIENT_H
#define VORTANE_TRANSPORT_SOCKET_CACHE_CLIENT_H

#include <atomic>
#include <string>

#include "tools/data_pool.h"
#include "tools/data_queue.h"
#include "tools/lock.h"
#include "tools/stream_buffer.h"
#include "transport/linux_socket_client.h"
#include "transport/recv_path.h"
#include "transport/vortane_sock_thread.h"

// socket_client with queues and workers between the socket and the user, so that the
// event thread only stores bytes and never runs the user's parsing.
//
// Threads and what reaches the user's callback from each:
//   event thread      EVENT_CONNECT, EVENT_REMOTE_DISCONNECT
//   receive worker    EVENT_RECEIVE: all bytes held, from the first one not consumed,
//                     as one run; the user reports what it consumed with set_proc_len
//   send worker       EVENT_SEND of queued (asynchronous) sends
//   reconnect worker  none directly; reconnects when auto reconnect is on
//   caller's threads  EVENT_SEND of direct sends, EVENT_LOCALE_DISCONNECT from sock_close
// No lock is held during a callback. sock_close and the destructor are for threads
// outside the object; sock_close may also come from a callback on the event thread.
//
// Receiving: the event thread reads straight into pooled chunks, several with one
// read, until the socket is empty (at most READS_PER_WAKE reads per wake-up), and
// queues what it read in one step; it wakes the receive worker when the queue was
// empty. The worker takes the whole queue at once
// and offers the bytes to the user where they lie (recv_path); only a tail the user
// leaves waits in the hold buffer. Idle workers sleep until woken: a quiet
// connection wakes no thread.
//
// Bounds: the chunks queued between the socket and the receive worker hold at most
// BACKLOG_PAUSE_BYTES; past that the event thread stops reading the socket (TCP
// pushes back on the server) until the worker has brought them down to
// BACKLOG_RESUME_BYTES. Nothing is dropped while connected. A close does not deliver
// what is still queued: the receive worker ends its pass at the next offer. Bytes that
// cannot be stored (no memory) end the connection as a remote end, rather than leave
// a hole in the stream.
class socket_cache_client : public socket_client {
public:
    typedef VORTANE::TOOLS::stream_buffer* data_buffer_ptr;
    typedef VORTANE::TOOLS::data_queue<VORTANE::TOOLS::stream_buffer*> tcp_data_queue;
    typedef VORTANE::TOOLS::data_pool<VORTANE::TOOLS::stream_buffer> tcp_data_pool;

    // Chunks filled by one read, at most, and reads of one wake-up of the event thread:
    // the socket's other events and a close are looked at in between.
    static constexpr int CHUNKS_PER_READ = 8;
    static constexpr int READS_PER_WAKE = 4;
    // The queued chunks, with those the event thread reads into, fit in what the pool
    // keeps idle: a stream, however fast, then runs on the same chunks and allocates
    // nothing, and no more than that stays idle after it. Behind the bound the
    // socket's own buffer holds what the server sends, so a larger one would not read
    // faster.
    static constexpr size_t BACKLOG_PAUSE_BYTES =
        static_cast<size_t>(recv_path::POOL_DEPTH - CHUNKS_PER_READ) * recv_chunk::CAPACITY;
    static constexpr size_t BACKLOG_RESUME_BYTES = BACKLOG_PAUSE_BYTES / 2;

    // `size`: first capacity of the hold buffer. Starts nothing.
    explicit socket_cache_client(unsigned int size);
    // Stops the workers and the event thread, without a report.
    virtual ~socket_cache_client();

    void set_epoll_max_wait_time(int max_wait_time);
    bool sock_init(const std::string& ip, unsigned short port, socket_event_callback fun,
                   void* user_param, bool async_send_flag = false);
    bool sock_init(const std::string& server_ip, unsigned short server_port,
                   const std::string& local_ip, unsigned short local_port,
                   socket_event_callback fun, void* user_param, bool async_send_flag = false);
    int sock_send(const char* buff, int len);
    bool sock_close();
    int get_socket() { return get_sock(); }
    bool set_auto_reconn_falg(bool b_auto_conn, int n_reconn_sec_time);
    // What the chunks received and not yet taken up by the receive worker hold.
    size_t get_backlog_bytes() const { return m_recv.queued_chunks() * recv_chunk::CAPACITY; }
    // The wait notice of the base class, and of the workers' stops as well.
    void set_wait_notice(wait_notice_fun fun, void* param);

protected:
    static int cache_callback(socket_param& out, void* para);
    int on_cache_callback(socket_param& out);
    static int thread_receive_proc(void* para);
    static int thread_send_proc(void* para);
    static int thread_auto_reconn(void* para);
    int on_thread_receive_proc();
    int on_thread_send_proc();
    int on_thread_auto_reconn();
    void clear_data();
    // A chunk to read into, or null when memory fails; and bytes that the user left,
    // kept for its next offer, false when memory fails.
    virtual recv_chunk* new_chunk();
    virtual bool hold_bytes(VORTANE::TOOLS::stream_buffer& hold, const char* data, size_t len);
    // Reads until the socket is empty, at most READS_PER_WAKE times; false at the end
    // of the connection, and when no chunk could be had.
    bool event_client_receive() override;

    // The user's callback and value: written by sock_init, read by every thread.
    std::atomic<void*> m_caller;
    std::atomic<socket_event_callback> m_callback;
    // Received chunks, their queue and pool, and the hold buffer.
    recv_path m_recv;
    tcp_data_queue m_list_send;
    tcp_data_pool m_data_pool;
    vortane_socket_thread* m_thread_send;
    vortane_socket_thread* m_thread_receive;
    vortane_socket_thread* m_thread_reconn;
    std::atomic<bool> m_async_send_flag;
    std::atomic<bool> m_auto_reconn_flag;
    std::string m_server_ip;
    int m_server_port;
    std::string m_local_ip;
    int m_local_port;
    // The event thread's chunks to read into, kept from one read to the next.
    recv_chunk* m_spare[CHUNKS_PER_READ];
    // The wait of the reconnect worker while auto reconnect is on.
    std::atomic<int> m_reconn_wait_micro_sec;
    // The hold buffer could not keep bytes of this connection: nothing more of it is
    // delivered, and the connection ends.
    std::atomic<bool> m_hold_failed;

private:
    socket_cache_client(const socket_cache_client&);
    socket_cache_client& operator=(const socket_cache_client&);

    bool init_cached(const std::string& server_ip, unsigned short server_port,
                     const std::string* local_ip, unsigned short local_port,
                     socket_event_callback fun, void* user_param, bool async_send_flag);
    // Starts the receive and send workers; a failure is logged with the addresses.
    bool start_workers(const std::string& server_ip, unsigned short server_port,
                       const std::string* local_ip, unsigned short local_port);
    // The receive worker's control of its drain, and the user's callback behind it.
    static bool receive_may_go_on(void* self);
    static void taken_from_backlog(void* self, size_t queued);
    static bool hold_for_user(void* self, VORTANE::TOOLS::stream_buffer& hold, const char* data,
                              size_t len);
    static int deliver_to_user(socket_param& param, void* self);
    void reconnect();
    // Every spare chunk ready to read into; false when memory fails.
    bool ready_spares();
    void free_spares();
    void drain(tcp_data_queue& queue);

    // Taken by a caller's sock_init for the whole of it, and tried by the reconnect
    // pass: a reconnection never runs while a caller connects, and the reconnect
    // worker never waits for this lock (so stopping it never waits for a caller).
    // It guards the reconnection address as well.
    VORTANE::TOOLS::mutex_lock m_conn_lock;
};

#endif
