#include "zulq_session.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace zulq {

namespace {

Session* session_of(void* handle) {
    return static_cast<Session*>(KQZUL_GetQueryUserParam(handle));
}

// ---- Callbacks: library threads, one at a time per kind of thread ----

template <class R>
void list_cb(void* h, R* record, bool finish, ZUL_QueryErrorId error) {
    session_of(h)->deliver(record_desc<R>(), record,
                           finish ? Session::Part::closing : Session::Part::data, error);
}

template <class R>
void account_list_cb(void* h, const char*, R* record, bool finish, ZUL_QueryErrorId error) {
    list_cb(h, record, finish, error);
}

template <class R>
void single_cb(void* h, R* record, ZUL_QueryErrorId error) {
    session_of(h)->deliver(record_desc<R>(), record, Session::Part::whole, error);
}

template <class R>
void account_single_cb(void* h, const char*, R* record, ZUL_QueryErrorId error) {
    single_cb(h, record, error);
}

static_assert(offsetof(ZUL_QueryOrderExecutionEx, m_Symbol) == sizeof(ZUL_QueryOrderExecution),
              "the short execution record is the head of the extended one");

// With --extended a short execution is shown in the extended form, its symbol and side
// empty, so that the columns do not depend on the server's choice.
void plain_execution_cb(void* h, const char* account, ZUL_QueryOrderExecution* record, bool finish,
                        ZUL_QueryErrorId error) {
    if (!session_of(h)->extended()) {
        account_list_cb(h, account, record, finish, error);
        return;
    }
    ZUL_QueryOrderExecutionEx ex;
    memset(&ex, 0, sizeof(ex));
    memcpy(&ex, record, sizeof(*record));
    account_list_cb(h, account, &ex, finish, error);
}

// Pushed notices and the answer to the cash query share this callback: while watching
// everything is a notice, otherwise everything is the answer.
void cash_cb(void* h, const char* account, ZUL_AccountCashInout* record, ZUL_QueryErrorId error) {
    Session* s = session_of(h);
    if (s->watching())
        s->event("cash", record_desc<ZUL_AccountCashInout>(), record);
    else
        account_single_cb(h, account, record, error);
}

void bp_report_cb(void* h, const char*, ZUL_AccountBP* record) {
    session_of(h)->event("bp-report", record_desc<ZUL_AccountBP>(), record);
}

void connection_cb(void* h, ERR_NO code, const char*) {
    // The local close is our own doing at the end of a run.
    if (code == ZUL_CONN_REMOTE_DISCONNECTED || code == ZUL_CONN_NETWORK_ERROR)
        session_of(h)->on_lost();
}

void logon_cb(void* h, ZUL_QueryLogonResponse* r) {
    session_of(h)->on_logon(*r);
}

void password_cb(void* h, ZUL_ChangePasswordResult result) {
    session_of(h)->on_password(result);
}

void register_callbacks(void* h) {
    KQZUL_SetQueryConnectionEvent(h, connection_cb);
    KQZUL_SetQueryUserLogonEvent(h, logon_cb);
    KQZUL_SetQueryChangePasswordEvent(h, password_cb);
    KQZUL_SetQueryUserAccountEvent(h, list_cb<ZUL_AccountInfo>);
    KQZUL_SetQueryAccountPositionEvent(h, account_list_cb<ZUL_AccountPosition>);
    KQZUL_SetQueryAccountOptionPositionEvent(h, account_list_cb<ZUL_AccountOptionPosition>);
    KQZUL_SetQueryAccountBPEvent(h, account_single_cb<ZUL_AccountBP>);
    KQZUL_SetQueryAccountBPDetailEvent(h, account_single_cb<ZUL_AccountBPDetail>);
    KQZUL_ReportAccountBPEvent(h, bp_report_cb);
    KQZUL_NotifyAccountCashInOutEvent(h, cash_cb);
    KQZUL_SetQuerySymbolListEvent(h, list_cb<ZUL_SymbolField>);
    KQZUL_SetQueryAccountTradeMarginEvent(h, account_list_cb<ZUL_AccountMargin>);
    KQZUL_SetQueryAccountTradeFeeEvent(h, account_list_cb<ZUL_AccountFee>);
    KQZUL_SetQueryTradeOrderEvent(h, account_list_cb<ZUL_QueryAccountOrder>);
    KQZUL_SetQueryTradeArbiOrderEvent(h, account_list_cb<ZUL_QueryAccountArbiOrder>);
    KQZUL_SetQueryTradeOrderExecEvent(h, plain_execution_cb);
    KQZUL_SetQueryTradeOrderExecEventEx(h, account_list_cb<ZUL_QueryOrderExecutionEx>);
    KQZUL_SetQueryTradeQuoteEvent(h, account_list_cb<ZUL_QueryAccountQuote>);
    KQZUL_SetQueryComboPositionEvent(h, account_list_cb<ZUL_AccountComboPosition>);
    KQZUL_SetQueryComboRuleEvent(h, list_cb<ZUL_AccountComboRule>);
    KQZUL_SetQueryAccountRiskDataEvent(h, single_cb<ZUL_AccountRiskData>);
    KQZUL_SetQueryAccountSymbolRiskDataEvent(h, single_cb<ZUL_AccountSymbolRiskData>);
}

// ---- Log folder ----

std::string default_log_dir() {
    const char* tmp = getenv("TMPDIR");
    return std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/zulq-" +
           std::to_string(getuid());
}

// The folder, made (0700) if missing. The default one must be ours: it lies in a
// folder that every user can write to.
bool prepare_log_dir(const std::string& dir, bool must_own) {
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST)
        return false;
    struct stat st;
    return stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode) &&
           (!must_own || st.st_uid == getuid());
}

// The library opens its logs in the working folder as the client is made; its own
// folder setting would leave those files behind and takes only a narrow set of path
// characters. So the client is made from inside the log folder, and the working
// folder comes back at once (nothing else runs yet).
void* create_client(const Settings& s, void* user_param) {
    const bool given = !s.log_dir.empty();
    const std::string dir = given ? s.log_dir : default_log_dir();
    const int here = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool moved = here >= 0 && prepare_log_dir(dir, !given) && chdir(dir.c_str()) == 0;
    if (!moved)
        fprintf(stderr, "zulq: cannot use the log folder %s; logs go to the current folder\n",
                dir.c_str());
    void* handle = KQZUL_CreateQuery(user_param);
    if (moved && fchdir(here) != 0)
        fprintf(stderr, "zulq: cannot return to the working folder: %s\n", strerror(errno));
    if (here >= 0)
        close(here);
    return handle;
}

// Dotted IPv4 text of a host name or address; false if it has none.
bool resolve(const std::string& host, char (&ip)[16]) {
    addrinfo hints;
    memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || found == nullptr)
        return false;
    const sockaddr_in* a = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
    const bool ok = inet_ntop(AF_INET, &a->sin_addr, ip, sizeof(ip)) != nullptr;
    freeaddrinfo(found);
    return ok;
}

// SIGINT or SIGTERM if one is pending, else 0. Both are blocked in every thread, so
// they wait here until taken.
int take_stop_signal() {
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    const timespec now = {0, 0};
    const int sig = sigtimedwait(&stops, nullptr, &now);
    return sig > 0 ? sig : 0;
}

}  // namespace

Session::Session(const Settings& settings) : m_settings(settings) {
    m_handle = create_client(settings, this);
    // The transport's event loop notices the close at the end of a run within one
    // wait: a short one lets zulq exit at once.
    KQZUL_SetQueryMaxWaitTime(m_handle, 20);
    KQZUL_SetQueryLoggerSwitch(m_handle, settings.trace);
    register_callbacks(m_handle);
}

Session::~Session() {
    KQZUL_DisConnQueryServer(m_handle);
    KQZUL_DestroyQuery(m_handle);
}

void Session::watch_into(Printer* printer, unsigned long limit) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_printer = printer;
    m_event_limit = limit;
    m_watching = printer != nullptr;
}

// Polls: the condition wakes it for callbacks, the 50 ms step for signals.
template <class Pred>
Session::Outcome Session::wait(Pred ready, double timeout_s) {
    using clock = std::chrono::steady_clock;
    const auto start = clock::now();
    const auto limit = std::chrono::duration_cast<clock::duration>(
        std::chrono::duration<double>(timeout_s > 0 ? timeout_s : 0));
    bool lost_seen = false;
    clock::time_point lost_at;
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait_for(lock, std::chrono::milliseconds(50),
                               [&] { return ready() || (m_lost && !lost_seen); });
            if (ready())
                return Outcome::ready;
            if (m_lost && !lost_seen) {
                lost_seen = true;
                lost_at = clock::now();
            }
        }
        m_signal = take_stop_signal();
        if (m_signal != 0)
            return Outcome::interrupted;
        const auto now = clock::now();
        // Records read before the close can still be on their way through the
        // receive thread: they get a moment to arrive.
        if (lost_seen && now - lost_at > std::chrono::milliseconds(500))
            return Outcome::lost;
        if (timeout_s > 0 && now - start > limit)
            return Outcome::timeout;
    }
}

int Session::failure(Outcome o, const std::string& what) {
    switch (o) {
        case Outcome::lost:
            fprintf(stderr, "zulq: connection lost while waiting for the %s\n", what.c_str());
            return EXIT_CONNECTION;
        case Outcome::timeout:
            fprintf(stderr, "zulq: no %s within %g s\n", what.c_str(), m_settings.timeout_s);
            return EXIT_TIMEOUT;
        case Outcome::interrupted:
            return 128 + m_signal;
        case Outcome::ready:
            break;
    }
    return EXIT_OK;
}

int Session::open() {
    char ip[16] = {0};
    if (!resolve(m_settings.host, ip)) {
        fprintf(stderr, "zulq: cannot resolve host '%s'\n", m_settings.host.c_str());
        return EXIT_CONNECTION;
    }
    ZUL_QuerySvrInfo server;
    memcpy(server.m_RemoteQueryIp, ip, sizeof(server.m_RemoteQueryIp));
    server.m_RemoteQueryTCPPort = m_settings.port;
    if (KQZUL_ConnQueryServer(m_handle, server) != ZUL_RESULT_OK) {
        fprintf(stderr, "zulq: cannot connect to %s:%u\n", m_settings.host.c_str(),
                m_settings.port);
        return EXIT_CONNECTION;
    }
    const RESULT sent =
        KQZUL_QueryUserLogon(m_handle, m_settings.user.c_str(), m_settings.password.c_str());
    if (sent != ZUL_RESULT_OK) {
        fprintf(stderr, "zulq: the logon could not be sent (result %d)\n", sent);
        return EXIT_CONNECTION;
    }
    const Outcome o = wait([&] { return m_logon_done; }, m_settings.timeout_s);
    if (o != Outcome::ready)
        return failure(o, "logon answer");
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_logon.m_Result != ZUL_LOGON_ACCEPTED) {
        fprintf(stderr, "zulq: logon refused by the server (result %d)\n", m_logon.m_Result);
        return EXIT_LOGON;
    }
    return EXIT_OK;
}

int Session::request_result(const Command& c, int result) {
    switch (result) {
        case ZUL_RESULT_OK:
            return EXIT_OK;
        case ZUL_RESULT_NOT_SUPPORTED:
            fprintf(stderr,
                    "zulq: %s: servers of the hv27 generation do not offer this query%s%s\n",
                    c.name, c.hv27_hint != nullptr && *c.hv27_hint != '\0' ? "; " : "",
                    c.hv27_hint != nullptr ? c.hv27_hint : "");
            return EXIT_NOT_SUPPORTED;
        case ZUL_RESULT_BAD_PASSWORD:
            fprintf(stderr,
                    "zulq: the new password must have 8 to 32 letters, digits or '_', with at "
                    "least one letter and one digit\n");
            return EXIT_USAGE;
        case ZUL_RESULT_NOT_CONNECTED:
        case ZUL_RESULT_SEND_FAILED:
            fprintf(stderr, "zulq: %s: connection lost, the request was not sent\n", c.name);
            return EXIT_CONNECTION;
        default:
            fprintf(stderr, "zulq: %s: the library turned the request down (result %d)\n", c.name,
                    result);
            return EXIT_LIBRARY;
    }
}

int Session::query(const Command& c, const CommandArgs& args, Answer* answer) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_active = &c;
        m_done = false;
        m_error = 0;
        m_answer = Answer();
    }
    m_extended = args.extended;
    int rc = request_result(c, c.send(m_handle, args));
    const Outcome o =
        rc != EXIT_OK ? Outcome::ready : wait([&] { return m_done; }, m_settings.timeout_s);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_active = nullptr;
    if (rc != EXIT_OK)
        return rc;
    if (o != Outcome::ready)
        return failure(o, std::string("answer to ") + c.name);
    if (m_error != 0) {
        fprintf(stderr, "zulq: the server refused %s: error id %u\n", c.name, m_error);
        return EXIT_REFUSED;
    }
    *answer = std::move(m_answer);
    return EXIT_OK;
}

int Session::watch() {
    const Outcome o = wait([&] { return m_event_limit != 0 && m_events >= m_event_limit; }, 0);
    return o == Outcome::lost ? failure(o, "next event") : EXIT_OK;
}

void Session::on_lost() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lost = true;
    m_changed.notify_all();
}

void Session::on_logon(const ZUL_QueryLogonResponse& r) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_logon = r;
    m_logon_done = true;
    m_changed.notify_all();
}

void Session::on_password(int result) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_active == nullptr || m_active->answer != AnswerKind::password || m_done)
        return;
    m_answer.password_result = result;
    m_done = true;
    m_changed.notify_all();
}

void Session::deliver(const RecordDesc& desc, const void* record, Part part,
                      ZUL_QueryErrorId error) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_active == nullptr || m_done ||
        std::find(m_active->answers.begin(), m_active->answers.end(), &desc) ==
            m_active->answers.end())
        return;
    if (error != 0) {
        m_error = error;
        m_done = true;
    } else if (part == Part::closing) {
        m_answer.closing = &desc;
        m_done = true;
    } else if (record != nullptr) {
        m_answer.records.push_back(
            Delivery{&desc, std::string(static_cast<const char*>(record), desc.size)});
        m_done = part == Part::whole;
    }
    m_changed.notify_all();
}

void Session::event(const char* name, const RecordDesc& desc, const void* record) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_printer == nullptr || record == nullptr ||
        (m_event_limit != 0 && m_events >= m_event_limit))
        return;
    std::vector<Column> columns = {Column{"Event", false, 9}};
    const std::vector<Column> fields = columns_of(desc);
    columns.insert(columns.end(), fields.begin(), fields.end());
    Row row = {name};
    const Row values = row_of(desc, record);
    row.insert(row.end(), values.begin(), values.end());
    m_printer->print_one(columns, row);
    ++m_events;
    m_changed.notify_all();
}

}  // namespace zulq
