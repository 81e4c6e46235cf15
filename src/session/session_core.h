#ifndef ZUL_SESSION_SESSION_CORE_H
#define ZUL_SESSION_SESSION_CORE_H

// The engine behind zulquery::Session: one plain-face client, the state its callbacks
// fill under m_mutex, and the waits of the calling threads.
//
// Threads. The library's threads run the callbacks (on_*): they copy what arrives under
// m_mutex and wake the waiters, nothing more. The callers' threads send, wait on
// m_changed and run the caller's per-record callbacks outside the lock. The client is
// connected, disconnected and destroyed by callers' threads only.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZulQuerySession.h"

namespace zulquery {
namespace detail {

// The kinds of answer, one per callback slot that carries an answer.
enum class Rec : unsigned {
    account,
    position,
    option_position,
    bp,
    bp_detail,
    cash,
    symbol,
    margin,
    fee,
    order,
    arbi_order,
    execution,
    execution_ex,
    quote,
    combo_position,
    combo_rule,
    risk,
    symbol_risk,
    password,  // the result code of a password change, as an int
};

constexpr unsigned bit(Rec r) {
    return 1u << static_cast<unsigned>(r);
}

enum class Shape { list, single };

// What answers a query: data and the closing call come through the kinds of `data`, a
// refusal through one of `refusal`.
struct QueryDef {
    const char* name;
    Shape shape;
    unsigned data;
    unsigned refusal;
};

// How a record reached its callback.
enum class Part { data, closing, whole };

class SessionCore {
public:
    using Clock = std::chrono::steady_clock;
    using Handler = std::function<void(Rec kind, const void* record)>;

    SessionCore(const std::string& host, int port, Options options);
    ~SessionCore();
    SessionCore(const SessionCore&) = delete;
    SessionCore& operator=(const SessionCore&) = delete;

    void logon(const std::string& user, const std::string& password);
    ZUL_QueryLogonResponse logon_answer() const;
    // Sends with `send` and hands every record of the answer to `each` on this thread.
    // Returns the kind that closed a list, or that brought a single answer.
    Rec run(const QueryDef& def, const std::function<RESULT(void* handle)>& send,
            const Handler& each);
    std::optional<Push> next_push(double timeout);
    size_t dropped_pushes() const;
    void interrupt();
    void close();

    // From the library's threads.
    void on_connection(ERR_NO code);
    void on_logon(const ZUL_QueryLogonResponse& answer);
    void on_record(Rec kind, const void* record, size_t size, Part part, ZUL_QueryErrorId error);
    // Pushed notices and the answer to the cash query share one slot.
    void on_cash(const ZUL_AccountCashInout* record, ZUL_QueryErrorId error);
    void on_bp_report(const ZUL_AccountBP* record);

private:
    // Why a wait ended.
    enum class Stop { ready, lost, timeout, interrupted, closed };
    // The counters a call saw when it began: a change ends its waits.
    struct Mark {
        uint64_t interrupts, closes, losses;
    };
    struct Delivered {
        Rec kind;
        std::string bytes;
    };
    // The answer of the query under way.
    struct Answer {
        std::vector<Delivered> pending;  // arrived, not yet handed to the caller
        bool done = false;
        ZUL_QueryErrorId error = 0;
        Rec last = Rec::account;  // the kind of the closing call or single record
    };
    class Turn;
    class Active;

    Mark mark() const;
    Stop wait(std::unique_lock<std::mutex>& lock, const Mark& mark,
              std::optional<Clock::time_point> deadline, std::optional<Clock::duration> loss_grace,
              const std::function<bool()>& ready);
    bool poll_says_stop(std::unique_lock<std::mutex>& lock);
    std::optional<Clock::time_point> silence_deadline() const;
    [[noreturn]] void fail(Stop why, const std::string& what, size_t records) const;

    void connect();
    void ensure_logged_on(std::unique_lock<std::mutex>& lock, const Mark& mark);
    void drain_stale(std::unique_lock<std::mutex>& lock, const Mark& mark, const QueryDef& def);
    [[noreturn]] void request_failed(const QueryDef& def, RESULT result);
    // Under m_mutex: a record that no query waits for may end the tail of an abandoned one.
    void settle_stale(Rec kind, Part part, ZUL_QueryErrorId error);
    // Under m_mutex: a record to the query under way, or to the tail of an abandoned one.
    void deliver(Rec kind, const void* record, size_t size, Part part, ZUL_QueryErrorId error);
    void push(const Push& p);

    const std::string m_host;
    const int m_port;
    const Options m_options;
    void* m_handle = nullptr;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    // Guarded by m_mutex:
    bool m_busy = false;       // a query or logon holds the turn
    bool m_connected = false;  // by this session's account: since a connect, until a drop
    bool m_ever_connected = false;
    bool m_logged_on = false;
    bool m_relogon = false;          // answer a reconnection with a logon
    std::string m_user, m_password;  // kept for the logon after a reconnection only
    uint64_t m_interrupts = 0, m_closes = 0, m_losses = 0;
    uint64_t m_logons = 0;  // logon answers so far
    ZUL_QueryLogonResponse m_logon{};
    const QueryDef* m_active = nullptr;
    Answer m_answer;
    // Queries ended before their answer was whole: its tail may still come, and must not
    // be taken for the answer of the next query of that kind.
    std::vector<const QueryDef*> m_stale;
    uint64_t m_stale_arrivals = 0;
    std::deque<Push> m_pushes;
    size_t m_dropped_pushes = 0;
};

}  // namespace detail
}  // namespace zulquery

#endif
