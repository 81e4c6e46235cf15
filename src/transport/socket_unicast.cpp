#include "transport/socket_unicast.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <iostream>

namespace CLIENT_UDP_SCKT_ONLY {

namespace {

// inet_addr and not inet_aton: a text that is no address gives INADDR_NONE rather
// than 0.0.0.0, so that it can't bind to every interface.
sockaddr_in make_udp_addr(const std::string& ip, unsigned short port) {
    sockaddr_in addr;
    memset(&addr, 0, sizeof(addr));
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = inet_addr(ip.c_str());
    addr.sin_port = htons(port);
    return addr;
}

}  // namespace

socket_event::~socket_event() {}

socket_unicast::socket_unicast()
    : m_event(nullptr), m_remote_port(0), m_local_port(0), m_id(0), m_sock(-1) {
    memset(&m_remote_addr, 0, sizeof(m_remote_addr));
}

socket_unicast::~socket_unicast() {}

bool socket_unicast::sock_init(const std::string& remote_ip, unsigned short remote_port,
                               const std::string& local_ip, unsigned short local_port, int id,
                               socket_event* ptr_event) {
    m_remote_ip = remote_ip;
    m_remote_port = remote_port;
    m_local_ip = local_ip;
    m_local_port = local_port;
    m_id = id;
    m_event = ptr_event;
    // A second init replaces the socket; the first must not be left open behind it.
    sock_close();
    m_sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_sock == -1)
        return false;
    sockaddr_in local = make_udp_addr(local_ip, local_port);
    // A text that is no address gives the broadcast address, which Linux would let a
    // datagram socket bind to: that counts as a failed bind.
    bool bad_local = local.sin_addr.s_addr == INADDR_NONE;
    if (bad_local || bind(m_sock, reinterpret_cast<sockaddr*>(&local), sizeof(local)) < 0) {
        sock_close();
        return false;
    }
    m_remote_addr = make_udp_addr(remote_ip, remote_port);
    return true;
}

int socket_unicast::sock_send(const char* msg, int len) {
    if (m_sock == -1 || len < 0)
        return -1;
    return static_cast<int>(sendto(m_sock, msg, static_cast<size_t>(len), 0,
                                   reinterpret_cast<const sockaddr*>(&m_remote_addr),
                                   sizeof(m_remote_addr)));
}

bool socket_unicast::sock_close() {
    if (m_sock != -1) {
        close(m_sock);
        m_sock = -1;
    }
    return false;
}

void socket_unicast::log_msg(const std::string& msg) {
    std::cout << msg << std::endl;
}

}  // namespace CLIENT_UDP_SCKT_ONLY
