// The simulator, for what the client's end-to-end tests don't do to it: requests cut anywhere,
// drop rules, write counts, bulk streams, accept modes, timed pushes; data file; program.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "sim_builders.h"
#include "support/e2e_client.h"
#include "zul_sim.h"

namespace {

using namespace std::chrono;
using zul_test::wait_until;
using zulsim::Bytes;
using zulsim::DataSet;
using zulsim::Options;
using zulsim::WriteMode;
const size_t kPos = sizeof(query_account_fut_position_resp);

// A plain TCP client; a read waits 10 s at most for each piece.
struct Raw {
    explicit Raw(unsigned port) : fd(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in a{AF_INET, htons(static_cast<uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
        const timeval limit{10, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
        ok = connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof(a)) == 0;
    }
    ~Raw() { close(fd); }
    bool send(const Bytes& b) { return ::send(fd, b.data(), b.size(), MSG_NOSIGNAL) > 0; }
    // n bytes, or fewer if the server closed first (then *closed is set) or went silent.
    Bytes read(size_t n, bool* closed = nullptr) {
        Bytes out(n);
        size_t got = 0;
        ssize_t r = 1;
        while (got < n && (r = recv(fd, &out[got], n - got, 0)) > 0)
            got += static_cast<size_t>(r);
        if (closed != nullptr)
            *closed = r == 0;
        return out.resize(got), out;
    }
    int fd;
    bool ok;
};

template <class R>
Bytes request(const char* account) {  // cut to 15 characters, as clients do
    R r;
    r.m_user_id = 70123;
    memcpy(r.m_account_id, account, std::min(strlen(account), sizeof(r.m_account_id) - 1));
    return DataSet::bytes_of(r);
}

struct SimTest : ::testing::Test {
    void SetUp() override { ASSERT_TRUE(sim.start()); }
    zulsim::Simulator sim;
};

TEST_F(SimTest, FramesRequestsCutAnywhereAndSkipsUnknownIds) {
    Raw c(sim.port());
    ASSERT_TRUE(c.send(Bytes{0xE7, 0x03, 1, 2, 3}));  // id 999 is no request
    ASSERT_TRUE(sim.wait_for_requests(1, seconds(10)));
    query_logon_msg_req logon;
    memcpy(logon.m_login_id, "trader-1", 8);
    for (unsigned char b : DataSet::bytes_of(logon))
        ASSERT_TRUE(c.send(Bytes{b}));
    // A whole request and the head of another in one write, its rest in the next.
    Bytes batch = request<query_account_position_req>("ACCT-FULL-WIDE16");
    const Bytes pos = batch, combo = request<query_combo_position>("ZQ7");
    batch.insert(batch.end(), combo.begin(), combo.begin() + 10);
    ASSERT_TRUE(c.send(batch) && c.send(Bytes(combo.begin() + 10, combo.end())));
    ASSERT_TRUE(sim.wait_for_requests(4, seconds(10)));
    const auto log = sim.requests();
    EXPECT_TRUE(log[0].name == "unknown" && log[0].raw.size() == 5u);
    EXPECT_EQ(DataSet::bytes_of(logon), log[1].raw);
    EXPECT_EQ(pos, log[2].raw);
    EXPECT_EQ(combo, log[3].raw);
    EXPECT_EQ(56u, c.read(56).size()) << "the connection lives on: the logon is answered";
}

// One answer, ZQ7's three positions and the closing record, under each rule: what
// arrives before the end or the drop, and in how many writes it went out. The drop
// rules come first: each fires once and leaves the later answers whole.
TEST_F(SimTest, DropRulesWriteModesAndBulkStreamsShapeTheAnswer) {
    const struct {
        void (*rule)(Options&);
        size_t bytes, writes;
        bool dropped;
    } rules[] = {
        // clang-format off
        {[](Options& o) { o.drop_after_messages = 2; }, 2 * kPos, 2, true},
        {[](Options& o) { o.drop_after_bytes = 100; }, 100, 1, true},
        {[](Options& o) { o.drop_on_request = 73; }, 0, 0, true},
        {[](Options&) {}, 4 * kPos, 4, false},
        {[](Options& o) { o.write_mode = WriteMode::byte_by_byte; }, 4 * kPos, 4 * kPos, false},
        {[](Options& o) { o.write_mode = WriteMode::split, o.write_param = 10; }, 4 * kPos, 8, false},
        {[](Options& o) { o.write_mode = WriteMode::chunks, o.write_param = 100; }, 4 * kPos, 7, false},
        {[](Options& o) { o.write_mode = WriteMode::coalesce; }, 4 * kPos, 1, false},
        {[](Options& o) { o.write_mode = WriteMode::coalesce, o.bulk_records = 500; }, 501 * kPos, 1, false},
        // clang-format on
    };
    for (const auto& r : rules) {
        SCOPED_TRACE(r.bytes);
        Raw c(sim.port());
        sim.configure([&](Options& o) { o.write_mode = WriteMode::whole, r.rule(o); });
        const size_t writes = sim.stats().writes;
        ASSERT_TRUE(c.send(request<query_account_position_req>("ZQ7")));
        const Bytes got = c.read(r.bytes);
        ASSERT_EQ(r.bytes, got.size());
        bool closed = false;
        EXPECT_EQ(r.dropped, c.read(r.dropped ? 1 : 0, &closed).empty() && closed);
        EXPECT_TRUE(wait_until([&] { return sim.stats().writes - writes == r.writes; }))
            << sim.stats().writes - writes << " writes, " << r.writes << " due";
        for (size_t i = 0; !r.dropped && i < got.size() / kPos; ++i) {
            ASSERT_EQ(1073, got[i * kPos] | got[i * kPos + 1] << 8);
            ASSERT_EQ(i + 1, got[i * kPos + 4] | got[i * kPos + 5] << 8) << "sequence";
            ASSERT_EQ((i + 1) * kPos == got.size(), got[i * kPos + 8] != 0) << "flag of " << i;
        }
    }
}

// A bulk stream: records built once per shape and stamped, each in its place: the kinds of
// the symbol list in turn, sequence numbers 1 to n, requester's user and account, flags.
TEST_F(SimTest, BulkStreamsCarryEveryRecordStampedInItsPlace) {
    const size_t n = 3001;
    sim.configure([&](Options& o) { o.bulk_records = n; });
    Raw c(sim.port());
    ASSERT_TRUE(c.send(request<query_account_position_req>("ZQ7")));
    const Bytes pos = c.read((n + 1) * kPos);
    ASSERT_EQ((n + 1) * kPos, pos.size());
    query_symbol_req ask;
    ask.m_user_id = 70123;
    ASSERT_TRUE(c.send(DataSet::bytes_of(ask)));
    const size_t sym = sizeof(query_symbol_resp);
    const Bytes symbols = c.read((n + 1) * sym);
    ASSERT_EQ((n + 1) * sym, symbols.size());
    for (size_t i = 0; i <= n; ++i) {
        SCOPED_TRACE(i);
        query_account_fut_position_resp p;
        memcpy(&p, &pos[i * kPos], kPos);
        // Fields of packed records are read by value (+): a reference would be misaligned.
        ASSERT_EQ(1073, +p.m_msg_id);
        ASSERT_EQ(i + 1, +p.m_sequence);
        ASSERT_EQ(70123u, +p.m_user_id);
        ASSERT_EQ(0, strncmp(p.m_account_id, "ZQ7", sizeof(p.m_account_id)));
        ASSERT_EQ(i == n ? 1 : 0, +p.m_last_record_flag);
        if (i < n) {
            const Bytes want = zulsim::build_data_record(
                1073, false, 70123, "ZQ7", {4096 + static_cast<unsigned>(i % 2), i % 2 == 0, i % 2},
                0);
            p.m_sequence = static_cast<Int4>(i % 2 + 1);
            ASSERT_EQ(want, DataSet::bytes_of(p)) << "the record of its shape";
        }
        query_symbol_resp y;
        memcpy(&y, &symbols[i * sym], sym);
        ASSERT_EQ(i + 1, +y.m_sequence);
        const Int1 kinds[] = {SEC_TYPE_FUTURE, SEC_TYPE_OPTION, SEC_TYPE_OPTION, SEC_TYPE_F};
        ASSERT_EQ(i == n ? 0 : kinds[i % 4], +y.m_instrument_type);
    }
}

// The request's selecting fields pick the records of the answer; 0 (or no text) picks all.
TEST_F(SimTest, AnswersHonourTheRequestsSecTypeComboTypeHedgeFlagAndSymbol) {
    const DataSet d = sim.data();
    Raw c(sim.port());
    auto ask = [&](const Bytes& request, size_t record_size, size_t records) {
        EXPECT_TRUE(c.send(request));
        const Bytes got = c.read(records * record_size);
        EXPECT_EQ(records * record_size, got.size());
        return got;
    };
    query_symbol_req symbols;
    for (Int1 type : {0, 1, 2, 3, 5}) {
        symbols.m_sec_type = type;
        const size_t want = type == 0 ? 4 : type == SEC_TYPE_OPTION ? 2 : type == 1 ? 0 : 1;
        const Bytes got = ask(DataSet::bytes_of(symbols), sizeof(query_symbol_resp), want + 1);
        for (size_t i = 0; i < want; ++i) {
            EXPECT_TRUE(type == 0 || got[i * sizeof(query_symbol_resp) + 9] == type) << +type;
        }
        EXPECT_EQ(2, got[got.size() - sizeof(query_symbol_resp) + 8]) << "the closing record";
    }
    rewind_account_order_req orders;
    strcpy(orders.m_account_id, "ZQ7");
    orders.m_sec_type = SEC_TYPE_ARBI;
    const size_t order = sizeof(rewind_accoutn_order_response);
    const Bytes one = ask(DataSet::bytes_of(orders), order, 2);
    EXPECT_EQ(d.find(1074, "ZQ7")->at(2), Bytes(one.begin(), one.begin() + order));
    rewind_account_quote_req quotes;
    strcpy(quotes.m_account_id, "ZQ7");
    quotes.m_sec_type = SEC_TYPE_FUTURE;
    ask(DataSet::bytes_of(quotes), sizeof(rewind_account_quote_response), 3);
    query_combo_rule rules;
    rules.m_combo_type = 1;
    ask(DataSet::bytes_of(rules), sizeof(query_combo_rule_resp), 3);
    rules.m_hedge_flag = 2;
    ask(DataSet::bytes_of(rules), sizeof(query_combo_rule_resp), 2);
    // One symbol's risk data by its name; an unknown symbol is refused like an account.
    account_symbol_real_data_req risk;
    strcpy(risk.m_account_id, "ZQ7");
    strcpy(risk.m_symbol, "IF2412");
    EXPECT_EQ(d.find(1083, "ZQ7")->front(),
              ask(DataSet::bytes_of(risk), sizeof(account_symbol_real_data_resp), 1));
    strcpy(risk.m_symbol, "IF2503");
    const Bytes refusal = ask(DataSet::bytes_of(risk), sizeof(hv27_query_err_resp), 1);
    EXPECT_EQ(1064, refusal[0] | refusal[1] << 8);
}

// Rewind flag 0: the executions not yet sent on this connection; anything else: all again.
TEST_F(SimTest, RewindFlagZeroSendsOnlyExecutionsNotYetSent) {
    rewind_account_exe_req ask;
    strcpy(ask.m_account_id, "ZQ7");
    const size_t exec = sizeof(rewind_order_execution_response);
    const size_t all = sim.data().find(1075, "ZQ7")->size();  // the closing record included
    Raw c(sim.port());
    for (Int1 flag : {0, 0, 1, 0, 7}) {
        ask.m_rewind_flag = flag;
        ASSERT_TRUE(c.send(DataSet::bytes_of(ask)));
    }
    const size_t due = all + 1 + all + 1 + all;  // the 2nd and the 4th: the closing record
    const Bytes got = c.read(due * exec);
    ASSERT_EQ(due * exec, got.size());
    for (size_t closing : {all - 1, all, 2 * all + 1, 3 * all + 1})
        EXPECT_EQ(1, got[closing * exec + 8]) << closing;
    ask.m_rewind_flag = 0;
    Raw other(sim.port());
    ASSERT_TRUE(other.send(DataSet::bytes_of(ask)));
    EXPECT_EQ(all * exec, other.read(all * exec).size()) << "each connection has its own";
}

// An hv27 server refuses the requests its generation does not offer, each with 1064 naming
// it, and answers the others.
TEST(SimHv27, RefusesWhatItsGenerationDoesNotOffer) {
    Options o;
    o.hv27 = true;
    zulsim::Simulator sim(o);
    ASSERT_TRUE(sim.start());
    Raw c(sim.port());
    const Bytes asks[] = {
        DataSet::bytes_of(query_combo_rule()), request<query_combo_position>("ZQ7"),
        request<query_account_bp_req>("ZQ7"), request<rewind_account_arbi_order_req>("ZQ7"),
        request<query_account_bp_detail_req>("ZQ7")};
    for (const Bytes& a : asks) {
        ASSERT_TRUE(c.send(a));
        if (&a == &asks[4]) {
            EXPECT_EQ(1088, [&] {
                const Bytes r = c.read(sizeof(hv27_query_account_bp_detail_resp));
                return r.size() < 2 ? 0 : r[0] | r[1] << 8;
            }());
            break;
        }
        hv27_query_err_resp e;
        const Bytes r = c.read(sizeof(e));
        ASSERT_EQ(sizeof(e), r.size());
        memcpy(&e, r.data(), sizeof(e));
        EXPECT_EQ(1064, +e.m_msg_id);
        EXPECT_EQ(a[0] | a[1] << 8, +e.m_sub_msg_id);
        EXPECT_EQ(o.not_offered_error, +e.m_error_id);
    }
}

TEST_F(SimTest, AcceptModesAndTimedPushes) {
    const uint16_t port = sim.port();
    sim.configure([](Options& o) { o.accept_mode = zulsim::AcceptMode::close_at_once; });
    bool closed = false;
    EXPECT_TRUE(Raw(port).read(1, &closed).empty() && closed);
    sim.configure([](Options& o) { o.accept_mode = zulsim::AcceptMode::refuse; });
    EXPECT_TRUE(wait_until([&] { return !Raw(port).ok; }));
    sim.configure([](Options& o) {
        o.accept_mode = zulsim::AcceptMode::accept;
        o.push_interval = milliseconds(20);
    });
    // Listening on the same port again; pushes follow one another, a BP report first.
    const size_t bp = sizeof(report_account_bp), both = bp + sizeof(account_cash_inout_notify);
    Bytes push;
    EXPECT_TRUE(wait_until([&] { return (push = Raw(port).read(both)).size() == both; }));
    EXPECT_EQ(1093, push[0] | push[1] << 8);
    EXPECT_EQ(1099, push[bp] | push[bp + 1] << 8);
}

// The faults that a client's own tests can ask for: the logon answered and the link
// ended together, reading stopped and resumed, a flood after the logon, connects held.
TEST_F(SimTest, FaultOptionsMisbehaveAsTold) {
    const Bytes logon = DataSet::bytes_of(query_logon_msg_req());
    const size_t answer = sizeof(query_logon_msg_resp);
    sim.configure([](Options& o) { o.close_after_logon = true; });
    {
        Raw c(sim.port());
        ASSERT_TRUE(c.send(logon));
        bool closed = false;
        EXPECT_EQ(answer, c.read(answer + 1, &closed).size());
        EXPECT_TRUE(closed) << "the end follows the answer";
    }
    sim.configure([](Options& o) { o.close_after_logon = false, o.stop_reading = true; });
    sim.clear_requests();
    {
        Raw c(sim.port());
        ASSERT_TRUE(sim.wait_for_accepted(2, seconds(10)));
        ASSERT_TRUE(c.send(logon));
        EXPECT_FALSE(sim.wait_for_requests(1, milliseconds(200))) << "read while stopped";
        sim.configure([](Options& o) { o.stop_reading = false; });
        EXPECT_TRUE(sim.wait_for_requests(1, seconds(10)));
        EXPECT_EQ(answer, c.read(answer).size());
    }
    sim.configure([](Options& o) { o.flood_rate = 200000; });
    {
        Raw c(sim.port());
        ASSERT_TRUE(c.send(logon));
        ASSERT_EQ(answer, c.read(answer).size());
        // Reports without end, whole and one behind the other.
        const size_t bp = sizeof(report_account_bp);
        const Bytes flood = c.read(20 * bp);
        ASSERT_EQ(20 * bp, flood.size());
        for (size_t i = 0; i < 20; ++i)
            ASSERT_EQ(1093, flood[i * bp] | flood[i * bp + 1] << 8) << i;
    }
    sim.configure([](Options& o) { o.flood_rate = 0, o.accept_mode = zulsim::AcceptMode::hold; });
    ASSERT_TRUE(sim.wait_for_hold(seconds(10)));
    const size_t accepted = sim.accepted();
    // A connect now waits for an answer that never comes.
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
    sockaddr_in a{AF_INET, htons(sim.port()), {htonl(INADDR_LOOPBACK)}, {}};
    EXPECT_NE(0, connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof(a)));
    pollfd p{fd, POLLOUT, 0};
    EXPECT_EQ(0, poll(&p, 1, 300)) << "the connect completed";
    close(fd);
    EXPECT_EQ(accepted, sim.accepted()) << "accepted while held";
    sim.configure([](Options& o) { o.accept_mode = zulsim::AcceptMode::accept; });
    EXPECT_TRUE(wait_until([&] { return Raw(sim.port()).ok; }));
    EXPECT_TRUE(sim.wait_for_accepted(accepted + 1, seconds(10))) << "not served again";
}

struct DataFile : ::testing::Test {
    bool load(const std::string& text, bool hv27 = false) {
        std::ofstream(m_path) << text;
        return DataSet::load(m_path, hv27, 1, &d, &error);
    }
    void TearDown() override { unlink(m_path.c_str()); }
    std::string m_path = "zulsim_data_" + std::to_string(getpid()) + ".txt", error;
    DataSet d;
};

// Whole records compared: a value in a wrong place, or in one place too many, shows.
TEST_F(DataFile, ReadsFieldsIntoTheirPlacesAndFillsTheRest) {
    ASSERT_TRUE(
        load("# a test\nuser 4242\naccount A1 m_previlege=3\n"
             "position A1 m_symbol=IF2412 m_posi_direction=2 m_today_qty=0x10 "
             "m_pos_cost=-1.25\n"
             "order A1 m_last_record_flag=2  # data in orders\n"
             "bp A1 m_available_bp=99.75\nrisk B2 m_43_limit_val=1.5\n"))
        << error;
    EXPECT_EQ(std::vector<std::string>{"A1"}, d.accounts()) << "B2 is served, not listed";
    query_account_fut_position_resp p, end;
    p.m_sequence = 1, end.m_sequence = 2;
    p.m_user_id = end.m_user_id = 4242;
    strcpy(p.m_account_id, "A1"), strcpy(end.m_account_id, "A1");
    strcpy(p.m_symbol, "IF2412");
    p.m_posi_direction = 2, p.m_today_qty = 16, p.m_pos_cost = -1.25, end.m_last_record_flag = 1;
    EXPECT_EQ((std::vector<Bytes>{DataSet::bytes_of(p), DataSet::bytes_of(end)}),
              *d.find(1073, "A1"));
    EXPECT_EQ(3u, +d.record<query_user_account_resp>(1071, "", 0).m_previlege);
    EXPECT_EQ(2, d.record<rewind_accoutn_order_response>(1074, "A1", 0).m_last_record_flag);
    EXPECT_EQ(99.75, +d.record<report_account_bp>(1093, "A1", 0).m_available_bp) << "bp pushed";
    EXPECT_EQ(1.5, +d.record<account_risk_real_data_resp>(1082, "B2", 0)
                        .m_account_risk_real_data.m_43_limit_val);
    EXPECT_EQ(1u, d.find(1095, "B2")->size()) << "every list, empty";
    ASSERT_TRUE(load("bp Z9\nposition A1\n")) << error;
    EXPECT_EQ((std::vector<std::string>{"Z9", "A1"}), d.accounts());
    ASSERT_TRUE(load("execution A1\n", true)) << error;
    EXPECT_EQ(112u, d.find(1075, "A1")->front().size()) << "the generation's form";
}

TEST_F(DataFile, ErrorsNameTheLine) {
    for (const char* bad : {"m_nonsense=1", "m_today_qty=abc", "m_posi_direction=256"}) {
        EXPECT_FALSE(load(std::string("account A1\nposition A1 ") + bad)) << bad;
        EXPECT_NE(std::string::npos, error.find(":2:")) << error;
    }
    EXPECT_FALSE(load("hv27_rewind_order_execution_response A1\n")) << "not of this generation";
    EXPECT_FALSE(DataSet::load("/nonexistent/zulsim.txt", false, 1, &d, &error));
}

TEST(SimProgram, PrintsItsPortServesItsOptionsEndsOnSigtermRefusesBadOptionsTellsItsVersion) {
    const std::string sim = ZUL_SIM_PATH;
    // The shell's pid goes to timeout and zul_sim; timeout passes SIGTERM on, ends as it.
    FILE* out = popen(("echo $$; exec timeout 60 " + sim + " --hv27").c_str(), "r");
    int pid = 0;
    unsigned port = 0;
    ASSERT_EQ(2, fscanf(out, "%d zul_sim listening on 127.0.0.1:%u", &pid, &port));
    Raw c(port);
    EXPECT_TRUE(c.send(DataSet::bytes_of(query_logon_msg_req())));
    EXPECT_EQ(6, c.read(56).at(51)) << "the hv27 generation";
    EXPECT_EQ(0, kill(pid, SIGTERM));
    EXPECT_EQ(0, pclose(out));
    for (const char* bad : {" --write-mode sideways", " --data /nonexistent/zulsim.txt"})
        EXPECT_EQ(2, WEXITSTATUS(system((sim + bad + " 2>/dev/null").c_str()))) << bad;
    EXPECT_EQ(0, system((sim + " --help >/dev/null").c_str()));
    FILE* version = popen((sim + " --version").c_str(), "r");
    char line[64] = {};
    EXPECT_NE(nullptr, fgets(line, sizeof(line), version));
    EXPECT_EQ(0, pclose(version));
    EXPECT_STREQ("zul_sim 5.2.4.16\n", line);
}

}  // namespace
