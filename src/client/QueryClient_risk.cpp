// Translators of the risk data: single answers, one record each, no finish flag.
// Every value is a bit-for-bit copy; this side compares no limit with anything.

#include <atomic>
#include <type_traits>

#include "client/QueryClient.h"
#include "client/record_copy.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"

using namespace record_copy;

namespace {

// True when a wire value can move into a public field bit for bit: same width,
// and both integers or both reals.
template <typename Field, typename Value>
constexpr bool same_kind() {
    return sizeof(Field) == sizeof(Value) &&
           std::is_floating_point<Field>::value == std::is_floating_point<Value>::value;
}

// Calls set when the public record has the field that set names. The wire's field
// lists also hold reserved numbers and totals that the public record renames; those
// have no namesake and are passed over here.
template <typename Public, typename Setter, typename Value>
void set_if_named(Public& record, Setter set, Value value) {
    if constexpr (std::is_invocable<Setter, Public&, Value>::value)
        set(record, value);
}

// Expands over a wire field list: each field into the public field of its name.
#define ZUL_COPY_LIKE_NAMED(type, name)                                               \
    set_if_named(                                                                     \
        dst,                                                                          \
        [](auto& d, type v) -> decltype(void(d.name = v)) {                           \
            static_assert(same_kind<decltype(d.name), type>(), "no conversion here"); \
            d.name = v;                                                               \
        },                                                                            \
        src.name);

// Account, user id and update time stand in the same place in both account forms.
template <typename Wire>
void fill_account_risk_head(ZUL_AccountRiskData& dst, const Wire& w) {
    account_copy(dst.m_account_id, w.m_account_id);
    dst.m_user_id = w.m_user_id;
    dst.m_last_update_time = w.m_last_update_time;
}

// The totals and rule 39: all that an hv27 server reports. The public record names
// the fee and the buying power as totals.
template <typename Wire>
void fill_account_risk_totals(ZUL_AccountRiskData& dst, const Wire& w) {
    dst.m_broker_margin = w.m_account_risk_real_data.m_broker_margin;
    dst.m_exchange_margin = w.m_account_risk_real_data.m_exchange_margin;
    dst.m_total_fee = w.m_account_risk_real_data.m_fee;
    dst.m_total_bp = w.m_account_risk_real_data.m_bp;
    dst.m_39_limit_val = w.m_account_mpl_data.m_39_limit_val;
    dst.m_39_accumulate_val = w.m_account_mpl_data.m_39_accumulate_val;
}

void fill_account_rules(ZUL_AccountRiskData& dst, const account_risk_real_data& src) {
    ZUL_ACCOUNT_RISK_REAL_DATA_FIELDS(ZUL_COPY_LIKE_NAMED)
}

void fill_account_tail(ZUL_AccountRiskData& dst, const account_risk_real_data_resp& src) {
    ZUL_ACCOUNT_RISK_TAIL_FIELDS(ZUL_COPY_LIKE_NAMED)
}

void fill_account_risk(ZUL_AccountRiskData& dst, const account_risk_real_data_resp& w) {
    fill_account_risk_head(dst, w);
    fill_account_risk_totals(dst, w);
    fill_account_rules(dst, w.m_account_risk_real_data);
    fill_account_tail(dst, w);
}

// The rules that an hv27 server doesn't report stay 0.
void fill_hv27_account_risk(ZUL_AccountRiskData& dst, const hv27_account_risk_real_data_resp& w) {
    fill_account_risk_head(dst, w);
    fill_account_risk_totals(dst, w);
}

void fill_symbol_rules(ZUL_AccountSymbolRiskData& dst, const account_symbol_risk_real_data& src) {
    ZUL_ACCOUNT_SYMBOL_RISK_REAL_DATA_FIELDS(ZUL_COPY_LIKE_NAMED)
}

void fill_symbol_positions(ZUL_AccountSymbolRiskData& dst,
                           const symbol_account_risk_real_data& src) {
    ZUL_SYMBOL_ACCOUNT_RISK_REAL_DATA_FIELDS(ZUL_COPY_LIKE_NAMED)
}

void fill_symbol_tail(ZUL_AccountSymbolRiskData& dst, const account_symbol_real_data_resp& src) {
    ZUL_ACCOUNT_SYMBOL_RISK_TAIL_FIELDS(ZUL_COPY_LIKE_NAMED)
}

void fill_symbol_risk(ZUL_AccountSymbolRiskData& dst, const account_symbol_real_data_resp& w) {
    dst.m_user_id = w.m_user_id;
    account_copy(dst.m_account_id, w.m_account_id);
    bounded_text(dst.m_symbol, w.m_symbol);
    dst.m_last_update_time = w.m_last_update_time;
    fill_symbol_rules(dst, w.m_account_symbol_risk_data);
    fill_symbol_positions(dst, w.m_symbol_account_risk_data);
    fill_symbol_tail(dst, w);
}

#undef ZUL_COPY_LIKE_NAMED

// One single answer: a record zeroed by its constructor, filled, delivered.
template <typename Public, typename Wire, typename Callback>
void deliver_risk(CQueryClient* client, const std::atomic<Callback>& slot, const Wire& w,
                  void (*fill)(Public&, const Wire&)) {
    if (slot.load() == nullptr)
        return;
    Public record;
    fill(record, w);
    client->fire_event(slot, &record, static_cast<ZUL_QueryErrorId>(0));
}

}  // namespace

void CQueryClient::ProcAccountRealDataResp(account_risk_real_data_resp* pMsg) {
    deliver_risk(this, m_ptr_fun_query_account_risk_data_event, *pMsg, fill_account_risk);
}

void CQueryClient::ProcAccountRealDataResp(hv27_account_risk_real_data_resp* pMsg) {
    deliver_risk(this, m_ptr_fun_query_account_risk_data_event, *pMsg, fill_hv27_account_risk);
}

void CQueryClient::ProcAccountSymbolRealDataResp(account_symbol_real_data_resp* pMsg) {
    deliver_risk(this, m_ptr_fun_query_account_symbol_risk_data_event, *pMsg, fill_symbol_risk);
}
