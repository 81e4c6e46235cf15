#include "session/session_core.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "session/session_words.h"
#include "tools/signals_held.h"

namespace zulquery {
namespace detail {

void register_callbacks(void* handle);

namespace {

// A waiting call wakes at least this often, for the poll hook and interrupt().
constexpr std::chrono::milliseconds kTick{50};
// After a drop, records already read may still be on their way through the receive
// thread: an answer gets this long to become whole.
constexpr std::chrono::milliseconds kLossGrace{500};
// Longest wait for the tail of a cut answer when the session has no timeout.
constexpr std::chrono::seconds kStaleWait{10};
// Longest folder the library takes for its logs (its path limit less the file name).
constexpr size_t kLogDirMax = 490;

bool log_dir_char(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '/';
}

// Makes every missing level of the folder, 0700: the library's own mkdir would give a
// folder without its search bit, which a process not run by root cannot use.
void prepare_log_dir(const std::string& dir) {
    if (dir.size() > kLogDirMax)
        throw std::invalid_argument("log folder path too long: " + dir);
    for (char c : dir) {
        if (!log_dir_char(c))
            throw std::invalid_argument(
                "log folder '" + dir +
                "': only letters, digits, '_', '-' and '/' are allowed in its path");
    }
    for (size_t at = dir.find('/', 1);; at = dir.find('/', at + 1)) {
        const std::string part = dir.substr(0, at);
        if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST)
            throw std::invalid_argument("cannot make the log folder " + part + ": " +
                                        strerror(errno));
        if (at == std::string::npos)
            break;
    }
}

// Dotted IPv4 text of a host name or address.
std::string resolve(const std::string& host) {
    addrinfo hints;
    memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int rc = getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (rc != 0 || found == nullptr)
        throw Error(Error::Kind::cannot_connect, ZUL_RESULT_CONN_FAILED,
                    "cannot resolve host '" + host + "': " + gai_strerror(rc) + " (result 1)");
    char ip[INET_ADDRSTRLEN] = {0};
    const sockaddr_in* a = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
    inet_ntop(AF_INET, &a->sin_addr, ip, sizeof(ip));
    freeaddrinfo(found);
    return ip;
}

std::string seconds(double s) {
    char text[32];
    snprintf(text, sizeof(text), "%g s", s);
    return text;
}

}  // namespace

// ---- The turn: one query or logon at a time ----

class SessionCore::Turn {
public:
    Turn(SessionCore& core, const Mark& mark) : m_core(core) {
        std::unique_lock<std::mutex> lock(core.m_mutex);
        const Stop s =
            core.wait(lock, mark, std::nullopt, std::nullopt, [&] { return !core.m_busy; });
        if (s != Stop::ready) {
            lock.unlock();
            core.fail(s, "its turn", 0);
        }
        core.m_busy = true;
    }
    ~Turn() {
        std::lock_guard<std::mutex> lock(m_core.m_mutex);
        m_core.m_busy = false;
        m_core.m_changed.notify_all();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    SessionCore& m_core;
};

// ---- The query under way: set up under the lock, cleared however the call ends ----

class SessionCore::Active {
public:
    Active(SessionCore& core, const QueryDef& def, const Mark& mark)
        : m_core(core), m_def(def), m_mark(mark) {
        std::lock_guard<std::mutex> lock(core.m_mutex);
        core.m_active = &def;
        core.m_answer = Answer();
    }
    ~Active() {
        std::lock_guard<std::mutex> lock(m_core.m_mutex);
        // An answer cut short on a live connection may still come in full.
        if (m_sent && !m_core.m_answer.done && m_core.m_connected &&
            m_core.m_losses == m_mark.losses)
            m_core.m_stale.push_back(&m_def);
        m_core.m_active = nullptr;
        m_core.m_answer = Answer();
    }
    Active(const Active&) = delete;
    Active& operator=(const Active&) = delete;

    void sent() { m_sent = true; }

private:
    SessionCore& m_core;
    const QueryDef& m_def;
    const Mark m_mark;
    bool m_sent = false;
};

// ---- Life ----

SessionCore::SessionCore(const std::string& host, int port, Options options)
    : m_host(host), m_port(port), m_options(std::move(options)) {
    if (port < 1 || port > 65535)
        throw std::invalid_argument("port out of range: " + std::to_string(port));
    if (!m_options.log_dir.empty())
        prepare_log_dir(m_options.log_dir);
    m_handle = KQZUL_CreateQuery(this);
    if (!m_options.log_dir.empty())
        KQZUL_SetQueryLogDir(m_handle, m_options.log_dir.c_str());
    KQZUL_SetQueryLoggerSwitch(m_handle, m_options.logger);
    KQZUL_SetQueryAutoReconnect(m_handle, m_options.auto_reconnect);
    // The transport notices a close within one wait of its event loop: a short one lets a
    // session close at once.
    KQZUL_SetQueryMaxWaitTime(m_handle, 20);
    register_callbacks(m_handle);
}

SessionCore::~SessionCore() {
    close();
    KQZUL_DestroyQuery(m_handle);
}

void SessionCore::close() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_relogon = false;
        m_connected = false;
        m_logged_on = false;
        m_stale.clear();
        ++m_closes;
        m_changed.notify_all();
    }
    KQZUL_DisConnQueryServer(m_handle);
}

void SessionCore::interrupt() {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_interrupts;
    m_changed.notify_all();
}

// ---- Waiting ----

SessionCore::Mark SessionCore::mark() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Mark{m_interrupts, m_closes, m_losses};
}

std::optional<SessionCore::Clock::time_point> SessionCore::silence_deadline() const {
    if (m_options.timeout <= 0)
        return std::nullopt;
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(
                              std::chrono::duration<double>(m_options.timeout));
}

bool SessionCore::poll_says_stop(std::unique_lock<std::mutex>& lock) {
    if (!m_options.poll)
        return false;
    // The hook may call back into the session (interrupt(), close()).
    struct Relock {
        std::unique_lock<std::mutex>& lock;
        ~Relock() { lock.lock(); }
    };
    lock.unlock();
    Relock relock{lock};
    return m_options.poll();
}

// Waits under `lock` until ready() holds, or the call is interrupted or closed, or the
// deadline passes, or (with a grace) the connection is lost.
SessionCore::Stop SessionCore::wait(std::unique_lock<std::mutex>& lock, const Mark& mark,
                                    std::optional<Clock::time_point> deadline,
                                    std::optional<Clock::duration> loss_grace,
                                    const std::function<bool()>& ready) {
    std::optional<Clock::time_point> lost_at;
    for (;;) {
        Clock::time_point step = Clock::now() + kTick;
        if (deadline && *deadline < step)
            step = *deadline;
        m_changed.wait_until(lock, step, [&] {
            return ready() || m_interrupts != mark.interrupts || m_closes != mark.closes ||
                   (loss_grace && !lost_at && m_losses != mark.losses);
        });
        if (m_interrupts != mark.interrupts)
            return Stop::interrupted;
        if (m_closes != mark.closes)
            return Stop::closed;
        if (ready())
            return Stop::ready;
        const Clock::time_point now = Clock::now();
        if (loss_grace && m_losses != mark.losses) {
            if (!lost_at)
                lost_at = now;
            if (now - *lost_at >= *loss_grace)
                return Stop::lost;
        }
        if (deadline && now >= *deadline)
            return Stop::timeout;
        if (poll_says_stop(lock))
            return Stop::interrupted;
    }
}

void SessionCore::fail(Stop why, const std::string& what, size_t records) const {
    const std::string after =
        records > 0 ? " (after " + std::to_string(records) + " records)" : std::string();
    switch (why) {
        case Stop::lost:
            throw Error(Error::Kind::connection_lost, ZUL_CONN_REMOTE_DISCONNECTED,
                        "connection lost while waiting for " + what + after);
        case Stop::timeout:
            throw Error(Error::Kind::timeout, 0,
                        "no word from the server for " + seconds(m_options.timeout) +
                            " while waiting for " + what + after);
        case Stop::interrupted:
            throw Error(Error::Kind::interrupted, 0,
                        "interrupted while waiting for " + what + after);
        case Stop::closed:
            throw Error(Error::Kind::connection_lost, ZUL_CONN_LOCAL_DISCONNECTED,
                        "the session was closed while waiting for " + what + after);
        case Stop::ready:
            break;
    }
    throw std::logic_error("fail() without a failure");
}

// ---- Logon ----

void SessionCore::connect() {
    const std::string ip = resolve(m_host);
    ZUL_QuerySvrInfo server;
    memcpy(server.m_RemoteQueryIp, ip.c_str(), ip.size() + 1);
    server.m_RemoteQueryTCPPort = static_cast<unsigned short>(m_port);
    const uint64_t losses = mark().losses;
    RESULT r;
    int error;
    {
        // The library's threads start here and inherit this mask: signals stay with the
        // caller's threads (a Ctrl-C handler, a thread that waits for SIGTERM).
        VORTANE::TOOLS::signals_held held;
        // The connect's own errno survives the library's clean-up after a failure.
        errno = 0;
        r = KQZUL_ConnQueryServer(m_handle, server);
        error = errno;
    }
    if (r != ZUL_RESULT_OK)
        throw Error(Error::Kind::cannot_connect, r,
                    "cannot connect to " + m_host + ":" + std::to_string(m_port) + ": " +
                        connect_reason(error) + " (result " + std::to_string(r) + ")");
    std::lock_guard<std::mutex> lock(m_mutex);
    // A drop reported before this point belongs to this very connection.
    m_connected = m_losses == losses;
    m_ever_connected = true;
}

void SessionCore::logon(const std::string& user, const std::string& password) {
    const Mark begun = mark();
    Turn turn(*this, begun);
    bool connected;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        connected = m_connected;
        m_relogon = false;
    }
    if (!connected)
        connect();
    const Mark sent = mark();
    uint64_t answers;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        answers = m_logons;
    }
    const RESULT r = KQZUL_QueryUserLogon(m_handle, user.c_str(), password.c_str());
    if (r != ZUL_RESULT_OK)
        throw Error(r == ZUL_RESULT_NOT_CONNECTED || r == ZUL_RESULT_SEND_FAILED
                        ? Error::Kind::connection_lost
                        : Error::Kind::rejected,
                    r,
                    "the logon could not be sent: " + result_words(r) + " (result " +
                        std::to_string(r) + ")");
    std::unique_lock<std::mutex> lock(m_mutex);
    // A server may answer and close in one write: the end can be told before the answer
    // has passed the receive thread, which then still delivers it.
    const Stop s = wait(lock, Mark{begun.interrupts, begun.closes, sent.losses}, silence_deadline(),
                        kLossGrace, [&] { return m_logons != answers; });
    if (s != Stop::ready) {
        lock.unlock();
        fail(s, "the logon answer", 0);
    }
    if (m_logon.m_Result != ZUL_LOGON_ACCEPTED)
        throw Error(Error::Kind::logon_refused, m_logon.m_Result,
                    "logon refused by the server: " + logon_words(m_logon.m_Result) + " (result " +
                        std::to_string(m_logon.m_Result) + ")");
    if (m_options.auto_reconnect) {
        m_user = user;
        m_password = password;
        m_relogon = true;
    }
}

ZUL_QueryLogonResponse SessionCore::logon_answer() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_logon;
}

// Between a drop and the logon on the new connection, a query waits for that logon.
void SessionCore::ensure_logged_on(std::unique_lock<std::mutex>& lock, const Mark& mark) {
    if (m_logged_on || !m_relogon)
        return;
    const Stop s = wait(lock, mark, silence_deadline(), std::nullopt,
                        [&] { return m_logged_on || !m_relogon; });
    if (s == Stop::timeout)
        throw Error(
            Error::Kind::connection_lost, ZUL_RESULT_NOT_CONNECTED,
            "connection lost, and not logged on again within " + seconds(m_options.timeout));
    if (s != Stop::ready) {
        lock.unlock();
        fail(s, "the logon after a reconnection", 0);
    }
}

// ---- Queries ----

void SessionCore::drain_stale(std::unique_lock<std::mutex>& lock, const Mark& mark,
                              const QueryDef& def) {
    const unsigned kinds = def.data | def.refusal;
    auto overlaps = [&] {
        for (const QueryDef* s : m_stale) {
            if (((s->data | s->refusal) & kinds) != 0)
                return true;
        }
        return false;
    };
    // A tail that stays silent this long is not coming. Without a timeout a silent tail
    // still gets no more than kStaleWait.
    auto quiet_until = [&] {
        const auto d = silence_deadline();
        return d ? d : Clock::now() + kStaleWait;
    };
    uint64_t seen = m_stale_arrivals;
    auto deadline = quiet_until();
    while (overlaps()) {
        const Stop s = wait(lock, mark, deadline, std::nullopt,
                            [&] { return !overlaps() || m_stale_arrivals != seen; });
        if (s == Stop::ready && m_stale_arrivals != seen) {
            seen = m_stale_arrivals;
            deadline = quiet_until();
        } else if (s == Stop::timeout) {
            for (auto it = m_stale.begin(); it != m_stale.end();)
                it = (((*it)->data | (*it)->refusal) & kinds) != 0 ? m_stale.erase(it) : it + 1;
        } else if (s != Stop::ready) {
            lock.unlock();
            fail(s, std::string("the end of an earlier answer to ") + def.name, 0);
        }
    }
}

void SessionCore::request_failed(const QueryDef& def, RESULT r) {
    const std::string text =
        std::string(def.name) + ": " + result_words(r) + " (result " + std::to_string(r) + ")";
    bool ever;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ever = m_ever_connected;
    }
    switch (r) {
        case ZUL_RESULT_NOT_SUPPORTED:
            throw Error(Error::Kind::not_offered, r, text);
        case ZUL_RESULT_SEND_FAILED:
            throw Error(Error::Kind::connection_lost, r, text);
        case ZUL_RESULT_NOT_CONNECTED:
            if (ever)
                throw Error(Error::Kind::connection_lost, r, text);
            throw Error(Error::Kind::rejected, r, text + "; call logon() first");
        case ZUL_RESULT_NOT_LOGGED_ON:
            throw Error(Error::Kind::rejected, r, text + "; call logon() first");
        default:
            throw Error(Error::Kind::rejected, r, text);
    }
}

Rec SessionCore::run(const QueryDef& def, const std::function<RESULT(void*)>& send,
                     const Handler& each) {
    const Mark begun = mark();
    Turn turn(*this, begun);
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        ensure_logged_on(lock, begun);
        drain_stale(lock, begun, def);
    }
    const Mark sent = Mark{begun.interrupts, begun.closes, mark().losses};
    Active active(*this, def, sent);
    const RESULT r = send(m_handle);
    if (r != ZUL_RESULT_OK)
        request_failed(def, r);
    active.sent();
    const std::string what = std::string("the answer to ") + def.name;
    size_t records = 0;
    auto deadline = silence_deadline();
    for (;;) {
        std::vector<Delivered> batch;
        bool done;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            const Stop s = wait(lock, sent, deadline, kLossGrace,
                                [&] { return !m_answer.pending.empty() || m_answer.done; });
            batch.swap(m_answer.pending);
            done = m_answer.done;
            if (s != Stop::ready && batch.empty()) {
                lock.unlock();
                fail(s, what, records);
            }
        }
        for (const Delivered& d : batch) {
            each(d.kind, d.bytes.data());
            ++records;
        }
        if (done) {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_answer.error != 0)
                throw Error(Error::Kind::refused, static_cast<int>(m_answer.error),
                            std::string("the server refused ") + def.name + ": error id " +
                                std::to_string(m_answer.error));
            return m_answer.last;
        }
        deadline = silence_deadline();
        if (m_options.poll && m_options.poll())
            fail(Stop::interrupted, what, records);
    }
}

// ---- Pushes ----

void SessionCore::push(const Push& p) {
    if (m_options.push_limit == 0) {
        ++m_dropped_pushes;
        return;
    }
    if (m_pushes.size() >= m_options.push_limit) {
        m_pushes.pop_front();
        ++m_dropped_pushes;
    }
    m_pushes.push_back(p);
    m_changed.notify_all();
}

std::optional<Push> SessionCore::next_push(double timeout) {
    const Mark begun = mark();
    std::unique_lock<std::mutex> lock(m_mutex);
    auto ended = [&] { return !m_connected && !m_relogon; };
    std::optional<Clock::time_point> deadline;
    if (timeout >= 0)
        deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                      std::chrono::duration<double>(timeout));
    const Stop s = m_pushes.empty() && !ended() ? wait(lock, begun, deadline, std::nullopt,
                                                       [&] { return !m_pushes.empty() || ended(); })
                                                : Stop::ready;
    if (!m_pushes.empty()) {
        Push p = m_pushes.front();
        m_pushes.pop_front();
        return p;
    }
    if (s == Stop::timeout)
        return std::nullopt;
    if (s == Stop::ready)
        throw Error(Error::Kind::connection_lost, ZUL_CONN_REMOTE_DISCONNECTED,
                    "no connection: no more pushed events will come");
    lock.unlock();
    fail(s, "a pushed event", 0);
}

size_t SessionCore::dropped_pushes() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_dropped_pushes;
}

// ---- From the library's threads ----

void SessionCore::on_connection(ERR_NO code) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (code == ZUL_CONN_REMOTE_DISCONNECTED || code == ZUL_CONN_NETWORK_ERROR) {
        m_connected = false;
        m_logged_on = false;
        m_stale.clear();
        ++m_losses;
        m_changed.notify_all();
        return;
    }
    if (code != ZUL_CONN_OK || !m_relogon)
        return;
    // A connection made again by the library: log on as before, from this callback.
    m_connected = true;
    const std::string user = m_user, password = m_password;
    lock.unlock();
    KQZUL_QueryUserLogon(m_handle, user.c_str(), password.c_str());
}

void SessionCore::on_logon(const ZUL_QueryLogonResponse& answer) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_logon = answer;
    m_logged_on = answer.m_Result == ZUL_LOGON_ACCEPTED;
    ++m_logons;
    m_changed.notify_all();
}

void SessionCore::settle_stale(Rec kind, Part part, ZUL_QueryErrorId error) {
    for (auto it = m_stale.begin(); it != m_stale.end(); ++it) {
        const unsigned kinds = error != 0 ? (*it)->refusal : (*it)->data;
        if ((kinds & bit(kind)) == 0)
            continue;
        ++m_stale_arrivals;
        if (error != 0 || part != Part::data || (*it)->shape == Shape::single)
            m_stale.erase(it);
        m_changed.notify_all();
        return;
    }
}

void SessionCore::on_record(Rec kind, const void* record, size_t size, Part part,
                            ZUL_QueryErrorId error) {
    std::lock_guard<std::mutex> lock(m_mutex);
    deliver(kind, record, size, part, error);
}

void SessionCore::deliver(Rec kind, const void* record, size_t size, Part part,
                          ZUL_QueryErrorId error) {
    const QueryDef* q = m_active;
    if (q == nullptr || m_answer.done || ((error != 0 ? q->refusal : q->data) & bit(kind)) == 0) {
        settle_stale(kind, part, error);
        return;
    }
    const bool woken = m_answer.pending.empty();
    if (error != 0) {
        m_answer.error = error;
        m_answer.done = true;
    } else if (part == Part::closing) {
        m_answer.last = kind;
        m_answer.done = true;
    } else if (record != nullptr) {
        m_answer.pending.push_back(
            Delivered{kind, std::string(static_cast<const char*>(record), size)});
        if (part == Part::whole || q->shape == Shape::single) {
            m_answer.last = kind;
            m_answer.done = true;
        }
    }
    // The waiter takes the whole batch at once: one wake-up per batch is enough.
    if (woken || m_answer.done)
        m_changed.notify_all();
}

void SessionCore::on_cash(const ZUL_AccountCashInout* record, ZUL_QueryErrorId error) {
    std::lock_guard<std::mutex> lock(m_mutex);
    bool answer = m_active != nullptr && (m_active->data & bit(Rec::cash)) != 0;
    for (const QueryDef* s : m_stale)
        answer = answer || (s->data & bit(Rec::cash)) != 0;
    if (answer) {
        deliver(Rec::cash, record, sizeof(*record), Part::whole, error);
    } else if (error == 0 && record != nullptr) {
        Push p;
        p.kind = Push::Kind::cash;
        p.cash = *record;
        push(p);
    }
}

void SessionCore::on_bp_report(const ZUL_AccountBP* record) {
    if (record == nullptr)
        return;
    Push p;
    p.kind = Push::Kind::bp_report;
    p.bp = *record;
    std::lock_guard<std::mutex> lock(m_mutex);
    push(p);
}

}  // namespace detail
}  // namespace zulquery
