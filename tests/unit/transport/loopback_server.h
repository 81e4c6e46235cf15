#ifndef ZUL_TESTS_TRANSPORT_LOOPBACK_SERVER_H
#define ZUL_TESTS_TRANSPORT_LOOPBACK_SERVER_H

// A small TCP server on 127.0.0.1 with an ephemeral port, driven from the test
// thread, and a recorder for what the socket layer reports to its user.

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "transport/socket_param.h"

namespace transport_test {

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

inline int count_dir_entries(const char* path) {
    DIR* dir = opendir(path);
    if (dir == nullptr)
        return -1;
    int n = 0;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.')
            ++n;
    }
    closedir(dir);
    return n;
}
// Both counts include the descriptor and nothing else of the counting itself.
inline int open_fd_count() {
    return count_dir_entries("/proc/self/fd") - 1;
}
inline int thread_count() {
    return count_dir_entries("/proc/self/task");
}

class loopback_server {
public:
    loopback_server() {
        m_listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr = loopback_addr(0);
        bind(m_listener, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
        listen(m_listener, 16);
        socklen_t len = sizeof(addr);
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&addr), &len);
        m_port = ntohs(addr.sin_port);
    }
    ~loopback_server() {
        for (int fd : m_peers)
            close(fd);
        if (m_listener != -1)
            close(m_listener);
    }
    loopback_server(const loopback_server&) = delete;
    loopback_server& operator=(const loopback_server&) = delete;

    unsigned short port() const { return m_port; }

    static sockaddr_in loopback_addr(unsigned short port) {
        sockaddr_in addr;
        memset(&addr, 0, sizeof(addr));
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addr.sin_port = htons(port);
        return addr;
    }

    // The next connection, or -1 if none came in time.
    int accept_peer(int timeout_ms = 10000) {
        pollfd p = {m_listener, POLLIN, 0};
        if (poll(&p, 1, timeout_ms) != 1)
            return -1;
        int fd = accept(m_listener, nullptr, nullptr);
        if (fd != -1)
            m_peers.push_back(fd);
        return fd;
    }

    static bool write_all(int fd, const std::string& bytes) {
        size_t done = 0;
        while (done < bytes.size()) {
            ssize_t n = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
            if (n <= 0)
                return false;
            done += static_cast<size_t>(n);
        }
        return true;
    }

    // Exactly `len` bytes, or what came before the timeout or the end of the line.
    static std::string read_exact(int fd, size_t len, int timeout_ms = 10000) {
        std::string out;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        while (out.size() < len) {
            int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                            deadline - std::chrono::steady_clock::now())
                                            .count());
            pollfd p = {fd, POLLIN, 0};
            if (left <= 0 || poll(&p, 1, left) != 1)
                break;
            char buf[65536];
            size_t want = len - out.size() < sizeof(buf) ? len - out.size() : sizeof(buf);
            ssize_t n = recv(fd, buf, want, 0);
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
        for (size_t i = 0; i < m_peers.size(); ++i) {
            if (m_peers[i] == fd)
                m_peers.erase(m_peers.begin() + static_cast<long>(i));
        }
        close(fd);
    }

    int m_listener = -1;
    unsigned short m_port = 0;
    std::vector<int> m_peers;
};

// Test framing: a 2-byte little-endian length of the whole frame, then the body.
inline std::string make_frame(const std::string& body) {
    size_t total = body.size() + 2;
    std::string frame;
    frame.push_back(static_cast<char>(total & 0xff));
    frame.push_back(static_cast<char>((total >> 8) & 0xff));
    return frame + body;
}
// Length of the whole frame at the head of `run`, or 0 if the head is incomplete.
inline size_t complete_frame_len(const char* run, size_t size) {
    if (size < 2)
        return 0;
    size_t total = static_cast<unsigned char>(run[0]) |
                   (static_cast<size_t>(static_cast<unsigned char>(run[1])) << 8);
    return total <= size ? total : 0;
}

struct recorded_event {
    SOCKET_EVENT type;
    std::string bytes;
    int sock;
    int socket_id;
    std::thread::id thread;
};

// What a user does with a received run.
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

    std::vector<recorded_event> events() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_events;
    }
    int count(SOCKET_EVENT type) {
        std::lock_guard<std::mutex> guard(m_lock);
        int n = 0;
        for (const recorded_event& e : m_events)
            n += e.type == type ? 1 : 0;
        return n;
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
    // Bodies of the frames consumed so far, in order.
    std::vector<std::string> frames() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_frames;
    }
    std::string consumed() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_consumed;
    }
    bool wait_for(SOCKET_EVENT type, int n) {
        return wait_until([&] { return count(type) >= n; });
    }

private:
    int on_event(socket_param& param) {
        const char* data = param.get_buff_addr();
        std::string bytes = data != nullptr ? std::string(data, param.get_buff_size()) : "";
        std::lock_guard<std::mutex> guard(m_lock);
        m_events.push_back({param.get_event_type(), bytes, param.get_socket(),
                            param.get_socket_id(), std::this_thread::get_id()});
        if (param.get_event_type() == EVENT_RECEIVE)
            param.set_proc_len(consume(bytes));
        return 0;
    }

    unsigned int consume(const std::string& run) {
        if (m_policy == CONSUME_ALL) {
            m_consumed += run;
            return static_cast<unsigned int>(run.size());
        }
        size_t used = 0;
        while (size_t len = complete_frame_len(run.data() + used, run.size() - used)) {
            m_frames.push_back(run.substr(used + 2, len - 2));
            used += len;
            if (m_policy == CONSUME_ONE_FRAME)
                break;
        }
        return static_cast<unsigned int>(used);
    }

    consume_policy m_policy;
    std::mutex m_lock;
    std::vector<recorded_event> m_events;
    std::vector<std::string> m_frames;
    std::string m_consumed;
};

}  // namespace transport_test

#endif
