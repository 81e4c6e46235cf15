#include "bench_support.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "kq_zul_query_event.h"
#include "protocol/msg_define.h"
#include "zul_sim.h"

// ---------------------------------------------------------------------------
// The counting allocator: this program's malloc and its kin count every call and hand
// it to the C library's allocator. Every allocation of the process, operator new's
// included, comes through here, whichever library makes it.

namespace {
std::atomic<uint64_t> g_allocations{0};
inline void count_allocation() {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
}
}  // namespace

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* p, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void* __libc_valloc(size_t size);
void* __libc_pvalloc(size_t size);
void __libc_free(void* p);

void* malloc(size_t size) {
    count_allocation();
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    count_allocation();
    return __libc_calloc(count, size);
}
void* realloc(void* p, size_t size) {
    count_allocation();
    return __libc_realloc(p, size);
}
void* memalign(size_t alignment, size_t size) {
    count_allocation();
    return __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    count_allocation();
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** out, size_t alignment, size_t size) {
    count_allocation();
    void* p = __libc_memalign(alignment, size);
    if (p == nullptr)
        return ENOMEM;
    *out = p;
    return 0;
}
void* valloc(size_t size) {
    count_allocation();
    return __libc_valloc(size);
}
void* pvalloc(size_t size) {
    count_allocation();
    return __libc_pvalloc(size);
}
void free(void* p) {
    __libc_free(p);
}
}

namespace zul_bench {

uint64_t allocations() {
    return g_allocations.load(std::memory_order_relaxed);
}

namespace {
int64_t clock_ns(clockid_t clock) {
    timespec t;
    clock_gettime(clock, &t);
    return static_cast<int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec;
}
}  // namespace

int64_t wall_ns() {
    return clock_ns(CLOCK_MONOTONIC);
}
int64_t process_cpu_ns() {
    return clock_ns(CLOCK_PROCESS_CPUTIME_ID);
}
int64_t thread_cpu_ns() {
    return clock_ns(CLOCK_THREAD_CPUTIME_ID);
}

int rounds(int otherwise) {
    const char* text = getenv("BENCH_ROUNDS");
    const int n = text != nullptr ? atoi(text) : 0;
    return n > 0 ? n : otherwise;
}

double median(std::vector<double> v) {
    return quantile(std::move(v), 0.5);
}

double quantile(std::vector<double> v, double q) {
    if (v.empty())
        return NAN;
    std::sort(v.begin(), v.end());
    size_t rank = static_cast<size_t>(std::ceil(q * static_cast<double>(v.size())));
    rank = std::min(std::max<size_t>(rank, 1), v.size());
    return v[rank - 1];
}

// ---------------------------------------------------------------------------
// Tasks.

namespace {
uint64_t field_after(const std::string& text, const char* name) {
    const size_t at = text.find(name);
    return at == std::string::npos ? 0 : std::stoull(text.substr(at + strlen(name)));
}
std::string read_text(const std::string& path) {
    std::ifstream in(path);
    std::stringstream out;
    out << in.rdbuf();
    return out.str();
}
}  // namespace

std::map<pid_t, task_counts> tasks() {
    std::map<pid_t, task_counts> out;
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr)
        return out;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.')
            continue;
        const std::string base = std::string("/proc/self/task/") + entry->d_name;
        const std::string status = read_text(base + "/status");
        const std::string schedstat = read_text(base + "/schedstat");
        if (status.empty())
            continue;  // gone meanwhile
        task_counts c;
        c.switches = field_after(status, "\nvoluntary_ctxt_switches:") +
                     field_after(status, "\nnonvoluntary_ctxt_switches:");
        c.cpu_ns = schedstat.empty() ? 0 : std::stoull(schedstat);
        out[static_cast<pid_t>(atoi(entry->d_name))] = c;
    }
    closedir(dir);
    return out;
}

pid_t this_task() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

task_counts growth(const std::map<pid_t, task_counts>& before,
                   const std::map<pid_t, task_counts>& after, const std::set<pid_t>& excluded) {
    task_counts sum;
    for (const auto& t : after) {
        if (excluded.count(t.first) != 0)
            continue;
        task_counts start;
        const auto it = before.find(t.first);
        if (it != before.end())
            start = it->second;
        sum.switches += t.second.switches - start.switches;
        sum.cpu_ns += t.second.cpu_ns - start.cpu_ns;
    }
    return sum;
}

// ---------------------------------------------------------------------------
// completion

void completion::raise() {
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        ++m_count;
    }
    m_cv.notify_one();
}

bool completion::wait_for(long n, int seconds) {
    std::unique_lock<std::mutex> hold(m_mutex);
    return m_cv.wait_for(hold, std::chrono::seconds(seconds), [&] { return m_count >= n; });
}

long completion::count() {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_count;
}

// ---------------------------------------------------------------------------
// Plain sockets.

namespace {
sockaddr_in loopback(uint16_t port) {
    sockaddr_in addr;
    memset(&addr, 0, sizeof(addr));
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    return addr;
}
void set_nodelay(int fd) {
    int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}
}  // namespace

int connect_plain(uint16_t port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr = loopback(port);
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        close(fd);
        return -1;
    }
    set_nodelay(fd);
    return fd;
}

bool write_all(int fd, const void* data, size_t len) {
    const char* p = static_cast<const char*>(data);
    while (len > 0) {
        const ssize_t n = send(fd, p, len, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

bool read_exactly(int fd, size_t len, size_t chunk) {
    char buf[65536];
    chunk = std::min(chunk, sizeof(buf));
    while (len > 0) {
        const ssize_t n = recv(fd, buf, std::min(len, chunk), 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        len -= static_cast<size_t>(n);
    }
    return true;
}

namespace {
bool recv_exactly(int fd, char* into, size_t len) {
    while (len > 0) {
        const ssize_t n = recv(fd, into, len, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        into += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}
}  // namespace

// ---------------------------------------------------------------------------
// tiny_server

tiny_server::tiny_server() : m_cpu(new std::atomic<int64_t>[MAX_CONNECTIONS]) {
    for (size_t i = 0; i < MAX_CONNECTIONS; ++i)
        m_cpu[i] = 0;
}

tiny_server::~tiny_server() {
    m_quit = true;
    if (m_listener != -1)
        shutdown(m_listener, SHUT_RDWR);
    if (m_acceptor.joinable())
        m_acceptor.join();
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        for (int fd : m_fds)
            shutdown(fd, SHUT_RDWR);
    }
    for (std::thread& t : m_workers)
        t.join();
    for (int fd : m_fds)
        close(fd);
    if (m_listener != -1)
        close(m_listener);
}

void tiny_server::answer(uint16_t request_id, const std::string& account, std::vector<char> bytes) {
    m_answers[{request_id, account}] = std::move(bytes);
}

bool tiny_server::start() {
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int on = 1;
    setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    sockaddr_in addr = loopback(0);
    socklen_t len = sizeof(addr);
    if (bind(m_listener, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0 ||
        listen(m_listener, 128) != 0 ||
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&addr), &len) != 0)
        return false;
    m_port = ntohs(addr.sin_port);
    m_acceptor = std::thread([this] { accept_loop(); });
    return true;
}

int64_t tiny_server::cpu_ns() {
    int64_t sum = 0;
    for (size_t i = 0; i < MAX_CONNECTIONS; ++i)
        sum += m_cpu[i].load();
    return sum;
}

std::set<pid_t> tiny_server::own_tasks() {
    std::lock_guard<std::mutex> hold(m_mutex);
    return m_tasks;
}

void tiny_server::accept_loop() {
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_tasks.insert(this_task());
    }
    while (!m_quit) {
        const int fd = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd == -1) {
            if (errno == EINTR)
                continue;
            return;
        }
        set_nodelay(fd);
        std::lock_guard<std::mutex> hold(m_mutex);
        if (m_workers.size() == MAX_CONNECTIONS) {
            close(fd);
            continue;
        }
        const size_t slot = m_workers.size();
        m_fds.push_back(fd);
        m_workers.emplace_back([this, fd, slot] { serve(fd, slot); });
    }
}

const std::vector<char>* tiny_server::find(uint16_t id, const std::string& account) const {
    auto it = m_answers.find({id, account});
    if (it == m_answers.end())
        it = m_answers.find({id, ""});
    return it == m_answers.end() ? nullptr : &it->second;
}

void tiny_server::serve(int fd, size_t slot) {
    {
        std::lock_guard<std::mutex> hold(m_mutex);
        m_tasks.insert(this_task());
    }
    const size_t header = 8;
    const size_t account_at = 12;
    char request[256];
    for (;;) {
        if (!recv_exactly(fd, request, header))
            return;
        uint16_t id;
        uint16_t len;
        memcpy(&id, request, sizeof(id));
        memcpy(&len, request + 2, sizeof(len));
        if (len < header || len > sizeof(request) ||
            !recv_exactly(fd, request + header, len - header))
            return;
        std::string account;
        if (len >= account_at + sizeof(AccountID))
            account.assign(request + account_at, strnlen(request + account_at, sizeof(AccountID)));
        const std::vector<char>* answer = find(id, account);
        if (answer != nullptr && !write_all(fd, answer->data(), answer->size()))
            return;
        m_cpu[slot] = thread_cpu_ns();
    }
}

// ---------------------------------------------------------------------------
// Answers and requests.

namespace {
template <class R>
std::vector<char> bytes_of(const R& r) {
    const char* p = reinterpret_cast<const char*>(&r);
    return std::vector<char>(p, p + sizeof(r));
}
void append(std::vector<char>& to, const zulsim::Bytes& more) {
    to.insert(to.end(), more.begin(), more.end());
}
}  // namespace

std::vector<char> position_stream(size_t records) {
    const zulsim::DataSet data = zulsim::DataSet::standard(false);
    const std::vector<zulsim::Bytes>& base =
        *data.find(QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID, BENCH_ACCOUNT);
    std::vector<char> stream;
    stream.reserve((records + 1) * POSITION_SIZE);
    for (size_t i = 0; i < records; ++i)
        append(stream, base[i % (base.size() - 1)]);
    append(stream, base.back());
    return stream;
}

void prepare_answers(tiny_server& server, size_t stream_records, size_t short_records) {
    query_logon_msg_resp logon;
    logon.m_user_id = 70123;
    server.answer(QUERY_LOGON_MSG_REQ_MSG_ID, "", bytes_of(logon));
    const zulsim::DataSet data = zulsim::DataSet::standard(false);
    std::vector<char> detail;
    append(detail, (*data.find(QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID, BENCH_ACCOUNT))[0]);
    server.answer(QUERY_ACCOUNT_BP_DETAIL_REQ_MSG_ID, "", detail);
    if (stream_records > 0)
        server.answer(QUERY_ACCOUNT_POSITION_REQ_MSG_ID, STREAM_ACCOUNT,
                      position_stream(stream_records));
    if (short_records > 0)
        server.answer(QUERY_ACCOUNT_POSITION_REQ_MSG_ID, SHORT_ACCOUNT,
                      position_stream(short_records));
}

std::vector<char> logon_request() {
    return bytes_of(query_logon_msg_req());
}

int plain_logged_on(uint16_t port) {
    const int fd = connect_plain(port);
    const std::vector<char> logon = logon_request();
    if (fd == -1 || !write_all(fd, logon.data(), logon.size()) ||
        !read_exactly(fd, LOGON_ANSWER_SIZE)) {
        if (fd != -1)
            close(fd);
        return -1;
    }
    return fd;
}

std::vector<char> position_request(const char* account) {
    query_account_position_req r;
    strncpy(r.m_account_id, account, sizeof(r.m_account_id) - 1);
    r.m_sec_type = SEC_TYPE_FUTURE;
    return bytes_of(r);
}

std::vector<char> bp_detail_request() {
    query_account_bp_detail_req r;
    strncpy(r.m_account_id, BENCH_ACCOUNT, sizeof(r.m_account_id) - 1);
    return bytes_of(r);
}

// ---------------------------------------------------------------------------
// bench_client

bench_client::~bench_client() {
    if (m_handle != nullptr)
        KQZUL_DestroyQuery(m_handle);
}

bool bench_client::open(uint16_t port, std::string* why, bool auto_reconnect) {
    m_handle = KQZUL_CreateQuery(this);
    KQZUL_SetQueryUserLogonEvent(m_handle, on_logon);
    KQZUL_SetQueryAccountPositionEvent(m_handle, on_position);
    KQZUL_SetQueryAccountBPDetailEvent(m_handle, on_bp_detail);
    KQZUL_SetQueryAutoReconnect(m_handle, auto_reconnect);
    ZUL_QuerySvrInfo server;
    strncpy(server.m_RemoteQueryIp, "127.0.0.1", sizeof(server.m_RemoteQueryIp) - 1);
    server.m_RemoteQueryTCPPort = port;
    *why = "connect failed";
    if (KQZUL_ConnQueryServer(m_handle, server) != ZUL_RESULT_OK)
        return false;
    *why = "logon failed";
    return KQZUL_QueryUserLogon(m_handle, "bench01", "bench-pass1") == ZUL_RESULT_OK &&
           m_logon.wait_for(1);
}

bool bench_client::stream(const char* account, size_t records, int stall_first_ms) {
    m_first = true;
    m_stall_first_ms = stall_first_ms;
    m_records = 0;
    if (KQZUL_QueryAccountPosition(m_handle, account, SEC_TYPE_FUTURE) != ZUL_RESULT_OK)
        return false;
    return m_streams.wait_for(++m_streams_done) && m_records.load() == records;
}

bool bench_client::round_trip() {
    return KQZUL_QueryAccountBPDetail(m_handle, BENCH_ACCOUNT) == ZUL_RESULT_OK &&
           m_answers.wait_for(++m_answers_done);
}

bench_client& bench_client::of(void* handle) {
    return *static_cast<bench_client*>(KQZUL_GetQueryUserParam(handle));
}

void bench_client::on_logon(void* handle, ZUL_QueryLogonResponse*) {
    of(handle).m_logon.raise();
}

void bench_client::on_position(void* handle, const char*, ZUL_AccountPosition*, bool finish,
                               ZUL_QueryErrorId) {
    bench_client& c = of(handle);
    if (finish) {
        c.m_streams.raise();
        return;
    }
    if (c.m_first.load(std::memory_order_relaxed)) {
        c.m_first_record_ns = wall_ns();
        c.m_first.store(false, std::memory_order_relaxed);
        const int stall_ms = c.m_stall_first_ms.exchange(0);
        if (stall_ms > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(stall_ms));
    }
    c.m_records.fetch_add(1, std::memory_order_relaxed);
}

void bench_client::on_bp_detail(void* handle, const char*, ZUL_AccountBPDetail*, ZUL_QueryErrorId) {
    of(handle).m_answers.raise();
}

// ---------------------------------------------------------------------------
// scratch_folder

scratch_folder::scratch_folder() {
    char tmpl[] = "/tmp/zulq_bench_XXXXXX";
    if (mkdtemp(tmpl) == nullptr)
        return;
    m_path = tmpl;
    std::error_code ec;
    m_old = std::filesystem::current_path(ec).string();
    std::filesystem::current_path(m_path, ec);
}

scratch_folder::~scratch_folder() {
    if (m_path.empty())
        return;
    std::error_code ec;
    std::filesystem::current_path(m_old, ec);
    std::filesystem::remove_all(m_path, ec);
}

}  // namespace zul_bench
