// zulq against an in-process simulator: every command, its answer compared with the records
// served, in every format; every way of failing with its exit status; the help; watch.

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "sim_builders.h"
#include "support/e2e_client.h"
#include "support/zulq_run.h"

namespace {

using namespace zul_test;
using Configure = void (*)(zulsim::Options&);
const char kPassword[] = "ZULQ_PASSWORD=pw123456";

struct Outcome {
    int code = -1;  // exit status; 128 + N after signal N
    std::string out, err;
};

zulsim::Options options(Configure setup) {
    zulsim::Options o;
    setup(o);
    return o;
}

// A simulator, and zulq run against it from a scratch working folder.
struct Server {
    explicit Server(Configure setup = [](zulsim::Options&) {}) : sim(options(setup)) {
        EXPECT_TRUE(sim.start());
        sim.configure(setup);  // a refusing mode takes hold before the first connect
    }

    // zulq with `args` in UTC, its password in `env`; `meanwhile` gets its pid.
    Outcome run(
        const std::string& args, const std::string& env = kPassword,
        const std::function<void(int)>& meanwhile = [](int) {}) {
        const std::string zulq = "unset ZULQ_PASSWORD; TZ=UTC " + env + " " + ZUL_BINARY_DIR +
                                 "/cli/zulq --port " + std::to_string(sim.port()) +
                                 " --user trader01 --timeout 5 --log-dir logs " + args;
        // Gone before the run, so that no one reads the last run's output as this one's.
        std::remove("out");
        std::remove("err");
        FILE* sh = popen(
            ("timeout 120 sh -c '" + zulq + " >out 2>err & echo $!; wait $!; echo $?'").c_str(),
            "r");
        int pid = 0, code = -1;
        if (fscanf(sh, "%d", &pid) == 1)  // else no code follows either
            meanwhile(pid);
        EXPECT_EQ(1, fscanf(sh, "%d", &code));
        pclose(sh);
        return {code, read_file("out"), read_file("err")};
    }

    scratch_dir dir;  // the working folder while the server lives
    zulsim::Simulator sim;
};

using Row = json_row;

// Checks a row against `keys`: "Column=field" (of the wire record r), "Column=field/N" (a text
// the public record cuts to N), "Column=field@" (a time), "Column:value" (made up).
void check(const Row& row, const std::string& keys, const zulsim::RecordInfo& info,
           const zulsim::Bytes& r) {
    std::istringstream words(keys);
    for (std::string w; words >> w;) {
        const size_t eq = w.find('='), cut = w.find('/'), colon = w.find(':');
        const zulsim::FieldInfo* f =
            info.field(w.substr(eq + 1, std::min(cut, w.find('@')) - eq - 1));
        const auto cell = row.find(w.substr(0, std::min(eq, colon)));
        ASSERT_TRUE(cell != row.end() && (f != nullptr) != (eq > colon)) << w;
        std::string want = w.substr(colon + 1);
        bool quoted = want.empty() || !isdigit(want[0]);
        if (f != nullptr) {
            const char* at = reinterpret_cast<const char*>(r.data()) + f->offset;
            const size_t width = std::min<size_t>(f->width, 8), shift = 64 - 8 * width;
            unsigned long long u = 0;
            double d;
            memcpy(&u, at, width);
            memcpy(&d, &u, sizeof(d));
            quoted = f->kind == zulsim::FieldKind::text || w.back() == '@';
            want = f->kind == zulsim::FieldKind::text
                       ? std::string(at, strnlen(at, cut == std::string::npos
                                                         ? f->width
                                                         : std::stoul(w.substr(cut + 1))))
                   : f->kind == zulsim::FieldKind::signed_int
                       ? std::to_string(static_cast<long long>(u << shift) >> shift)
                   : f->kind != zulsim::FieldKind::real ? (quoted ? utc_text(u) : std::to_string(u))
                   : strtod(cell->second.c_str(), nullptr) == d ? cell->second
                                                                : std::to_string(d);
        }
        EXPECT_EQ((quoted ? "\"" : "") + want, cell->second) << w;
    }
}

struct Case {
    const char *name, *command;
    const char* sent;  // fields of the request
    uint16_t response;
    const char* account;  // of the answer in the data set
    size_t columns;       // the fields of the public record
    const char* keys;     // the key fields, see check()
    int server;           // 1: hv27, 2: executions with symbol
};

// clang-format off
const Case kCases[] = {
    {"Accounts", "accounts", "m_user_id=70123", 1071, "", 9, "Account=m_account_id Previlege=m_previlege AvailableBp=m_available_bp AccountIdx=m_account_idx", 0},
    {"Positions", "positions ZQ7", "m_account_id=ZQ7 m_sec_type=3", 1073, "ZQ7", 12, "ActId=m_account_id Symbol=m_symbol/19 PosiDirection=m_posi_direction TodayQty=m_today_qty OvnMargin=m_ovn_occupied_margin", 0},
    {"NoPositions", "positions EMPTY-01", "m_account_id=EMPTY-01", 1073, "EMPTY-01", 12, "", 0},
    {"OptionPositions", "option-positions ACCT-FULL-WIDE16", "m_account_id=ACCT-FULL-WIDE1 m_sec_type=2", 1092, "ACCT-FULL-WIDE16", 19, "ActId=account_id Symbol=full_symbol/19 CallPut=call_put CurOvnQty=cur_ovn_qty AvgPrice=avg_price", 0},
    {"PositionsOfSecTypeOption", "positions ZQ7 --sec-type option", "m_sec_type=2", 1092, "ZQ7", 19, "ActId=account_id StrikePrice=strike_price", 0},
    {"ComboPositions", "combo-positions ZQ7", "m_account_id=ZQ7", 1079, "ZQ7", 12, "ComboSymbol=m_combo_symbol/79 Qty=m_qty ReturnMargin=m_return_margin", 0},
    {"Margin", "margin ACCT-FULL-WIDE16", "m_account_id=ACCT-FULL-WIDE1", 1077, "ACCT-FULL-WIDE16", 6, "Symbol=m_symbol ProdID=m_prod_id/31 LongMarginRatio=m_long_margin_ratio", 0},
    {"Fees", "fees ZQ7 --sec-type=stock", "m_sec_type=1", 1078, "ZQ7", 11, "Symbol=m_symbol/19 CloseTodayRatioByVolume=m_close_today_ratio_by_volume", 0},
    {"Orders", "orders ACCT-FULL-WIDE16 --sec-type 4", "m_sec_type=4", 1074, "ACCT-FULL-WIDE16", 21, "Userid=m_user_id Timestamp=m_timestamp@ CloseTime=m_close_time@ Symbol=m_symbol Account=m_account_id MarketOrderId=m_market_order_id Price=m_price MinQty=m_minimum_quantity", 0},
    {"ArbiOrders", "arbi-orders ZQ7", "m_account_id=ZQ7", 1098, "ZQ7", 19, "Symbol=m_symbol CloseTime=m_close_time@ OrderType=m_order_type", 0},
    {"Executions", "executions ZQ7 --rewind 257 --sec-type option", "m_rewind_flag=1 m_sec_type=2", 1075, "ZQ7", 10, "Timestamp=m_timestamp@ MarketExecID=m_market_exec_id ExecutionPrice=m_execution_price ExecutionID:0", 0},
    {"ExecutionsExtendedOnRequest", "executions ZQ7 --extended", "m_rewind_flag=0 m_sec_type=3", 1075, "ZQ7", 12, "Timestamp=m_timestamp@ LegNo=m_leg_no Symbol: SideType:0", 0},
    {"ExecutionsWithSymbol", "executions ACCT-FULL-WIDE16", "", 1063, "ACCT-FULL-WIDE16", 12, "Timestamp=m_timestamp@ Symbol=m_symbol/19 SideType=m_side_type", 2},
    {"ExecutionsFromAnHv27Server", "executions ZQ7", "", 1075, "ZQ7", 12, "Symbol=m_symbol/19 SideType=m_side_type MarketExecID=m_market_exec_id", 1},
    {"Quotes", "quotes ACCT-FULL-WIDE16", "m_sec_type=3", 1095, "ACCT-FULL-WIDE16", 25, "Symbol=m_symbol MarketQuoteId=m_mkt_quote_id ReqForQuoteID=m_req_for_quote_id BidQty=m_bid_volume AskPrice=m_ask_price", 0},
    {"Symbols", "symbols", "m_sec_type=3", 1072, "", 24, "SecType=m_instrument_type Symbol=m_symbol ProdID=m_product_id/31", 0},
    {"ComboRules", "combo-rules --combo-type 1 --hedge-flag 2", "m_combo_type=1 m_hedge_flag=2", 1076, "", 14, "Trading_date=m_trading_date ComboSymbol=m_combo_symbol FirstSymbol=m_combo_leg1 SecondRegion=m_region_leg2", 0},
    {"Bp", "bp ZQ7", "m_account_id=ZQ7", 1081, "ZQ7", 11, "Account=m_account_id TotalMarketPL=m_total_market_pl AccountIdx=m_account_idx", 0},
    {"BpDetail", "bp-detail ACCT-FULL-WIDE16", "m_account_id=ACCT-FULL-WIDE1", 1088, "ACCT-FULL-WIDE16", 21, "Account=m_account_id RiskRate=m_risk_rate AmountCount=m_amount_count", 0},
    {"Cash", "cash ZQ7", "m_account_id=ZQ7", 1099, "ZQ7", 5, "Account=m_account_id CashInOut=m_cash_in_out", 0},
    {"Risk", "risk ZQ7", "m_account_id=ZQ7", 1082, "ZQ7", 119, "account_id=m_account_id last_update_time=m_last_update_time@ total_bp=m_account_risk_real_data.m_bp 34_limit_val_1=m_34_limit_val_1 39_limit_val=m_39_limit_val 27_accumulate_val=m_27_accumulate_val", 0},
    {"SymbolRisk", "symbol-risk ZQ7 IF2412", "m_account_id=ZQ7 m_symbol=IF2412", 1083, "ZQ7", 52, "symbol=m_symbol 7_limit_val=m_account_symbol_risk_data.m_7_limit_val onp_long_pos_qty=m_account_symbol_risk_data.m_onp_long_pos_qty 46_accumulate_val=m_46_accumulate_val", 0},
};
// clang-format on

class ZulqCommand : public ::testing::TestWithParam<size_t> {};

// Every query: its request, a row per data record with a column per public field and the key
// fields as delivered; the other formats (pinned by unit tests) print as many lines as due.
TEST_P(ZulqCommand, PrintsWhatTheServerSentInEveryFormat) {
    const Case& c = kCases[GetParam()];
    const Configure servers[] = {[](zulsim::Options&) {}, [](zulsim::Options& o) { o.hv27 = true; },
                                 [](zulsim::Options& o) { o.exec_with_symbol = true; }};
    Server s(servers[c.server]);
    const zulsim::DataSet d = s.sim.data();
    const Outcome o = s.run(c.command + std::string(" --json"));
    ASSERT_EQ(0, o.code) << o.err;
    std::vector<zulsim::Bytes> served;  // a list without its closing record
    for (const zulsim::Bytes& r : d.select(c.response, c.account, s.sim.requests().back().raw))
        if (!zulsim::is_stream(c.response) || r[8] == 0 ||
            (zulsim::closes_on_one_only(c.response) && r[8] == 2))
            served.push_back(r);
    std::istringstream sent(c.sent);
    for (std::string kv; sent >> kv;)
        EXPECT_EQ(kv.substr(kv.find('=') + 1),
                  s.sim.requests().back().fields.at(kv.substr(0, kv.find('='))));
    const std::vector<Row> rows = parse_json_rows(o.out);
    ASSERT_EQ(served.size(), rows.size()) << o.out;
    for (size_t i = 0; i < served.size(); ++i) {
        EXPECT_EQ(c.columns, rows[i].size()) << o.out;
        check(rows[i], c.keys, *zulsim::response_info(c.response, c.server == 1), served[i]);
        std::set<std::string> seen;  // served values differ: a column showing another's field
        for (const auto& cell : rows[i])
            EXPECT_TRUE(cell.second == "0" || cell.second == "\"" ||
                        seen.insert(cell.second).second)
                << cell.first << " repeats a value of the row";
    }
    const size_t n = served.size();
    const std::pair<const char*, size_t> lines[] = {
        {" ", n + 2}, {" --csv", n + 1}, {" --vertical", n * (c.columns + 1) - (n > 0)}};
    for (const auto& f : lines)
        EXPECT_EQ(f.second, split_lines(s.run(c.command + std::string(f.first)).out).size())
            << f.first;
}

INSTANTIATE_TEST_SUITE_P(EveryQuery, ZulqCommand, ::testing::Range<size_t>(0, std::size(kCases)),
                         [](const ::testing::TestParamInfo<size_t>& i) {
                             return kCases[i.param].name;
                         });

// Each way of failing: its exit status, its message, what was printed and what was sent.
TEST(Zulq, FailuresExitWithTheirCodeAndSayWhy) {
    const struct {
        const char* args;
        Configure setup;
        const char* env;
        int code;
        const char *err, *out;  // out: null for any
        int sent;               // requests the server got, logon included; -1: any
    } failures[] = {
        // clang-format off
        {"", [](zulsim::Options&) {}, kPassword, 1, "no command given", "", -1},
        {"positions A --sec-type bond", [](zulsim::Options&) {}, kPassword, 1, "bad value for --sec-type", "", -1},
        {"accounts", [](zulsim::Options&) {}, "", 1, "--password is required", "", -1},
        {"accounts", [](zulsim::Options& o) { o.accept_mode = zulsim::AcceptMode::refuse; }, kPassword, 2, "cannot connect to 127.0.0.1:", "", -1},
        {"accounts", [](zulsim::Options& o) { o.accept_mode = zulsim::AcceptMode::refuse; }, kPassword, 2, ": connection refused: nothing listens on that port (result 1)", "", -1},
        {"accounts", [](zulsim::Options& o) { o.logon_result = 5; }, kPassword, 3, "logon refused by the server: a reason of the server's own (result 5)", "", 1},
        // The server checks the digest of the password: MD5 of "abc".
        {"accounts", [](zulsim::Options& o) { o.password_digest = "900150983cd24fb0d6963f7d28e17f72"; }, "ZULQ_PASSWORD=abd", 3, "logon refused by the server: user id or password not accepted (result 2)", "", 1},
        {"cash ZQ7", [](zulsim::Options& o) { o.password_digest = "900150983cd24fb0d6963f7d28e17f72"; }, "ZULQ_PASSWORD=abc", 0, "", nullptr, 2},
        {"option-positions ZQ7", [](zulsim::Options& o) { o.refusals = {{73, 77}}; }, kPassword, 4, "the server refused option-positions: error id 77", "", 2},
        {"bp NO-SUCH", [](zulsim::Options&) {}, kPassword, 4, "the server refused bp: error id 1", "", 2},
        {"accounts --timeout 2", [](zulsim::Options& o) { o.pause = 8000ms; }, kPassword, 5, "no answer to accounts: the server was silent for 2 s", "", -1},
        {"bp ZQ7", [](zulsim::Options& o) { o.hv27 = true; }, kPassword, 6, "bp: servers of the hv27 generation do not offer this query (result 23); ask for bp-detail instead", "", 1},
        {"accounts", [](zulsim::Options& o) { o.drop_on_request = 71; }, kPassword, 2, "connection lost", "", 2},
        {"change-password pw123456 newpass99 --csv", [](zulsim::Options& o) { o.change_password_result = 7; }, kPassword, 4, "refused the password change: result 7", "Result\n7\n", 2},
        {"change-password pw123456 newpass99 --json", [](zulsim::Options&) {}, kPassword, 0, "", "{\"Result\":0}\n", 2},
        {"--csv accounts --json", [](zulsim::Options&) {}, kPassword, 1, "--csv and --json cannot be combined", "", 0},
        {"--vertical --vertical accounts", [](zulsim::Options&) {}, kPassword, 0, "", nullptr, -1},
        {"change-password pw123456 short1", [](zulsim::Options&) {}, kPassword, 7, "the new password must have 8 to 32 letters, digits or '_', with at least one letter and one digit (result 10)", "", 1},
        // clang-format on
    };
    for (const auto& f : failures) {
        Server s(f.setup);
        const Outcome o = s.run(f.args, f.env);
        SCOPED_TRACE(std::string(f.args) + "\n" + o.out + o.err);
        EXPECT_EQ(f.code, o.code);
        EXPECT_TRUE(*f.err == '\0' ? o.err.empty() : o.err.find(f.err) != std::string::npos);
        EXPECT_TRUE(f.out == nullptr || o.out == f.out);
        EXPECT_TRUE(f.sent < 0 || s.sim.requests().size() == size_t(f.sent));
    }
}

TEST(Zulq, HelpForTheToolAndItsCommands) {
    Server s;
    const Outcome main = s.run("--help"), command = s.run("executions --help");
    EXPECT_TRUE(main.code == 0 && command.code == 0);
    const Outcome version = s.run("--version");
    EXPECT_EQ(0, version.code);
    EXPECT_EQ("5.2.4.16\n", version.out);
    EXPECT_EQ(0u, s.sim.accepted()) << "--version and --help connect nowhere";
    for (const char* code : {"0 done", "1 usage", "2 cannot connect", "3 logon refused",
                             "4 query refused", "5 no answer", "6 not offered"})
        EXPECT_NE(std::string::npos, main.out.find(code)) << code;
    std::istringstream commands(
        "accounts bp bp-detail cash positions option-positions combo-positions margin fees "
        "orders arbi-orders executions quotes symbols combo-rules risk symbol-risk "
        "change-password watch");
    for (std::string c; commands >> c;)
        EXPECT_NE(std::string::npos, main.out.find("\n  " + c + " ")) << c;
    EXPECT_EQ(0u, command.out.find("usage: zulq [options] executions ACCOUNT")) << command.out;
    EXPECT_NE(std::string::npos, command.out.find("--rewind N")) << command.out;
}

// Pushed BP reports and cash notices as they come, each with its kind; zulq stops after
// --count events, or at SIGTERM, and both end well.
TEST(Zulq, WatchPrintsPushedEventsUntilCountOrSigterm) {
    Server s;
    for (const std::string count : {" --count 2", ""}) {
        const size_t before = s.sim.stats().messages;
        const Outcome o = s.run("watch --json" + count, kPassword, [&](int pid) {
            // Pushed once the logon answer is out, they come behind it.
            ASSERT_TRUE(wait_until([&] { return s.sim.stats().messages > before; }, 30s));
            EXPECT_EQ(1u, s.sim.push_bp_report("ZQ7"));
            EXPECT_EQ(1u, s.sim.push_cash_notice("ACCT-FULL-WIDE16"));
            if (count.empty()) {
                EXPECT_TRUE(wait_until([] { return split_lines(read_file("out")).size() == 2; }));
                kill(pid, SIGTERM);
            }
        });
        ASSERT_EQ(0, o.code) << o.err;
        const std::vector<Row> rows = parse_json_rows(o.out);
        ASSERT_EQ(2u, rows.size()) << o.out;
        EXPECT_TRUE(rows[0].size() == 12 && rows[1].size() == 6)
            << "Event and the fields of ZUL_AccountBP, of ZUL_AccountCashInout:\n"
            << o.out;
        const zulsim::DataSet d = s.sim.data();
        check(rows[0], "Event:bp-report Account=m_account_id AvailableBp=m_available_bp",
              *zulsim::response_info(1093, false), d.find(1093, "ZQ7")->front());
        check(rows[1], "Event:cash Account=m_account_id CashInOut=m_cash_in_out",
              *zulsim::response_info(1099, false), d.find(1099, "ACCT-FULL-WIDE16")->front());
    }
    // The logs went to the folder given, none to the working folder.
    EXPECT_FALSE(std::filesystem::is_empty("logs"));
    for (const auto& e : std::filesystem::directory_iterator("."))
        EXPECT_NE(0u, e.path().filename().string().find("mavlog_")) << e.path();
}

// Pushed events of both kinds under one header in a table and in CSV: Event, then the union of
// the fields of ZUL_AccountBP and ZUL_AccountCashInout, a cell empty where the event lacks the
// field, so that every line stands under the right names.
TEST(Zulq, WatchTableAndCsvHaveOneHeaderForBothKinds) {
    Server s;
    const std::string header =
        "Event,Account,InitialBp,AvailableBp,Margin,FrozenMargin,CommissionFee,FrozenCommission,"
        "OvnInitMargin,TotalLiquidPL,TotalMarketPL,AccountIdx,CashInOut,CashInTotal,CashOutTotal";
    for (const std::string format : {"--csv", ""}) {
        const size_t before = s.sim.stats().messages;
        const Outcome o = s.run("watch --count 3 " + format, kPassword, [&](int) {
            ASSERT_TRUE(wait_until([&] { return s.sim.stats().messages > before; }, 30s));
            EXPECT_EQ(1u, s.sim.push_cash_notice("ZQ7"));
            EXPECT_EQ(1u, s.sim.push_bp_report("ZQ7"));
            EXPECT_EQ(1u, s.sim.push_cash_notice("ACCT-FULL-WIDE16"));
        });
        ASSERT_EQ(0, o.code) << o.err;
        const std::vector<std::string> lines = split_lines(o.out);
        if (format.empty()) {  // a table: header, rule, three rows
            ASSERT_EQ(5u, lines.size()) << o.out;
            EXPECT_EQ(0u, lines[0].find("Event  ")) << o.out;
            EXPECT_EQ(0u, lines[3].find("bp-report")) << o.out;
            continue;
        }
        ASSERT_EQ(4u, lines.size()) << o.out;
        EXPECT_EQ(header, lines[0]);
        const auto cells = [](const std::string& l) {
            std::vector<std::string> out(1);
            for (char c : l) {
                if (c == ',')
                    out.emplace_back();
                else
                    out.back().push_back(c);
            }
            return out;
        };
        const auto bp = cells(lines[2]), cash = cells(lines[1]);
        ASSERT_TRUE(bp.size() == 15 && cash.size() == 15) << o.out;
        EXPECT_EQ("cash", cash[0]);
        EXPECT_EQ("ZQ7", cash[1]);
        EXPECT_EQ("", cash[2]) << "InitialBp: a cash notice has none";
        EXPECT_NE("", cash[3]) << "AvailableBp: both kinds have it";
        EXPECT_NE("", cash[12]) << "CashInOut";
        EXPECT_EQ("bp-report", bp[0]);
        EXPECT_NE("", bp[2]);
        EXPECT_EQ("", bp[12]) << "CashInOut: a BP report has none";
        EXPECT_EQ("ACCT-FULL-WIDE16", cells(lines[3])[1]);
    }
}

// A slow answer of 20,000 orders: its first rows are on stdout while the server is still far
// from the last. A signal then ends the run with 128 + N; what was printed stays, whole lines
// under one header.
TEST(Zulq, PrintsRowsOfASlowAnswerAsTheyComeAndKeepsThemWhenStopped) {
    Server s([](zulsim::Options& o) {
        o.bulk_records = 20000;
        o.pause = 1ms;
    });
    const struct {
        const char* format;
        int signal;
    } runs[] = {{"--csv", SIGINT}, {"--json", SIGTERM}, {"", SIGINT}, {"--vertical", SIGTERM}};
    for (const auto& r : runs) {
        size_t written = 0;
        const Outcome o = s.run(std::string("orders ZQ7 ") + r.format, kPassword, [&](int pid) {
            ASSERT_TRUE(wait_until([] { return split_lines(read_file("out")).size() > 12; }, 60s));
            written = s.sim.stats().messages;
            kill(pid, r.signal);
        });
        SCOPED_TRACE(r.format);
        EXPECT_LT(written, 10000u) << "the first rows came only near the end of the answer";
        EXPECT_EQ(128 + r.signal, o.code) << o.err;
        EXPECT_EQ("", o.err);
        ASSERT_FALSE(o.out.empty());
        EXPECT_EQ('\n', o.out.back()) << "a line cut short";
        const std::vector<std::string> lines = split_lines(o.out);
        if (*r.format == '\0') {
            EXPECT_EQ(0u, lines[0].find("     Userid  Timestamp")) << lines[0];
            EXPECT_EQ(std::string::npos, lines[1].find_first_not_of("- ")) << "the rule";
            for (size_t i = 2; i < lines.size(); ++i)
                EXPECT_EQ(lines[0].size(), lines[i].size()) << "column widths follow the types";
        } else if (*r.format == '-' && r.format[2] == 'c') {
            EXPECT_EQ(0u, lines[0].find("Userid,Timestamp,"));
            for (size_t i = 1; i < lines.size(); ++i)
                EXPECT_EQ(20, std::count(lines[i].begin(), lines[i].end(), ',')) << lines[i];
        } else if (r.format[2] == 'v') {
            // Records apart by a blank line, each whole: one line per column.
            size_t fields = 0;
            for (const std::string& l : lines) {
                if (l.empty()) {
                    EXPECT_EQ(21u, fields);
                    fields = 0;
                } else if (fields++ == 0) {
                    EXPECT_EQ(0u, l.find("Userid ")) << l;
                }
            }
            EXPECT_EQ(21u, fields) << "the last record cut short";
        } else {
            for (const Row& row : parse_json_rows(o.out))
                EXPECT_EQ(21u, row.size());
        }
    }
}

// A whole long answer: every record once, under one header.
TEST(Zulq, LongAnswerWholeUnderOneHeader) {
    Server s([](zulsim::Options& o) { o.bulk_records = 20000; });
    const Outcome o = s.run("--csv --quiet orders ZQ7");
    ASSERT_EQ(0, o.code) << o.err;
    const std::vector<std::string> lines = split_lines(o.out);
    ASSERT_EQ(20001u, lines.size());
    EXPECT_EQ(1, std::count_if(lines.begin(), lines.end(), [](const std::string& l) {
                  return l.compare(0, 7, "Userid,") == 0;
              }));
}

// --timeout is the longest silence: a slow answer longer than it passes; a server that stops in
// the middle fails with 5, the rows before the silence printed. A drop in the middle fails
// with 2, the rows before it printed too.
TEST(Zulq, TimeoutIsTheLongestSilenceAndCutRunsKeepTheirRows) {
    {
        Server s([](zulsim::Options& o) {
            o.bulk_records = 12;
            o.pause = 250ms;
        });
        const Outcome o = s.run("--csv --timeout 2 orders ZQ7");
        EXPECT_EQ(0, o.code) << o.err;
        EXPECT_EQ(13u, split_lines(o.out).size()) << o.out;
    }
    {
        Server s([](zulsim::Options& o) { o.unanswered = {74}; });
        const zulsim::DataSet d = s.sim.data();
        std::vector<zulsim::Bytes> data;  // the data records of a stream of orders
        for (const zulsim::Bytes& r : *d.find(1074, "ZQ7"))
            if (r[8] == 0)
                data.push_back(r);
        ASSERT_EQ(2u, data.size());
        const Outcome o = s.run("--csv --timeout 3 orders ZQ7", kPassword, [&](int) {
            ASSERT_TRUE(s.sim.wait_for_requests(2, 30s));
            for (const zulsim::Bytes& r : data)
                EXPECT_EQ(1u, s.sim.send_raw(r));
        });
        EXPECT_EQ(5, o.code) << o.err;
        EXPECT_EQ(3u, split_lines(o.out).size()) << o.out;
        EXPECT_NE(std::string::npos,
                  o.err.find("no answer to orders: the server was silent for 3 s (--timeout); 2 "
                             "records printed"))
            << o.err;
    }
    {
        // The logon answer, then 20 of the 50 records.
        Server s([](zulsim::Options& o) {
            o.bulk_records = 50;
            o.drop_after_messages = 21;
        });
        const Outcome o = s.run("--json orders ZQ7");
        EXPECT_EQ(2, o.code) << o.err;
        const size_t rows = parse_json_rows(o.out).size();
        EXPECT_TRUE(rows > 0 && rows <= 20) << o.out;
        EXPECT_NE(std::string::npos,
                  o.err.find("connection lost while waiting for the answer to orders; " +
                             std::to_string(rows) + " records printed"))
            << o.err;
    }
}

// zulq with its stderr on a terminal (this end reads it), stdout into the file "out".
Outcome run_on_terminal(Server& s, const std::string& args) {
    const std::string command = "unset ZULQ_PASSWORD; exec env ZULQ_PASSWORD=pw123456 " +
                                std::string(ZUL_BINARY_DIR) + "/cli/zulq --port " +
                                std::to_string(s.sim.port()) + " --user trader01 --log-dir logs " +
                                args;
    int terminal = -1;
    const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (pid == 0) {
        const int out = open("out", O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(out, STDOUT_FILENO);
        execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    Outcome o;
    if (pid < 0)
        return o;
    const auto deadline = std::chrono::steady_clock::now() + 120s;
    for (char buf[4096]; std::chrono::steady_clock::now() < deadline;) {
        pollfd p = {terminal, POLLIN, 0};
        if (poll(&p, 1, 100) <= 0)
            continue;
        const ssize_t n = read(terminal, buf, sizeof(buf));
        if (n <= 0)  // EIO once the child has closed its end
            break;
        o.err.append(buf, static_cast<size_t>(n));
    }
    close(terminal);
    int status = 0;
    waitpid(pid, &status, 0);
    o.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    o.out = read_file("out");
    return o;
}

// An answer that takes over a second shows "N records, R/s" on a terminal's stderr, erased at
// the end; nothing of it reaches stdout; --quiet turns it off.
TEST(Zulq, ProgressLineOnATerminalOnly) {
    Server s([](zulsim::Options& o) {
        o.bulk_records = 150;
        o.pause = 15ms;
    });
    const Outcome shown = run_on_terminal(s, "--csv orders ZQ7");
    EXPECT_EQ(0, shown.code) << shown.err;
    EXPECT_EQ(151u, split_lines(shown.out).size());
    EXPECT_EQ(std::string::npos, shown.out.find(" records, "));
    const size_t line = shown.err.find(" records, ");
    EXPECT_NE(std::string::npos, line) << shown.err;
    EXPECT_NE(std::string::npos, shown.err.find("/s", line)) << shown.err;
    EXPECT_EQ(shown.err.size() - 4, shown.err.rfind("\r\033[K")) << "erased at the end";
    const Outcome quiet = run_on_terminal(s, "--csv --quiet orders ZQ7");
    EXPECT_EQ(0, quiet.code) << quiet.err;
    EXPECT_EQ(151u, split_lines(quiet.out).size());
    EXPECT_EQ("", quiet.err);
}

}  // namespace
