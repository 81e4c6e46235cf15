// Destroying or closing a client from inside its own callbacks, on both faces and from
// every kind of callback: the call that tears down finishes, and nothing follows it.
// After a destroy no event of any kind reaches the caller, who frees its context and
// event object at once; after a close no answer record of that connection arrives.
// The sanitizer builds turn any touch of freed memory into a failure.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "ZulQueryApi.h"
#include "protocol/msg_define.h"
#include "protocol/zul_define.h"
#include "support/e2e_client.h"

using namespace zul_test;

namespace {

enum class kind { conn_ok, logon, record, refusal, push, remote_end, local_end };
enum class face { plain, object };

const char* kind_name(kind k) {
    static const char* const names[] = {"ConnOk", "Logon",     "Record",  "Refusal",
                                        "Push",   "RemoteEnd", "LocalEnd"};
    return names[static_cast<int>(k)];
}

const char ACCOUNT[] = "ZQ7";
const size_t STREAM_RECORDS = 2000;
// The record of the stream from whose callback the client is torn down.
const int ACT_ON_RECORD = 5;
const uint32_t REFUSAL_ERROR = 7;

// What the callbacks saw, kept apart from the client and from the caller's context,
// both of which are gone after a destroy.
struct probe {
    kind where = kind::conn_ok;
    bool destroy = false;
    std::atomic<bool> acting{false};    // the tearing call has begun
    std::atomic<bool> acted{false};     // ... and returned
    std::atomic<bool> returned{false};  // the callback that made it has returned
    std::atomic<int> logons{0}, records{0}, late_events{0}, late_records{0};

    // Every callback starts here. True when it is the one to tear down.
    bool enter(kind k, bool is_record) {
        if (acted) {
            ++late_events;
            late_records += is_record;
        }
        if (k == kind::logon)
            ++logons;
        int n = is_record ? ++records : 0;
        if (k != where || acting)
            return false;
        return k != kind::record || n == ACT_ON_RECORD;
    }
};

probe* g_probe = nullptr;

// The caller's own context behind the handle of the plain face.
struct context {
    int canary = 0x5a5a;
};

// --- plain face

void plain_act(void* h) {
    g_probe->acting = true;
    if (g_probe->destroy) {
        // The context goes at once too: a late callback would read freed memory.
        context* ctx = static_cast<context*>(KQZUL_GetQueryUserParam(h));
        KQZUL_DestroyQuery(h);
        delete ctx;
    } else {
        KQZUL_DisConnQueryServer(h);
    }
    g_probe->acted = true;
}

bool plain_enter(void* h, kind k, bool is_record) {
    // Reads the context on every call, as a caller's callback would.
    EXPECT_EQ(0x5a5a, static_cast<context*>(KQZUL_GetQueryUserParam(h))->canary);
    return g_probe->enter(k, is_record);
}

void plain_conn(void* h, ERR_NO code, const char*) {
    kind k = code == ZUL_CONN_OK                   ? kind::conn_ok
             : code == ZUL_CONN_LOCAL_DISCONNECTED ? kind::local_end
                                                   : kind::remote_end;
    if (plain_enter(h, k, false))
        plain_act(h);
    else if (k == kind::conn_ok && !g_probe->acted)
        send_logon(h);
}
void plain_logon(void* h, ZUL_QueryLogonResponse*) {
    if (plain_enter(h, kind::logon, false))
        plain_act(h);
}
void plain_position(void* h, const char*, ZUL_AccountPosition*, bool, ZUL_QueryErrorId error) {
    if (plain_enter(h, error != 0 ? kind::refusal : kind::record, true))
        plain_act(h);
}
void plain_report(void* h, const char*, ZUL_AccountBP*) {
    if (plain_enter(h, kind::push, true))
        plain_act(h);
}
void plain_cash(void* h, const char*, ZUL_AccountCashInout*, ZUL_QueryErrorId) {
    plain_enter(h, kind::push, true);
}

// --- object face

class teardown_events : public ZULQueryEvent {
public:
    ZULQueryApi* api = nullptr;

    void OnQueryConnection(ERR_NO, const char*) override {
        if (enter(kind::conn_ok, false))
            act();
        else if (!g_probe->acted)
            api->QueryUserLogon("trader01", "pw123456");
    }
    void OnQueryDisConnection(ERR_NO code, const char*) override {
        if (enter(code == ZUL_CONN_LOCAL_DISCONNECTED ? kind::local_end : kind::remote_end, false))
            act();
    }
    void OnQueryUserLogon(ZUL_QueryLogonResponse*) override {
        if (enter(kind::logon, false))
            act();
    }
    void OnQueryAccountPosition(const char*, ZUL_AccountPosition*, bool,
                                ZUL_QueryErrorId error) override {
        if (enter(error != 0 ? kind::refusal : kind::record, true))
            act();
    }
    void OnAccountBPReport(const char*, ZUL_AccountBP*) override {
        if (enter(kind::push, true))
            act();
    }
    void OnAccountCashInoutNotify(const char*, ZUL_AccountCashInout*, ZUL_QueryErrorId) override {
        enter(kind::push, true);
    }

private:
    bool enter(kind k, bool is_record) {
        EXPECT_EQ(0x5a5a, m_canary);
        return g_probe->enter(k, is_record);
    }
    void act() {
        g_probe->acting = true;
        if (g_probe->destroy)
            DestroyZULQueryApi(api);
        else
            api->DisConnQueryServer();
        g_probe->acted = true;
        g_probe->returned = true;  // the last touch: the test may free this object now
    }
    int m_canary = 0x5a5a;
};

// --- the driver

class TeardownInCallback : public ::testing::TestWithParam<std::tuple<face, bool, kind>> {};

TEST_P(TeardownInCallback, NothingFollowsTheCallThatTearsDown) {
    const face f = std::get<0>(GetParam());
    probe p;
    p.destroy = std::get<1>(GetParam());
    p.where = std::get<2>(GetParam());
    g_probe = &p;

    scratch_dir dir;
    zulsim::Options o;
    o.bulk_records = STREAM_RECORDS;
    o.write_mode = zulsim::WriteMode::coalesce;
    if (p.where == kind::refusal)
        o.refusals[QUERY_ACCOUNT_POSITION_REQ_MSG_ID] = REFUSAL_ERROR;
    zulsim::Simulator sim(o);
    ASSERT_TRUE(sim.start());

    void* h = nullptr;
    context* ctx = nullptr;
    teardown_events* events = nullptr;
    ZULQueryApi* api = nullptr;
    if (f == face::plain) {
        ctx = new context;
        h = KQZUL_CreateQuery(ctx);
        KQZUL_SetQueryConnectionEvent(h, plain_conn);
        KQZUL_SetQueryUserLogonEvent(h, plain_logon);
        KQZUL_SetQueryAccountPositionEvent(h, plain_position);
        KQZUL_ReportAccountBPEvent(h, plain_report);
        KQZUL_NotifyAccountCashInOutEvent(h, plain_cash);
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_ConnQueryServer(h, server_at(sim.port())));
    } else {
        events = new teardown_events;
        api = CreateZULQueryApi();
        events->api = api;
        ASSERT_EQ(ZUL_RESULT_OK, api->ConnQueryServer("127.0.0.1", sim.port(), events));
    }
    // The handle is the caller's as long as no destroy has begun.
    auto still_mine = [&] { return !(p.destroy && p.acting); };
    auto query = [&] {
        if (still_mine())
            f == face::plain ? KQZUL_QueryAccountPosition(h, ACCOUNT, SEC_TYPE_FUTURE)
                             : api->QueryAccountPosition(ACCOUNT, SEC_TYPE_FUTURE);
    };

    if (p.where != kind::conn_ok && p.where != kind::logon) {
        ASSERT_TRUE(wait_until([&] { return p.logons == 1; }));
        if (p.where == kind::record || p.where == kind::refusal)
            query();
        else if (p.where == kind::push)
            sim.push_bp_report();
        else if (p.where == kind::remote_end)
            sim.drop_connections();
        else if (f == face::plain)
            KQZUL_DisConnQueryServer(h);  // destroyed inside, it is not touched after
        else
            api->DisConnQueryServer();
    }
    ASSERT_TRUE(wait_until([&] { return p.acted.load(); })) << "the callback never came";
    if (events != nullptr && p.destroy) {
        // Right after the destroy the caller frees its event object.
        ASSERT_TRUE(wait_until([&] { return p.returned.load(); }));
        delete events;
        events = nullptr;
    }

    // The server goes on: the rest of the stream, pushes, the end of the link.
    query();
    for (int i = 0; i < 3; ++i) {
        sim.push_bp_report();
        sim.push_cash_notice();
    }
    sim.drop_connections();
    ASSERT_TRUE(wait_until([&] { return sim.connections() == 0; }));
    if (p.destroy) {
        ASSERT_TRUE(wait_until([&] {
            return read_file("mavlog_" + std::string(precise_time::m_startDate) + ".log")
                       .find("info destroy query client") != std::string::npos;
        })) << "the client is never freed";
    } else {
        // The close asked for inside the callback has been carried out.
        ASSERT_TRUE(wait_until([&] {
            return read_file("mavlog_" + std::string(precise_time::m_startDate) + ".log")
                       .find("info close query client") != std::string::npos;
        }));
    }
    std::this_thread::sleep_for(50ms);  // a window in which a late call would come

    EXPECT_EQ(0, p.late_records.load()) << "answer records after the call returned";
    if (p.destroy) {
        EXPECT_EQ(0, p.late_events.load()) << "events after the destroy returned";
    }

    if (!p.destroy) {
        if (f == face::plain) {
            KQZUL_DestroyQuery(h);
            delete ctx;
        } else {
            DestroyZULQueryApi(api);
            delete events;
        }
    }
    g_probe = nullptr;
}

INSTANTIATE_TEST_SUITE_P(
    EveryCallback, TeardownInCallback,
    ::testing::Combine(::testing::Values(face::plain, face::object), ::testing::Bool(),
                       ::testing::Values(kind::conn_ok, kind::logon, kind::record, kind::refusal,
                                         kind::push, kind::remote_end, kind::local_end)),
    [](const ::testing::TestParamInfo<std::tuple<face, bool, kind>>& info) {
        return std::string(std::get<0>(info.param) == face::plain ? "Plain" : "Object") +
               (std::get<1>(info.param) ? "Destroy" : "Close") + kind_name(std::get<2>(info.param));
    });

// A close handed to the helper thread from a callback, against a destroy on another
// thread at the same moment: the helper never works on a freed client.
TEST(TeardownInCallback, CloseFromACallbackRacesADestroyElsewhere) {
    scratch_dir dir;
    zulsim::Options o;
    o.bulk_records = 200;
    o.write_mode = zulsim::WriteMode::coalesce;
    zulsim::Simulator sim(o);
    ASSERT_TRUE(sim.start());
    for (int round = 0; round < 20; ++round) {
        static std::atomic<bool> closing;
        closing = false;
        void* h = KQZUL_CreateQuery(nullptr);
        KQZUL_SetQueryAccountPositionEvent(
            h, [](void* hh, const char*, ZUL_AccountPosition*, bool, ZUL_QueryErrorId) {
                if (!closing.exchange(true))
                    KQZUL_DisConnQueryServer(hh);
            });
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_ConnQueryServer(h, server_at(sim.port())));
        ASSERT_EQ(ZUL_RESULT_OK, send_logon(h));
        ASSERT_TRUE(wait_until([&] { return KQZUL_QueryAccountPosition(h, ACCOUNT, 3) == 0; }));
        ASSERT_TRUE(wait_until([&] { return closing.load(); }));
        KQZUL_DestroyQuery(h);
    }
}

}  // namespace
