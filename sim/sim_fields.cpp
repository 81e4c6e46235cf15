#include "sim_fields.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"

namespace zulsim {

namespace {

template <class T>
FieldKind kind_of() {
    if constexpr (std::is_array_v<T> || std::is_same_v<T, char>) {
        return FieldKind::text;
    } else if constexpr (std::is_floating_point_v<T>) {
        return FieldKind::real;
    } else if constexpr (std::is_signed_v<T>) {
        return FieldKind::signed_int;
    } else {
        return FieldKind::unsigned_int;
    }
}

template <class T>
FieldInfo field_of(const char* name, size_t offset, Variant variant) {
    return FieldInfo{name, offset, sizeof(T), kind_of<T>(), variant};
}

template <class R>
RecordInfo make(const char* name, bool hv27, std::vector<FieldInfo> fields) {
    R r;  // the constructor writes the record's id
    uint16_t id = 0;
    memcpy(&id, &r, sizeof(id));
    return RecordInfo{name, id, sizeof(R), hv27, std::move(fields)};
}

#define FV(member, variant)                                                        \
    field_of<std::remove_reference_t<decltype(std::declval<R&>().member)>>(#member, \
                                                                            offsetof(R, member), variant)
#define F(member) FV(member, Variant::always)
#define RECORD(type, hv27, ...)                       \
    [] {                                              \
        using R = type;                               \
        return make<R>(#type, hv27, {__VA_ARGS__});   \
    }()
#define HEAD F(m_msg_id), F(m_msg_len), F(m_sequence)
#define HEAD_TYPE F(m_msg_type), F(m_msg_len), F(m_sequence)
#define RISK(type, name) F(m_account_risk_real_data.name),
#define RISK_TAIL(type, name) F(name),
#define SYM_RISK(type, name) F(m_account_symbol_risk_data.name),
#define SYM_ACC_RISK(type, name) F(m_symbol_account_risk_data.name),

std::vector<RecordInfo> build_requests() {
    return {
        RECORD(query_logon_msg_req, false, HEAD, F(m_proto_version), F(m_login_id),
               F(m_password), F(m_reserved)),
        RECORD(change_password_req, false, HEAD, F(m_user_id), F(m_old_pwd_md5),
               F(m_new_pwd_md5), F(m_reserved)),
        RECORD(query_user_account_req, false, HEAD, F(m_user_id), F(m_reserved)),
        RECORD(query_symbol_req, false, HEAD, F(m_user_id), F(m_sec_type), F(m_reserved)),
        RECORD(query_account_position_req, false, HEAD, F(m_user_id), F(m_account_id),
               F(m_sec_type), F(m_reserved)),
        RECORD(rewind_account_order_req, false, HEAD, F(m_user_id), F(m_account_id),
               F(m_sec_type), F(m_reserved)),
        RECORD(rewind_account_exe_req, false, HEAD, F(m_user_id), F(m_account_id),
               F(m_sec_type), F(m_rewind_flag), F(m_reserved)),
        RECORD(query_combo_rule, false, HEAD, F(m_user_id), F(m_combo_type), F(m_hedge_flag),
               F(m_reserved)),
        RECORD(query_account_margin, false, HEAD, F(m_user_id), F(m_account_id),
               F(m_reserved)),
        RECORD(query_account_fee, false, HEAD, F(m_user_id), F(m_account_id), F(m_sec_type),
               F(m_reserved)),
        RECORD(query_combo_position, false, HEAD, F(m_account_id), F(m_user_id),
               F(m_reserved)),
        RECORD(query_account_bp_req, false, HEAD, F(m_user_id), F(m_account_id)),
        RECORD(account_risk_real_data_req, false, HEAD, F(m_user_id), F(m_account_id)),
        RECORD(account_symbol_real_data_req, false, HEAD_TYPE, F(m_user_id), F(m_account_id),
               F(m_symbol)),
        RECORD(query_cash_inout_req, false, HEAD_TYPE, F(m_user_id), F(m_account_id),
               F(m_reserved)),
        RECORD(query_account_bp_detail_req, false, HEAD, F(m_user_id), F(m_account_id)),
        RECORD(rewind_account_quote_req, false, HEAD_TYPE, F(m_user_id), F(m_account_id),
               F(m_sec_type), F(m_reserved)),
        RECORD(rewind_account_arbi_order_req, false, HEAD_TYPE, F(m_user_id), F(m_account_id),
               F(m_reserved)),
    };
}

#define BP_FIELDS                                                                      \
    HEAD, F(m_user_id), F(m_account_id), F(m_previlege), F(m_initial_bp), F(m_available_bp), \
        F(m_margin), F(m_frozen_margin), F(m_commission_fee), F(m_frozen_commission),  \
        F(m_ovn_init_margin), F(m_total_liquid_pl), F(m_total_market_pl), F(m_account_idx), \
        F(m_reserved)
#define BP_DETAIL_FIELDS                                                                  \
    HEAD, F(m_user_id), F(m_account_id), F(m_initial_equity), F(m_initial_bp),          \
        F(m_ovn_init_margin), F(m_available_bp), F(m_margin), F(m_frozen_margin),       \
        F(m_commission_fee), F(m_frozen_commission), F(m_opt_premium_balance),          \
        F(m_opt_frozen_premium), F(m_comm_declaration_fee), F(m_step_declaration_fee),  \
        F(m_cash_in_total), F(m_cash_out_total), F(m_total_liquid_pl), F(m_total_market_pl), \
        F(m_risk_rate)
#define ORDER_HEAD                                                                      \
    HEAD, F(m_last_record_flag), F(m_user_id), F(m_timestamp), F(m_order_token)
#define ORDER_BODY                                                                        \
    F(m_symbol), F(m_order_price_type), F(m_side_type), F(m_quantity), F(m_price),        \
        F(m_hedge_flag), F(m_stop_price), F(m_ioc), F(m_minimum_quantity), F(m_account_id), \
        F(m_exchange_id), F(m_order_state), F(m_cxl_rjt_flag), F(m_close_time),           \
        F(m_filled_qty), F(m_internal_order_id), F(m_market_order_id), F(m_mkt_custom_field)
#define EXEC_FIELDS                                                                       \
    HEAD, F(m_last_record_flag), F(m_user_id), F(m_account_id), F(m_timestamp),           \
        F(m_order_token), F(m_internal_order_id), F(m_executed_quantity),                 \
        F(m_execution_price), F(m_market_exec_id), F(m_leg_no), F(m_order_type)
#define RATE_HEAD                                                                          \
    HEAD, F(m_last_record_flag), F(m_account_id), F(m_hedge_flag), F(m_symbol),            \
        F(m_exchange_id), F(m_prod_id)

std::vector<RecordInfo> build_responses() {
    return {
        RECORD(query_logon_msg_resp, false, HEAD, F(Result), F(m_login_id), F(m_user_id),
               F(m_user_token_cancel_enable), F(m_user_selfexec_check_enable),
               F(m_reserved)),
        RECORD(hv27_query_logon_msg_resp, true, HEAD, F(m_result), F(m_login_id),
               F(m_user_id), F(m_user_token_cancel_enable), F(m_user_selfexec_check_enable),
               F(m_version_flag), F(m_reserved)),
        RECORD(change_password_resp, false, HEAD, F(m_user_id), F(m_result_code)),
        RECORD(query_user_account_resp, false, HEAD, F(m_last_record_flag), F(m_user_id),
               F(m_account_id), F(m_previlege), F(m_initial_bp), F(m_available_bp),
               F(m_margin), F(m_frozen_margin), F(m_commission_fee), F(m_frozen_commission),
               F(m_account_idx), F(m_reserved)),
        RECORD(query_account_bp_resp, false, BP_FIELDS),
        RECORD(report_account_bp, false, BP_FIELDS),
        RECORD(query_account_bp_detail_resp, false, BP_DETAIL_FIELDS, F(m_reserved1),
               F(m_amount_count), F(m_account_idx), F(m_reserved)),
        RECORD(hv27_query_account_bp_detail_resp, true, BP_DETAIL_FIELDS, F(m_push_mode),
               F(m_amount_count), F(m_reserved)),
        RECORD(account_cash_inout_notify, false, HEAD, F(m_user_id), F(m_account_id),
               F(m_available_bp), F(m_cash_in_out), F(m_cash_in_total), F(m_cash_out_total),
               F(m_reserved)),
        RECORD(query_symbol_resp, false, HEAD, F(m_last_record_flag), F(m_instrument_type),
               F(m_symbol), FV(m_instrument_name, Variant::not_option),
               FV(m_underlying_fut_symbol, Variant::option), FV(m_call_put, Variant::option),
               F(m_exchange_id), F(m_product_id), F(m_delivery_year), F(m_delivery_month),
               F(m_max_market_order_volume), F(m_min_market_order_volume),
               F(m_max_limit_order_volume), F(m_min_limit_order_volume), F(m_volume_multiple),
               F(m_price_tick), F(m_create_date), F(m_open_date), F(m_expire_date),
               FV(m_start_deliv_date, Variant::not_option),
               FV(m_end_deliv_date, Variant::not_option),
               FV(m_strike_price, Variant::option), F(m_inst_life_phase), F(m_is_trading),
               F(m_symbol_idx)),
        RECORD(query_combo_rule_resp, false, HEAD, F(m_last_record_flag), F(m_rule_prod_type),
               F(m_prod_group), F(m_trading_date), F(m_combo_type), F(m_priority),
               F(m_hedge_flag), F(m_combo_margin), F(m_combo_symbol), F(m_instr_id),
               F(m_combo_leg1), F(m_combo_leg2), F(m_direction_leg1), F(m_direction_leg2),
               F(m_region_leg1), F(m_region_leg2), F(m_reserved)),
        RECORD(query_account_margin_resp, false, RATE_HEAD, F(m_long_margin_ratio),
               F(m_short_margin_ratio), F(m_reserved)),
        RECORD(query_account_fee_resp, false, RATE_HEAD, F(m_open_ratio_by_money),
               F(m_open_ratio_by_volume), F(m_close_yesterday_ratio_by_money),
               F(m_close_yesterday_ratio_by_volume), F(m_close_today_ratio_by_money),
               F(m_close_today_ratio_by_volume), F(m_pos_dir)),
        RECORD(query_account_fut_position_resp, false, HEAD, F(m_last_record_flag),
               F(m_user_id), F(m_account_id), F(m_request_id), F(m_symbol),
               F(m_posi_direction), F(m_init_ovn_qty), F(m_init_ovn_margin), F(m_ovn_qty),
               F(m_frozen_ovn_qty), F(m_today_qty), F(m_frozen_today_qty),
               F(m_ovn_occupied_margin), F(m_today_occupied_margin), F(m_total_fee),
               F(m_ovn_liquid_pl), F(m_today_liquid_pl), F(m_ovn_market_pl),
               F(m_today_market_pl), F(m_pos_cost), F(m_hedge_flag), F(m_reserved)),
        RECORD(query_account_opt_position_resp, false, F(msg_id), F(msg_len), F(sequence),
               F(last_record_flag), F(user_id), F(account_id), F(request_id), F(exchange_id),
               F(full_symbol), F(underlying_symbol), F(call_put), F(strike_price),
               F(expire_date), F(pos_dir), F(init_ovn_qty), F(init_ovn_margin),
               F(cur_today_qty), F(cover_today_locked_qty), F(exec_pending_qty),
               F(exec_applied_qty), F(cxl_exec_pending_qty), F(liquid_pl), F(avg_price),
               F(cur_ovn_qty), F(cover_ovn_locked_qty), F(total_commission_fee),
               F(hedge_flag), F(reserved)),
        RECORD(query_combo_position_resp, false, HEAD, F(m_last_record_flag), F(m_account_id),
               F(m_hedge_flag), F(m_instr_id), F(m_combo_type), F(m_combo_symbol),
               F(m_first_symbol), F(m_first_direction), F(m_second_symbol),
               F(m_second_direction), F(m_qty), F(m_init_qty), F(m_combo_margin),
               F(m_init_combo_margin), F(m_return_margin), F(m_reserved)),
        RECORD(rewind_accoutn_order_response, false, ORDER_HEAD, F(m_instrument_type),
               ORDER_BODY, F(m_symbol_flag), F(m_reserved1), F(m_market_session_id),
               F(m_reserved)),
        RECORD(rewind_account_arbi_order_response, false, ORDER_HEAD, F(m_order_type),
               ORDER_BODY, F(m_reserved1), F(m_market_session_id), F(m_reserved)),
        RECORD(rewind_order_execution_response, false, EXEC_FIELDS, F(m_reserved)),
        RECORD(rewind_order_execution_response_ex, false, EXEC_FIELDS, F(m_symbol),
               F(m_side_type), F(m_reserved)),
        RECORD(hv27_rewind_order_execution_response, true, EXEC_FIELDS, F(m_symbol),
               F(m_side_type), F(m_reserved)),
        RECORD(rewind_account_quote_response, false, HEAD, F(m_last_record_flag),
               F(m_user_id), F(m_sec_type), F(m_quote_token), F(m_ioc), F(reserved),
               F(m_internal_quote_id), F(m_bid_internal_quote_id), F(m_ask_internal_quote_id),
               F(m_mkt_quote_id), F(m_bid_mkt_order_id), F(m_ask_mkt_order_id),
               F(m_account_id), F(m_exchange_id), F(m_symbol), F(m_bid_offset_flag),
               F(m_bid_volume), F(m_bid_price), F(m_bid_hedge_flag), F(m_bid_state),
               F(m_bid_fill_volume), F(m_ask_offset_flag), F(m_ask_volume), F(m_ask_price),
               F(m_ask_hedge_flag), F(m_ask_state), F(m_ask_fill_volume),
               F(m_mkt_custom_field), F(m_req_for_quote_id), F(m_reserved2)),
        RECORD(account_risk_real_data_resp, false, HEAD_TYPE, F(m_account_id), F(m_user_id),
               F(m_last_update_time), ZUL_ACCOUNT_RISK_REAL_DATA_FIELDS(RISK)
                   F(m_account_mpl_data.m_39_limit_val),
               F(m_account_mpl_data.m_39_accumulate_val),
               ZUL_ACCOUNT_RISK_TAIL_FIELDS(RISK_TAIL) F(m_reserved)),
        RECORD(hv27_account_risk_real_data_resp, true, HEAD, F(m_account_id), F(m_user_id),
               F(m_last_update_time), F(m_account_risk_real_data.m_broker_margin),
               F(m_account_risk_real_data.m_exchange_margin),
               F(m_account_risk_real_data.m_fee), F(m_account_risk_real_data.m_bp),
               F(m_account_mpl_data.m_39_limit_val),
               F(m_account_mpl_data.m_39_accumulate_val)),
        RECORD(account_symbol_real_data_resp, false, HEAD_TYPE, F(m_user_id), F(m_account_id),
               F(m_symbol), F(m_last_update_time),
               ZUL_ACCOUNT_SYMBOL_RISK_REAL_DATA_FIELDS(SYM_RISK)
                   ZUL_SYMBOL_ACCOUNT_RISK_REAL_DATA_FIELDS(SYM_ACC_RISK)
                       ZUL_ACCOUNT_SYMBOL_RISK_TAIL_FIELDS(RISK_TAIL)),
        RECORD(hv27_query_err_resp, false, HEAD, F(m_user_id), F(m_sub_msg_id), F(m_error_id),
               F(m_reserved)),
    };
}

const std::vector<RecordInfo>& requests() {
    static const std::vector<RecordInfo> table = build_requests();
    return table;
}

const std::vector<RecordInfo>& responses() {
    static const std::vector<RecordInfo> table = build_responses();
    return table;
}

bool parse_unsigned(const std::string& s, unsigned long long* out) {
    if (s.empty() || s[0] == '-') {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    *out = strtoull(s.c_str(), &end, 0);
    return errno == 0 && *end == '\0';
}

bool parse_signed(const std::string& s, long long* out) {
    char* end = nullptr;
    errno = 0;
    *out = strtoll(s.c_str(), &end, 0);
    return !s.empty() && errno == 0 && *end == '\0';
}

bool parse_real(const std::string& s, double* out) {
    char* end = nullptr;
    *out = strtod(s.c_str(), &end);
    return !s.empty() && *end == '\0';
}

}  // namespace

const FieldInfo* RecordInfo::field(const std::string& wanted) const {
    for (const FieldInfo& f : fields) {
        size_t dot = f.name.rfind('.');
        if (f.name == wanted || (dot != std::string::npos && f.name.compare(dot + 1, std::string::npos, wanted) == 0)) {
            return &f;
        }
    }
    return nullptr;
}

const RecordInfo* request_info(uint16_t id) {
    for (const RecordInfo& r : requests()) {
        if (r.id == id) {
            return &r;
        }
    }
    return nullptr;
}

const RecordInfo* response_info(uint16_t id, bool hv27) {
    const RecordInfo* any = nullptr;
    for (const RecordInfo& r : responses()) {
        if (r.id != id) {
            continue;
        }
        if (r.hv27 == hv27) {
            return &r;
        }
        any = &r;
    }
    // Most responses have one form for both generations.
    return any;
}

const RecordInfo* record_info(const std::string& name) {
    for (const auto* table : {&requests(), &responses()}) {
        for (const RecordInfo& r : *table) {
            if (r.name == name) {
                return &r;
            }
        }
    }
    return nullptr;
}

bool is_reserved(const FieldInfo& f) {
    return f.name.find("reserved") != std::string::npos;
}

std::string read_field(const FieldInfo& f, const unsigned char* record) {
    const unsigned char* p = record + f.offset;
    switch (f.kind) {
        case FieldKind::text:
            return std::string(reinterpret_cast<const char*>(p), strnlen(reinterpret_cast<const char*>(p), f.width));
        case FieldKind::real: {
            double d;
            memcpy(&d, p, sizeof(d));
            char buf[64];
            snprintf(buf, sizeof(buf), "%.17g", d);
            return buf;
        }
        case FieldKind::signed_int: {
            long long v = 0;
            if (f.width == 4) {
                int32_t i;
                memcpy(&i, p, 4);
                v = i;
            } else {
                memcpy(&v, p, 8);
            }
            return std::to_string(v);
        }
        case FieldKind::unsigned_int:
            break;
    }
    unsigned long long v = 0;
    memcpy(&v, p, f.width);  // little-endian host: the low bytes come first
    return std::to_string(v);
}

bool write_field(const FieldInfo& f, unsigned char* record, const std::string& value) {
    unsigned char* p = record + f.offset;
    switch (f.kind) {
        case FieldKind::text:
            memset(p, 0, f.width);
            memcpy(p, value.data(), std::min(value.size(), f.width));
            return true;
        case FieldKind::real: {
            double d;
            if (!parse_real(value, &d)) {
                return false;
            }
            memcpy(p, &d, sizeof(d));
            return true;
        }
        case FieldKind::signed_int: {
            long long v;
            if (!parse_signed(value, &v)) {
                return false;
            }
            memcpy(p, &v, f.width);
            return true;
        }
        case FieldKind::unsigned_int:
            break;
    }
    unsigned long long v;
    if (!parse_unsigned(value, &v) || (f.width < 8 && v >> (8 * f.width) != 0)) {
        return false;
    }
    memcpy(p, &v, f.width);
    return true;
}

}  // namespace zulsim
