// The object face through a real connection: the fixed slots of both classes, every
// operation reaches the server as the plain function would, every event reaches its
// own virtual operation, and the differences from the plain face.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <utility>

#include "ZulQueryApi.h"
#include "api/ZULQueryImpl.h"
#include "client/QueryClient.h"
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
// finish flag, the error id (or connection code) and the record's bytes.
class event_log : public ZULQueryEvent {
public:
    struct entry {
        std::string op, account;
        bool streamed, finish;
        unsigned error;
        std::string record;
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
        for (const entry& e : entries())
            if (e.op == op && (e.finish || !e.streamed))
                return true;
        return false;
    }

private:
    template <typename R = char>
    void add(const char* op, const char* account, bool streamed, bool finish, unsigned error,
             const R* record = nullptr) {
        entry e{op, account != nullptr ? account : "<null>", streamed, finish, error, ""};
        if (record != nullptr)
            e.record.assign(reinterpret_cast<const char*>(record), sizeof(R));
        std::lock_guard<std::mutex> g(m_mutex);
        m_entries.push_back(e);
    }

    std::mutex m_mutex;
    std::vector<entry> m_entries;

    // clang-format off
#define STREAM(op, T) void op(const char* a, T* p, bool f, ZUL_QueryErrorId e) override { add(#op, a, true, f, e, p); }
#define LIST(op, T) void op(T* p, bool f, ZUL_QueryErrorId e) override { add(#op, "", true, f, e, p); }
#define SINGLE(op, T) void op(const char* a, T* p, ZUL_QueryErrorId e) override { add(#op, a, false, false, e, p); }
    void OnQueryConnection(ERR_NO n, const char* t) override { add("OnQueryConnection", t, false, false, n); }
    void OnQueryDisConnection(ERR_NO n, const char* t) override { add("OnQueryDisConnection", t, false, false, n); }
    void OnQueryUserLogon(ZUL_QueryLogonResponse* p) override { add("OnQueryUserLogon", "", false, false, 0, p); }
    void OnQueryRspChangePassword(ZUL_ChangePasswordResult r) override { add("OnQueryRspChangePassword", "", false, false, r); }
    void OnAccountBPReport(const char* a, ZUL_AccountBP* p) override { add("OnAccountBPReport", a, false, false, 0, p); }
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
    void connect_and_logon() {
        ASSERT_EQ(ZUL_RESULT_OK, api->ConnQueryServer("127.0.0.1", sim.port(), &events));
        ASSERT_TRUE(wait_until([&] { return events.count("OnQueryConnection") == 1; }));
        ASSERT_EQ(ZUL_RESULT_OK, api->QueryUserLogon("trader01", "pw123456"));
        ASSERT_TRUE(wait_until([&] { return events.count("OnQueryUserLogon") == 1; }));
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
    using A = ZULQueryApi;
    using E = ZULQueryEvent;
    // clang-format off
    const long api[] = {slot_of(&A::GetQueryApiVersion), slot_of(&A::SetQueryAutoReconnect), slot_of(&A::SetQueryMaxWaitTime),
        slot_of(static_cast<RESULT (A::*)(const char*, int, ZULQueryEvent*)>(&A::ConnQueryServer)),
        slot_of(static_cast<RESULT (A::*)(const ZUL_QuerySvrInfo&, ZULQueryEvent*)>(&A::ConnQueryServer)),
        slot_of(&A::DisConnQueryServer), slot_of(&A::QueryUserLogon), slot_of(&A::QueryChangePassword),
        slot_of(&A::QuerySymbolList), slot_of(&A::QueryUserAccount), slot_of(&A::QueryAccountPosition),
        slot_of(&A::QueryAccountBP), slot_of(&A::QueryAccountBPDetail), slot_of(&A::QueryComboRule),
        slot_of(&A::QueryComboPosition), slot_of(&A::QueryAccountTradeMargin), slot_of(&A::QueryAccountTradeFee),
        slot_of(&A::QueryAccountOrder), slot_of(&A::QueryAccountQuote), slot_of(&A::QueryAccountArbiOrder),
        slot_of(&A::QueryAccountOrderExecution), slot_of(&A::QueryConvertFromTimestamp),
        slot_of(&A::SetQueryLoggerSwitch), slot_of(&A::QueryLoggerFlush), slot_of(&A::QueryAccountCashInOut)};
    const long event[] = {slot_of(&E::OnQueryConnection), slot_of(&E::OnQueryDisConnection), slot_of(&E::OnQueryUserLogon),
        slot_of(&E::OnQueryRspChangePassword), slot_of(&E::OnQueryUserAccount), slot_of(&E::OnQueryAccountPosition),
        slot_of(&E::OnQueryAccountOptionPosition), slot_of(&E::OnQueryAccountBP), slot_of(&E::OnQueryAccountBPDetail),
        slot_of(&E::OnAccountBPReport), slot_of(&E::OnAccountCashInoutNotify), slot_of(&E::OnQuerySymbol),
        slot_of(&E::OnQueryAccountTradeMargin), slot_of(&E::OnQueryAccountTradeFee), slot_of(&E::OnQueryTradeOrder),
        slot_of(&E::OnQueryTradeArbiOrder), slot_of(&E::OnQueryComboRule), slot_of(&E::OnQueryComboPosition),
        slot_of(&E::OnQueryTradeQuote), slot_of(&E::OnQueryTradeOrderExec), slot_of(&E::OnQueryTradeOrderExecEx)};
    // clang-format on
    // Two slots for the destructor, then the operations in declared order.
    for (size_t i = 0; i < std::size(api); ++i)
        EXPECT_EQ(static_cast<long>(i) + 2, api[i]) << i;
    for (size_t i = 0; i < std::size(event); ++i)
        EXPECT_EQ(static_cast<long>(i) + 2, event[i]) << i;
}

TEST(ObjectFace, VersionSettingsAndTimestampsNeedNoConnection) {
    scratch_dir dir;
    DestroyZULQueryApi(nullptr);
    ZULQueryApi* api = CreateZULQueryApi();
    const char* v = api->GetQueryApiVersion();
    EXPECT_STREQ("5.2.4.16", v);
    EXPECT_EQ(v, api->GetQueryApiVersion());
    for (size_t i = strlen(v); i < 20; ++i)
        EXPECT_EQ('\0', v[i]) << "byte " << i;
    ZULQueryImpl* impl = static_cast<ZULQueryImpl*>(api);
    EXPECT_EQ(impl, KQZUL_GetQueryUserParam(impl->m_handle)) << "the object is the user parameter";
    CQueryClient* c = static_cast<CQueryClient*>(impl->m_handle);
    api->SetQueryLoggerSwitch(true);
    api->SetQueryAutoReconnect(true);
    api->SetQueryMaxWaitTime(7);
    api->SetQueryMaxWaitTime(-5);
    EXPECT_TRUE(c->m_bLoggerSwitch && c->m_b_auto_connect);
    EXPECT_EQ(7, c->m_epoll_max_wait_time_query.load());
    tm t{};
    unsigned int ns = 99;
    api->QueryConvertFromTimestamp((1ULL << 32) | 5, t, ns);
    EXPECT_EQ(5u, ns);
    EXPECT_EQ(1, mktime(&t));
    EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, api->QueryUserAccount());
    DestroyZULQueryApi(api);
}

TEST(ObjectFace, AddressAndPortAreCutAsTheFieldsHold) {
    object_session s;
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, s.api->ConnQueryServer("127.0.0.1", 65536, &s.events));
    // Only the low 16 bits of the port count, and 15 characters of the address:
    // "127.000.000.001" is loopback, the 16th character is dropped.
    ASSERT_EQ(ZUL_RESULT_OK,
              s.api->ConnQueryServer("127.000.000.001X", s.sim.port() + 65536, &s.events));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnQueryConnection") == 1; }));
    EXPECT_STREQ("127.000.000.001", s.engine()->m_connectSeverInfo.m_RemoteQueryIp);
}

TEST(ObjectFace, ConnectionEventsGoByCodeToTheLatestEventObject) {
    object_session s;
    // Without an event object the client still connects and logs on.
    ASSERT_EQ(ZUL_RESULT_OK, s.api->ConnQueryServer("127.0.0.1", s.sim.port(), nullptr));
    ASSERT_TRUE(wait_until([&] { return s.engine()->IsConnect(); }));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryUserLogon("trader01", "pw123456"));
    ASSERT_TRUE(wait_until([&] { return s.engine()->IsLogon(); }));
    // Each connect hands the close of the connection before to the new event object.
    s.connect_and_logon();
    event_log second;
    ASSERT_EQ(ZUL_RESULT_OK, s.api->ConnQueryServer("127.0.0.1", s.sim.port(), &second));
    ASSERT_TRUE(wait_until([&] { return second.count("OnQueryConnection") == 1; }));
    s.sim.drop_connections();
    ASSERT_TRUE(wait_until([&] { return second.count("OnQueryDisConnection") == 2; }));
    DestroyZULQueryApi(std::exchange(s.api, nullptr));
    auto trail = [](event_log& log) {
        std::string out;
        for (const event_log::entry& e : log.entries())
            out += e.op + " " + std::to_string(e.error) + " " + e.account + "; ";
        return out;
    };
    const std::string local = "OnQueryDisConnection " +
                              std::to_string(ZUL_CONN_LOCAL_DISCONNECTED) + " local disconnected; ";
    const std::string ok = "OnQueryConnection " + std::to_string(ZUL_CONN_OK) + " conn ok; ";
    EXPECT_EQ(local + ok + "OnQueryUserLogon 0 ; ", trail(s.events));
    EXPECT_EQ(local + ok + "OnQueryDisConnection " + std::to_string(ZUL_CONN_REMOTE_DISCONNECTED) +
                  " remote disconnected; ",
              trail(second));
}

// Each operation reaches the server as its plain function would, and each answer
// the event operation of its own kind, a stream closing with bFinish. A refusal
// reaches the operation of its request, and hv27 executions the Ex one.
TEST(ObjectFace, EveryOperationAndEventTakesItsOwnPath) {
    object_session s;
    s.connect_and_logon();
    ASSERT_EQ(1u, s.sim.push_bp_report(ACCOUNT));
    std::set<std::string> expected = {"OnQueryConnection", "OnAccountBPReport"};
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
    for (const event_log::entry& e : s.events.entries()) {
        seen.insert(e.op);
        EXPECT_TRUE(e.account.empty() || e.account == ACCOUNT || e.account == "conn ok") << e.op;
        EXPECT_EQ(0u, e.error) << e.op;  // "conn ok" has code 0 too
    }
    EXPECT_EQ(expected, seen) << "an event reached another operation";

    s.sim.configure([](zulsim::Options& o) { o.refusals[74] = 4711; });
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryAccountOrder(ACCOUNT, 3));
    ASSERT_TRUE(wait_until([&] { return s.events.entries().back().error == 4711; }));
    const event_log::entry refusal = s.events.entries().back();
    EXPECT_EQ("OnQueryTradeOrder", refusal.op);
    EXPECT_FALSE(refusal.finish);
    EXPECT_EQ("", refusal.account);
    EXPECT_EQ(std::string(sizeof(ZUL_QueryAccountOrder), '\0'), refusal.record);

    s.sim.configure([](zulsim::Options& o) { o.hv27 = true; });
    s.sim.set_data(zulsim::DataSet::standard(true, s.sim.options().user_id));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryUserLogon("trader01", "pw123456"));
    ASSERT_TRUE(wait_until([&] { return s.engine()->IsHv27Version(); }));
    EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, s.api->QueryAccountBP(ACCOUNT));
    const size_t plain_execs = s.events.count("OnQueryTradeOrderExec");
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryAccountOrderExecution(ACCOUNT, 3, 0));
    ASSERT_TRUE(wait_until([&] { return s.events.done("OnQueryTradeOrderExecEx"); }));
    EXPECT_EQ(plain_execs, s.events.count("OnQueryTradeOrderExec"));
}
