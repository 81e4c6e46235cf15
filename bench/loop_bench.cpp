// The receive side alone, fed from memory through the decoder (no socket, no thread):
// a buffer with every answer of the simulator's data set in turn, some 1,100
// messages, decoded again and again.
//   BM_MessageLoop/logger:0   every callback slot filled with a callback that only
//                             counts; beside it the bare framing walk (read the id,
//                             look up the size, copy the record out), and the loop
//                             with no callback at all (framing and dispatch only)
//   BM_MessageLoop/logger:1   the same with the trace on; beside it the system calls
//                             that the trace cannot do without: for each message the
//                             binary record and the two text lines, already
//                             formatted, written by plain write(2) calls to a file

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "../fuzz/message_loop_driver.h"
#include "bench_support.h"
#include "client/QueryClient.h"
#include "client/query_decoder.h"
#include "zul_sim.h"

namespace {

using namespace zul_bench;

const scratch_folder g_scratch;
long g_events = 0;

template <int Slot, typename Callback>
struct counting_callback;
template <int Slot, typename... Args>
struct counting_callback<Slot, void (*)(void*, Args...)> {
    static void call(void*, Args...) { ++g_events; }
};

// Every answer of the data set for the other generation, in turn, until there are at
// least `wanted` messages: the mix a client sees over a day's queries.
std::vector<char> message_mix(size_t wanted, std::vector<size_t>* sizes) {
    const zulsim::DataSet data = zulsim::DataSet::standard(false);
    std::vector<char> buffer;
    while (sizes->size() < wanted) {
        for (const auto& entry : data.all()) {
            for (const zulsim::Bytes& m : entry.second) {
                buffer.insert(buffer.end(), m.begin(), m.end());
                sizes->push_back(m.size());
            }
        }
    }
    return buffer;
}

size_t size_of_id(int id) {
    static const std::pair<int, size_t> sizes[] = {
        {1063, 112}, {1064, 24},  {1068, 56},   {1069, 16},  {1071, 88},  {1072, 139},
        {1073, 152}, {1074, 144}, {1075, 88},   {1076, 192}, {1077, 96},  {1078, 128},
        {1079, 188}, {1081, 108}, {1082, 1006}, {1083, 448}, {1088, 200}, {1092, 167},
        {1093, 108}, {1095, 248}, {1098, 144},  {1099, 64}};
    for (const auto& s : sizes)
        if (s.first == id)
            return s.second;
    return 0;
}

// The least a decoder must do: read each id, take the size, copy the record out.
bool bare_walk(const std::vector<char>& buffer) {
    char record[1024];
    size_t at = 0;
    while (at + 2 <= buffer.size()) {
        int16_t id;
        memcpy(&id, buffer.data() + at, sizeof(id));
        const size_t size = size_of_id(id);
        if (size == 0 || at + size > buffer.size())
            break;
        memcpy(record, buffer.data() + at, size);
        benchmark::DoNotOptimize(record);
        ++g_events;
        at += size;
    }
    return at == buffer.size();
}

// ns per message of `passes` passes of `run` over the buffer.
template <class Run>
double per_message(Run run, int passes, size_t messages) {
    const int64_t start = wall_ns();
    for (int i = 0; i < passes; ++i)
        run();
    return static_cast<double>(wall_ns() - start) / (static_cast<double>(passes) * messages);
}

// The trace's writes with nothing else: per message, the binary record (header, flag,
// payload, newline) with one write and the two text lines with another.
class write_floor {
public:
    write_floor(const std::vector<char>& buffer, const std::vector<size_t>& sizes)
        : m_buffer(buffer), m_sizes(sizes) {
        m_fd = open("floor.log", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        const std::string line = "20240611-10:00:00.123456 00000 proc query_account_fee_resp \n";
        const std::string cost =
            "20240611-10:00:00.123456 00000 process message type:[1078] cost:[1]us \n";
        m_lines = line + cost;
    }
    ~write_floor() {
        close(m_fd);
        unlink("floor.log");
    }
    void pass() {
        size_t at = 0;
        char header[] = "20240611-10:00:00.123456 00152 1 ";
        for (size_t size : m_sizes) {
            iovec record[] = {{header, sizeof(header) - 1},
                              {const_cast<char*>(m_buffer.data() + at), size},
                              {const_cast<char*>("\n"), 1}};
            if (writev(m_fd, record, 3) < 0 || write(m_fd, m_lines.data(), m_lines.size()) < 0)
                return;
            at += size;
        }
    }
    void truncate() {
        if (ftruncate(m_fd, 0) != 0)
            return;
    }

private:
    const std::vector<char>& m_buffer;
    const std::vector<size_t>& m_sizes;
    std::string m_lines;
    int m_fd = -1;
};

// Drops the log files written so far; the client opens fresh ones.
void drop_logs(CQueryClient& client) {
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(g_scratch.path(), ec)) {
        if (entry.path().filename().string().rfind("mavlog_", 0) == 0)
            std::filesystem::remove(entry.path(), ec);
    }
    client.SetLogDir(g_scratch.path().c_str());
}

void BM_MessageLoop(benchmark::State& state) {
    const bool logger = state.range(0) != 0;
    std::vector<size_t> sizes;
    const std::vector<char> buffer = message_mix(1000, &sizes);
    const size_t messages = sizes.size();
    CQueryClient client(nullptr);
    zul_fuzz::register_every_slot<counting_callback>(&client);
    client.SetLoggerSwitch(logger);
    query_decoder decoder(client, 8192);
    CQueryClient bare_client(nullptr);
    query_decoder bare_decoder(bare_client, 8192);
    write_floor floor(buffer, sizes);
    bool ok = true;
    auto ours = [&] {
        ok = ok && decoder.feed(buffer.data(), buffer.size()) && decoder.held() == 0;
    };
    auto no_callbacks = [&] { ok = ok && bare_decoder.feed(buffer.data(), buffer.size()); };
    auto walk = [&] { ok = ok && bare_walk(buffer); };
    auto floor_pass = [&] { floor.pass(); };
    // Passes per round: about 50 ms of work each.
    const int passes = logger ? 4 : 1000;
    std::vector<double> our_ns, base_ns, plain_loop_ns;
    for (auto _ : state) {
        per_message(ours, passes / 4 + 1, messages);  // warm-up
        for (int r = 0; r < rounds(7); ++r) {
            our_ns.push_back(per_message(ours, passes, messages));
            if (logger) {
                base_ns.push_back(per_message(floor_pass, passes, messages));
                drop_logs(client);
                floor.truncate();
            } else {
                base_ns.push_back(per_message(walk, passes, messages));
                plain_loop_ns.push_back(per_message(no_callbacks, passes, messages));
            }
        }
    }
    if (!ok) {
        state.SkipWithError("the loop left bytes");
        return;
    }
    state.counters["ours_ns_per_message"] = median(our_ns);
    state.counters["base_ns_per_message"] = median(base_ns);
    if (!logger)
        state.counters["loop_only_ns_per_message"] = median(plain_loop_ns);
    state.counters["messages"] = static_cast<double>(messages);
}
BENCHMARK(BM_MessageLoop)
    ->ArgName("logger")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
