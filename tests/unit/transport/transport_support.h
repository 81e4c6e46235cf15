#ifndef ZUL_TESTS_TRANSPORT_SUPPORT_H
#define ZUL_TESTS_TRANSPORT_SUPPORT_H

// A TCP server on 127.0.0.1 (ephemeral port) driven from the test thread, a recorder of
// what a socket client reports to its user, and counts of descriptors and threads.

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <chrono>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "transport/sckt_param.h"
#include "transport/socket_param.h"

namespace transport_test {

// The light client's events carry the event-driven client's values.
namespace lc = CLIENT_SCKT_ONLY;

const char* const LOOPBACK = "127.0.0.1";

// Polls `cond` every millisecond until it holds or `timeout_ms` has passed.
template <typename Cond>
bool wait_until(Cond cond, int timeout_ms = 10000) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (!cond()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return cond();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
// A window in which a call that must not come would have come.
inline void quiet_window() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

// Descriptors and threads of the process as they were when it was made. A sanitizer
// runtime may add a thread at the first thread creation, so that happens first;
// threads of an earlier test may still be leaving, hence <=.
struct leak_check {
    static int entries(const char* path) {
        DIR* dir = opendir(path);
        int n = 0;
        while (dirent* entry = readdir(dir))
            n += entry->d_name[0] != '.';
        closedir(dir);
        return n;
    }
    static int fds() { return entries("/proc/self/fd") - 1; }  // less the listing's own
    static int threads() { return entries("/proc/self/task"); }
    static bool warm_up() {
        static const bool done = (std::thread([] {}).join(), true);
        return done;
    }
    bool clean() const {
        return wait_until([this] { return threads() <= m_threads && fds() == m_fds; });
    }

    int m_fds = fds();
    int m_threads = ((void)warm_up(), threads());
};

// Sockets of the process, other than `except`, that a child made by fork and exec would
// inherit: none of the library's may be among them.
inline int inheritable_sockets(int except) {
    int n = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (dirent* entry = readdir(dir)) {
        const int fd = atoi(entry->d_name);
        char target[64] = {};
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        if (entry->d_name[0] == '.' || fd == except || fd == dirfd(dir) ||
            readlink(link.c_str(), target, sizeof(target) - 1) < 0)
            continue;
        if (std::string(target).rfind("socket:", 0) == 0 && (fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0)
            ++n;
    }
    closedir(dir);
    return n;
}

// `n` bytes of a repeating alphabet.
inline std::string pattern(size_t n) {
    std::string s(n, ' ');
    for (size_t i = 0; i < n; ++i)
        s[i] = static_cast<char>('a' + i % 26);
    return s;
}

// Binds `fd` to an ephemeral port of 127.0.0.1 and returns the port.
inline unsigned short bind_loopback(int fd) {
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(addr);
    bind(fd, reinterpret_cast<sockaddr*>(&addr), len);
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    return ntohs(addr.sin_port);
}

class loopback_server {
public:
    loopback_server() : m_port(bind_loopback(m_listener)) { listen(m_listener, 16); }
    ~loopback_server() {
        for (int fd : m_peers)
            close(fd);
        close(m_listener);
    }
    unsigned short port() const { return m_port; }
    // The next connection, whose reads give up after 10 s, or -1 if none came in time.
    int accept_peer(int timeout_ms = 10000) {
        pollfd p = {m_listener, POLLIN, 0};
        int fd = poll(&p, 1, timeout_ms) == 1 ? accept(m_listener, nullptr, nullptr) : -1;
        timeval limit = {10, 0};
        if (fd != -1) {
            setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
            m_peers.push_back(fd);
        }
        return fd;
    }
    // Orderly end, or with `reset` an abortive one.
    void close_peer(int fd, bool reset = false) {
        linger lin = {1, 0};
        if (reset)
            setsockopt(fd, SOL_SOCKET, SO_LINGER, &lin, sizeof(lin));
        m_peers.erase(std::remove(m_peers.begin(), m_peers.end(), fd), m_peers.end());
        close(fd);
    }

private:
    int m_listener = socket(AF_INET, SOCK_STREAM, 0);
    unsigned short m_port = 0;
    std::vector<int> m_peers;
};

inline bool write_all(int fd, const std::string& bytes) {
    for (size_t done = 0; done < bytes.size();) {
        ssize_t n = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}
// `len` bytes from a peer of the server, or what came within its read limit.
inline std::string read_exact(int fd, size_t len) {
    std::string out(len, '\0');
    out.resize(static_cast<size_t>(std::max<ssize_t>(recv(fd, &out[0], len, MSG_WAITALL), 0)));
    return out;
}
// A port where nothing listens, held by a bound socket for the life of the object: a
// port merely freed could come back as the connecting socket's own, and a connect to
// itself succeeds.
class closed_port {
public:
    closed_port() : m_port(bind_loopback(m_fd)) {}
    ~closed_port() { close(m_fd); }
    closed_port(const closed_port&) = delete;
    closed_port& operator=(const closed_port&) = delete;
    operator unsigned short() const { return m_port; }

private:
    int m_fd = socket(AF_INET, SOCK_STREAM, 0);
    unsigned short m_port = 0;
};

// Test framing: a 2-byte little-endian length of the whole frame, then the body.
inline std::string make_frame(const std::string& body) {
    size_t total = body.size() + 2;
    return std::string{static_cast<char>(total & 0xff), static_cast<char>(total >> 8)} + body;
}

struct recorded_event {
    int type;
    std::string bytes;
    int sock;
};

const int ANY_EVENT = -1;

// What the user does with a received run.
enum consume_policy { CONSUME_ALL, CONSUME_ONE_FRAME, CONSUME_WHOLE_FRAMES };

// The user side of a socket client: records every call and consumes as told.
class event_recorder {
public:
    explicit event_recorder(consume_policy policy = CONSUME_ALL) : m_policy(policy) {}

    static int callback(socket_param& p, void* self) {
        return static_cast<event_recorder*>(self)->on_event(p, p.get_socket());
    }
    static int callback(lc::sckt_param& p, void* self) {
        return static_cast<event_recorder*>(self)->on_event(p, -1);
    }
    // The events of one type, or with ANY_EVENT all of them.
    std::vector<recorded_event> of_type(int type) {
        std::lock_guard<std::mutex> guard(m_lock);
        std::vector<recorded_event> out;
        std::copy_if(m_events.begin(), m_events.end(), std::back_inserter(out),
                     [type](const recorded_event& e) { return type < 0 || e.type == type; });
        return out;
    }
    int count(int type) { return static_cast<int>(of_type(type).size()); }
    bool wait_for(int type, int n) {
        return wait_until([&] { return count(type) >= n; });
    }
    // Bodies of the frames consumed so far, in order, or all bytes consumed.
    std::vector<std::string> frames() { return locked_copy(m_frames); }
    std::string consumed() { return locked_copy(m_consumed); }

private:
    template <typename T>
    T locked_copy(const T& field) {
        std::lock_guard<std::mutex> guard(m_lock);
        return field;
    }
    template <typename P>
    int on_event(P& p, int sock) {
        const char* data = p.get_buff_addr();
        std::string bytes = data != nullptr ? std::string(data, p.get_buff_size()) : "";
        const int type = static_cast<int>(p.get_event_type());
        std::lock_guard<std::mutex> guard(m_lock);
        m_events.push_back({type, bytes, sock});
        if (type == EVENT_RECEIVE)
            p.set_proc_len(static_cast<unsigned int>(consume(bytes)));
        return 0;
    }
    static size_t frame_len(const std::string& run, size_t at) {
        return static_cast<unsigned char>(run[at]) | static_cast<unsigned char>(run[at + 1]) << 8;
    }
    size_t consume(const std::string& run) {
        if (m_policy == CONSUME_ALL) {
            m_consumed += run;
            return run.size();
        }
        size_t used = 0;
        while (run.size() - used >= 2 && frame_len(run, used) <= run.size() - used) {
            m_frames.push_back(run.substr(used + 2, frame_len(run, used) - 2));
            used += frame_len(run, used);
            if (m_policy == CONSUME_ONE_FRAME)
                break;
        }
        return used;
    }

    consume_policy m_policy;
    std::mutex m_lock;
    std::vector<recorded_event> m_events;
    std::vector<std::string> m_frames;
    std::string m_consumed;
};

// A client of type C with a recorder and its own loopback server.
template <typename C>
struct session {
    template <typename... Args>
    explicit session(consume_policy policy, Args... client_args)
        : rec(policy), client(client_args...) {
        client.set_epoll_max_wait_time(5);  // keeps closes, which wait for the loop, quick
    }
    // Connects and accepts; false if either failed.
    bool open() {
        return client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec) &&
               (peer = server.accept_peer()) != -1;
    }

    loopback_server server;
    event_recorder rec;
    C client;
    int peer = -1;
};

}  // namespace transport_test

#endif
