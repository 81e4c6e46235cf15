#include "transport/linux_sckt_client.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <sstream>

#include "transport/linux_socket_param.h"
#include "transport/vortane_sock_thread.h"

namespace CLIENT_SCKT_ONLY {

namespace {

// Level-triggered. EPOLLOUT reports the first moment the socket is writable, and
// EPOLLRDHUP the far side's end.
const uint32_t WATCHED_EVENTS = EPOLLIN | EPOLLOUT | EPOLLERR | EPOLLHUP | EPOLLRDHUP;
// The same without EPOLLOUT, once that first moment has been reported.
const uint32_t WATCHED_EVENTS_NO_OUT = WATCHED_EVENTS & ~static_cast<uint32_t>(EPOLLOUT);
const unsigned int POLL_MICRO_SEC = 1000;
// sock_close waits about 100 ms for the event thread.
const int STOP_POLLS = 100;
// A thread that is leaving gets about 5 s: a new init waits that long for it.
const int LEAVE_POLLS = 5000;
const pthread_t NO_THREAD = 0;

// How a failure of epoll_wait is counted and told. The EBADF text also names the
// epoll descriptor, in front of its text.
struct wait_error_kind {
    int err_num;
    int epoll_error::*counter;
    const char* text;
};

const wait_error_kind WAIT_ERROR_KINDS[] = {
    {EINTR, &epoll_error::m_wait_error_EINTR,
     "epoll_waite error! the call was interrupted by a signal handler before any of the "
     "requested events occurred or timeout expired. error times("},
    {EBADF, &epoll_error::m_wait_error_EBADF, "  is not a valid file descriptor. error times("},
    {EFAULT, &epoll_error::m_wait_error_EFAULT,
     "epoll_waite error! epoll_event is not accessible with write. error times("},
    {EINVAL, &epoll_error::m_wait_error_EINVAL,
     "epoll_waite error! m_epoll_handle is not an epoll file descriptor, or maxevents is less "
     "than or equal to zero. error times("},
};
const wait_error_kind UNDEFINED_WAIT_ERROR = {
    0, &epoll_error::m_wait_error_UNDEF, "epoll_waite error! undefine wait error. error times("};

const wait_error_kind& find_wait_error_kind(int err_num) {
    for (const wait_error_kind& kind : WAIT_ERROR_KINDS) {
        if (kind.err_num == err_num)
            return kind;
    }
    return UNDEFINED_WAIT_ERROR;
}

}  // namespace

std::string get_local_ip(std::string str_eth) {
    return ::get_local_ip(str_eth);
}

sckt_client::sckt_client()
    : m_caller(nullptr),
      m_callback(nullptr),
      m_sckt(-1),
      m_port(0),
      m_epoll_handle(-1),
      m_thread_quit_flag(false),
      m_thread_running_flag(false),
      m_is_connected(false),
      m_max_wait_time(50),
      m_thread_id(NO_THREAD) {}

sckt_client::~sckt_client() {
    end_event_thread();
}

void sckt_client::end_event_thread() {
    // Destroyed from its own callback, against the contract: there is nothing that
    // could be waited for.
    if (is_event_thread())
        return;
    m_thread_quit_flag.store(true);
    // Departure: the thread is never cancelled, also not in a callback that takes more
    // than a few seconds: it runs the caller's code, whose locks a cancellation would
    // leave held. The destructor waits for the callback to return.
    while (m_thread_running_flag.load())
        usleep(POLL_MICRO_SEC);
}

bool sckt_client::sock_init(const std::string& ip, unsigned short port, sckt_event_callback fun,
                            void* user_param) {
    // One event thread at a time: a second one would share m_line and the flags.
    if (!ready_for_init())
        return false;
    m_is_connected.store(false);
    if (fun == nullptr)
        return false;
    // Departure: a text that is not a dotted IPv4 address is refused rather than taken
    // as 0.0.0.0, which would connect to whatever listens on this machine.
    if (!is_dotted_ipv4(ip))
        return false;
    m_callback = fun;
    m_caller = user_param;
    m_ip = ip;
    m_port = port;
    int sckt = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (sckt == -1)
        return false;
    m_sckt.store(sckt);
    if (open_connection(sckt) && start_client_event_thread())
        return true;
    // A failed init shows only in its result: no event is reported.
    close_descriptors();
    m_is_connected.store(false);
    return false;
}

bool sckt_client::ready_for_init() {
    if (!m_thread_running_flag.load())
        return true;
    bool leaving = m_thread_quit_flag.load() || !m_is_connected.load();
    // A thread can't wait for itself to leave.
    if (!leaving || is_event_thread())
        return false;
    return wait_thread_gone(LEAVE_POLLS);
}

bool sckt_client::open_connection(int sckt) {
    // The options go on before the connect, on the unconnected socket.
    if (!set_sock_options(sckt))
        return false;
    // Blocking connect, with no limit of its own; the socket turns non-blocking after.
    sockaddr_in server = make_ipv4_addr(m_ip, m_port);
    if (connect(sckt, reinterpret_cast<sockaddr*>(&server), sizeof(server)) != 0)
        return false;
    int flags = fcntl(sckt, F_GETFL);
    if (flags < 0 || fcntl(sckt, F_SETFL, flags | O_NONBLOCK) < 0)
        return false;
    int epoll_handle = epoll_create1(EPOLL_CLOEXEC);
    if (epoll_handle < 0)
        return false;
    m_epoll_handle.store(epoll_handle);
    return epoll_watch_kq(epoll_handle, EPOLL_CTL_ADD, sckt, WATCHED_EVENTS) >= 0;
}

void sckt_client::close_descriptors() {
    close_descriptor_kq(m_epoll_handle);
    close_descriptor_kq(m_sckt);
}

bool sckt_client::set_sock_options(const int& sock) {
    return set_tcp_client_options(sock);
}

bool sckt_client::start_client_event_thread() {
    m_thread_quit_flag.store(false);
    // Set before the thread exists, so that a stop right after this start waits for it.
    m_thread_running_flag.store(true);
    m_is_connected.store(true);
    pthread_t id;
    if (kq_create_thread(event_client_thread, this, id) == 0) {
        m_thread_running_flag.store(false);
        return false;
    }
    // A head start, so that the connection is as a rule reported before we return.
    usleep(100);
    return true;
}

bool sckt_client::stop_client_event_thread() {
    m_thread_quit_flag.store(true);
    return wait_thread_gone(STOP_POLLS);
}

bool sckt_client::wait_thread_gone(int polls) {
    for (int n = 0; m_thread_running_flag.load(); ++n) {
        if (n > polls)
            return false;
        usleep(POLL_MICRO_SEC);
    }
    return true;
}

bool sckt_client::is_event_thread() {
    return m_thread_running_flag.load() && pthread_equal(pthread_self(), m_thread_id.load()) != 0;
}

void* sckt_client::event_client_thread(void* ptr_param) {
    if (ptr_param == nullptr)
        return nullptr;
    return static_cast<sckt_client*>(ptr_param)->on_event_client_thread();
}

void* sckt_client::on_event_client_thread() {
    // Runs on every way out, also an exception out of a callback.
    struct exit_guard {
        sckt_client& client;
        bool finished;
        ~exit_guard() { client.leave_event_thread(finished); }
    } guard{*this, false};

    m_thread_id.store(pthread_self());
    m_thread_running_flag.store(true);
    event_client_connect();
    epoll_error counts;
    epoll_event event;
    while (!m_thread_quit_flag.load()) {
        int n = epoll_wait(m_epoll_handle.load(), &event, 1, m_max_wait_time.load());
        if (n > 0) {
            proc_event(event);
        } else if (n < 0) {
            proc_thread_error(errno, counts);
        }
    }
    event_client_close();
    guard.finished = true;
    return nullptr;
}

void sckt_client::leave_event_thread(bool finished) {
    // Left by an exception: event_client_close never ran.
    if (!finished) {
        m_is_connected.store(false);
        close_descriptors();
    }
    m_thread_id.store(NO_THREAD);
    // The last touch of the object: from here the owner may destroy it.
    m_thread_running_flag.store(false);
}

void sckt_client::proc_event(const epoll_event& event) {
    if (event.data.fd != m_sckt.load()) {
        log_msg("error fd\n");
        return;
    }
    uint32_t flags = event.events;
    bool going_on;
    if (flags & EPOLLRDHUP) {
        // The far side has ended: bytes that still wait in the socket aren't read.
        going_on = false;
    } else if (flags & EPOLLIN) {
        going_on = event_client_receive();
    } else if (flags & EPOLLOUT) {
        going_on = event_client_send();
    } else {
        event_client_error();
        going_on = false;
    }
    if (!going_on) {
        event_client_disconnect(false);
        m_thread_quit_flag.store(true);
    }
}

void sckt_client::proc_thread_error(int err_num, epoll_error& counts) {
    const wait_error_kind& kind = find_wait_error_kind(err_num);
    // Counted first, so that the first line says 1.
    int count = ++(counts.*kind.counter);
    std::ostringstream line;
    if (kind.err_num == EBADF)
        line << "epoll_waite error! epoll_handle:" << m_epoll_handle.load();
    line << kind.text << count << ")\n";
    log_msg(line.str());
}

bool sckt_client::event_client_connect() {
    m_is_connected.store(true);
    report_user(EVENT_CONNECT, 0, nullptr, 0);
    return true;
}

bool sckt_client::event_client_disconnect(bool locale_flag) {
    m_is_connected.store(false);
    report_user(locale_flag ? EVENT_LOCALE_DISCONNECT : EVENT_REMOTE_DISCONNECT, 0, nullptr, 0);
    return true;
}

bool sckt_client::event_client_error() {
    m_is_connected.store(false);
    log_msg("event_client_error, will close this sckt\n");
    return true;
}

bool sckt_client::event_client_close() {
    m_is_connected.store(false);
    // The socket goes too, so that the far side sees the end of the connection.
    close_descriptors();
    return true;
}

bool sckt_client::event_client_receive() {
    ssize_t n = read(m_sckt.load(), m_line, sizeof(m_line));
    if (n > 0) {
        report_user(EVENT_RECEIVE, 0, m_line, static_cast<unsigned int>(n));
        return true;
    }
    if (n == 0)
        return false;
    int err = errno;
    // Nothing there after all, or a signal came first: wait for the next wake-up.
    if (err == EAGAIN || err == EWOULDBLOCK || err == EINTR)
        return true;
    if (err == ECONNRESET)
        return false;
    std::ostringstream line;
    line << "client readline error(n_recved=" << n << ", errno=" << err << ")\n";
    log_msg(line.str());
    event_client_error();
    return false;
}

bool sckt_client::event_client_send() {
    int epoll_handle = m_epoll_handle.load();
    if (epoll_watch_kq(epoll_handle, EPOLL_CTL_MOD, m_sckt.load(), WATCHED_EVENTS_NO_OUT) != 0)
        return false;
    report_user(EVENT_SEND, 0, nullptr, 0);
    return true;
}

bool sckt_client::report_user(SOCKET_EVENT event_type, int sckt_id, const char* buff,
                              unsigned int size) {
    if (m_callback == nullptr)
        return false;
    // The record points at this frame's `buff`, as the record's contract wants.
    sckt_param param(event_type, sckt_id, &buff, size);
    m_callback(param, m_caller);
    return true;
}

int sckt_client::sock_send(const char* buff, int len) {
    if (m_sckt.load() == -1)
        return -1;
    if (len == 0)
        return 0;
    if (buff == nullptr || len < 0)
        return -1;
    int sent = 0;
    while (sent < len) {
        // Looked at on every pass: a connection that ends under the loop ends it.
        int sckt = m_sckt.load();
        if (sckt == -1)
            return -1;
        // A send to a reset peer must return -1, not raise SIGPIPE, hence MSG_NOSIGNAL.
        ssize_t n =
            send(sckt, buff + sent, static_cast<size_t>(len - sent), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n >= 0) {
            sent += static_cast<int>(n);
            continue;
        }
        bool full = errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS;
        if (!full || sent == 0)
            return -1;
        usleep(0);
    }
    return len;
}

bool sckt_client::sock_close() {
    bool stopped = stop_client_event_thread();
    // Reported on every close, whether or not a connection stood.
    event_client_disconnect(true);
    return stopped;
}

void sckt_client::log_msg(const std::string& msg) {
    std::cout << msg << std::flush;
}

}  // namespace CLIENT_SCKT_ONLY
