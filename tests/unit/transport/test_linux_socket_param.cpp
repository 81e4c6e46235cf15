#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "loopback_server.h"
#include "transport/linux_sckt_client.h"
#include "transport/linux_socket_client.h"
#include "transport/linux_socket_param.h"

namespace {

using namespace transport_test;

typedef std::vector<unsigned char> bytes;

bytes ip_bytes(const char* dotted) {
    in_addr ip;
    inet_pton(AF_INET, dotted, &ip);
    const unsigned char* p = reinterpret_cast<const unsigned char*>(&ip);
    return bytes(p, p + 4);
}

// The hardware address of `name` as the kernel's sysfs shows it; empty if there is
// none there.
bytes sysfs_mac(std::string name) {
    name = name.substr(0, name.find(':'));  // an address label names its device first
    FILE* f = fopen(("/sys/class/net/" + name + "/address").c_str(), "r");
    if (f == nullptr)
        return bytes();
    unsigned int b[6];
    int n = fscanf(f, "%x:%x:%x:%x:%x:%x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5]);
    fclose(f);
    return n == 6 ? bytes(b, b + 6) : bytes();
}

// An interface other than "lo" with a hardware address, or "" if the host has none.
std::string ethernet_interface() {
    ifaddrs* list = nullptr;
    std::string found;
    if (getifaddrs(&list) != 0)
        return found;
    for (ifaddrs* e = list; e != nullptr && found.empty(); e = e->ifa_next) {
        if (strcmp(e->ifa_name, "lo") != 0 && sysfs_mac(e->ifa_name).size() == 6)
            found = e->ifa_name;
    }
    freeifaddrs(list);
    return found;
}

struct listed_address {
    std::string name;
    std::string ip;
};

// The host's IPv4 addresses in the order of its interface list.
std::vector<listed_address> host_ipv4_addresses() {
    std::vector<listed_address> out;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return out;
    for (ifaddrs* e = list; e != nullptr; e = e->ifa_next) {
        if (e->ifa_addr == nullptr || e->ifa_addr->sa_family != AF_INET)
            continue;
        char text[INET_ADDRSTRLEN];
        inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(e->ifa_addr)->sin_addr, text,
                  sizeof(text));
        out.push_back({e->ifa_name, text});
    }
    freeifaddrs(list);
    return out;
}

// An interface list made up in the test.
class fake_list {
public:
    // A family of 0 gives an entry with no address.
    void add(const char* name, int family, const char* ip = "0.0.0.0") {
        m_names.push_back(name);
        sockaddr_in addr = {};
        addr.sin_family = static_cast<sa_family_t>(family);
        inet_pton(AF_INET, ip, &addr.sin_addr);
        m_addrs.push_back(addr);
        ifaddrs node = {};
        node.ifa_name = &m_names.back()[0];
        node.ifa_addr = family != 0 ? reinterpret_cast<sockaddr*>(&m_addrs.back()) : nullptr;
        m_nodes.push_back(node);
        for (size_t i = 0; i + 1 < m_nodes.size(); ++i)
            m_nodes[i].ifa_next = &m_nodes[i + 1];
    }
    const ifaddrs* head() const { return m_nodes.empty() ? nullptr : &m_nodes.front(); }

private:
    std::deque<std::string> m_names;
    std::deque<sockaddr_in> m_addrs;
    std::deque<ifaddrs> m_nodes;
};

const unsigned char UNTOUCHED = 0xEE;

TEST(LocalInterface, NamedLookUpFindsLoopbackOnly) {
    EXPECT_EQ("127.0.0.1", get_local_ip("lo"));
    EXPECT_EQ("127.0.0.1", CLIENT_SCKT_ONLY::get_local_ip("lo"));
    EXPECT_EQ("", get_local_ip(""));
    EXPECT_EQ("", get_local_ip("zq-no-such-if"));
    // 20 characters are cut to 15, which name no interface either.
    EXPECT_EQ("", get_local_ip("lo345678901234567890"));
}

TEST(LocalInterface, AllCardAddressesAreAppendedLoopbackIncluded) {
    std::vector<std::string> out = {"kept"};
    ASSERT_TRUE(get_all_network_card_ip(out));
    ASSERT_FALSE(out.empty());
    EXPECT_EQ("kept", out[0]);
    std::vector<std::string> found(out.begin() + 1, out.end());
    std::vector<std::string> expected;
    for (const listed_address& a : host_ipv4_addresses())
        expected.push_back(a.ip);
    std::sort(found.begin(), found.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, found);
    EXPECT_TRUE(std::count(found.begin(), found.end(), "127.0.0.1") == 1);
}

TEST(LocalInterface, HostAddressListLeavesOutLoopback) {
    std::vector<listed_address> expected;
    for (const listed_address& a : host_ipv4_addresses()) {
        if (a.name != "lo")
            expected.push_back(a);
    }
    ip_and_mac entries[128];
    memset(entries, UNTOUCHED, sizeof(entries));
    ASSERT_EQ(expected.size(), load_ip_and_mac(entries, 128));
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(expected[i].name);
        EXPECT_EQ(ip_bytes(expected[i].ip.c_str()), bytes(entries[i].m_ip, entries[i].m_ip + 4));
        bytes mac = sysfs_mac(expected[i].name);
        if (mac.size() == 6) {
            EXPECT_EQ(mac, bytes(entries[i].m_mac, entries[i].m_mac + 6));
        }
    }
    EXPECT_EQ(UNTOUCHED, entries[expected.size()].m_ip[0]);

    memset(entries, UNTOUCHED, sizeof(entries));
    EXPECT_EQ(0, load_ip_and_mac(entries, 0));
    EXPECT_EQ(UNTOUCHED, entries[0].m_ip[0]);
}

TEST(LocalInterface, WalkSkipsWhatIsNoListedIpv4AndKeepsMacsNobodyRead) {
    fake_list list;
    list.add("zq-noaddr", 0);
    list.add("lo", AF_INET, "127.0.0.1");
    list.add("zq-v6", AF_INET6);
    list.add("zq-fake0", AF_INET, "10.1.2.3");
    list.add("zq-fake1", AF_INET, "10.1.2.4");
    list.add("zq-fake2", AF_INET, "10.1.2.5");
    ip_and_mac entries[4];
    memset(entries, UNTOUCHED, sizeof(entries));
    bool has_mac[4] = {true, true, true, true};
    ASSERT_EQ(2, collect_ip_and_mac(list.head(), entries, has_mac, 2));
    EXPECT_EQ(ip_bytes("10.1.2.3"), bytes(entries[0].m_ip, entries[0].m_ip + 4));
    EXPECT_EQ(ip_bytes("10.1.2.4"), bytes(entries[1].m_ip, entries[1].m_ip + 4));
    // No such interface: its hardware address can't be read and stays as it was.
    EXPECT_FALSE(has_mac[0]);
    EXPECT_FALSE(has_mac[1]);
    EXPECT_EQ(bytes(6, UNTOUCHED), bytes(entries[0].m_mac, entries[0].m_mac + 6));
    EXPECT_EQ(UNTOUCHED, entries[2].m_ip[0]);
    EXPECT_TRUE(has_mac[2]);
}

TEST(LocalInterface, MacOfAnAddressComesFromItsFirstEntryOnly) {
    std::string eth = ethernet_interface();
    if (eth.empty())
        GTEST_SKIP() << "no interface with a hardware address";
    bytes expected = sysfs_mac(eth);
    const bytes ip = ip_bytes("10.1.2.3");
    unsigned char mac[6];

    fake_list real_first;
    real_first.add(eth.c_str(), AF_INET, "10.1.2.3");
    real_first.add("zq-fake0", AF_INET, "10.1.2.3");
    memset(mac, UNTOUCHED, sizeof(mac));
    ASSERT_TRUE(find_mac_of_ip(real_first.head(), ip.data(), mac));
    EXPECT_EQ(expected, bytes(mac, mac + 6));

    // The first match has no hardware address: nothing is written, whatever follows.
    fake_list fake_first;
    fake_first.add("zq-fake0", AF_INET, "10.1.2.3");
    fake_first.add(eth.c_str(), AF_INET, "10.1.2.3");
    memset(mac, UNTOUCHED, sizeof(mac));
    EXPECT_FALSE(find_mac_of_ip(fake_first.head(), ip.data(), mac));
    EXPECT_EQ(bytes(6, UNTOUCHED), bytes(mac, mac + 6));

    EXPECT_FALSE(find_mac_of_ip(real_first.head(), ip_bytes("10.1.2.4").data(), mac));
    fake_list loopback;
    loopback.add("lo", AF_INET, "127.0.0.1");
    EXPECT_FALSE(find_mac_of_ip(loopback.head(), ip_bytes("127.0.0.1").data(), mac));
    EXPECT_EQ(bytes(6, UNTOUCHED), bytes(mac, mac + 6));
}

TEST(LocalInterface, ConnectionTellsItsLocalAddressButNoLoopbackMac) {
    loopback_server server;
    event_recorder rec;
    socket_client client;
    unsigned char ip[4];
    unsigned char mac[6];
    memset(ip, UNTOUCHED, sizeof(ip));
    memset(mac, UNTOUCHED, sizeof(mac));
    EXPECT_FALSE(client.get_local_ip(ip));
    EXPECT_FALSE(client.get_local_mac(mac));
    EXPECT_EQ(bytes(4, UNTOUCHED), bytes(ip, ip + 4));

    ASSERT_TRUE(client.sock_init(LOOPBACK, server.port(), event_recorder::callback, &rec));
    ASSERT_TRUE(client.get_local_ip(ip));
    EXPECT_EQ(ip_bytes("127.0.0.1"), bytes(ip, ip + 4));
    EXPECT_FALSE(client.get_local_ip(nullptr));
    // "lo" is left out of the list, and its hardware address is all zeros anyway.
    EXPECT_FALSE(client.get_local_mac(mac));
    EXPECT_EQ(bytes(6, UNTOUCHED), bytes(mac, mac + 6));

    client.sock_close();
    EXPECT_FALSE(client.get_local_ip(ip));
}

}  // namespace
