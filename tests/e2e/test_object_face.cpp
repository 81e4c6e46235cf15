// The object face through a real connection: every operation reaches the server as
// the plain function would, every event reaches its own virtual operation, and the
// differences from the plain face.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>

#include "ZulQueryApi.h"
#include "api/ZULQueryImpl.h"
#include "client/QueryClient.h"
#include "protocol/msg_define.h"
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

// Records which operation fired, with the account text and the finish/error
// arguments; every operation of the class is overridden.
class event_log : public ZULQueryEvent {
public:
    struct entry {
        std::string op;
        std::string account;
        bool finish = false;
        unsigned error = 0;
        std::string record;  // bytes of the delivered record
    };

    std::vector<entry> entries() {
        std::lock_guard<std::mutex> g(m_mutex);
        return m_entries;
    }
    size_t count(const std::string& op) {
        std::lock_guard<std::mutex> g(m_mutex);
        size_t n = 0;
        for (const entry& e : m_entries) n += e.op == op ? 1 : 0;
        return n;
    }
    bool finished(const std::string& op) {
        std::lock_guard<std::mutex> g(m_mutex);
        for (const entry& e : m_entries)
            if (e.op == op && e.finish) return true;
        return false;
    }

    void OnQueryConnection(ERR_NO err_no, const char* text) override { add("OnQueryConnection", text, false, err_no); }
    void OnQueryDisConnection(ERR_NO err_no, const char* text) override {
        add("OnQueryDisConnection", text, false, err_no);
    }
    void OnQueryUserLogon(ZUL_QueryLogonResponse* p) override { add("OnQueryUserLogon", "", false, 0, p); }
    void OnQueryRspChangePassword(ZUL_ChangePasswordResult r) override {
        add("OnQueryRspChangePassword", "", false, static_cast<unsigned>(r));
    }
    void OnQueryUserAccount(ZUL_AccountInfo* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryUserAccount", "", f, e, p);
    }
    void OnQueryAccountPosition(const char* a, ZUL_AccountPosition* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryAccountPosition", a, f, e, p);
    }
    void OnQueryAccountOptionPosition(const char* a, ZUL_AccountOptionPosition* p, bool f,
                                      ZUL_QueryErrorId e) override {
        add("OnQueryAccountOptionPosition", a, f, e, p);
    }
    void OnQueryAccountBP(const char* a, ZUL_AccountBP* p, ZUL_QueryErrorId e) override {
        add("OnQueryAccountBP", a, false, e, p);
    }
    void OnQueryAccountBPDetail(const char* a, ZUL_AccountBPDetail* p, ZUL_QueryErrorId e) override {
        add("OnQueryAccountBPDetail", a, false, e, p);
    }
    void OnAccountBPReport(const char* a, ZUL_AccountBP* p) override { add("OnAccountBPReport", a, false, 0, p); }
    void OnAccountCashInoutNotify(const char* a, ZUL_AccountCashInout* p, ZUL_QueryErrorId e) override {
        add("OnAccountCashInoutNotify", a, false, e, p);
    }
    void OnQuerySymbol(ZUL_SymbolField* p, bool f, ZUL_QueryErrorId e) override { add("OnQuerySymbol", "", f, e, p); }
    void OnQueryAccountTradeMargin(const char* a, ZUL_AccountMargin* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryAccountTradeMargin", a, f, e, p);
    }
    void OnQueryAccountTradeFee(const char* a, ZUL_AccountFee* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryAccountTradeFee", a, f, e, p);
    }
    void OnQueryTradeOrder(const char* a, ZUL_QueryAccountOrder* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryTradeOrder", a, f, e, p);
    }
    void OnQueryTradeArbiOrder(const char* a, ZUL_QueryAccountArbiOrder* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryTradeArbiOrder", a, f, e, p);
    }
    void OnQueryComboRule(ZUL_AccountComboRule* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryComboRule", "", f, e, p);
    }
    void OnQueryComboPosition(const char* a, ZUL_AccountComboPosition* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryComboPosition", a, f, e, p);
    }
    void OnQueryTradeQuote(const char* a, ZUL_QueryAccountQuote* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryTradeQuote", a, f, e, p);
    }
    void OnQueryTradeOrderExec(const char* a, ZUL_QueryOrderExecution* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryTradeOrderExec", a, f, e, p);
    }
    void OnQueryTradeOrderExecEx(const char* a, ZUL_QueryOrderExecutionEx* p, bool f, ZUL_QueryErrorId e) override {
        add("OnQueryTradeOrderExecEx", a, f, e, p);
    }

private:
    template <typename R = char>
    void add(const char* op, const char* account, bool finish, unsigned error, const R* record = nullptr) {
        entry e;
        e.op = op;
        e.account = account != nullptr ? account : "<null>";
        e.finish = finish;
        e.error = error;
        if (record != nullptr) e.record.assign(reinterpret_cast<const char*>(record), sizeof(R));
        std::lock_guard<std::mutex> g(m_mutex);
        m_entries.push_back(e);
    }

    std::mutex m_mutex;
    std::vector<entry> m_entries;
};

// A simulator, an object-face client and its event log, logs in a scratch folder.
struct object_session {
    explicit object_session(zulsim::Options o = zulsim::Options()) : sim(o) {
        if (!sim.start()) throw std::runtime_error("simulator did not start");
        api = CreateZULQueryApi();
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
    CQueryClient* engine() { return static_cast<CQueryClient*>(static_cast<ZULQueryImpl*>(api)->m_handle); }

    scratch_dir dir;
    zulsim::Simulator sim;
    event_log events;
    ZULQueryApi* api = nullptr;
};

const char ACCOUNT[] = "ZQ7";

}  // namespace

TEST(ObjectFace, VirtualOperationsStandInTheirFixedSlots) {
    // Two slots for the destructor, then the operations in declared order.
    EXPECT_EQ(2, slot_of(&ZULQueryApi::GetQueryApiVersion));
    EXPECT_EQ(3, slot_of(&ZULQueryApi::SetQueryAutoReconnect));
    EXPECT_EQ(4, slot_of(&ZULQueryApi::SetQueryMaxWaitTime));
    EXPECT_EQ(5, slot_of(static_cast<RESULT (ZULQueryApi::*)(const char*, int, ZULQueryEvent*)>(
                     &ZULQueryApi::ConnQueryServer)));
    EXPECT_EQ(6, slot_of(static_cast<RESULT (ZULQueryApi::*)(const ZUL_QuerySvrInfo&, ZULQueryEvent*)>(
                     &ZULQueryApi::ConnQueryServer)));
    EXPECT_EQ(7, slot_of(&ZULQueryApi::DisConnQueryServer));
    EXPECT_EQ(8, slot_of(&ZULQueryApi::QueryUserLogon));
    EXPECT_EQ(9, slot_of(&ZULQueryApi::QueryChangePassword));
    EXPECT_EQ(10, slot_of(&ZULQueryApi::QuerySymbolList));
    EXPECT_EQ(11, slot_of(&ZULQueryApi::QueryUserAccount));
    EXPECT_EQ(12, slot_of(&ZULQueryApi::QueryAccountPosition));
    EXPECT_EQ(13, slot_of(&ZULQueryApi::QueryAccountBP));
    EXPECT_EQ(14, slot_of(&ZULQueryApi::QueryAccountBPDetail));
    EXPECT_EQ(15, slot_of(&ZULQueryApi::QueryComboRule));
    EXPECT_EQ(16, slot_of(&ZULQueryApi::QueryComboPosition));
    EXPECT_EQ(17, slot_of(&ZULQueryApi::QueryAccountTradeMargin));
    EXPECT_EQ(18, slot_of(&ZULQueryApi::QueryAccountTradeFee));
    EXPECT_EQ(19, slot_of(&ZULQueryApi::QueryAccountOrder));
    EXPECT_EQ(20, slot_of(&ZULQueryApi::QueryAccountQuote));
    EXPECT_EQ(21, slot_of(&ZULQueryApi::QueryAccountArbiOrder));
    EXPECT_EQ(22, slot_of(&ZULQueryApi::QueryAccountOrderExecution));
    EXPECT_EQ(23, slot_of(&ZULQueryApi::QueryConvertFromTimestamp));
    EXPECT_EQ(24, slot_of(&ZULQueryApi::SetQueryLoggerSwitch));
    EXPECT_EQ(25, slot_of(&ZULQueryApi::QueryLoggerFlush));
    EXPECT_EQ(26, slot_of(&ZULQueryApi::QueryAccountCashInOut));

    EXPECT_EQ(2, slot_of(&ZULQueryEvent::OnQueryConnection));
    EXPECT_EQ(3, slot_of(&ZULQueryEvent::OnQueryDisConnection));
    EXPECT_EQ(4, slot_of(&ZULQueryEvent::OnQueryUserLogon));
    EXPECT_EQ(5, slot_of(&ZULQueryEvent::OnQueryRspChangePassword));
    EXPECT_EQ(6, slot_of(&ZULQueryEvent::OnQueryUserAccount));
    EXPECT_EQ(7, slot_of(&ZULQueryEvent::OnQueryAccountPosition));
    EXPECT_EQ(8, slot_of(&ZULQueryEvent::OnQueryAccountOptionPosition));
    EXPECT_EQ(9, slot_of(&ZULQueryEvent::OnQueryAccountBP));
    EXPECT_EQ(10, slot_of(&ZULQueryEvent::OnQueryAccountBPDetail));
    EXPECT_EQ(11, slot_of(&ZULQueryEvent::OnAccountBPReport));
    EXPECT_EQ(12, slot_of(&ZULQueryEvent::OnAccountCashInoutNotify));
    EXPECT_EQ(13, slot_of(&ZULQueryEvent::OnQuerySymbol));
    EXPECT_EQ(14, slot_of(&ZULQueryEvent::OnQueryAccountTradeMargin));
    EXPECT_EQ(15, slot_of(&ZULQueryEvent::OnQueryAccountTradeFee));
    EXPECT_EQ(16, slot_of(&ZULQueryEvent::OnQueryTradeOrder));
    EXPECT_EQ(17, slot_of(&ZULQueryEvent::OnQueryTradeArbiOrder));
    EXPECT_EQ(18, slot_of(&ZULQueryEvent::OnQueryComboRule));
    EXPECT_EQ(19, slot_of(&ZULQueryEvent::OnQueryComboPosition));
    EXPECT_EQ(20, slot_of(&ZULQueryEvent::OnQueryTradeQuote));
    EXPECT_EQ(21, slot_of(&ZULQueryEvent::OnQueryTradeOrderExec));
    EXPECT_EQ(22, slot_of(&ZULQueryEvent::OnQueryTradeOrderExecEx));
}

TEST(ObjectFace, VersionTextAndLifeWithoutConnection) {
    scratch_dir dir;
    DestroyZULQueryApi(nullptr);
    ZULQueryApi* api = CreateZULQueryApi();
    const char* v = api->GetQueryApiVersion();
    EXPECT_STREQ("5.2.4.16", v);
    EXPECT_EQ(v, api->GetQueryApiVersion());
    for (size_t i = strlen(v); i < 20; ++i) EXPECT_EQ('\0', v[i]) << "byte " << i;
    ZULQueryImpl* impl = static_cast<ZULQueryImpl*>(api);
    EXPECT_EQ(impl, KQZUL_GetQueryUserParam(impl->m_handle)) << "the object is its client's user parameter";
    // The risk slots stay empty on this face.
    CQueryClient* engine = static_cast<CQueryClient*>(impl->m_handle);
    EXPECT_EQ(nullptr, engine->m_ptr_fun_query_account_risk_data_event.load());
    EXPECT_EQ(nullptr, engine->m_ptr_fun_query_account_symbol_risk_data_event.load());
    EXPECT_NE(nullptr, engine->m_ptr_fun_query_trade_order_exec_ex.load());
    api->SetQueryLoggerSwitch(true);
    api->QueryLoggerFlush();
    api->SetQueryMaxWaitTime(-5);
    EXPECT_EQ(500, engine->m_epoll_max_wait_time_query.load());
    EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, api->QueryUserAccount());
    DestroyZULQueryApi(api);
    const std::string log = read_file(std::string("mavlog_") + precise_time::m_startDate + ".log");
    EXPECT_NE(std::string::npos, log.find("info create query client\n"));
    EXPECT_NE(std::string::npos, log.find("info destroy query client\n"));
}

TEST(ObjectFace, TimestampConversion) {
    scratch_dir dir;
    ZULQueryApi* api = CreateZULQueryApi();
    tm t{};
    unsigned int ns = 99;
    api->QueryConvertFromTimestamp(0, t, ns);
    time_t epoch = 0;
    tm local{};
    localtime_r(&epoch, &local);
    EXPECT_EQ(0u, ns);
    EXPECT_EQ(local.tm_year, t.tm_year);
    EXPECT_EQ(local.tm_hour, t.tm_hour);
    api->QueryConvertFromTimestamp((1ULL << 32) | 5, t, ns);
    time_t one = 1;
    localtime_r(&one, &local);
    EXPECT_EQ(5u, ns);
    EXPECT_EQ(local.tm_sec, t.tm_sec);
    DestroyZULQueryApi(api);
}

TEST(ObjectFace, AddressAndPortAreCutAsTheFieldsHold) {
    object_session s;
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, s.api->ConnQueryServer("127.0.0.1", 65536, &s.events)) << "port 0";
    // Only the low 16 bits of the port count, and 15 characters of the address:
    // "127.000.000.001" is loopback, the 16th character is dropped.
    ASSERT_EQ(ZUL_RESULT_OK, s.api->ConnQueryServer("127.000.000.001X", s.sim.port() + 65536, &s.events));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnQueryConnection") == 1; }));
    EXPECT_STREQ("127.000.000.001", s.engine()->m_connectSeverInfo.m_RemoteQueryIp);
    EXPECT_EQ(ZUL_RESULT_NOT_LOGGED_ON, s.api->QueryUserAccount());
}

TEST(ObjectFace, ConnectionEventsSplitByCode) {
    object_session s;
    s.connect_and_logon();
    auto first = s.events.entries()[0];
    EXPECT_EQ(ZUL_CONN_OK, static_cast<int>(first.error));
    EXPECT_EQ("conn ok", first.account);
    s.sim.drop_connections();
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnQueryDisConnection") == 1; }));
    for (const auto& e : s.events.entries()) {
        if (e.op == "OnQueryDisConnection") {
            EXPECT_EQ(ZUL_CONN_REMOTE_DISCONNECTED, static_cast<int>(e.error));
            EXPECT_EQ("remote disconnected", e.account);
        }
    }
}

TEST(ObjectFace, SecondConnectHandsTheCloseToTheNewEventObject) {
    object_session s;
    s.connect_and_logon();
    event_log second;
    ASSERT_EQ(ZUL_RESULT_OK, s.api->ConnQueryServer("127.0.0.1", s.sim.port(), &second));
    ASSERT_TRUE(wait_until([&] { return second.count("OnQueryConnection") == 1; }));
    EXPECT_EQ(0u, s.events.count("OnQueryDisConnection"));
    ASSERT_EQ(1u, second.count("OnQueryDisConnection"));
    EXPECT_EQ(ZUL_CONN_LOCAL_DISCONNECTED, static_cast<int>(second.entries()[0].error));
    // Destruction reports the close of an open connection to the event object.
    DestroyZULQueryApi(s.api);
    s.api = nullptr;
    EXPECT_EQ(2u, second.count("OnQueryDisConnection"));
}

TEST(ObjectFace, NullEventObjectStillMovesTheClientsState) {
    object_session s;
    ASSERT_EQ(ZUL_RESULT_OK, s.api->ConnQueryServer("127.0.0.1", s.sim.port(), nullptr));
    ASSERT_TRUE(wait_until([&] { return s.engine()->IsConnect(); }));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryUserLogon("trader01", "pw123456"));
    ASSERT_TRUE(wait_until([&] { return s.engine()->IsLogon(); }));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryUserAccount());
    EXPECT_TRUE(s.events.entries().empty());
}

TEST(ObjectFace, EveryOperationReachesTheServerAsThePlainFunctionWould) {
    object_session s;
    s.connect_and_logon();
    s.sim.clear_requests();
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryChangePassword("old", "abc12345"));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QuerySymbolList(3));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryUserAccount());
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountPosition(ACCOUNT, 2));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountBP(ACCOUNT));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountBPDetail(ACCOUNT));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryComboRule(4, 5));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryComboPosition(ACCOUNT));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountTradeMargin(ACCOUNT));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountTradeFee(ACCOUNT, 6));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountOrder(ACCOUNT, 7));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountQuote(ACCOUNT, 8));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountArbiOrder(ACCOUNT));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountOrderExecution(ACCOUNT, 9, 0x1ff));
    EXPECT_EQ(ZUL_RESULT_OK, s.api->QueryAccountCashInOut(ACCOUNT));
    ASSERT_TRUE(s.sim.wait_for_requests(15, 10s));
    const std::vector<zulsim::ReceivedRequest> r = s.sim.requests();
    const int ids[] = {69, 72, 71, 73, 81, 88, 76, 79, 77, 78, 74, 95, 98, 75, 85};
    ASSERT_EQ(15u, r.size());
    for (size_t i = 0; i < 15; ++i) {
        EXPECT_EQ(ids[i], r[i].id) << "request " << i;
        EXPECT_EQ(s.sim.options().user_id, static_cast<uint32_t>(r[i].number("m_user_id"))) << r[i].name;
        if (r[i].fields.count("m_account_id") != 0) {
            EXPECT_EQ(ACCOUNT, r[i].text("m_account_id")) << r[i].name;
        }
    }
    EXPECT_EQ(3, r[1].number("m_sec_type"));
    EXPECT_EQ(2, r[3].number("m_sec_type"));
    EXPECT_EQ(4, r[6].number("m_combo_type"));
    EXPECT_EQ(5, r[6].number("m_hedge_flag"));
    EXPECT_EQ(6, r[9].number("m_sec_type"));
    EXPECT_EQ(7, r[10].number("m_sec_type"));
    EXPECT_EQ(8, r[11].number("m_sec_type"));
    EXPECT_EQ(9, r[13].number("m_sec_type"));
    EXPECT_EQ(0xff, r[13].number("m_rewind_flag"));
    // The same checks as the plain face: hv27 servers aside, a bad new password.
    EXPECT_EQ(ZUL_RESULT_BAD_PASSWORD, s.api->QueryChangePassword("old", "short1"));
}

// Each query's events reach the operation of its own kind, closing with bFinish.
TEST(ObjectFace, EveryEventReachesItsOwnOperation) {
    object_session s;
    s.connect_and_logon();
    struct call {
        std::function<RESULT()> query;
        const char* op;
    };
    const std::vector<call> calls = {
        {[&] { return s.api->QueryUserAccount(); }, "OnQueryUserAccount"},
        {[&] { return s.api->QuerySymbolList(3); }, "OnQuerySymbol"},
        {[&] { return s.api->QueryAccountPosition(ACCOUNT, 3); }, "OnQueryAccountPosition"},
        {[&] { return s.api->QueryAccountPosition(ACCOUNT, 2); }, "OnQueryAccountOptionPosition"},
        {[&] { return s.api->QueryComboRule(1, 1); }, "OnQueryComboRule"},
        {[&] { return s.api->QueryComboPosition(ACCOUNT); }, "OnQueryComboPosition"},
        {[&] { return s.api->QueryAccountTradeMargin(ACCOUNT); }, "OnQueryAccountTradeMargin"},
        {[&] { return s.api->QueryAccountTradeFee(ACCOUNT, 3); }, "OnQueryAccountTradeFee"},
        {[&] { return s.api->QueryAccountOrder(ACCOUNT, 3); }, "OnQueryTradeOrder"},
        {[&] { return s.api->QueryAccountArbiOrder(ACCOUNT); }, "OnQueryTradeArbiOrder"},
        {[&] { return s.api->QueryAccountQuote(ACCOUNT, 2); }, "OnQueryTradeQuote"},
        {[&] { return s.api->QueryAccountOrderExecution(ACCOUNT, 3, 0); }, "OnQueryTradeOrderExec"},
    };
    for (const call& c : calls) {
        ASSERT_EQ(ZUL_RESULT_OK, c.query()) << c.op;
        ASSERT_TRUE(wait_until([&] { return s.events.finished(c.op); })) << c.op;
    }
    // Single answers, pushes and the password change.
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryAccountBP(ACCOUNT));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnQueryAccountBP") == 1; }));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryAccountBPDetail(ACCOUNT));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnQueryAccountBPDetail") == 1; }));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryAccountCashInOut(ACCOUNT));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnAccountCashInoutNotify") == 1; }));
    ASSERT_EQ(1u, s.sim.push_bp_report(ACCOUNT));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnAccountBPReport") == 1; }));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryChangePassword("old", "abc12345"));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnQueryRspChangePassword") == 1; }));
    EXPECT_EQ(0u, s.events.count("OnQueryTradeOrderExecEx")) << "non-hv27 executions take the plain event";

    // Every record event carries the account it was asked for, where it has one.
    for (const auto& e : s.events.entries()) {
        if (e.op == "OnQueryConnection" || e.op == "OnQueryDisConnection" || e.op == "OnQueryUserLogon" ||
            e.op == "OnQueryRspChangePassword" || e.op == "OnQueryUserAccount" || e.op == "OnQuerySymbol" ||
            e.op == "OnQueryComboRule")
            continue;
        EXPECT_EQ(ACCOUNT, e.account) << e.op;
        EXPECT_EQ(0u, e.error) << e.op;
    }
}

TEST(ObjectFace, Hv27ExecutionsReachTheExtendedOperation) {
    zulsim::Options o;
    o.hv27 = true;
    object_session s(o);
    s.connect_and_logon();
    EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, s.api->QueryAccountBP(ACCOUNT));
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryAccountOrderExecution(ACCOUNT, 3, 0));
    ASSERT_TRUE(wait_until([&] { return s.events.finished("OnQueryTradeOrderExecEx"); }));
    EXPECT_EQ(0u, s.events.count("OnQueryTradeOrderExec"));
}

TEST(ObjectFace, RefusalReachesTheOperationWithTheErrorId) {
    zulsim::Options o;
    o.refusals[74] = 4711;
    object_session s(o);
    s.connect_and_logon();
    ASSERT_EQ(ZUL_RESULT_OK, s.api->QueryAccountOrder(ACCOUNT, 3));
    ASSERT_TRUE(wait_until([&] { return s.events.count("OnQueryTradeOrder") == 1; }));
    for (const auto& e : s.events.entries()) {
        if (e.op != "OnQueryTradeOrder") continue;
        EXPECT_EQ(4711u, e.error);
        EXPECT_FALSE(e.finish);
        EXPECT_EQ("", e.account);
        EXPECT_EQ(std::string(sizeof(ZUL_QueryAccountOrder), '\0'), e.record);
    }
}
