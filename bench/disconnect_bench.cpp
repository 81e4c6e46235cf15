// How long KQZUL_DisConnQueryServer takes to return, for a logged-on client on a quiet
// line and for one with a backlog: a long position stream whose callback takes a few
// microseconds a record, so that the socket and the transport's queue are full when
// the close comes. A close must not wait for the backlog to be delivered.
//
// The baseline is the least a design with a reader thread of its own can do: a plain
// socket whose reader thread is told to stop, the socket shut down, the thread joined
// and the socket closed. With a backlog that reader handles the same stream with the
// same cost a record and looks at its stop flag between records.
//
// Ours and the baseline take turns, a few closes each per round, and report their
// median and 99th percentile.

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "bench_support.h"
#include "kq_zul_query_event.h"

namespace {

using namespace zul_bench;

const scratch_folder g_scratch;

const size_t BACKLOG_STREAM_RECORDS = 200000;
// What the user's callback spends on a record, with a backlog.
const int64_t RECORD_COST_NS = 5000;
// The server's stream fills the socket and the queue in far less than this.
const std::chrono::milliseconds BACKLOG_BUILDS(50);
const int CLOSES_PER_ROUND = 3;

void spend(int64_t ns) {
    const int64_t until = wall_ns() + ns;
    while (wall_ns() < until) {
    }
}

// A client of the plain face; its position callback spends RECORD_COST_NS a record.
struct closing_client {
    void* handle = nullptr;
    completion logons;
    long logons_seen = 0;
    std::atomic<long> records{0};

    closing_client() {
        handle = KQZUL_CreateQuery(this);
        KQZUL_SetQueryUserLogonEvent(
            handle, [](void* h, ZUL_QueryLogonResponse*) { of(h).logons.raise(); });
        KQZUL_SetQueryAccountPositionEvent(
            handle, [](void* h, const char*, ZUL_AccountPosition*, bool, ZUL_QueryErrorId) {
                ++of(h).records;
                spend(RECORD_COST_NS);
            });
    }
    ~closing_client() { KQZUL_DestroyQuery(handle); }
    static closing_client& of(void* h) {
        return *static_cast<closing_client*>(KQZUL_GetQueryUserParam(h));
    }

    bool open(uint16_t port) {
        ZUL_QuerySvrInfo server;
        strncpy(server.m_RemoteQueryIp, "127.0.0.1", sizeof(server.m_RemoteQueryIp) - 1);
        server.m_RemoteQueryTCPPort = port;
        return KQZUL_ConnQueryServer(handle, server) == ZUL_RESULT_OK &&
               KQZUL_QueryUserLogon(handle, "bench01", "bench-pass1") == ZUL_RESULT_OK &&
               logons.wait_for(++logons_seen);
    }

    // Microseconds the close takes; negative when the client could not be readied.
    double close_us(uint16_t port, bool backlog) {
        if (!open(port))
            return -1;
        if (backlog && !start_backlog())
            return -1;
        const int64_t start = wall_ns();
        KQZUL_DisConnQueryServer(handle);
        return static_cast<double>(wall_ns() - start) / 1e3;
    }

    bool start_backlog() {
        records = 0;
        if (KQZUL_QueryAccountPosition(handle, STREAM_ACCOUNT, SEC_TYPE_FUTURE) != ZUL_RESULT_OK)
            return false;
        std::this_thread::sleep_for(BACKLOG_BUILDS);
        // Still delivering: the backlog is there.
        return records.load() > 0 && records.load() < static_cast<long>(BACKLOG_STREAM_RECORDS) / 2;
    }
};

// The baseline: a plain socket, logged on, with a reader thread of its own.
double plain_close_us(uint16_t port, bool backlog) {
    const int fd = plain_logged_on(port);
    if (fd == -1)
        return -1;
    std::atomic<bool> stop{false};
    std::atomic<long> records{0};
    std::thread reader([&] {
        char buf[8192];
        size_t carried = 0;
        while (!stop.load()) {
            const ssize_t n = recv(fd, buf + carried, sizeof(buf) - carried, 0);
            if (n <= 0)
                return;
            const size_t have = carried + static_cast<size_t>(n);
            size_t at = 0;
            for (; at + POSITION_SIZE <= have && !stop.load(); at += POSITION_SIZE) {
                ++records;
                spend(RECORD_COST_NS);
            }
            carried = have - at;
            memmove(buf, buf + at, carried);
        }
    });
    bool ok = true;
    if (backlog) {
        const std::vector<char> request = position_request(STREAM_ACCOUNT);
        ok = write_all(fd, request.data(), request.size());
        std::this_thread::sleep_for(BACKLOG_BUILDS);
        ok = ok && records.load() > 0;
    }
    const int64_t start = wall_ns();
    stop = true;
    shutdown(fd, SHUT_RDWR);
    reader.join();
    close(fd);
    const double us = static_cast<double>(wall_ns() - start) / 1e3;
    return ok ? us : -1;
}

void BM_Disconnect(benchmark::State& state) {
    const bool backlog = state.range(0) != 0;
    tiny_server server;
    prepare_answers(server, BACKLOG_STREAM_RECORDS, 0);
    if (!server.start()) {
        state.SkipWithError("server failed");
        return;
    }
    closing_client client;
    std::vector<double> ours, base;
    for (auto _ : state) {
        const int closes = rounds(7) * CLOSES_PER_ROUND;
        for (int i = -1; i < closes; ++i) {  // the first pair warms up
            const double o = client.close_us(server.port(), backlog);
            const double b = plain_close_us(server.port(), backlog);
            if (o < 0 || b < 0) {
                state.SkipWithError(o < 0 ? "client not ready to close" : "plain socket failed");
                return;
            }
            if (i < 0)
                continue;
            ours.push_back(o);
            base.push_back(b);
        }
    }
    state.counters["ours_p50_us"] = quantile(ours, 0.5);
    state.counters["ours_p99_us"] = quantile(ours, 0.99);
    state.counters["base_p50_us"] = quantile(base, 0.5);
    state.counters["base_p99_us"] = quantile(base, 0.99);
    state.counters["samples"] = static_cast<double>(ours.size());
}
BENCHMARK(BM_Disconnect)
    ->ArgName("backlog")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
