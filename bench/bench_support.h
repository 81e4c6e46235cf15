#ifndef ZUL_BENCH_SUPPORT_H
#define ZUL_BENCH_SUPPORT_H

// What every benchmark program shares: a count of heap allocations (the program's own
// malloc, which every allocation of the process goes through), clocks, the threads of
// the process as the kernel counts them, a tiny query-port server that answers from
// prepared buffers, plain sockets, a client of the plain face logged on to it, and the
// statistics of the table.
//
// Every measurement runs ours and its baseline in turns (ours, baseline, ours, ...), so
// that a drift of the machine hits both, and reports both as counters of one benchmark.

#include <benchmark/benchmark.h>
#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ZulQueryDefine.h"

namespace zul_bench {

// ---------------------------------------------------------------------------
// Allocations and clocks.

// Heap allocations of the whole process so far (malloc, calloc, realloc, the aligned
// ones, and so operator new).
uint64_t allocations();

int64_t wall_ns();
int64_t process_cpu_ns();
int64_t thread_cpu_ns();

// Rounds of each measurement, from BENCH_ROUNDS, or `otherwise`.
int rounds(int otherwise);

// ---------------------------------------------------------------------------
// Statistics.

double median(std::vector<double> v);
// The q-quantile (0..1) by the nearest rank.
double quantile(std::vector<double> v, double q);

// ---------------------------------------------------------------------------
// The threads of this process as the kernel counts them.

struct task_counts {
    uint64_t switches = 0;  // voluntary and involuntary context switches: wake-ups
    uint64_t cpu_ns = 0;    // time on a processor
};
std::map<pid_t, task_counts> tasks();
pid_t this_task();

// Sums of the tasks in `after` that are not in `excluded`, less what the same tasks
// had in `before`.
task_counts growth(const std::map<pid_t, task_counts>& before,
                   const std::map<pid_t, task_counts>& after, const std::set<pid_t>& excluded);

// ---------------------------------------------------------------------------
// A count that one thread raises and another waits for, without spinning: on two cores
// a spinning waiter takes a core from the threads being measured.
class completion {
public:
    void raise();
    // False if the count did not reach n within the deadline.
    bool wait_for(long n, int seconds = 60);
    long count();

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    long m_count = 0;
};

// ---------------------------------------------------------------------------
// Plain sockets on loopback.

int connect_plain(uint16_t port);
bool write_all(int fd, const void* data, size_t len);
// Reads exactly len bytes in reads of at most `chunk`, into a buffer of that size.
bool read_exactly(int fd, size_t len, size_t chunk = 8192);

// ---------------------------------------------------------------------------
// A tiny query-port server on 127.0.0.1: one thread accepts, one thread per connection
// reads whole requests (framed by the length field of their header) and writes the
// prepared answer of the request's id and account in as few writes as the kernel
// allows. Unknown requests get nothing. It allocates nothing while it serves.
class tiny_server {
public:
    tiny_server();
    ~tiny_server();
    tiny_server(const tiny_server&) = delete;
    tiny_server& operator=(const tiny_server&) = delete;

    // The answer to request `request_id` for `account` ("" for any account). Set them
    // all before start().
    void answer(uint16_t request_id, const std::string& account, std::vector<char> bytes);
    bool start();
    uint16_t port() const { return m_port; }
    // Processor time of the serving threads so far, and their tasks.
    int64_t cpu_ns();
    std::set<pid_t> own_tasks();

private:
    void accept_loop();
    void serve(int fd, size_t slot);
    const std::vector<char>* find(uint16_t id, const std::string& account) const;

    int m_listener = -1;
    uint16_t m_port = 0;
    std::map<std::pair<uint16_t, std::string>, std::vector<char>> m_answers;
    std::thread m_acceptor;
    std::mutex m_mutex;
    std::vector<std::thread> m_workers;
    std::vector<int> m_fds;
    std::set<pid_t> m_tasks;
    // Processor time of each serving thread, as it last read it.
    std::unique_ptr<std::atomic<int64_t>[]> m_cpu;
    static const size_t MAX_CONNECTIONS = 256;
    std::atomic<bool> m_quit{false};
};

// The answers of the benchmarks: logon, BP detail, and position streams by account.
const char* const STREAM_ACCOUNT = "BIG";   // the long stream
const char* const SHORT_ACCOUNT = "SHORT";  // the stream timed to its first record
const char* const BENCH_ACCOUNT = "ZQ7";
const size_t POSITION_SIZE = 152;

// A position stream of `records` data records and its closing record.
std::vector<char> position_stream(size_t records);
// Readies the server with every answer the benchmarks ask for.
void prepare_answers(tiny_server& server, size_t stream_records, size_t short_records);

// Plain requests, as the library sends them.
std::vector<char> logon_request();
std::vector<char> position_request(const char* account);
std::vector<char> bp_detail_request();
const size_t LOGON_ANSWER_SIZE = 56;
const size_t BP_DETAIL_ANSWER_SIZE = 200;
// A plain socket connected and logged on to the server at port; -1 on a failure.
int plain_logged_on(uint16_t port);

// ---------------------------------------------------------------------------
// A client of the plain face, connected and logged on to the tiny server.
class bench_client {
public:
    bench_client() = default;
    ~bench_client();
    bench_client(const bench_client&) = delete;
    bench_client& operator=(const bench_client&) = delete;

    // False with the reason in *why.
    bool open(uint16_t port, std::string* why, bool auto_reconnect = false);
    void* handle() { return m_handle; }

    // Asks for a stream and waits for its closing record; false on a timeout or a
    // stream that lost records. With stall_first_ms the first record's callback takes
    // that long, so that what the server sends meanwhile piles up in the transport.
    bool stream(const char* account, size_t records, int stall_first_ms = 0);
    // The steady time at which the last stream's first record reached its callback.
    int64_t first_record_ns() const { return m_first_record_ns.load(); }
    // One BP detail query, waited for.
    bool round_trip();

    std::atomic<size_t> m_records{0};

private:
    static bench_client& of(void* handle);
    static void on_logon(void* handle, ZUL_QueryLogonResponse* r);
    static void on_position(void* handle, const char*, ZUL_AccountPosition*, bool finish,
                            ZUL_QueryErrorId);
    static void on_bp_detail(void* handle, const char*, ZUL_AccountBPDetail*, ZUL_QueryErrorId);

    void* m_handle = nullptr;
    completion m_logon;
    completion m_streams;
    completion m_answers;
    std::atomic<bool> m_first{true};
    std::atomic<int> m_stall_first_ms{0};
    std::atomic<int64_t> m_first_record_ns{0};
    long m_streams_done = 0;
    long m_answers_done = 0;
};

// ---------------------------------------------------------------------------
// The working folder for the life of the program, so that the client logs land there,
// removed at exit.
class scratch_folder {
public:
    scratch_folder();
    ~scratch_folder();
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
    std::string m_old;
};

}  // namespace zul_bench

#endif
