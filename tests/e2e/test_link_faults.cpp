// Servers and links that misbehave: a server that ends the link right behind its logon
// answer, one that never accepts, one that stops reading, one that floods; callbacks
// that take their time; addresses that are no addresses. Each fault comes from the
// simulator; the client must stay bounded and keep its promises.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <future>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "ZulQueryApi.h"
#include "support/e2e_client.h"

using namespace zul_test;

namespace {

using clock_type = std::chrono::steady_clock;

double seconds_since(clock_type::time_point t) {
    return std::chrono::duration<double>(clock_type::now() - t).count();
}

// Connect attempts of this process towards `port` that wait for the server's answer.
int connects_in_progress(uint16_t port) {
    std::ifstream in("/proc/self/net/tcp");
    std::string line;
    std::getline(in, line);  // the header
    int n = 0;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string slot, local, remote, state;
        fields >> slot >> local >> remote >> state;
        const unsigned remote_port = std::stoul(remote.substr(remote.find(':') + 1), nullptr, 16);
        n += remote_port == port && state == "02";  // SYN_SENT
    }
    return n;
}

// Runs `call` on a thread of its own; `done` tells whether it has returned.
template <typename F>
struct background {
    explicit background(F call) : m_future(std::async(std::launch::async, call)) {}
    bool done(std::chrono::milliseconds within) {
        return m_future.wait_for(within) == std::future_status::ready;
    }
    auto get() { return m_future.get(); }
    std::future<decltype(std::declval<F>()())> m_future;
};
template <typename F>
background<F> run_in_background(F call) {
    return background<F>(call);
}

// --- reconnection

// A server that answers each logon and ends the link in the same write: the answer can
// be handled after "remote disconnected". Every client, several at once, reconnects
// after every such end, never sooner than the 2 s wait.
TEST(LinkFaults, EveryLogonAnsweredAndClosedInOneWriteIsFollowedByAReconnection) {
    const int CLIENTS = 10, ROUNDS = 10;  // 100 answered-and-closed logons in all
    scratch_dir dir;
    zulsim::Options o;
    o.close_after_logon = true;
    zulsim::Simulator sim(o);
    ASSERT_TRUE(sim.start());
    struct client_state {
        std::mutex mutex;
        std::vector<clock_type::time_point> ends, opens;
    };
    static client_state states[CLIENTS];
    void* handles[CLIENTS];
    for (int i = 0; i < CLIENTS; ++i) {
        handles[i] = KQZUL_CreateQuery(&states[i]);
        KQZUL_SetQueryAutoReconnect(handles[i], true);
        KQZUL_SetQueryConnectionEvent(handles[i], [](void* h, ERR_NO code, const char*) {
            client_state* st = static_cast<client_state*>(KQZUL_GetQueryUserParam(h));
            {
                std::lock_guard<std::mutex> g(st->mutex);
                (code == ZUL_CONN_OK ? st->opens : st->ends).push_back(clock_type::now());
            }
            if (code == ZUL_CONN_OK)
                send_logon(h);
        });
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_ConnQueryServer(handles[i], server_at(sim.port())));
    }
    auto opens = [&](int i) {
        std::lock_guard<std::mutex> g(states[i].mutex);
        return states[i].opens.size();
    };
    bool all = wait_until(
        [&] {
            for (int i = 0; i < CLIENTS; ++i)
                if (opens(i) < ROUNDS + 1u)
                    return false;
            return true;
        },
        std::chrono::seconds(150));
    for (int i = 0; i < CLIENTS; ++i)
        KQZUL_DisConnQueryServer(handles[i]);
    for (int i = 0; i < CLIENTS; ++i) {
        std::lock_guard<std::mutex> g(states[i].mutex);
        EXPECT_GE(states[i].opens.size(), ROUNDS + 1u) << "client " << i << " stopped reconnecting";
        // The attempt after each end comes no sooner than 2 s after it.
        for (size_t r = 0; r + 1 < states[i].opens.size() && r < states[i].ends.size(); ++r) {
            const double gap =
                std::chrono::duration<double>(states[i].opens[r + 1] - states[i].ends[r]).count();
            EXPECT_GE(gap, 1.9) << "client " << i << " round " << r;
        }
    }
    for (int i = 0; i < CLIENTS; ++i)
        KQZUL_DestroyQuery(handles[i]);
    ASSERT_TRUE(all);
}

// --- connecting

// A server whose accept queue is full: connects to it wait for an answer that never
// comes, as to a host that is down.
struct silent_server {
    static zulsim::Options options() {
        zulsim::Options o;
        o.accept_mode = zulsim::AcceptMode::hold;
        return o;
    }
    bool ready() { return sim.start() && sim.wait_for_hold(10s); }
    scratch_dir dir;
    zulsim::Simulator sim{options()};
};

// A listener that never accepts: the connect gives up within its bound.
TEST(LinkFaults, ConnectToAServerThatNeverAnswersFailsWithinItsBound) {
    silent_server server;
    ASSERT_TRUE(server.ready());
    zulsim::Simulator& sim = server.sim;
    void* h = KQZUL_CreateQuery(nullptr);
    const auto begin = clock_type::now();
    int reason = 0;
    auto connect = run_in_background([&] {
        errno = 0;
        const RESULT r = KQZUL_ConnQueryServer(h, server_at(sim.port()));
        reason = errno;
        return r;
    });
    // The bound is 5 s; a connect without one waits for the kernel's retries (minutes).
    ASSERT_TRUE(connect.done(30s)) << "the connect has no bound";
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, connect.get());
    EXPECT_GE(seconds_since(begin), 4.0) << "it did wait for the server";
    // As after a blocking connect, errno tells why: callers (the session layer) say so.
    EXPECT_EQ(ETIMEDOUT, reason) << strerror(reason);
    KQZUL_DestroyQuery(h);
}

// A close from another thread ends a connect in progress at once, and does not wait
// for it behind a lock.
TEST(LinkFaults, CloseFromAnotherThreadInterruptsAConnectInProgress) {
    silent_server server;
    ASSERT_TRUE(server.ready());
    zulsim::Simulator& sim = server.sim;
    void* h = KQZUL_CreateQuery(nullptr);
    auto connect =
        run_in_background([&] { return KQZUL_ConnQueryServer(h, server_at(sim.port())); });
    ASSERT_TRUE(wait_until([&] { return connects_in_progress(sim.port()) == 1; }));
    const auto begin = clock_type::now();
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(h));
    const double close_took = seconds_since(begin);
    ASSERT_TRUE(connect.done(30s));
    const double connect_took = seconds_since(begin);
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, connect.get());
    // Well inside the connect's own bound of 5 s.
    EXPECT_LT(close_took, 2.5);
    EXPECT_LT(connect_took, 2.5);
    KQZUL_DestroyQuery(h);
}

// A destroy from another thread ends the caller's own connect in progress: it does not
// wait for the connect's bound, and the connect returns 1 without touching the client
// after the destroy has freed it.
TEST(LinkFaults, DestroyFromAnotherThreadEndsAConnectInProgress) {
    silent_server server;
    ASSERT_TRUE(server.ready());
    zulsim::Simulator& sim = server.sim;
    static std::atomic<bool> destroyed;
    static std::atomic<int> late_events;
    destroyed = false;
    late_events = 0;
    void* h = KQZUL_CreateQuery(nullptr);
    KQZUL_SetQueryConnectionEvent(h, [](void*, ERR_NO, const char*) { late_events += destroyed; });
    auto connect =
        run_in_background([&] { return KQZUL_ConnQueryServer(h, server_at(sim.port())); });
    ASSERT_TRUE(wait_until([&] { return connects_in_progress(sim.port()) == 1; }));
    const auto begin = clock_type::now();
    auto destroy = run_in_background([&] {
        const RESULT r = KQZUL_DestroyQuery(h);
        destroyed = true;
        return r;
    });
    ASSERT_TRUE(destroy.done(30s)) << "the destroy waits for the connect";
    const double destroy_took = seconds_since(begin);
    EXPECT_EQ(ZUL_RESULT_OK, destroy.get());
    ASSERT_TRUE(connect.done(30s));
    EXPECT_EQ(ZUL_RESULT_CONN_FAILED, connect.get());
    // Well inside the connect's own bound of 5 s.
    EXPECT_LT(destroy_took, 3.0);
    EXPECT_EQ(0, late_events.load());
}

// The reconnect thread's attempt towards a server that has stopped answering is
// bounded and is ended by a destroy.
TEST(LinkFaults, DestroyEndsTheReconnectThreadsConnectAttempt) {
    sim_session s;
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.rec().on_conn = [](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK)
            send_logon(h);
    };
    ASSERT_EQ(ZUL_RESULT_OK, s.connect());
    ASSERT_TRUE(wait_until([&] { return s.client()->m_connect_thread_is_running == 1; }));
    s.sim().configure([](zulsim::Options& o) { o.accept_mode = zulsim::AcceptMode::hold; });
    ASSERT_TRUE(s.sim().wait_for_hold(10s));
    s.sim().drop_connections();
    ASSERT_TRUE(wait_until([&] { return connects_in_progress(s.sim().port()) == 1; }, 20s));
    void* h = s.release();
    const auto begin = clock_type::now();
    auto destroy = run_in_background([&] { return KQZUL_DestroyQuery(h); });
    ASSERT_TRUE(destroy.done(30s)) << "the destroy waits for the attempt";
    EXPECT_LT(seconds_since(begin), 2.5);
}

// --- slow callbacks

// The close waits for a callback that takes its time, however long, and says so in the
// log every 5 s; the thread that runs the callback is never cancelled, so the callback
// ends normally and the caller's lock is free again.
class SlowCallback : public ::testing::TestWithParam<bool> {};

TEST_P(SlowCallback, CloseWaitsForItAndLogsWithoutCancellingItsThread) {
    const bool on_record = GetParam();
    zulsim::Options o;
    o.bulk_records = 10;
    sim_session s(o);
    static std::mutex caller_lock;
    static std::atomic<bool> entered, release, finished;
    entered = release = finished = false;
    auto slow = [] {
        std::lock_guard<std::mutex> hold(caller_lock);
        entered = true;
        const auto limit = clock_type::now() + 60s;
        while (!release && clock_type::now() < limit)
            usleep(1000);
        finished = true;
    };
    static std::function<void()> body;
    body = slow;
    if (on_record) {
        KQZUL_SetQueryAccountPositionEvent(
            s.handle(), [](void*, const char*, ZUL_AccountPosition*, bool, ZUL_QueryErrorId) {
                if (!entered)
                    body();
            });
    } else {
        s.rec().on_conn = [](void*, ERR_NO code) {
            if (code == ZUL_CONN_REMOTE_DISCONNECTED)
                body();
        };
    }
    s.connect_and_logon();
    if (on_record)
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(s.handle(), "ZQ7", 3));
    else
        s.sim().drop_connections();
    ASSERT_TRUE(wait_until([&] { return entered.load(); }));
    auto close = run_in_background([&] { return KQZUL_DisConnQueryServer(s.handle()); });
    const bool logged =
        wait_until([&] { return s.log_count("info close waits for a callback\n") >= 1; }, 20s);
    EXPECT_FALSE(close.done(0ms)) << "the close did not wait for the callback";
    release = true;
    ASSERT_TRUE(close.done(30s));
    EXPECT_TRUE(logged);
    EXPECT_TRUE(finished) << "the callback's thread was cancelled";
    EXPECT_TRUE(caller_lock.try_lock());
    caller_lock.unlock();
}

INSTANTIATE_TEST_SUITE_P(EventThreadAndReceiveThread, SlowCallback, ::testing::Bool());

// --- sending

// Sends logons until one of them is not taken; true if one failed before `limit`.
bool send_until_refused(void* h, std::atomic<int>* last, clock_type::duration limit) {
    const auto deadline = clock_type::now() + limit;
    while (clock_type::now() < deadline) {
        const RESULT r = send_logon(h);
        if (r != ZUL_RESULT_OK) {
            *last = r;
            return true;
        }
    }
    return false;
}

// A server that stops reading: the send that cannot finish in its window fails, the
// link is closed and reported as a remote end, and auto reconnect repairs it. The
// server never sees the bytes of a later request behind a cut one.
TEST(LinkFaults, ASendThatCannotFinishClosesTheLinkAndReconnectRepairsIt) {
    sim_session s;
    KQZUL_SetQueryAutoReconnect(s.handle(), true);
    s.connect_and_logon();
    ASSERT_TRUE(wait_until([&] { return s.client()->m_connect_thread_is_running == 1; }));
    s.rec().on_conn = [](void* h, ERR_NO code) {
        if (code == ZUL_CONN_OK)
            send_logon(h);
    };
    s.sim().configure([](zulsim::Options& o) { o.stop_reading = true; });
    std::atomic<int> last{0};
    auto sender = run_in_background([&] { return send_until_refused(s.handle(), &last, 60s); });
    // Each send waits at most 5 s for room.
    const bool returned = sender.done(90s);
    if (!returned)
        KQZUL_DisConnQueryServer(s.handle());  // frees a send that waits for ever
    ASSERT_TRUE(returned) << "a send waits without bound";
    ASSERT_TRUE(sender.get()) << "the socket never filled";
    EXPECT_EQ(ZUL_RESULT_SEND_FAILED, last.load());
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_REMOTE_DISCONNECTED) == 1; }))
        << "the cut link stays open";
    EXPECT_EQ(ZUL_RESULT_NOT_CONNECTED, send_logon(s.handle()));
    s.sim().configure([](zulsim::Options& o) { o.stop_reading = false; });
    ASSERT_TRUE(wait_until([&] { return s.rec().count_conn(ZUL_CONN_OK) == 2; }, 20s));
    ASSERT_TRUE(wait_until([&] { return s.client()->IsLogon(); }));
    for (const zulsim::ReceivedRequest& r : s.sim().requests())
        ASSERT_EQ("query_logon_msg_req", r.name) << "a request was framed from a cut one";
}

// A request blocked on a full socket does not hold up a close from another thread,
// and fails as soon as the close begins.
TEST(LinkFaults, CloseDoesNotWaitForARequestBlockedOnAFullSocket) {
    sim_session s;
    s.connect_and_logon();
    s.sim().configure([](zulsim::Options& o) { o.stop_reading = true; });
    std::atomic<int> last{0};
    std::atomic<long long> call_began{0};  // steady clock ticks of the call in progress
    auto sender = run_in_background([&] {
        const auto deadline = clock_type::now() + 60s;
        while (clock_type::now() < deadline) {
            call_began = clock_type::now().time_since_epoch().count();
            const RESULT r = send_logon(s.handle());
            call_began = 0;
            if (r != ZUL_RESULT_OK) {
                last = r;
                return true;
            }
        }
        return false;
    });
    // Blocked: one call has been waiting for room for a while.
    ASSERT_TRUE(wait_until(
        [&] {
            const long long began = call_began;
            return began != 0 &&
                   clock_type::now().time_since_epoch().count() - began >
                       std::chrono::duration_cast<clock_type::duration>(300ms).count();
        },
        60s));
    const auto begin = clock_type::now();
    EXPECT_EQ(ZUL_RESULT_OK, KQZUL_DisConnQueryServer(s.handle()));
    const double close_took = seconds_since(begin);
    ASSERT_TRUE(sender.done(30s));
    const double request_took = seconds_since(begin);
    EXPECT_TRUE(sender.get());
    EXPECT_NE(ZUL_RESULT_OK, last.load());
    // The send window is 5 s; both end long before it would have run out.
    EXPECT_LT(close_took, 2.0);
    EXPECT_LT(request_took, 2.0);
}

// --- closing

// The event loop's longest wait is a setting; a close does not wait it out.
TEST(LinkFaults, CloseOfAQuietConnectionDoesNotWaitForTheEventLoop) {
    sim_session s;
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_SetQueryMaxWaitTime(s.handle(), 60000));
    s.connect_and_logon();
    const auto begin = clock_type::now();
    auto close = run_in_background([&] { return KQZUL_DisConnQueryServer(s.handle()); });
    ASSERT_TRUE(close.done(90s));
    EXPECT_EQ(ZUL_RESULT_OK, close.get());
    EXPECT_LT(seconds_since(begin), 3.0) << "the close waited for the event loop's wait";
    EXPECT_EQ(1u, s.rec().count_conn(ZUL_CONN_LOCAL_DISCONNECTED));
}

// A flood into a slow callback: a close, or a destroy, from another thread returns
// promptly whatever is queued. No record arrives after a close returns; nothing at all
// after a destroy returns.
enum class ending { close, destroy };

class EndBehindABacklog : public ::testing::TestWithParam<ending> {};

TEST_P(EndBehindABacklog, ReturnsPromptlyAndNothingFollowsIt) {
    const bool destroy = GetParam() == ending::destroy;
    zulsim::Options o;
    o.flood_rate = 4 << 20;
    sim_session s(o);
    static std::atomic<bool> ended;
    static std::atomic<int> reports, late_records, late_events;
    ended = false;
    reports = late_records = late_events = 0;
    KQZUL_ReportAccountBPEvent(s.handle(), [](void*, const char*, ZUL_AccountBP*) {
        late_records += ended.load();
        ++reports;
        usleep(1000);
    });
    s.connect_and_logon();
    // Only the destroy promises silence on every callback, the connection's too.
    if (destroy)
        KQZUL_SetQueryConnectionEvent(s.handle(), [](void* h, ERR_NO code, const char* text) {
            late_events += ended.load();
            recorder::record_conn(h, code, text);
        });
    // Let a backlog build up: the flood brings far more than the callback takes.
    ASSERT_TRUE(wait_until([&] { return s.sim().stats().bytes > (3u << 20); }, 30s));
    void* h = destroy ? s.release() : s.handle();
    const auto begin = clock_type::now();
    auto end = run_in_background([&] {
        RESULT r = destroy ? KQZUL_DestroyQuery(h) : KQZUL_DisConnQueryServer(h);
        ended = true;
        return r;
    });
    ASSERT_TRUE(end.done(60s));
    EXPECT_EQ(ZUL_RESULT_OK, end.get());
    EXPECT_LT(seconds_since(begin), 5.0) << "the backlog was delivered first";
    std::this_thread::sleep_for(50ms);  // a window in which a late callback would come
    EXPECT_EQ(0, late_records.load());
    EXPECT_EQ(0, late_events.load());
    EXPECT_GT(reports.load(), 0);
}

INSTANTIATE_TEST_SUITE_P(CloseAndDestroy, EndBehindABacklog,
                         ::testing::Values(ending::close, ending::destroy),
                         [](const ::testing::TestParamInfo<ending>& info) {
                             return info.param == ending::close ? "Close" : "Destroy";
                         });

// --- addresses and descriptors

// A text that is not a dotted IPv4 address is refused like an empty one, on both faces;
// nothing connects to whatever listens on this machine.
TEST(LinkFaults, AnAddressThatIsNotDottedIPv4IsRefused) {
    sim_session s;
    const uint16_t port = s.sim().port();
    ZULQueryApi* api = CreateZULQueryApi();
    for (const char* bad : {"garbage", "999.0.0.1", "127.0.0.256", "1.2.3.4.5", "127.1"}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(ZUL_RESULT_CONN_FAILED, KQZUL_ConnQueryServer(s.handle(), server_at(port, bad)));
        EXPECT_EQ(1u, s.log_count("info invalid query port params " + std::string(bad) + ":" +
                                  std::to_string(port) + ".\n"));
        EXPECT_EQ(ZUL_RESULT_CONN_FAILED, api->ConnQueryServer(bad, port, nullptr));
    }
    DestroyZULQueryApi(api);
    EXPECT_EQ(0u, s.sim().accepted());
    EXPECT_TRUE(s.rec().conn_events().empty());
}

std::set<int> open_descriptors() {
    std::set<int> fds;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        fds.insert(std::stoi(entry.path().filename().string()));
    return fds;
}

// Every descriptor that a connection opens (socket, epoll, eventfd) is closed in a
// child that runs another program.
TEST(LinkFaults, EveryDescriptorOfAConnectionIsCloseOnExec) {
    sim_session s;
    const std::set<int> before = open_descriptors();
    s.connect_and_logon();
    const std::set<int> after = open_descriptors();
    int checked = 0;
    for (int fd : after) {
        if (before.count(fd) != 0)
            continue;
        const int flags = fcntl(fd, F_GETFD);
        if (flags < 0)
            continue;  // the listing's own, closed by now
        char target[256] = {};
        const std::string link = "/proc/self/fd/" + std::to_string(fd);
        readlink(link.c_str(), target, sizeof(target) - 1);
        ++checked;
        EXPECT_TRUE(flags & FD_CLOEXEC) << "descriptor " << fd << " (" << target << ")";
    }
    // The client's socket, epoll and eventfd, and the server's side of the link.
    EXPECT_GE(checked, 3);
}

}  // namespace
