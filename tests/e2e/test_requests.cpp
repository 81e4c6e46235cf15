// The request functions end to end: the bytes each one puts on the wire, compared
// whole with an image written from the record layouts, and the results of the
// checks that keep a request from being sent, in the order they are made.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include "kq_zul_query_internal_test.h"
#include "support/e2e_client.h"
#include "transport/socket_cache_client.h"

using namespace zul_test;

namespace {

// Four different bytes: a user id at a wrong offset or in a wrong byte order shows.
const uint32_t USER = 0x1A2B3C4D;
const char* const OLD_PWD = "secret99";
const char* const BROKEN_PWD = "abcdefgh";  // letters only: breaks the rule
// Texts longer than their fields: 18, 25, 40 and 80 characters.
const char* const ACCOUNT = "ACCT-0123456789XYZ";
const char* const SYMBOL = "SYM-ABCDEFGHIJKLMNOPQRSTU";
const char* const LOGIN = "login-0123456789-abcdefghijklmnopqrstuvw";
const std::string EIGHTY(80, '7');

// What of those texts must arrive, and the MD5 of passwords as upper-case hex.
// clang-format off
const std::map<char, std::string> TEXTS = {
    {'A', "ACCT-0123456789"}, {'S', "SYM-ABCDEFGHIJKLMNO"}, {'L', "login-0123456789-abcdefghijklmno"},
    {'O', "A7E938134BB0FB0D90A7C7F81DC32DDF"},   // OLD_PWD
    {'N', "D6B0AB7F1C8AB8F514DB9A6D85DE160A"},   // "abc12345"
    {'E', "D41D8CD98F00B204E9800998ECF8427E"},   // ""
    {'P', "F57CDD6B6E803F7B1B4208DAA2F9E64B"}};  // EIGHTY, digested whole
// clang-format on

// A record image from "id length offset:width=value ...", all else zero. A value
// is a number (little-endian), U for USER, or a letter of TEXTS (zero-filled).
std::string image(const char* layout) {
    std::istringstream in(layout);
    size_t id = 0, len = 0, off = 0, width = 0;
    in >> id >> len;
    std::string img(len, '\0'), field;
    auto put = [&](size_t at, size_t n, unsigned long v) {
        for (size_t i = 0; i < n; ++i)
            img.at(at + i) = static_cast<char>(v >> (8 * i));
    };
    put(0, 2, id);
    put(2, 2, len);
    while (in >> field) {
        char v[16] = "";
        EXPECT_EQ(3, sscanf(field.c_str(), "%zu:%zu=%15s", &off, &width, v)) << field;
        if (TEXTS.count(v[0]) != 0)
            img.replace(off, TEXTS.at(v[0]).size(), TEXTS.at(v[0]));
        else
            put(off, width, v[0] == 'U' ? USER : strtoul(v, nullptr, 0));
    }
    return img;
}

struct request_case {
    const char* name;
    bool not_on_hv27;  // refused with 23 by an hv27 server
    RESULT (*send)(void* handle);
    const char* image;  // what arrives after a logon that gave USER
};

// clang-format off
const request_case REQUESTS[] = {
    {"UserLogon", false, [](void* h) { return KQZUL_QueryUserLogon(h, LOGIN, OLD_PWD); }, "68 80 8:4=15 12:33=L 45:33=O"},
    {"ChangePassword", false, [](void* h) { return KQZUL_QueryChangePassword(h, OLD_PWD, "abc12345"); }, "69 80 8:4=U 12:33=O 45:33=N"},
    {"SymbolList", false, [](void* h) { return KQZUL_QuerySymbolList(h, 'F'); }, "72 16 8:4=U 12:1=70"},
    {"UserAccount", false, [](void* h) { return KQZUL_QueryUserAccount(h); }, "71 16 8:4=U"},
    // A char above 127 travels as its byte.
    {"AccountPosition", false, [](void* h) { return KQZUL_QueryAccountPosition(h, ACCOUNT, '\xF3'); }, "73 32 8:4=U 12:16=A 28:1=0xF3"},
    {"ComboPosition", true, [](void* h) { return KQZUL_QueryComboPosition(h, ACCOUNT); }, "79 32 8:16=A 24:4=U"},
    {"ComboRule", true, [](void* h) { return KQZUL_QueryComboRule(h, 0xC3, 0x3C); }, "76 16 8:4=U 12:1=0xC3 13:1=0x3C"},
    {"AccountBP", true, [](void* h) { return KQZUL_QueryAccountBP(h, ACCOUNT); }, "81 28 8:4=U 12:16=A"},
    {"AccountBPDetail", false, [](void* h) { return KQZUL_QueryAccountBPDetail(h, ACCOUNT); }, "88 28 8:4=U 12:16=A"},
    {"AccountCashInOut", false, [](void* h) { return KQZUL_QueryAccountCashInOut(h, ACCOUNT); }, "85 32 8:4=U 12:16=A"},
    {"AccountTradeMargin", false, [](void* h) { return KQZUL_QueryAccountTradeMargin(h, ACCOUNT); }, "77 32 8:4=U 12:16=A"},
    {"AccountTradeFee", false, [](void* h) { return KQZUL_QueryAccountTradeFee(h, ACCOUNT, 0x7E); }, "78 32 8:4=U 12:16=A 28:1=0x7E"},
    {"AccountOrder", false, [](void* h) { return KQZUL_QueryAccountOrder(h, ACCOUNT, 'O'); }, "74 32 8:4=U 12:16=A 28:1=79"},
    {"AccountArbiOrder", true, [](void* h) { return KQZUL_QueryAccountArbiOrder(h, ACCOUNT); }, "98 32 8:4=U 12:16=A"},
    {"AccountQuote", false, [](void* h) { return KQZUL_QueryAccountQuote(h, ACCOUNT, 'Q'); }, "95 32 8:4=U 12:16=A 28:1=81"},
    // The rewind flag travels as its low byte.
    {"AccountOrderExecution", false, [](void* h) { return KQZUL_QueryAccountOrderExecution(h, ACCOUNT, 'E', 0x1A5); }, "75 32 8:4=U 12:16=A 28:1=69 29:1=0xA5"},
    // Neither the symbol nor the exchange has a field to go to.
    {"AccountRiskData", false, [](void* h) { return KQZUL_QueryAccountRiskData(h, ACCOUNT, SYMBOL, 105); }, "82 28 8:4=U 12:16=A"},
    {"AccountSymbolRiskData", false, [](void* h) { return KQZUL_QueryAccountSymbolRiskData(h, ACCOUNT, SYMBOL, 105); }, "83 48 8:4=U 12:16=A 28:20=S"},
    // Empty texts, and a password longer than its field.
    {"EmptyLogon", false, [](void* h) { return KQZUL_QueryUserLogon(h, "", ""); }, "68 80 8:4=15 45:33=E"},
    {"LongPassword", false, [](void* h) { return KQZUL_QueryChangePassword(h, EIGHTY.c_str(), "abc12345"); }, "69 80 8:4=U 12:33=P 45:33=N"},
};
// clang-format on

zulsim::Options as_user(bool hv27) {
    zulsim::Options o;
    o.hv27 = hv27;
    o.user_id = USER;
    return o;
}

}  // namespace

TEST(Requests, EachPutsExactlyItsRecordOnTheWire) {
    sim_session s(as_user(false));
    s.connect_and_logon("trader01", OLD_PWD);
    for (const request_case& c : REQUESTS) {
        SCOPED_TRACE(c.name);
        const size_t seen = s.sim().requests().size();
        ASSERT_EQ(ZUL_RESULT_OK, c.send(s.handle()));
        // A record sent too short never completes; one too long leaves bytes that
        // the next request cannot be framed behind.
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(s.handle()));
        ASSERT_TRUE(s.sim().wait_for_requests(seen + 2, 10s));
        const std::vector<zulsim::ReceivedRequest> r = s.sim().requests();
        EXPECT_EQ(image(c.image), std::string(r[seen].raw.begin(), r[seen].raw.end()));
        EXPECT_EQ(71, r.at(seen + 1).id) << "the request after it was framed wrong";
    }
}

// Null handle, then connection, then logon, then the server generation, and the
// new password last of all; a refused request leaves nothing on the wire.
TEST(Requests, RefusalsComeInTheirOrderAndSendNothing) {
    auto expect_all = [](void* h, RESULT code, bool logon_too) {
        for (const request_case& c : REQUESTS)  // the logon is not sent when left out
            EXPECT_TRUE((!logon_too && atoi(c.image) == 68) || c.send(h) == code) << c.name;
        EXPECT_EQ(code, KQZUL_QueryChangePassword(h, OLD_PWD, BROKEN_PWD));
    };
    expect_all(nullptr, ZUL_RESULT_BAD_HANDLE, true);
    sim_session s(as_user(true));
    CQueryClient* c = s.client();
    // Called after a request that goes out: one refused before it would have
    // arrived ahead of it on the same connection.
    size_t seen = 0;
    auto arrived_alone = [&](int id) {
        return s.sim().wait_for_requests(++seen, 10s) && s.sim().requests().size() == seen &&
               s.sim().requests().back().id == id;
    };
    expect_all(s.handle(), ZUL_RESULT_NOT_CONNECTED, true);
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    expect_all(s.handle(), ZUL_RESULT_NOT_LOGGED_ON, false);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", OLD_PWD));
    ASSERT_TRUE(arrived_alone(68)) << "refused requests went out";
    ASSERT_TRUE(wait_until([&] { return c->IsLogon(); }));
    ASSERT_TRUE(c->IsHv27Version());
    EXPECT_EQ(ZUL_RESULT_BAD_PASSWORD, KQZUL_QueryChangePassword(s.handle(), OLD_PWD, BROKEN_PWD));
    for (const request_case& r : REQUESTS) {
        SCOPED_TRACE(r.name);
        if (r.not_on_hv27) {
            EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, r.send(s.handle()));
            continue;
        }
        ASSERT_EQ(ZUL_RESULT_OK, r.send(s.handle()));
        ASSERT_TRUE(arrived_alone(atoi(r.image)));
    }
    // The client still counts as hv27 when the connection goes or starts anew.
    s.sim().drop_connections();
    ASSERT_TRUE(wait_until([&] { return !c->IsConnect(); }));
    expect_all(s.handle(), ZUL_RESULT_NOT_CONNECTED, true);
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }));
    ASSERT_TRUE(c->IsHv27Version());
    expect_all(s.handle(), ZUL_RESULT_NOT_LOGGED_ON, false);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", OLD_PWD));
    EXPECT_TRUE(arrived_alone(68));
}

// A client that counts as connected and logged on over a socket whose write side
// is shut fails every send at once. The peer is a listening socket that nobody
// accepts on, so nothing on either side notices the shutdown.
TEST(Requests, AFailedSendGivesFour) {
    sim_session s;  // for its client and log folder only
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(addr);
    ASSERT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&addr), len));
    ASSERT_EQ(0, listen(listener, 1));
    ASSERT_EQ(0, getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &len));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_ConnQueryServer(s.handle(), server_at(ntohs(addr.sin_port))));
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 1; }));
    CQueryClient* c = s.client();
    c->m_bQueryPortLogon = true;  // no server here answers a logon
    ASSERT_EQ(0, shutdown(c->m_asyncQueryClient->get_socket(), SHUT_WR));
    for (const request_case& r : REQUESTS)
        EXPECT_EQ(ZUL_RESULT_SEND_FAILED, r.send(s.handle())) << r.name;
    EXPECT_TRUE(c->IsConnect());
    KQZUL_QueryLoggerFlush(s.handle());
    EXPECT_EQ(std::size(REQUESTS), s.log_count("send_error tcp client send data error.\n"));
    s.destroy();
    close(listener);
}
