#ifndef VORTANE_TRANSPORT_LINUX_SOCKET_PARAM_H
#define VORTANE_TRANSPORT_LINUX_SOCKET_PARAM_H

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "transport/socket_param.h"

struct ifaddrs;

// Lets the owner of a socket object take its log lines. The owner derives from it and
// passes it with socket_client::sock_set_context; the socket object doesn't own it.
class socket_context {
public:
    virtual ~socket_context();
    virtual void on_socket_write_info_msg(const char* msg, int len) = 0;
    virtual void on_socket_write_error_msg(const char* msg, int len) = 0;
    virtual void on_socket_write_bin_msg(const char* msg, int len) = 0;
};

// Failures of epoll_wait over the life of one socket_client, by kind.
struct epoll_error {
    epoll_error();

    int m_wait_error_EBADF;
    int m_wait_error_EFAULT;
    int m_wait_error_EINTR;
    int m_wait_error_EINVAL;
    int m_wait_error_UNDEF;
};

// Helpers that both TCP clients share.

// Exactly four decimal numbers of 0 to 255, of one to three digits each, joined by
// points ("127.0.0.1", "127.000.000.001"); not "127.1", "1.2.3.4.5", "999.0.0.1", a
// name or an empty text. True and *out (may be null) set when the text is one.
bool parse_dotted_ipv4(const std::string& ip, in_addr* out);
bool is_dotted_ipv4(const std::string& ip);
// A dotted IPv4 text and a port in host order. A text that is no address leaves
// 0.0.0.0: callers check it with is_dotted_ipv4 first.
sockaddr_in make_ipv4_addr(const std::string& ip, unsigned short port);

// TCP_NODELAY on, and SO_LINGER on with a time of 0, so that close() drops what is
// unsent and resets the connection. False as soon as one option fails.
bool set_tcp_client_options(int sock);
// epoll_ctl for one socket, with `events` and data.fd = sock; its result.
int epoll_watch_kq(int epoll_handle, int op, int sock, uint32_t events);
// Closes the descriptor in `fd`, if any, after leaving -1 there: the number must not
// stay behind once closed, as it can come back for another file.
void close_descriptor_kq(std::atomic<int>& fd);

// One IPv4 address of one interface and that interface's hardware address.
struct ip_and_mac {
    unsigned char m_ip[4];  // first octet first
    unsigned char m_mac[6];
};

// Local interface discovery. Every failure shows as an empty string, false or 0;
// nothing is logged.

// Dotted IPv4 address of the interface `str_eth` (cut to 15 characters), or "".
std::string get_local_ip(std::string str_eth);
// Appends the address of every interface in the kernel's list, loopback included, in
// list order; `outVecs` is not cleared. False if no socket could be made.
bool get_all_network_card_ip(std::vector<std::string>& outVecs);
// Fills at most `buf_count` entries from the host's IPv4 addresses, "lo" left out,
// and returns how many. An entry whose hardware address can't be read keeps the
// m_mac that the caller left there.
unsigned char load_ip_and_mac(ip_and_mac* p_data, int buf_count);

// The walk behind load_ip_and_mac, over a given interface list. `p_has_mac` (may be
// null) tells, entry by entry, whether m_mac was written.
unsigned char collect_ip_and_mac(const ifaddrs* list, ip_and_mac* p_data, bool* p_has_mac,
                                 int buf_count);
// The hardware address of the first entry of `list` that has the IPv4 address
// `ip` (four octets, first first). False, and nothing written, if there is none or
// if that entry's hardware address couldn't be read.
bool find_mac_of_ip(const ifaddrs* list, const unsigned char* ip, unsigned char* p_mac);

#endif
