#ifndef ZUL_SIM_SIM_WRITER_H
#define ZUL_SIM_SIM_WRITER_H

// One client connection of the simulator, and the one writer through which every
// answer, push and raw write goes: it cuts messages into writes as the write mode
// says, pauses between writes, and applies the drop budgets.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "zul_sim.h"

namespace zulsim {

// Created by the accept thread, served by its own thread, destroyed (descriptor closed)
// when the last holder lets go: the simulator after joining that thread, or a pusher
// that still holds it for a moment.
class Connection {
public:
    Connection(int fd, int serial) : m_fd(fd), m_serial(serial) {}
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int fd() const { return m_fd; }
    int serial() const { return m_serial; }
    // Ends the connection from any thread; the serving thread then sees the end of input.
    void shut();
    bool is_closed() const { return m_closed.load(); }
    // Held for one message (or one whole answer in the chunk and coalesce modes), so
    // that a push never lands inside another message.
    std::mutex& write_lock() { return m_write_lock; }
    // How many executions of the account this connection has been sent, for the rewind
    // flag; used by the serving thread only.
    size_t& executions_sent(const std::string& account) { return m_executions_sent[account]; }

    std::thread m_thread;
    std::atomic<bool> m_done{false};

private:
    int m_fd;
    int m_serial;
    std::atomic<bool> m_closed{false};
    std::mutex m_write_lock;
    std::map<std::string, size_t> m_executions_sent;
};

// What the writer asks of its owner, all under the owner's lock.
class WriteBudget {
public:
    virtual ~WriteBudget() = default;
    // How many of `want` bytes may go; *drop is set when the connection must end after them.
    virtual size_t take_bytes(size_t want, bool* drop) = 0;
    // Counts one message; true when the connection must end after it.
    virtual bool take_message() = 0;
    virtual void count_write(size_t bytes) = 0;
};

struct WritePolicy {
    WriteMode mode = WriteMode::whole;
    size_t param = 0;  // split point or chunk size
    std::chrono::milliseconds pause{0};
    size_t gather = 0;  // coalesce: gathered messages go out from this size on; 0: 1 MiB
};

using MessageSource = std::function<Bytes(size_t index)>;

class StreamWriter {
public:
    StreamWriter(Connection& conn, const WritePolicy& policy, WriteBudget& budget)
        : m_conn(conn), m_policy(policy), m_budget(budget) {}

    // Writes messages 0 .. count-1 of `source`. False once the connection has ended.
    bool write(size_t count, const MessageSource& source);

private:
    bool write_each(size_t count, const MessageSource& source);
    bool write_batched(size_t count, const MessageSource& source);
    bool write_piece(const unsigned char* data, size_t len);
    bool send_all(const unsigned char* data, size_t len);
    // Sleeps the policy's pause; false if the connection ended meanwhile.
    bool pause();

    Connection& m_conn;
    WritePolicy m_policy;
    WriteBudget& m_budget;
};

}  // namespace zulsim

#endif
