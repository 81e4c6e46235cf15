#include "transport/socket_cache_client.h"

#include <climits>

#include "tools/cross_platform_api.h"

using VORTANE::TOOLS::snprintf_kq;

namespace {

// Chunks kept idle for reuse; after a burst the rest go back to the heap.
const int POOL_DEPTH = 64;
// The receive and send workers are woken when their queue gets work; between idle
// passes they wait at most this long.
const int IDLE_WAIT_MICRO_SEC = 10000;
const int DEFAULT_RECONN_WAIT_MICRO_SEC = 5000000;
const int MICRO_SEC_PER_SEC = 1000000;
const int MSG_BUFFER_SIZE = 4096;

const char* const RECEIVE_START_ERROR = "start receive thread error, server ip:%s, server port:%d";
const char* const SEND_START_ERROR = "start send thread error, server ip:%s, server port:%d";
const char* const RECEIVE_START_ERROR_LOCAL =
    "start receive thread error, server ip:%s, server port:%d, local ip:%s, local port:%d";
const char* const SEND_START_ERROR_LOCAL =
    "start send thread error, server ip:%s, server port:%d, local ip:%s, local port:%d";

vortane_socket_thread* make_worker(socket_user_thread_function func, void* owner, int wait) {
    vortane_socket_thread* worker = new vortane_socket_thread();
    worker->register_function(func, owner, true);
    worker->set_thread_wait_micro_sec(wait);
    return worker;
}

}  // namespace

socket_cache_client::socket_cache_client(unsigned int size)
    : m_caller(nullptr),
      m_callback(nullptr),
      m_hold_buf(size),
      m_data_pool(POOL_DEPTH),
      m_thread_send(make_worker(thread_send_proc, this, IDLE_WAIT_MICRO_SEC)),
      m_thread_receive(make_worker(thread_receive_proc, this, IDLE_WAIT_MICRO_SEC)),
      m_thread_reconn(make_worker(thread_auto_reconn, this, DEFAULT_RECONN_WAIT_MICRO_SEC)),
      m_async_send_flag(true),
      m_auto_reconn_flag(false),
      m_server_port(-1),
      m_local_port(-1),
      m_backlog_bytes(0),
      m_store_failed(false),
      m_hold_failed(false) {}

socket_cache_client::~socket_cache_client() {
    // The reconnect worker first: its pass pauses and resumes the other two.
    vortane_socket_thread** workers[] = {&m_thread_reconn, &m_thread_send, &m_thread_receive};
    for (vortane_socket_thread** worker : workers)
        (*worker)->stop();
    // The event thread calls into this object: it must be gone before the members.
    end_event_thread();
    for (vortane_socket_thread** worker : workers) {
        delete *worker;
        *worker = nullptr;
    }
    clear_data();
}

void socket_cache_client::set_epoll_max_wait_time(int max_wait_time) {
    socket_client::set_epoll_max_wait_time(max_wait_time);
}

bool socket_cache_client::sock_init(const std::string& ip, unsigned short port,
                                    socket_event_callback fun, void* user_param,
                                    bool async_send_flag) {
    return init_cached(ip, port, nullptr, 0, fun, user_param, async_send_flag);
}

bool socket_cache_client::sock_init(const std::string& server_ip, unsigned short server_port,
                                    const std::string& local_ip, unsigned short local_port,
                                    socket_event_callback fun, void* user_param,
                                    bool async_send_flag) {
    return init_cached(server_ip, server_port, &local_ip, local_port, fun, user_param,
                       async_send_flag);
}

bool socket_cache_client::init_cached(const std::string& server_ip, unsigned short server_port,
                                      const std::string* local_ip, unsigned short local_port,
                                      socket_event_callback fun, void* user_param,
                                      bool async_send_flag) {
    // On a worker's own thread its start fails; find that out before taking the lock,
    // which a reconnect pass may hold while it waits for that very worker.
    if (m_thread_receive->is_same_thread() || m_thread_send->is_same_thread())
        return start_workers(server_ip, server_port, local_ip, local_port);
    VORTANE::TOOLS::mutex_locker guard(m_conn_lock);
    if (!start_workers(server_ip, server_port, local_ip, local_port))
        return false;
    m_store_failed = false;
    m_hold_failed.store(false);
    m_caller.store(user_param);
    m_callback.store(fun);
    m_async_send_flag.store(async_send_flag);
    m_server_ip = server_ip;
    m_server_port = server_port;
    bool connected;
    if (local_ip != nullptr) {
        m_local_ip = *local_ip;
        m_local_port = local_port;
        connected = socket_client::sock_init(server_ip, server_port, *local_ip, local_port,
                                             cache_callback, this);
    } else {
        connected = socket_client::sock_init(server_ip, server_port, cache_callback, this);
    }
    // Also after a failed connect, so that auto reconnect can keep trying.
    m_thread_reconn->start();
    return connected;
}

bool socket_cache_client::start_workers(const std::string& server_ip, unsigned short server_port,
                                        const std::string* local_ip, unsigned short local_port) {
    vortane_socket_thread* workers[] = {m_thread_receive, m_thread_send};
    const bool with_local = local_ip != nullptr;
    const char* formats[] = {with_local ? RECEIVE_START_ERROR_LOCAL : RECEIVE_START_ERROR,
                             with_local ? SEND_START_ERROR_LOCAL : SEND_START_ERROR};
    for (int i = 0; i < 2; ++i) {
        if (workers[i]->start())
            continue;
        char msg[MSG_BUFFER_SIZE];
        // The formats without a local address leave the last two arguments unused.
        snprintf_kq(msg, sizeof(msg), formats[i], server_ip.c_str(), static_cast<int>(server_port),
                    with_local ? local_ip->c_str() : "", static_cast<int>(local_port));
        log_msg(msg);
        return false;
    }
    return true;
}

int socket_cache_client::sock_send(const char* buff, int len) {
    if (!m_async_send_flag.load())
        return socket_client::sock_send(buff, len);
    if (buff == nullptr || len < 0)
        return -1;
    // An empty chunk would never leave the queue.
    if (len == 0)
        return 0;
    data_buffer_ptr chunk = m_data_pool.new_data();
    chunk->reset_data(buff, static_cast<size_t>(len));
    m_list_send.push_node(chunk);
    m_thread_send->wake();
    return len;
}

bool socket_cache_client::sock_close() {
    // The reconnect worker first: its pass pauses and resumes the other two.
    m_thread_reconn->stop();
    m_thread_send->stop();
    m_thread_receive->stop();
    bool result = socket_client::sock_close();
    clear_data();
    return result;
}

void socket_cache_client::set_wait_notice(wait_notice_fun fun, void* param) {
    socket_client::set_wait_notice(fun, param);
    m_thread_send->set_wait_notice(fun, param);
    m_thread_receive->set_wait_notice(fun, param);
    m_thread_reconn->set_wait_notice(fun, param);
}

bool socket_cache_client::set_auto_reconn_falg(bool b_auto_conn, int n_reconn_sec_time) {
    m_auto_reconn_flag.store(b_auto_conn);
    if (n_reconn_sec_time < 1)
        n_reconn_sec_time = 1;
    // The wait is counted in microseconds in an int.
    if (n_reconn_sec_time > INT_MAX / MICRO_SEC_PER_SEC)
        n_reconn_sec_time = INT_MAX / MICRO_SEC_PER_SEC;
    m_thread_reconn->set_thread_wait_micro_sec(n_reconn_sec_time * MICRO_SEC_PER_SEC);
    return true;
}

int socket_cache_client::cache_callback(socket_param& out, void* para) {
    return static_cast<socket_cache_client*>(para)->on_cache_callback(out);
}

int socket_cache_client::on_cache_callback(socket_param& out) {
    if (out.get_event_type() == EVENT_RECEIVE) {
        // Only store the bytes here: the user's parsing runs on the receive worker.
        const size_t len = out.get_buff_size();
        data_buffer_ptr chunk = m_data_pool.new_data();
        if (!store_chunk(chunk, out.get_buff_addr(), len)) {
            m_data_pool.delete_data(chunk);
            m_store_failed = true;
            return 0;
        }
        m_backlog_bytes.fetch_add(len);
        m_list_recv.push_node(chunk);
        m_thread_receive->wake();
        if (m_backlog_bytes.load() >= BACKLOG_PAUSE_BYTES) {
            pause_reading();
            // The worker may have drained meanwhile and seen nothing paused.
            if (m_backlog_bytes.load() <= BACKLOG_RESUME_BYTES)
                resume_reading();
        }
        return 0;
    }
    socket_event_callback callback = m_callback.load();
    if (callback != nullptr)
        callback(out, m_caller.load());
    return 0;
}

int socket_cache_client::thread_receive_proc(void* para) {
    return static_cast<socket_cache_client*>(para)->on_thread_receive_proc();
}

int socket_cache_client::thread_send_proc(void* para) {
    return static_cast<socket_cache_client*>(para)->on_thread_send_proc();
}

int socket_cache_client::thread_auto_reconn(void* para) {
    return static_cast<socket_cache_client*>(para)->on_thread_auto_reconn();
}

bool socket_cache_client::store_chunk(data_buffer_ptr chunk, const char* data, size_t len) {
    return chunk->reset_data(data, len);
}

bool socket_cache_client::hold_bytes(const char* data, size_t len) {
    return m_hold_buf.push_data(data, len);
}

bool socket_cache_client::event_client_receive() {
    const bool going_on = socket_client::event_client_receive();
    if (!m_store_failed)
        return going_on;
    // A hole in the stream would misframe all that follows: end the connection.
    m_store_failed = false;
    log_msg("receive buffer could not be stored, connection closed\n");
    return false;
}

// Departure: a stop or pause asked for ends the pass now, instead of after the queue
// has run empty; what is queued stays for a resume, or is dropped by the close. A
// close must not wait for a backlog delivered at the speed of the user's callback.
bool socket_cache_client::receive_may_go_on() {
    return m_thread_receive->get_thread_status() == THREAD_RUN;
}

void socket_cache_client::take_from_backlog(size_t len) {
    const size_t left = m_backlog_bytes.fetch_sub(len) - len;
    if (left <= BACKLOG_RESUME_BYTES && is_reading_paused())
        resume_reading();
}

int socket_cache_client::on_thread_receive_proc() {
    while (!m_list_recv.empty() && receive_may_go_on()) {
        data_buffer_ptr chunk = m_list_recv.get_front_node();
        const size_t len = chunk->get_data_len();
        const bool held = !m_hold_failed.load() && hold_bytes(chunk->get_data_ptr(), len);
        m_list_recv.pop_front_node();
        m_data_pool.delete_data(chunk);
        take_from_backlog(len);
        if (!held) {
            // The stream has a hole: nothing more of this connection is delivered.
            if (!m_hold_failed.exchange(true)) {
                m_hold_buf.clear();
                fail_link();
            }
            continue;
        }
        deliver_held_bytes();
    }
    return 0;
}

void socket_cache_client::deliver_held_bytes() {
    while (receive_may_go_on()) {
        const char* data = m_hold_buf.get_data_ptr();
        const unsigned int held = static_cast<unsigned int>(m_hold_buf.get_data_len());
        socket_param record(EVENT_RECEIVE, 0, &data, held, 0);
        socket_event_callback callback = m_callback.load();
        if (callback != nullptr)
            callback(record, m_caller.load());
        unsigned int consumed = record.get_proc_len();
        // Nothing consumed: the user waits for more bytes.
        if (consumed == 0)
            return;
        // More than was offered breaks the user's contract; popping it would break the
        // buffer, so take what there is.
        if (consumed > held)
            consumed = held;
        m_hold_buf.pop_data(consumed);
        if (m_hold_buf.get_data_len() == 0)
            return;
    }
}

int socket_cache_client::on_thread_send_proc() {
    while (!m_list_send.empty()) {
        data_buffer_ptr chunk = m_list_send.get_front_node();
        if (chunk == nullptr)
            return 0;
        int sent = socket_client::sock_send(chunk->get_data_ptr(),
                                            static_cast<int>(chunk->get_data_len()));
        // Nothing taken or an error: the chunk stays in front. A full socket is
        // retried as soon as it has room (nothing else wakes this worker for that),
        // an error on the next pass.
        if (sent < 1) {
            // One idle wait at most, so that a pause or stop is seen in time.
            if (sent == 0 && wait_writable(IDLE_WAIT_MICRO_SEC / 1000) == 1)
                continue;
            return 0;
        }
        if (static_cast<size_t>(sent) < chunk->get_data_len()) {
            chunk->pop_data(static_cast<size_t>(sent));
            continue;
        }
        m_list_send.pop_front_node();
        m_data_pool.delete_data(chunk);
    }
    return 0;
}

int socket_cache_client::on_thread_auto_reconn() {
    if (!m_auto_reconn_flag.load() || is_connected())
        return 0;
    // The old event thread may still be reporting the end of its connection, perhaps
    // into a callback that closes this object; connecting now would wait for it.
    if (is_event_thread_alive())
        return 0;
    // A caller is connecting: leave it to them.
    if (!m_conn_lock.try_lock())
        return 0;
    reconnect();
    m_conn_lock.unlock();
    return 0;
}

void socket_cache_client::reconnect() {
    // Queues and hold buffer belong to the receive and send workers: pause them while
    // the old connection's bytes are dropped, so no partial message stays in front.
    bool receive_paused = m_thread_receive->pause();
    bool send_paused = m_thread_send->pause();
    clear_data();
    if (send_paused)
        m_thread_send->start();
    if (receive_paused)
        m_thread_receive->start();
    unsigned short server_port = static_cast<unsigned short>(m_server_port);
    if (!m_local_ip.empty() && m_local_port != -1) {
        socket_client::sock_init(m_server_ip, server_port, m_local_ip,
                                 static_cast<unsigned short>(m_local_port), cache_callback, this);
    } else {
        socket_client::sock_init(m_server_ip, server_port, cache_callback, this);
    }
}

void socket_cache_client::drain(tcp_data_queue& queue) {
    while (!queue.empty()) {
        m_data_pool.delete_data(queue.get_front_node());
        queue.pop_front_node();
    }
}

void socket_cache_client::clear_data() {
    drain(m_list_recv);
    m_backlog_bytes.store(0);
    drain(m_list_send);
    m_hold_buf.clear();
}
