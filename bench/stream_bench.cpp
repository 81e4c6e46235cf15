// A position stream through the whole stack (the tiny server's socket, the transport
// and its threads, the message loop, the translator, the user's callback), beside a
// plain socket reading the same bytes from the same server 8 KiB at a time:
//   BM_PositionStream  records per second, processor time per record (every thread of
//                      the process but the server's) and heap allocations per record
//                      after a warm-up stream
//   BM_FirstRecord     time from the request to the first record of a short stream

#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "bench_support.h"

namespace {

using namespace zul_bench;

const size_t STREAM_RECORDS = 1000000;
const size_t SHORT_RECORDS = 100;
const scratch_folder g_scratch;

struct round_cost {
    double seconds = 0;
    double cpu_ns = 0;
    double allocations = 0;
};

// One round of `run`, with the server's processor time taken out.
template <class Run>
bool measure(tiny_server& server, Run run, round_cost* cost) {
    const uint64_t allocs = allocations();
    const int64_t cpu = process_cpu_ns();
    const int64_t served = server.cpu_ns();
    const int64_t wall = wall_ns();
    const bool ok = run();
    cost->seconds = static_cast<double>(wall_ns() - wall) / 1e9;
    cost->cpu_ns = static_cast<double>((process_cpu_ns() - cpu) - (server.cpu_ns() - served));
    cost->allocations = static_cast<double>(allocations() - allocs);
    return ok;
}

struct stream_setup {
    tiny_server server;
    bench_client client;
    int plain = -1;
    std::string why;

    bool open() {
        prepare_answers(server, STREAM_RECORDS, SHORT_RECORDS);
        if (!server.start()) {
            why = "server failed";
            return false;
        }
        if (!client.open(server.port(), &why))
            return false;
        plain = plain_logged_on(server.port());
        why = "plain logon failed";
        return plain != -1;
    }
    ~stream_setup() {
        if (plain != -1)
            close(plain);
    }
};

void BM_PositionStream(benchmark::State& state) {
    stream_setup s;
    if (!s.open()) {
        state.SkipWithError(s.why.c_str());
        return;
    }
    const std::vector<char> request = position_request(STREAM_ACCOUNT);
    const size_t volume = (STREAM_RECORDS + 1) * POSITION_SIZE;
    auto ours = [&] { return s.client.stream(STREAM_ACCOUNT, STREAM_RECORDS); };
    auto plain = [&] {
        return write_all(s.plain, request.data(), request.size()) && read_exactly(s.plain, volume);
    };
    std::vector<double> our_rate, base_rate, our_cpu, base_cpu;
    double our_allocs = 0;
    double base_allocs = 0;
    // Warm-up: the transport's chunk pool, buffers and the page cache fill here, and
    // the kernel's socket buffers reach their size. The first record's callback
    // stalls, so that the transport's queue reaches its bound and the pool holds every
    // chunk a stream can have in use at once, as a long-lived client's does after its
    // first burst.
    auto warm_up = [&] { return s.client.stream(STREAM_ACCOUNT, STREAM_RECORDS, 200); };
    for (auto _ : state) {
        round_cost cost;
        if (!measure(s.server, warm_up, &cost) || !measure(s.server, plain, &cost)) {
            state.SkipWithError("warm-up stream failed");
            return;
        }
        for (int r = 0; r < rounds(7); ++r) {
            if (!measure(s.server, ours, &cost)) {
                state.SkipWithError("stream failed or lost records");
                return;
            }
            our_rate.push_back(STREAM_RECORDS / cost.seconds);
            our_cpu.push_back(cost.cpu_ns / STREAM_RECORDS);
            our_allocs += cost.allocations;
            if (!measure(s.server, plain, &cost)) {
                state.SkipWithError("plain read failed");
                return;
            }
            base_rate.push_back(STREAM_RECORDS / cost.seconds);
            base_cpu.push_back(cost.cpu_ns / STREAM_RECORDS);
            base_allocs += cost.allocations;
        }
    }
    const double records =
        static_cast<double>(STREAM_RECORDS) * static_cast<double>(our_rate.size());
    state.counters["ours_records_per_s"] = median(our_rate);
    state.counters["base_records_per_s"] = median(base_rate);
    state.counters["ours_cpu_ns_per_record"] = median(our_cpu);
    state.counters["base_cpu_ns_per_record"] = median(base_cpu);
    state.counters["ours_allocs_per_record"] = our_allocs / records;
    state.counters["base_allocs_per_record"] = base_allocs / records;
    state.counters["rounds"] = static_cast<double>(our_rate.size());
}
BENCHMARK(BM_PositionStream)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_FirstRecord(benchmark::State& state) {
    stream_setup s;
    if (!s.open()) {
        state.SkipWithError(s.why.c_str());
        return;
    }
    const std::vector<char> request = position_request(SHORT_ACCOUNT);
    const size_t volume = (SHORT_RECORDS + 1) * POSITION_SIZE;
    std::vector<double> ours, base;
    char buf[8192];
    for (auto _ : state) {
        for (int r = 0; r < rounds(7) * 50; ++r) {
            int64_t start = wall_ns();
            if (!s.client.stream(SHORT_ACCOUNT, SHORT_RECORDS)) {
                state.SkipWithError("short stream failed");
                return;
            }
            ours.push_back(static_cast<double>(s.client.first_record_ns() - start) / 1e3);
            // Plain: the first record is there once its 152 bytes are read.
            start = wall_ns();
            if (!write_all(s.plain, request.data(), request.size())) {
                state.SkipWithError("plain request failed");
                return;
            }
            size_t got = 0;
            while (got < POSITION_SIZE) {
                const ssize_t n = recv(s.plain, buf, sizeof(buf), 0);
                if (n <= 0) {
                    state.SkipWithError("plain read failed");
                    return;
                }
                got += static_cast<size_t>(n);
            }
            base.push_back(static_cast<double>(wall_ns() - start) / 1e3);
            if (!read_exactly(s.plain, volume - got)) {
                state.SkipWithError("plain read failed");
                return;
            }
        }
    }
    state.counters["ours_p50_us"] = quantile(ours, 0.5);
    state.counters["ours_p99_us"] = quantile(ours, 0.99);
    state.counters["base_p50_us"] = quantile(base, 0.5);
    state.counters["base_p99_us"] = quantile(base, 0.99);
    state.counters["samples"] = static_cast<double>(ours.size());
}
BENCHMARK(BM_FirstRecord)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
