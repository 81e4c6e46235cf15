#include "sim_writer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace zulsim {

namespace {

// Above this a coalesced answer goes out in several writes, so that a bulk stream of a
// million records doesn't sit in memory whole.
constexpr size_t kCoalesceLimit = 1 << 20;

// Lengths of the writes of one message in the per-message modes.
std::vector<size_t> cut(size_t size, const WritePolicy& p) {
    switch (p.mode) {
        case WriteMode::byte_by_byte:
            return std::vector<size_t>(size, 1);
        case WriteMode::split:
            if (p.param > 0 && p.param < size) {
                return {p.param, size - p.param};
            }
            return {size};
        default:
            return {size};
    }
}

}  // namespace

Connection::~Connection() {
    ::close(m_fd);
}

void Connection::shut() {
    m_closed = true;
    ::shutdown(m_fd, SHUT_RDWR);
}

bool StreamWriter::write(size_t count, const MessageSource& source) {
    bool batched = m_policy.mode == WriteMode::chunks || m_policy.mode == WriteMode::coalesce;
    return batched ? write_batched(count, source) : write_each(count, source);
}

bool StreamWriter::write_each(size_t count, const MessageSource& source) {
    for (size_t i = 0; i < count; ++i) {
        Bytes msg = source(i);
        bool drop = m_budget.take_message();
        {
            // Pauses inside a message are taken under the lock, so nothing else lands
            // between its pieces; the pause after it is not, so pushes get their turn.
            std::lock_guard<std::mutex> hold(m_conn.write_lock());
            std::vector<size_t> pieces = cut(msg.size(), m_policy);
            size_t at = 0;
            for (size_t p = 0; p < pieces.size(); ++p) {
                if (!write_piece(msg.data() + at, pieces[p]) ||
                    (p + 1 < pieces.size() && !pause())) {
                    return false;
                }
                at += pieces[p];
            }
        }
        if (drop) {
            m_conn.shut();
            return false;
        }
        if (!pause()) {
            return false;
        }
    }
    return true;
}

bool StreamWriter::write_batched(size_t count, const MessageSource& source) {
    const bool chunks = m_policy.mode == WriteMode::chunks;
    const size_t unit = chunks ? std::max<size_t>(1, m_policy.param)
                               : (m_policy.gather > 0 ? m_policy.gather : kCoalesceLimit);
    std::lock_guard<std::mutex> hold(m_conn.write_lock());
    Bytes pending;
    size_t head = 0;
    // Chunk mode cuts at every `unit` bytes; coalesce sends all that has gathered.
    auto drain = [&](bool final) {
        while (pending.size() > head && (final || pending.size() - head >= unit)) {
            size_t len = chunks ? std::min(unit, pending.size() - head) : pending.size() - head;
            if (!write_piece(pending.data() + head, len) || !pause()) {
                return false;
            }
            head += len;
        }
        pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(head));
        head = 0;
        return true;
    };
    bool drop = false;
    for (size_t i = 0; i < count && !drop; ++i) {
        Bytes msg = source(i);
        drop = m_budget.take_message();
        pending.insert(pending.end(), msg.begin(), msg.end());
        if (!drain(false)) {
            return false;
        }
    }
    if (!drain(true)) {
        return false;
    }
    if (drop) {
        m_conn.shut();
        return false;
    }
    return true;
}

bool StreamWriter::write_piece(const unsigned char* data, size_t len) {
    bool drop = false;
    size_t allowed = m_budget.take_bytes(len, &drop);
    // Counted before the bytes leave, so that a reader who has them sees the count.
    m_budget.count_write(allowed);
    if (!send_all(data, allowed)) {
        return false;
    }
    if (drop) {
        m_conn.shut();
        return false;
    }
    return true;
}

bool StreamWriter::send_all(const unsigned char* data, size_t len) {
    while (len > 0) {
        // A peer that has gone must not raise SIGPIPE in the host program.
        ssize_t n = ::send(m_conn.fd(), data, len, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        data += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

bool StreamWriter::pause() {
    // Slept in slices so that a drop or stop ends the wait early.
    auto until = std::chrono::steady_clock::now() + m_policy.pause;
    while (!m_conn.is_closed() && std::chrono::steady_clock::now() < until) {
        auto left = until - std::chrono::steady_clock::now();
        std::this_thread::sleep_for(
            std::min<std::chrono::steady_clock::duration>(left, std::chrono::milliseconds(10)));
    }
    return !m_conn.is_closed();
}

}  // namespace zulsim
