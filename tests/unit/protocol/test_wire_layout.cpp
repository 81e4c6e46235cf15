// Layout of every wire record, checked against the offsets, widths and kinds of the
// protocol tables, which are written out here as data. A field moved, widened, swapped
// with a neighbour or given the wrong type fails here.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"

namespace {

// U: unsigned integer, S: signed integer, D: double, C: single char,
// A: array of one-byte elements (text or reserved bytes), R: nested record.
enum class Kind { U, S, D, C, A, R };

template <class T>
constexpr Kind kind_of() {
    if constexpr (std::is_array_v<T>) {
        static_assert(sizeof(std::remove_extent_t<T>) == 1, "only byte arrays on the wire");
        return Kind::A;
    } else if constexpr (std::is_class_v<T>) {
        return Kind::R;
    } else if constexpr (std::is_floating_point_v<T>) {
        return Kind::D;
    } else if constexpr (std::is_same_v<T, char>) {
        return Kind::C;
    } else if constexpr (std::is_signed_v<T>) {
        return Kind::S;
    } else {
        return Kind::U;
    }
}

struct Row {
    const char* field;
    size_t actual_offset;
    size_t actual_width;
    Kind actual_kind;
    size_t offset;
    size_t width;
    Kind kind;
    bool alternate;  // second reading of a union stretch
};

struct Layout {
    const char* record;
    unsigned id;
    size_t size;
    size_t actual_size;
    std::vector<Row> rows;
};

#define FIELD_OF(rec, field) (static_cast<rec*>(nullptr)->field)
#define ROW_(rec, field, off, width, kind, alt)                                                 \
    Row {                                                                                       \
#field, offsetof(rec, field), sizeof(FIELD_OF(rec, field)),                             \
            kind_of < std::remove_reference_t < decltype(FIELD_OF(rec, field))>>(), off, width, \
            Kind::kind, alt                                                                     \
    }
#define ROW(rec, field, off, width, kind) ROW_(rec, field, off, width, kind, false)
#define ALT(rec, field, off, width, kind) ROW_(rec, field, off, width, kind, true)

const std::vector<Layout> kRequests = {
    {"query_logon_msg_req",
     68,
     80,
     sizeof(query_logon_msg_req),
     {
         ROW(query_logon_msg_req, m_msg_id, 0, 2, U),
         ROW(query_logon_msg_req, m_msg_len, 2, 2, U),
         ROW(query_logon_msg_req, m_sequence, 4, 4, U),
         ROW(query_logon_msg_req, m_proto_version, 8, 4, U),
         ROW(query_logon_msg_req, m_login_id, 12, 33, A),
         ROW(query_logon_msg_req, m_password, 45, 33, A),
         ROW(query_logon_msg_req, m_reserved, 78, 2, A),
     }},
    {"change_password_req",
     69,
     80,
     sizeof(change_password_req),
     {
         ROW(change_password_req, m_msg_id, 0, 2, U),
         ROW(change_password_req, m_msg_len, 2, 2, U),
         ROW(change_password_req, m_sequence, 4, 4, U),
         ROW(change_password_req, m_user_id, 8, 4, U),
         ROW(change_password_req, m_old_pwd_md5, 12, 33, A),
         ROW(change_password_req, m_new_pwd_md5, 45, 33, A),
         ROW(change_password_req, m_reserved, 78, 2, A),
     }},
    {"query_user_account_req",
     71,
     16,
     sizeof(query_user_account_req),
     {
         ROW(query_user_account_req, m_msg_id, 0, 2, U),
         ROW(query_user_account_req, m_msg_len, 2, 2, U),
         ROW(query_user_account_req, m_sequence, 4, 4, U),
         ROW(query_user_account_req, m_user_id, 8, 4, U),
         ROW(query_user_account_req, m_reserved, 12, 4, A),
     }},
    {"query_symbol_req",
     72,
     16,
     sizeof(query_symbol_req),
     {
         ROW(query_symbol_req, m_msg_id, 0, 2, U),
         ROW(query_symbol_req, m_msg_len, 2, 2, U),
         ROW(query_symbol_req, m_sequence, 4, 4, U),
         ROW(query_symbol_req, m_user_id, 8, 4, U),
         ROW(query_symbol_req, m_sec_type, 12, 1, U),
         ROW(query_symbol_req, m_reserved, 13, 3, A),
     }},
    {"query_account_position_req",
     73,
     32,
     sizeof(query_account_position_req),
     {
         ROW(query_account_position_req, m_msg_id, 0, 2, U),
         ROW(query_account_position_req, m_msg_len, 2, 2, U),
         ROW(query_account_position_req, m_sequence, 4, 4, U),
         ROW(query_account_position_req, m_user_id, 8, 4, U),
         ROW(query_account_position_req, m_account_id, 12, 16, A),
         ROW(query_account_position_req, m_sec_type, 28, 1, U),
         ROW(query_account_position_req, m_reserved, 29, 3, A),
     }},
    {"rewind_account_order_req",
     74,
     32,
     sizeof(rewind_account_order_req),
     {
         ROW(rewind_account_order_req, m_msg_id, 0, 2, U),
         ROW(rewind_account_order_req, m_msg_len, 2, 2, U),
         ROW(rewind_account_order_req, m_sequence, 4, 4, U),
         ROW(rewind_account_order_req, m_user_id, 8, 4, U),
         ROW(rewind_account_order_req, m_account_id, 12, 16, A),
         ROW(rewind_account_order_req, m_sec_type, 28, 1, U),
         ROW(rewind_account_order_req, m_reserved, 29, 3, A),
     }},
    {"rewind_account_exe_req",
     75,
     32,
     sizeof(rewind_account_exe_req),
     {
         ROW(rewind_account_exe_req, m_msg_id, 0, 2, U),
         ROW(rewind_account_exe_req, m_msg_len, 2, 2, U),
         ROW(rewind_account_exe_req, m_sequence, 4, 4, U),
         ROW(rewind_account_exe_req, m_user_id, 8, 4, U),
         ROW(rewind_account_exe_req, m_account_id, 12, 16, A),
         ROW(rewind_account_exe_req, m_sec_type, 28, 1, U),
         ROW(rewind_account_exe_req, m_rewind_flag, 29, 1, U),
         ROW(rewind_account_exe_req, m_reserved, 30, 2, A),
     }},
    {"query_combo_rule",
     76,
     16,
     sizeof(query_combo_rule),
     {
         ROW(query_combo_rule, m_msg_id, 0, 2, U),
         ROW(query_combo_rule, m_msg_len, 2, 2, U),
         ROW(query_combo_rule, m_sequence, 4, 4, U),
         ROW(query_combo_rule, m_user_id, 8, 4, U),
         ROW(query_combo_rule, m_combo_type, 12, 1, U),
         ROW(query_combo_rule, m_hedge_flag, 13, 1, U),
         ROW(query_combo_rule, m_reserved, 14, 2, A),
     }},
    {"query_account_margin",
     77,
     32,
     sizeof(query_account_margin),
     {
         ROW(query_account_margin, m_msg_id, 0, 2, U),
         ROW(query_account_margin, m_msg_len, 2, 2, U),
         ROW(query_account_margin, m_sequence, 4, 4, U),
         ROW(query_account_margin, m_user_id, 8, 4, U),
         ROW(query_account_margin, m_account_id, 12, 16, A),
         ROW(query_account_margin, m_reserved, 28, 4, A),
     }},
    {"query_account_fee",
     78,
     32,
     sizeof(query_account_fee),
     {
         ROW(query_account_fee, m_msg_id, 0, 2, U),
         ROW(query_account_fee, m_msg_len, 2, 2, U),
         ROW(query_account_fee, m_sequence, 4, 4, U),
         ROW(query_account_fee, m_user_id, 8, 4, U),
         ROW(query_account_fee, m_account_id, 12, 16, A),
         ROW(query_account_fee, m_sec_type, 28, 1, U),
         ROW(query_account_fee, m_reserved, 29, 3, A),
     }},
    {"query_combo_position",
     79,
     32,
     sizeof(query_combo_position),
     {
         ROW(query_combo_position, m_msg_id, 0, 2, U),
         ROW(query_combo_position, m_msg_len, 2, 2, U),
         ROW(query_combo_position, m_sequence, 4, 4, U),
         ROW(query_combo_position, m_account_id, 8, 16, A),
         ROW(query_combo_position, m_user_id, 24, 4, U),
         ROW(query_combo_position, m_reserved, 28, 4, A),
     }},
    {"query_account_bp_req",
     81,
     28,
     sizeof(query_account_bp_req),
     {
         ROW(query_account_bp_req, m_msg_id, 0, 2, U),
         ROW(query_account_bp_req, m_msg_len, 2, 2, U),
         ROW(query_account_bp_req, m_sequence, 4, 4, U),
         ROW(query_account_bp_req, m_user_id, 8, 4, U),
         ROW(query_account_bp_req, m_account_id, 12, 16, A),
     }},
    {"account_risk_real_data_req",
     82,
     28,
     sizeof(account_risk_real_data_req),
     {
         ROW(account_risk_real_data_req, m_msg_id, 0, 2, U),
         ROW(account_risk_real_data_req, m_msg_len, 2, 2, U),
         ROW(account_risk_real_data_req, m_sequence, 4, 4, U),
         ROW(account_risk_real_data_req, m_user_id, 8, 4, U),
         ROW(account_risk_real_data_req, m_account_id, 12, 16, A),
     }},
    {"account_symbol_real_data_req",
     83,
     48,
     sizeof(account_symbol_real_data_req),
     {
         ROW(account_symbol_real_data_req, m_msg_type, 0, 2, U),
         ROW(account_symbol_real_data_req, m_msg_len, 2, 2, U),
         ROW(account_symbol_real_data_req, m_sequence, 4, 4, U),
         ROW(account_symbol_real_data_req, m_user_id, 8, 4, U),
         ROW(account_symbol_real_data_req, m_account_id, 12, 16, A),
         ROW(account_symbol_real_data_req, m_symbol, 28, 20, A),
     }},
    {"query_cash_inout_req",
     85,
     32,
     sizeof(query_cash_inout_req),
     {
         ROW(query_cash_inout_req, m_msg_type, 0, 2, U),
         ROW(query_cash_inout_req, m_msg_len, 2, 2, U),
         ROW(query_cash_inout_req, m_sequence, 4, 4, U),
         ROW(query_cash_inout_req, m_user_id, 8, 4, U),
         ROW(query_cash_inout_req, m_account_id, 12, 16, A),
         ROW(query_cash_inout_req, m_reserved, 28, 4, A),
     }},
    {"rewind_account_quote_req",
     95,
     32,
     sizeof(rewind_account_quote_req),
     {
         ROW(rewind_account_quote_req, m_msg_type, 0, 2, U),
         ROW(rewind_account_quote_req, m_msg_len, 2, 2, U),
         ROW(rewind_account_quote_req, m_sequence, 4, 4, U),
         ROW(rewind_account_quote_req, m_user_id, 8, 4, U),
         ROW(rewind_account_quote_req, m_account_id, 12, 16, A),
         ROW(rewind_account_quote_req, m_sec_type, 28, 1, U),
         ROW(rewind_account_quote_req, m_reserved, 29, 3, A),
     }},
    {"rewind_account_arbi_order_req",
     98,
     32,
     sizeof(rewind_account_arbi_order_req),
     {
         ROW(rewind_account_arbi_order_req, m_msg_type, 0, 2, U),
         ROW(rewind_account_arbi_order_req, m_msg_len, 2, 2, U),
         ROW(rewind_account_arbi_order_req, m_sequence, 4, 4, U),
         ROW(rewind_account_arbi_order_req, m_user_id, 8, 4, U),
         ROW(rewind_account_arbi_order_req, m_account_id, 12, 16, A),
         ROW(rewind_account_arbi_order_req, m_reserved, 28, 4, A),
     }},
    {"query_account_bp_detail_req",
     88,
     28,
     sizeof(query_account_bp_detail_req),
     {
         ROW(query_account_bp_detail_req, m_msg_id, 0, 2, U),
         ROW(query_account_bp_detail_req, m_msg_len, 2, 2, U),
         ROW(query_account_bp_detail_req, m_sequence, 4, 4, U),
         ROW(query_account_bp_detail_req, m_user_id, 8, 4, U),
         ROW(query_account_bp_detail_req, m_account_id, 12, 16, A),
     }},
};

const std::vector<Layout> kResponses = {
    {"query_logon_msg_resp",
     1068,
     56,
     sizeof(query_logon_msg_resp),
     {
         ROW(query_logon_msg_resp, m_msg_id, 0, 2, U),
         ROW(query_logon_msg_resp, m_msg_len, 2, 2, U),
         ROW(query_logon_msg_resp, m_sequence, 4, 4, U),
         ROW(query_logon_msg_resp, Result, 8, 4, U),
         ROW(query_logon_msg_resp, m_login_id, 12, 33, A),
         ROW(query_logon_msg_resp, m_user_id, 45, 4, U),
         ROW(query_logon_msg_resp, m_user_token_cancel_enable, 49, 1, U),
         ROW(query_logon_msg_resp, m_user_selfexec_check_enable, 50, 1, U),
         ROW(query_logon_msg_resp, m_reserved, 51, 5, A),
     }},
    {"change_password_resp",
     1069,
     16,
     sizeof(change_password_resp),
     {
         ROW(change_password_resp, m_msg_id, 0, 2, U),
         ROW(change_password_resp, m_msg_len, 2, 2, U),
         ROW(change_password_resp, m_sequence, 4, 4, U),
         ROW(change_password_resp, m_user_id, 8, 4, U),
         ROW(change_password_resp, m_result_code, 12, 4, U),
     }},
    {"query_user_account_resp",
     1071,
     88,
     sizeof(query_user_account_resp),
     {
         ROW(query_user_account_resp, m_msg_id, 0, 2, U),
         ROW(query_user_account_resp, m_msg_len, 2, 2, U),
         ROW(query_user_account_resp, m_sequence, 4, 4, U),
         ROW(query_user_account_resp, m_last_record_flag, 8, 1, U),
         ROW(query_user_account_resp, m_user_id, 9, 4, U),
         ROW(query_user_account_resp, m_account_id, 13, 16, A),
         ROW(query_user_account_resp, m_previlege, 29, 4, U),
         ROW(query_user_account_resp, m_initial_bp, 33, 8, D),
         ROW(query_user_account_resp, m_available_bp, 41, 8, D),
         ROW(query_user_account_resp, m_margin, 49, 8, D),
         ROW(query_user_account_resp, m_frozen_margin, 57, 8, D),
         ROW(query_user_account_resp, m_commission_fee, 65, 8, D),
         ROW(query_user_account_resp, m_frozen_commission, 73, 8, D),
         ROW(query_user_account_resp, m_account_idx, 81, 1, U),
         ROW(query_user_account_resp, m_reserved, 82, 6, A),
     }},
    {"query_account_bp_resp",
     1081,
     108,
     sizeof(query_account_bp_resp),
     {
         ROW(query_account_bp_resp, m_msg_id, 0, 2, U),
         ROW(query_account_bp_resp, m_msg_len, 2, 2, U),
         ROW(query_account_bp_resp, m_sequence, 4, 4, U),
         ROW(query_account_bp_resp, m_user_id, 8, 4, U),
         ROW(query_account_bp_resp, m_account_id, 12, 16, A),
         ROW(query_account_bp_resp, m_previlege, 28, 4, U),
         ROW(query_account_bp_resp, m_initial_bp, 32, 8, D),
         ROW(query_account_bp_resp, m_available_bp, 40, 8, D),
         ROW(query_account_bp_resp, m_margin, 48, 8, D),
         ROW(query_account_bp_resp, m_frozen_margin, 56, 8, D),
         ROW(query_account_bp_resp, m_commission_fee, 64, 8, D),
         ROW(query_account_bp_resp, m_frozen_commission, 72, 8, D),
         ROW(query_account_bp_resp, m_ovn_init_margin, 80, 8, D),
         ROW(query_account_bp_resp, m_total_liquid_pl, 88, 8, D),
         ROW(query_account_bp_resp, m_total_market_pl, 96, 8, D),
         ROW(query_account_bp_resp, m_account_idx, 104, 1, U),
         ROW(query_account_bp_resp, m_reserved, 105, 3, A),
     }},
    {"query_account_bp_detail_resp",
     1088,
     200,
     sizeof(query_account_bp_detail_resp),
     {
         ROW(query_account_bp_detail_resp, m_msg_id, 0, 2, U),
         ROW(query_account_bp_detail_resp, m_msg_len, 2, 2, U),
         ROW(query_account_bp_detail_resp, m_sequence, 4, 4, U),
         ROW(query_account_bp_detail_resp, m_user_id, 8, 4, U),
         ROW(query_account_bp_detail_resp, m_account_id, 12, 16, A),
         ROW(query_account_bp_detail_resp, m_initial_equity, 28, 8, D),
         ROW(query_account_bp_detail_resp, m_initial_bp, 36, 8, D),
         ROW(query_account_bp_detail_resp, m_ovn_init_margin, 44, 8, D),
         ROW(query_account_bp_detail_resp, m_available_bp, 52, 8, D),
         ROW(query_account_bp_detail_resp, m_margin, 60, 8, D),
         ROW(query_account_bp_detail_resp, m_frozen_margin, 68, 8, D),
         ROW(query_account_bp_detail_resp, m_commission_fee, 76, 8, D),
         ROW(query_account_bp_detail_resp, m_frozen_commission, 84, 8, D),
         ROW(query_account_bp_detail_resp, m_opt_premium_balance, 92, 8, D),
         ROW(query_account_bp_detail_resp, m_opt_frozen_premium, 100, 8, D),
         ROW(query_account_bp_detail_resp, m_comm_declaration_fee, 108, 8, D),
         ROW(query_account_bp_detail_resp, m_step_declaration_fee, 116, 8, D),
         ROW(query_account_bp_detail_resp, m_cash_in_total, 124, 8, D),
         ROW(query_account_bp_detail_resp, m_cash_out_total, 132, 8, D),
         ROW(query_account_bp_detail_resp, m_total_liquid_pl, 140, 8, D),
         ROW(query_account_bp_detail_resp, m_total_market_pl, 148, 8, D),
         ROW(query_account_bp_detail_resp, m_risk_rate, 156, 8, D),
         ROW(query_account_bp_detail_resp, m_reserved1, 164, 1, C),
         ROW(query_account_bp_detail_resp, m_amount_count, 165, 8, U),
         ROW(query_account_bp_detail_resp, m_account_idx, 173, 1, U),
         ROW(query_account_bp_detail_resp, m_reserved, 174, 26, A),
     }},
    {"account_cash_inout_notify",
     1099,
     64,
     sizeof(account_cash_inout_notify),
     {
         ROW(account_cash_inout_notify, m_msg_id, 0, 2, U),
         ROW(account_cash_inout_notify, m_msg_len, 2, 2, U),
         ROW(account_cash_inout_notify, m_sequence, 4, 4, U),
         ROW(account_cash_inout_notify, m_user_id, 8, 4, U),
         ROW(account_cash_inout_notify, m_account_id, 12, 16, A),
         ROW(account_cash_inout_notify, m_available_bp, 28, 8, D),
         ROW(account_cash_inout_notify, m_cash_in_out, 36, 8, D),
         ROW(account_cash_inout_notify, m_cash_in_total, 44, 8, D),
         ROW(account_cash_inout_notify, m_cash_out_total, 52, 8, D),
         ROW(account_cash_inout_notify, m_reserved, 60, 4, A),
     }},
    {"query_symbol_resp",
     1072,
     139,
     sizeof(query_symbol_resp),
     {
         ROW(query_symbol_resp, m_msg_id, 0, 2, U),
         ROW(query_symbol_resp, m_msg_len, 2, 2, U),
         ROW(query_symbol_resp, m_sequence, 4, 4, U),
         ROW(query_symbol_resp, m_last_record_flag, 8, 1, U),
         ROW(query_symbol_resp, m_instrument_type, 9, 1, U),
         ROW(query_symbol_resp, m_symbol, 10, 20, A),
         ROW(query_symbol_resp, m_instrument_name, 30, 21, A),
         ALT(query_symbol_resp, m_underlying_fut_symbol, 30, 20, A),
         ALT(query_symbol_resp, m_call_put, 50, 1, C),
         ROW(query_symbol_resp, m_exchange_id, 51, 1, U),
         ROW(query_symbol_resp, m_product_id, 52, 32, A),
         ROW(query_symbol_resp, m_delivery_year, 84, 2, U),
         ROW(query_symbol_resp, m_delivery_month, 86, 1, U),
         ROW(query_symbol_resp, m_max_market_order_volume, 87, 4, U),
         ROW(query_symbol_resp, m_min_market_order_volume, 91, 4, U),
         ROW(query_symbol_resp, m_max_limit_order_volume, 95, 4, U),
         ROW(query_symbol_resp, m_min_limit_order_volume, 99, 4, U),
         ROW(query_symbol_resp, m_volume_multiple, 103, 4, U),
         ROW(query_symbol_resp, m_price_tick, 107, 8, D),
         ROW(query_symbol_resp, m_create_date, 115, 4, U),
         ROW(query_symbol_resp, m_open_date, 119, 4, U),
         ROW(query_symbol_resp, m_expire_date, 123, 4, U),
         ROW(query_symbol_resp, m_start_deliv_date, 127, 4, U),
         ROW(query_symbol_resp, m_end_deliv_date, 131, 4, U),
         ALT(query_symbol_resp, m_strike_price, 127, 8, D),
         ROW(query_symbol_resp, m_inst_life_phase, 135, 1, U),
         ROW(query_symbol_resp, m_is_trading, 136, 1, U),
         ROW(query_symbol_resp, m_symbol_idx, 137, 2, U),
     }},
    {"query_combo_rule_resp",
     1076,
     192,
     sizeof(query_combo_rule_resp),
     {
         ROW(query_combo_rule_resp, m_msg_id, 0, 2, U),
         ROW(query_combo_rule_resp, m_msg_len, 2, 2, U),
         ROW(query_combo_rule_resp, m_sequence, 4, 4, U),
         ROW(query_combo_rule_resp, m_last_record_flag, 8, 1, U),
         ROW(query_combo_rule_resp, m_rule_prod_type, 9, 1, U),
         ROW(query_combo_rule_resp, m_prod_group, 10, 13, A),
         ROW(query_combo_rule_resp, m_trading_date, 23, 9, A),
         ROW(query_combo_rule_resp, m_combo_type, 32, 1, U),
         ROW(query_combo_rule_resp, m_priority, 33, 4, U),
         ROW(query_combo_rule_resp, m_hedge_flag, 37, 1, U),
         ROW(query_combo_rule_resp, m_combo_margin, 38, 8, D),
         ROW(query_combo_rule_resp, m_combo_symbol, 46, 80, A),
         ROW(query_combo_rule_resp, m_instr_id, 126, 4, U),
         ROW(query_combo_rule_resp, m_combo_leg1, 130, 20, A),
         ROW(query_combo_rule_resp, m_combo_leg2, 150, 20, A),
         ROW(query_combo_rule_resp, m_direction_leg1, 170, 1, U),
         ROW(query_combo_rule_resp, m_direction_leg2, 171, 1, U),
         ROW(query_combo_rule_resp, m_region_leg1, 172, 8, D),
         ROW(query_combo_rule_resp, m_region_leg2, 180, 8, D),
         ROW(query_combo_rule_resp, m_reserved, 188, 4, A),
     }},
    {"query_account_margin_resp",
     1077,
     96,
     sizeof(query_account_margin_resp),
     {
         ROW(query_account_margin_resp, m_msg_id, 0, 2, U),
         ROW(query_account_margin_resp, m_msg_len, 2, 2, U),
         ROW(query_account_margin_resp, m_sequence, 4, 4, U),
         ROW(query_account_margin_resp, m_last_record_flag, 8, 1, U),
         ROW(query_account_margin_resp, m_account_id, 9, 16, A),
         ROW(query_account_margin_resp, m_hedge_flag, 25, 1, U),
         ROW(query_account_margin_resp, m_symbol, 26, 20, A),
         ROW(query_account_margin_resp, m_exchange_id, 46, 1, U),
         ROW(query_account_margin_resp, m_prod_id, 47, 32, A),
         ROW(query_account_margin_resp, m_long_margin_ratio, 79, 8, D),
         ROW(query_account_margin_resp, m_short_margin_ratio, 87, 8, D),
         ROW(query_account_margin_resp, m_reserved, 95, 1, C),
     }},
    {"query_account_fee_resp",
     1078,
     128,
     sizeof(query_account_fee_resp),
     {
         ROW(query_account_fee_resp, m_msg_id, 0, 2, U),
         ROW(query_account_fee_resp, m_msg_len, 2, 2, U),
         ROW(query_account_fee_resp, m_sequence, 4, 4, U),
         ROW(query_account_fee_resp, m_last_record_flag, 8, 1, U),
         ROW(query_account_fee_resp, m_account_id, 9, 16, A),
         ROW(query_account_fee_resp, m_hedge_flag, 25, 1, U),
         ROW(query_account_fee_resp, m_symbol, 26, 20, A),
         ROW(query_account_fee_resp, m_exchange_id, 46, 1, U),
         ROW(query_account_fee_resp, m_prod_id, 47, 32, A),
         ROW(query_account_fee_resp, m_open_ratio_by_money, 79, 8, D),
         ROW(query_account_fee_resp, m_open_ratio_by_volume, 87, 8, D),
         ROW(query_account_fee_resp, m_close_yesterday_ratio_by_money, 95, 8, D),
         ROW(query_account_fee_resp, m_close_yesterday_ratio_by_volume, 103, 8, D),
         ROW(query_account_fee_resp, m_close_today_ratio_by_money, 111, 8, D),
         ROW(query_account_fee_resp, m_close_today_ratio_by_volume, 119, 8, D),
         ROW(query_account_fee_resp, m_pos_dir, 127, 1, U),
     }},
    {"query_account_fut_position_resp",
     1073,
     152,
     sizeof(query_account_fut_position_resp),
     {
         ROW(query_account_fut_position_resp, m_msg_id, 0, 2, U),
         ROW(query_account_fut_position_resp, m_msg_len, 2, 2, U),
         ROW(query_account_fut_position_resp, m_sequence, 4, 4, U),
         ROW(query_account_fut_position_resp, m_last_record_flag, 8, 1, U),
         ROW(query_account_fut_position_resp, m_user_id, 9, 4, U),
         ROW(query_account_fut_position_resp, m_account_id, 13, 16, A),
         ROW(query_account_fut_position_resp, m_request_id, 29, 4, U),
         ROW(query_account_fut_position_resp, m_symbol, 33, 20, A),
         ROW(query_account_fut_position_resp, m_posi_direction, 53, 1, U),
         ROW(query_account_fut_position_resp, m_init_ovn_qty, 54, 4, U),
         ROW(query_account_fut_position_resp, m_init_ovn_margin, 58, 8, D),
         ROW(query_account_fut_position_resp, m_ovn_qty, 66, 4, U),
         ROW(query_account_fut_position_resp, m_frozen_ovn_qty, 70, 4, U),
         ROW(query_account_fut_position_resp, m_today_qty, 74, 4, U),
         ROW(query_account_fut_position_resp, m_frozen_today_qty, 78, 4, U),
         ROW(query_account_fut_position_resp, m_ovn_occupied_margin, 82, 8, D),
         ROW(query_account_fut_position_resp, m_today_occupied_margin, 90, 8, D),
         ROW(query_account_fut_position_resp, m_total_fee, 98, 8, D),
         ROW(query_account_fut_position_resp, m_ovn_liquid_pl, 106, 8, D),
         ROW(query_account_fut_position_resp, m_today_liquid_pl, 114, 8, D),
         ROW(query_account_fut_position_resp, m_ovn_market_pl, 122, 8, D),
         ROW(query_account_fut_position_resp, m_today_market_pl, 130, 8, D),
         ROW(query_account_fut_position_resp, m_pos_cost, 138, 8, D),
         ROW(query_account_fut_position_resp, m_hedge_flag, 146, 1, U),
         ROW(query_account_fut_position_resp, m_reserved, 147, 5, A),
     }},
    {"query_account_opt_position_resp",
     1092,
     167,
     sizeof(query_account_opt_position_resp),
     {
         ROW(query_account_opt_position_resp, msg_id, 0, 2, U),
         ROW(query_account_opt_position_resp, msg_len, 2, 2, U),
         ROW(query_account_opt_position_resp, sequence, 4, 4, U),
         ROW(query_account_opt_position_resp, last_record_flag, 8, 1, U),
         ROW(query_account_opt_position_resp, user_id, 9, 4, U),
         ROW(query_account_opt_position_resp, account_id, 13, 16, A),
         ROW(query_account_opt_position_resp, request_id, 29, 4, U),
         ROW(query_account_opt_position_resp, exchange_id, 33, 4, U),
         ROW(query_account_opt_position_resp, full_symbol, 37, 20, A),
         ROW(query_account_opt_position_resp, underlying_symbol, 57, 20, A),
         ROW(query_account_opt_position_resp, call_put, 77, 1, C),
         ROW(query_account_opt_position_resp, strike_price, 78, 8, D),
         ROW(query_account_opt_position_resp, expire_date, 86, 9, A),
         ROW(query_account_opt_position_resp, pos_dir, 95, 1, U),
         ROW(query_account_opt_position_resp, init_ovn_qty, 96, 4, U),
         ROW(query_account_opt_position_resp, init_ovn_margin, 100, 8, D),
         ROW(query_account_opt_position_resp, cur_today_qty, 108, 4, U),
         ROW(query_account_opt_position_resp, cover_today_locked_qty, 112, 4, U),
         ROW(query_account_opt_position_resp, exec_pending_qty, 116, 4, U),
         ROW(query_account_opt_position_resp, exec_applied_qty, 120, 4, U),
         ROW(query_account_opt_position_resp, cxl_exec_pending_qty, 124, 4, U),
         ROW(query_account_opt_position_resp, liquid_pl, 128, 8, D),
         ROW(query_account_opt_position_resp, avg_price, 136, 8, D),
         ROW(query_account_opt_position_resp, cur_ovn_qty, 144, 4, U),
         ROW(query_account_opt_position_resp, cover_ovn_locked_qty, 148, 4, U),
         ROW(query_account_opt_position_resp, total_commission_fee, 152, 8, D),
         ROW(query_account_opt_position_resp, hedge_flag, 160, 1, U),
         ROW(query_account_opt_position_resp, reserved, 161, 6, A),
     }},
    {"query_combo_position_resp",
     1079,
     188,
     sizeof(query_combo_position_resp),
     {
         ROW(query_combo_position_resp, m_msg_id, 0, 2, U),
         ROW(query_combo_position_resp, m_msg_len, 2, 2, U),
         ROW(query_combo_position_resp, m_sequence, 4, 4, U),
         ROW(query_combo_position_resp, m_last_record_flag, 8, 1, U),
         ROW(query_combo_position_resp, m_account_id, 9, 16, A),
         ROW(query_combo_position_resp, m_hedge_flag, 25, 1, U),
         ROW(query_combo_position_resp, m_instr_id, 26, 4, U),
         ROW(query_combo_position_resp, m_combo_type, 30, 1, U),
         ROW(query_combo_position_resp, m_combo_symbol, 31, 80, A),
         ROW(query_combo_position_resp, m_first_symbol, 111, 20, A),
         ROW(query_combo_position_resp, m_first_direction, 131, 1, U),
         ROW(query_combo_position_resp, m_second_symbol, 132, 20, A),
         ROW(query_combo_position_resp, m_second_direction, 152, 1, U),
         ROW(query_combo_position_resp, m_qty, 153, 4, U),
         ROW(query_combo_position_resp, m_init_qty, 157, 4, U),
         ROW(query_combo_position_resp, m_combo_margin, 161, 8, D),
         ROW(query_combo_position_resp, m_init_combo_margin, 169, 8, D),
         ROW(query_combo_position_resp, m_return_margin, 177, 8, D),
         ROW(query_combo_position_resp, m_reserved, 185, 3, A),
     }},
    {"rewind_accoutn_order_response",
     1074,
     144,
     sizeof(rewind_accoutn_order_response),
     {
         ROW(rewind_accoutn_order_response, m_msg_id, 0, 2, U),
         ROW(rewind_accoutn_order_response, m_msg_len, 2, 2, U),
         ROW(rewind_accoutn_order_response, m_sequence, 4, 4, U),
         ROW(rewind_accoutn_order_response, m_last_record_flag, 8, 1, U),
         ROW(rewind_accoutn_order_response, m_user_id, 9, 4, U),
         ROW(rewind_accoutn_order_response, m_timestamp, 13, 8, U),
         ROW(rewind_accoutn_order_response, m_order_token, 21, 4, U),
         ROW(rewind_accoutn_order_response, m_instrument_type, 25, 1, U),
         ROW(rewind_accoutn_order_response, m_symbol, 26, 20, A),
         ROW(rewind_accoutn_order_response, m_order_price_type, 46, 1, U),
         ROW(rewind_accoutn_order_response, m_side_type, 47, 1, U),
         ROW(rewind_accoutn_order_response, m_quantity, 48, 4, U),
         ROW(rewind_accoutn_order_response, m_price, 52, 8, D),
         ROW(rewind_accoutn_order_response, m_hedge_flag, 60, 1, U),
         ROW(rewind_accoutn_order_response, m_stop_price, 61, 8, D),
         ROW(rewind_accoutn_order_response, m_ioc, 69, 1, U),
         ROW(rewind_accoutn_order_response, m_minimum_quantity, 70, 4, U),
         ROW(rewind_accoutn_order_response, m_account_id, 74, 16, A),
         ROW(rewind_accoutn_order_response, m_exchange_id, 90, 1, U),
         ROW(rewind_accoutn_order_response, m_order_state, 91, 1, U),
         ROW(rewind_accoutn_order_response, m_cxl_rjt_flag, 92, 1, U),
         ROW(rewind_accoutn_order_response, m_close_time, 93, 8, U),
         ROW(rewind_accoutn_order_response, m_filled_qty, 101, 4, U),
         ROW(rewind_accoutn_order_response, m_internal_order_id, 105, 4, U),
         ROW(rewind_accoutn_order_response, m_market_order_id, 109, 24, A),
         ROW(rewind_accoutn_order_response, m_mkt_custom_field, 133, 4, U),
         ROW(rewind_accoutn_order_response, m_symbol_flag, 137, 1, U),
         ROW(rewind_accoutn_order_response, m_reserved1, 138, 3, A),
         ROW(rewind_accoutn_order_response, m_market_session_id, 141, 1, U),
         ROW(rewind_accoutn_order_response, m_reserved, 142, 2, A),
     }},
    {"rewind_account_arbi_order_response",
     1098,
     144,
     sizeof(rewind_account_arbi_order_response),
     {
         ROW(rewind_account_arbi_order_response, m_msg_id, 0, 2, U),
         ROW(rewind_account_arbi_order_response, m_msg_len, 2, 2, U),
         ROW(rewind_account_arbi_order_response, m_sequence, 4, 4, U),
         ROW(rewind_account_arbi_order_response, m_last_record_flag, 8, 1, U),
         ROW(rewind_account_arbi_order_response, m_user_id, 9, 4, U),
         ROW(rewind_account_arbi_order_response, m_timestamp, 13, 8, U),
         ROW(rewind_account_arbi_order_response, m_order_token, 21, 4, U),
         ROW(rewind_account_arbi_order_response, m_order_type, 25, 1, U),
         ROW(rewind_account_arbi_order_response, m_symbol, 26, 20, A),
         ROW(rewind_account_arbi_order_response, m_order_price_type, 46, 1, U),
         ROW(rewind_account_arbi_order_response, m_side_type, 47, 1, U),
         ROW(rewind_account_arbi_order_response, m_quantity, 48, 4, U),
         ROW(rewind_account_arbi_order_response, m_price, 52, 8, D),
         ROW(rewind_account_arbi_order_response, m_hedge_flag, 60, 1, U),
         ROW(rewind_account_arbi_order_response, m_stop_price, 61, 8, D),
         ROW(rewind_account_arbi_order_response, m_ioc, 69, 1, U),
         ROW(rewind_account_arbi_order_response, m_minimum_quantity, 70, 4, U),
         ROW(rewind_account_arbi_order_response, m_account_id, 74, 16, A),
         ROW(rewind_account_arbi_order_response, m_exchange_id, 90, 1, U),
         ROW(rewind_account_arbi_order_response, m_order_state, 91, 1, U),
         ROW(rewind_account_arbi_order_response, m_cxl_rjt_flag, 92, 1, U),
         ROW(rewind_account_arbi_order_response, m_close_time, 93, 8, U),
         ROW(rewind_account_arbi_order_response, m_filled_qty, 101, 4, U),
         ROW(rewind_account_arbi_order_response, m_internal_order_id, 105, 4, U),
         ROW(rewind_account_arbi_order_response, m_market_order_id, 109, 24, A),
         ROW(rewind_account_arbi_order_response, m_mkt_custom_field, 133, 4, U),
         ROW(rewind_account_arbi_order_response, m_reserved1, 137, 4, A),
         ROW(rewind_account_arbi_order_response, m_market_session_id, 141, 1, U),
         ROW(rewind_account_arbi_order_response, m_reserved, 142, 2, A),
     }},
    {"rewind_order_execution_response",
     1075,
     88,
     sizeof(rewind_order_execution_response),
     {
         ROW(rewind_order_execution_response, m_msg_id, 0, 2, U),
         ROW(rewind_order_execution_response, m_msg_len, 2, 2, U),
         ROW(rewind_order_execution_response, m_sequence, 4, 4, U),
         ROW(rewind_order_execution_response, m_last_record_flag, 8, 1, U),
         ROW(rewind_order_execution_response, m_user_id, 9, 4, U),
         ROW(rewind_order_execution_response, m_account_id, 13, 16, A),
         ROW(rewind_order_execution_response, m_timestamp, 29, 8, U),
         ROW(rewind_order_execution_response, m_order_token, 37, 4, U),
         ROW(rewind_order_execution_response, m_internal_order_id, 41, 4, U),
         ROW(rewind_order_execution_response, m_executed_quantity, 45, 4, U),
         ROW(rewind_order_execution_response, m_execution_price, 49, 8, D),
         ROW(rewind_order_execution_response, m_market_exec_id, 57, 24, A),
         ROW(rewind_order_execution_response, m_leg_no, 81, 1, U),
         ROW(rewind_order_execution_response, m_order_type, 82, 1, U),
         ROW(rewind_order_execution_response, m_reserved, 83, 5, A),
     }},
    {"rewind_order_execution_response_ex",
     1063,
     112,
     sizeof(rewind_order_execution_response_ex),
     {
         ROW(rewind_order_execution_response_ex, m_msg_id, 0, 2, U),
         ROW(rewind_order_execution_response_ex, m_msg_len, 2, 2, U),
         ROW(rewind_order_execution_response_ex, m_sequence, 4, 4, U),
         ROW(rewind_order_execution_response_ex, m_last_record_flag, 8, 1, U),
         ROW(rewind_order_execution_response_ex, m_user_id, 9, 4, U),
         ROW(rewind_order_execution_response_ex, m_account_id, 13, 16, A),
         ROW(rewind_order_execution_response_ex, m_timestamp, 29, 8, U),
         ROW(rewind_order_execution_response_ex, m_order_token, 37, 4, U),
         ROW(rewind_order_execution_response_ex, m_internal_order_id, 41, 4, U),
         ROW(rewind_order_execution_response_ex, m_executed_quantity, 45, 4, U),
         ROW(rewind_order_execution_response_ex, m_execution_price, 49, 8, D),
         ROW(rewind_order_execution_response_ex, m_market_exec_id, 57, 24, A),
         ROW(rewind_order_execution_response_ex, m_leg_no, 81, 1, U),
         ROW(rewind_order_execution_response_ex, m_order_type, 82, 1, U),
         ROW(rewind_order_execution_response_ex, m_symbol, 83, 20, A),
         ROW(rewind_order_execution_response_ex, m_side_type, 103, 1, U),
         ROW(rewind_order_execution_response_ex, m_reserved, 104, 8, A),
     }},
    {"rewind_account_quote_response",
     1095,
     248,
     sizeof(rewind_account_quote_response),
     {
         ROW(rewind_account_quote_response, m_msg_id, 0, 2, U),
         ROW(rewind_account_quote_response, m_msg_len, 2, 2, U),
         ROW(rewind_account_quote_response, m_sequence, 4, 4, U),
         ROW(rewind_account_quote_response, m_last_record_flag, 8, 1, U),
         ROW(rewind_account_quote_response, m_user_id, 9, 4, U),
         ROW(rewind_account_quote_response, m_sec_type, 13, 1, U),
         ROW(rewind_account_quote_response, m_quote_token, 14, 4, U),
         ROW(rewind_account_quote_response, m_ioc, 18, 1, U),
         ROW(rewind_account_quote_response, reserved, 19, 7, A),
         ROW(rewind_account_quote_response, m_internal_quote_id, 26, 4, U),
         ROW(rewind_account_quote_response, m_bid_internal_quote_id, 30, 4, U),
         ROW(rewind_account_quote_response, m_ask_internal_quote_id, 34, 4, U),
         ROW(rewind_account_quote_response, m_mkt_quote_id, 38, 24, A),
         ROW(rewind_account_quote_response, m_bid_mkt_order_id, 62, 24, A),
         ROW(rewind_account_quote_response, m_ask_mkt_order_id, 86, 24, A),
         ROW(rewind_account_quote_response, m_account_id, 110, 16, A),
         ROW(rewind_account_quote_response, m_exchange_id, 126, 1, U),
         ROW(rewind_account_quote_response, m_symbol, 127, 20, A),
         ROW(rewind_account_quote_response, m_bid_offset_flag, 147, 1, U),
         ROW(rewind_account_quote_response, m_bid_volume, 148, 4, U),
         ROW(rewind_account_quote_response, m_bid_price, 152, 8, D),
         ROW(rewind_account_quote_response, m_bid_hedge_flag, 160, 1, U),
         ROW(rewind_account_quote_response, m_bid_state, 161, 1, U),
         ROW(rewind_account_quote_response, m_bid_fill_volume, 162, 4, U),
         ROW(rewind_account_quote_response, m_ask_offset_flag, 166, 1, U),
         ROW(rewind_account_quote_response, m_ask_volume, 167, 4, U),
         ROW(rewind_account_quote_response, m_ask_price, 171, 8, D),
         ROW(rewind_account_quote_response, m_ask_hedge_flag, 179, 1, U),
         ROW(rewind_account_quote_response, m_ask_state, 180, 1, U),
         ROW(rewind_account_quote_response, m_ask_fill_volume, 181, 4, U),
         ROW(rewind_account_quote_response, m_mkt_custom_field, 185, 4, U),
         ROW(rewind_account_quote_response, m_req_for_quote_id, 189, 24, A),
         ROW(rewind_account_quote_response, m_reserved2, 213, 35, A),
     }},
    {"account_risk_real_data_resp",
     1082,
     1006,
     sizeof(account_risk_real_data_resp),
     {
         ROW(account_risk_real_data_resp, m_msg_type, 0, 2, U),
         ROW(account_risk_real_data_resp, m_msg_len, 2, 2, U),
         ROW(account_risk_real_data_resp, m_sequence, 4, 4, U),
         ROW(account_risk_real_data_resp, m_account_id, 8, 16, A),
         ROW(account_risk_real_data_resp, m_user_id, 24, 4, U),
         ROW(account_risk_real_data_resp, m_last_update_time, 28, 8, U),
         ROW(account_risk_real_data_resp, m_account_risk_real_data, 36, 896, R),
         ROW(account_risk_real_data_resp, m_account_mpl_data, 932, 16, R),
         ROW(account_risk_real_data_resp, m_20_accumulate_val, 948, 8, D),
         ROW(account_risk_real_data_resp, m_27_accumulate_val, 956, 8, S),
         ROW(account_risk_real_data_resp, m_28_accumulate_val, 964, 8, D),
         ROW(account_risk_real_data_resp, m_40_accumulate_val, 972, 8, D),
         ROW(account_risk_real_data_resp, m_60_accumulate_val, 980, 8, D),
         ROW(account_risk_real_data_resp, m_61_accumulate_val, 988, 8, D),
         ROW(account_risk_real_data_resp, m_reserved, 996, 10, A),
     }},
    {"account_symbol_real_data_resp",
     1083,
     448,
     sizeof(account_symbol_real_data_resp),
     {
         ROW(account_symbol_real_data_resp, m_msg_type, 0, 2, U),
         ROW(account_symbol_real_data_resp, m_msg_len, 2, 2, U),
         ROW(account_symbol_real_data_resp, m_sequence, 4, 4, U),
         ROW(account_symbol_real_data_resp, m_user_id, 8, 4, U),
         ROW(account_symbol_real_data_resp, m_account_id, 12, 16, A),
         ROW(account_symbol_real_data_resp, m_symbol, 28, 20, A),
         ROW(account_symbol_real_data_resp, m_last_update_time, 48, 8, U),
         ROW(account_symbol_real_data_resp, m_account_symbol_risk_data, 56, 256, R),
         ROW(account_symbol_real_data_resp, m_symbol_account_risk_data, 312, 64, R),
         ROW(account_symbol_real_data_resp, m_45_accumulate_val, 376, 8, D),
         ROW(account_symbol_real_data_resp, m_46_accumulate_val, 384, 8, D),
         ROW(account_symbol_real_data_resp, m_47_accumulate_val, 392, 8, D),
         ROW(account_symbol_real_data_resp, m_48_accumulate_val, 400, 8, D),
         ROW(account_symbol_real_data_resp, m_49_accumulate_val, 408, 8, D),
         ROW(account_symbol_real_data_resp, m_50_accumulate_val, 416, 8, D),
         ROW(account_symbol_real_data_resp, m_51_accumulate_val, 424, 8, D),
         ROW(account_symbol_real_data_resp, m_52_accumulate_val, 432, 8, D),
         ROW(account_symbol_real_data_resp, m_53_accumulate_val, 440, 8, D),
     }},
    {"report_account_bp",
     1093,
     108,
     sizeof(report_account_bp),
     {
         ROW(report_account_bp, m_msg_id, 0, 2, U),
         ROW(report_account_bp, m_msg_len, 2, 2, U),
         ROW(report_account_bp, m_sequence, 4, 4, U),
         ROW(report_account_bp, m_user_id, 8, 4, U),
         ROW(report_account_bp, m_account_id, 12, 16, A),
         ROW(report_account_bp, m_previlege, 28, 4, U),
         ROW(report_account_bp, m_initial_bp, 32, 8, D),
         ROW(report_account_bp, m_available_bp, 40, 8, D),
         ROW(report_account_bp, m_margin, 48, 8, D),
         ROW(report_account_bp, m_frozen_margin, 56, 8, D),
         ROW(report_account_bp, m_commission_fee, 64, 8, D),
         ROW(report_account_bp, m_frozen_commission, 72, 8, D),
         ROW(report_account_bp, m_ovn_init_margin, 80, 8, D),
         ROW(report_account_bp, m_total_liquid_pl, 88, 8, D),
         ROW(report_account_bp, m_total_market_pl, 96, 8, D),
         ROW(report_account_bp, m_account_idx, 104, 1, U),
         ROW(report_account_bp, m_reserved, 105, 3, A),
     }},
};

const std::vector<Layout> kHv27Responses = {
    {"hv27_query_logon_msg_resp",
     1068,
     56,
     sizeof(hv27_query_logon_msg_resp),
     {
         ROW(hv27_query_logon_msg_resp, m_msg_id, 0, 2, U),
         ROW(hv27_query_logon_msg_resp, m_msg_len, 2, 2, U),
         ROW(hv27_query_logon_msg_resp, m_sequence, 4, 4, U),
         ROW(hv27_query_logon_msg_resp, m_result, 8, 4, U),
         ROW(hv27_query_logon_msg_resp, m_login_id, 12, 33, A),
         ROW(hv27_query_logon_msg_resp, m_user_id, 45, 4, U),
         ROW(hv27_query_logon_msg_resp, m_user_token_cancel_enable, 49, 1, U),
         ROW(hv27_query_logon_msg_resp, m_user_selfexec_check_enable, 50, 1, U),
         ROW(hv27_query_logon_msg_resp, m_version_flag, 51, 1, U),
         ROW(hv27_query_logon_msg_resp, m_reserved, 52, 4, A),
     }},
    {"hv27_query_account_bp_detail_resp",
     1088,
     200,
     sizeof(hv27_query_account_bp_detail_resp),
     {
         ROW(hv27_query_account_bp_detail_resp, m_msg_id, 0, 2, U),
         ROW(hv27_query_account_bp_detail_resp, m_msg_len, 2, 2, U),
         ROW(hv27_query_account_bp_detail_resp, m_sequence, 4, 4, U),
         ROW(hv27_query_account_bp_detail_resp, m_user_id, 8, 4, U),
         ROW(hv27_query_account_bp_detail_resp, m_account_id, 12, 16, A),
         ROW(hv27_query_account_bp_detail_resp, m_initial_equity, 28, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_initial_bp, 36, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_ovn_init_margin, 44, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_available_bp, 52, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_margin, 60, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_frozen_margin, 68, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_commission_fee, 76, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_frozen_commission, 84, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_opt_premium_balance, 92, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_opt_frozen_premium, 100, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_comm_declaration_fee, 108, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_step_declaration_fee, 116, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_cash_in_total, 124, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_cash_out_total, 132, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_total_liquid_pl, 140, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_total_market_pl, 148, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_risk_rate, 156, 8, D),
         ROW(hv27_query_account_bp_detail_resp, m_push_mode, 164, 1, C),
         ROW(hv27_query_account_bp_detail_resp, m_amount_count, 165, 8, U),
         ROW(hv27_query_account_bp_detail_resp, m_reserved, 173, 27, A),
     }},
    {"hv27_rewind_order_execution_response",
     1075,
     112,
     sizeof(hv27_rewind_order_execution_response),
     {
         ROW(hv27_rewind_order_execution_response, m_msg_id, 0, 2, U),
         ROW(hv27_rewind_order_execution_response, m_msg_len, 2, 2, U),
         ROW(hv27_rewind_order_execution_response, m_sequence, 4, 4, U),
         ROW(hv27_rewind_order_execution_response, m_last_record_flag, 8, 1, U),
         ROW(hv27_rewind_order_execution_response, m_user_id, 9, 4, U),
         ROW(hv27_rewind_order_execution_response, m_account_id, 13, 16, A),
         ROW(hv27_rewind_order_execution_response, m_timestamp, 29, 8, U),
         ROW(hv27_rewind_order_execution_response, m_order_token, 37, 4, U),
         ROW(hv27_rewind_order_execution_response, m_internal_order_id, 41, 4, U),
         ROW(hv27_rewind_order_execution_response, m_executed_quantity, 45, 4, U),
         ROW(hv27_rewind_order_execution_response, m_execution_price, 49, 8, D),
         ROW(hv27_rewind_order_execution_response, m_market_exec_id, 57, 24, A),
         ROW(hv27_rewind_order_execution_response, m_leg_no, 81, 1, U),
         ROW(hv27_rewind_order_execution_response, m_order_type, 82, 1, U),
         ROW(hv27_rewind_order_execution_response, m_symbol, 83, 20, A),
         ROW(hv27_rewind_order_execution_response, m_side_type, 103, 1, U),
         ROW(hv27_rewind_order_execution_response, m_reserved, 104, 8, A),
     }},
    {"hv27_account_risk_real_data_resp",
     1082,
     84,
     sizeof(hv27_account_risk_real_data_resp),
     {
         ROW(hv27_account_risk_real_data_resp, m_msg_id, 0, 2, U),
         ROW(hv27_account_risk_real_data_resp, m_msg_len, 2, 2, U),
         ROW(hv27_account_risk_real_data_resp, m_sequence, 4, 4, U),
         ROW(hv27_account_risk_real_data_resp, m_account_id, 8, 16, A),
         ROW(hv27_account_risk_real_data_resp, m_user_id, 24, 4, U),
         ROW(hv27_account_risk_real_data_resp, m_last_update_time, 28, 8, U),
         ROW(hv27_account_risk_real_data_resp, m_account_risk_real_data, 36, 32, R),
         ROW(hv27_account_risk_real_data_resp, m_account_mpl_data, 68, 16, R),
     }},
    {"hv27_query_err_resp",
     1064,
     24,
     sizeof(hv27_query_err_resp),
     {
         ROW(hv27_query_err_resp, m_msg_id, 0, 2, U),
         ROW(hv27_query_err_resp, m_msg_len, 2, 2, U),
         ROW(hv27_query_err_resp, m_sequence, 4, 4, U),
         ROW(hv27_query_err_resp, m_user_id, 8, 4, U),
         ROW(hv27_query_err_resp, m_sub_msg_id, 12, 2, U),
         ROW(hv27_query_err_resp, m_error_id, 14, 4, U),
         ROW(hv27_query_err_resp, m_reserved, 18, 6, A),
     }},
};

const std::vector<Layout> kSubRecords = {
    {"account_risk_real_data",
     0,
     896,
     sizeof(account_risk_real_data),
     {
         ROW(account_risk_real_data, m_43_limit_val, 0, 8, D),
         ROW(account_risk_real_data, m_43_accumulate_val, 8, 8, D),
         ROW(account_risk_real_data, m_38_limit_val, 16, 8, D),
         ROW(account_risk_real_data, m_38_accumulate_val, 24, 8, D),
         ROW(account_risk_real_data, m_41_limit_val, 32, 8, S),
         ROW(account_risk_real_data, m_41_accumulate_val, 40, 8, S),
         ROW(account_risk_real_data, m_44_limit_val, 48, 8, D),
         ROW(account_risk_real_data, m_44_accumulate_val, 56, 8, D),
         ROW(account_risk_real_data, m_29_limit_val, 64, 8, S),
         ROW(account_risk_real_data, m_29_accumulate_val, 72, 8, S),
         ROW(account_risk_real_data, m_42_limit_val, 80, 8, S),
         ROW(account_risk_real_data, m_42_accumulate_val, 88, 8, S),
         ROW(account_risk_real_data, m_54_limit_val, 96, 8, S),
         ROW(account_risk_real_data, m_54_accumulate_val, 104, 8, S),
         ROW(account_risk_real_data, m_30_limit_val, 112, 8, D),
         ROW(account_risk_real_data, m_30_accumulate_val, 120, 8, D),
         ROW(account_risk_real_data, m_56_limit_val, 128, 8, S),
         ROW(account_risk_real_data, m_56_accumulate_val, 136, 8, S),
         ROW(account_risk_real_data, m_55_limit_val, 144, 8, D),
         ROW(account_risk_real_data, m_55_accumulate_val, 152, 8, D),
         ROW(account_risk_real_data, m_58_limit_val, 160, 8, D),
         ROW(account_risk_real_data, m_58_accumulate_val, 168, 8, D),
         ROW(account_risk_real_data, m_57_limit_val, 176, 8, S),
         ROW(account_risk_real_data, m_57_accumulate_val, 184, 8, S),
         ROW(account_risk_real_data, m_31_limit_val, 192, 8, S),
         ROW(account_risk_real_data, m_31_accumulate_val, 200, 8, S),
         ROW(account_risk_real_data, m_59_limit_val, 208, 8, D),
         ROW(account_risk_real_data, m_59_accumulate_val, 216, 8, D),
         ROW(account_risk_real_data, m_35_limit_val_2, 224, 8, S),
         ROW(account_risk_real_data, m_35_time_val, 232, 8, S),
         ROW(account_risk_real_data, m_35_limit_val_1, 240, 8, S),
         ROW(account_risk_real_data, m_35_accumulate_val, 248, 8, S),
         ROW(account_risk_real_data, m_34_limit_val_2, 256, 8, S),
         ROW(account_risk_real_data, m_34_time_val, 264, 8, S),
         ROW(account_risk_real_data, m_34_limit_val_1, 272, 8, S),
         ROW(account_risk_real_data, m_34_accumulate_val, 280, 8, S),
         ROW(account_risk_real_data, m_broker_margin, 288, 8, D),
         ROW(account_risk_real_data, m_exchange_margin, 296, 8, D),
         ROW(account_risk_real_data, m_fee, 304, 8, D),
         ROW(account_risk_real_data, m_bp, 312, 8, D),
         ROW(account_risk_real_data, m_13_limit_val, 320, 8, D),
         ROW(account_risk_real_data, m_13_accumulate_val, 328, 8, D),
         ROW(account_risk_real_data, m_21_limit_val, 336, 8, D),
         ROW(account_risk_real_data, m_21_accumulate_val, 344, 8, D),
         ROW(account_risk_real_data, m_14_limit_val_1, 352, 8, S),
         ROW(account_risk_real_data, m_14_time_val, 360, 8, S),
         ROW(account_risk_real_data, m_14_limit_val_2, 368, 8, S),
         ROW(account_risk_real_data, m_14_accumulate_val, 376, 8, S),
         ROW(account_risk_real_data, m_15_limit_val_1, 384, 8, S),
         ROW(account_risk_real_data, m_15_time_val, 392, 8, S),
         ROW(account_risk_real_data, m_15_limit_val_2, 400, 8, S),
         ROW(account_risk_real_data, m_15_accumulate_val, 408, 8, S),
         ROW(account_risk_real_data, m_62_limit_val_1, 416, 8, S),
         ROW(account_risk_real_data, m_62_time_val, 424, 8, S),
         ROW(account_risk_real_data, m_62_limit_val_2, 432, 8, S),
         ROW(account_risk_real_data, m_62_accumulate_val, 440, 8, S),
         ROW(account_risk_real_data, m_63_limit_val_1, 448, 8, S),
         ROW(account_risk_real_data, m_63_time_val, 456, 8, S),
         ROW(account_risk_real_data, m_63_limit_val_2, 464, 8, S),
         ROW(account_risk_real_data, m_63_accumulate_val, 472, 8, S),
         ROW(account_risk_real_data, m_11_limit_val, 480, 8, S),
         ROW(account_risk_real_data, m_11_accumulate_val, 488, 8, S),
         ROW(account_risk_real_data, m_32_limit_val, 496, 8, S),
         ROW(account_risk_real_data, m_32_accumulate_val, 504, 8, S),
         ROW(account_risk_real_data, m_17_limit_val, 512, 8, S),
         ROW(account_risk_real_data, m_17_accumulate_val, 520, 8, S),
         ROW(account_risk_real_data, m_12_limit_val, 528, 8, S),
         ROW(account_risk_real_data, m_12_accumulate_val, 536, 8, S),
         ROW(account_risk_real_data, m_19_limit_val, 544, 8, S),
         ROW(account_risk_real_data, m_19_accumulate_val, 552, 8, S),
         ROW(account_risk_real_data, m_18_limit_val, 560, 8, S),
         ROW(account_risk_real_data, m_18_accumulate_val, 568, 8, S),
         ROW(account_risk_real_data, m_5_limit_val, 576, 8, D),
         ROW(account_risk_real_data, m_Rev1, 584, 8, S),
         ROW(account_risk_real_data, m_Rev2, 592, 8, S),
         ROW(account_risk_real_data, m_2_limit_val, 600, 8, D),
         ROW(account_risk_real_data, m_9_limit_val, 608, 8, S),
         ROW(account_risk_real_data, m_8_limit_val, 616, 8, D),
         ROW(account_risk_real_data, m_Rev3, 624, 8, S),
         ROW(account_risk_real_data, m_6_limit_val, 632, 8, D),
         ROW(account_risk_real_data, m_61_limit_val, 640, 8, D),
         ROW(account_risk_real_data, m_60_limit_val, 648, 8, D),
         ROW(account_risk_real_data, m_1_limit_val, 656, 8, S),
         ROW(account_risk_real_data, m_10_limit_val, 664, 8, S),
         ROW(account_risk_real_data, m_20_limit_val, 672, 8, D),
         ROW(account_risk_real_data, m_40_limit_val, 680, 8, D),
         ROW(account_risk_real_data, m_28_limit_val, 688, 8, D),
         ROW(account_risk_real_data, m_27_limit_val, 696, 8, S),
         ROW(account_risk_real_data, m_24_limit_val_1, 704, 8, S),
         ROW(account_risk_real_data, m_24_time_val, 712, 8, S),
         ROW(account_risk_real_data, m_24_limit_val_2, 720, 8, S),
         ROW(account_risk_real_data, m_24_accumulate_val, 728, 8, S),
         ROW(account_risk_real_data, m_25_limit_val_1, 736, 8, S),
         ROW(account_risk_real_data, m_25_time_val, 744, 8, S),
         ROW(account_risk_real_data, m_25_limit_val_2, 752, 8, S),
         ROW(account_risk_real_data, m_25_accumulate_val, 760, 8, S),
         ROW(account_risk_real_data, m_26_limit_val_1, 768, 8, S),
         ROW(account_risk_real_data, m_26_accumulate_val, 776, 8, S),
         ROW(account_risk_real_data, m_22_limit_val, 784, 8, S),
         ROW(account_risk_real_data, m_22_accumulate_val, 792, 8, S),
         ROW(account_risk_real_data, m_33_limit_val, 800, 8, S),
         ROW(account_risk_real_data, m_33_accumulate_val, 808, 8, S),
         ROW(account_risk_real_data, m_26_limit_val_2, 816, 8, S),
         ROW(account_risk_real_data, m_Rev4, 824, 8, S),
         ROW(account_risk_real_data, m_36_limit_val_1, 832, 8, S),
         ROW(account_risk_real_data, m_36_time_val, 840, 8, S),
         ROW(account_risk_real_data, m_36_limit_val_2, 848, 8, S),
         ROW(account_risk_real_data, m_36_accumulate_val, 856, 8, S),
         ROW(account_risk_real_data, m_37_limit_val_1, 864, 8, S),
         ROW(account_risk_real_data, m_37_time_val, 872, 8, S),
         ROW(account_risk_real_data, m_37_limit_val_2, 880, 8, S),
         ROW(account_risk_real_data, m_37_accumulate_val, 888, 8, S),
     }},
    {"account_risk_real_data_mpl",
     0,
     16,
     sizeof(account_risk_real_data_mpl),
     {
         ROW(account_risk_real_data_mpl, m_39_limit_val, 0, 8, D),
         ROW(account_risk_real_data_mpl, m_39_accumulate_val, 8, 8, D),
     }},
    {"hv27_account_risk_real_data",
     0,
     32,
     sizeof(hv27_account_risk_real_data),
     {
         ROW(hv27_account_risk_real_data, m_broker_margin, 0, 8, D),
         ROW(hv27_account_risk_real_data, m_exchange_margin, 8, 8, D),
         ROW(hv27_account_risk_real_data, m_fee, 16, 8, D),
         ROW(hv27_account_risk_real_data, m_bp, 24, 8, D),
     }},
    {"hv27_account_risk_real_data_mpl",
     0,
     16,
     sizeof(hv27_account_risk_real_data_mpl),
     {
         ROW(hv27_account_risk_real_data_mpl, m_39_limit_val, 0, 8, D),
         ROW(hv27_account_risk_real_data_mpl, m_39_accumulate_val, 8, 8, D),
     }},
    {"account_symbol_risk_real_data",
     0,
     256,
     sizeof(account_symbol_risk_real_data),
     {
         ROW(account_symbol_risk_real_data, m_onp_short_pos_settle_price, 0, 8, D),
         ROW(account_symbol_risk_real_data, m_onp_long_pos_settle_price, 8, 8, D),
         ROW(account_symbol_risk_real_data, m_onp_long_pos_quantity, 16, 8, S),
         ROW(account_symbol_risk_real_data, m_onp_long_pos_margin, 24, 8, D),
         ROW(account_symbol_risk_real_data, m_open_fee_rate_2, 32, 8, D),
         ROW(account_symbol_risk_real_data, m_open_fee_rate_1, 40, 8, D),
         ROW(account_symbol_risk_real_data, m_onp_short_pos_quantity, 48, 8, S),
         ROW(account_symbol_risk_real_data, m_onp_short_pos_margin, 56, 8, D),
         ROW(account_symbol_risk_real_data, m_broker_margin_rate, 64, 8, D),
         ROW(account_symbol_risk_real_data, m_fee_caculate_mode, 72, 8, S),
         ROW(account_symbol_risk_real_data, m_cover_fee_rate_2, 80, 8, D),
         ROW(account_symbol_risk_real_data, m_cover_fee_rate_1, 88, 8, D),
         ROW(account_symbol_risk_real_data, m_53_limit_val, 96, 8, D),
         ROW(account_symbol_risk_real_data, m_fee, 104, 8, D),
         ROW(account_symbol_risk_real_data, m_onp_short_pos_qty, 112, 4, S),
         ROW(account_symbol_risk_real_data, m_today_short_pos_qty, 116, 4, S),
         ROW(account_symbol_risk_real_data, m_onp_long_pos_qty, 120, 4, S),
         ROW(account_symbol_risk_real_data, m_today_long_pos_qty, 124, 4, S),
         ROW(account_symbol_risk_real_data, m_46_limit_val, 128, 8, S),
         ROW(account_symbol_risk_real_data, m_snpl, 136, 8, D),
         ROW(account_symbol_risk_real_data, m_45_limit_val, 144, 8, D),
         ROW(account_symbol_risk_real_data, m_bnpl, 152, 8, D),
         ROW(account_symbol_risk_real_data, m_48_limit_val, 160, 8, D),
         ROW(account_symbol_risk_real_data, m_4_limit_val, 168, 8, D),
         ROW(account_symbol_risk_real_data, m_47_limit_val, 176, 8, D),
         ROW(account_symbol_risk_real_data, m_3_limit_val, 184, 8, D),
         ROW(account_symbol_risk_real_data, m_52_limit_val, 192, 8, D),
         ROW(account_symbol_risk_real_data, m_51_limit_val, 200, 8, D),
         ROW(account_symbol_risk_real_data, m_50_limit_val, 208, 8, D),
         ROW(account_symbol_risk_real_data, m_49_limit_val, 216, 8, S),
         ROW(account_symbol_risk_real_data, m_Rev, 224, 8, S),
         ROW(account_symbol_risk_real_data, m_7_limit_val, 232, 8, D),
         ROW(account_symbol_risk_real_data, m_23_limit_val, 240, 8, S),
         ROW(account_symbol_risk_real_data, m_23_accumulate_val, 248, 8, S),
     }},
    {"symbol_account_risk_real_data",
     0,
     64,
     sizeof(symbol_account_risk_real_data),
     {
         ROW(symbol_account_risk_real_data, m_bmpl, 0, 8, D),
         ROW(symbol_account_risk_real_data, m_long_pos_quantity, 8, 8, S),
         ROW(symbol_account_risk_real_data, m_long_pos_total_val, 16, 8, D),
         ROW(symbol_account_risk_real_data, m_rev1, 24, 8, S),
         ROW(symbol_account_risk_real_data, m_smpl, 32, 8, D),
         ROW(symbol_account_risk_real_data, m_short_pos_quantity, 40, 8, S),
         ROW(symbol_account_risk_real_data, m_short_pos_total_val, 48, 8, D),
         ROW(symbol_account_risk_real_data, m_rev2, 56, 8, S),
     }},
};

void check_layout(const Layout& l) {
    SCOPED_TRACE(l.record);
    EXPECT_EQ(l.actual_size, l.size);
    // The table itself must cover the record byte for byte: a field missing from the
    // expectations would otherwise go unchecked.
    size_t next = 0;
    for (const Row& r : l.rows) {
        SCOPED_TRACE(r.field);
        EXPECT_EQ(r.actual_offset, r.offset);
        EXPECT_EQ(r.actual_width, r.width);
        EXPECT_EQ(static_cast<int>(r.actual_kind), static_cast<int>(r.kind));
        if (r.alternate) {
            continue;
        }
        EXPECT_EQ(r.offset, next);
        next = r.offset + r.width;
    }
    EXPECT_EQ(next, l.size);
}

TEST(WireLayout, RequestRecords) {
    EXPECT_EQ(kRequests.size(), 18u);
    for (const Layout& l : kRequests) {
        check_layout(l);
    }
}

TEST(WireLayout, ResponseRecords) {
    EXPECT_EQ(kResponses.size(), 21u);
    for (const Layout& l : kResponses) {
        check_layout(l);
    }
}

TEST(WireLayout, Hv27ResponseRecords) {
    EXPECT_EQ(kHv27Responses.size(), 5u);
    for (const Layout& l : kHv27Responses) {
        check_layout(l);
    }
}

TEST(WireLayout, RiskSubRecords) {
    for (const Layout& l : kSubRecords) {
        check_layout(l);
    }
}

TEST(WireLayout, UnionStretchesOfTheSymbolRecord) {
    // The two readings share bytes: a name of 21 characters overlays underlying symbol
    // and call/put, and the strike price overlays both delivery dates.
    query_symbol_resp r;
    memset(r.m_instrument_name, 'N', sizeof(r.m_instrument_name));
    EXPECT_EQ(r.m_call_put, 'N');
    EXPECT_EQ(r.m_underlying_fut_symbol[19], 'N');
    r.m_start_deliv_date = 0x11223344;
    r.m_end_deliv_date = 0x55667788;
    Int8 bits = 0;
    memcpy(&bits, &r.m_strike_price, sizeof(bits));
    EXPECT_EQ(bits, 0x5566778811223344ULL);
}

TEST(WireLayout, PushedBpReportIsTheQueryAnswerWithItsOwnId) {
    report_account_bp r;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(&r);
    EXPECT_EQ(p[0] | (p[1] << 8), 1093);
    EXPECT_EQ(p[2] | (p[3] << 8), 108);
}

// A record's constructor zeroes everything but the id and the length, which it sets
// from the tables. Built on a buffer full of a marker byte, so a byte left alone shows.
template <class T>
void check_constructor(unsigned id, size_t size) {
    alignas(16) unsigned char buf[sizeof(T) + 16];
    memset(buf, 0xA5, sizeof(buf));
    new (buf + 1) T();  // odd address on purpose: packed records live anywhere
    const unsigned char* p = buf + 1;
    EXPECT_EQ(static_cast<unsigned>(p[0] | (p[1] << 8)), id);
    EXPECT_EQ(static_cast<size_t>(p[2] | (p[3] << 8)), size);
    for (size_t i = 4; i < size; ++i) {
        ASSERT_EQ(p[i], 0) << "byte " << i;
    }
    EXPECT_EQ(p[size], 0xA5) << "constructor wrote past the record";
}

TEST(WireRecordConstructor, RequestsZeroAllButIdAndLength) {
    check_constructor<query_logon_msg_req>(68, 80);
    check_constructor<change_password_req>(69, 80);
    check_constructor<query_user_account_req>(71, 16);
    check_constructor<query_symbol_req>(72, 16);
    check_constructor<query_account_position_req>(73, 32);
    check_constructor<rewind_account_order_req>(74, 32);
    check_constructor<rewind_account_exe_req>(75, 32);
    check_constructor<query_combo_rule>(76, 16);
    check_constructor<query_account_margin>(77, 32);
    check_constructor<query_account_fee>(78, 32);
    check_constructor<query_combo_position>(79, 32);
    check_constructor<query_account_bp_req>(81, 28);
    check_constructor<account_risk_real_data_req>(82, 28);
    check_constructor<account_symbol_real_data_req>(83, 48);
    check_constructor<query_cash_inout_req>(85, 32);
    check_constructor<query_account_bp_detail_req>(88, 28);
    check_constructor<rewind_account_quote_req>(95, 32);
    check_constructor<rewind_account_arbi_order_req>(98, 32);
}

TEST(WireRecordConstructor, ResponsesZeroAllButIdAndLength) {
    check_constructor<rewind_order_execution_response_ex>(1063, 112);
    check_constructor<hv27_query_err_resp>(1064, 24);
    check_constructor<query_logon_msg_resp>(1068, 56);
    check_constructor<hv27_query_logon_msg_resp>(1068, 56);
    check_constructor<change_password_resp>(1069, 16);
    check_constructor<query_user_account_resp>(1071, 88);
    check_constructor<query_symbol_resp>(1072, 139);
    check_constructor<query_account_fut_position_resp>(1073, 152);
    check_constructor<rewind_accoutn_order_response>(1074, 144);
    check_constructor<rewind_order_execution_response>(1075, 88);
    check_constructor<hv27_rewind_order_execution_response>(1075, 112);
    check_constructor<query_combo_rule_resp>(1076, 192);
    check_constructor<query_account_margin_resp>(1077, 96);
    check_constructor<query_account_fee_resp>(1078, 128);
    check_constructor<query_combo_position_resp>(1079, 188);
    check_constructor<query_account_bp_resp>(1081, 108);
    check_constructor<account_risk_real_data_resp>(1082, 1006);
    check_constructor<hv27_account_risk_real_data_resp>(1082, 84);
    check_constructor<account_symbol_real_data_resp>(1083, 448);
    check_constructor<query_account_bp_detail_resp>(1088, 200);
    check_constructor<hv27_query_account_bp_detail_resp>(1088, 200);
    check_constructor<query_account_opt_position_resp>(1092, 167);
    check_constructor<report_account_bp>(1093, 108);
    check_constructor<rewind_account_quote_response>(1095, 248);
    check_constructor<rewind_account_arbi_order_response>(1098, 144);
    check_constructor<account_cash_inout_notify>(1099, 64);
}

TEST(WireConstants, VersionsAndIds) {
    EXPECT_EQ(QUERY_PROTO_VERSION, 15u);
    EXPECT_EQ(HV27_VERSION_FLAG, 6);
    EXPECT_EQ(SEC_TYPE_STOCK, 1);
    EXPECT_EQ(SEC_TYPE_OPTION, 2);
    EXPECT_EQ(SEC_TYPE_FUTURE, 3);
    EXPECT_EQ(SEC_TYPE_ARBI, 4);
    EXPECT_EQ(SEC_TYPE_F, 5);
    EXPECT_EQ(DORVIN_POSITION_LONG, 1);
    EXPECT_EQ(DORVIN_POSITION_SHORT, 2);
}

}  // namespace
