#ifndef ZUL_TESTS_SIM_RAW_CLIENT_H
#define ZUL_TESTS_SIM_RAW_CLIENT_H

// A plain TCP client for talking to the simulator byte by byte, with every read bounded
// by a deadline.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <map>
#include <vector>

using Bytes = std::vector<unsigned char>;
using std::chrono::milliseconds;

// Sizes of the answers by id, from the protocol tables; 1075 and 1082 by generation.
inline size_t answer_size(uint16_t id, bool hv27) {
    static const std::map<uint16_t, size_t> sizes = {
        {1063, 112}, {1064, 24},  {1068, 56},  {1069, 16},  {1071, 88},  {1072, 139}, {1073, 152},
        {1074, 144}, {1076, 192}, {1077, 96},  {1078, 128}, {1079, 188}, {1081, 108}, {1083, 448},
        {1088, 200}, {1092, 167}, {1093, 108}, {1095, 248}, {1098, 144}, {1099, 64}};
    if (id == 1075) {
        return hv27 ? 112 : 88;
    }
    if (id == 1082) {
        return hv27 ? 84 : 1006;
    }
    auto it = sizes.find(id);
    return it == sizes.end() ? 0 : it->second;
}

inline uint16_t id_of(const Bytes& m) {
    return static_cast<uint16_t>(m[0] | (m[1] << 8));
}

inline uint32_t u32_at(const Bytes& m, size_t at) {
    uint32_t v;
    memcpy(&v, m.data() + at, 4);
    return v;
}

template <class R>
Bytes bytes_of(const R& r) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(&r);
    return Bytes(p, p + sizeof(R));
}

class RawClient {
public:
    explicit RawClient(uint16_t port) {
        m_fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(port);
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_connected = ::connect(m_fd, reinterpret_cast<sockaddr*>(&a), sizeof(a)) == 0;
        int on = 1;
        ::setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    }
    ~RawClient() { ::close(m_fd); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool connected() const { return m_connected; }

    bool send_bytes(const Bytes& b) {
        size_t at = 0;
        while (at < b.size()) {
            ssize_t n = ::send(m_fd, b.data() + at, b.size() - at, MSG_NOSIGNAL);
            if (n <= 0) {
                return false;
            }
            at += static_cast<size_t>(n);
        }
        return true;
    }

    template <class R>
    bool send(const R& r) {
        return send_bytes(bytes_of(r));
    }

    // Exactly n bytes, or false at the deadline or at the end of the stream.
    bool read_exact(size_t n, Bytes* out, milliseconds timeout = milliseconds(10000)) {
        out->clear();
        auto until = std::chrono::steady_clock::now() + timeout;
        while (out->size() < n) {
            if (!wait_readable(until)) {
                return false;
            }
            unsigned char buf[65536];
            ssize_t got = ::recv(m_fd, buf, std::min(sizeof(buf), n - out->size()), 0);
            if (got <= 0) {
                return false;
            }
            out->insert(out->end(), buf, buf + got);
        }
        return true;
    }

    // One answer, framed by its id as a client does.
    bool read_message(bool hv27, Bytes* out) {
        Bytes head;
        if (!read_exact(2, &head)) {
            return false;
        }
        size_t size = answer_size(id_of(head), hv27);
        if (size == 0) {
            return false;
        }
        Bytes rest;
        if (!read_exact(size - 2, &rest)) {
            return false;
        }
        *out = head;
        out->insert(out->end(), rest.begin(), rest.end());
        return true;
    }

    // Messages up to and including the closing one: byte 8, the last-record flag, is 1
    // for the strict families and any non-zero value for the others.
    bool read_stream(bool hv27, bool strict, std::vector<Bytes>* out) {
        out->clear();
        for (;;) {
            Bytes m;
            if (!read_message(hv27, &m)) {
                return false;
            }
            out->push_back(m);
            if (strict ? m[8] == 1 : m[8] != 0) {
                return true;
            }
        }
    }

    // True when the server has closed and sent nothing more; *extra counts bytes that
    // came before the end.
    bool wait_closed(size_t* extra = nullptr, milliseconds timeout = milliseconds(10000)) {
        auto until = std::chrono::steady_clock::now() + timeout;
        size_t got_total = 0;
        for (;;) {
            if (!wait_readable(until)) {
                return false;
            }
            unsigned char buf[4096];
            ssize_t got = ::recv(m_fd, buf, sizeof(buf), 0);
            if (got <= 0) {
                if (extra != nullptr) {
                    *extra = got_total;
                }
                return true;
            }
            got_total += static_cast<size_t>(got);
        }
    }

    // Nothing arrives within `quiet`.
    bool silent_for(milliseconds quiet) {
        return !wait_readable(std::chrono::steady_clock::now() + quiet);
    }

private:
    bool wait_readable(std::chrono::steady_clock::time_point until) {
        for (;;) {
            auto left =
                std::chrono::duration_cast<milliseconds>(until - std::chrono::steady_clock::now());
            if (left.count() < 0) {
                return false;
            }
            pollfd p{m_fd, POLLIN, 0};
            int r = ::poll(&p, 1, static_cast<int>(left.count()));
            if (r > 0) {
                return true;
            }
            if (r == 0) {
                return false;
            }
        }
    }

    int m_fd;
    bool m_connected = false;
};

#endif
