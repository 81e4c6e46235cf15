#ifndef ZUL_TESTS_TRANSPORT_LOOPBACK_SERVER_H
#define ZUL_TESTS_TRANSPORT_LOOPBACK_SERVER_H

// A small TCP server on 127.0.0.1 (ephemeral port) driven from the test thread, and a
// recorder of what the socket layer reports to its user.

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "transport/linux_socket_param.h"
#include "transport/socket_param.h"

namespace transport_test {

const char* const LOOPBACK = "127.0.0.1";

// Polls `cond` every millisecond until it holds or `timeout` has passed.
template <typename Cond>
bool wait_until(Cond cond, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!cond()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return cond();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

inline int count_entries(const char* path) {
    DIR* dir = opendir(path);
    int n = 0;
    while (dirent* entry = readdir(dir))
        n += entry->d_name[0] != '.';
    closedir(dir);
    return n;
}
// Less the descriptor of the listing itself.
inline int open_fd_count() {
    return count_entries("/proc/self/fd") - 1;
}
inline int thread_count() {
    return count_entries("/proc/self/task");
}
// The count before a test starts its threads. A sanitizer runtime may add a thread of
// its own at the first thread creation: let that happen first. Threads of an earlier
// test in the same process may still be leaving, so tests compare with <=.
inline int baseline_thread_count() {
    static const bool warmed_up = (std::thread([] {}).join(), true);
    (void)warmed_up;
    return thread_count();
}
inline bool threads_back_to(int n) {
    return wait_until([n] { return thread_count() <= n; });
}

class loopback_server {
public:
    loopback_server() {
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof(addr);
        bind(m_listener, reinterpret_cast<sockaddr*>(&addr), len);
        listen(m_listener, 16);
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&addr), &len);
        m_port = ntohs(addr.sin_port);
    }
    ~loopback_server() {
        for (int fd : m_peers)
            close(fd);
        close(m_listener);
    }
    loopback_server(const loopback_server&) = delete;
    loopback_server& operator=(const loopback_server&) = delete;

    unsigned short port() const { return m_port; }

    // The next connection, or -1 if none came in time.
    int accept_peer(int timeout_ms = 10000) {
        pollfd p = {m_listener, POLLIN, 0};
        int fd = poll(&p, 1, timeout_ms) == 1 ? accept(m_listener, nullptr, nullptr) : -1;
        if (fd != -1)
            m_peers.push_back(fd);
        return fd;
    }
    static bool write_all(int fd, const std::string& bytes) {
        for (size_t done = 0; done < bytes.size();) {
            ssize_t n = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
            if (n <= 0)
                return false;
            done += static_cast<size_t>(n);
        }
        return true;
    }
    // `len` bytes, or what came before 10 s passed or the line ended.
    static std::string read_exact(int fd, size_t len) {
        std::string out;
        char buf[4096];
        pollfd p = {fd, POLLIN, 0};
        while (out.size() < len && poll(&p, 1, 10000) == 1) {
            ssize_t n = recv(fd, buf, std::min(sizeof(buf), len - out.size()), 0);
            if (n <= 0)
                break;
            out.append(buf, static_cast<size_t>(n));
        }
        return out;
    }
    // Orderly end: the client reads 0.
    void close_peer(int fd) { forget(fd); }
    // Abortive end: the client gets a reset.
    void reset_peer(int fd) {
        linger lin = {1, 0};
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &lin, sizeof(lin));
        forget(fd);
    }

private:
    void forget(int fd) {
        m_peers.erase(std::remove(m_peers.begin(), m_peers.end(), fd), m_peers.end());
        close(fd);
    }

    int m_listener = socket(AF_INET, SOCK_STREAM, 0);
    unsigned short m_port = 0;
    std::vector<int> m_peers;
};

// A port that was just free, where nothing listens.
inline unsigned short closed_port() {
    return loopback_server().port();
}

// Test framing: a 2-byte little-endian length of the whole frame, then the body.
inline std::string make_frame(const std::string& body) {
    size_t total = body.size() + 2;
    return std::string{static_cast<char>(total & 0xff), static_cast<char>(total >> 8)} + body;
}
// Length of the whole frame at the head of `run`, or 0 if it is incomplete.
inline size_t complete_frame_len(const std::string& run, size_t at) {
    if (run.size() - at < 2)
        return 0;
    size_t total = static_cast<unsigned char>(run[at]) |
                   static_cast<size_t>(static_cast<unsigned char>(run[at + 1])) << 8;
    return total <= run.size() - at ? total : 0;
}

struct recorded_event {
    SOCKET_EVENT type;
    std::string bytes;
    int sock;
    std::thread::id thread;
};

// What the user does with a received run.
enum consume_policy {
    CONSUME_ALL,          // everything offered
    CONSUME_ONE_FRAME,    // the first whole frame, if there is one
    CONSUME_WHOLE_FRAMES  // every whole frame at the head
};

// The user side of the socket layer: records every call and consumes as told.
class event_recorder {
public:
    explicit event_recorder(consume_policy policy = CONSUME_ALL) : m_policy(policy) {}

    static int callback(socket_param& param, void* caller) {
        return static_cast<event_recorder*>(caller)->on_event(param);
    }
    std::vector<recorded_event> of_type(SOCKET_EVENT type) {
        std::lock_guard<std::mutex> guard(m_lock);
        std::vector<recorded_event> out;
        for (const recorded_event& e : m_events) {
            if (e.type == type)
                out.push_back(e);
        }
        return out;
    }
    int count(SOCKET_EVENT type) { return static_cast<int>(of_type(type).size()); }
    size_t total() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_events.size();
    }
    bool wait_for(SOCKET_EVENT type, int n) {
        return wait_until([&] { return count(type) >= n; });
    }
    // Bodies of the frames consumed so far, in order.
    std::vector<std::string> frames() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_frames;
    }
    std::string consumed() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_consumed;
    }

private:
    int on_event(socket_param& param) {
        const char* data = param.get_buff_addr();
        std::string bytes = data != nullptr ? std::string(data, param.get_buff_size()) : "";
        std::lock_guard<std::mutex> guard(m_lock);
        m_events.push_back(
            {param.get_event_type(), bytes, param.get_socket(), std::this_thread::get_id()});
        if (param.get_event_type() == EVENT_RECEIVE)
            param.set_proc_len(static_cast<unsigned int>(consume(bytes)));
        return 0;
    }
    size_t consume(const std::string& run) {
        if (m_policy == CONSUME_ALL) {
            m_consumed += run;
            return run.size();
        }
        size_t used = 0;
        while (size_t len = complete_frame_len(run, used)) {
            m_frames.push_back(run.substr(used + 2, len - 2));
            used += len;
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

// A client of type C with a recorder, connected to its own loopback server.
template <typename C>
struct session {
    template <typename... Args>
    explicit session(consume_policy policy, Args... client_args)
        : rec(policy), client(client_args...) {}
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

// Collects the log lines of a socket object.
class line_collector : public socket_context {
public:
    void on_socket_write_info_msg(const char* msg, int len) override {
        std::lock_guard<std::mutex> guard(m_lock);
        m_lines.push_back(std::string(msg, static_cast<size_t>(len)));
    }
    void on_socket_write_error_msg(const char*, int) override {}
    void on_socket_write_bin_msg(const char*, int) override {}
    std::vector<std::string> lines() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_lines;
    }

private:
    std::mutex m_lock;
    std::vector<std::string> m_lines;
};

}  // namespace transport_test

#endif
