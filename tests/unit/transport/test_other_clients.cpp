// What the transport offers beside the query client's path: the light TCP client,
// the UDP sender and the look-up of local addresses.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "transport/linux_sckt_client.h"
#include "transport/linux_socket_client.h"
#include "transport/linux_socket_param.h"
#include "transport/sckt_cache_client.h"
#include "transport/socket_unicast.h"
#include "transport_support.h"

namespace {

using namespace transport_test;
using CLIENT_UDP_SCKT_ONLY::socket_unicast;
typedef std::vector<std::string> strings;
typedef session<lc::sckt_cache_client> cache_session;
const unsigned int HOLD_SIZE = 16;  // smaller than the runs, so that the buffer has to grow

TEST(ScktCacheClient, CalledOncePerReadWhatIsLeftComesBackWithTheNextBytes) {
    cache_session s(CONSUME_ONE_FRAME, HOLD_SIZE);
    ASSERT_TRUE(s.open());
    // One read with a message and a half: one call, which takes the first.
    const std::string two = make_frame(pattern(98));
    ASSERT_TRUE(write_all(s.peer, make_frame("one") + two.substr(0, 40)));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 1));
    quiet_window();
    EXPECT_EQ(1, s.rec.count(EVENT_RECEIVE));
    // The rest and one more: again one call, from the first byte not consumed.
    ASSERT_TRUE(write_all(s.peer, two.substr(40) + make_frame("three")));
    ASSERT_TRUE(s.rec.wait_for(EVENT_RECEIVE, 2));
    EXPECT_EQ(two + make_frame("three"), s.rec.of_type(EVENT_RECEIVE)[1].bytes);
    EXPECT_EQ((strings{"one", pattern(98)}), s.rec.frames());
}

TEST(ScktClient, EitherEndIsSeenByTheOtherAndOurDescriptorsClose) {
    session<lc::sckt_client> s(CONSUME_ALL);
    leak_check leaks;
    ASSERT_TRUE(s.open());
    ASSERT_TRUE(s.rec.wait_for(EVENT_CONNECT, 1));
    ASSERT_TRUE(write_all(s.peer, "tail"));
    s.server.close_peer(s.peer);
    ASSERT_TRUE(s.rec.wait_for(EVENT_REMOTE_DISCONNECT, 1));
    // Whatever of the bytes is read before the end comes in order.
    EXPECT_EQ(0u, std::string("tail").find(s.rec.consumed()));
    EXPECT_FALSE(s.client.is_connected());
    EXPECT_TRUE(leaks.clean());
    EXPECT_EQ(-1, s.client.sock_send("x", 1));

    ASSERT_TRUE(s.open());
    EXPECT_TRUE(s.client.sock_close());
    char byte;
    EXPECT_TRUE(recv(s.peer, &byte, 1, 0) == 0 || errno == ECONNRESET)
        << "the far side sees the end";
    s.server.close_peer(s.peer);
    EXPECT_TRUE(leaks.clean());
    // Our close is reported as the local end; the far side's was reported once only.
    EXPECT_EQ(1, s.rec.count(EVENT_LOCALE_DISCONNECT));
    EXPECT_EQ(1, s.rec.count(EVENT_REMOTE_DISCONNECT));
}

// Holds the event thread in the report of received bytes until released.
struct blocking_user {
    std::atomic<bool> entered{false}, release{false}, returned{false};
    static int callback(lc::sckt_param& p, void* self) {
        auto* me = static_cast<blocking_user*>(self);
        if (p.get_event_type() != lc::EVENT_RECEIVE)
            return 0;
        me->entered = true;
        wait_until([me] { return me->release.load(); });
        p.set_proc_len(p.get_buff_size());
        me->returned = true;
        return 0;
    }
};

TEST(ScktCacheClient, CloseAndDestroyWhileTheThreadIsInACallback) {
    leak_check leaks;
    blocking_user user;
    std::thread releaser;
    {
        loopback_server server;
        lc::sckt_cache_client client(HOLD_SIZE);
        ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), blocking_user::callback, &user));
        ASSERT_TRUE(write_all(server.accept_peer(), pattern(100)));
        ASSERT_TRUE(wait_until([&] { return user.entered.load(); }));
        EXPECT_FALSE(client.sock_close());  // gives up waiting for the busy thread
        EXPECT_FALSE(client.is_connected());
        // Released while the destructor waits, as a rule; the thread still pops the
        // hold buffer and closes the socket after the callback returns.
        releaser = std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            user.release = true;
        });
    }
    EXPECT_TRUE(user.returned.load());
    releaser.join();
    EXPECT_TRUE(leaks.clean());
}

TEST(LocalInterface, FindsLoopbackAndTheAddressOfAConnection) {
    EXPECT_EQ("127.0.0.1", get_local_ip("lo"));
    EXPECT_EQ("", get_local_ip("zq-no-such-if"));
    EXPECT_EQ("", get_local_ip("lo345678901234567890"));  // cut to 15, no such name
    std::vector<std::string> all = {"kept"};
    ASSERT_TRUE(get_all_network_card_ip(all));
    EXPECT_EQ("kept", all[0]);
    EXPECT_EQ(1, std::count(all.begin(), all.end(), "127.0.0.1"));

    loopback_server server;
    event_recorder rec;
    socket_client client;
    unsigned char ip[4] = {0xEE, 0xEE, 0xEE, 0xEE}, mac[6];
    EXPECT_FALSE(client.get_local_ip(ip));
    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    ASSERT_TRUE(client.get_local_ip(ip));
    EXPECT_EQ(std::string("\x7f\0\0\x01", 4), std::string(ip, ip + 4));
    EXPECT_FALSE(client.get_local_mac(mac));  // "lo" is left out of the list
    client.sock_close();
}

// A UDP socket bound on 127.0.0.1, ephemeral port, whose reads give up after 10 s.
int bound_udp(unsigned short& port) {
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(addr);
    timeval limit = {10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    bind(fd, reinterpret_cast<sockaddr*>(&addr), len);
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    port = ntohs(addr.sin_port);
    return fd;
}

TEST(SocketUnicast, BadLocalAddressesFailAndDatagramsArriveIntactFromTheBoundPort) {
    unsigned short port = 0, local_port = 0;
    close(bound_udp(local_port));  // a port that was just free
    const int receiver = bound_udp(port);
    leak_check leaks;
    socket_unicast sender;
    for (const char* local : {"127.0.0.300", "loopback"})
        EXPECT_FALSE(sender.sock_init(LOOPBACK, port, local, 0, 1, nullptr)) << local;
    // The receiver's own port is taken, and no address reuse is asked for.
    EXPECT_FALSE(sender.sock_init(LOOPBACK, port, LOOPBACK, port, 1, nullptr));
    EXPECT_EQ(-1, sender.sock_send("x", 1));
    EXPECT_TRUE(leaks.clean()) << "no socket left";

    ASSERT_TRUE(sender.sock_init(LOOPBACK, port, LOOPBACK, local_port, 7, nullptr));
    EXPECT_EQ(0, inheritable_sockets(receiver)) << "the sender's socket is close-on-exec";
    const std::vector<std::string> sent = {"hello", "", pattern(60000), std::string("a\0b", 3)};
    for (const std::string& d : sent)
        EXPECT_EQ(static_cast<int>(d.size()),
                  sender.sock_send(d.data(), static_cast<int>(d.size())));
    std::vector<char> buf(65536);
    for (const std::string& d : sent) {
        sockaddr_in from = {};
        socklen_t len = sizeof(from);
        ssize_t n =
            recvfrom(receiver, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &len);
        EXPECT_TRUE(n >= 0 && std::string(buf.data(), static_cast<size_t>(n)) == d)
            << n << " bytes";
        EXPECT_EQ(local_port, ntohs(from.sin_port));
    }
    close(receiver);
    EXPECT_FALSE(sender.sock_close());
    EXPECT_FALSE(sender.sock_close());
    EXPECT_EQ(-1, sender.sock_send("x", 1));
}

}  // namespace
