// zulq run as a child process against an in-process simulator: every command in every
// output format, read back and compared with the records the simulator served, and
// every way of failing with its exit status.

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "support/e2e_client.h"

using namespace zul_test;

extern char** environ;

namespace {

const std::string kZulq = std::string(ZUL_BINARY_DIR) + "/cli/zulq";

struct Outcome {
    int code = -1;      // exit status, -1 if killed by a signal
    int signal = 0;     // the signal that ended it
    bool hung = false;  // killed for running past its limit
    std::string out;
    std::string err;
};

// The child's environment: ours, with TZ=UTC so that times can be checked, no password
// from the environment unless a test gives one, and the test's own additions.
std::vector<std::string> child_env(const std::vector<std::string>& extra) {
    std::vector<std::string> env;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string kv = *e;
        if (kv.compare(0, 3, "TZ=") != 0 && kv.compare(0, 14, "ZULQ_PASSWORD=") != 0)
            env.push_back(kv);
    }
    env.push_back("TZ=UTC");
    env.insert(env.end(), extra.begin(), extra.end());
    return env;
}

std::vector<char*> c_strings(std::vector<std::string>& v) {
    std::vector<char*> out;
    for (std::string& s : v)
        out.push_back(&s[0]);
    out.push_back(nullptr);
    return out;
}

// zulq started with its output on two pipes.
class Child {
public:
    explicit Child(std::vector<std::string> args, std::vector<std::string> env = {}) {
        args.insert(args.begin(), kZulq);
        m_args = args;
        m_env = child_env(env);
        // Everything the child needs is made before fork: it only redirects and execs.
        std::vector<char*> argv = c_strings(m_args);
        std::vector<char*> envp = c_strings(m_env);
        int out[2], err[2];
        if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe failed");
        m_pid = fork();
        if (m_pid == 0) {
            dup2(out[1], 1);
            dup2(err[1], 2);
            execve(argv[0], argv.data(), envp.data());
            _exit(127);
        }
        close(out[1]);
        close(err[1]);
        m_out = out[0];
        m_err = err[0];
    }
    ~Child() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            finish();
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return m_pid; }

    // Reads both outputs to their end and reaps the child, killing it past the limit.
    Outcome finish(std::chrono::milliseconds limit = std::chrono::seconds(60)) {
        Outcome o;
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (m_out >= 0 || m_err >= 0) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 && !o.hung) {
                o.hung = true;
                kill(m_pid, SIGKILL);
            }
            pollfd fds[2] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
            poll(fds, 2, static_cast<int>(std::max<long long>(left.count(), 10)));
            drain(fds[0], &m_out, &o.out);
            drain(fds[1], &m_err, &o.err);
        }
        int status = 0;
        while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
        }
        m_pid = -1;
        if (WIFEXITED(status))
            o.code = WEXITSTATUS(status);
        if (WIFSIGNALED(status))
            o.signal = WTERMSIG(status);
        return o;
    }

private:
    static void drain(const pollfd& p, int* fd, std::string* into) {
        if (*fd < 0 || (p.revents & (POLLIN | POLLHUP | POLLERR)) == 0)
            return;
        char buf[65536];
        const ssize_t n = read(*fd, buf, sizeof(buf));
        if (n > 0) {
            into->append(buf, static_cast<size_t>(n));
        } else {
            close(*fd);
            *fd = -1;
        }
    }

    std::vector<std::string> m_args;
    std::vector<std::string> m_env;
    pid_t m_pid = -1;
    int m_out = -1;
    int m_err = -1;
};

Outcome run_zulq(const std::vector<std::string>& args, const std::vector<std::string>& env = {}) {
    Child c(args, env);
    return c.finish();
}

std::string describe(const Outcome& o) {
    return "exit " + std::to_string(o.code) + " signal " + std::to_string(o.signal) +
           "\n--- stdout\n" + o.out + "--- stderr\n" + o.err;
}

bool contains(const std::string& hay, const std::string& needle) {
    return hay.find(needle) != std::string::npos;
}

// ---- Reading the output back ----

using Fields = std::map<std::string, std::string>;

struct Parsed {
    std::vector<std::string> header;  // table and CSV
    std::vector<Fields> rows;
    std::vector<std::set<std::string>> quoted;  // JSON: keys whose value was a string
};

std::vector<std::string> split_lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t at = 0;
    while (at < text.size()) {
        const size_t nl = text.find('\n', at);
        const size_t end = nl == std::string::npos ? text.size() : nl;
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::vector<std::vector<std::string>> csv_records(const std::string& text) {
    std::vector<std::vector<std::string>> records;
    std::vector<std::string> rec;
    std::string cell;
    bool quoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
                cell += '"';
                ++i;
            } else if (c == '"') {
                quoted = false;
            } else {
                cell += c;
            }
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            rec.push_back(cell);
            cell.clear();
        } else if (c == '\n') {
            rec.push_back(cell);
            cell.clear();
            records.push_back(rec);
            rec.clear();
        } else {
            cell += c;
        }
    }
    return records;
}

Parsed parse_csv(const std::string& text) {
    Parsed p;
    std::vector<std::vector<std::string>> recs = csv_records(text);
    if (recs.empty())
        return p;
    p.header = recs[0];
    for (size_t r = 1; r < recs.size(); ++r) {
        Fields f;
        for (size_t i = 0; i < recs[r].size() && i < p.header.size(); ++i)
            f[p.header[i]] = recs[r][i];
        EXPECT_EQ(p.header.size(), recs[r].size()) << "CSV line " << r;
        p.rows.push_back(f);
    }
    return p;
}

// Columns are where the rule under the header has its dashes.
Parsed parse_table(const std::string& text) {
    Parsed p;
    const std::vector<std::string> lines = split_lines(text);
    if (lines.size() < 2)
        return p;
    std::vector<std::pair<size_t, size_t>> spans;
    const std::string& rule = lines[1];
    for (size_t at = 0; at < rule.size();) {
        const size_t end = std::min(rule.find(' ', at), rule.size());
        spans.emplace_back(at, end);
        at = rule.find_first_not_of(' ', end);
        if (at == std::string::npos)
            break;
    }
    auto cut = [&](const std::string& line, size_t i) {
        const size_t from = spans[i].first;
        const size_t to = i + 1 == spans.size() ? line.size() : spans[i].second;
        std::string cell = from < line.size() ? line.substr(from, to - from) : "";
        const size_t a = cell.find_first_not_of(' ');
        const size_t b = cell.find_last_not_of(' ');
        return a == std::string::npos ? std::string() : cell.substr(a, b - a + 1);
    };
    for (size_t i = 0; i < spans.size(); ++i)
        p.header.push_back(cut(lines[0], i));
    for (size_t l = 2; l < lines.size(); ++l) {
        Fields f;
        for (size_t i = 0; i < spans.size(); ++i)
            f[p.header[i]] = cut(lines[l], i);
        p.rows.push_back(f);
    }
    return p;
}

// Records apart by a blank line; "Name  value", the names padded to one width.
Parsed parse_vertical(const std::string& text) {
    Parsed p;
    Fields f;
    for (const std::string& line : split_lines(text)) {
        if (line.empty()) {
            p.rows.push_back(f);
            f.clear();
            continue;
        }
        const size_t gap = line.find("  ");
        const std::string name = line.substr(0, gap);
        const size_t v = gap == std::string::npos ? line.size() : line.find_first_not_of(' ', gap);
        f[name] = v == std::string::npos ? "" : line.substr(v);
    }
    if (!f.empty())
        p.rows.push_back(f);
    return p;
}

// A flat JSON object per line: string values (with the escapes the tool writes) or bare
// numbers.
Parsed parse_json(const std::string& text) {
    Parsed p;
    for (const std::string& line : split_lines(text)) {
        Fields f;
        std::set<std::string> quoted;
        size_t i = 1;
        auto read_string = [&]() {
            std::string s;
            ++i;  // opening quote
            while (i < line.size() && line[i] != '"') {
                if (line[i] == '\\') {
                    ++i;
                    if (line[i] == 'u') {
                        s += static_cast<char>(std::stoi(line.substr(i + 1, 4), nullptr, 16));
                        i += 4;
                    } else {
                        s += line[i];
                    }
                } else {
                    s += line[i];
                }
                ++i;
            }
            ++i;  // closing quote
            return s;
        };
        EXPECT_TRUE(!line.empty() && line.front() == '{' && line.back() == '}') << line;
        while (i < line.size() && line[i] == '"') {
            const std::string key = read_string();
            EXPECT_EQ(':', line[i]) << line;
            ++i;
            if (line[i] == '"') {
                quoted.insert(key);
                f[key] = read_string();
            } else {
                const size_t end = line.find_first_of(",}", i);
                f[key] = line.substr(i, end - i);
                i = end;
            }
            if (line[i] == ',')
                ++i;
        }
        p.rows.push_back(f);
        p.quoted.push_back(quoted);
    }
    return p;
}

Parsed parse(const std::string& format, const std::string& out) {
    if (format == "--csv")
        return parse_csv(out);
    if (format == "--json")
        return parse_json(out);
    if (format == "--vertical")
        return parse_vertical(out);
    return parse_table(out);
}

const std::vector<std::string> kFormats = {"", "--csv", "--json", "--vertical"};

// ---- What the library delivers, from the wire records ----

template <class W>
W wire(const zulsim::Bytes& b) {
    W w;
    EXPECT_EQ(sizeof(W), b.size());
    memcpy(static_cast<void*>(&w), b.data(), std::min(sizeof(W), b.size()));
    return w;
}

// A wire text up to its first zero byte, at most max characters.
std::string text(const char* p, size_t max) {
    return std::string(p, strnlen(p, max));
}

std::string utc(unsigned long long ns_form) {
    if (ns_form == 0)
        return "";
    const time_t s = static_cast<time_t>(ns_form >> 32);
    tm t;
    gmtime_r(&s, &t);
    char out[64];
    snprintf(out, sizeof(out), "%04d-%02d-%02d %02d:%02d:%02d.%09u", t.tm_year + 1900, t.tm_mon + 1,
             t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec,
             static_cast<unsigned>(ns_form & 0xffffffffu));
    return out;
}

struct Expect {
    enum Kind { text, integer, real } kind;
    std::string column;
    std::string value;  // text and integer
    double number = 0;  // real
};

Expect txt(const std::string& column, const std::string& v) {
    return {Expect::text, column, v};
}
Expect num(const std::string& column, long long v) {
    return {Expect::integer, column, std::to_string(v)};
}
Expect unum(const std::string& column, unsigned long long v) {
    return {Expect::integer, column, std::to_string(v)};
}
Expect dbl(const std::string& column, double v) {
    return {Expect::real, column, "", v};
}
Expect tim(const std::string& column, unsigned long long v) {
    return txt(column, utc(v));
}

void compare(const Fields& row, const Expect& e, const std::set<std::string>* quoted,
             const std::string& where) {
    auto it = row.find(e.column);
    if (it == row.end()) {
        ADD_FAILURE() << where << ": no column " << e.column;
        return;
    }
    if (e.kind == Expect::real) {
        EXPECT_EQ(e.number, strtod(it->second.c_str(), nullptr))
            << where << ": " << e.column << " = " << it->second;
    } else {
        EXPECT_EQ(e.value, it->second) << where << ": " << e.column;
    }
    if (quoted != nullptr) {
        EXPECT_EQ(e.kind == Expect::text, quoted->count(e.column) == 1)
            << where << ": JSON quoting of " << e.column;
    }
}

// Every list record has its last-record flag right behind the 8-byte header.
constexpr size_t kFlagAt = 8;
static_assert(offsetof(query_user_account_resp, m_last_record_flag) == kFlagAt, "");
static_assert(offsetof(query_account_opt_position_resp, last_record_flag) == kFlagAt, "");
static_assert(offsetof(rewind_account_quote_response, m_last_record_flag) == kFlagAt, "");

// Orders, executions and quotes close on a flag of exactly 1; other lists on any
// non-zero flag.
bool closes_on_one_only(uint16_t id) {
    return id == 1074 || id == 1075 || id == 1063 || id == 1095 || id == 1098;
}

// What the server sent as data: a list without its closing record, or the one record of
// a single answer.
std::vector<zulsim::Bytes> data_records(const zulsim::DataSet& d, uint16_t id,
                                        const std::string& account, bool single) {
    std::vector<zulsim::Bytes> out;
    const std::vector<zulsim::Bytes>* all = d.find(id, account);
    EXPECT_NE(nullptr, all) << id << " " << account;
    for (size_t i = 0; all != nullptr && i < all->size(); ++i) {
        const unsigned char flag = single ? 0 : (*all)[i][kFlagAt];
        if (closes_on_one_only(id) ? flag != 1 : flag == 0)
            out.push_back((*all)[i]);
    }
    return out;
}

using Expectation = std::vector<Expect> (*)(const zulsim::Bytes&);

std::vector<Expect> account_fields(const zulsim::Bytes& b) {
    auto w = wire<query_user_account_resp>(b);
    return {txt("Account", text(w.m_account_id, 16)), num("Previlege", w.m_previlege),
            dbl("AvailableBp", w.m_available_bp), num("AccountIdx", w.m_account_idx)};
}
std::vector<Expect> position_fields(const zulsim::Bytes& b) {
    auto w = wire<query_account_fut_position_resp>(b);
    return {txt("ActId", text(w.m_account_id, 16)), txt("Symbol", text(w.m_symbol, 19)),
            num("PosiDirection", w.m_posi_direction), dbl("OvnMargin", w.m_ovn_occupied_margin)};
}
std::vector<Expect> option_position_fields(const zulsim::Bytes& b) {
    auto w = wire<query_account_opt_position_resp>(b);
    return {txt("ActId", text(w.account_id, 16)),
            txt("Symbol", text(w.full_symbol, 19)),
            txt("CallPut", text(&w.call_put, 1)),
            unum("ExpireDate", atoi(text(w.expire_date, 9).c_str())),
            num("CurOvnQty", w.cur_ovn_qty),
            dbl("AvgPrice", w.avg_price)};
}
std::vector<Expect> combo_position_fields(const zulsim::Bytes& b) {
    auto w = wire<query_combo_position_resp>(b);
    return {txt("ComboSymbol", text(w.m_combo_symbol, 79)), num("Qty", w.m_qty),
            dbl("ReturnMargin", w.m_return_margin)};
}
std::vector<Expect> margin_fields(const zulsim::Bytes& b) {
    auto w = wire<query_account_margin_resp>(b);
    return {txt("Symbol", text(w.m_symbol, 20)), txt("ProdID", text(w.m_prod_id, 31)),
            dbl("LongMarginRatio", w.m_long_margin_ratio)};
}
std::vector<Expect> fee_fields(const zulsim::Bytes& b) {
    auto w = wire<query_account_fee_resp>(b);
    return {txt("Symbol", text(w.m_symbol, 19)), num("PositionDir", w.m_pos_dir == 1 ? 1 : 5),
            dbl("CloseTodayRatioByVolume", w.m_close_today_ratio_by_volume)};
}
std::vector<Expect> order_fields(const zulsim::Bytes& b) {
    auto w = wire<rewind_accoutn_order_response>(b);
    return {txt("Symbol", text(w.m_symbol, 20)),
            txt("Account", text(w.m_account_id, 16)),
            tim("Timestamp", w.m_timestamp),
            tim("CloseTime", w.m_close_time),
            txt("MarketOrderId", text(w.m_market_order_id, 24)),
            dbl("Price", w.m_price),
            num("MinQty", w.m_minimum_quantity),
            num("Userid", w.m_user_id)};
}
std::vector<Expect> arbi_order_fields(const zulsim::Bytes& b) {
    auto w = wire<rewind_account_arbi_order_response>(b);
    return {txt("Symbol", text(w.m_symbol, 20)), tim("CloseTime", w.m_close_time),
            num("OrderType", w.m_order_type)};
}
std::vector<Expect> execution_fields(const zulsim::Bytes& b) {
    auto w = wire<rewind_order_execution_response>(b);
    return {tim("Timestamp", w.m_timestamp), txt("MarketExecID", text(w.m_market_exec_id, 24)),
            dbl("ExecutionPrice", w.m_execution_price), num("ExecutionID", 0)};
}
// Short executions shown in the extended form: symbol and side empty.
std::vector<Expect> execution_as_extended_fields(const zulsim::Bytes& b) {
    std::vector<Expect> e = execution_fields(b);
    e.push_back(txt("Symbol", ""));
    e.push_back(num("SideType", 0));
    return e;
}
std::vector<Expect> execution_ex_fields(const zulsim::Bytes& b) {
    auto w = wire<rewind_order_execution_response_ex>(b);
    return {tim("Timestamp", w.m_timestamp), txt("Symbol", text(w.m_symbol, 19)),
            num("SideType", w.m_side_type)};
}
std::vector<Expect> hv27_execution_fields(const zulsim::Bytes& b) {
    auto w = wire<hv27_rewind_order_execution_response>(b);
    return {txt("Symbol", text(w.m_symbol, 19)), num("SideType", w.m_side_type),
            txt("MarketExecID", text(w.m_market_exec_id, 24))};
}
std::vector<Expect> quote_fields(const zulsim::Bytes& b) {
    auto w = wire<rewind_account_quote_response>(b);
    return {txt("Symbol", text(w.m_symbol, 20)), txt("MarketQuoteId", text(w.m_mkt_quote_id, 24)),
            txt("ReqForQuoteID", text(w.m_req_for_quote_id, 24)), num("BidQty", w.m_bid_volume),
            dbl("AskPrice", w.m_ask_price)};
}
std::vector<Expect> symbol_fields(const zulsim::Bytes& b) {
    auto w = wire<query_symbol_resp>(b);
    const bool option = w.m_instrument_type == SEC_TYPE_OPTION;
    return {num("SecType", w.m_instrument_type),
            txt("Symbol", text(w.m_symbol, 20)),
            txt("ProdID", text(w.m_product_id, 31)),
            txt("SymbolName", option ? "" : text(w.m_instrument_name, 21)),
            txt("UnderlyingSymbol", option ? text(w.m_underlying_fut_symbol, 20) : ""),
            dbl("StrikePrice", option ? w.m_strike_price : 0.0)};
}
std::vector<Expect> combo_rule_fields(const zulsim::Bytes& b) {
    auto w = wire<query_combo_rule_resp>(b);
    return {txt("Trading_date", text(w.m_trading_date, 9)),
            txt("ComboSymbol", text(w.m_combo_symbol, 80)),
            txt("FirstSymbol", text(w.m_combo_leg1, 20)), dbl("SecondRegion", w.m_region_leg2)};
}
std::vector<Expect> bp_fields(const zulsim::Bytes& b) {
    auto w = wire<query_account_bp_resp>(b);
    return {txt("Account", text(w.m_account_id, 16)), dbl("TotalMarketPL", w.m_total_market_pl),
            num("AccountIdx", w.m_account_idx)};
}
std::vector<Expect> bp_detail_fields(const zulsim::Bytes& b) {
    auto w = wire<query_account_bp_detail_resp>(b);
    return {txt("Account", text(w.m_account_id, 16)), dbl("RiskRate", w.m_risk_rate),
            num("AmountCount", static_cast<long long>(w.m_amount_count)),
            num("PushMode", static_cast<unsigned char>(w.m_reserved1))};
}
std::vector<Expect> cash_fields(const zulsim::Bytes& b) {
    auto w = wire<account_cash_inout_notify>(b);
    return {txt("Account", text(w.m_account_id, 16)), dbl("CashInOut", w.m_cash_in_out)};
}
std::vector<Expect> risk_fields(const zulsim::Bytes& b) {
    auto w = wire<account_risk_real_data_resp>(b);
    const account_risk_real_data r = w.m_account_risk_real_data;
    return {txt("account_id", text(w.m_account_id, 16)),
            tim("last_update_time", w.m_last_update_time),
            dbl("total_bp", r.m_bp),
            num("34_limit_val_1", r.m_34_limit_val_1),
            dbl("39_limit_val", w.m_account_mpl_data.m_39_limit_val),
            num("27_accumulate_val", w.m_27_accumulate_val)};
}
std::vector<Expect> symbol_risk_fields(const zulsim::Bytes& b) {
    auto w = wire<account_symbol_real_data_resp>(b);
    return {txt("symbol", text(w.m_symbol, 20)),
            dbl("7_limit_val", w.m_account_symbol_risk_data.m_7_limit_val),
            num("onp_long_pos_qty", w.m_account_symbol_risk_data.m_onp_long_pos_qty),
            dbl("46_accumulate_val", w.m_46_accumulate_val)};
}

struct Case {
    const char* name;
    std::vector<std::string> command;
    uint16_t response;
    const char* account;  // key of the answer in the data set
    bool single;
    size_t columns;  // fields of the public record
    Expectation expect;
    bool hv27;
    bool exec_with_symbol;
};

// Names the case in gtest's messages instead of dumping its bytes.
void PrintTo(const Case& c, std::ostream* os) {
    *os << c.name;
}

const bool L = false, S = true;  // list, single answer

// clang-format off
const std::vector<Case> kCases = {
    {"Accounts", {"accounts"}, 1071, "", L, 9, account_fields, false, false},
    {"Positions", {"positions", "ZQ7"}, 1073, "ZQ7", L, 12, position_fields, false, false},
    {"NoPositions", {"positions", "EMPTY-01"}, 1073, "EMPTY-01", L, 12,
     position_fields, false, false},
    {"OptionPositions", {"option-positions", "ACCT-FULL-WIDE16"}, 1092, "ACCT-FULL-WIDE16", L, 19,
     option_position_fields, false, false},
    {"PositionsOfSecTypeOption", {"positions", "ZQ7", "--sec-type", "option"}, 1092, "ZQ7", L, 19,
     option_position_fields, false, false},
    {"ComboPositions", {"combo-positions", "ZQ7"}, 1079, "ZQ7", L, 12,
     combo_position_fields, false, false},
    {"Margin", {"margin", "ACCT-FULL-WIDE16"}, 1077, "ACCT-FULL-WIDE16", L, 6,
     margin_fields, false, false},
    {"Fees", {"fees", "ZQ7"}, 1078, "ZQ7", L, 11, fee_fields, false, false},
    {"Orders", {"orders", "ACCT-FULL-WIDE16"}, 1074, "ACCT-FULL-WIDE16", L, 21,
     order_fields, false, false},
    {"ArbiOrders", {"arbi-orders", "ZQ7"}, 1098, "ZQ7", L, 19, arbi_order_fields, false, false},
    {"Executions", {"executions", "ZQ7"}, 1075, "ZQ7", L, 10, execution_fields, false, false},
    {"ExecutionsExtendedOnRequest", {"executions", "ZQ7", "--extended"}, 1075, "ZQ7", L, 12,
     execution_as_extended_fields, false, false},
    {"ExecutionsOfTheExtendedMessage", {"executions", "ACCT-FULL-WIDE16"}, 1063,
     "ACCT-FULL-WIDE16", L, 12, execution_ex_fields, false, true},
    {"ExecutionsFromAnHv27Server", {"executions", "ZQ7"}, 1075, "ZQ7", L, 12, hv27_execution_fields,
     true, false},
    {"Quotes", {"quotes", "ACCT-FULL-WIDE16"}, 1095, "ACCT-FULL-WIDE16", L, 25,
     quote_fields, false, false},
    {"Symbols", {"symbols"}, 1072, "", L, 24, symbol_fields, false, false},
    {"ComboRules", {"combo-rules"}, 1076, "", L, 14, combo_rule_fields, false, false},
    {"Bp", {"bp", "ZQ7"}, 1081, "ZQ7", S, 11, bp_fields, false, false},
    {"BpDetail", {"bp-detail", "ACCT-FULL-WIDE16"}, 1088, "ACCT-FULL-WIDE16", S, 21,
     bp_detail_fields, false, false},
    {"Cash", {"cash", "ZQ7"}, 1099, "ZQ7", S, 5, cash_fields, false, false},
    {"Risk", {"risk", "ZQ7"}, 1082, "ZQ7", S, 119, risk_fields, false, false},
    {"SymbolRisk", {"symbol-risk", "ZQ7", "IF2412"}, 1083, "ZQ7", S, 52,
     symbol_risk_fields, false, false},
};
// clang-format on

// A simulator and the options that connect zulq to it, logs in a scratch folder.
class ZulqServer {
public:
    explicit ZulqServer(zulsim::Options o = zulsim::Options()) : m_sim(o) {
        std::string error;
        if (!m_sim.start(&error))
            throw std::runtime_error("simulator did not start: " + error);
    }
    zulsim::Simulator& sim() { return m_sim; }
    const scratch_dir& dir() const { return m_dir; }
    std::vector<std::string> args(const std::vector<std::string>& tail,
                                  const char* password = "pw123456") const {
        std::vector<std::string> a = {
            "--host",   "127.0.0.1", "--port", port(),      "--user",
            "trader01", "--timeout", "5",      "--log-dir", m_dir.path() + "/logs"};
        if (password != nullptr) {
            a.push_back("--password");
            a.push_back(password);
        }
        a.insert(a.end(), tail.begin(), tail.end());
        return a;
    }
    std::string port() const { return std::to_string(m_sim.port()); }
    std::vector<uint16_t> request_ids() {
        std::vector<uint16_t> ids;
        for (const zulsim::ReceivedRequest& r : m_sim.requests())
            ids.push_back(r.id);
        return ids;
    }

private:
    scratch_dir m_dir;
    zulsim::Simulator m_sim;
};

class ZulqCommand : public ::testing::TestWithParam<Case> {};

}  // namespace

// Every query, in every format: as many rows as the server sent data records, every
// field of the record as a column, and the key fields as the library delivers them.
TEST_P(ZulqCommand, PrintsWhatTheServerSentInEveryFormat) {
    const Case& c = GetParam();
    zulsim::Options o;
    o.hv27 = c.hv27;
    o.exec_with_symbol = c.exec_with_symbol;
    ZulqServer server(o);
    const std::vector<zulsim::Bytes> served =
        data_records(server.sim().data(), c.response, c.account, c.single);
    for (const std::string& format : kFormats) {
        std::vector<std::string> tail = c.command;
        if (!format.empty())
            tail.push_back(format);
        const Outcome o = run_zulq(server.args(tail));
        const std::string where = std::string(c.name) + " " + (format.empty() ? "table" : format);
        ASSERT_EQ(0, o.code) << where << "\n" << describe(o);
        const Parsed p = parse(format, o.out);
        if (format.empty() || format == "--csv") {
            EXPECT_EQ(c.columns, p.header.size()) << where << "\n" << o.out;
        }
        ASSERT_EQ(served.size(), p.rows.size()) << where << "\n" << o.out;
        for (size_t i = 0; i < served.size(); ++i) {
            EXPECT_EQ(c.columns, p.rows[i].size()) << where << " row " << i;
            for (const Expect& e : c.expect(served[i]))
                compare(p.rows[i], e, format == "--json" ? &p.quoted[i] : nullptr,
                        where + " row " + std::to_string(i));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryQuery, ZulqCommand, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& i) { return i.param.name; });

// The arguments of the commands reach the request as the user gave them.
TEST(Zulq, CommandArgumentsReachTheRequest) {
    ZulqServer server;
    struct Sent {
        std::vector<std::string> command;
        uint16_t id;
        std::map<std::string, long long> numbers;
        std::map<std::string, std::string> texts;
    };
    const std::vector<Sent> sent = {
        {{"orders", "ZQ7", "--sec-type", "4"}, 74, {{"m_sec_type", 4}}, {{"m_account_id", "ZQ7"}}},
        {{"fees", "ZQ7", "--sec-type=stock"}, 78, {{"m_sec_type", 1}}, {}},
        {{"quotes", "ZQ7"}, 95, {{"m_sec_type", 3}}, {}},
        {{"executions", "ZQ7", "--rewind", "257", "--sec-type", "option"},
         75,
         {{"m_rewind_flag", 1}, {"m_sec_type", 2}},
         {}},
        {{"combo-rules", "--combo-type", "7", "--hedge-flag", "9"},
         76,
         {{"m_combo_type", 7}, {"m_hedge_flag", 9}},
         {}},
        {{"symbol-risk", "ZQ7", "IF2412"}, 83, {}, {{"m_symbol", "IF2412"}}},
        {{"symbols", "--sec-type", "option"}, 72, {{"m_sec_type", 2}}, {}},
    };
    for (const Sent& s : sent) {
        server.sim().clear_requests();
        const Outcome o = run_zulq(server.args(s.command));
        EXPECT_EQ(0, o.code) << s.command[0] << "\n" << describe(o);
        const std::vector<zulsim::ReceivedRequest> reqs = server.sim().requests();
        ASSERT_EQ(2u, reqs.size()) << s.command[0];
        ASSERT_EQ(s.id, reqs[1].id) << s.command[0];
        for (const auto& n : s.numbers)
            EXPECT_EQ(n.second, reqs[1].number(n.first)) << s.command[0] << " " << n.first;
        for (const auto& t : s.texts)
            EXPECT_EQ(t.second, reqs[1].text(t.first)) << s.command[0] << " " << t.first;
    }
}

TEST(Zulq, UsageErrorsExitWithOneAndSayWhy) {
    const std::vector<std::string> conn = {"--port", "1", "--user", "u", "--password", "p"};
    auto with = [&](std::vector<std::string> tail) {
        std::vector<std::string> a = conn;
        a.insert(a.end(), tail.begin(), tail.end());
        return a;
    };
    const std::vector<std::pair<std::vector<std::string>, std::string>> bad = {
        {{}, "no command"},
        {with({}), "no command"},
        {with({"nosuch"}), "unknown command 'nosuch'"},
        {with({"accounts", "--frobnicate"}), "unknown option --frobnicate"},
        {with({"bp"}), "bp takes ACCOUNT"},
        {with({"accounts", "extra"}), "accounts takes no argument"},
        {with({"positions", "A", "B"}), "positions takes ACCOUNT"},
        {with({"accounts", "--sec-type", "3"}), "accounts takes no --sec-type"},
        {with({"--sec-type", "3", "positions", "A"}), "--sec-type belongs after a command"},
        {with({"positions", "A", "--sec-type", "bond"}), "bad value for --sec-type"},
        {with({"positions", "A", "--sec-type", "256"}), "bad value for --sec-type"},
        {with({"executions", "A", "--rewind"}), "--rewind needs a value"},
        {with({"watch", "--count", "0"}), "bad value for --count"},
        {with({"accounts", "--csv=yes"}), "--csv takes no value"},
        {with({"--timeout", "-1", "accounts"}), "bad value for --timeout"},
        {with({"--timeout", "abc", "accounts"}), "bad value for --timeout"},
        {{"--port", "0", "--user", "u", "--password", "p", "accounts"}, "bad value for --port"},
        {{"--port", "65536", "--user", "u", "--password", "p", "accounts"}, "bad value for --port"},
        {{"--user", "u", "--password", "p", "accounts"}, "--port is required"},
        {{"--port", "1", "--password", "p", "accounts"}, "--user is required"},
        {{"--port", "1", "--user", "u", "accounts"}, "--password is required"},
        {with({"change-password", "only-one"}), "change-password takes OLD NEW"},
    };
    for (const auto& b : bad) {
        const Outcome o = run_zulq(b.first);
        EXPECT_EQ(1, o.code) << b.second << "\n" << describe(o);
        EXPECT_TRUE(contains(o.err, b.second)) << b.second << "\n" << describe(o);
        EXPECT_EQ("", o.out) << b.second;
    }
}

// The tool and each of its commands explain themselves, with no server needed.
TEST(Zulq, HelpForTheToolAndEveryCommand) {
    const std::vector<std::string> commands = {"accounts",
                                               "bp",
                                               "bp-detail",
                                               "cash",
                                               "positions",
                                               "option-positions",
                                               "combo-positions",
                                               "margin",
                                               "fees",
                                               "orders",
                                               "arbi-orders",
                                               "executions",
                                               "quotes",
                                               "symbols",
                                               "combo-rules",
                                               "risk",
                                               "symbol-risk",
                                               "change-password",
                                               "watch"};
    const Outcome main = run_zulq({"--help"});
    ASSERT_EQ(0, main.code) << describe(main);
    EXPECT_TRUE(contains(main.out, "usage: zulq")) << main.out;
    for (const char* code : {"0 done", "1 usage", "2 cannot connect", "3 logon refused",
                             "4 query refused", "5 no answer", "6 not offered"})
        EXPECT_TRUE(contains(main.out, code)) << code;
    for (const std::string& c : commands) {
        EXPECT_TRUE(contains(main.out, "\n  " + c + " ")) << c;
        const Outcome o = run_zulq({c, "--help"});
        EXPECT_EQ(0, o.code) << c << "\n" << describe(o);
        EXPECT_EQ(0u, o.out.find("usage: zulq [options] " + c)) << c << "\n" << o.out;
    }
    EXPECT_TRUE(contains(run_zulq({"executions", "--help"}).out, "--rewind N"));
    EXPECT_TRUE(contains(run_zulq({"executions", "--help"}).out, "--extended"));
    EXPECT_TRUE(contains(run_zulq({"bp", "--help"}).out, "bp-detail"));
    EXPECT_TRUE(contains(run_zulq({"watch", "--help"}).out, "--count N"));
}

TEST(Zulq, NoServerGivesTheConnectionCode) {
    // A port that was just free: nothing listens on it.
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a;
    memset(&a, 0, sizeof(a));
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, bind(s, reinterpret_cast<sockaddr*>(&a), sizeof(a)));
    socklen_t len = sizeof(a);
    getsockname(s, reinterpret_cast<sockaddr*>(&a), &len);
    const std::string port = std::to_string(ntohs(a.sin_port));
    close(s);
    scratch_dir dir;
    const Outcome o = run_zulq(
        {"--port", port, "--user", "u", "--password", "p", "--log-dir", dir.path(), "accounts"});
    EXPECT_EQ(2, o.code) << describe(o);
    EXPECT_TRUE(contains(o.err, "cannot connect to 127.0.0.1:" + port)) << o.err;
}

TEST(Zulq, RefusedLogonGivesTheLogonCodeAndResult) {
    zulsim::Options opts;
    opts.logon_result = 5;
    ZulqServer server(opts);
    const Outcome o = run_zulq(server.args({"accounts"}));
    EXPECT_EQ(3, o.code) << describe(o);
    EXPECT_TRUE(contains(o.err, "logon refused by the server (result 5)")) << o.err;
    EXPECT_EQ(std::vector<uint16_t>{68}, server.request_ids());
}

// The password comes from ZULQ_PASSWORD when --password is absent; the server checks
// its digest (MD5 of "abc").
TEST(Zulq, PasswordFromTheEnvironment) {
    zulsim::Options opts;
    opts.hv27 = true;
    opts.password_digest = "900150983CD24FB0D6963F7D28E17F72";
    ZulqServer server(opts);
    // bp on an hv27 server ends right after the logon, with its own code.
    Outcome o = run_zulq(server.args({"bp", "ZQ7"}, nullptr), {"ZULQ_PASSWORD=abc"});
    EXPECT_EQ(6, o.code) << describe(o);
    o = run_zulq(server.args({"bp", "ZQ7"}, nullptr), {"ZULQ_PASSWORD=abd"});
    EXPECT_EQ(3, o.code) << describe(o);
}

// hv27 servers don't offer four queries: the library says so before anything is sent,
// and zulq says which query and what to ask instead.
TEST(Zulq, Hv27ServerDoesNotOfferFourQueries) {
    zulsim::Options opts;
    opts.hv27 = true;
    ZulqServer server(opts);
    const std::vector<std::vector<std::string>> unsupported = {
        {"bp", "ZQ7"}, {"combo-positions", "ZQ7"}, {"combo-rules"}, {"arbi-orders", "ZQ7"}};
    for (const auto& cmd : unsupported) {
        server.sim().clear_requests();
        const Outcome o = run_zulq(server.args(cmd));
        EXPECT_EQ(6, o.code) << cmd[0] << "\n" << describe(o);
        EXPECT_TRUE(contains(o.err, cmd[0] + ": servers of the hv27 generation do not offer"))
            << o.err;
        EXPECT_EQ(cmd[0] == "bp", contains(o.err, "bp-detail")) << o.err;
        EXPECT_EQ(std::vector<uint16_t>{68}, server.request_ids()) << cmd[0];
    }
    // The logs went to the folder given, none to the working folder.
    EXPECT_FALSE(std::filesystem::is_empty(server.dir().path() + "/logs"));
    for (const auto& e : std::filesystem::directory_iterator(server.dir().path()))
        EXPECT_NE(0u, e.path().filename().string().find("mavlog_")) << e.path();
}

TEST(Zulq, RefusedQueryGivesTheQueryCodeAndErrorId) {
    zulsim::Options opts;
    opts.refusals = {{71, 4242}, {73, 77}, {88, 9}};
    ZulqServer server(opts);
    const std::vector<std::pair<std::vector<std::string>, std::string>> refused = {
        {{"accounts"}, "the server refused accounts: error id 4242"},
        // Option positions are refused through the futures callback.
        {{"option-positions", "ZQ7"}, "the server refused option-positions: error id 77"},
        {{"bp-detail", "ZQ7", "--csv"}, "the server refused bp-detail: error id 9"},
    };
    for (const auto& r : refused) {
        const Outcome o = run_zulq(server.args(r.first));
        EXPECT_EQ(4, o.code) << r.second << "\n" << describe(o);
        EXPECT_TRUE(contains(o.err, r.second)) << o.err;
        EXPECT_EQ("", o.out) << r.second;
    }
    // A single answer about an account the server doesn't know is refused too.
    const Outcome o = run_zulq(server.args({"bp", "NO-SUCH"}));
    EXPECT_EQ(4, o.code) << describe(o);
    EXPECT_TRUE(contains(o.err, "error id " + std::to_string(opts.unknown_account_error)));
}

TEST(Zulq, PasswordChange) {
    zulsim::Options opts;
    opts.change_password_result = 0;
    ZulqServer server(opts);
    Outcome o = run_zulq(server.args({"change-password", "pw123456", "newpass99", "--csv"}));
    EXPECT_EQ(0, o.code) << describe(o);
    EXPECT_EQ("Result\n0\n", o.out);
    EXPECT_EQ((std::vector<uint16_t>{68, 69}), server.request_ids());

    server.sim().configure([](zulsim::Options& x) { x.change_password_result = 7; });
    o = run_zulq(server.args({"change-password", "pw123456", "newpass99", "--json"}));
    EXPECT_EQ(4, o.code) << describe(o);
    EXPECT_EQ("{\"Result\":7}\n", o.out);
    EXPECT_TRUE(contains(o.err, "refused the password change: result 7")) << o.err;

    // A new password against the rule never leaves: the library turns it down.
    server.sim().clear_requests();
    o = run_zulq(server.args({"change-password", "pw123456", "short1"}));
    EXPECT_EQ(1, o.code) << describe(o);
    EXPECT_TRUE(contains(o.err, "8 to 32 letters, digits or '_'")) << o.err;
    EXPECT_EQ(std::vector<uint16_t>{68}, server.request_ids());
}

TEST(Zulq, NoAnswerWithinTheTimeoutGivesTheTimeoutCode) {
    zulsim::Options opts;
    opts.pause = std::chrono::milliseconds(8000);  // after the logon answer, too long
    ZulqServer server(opts);
    std::vector<std::string> args = server.args({"accounts"});
    args.insert(args.end(), {"--timeout", "2"});
    // An answer after the pause would give 0: 5 says the wait was cut at the limit.
    const Outcome o = run_zulq(args);
    EXPECT_EQ(5, o.code) << describe(o);
    EXPECT_TRUE(contains(o.err, "no answer to accounts within 2 s")) << o.err;
}

TEST(Zulq, ConnectionLostDuringAQueryGivesTheConnectionCode) {
    zulsim::Options opts;
    opts.drop_on_request = 71;
    ZulqServer server(opts);
    const Outcome o = run_zulq(server.args({"accounts"}));
    EXPECT_EQ(2, o.code) << describe(o);
    EXPECT_TRUE(contains(o.err, "connection lost")) << o.err;
}

// SIGINT while an answer is awaited: zulq stops at once with 128 + 2.
TEST(Zulq, InterruptedQueryExitsWithTheSignalCode) {
    zulsim::Options opts;
    opts.pause = std::chrono::milliseconds(3000);
    ZulqServer server(opts);
    Child c(server.args({"accounts"}));
    ASSERT_TRUE(server.sim().wait_for_requests(1, std::chrono::seconds(30)));
    kill(c.pid(), SIGINT);
    const Outcome o = c.finish();
    EXPECT_EQ(130, o.code) << describe(o);
}

// Pushed BP reports and cash notices, as they come, each with its kind.
TEST(Zulq, WatchPrintsPushedReportsAndNotices) {
    ZulqServer server;
    Child c(server.args({"watch", "--json", "--count", "3"}));
    ASSERT_TRUE(server.sim().wait_for_requests(1, std::chrono::seconds(30)));
    // The pushes go to logged-on clients once the logon answer is out.
    ASSERT_TRUE(wait_until([&] { return server.sim().stats().messages >= 1; }));
    EXPECT_EQ(1u, server.sim().push_bp_report("ZQ7"));
    EXPECT_EQ(1u, server.sim().push_cash_notice("ACCT-FULL-WIDE16"));
    EXPECT_EQ(1u, server.sim().push_bp_report("ACCT-FULL-WIDE16"));
    const Outcome o = c.finish();
    ASSERT_EQ(0, o.code) << describe(o);
    const Parsed p = parse_json(o.out);
    ASSERT_EQ(3u, p.rows.size()) << o.out;

    const zulsim::DataSet d = server.sim().data();
    auto served = [&](uint16_t id, const char* account) { return d.find(id, account)->front(); };
    const auto zq7 = wire<report_account_bp>(served(1093, "ZQ7"));
    const auto wide = wire<report_account_bp>(served(1093, "ACCT-FULL-WIDE16"));
    const auto cash = wire<account_cash_inout_notify>(served(1099, "ACCT-FULL-WIDE16"));
    const std::vector<std::vector<Expect>> want = {
        {txt("Event", "bp-report"), txt("Account", "ZQ7"), dbl("AvailableBp", zq7.m_available_bp)},
        {txt("Event", "cash"), txt("Account", "ACCT-FULL-WIDE16"),
         dbl("CashInOut", cash.m_cash_in_out)},
        {txt("Event", "bp-report"), txt("Account", "ACCT-FULL-WIDE16"),
         dbl("TotalMarketPL", wide.m_total_market_pl)}};
    // The Event column and the fields of ZUL_AccountBP or ZUL_AccountCashInout.
    const size_t columns[] = {12, 6, 12};
    for (size_t i = 0; i < want.size(); ++i) {
        EXPECT_EQ(columns[i], p.rows[i].size()) << i;
        for (const Expect& e : want[i])
            compare(p.rows[i], e, &p.quoted[i], "event " + std::to_string(i));
    }
}

// SIGTERM ends a watch well: zulq disconnects and exits with 0.
TEST(Zulq, WatchEndsCleanlyOnSigterm) {
    ZulqServer server;
    Child c(server.args({"watch"}));
    ASSERT_TRUE(server.sim().wait_for_requests(1, std::chrono::seconds(30)));
    ASSERT_TRUE(wait_until([&] { return server.sim().connections() == 1; }));
    kill(c.pid(), SIGTERM);
    const Outcome o = c.finish(std::chrono::seconds(30));
    EXPECT_EQ(0, o.code) << describe(o);
    EXPECT_FALSE(o.hung);
    EXPECT_TRUE(wait_until([&] { return server.sim().connections() == 0; }));
}
