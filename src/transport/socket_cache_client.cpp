#include "transport/socket_cache_client.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "tools/cross_platform_api.h"

using VORTANE::TOOLS::snprintf_kq;

namespace {

// Chunks of the send queue kept idle for reuse; after a burst the rest go back to the
// heap.
const int POOL_DEPTH = 64;
// Departure: the receive and send workers sleep until woken (new work, start, pause,
// stop), not 1 microsecond between passes; the reconnect worker, while auto reconnect
// is off, as well. A quiet connection wakes none of them.
const int IDLE_WAIT = vortane_socket_thread::WAIT_UNTIL_WOKEN;
// A send worker whose socket is full looks again this soon: nothing else tells it.
const int SEND_RETRY_MICRO_SEC = 10000;
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
      m_recv(size),
      m_data_pool(POOL_DEPTH),
      m_thread_send(make_worker(thread_send_proc, this, IDLE_WAIT)),
      m_thread_receive(make_worker(thread_receive_proc, this, IDLE_WAIT)),
      m_thread_reconn(make_worker(thread_auto_reconn, this, IDLE_WAIT)),
      m_async_send_flag(true),
      m_auto_reconn_flag(false),
      m_server_port(-1),
      m_local_port(-1),
      m_spare(),
      m_reconn_wait_micro_sec(DEFAULT_RECONN_WAIT_MICRO_SEC),
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
    m_reconn_wait_micro_sec.store(n_reconn_sec_time * MICRO_SEC_PER_SEC);
    // The worker may sleep until woken (auto reconnect was off): its next pass comes
    // now, and sets the wait.
    m_thread_reconn->set_thread_wait_micro_sec(b_auto_conn ? m_reconn_wait_micro_sec.load()
                                                           : IDLE_WAIT);
    m_thread_reconn->wake();
    return true;
}

int socket_cache_client::cache_callback(socket_param& out, void* para) {
    return static_cast<socket_cache_client*>(para)->on_cache_callback(out);
}

int socket_cache_client::on_cache_callback(socket_param& out) {
    // Received bytes don't come this way: event_client_receive queues them itself.
    if (out.get_event_type() == EVENT_RECEIVE)
        return 0;
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

recv_chunk* socket_cache_client::new_chunk() {
    return m_recv.new_chunk();
}

bool socket_cache_client::hold_bytes(VORTANE::TOOLS::stream_buffer& hold, const char* data,
                                     size_t len) {
    return hold.push_data(data, len);
}

// Departure: the bytes go from the socket straight into pooled chunks, up to
// CHUNKS_PER_READ with one read, and no line buffer lies between; the thread reads
// until the socket is empty before it waits again.
bool socket_cache_client::event_client_receive() {
    // Closing (sock_close from a callback on this thread): nothing more is queued, the
    // loop leaves at its next look.
    if (m_thread_quit_flag.load())
        return true;
    const int sock = m_socket.load();
    const size_t most = BACKLOG_PAUSE_BYTES / recv_chunk::CAPACITY;
    for (int reads = 0; reads < READS_PER_WAKE; ++reads) {
        // All spares are kept ready, also when fewer are read into and at a pause: the
        // chunks in use reach their most (the bound's and the spares') at the first
        // pause, and from then on the pool holds them all and allocates no more.
        // A chunk that cannot be had ends the connection, as memory that fails does
        // anywhere on this path: the bytes stay in the socket, and a reader short of
        // memory would soon have nothing to read into.
        if (!ready_spares()) {
            log_msg("receive buffer could not be stored, connection closed\n");
            return false;
        }
        const size_t queued = m_recv.queued_chunks();
        if (queued >= most) {
            pause_reading();
            // The worker may have drained meanwhile and seen nothing paused.
            if (get_backlog_bytes() <= BACKLOG_RESUME_BYTES)
                resume_reading();
            return true;
        }
        const int ready = static_cast<int>(
            most - queued < static_cast<size_t>(CHUNKS_PER_READ) ? most - queued : CHUNKS_PER_READ);
        iovec parts[CHUNKS_PER_READ];
        for (int i = 0; i < ready; ++i)
            parts[i] = {m_spare[i]->data(), recv_chunk::CAPACITY};
        const ssize_t n = readv(sock, parts, ready);
        if (n <= 0)
            return read_outcome(n, errno);
        size_t left = static_cast<size_t>(n);
        int filled = 0;
        for (; left > 0; ++filled) {
            const size_t len = left < recv_chunk::CAPACITY ? left : recv_chunk::CAPACITY;
            m_spare[filled]->set_len(len);
            left -= len;
        }
        // The worker is woken only when its queue was empty: a busy worker takes the
        // chunks up in its pass anyway.
        if (m_recv.push(m_spare, filled))
            m_thread_receive->wake();
        for (int i = 0; i < CHUNKS_PER_READ; ++i)
            m_spare[i] = i + filled < CHUNKS_PER_READ ? m_spare[i + filled] : nullptr;
        // A read that did not fill every chunk has emptied the socket; one more would
        // only say EAGAIN. Bytes arriving meanwhile wake the loop again.
        if (static_cast<size_t>(n) < static_cast<size_t>(ready) * recv_chunk::CAPACITY)
            return true;
    }
    return true;
}

bool socket_cache_client::ready_spares() {
    for (recv_chunk*& chunk : m_spare) {
        if (chunk == nullptr)
            chunk = new_chunk();
        if (chunk == nullptr)
            return false;
    }
    return true;
}

void socket_cache_client::free_spares() {
    for (recv_chunk*& chunk : m_spare) {
        m_recv.free_chunk(chunk);
        chunk = nullptr;
    }
}

// Departure: a stop or pause asked for ends the pass at the next offer, instead of
// after the queue has run empty; what is queued stays for a resume, or is dropped by
// the close. A close must not wait for a backlog delivered at the speed of the user's
// callback.
bool socket_cache_client::receive_may_go_on(void* self) {
    return static_cast<socket_cache_client*>(self)->m_thread_receive->get_thread_status() ==
           THREAD_RUN;
}

void socket_cache_client::taken_from_backlog(void* self, size_t queued) {
    socket_cache_client* me = static_cast<socket_cache_client*>(self);
    if (queued * recv_chunk::CAPACITY <= BACKLOG_RESUME_BYTES && me->is_reading_paused())
        me->resume_reading();
}

bool socket_cache_client::hold_for_user(void* self, VORTANE::TOOLS::stream_buffer& hold,
                                        const char* data, size_t len) {
    return static_cast<socket_cache_client*>(self)->hold_bytes(hold, data, len);
}

int socket_cache_client::deliver_to_user(socket_param& param, void* self) {
    socket_cache_client* me = static_cast<socket_cache_client*>(self);
    socket_event_callback callback = me->m_callback.load();
    if (callback != nullptr)
        callback(param, me->m_caller.load());
    return 0;
}

// Takes the whole queue at once, and what comes meanwhile, before it sleeps again.
int socket_cache_client::on_thread_receive_proc() {
    if (m_hold_failed.load()) {
        // The stream has a hole: nothing more of this connection is delivered.
        m_recv.discard();
        return 0;
    }
    const recv_path::control control = {receive_may_go_on, taken_from_backlog, hold_for_user, this};
    const unsigned outcome = m_recv.drain(deliver_to_user, this, control);
    if ((outcome & recv_path::HOLD_FAILED) != 0 && !m_hold_failed.exchange(true)) {
        m_recv.discard();
        fail_link();
    }
    return 0;
}

int socket_cache_client::on_thread_send_proc() {
    int wait = IDLE_WAIT;
    while (!m_list_send.empty()) {
        data_buffer_ptr chunk = m_list_send.get_front_node();
        if (chunk == nullptr)
            break;
        int sent = socket_client::sock_send(chunk->get_data_ptr(),
                                            static_cast<int>(chunk->get_data_len()));
        // Nothing taken or an error: the chunk stays in front. A full socket is
        // retried as soon as it has room, within one short wait so that a pause or
        // stop is seen in time; then, as after an error, after a short sleep, since
        // nothing else wakes this worker for that.
        if (sent < 1) {
            if (sent == 0 && wait_writable(SEND_RETRY_MICRO_SEC / 1000) == 1)
                continue;
            wait = SEND_RETRY_MICRO_SEC;
            break;
        }
        if (static_cast<size_t>(sent) < chunk->get_data_len()) {
            chunk->pop_data(static_cast<size_t>(sent));
            continue;
        }
        m_list_send.pop_front_node();
        m_data_pool.delete_data(chunk);
    }
    m_thread_send->set_thread_wait_micro_sec(wait);
    return 0;
}

int socket_cache_client::on_thread_auto_reconn() {
    // Off: sleep until set_auto_reconn_falg wakes the worker. On: one wait of the period
    // between passes.
    const bool on = m_auto_reconn_flag.load();
    m_thread_reconn->set_thread_wait_micro_sec(on ? m_reconn_wait_micro_sec.load() : IDLE_WAIT);
    if (!on || is_connected())
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
    m_recv.clear();
    free_spares();
    drain(m_list_send);
}
