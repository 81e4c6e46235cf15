// The request functions end to end: the bytes each one puts on the wire, compared
// whole with an image written from the record layouts, and the results of the
// checks that keep a request from being sent.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "client/QueryClient.h"
#include "kq_zul_query_internal_test.h"
#include "support/e2e_client.h"
#include "support/request_bytes.h"
#include "transport/socket_cache_client.h"

using namespace zul_test;

namespace {

CQueryClient* engine(void* handle) {
    return static_cast<CQueryClient*>(handle);
}

// Four different bytes: a user id written at a wrong offset or in a wrong order shows.
const uint32_t USER = 0x1A2B3C4D;
// 18 characters: goes out as its first 15.
const char* const LONG_ACCOUNT = "ACCT-0123456789XYZ";
const char* const SENT_ACCOUNT = "ACCT-0123456789";
// 25 characters: goes out as its first 19.
const char* const LONG_SYMBOL = "SYM-ABCDEFGHIJKLMNOPQRSTU";
const char* const SENT_SYMBOL = "SYM-ABCDEFGHIJKLMNO";
// 40 characters: goes out as its first 32.
const char* const LONG_LOGIN = "login-0123456789-abcdefghijklmnopqrstuvw";
const char* const SENT_LOGIN = "login-0123456789-abcdefghijklmno";

// Passwords and the MD5 of their bytes as upper-case hex.
const char* const OLD_PWD = "secret99";
const char* const OLD_MD5 = "A7E938134BB0FB0D90A7C7F81DC32DDF";
const char* const NEW_PWD = "abc12345";
const char* const NEW_MD5 = "D6B0AB7F1C8AB8F514DB9A6D85DE160A";
const char* const EMPTY_MD5 = "D41D8CD98F00B204E9800998ECF8427E";
const char* const BROKEN_PWD = "abcdefgh";  // letters only: breaks the rule

zulsim::Options sim_options(bool hv27 = false, uint32_t user = USER) {
    zulsim::Options o;
    o.hv27 = hv27;
    o.user_id = user;
    return o;
}

struct request_case {
    std::string name;
    uint16_t id;
    bool not_on_hv27;  // refused with 23 by an hv27 server
    std::function<RESULT(void*)> send;
    std::function<wire_image()> image;  // what must arrive, for a logon with USER
};

void PrintTo(const request_case& c, std::ostream* os) {
    *os << c.name;
}

// Every request function with arguments that fill every field it has, and the
// record that must arrive for them.
const std::vector<request_case>& all_requests() {
    static const std::vector<request_case> cases = {
        {"QueryUserLogon", 68, false,
         [](void* h) { return KQZUL_QueryUserLogon(h, LONG_LOGIN, OLD_PWD); },
         [] {
             wire_image img(68, 80);
             img.u32(8, 15).text(12, 33, SENT_LOGIN).text(45, 33, OLD_MD5);
             return img;
         }},
        {"QueryChangePassword", 69, false,
         [](void* h) { return KQZUL_QueryChangePassword(h, OLD_PWD, NEW_PWD); },
         [] {
             wire_image img(69, 80);
             img.u32(8, USER).text(12, 33, OLD_MD5).text(45, 33, NEW_MD5);
             return img;
         }},
        {"QuerySymbolList", 72, false, [](void* h) { return KQZUL_QuerySymbolList(h, 'F'); },
         [] {
             wire_image img(72, 16);
             img.u32(8, USER).u8(12, 'F');
             return img;
         }},
        {"QueryUserAccount", 71, false, [](void* h) { return KQZUL_QueryUserAccount(h); },
         [] {
             wire_image img(71, 16);
             img.u32(8, USER);
             return img;
         }},
        {"QueryAccountPosition", 73, false,
         // A char above 127 travels as its byte.
         [](void* h) { return KQZUL_QueryAccountPosition(h, LONG_ACCOUNT, '\xF3'); },
         [] { return user_account_image(73, 32, USER, SENT_ACCOUNT).u8(28, 0xF3); }},
        {"QueryComboPosition", 79, true,
         [](void* h) { return KQZUL_QueryComboPosition(h, LONG_ACCOUNT); },
         [] {
             // The account comes before the user id in this record.
             wire_image img(79, 32);
             img.text(8, 16, SENT_ACCOUNT).u32(24, USER);
             return img;
         }},
        {"QueryComboRule", 76, true, [](void* h) { return KQZUL_QueryComboRule(h, 0xC3, 0x3C); },
         [] {
             wire_image img(76, 16);
             img.u32(8, USER).u8(12, 0xC3).u8(13, 0x3C);
             return img;
         }},
        {"QueryAccountBP", 81, true, [](void* h) { return KQZUL_QueryAccountBP(h, LONG_ACCOUNT); },
         [] { return user_account_image(81, 28, USER, SENT_ACCOUNT); }},
        {"QueryAccountBPDetail", 88, false,
         [](void* h) { return KQZUL_QueryAccountBPDetail(h, LONG_ACCOUNT); },
         [] { return user_account_image(88, 28, USER, SENT_ACCOUNT); }},
        {"QueryAccountCashInOut", 85, false,
         [](void* h) { return KQZUL_QueryAccountCashInOut(h, LONG_ACCOUNT); },
         [] { return user_account_image(85, 32, USER, SENT_ACCOUNT); }},
        {"QueryAccountTradeMargin", 77, false,
         [](void* h) { return KQZUL_QueryAccountTradeMargin(h, LONG_ACCOUNT); },
         [] { return user_account_image(77, 32, USER, SENT_ACCOUNT); }},
        {"QueryAccountTradeFee", 78, false,
         [](void* h) { return KQZUL_QueryAccountTradeFee(h, LONG_ACCOUNT, 0x7E); },
         [] { return user_account_image(78, 32, USER, SENT_ACCOUNT).u8(28, 0x7E); }},
        {"QueryAccountOrder", 74, false,
         [](void* h) { return KQZUL_QueryAccountOrder(h, LONG_ACCOUNT, 'O'); },
         [] { return user_account_image(74, 32, USER, SENT_ACCOUNT).u8(28, 'O'); }},
        {"QueryAccountArbiOrder", 98, true,
         [](void* h) { return KQZUL_QueryAccountArbiOrder(h, LONG_ACCOUNT); },
         [] { return user_account_image(98, 32, USER, SENT_ACCOUNT); }},
        {"QueryAccountQuote", 95, false,
         [](void* h) { return KQZUL_QueryAccountQuote(h, LONG_ACCOUNT, 'Q'); },
         [] { return user_account_image(95, 32, USER, SENT_ACCOUNT).u8(28, 'Q'); }},
        {"QueryAccountOrderExecution", 75, false,
         [](void* h) { return KQZUL_QueryAccountOrderExecution(h, LONG_ACCOUNT, 'E', 0x1A5); },
         [] { return user_account_image(75, 32, USER, SENT_ACCOUNT).u8(28, 'E').u8(29, 0xA5); }},
        {"QueryAccountRiskData", 82, false,
         // Neither the symbol nor the exchange has a field to go to.
         [](void* h) { return KQZUL_QueryAccountRiskData(h, LONG_ACCOUNT, LONG_SYMBOL, 105); },
         [] { return user_account_image(82, 28, USER, SENT_ACCOUNT); }},
        {"QueryAccountSymbolRiskData", 83, false,
         [](void* h) {
             return KQZUL_QueryAccountSymbolRiskData(h, LONG_ACCOUNT, LONG_SYMBOL, 105);
         },
         [] { return user_account_image(83, 48, USER, SENT_ACCOUNT).text(28, 20, SENT_SYMBOL); }},
    };
    return cases;
}

std::string ids_of(const std::vector<zulsim::ReceivedRequest>& reqs) {
    std::string out;
    for (const zulsim::ReceivedRequest& r : reqs)
        out += std::to_string(r.id) + " ";
    return out;
}

// Exactly one request arrived after the first `seen`, and it has this id. Called
// after a request that goes out: anything refused before it would have arrived
// ahead of it on the same connection.
::testing::AssertionResult only_one_more(zulsim::Simulator& sim, size_t seen, uint16_t id) {
    if (!sim.wait_for_requests(seen + 1, 10s))
        return ::testing::AssertionFailure() << "nothing arrived after " << seen;
    const std::vector<zulsim::ReceivedRequest> reqs = sim.requests();
    if (reqs.size() != seen + 1 || reqs.back().id != id)
        return ::testing::AssertionFailure()
               << "arrived: " << ids_of(reqs) << "; expected " << seen << " and then " << id;
    return ::testing::AssertionSuccess();
}

// Sends and returns the bytes that arrived as the next request.
image_bytes arrival_of(sim_session& s, const std::function<RESULT(void*)>& send, uint16_t id) {
    const size_t seen = s.sim().requests().size();
    EXPECT_EQ(ZUL_RESULT_OK, send(s.handle()));
    // A record sent too short never completes, one too long leaves bytes that
    // the next request cannot be framed behind.
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(s.handle()));
    if (!s.sim().wait_for_requests(seen + 2, 10s)) {
        ADD_FAILURE() << "arrived: " << ids_of(s.sim().requests());
        return {};
    }
    const std::vector<zulsim::ReceivedRequest> reqs = s.sim().requests();
    EXPECT_EQ(seen + 2, reqs.size()) << ids_of(reqs);
    EXPECT_EQ(id, reqs[seen].id);
    EXPECT_EQ(71, reqs[seen + 1].id) << "the request after it was framed wrong";
    return reqs[seen].raw;
}

::testing::AssertionResult same_image(const image_bytes& expected, const image_bytes& actual) {
    if (expected == actual)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << image_diff(expected, actual);
}

// A caller's text and what of it must arrive.
struct text_cut {
    const char* given;
    const char* sent;
};

#define EXPECT_IMAGE(expected, actual) EXPECT_TRUE(same_image((expected), (actual)))

}  // namespace

// ---- Byte images ----

class RequestImage : public ::testing::TestWithParam<request_case> {};

TEST_P(RequestImage, ArrivesAsTheRecordLayoutGives) {
    const request_case& c = GetParam();
    sim_session s(sim_options());
    s.connect_and_logon("trader01", OLD_PWD);
    EXPECT_IMAGE(c.image().bytes(), arrival_of(s, c.send, c.id));
}

INSTANTIATE_TEST_SUITE_P(AllEighteen, RequestImage, ::testing::ValuesIn(all_requests()),
                         [](const ::testing::TestParamInfo<request_case>& i) {
                             return i.param.name;
                         });

TEST(RequestBytes, LogonWithEmptyTextsSendsZerosAndTheDigestOfNothing) {
    sim_session s(sim_options());
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "", ""));
    ASSERT_TRUE(s.sim().wait_for_requests(1, 10s));
    wire_image img(68, 80);
    img.u32(8, 15).text(45, 33, EMPTY_MD5);
    EXPECT_IMAGE(img.bytes(), s.sim().requests()[0].raw);
}

TEST(RequestBytes, PasswordsTravelAsTheDigestOfTheirWholeText) {
    sim_session s(sim_options());
    s.connect_and_logon();
    // Empty old password; a long one is digested whole, not cut to its field.
    const std::string eighty =
        "1234567890123456789012345678901234567890"
        "1234567890123456789012345678901234567890";
    wire_image empty_old(69, 80);
    empty_old.u32(8, USER).text(12, 33, EMPTY_MD5).text(45, 33, NEW_MD5);
    EXPECT_IMAGE(empty_old.bytes(),
                 arrival_of(
                     s, [](void* h) { return KQZUL_QueryChangePassword(h, "", NEW_PWD); }, 69));
    wire_image long_old(69, 80);
    long_old.u32(8, USER).text(12, 33, "57EDF4A22BE3C955AC49DA2E2107B67A").text(45, 33, NEW_MD5);
    EXPECT_IMAGE(
        long_old.bytes(),
        arrival_of(
            s, [&](void* h) { return KQZUL_QueryChangePassword(h, eighty.c_str(), NEW_PWD); }, 69));
}

TEST(RequestBytes, AccountIdsAreCutAtFifteenAndZeroFilled) {
    sim_session s(sim_options());
    s.connect_and_logon();
    const text_cut accounts[] = {{"", ""},
                                 {"ZQ7", "ZQ7"},
                                 {"ABCDEFGHIJKLMNO", "ABCDEFGHIJKLMNO"},
                                 {"ABCDEFGHIJKLMNOP", "ABCDEFGHIJKLMNO"}};
    for (const auto& a : accounts) {
        SCOPED_TRACE(a.given);
        EXPECT_IMAGE(
            user_account_image(73, 32, USER, a.sent).u8(28, '1').bytes(),
            arrival_of(
                s, [&](void* h) { return KQZUL_QueryAccountPosition(h, a.given, '1'); }, 73));
    }
}

TEST(RequestBytes, RewindFlagTravelsAsItsLowByte) {
    sim_session s(sim_options());
    s.connect_and_logon();
    const struct {
        unsigned int given;
        uint8_t sent;
    } flags[] = {{0, 0}, {1, 1}, {255, 255}, {256, 0}, {257, 1}, {0xFFFFFFFFu, 255}};
    for (const auto& f : flags) {
        SCOPED_TRACE(f.given);
        const image_bytes got = arrival_of(
            s, [&](void* h) { return KQZUL_QueryAccountOrderExecution(h, "ZQ7", '2', f.given); },
            75);
        EXPECT_IMAGE(user_account_image(75, 32, USER, "ZQ7").u8(28, '2').u8(29, f.sent).bytes(),
                     got);
    }
}

TEST(RequestBytes, SymbolRiskDataSendsTheSymbolCutAtNineteenOrNothing) {
    sim_session s(sim_options());
    s.connect_and_logon();
    const text_cut symbols[] = {{"", ""},
                                {"ABCDEFGHIJKLMNOPQRS", "ABCDEFGHIJKLMNOPQRS"},
                                {"ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNOPQRS"}};
    for (const auto& sym : symbols) {
        SCOPED_TRACE(sym.given);
        EXPECT_IMAGE(
            user_account_image(83, 48, USER, "ZQ7").text(28, 20, sym.sent).bytes(),
            arrival_of(
                s,
                [&](void* h) { return KQZUL_QueryAccountSymbolRiskData(h, "ZQ7", sym.given, 0); },
                83));
    }
}

TEST(RequestBytes, RequestsCarryTheUserIdOfTheLastLogon) {
    sim_session s(sim_options());
    s.connect_and_logon();
    const uint32_t next_user = 0x55667788;
    s.sim().configure([&](zulsim::Options& o) { o.user_id = next_user; });
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", OLD_PWD));
    ASSERT_TRUE(wait_until([&] { return engine(s.handle())->GetUserID() == next_user; }));
    wire_image img(71, 16);
    img.u32(8, next_user);
    EXPECT_IMAGE(img.bytes(), arrival_of(s, KQZUL_QueryUserAccount, 71));
    wire_image combo(79, 32);
    combo.text(8, 16, "A").u32(24, next_user);
    EXPECT_IMAGE(combo.bytes(),
                 arrival_of(
                     s, [](void* h) { return KQZUL_QueryComboPosition(h, "A"); }, 79));
}

// ---- Refusals ----

TEST(RequestResults, NullHandleGivesEightEverywhere) {
    for (const request_case& c : all_requests())
        EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, c.send(nullptr)) << c.name;
    EXPECT_EQ(ZUL_RESULT_BAD_HANDLE, KQZUL_QueryChangePassword(nullptr, OLD_PWD, BROKEN_PWD));
}

TEST(RequestResults, WithoutConnectionEveryRequestGivesSevenBeforeThePasswordIsLookedAt) {
    sim_session s(sim_options());
    for (const request_case& c : all_requests())
        EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, c.send(s.handle())) << c.name;
    EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, KQZUL_QueryChangePassword(s.handle(), OLD_PWD, BROKEN_PWD));
}

TEST(RequestResults, AfterTheServerDroppedTheConnectionEveryRequestGivesSeven) {
    sim_session s(sim_options(true));
    s.connect_and_logon();
    s.sim().drop_connections();
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_REMOTE_DISCONNECTED) == 1; }));
    // Still marked hv27 from the logon: the connection check comes first.
    ASSERT_TRUE(engine(s.handle())->IsHv27Version());
    for (const request_case& c : all_requests())
        EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, c.send(s.handle())) << c.name;
    EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, KQZUL_QueryChangePassword(s.handle(), OLD_PWD, BROKEN_PWD));
    EXPECT_EQ(1u, s.sim().requests().size());
}

TEST(RequestResults, BeforeLogonEveryRequestButTheLogonGivesSixAndNothingLeaves) {
    sim_session s(sim_options());
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    for (const request_case& c : all_requests()) {
        if (c.id != 68) {
            EXPECT_EQ(ZUL_RESULT_NOT_LOGGED_ON, c.send(s.handle())) << c.name;
        }
    }
    EXPECT_EQ(ZUL_RESULT_NOT_LOGGED_ON, KQZUL_QueryChangePassword(s.handle(), OLD_PWD, BROKEN_PWD));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", OLD_PWD));
    EXPECT_TRUE(only_one_more(s.sim(), 0, 68));
}

TEST(RequestResults, LogonGoesOutAgainOnALoggedOnClient) {
    sim_session s(sim_options());
    s.connect_and_logon();
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", OLD_PWD));
    EXPECT_TRUE(only_one_more(s.sim(), 1, 68));
}

TEST(RequestResults, Hv27ServerRefusesFourRequestsWithTwentyThreeAndTakesTheRest) {
    sim_session s(sim_options(true));
    s.connect_and_logon();
    ASSERT_TRUE(engine(s.handle())->IsHv27Version());
    size_t seen = s.sim().requests().size();
    for (const request_case& c : all_requests()) {
        if (c.not_on_hv27) {
            EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, c.send(s.handle())) << c.name;
        }
    }
    // The detail of BP is not among them.
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountBPDetail(s.handle(), "ZQ7"));
    ASSERT_TRUE(only_one_more(s.sim(), seen, 88));
    for (const request_case& c : all_requests()) {
        if (c.not_on_hv27)
            continue;
        ++seen;
        ASSERT_EQ(ZUL_RESULT_OK, c.send(s.handle())) << c.name;
        ASSERT_TRUE(only_one_more(s.sim(), seen, c.id)) << c.name;
    }
}

TEST(RequestResults, OnHv27TheLogonCheckComesBeforeTheGenerationCheck) {
    sim_session s(sim_options(true));
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    EXPECT_EQ(ZUL_RESULT_NOT_LOGGED_ON, KQZUL_QueryComboRule(s.handle(), 1, 1));
    // A new connection starts logged off but keeps the generation of the last logon.
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", OLD_PWD));
    ASSERT_TRUE(
        wait_until([&] { return engine(s.handle())->m_e_connect_status == E_STATUS_LOGONED; }));
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }));
    ASSERT_FALSE(engine(s.handle())->IsLogon());
    ASSERT_TRUE(engine(s.handle())->IsHv27Version());
    for (const request_case& c : all_requests()) {
        if (c.not_on_hv27) {
            EXPECT_EQ(ZUL_RESULT_NOT_LOGGED_ON, c.send(s.handle())) << c.name;
        }
    }
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(s.handle(), "trader01", OLD_PWD));
    EXPECT_TRUE(only_one_more(s.sim(), 1, 68));
}

TEST(RequestResults, NewPasswordRuleDecidesAndARefusedOneIsNotSent) {
    sim_session s(sim_options());
    s.connect_and_logon();
    const std::string len32 = "abcdefghijklmnopqrstuvwxyz123456";
    const struct {
        std::string pwd;
        RESULT result;
    } cases[] = {
        {"abc12345", ZUL_RESULT_OK},
        {"abcdefgh", ZUL_RESULT_BAD_PASSWORD},
        {"12345678", ZUL_RESULT_BAD_PASSWORD},
        {"________", ZUL_RESULT_BAD_PASSWORD},
        {"abc_1234", ZUL_RESULT_OK},
        {"abc-1234", ZUL_RESULT_BAD_PASSWORD},
        {"abc1234", ZUL_RESULT_BAD_PASSWORD},
        {"abcd1234", ZUL_RESULT_OK},
        {len32, ZUL_RESULT_OK},
        {len32 + "7", ZUL_RESULT_BAD_PASSWORD},
        {"abc1234\xE9", ZUL_RESULT_BAD_PASSWORD},
        {"", ZUL_RESULT_BAD_PASSWORD},
    };
    size_t seen = s.sim().requests().size();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pwd);
        EXPECT_EQ(c.result, KQZUL_QueryChangePassword(s.handle(), OLD_PWD, c.pwd.c_str()));
        if (c.result != ZUL_RESULT_OK)
            continue;
        ASSERT_TRUE(only_one_more(s.sim(), seen, 69));
        ++seen;
    }
    // Ends with refusals: one request that does go out shows that they left nothing.
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserAccount(s.handle()));
    EXPECT_TRUE(only_one_more(s.sim(), seen, 71));
}

TEST(RequestResults, OnlyTheNewPasswordIsHeldToTheRule) {
    sim_session s(sim_options());
    s.connect_and_logon("x", "old-pass!");
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryChangePassword(s.handle(), "old-pass!", NEW_PWD));
    ASSERT_TRUE(only_one_more(s.sim(), 1, 69));
    EXPECT_EQ("CCF71F5B436F59B4088C14BDA7DD1BD9", s.sim().requests()[1].text("m_old_pwd_md5"));
}

namespace {

// Takes one connection on 127.0.0.1 and then neither reads nor writes.
class idle_peer {
public:
    idle_peer() {
        m_listen = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof(addr);
        if (bind(m_listen, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0 ||
            listen(m_listen, 1) != 0 ||
            getsockname(m_listen, reinterpret_cast<sockaddr*>(&addr), &len) != 0)
            throw std::runtime_error("idle peer did not start");
        m_port = ntohs(addr.sin_port);
    }
    ~idle_peer() {
        if (m_conn >= 0)
            close(m_conn);
        close(m_listen);
    }
    idle_peer(const idle_peer&) = delete;
    idle_peer& operator=(const idle_peer&) = delete;

    uint16_t port() const { return m_port; }
    bool accept_one() {
        pollfd pfd{m_listen, POLLIN, 0};
        if (poll(&pfd, 1, 10000) != 1)
            return false;
        m_conn = accept(m_listen, nullptr, nullptr);
        return m_conn >= 0;
    }

private:
    int m_listen = -1;
    int m_conn = -1;
    uint16_t m_port = 0;
};

}  // namespace

// A socket that fails under a client that still counts as connected: the write
// side of the client's own socket is shut, which nothing on the peer's side or
// in the client's event loop notices, so every send fails at once.
TEST(RequestResults, AFailedSendGivesFour) {
    sim_session s(sim_options());  // for its client and log folder only
    idle_peer peer;
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_ConnQueryServer(s.handle(), server_at(peer.port())));
    ASSERT_TRUE(peer.accept_one());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 1; }));
    CQueryClient* client = engine(s.handle());
    // No server here answers a logon; the flag stands in for one.
    client->m_bQueryPortLogon = true;
    ASSERT_EQ(0, shutdown(client->m_asyncQueryClient->get_socket(), SHUT_WR));
    for (const request_case& c : all_requests()) {
        EXPECT_EQ(ZUL_RESULT_SEND_FAILED, c.send(s.handle())) << c.name;
        ASSERT_TRUE(client->IsConnect());
    }
    KQZUL_QueryLoggerFlush(s.handle());
    EXPECT_NE(std::string::npos, s.text_log().find("send_error tcp client send data error.\n"));
}
