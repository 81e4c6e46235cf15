#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "loopback_server.h"
#include "transport/socket_unicast.h"

namespace {

using CLIENT_UDP_SCKT_ONLY::socket_unicast;
using transport_test::LOOPBACK;
using transport_test::open_fd_count;

// A UDP socket bound in the test on 127.0.0.1, ephemeral port.
class udp_receiver {
public:
    udp_receiver() {
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(m_sock, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
        socklen_t len = sizeof(addr);
        getsockname(m_sock, reinterpret_cast<sockaddr*>(&addr), &len);
        m_port = ntohs(addr.sin_port);
    }
    ~udp_receiver() { close(m_sock); }
    udp_receiver(const udp_receiver&) = delete;
    udp_receiver& operator=(const udp_receiver&) = delete;

    unsigned short port() const { return m_port; }
    // The next datagram and where it came from; false if none came within 10 s.
    bool receive(std::string& bytes, sockaddr_in& from) {
        pollfd p = {m_sock, POLLIN, 0};
        if (poll(&p, 1, 10000) != 1)
            return false;
        std::vector<char> buf(65536);
        socklen_t len = sizeof(from);
        ssize_t n =
            recvfrom(m_sock, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &len);
        if (n < 0)
            return false;
        bytes.assign(buf.data(), static_cast<size_t>(n));
        return true;
    }

private:
    int m_sock = socket(AF_INET, SOCK_DGRAM, 0);
    unsigned short m_port = 0;
};

// A UDP port that was just free.
unsigned short free_udp_port() {
    return udp_receiver().port();
}

TEST(SocketUnicast, DatagramsArriveIntactFromTheBoundLocalAddress) {
    udp_receiver receiver;
    unsigned short local_port = free_udp_port();
    socket_unicast sender;
    ASSERT_TRUE(sender.sock_init(LOOPBACK, receiver.port(), LOOPBACK, local_port, 7, nullptr));
    std::string big(60000, ' ');
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<char>(i * 7 % 251);
    const std::vector<std::string> sent = {"hello", "", big, std::string("a\0b", 3)};
    for (const std::string& d : sent)
        EXPECT_EQ(static_cast<int>(d.size()),
                  sender.sock_send(d.data(), static_cast<int>(d.size())));
    for (const std::string& d : sent) {
        std::string got;
        sockaddr_in from = {};
        ASSERT_TRUE(receiver.receive(got, from));
        EXPECT_TRUE(got == d) << got.size() << " bytes, " << d.size() << " sent";
        EXPECT_EQ(htonl(INADDR_LOOPBACK), from.sin_addr.s_addr);
        EXPECT_EQ(local_port, ntohs(from.sin_port));
    }
    EXPECT_FALSE(sender.sock_close());
}

TEST(SocketUnicast, BadLocalAddressOrBusyPortFailsWithNoSocketLeft) {
    udp_receiver receiver;
    int fds = open_fd_count();
    socket_unicast sender;
    EXPECT_FALSE(sender.sock_init(LOOPBACK, receiver.port(), "127.0.0.300", 0, 1, nullptr));
    EXPECT_EQ(-1, sender.sock_send("x", 1));
    EXPECT_FALSE(sender.sock_init(LOOPBACK, receiver.port(), "loopback", 0, 1, nullptr));
    // The receiver's own port is taken, and no address reuse is asked for.
    EXPECT_FALSE(
        sender.sock_init(LOOPBACK, receiver.port(), LOOPBACK, receiver.port(), 1, nullptr));
    EXPECT_EQ(-1, sender.sock_send("x", 1));
    EXPECT_EQ(fds, open_fd_count());
}

TEST(SocketUnicast, CloseIsFinalAndANewInitReplacesTheSocket) {
    udp_receiver receiver;
    int fds = open_fd_count();
    socket_unicast sender;
    EXPECT_FALSE(sender.sock_close());
    ASSERT_TRUE(sender.sock_init(LOOPBACK, receiver.port(), LOOPBACK, 0, 1, nullptr));
    ASSERT_TRUE(sender.sock_init(LOOPBACK, receiver.port(), LOOPBACK, 0, 2, nullptr));
    EXPECT_EQ(fds + 1, open_fd_count());
    EXPECT_FALSE(sender.sock_close());
    EXPECT_EQ(fds, open_fd_count());
    EXPECT_EQ(-1, sender.sock_send("x", 1));
    EXPECT_FALSE(sender.sock_close());
    EXPECT_EQ(fds, open_fd_count());
}

}  // namespace
