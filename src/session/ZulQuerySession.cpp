// The public face of the session: one row per query (what answers it) and the typed
// methods, which hand the engine a sender and a handler.

#include "ZulQuerySession.h"

#include <cstring>
#include <stdexcept>

#include "session/session_core.h"

namespace zulquery {

using detail::bit;
using detail::QueryDef;
using detail::Rec;
using detail::SessionCore;
using detail::Shape;

const char* version() {
    return "5.2.4.16";
}

Error::Error(Kind kind, int code, const std::string& message)
    : std::runtime_error(message), m_kind(kind), m_code(code) {}

Error::~Error() = default;

const char* kind_name(Error::Kind kind) {
    switch (kind) {
        case Error::Kind::cannot_connect:
            return "cannot_connect";
        case Error::Kind::logon_refused:
            return "logon_refused";
        case Error::Kind::refused:
            return "refused";
        case Error::Kind::connection_lost:
            return "connection_lost";
        case Error::Kind::timeout:
            return "timeout";
        case Error::Kind::not_offered:
            return "not_offered";
        case Error::Kind::rejected:
            return "rejected";
        case Error::Kind::interrupted:
            return "interrupted";
    }
    return "unknown";
}

namespace {

constexpr QueryDef list(const char* name, unsigned data, unsigned refusal = 0) {
    return QueryDef{name, Shape::list, data, refusal != 0 ? refusal : data};
}
constexpr QueryDef single(const char* name, Rec kind) {
    return QueryDef{name, Shape::single, bit(kind), bit(kind)};
}

// A refusal of the position request always comes through the futures callback, whatever
// the kind asked for.
const QueryDef kAccounts = list("accounts", bit(Rec::account));
const QueryDef kBp = single("bp", Rec::bp);
const QueryDef kBpDetail = single("bp_detail", Rec::bp_detail);
const QueryDef kCash = single("cash", Rec::cash);
const QueryDef kPositions = list("positions", bit(Rec::position));
const QueryDef kOptionPositions = list("option_positions", bit(Rec::option_position),
                                       bit(Rec::option_position) | bit(Rec::position));
const QueryDef kComboPositions = list("combo_positions", bit(Rec::combo_position));
const QueryDef kMargin = list("margin", bit(Rec::margin));
const QueryDef kFees = list("fees", bit(Rec::fee));
const QueryDef kOrders = list("orders", bit(Rec::order));
const QueryDef kArbiOrders = list("arbi_orders", bit(Rec::arbi_order));
// The server chooses the form of its executions.
const QueryDef kExecutions = list("executions", bit(Rec::execution) | bit(Rec::execution_ex));
const QueryDef kQuotes = list("quotes", bit(Rec::quote));
const QueryDef kSymbols = list("symbols", bit(Rec::symbol));
const QueryDef kComboRules = list("combo_rules", bit(Rec::combo_rule));
const QueryDef kRisk = single("risk", Rec::risk);
const QueryDef kSymbolRisk = single("symbol_risk", Rec::symbol_risk);
const QueryDef kChangePassword = QueryDef{"change_password", Shape::single, bit(Rec::password), 0};

using Send = std::function<RESULT(void*)>;

template <class R>
R copy_of(const void* record) {
    R r;
    memcpy(static_cast<void*>(&r), record, sizeof(R));
    return r;
}

template <class R>
void each_of(SessionCore& core, const QueryDef& def, const Send& send, const Each<R>& each) {
    core.run(def, send, [&](Rec, const void* record) { each(copy_of<R>(record)); });
}

template <class R>
std::vector<R> all_of(SessionCore& core, const QueryDef& def, const Send& send) {
    std::vector<R> out;
    core.run(def, send, [&](Rec, const void* record) { out.push_back(copy_of<R>(record)); });
    return out;
}

}  // namespace

Session::Session(const std::string& host, int port, Options options)
    : m(new SessionCore(host, port, std::move(options))) {}

Session::~Session() = default;

void Session::logon(const std::string& user, const std::string& password) {
    m->logon(user, password);
}

ZUL_QueryLogonResponse Session::logon_answer() const {
    return m->logon_answer();
}

// ---- Queries: a sender each, shared by the collecting and the callback form ----

namespace {

Send send_accounts() {
    return [](void* h) { return KQZUL_QueryUserAccount(h); };
}
Send send_bp(const std::string& a) {
    return [&a](void* h) { return KQZUL_QueryAccountBP(h, a.c_str()); };
}
Send send_bp_detail(const std::string& a) {
    return [&a](void* h) { return KQZUL_QueryAccountBPDetail(h, a.c_str()); };
}
Send send_cash(const std::string& a) {
    return [&a](void* h) { return KQZUL_QueryAccountCashInOut(h, a.c_str()); };
}
Send send_positions(const std::string& a, char sec_type) {
    if (sec_type == SEC_TYPE_OPTION)
        throw std::invalid_argument("positions: option positions come from option_positions()");
    return [&a, sec_type](void* h) { return KQZUL_QueryAccountPosition(h, a.c_str(), sec_type); };
}
Send send_option_positions(const std::string& a) {
    return [&a](void* h) { return KQZUL_QueryAccountPosition(h, a.c_str(), SEC_TYPE_OPTION); };
}
Send send_combo_positions(const std::string& a) {
    return [&a](void* h) { return KQZUL_QueryComboPosition(h, a.c_str()); };
}
Send send_margin(const std::string& a) {
    return [&a](void* h) { return KQZUL_QueryAccountTradeMargin(h, a.c_str()); };
}
Send send_fees(const std::string& a, ZUL_FeeSecType sec_type) {
    return [&a, sec_type](void* h) { return KQZUL_QueryAccountTradeFee(h, a.c_str(), sec_type); };
}
Send send_orders(const std::string& a, char sec_type) {
    return [&a, sec_type](void* h) { return KQZUL_QueryAccountOrder(h, a.c_str(), sec_type); };
}
Send send_arbi_orders(const std::string& a) {
    return [&a](void* h) { return KQZUL_QueryAccountArbiOrder(h, a.c_str()); };
}
Send send_executions(const std::string& a, char sec_type, unsigned rewind) {
    return [&a, sec_type, rewind](void* h) {
        return KQZUL_QueryAccountOrderExecution(h, a.c_str(), sec_type, rewind);
    };
}
Send send_quotes(const std::string& a, char sec_type) {
    return [&a, sec_type](void* h) { return KQZUL_QueryAccountQuote(h, a.c_str(), sec_type); };
}
Send send_symbols(char sec_type) {
    return [sec_type](void* h) { return KQZUL_QuerySymbolList(h, sec_type); };
}
Send send_combo_rules(unsigned char combo_type, unsigned char hedge_flag) {
    return [=](void* h) { return KQZUL_QueryComboRule(h, combo_type, hedge_flag); };
}
Send send_risk(const std::string& a) {
    return [&a](void* h) { return KQZUL_QueryAccountRiskData(h, a.c_str(), "", 0); };
}
Send send_symbol_risk(const std::string& a, const std::string& symbol) {
    return [&a, &symbol](void* h) {
        return KQZUL_QueryAccountSymbolRiskData(h, a.c_str(), symbol.c_str(), 0);
    };
}

// The short execution record is the head of the extended one.
static_assert(offsetof(ZUL_QueryOrderExecutionEx, m_Symbol) == sizeof(ZUL_QueryOrderExecution),
              "the short execution record is the head of the extended one");

ZUL_QueryOrderExecutionEx widened(Rec kind, const void* record) {
    ZUL_QueryOrderExecutionEx ex;
    memset(static_cast<void*>(&ex), 0, sizeof(ex));
    memcpy(static_cast<void*>(&ex), record,
           kind == Rec::execution ? sizeof(ZUL_QueryOrderExecution) : sizeof(ex));
    return ex;
}

}  // namespace

std::vector<ZUL_AccountInfo> Session::accounts() {
    return all_of<ZUL_AccountInfo>(*m, kAccounts, send_accounts());
}
void Session::accounts(const Each<ZUL_AccountInfo>& each) {
    each_of(*m, kAccounts, send_accounts(), each);
}

std::vector<ZUL_AccountBP> Session::bp(const std::string& account) {
    return all_of<ZUL_AccountBP>(*m, kBp, send_bp(account));
}
void Session::bp(const std::string& account, const Each<ZUL_AccountBP>& each) {
    each_of(*m, kBp, send_bp(account), each);
}

std::vector<ZUL_AccountBPDetail> Session::bp_detail(const std::string& account) {
    return all_of<ZUL_AccountBPDetail>(*m, kBpDetail, send_bp_detail(account));
}
void Session::bp_detail(const std::string& account, const Each<ZUL_AccountBPDetail>& each) {
    each_of(*m, kBpDetail, send_bp_detail(account), each);
}

std::vector<ZUL_AccountCashInout> Session::cash(const std::string& account) {
    return all_of<ZUL_AccountCashInout>(*m, kCash, send_cash(account));
}
void Session::cash(const std::string& account, const Each<ZUL_AccountCashInout>& each) {
    each_of(*m, kCash, send_cash(account), each);
}

std::vector<ZUL_AccountPosition> Session::positions(const std::string& account, char sec_type) {
    return all_of<ZUL_AccountPosition>(*m, kPositions, send_positions(account, sec_type));
}
void Session::positions(const std::string& account, char sec_type,
                        const Each<ZUL_AccountPosition>& each) {
    each_of(*m, kPositions, send_positions(account, sec_type), each);
}

std::vector<ZUL_AccountOptionPosition> Session::option_positions(const std::string& account) {
    return all_of<ZUL_AccountOptionPosition>(*m, kOptionPositions, send_option_positions(account));
}
void Session::option_positions(const std::string& account,
                               const Each<ZUL_AccountOptionPosition>& each) {
    each_of(*m, kOptionPositions, send_option_positions(account), each);
}

std::vector<ZUL_AccountComboPosition> Session::combo_positions(const std::string& account) {
    return all_of<ZUL_AccountComboPosition>(*m, kComboPositions, send_combo_positions(account));
}
void Session::combo_positions(const std::string& account,
                              const Each<ZUL_AccountComboPosition>& each) {
    each_of(*m, kComboPositions, send_combo_positions(account), each);
}

std::vector<ZUL_AccountMargin> Session::margin(const std::string& account) {
    return all_of<ZUL_AccountMargin>(*m, kMargin, send_margin(account));
}
void Session::margin(const std::string& account, const Each<ZUL_AccountMargin>& each) {
    each_of(*m, kMargin, send_margin(account), each);
}

std::vector<ZUL_AccountFee> Session::fees(const std::string& account, ZUL_FeeSecType sec_type) {
    return all_of<ZUL_AccountFee>(*m, kFees, send_fees(account, sec_type));
}
void Session::fees(const std::string& account, ZUL_FeeSecType sec_type,
                   const Each<ZUL_AccountFee>& each) {
    each_of(*m, kFees, send_fees(account, sec_type), each);
}

std::vector<ZUL_QueryAccountOrder> Session::orders(const std::string& account, char sec_type) {
    return all_of<ZUL_QueryAccountOrder>(*m, kOrders, send_orders(account, sec_type));
}
void Session::orders(const std::string& account, char sec_type,
                     const Each<ZUL_QueryAccountOrder>& each) {
    each_of(*m, kOrders, send_orders(account, sec_type), each);
}

std::vector<ZUL_QueryAccountArbiOrder> Session::arbi_orders(const std::string& account) {
    return all_of<ZUL_QueryAccountArbiOrder>(*m, kArbiOrders, send_arbi_orders(account));
}
void Session::arbi_orders(const std::string& account, const Each<ZUL_QueryAccountArbiOrder>& each) {
    each_of(*m, kArbiOrders, send_arbi_orders(account), each);
}

std::vector<ZUL_QueryOrderExecutionEx> Session::executions(const std::string& account,
                                                           char sec_type, unsigned rewind) {
    std::vector<ZUL_QueryOrderExecutionEx> out;
    m->run(kExecutions, send_executions(account, sec_type, rewind),
           [&](Rec kind, const void* record) { out.push_back(widened(kind, record)); });
    return out;
}
bool Session::executions(const std::string& account, char sec_type, unsigned rewind,
                         const Each<ZUL_QueryOrderExecution>& each_short,
                         const Each<ZUL_QueryOrderExecutionEx>& each_extended) {
    const Rec closing = m->run(kExecutions, send_executions(account, sec_type, rewind),
                               [&](Rec kind, const void* record) {
                                   if (kind == Rec::execution)
                                       each_short(copy_of<ZUL_QueryOrderExecution>(record));
                                   else
                                       each_extended(copy_of<ZUL_QueryOrderExecutionEx>(record));
                               });
    return closing == Rec::execution_ex;
}

std::vector<ZUL_QueryAccountQuote> Session::quotes(const std::string& account, char sec_type) {
    return all_of<ZUL_QueryAccountQuote>(*m, kQuotes, send_quotes(account, sec_type));
}
void Session::quotes(const std::string& account, char sec_type,
                     const Each<ZUL_QueryAccountQuote>& each) {
    each_of(*m, kQuotes, send_quotes(account, sec_type), each);
}

std::vector<ZUL_SymbolField> Session::symbols(char sec_type) {
    return all_of<ZUL_SymbolField>(*m, kSymbols, send_symbols(sec_type));
}
void Session::symbols(char sec_type, const Each<ZUL_SymbolField>& each) {
    each_of(*m, kSymbols, send_symbols(sec_type), each);
}

std::vector<ZUL_AccountComboRule> Session::combo_rules(unsigned char combo_type,
                                                       unsigned char hedge_flag) {
    return all_of<ZUL_AccountComboRule>(*m, kComboRules, send_combo_rules(combo_type, hedge_flag));
}
void Session::combo_rules(unsigned char combo_type, unsigned char hedge_flag,
                          const Each<ZUL_AccountComboRule>& each) {
    each_of(*m, kComboRules, send_combo_rules(combo_type, hedge_flag), each);
}

std::vector<ZUL_AccountRiskData> Session::risk(const std::string& account) {
    return all_of<ZUL_AccountRiskData>(*m, kRisk, send_risk(account));
}
void Session::risk(const std::string& account, const Each<ZUL_AccountRiskData>& each) {
    each_of(*m, kRisk, send_risk(account), each);
}

std::vector<ZUL_AccountSymbolRiskData> Session::symbol_risk(const std::string& account,
                                                            const std::string& symbol) {
    return all_of<ZUL_AccountSymbolRiskData>(*m, kSymbolRisk, send_symbol_risk(account, symbol));
}
void Session::symbol_risk(const std::string& account, const std::string& symbol,
                          const Each<ZUL_AccountSymbolRiskData>& each) {
    each_of(*m, kSymbolRisk, send_symbol_risk(account, symbol), each);
}

void Session::change_password(const std::string& old_password, const std::string& new_password) {
    int result = 0;
    m->run(
        kChangePassword,
        [&](void* h) {
            return KQZUL_QueryChangePassword(h, old_password.c_str(), new_password.c_str());
        },
        [&](Rec, const void* record) { memcpy(&result, record, sizeof(result)); });
    if (result != 0)
        throw Error(Error::Kind::refused, result,
                    "the server refused the password change: result " + std::to_string(result));
}

// ---- Pushes and the connection ----

std::optional<Push> Session::next_push(double timeout) {
    return m->next_push(timeout);
}

size_t Session::dropped_pushes() const {
    return m->dropped_pushes();
}

void Session::interrupt() {
    m->interrupt();
}

void Session::close() {
    m->close();
}

}  // namespace zulquery
