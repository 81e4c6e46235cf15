// The object face: the fixed slots of both classes, and through a real connection
// every operation reaches the server as the plain function would and every event
// its own virtual operation.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <utility>

#include "ZulQueryApi.h"
#include "api/ZULQueryImpl.h"
#include "support/e2e_client.h"

using namespace zul_test;

namespace {

// Position of a virtual operation in its class's table, as the Itanium ABI encodes
// a pointer to a virtual member: 1 + byte offset into the table.
template <typename F>
long slot_of(F member) {
    static_assert(sizeof(F) == 2 * sizeof(uintptr_t), "Itanium member pointer");
    uintptr_t words[2];
    memcpy(words, &member, sizeof(words));
    return static_cast<long>((words[0] - 1) / sizeof(void*));
}

// Records which operation fired, with the account (or connection text), the
// finish flag and the error id (or connection code).
class event_log : public ZULQueryEvent {
public:
    struct entry {
        std::string op, account;
        bool streamed, finish;
        unsigned error;
    };
    std::vector<entry> entries() {
        std::lock_guard<std::mutex> g(m_mutex);
        return m_entries;
    }
    size_t count(const std::string& op) {
        size_t n = 0;
        for (const entry& e : entries())
            n += e.op == op;
        return n;
    }
    // A stream has come to its end, or a single answer has come.
    bool done(const std::string& op) {
        const std::vector<entry> all = entries();
        return std::any_of(all.begin(), all.end(),
                           [&](const entry& e) { return e.op == op && (e.finish || !e.streamed); });
    }
    std::string trail() {
        std::string out;
        for (const entry& e : entries())
            out += e.op + " " + std::to_string(e.error) + " " + e.account + "; ";
        return out;
    }

private:
    void add(const char* op, const char* account, bool streamed, bool finish, unsigned error) {
        std::lock_guard<std::mutex> g(m_mutex);
        m_entries.push_back({op, account != nullptr ? account : "<null>", streamed, finish, error});
    }

    std::mutex m_mutex;
    std::vector<entry> m_entries;

    // clang-format off
#define STREAM(op, T) void op(const char* a, T*, bool f, ZUL_QueryErrorId e) override { add(#op, a, true, f, e); }
#define LIST(op, T) void op(T*, bool f, ZUL_QueryErrorId e) override { add(#op, "", true, f, e); }
#define SINGLE(op, T) void op(const char* a, T*, ZUL_QueryErrorId e) override { add(#op, a, false, false, e); }
    void OnQueryConnection(ERR_NO n, const char* t) override { add("OnQueryConnection", t, false, false, n); }
    void OnQueryDisConnection(ERR_NO n, const char* t) override { add("OnQueryDisConnection", t, false, false, n); }
    void OnQueryUserLogon(ZUL_QueryLogonResponse*) override { add("OnQueryUserLogon", "", false, false, 0); }
    void OnQueryRspChangePassword(ZUL_ChangePasswordResult r) override { add("OnQueryRspChangePassword", "", false, false, r); }
    void OnAccountBPReport(const char* a, ZUL_AccountBP*) override { add("OnAccountBPReport", a, false, false, 0); }
    LIST(OnQueryUserAccount, ZUL_AccountInfo) LIST(OnQuerySymbol, ZUL_SymbolField) LIST(OnQueryComboRule, ZUL_AccountComboRule)
    SINGLE(OnQueryAccountBP, ZUL_AccountBP) SINGLE(OnQueryAccountBPDetail, ZUL_AccountBPDetail)
    SINGLE(OnAccountCashInoutNotify, ZUL_AccountCashInout)
    STREAM(OnQueryAccountPosition, ZUL_AccountPosition) STREAM(OnQueryAccountOptionPosition, ZUL_AccountOptionPosition)
    STREAM(OnQueryAccountTradeMargin, ZUL_AccountMargin) STREAM(OnQueryAccountTradeFee, ZUL_AccountFee)
    STREAM(OnQueryTradeOrder, ZUL_QueryAccountOrder) STREAM(OnQueryTradeArbiOrder, ZUL_QueryAccountArbiOrder)
    STREAM(OnQueryComboPosition, ZUL_AccountComboPosition) STREAM(OnQueryTradeQuote, ZUL_QueryAccountQuote)
    STREAM(OnQueryTradeOrderExec, ZUL_QueryOrderExecution) STREAM(OnQueryTradeOrderExecEx, ZUL_QueryOrderExecutionEx)
#undef STREAM
#undef LIST
#undef SINGLE
};
// clang-format on

// A simulator, an object-face client and its event log, logs in a scratch folder.
struct object_session {
    object_session() {
        if (!sim.start())
            throw std::runtime_error("simulator did not start");
    }
    ~object_session() {
        DestroyZULQueryApi(api);
        sim.stop();
    }
    void* handle() { return static_cast<ZULQueryImpl*>(api)->m_handle; }
    CQueryClient* engine() { return static_cast<CQueryClient*>(handle()); }

    scratch_dir dir;
    zulsim::Simulator sim;
    event_log events;
    ZULQueryApi* api = CreateZULQueryApi();
};

const char ACCOUNT[] = "ZQ7";

// Each operation, its plain function with the same arguments, and the event
// operation that its answers must reach.
// clang-format off
#define BOTH(op, event, ...) {#event, [](ZULQueryApi* a) { return a->op(__VA_ARGS__); }, [](void* h) { return KQZUL_##op(h, __VA_ARGS__); }}
const struct {
    const char* event;
    RESULT (*object)(ZULQueryApi*);
    RESULT (*plain)(void*);
} OPERATIONS[] = {
    BOTH(QueryUserLogon, OnQueryUserLogon, "trader01", "pw123456"), BOTH(QueryChangePassword, OnQueryRspChangePassword, "old", "abc12345"),
    BOTH(QuerySymbolList, OnQuerySymbol, 3), {"OnQueryUserAccount", [](ZULQueryApi* a) { return a->QueryUserAccount(); }, KQZUL_QueryUserAccount},
    BOTH(QueryAccountPosition, OnQueryAccountPosition, ACCOUNT, 3), BOTH(QueryAccountPosition, OnQueryAccountOptionPosition, ACCOUNT, 2),
    BOTH(QueryAccountBP, OnQueryAccountBP, ACCOUNT), BOTH(QueryAccountBPDetail, OnQueryAccountBPDetail, ACCOUNT),
    BOTH(QueryComboRule, OnQueryComboRule, 4, 5), BOTH(QueryComboPosition, OnQueryComboPosition, ACCOUNT),
    BOTH(QueryAccountTradeMargin, OnQueryAccountTradeMargin, ACCOUNT), BOTH(QueryAccountTradeFee, OnQueryAccountTradeFee, ACCOUNT, 6),
    BOTH(QueryAccountOrder, OnQueryTradeOrder, ACCOUNT, 7), BOTH(QueryAccountQuote, OnQueryTradeQuote, ACCOUNT, 8),
    BOTH(QueryAccountArbiOrder, OnQueryTradeArbiOrder, ACCOUNT), BOTH(QueryAccountCashInOut, OnAccountCashInoutNotify, ACCOUNT),
    BOTH(QueryAccountOrderExecution, OnQueryTradeOrderExec, ACCOUNT, 9, 0x1A5)};
#undef BOTH
// clang-format on

}  // namespace

TEST(ObjectFace, VirtualOperationsStandInTheirFixedSlots) {
    using Conn1 = RESULT (ZULQueryApi::*)(const char*, int, ZULQueryEvent*);
    using Conn2 = RESULT (ZULQueryApi::*)(const ZUL_QuerySvrInfo&, ZULQueryEvent*);
    // clang-format off
#define A(m) slot_of(&ZULQueryApi::m),
#define E(m) slot_of(&ZULQueryEvent::m),
    const std::vector<long> api = {A(GetQueryApiVersion) A(SetQueryAutoReconnect) A(SetQueryMaxWaitTime)
        slot_of(Conn1(&ZULQueryApi::ConnQueryServer)), slot_of(Conn2(&ZULQueryApi::ConnQueryServer)),
        A(DisConnQueryServer) A(QueryUserLogon) A(QueryChangePassword) A(QuerySymbolList) A(QueryUserAccount)
        A(QueryAccountPosition) A(QueryAccountBP) A(QueryAccountBPDetail) A(QueryComboRule) A(QueryComboPosition)
        A(QueryAccountTradeMargin) A(QueryAccountTradeFee) A(QueryAccountOrder) A(QueryAccountQuote)
        A(QueryAccountArbiOrder) A(QueryAccountOrderExecution) A(QueryConvertFromTimestamp)
        A(SetQueryLoggerSwitch) A(QueryLoggerFlush) A(QueryAccountCashInOut)};
    const std::vector<long> event = {E(OnQueryConnection) E(OnQueryDisConnection) E(OnQueryUserLogon)
        E(OnQueryRspChangePassword) E(OnQueryUserAccount) E(OnQueryAccountPosition) E(OnQueryAccountOptionPosition)
        E(OnQueryAccountBP) E(OnQueryAccountBPDetail) E(OnAccountBPReport) E(OnAccountCashInoutNotify)
        E(OnQuerySymbol) E(OnQueryAccountTradeMargin) E(OnQueryAccountTradeFee) E(OnQueryTradeOrder)
        E(OnQueryTradeArbiOrder) E(OnQueryComboRule) E(OnQueryComboPosition) E(OnQueryTradeQuote)
        E(OnQueryTradeOrderExec) E(OnQueryTradeOrderExecEx)};
#undef A
#undef E
    // clang-format on
    // Two slots for the destructor, then the operations in declared order.
    for (const std::vector<long>& slots : {api, event})
        for (size_t i = 0; i < slots.size(); ++i)
            EXPECT_EQ(static_cast<long>(i) + 2, slots[i]) << i << " of " << slots.size();
}

TEST(ObjectFace, VersionSettingsAndTheCutOfAddressAndPort) {
    DestroyZULQueryApi(nullptr);
    object_session s;
    const char* v = s.api->GetQueryApiVersion();
    EXPECT_STREQ("5.2.4.16", v);
    EXPECT_EQ(v, s.api->GetQueryApiVersion());
    for (size_t i = strlen(v); i < 20; ++i)
        EXPECT_EQ('\0', v[i]) << "byte " << i;
    CQueryClient* c = s.engine();
    s.api->SetQueryLoggerSwitch(true);
    s.api->SetQueryAutoReconnect(true);
    s.api->SetQueryMaxWaitTime(7);
    s.api->SetQueryMaxWaitTime(-5);
    EXPECT_TRUE(c->m_bLoggerSwitch && c->m_b_auto_connect);
    EXPECT_EQ(7, c->m_epoll_max_wait_time_query.load());
    tm t{};
    unsigned int ns = 99;
    s.api->QueryConvertFromTimestamp((1ULL << 32) | 5, t, ns);
    EXPECT_TRUE(ns == 5 && mktime(&t) == 1) << ns;

    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, s.api->ConnQueryServer("127.0.0.1", 65536, &s.events));
    // Only the low 16 bits of the port count, and 15 characters of the address:
    // "127.000.000.001" is loopback, the 16th character is dropped.
    ASSERT_EQ(ZUL_RESULT_OK,
              s.api->ConnQueryServer("127.000.000.001X", s.sim.port() + 65536, &s.events));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnQueryConnection") == 1; }));
    EXPECT_STREQ("127.000.000.001", c->m_connectSeverInfo.m_RemoteQueryIp);
}

// Each operation reaches the server as its plain function would, and each answer
// the event operation of its own kind, a stream closing with bFinish; a refusal
// reaches the operation of its request, hv27 executions the Ex one. Connection
// events go by their code, to the event object of the latest connect.
TEST(ObjectFace, EveryOperationAndEventTakesItsOwnPath) {
    object_session s;
    // Without an event object the client still connects and logs on.
    ASSERT_EQ(ZUL_RESULT_OK, s.api->ConnQueryServer("127.0.0.1", s.sim.port(), nullptr));
    ASSERT_TRUE(wait_until([&] { return s.engine()->IsConnect(); }));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryUserLogon("trader01", "pw123456"));
    ASSERT_TRUE(wait_until([&] { return s.engine()->IsLogon(); }));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->ConnQueryServer("127.0.0.1", s.sim.port(), &s.events));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnQueryConnection") == 1; }));
    const std::string local = "OnQueryDisConnection " +
                              std::to_string(ZUL_CONN_LOCAL_DISCONNECTED) + " local disconnected; ";
    const std::string ok = "OnQueryConnection " + std::to_string(ZUL_CONN_OK) + " conn ok; ";
    EXPECT_EQ(local + ok, s.events.trail()) << "the close of the connection before";

    ASSERT_EQ(1u, s.sim.push_bp_report(ACCOUNT));
    std::set<std::string> expected = {"OnQueryConnection", "OnQueryDisConnection",
                                      "OnAccountBPReport"};
    for (const auto& c : OPERATIONS) {
        SCOPED_TRACE(c.event);
        const size_t seen = s.sim.requests().size();
        ASSERT_EQ(ZUL_RESULT_OK, c.plain(s.handle()));
        ASSERT_EQ(ZUL_RESULT_OK, c.object(s.api));
        ASSERT_TRUE(s.sim.wait_for_requests(seen + 2, 10s));
        const std::vector<zulsim::ReceivedRequest> r = s.sim.requests();
        EXPECT_EQ(r[seen].raw, r[seen + 1].raw) << "not as the plain function";
        ASSERT_TRUE(wait_until([&] { return s.events.done(c.event); }));
        expected.insert(c.event);
    }
    EXPECT_EQ(ZUL_RESULT_BAD_PASSWORD, s.api->QueryChangePassword("old", "short1"));
    std::set<std::string> seen;
    for (const event_log::entry& e : s.events.entries())
        seen.insert(e.op);
    EXPECT_EQ(expected, seen) << "an event reached another operation";

    s.sim.configure([](zulsim::Options& o) { o.refusals[74] = 4711; });
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryAccountOrder(ACCOUNT, 3));
    ASSERT_TRUE(wait_until([&] { return s.events.entries().back().error == 4711; }));
    EXPECT_EQ("OnQueryTradeOrder", s.events.entries().back().op);
    EXPECT_FALSE(s.events.entries().back().finish);

    s.sim.configure([](zulsim::Options& o) { o.hv27 = true; });
    s.sim.set_data(zulsim::DataSet::standard(true, s.sim.options().user_id));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryUserLogon("trader01", "pw123456"));
    ASSERT_TRUE(wait_until([&] { return s.engine()->IsHv27Version(); }));
    EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, s.api->QueryAccountBP(ACCOUNT));
    const size_t plain_execs = s.events.count("OnQueryTradeOrderExec");
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryAccountOrderExecution(ACCOUNT, 3, 0));
    ASSERT_TRUE(wait_until([&] { return s.events.done("OnQueryTradeOrderExecEx"); }));
    EXPECT_EQ(plain_execs, s.events.count("OnQueryTradeOrderExec"));

    event_log second;
    ASSERT_EQ(ZUL_RESULT_OK, s.api->ConnQueryServer("127.0.0.1", s.sim.port(), &second));
    ASSERT_TRUE(wait_until([&] { return second.count("OnQueryConnection") == 1; }));
    s.sim.drop_connections();
    ASSERT_TRUE(wait_until([&] { return second.count("OnQueryDisConnection") == 2; }));
    DestroyZULQueryApi(std::exchange(s.api, nullptr));
    EXPECT_EQ(1u, s.events.count("OnQueryDisConnection"));
    EXPECT_EQ(local + ok + "OnQueryDisConnection " + std::to_string(ZUL_CONN_REMOTE_DISCONNECTED) +
                  " remote disconnected; ",
              second.trail());
}
