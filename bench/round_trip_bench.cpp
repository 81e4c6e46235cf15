// One BP detail query, from the request to the moment the asking thread has the answer,
// against the same server:
//   ours          KQZUL_QueryAccountBPDetail; the callback, on the library's receive
//                 thread, wakes the asking thread through a condition variable
//   handed over   a plain socket whose answer a second thread reads and hands over by a
//                 condition variable: the least any design that calls back on a thread
//                 of its own can do
//   plain         a plain ping-pong: the asking thread reads the answer itself
// The three take turns, one round trip each, and report their median and 99th
// percentile.

#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "bench_support.h"

namespace {

using namespace zul_bench;

const scratch_folder g_scratch;

void BM_RoundTrip(benchmark::State& state) {
    tiny_server server;
    prepare_answers(server, 0, 0);
    std::string why = "server failed";
    bench_client client;
    if (!server.start() || !client.open(server.port(), &why)) {
        state.SkipWithError(why.c_str());
        return;
    }
    const int plain = plain_logged_on(server.port());
    const int handed = plain_logged_on(server.port());
    if (plain == -1 || handed == -1) {
        state.SkipWithError("plain logon failed");
        return;
    }
    completion answers;
    std::thread reader([&] {
        while (read_exactly(handed, BP_DETAIL_ANSWER_SIZE))
            answers.raise();
    });
    const std::vector<char> request = bp_detail_request();
    std::vector<double> ours, over_cv, direct;
    long handed_over = 0;
    bool ok = true;
    for (auto _ : state) {
        const int samples = rounds(7) * 400;
        for (int r = -50; r < samples && ok; ++r) {  // the first 50 warm up
            int64_t start = wall_ns();
            ok = client.round_trip();
            const double t_ours = static_cast<double>(wall_ns() - start) / 1e3;
            start = wall_ns();
            ok = ok && write_all(handed, request.data(), request.size()) &&
                 answers.wait_for(++handed_over);
            const double t_cv = static_cast<double>(wall_ns() - start) / 1e3;
            start = wall_ns();
            ok = ok && write_all(plain, request.data(), request.size()) &&
                 read_exactly(plain, BP_DETAIL_ANSWER_SIZE);
            const double t_plain = static_cast<double>(wall_ns() - start) / 1e3;
            if (r < 0)
                continue;
            ours.push_back(t_ours);
            over_cv.push_back(t_cv);
            direct.push_back(t_plain);
        }
    }
    shutdown(handed, SHUT_RDWR);
    reader.join();
    close(handed);
    close(plain);
    if (!ok) {
        state.SkipWithError("a round trip failed");
        return;
    }
    state.counters["ours_p50_us"] = quantile(ours, 0.5);
    state.counters["ours_p99_us"] = quantile(ours, 0.99);
    state.counters["cv_p50_us"] = quantile(over_cv, 0.5);
    state.counters["cv_p99_us"] = quantile(over_cv, 0.99);
    state.counters["plain_p50_us"] = quantile(direct, 0.5);
    state.counters["plain_p99_us"] = quantile(direct, 0.99);
    state.counters["samples"] = static_cast<double>(ours.size());
}
BENCHMARK(BM_RoundTrip)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
