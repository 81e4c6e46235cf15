// Queries through the whole stack against the simulator on loopback, each beside a
// baseline of plain sockets that shows the limit, and the message loop alone on a
// buffer in memory:
//   stream       records and bytes per second of a large futures position stream
//                (coalesced writes) delivered to the user's callback; plain TCP moving
//                the same bytes; the simulator's stream read by a plain socket
//   round trip   one BP detail query answered to its callback; a plain ping-pong of
//                the same sizes; the same request to the simulator over a plain socket
//   loop         the message loop over an in-memory buffer, logger switch off and on;
//                a bare walk that frames and copies the same messages
//
// The client's logs go to a scratch folder that is removed at exit.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "../fuzz/message_loop_driver.h"
#include "client/QueryClient.h"
#include "kq_zul_query_event.h"
#include "protocol/msg_define.h"
#include "transport/socket_param.h"
#include "zul_sim.h"

namespace {

using namespace std::chrono_literals;

const char BENCH_ACCOUNT[] = "ZQ7";
const size_t POSITION_SIZE = sizeof(query_account_fut_position_resp);
const size_t COALESCE_WRITE = 1 << 20;  // the simulator's coalesced writes
const size_t TRANSPORT_READ = 8192;     // what the transport reads at once
const auto ANSWER_DEADLINE = 30s;

// The working folder for the life of the program, so that client logs land there.
class scratch_folder {
public:
    scratch_folder() {
        char tmpl[] = "/tmp/zulq_bench_XXXXXX";
        if (mkdtemp(tmpl) == nullptr)
            return;
        m_path = tmpl;
        std::error_code ec;
        m_old = std::filesystem::current_path(ec);
        std::filesystem::current_path(m_path, ec);
    }
    ~scratch_folder() {
        if (m_path.empty())
            return;
        std::error_code ec;
        std::filesystem::current_path(m_old, ec);
        std::filesystem::remove_all(m_path, ec);
    }
    const std::string& path() const { return m_path; }
    // Drops the log files written so far; the client then reopens fresh ones.
    void drop_logs(CQueryClient& client) const {
        std::error_code ec;
        for (const auto& entry : std::filesystem::directory_iterator(m_path, ec))
            std::filesystem::remove(entry.path(), ec);
        client.SetLogDir(m_path.c_str());
    }

private:
    std::string m_path;
    std::filesystem::path m_old;
};
const scratch_folder g_scratch;

// A count that one thread raises and another waits on, without spinning: on two cores
// a spinning waiter would take a core from the threads being measured.
class completion {
public:
    void raise() {
        {
            std::lock_guard<std::mutex> hold(m_mutex);
            ++m_count;
        }
        m_cv.notify_one();
    }
    bool wait_for(long n) {
        std::unique_lock<std::mutex> hold(m_mutex);
        return m_cv.wait_for(hold, ANSWER_DEADLINE, [&] { return m_count >= n; });
    }
    long count() {
        std::lock_guard<std::mutex> hold(m_mutex);
        return m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    long m_count = 0;
};

// ---------------------------------------------------------------------------
// Plain sockets.

void set_nodelay(int fd) {
    int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

sockaddr_in loopback(uint16_t port) {
    sockaddr_in addr;
    memset(&addr, 0, sizeof(addr));
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    return addr;
}

int connect_plain(uint16_t port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = loopback(port);
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        close(fd);
        return -1;
    }
    set_nodelay(fd);
    return fd;
}

// A connected loopback pair of plain sockets, both with TCP_NODELAY.
struct plain_pair {
    int writer = -1;
    int reader = -1;

    plain_pair() {
        int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr = loopback(0);
        socklen_t len = sizeof(addr);
        if (bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) == 0 &&
            listen(listener, 1) == 0 &&
            getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &len) == 0) {
            reader = connect_plain(ntohs(addr.sin_port));
            writer = accept(listener, nullptr, nullptr);
            set_nodelay(writer);
        }
        close(listener);
    }
    ~plain_pair() {
        for (int fd : {writer, reader}) {
            if (fd != -1)
                close(fd);
        }
    }
    bool ok() const { return writer != -1 && reader != -1; }
};

bool write_all(int fd, const char* p, size_t n) {
    while (n > 0) {
        ssize_t k = send(fd, p, n, MSG_NOSIGNAL);
        if (k <= 0)
            return false;
        p += k;
        n -= static_cast<size_t>(k);
    }
    return true;
}

// Reads exactly n bytes in reads of at most `chunk`.
bool read_exactly(int fd, size_t n, size_t chunk = TRANSPORT_READ) {
    std::vector<char> buf(chunk);
    while (n > 0) {
        ssize_t k = recv(fd, buf.data(), n < chunk ? n : chunk, 0);
        if (k <= 0)
            return false;
        n -= static_cast<size_t>(k);
    }
    return true;
}

template <typename Record>
bool send_record(int fd, const Record& r) {
    return write_all(fd, reinterpret_cast<const char*>(&r), sizeof(r));
}

// Records and bytes per second; the stream is `records` data records and its closing
// record, all of the position record's size.
void count_stream(benchmark::State& state, size_t records) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * records));
    state.SetBytesProcessed(
        static_cast<int64_t>(state.iterations() * (records + 1) * POSITION_SIZE));
}

// ---------------------------------------------------------------------------
// A plain-face client logged on to a simulator in this process.

class stack_session {
public:
    explicit stack_session(const zulsim::Options& options) : m_sim(options) {}
    ~stack_session() {
        if (m_handle != nullptr)
            KQZUL_DestroyQuery(m_handle);
        m_sim.stop();
    }
    stack_session(const stack_session&) = delete;
    stack_session& operator=(const stack_session&) = delete;

    // Starts the simulator, connects and logs on; false with the reason in `why`.
    bool open(std::string* why) {
        if (!m_sim.start(why))
            return false;
        m_handle = KQZUL_CreateQuery(this);
        KQZUL_SetQueryUserLogonEvent(m_handle, on_logon);
        KQZUL_SetQueryAccountPositionEvent(m_handle, on_position);
        KQZUL_SetQueryAccountBPDetailEvent(m_handle, on_bp_detail);
        ZUL_QuerySvrInfo server;
        strncpy(server.m_RemoteQueryIp, "127.0.0.1", sizeof(server.m_RemoteQueryIp) - 1);
        server.m_RemoteQueryTCPPort = m_sim.port();
        *why = "connect failed";
        if (KQZUL_ConnQueryServer(m_handle, server) != ZUL_RESULT_OK)
            return false;
        *why = "logon failed";
        return KQZUL_QueryUserLogon(m_handle, "bench01", "bench-pass1") == ZUL_RESULT_OK &&
               m_logon.wait_for(1);
    }

    void* handle() { return m_handle; }
    zulsim::Simulator& sim() { return m_sim; }

    std::atomic<size_t> m_positions{0};  // data records of the stream under way
    std::atomic<size_t> m_short{0};      // streams that closed with fewer records
    size_t m_expected = 0;
    completion m_streams;
    completion m_answers;

private:
    static stack_session& of(void* handle) {
        return *static_cast<stack_session*>(KQZUL_GetQueryUserParam(handle));
    }
    static void on_logon(void* handle, ZUL_QueryLogonResponse*) { of(handle).m_logon.raise(); }
    static void on_position(void* handle, const char*, ZUL_AccountPosition*, bool finish,
                            ZUL_QueryErrorId) {
        stack_session& s = of(handle);
        if (!finish) {
            s.m_positions.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        if (s.m_positions.exchange(0, std::memory_order_relaxed) != s.m_expected)
            s.m_short.fetch_add(1, std::memory_order_relaxed);
        s.m_streams.raise();
    }
    static void on_bp_detail(void* handle, const char*, ZUL_AccountBPDetail*, ZUL_QueryErrorId) {
        of(handle).m_answers.raise();
    }

    zulsim::Simulator m_sim;
    void* m_handle = nullptr;
    completion m_logon;
};

// The stream comes either from the simulator's bulk mode, which builds every record as
// it writes it, or from records built once beforehand (Arg 1), so that the server's
// work per record is a copy.
enum stream_source { BULK_GENERATED = 0, PREBUILT = 1 };

zulsim::Options stream_options(size_t records, stream_source source) {
    zulsim::Options o;
    o.bulk_records = source == BULK_GENERATED ? records : 0;
    o.write_mode = zulsim::WriteMode::coalesce;
    return o;
}

// The data set with the bench account's position stream made of `records` copies of
// its data records, in turn, and its closing record.
zulsim::DataSet prebuilt_stream(size_t records) {
    zulsim::DataSet data = zulsim::DataSet::standard(false);
    const std::vector<zulsim::Bytes> base =
        *data.find(QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID, BENCH_ACCOUNT);
    std::vector<zulsim::Bytes> stream;
    stream.reserve(records + 1);
    for (size_t i = 0; i < records; ++i)
        stream.push_back(base[i % (base.size() - 1)]);
    stream.push_back(base.back());
    data.set(QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID, BENCH_ACCOUNT, std::move(stream));
    return data;
}

// Readies a simulator, not yet started, to serve the stream from `source`.
void serve_stream(zulsim::Simulator& sim, size_t records, stream_source source) {
    if (source == PREBUILT)
        sim.set_data(prebuilt_stream(records));
}

// ---------------------------------------------------------------------------
// Stream throughput.

void both_stream_sources(benchmark::internal::Benchmark* b) {
    b->ArgNames({"records", "prebuilt"})
        ->Args({100000, BULK_GENERATED})
        ->Args({100000, PREBUILT})
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

void BM_QueryPositionStream(benchmark::State& state) {
    const size_t records = static_cast<size_t>(state.range(0));
    const auto source = static_cast<stream_source>(state.range(1));
    stack_session session(stream_options(records, source));
    serve_stream(session.sim(), records, source);
    std::string why;
    if (!session.open(&why)) {
        state.SkipWithError(why.c_str());
        return;
    }
    session.m_expected = records;
    long streams = 0;
    for (auto _ : state) {
        if (KQZUL_QueryAccountPosition(session.handle(), BENCH_ACCOUNT, SEC_TYPE_FUTURE) !=
                ZUL_RESULT_OK ||
            !session.m_streams.wait_for(++streams)) {
            state.SkipWithError("stream did not finish");
            return;
        }
    }
    if (session.m_short.load() != 0) {
        state.SkipWithError("a stream lost records");
        return;
    }
    count_stream(state, records);
}
BENCHMARK(BM_QueryPositionStream)->Apply(both_stream_sources);

// The limit: one thread writes the stream's bytes in the simulator's write size, and
// this thread reads them in the transport's read size, with no parsing.
void BM_RawTcpStream(benchmark::State& state) {
    const size_t records = static_cast<size_t>(state.range(0));
    const size_t volume = (records + 1) * POSITION_SIZE;
    plain_pair pair;
    if (!pair.ok()) {
        state.SkipWithError("loopback pair failed");
        return;
    }
    completion go;
    std::atomic<bool> quit{false};
    std::thread writer([&] {
        const std::vector<char> block(COALESCE_WRITE, 'x');
        for (long round = 1; go.wait_for(round) && !quit; ++round) {
            for (size_t left = volume; left > 0;) {
                const size_t n = left < block.size() ? left : block.size();
                if (!write_all(pair.writer, block.data(), n))
                    return;
                left -= n;
            }
        }
    });
    for (auto _ : state) {
        go.raise();
        if (!read_exactly(pair.reader, volume)) {
            state.SkipWithError("read failed");
            break;
        }
    }
    quit = true;
    go.raise();
    writer.join();
    count_stream(state, records);
}
BENCHMARK(BM_RawTcpStream)
    ->ArgName("records")
    ->Arg(100000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// A plain socket logged on to the simulator.
int plain_logon(benchmark::State& state, uint16_t port) {
    int fd = connect_plain(port);
    if (fd == -1 || !send_record(fd, query_logon_msg_req()) ||
        !read_exactly(fd, sizeof(query_logon_msg_resp))) {
        state.SkipWithError("plain logon failed");
        if (fd != -1)
            close(fd);
        return -1;
    }
    return fd;
}

template <typename Request>
Request request_for_account() {
    Request r;
    strncpy(r.m_account_id, BENCH_ACCOUNT, sizeof(r.m_account_id) - 1);
    return r;
}

// The simulator's side alone: its stream read by a plain socket, no parsing.
void BM_SimStreamPlainReader(benchmark::State& state) {
    const size_t records = static_cast<size_t>(state.range(0));
    const auto source = static_cast<stream_source>(state.range(1));
    zulsim::Simulator sim(stream_options(records, source));
    serve_stream(sim, records, source);
    std::string why;
    if (!sim.start(&why)) {
        state.SkipWithError(why.c_str());
        return;
    }
    const int fd = plain_logon(state, sim.port());
    if (fd == -1)
        return;
    query_account_position_req request = request_for_account<query_account_position_req>();
    request.m_sec_type = SEC_TYPE_FUTURE;
    for (auto _ : state) {
        if (!send_record(fd, request) || !read_exactly(fd, (records + 1) * POSITION_SIZE)) {
            state.SkipWithError("stream read failed");
            break;
        }
    }
    close(fd);
    count_stream(state, records);
}
BENCHMARK(BM_SimStreamPlainReader)->Apply(both_stream_sources);

// ---------------------------------------------------------------------------
// Round trip of a single answer.

void BM_QueryBpDetailRoundTrip(benchmark::State& state) {
    stack_session session{zulsim::Options()};
    std::string why;
    if (!session.open(&why)) {
        state.SkipWithError(why.c_str());
        return;
    }
    long answers = 0;
    for (auto _ : state) {
        if (KQZUL_QueryAccountBPDetail(session.handle(), BENCH_ACCOUNT) != ZUL_RESULT_OK ||
            !session.m_answers.wait_for(++answers)) {
            state.SkipWithError("no answer");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_QueryBpDetailRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

// The limit: a request's bytes out, an answer's bytes back, blocking plain sockets.
void BM_RawPingPong(benchmark::State& state) {
    const size_t request = sizeof(query_account_bp_detail_req);
    const size_t answer = sizeof(query_account_bp_detail_resp);
    plain_pair pair;
    if (!pair.ok()) {
        state.SkipWithError("loopback pair failed");
        return;
    }
    std::thread server([&] {
        const std::vector<char> reply(answer, 'y');
        while (read_exactly(pair.writer, request) &&
               write_all(pair.writer, reply.data(), reply.size())) {
        }
    });
    const std::vector<char> ask(request, 'x');
    for (auto _ : state) {
        if (!write_all(pair.reader, ask.data(), ask.size()) || !read_exactly(pair.reader, answer)) {
            state.SkipWithError("ping-pong failed");
            break;
        }
    }
    shutdown(pair.reader, SHUT_RDWR);
    server.join();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RawPingPong)->UseRealTime()->Unit(benchmark::kMicrosecond);

// The simulator's side alone: the same request over a plain socket.
void BM_SimPlainRoundTrip(benchmark::State& state) {
    zulsim::Simulator sim;
    std::string why;
    if (!sim.start(&why)) {
        state.SkipWithError(why.c_str());
        return;
    }
    const int fd = plain_logon(state, sim.port());
    if (fd == -1)
        return;
    const auto request = request_for_account<query_account_bp_detail_req>();
    for (auto _ : state) {
        if (!send_record(fd, request) || !read_exactly(fd, sizeof(query_account_bp_detail_resp))) {
            state.SkipWithError("round trip failed");
            break;
        }
    }
    close(fd);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SimPlainRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

// ---------------------------------------------------------------------------
// The message loop alone.

long g_loop_events = 0;

// A callback for every slot that only counts: the loop's cost, not the user's.
template <int Slot, typename Callback>
struct counting_callback;
template <int Slot, typename... Args>
struct counting_callback<Slot, void (*)(void*, Args...)> {
    static void call(void*, Args...) { ++g_loop_events; }
};

// Every answer of the simulator's data set for the other generation, in turn, until
// there are at least `wanted` messages: the mix a client sees over a day's queries.
std::vector<char> message_mix(size_t wanted, size_t* messages) {
    const zulsim::DataSet data = zulsim::DataSet::standard(false);
    std::vector<char> buffer;
    *messages = 0;
    while (*messages < wanted) {
        for (const auto& entry : data.all()) {
            for (const zulsim::Bytes& m : entry.second) {
                buffer.insert(buffer.end(), m.begin(), m.end());
                ++*messages;
            }
        }
    }
    return buffer;
}

void BM_MessageLoop(benchmark::State& state) {
    size_t messages = 0;
    const std::vector<char> buffer = message_mix(1000, &messages);
    CQueryClient client(nullptr);
    zul_fuzz::register_every_slot<counting_callback>(&client);
    client.SetLoggerSwitch(state.range(0) != 0);
    long iterations = 0;
    for (auto _ : state) {
        const char* bytes = buffer.data();
        socket_param record(EVENT_RECEIVE, 0, &bytes, static_cast<unsigned int>(buffer.size()), 0);
        CQueryClient::query_callback(record, &client);
        if (record.get_proc_len() != buffer.size()) {
            state.SkipWithError("the loop left bytes");
            return;
        }
        // The trace writes a few hundred bytes per message: keep the files small.
        if (state.range(0) != 0 && ++iterations % 64 == 0) {
            state.PauseTiming();
            g_scratch.drop_logs(client);
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * messages));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * buffer.size()));
}
BENCHMARK(BM_MessageLoop)->ArgName("logger")->Arg(0)->Arg(1);

// The least a decoder must do: read each id, take the size, copy the record out.
size_t size_of_id(int id) {
    switch (id) {
        case 1063:
            return 112;
        case 1064:
            return 24;
        case 1068:
            return 56;
        case 1069:
            return 16;
        case 1071:
            return 88;
        case 1072:
            return 139;
        case 1073:
            return 152;
        case 1074:
            return 144;
        case 1075:
            return 88;
        case 1076:
            return 192;
        case 1077:
            return 96;
        case 1078:
            return 128;
        case 1079:
            return 188;
        case 1081:
            return 108;
        case 1082:
            return 1006;
        case 1083:
            return 448;
        case 1088:
            return 200;
        case 1092:
            return 167;
        case 1093:
            return 108;
        case 1095:
            return 248;
        case 1098:
            return 144;
        case 1099:
            return 64;
        default:
            return 0;
    }
}

void BM_BareFramingWalk(benchmark::State& state) {
    size_t messages = 0;
    const std::vector<char> buffer = message_mix(1000, &messages);
    char record[1024];
    for (auto _ : state) {
        size_t at = 0;
        while (at + 2 <= buffer.size()) {
            int16_t id;
            memcpy(&id, buffer.data() + at, sizeof(id));
            const size_t size = size_of_id(id);
            if (size == 0 || at + size > buffer.size())
                break;
            memcpy(record, buffer.data() + at, size);
            benchmark::DoNotOptimize(record);
            ++g_loop_events;
            at += size;
        }
        if (at != buffer.size()) {
            state.SkipWithError("the walk left bytes");
            return;
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * messages));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * buffer.size()));
}
BENCHMARK(BM_BareFramingWalk);

}  // namespace
