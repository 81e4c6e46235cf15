// zulquery::Session against an in-process simulator: every query in both forms and both
// server generations, each kind of failure, the silence timeout, streaming to the calling
// thread, turns, interruption, pushes, reconnection and many sessions at once.

#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <set>
#include <fstream>
#include <thread>

#include "ZulQueryApi.h"
#include "ZulQuerySession.h"
#include "sim_builders.h"
#include "sim_fields.h"
#include "support/e2e_client.h"

namespace {

using namespace zul_test;
using zulquery::Error;
using zulquery::Session;
using Kind = Error::Kind;

const char kUser[] = "trader01";
const char kPassword[] = "secret99";

// A simulator and sessions to it, in a scratch working folder (where the logs go).
struct Bench {
    explicit Bench(const std::function<void(zulsim::Options&)>& setup = nullptr) {
        zulsim::Options o;
        if (setup)
            setup(o);
        sim = std::make_unique<zulsim::Simulator>(o);
        EXPECT_TRUE(sim->start());
    }
    std::unique_ptr<Session> session(zulquery::Options o = zulquery::Options()) {
        return std::make_unique<Session>("127.0.0.1", sim->port(), std::move(o));
    }
    std::unique_ptr<Session> logged_on(zulquery::Options o = zulquery::Options()) {
        auto s = session(std::move(o));
        s->logon(kUser, kPassword);
        return s;
    }
    // The data records the server chose for the request it received as number `index`
    // (from 0): the simulator selects by the request's fields.
    std::vector<zulsim::Bytes> served(uint16_t response, const std::string& account, size_t index) {
        const std::vector<zulsim::ReceivedRequest> requests = sim->requests();
        if (index >= requests.size())
            return {};
        return data_records(response, sim->data().select(response, account, requests[index].raw));
    }
    // All data records of an answer in the data set.
    std::vector<zulsim::Bytes> stored(uint16_t response, const std::string& account) {
        const zulsim::DataSet d = sim->data();
        const std::vector<zulsim::Bytes>* all = d.find(response, account);
        return all != nullptr ? data_records(response, *all) : std::vector<zulsim::Bytes>();
    }
    static std::vector<zulsim::Bytes> data_records(uint16_t response,
                                                   const std::vector<zulsim::Bytes>& all) {
        std::vector<zulsim::Bytes> out;
        for (const zulsim::Bytes& r : all) {
            if (!zulsim::is_stream(response) || r[8] == 0 ||
                (zulsim::closes_on_one_only(response) && r[8] == 2))
                out.push_back(r);
        }
        return out;
    }

    scratch_dir dir;
    std::unique_ptr<zulsim::Simulator> sim;
};

// The failure a call ends with; nullopt if it returns.
template <class F>
std::optional<Error> failure_of(F call) {
    try {
        call();
    } catch (const Error& e) {
        return e;
    }
    return std::nullopt;
}

// Both forms of one query: how many records each gave, and whether they gave the same bytes.
struct Forms {
    size_t collected = 0, handed = 0;
    bool same = false;
};

template <class R, class Collect, class EachCall>
Forms both_forms(Collect collect, EachCall each_call) {
    const std::vector<R> all = collect();
    std::vector<R> each;
    each_call([&](const R& r) { each.push_back(r); });
    Forms f{all.size(), each.size(), all.size() == each.size()};
    for (size_t i = 0; f.same && i < all.size(); ++i)
        f.same = memcmp(&all[i], &each[i], sizeof(R)) == 0;
    return f;
}

struct QueryCase {
    const char* name;
    uint16_t response;
    const char* account;  // of the answer in the data set
    bool hv27_offers;
    Forms (*run)(Session& s);
};

#define FORMS(R, collect, each) \
    [](Session& s) { return both_forms<R>([&] { return s.collect; }, [&](auto f) { s.each; }); }

// clang-format off
const QueryCase kQueries[] = {
    {"accounts", 1071, "", true, FORMS(ZUL_AccountInfo, accounts(), accounts(f))},
    {"bp", 1081, "ZQ7", false, FORMS(ZUL_AccountBP, bp("ZQ7"), bp("ZQ7", f))},
    {"bp_detail", 1088, "ZQ7", true, FORMS(ZUL_AccountBPDetail, bp_detail("ZQ7"), bp_detail("ZQ7", f))},
    {"cash", 1099, "ZQ7", true, FORMS(ZUL_AccountCashInout, cash("ZQ7"), cash("ZQ7", f))},
    {"positions", 1073, "ZQ7", true, FORMS(ZUL_AccountPosition, positions("ZQ7"), positions("ZQ7", SEC_TYPE_FUTURE, f))},
    {"option_positions", 1092, "ACCT-FULL-WIDE16", true, FORMS(ZUL_AccountOptionPosition, option_positions("ACCT-FULL-WIDE16"), option_positions("ACCT-FULL-WIDE16", f))},
    {"combo_positions", 1079, "ZQ7", false, FORMS(ZUL_AccountComboPosition, combo_positions("ZQ7"), combo_positions("ZQ7", f))},
    {"margin", 1077, "ZQ7", true, FORMS(ZUL_AccountMargin, margin("ZQ7"), margin("ZQ7", f))},
    {"fees", 1078, "ZQ7", true, FORMS(ZUL_AccountFee, fees("ZQ7"), fees("ZQ7", SEC_TYPE_FUTURE, f))},
    {"orders", 1074, "ZQ7", true, FORMS(ZUL_QueryAccountOrder, orders("ZQ7"), orders("ZQ7", SEC_TYPE_FUTURE, f))},
    {"arbi_orders", 1098, "ZQ7", false, FORMS(ZUL_QueryAccountArbiOrder, arbi_orders("ZQ7"), arbi_orders("ZQ7", f))},
    {"quotes", 1095, "ZQ7", true, FORMS(ZUL_QueryAccountQuote, quotes("ZQ7"), quotes("ZQ7", SEC_TYPE_FUTURE, f))},
    {"symbols", 1072, "", true, FORMS(ZUL_SymbolField, symbols(), symbols(SEC_TYPE_FUTURE, f))},
    {"combo_rules", 1076, "", false, FORMS(ZUL_AccountComboRule, combo_rules(), combo_rules(0, 0, f))},
    {"risk", 1082, "ZQ7", true, FORMS(ZUL_AccountRiskData, risk("ZQ7"), risk("ZQ7", f))},
    {"symbol_risk", 1083, "ZQ7", true, FORMS(ZUL_AccountSymbolRiskData, symbol_risk("ZQ7", "IF2412"), symbol_risk("ZQ7", "IF2412", f))},
    {"no positions", 1073, "EMPTY-01", true, FORMS(ZUL_AccountPosition, positions("EMPTY-01"), positions("EMPTY-01", SEC_TYPE_FUTURE, f))},
};
// clang-format on

// Every query of both generations on one session each: the collecting form and the callback
// form give the records the server sent, in its order, byte for byte the same; what an hv27
// server does not offer fails as not_offered, 23, and the session goes on.
TEST(Session, EveryQueryInBothFormsAndBothGenerations) {
    for (const bool hv27 : {false, true}) {
        Bench b([&](zulsim::Options& o) { o.hv27 = hv27; });
        auto s = b.logged_on();
        for (const QueryCase& q : kQueries) {
            SCOPED_TRACE(std::string(q.name) + (hv27 ? " hv27" : ""));
            if (hv27 && !q.hv27_offers) {
                const auto e = failure_of([&] { q.run(*s); });
                ASSERT_TRUE(e.has_value());
                EXPECT_EQ(Kind::not_offered, e->kind());
                EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, e->code());
                continue;
            }
            const size_t before = b.sim->requests().size();
            const Forms f = q.run(*s);
            EXPECT_EQ(before + 2, b.sim->requests().size()) << "one request per form";
            EXPECT_EQ(b.served(q.response, q.account, before).size(), f.collected);
            EXPECT_EQ(f.collected, f.handed);
            EXPECT_TRUE(f.same);
        }
    }
    Bench b;
    auto s = b.logged_on();
    const std::vector<ZUL_AccountInfo> accounts = s->accounts();
    ASSERT_EQ(3u, accounts.size());
    EXPECT_STREQ("ACCT-FULL-WIDE16", accounts[0].m_Account);
    EXPECT_STREQ("ZQ7", accounts[1].m_Account);
    EXPECT_EQ(70123, s->logon_answer().m_UserId);
}

// The callback form hands executions in the form the server chose and says which; the
// collecting form widens short ones, symbol and side zero.
TEST(Session, ExecutionsInTheServersForm) {
    for (const bool hv27 : {false, true}) {
        Bench b([&](zulsim::Options& o) { o.hv27 = hv27; });
        auto s = b.logged_on();
        size_t shorts = 0, extended = 0;
        const bool ex = s->executions(
            "ZQ7", SEC_TYPE_FUTURE, 0, [&](const ZUL_QueryOrderExecution&) { ++shorts; },
            [&](const ZUL_QueryOrderExecutionEx&) { ++extended; });
        const size_t n = b.served(1075, "ZQ7", b.sim->requests().size() - 1).size();
        ASSERT_GT(n, 0u);
        EXPECT_EQ(hv27, ex);
        EXPECT_EQ(hv27 ? 0 : n, shorts);
        EXPECT_EQ(hv27 ? n : 0, extended);
        // Rewound: the server sends this connection's executions again.
        const auto widened = s->executions("ZQ7", SEC_TYPE_FUTURE, 1);
        ASSERT_EQ(n, widened.size());
        EXPECT_EQ(hv27, widened[0].m_Symbol[0] != '\0');
        EXPECT_EQ(0, s->executions("EMPTY-01").size());
        EXPECT_EQ(hv27, s->executions(
                            "EMPTY-01", SEC_TYPE_FUTURE, 0, [](const ZUL_QueryOrderExecution&) {},
                            [](const ZUL_QueryOrderExecutionEx&) {}))
            << "an empty answer tells its form too";
    }
}

// Records reach the callback on the calling thread, the first while the server is still far
// from the last.
TEST(Session, RecordsReachTheCallerWhileTheAnswerStreams) {
    Bench b([](zulsim::Options& o) {
        o.bulk_records = 2000;
        o.pause = 1ms;
    });
    auto s = b.logged_on();
    const std::thread::id caller = std::this_thread::get_id();
    size_t n = 0, written_at_first = 0;
    bool on_caller = true;
    s->orders("ZQ7", SEC_TYPE_FUTURE, [&](const ZUL_QueryAccountOrder&) {
        if (n++ == 0)
            written_at_first = b.sim->stats().messages;
        on_caller = on_caller && std::this_thread::get_id() == caller;
    });
    EXPECT_EQ(2000u, n);
    EXPECT_TRUE(on_caller);
    EXPECT_LT(written_at_first, 1000u);
}

// Each kind of failure, its code and its words.
TEST(Session, FailuresAreErrorsWithKindAndCode) {
    using Setup = void (*)(zulsim::Options&);
    const struct {
        const char* what;
        Setup setup;
        std::function<void(Bench&)> call;
        Kind kind;
        int code;
        const char* words;
    } cases[] = {
        {"connect refused", [](zulsim::Options&) {},
         [](Bench& b) {
             b.sim->configure(
                 [](zulsim::Options& o) { o.accept_mode = zulsim::AcceptMode::refuse; });
             b.logged_on();
         },
         Kind::cannot_connect, 1, ": connection refused: nothing listens on that port (result 1)"},
        {"unknown host", [](zulsim::Options&) {},
         [](Bench&) { Session("no-such-host.invalid", 1).logon(kUser, kPassword); },
         Kind::cannot_connect, 1, "cannot resolve host 'no-such-host.invalid'"},
        {"logon refused", [](zulsim::Options& o) { o.logon_result = 2; },
         [](Bench& b) { b.logged_on(); }, Kind::logon_refused, 2,
         "logon refused by the server: user id or password not accepted (result 2)"},
        {"query refused",
         [](zulsim::Options& o) {
             o.refusals = {{73, 77}};
         },
         [](Bench& b) { b.logged_on()->option_positions("ZQ7"); }, Kind::refused, 77,
         "the server refused option_positions: error id 77"},
        {"single answer refused", [](zulsim::Options&) {},
         [](Bench& b) { b.logged_on()->bp("NO-SUCH"); }, Kind::refused, 1,
         "the server refused bp: error id 1"},
        {"password change refused", [](zulsim::Options& o) { o.change_password_result = 7; },
         [](Bench& b) { b.logged_on()->change_password(kPassword, "newpass99"); }, Kind::refused, 7,
         "the server refused the password change: result 7"},
        {"dropped", [](zulsim::Options& o) { o.drop_on_request = 71; },
         [](Bench& b) { b.logged_on()->accounts(); }, Kind::connection_lost,
         ZUL_CONN_REMOTE_DISCONNECTED, "connection lost while waiting for the answer to accounts"},
        {"silent", [](zulsim::Options& o) { o.unanswered = {71}; },
         [](Bench& b) {
             zulquery::Options o;
             o.timeout = 0.5;
             b.logged_on(o)->accounts();
         },
         Kind::timeout, 0,
         "no word from the server for 0.5 s while waiting for the answer to accounts"},
        {"not offered", [](zulsim::Options& o) { o.hv27 = true; },
         [](Bench& b) { b.logged_on()->arbi_orders("ZQ7"); }, Kind::not_offered, 23,
         "arbi_orders: servers of the hv27 generation do not offer this query (result 23)"},
        {"bad new password", [](zulsim::Options&) {},
         [](Bench& b) { b.logged_on()->change_password(kPassword, "short1"); }, Kind::rejected, 10,
         "change_password: the new password must have 8 to 32 letters"},
        {"not logged on", [](zulsim::Options&) {}, [](Bench& b) { b.session()->accounts(); },
         Kind::rejected, 7, "accounts: no open connection (result 7); call logon() first"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Bench b(c.setup);
        const size_t requests = b.sim->requests().size();
        const auto e = failure_of([&] { c.call(b); });
        ASSERT_TRUE(e.has_value());
        EXPECT_EQ(c.kind, e->kind()) << zulquery::kind_name(e->kind()) << ": " << e->what();
        EXPECT_EQ(c.code, e->code());
        EXPECT_NE(std::string::npos, std::string(e->what()).find(c.words)) << e->what();
        if (c.kind == Kind::rejected || c.kind == Kind::not_offered) {
            EXPECT_LE(b.sim->requests().size(), requests + 1) << "nothing sent but a logon";
        }
    }
}

// The timeout is the longest silence: an answer slower than it in total passes; a server that
// stops in the middle fails it, the records before the silence handed over.
TEST(Session, TimeoutIsTheLongestSilence) {
    zulquery::Options o;
    o.timeout = 2;
    {
        Bench b([](zulsim::Options& x) {
            x.bulk_records = 12;
            x.pause = 250ms;
        });
        EXPECT_EQ(12u, b.logged_on(o)->orders("ZQ7").size());
    }
    Bench b([](zulsim::Options& x) { x.unanswered = {74}; });
    auto s = b.logged_on(o);
    const std::vector<zulsim::Bytes> data = b.stored(1074, "ZQ7");
    std::thread server([&] {
        ASSERT_TRUE(b.sim->wait_for_requests(2, 30s));
        for (const zulsim::Bytes& r : data)
            b.sim->send_raw(r);
    });
    size_t handed = 0;
    const auto e = failure_of([&] {
        s->orders("ZQ7", SEC_TYPE_FUTURE, [&](const ZUL_QueryAccountOrder&) { ++handed; });
    });
    server.join();
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(Kind::timeout, e->kind()) << e->what();
    EXPECT_EQ(data.size(), handed);
    EXPECT_NE(std::string::npos, std::string(e->what()).find("(after 3 records)")) << e->what();
}

// One query at a time: a second caller's request leaves only once the first answer is whole.
TEST(Session, SecondCallerWaitsForItsTurn) {
    Bench b([](zulsim::Options& o) {
        o.bulk_records = 60;
        o.pause = 5ms;
    });
    auto s = b.logged_on();
    std::atomic<bool> second_started{false};
    std::thread second;
    size_t first = 0, requests_during_first = 0;
    s->orders("ZQ7", SEC_TYPE_FUTURE, [&](const ZUL_QueryAccountOrder&) {
        if (first++ == 0) {
            second = std::thread([&] {
                second_started = true;
                EXPECT_EQ(60u, s->margin("ZQ7").size());
            });
            // Given time to send, a second caller without a turn would be seen here.
            ASSERT_TRUE(wait_until([&] { return second_started.load(); }));
            wait_until([&] { return b.sim->requests().size() > 2; }, 300ms);
        }
        requests_during_first = std::max(requests_during_first, b.sim->requests().size());
    });
    second.join();
    EXPECT_EQ(60u, first);
    EXPECT_EQ(2u, requests_during_first) << "logon and orders only";
    ASSERT_EQ(3u, b.sim->requests().size());
    EXPECT_EQ(77, b.sim->requests()[2].id);
}

// interrupt() ends every call under way, the one waiting for its answer and the one waiting
// for its turn; the tail of the cut answer is not taken for the next answer of that kind.
TEST(Session, InterruptEndsCallsUnderWayAndTheNextAnswerIsClean) {
    Bench b([](zulsim::Options& o) {
        o.bulk_records = 200;
        o.pause = 5ms;
    });
    // Waiting threads run the poll hook: it shows when the second caller waits for its turn.
    std::mutex m;
    std::set<std::thread::id> waiting;
    zulquery::Options o;
    o.poll = [&] {
        std::lock_guard<std::mutex> hold(m);
        waiting.insert(std::this_thread::get_id());
        return false;
    };
    auto s = b.logged_on(o);
    std::optional<Error> first, second;
    std::atomic<size_t> handed{0};
    std::thread t1([&] {
        first = failure_of([&] {
            s->orders("ZQ7", SEC_TYPE_FUTURE, [&](const ZUL_QueryAccountOrder&) { ++handed; });
        });
    });
    ASSERT_TRUE(wait_until([&] { return handed > 5; }));
    std::thread t2([&] { second = failure_of([&] { s->accounts(); }); });
    ASSERT_TRUE(wait_until([&] {
        std::lock_guard<std::mutex> hold(m);
        return waiting.count(t2.get_id()) > 0;
    }));
    s->interrupt();
    t1.join();
    t2.join();
    ASSERT_TRUE(first.has_value() && second.has_value());
    EXPECT_EQ(Kind::interrupted, first->kind());
    EXPECT_EQ(Kind::interrupted, second->kind());
    EXPECT_LT(handed.load(), 200u);
    b.sim->configure([](zulsim::Options& o) { o.pause = 0ms; });
    EXPECT_EQ(200u, s->orders("ZQ7").size()) << "the cut answer's tail is not mixed in";
    EXPECT_EQ(200u, s->accounts().size());
}

// A poll hook that says stop ends the wait; close() ends it too.
TEST(Session, PollHookAndCloseEndAWait) {
    Bench b([](zulsim::Options& o) { o.unanswered = {71, 72}; });
    std::atomic<int> polls{0};
    std::atomic<bool> stop{false};
    zulquery::Options o;
    o.timeout = 0;  // no limit: only the hook or close() ends these waits
    o.poll = [&] {
        ++polls;
        return stop.load();
    };
    auto s = b.logged_on(o);
    std::thread stopper([&] {
        EXPECT_TRUE(wait_until([&] { return polls > 3; }));
        stop = true;
    });
    auto e = failure_of([&] { s->accounts(); });
    stopper.join();
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(Kind::interrupted, e->kind());
    stop = false;
    std::thread closer([&] {
        EXPECT_TRUE(wait_until([&] { return b.sim->requests().size() == 3; }));
        s->close();
    });
    e = failure_of([&] { s->symbols(); });
    closer.join();
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(Kind::connection_lost, e->kind());
    EXPECT_EQ(ZUL_CONN_LOCAL_DISCONNECTED, e->code());
    b.sim->configure([](zulsim::Options& x) { x.unanswered.clear(); });
    s->logon(kUser, kPassword);
    EXPECT_EQ(3u, s->accounts().size()) << "logon() connects again after close()";
}

// Pushed events wait in order until taken; the cash answer is not one of them; a full queue
// drops its oldest; once the connection has ended for good, an empty queue says so.
TEST(Session, PushesQueueInOrderUntilTaken) {
    Bench b;
    zulquery::Options o;
    o.push_limit = 3;
    auto s = b.logged_on(o);
    EXPECT_FALSE(s->next_push(0).has_value());
    EXPECT_EQ(1u, b.sim->push_bp_report("ZQ7"));
    EXPECT_EQ(1u, b.sim->push_cash_notice("ACCT-FULL-WIDE16"));
    auto p = s->next_push(10);
    ASSERT_TRUE(p.has_value());
    EXPECT_EQ(zulquery::Push::Kind::bp_report, p->kind);
    EXPECT_STREQ("ZQ7", p->bp.m_Account);
    p = s->next_push(10);
    ASSERT_TRUE(p.has_value());
    EXPECT_EQ(zulquery::Push::Kind::cash, p->kind);
    EXPECT_STREQ("ACCT-FULL-WIDE16", p->cash.m_Account);
    EXPECT_EQ(1u, s->cash("ZQ7").size());
    EXPECT_FALSE(s->next_push(0.2).has_value()) << "the cash answer is no push";
    for (const char* a : {"ZQ7", "ACCT-FULL-WIDE16", "ZQ7", "EMPTY-01"})
        EXPECT_EQ(1u, b.sim->push_bp_report(a));
    ASSERT_TRUE(wait_until([&] { return s->dropped_pushes() == 1; }));
    b.sim->drop_connections();
    for (const char* a : {"ACCT-FULL-WIDE16", "ZQ7", "EMPTY-01"}) {
        p = s->next_push(10);
        ASSERT_TRUE(p.has_value());
        EXPECT_STREQ(a, p->bp.m_Account);
    }
    const auto e = failure_of([&] { s->next_push(10); });
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(Kind::connection_lost, e->kind());
}

// With auto-reconnect a query after a drop waits for the library's new connection and the
// session's new logon, and is answered.
TEST(Session, AutoReconnectLogsOnAgain) {
    Bench b;
    zulquery::Options o;
    o.auto_reconnect = true;
    o.timeout = 20;
    auto s = b.logged_on(o);
    EXPECT_EQ(3u, s->accounts().size());
    b.sim->drop_connections();
    ASSERT_TRUE(wait_until([&] { return b.sim->connections() == 0; }));
    EXPECT_EQ(3u, s->accounts().size());
    EXPECT_EQ(2u, b.sim->accepted());
    size_t logons = 0;
    for (const zulsim::ReceivedRequest& r : b.sim->requests())
        logons += r.id == 68;
    EXPECT_EQ(2u, logons);
}

// A logon answered and closed in one write: the end may be told before the answer has
// passed the library's receive thread. The logon is still taken, and the loss is the
// next query's.
TEST(Session, LogonAnsweredAndClosedInOneWriteIsTakenAndTheLossIsTheNextQuerys) {
    Bench b([](zulsim::Options& o) { o.close_after_logon = true; });
    for (int round = 0; round < 20; ++round) {
        auto s = b.session();
        ASSERT_NO_THROW(s->logon(kUser, kPassword)) << "round " << round;
        try {
            s->accounts();
            ADD_FAILURE() << "round " << round << ": an answer over a closed link";
        } catch (const zulquery::Error& e) {
            EXPECT_EQ(Kind::connection_lost, e.kind()) << e.what();
        }
    }
}

// Sessions in threads of their own, each with its own answers.
TEST(Session, ManySessionsInThreads) {
    Bench b([](zulsim::Options& o) { o.bulk_records = 300; });
    std::vector<std::thread> threads;
    std::atomic<size_t> right{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            auto s = b.logged_on();
            for (int round = 0; round < 3; ++round) {
                const size_t n = i % 2 == 0 ? s->orders("ZQ7").size() : s->symbols().size();
                right += n == 300;
            }
        });
    }
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(12u, right.load());
}

// The log folder is made, usable and holds the logs; bad arguments are std::invalid_argument;
// the version is the library's.
TEST(Session, LogFolderArgumentsAndVersion) {
    Bench b;
    zulquery::Options o;
    o.log_dir = "session-logs/deeper";
    o.logger = true;
    auto s = b.logged_on(o);
    EXPECT_EQ(3u, s->accounts().size());
    struct stat st;
    ASSERT_EQ(0, stat("session-logs/deeper", &st));
    EXPECT_EQ(0700u, st.st_mode & 0777);
    const std::string day = precise_time::m_startDate;
    EXPECT_NE(std::string::npos,
              read_file("session-logs/deeper/mavlog_" + day + ".log").find("proc"))
        << "the trace of the logger switch";
    EXPECT_FALSE(read_file("session-logs/deeper/mavlog_" + day + ".bin").empty());
    o.log_dir = "./logs.d";
    EXPECT_THROW(Session("127.0.0.1", b.sim->port(), o), std::invalid_argument);
    EXPECT_THROW(Session("127.0.0.1", 0), std::invalid_argument);
    EXPECT_THROW(s->positions("ZQ7", SEC_TYPE_OPTION), std::invalid_argument);

    ZULQueryApi* api = CreateZULQueryApi();
    EXPECT_STREQ(api->GetQueryApiVersion(), zulquery::version());
    DestroyZULQueryApi(api);
    std::ifstream cmake(std::string(ZUL_SOURCE_DIR) + "/CMakeLists.txt");
    const std::string text((std::istreambuf_iterator<char>(cmake)), {});
    EXPECT_NE(std::string::npos, text.find(std::string("VERSION ") + zulquery::version() + " "));
}

}  // namespace
