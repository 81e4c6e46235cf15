// Delivery latency from a peer's write to the user's callback through
// socket_cache_client, against plain blocking sockets on loopback; and the processor
// time that a connected, quiet client costs.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "transport/socket_cache_client.h"

namespace {

const int MESSAGE_SIZE = 64;

// A connected loopback pair: `server_side` is the peer that writes, `client_side`
// what a plain client would read from.
struct loopback_pair {
    int listener = -1;
    int server_side = -1;
    int client_side = -1;
    unsigned short port = 0;

    loopback_pair() {
        listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr;
        memset(&addr, 0, sizeof(addr));
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
        listen(listener, 4);
        socklen_t len = sizeof(addr);
        getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &len);
        port = ntohs(addr.sin_port);
    }
    ~loopback_pair() {
        for (int fd : {listener, server_side, client_side}) {
            if (fd != -1)
                close(fd);
        }
    }
    // Connects a plain blocking socket to the listener.
    bool connect_plain() {
        client_side = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr;
        memset(&addr, 0, sizeof(addr));
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addr.sin_port = htons(port);
        if (connect(client_side, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0)
            return false;
        set_nodelay(client_side);
        return accept_peer();
    }
    bool accept_peer() {
        server_side = accept(listener, nullptr, nullptr);
        if (server_side == -1)
            return false;
        set_nodelay(server_side);
        return true;
    }
    static void set_nodelay(int fd) {
        int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    }
};

void read_fully(int fd, char* buf, size_t len) {
    size_t got = 0;
    while (got < len) {
        ssize_t n = recv(fd, buf + got, len - got, 0);
        if (n <= 0)
            return;
        got += static_cast<size_t>(n);
    }
}

// The limit: the peer writes, the reader is already blocked in recv on its own thread.
void BM_RawBlockingSocketDelivery(benchmark::State& state) {
    loopback_pair pair;
    if (!pair.connect_plain()) {
        state.SkipWithError("connect failed");
        return;
    }
    std::atomic<long> delivered{0};
    std::atomic<bool> quit{false};
    std::thread reader([&] {
        char buf[MESSAGE_SIZE];
        while (!quit) {
            read_fully(pair.client_side, buf, sizeof(buf));
            delivered.fetch_add(1, std::memory_order_release);
        }
    });
    char message[MESSAGE_SIZE] = {};
    long sent = 0;
    for (auto _ : state) {
        send(pair.server_side, message, sizeof(message), 0);
        ++sent;
        while (delivered.load(std::memory_order_acquire) < sent) {
        }
    }
    quit = true;
    shutdown(pair.server_side, SHUT_WR);
    reader.join();
}
BENCHMARK(BM_RawBlockingSocketDelivery)->UseRealTime();

// Consumes and counts every byte offered.
struct counting_user {
    std::atomic<long> delivered_bytes{0};
    static int callback(socket_param& param, void* self) {
        if (param.get_event_type() != EVENT_RECEIVE)
            return 0;
        auto* me = static_cast<counting_user*>(self);
        param.set_proc_len(param.get_buff_size());
        me->delivered_bytes.fetch_add(param.get_buff_size(), std::memory_order_release);
        return 0;
    }
};

// One message per iteration: the peer writes, and the iteration ends when the user's
// callback has seen all of it.
void run_delivery(benchmark::State& state, loopback_pair& pair, counting_user& user) {
    char message[MESSAGE_SIZE] = {};
    long sent = 0;
    for (auto _ : state) {
        send(pair.server_side, message, sizeof(message), 0);
        sent += MESSAGE_SIZE;
        while (user.delivered_bytes.load(std::memory_order_acquire) < sent) {
        }
    }
}

// Connects `client` to the pair's listener with the user's callback; on failure the
// benchmark is marked and false returned.
template <typename Client>
bool connect_client(benchmark::State& state, loopback_pair& pair, Client& client,
                    counting_user& user, int epoll_wait_ms) {
    client.set_epoll_max_wait_time(epoll_wait_ms);
    if (client.sock_init("127.0.0.1", pair.port, counting_user::callback, &user) &&
        pair.accept_peer()) {
        return true;
    }
    state.SkipWithError("connect failed");
    return false;
}

// The same write, read by the event thread of a plain socket_client and handed to the
// callback there.
void BM_DirectClientDelivery(benchmark::State& state) {
    loopback_pair pair;
    counting_user user;
    socket_client client;
    if (connect_client(state, pair, client, user, 500))
        run_delivery(state, pair, user);
    client.sock_close();
}
BENCHMARK(BM_DirectClientDelivery)->UseRealTime();

// The same write, through the event thread, the receive queue and the receive worker
// to the user's callback.
void BM_CacheClientDelivery(benchmark::State& state) {
    loopback_pair pair;
    counting_user user;
    socket_cache_client client(8192);
    if (connect_client(state, pair, client, user, 500))
        run_delivery(state, pair, user);
    client.sock_close();
}
BENCHMARK(BM_CacheClientDelivery)->UseRealTime();

double cpu_seconds() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Processor time of a connected client on a quiet line, in percent of one core. The
// benchmark's own thread sleeps meanwhile, so the process's time is the client's.
void BM_ConnectedClientIdleCpu(benchmark::State& state) {
    loopback_pair pair;
    counting_user user;
    socket_cache_client client(8192);
    if (!connect_client(state, pair, client, user, static_cast<int>(state.range(0))))
        return;
    double cpu = 0;
    double wall = 0;
    for (auto _ : state) {
        auto begin = std::chrono::steady_clock::now();
        double cpu_begin = cpu_seconds();
        std::this_thread::sleep_for(std::chrono::seconds(2));
        cpu += cpu_seconds() - cpu_begin;
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }
    state.counters["cpu_percent_of_core"] = 100.0 * cpu / wall;
    client.sock_close();
}
BENCHMARK(BM_ConnectedClientIdleCpu)
    ->ArgName("epoll_wait_ms")
    ->Arg(50)
    ->Arg(500)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
