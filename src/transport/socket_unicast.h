#ifndef VORTANE_TRANSPORT_SOCKET_UNICAST_H
#define VORTANE_TRANSPORT_SOCKET_UNICAST_H

#include <netinet/in.h>

#include <string>

namespace CLIENT_UDP_SCKT_ONLY {

// What the owner of a socket_unicast implements. The sender keeps the pointer for
// its owner and never calls it: it doesn't receive.
class socket_event {
public:
    virtual ~socket_event();
    virtual void on_receive_message(int id, const char* msg, unsigned int len) = 0;
};

// Sends datagrams from a bound local address to one fixed remote address. No thread.
// The owner calls sock_close; the destructor closes nothing.
class socket_unicast {
public:
    socket_unicast();
    virtual ~socket_unicast();

    // Keeps all six arguments, makes a UDP socket and binds it to the local address.
    // False, with no socket left, if either fails; a local text that is no address
    // fails as a bind. The remote address isn't checked: a text that is no address
    // gives 255.255.255.255, and the sends then fail, as the socket may not broadcast.
    bool sock_init(const std::string& remote_ip, unsigned short remote_port,
                   const std::string& local_ip, unsigned short local_port, int id,
                   socket_event* ptr_event);
    // One datagram of `len` bytes (0 is allowed); the result of sendto, -1 without a
    // socket.
    int sock_send(const char* msg, int len);
    // Closes the socket if there is one. Always false.
    bool sock_close();
    void log_msg(const std::string& msg);

protected:
    socket_event* m_event;
    std::string m_remote_ip;
    unsigned short m_remote_port;
    std::string m_local_ip;
    unsigned short m_local_port;
    int m_id;
    int m_sock;
    sockaddr_in m_remote_addr;

private:
    socket_unicast(const socket_unicast&);
    socket_unicast& operator=(const socket_unicast&);
};

}  // namespace CLIENT_UDP_SCKT_ONLY

#endif
