// What the transport keeps within bounds: the bytes queued behind a slow user, the
// chunks kept idle after a burst, bytes that cannot be stored, and addresses.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>

#include "transport/linux_sckt_client.h"
#include "transport/linux_socket_param.h"
#include "transport/socket_cache_client.h"
#include "transport_support.h"

namespace {

using namespace transport_test;

// A user that takes every byte it is offered, slowly; or, with `lines`, every line
// whole, leaving a cut line for the next offer.
struct slow_reader {
    std::mutex lock;
    std::string bytes;
    std::atomic<size_t> received{0};
    std::atomic<int> remote_ends{0};
    int delay_us = 0;
    bool lines = false;
    static int callback(socket_param& p, void* self) {
        auto* me = static_cast<slow_reader*>(self);
        if (p.get_event_type() == EVENT_REMOTE_DISCONNECT)
            ++me->remote_ends;
        if (p.get_event_type() != EVENT_RECEIVE)
            return 0;
        const std::string run(p.get_buff_addr(), p.get_buff_size());
        const size_t taken = me->lines ? run.rfind('\n') + 1 : run.size();  // npos + 1 is 0
        {
            std::lock_guard<std::mutex> g(me->lock);
            me->bytes.append(run, 0, taken);
        }
        me->received += taken;
        p.set_proc_len(static_cast<unsigned int>(taken));
        if (me->delay_us > 0)
            usleep(static_cast<useconds_t>(me->delay_us));
        return 0;
    }
    std::string copy() {
        std::lock_guard<std::mutex> g(lock);
        return bytes;
    }
};

// The transport with its pool in view, and memory that fails on command.
class probed_client : public socket_cache_client {
public:
    probed_client() : socket_cache_client(8192) {}
    int idle_chunks() { return m_recv.idle_chunks(); }
    int made_chunks() { return m_recv.made_chunks(); }
    bool reading_paused() const { return is_reading_paused(); }
    // 0: never; n: the n-th chunk to read into, or the n-th tail to hold, cannot be had.
    std::atomic<int> fail_store_at{0}, fail_hold_at{0};

protected:
    recv_chunk* new_chunk() override {
        return ++m_stores != fail_store_at.load() ? socket_cache_client::new_chunk() : nullptr;
    }
    bool hold_bytes(VORTANE::TOOLS::stream_buffer& hold, const char* data, size_t len) override {
        return ++m_holds != fail_hold_at.load() && socket_cache_client::hold_bytes(hold, data, len);
    }

private:
    int m_stores = 0, m_holds = 0;
};

// A server far faster than its user: the event thread stops reading at the bound and
// TCP pushes back, so what is queued never passes it; every byte still arrives, in
// order. Afterwards the pool keeps only a few chunks idle.
TEST(SocketCacheClient, BacklogBehindASlowUserStaysBoundedAndLosesNothing) {
    const size_t total = 3 * socket_cache_client::BACKLOG_PAUSE_BYTES;
    const std::string data = pattern(total);
    loopback_server server;
    slow_reader user;
    user.delay_us = 300;
    probed_client client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), slow_reader::callback, &user));
    const int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    std::thread writer([&] { write_all(peer, data); });
    size_t most = 0;
    const bool all = wait_until(
        [&] {
            most = std::max(most, client.get_backlog_bytes());
            return user.received == total;
        },
        120000);
    writer.join();
    ASSERT_TRUE(all) << user.received << " of " << total;
    EXPECT_TRUE(user.copy() == data) << "bytes lost or out of order";
    // At most one read beyond the bound; and the bound was reached.
    EXPECT_LE(most, socket_cache_client::BACKLOG_PAUSE_BYTES + 8192);
    EXPECT_GE(most, socket_cache_client::BACKLOG_RESUME_BYTES);
    EXPECT_LE(client.idle_chunks(), 64);
    client.sock_close();
}

// A user that holds on to its first offer until let go.
struct held_reader {
    std::atomic<bool> go{false};
    std::atomic<size_t> received{0};
    static int callback(socket_param& p, void* self) {
        auto* me = static_cast<held_reader*>(self);
        if (p.get_event_type() != EVENT_RECEIVE)
            return 0;
        wait_until([&] { return me->go.load(); }, 60000);
        me->received += p.get_buff_size();
        p.set_proc_len(p.get_buff_size());
        return 0;
    }
};

// When the reader first stops at the bound, the chunks queued and its spares are all
// there are, and the pool keeps every one of them: later bursts, however they fall,
// find what they need idle and allocate nothing.
TEST(SocketCacheClient, TheFirstPauseMakesEveryChunkAStreamCanEverHoldAtOnce) {
    const size_t total = 2 * socket_cache_client::BACKLOG_PAUSE_BYTES;
    const int every_chunk = recv_path::POOL_DEPTH;
    loopback_server server;
    held_reader user;
    probed_client client;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), held_reader::callback, &user));
    const int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    std::thread writer([&] { write_all(peer, pattern(total)); });
    const bool paused = wait_until([&] { return client.reading_paused(); });
    const int made_at_pause = client.made_chunks();
    user.go = true;
    const bool all = wait_until([&] { return user.received == total; }, 60000);
    writer.join();
    ASSERT_TRUE(paused) << "the reader never reached the bound";
    EXPECT_EQ(every_chunk, made_at_pause);
    ASSERT_TRUE(all) << user.received << " of " << total;
    client.sock_close();
    EXPECT_EQ(every_chunk, client.made_chunks());
    EXPECT_EQ(every_chunk, client.idle_chunks()) << "the pool let chunks go";
}

// Memory that fails, for the chunk the event thread reads into or for the tail the
// receive worker must hold, ends the connection as the far side's end would: the user
// never sees the stream with a hole.
class StoreFailure : public ::testing::TestWithParam<bool> {};

TEST_P(StoreFailure, EndsTheConnectionInsteadOfLeavingAHole) {
    const bool on_worker = GetParam();
    loopback_server server;
    slow_reader user;
    user.lines = true;
    probed_client client;
    // The event thread's first read readies CHUNKS_PER_READ chunks and fills one; the
    // chunk that replaces it is the one that fails, at the read of the cut line.
    (on_worker ? client.fail_hold_at : client.fail_store_at) =
        on_worker ? 1 : socket_cache_client::CHUNKS_PER_READ + 1;
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), slow_reader::callback, &user));
    const int peer = server.accept_peer();
    ASSERT_NE(-1, peer);
    ASSERT_TRUE(write_all(peer, "first\n"));
    ASSERT_TRUE(wait_until([&] { return user.received == 6; }));
    ASSERT_TRUE(write_all(peer, "sec"));  // a cut line: its tail must be held
    ASSERT_TRUE(wait_until([&] { return user.remote_ends == 1; })) << "the link stays up";
    write_all(peer, "ond\nthird\n");
    quiet_window();
    EXPECT_EQ("first\n", user.copy());
    EXPECT_FALSE(client.is_connected());
    EXPECT_EQ(-1, client.sock_send("x", 1));
    client.sock_close();
}

INSTANTIATE_TEST_SUITE_P(EventThreadAndWorker, StoreFailure, ::testing::Bool());

// Departure from inet_aton's leniency: only four decimal numbers of 0 to 255.
TEST(Addresses, OnlyDottedIPv4TextIsAnAddressAndNoClientConnectsToAnythingElse) {
    for (const char* good : {"127.0.0.1", "0.0.0.0", "255.255.255.255", "127.000.000.001"})
        EXPECT_TRUE(is_dotted_ipv4(good)) << good;
    for (const char* bad : {"", "garbage", "999.0.0.1", "127.0.0.256", "1.2.3.4.5", "127.1",
                            "1.2.3.", ".1.2.3", "1..2.3", "1.2.3.4 ", "0x7f.0.0.1", "1.2.3.0001"})
        EXPECT_FALSE(is_dotted_ipv4(bad)) << bad;
    in_addr addr;
    ASSERT_TRUE(parse_dotted_ipv4("10.020.3.255", &addr));
    EXPECT_EQ(htonl(0x0a1403ff), addr.s_addr) << "decimal, never octal";

    loopback_server server;
    event_recorder rec;
    socket_client plain;
    lc::sckt_client light;
    for (const char* bad : {"garbage", "999.0.0.1", "127.0.0.256", "1.2.3.4.5"}) {
        EXPECT_FALSE(plain.sock_init(bad, server.port(), event_recorder::callback, &rec)) << bad;
        EXPECT_FALSE(light.sock_init(bad, server.port(), event_recorder::callback, &rec)) << bad;
    }
    EXPECT_EQ(-1, server.accept_peer(200)) << "something connected to this machine";
    EXPECT_EQ(0, rec.count(ANY_EVENT));
}

}  // namespace
