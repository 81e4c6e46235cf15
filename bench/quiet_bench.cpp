// Connected, logged-on clients on a quiet line: how often their threads wake (every
// thread the clients made, as the kernel counts context switches) and the processor
// time they take, over a few seconds in which nothing arrives. The baseline is a
// plain thread blocked in recv on a quiet socket of the same server, measured in the
// same seconds.
//   BM_QuietClient/auto_reconnect:0|1   one client, with the client's own reconnect
//                                       thread off (the default) or on
//   BM_QuietClients/clients:100         a hundred clients in one process

#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench_support.h"

namespace {

using namespace zul_bench;

const scratch_folder g_scratch;

int quiet_seconds() {
    const char* text = getenv("BENCH_QUIET_SECONDS");
    const int n = text != nullptr ? atoi(text) : 0;
    return n > 0 ? n : 5;
}

void run_quiet(benchmark::State& state, int clients, bool auto_reconnect) {
    tiny_server server;
    prepare_answers(server, 0, 0);
    if (!server.start()) {
        state.SkipWithError("server failed");
        return;
    }
    // Everything that runs before the clients are made is not theirs.
    std::set<pid_t> not_theirs;
    for (const auto& t : tasks())
        not_theirs.insert(t.first);
    std::vector<std::unique_ptr<bench_client>> made;
    for (int i = 0; i < clients; ++i) {
        made.emplace_back(new bench_client);
        std::string why;
        if (!made.back()->open(server.port(), &why, auto_reconnect)) {
            state.SkipWithError(why.c_str());
            return;
        }
    }
    // The baseline: a plain thread blocked in recv on a quiet socket.
    const int quiet = connect_plain(server.port());
    std::atomic<pid_t> blocked_task{0};
    std::thread blocked([&] {
        blocked_task = this_task();
        char byte;
        while (recv(quiet, &byte, 1, 0) > 0) {
        }
    });
    while (blocked_task.load() == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    for (pid_t t : server.own_tasks())
        not_theirs.insert(t);
    not_theirs.insert(blocked_task.load());
    // Let the connections settle before counting.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));

    double seconds = 0;
    task_counts ours;
    task_counts base;
    for (auto _ : state) {
        const auto before = tasks();
        const int64_t start = wall_ns();
        std::this_thread::sleep_for(std::chrono::seconds(quiet_seconds()));
        const auto after = tasks();
        seconds = static_cast<double>(wall_ns() - start) / 1e9;
        ours = growth(before, after, not_theirs);
        std::set<pid_t> all_but_blocked;
        for (const auto& t : after)
            if (t.first != blocked_task.load())
                all_but_blocked.insert(t.first);
        base = growth(before, after, all_but_blocked);
    }
    shutdown(quiet, SHUT_RDWR);
    blocked.join();
    close(quiet);
    state.counters["ours_wakeups_per_s"] = static_cast<double>(ours.switches) / seconds;
    state.counters["ours_cpu_percent"] = 100.0 * static_cast<double>(ours.cpu_ns) / (seconds * 1e9);
    state.counters["base_wakeups_per_s"] = static_cast<double>(base.switches) / seconds;
    state.counters["base_cpu_percent"] = 100.0 * static_cast<double>(base.cpu_ns) / (seconds * 1e9);
    state.counters["clients"] = clients;
}

void BM_QuietClient(benchmark::State& state) {
    run_quiet(state, 1, state.range(0) != 0);
}
BENCHMARK(BM_QuietClient)
    ->ArgName("auto_reconnect")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_QuietClients(benchmark::State& state) {
    run_quiet(state, static_cast<int>(state.range(0)), false);
}
BENCHMARK(BM_QuietClients)
    ->ArgName("clients")
    ->Arg(100)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
