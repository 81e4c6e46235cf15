#include "zulq_cli.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstddef>
#include <cstring>

namespace zulq {

namespace {

using zulquery::Session;

const std::string& account(const CommandArgs& a) {
    return a.positional[0];
}
char sec_type(const CommandArgs& a) {
    return static_cast<char>(a.sec_type);
}

template <class R>
const RecordDesc* desc() {
    return &record_desc<R>();
}

// A session callback that hands each record of type R to the sink.
template <class R>
zulquery::Each<R> to(const RecordSink& sink) {
    return [&sink](const R& r) { sink(record_desc<R>(), &r); };
}

// One query each; the records reach the sink as they arrive.
const RecordDesc* run_accounts(Session& s, const CommandArgs&, const RecordSink& k) {
    s.accounts(to<ZUL_AccountInfo>(k));
    return desc<ZUL_AccountInfo>();
}
const RecordDesc* run_bp(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.bp(account(a), to<ZUL_AccountBP>(k));
    return desc<ZUL_AccountBP>();
}
const RecordDesc* run_bp_detail(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.bp_detail(account(a), to<ZUL_AccountBPDetail>(k));
    return desc<ZUL_AccountBPDetail>();
}
const RecordDesc* run_cash(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.cash(account(a), to<ZUL_AccountCashInout>(k));
    return desc<ZUL_AccountCashInout>();
}
const RecordDesc* run_option_positions(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.option_positions(account(a), to<ZUL_AccountOptionPosition>(k));
    return desc<ZUL_AccountOptionPosition>();
}
// Asked for options, the server answers with option position records.
const RecordDesc* run_positions(Session& s, const CommandArgs& a, const RecordSink& k) {
    if (a.sec_type == SEC_TYPE_OPTION)
        return run_option_positions(s, a, k);
    s.positions(account(a), sec_type(a), to<ZUL_AccountPosition>(k));
    return desc<ZUL_AccountPosition>();
}
const RecordDesc* run_combo_positions(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.combo_positions(account(a), to<ZUL_AccountComboPosition>(k));
    return desc<ZUL_AccountComboPosition>();
}
const RecordDesc* run_margin(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.margin(account(a), to<ZUL_AccountMargin>(k));
    return desc<ZUL_AccountMargin>();
}
const RecordDesc* run_fees(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.fees(account(a), static_cast<ZUL_FeeSecType>(a.sec_type), to<ZUL_AccountFee>(k));
    return desc<ZUL_AccountFee>();
}
const RecordDesc* run_orders(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.orders(account(a), sec_type(a), to<ZUL_QueryAccountOrder>(k));
    return desc<ZUL_QueryAccountOrder>();
}
const RecordDesc* run_arbi_orders(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.arbi_orders(account(a), to<ZUL_QueryAccountArbiOrder>(k));
    return desc<ZUL_QueryAccountArbiOrder>();
}

static_assert(offsetof(ZUL_QueryOrderExecutionEx, m_Symbol) == sizeof(ZUL_QueryOrderExecution),
              "the short execution record is the head of the extended one");

// With --extended a short execution is shown in the extended form, its symbol and side
// empty, so that the columns do not depend on the server's choice.
const RecordDesc* run_executions(Session& s, const CommandArgs& a, const RecordSink& k) {
    auto each_short = [&](const ZUL_QueryOrderExecution& r) {
        if (!a.extended) {
            k(record_desc<ZUL_QueryOrderExecution>(), &r);
            return;
        }
        ZUL_QueryOrderExecutionEx ex;
        memset(static_cast<void*>(&ex), 0, sizeof(ex));
        memcpy(static_cast<void*>(&ex), &r, sizeof(r));
        k(record_desc<ZUL_QueryOrderExecutionEx>(), &ex);
    };
    const bool extended = s.executions(account(a), sec_type(a), a.rewind, each_short,
                                       to<ZUL_QueryOrderExecutionEx>(k));
    return extended || a.extended ? desc<ZUL_QueryOrderExecutionEx>()
                                  : desc<ZUL_QueryOrderExecution>();
}
const RecordDesc* run_quotes(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.quotes(account(a), sec_type(a), to<ZUL_QueryAccountQuote>(k));
    return desc<ZUL_QueryAccountQuote>();
}
const RecordDesc* run_symbols(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.symbols(sec_type(a), to<ZUL_SymbolField>(k));
    return desc<ZUL_SymbolField>();
}
const RecordDesc* run_combo_rules(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.combo_rules(static_cast<unsigned char>(a.combo_type),
                  static_cast<unsigned char>(a.hedge_flag), to<ZUL_AccountComboRule>(k));
    return desc<ZUL_AccountComboRule>();
}
const RecordDesc* run_risk(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.risk(account(a), to<ZUL_AccountRiskData>(k));
    return desc<ZUL_AccountRiskData>();
}
const RecordDesc* run_symbol_risk(Session& s, const CommandArgs& a, const RecordSink& k) {
    s.symbol_risk(account(a), a.positional.size() > 1 ? a.positional[1] : std::string(),
                  to<ZUL_AccountSymbolRiskData>(k));
    return desc<ZUL_AccountSymbolRiskData>();
}

// Not offered by hv27 servers, with nothing to ask instead.
const char kHv27Only[] = "";

const AnswerKind LIST = AnswerKind::list, SINGLE = AnswerKind::single;

}  // namespace

const std::vector<Command>& commands() {
    // clang-format off
    static const std::vector<Command> table = {
        // name, arguments, summary, fewest and most arguments, options, answer,
        // records, sender, what hv27 servers say
        {"accounts", "", "the user's accounts", 0, 0, 0, LIST,
         {desc<ZUL_AccountInfo>()}, run_accounts, nullptr},
        {"bp", "ACCOUNT", "buying power of an account", 1, 1, 0, SINGLE,
         {desc<ZUL_AccountBP>()}, run_bp, "ask for bp-detail instead"},
        {"bp-detail", "ACCOUNT", "buying power of an account in detail", 1, 1, 0, SINGLE,
         {desc<ZUL_AccountBPDetail>()}, run_bp_detail, nullptr},
        {"cash", "ACCOUNT", "cash in and out of an account", 1, 1, 0, SINGLE,
         {desc<ZUL_AccountCashInout>()}, run_cash, nullptr},
        // Option records answer the position request when asked for options.
        {"positions", "ACCOUNT", "futures positions (option positions with --sec-type option)",
         1, 1, OPT_SEC_TYPE, LIST,
         {desc<ZUL_AccountPosition>(), desc<ZUL_AccountOptionPosition>()}, run_positions, nullptr},
        {"option-positions", "ACCOUNT", "option positions", 1, 1, 0, LIST,
         {desc<ZUL_AccountOptionPosition>(), desc<ZUL_AccountPosition>()}, run_option_positions,
         nullptr},
        {"combo-positions", "ACCOUNT", "combination positions", 1, 1, 0, LIST,
         {desc<ZUL_AccountComboPosition>()}, run_combo_positions, kHv27Only},
        {"margin", "ACCOUNT", "margin rates of an account", 1, 1, 0, LIST,
         {desc<ZUL_AccountMargin>()}, run_margin, nullptr},
        {"fees", "ACCOUNT", "fee rates of an account", 1, 1, OPT_SEC_TYPE, LIST,
         {desc<ZUL_AccountFee>()}, run_fees, nullptr},
        {"orders", "ACCOUNT", "orders of an account", 1, 1, OPT_SEC_TYPE, LIST,
         {desc<ZUL_QueryAccountOrder>()}, run_orders, nullptr},
        {"arbi-orders", "ACCOUNT", "arbitrage orders of an account", 1, 1, 0, LIST,
         {desc<ZUL_QueryAccountArbiOrder>()}, run_arbi_orders, kHv27Only},
        // The server chooses the form of its executions: hv27 servers, and others on
        // their own account, send the extended one, with symbol and side.
        {"executions", "ACCOUNT", "executions of an account", 1, 1,
         OPT_SEC_TYPE | OPT_REWIND | OPT_EXTENDED, LIST,
         {desc<ZUL_QueryOrderExecution>(), desc<ZUL_QueryOrderExecutionEx>()}, run_executions,
         nullptr},
        {"quotes", "ACCOUNT", "quotes of an account", 1, 1, OPT_SEC_TYPE, LIST,
         {desc<ZUL_QueryAccountQuote>()}, run_quotes, nullptr},
        {"symbols", "", "instruments", 0, 0, OPT_SEC_TYPE, LIST,
         {desc<ZUL_SymbolField>()}, run_symbols, nullptr},
        {"combo-rules", "", "combination rules", 0, 0, OPT_COMBO_TYPE | OPT_HEDGE_FLAG, LIST,
         {desc<ZUL_AccountComboRule>()}, run_combo_rules, kHv27Only},
        {"risk", "ACCOUNT", "live risk data of an account, by risk rule", 1, 1, 0, SINGLE,
         {desc<ZUL_AccountRiskData>()}, run_risk, nullptr},
        {"symbol-risk", "ACCOUNT [SYMBOL]", "live risk data of an account for a symbol", 1, 2, 0,
         SINGLE, {desc<ZUL_AccountSymbolRiskData>()}, run_symbol_risk, nullptr},
        {"change-password", "OLD NEW", "change the user's password from OLD to NEW", 2, 2, 0,
         AnswerKind::password, {}, nullptr, nullptr},
        {"watch", "", "print pushed BP reports and cash notices until interrupted", 0, 0,
         OPT_COUNT, AnswerKind::watch, {}, nullptr, nullptr},
    };
    // clang-format on
    return table;
}

namespace {

bool parse_unsigned(const std::string& v, unsigned long max, unsigned long* out) {
    if (v.empty() || !isdigit(static_cast<unsigned char>(v[0])))
        return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long n = strtoul(v.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || n > max)
        return false;
    *out = n;
    return true;
}

template <class T>
bool set_unsigned(const std::string& v, unsigned long min, unsigned long max, T* out) {
    unsigned long n = 0;
    if (!parse_unsigned(v, max, &n) || n < min)
        return false;
    *out = static_cast<T>(n);
    return true;
}

bool set_sec_type(const std::string& v, int* out) {
    static const struct {
        const char* name;
        int value;
    } names[] = {{"stock", SEC_TYPE_STOCK},
                 {"option", SEC_TYPE_OPTION},
                 {"future", SEC_TYPE_FUTURE},
                 {"arbi", SEC_TYPE_ARBI}};
    for (const auto& n : names) {
        if (v == n.name) {
            *out = n.value;
            return true;
        }
    }
    return set_unsigned(v, 0, 255, out);
}

bool set_timeout(const std::string& v, double* out) {
    char* end = nullptr;
    const double t = strtod(v.c_str(), &end);
    if (v.empty() || *end != '\0' || !std::isfinite(t) || t <= 0)
        return false;
    *out = t;
    return true;
}

struct OptionDef {
    const char* name;
    const char* value_name;  // null for a flag
    unsigned bit;            // 0: a global option, else the CommandOption it is
    bool (*apply)(Invocation& inv, const std::string& value);
    const char* help;
};

bool set_text(std::string* field, const std::string& v) {
    *field = v;
    return !v.empty();
}

bool set_format(Invocation& i, OutputFormat f) {
    i.settings.format = f;
    return true;
}

// clang-format off
const OptionDef kOptions[] = {
    {"--host", "H", 0, [](Invocation& i, const std::string& v) {
         return set_text(&i.settings.host, v); },
     "server address, a name or dotted IPv4 (default 127.0.0.1)"},
    {"--port", "P", 0, [](Invocation& i, const std::string& v) {
         return set_unsigned(v, 1, 65535, &i.settings.port); },
     "TCP port of the query port (required)"},
    {"--user", "U", 0, [](Invocation& i, const std::string& v) {
         return set_text(&i.settings.user, v); },
     "logon id (required)"},
    {"--password", "PW", 0, [](Invocation& i, const std::string& v) {
         return set_text(&i.settings.password, v); },
     "password (required; or set ZULQ_PASSWORD)"},
    {"--timeout", "SEC", 0, [](Invocation& i, const std::string& v) {
         return set_timeout(v, &i.settings.timeout_s); },
     "longest silence of the server: before the logon answer, before the first record and "
     "between records (default 10)"},
    {"--log-dir", "DIR", 0, [](Invocation& i, const std::string& v) {
         return set_text(&i.settings.log_dir, v); },
     "folder of the library's logs (default $TMPDIR/zulq-<uid>)"},
    {"--trace", nullptr, 0, [](Invocation& i, const std::string&) {
         i.settings.trace = true;
         return true; },
     "log every message sent and received (mavlog_*.bin; see zulq decode)"},
    {"--csv", nullptr, 0, [](Invocation& i, const std::string&) {
         return set_format(i, OutputFormat::csv); },
     "a header line, then one comma-separated line per record"},
    {"--json", nullptr, 0, [](Invocation& i, const std::string&) {
         return set_format(i, OutputFormat::json); },
     "one JSON object per record and line"},
    {"--vertical", nullptr, 0, [](Invocation& i, const std::string&) {
         return set_format(i, OutputFormat::vertical); },
     "one \"field value\" line per field, records apart by a blank line"},
    {"--quiet", nullptr, 0, [](Invocation& i, const std::string&) {
         i.settings.quiet = true;
         return true; },
     "no progress line on stderr"},
    {"--sec-type", "T", OPT_SEC_TYPE, [](Invocation& i, const std::string& v) {
         return set_sec_type(v, &i.args.sec_type); },
     "kind of instrument: stock, option, future, arbi or a number (default future)"},
    {"--rewind", "N", OPT_REWIND, [](Invocation& i, const std::string& v) {
         return set_unsigned(v, 0, UINT_MAX, &i.args.rewind); },
     "rewind flag for the server; its low byte is sent (default 0)"},
    {"--extended", nullptr, OPT_EXTENDED, [](Invocation& i, const std::string&) {
         i.args.extended = true;
         return true; },
     "print the extended form (Symbol, SideType) even for short records"},
    {"--combo-type", "N", OPT_COMBO_TYPE, [](Invocation& i, const std::string& v) {
         return set_unsigned(v, 0, 255, &i.args.combo_type); },
     "combination type, 0 to 255 (default 0)"},
    {"--hedge-flag", "N", OPT_HEDGE_FLAG, [](Invocation& i, const std::string& v) {
         return set_unsigned(v, 0, 255, &i.args.hedge_flag); },
     "hedge flag, 0 to 255 (default 0)"},
    {"--count", "N", OPT_COUNT, [](Invocation& i, const std::string& v) {
         return set_unsigned(v, 1, ULONG_MAX, &i.args.count); },
     "stop after N events"},
};
// clang-format on

const OptionDef* find_option(const std::string& name) {
    for (const OptionDef& o : kOptions) {
        if (name == o.name)
            return &o;
    }
    return nullptr;
}

const Command* find_command(const std::string& name) {
    for (const Command& c : commands()) {
        if (name == c.name)
            return &c;
    }
    return nullptr;
}

std::string option_synopsis(const OptionDef& o) {
    return std::string(o.name) + (o.value_name != nullptr ? std::string(" ") + o.value_name : "");
}

// Lines "  left   right" with the right parts aligned.
std::string two_columns(const std::vector<std::pair<std::string, std::string>>& lines) {
    size_t w = 0;
    for (const auto& l : lines)
        w = std::max(w, l.first.size());
    std::string out;
    for (const auto& l : lines)
        out += "  " + l.first + std::string(w - l.first.size() + 2, ' ') + l.second + "\n";
    return out;
}

bool is_format_option(const std::string& name) {
    return name == "--csv" || name == "--json" || name == "--vertical";
}

bool apply_option(const std::string& arg, int argc, char** argv, int* i, Invocation* out,
                  std::string* error) {
    const size_t eq = arg.find('=');
    const std::string name = arg.substr(0, eq);
    const OptionDef* o = find_option(name);
    if (o == nullptr) {
        *error = "unknown option " + name;
        return false;
    }
    if (is_format_option(name)) {
        if (!out->format_option.empty() && out->format_option != name) {
            *error = out->format_option + " and " + name + " cannot be combined: choose one format";
            return false;
        }
        out->format_option = name;
    }
    if (o->bit != 0 && (out->command == nullptr || (out->command->options & o->bit) == 0)) {
        *error = out->command == nullptr
                     ? name + " belongs after a command"
                     : std::string("command ") + out->command->name + " takes no " + name;
        return false;
    }
    std::string value;
    if (o->value_name == nullptr) {
        if (eq != std::string::npos) {
            *error = name + " takes no value";
            return false;
        }
    } else if (eq != std::string::npos) {
        value = arg.substr(eq + 1);
    } else if (*i + 1 < argc) {
        value = argv[++*i];
    } else {
        *error = name + " needs a value (" + o->value_name + ")";
        return false;
    }
    if (!o->apply(*out, value)) {
        *error = "bad value for " + name + ": '" + value + "'";
        return false;
    }
    return true;
}

bool check_complete(Invocation* out, std::string* error) {
    const Command* c = out->command;
    if (c == nullptr) {
        *error = "no command given";
        return false;
    }
    const size_t n = out->args.positional.size();
    if (n < c->min_args || n > c->max_args) {
        *error =
            std::string(c->name) + (*c->arguments != '\0' ? std::string(" takes ") + c->arguments
                                                          : std::string(" takes no argument"));
        return false;
    }
    Settings& s = out->settings;
    if (s.password.empty() && getenv("ZULQ_PASSWORD") != nullptr)
        s.password = getenv("ZULQ_PASSWORD");
    const char* missing = s.port == 0          ? "--port"
                          : s.user.empty()     ? "--user"
                          : s.password.empty() ? "--password"
                                               : nullptr;
    if (missing != nullptr) {
        *error = std::string(missing) + " is required";
        return false;
    }
    return true;
}

}  // namespace

bool parse_command_line(int argc, char** argv, Invocation* out, std::string* error) {
    bool options_end = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (!options_end && arg == "--") {
            options_end = true;
        } else if (!options_end && (arg == "--help" || arg == "-h")) {
            out->help = true;
        } else if (!options_end && arg == "--version") {
            out->version = true;
        } else if (!options_end && arg.compare(0, 2, "--") == 0) {
            if (!apply_option(arg, argc, argv, &i, out, error))
                return false;
        } else if (out->command == nullptr) {
            out->command = find_command(arg);
            if (out->command == nullptr) {
                *error = "unknown command '" + arg + "'";
                return false;
            }
        } else {
            out->args.positional.push_back(arg);
        }
    }
    return out->help || out->version || check_complete(out, error);
}

std::string main_help() {
    std::string out =
        "usage: zulq --host H --port P --user U --password PW [--csv|--json|--vertical]\n"
        "            [--timeout SEC] [--log-dir DIR] [--trace] [--quiet] <command> [arguments] "
        "[options]\n"
        "       zulq --version\n"
        "\n"
        "Asks the query port of a trading server and prints the answer, one column per\n"
        "field of the records the library delivers (m_AvailableBp as AvailableBp).\n"
        "Times are local, with nanoseconds. Records are printed as they arrive; a table's\n"
        "columns are as wide as their fields' types allow. When stderr is a terminal, an\n"
        "answer that takes over a second shows its progress there.\n"
        "\nOptions:\n";
    std::vector<std::pair<std::string, std::string>> lines;
    for (const OptionDef& o : kOptions) {
        if (o.bit == 0)
            lines.emplace_back(option_synopsis(o), o.help);
    }
    lines.emplace_back("--help", "this text; 'zulq <command> --help' for a command");
    lines.emplace_back("--version", "the library's version");
    out += two_columns(lines) + "\nCommands:\n";
    lines.clear();
    for (const Command& c : commands())
        lines.emplace_back(std::string(c.name) + " " + c.arguments, c.summary);
    out += two_columns(lines);
    out +=
        "\nExit status:\n"
        "  0 done; 1 usage error; 2 cannot connect, or connection lost; 3 logon refused;\n"
        "  4 query refused by the server (its error id goes to stderr); 5 no answer: the\n"
        "  server was silent for longer than --timeout; 6 not offered by the server's\n"
        "  generation (hv27); 7 request turned down by the library (a new password against\n"
        "  the rule); 128+N stopped by signal N. Records printed before a failure or a\n"
        "  signal stay printed.\n";
    return out;
}

std::string command_help(const Command& c) {
    std::string out = std::string("usage: zulq [options] ") + c.name;
    if (*c.arguments != '\0')
        out += std::string(" ") + c.arguments;
    if (c.options != 0)
        out += " [command options]";
    std::string summary = c.summary;
    summary[0] = static_cast<char>(toupper(static_cast<unsigned char>(summary[0])));
    out += "\n\n" + summary + ".\n";
    std::vector<std::pair<std::string, std::string>> lines;
    for (const OptionDef& o : kOptions) {
        if ((o.bit & c.options) != 0)
            lines.emplace_back(option_synopsis(o), o.help);
    }
    if (!lines.empty())
        out += "\nCommand options:\n" + two_columns(lines);
    if (!c.answers.empty()) {
        out += "\nPrints the fields of " + std::string(c.answers[0]->type);
        for (size_t i = 1; i < c.answers.size(); ++i)
            out += std::string(" or ") + c.answers[i]->type;
        out += ".\n";
    }
    switch (c.answer) {
        case AnswerKind::password:
            out +=
                "\nThe new password has 8 to 32 letters, digits or '_', with at least one\n"
                "letter and one digit; the library turns down any other (exit status 7).\n"
                "Prints the server's result code; 0 is a change.\n";
            break;
        case AnswerKind::watch:
            out +=
                "\nPrints one line per event as it comes: an Event column (bp-report or cash),\n"
                "then the fields of ZUL_AccountBP or ZUL_AccountCashInout. A table and CSV have\n"
                "one header, Event and the fields of both records; the fields an event lacks\n"
                "stay empty. JSON lines and --vertical show the event's own fields. SIGINT or\n"
                "SIGTERM ends the watch: zulq disconnects and exits with 0.\n";
            break;
        default:
            break;
    }
    if (c.hv27_hint != nullptr)
        out += "\nServers of the hv27 generation do not offer it (exit status 6)" +
               std::string(*c.hv27_hint != '\0' ? "; " : "") + c.hv27_hint + ".\n";
    return out;
}

}  // namespace zulq
