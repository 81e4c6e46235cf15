#include "transport/linux_socket_client.h"

#include <fcntl.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/cross_platform_api.h"
#include "transport/vortane_sock_thread.h"

using VORTANE::TOOLS::snprintf_kq;

namespace {

// Level-triggered, no EPOLLOUT: the thread wakes for bytes and for the end of the line.
const uint32_t WATCHED_EVENTS = EPOLLIN | EPOLLERR | EPOLLHUP;
const int MSG_BUFFER_SIZE = 4096;
const pthread_t NO_THREAD = static_cast<pthread_t>(-1);
// The socket and the end latch.
const int WAKE_EVENTS_AT_ONCE = 2;

typedef std::chrono::steady_clock wait_clock;

// Milliseconds left until `deadline`, at least 0.
int ms_left(wait_clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - wait_clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

const char* error_text(int err, char* buf, size_t len) {
    return strerror_r(err, buf, len);
}

// How a failure of epoll_wait is counted and told. The EBADF text also names the
// epoll descriptor; the others take the count alone.
struct wait_error_kind {
    int err_num;
    int epoll_error::*counter;
    const char* format;
};

const wait_error_kind WAIT_ERROR_KINDS[] = {
    {EBADF, &epoll_error::m_wait_error_EBADF,
     "epoll_waite error! epoll_handle:%d  is not a valid file descriptor. error times(%d)\n"},
    {EFAULT, &epoll_error::m_wait_error_EFAULT,
     "epoll_waite error! epoll_event is not accessible with write. error times(%d)"},
    {EINTR, &epoll_error::m_wait_error_EINTR,
     "epoll_waite error! the call was interrupted by a signal handler before any of the "
     "requested events occurred or timeout expired. error times(%d)\n"},
    {EINVAL, &epoll_error::m_wait_error_EINVAL,
     "epoll_waite error! m_epoll_handle is not an epoll file descriptor, or maxevents is less "
     "than or equal to zero. error times(%d)\n"},
};
const wait_error_kind UNDEFINED_WAIT_ERROR = {
    0, &epoll_error::m_wait_error_UNDEF,
    "epoll_waite error! undefine wait error. error times(%d)\n"};

const wait_error_kind& find_wait_error_kind(int err_num) {
    for (const wait_error_kind& kind : WAIT_ERROR_KINDS) {
        if (kind.err_num == err_num)
            return kind;
    }
    return UNDEFINED_WAIT_ERROR;
}

bool fail_with(int err) {
    errno = err;
    return false;
}

}  // namespace

socket_client::socket_client()
    : m_connected(false),
      m_caller(nullptr),
      m_callback(nullptr),
      m_socket(-1),
      m_port(0),
      m_epoll_handle(-1),
      m_thread_quit_flag(false),
      m_thread_quit_finish_flag(true),
      m_thread_id(NO_THREAD),
      m_context(nullptr),
      m_max_wait_time(50),
      m_read_paused(false),
      m_end_fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_interrupted(false),
      m_link_failed(false),
      m_wait_notice(nullptr),
      m_wait_notice_param(nullptr),
      m_event_threads(0),
      m_connected_mirror(nullptr),
      m_connected_tag(0) {}

socket_client::~socket_client() {
    end_event_thread();
    if (m_end_fd != -1)
        close(m_end_fd);
}

void socket_client::end_event_thread() {
    // On the event thread itself there is nothing to wait for.
    if (is_event_thread())
        return;
    stop_client_event_thread();
}

void socket_client::set_wait_notice(wait_notice_fun fun, void* param) {
    m_wait_notice_param.store(param);
    m_wait_notice.store(fun);
}

void socket_client::set_connected_mirror(std::atomic<unsigned>* word, unsigned tag) {
    m_connected_mirror = word;
    m_connected_tag = tag;
}

void socket_client::set_connected(bool connected) {
    m_connected.store(connected);
    if (m_connected_mirror == nullptr)
        return;
    unsigned seen = m_connected_mirror->load();
    const unsigned want = m_connected_tag * 2 + (connected ? 1 : 0);
    // Fails, and leaves the word alone, once the owner has given it another tag.
    while (seen / 2 == m_connected_tag && seen != want &&
           !m_connected_mirror->compare_exchange_weak(seen, want)) {
    }
}

void socket_client::call_wait_notice() {
    wait_notice_fun fun = m_wait_notice.load();
    if (fun != nullptr)
        fun(m_wait_notice_param.load());
}

void socket_client::signal_end() {
    if (m_end_fd == -1)
        return;
    uint64_t one = 1;
    // Can only fail when the counter is full, which leaves it readable all the same.
    ssize_t written = write(m_end_fd, &one, sizeof(one));
    (void)written;
}

void socket_client::clear_end() {
    if (m_end_fd == -1)
        return;
    uint64_t value;
    ssize_t got = read(m_end_fd, &value, sizeof(value));
    (void)got;
}

void socket_client::interrupt() {
    m_interrupted.store(true);
    signal_end();
}

void socket_client::fail_link() {
    // sock_send looks at the flag under the socket lock: a send in progress finishes,
    // none starts after. The latch wakes a send that waits for room.
    m_link_failed.store(true);
    signal_end();
}

bool socket_client::sock_init(const std::string& ip, unsigned short port, socket_event_callback fun,
                              void* user_param) {
    return init_connection(ip, port, nullptr, 0, fun, user_param);
}

bool socket_client::sock_init(const std::string& server_ip, unsigned short server_port,
                              const std::string& local_ip, unsigned short local_port,
                              socket_event_callback fun, void* user_param) {
    return init_connection(server_ip, server_port, &local_ip, local_port, fun, user_param);
}

bool socket_client::init_connection(const std::string& server_ip, unsigned short server_port,
                                    const std::string* local_ip, unsigned short local_port,
                                    socket_event_callback fun, void* user_param) {
    close_connection();
    // The latch of the connection before is read empty; an interrupt meant for this
    // attempt, given already, still shows in its flag.
    clear_end();
    if (m_interrupted.load())
        return false;
    if (fun == nullptr)
        return false;
    // Departure: a text that is not a dotted IPv4 address is refused rather than taken
    // as 0.0.0.0, which would connect to whatever listens on this machine.
    if (!is_dotted_ipv4(server_ip) || (local_ip != nullptr && !is_dotted_ipv4(*local_ip)))
        return false;
    m_callback = fun;
    m_caller = user_param;
    m_ip = server_ip;
    m_port = server_port;
    set_connected(false);
    m_link_failed.store(false);
    m_read_paused.store(false);
    int sock = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (sock == -1)
        return false;
    m_socket.store(sock);
    if (open_connection(sock, local_ip, local_port) && start_client_event_thread())
        return true;
    // A failed init shows only in its result: no event is reported.
    abandon_connection();
    return false;
}

bool socket_client::open_connection(int sock, const std::string* local_ip,
                                    unsigned short local_port) {
    if (local_ip != nullptr && !bind_local(sock, *local_ip, local_port))
        return false;
    sockaddr_in server = make_ipv4_addr(m_ip, m_port);
    if (!connect_within(sock, server, CONNECT_TIMEOUT_MS))
        return false;
    set_connected(true);
    if (!set_sock_options(sock))
        return false;
    int epoll_handle = epoll_create1(EPOLL_CLOEXEC);
    if (epoll_handle < 0)
        return false;
    m_epoll_handle.store(epoll_handle);
    if (m_end_fd != -1 && epoll_watch_kq(epoll_handle, EPOLL_CTL_ADD, m_end_fd, EPOLLIN) < 0)
        return false;
    return epoll_watch_kq(epoll_handle, EPOLL_CTL_ADD, sock, WATCHED_EVENTS) >= 0;
}

// A non-blocking connect and a bounded wait for its outcome, which the end latch cuts
// short: a host that never answers costs timeout_ms, not the kernel's minutes of retries.
bool socket_client::connect_within(int sock, const sockaddr_in& server, int timeout_ms) {
    if (connect(sock, reinterpret_cast<const sockaddr*>(&server), sizeof(server)) == 0)
        return true;
    if (errno != EINPROGRESS)
        return false;
    const wait_clock::time_point deadline =
        wait_clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        if (m_interrupted.load())
            return fail_with(ECANCELED);
        pollfd fds[2] = {{sock, POLLOUT, 0}, {m_end_fd, POLLIN, 0}};
        const int left = ms_left(deadline);
        if (left == 0)
            return fail_with(ETIMEDOUT);
        int n = poll(fds, m_end_fd != -1 ? 2 : 1, left);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            return fail_with(ETIMEDOUT);
        if (fds[1].revents != 0) {
            if (m_interrupted.load())
                return fail_with(ECANCELED);
            clear_end();  // not meant for this attempt
        }
        if (fds[0].revents != 0) {
            int err = 0;
            socklen_t len = sizeof(err);
            if (getsockopt(sock, SOL_SOCKET, SO_ERROR, &err, &len) != 0)
                return false;
            return err == 0 || fail_with(err);
        }
    }
}

bool socket_client::bind_local(int sock, const std::string& local_ip, unsigned short local_port) {
    sockaddr_in local = make_ipv4_addr(local_ip, local_port);
    if (bind(sock, reinterpret_cast<sockaddr*>(&local), sizeof(local)) == 0)
        return true;
    int err = errno;
    char err_buf[256];
    char msg[MSG_BUFFER_SIZE];
    size_t used = snprintf_kq(
        msg, sizeof(msg),
        "*****socket client local_addr error!***** error code:%d error message:(%s) %s ", err,
        error_text(err, err_buf, sizeof(err_buf)), m_ip.c_str());
    used += snprintf_kq(msg + used, sizeof(msg) - used, " %d  %d", m_port,
                        static_cast<int>(local.sin_addr.s_addr));
    snprintf_kq(msg + used, sizeof(msg) - used, " %d \n ", static_cast<int>(local.sin_port));
    log_msg(msg);
    return false;
}

void socket_client::abandon_connection() {
    close_descriptors();
    set_connected(false);
}

void socket_client::close_descriptors() {
    {
        std::lock_guard<std::mutex> gate(m_read_gate_mutex);
        close_descriptor_kq(m_epoll_handle);
    }
    // A send in progress finishes before its socket is closed, and one waiting for room
    // has been woken by the end latch.
    std::lock_guard<std::mutex> guard(m_socket_mutex);
    close_descriptor_kq(m_socket);
}

void socket_client::pause_reading() {
    std::lock_guard<std::mutex> gate(m_read_gate_mutex);
    const int epoll_handle = m_epoll_handle.load();
    if (m_read_paused.load() || epoll_handle == -1)
        return;
    if (epoll_watch_kq(epoll_handle, EPOLL_CTL_DEL, m_socket.load(), 0) == 0)
        m_read_paused.store(true);
}

void socket_client::resume_reading() {
    std::lock_guard<std::mutex> gate(m_read_gate_mutex);
    const int epoll_handle = m_epoll_handle.load();
    if (!m_read_paused.load() || epoll_handle == -1)
        return;
    // The socket is closed only after the epoll descriptor, so it is still ours here.
    if (epoll_watch_kq(epoll_handle, EPOLL_CTL_ADD, m_socket.load(), WATCHED_EVENTS) == 0)
        m_read_paused.store(false);
}

bool socket_client::set_sock_options(const int& sock) {
    return set_tcp_client_options(sock);
}

bool socket_client::start_client_event_thread() {
    m_thread_quit_flag.store(false);
    m_thread_quit_finish_flag.store(true);
    // Counted before the thread exists, so a stop right after this sees it.
    m_event_threads.fetch_add(1);
    if (kq_create_thread(event_client_thread, this, m_thread_id) != 0)
        return true;
    m_event_threads.fetch_sub(1);
    m_thread_id = NO_THREAD;
    return false;
}

bool socket_client::stop_client_event_thread() {
    m_thread_quit_flag.store(true);
    signal_end();
    // On the event thread itself: it leaves when the running callback returns.
    if (is_event_thread())
        return true;
    wait_event_thread_gone();
    return true;
}

// Departure: the event thread is never cancelled, also not after 5 s in a callback. It
// runs the caller's code, and a cancelled callback leaves the caller's locks held or
// ends the process; the caller owns the callback's duration, so the close waits for it
// and says so through the wait notice.
// Departure: the close waits on a condition variable that the leaving thread signals,
// rather than looking every millisecond.
void socket_client::wait_event_thread_gone() {
    std::unique_lock<std::mutex> guard(m_gone_lock);
    while (!m_gone_cond.wait_for(guard, std::chrono::milliseconds(WAIT_NOTICE_INTERVAL_MS),
                                 [this] { return !is_event_thread_alive(); })) {
        guard.unlock();
        call_wait_notice();
        guard.lock();
    }
}

bool socket_client::is_event_thread() {
    return is_event_thread_alive() && pthread_equal(pthread_self(), m_thread_id) != 0;
}

void* socket_client::event_client_thread(void* ptr_param) {
    if (ptr_param == nullptr)
        return nullptr;
    return static_cast<socket_client*>(ptr_param)->on_event_client_thread();
}

void* socket_client::on_event_client_thread() {
    const int epoll_handle = m_epoll_handle.load();
    m_thread_quit_finish_flag.store(false);
    event_client_connect();
    epoll_event events[WAKE_EVENTS_AT_ONCE];
    bool ending = false;
    while (!ending) {
        // Departure: no time limit, whatever m_max_wait_time says. Everything the loop
        // must see (a close, an interrupt, a failed link) writes the end latch, which is
        // in the set: a periodic wake-up would find nothing to do, and cost a quiet
        // connection its processor time. Only without a latch (no eventfd could be
        // made) does the loop look at its quit flag every m_max_wait_time.
        const int wait_ms = m_end_fd != -1 ? -1 : m_max_wait_time.load();
        int n = epoll_wait(epoll_handle, events, WAKE_EVENTS_AT_ONCE, wait_ms);
        if (n < 0)
            proc_thread_error(errno);
        for (int i = 0; i < n && !ending; ++i) {
            // The end latch: a close, an interrupt or a failed link. It stays readable,
            // so the loop is left now whatever the wait setting.
            if (m_end_fd != -1 && events[i].data.fd == m_end_fd)
                ending = true;
            else if (!proc_event(&events[i], 1))
                ending = true;
        }
        ending = ending || m_thread_quit_flag.load();
    }
    // A link given up by this side (a send that could not finish, bytes that could not
    // be stored) ends as if the far side had ended it, unless the owner is closing.
    if (m_link_failed.load() && !m_thread_quit_flag.load() && !m_interrupted.load() &&
        m_connected.load()) {
        event_client_disconnect(false);
    }
    // Wakes a send that waits for room on this socket, which must let go of it.
    signal_end();
    event_client_close();
    m_thread_quit_finish_flag.store(true);
    // The last touch of the object: from here the owner may destroy it. Under the
    // lock, so that the owner, who waits under it, cannot destroy the object before
    // the notice is given.
    std::lock_guard<std::mutex> guard(m_gone_lock);
    m_event_threads.fetch_sub(1);
    m_gone_cond.notify_all();
    return nullptr;
}

bool socket_client::proc_event(epoll_event* events, int event_num) {
    bool result = true;
    for (int i = 0; i < event_num; ++i) {
        if (events[i].data.fd != m_socket.load())
            continue;
        uint32_t flags = events[i].events;
        if (flags & EPOLLIN) {
            // A hang-up with readable data is read first; the read sees the end.
            result = event_client_receive();
        } else if (flags & EPOLLOUT) {
            result = event_client_send();
        } else {
            event_client_error();
            result = false;
        }
        if (!result)
            event_client_disconnect(false);
    }
    return result;
}

bool socket_client::event_client_connect() {
    set_connected(true);
    report_user(EVENT_CONNECT, 0, nullptr, 0, 0);
    return true;
}

bool socket_client::event_client_disconnect(bool locale_flag) {
    set_connected(false);
    report_user(locale_flag ? EVENT_LOCALE_DISCONNECT : EVENT_REMOTE_DISCONNECT, 0, nullptr, 0, 0);
    return true;
}

bool socket_client::event_client_error() {
    log_msg("event_client_error, will close this socket\n");
    return true;
}

bool socket_client::event_client_close() {
    close_descriptors();
    return true;
}

bool socket_client::event_client_receive() {
    int sock = m_socket.load();
    ssize_t n = read(sock, m_line, sizeof(m_line));
    if (n > 0) {
        report_user(EVENT_RECEIVE, 0, m_line, static_cast<unsigned int>(n), sock);
        return true;
    }
    return read_outcome(n, errno);
}

bool socket_client::read_outcome(ssize_t n, int err) {
    if (n > 0)
        return true;
    if (n == 0)
        return false;
    // Nothing there after all, or a signal came first: wait for the next wake-up.
    if (err == EAGAIN || err == EWOULDBLOCK || err == EINTR)
        return true;
    if (err == ECONNRESET)
        return false;
    char err_buf[256];
    char msg[MSG_BUFFER_SIZE];
    snprintf_kq(msg, sizeof(msg), "client readline error(n_recved=%d errno=%d error message=%s )\n",
                static_cast<int>(n), err, error_text(err, err_buf, sizeof(err_buf)));
    log_msg(msg);
    event_client_error();
    return false;
}

bool socket_client::event_client_send() {
    if (epoll_watch_kq(m_epoll_handle.load(), EPOLL_CTL_MOD, m_socket.load(), WATCHED_EVENTS) != 0)
        return false;
    report_user(EVENT_SEND, 0, nullptr, 0, 0);
    return true;
}

bool socket_client::report_user(SOCKET_EVENT event_type, int socket_id, const char* buff,
                                unsigned int size, int sock) {
    if (m_callback == nullptr)
        return false;
    // The record points at this frame's `buff`, as the record's contract wants.
    socket_param param(event_type, socket_id, &buff, size, sock);
    m_callback(param, m_caller);
    return true;
}

int socket_client::sock_send(const char* buff, int len) {
    int sock = -1;
    ssize_t n = -1;
    int err = 0;
    {
        // The send never blocks, so holding the lock over it costs nothing; the
        // callback below runs without it.
        std::lock_guard<std::mutex> guard(m_socket_mutex);
        sock = m_socket.load();
        // A failed link takes no byte more: never the rest of a record behind a cut one.
        if (sock == -1 || len < 0 || m_link_failed.load())
            return -1;
        // A send to a reset peer must return -1, not raise SIGPIPE, hence MSG_NOSIGNAL.
        n = send(sock, buff, static_cast<size_t>(len), MSG_DONTWAIT | MSG_NOSIGNAL);
        err = errno;
    }
    if (n > 0) {
        report_user(EVENT_SEND, 0, buff, static_cast<unsigned int>(n), sock);
        return static_cast<int>(n);
    }
    if (n < 0 && (err == EAGAIN || err == EWOULDBLOCK))
        return 0;
    return static_cast<int>(n);
}

int socket_client::wait_writable(int timeout_ms) {
    // Held while waiting: the event thread closes the socket only after the end latch
    // has woken this wait.
    std::lock_guard<std::mutex> guard(m_socket_mutex);
    const int sock = m_socket.load();
    if (sock == -1 || m_link_failed.load())
        return -1;
    const wait_clock::time_point deadline =
        wait_clock::now() + std::chrono::milliseconds(timeout_ms > 0 ? timeout_ms : 0);
    for (;;) {
        pollfd fds[2] = {{sock, POLLOUT, 0}, {m_end_fd, POLLIN, 0}};
        int n = poll(fds, m_end_fd != -1 ? 2 : 1, ms_left(deadline));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 || fds[1].revents != 0)
            return -1;
        return n == 0 ? 0 : 1;
    }
}

bool socket_client::sock_close() {
    bool result = close_connection();
    // Ready for another sock_init: the latch and the interrupt belonged to this one.
    clear_end();
    m_interrupted.store(false);
    return result;
}

bool socket_client::close_connection() {
    bool was_connected = is_connected();
    bool result = stop_client_event_thread();
    // After the event thread has gone; a connection that ended earlier was reported
    // already, by the event thread.
    if (was_connected)
        event_client_disconnect(true);
    return result;
}

bool socket_client::get_local_ip(unsigned char* local_ip) {
    int sock = m_socket.load();
    if (sock == -1 || local_ip == nullptr)
        return false;
    sockaddr_in local;
    memset(&local, 0, sizeof(local));
    socklen_t len = sizeof(local);
    // A socket that has no local address (any more) has nothing to tell.
    if (getsockname(sock, reinterpret_cast<sockaddr*>(&local), &len) != 0)
        return false;
    memcpy(local_ip, &local.sin_addr, 4);
    return true;
}

bool socket_client::get_local_mac(unsigned char* p_mac) {
    unsigned char local_ip[4];
    if (p_mac == nullptr || !get_local_ip(local_ip))
        return false;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return false;
    bool found = find_mac_of_ip(list, local_ip, p_mac);
    freeifaddrs(list);
    return found;
}

void socket_client::log_msg(const char* msg) {
    if (m_context != nullptr) {
        m_context->on_socket_write_info_msg(msg, static_cast<int>(strlen(msg)));
        return;
    }
    printf("%s", msg);
}

void socket_client::proc_thread_error(int err_num) {
    const wait_error_kind& kind = find_wait_error_kind(err_num);
    int& counter = m_error_statistic.*kind.counter;
    // One line per kind in the life of the object, so its count is always 0.
    if (counter == 0) {
        char msg[MSG_BUFFER_SIZE];
        if (kind.err_num == EBADF) {
            snprintf_kq(msg, sizeof(msg), kind.format, m_epoll_handle.load(), counter);
        } else {
            snprintf_kq(msg, sizeof(msg), kind.format, counter);
        }
        log_msg(msg);
    }
    ++counter;
}
