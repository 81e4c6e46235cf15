#include "transport/linux_socket_param.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

socket_context::~socket_context() {}

epoll_error::epoll_error()
    : m_wait_error_EBADF(0),
      m_wait_error_EFAULT(0),
      m_wait_error_EINTR(0),
      m_wait_error_EINVAL(0),
      m_wait_error_UNDEF(0) {}

namespace {

// Room for 25 records of the kernel's interface list.
const int IFCONF_RECORDS = 25;
// get_local_mac looks through this many addresses of the host.
const int MAC_SEARCH_ENTRIES = 128;
// The count of load_ip_and_mac is one byte.
const int MAX_IP_AND_MAC_ENTRIES = 255;
const int MAC_LEN = 6;

// Copies an interface name into an ifreq, cut to IFNAMSIZ - 1 characters.
void set_if_name(ifreq& ifr, const char* name) {
    strncpy(ifr.ifr_name, name, IFNAMSIZ - 1);
    ifr.ifr_name[IFNAMSIZ - 1] = '\0';
}

in_addr ipv4_of(const sockaddr& addr) {
    sockaddr_in in;
    memcpy(&in, &addr, sizeof(in));
    return in.sin_addr;
}

// Dotted text into a local buffer: inet_ntoa's shared static buffer isn't safe
// across threads.
std::string ipv4_text(const sockaddr& addr) {
    in_addr ip = ipv4_of(addr);
    char text[INET_ADDRSTRLEN];
    if (inet_ntop(AF_INET, &ip, text, sizeof(text)) == nullptr)
        return std::string();
    return text;
}

bool read_hw_addr(int sock, const char* name, unsigned char* p_mac) {
    ifreq ifr;
    memset(&ifr, 0, sizeof(ifr));
    set_if_name(ifr, name);
    if (ioctl(sock, SIOCGIFHWADDR, &ifr) != 0)
        return false;
    memcpy(p_mac, ifr.ifr_hwaddr.sa_data, MAC_LEN);
    return true;
}

bool is_listed_ipv4(const ifaddrs* entry) {
    return entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
           entry->ifa_name != nullptr && strcmp(entry->ifa_name, "lo") != 0;
}

}  // namespace

bool parse_dotted_ipv4(const std::string& ip, in_addr* out) {
    unsigned int parts[4];
    size_t at = 0;
    for (int i = 0; i < 4; ++i) {
        if (i > 0 && (at >= ip.size() || ip[at++] != '.'))
            return false;
        size_t digits = 0;
        unsigned int value = 0;
        // Decimal, leading zeros and all: "010" is ten, never octal eight.
        while (at < ip.size() && ip[at] >= '0' && ip[at] <= '9' && digits < 3) {
            value = value * 10 + static_cast<unsigned int>(ip[at++] - '0');
            ++digits;
        }
        if (digits == 0 || value > 255)
            return false;
        parts[i] = value;
    }
    if (at != ip.size())
        return false;
    if (out != nullptr)
        out->s_addr = htonl(parts[0] << 24 | parts[1] << 16 | parts[2] << 8 | parts[3]);
    return true;
}

bool is_dotted_ipv4(const std::string& ip) {
    return parse_dotted_ipv4(ip, nullptr);
}

sockaddr_in make_ipv4_addr(const std::string& ip, unsigned short port) {
    sockaddr_in addr;
    memset(&addr, 0, sizeof(addr));
    addr.sin_family = AF_INET;
    parse_dotted_ipv4(ip, &addr.sin_addr);
    addr.sin_port = htons(port);
    return addr;
}

bool set_tcp_client_options(int sock) {
    int on = 1;
    if (setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)) != 0)
        return false;
    linger lin;
    lin.l_onoff = 1;
    lin.l_linger = 0;
    return setsockopt(sock, SOL_SOCKET, SO_LINGER, &lin, sizeof(lin)) == 0;
}

int epoll_watch_kq(int epoll_handle, int op, int sock, uint32_t events) {
    epoll_event watch;
    memset(&watch, 0, sizeof(watch));
    watch.events = events;
    watch.data.fd = sock;
    return epoll_ctl(epoll_handle, op, sock, &watch);
}

void close_descriptor_kq(std::atomic<int>& fd) {
    int old = fd.exchange(-1);
    if (old != -1)
        close(old);
}

std::string get_local_ip(std::string str_eth) {
    int sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (sock == -1)
        return std::string();
    ifreq ifr;
    memset(&ifr, 0, sizeof(ifr));
    set_if_name(ifr, str_eth.c_str());
    int result = ioctl(sock, SIOCGIFADDR, &ifr);
    close(sock);
    if (result < 0)
        return std::string();
    return ipv4_text(ifr.ifr_addr);
}

bool get_all_network_card_ip(std::vector<std::string>& outVecs) {
    ifreq records[IFCONF_RECORDS];
    memset(records, 0, sizeof(records));
    int sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (sock == -1)
        return false;
    ifconf conf;
    conf.ifc_len = sizeof(records);
    conf.ifc_req = records;
    // A failed listing must not be read as a full one.
    int count =
        ioctl(sock, SIOCGIFCONF, &conf) == 0 ? static_cast<int>(conf.ifc_len / sizeof(ifreq)) : 0;
    // Every record, loopback included: which to leave out is the caller's choice.
    for (int i = 0; i < count; ++i) {
        if (ioctl(sock, SIOCGIFADDR, &records[i]) == 0)
            outVecs.push_back(ipv4_text(records[i].ifr_addr));
    }
    close(sock);
    return true;
}

unsigned char collect_ip_and_mac(const ifaddrs* list, ip_and_mac* p_data, bool* p_has_mac,
                                 int buf_count) {
    if (p_data == nullptr || buf_count <= 0)
        return 0;
    // More entries than the count can tell would be reported as too few.
    int limit = buf_count < MAX_IP_AND_MAC_ENTRIES ? buf_count : MAX_IP_AND_MAC_ENTRIES;
    int sock_mac = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool usable = sock_mac > 0;
    int count = 0;
    for (const ifaddrs* entry = list; entry != nullptr && count < limit; entry = entry->ifa_next) {
        if (!is_listed_ipv4(entry))
            continue;
        in_addr ip = ipv4_of(*entry->ifa_addr);
        memcpy(p_data[count].m_ip, &ip, sizeof(p_data[count].m_ip));
        bool has_mac = usable && read_hw_addr(sock_mac, entry->ifa_name, p_data[count].m_mac);
        if (p_has_mac != nullptr)
            p_has_mac[count] = has_mac;
        ++count;
    }
    if (usable)
        close(sock_mac);
    return static_cast<unsigned char>(count);
}

unsigned char load_ip_and_mac(ip_and_mac* p_data, int buf_count) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return 0;
    unsigned char count = collect_ip_and_mac(list, p_data, nullptr, buf_count);
    freeifaddrs(list);
    return count;
}

bool find_mac_of_ip(const ifaddrs* list, const unsigned char* ip, unsigned char* p_mac) {
    ip_and_mac entries[MAC_SEARCH_ENTRIES];
    bool has_mac[MAC_SEARCH_ENTRIES];
    int count = collect_ip_and_mac(list, entries, has_mac, MAC_SEARCH_ENTRIES);
    for (int i = 0; i < count; ++i) {
        if (memcmp(entries[i].m_ip, ip, sizeof(entries[i].m_ip)) != 0)
            continue;
        // The first match decides. Without a hardware address there are no bytes to
        // give: nothing is written.
        if (!has_mac[i])
            return false;
        memcpy(p_mac, entries[i].m_mac, MAC_LEN);
        return true;
    }
    return false;
}
