// The simulator seen from the wire: framing, the log of requests, every answer family,
// refusals, write modes, pushes and drops.

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "raw_client.h"
#include "zul_sim.h"

namespace {

using zulsim::Options;
using zulsim::Simulator;
using zulsim::WriteMode;

const milliseconds kWait(10000);
const char kFull[] = "ACCT-FULL-WIDE16";
const char kShort[] = "ZQ7";
const char kEmpty[] = "EMPTY-01";

// As a client copies texts into requests: cut to leave room for a terminator.
void copy_text(char* field, size_t width, const char* text) {
    memcpy(field, text, std::min(strlen(text), width - 1));
}

query_logon_msg_req logon_request(const char* login = "trader-1") {
    query_logon_msg_req r;
    r.m_proto_version = QUERY_PROTO_VERSION;
    copy_text(r.m_login_id, sizeof(r.m_login_id), login);
    memcpy(r.m_password, "0123456789ABCDEF0123456789ABCDEF", 32);
    return r;
}

// Any request with an account field, built the way a client builds it.
template <class R>
R account_request(const char* account, uint32_t user = 70123) {
    R r;
    r.m_user_id = user;
    copy_text(r.m_account_id, sizeof(r.m_account_id), account);
    return r;
}

class SimTest : public ::testing::Test {
protected:
    void start(Options o = Options()) {
        m_sim.reset(new Simulator(o));
        std::string error;
        ASSERT_TRUE(m_sim->start(&error)) << error;
        m_hv27 = o.hv27;
    }
    std::unique_ptr<RawClient> connect() {
        auto c = std::make_unique<RawClient>(m_sim->port());
        EXPECT_TRUE(c->connected());
        return c;
    }
    Bytes logon(RawClient& c) {
        Bytes m;
        EXPECT_TRUE(c.send(logon_request()));
        EXPECT_TRUE(c.read_message(m_hv27, &m));
        return m;
    }
    const std::vector<Bytes>& served(uint16_t id, const std::string& account) {
        m_data = m_sim->data();
        const std::vector<Bytes>* msgs = m_data.find(id, account);
        EXPECT_NE(msgs, nullptr) << id << " " << account;
        static const std::vector<Bytes> none;
        return msgs != nullptr ? *msgs : none;
    }

    std::unique_ptr<Simulator> m_sim;
    zulsim::DataSet m_data;
    bool m_hv27 = false;
};

TEST_F(SimTest, FramesRequestsSentByteByByteAndCoalesced) {
    start();
    auto c = connect();
    Bytes logon = bytes_of(logon_request());
    for (unsigned char b : logon) {
        ASSERT_TRUE(c->send_bytes(Bytes{b}));
    }
    auto pos = account_request<query_account_position_req>("ZQ7");
    pos.m_sec_type = SEC_TYPE_FUTURE;
    auto exe = account_request<rewind_account_exe_req>("ACCT-FULL-WIDE1");
    exe.m_sec_type = 4;
    exe.m_rewind_flag = 9;
    auto combo = account_request<query_combo_position>("ZQ7", 0x01020304);
    // Two whole requests and the head of a third in one write, the rest later.
    Bytes batch = bytes_of(pos);
    Bytes e = bytes_of(exe), p = bytes_of(combo);
    batch.insert(batch.end(), e.begin(), e.end());
    batch.insert(batch.end(), p.begin(), p.begin() + 10);
    ASSERT_TRUE(c->send_bytes(batch));
    ASSERT_TRUE(c->send_bytes(Bytes(p.begin() + 10, p.end())));
    ASSERT_TRUE(m_sim->wait_for_requests(4, kWait));

    auto log = m_sim->requests();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0].id, 68);
    EXPECT_EQ(log[0].name, "query_logon_msg_req");
    EXPECT_EQ(log[0].raw, logon);
    EXPECT_EQ(log[0].text("m_login_id"), "trader-1");
    EXPECT_EQ(log[0].text("m_password"), "0123456789ABCDEF0123456789ABCDEF");
    EXPECT_EQ(log[0].number("m_proto_version"), 15);
    EXPECT_EQ(log[1].id, 73);
    EXPECT_EQ(log[1].text("m_account_id"), "ZQ7");
    EXPECT_EQ(log[1].number("m_sec_type"), SEC_TYPE_FUTURE);
    EXPECT_EQ(log[1].number("m_user_id"), 70123);
    EXPECT_EQ(log[2].id, 75);
    EXPECT_EQ(log[2].text("m_account_id"), "ACCT-FULL-WIDE1");
    EXPECT_EQ(log[2].number("m_sec_type"), 4);
    EXPECT_EQ(log[2].number("m_rewind_flag"), 9);
    EXPECT_EQ(log[2].raw, e);
    // The combination request has the account before the user id.
    EXPECT_EQ(log[3].id, 79);
    EXPECT_EQ(log[3].text("m_account_id"), "ZQ7");
    EXPECT_EQ(log[3].number("m_user_id"), 0x01020304);
    EXPECT_EQ(log[3].raw, p);
    for (const auto& r : log) {
        EXPECT_EQ(r.connection, 1);
    }
}

TEST_F(SimTest, UnknownRequestIdIsLoggedAndTheConnectionGoesOn) {
    start();
    auto c = connect();
    ASSERT_TRUE(c->send_bytes(Bytes{0xE7, 0x03, 1, 2, 3}));
    ASSERT_TRUE(m_sim->wait_for_requests(1, kWait));
    EXPECT_EQ(m_sim->requests()[0].id, 999);
    EXPECT_EQ(m_sim->requests()[0].name, "unknown");
    EXPECT_EQ(m_sim->requests()[0].raw.size(), 5u);
    Bytes m = logon(*c);
    EXPECT_EQ(id_of(m), 1068);
}

TEST_F(SimTest, LogonAnswerTellsTheGeneration) {
    for (bool hv27 : {false, true}) {
        SCOPED_TRACE(hv27);
        Options o;
        o.hv27 = hv27;
        o.user_id = 0x00ABCDEF;
        start(o);
        auto c = connect();
        Bytes m = logon(*c);
        ASSERT_EQ(m.size(), 56u);
        EXPECT_EQ(id_of(m), 1068);
        EXPECT_EQ(u32_at(m, 8), 0u);  // accepted
        EXPECT_STREQ(reinterpret_cast<const char*>(m.data() + 12), "trader-1");
        EXPECT_EQ(u32_at(m, 45), 0x00ABCDEFu);  // odd offset
        EXPECT_EQ(m[51], hv27 ? 6 : 0);
    }
}

TEST_F(SimTest, LogonRefusalsAndPasswordCheck) {
    Options o;
    o.password_digest = "0123456789abcdef0123456789abcdef";  // letter case doesn't matter
    start(o);
    auto c = connect();
    EXPECT_EQ(u32_at(logon(*c), 8), 0u);
    query_logon_msg_req wrong = logon_request();
    wrong.m_password[0] = 'F';
    Bytes m;
    ASSERT_TRUE(c->send(wrong));
    ASSERT_TRUE(c->read_message(false, &m));
    EXPECT_EQ(u32_at(m, 8), 2u);
    m_sim->configure([](Options& x) {
        x.logon_result = 17;
        x.version_flag = 6;
    });
    m = logon(*c);
    EXPECT_EQ(u32_at(m, 8), 17u);
    EXPECT_EQ(m[51], 6);  // a refusal still tells the generation
}

struct StreamCase {
    uint16_t request;
    uint16_t answer;
    bool strict;
};

Bytes stream_request(uint16_t id, const char* account) {
    switch (id) {
        case 71:
            return bytes_of(query_user_account_req());
        case 72:
            return bytes_of(query_symbol_req());
        case 73:
            return bytes_of(account_request<query_account_position_req>(account));
        case 74:
            return bytes_of(account_request<rewind_account_order_req>(account));
        case 75:
            return bytes_of(account_request<rewind_account_exe_req>(account));
        case 76:
            return bytes_of(query_combo_rule());
        case 77:
            return bytes_of(account_request<query_account_margin>(account));
        case 78:
            return bytes_of(account_request<query_account_fee>(account));
        case 79:
            return bytes_of(account_request<query_combo_position>(account));
        case 95:
            return bytes_of(account_request<rewind_account_quote_req>(account));
        default:
            return bytes_of(account_request<rewind_account_arbi_order_req>(account));
    }
}

TEST_F(SimTest, EveryStreamArrivesAsServedAndEndsAsItsFamilyDoes) {
    const StreamCase cases[] = {{71, 1071, false}, {72, 1072, false}, {73, 1073, false},
                                {74, 1074, true},  {75, 1075, true},  {76, 1076, false},
                                {77, 1077, false}, {78, 1078, false}, {79, 1079, false},
                                {95, 1095, true},  {98, 1098, true}};
    for (bool hv27 : {false, true}) {
        Options o;
        o.hv27 = hv27;
        start(o);
        auto c = connect();
        logon(*c);
        bool closed_with_two = false;
        for (const StreamCase& sc : cases) {
            bool per_account = sc.request != 71 && sc.request != 72 && sc.request != 76;
            for (const char* account : {kFull, kShort, kEmpty}) {
                SCOPED_TRACE(std::to_string(sc.request) + " " + account + (hv27 ? " hv27" : ""));
                ASSERT_TRUE(c->send_bytes(stream_request(sc.request, account)));
                std::vector<Bytes> got;
                ASSERT_TRUE(c->read_stream(hv27, sc.strict, &got));
                const auto& want = served(sc.answer, per_account ? account : "");
                EXPECT_EQ(got, want);
                bool flag_two_data = false;
                for (size_t i = 0; i < got.size(); ++i) {
                    EXPECT_EQ(id_of(got[i]), sc.answer);
                    EXPECT_EQ(got[i].size(), answer_size(sc.answer, hv27));
                    flag_two_data |= i + 1 < got.size() && got[i][8] == 2;
                }
                if (sc.strict) {
                    EXPECT_EQ(got.back()[8], 1);
                    // Orders, executions and quotes carry a flag-2 data record.
                    EXPECT_EQ(flag_two_data, std::string(account) != kEmpty);
                }
                closed_with_two |= got.back()[8] == 2;
                if (std::string(account) == kEmpty && per_account) {
                    EXPECT_EQ(got.size(), 1u);  // an empty list is its closing record
                }
                if (per_account && sc.answer != 1071) {
                    EXPECT_EQ(memcmp(got.back().data() +
                                         (sc.answer == 1074 || sc.answer == 1098 ? 74
                                          : sc.answer == 1095                    ? 110
                                          : sc.answer == 1075                    ? 13
                                                              : (sc.answer == 1073 ? 13 : 9)),
                                     account, strlen(account)),
                              0)
                        << "closing record names the account";
                }
                if (!per_account) {
                    break;
                }
            }
        }
        EXPECT_TRUE(closed_with_two) << "some list must close with flag 2";
        m_sim->stop();
    }
}

TEST_F(SimTest, PositionRequestAnswersOptionsOnlyForSecurityTypeOption) {
    start();
    auto c = connect();
    for (uint8_t sec : {1, 2, 3, 5}) {
        auto r = account_request<query_account_position_req>(kShort);
        r.m_sec_type = sec;
        ASSERT_TRUE(c->send(r));
        std::vector<Bytes> got;
        ASSERT_TRUE(c->read_stream(false, false, &got));
        EXPECT_EQ(id_of(got[0]), sec == 2 ? 1092 : 1073) << int(sec);
        EXPECT_EQ(got.size(), 4u);
    }
}

TEST_F(SimTest, ExecutionsCanComeWithSymbol) {
    Options o;
    o.exec_with_symbol = true;
    start(o);
    auto c = connect();
    ASSERT_TRUE(c->send_bytes(stream_request(75, kFull)));
    std::vector<Bytes> got;
    ASSERT_TRUE(c->read_stream(false, true, &got));
    EXPECT_EQ(got, served(1063, kFull));
    EXPECT_EQ(got[0].size(), 112u);
}

TEST_F(SimTest, SingleAnswersInBothGenerations) {
    for (bool hv27 : {false, true}) {
        SCOPED_TRACE(hv27);
        Options o;
        o.hv27 = hv27;
        o.change_password_result = 41;
        start(o);
        auto c = connect();
        struct Case {
            Bytes request;
            uint16_t answer;
        } cases[] = {
            {bytes_of(account_request<query_account_bp_req>(kFull)), 1081},
            {bytes_of(account_request<account_risk_real_data_req>(kFull)), 1082},
            {bytes_of(account_request<account_symbol_real_data_req>(kShort)), 1083},
            {bytes_of(account_request<query_cash_inout_req>(kShort)), 1099},
            {bytes_of(account_request<query_account_bp_detail_req>(kFull)), 1088},
        };
        for (const Case& k : cases) {
            ASSERT_TRUE(c->send_bytes(k.request));
            Bytes m;
            ASSERT_TRUE(c->read_message(hv27, &m));
            EXPECT_EQ(id_of(m), k.answer);
            EXPECT_EQ(m.size(), answer_size(k.answer, hv27));
            EXPECT_EQ(m,
                      served(k.answer,
                             id_of(k.request) == 83 || id_of(k.request) == 85 ? kShort : kFull)[0]);
            if (k.answer == 1088) {
                EXPECT_NE(m[164], 0) << "push mode";
                EXPECT_NE(m[173], 0) << "account index, in both layouts";
            }
        }
        ASSERT_TRUE(c->send(change_password_req()));
        Bytes m;
        ASSERT_TRUE(c->read_message(hv27, &m));
        EXPECT_EQ(id_of(m), 1069);
        EXPECT_EQ(u32_at(m, 12), 41u);
        m_sim->stop();
    }
}

TEST_F(SimTest, UnknownAccountGetsEmptyStreamOrRefusal) {
    Options o;
    o.unknown_account_error = 77;
    start(o);
    auto c = connect();
    ASSERT_TRUE(c->send(account_request<query_account_fee>("NOBODY")));
    std::vector<Bytes> got;
    ASSERT_TRUE(c->read_stream(false, false, &got));
    ASSERT_EQ(got.size(), 1u);
    EXPECT_STREQ(reinterpret_cast<const char*>(got[0].data() + 9), "NOBODY");
    ASSERT_TRUE(c->send(account_request<query_account_bp_req>("NOBODY")));
    Bytes m;
    ASSERT_TRUE(c->read_message(false, &m));
    EXPECT_EQ(id_of(m), 1064);
    EXPECT_EQ(m[12] | (m[13] << 8), 81);
    EXPECT_EQ(u32_at(m, 14), 77u);
}

TEST_F(SimTest, RefusalReplacesTheAnswer) {
    Options o;
    o.refusals[77] = 4321;
    start(o);
    auto c = connect();
    ASSERT_TRUE(c->send(account_request<query_account_margin>(kFull)));
    ASSERT_TRUE(c->send(account_request<query_account_bp_req>(kFull)));
    Bytes m;
    ASSERT_TRUE(c->read_message(false, &m));
    ASSERT_EQ(m.size(), 24u);
    EXPECT_EQ(id_of(m), 1064);
    EXPECT_EQ(u32_at(m, 8), 70123u);
    EXPECT_EQ(m[12] | (m[13] << 8), 77);
    EXPECT_EQ(u32_at(m, 14), 4321u);
    ASSERT_TRUE(c->read_message(false, &m));
    EXPECT_EQ(id_of(m), 1081) << "nothing of the refused stream follows";
}

// The writes of one answer, counted by the simulator, for each write mode.
size_t writes_for(Simulator& sim, RawClient& c, const Bytes& request, size_t* bytes) {
    size_t before = sim.stats().writes;
    EXPECT_TRUE(c.send_bytes(request));
    std::vector<Bytes> got;
    EXPECT_TRUE(c.read_stream(false, false, &got));
    *bytes = 0;
    for (const Bytes& m : got) {
        *bytes += m.size();
    }
    return sim.stats().writes - before;
}

TEST_F(SimTest, WriteModesCutTheSameBytesDifferently) {
    start();
    auto c = connect();
    Bytes req = stream_request(73, kFull);  // 3 positions and the end: 4 x 152 bytes
    size_t bytes = 0;
    EXPECT_EQ(writes_for(*m_sim, *c, req, &bytes), 4u);
    ASSERT_EQ(bytes, 608u);
    m_sim->configure([](Options& o) { o.write_mode = WriteMode::byte_by_byte; });
    EXPECT_EQ(writes_for(*m_sim, *c, req, &bytes), 608u);
    m_sim->configure([](Options& o) {
        o.write_mode = WriteMode::split;
        o.write_param = 10;
    });
    EXPECT_EQ(writes_for(*m_sim, *c, req, &bytes), 8u);
    m_sim->configure([](Options& o) {
        o.write_mode = WriteMode::chunks;
        o.write_param = 100;
    });
    EXPECT_EQ(writes_for(*m_sim, *c, req, &bytes), 7u);  // 608 bytes in 100-byte writes
    m_sim->configure([](Options& o) { o.write_mode = WriteMode::coalesce; });
    EXPECT_EQ(writes_for(*m_sim, *c, req, &bytes), 1u);
    EXPECT_EQ(bytes, 608u);
}

TEST_F(SimTest, PauseSeparatesTheWrites) {
    Options o;
    o.write_mode = WriteMode::split;
    o.write_param = 20;
    o.pause = milliseconds(40);
    start(o);
    auto c = connect();
    auto begin = std::chrono::steady_clock::now();
    Bytes m = logon(*c);
    EXPECT_EQ(id_of(m), 1068);
    // The second half can only come after the first pause.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(35));
}

TEST_F(SimTest, PushesLandBetweenMessagesOfAStream) {
    Options o;
    o.pause = milliseconds(150);
    start(o);
    auto c = connect();
    ASSERT_TRUE(c->send_bytes(stream_request(74, kShort)));
    Bytes first;
    ASSERT_TRUE(c->read_message(false, &first));
    EXPECT_EQ(m_sim->push_bp_report(), 1u);
    EXPECT_EQ(m_sim->push_cash_notice(kShort), 1u);
    std::vector<uint16_t> ids{id_of(first)};
    Bytes report, notice;
    for (;;) {
        Bytes m;
        ASSERT_TRUE(c->read_message(false, &m));  // framing holds: nothing cut a message
        ids.push_back(id_of(m));
        if (id_of(m) == 1093) {
            report = m;
        } else if (id_of(m) == 1099) {
            notice = m;
        } else if (m[8] == 1) {
            break;
        }
    }
    EXPECT_EQ(ids.size(), 6u);
    EXPECT_EQ(report, served(1093, kFull)[0]);  // "" pushes for the first account
    EXPECT_EQ(notice, served(1099, kShort)[0]);
}

TEST_F(SimTest, PeriodicPushes) {
    Options o;
    o.push_interval = milliseconds(20);
    start(o);
    auto c = connect();
    ASSERT_TRUE(m_sim->wait_for_accepted(1, kWait));
    Bytes a, b;
    ASSERT_TRUE(c->read_message(false, &a));
    ASSERT_TRUE(c->read_message(false, &b));
    EXPECT_EQ(id_of(a), 1093);
    EXPECT_EQ(id_of(b), 1099);
}

TEST_F(SimTest, RawBytesGoOutAsGiven) {
    start();
    auto c = connect();
    ASSERT_TRUE(m_sim->wait_for_accepted(1, kWait));
    Bytes garbage{0x48, 0x04, 0xFF, 0x00, 0x7F};
    EXPECT_EQ(m_sim->send_raw(garbage), 1u);
    Bytes got;
    ASSERT_TRUE(c->read_exact(garbage.size(), &got));
    EXPECT_EQ(got, garbage);
}

TEST_F(SimTest, DropAfterMessagesAndBytesAreOneShot) {
    start();
    {
        auto c = connect();
        m_sim->configure([](Options& o) { o.drop_after_messages = 2; });
        ASSERT_TRUE(c->send_bytes(stream_request(73, kFull)));
        Bytes m;
        ASSERT_TRUE(c->read_message(false, &m));
        ASSERT_TRUE(c->read_message(false, &m));
        size_t extra = 99;
        EXPECT_TRUE(c->wait_closed(&extra));
        EXPECT_EQ(extra, 0u);
    }
    EXPECT_EQ(m_sim->options().drop_after_messages, 0u);
    {
        auto c = connect();
        m_sim->configure([](Options& o) { o.drop_after_bytes = 100; });
        ASSERT_TRUE(c->send_bytes(stream_request(73, kFull)));
        size_t got = 0;
        EXPECT_TRUE(c->wait_closed(&got));
        EXPECT_EQ(got, 100u);
    }
    auto c = connect();  // the rules have fired: a full answer again
    std::vector<Bytes> got;
    ASSERT_TRUE(c->send_bytes(stream_request(73, kFull)));
    EXPECT_TRUE(c->read_stream(false, false, &got));
    EXPECT_EQ(got.size(), 4u);
}

TEST_F(SimTest, DropOnRequestAndDropNow) {
    Options o;
    o.drop_on_request = 74;
    start(o);
    auto c = connect();
    logon(*c);
    ASSERT_TRUE(c->send_bytes(stream_request(74, kFull)));
    size_t extra = 99;
    EXPECT_TRUE(c->wait_closed(&extra));
    EXPECT_EQ(extra, 0u);
    ASSERT_TRUE(m_sim->wait_for_requests(2, kWait));
    EXPECT_EQ(m_sim->requests()[1].id, 74) << "the dropped request is still logged";

    auto d = connect();
    logon(*d);
    m_sim->drop_connections();
    EXPECT_TRUE(d->wait_closed());
}

TEST_F(SimTest, AcceptModes) {
    start();
    uint16_t port = m_sim->port();
    m_sim->configure([](Options& o) { o.accept_mode = zulsim::AcceptMode::close_at_once; });
    {
        RawClient c(port);
        ASSERT_TRUE(c.connected());
        size_t extra = 99;
        EXPECT_TRUE(c.wait_closed(&extra));
        EXPECT_EQ(extra, 0u);
    }
    m_sim->configure([](Options& o) { o.accept_mode = zulsim::AcceptMode::refuse; });
    bool refused = false;
    for (auto until = std::chrono::steady_clock::now() + kWait;
         !refused && std::chrono::steady_clock::now() < until;) {
        RawClient c(port);
        refused = !c.connected();
        if (!refused) {
            std::this_thread::sleep_for(milliseconds(5));
        }
    }
    EXPECT_TRUE(refused);
    m_sim->configure([](Options& o) { o.accept_mode = zulsim::AcceptMode::accept; });
    bool served_again = false;
    for (auto until = std::chrono::steady_clock::now() + kWait;
         !served_again && std::chrono::steady_clock::now() < until;) {
        RawClient c(port);
        Bytes m;
        served_again = c.connected() && c.send(logon_request()) && c.read_message(false, &m);
        if (!served_again) {
            std::this_thread::sleep_for(milliseconds(5));
        }
    }
    EXPECT_TRUE(served_again) << "listens on the same port again";
    EXPECT_EQ(m_sim->port(), port);
}

TEST_F(SimTest, BulkStreamsForBenchmarks) {
    Options o;
    o.bulk_records = 500;
    o.write_mode = WriteMode::coalesce;
    start(o);
    auto c = connect();
    size_t writes = m_sim->stats().writes;
    ASSERT_TRUE(c->send_bytes(stream_request(73, kShort)));
    std::vector<Bytes> got;
    ASSERT_TRUE(c->read_stream(false, false, &got));
    ASSERT_EQ(got.size(), 501u);
    for (size_t i = 0; i + 1 < got.size(); ++i) {
        ASSERT_EQ(got[i][8], 0);
        ASSERT_EQ(u32_at(got[i], 4), i + 1) << "sequence";
    }
    EXPECT_NE(got[0], got[1]);
    EXPECT_EQ(m_sim->stats().writes - writes, 1u);
}

TEST_F(SimTest, SeveralClientsAtOnce) {
    start();
    auto a = connect();
    auto b = connect();
    ASSERT_TRUE(m_sim->wait_for_accepted(2, kWait));
    EXPECT_EQ(m_sim->connections(), 2u);
    std::vector<Bytes> got_a, got_b;
    ASSERT_TRUE(a->send_bytes(stream_request(72, "")));
    ASSERT_TRUE(b->send_bytes(stream_request(71, "")));
    ASSERT_TRUE(a->read_stream(false, false, &got_a));
    ASSERT_TRUE(b->read_stream(false, false, &got_b));
    EXPECT_EQ(got_a, served(1072, ""));
    EXPECT_EQ(got_b, served(1071, ""));
    ASSERT_TRUE(m_sim->wait_for_requests(2, kWait));
    auto log = m_sim->requests();
    EXPECT_NE(log[0].connection, log[1].connection);
}

TEST_F(SimTest, ReplacedDataIsServed) {
    start();
    zulsim::DataSet d(false, 70123);
    query_account_bp_resp bp;
    strcpy(bp.m_account_id, "MINE");
    bp.m_available_bp = 12.5;
    d.set(1081, "MINE", {zulsim::DataSet::bytes_of(bp)});
    m_sim->set_data(d);
    auto c = connect();
    ASSERT_TRUE(c->send(account_request<query_account_bp_req>("MINE")));
    Bytes m;
    ASSERT_TRUE(c->read_message(false, &m));
    EXPECT_EQ(m, zulsim::DataSet::bytes_of(bp));
}

}  // namespace
