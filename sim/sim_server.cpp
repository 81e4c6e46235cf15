#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <strings.h>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "sim_builders.h"
#include "sim_fields.h"
#include "sim_writer.h"
#include "zul_sim.h"

namespace zulsim {

namespace {

// Bulk streams take seeds above those of the standard data set.
constexpr unsigned kBulkSeed = 4096;
// The size of the writes of a bulk stream in the whole-message mode.
constexpr size_t kBulkWrite = 64 * 1024;

// Connects attempted, at most, to fill the accept queue of a holding listener.
constexpr int kMaxQueueFillers = 8;
// How long a filler's connect may take before the queue counts as full.
constexpr int kFillerConnectMs = 100;
// Flood writes go out in ticks of this length.
constexpr std::chrono::milliseconds kFloodTick{10};

int open_listener(uint16_t port, uint16_t* bound, std::string* error, int backlog = 64) {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        *error = std::string("socket: ") + strerror(errno);
        return -1;
    }
    int on = 1;
    // A restarted simulator must get its fixed port back at once.
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(addr);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0 ||
        ::listen(fd, backlog) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) {
        *error = "listen on 127.0.0.1:" + std::to_string(port) + ": " + strerror(errno);
        ::close(fd);
        return -1;
    }
    *bound = ntohs(addr.sin_port);
    return fd;
}

// Connects to a listener of ours until a connect no longer completes: the accept queue
// is then full, and the kernel drops every further connect attempt unanswered. Returns
// the connections that sit in the queue; the caller closes them.
std::vector<int> fill_accept_queue(uint16_t port) {
    std::vector<int> fillers;
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (int i = 0; i < kMaxQueueFillers; ++i) {
        int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (fd < 0) {
            break;
        }
        int rc = ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
        pollfd p{fd, POLLOUT, 0};
        int err = 0;
        socklen_t len = sizeof(err);
        bool done =
            rc == 0 || (errno == EINPROGRESS && ::poll(&p, 1, kFillerConnectMs) == 1 &&
                        ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) == 0 && err == 0);
        if (!done) {
            ::close(fd);
            break;
        }
        fillers.push_back(fd);
    }
    return fillers;
}

ReceivedRequest decode(int connection, uint16_t id, const RecordInfo* info, Bytes raw) {
    ReceivedRequest r;
    r.connection = connection;
    r.id = id;
    r.name = info != nullptr ? info->name : "unknown";
    if (info != nullptr) {
        for (const FieldInfo& f : info->fields) {
            if (!is_reserved(f)) {
                r.fields[f.name] = read_field(f, raw.data());
            }
        }
    }
    r.raw = std::move(raw);
    return r;
}

// The answer id of a request, 0 for the two that have answers of their own making.
uint16_t answer_id(const ReceivedRequest& r, const Options& o) {
    switch (r.id) {
        case QUERY_USER_ACCOUNT_REQ_MSG_ID:
            return QUERY_USER_ACCOUNT_RESP_MSG_ID;
        case QUERY_SYMBOL_REQ_MSG_ID:
            return QUERY_SYMBOL_RESP_MSG_ID;
        // Options are asked for by their security type; every other type gets futures.
        case QUERY_ACCOUNT_POSITION_REQ_MSG_ID:
            return r.number("m_sec_type") == SEC_TYPE_OPTION
                       ? QUERY_ACCOUNT_OPT_POSITION_RESP_MSG_ID
                       : QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID;
        case REWIND_ACCOUNT_ORDER_REQ_MSG_ID:
            return REWIND_ACCOUTN_ORDER_RESPONSE_MSG_ID;
        case REWIND_ACCOUNT_EXE_REQ_MSG_ID:
            return o.exec_with_symbol ? REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID_EX
                                      : REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID;
        case QUERY_COMBO_RULE_MSG_ID:
            return QUERY_COMBO_RULE_RESP_MSG_ID;
        case QUERY_ACCOUNT_MARGIN_MSG_ID:
            return QUERY_ACCOUNT_MARGIN_RESP_MSG_ID;
        case QUERY_ACCOUNT_FEE_MSG_ID:
            return QUERY_ACCOUNT_FEE_RESP_MSG_ID;
        case QUERY_COMBO_POSITION_MSG_ID:
            return QUERY_COMBO_POSITION_RESP_MSG_ID;
        case QUERY_ACCOUNT_BP_REQ_MSG_ID:
            return QUERY_ACCOUNT_BP_RESP_MSG_ID;
        case ACCOUNT_RISK_REAL_DATA_REQ_MSG_ID:
            return QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID;
        case ACCOUNT_SYMBOL_REAL_DATA_REQ_MSG_ID:
            return QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID;
        case QUERY_CASH_INOUT_REQ_MSG_ID:
            return ACCOUNT_CASH_INOUT_NOTIFY;
        case QUERY_ACCOUNT_BP_DETAIL_REQ_MSG_ID:
            return QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID;
        case REWIND_ACCOUNT_QUOTE_REQ_MSG_ID:
            return REWIND_ACCOUNT_QUOTE_RESP_MSG_ID;
        case REWIND_ACCOUNT_ARBI_ORDER_REQ_MSG_ID:
            return REWIND_ACCOUNT_ARBI_ORDER_RESP_MSG_ID;
        default:
            return 0;
    }
}

Bytes logon_answer(const Options& o, const Bytes& request) {
    query_logon_msg_req q;
    memcpy(&q, request.data(), sizeof(q));
    std::string password(q.m_password, strnlen(q.m_password, sizeof(q.m_password)));
    Int4 result = o.logon_result;
    if (result == 0 && !o.password_digest.empty() &&
        strcasecmp(password.c_str(), o.password_digest.c_str()) != 0) {
        result = o.bad_password_result;
    }
    // Byte 51 is the generation flag in both layouts, so one record serves both.
    query_logon_msg_resp r;
    r.Result = result;
    memcpy(r.m_login_id, q.m_login_id, sizeof(r.m_login_id));
    r.m_user_id = o.user_id;
    r.m_user_token_cancel_enable = 1;
    r.m_user_selfexec_check_enable = 2;
    r.m_reserved[0] = static_cast<char>(o.version_flag >= 0 ? o.version_flag
                                        : o.hv27            ? HV27_VERSION_FLAG
                                                            : 0);
    return DataSet::bytes_of(r);
}

Bytes error_answer(const Options& o, uint16_t request_id, uint32_t error_id) {
    hv27_query_err_resp e;
    e.m_user_id = o.user_id;
    e.m_sub_msg_id = request_id;
    e.m_error_id = error_id;
    return DataSet::bytes_of(e);
}

// Requests that a server of generation hv27 does not offer. It still frames them by
// their size (the ids are of the one protocol) and refuses them with 1064, which a client
// delivers to the callback of the request, as for any refusal.
bool offered_by_hv27(uint16_t request_id) {
    switch (request_id) {
        case QUERY_COMBO_RULE_MSG_ID:
        case QUERY_COMBO_POSITION_MSG_ID:
        case QUERY_ACCOUNT_BP_REQ_MSG_ID:
        case REWIND_ACCOUNT_ARBI_ORDER_REQ_MSG_ID:
            return false;
        default:
            return true;
    }
}

Bytes change_password_answer(const Options& o) {
    change_password_resp r;
    r.m_user_id = o.user_id;
    r.m_result_code = o.change_password_result;
    return DataSet::bytes_of(r);
}

}  // namespace

std::string ReceivedRequest::text(const std::string& field) const {
    auto it = fields.find(field);
    return it == fields.end() ? std::string() : it->second;
}

long long ReceivedRequest::number(const std::string& field) const {
    auto it = fields.find(field);
    return it == fields.end() ? 0 : strtoll(it->second.c_str(), nullptr, 10);
}

struct Simulator::Impl : public WriteBudget {
    mutable std::mutex m_lock;  // guards everything below but the threads
    mutable std::condition_variable m_changed;
    Options m_opts;
    std::shared_ptr<const DataSet> m_data;
    std::vector<ReceivedRequest> m_log;
    std::vector<std::shared_ptr<Connection>> m_conns;
    Stats m_stats;
    size_t m_accepted = 0;
    int m_next_serial = 1;
    unsigned m_config_version = 0;
    int m_listen_fd = -1;
    uint16_t m_port = 0;
    bool m_running = false;
    bool m_stopping = false;
    bool m_holding = false;  // AcceptMode::hold is in place
    // Clients that have logged on: the flood goes to these.
    std::vector<std::weak_ptr<Connection>> m_logged_on;

    std::thread m_acceptor;  // runs accept_loop
    std::thread m_pusher;    // runs push_loop
    std::thread m_flooder;   // runs flood_loop

    explicit Impl(Options o) : m_opts(std::move(o)) {}

    // --- WriteBudget
    size_t take_bytes(size_t want, bool* drop) override {
        std::lock_guard<std::mutex> hold(m_lock);
        if (m_opts.drop_after_bytes == 0) {
            return want;
        }
        size_t allowed = std::min(want, m_opts.drop_after_bytes);
        m_opts.drop_after_bytes -= allowed;
        *drop = m_opts.drop_after_bytes == 0;
        return allowed;
    }

    bool take_message() override {
        std::lock_guard<std::mutex> hold(m_lock);
        ++m_stats.messages;
        if (m_opts.drop_after_messages == 0) {
            return false;
        }
        return --m_opts.drop_after_messages == 0;
    }

    void count_write(size_t bytes) override {
        std::lock_guard<std::mutex> hold(m_lock);
        ++m_stats.writes;
        m_stats.bytes += bytes;
    }

    WritePolicy policy() const {
        std::lock_guard<std::mutex> hold(m_lock);
        return WritePolicy{m_opts.write_mode, m_opts.write_param, m_opts.pause};
    }

    bool write(Connection& c, size_t count, const MessageSource& source) {
        return StreamWriter(c, policy(), *this).write(count, source);
    }

    bool write_one(Connection& c, const Bytes& msg) {
        return write(c, 1, [&](size_t) { return msg; });
    }

    // --- Threads
    void accept_loop();
    void hold_connects(std::unique_lock<std::mutex>& hold);
    void push_loop();
    void flood_loop();
    void flood_tick(size_t rate);
    bool wait_while_not_reading(Connection& c);
    void note_logon(Connection& c);
    void serve(const std::shared_ptr<Connection>& c);
    bool take_request(Connection& c, Bytes& in);
    void handle(Connection& c, const RecordInfo& info, Bytes raw);
    void answer(Connection& c, const Options& o, const DataSet& data, const ReceivedRequest& r);
    void write_stream(Connection& c, const Options& o, const DataSet& data, uint16_t id,
                      const std::string& account, const ReceivedRequest& r);

    void write_bulk(Connection& c, const DataSet& data, uint16_t id, const std::string& account,
                    size_t n);

    void reap_locked();
    size_t broadcast(const Bytes& msg);
    size_t push(uint16_t id, const std::string& account);
};

void Simulator::Impl::accept_loop() {
    for (;;) {
        int lfd;
        {
            std::unique_lock<std::mutex> hold(m_lock);
            if (m_stopping) {
                return;
            }
            reap_locked();
            if (m_opts.accept_mode == AcceptMode::hold) {
                hold_connects(hold);
                continue;
            }
            if (m_opts.accept_mode == AcceptMode::refuse) {
                if (m_listen_fd >= 0) {
                    ::close(m_listen_fd);
                    m_listen_fd = -1;
                }
                m_changed.wait(
                    hold, [&] { return m_stopping || m_opts.accept_mode != AcceptMode::refuse; });
                continue;
            }
            if (m_listen_fd < 0) {
                std::string ignored;
                m_listen_fd = open_listener(m_port, &m_port, &ignored);
                if (m_listen_fd < 0) {
                    // Someone else holds the port for now; try again shortly.
                    m_changed.wait_for(hold, std::chrono::milliseconds(100));
                    continue;
                }
            }
            lfd = m_listen_fd;
        }
        int fd = ::accept4(lfd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0 && errno == EINVAL) {
            // The listener was shut down (refuse mode or stop): it is closed here and,
            // if the mode has meanwhile gone back to accept, opened anew.
            std::lock_guard<std::mutex> hold(m_lock);
            if (m_listen_fd == lfd) {
                ::close(m_listen_fd);
                m_listen_fd = -1;
            }
            continue;
        }
        if (fd < 0) {
            if (errno != EINTR) {
                // Out of descriptors or the like: don't spin.
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            continue;
        }
        int on = 1;
        // Split writes must reach the client as separate segments.
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        std::lock_guard<std::mutex> hold(m_lock);
        if (m_stopping || m_opts.accept_mode != AcceptMode::accept) {
            ::close(fd);
            m_accepted += m_stopping ? 0 : 1;
            m_changed.notify_all();
            continue;
        }
        auto c = std::make_shared<Connection>(fd, m_next_serial++);
        c->m_thread = std::thread([this, c] { serve(c); });
        m_conns.push_back(c);
        ++m_accepted;
        m_changed.notify_all();
    }
}

// Replaces the listener by one that takes a single connection into its queue, fills
// that queue with a connection of our own and accepts nothing until the mode changes.
// Runs on the accept thread with the lock held (released while it waits).
void Simulator::Impl::hold_connects(std::unique_lock<std::mutex>& hold) {
    if (m_listen_fd >= 0) {
        ::close(m_listen_fd);
        m_listen_fd = -1;
    }
    std::string ignored;
    int lfd = open_listener(m_port, &m_port, &ignored, 0);
    if (lfd < 0) {
        m_changed.wait_for(hold, std::chrono::milliseconds(100));
        return;
    }
    std::vector<int> fillers = fill_accept_queue(m_port);
    m_holding = true;
    m_changed.notify_all();
    m_changed.wait(hold, [&] { return m_stopping || m_opts.accept_mode != AcceptMode::hold; });
    m_holding = false;
    for (int fd : fillers) {
        ::close(fd);
    }
    ::close(lfd);
}

void Simulator::Impl::reap_locked() {
    for (auto it = m_conns.begin(); it != m_conns.end();) {
        if ((*it)->m_done) {
            (*it)->m_thread.join();
            it = m_conns.erase(it);
        } else {
            ++it;
        }
    }
}

void Simulator::Impl::push_loop() {
    size_t turn = 0;
    std::unique_lock<std::mutex> hold(m_lock);
    while (!m_stopping) {
        unsigned version = m_config_version;
        auto interval = m_opts.push_interval;
        auto woken = [&] { return m_stopping || m_config_version != version; };
        if (interval.count() <= 0) {
            m_changed.wait(hold, woken);
            continue;
        }
        if (m_changed.wait_for(hold, interval, woken)) {
            continue;
        }
        std::vector<std::string> accounts = m_data->accounts();
        hold.unlock();
        if (!accounts.empty()) {
            const std::string& account = accounts[turn++ % accounts.size()];
            push(REPORT_ACCOUNT_BP_MSG_ID, account);
            push(ACCOUNT_CASH_INOUT_NOTIFY, account);
        }
        hold.lock();
    }
}

void Simulator::Impl::flood_loop() {
    std::unique_lock<std::mutex> hold(m_lock);
    auto next = std::chrono::steady_clock::now();
    while (!m_stopping) {
        const size_t rate = m_opts.flood_rate;
        if (rate == 0 || m_logged_on.empty()) {
            m_changed.wait_for(hold, std::chrono::milliseconds(50));
            next = std::chrono::steady_clock::now();
            continue;
        }
        hold.unlock();
        flood_tick(rate);
        next += kFloodTick;
        std::this_thread::sleep_until(next);
        hold.lock();
    }
}

// One tick's share of the rate to every client that has logged on, as whole reports.
void Simulator::Impl::flood_tick(size_t rate) {
    std::vector<std::shared_ptr<Connection>> targets;
    std::shared_ptr<const DataSet> data;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        data = m_data;
        for (auto it = m_logged_on.begin(); it != m_logged_on.end();) {
            std::shared_ptr<Connection> c = it->lock();
            if (!c || c->is_closed()) {
                it = m_logged_on.erase(it);
                continue;
            }
            targets.push_back(c);
            ++it;
        }
    }
    std::vector<std::string> accounts = data->accounts();
    const std::vector<Bytes>* msgs =
        data->find(REPORT_ACCOUNT_BP_MSG_ID, accounts.empty() ? "" : accounts.front());
    if (msgs == nullptr || msgs->empty()) {
        return;
    }
    const Bytes& report = msgs->front();
    const size_t per_tick = rate * static_cast<size_t>(kFloodTick.count()) / 1000;
    const size_t count = std::max<size_t>(1, per_tick / report.size());
    for (const auto& c : targets) {
        write(*c, count, [&](size_t) { return report; });
    }
}

void Simulator::Impl::note_logon(Connection& c) {
    std::lock_guard<std::mutex> hold(m_lock);
    for (const auto& known : m_conns) {
        if (known.get() == &c) {
            m_logged_on.push_back(known);
        }
    }
    m_changed.notify_all();
}

// While reading is stopped the client's thread waits here; false once the
// connection has ended.
bool Simulator::Impl::wait_while_not_reading(Connection& c) {
    std::unique_lock<std::mutex> hold(m_lock);
    // In slices: a drop by a writer shuts the connection without the lock.
    while (m_opts.stop_reading && !m_stopping && !c.is_closed()) {
        m_changed.wait_for(hold, std::chrono::milliseconds(100));
    }
    return !c.is_closed();
}

void Simulator::Impl::serve(const std::shared_ptr<Connection>& c) {
    Bytes in;
    unsigned char buf[8192];
    for (;;) {
        if (!wait_while_not_reading(*c)) {
            break;
        }
        ssize_t n = ::recv(c->fd(), buf, sizeof(buf), 0);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;
        }
        in.insert(in.end(), buf, buf + n);
        while (take_request(*c, in)) {
        }
        if (c->is_closed()) {
            break;
        }
    }
    c->shut();
    std::lock_guard<std::mutex> hold(m_lock);
    c->m_done = true;
    m_changed.notify_all();
}

// Frames one request at the head of `in`. An id without a record can't be framed:
// everything at hand is logged under it and thrown away, as a client does with an
// unknown answer.
bool Simulator::Impl::take_request(Connection& c, Bytes& in) {
    if (in.size() < 2) {
        return false;
    }
    uint16_t id = static_cast<uint16_t>(in[0] | (in[1] << 8));
    const RecordInfo* info = request_info(id);
    if (info == nullptr) {
        ReceivedRequest r = decode(c.serial(), id, nullptr, std::move(in));
        in.clear();
        std::lock_guard<std::mutex> hold(m_lock);
        m_log.push_back(std::move(r));
        m_changed.notify_all();
        return false;
    }
    if (in.size() < info->size) {
        return false;
    }
    Bytes raw(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(info->size));
    in.erase(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(info->size));
    handle(c, *info, std::move(raw));
    return !c.is_closed();
}

void Simulator::Impl::handle(Connection& c, const RecordInfo& info, Bytes raw) {
    ReceivedRequest r = decode(c.serial(), info.id, &info, std::move(raw));
    Options o;
    std::shared_ptr<const DataSet> data;
    bool drop = false;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        m_log.push_back(r);
        o = m_opts;
        data = m_data;
        drop = m_opts.drop_on_request != 0 && m_opts.drop_on_request == info.id;
        if (drop) {
            m_opts.drop_on_request = 0;
        }
        m_changed.notify_all();
    }
    if (drop) {
        c.shut();
        return;
    }
    if (o.unanswered.count(info.id) != 0) {
        return;
    }
    auto refusal = o.refusals.find(info.id);
    if (refusal != o.refusals.end()) {
        write_one(c, error_answer(o, info.id, refusal->second));
        return;
    }
    answer(c, o, *data, r);
}

void Simulator::Impl::answer(Connection& c, const Options& o, const DataSet& data,
                             const ReceivedRequest& r) {
    if (r.id == QUERY_LOGON_MSG_REQ_MSG_ID) {
        if (o.close_after_logon) {
            // Corked, so that the shutdown sends the answer and the end in one segment.
            int on = 1;
            ::setsockopt(c.fd(), IPPROTO_TCP, TCP_CORK, &on, sizeof(on));
            write_one(c, logon_answer(o, r.raw));
            c.shut();
            return;
        }
        write_one(c, logon_answer(o, r.raw));
        if (o.flood_rate > 0) {
            note_logon(c);
        }
        return;
    }
    if (r.id == CHANGE_PASSWORD_REQ_MSG_ID) {
        write_one(c, change_password_answer(o));
        return;
    }
    if (o.hv27 && !offered_by_hv27(r.id)) {
        write_one(c, error_answer(o, r.id, o.not_offered_error));
        return;
    }
    uint16_t id = answer_id(r, o);
    std::string account = r.text("m_account_id");
    if (is_stream(id)) {
        write_stream(c, o, data, id, account, r);
        return;
    }
    // An account, or a symbol, that the data set doesn't know is refused.
    const std::vector<Bytes> msgs = data.select(id, account, r.raw);
    if (msgs.empty()) {
        write_one(c, error_answer(o, r.id, o.unknown_account_error));
        return;
    }
    write_one(c, msgs.front());
}

void Simulator::Impl::write_stream(Connection& c, const Options& o, const DataSet& data,
                                   uint16_t id, const std::string& account,
                                   const ReceivedRequest& r) {
    if (o.bulk_records > 0) {
        write_bulk(c, data, id, account, o.bulk_records);
        return;
    }
    std::vector<Bytes> msgs = data.select(id, account, r.raw);
    if (msgs.empty()) {
        // An account without data has an empty list.
        write_one(c, build_closing_record(id, data.hv27(), data.user_id(), account, 1, 1));
        return;
    }
    if (r.id == REWIND_ACCOUNT_EXE_REQ_MSG_ID) {
        // The rewind flag: 0 asks for the executions this connection has not been sent
        // yet, anything else for all of the day's from the first; either way the
        // connection has had them all afterwards.
        size_t& had = c.executions_sent(account);
        const size_t data_records = msgs.size() - 1;
        const size_t skip = r.number("m_rewind_flag") == 0 ? std::min(had, data_records) : 0;
        msgs.erase(msgs.begin(), msgs.begin() + static_cast<std::ptrdiff_t>(skip));
        had = data_records;
    }
    write(c, msgs.size(), [&](size_t i) { return msgs[i]; });
}

// A generated stream of n data records and its closing record. The records are built
// once per shape (texts short or full; the symbol list's four kinds) and then only
// stamped with their place, so that the server keeps up with any client. Unless the
// write mode cuts or pauses, whole records go out gathered into writes of up to
// kBulkWrite bytes: a write per record would cost a system call each.
void Simulator::Impl::write_bulk(Connection& c, const DataSet& data, uint16_t id,
                                 const std::string& account, size_t n) {
    const size_t shapes = id == QUERY_SYMBOL_RESP_MSG_ID ? 4 : 2;
    std::vector<Bytes> shape;
    for (size_t j = 0; j < shapes; ++j) {
        RecordSeed seed{static_cast<unsigned>(kBulkSeed + j), j % 2 == 0, j};
        shape.push_back(build_data_record(id, data.hv27(), data.user_id(), account, seed, 0));
    }
    const Bytes closing = build_closing_record(id, data.hv27(), data.user_id(), account, 1,
                                               static_cast<uint32_t>(n + 1));
    WritePolicy p = policy();
    if (p.mode == WriteMode::whole && p.pause.count() == 0) {
        p.mode = WriteMode::coalesce;
        p.gather = kBulkWrite;
    }
    StreamWriter(c, p, *this).write(n + 1, [&](size_t i) {
        if (i == n) {
            return closing;
        }
        Bytes msg = shape[i % shapes];
        const uint32_t sequence = static_cast<uint32_t>(i + 1);
        memcpy(msg.data() + offsetof(msg_header, m_sequence), &sequence, sizeof(sequence));
        return msg;
    });
}

size_t Simulator::Impl::broadcast(const Bytes& msg) {
    std::vector<std::shared_ptr<Connection>> targets;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        for (const auto& c : m_conns) {
            if (!c->is_closed()) {
                targets.push_back(c);
            }
        }
    }
    size_t sent = 0;
    for (const auto& c : targets) {
        sent += write_one(*c, msg) ? 1 : 0;
    }
    return sent;
}

size_t Simulator::Impl::push(uint16_t id, const std::string& account) {
    std::shared_ptr<const DataSet> data;
    {
        std::lock_guard<std::mutex> hold(m_lock);
        data = m_data;
    }
    std::string who = account;
    if (who.empty()) {
        std::vector<std::string> accounts = data->accounts();
        who = accounts.empty() ? "" : accounts.front();
    }
    const std::vector<Bytes>* msgs = data->find(id, who);
    return msgs == nullptr || msgs->empty() ? 0 : broadcast(msgs->front());
}

// ---------------------------------------------------------------------------

Simulator::Simulator(Options options) : m(new Impl(std::move(options))) {}

Simulator::~Simulator() {
    stop();
}

bool Simulator::start(std::string* error) {
    std::string why;
    std::lock_guard<std::mutex> hold(m->m_lock);
    if (m->m_running) {
        return true;
    }
    m->m_listen_fd = open_listener(m->m_opts.port, &m->m_port, &why);
    if (m->m_listen_fd < 0) {
        if (error != nullptr) {
            *error = why;
        }
        return false;
    }
    if (!m->m_data) {
        m->m_data =
            std::make_shared<const DataSet>(DataSet::standard(m->m_opts.hv27, m->m_opts.user_id));
    }
    m->m_running = true;
    m->m_stopping = false;
    m->m_acceptor = std::thread([this] { m->accept_loop(); });
    m->m_pusher = std::thread([this] { m->push_loop(); });
    m->m_flooder = std::thread([this] { m->flood_loop(); });
    return true;
}

void Simulator::stop() {
    {
        std::lock_guard<std::mutex> hold(m->m_lock);
        if (!m->m_running) {
            return;
        }
        m->m_stopping = true;
        if (m->m_listen_fd >= 0) {
            ::shutdown(m->m_listen_fd, SHUT_RDWR);  // wakes accept
        }
        for (const auto& c : m->m_conns) {
            c->shut();
        }
        m->m_changed.notify_all();
    }
    m->m_acceptor.join();
    m->m_pusher.join();
    m->m_flooder.join();
    std::vector<std::shared_ptr<Connection>> conns;
    {
        std::lock_guard<std::mutex> hold(m->m_lock);
        conns.swap(m->m_conns);
        if (m->m_listen_fd >= 0) {
            ::close(m->m_listen_fd);
            m->m_listen_fd = -1;
        }
        m->m_running = false;
        m->m_logged_on.clear();
    }
    for (const auto& c : conns) {
        c->shut();
        c->m_thread.join();
    }
}

uint16_t Simulator::port() const {
    std::lock_guard<std::mutex> hold(m->m_lock);
    return m->m_port;
}

Options Simulator::options() const {
    std::lock_guard<std::mutex> hold(m->m_lock);
    return m->m_opts;
}

void Simulator::configure(const std::function<void(Options&)>& change) {
    std::lock_guard<std::mutex> hold(m->m_lock);
    change(m->m_opts);
    const AcceptMode mode = m->m_opts.accept_mode;
    if ((mode == AcceptMode::refuse || mode == AcceptMode::hold) && m->m_listen_fd >= 0) {
        ::shutdown(m->m_listen_fd, SHUT_RDWR);  // the accept thread closes it
    }
    ++m->m_config_version;
    m->m_changed.notify_all();
}

DataSet Simulator::data() const {
    std::lock_guard<std::mutex> hold(m->m_lock);
    return m->m_data ? *m->m_data : DataSet::standard(m->m_opts.hv27, m->m_opts.user_id);
}

void Simulator::set_data(DataSet data) {
    auto fresh = std::make_shared<const DataSet>(std::move(data));
    std::lock_guard<std::mutex> hold(m->m_lock);
    m->m_data = std::move(fresh);
}

std::vector<ReceivedRequest> Simulator::requests() const {
    std::lock_guard<std::mutex> hold(m->m_lock);
    return m->m_log;
}

bool Simulator::wait_for_requests(size_t n, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> hold(m->m_lock);
    return m->m_changed.wait_for(hold, timeout, [&] { return m->m_log.size() >= n; });
}

void Simulator::clear_requests() {
    std::lock_guard<std::mutex> hold(m->m_lock);
    m->m_log.clear();
}

size_t Simulator::accepted() const {
    std::lock_guard<std::mutex> hold(m->m_lock);
    return m->m_accepted;
}

size_t Simulator::connections() const {
    std::lock_guard<std::mutex> hold(m->m_lock);
    size_t open = 0;
    for (const auto& c : m->m_conns) {
        open += c->m_done ? 0 : 1;
    }
    return open;
}

bool Simulator::wait_for_accepted(size_t n, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> hold(m->m_lock);
    return m->m_changed.wait_for(hold, timeout, [&] { return m->m_accepted >= n; });
}

bool Simulator::wait_for_hold(std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> hold(m->m_lock);
    return m->m_changed.wait_for(hold, timeout, [&] { return m->m_holding; });
}

Stats Simulator::stats() const {
    std::lock_guard<std::mutex> hold(m->m_lock);
    return m->m_stats;
}

size_t Simulator::push_bp_report(const std::string& account) {
    return m->push(REPORT_ACCOUNT_BP_MSG_ID, account);
}

size_t Simulator::push_cash_notice(const std::string& account) {
    return m->push(ACCOUNT_CASH_INOUT_NOTIFY, account);
}

size_t Simulator::send_raw(const Bytes& bytes) {
    return m->broadcast(bytes);
}

void Simulator::drop_connections() {
    std::lock_guard<std::mutex> hold(m->m_lock);
    for (const auto& c : m->m_conns) {
        c->shut();
    }
    m->m_changed.notify_all();
}

}  // namespace zulsim
