#ifndef ZUL_PROTOCOL_MSG_DEFINE_H
#define ZUL_PROTOCOL_MSG_DEFINE_H

// Records exchanged with the query port. Every record is packed with one-byte
// alignment, so its size is the sum of its fields and many fields stand at odd
// offsets; multi-byte fields are in host (little-endian) order and are never swapped.
// A text field is bounded by its width: a text that fills it has no terminator.

#include <cstring>

#include "protocol/zul_define.h"
#include "tools/vortane_define.h"

typedef unsigned char Int1;
typedef unsigned short Int2;
typedef unsigned int Int4;
typedef unsigned long long Int8;

typedef char AccountID[16];
typedef char Symbol[20];
typedef char ProductID[32];
typedef char MarketExecId[24];

static_assert(sizeof(Int1) == 1 && sizeof(Int2) == 2 && sizeof(Int4) == 4 && sizeof(Int8) == 8,
              "wire integer widths");

// The one protocol version this client speaks, to either server generation.
constexpr Int4 QUERY_PROTO_VERSION = 15;
// Byte 51 of the logon response holds this value on a server of generation hv27.
constexpr Int1 HV27_VERSION_FLAG = 6;

// Requests sent to the query port.
constexpr Int2 QUERY_LOGON_MSG_REQ_MSG_ID = 68;
constexpr Int2 CHANGE_PASSWORD_REQ_MSG_ID = 69;
constexpr Int2 QUERY_USER_ACCOUNT_REQ_MSG_ID = 71;
constexpr Int2 QUERY_SYMBOL_REQ_MSG_ID = 72;
constexpr Int2 QUERY_ACCOUNT_POSITION_REQ_MSG_ID = 73;
constexpr Int2 REWIND_ACCOUNT_ORDER_REQ_MSG_ID = 74;
constexpr Int2 REWIND_ACCOUNT_EXE_REQ_MSG_ID = 75;
constexpr Int2 QUERY_COMBO_RULE_MSG_ID = 76;
constexpr Int2 QUERY_ACCOUNT_MARGIN_MSG_ID = 77;
constexpr Int2 QUERY_ACCOUNT_FEE_MSG_ID = 78;
constexpr Int2 QUERY_COMBO_POSITION_MSG_ID = 79;
constexpr Int2 QUERY_ACCOUNT_BP_REQ_MSG_ID = 81;
constexpr Int2 ACCOUNT_RISK_REAL_DATA_REQ_MSG_ID = 82;
constexpr Int2 ACCOUNT_SYMBOL_REAL_DATA_REQ_MSG_ID = 83;
constexpr Int2 QUERY_CASH_INOUT_REQ_MSG_ID = 85;
constexpr Int2 QUERY_ACCOUNT_BP_DETAIL_REQ_MSG_ID = 88;
constexpr Int2 REWIND_ACCOUNT_QUOTE_REQ_MSG_ID = 95;
constexpr Int2 REWIND_ACCOUNT_ARBI_ORDER_REQ_MSG_ID = 98;

// Everything a server of the system sends. The client handles 22 of these; the others
// have no record here and count as unknown messages on the query port.
enum response_msg_id {
    REPORT_RPTR_VERSION_RESP_MSG_ID = 98,
    REPORT_RPTR_INFO_RESP_MSG_ID = 100,
    NEW_ORDER_RESP_MSG_ID = 1010,
    ORDER_ACTION_RESP_MSG_ID = 1011,
    ORDER_MARKET_RESP_MSG_ID = 1012,
    ORDER_ACTION_MARKET_RESP_MSG_ID = 1013,
    ORDER_EXEC_MSG_ID = 1014,
    ORDER_REPORT_MSG_ID = 1015,
    POST_ORDER_RECEIVED_MSG_ID = 1016,
    POST_ORDER_EXECUTION_RECEIVED_MSG_ID = 1017,
    NEW_QUOTE_RESP_MSG_ID = 1018,
    QUOTE_ACTION_RESP_MSG_ID = 1019,
    QUOTE_MARKET_RESP_MSG_ID = 1020,
    QUOTE_ACTION_MARKET_RESP_MSG_ID = 1021,
    QUOTE_REPORT_MSG_ID = 1022,
    POST_QUOTE_RECEIVED_MSG_ID = 1023,
    NEW_COMBO_RESP_MSG_ID = 1025,
    COMBO_MARKET_RESP_MSG_ID = 1026,
    NEW_SPECIAL_ORDER_RESP_MSG_ID = 1030,
    SPECIAL_ORDER_ACTION_RESP_MSG_ID = 1031,
    SPECIAL_ORDER_MARKET_RESP_MSG_ID = 1032,
    SPECIAL_ORDER_ACTION_MARKET_RESP_MSG_ID = 1033,
    POST_SPECIAL_ORDER_RECEIVED_MSG_ID = 1034,
    QUERY_ACCOUNT_IDX_RESP_MSG_ID = 1061,
    QUERY_SYMBOL_IDX_RESP_MSG_ID = 1062,
    REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID_EX = 1063,
    QUERY_ERR_RESP_MSG_ID = 1064,
    QUERY_LOGON_MSG_RESP_MSG_ID = 1068,
    CHANGE_PASSWORD_RESP_MSG_ID = 1069,
    LOGON_MSG_RESP_MSG_ID = 1070,
    QUERY_USER_ACCOUNT_RESP_MSG_ID = 1071,
    QUERY_SYMBOL_RESP_MSG_ID = 1072,
    QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID = 1073,
    REWIND_ACCOUTN_ORDER_RESPONSE_MSG_ID = 1074,
    REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID = 1075,
    QUERY_COMBO_RULE_RESP_MSG_ID = 1076,
    QUERY_ACCOUNT_MARGIN_RESP_MSG_ID = 1077,
    QUERY_ACCOUNT_FEE_RESP_MSG_ID = 1078,
    QUERY_COMBO_POSITION_RESP_MSG_ID = 1079,
    REPORT_VERSION_RESP_MSG_ID = 1080,
    QUERY_ACCOUNT_BP_RESP_MSG_ID = 1081,
    QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID = 1082,
    QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID = 1083,
    QUERY_MARKET_SESSION_RESP_MSG_ID = 1084,
    MARKET_SESSION_STAT_REPORT_RESP_MSG_ID = 1085,
    SYMBOL_STATUS_CHANGED_REPORT_RESP_MSG_ID = 1086,
    SYMBOL_STATUS_QUERY_RESP_MSG_ID = 1087,
    QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID = 1088,
    PROD_STATUS_CHANGED_REPORT_RESP_MSG_ID = 1089,
    SET_HEART_BEAT_INFO_RESP_MSG_ID = 1090,
    MARKET_MBL_DATA_RESP_MSG_ID = 1091,
    QUERY_ACCOUNT_OPT_POSITION_RESP_MSG_ID = 1092,
    REPORT_ACCOUNT_BP_MSG_ID = 1093,
    QUERY_SESSION_ID_RESP_MSG_ID = 1094,
    REWIND_ACCOUNT_QUOTE_RESP_MSG_ID = 1095,
    REWIND_ACCOUNT_QUOTE_FINISH_RESP_MSG_ID = 1096,
    REQ_FOR_QUOTE_REPORT_MSG_ID = 1097,
    REWIND_ACCOUNT_ARBI_ORDER_RESP_MSG_ID = 1098,
    ACCOUNT_CASH_INOUT_NOTIFY = 1099,
    TRADE_HEART_BEAT_RESP_MSG_ID = 1200,
};

// Every record's default constructor zeroes all its bytes and then writes its id and
// its full size into the header; records have no other operation.
template <class T>
inline void zul_zero_record(T* record) {
    memset(static_cast<void*>(record), 0, sizeof(T));
}

#define ZUL_RECORD_CTOR(type, id_field, len_field, id) \
    type() {                                           \
        zul_zero_record(this);                         \
        id_field = id;                                 \
        len_field = sizeof(type);                      \
    }

#define ZUL_DECLARE_FIELD(type, name) type name;

#pragma pack(push, 1)

// The first 8 bytes of every record. Some records name these fields differently.
struct msg_header {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
};

// ---------------------------------------------------------------------------
// Requests

struct query_logon_msg_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_proto_version;
    char m_login_id[33];
    char m_password[33];
    char m_reserved[2];
    ZUL_RECORD_CTOR(query_logon_msg_req, m_msg_id, m_msg_len, QUERY_LOGON_MSG_REQ_MSG_ID)
};

struct change_password_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    char m_old_pwd_md5[33];
    char m_new_pwd_md5[33];
    char m_reserved[2];
    ZUL_RECORD_CTOR(change_password_req, m_msg_id, m_msg_len, CHANGE_PASSWORD_REQ_MSG_ID)
};

struct query_user_account_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    char m_reserved[4];
    ZUL_RECORD_CTOR(query_user_account_req, m_msg_id, m_msg_len, QUERY_USER_ACCOUNT_REQ_MSG_ID)
};

struct query_symbol_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    Int1 m_sec_type;
    char m_reserved[3];
    ZUL_RECORD_CTOR(query_symbol_req, m_msg_id, m_msg_len, QUERY_SYMBOL_REQ_MSG_ID)
};

struct query_account_position_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    Int1 m_sec_type;
    char m_reserved[3];
    ZUL_RECORD_CTOR(query_account_position_req, m_msg_id, m_msg_len,
                    QUERY_ACCOUNT_POSITION_REQ_MSG_ID)
};

struct rewind_account_order_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    Int1 m_sec_type;
    char m_reserved[3];
    ZUL_RECORD_CTOR(rewind_account_order_req, m_msg_id, m_msg_len, REWIND_ACCOUNT_ORDER_REQ_MSG_ID)
};

struct rewind_account_exe_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    Int1 m_sec_type;
    Int1 m_rewind_flag;
    char m_reserved[2];
    ZUL_RECORD_CTOR(rewind_account_exe_req, m_msg_id, m_msg_len, REWIND_ACCOUNT_EXE_REQ_MSG_ID)
};

struct query_combo_rule {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    Int1 m_combo_type;
    Int1 m_hedge_flag;
    char m_reserved[2];
    ZUL_RECORD_CTOR(query_combo_rule, m_msg_id, m_msg_len, QUERY_COMBO_RULE_MSG_ID)
};

struct query_account_margin {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    char m_reserved[4];
    ZUL_RECORD_CTOR(query_account_margin, m_msg_id, m_msg_len, QUERY_ACCOUNT_MARGIN_MSG_ID)
};

struct query_account_fee {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    Int1 m_sec_type;
    char m_reserved[3];
    ZUL_RECORD_CTOR(query_account_fee, m_msg_id, m_msg_len, QUERY_ACCOUNT_FEE_MSG_ID)
};

// The account id comes before the user id here, unlike its sisters.
struct query_combo_position {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    AccountID m_account_id;
    Int4 m_user_id;
    char m_reserved[4];
    ZUL_RECORD_CTOR(query_combo_position, m_msg_id, m_msg_len, QUERY_COMBO_POSITION_MSG_ID)
};

struct query_account_bp_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    ZUL_RECORD_CTOR(query_account_bp_req, m_msg_id, m_msg_len, QUERY_ACCOUNT_BP_REQ_MSG_ID)
};

struct query_account_bp_detail_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    ZUL_RECORD_CTOR(query_account_bp_detail_req, m_msg_id, m_msg_len,
                    QUERY_ACCOUNT_BP_DETAIL_REQ_MSG_ID)
};

struct account_risk_real_data_req {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    ZUL_RECORD_CTOR(account_risk_real_data_req, m_msg_id, m_msg_len,
                    ACCOUNT_RISK_REAL_DATA_REQ_MSG_ID)
};

struct account_symbol_real_data_req {
    Int2 m_msg_type;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    Symbol m_symbol;
    ZUL_RECORD_CTOR(account_symbol_real_data_req, m_msg_type, m_msg_len,
                    ACCOUNT_SYMBOL_REAL_DATA_REQ_MSG_ID)
};

struct query_cash_inout_req {
    Int2 m_msg_type;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    char m_reserved[4];
    ZUL_RECORD_CTOR(query_cash_inout_req, m_msg_type, m_msg_len, QUERY_CASH_INOUT_REQ_MSG_ID)
};

struct rewind_account_quote_req {
    Int2 m_msg_type;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    Int1 m_sec_type;
    char m_reserved[3];
    ZUL_RECORD_CTOR(rewind_account_quote_req, m_msg_type, m_msg_len,
                    REWIND_ACCOUNT_QUOTE_REQ_MSG_ID)
};

struct rewind_account_arbi_order_req {
    Int2 m_msg_type;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    char m_reserved[4];
    ZUL_RECORD_CTOR(rewind_account_arbi_order_req, m_msg_type, m_msg_len,
                    REWIND_ACCOUNT_ARBI_ORDER_REQ_MSG_ID)
};

// ---------------------------------------------------------------------------
// Logon, account and balance responses

struct query_logon_msg_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 Result;
    char m_login_id[33];
    Int4 m_user_id;
    Int1 m_user_token_cancel_enable;
    Int1 m_user_selfexec_check_enable;
    // Byte 51, the first of these, is the generation flag of an hv27 server.
    char m_reserved[5];
    ZUL_RECORD_CTOR(query_logon_msg_resp, m_msg_id, m_msg_len, QUERY_LOGON_MSG_RESP_MSG_ID)
};

struct change_password_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    Int4 m_result_code;
    ZUL_RECORD_CTOR(change_password_resp, m_msg_id, m_msg_len, CHANGE_PASSWORD_RESP_MSG_ID)
};

struct query_user_account_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    Int4 m_user_id;
    AccountID m_account_id;
    Int4 m_previlege;
    double m_initial_bp;
    double m_available_bp;
    double m_margin;
    double m_frozen_margin;
    double m_commission_fee;
    double m_frozen_commission;
    Int1 m_account_idx;
    char m_reserved[6];
    ZUL_RECORD_CTOR(query_user_account_resp, m_msg_id, m_msg_len, QUERY_USER_ACCOUNT_RESP_MSG_ID)
};

struct query_account_bp_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    Int4 m_previlege;
    double m_initial_bp;
    double m_available_bp;
    double m_margin;
    double m_frozen_margin;
    double m_commission_fee;
    double m_frozen_commission;
    double m_ovn_init_margin;
    double m_total_liquid_pl;
    double m_total_market_pl;
    Int1 m_account_idx;
    char m_reserved[3];
    ZUL_RECORD_CTOR(query_account_bp_resp, m_msg_id, m_msg_len, QUERY_ACCOUNT_BP_RESP_MSG_ID)
};

// The pushed report has the layout of the query's answer.
struct report_account_bp : public query_account_bp_resp {
    report_account_bp() { m_msg_id = REPORT_ACCOUNT_BP_MSG_ID; }
};

struct query_account_bp_detail_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    double m_initial_equity;
    double m_initial_bp;
    double m_ovn_init_margin;
    double m_available_bp;
    double m_margin;
    double m_frozen_margin;
    double m_commission_fee;
    double m_frozen_commission;
    double m_opt_premium_balance;
    double m_opt_frozen_premium;
    double m_comm_declaration_fee;
    double m_step_declaration_fee;
    double m_cash_in_total;
    double m_cash_out_total;
    double m_total_liquid_pl;
    double m_total_market_pl;
    double m_risk_rate;
    // Byte 164: the push mode on an hv27 server.
    char m_reserved1;
    Int8 m_amount_count;
    Int1 m_account_idx;
    char m_reserved[26];
    ZUL_RECORD_CTOR(query_account_bp_detail_resp, m_msg_id, m_msg_len,
                    QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID)
};

// Both a notice the server sends when cash moves and the answer to query_cash_inout_req.
struct account_cash_inout_notify {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    double m_available_bp;
    double m_cash_in_out;
    double m_cash_in_total;
    double m_cash_out_total;
    char m_reserved[4];
    ZUL_RECORD_CTOR(account_cash_inout_notify, m_msg_id, m_msg_len, ACCOUNT_CASH_INOUT_NOTIFY)
};

// ---------------------------------------------------------------------------
// Instrument, rate and position responses

// Two stretches are read by m_instrument_type: SEC_TYPE_OPTION gives the option
// fields, every other type those of a future.
struct query_symbol_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    Int1 m_instrument_type;
    char m_symbol[20];
    union {
        char m_instrument_name[21];
        struct {
            char m_underlying_fut_symbol[20];
            char m_call_put;
        };
    };
    Int1 m_exchange_id;
    char m_product_id[32];
    Int2 m_delivery_year;
    Int1 m_delivery_month;
    Int4 m_max_market_order_volume;
    Int4 m_min_market_order_volume;
    Int4 m_max_limit_order_volume;
    Int4 m_min_limit_order_volume;
    Int4 m_volume_multiple;
    double m_price_tick;
    Int4 m_create_date;
    Int4 m_open_date;
    Int4 m_expire_date;
    union {
        struct {
            Int4 m_start_deliv_date;
            Int4 m_end_deliv_date;
        };
        double m_strike_price;
    };
    Int1 m_inst_life_phase;
    Int1 m_is_trading;
    Int2 m_symbol_idx;
    ZUL_RECORD_CTOR(query_symbol_resp, m_msg_id, m_msg_len, QUERY_SYMBOL_RESP_MSG_ID)
};

struct query_combo_rule_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    Int1 m_rule_prod_type;
    char m_prod_group[13];
    char m_trading_date[9];
    Int1 m_combo_type;
    Int4 m_priority;
    Int1 m_hedge_flag;
    double m_combo_margin;
    char m_combo_symbol[80];
    Int4 m_instr_id;
    char m_combo_leg1[20];
    char m_combo_leg2[20];
    Int1 m_direction_leg1;
    Int1 m_direction_leg2;
    double m_region_leg1;
    double m_region_leg2;
    char m_reserved[4];
    ZUL_RECORD_CTOR(query_combo_rule_resp, m_msg_id, m_msg_len, QUERY_COMBO_RULE_RESP_MSG_ID)
};

struct query_account_margin_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    AccountID m_account_id;
    Int1 m_hedge_flag;
    char m_symbol[20];
    Int1 m_exchange_id;
    ProductID m_prod_id;
    double m_long_margin_ratio;
    double m_short_margin_ratio;
    char m_reserved;
    ZUL_RECORD_CTOR(query_account_margin_resp, m_msg_id, m_msg_len,
                    QUERY_ACCOUNT_MARGIN_RESP_MSG_ID)
};

struct query_account_fee_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    AccountID m_account_id;
    Int1 m_hedge_flag;
    char m_symbol[20];
    Int1 m_exchange_id;
    ProductID m_prod_id;
    double m_open_ratio_by_money;
    double m_open_ratio_by_volume;
    double m_close_yesterday_ratio_by_money;
    double m_close_yesterday_ratio_by_volume;
    double m_close_today_ratio_by_money;
    double m_close_today_ratio_by_volume;
    Int1 m_pos_dir;
    ZUL_RECORD_CTOR(query_account_fee_resp, m_msg_id, m_msg_len, QUERY_ACCOUNT_FEE_RESP_MSG_ID)
};

struct query_account_fut_position_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    Int4 m_user_id;
    AccountID m_account_id;
    Int4 m_request_id;
    Symbol m_symbol;
    Int1 m_posi_direction;
    Int4 m_init_ovn_qty;
    double m_init_ovn_margin;
    Int4 m_ovn_qty;
    Int4 m_frozen_ovn_qty;
    Int4 m_today_qty;
    Int4 m_frozen_today_qty;
    double m_ovn_occupied_margin;
    double m_today_occupied_margin;
    double m_total_fee;
    double m_ovn_liquid_pl;
    double m_today_liquid_pl;
    double m_ovn_market_pl;
    double m_today_market_pl;
    double m_pos_cost;
    Int1 m_hedge_flag;
    char m_reserved[5];
    ZUL_RECORD_CTOR(query_account_fut_position_resp, m_msg_id, m_msg_len,
                    QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID)
};

// This record's fields carry no m_ prefix, its header's neither; its exchange id is
// four bytes wide and its expiry date is text.
struct query_account_opt_position_resp {
    Int2 msg_id;
    Int2 msg_len;
    Int4 sequence;
    Int1 last_record_flag;
    Int4 user_id;
    AccountID account_id;
    Int4 request_id;
    Int4 exchange_id;
    char full_symbol[20];
    char underlying_symbol[20];
    char call_put;
    double strike_price;
    char expire_date[9];
    Int1 pos_dir;
    Int4 init_ovn_qty;
    double init_ovn_margin;
    Int4 cur_today_qty;
    Int4 cover_today_locked_qty;
    Int4 exec_pending_qty;
    Int4 exec_applied_qty;
    Int4 cxl_exec_pending_qty;
    double liquid_pl;
    double avg_price;
    Int4 cur_ovn_qty;
    Int4 cover_ovn_locked_qty;
    double total_commission_fee;
    Int1 hedge_flag;
    char reserved[6];
    ZUL_RECORD_CTOR(query_account_opt_position_resp, msg_id, msg_len,
                    QUERY_ACCOUNT_OPT_POSITION_RESP_MSG_ID)
};

struct query_combo_position_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    AccountID m_account_id;
    Int1 m_hedge_flag;
    Int4 m_instr_id;
    Int1 m_combo_type;
    char m_combo_symbol[80];
    Symbol m_first_symbol;
    Int1 m_first_direction;
    Symbol m_second_symbol;
    Int1 m_second_direction;
    Int4 m_qty;
    Int4 m_init_qty;
    double m_combo_margin;
    double m_init_combo_margin;
    double m_return_margin;
    char m_reserved[3];
    ZUL_RECORD_CTOR(query_combo_position_resp, m_msg_id, m_msg_len,
                    QUERY_COMBO_POSITION_RESP_MSG_ID)
};

// ---------------------------------------------------------------------------
// Order, execution and quote responses. These streams close only on a last-record
// flag of exactly 1.

struct rewind_accoutn_order_response {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    Int4 m_user_id;
    Int8 m_timestamp;
    Int4 m_order_token;
    Int1 m_instrument_type;
    Symbol m_symbol;
    Int1 m_order_price_type;
    Int1 m_side_type;
    Int4 m_quantity;
    double m_price;
    Int1 m_hedge_flag;
    double m_stop_price;
    Int1 m_ioc;
    Int4 m_minimum_quantity;
    AccountID m_account_id;
    Int1 m_exchange_id;
    Int1 m_order_state;
    Int1 m_cxl_rjt_flag;
    Int8 m_close_time;
    Int4 m_filled_qty;
    Int4 m_internal_order_id;
    MarketExecId m_market_order_id;
    Int4 m_mkt_custom_field;
    Int1 m_symbol_flag;
    char m_reserved1[3];
    VORTANE::TOOLS::u8_kq m_market_session_id;
    char m_reserved[2];
    ZUL_RECORD_CTOR(rewind_accoutn_order_response, m_msg_id, m_msg_len,
                    REWIND_ACCOUTN_ORDER_RESPONSE_MSG_ID)
};

struct rewind_account_arbi_order_response {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    Int4 m_user_id;
    Int8 m_timestamp;
    Int4 m_order_token;
    Int1 m_order_type;
    Symbol m_symbol;
    Int1 m_order_price_type;
    Int1 m_side_type;
    Int4 m_quantity;
    double m_price;
    Int1 m_hedge_flag;
    double m_stop_price;
    Int1 m_ioc;
    Int4 m_minimum_quantity;
    AccountID m_account_id;
    Int1 m_exchange_id;
    Int1 m_order_state;
    Int1 m_cxl_rjt_flag;
    Int8 m_close_time;
    Int4 m_filled_qty;
    Int4 m_internal_order_id;
    MarketExecId m_market_order_id;
    Int4 m_mkt_custom_field;
    char m_reserved1[4];
    VORTANE::TOOLS::u8_kq m_market_session_id;
    char m_reserved[2];
    ZUL_RECORD_CTOR(rewind_account_arbi_order_response, m_msg_id, m_msg_len,
                    REWIND_ACCOUNT_ARBI_ORDER_RESP_MSG_ID)
};

// Id 1075 from a server of the other generation; hv27 sends the longer form.
struct rewind_order_execution_response {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    Int4 m_user_id;
    AccountID m_account_id;
    Int8 m_timestamp;
    Int4 m_order_token;
    Int4 m_internal_order_id;
    Int4 m_executed_quantity;
    double m_execution_price;
    MarketExecId m_market_exec_id;
    Int1 m_leg_no;
    Int1 m_order_type;
    char m_reserved[5];
    ZUL_RECORD_CTOR(rewind_order_execution_response, m_msg_id, m_msg_len,
                    REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID)
};

struct rewind_order_execution_response_ex {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    Int4 m_user_id;
    AccountID m_account_id;
    Int8 m_timestamp;
    Int4 m_order_token;
    Int4 m_internal_order_id;
    Int4 m_executed_quantity;
    double m_execution_price;
    MarketExecId m_market_exec_id;
    Int1 m_leg_no;
    Int1 m_order_type;
    Symbol m_symbol;
    Int1 m_side_type;
    char m_reserved[8];
    ZUL_RECORD_CTOR(rewind_order_execution_response_ex, m_msg_id, m_msg_len,
                    REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID_EX)
};

struct rewind_account_quote_response {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int1 m_last_record_flag;
    Int4 m_user_id;
    Int1 m_sec_type;
    Int4 m_quote_token;
    Int1 m_ioc;
    char reserved[7];
    Int4 m_internal_quote_id;
    Int4 m_bid_internal_quote_id;
    Int4 m_ask_internal_quote_id;
    char m_mkt_quote_id[24];
    char m_bid_mkt_order_id[24];
    char m_ask_mkt_order_id[24];
    AccountID m_account_id;
    Int1 m_exchange_id;
    Symbol m_symbol;
    Int1 m_bid_offset_flag;
    Int4 m_bid_volume;
    double m_bid_price;
    Int1 m_bid_hedge_flag;
    Int1 m_bid_state;
    Int4 m_bid_fill_volume;
    Int1 m_ask_offset_flag;
    Int4 m_ask_volume;
    double m_ask_price;
    Int1 m_ask_hedge_flag;
    Int1 m_ask_state;
    Int4 m_ask_fill_volume;
    Int4 m_mkt_custom_field;
    char m_req_for_quote_id[24];
    unsigned char m_reserved2[35];
    ZUL_RECORD_CTOR(rewind_account_quote_response, m_msg_id, m_msg_len,
                    REWIND_ACCOUNT_QUOTE_RESP_MSG_ID)
};

// ---------------------------------------------------------------------------
// Risk data. The field lists of the long records are given once as X-lists, so that
// code which must touch every rule field (by name) can expand them instead of
// repeating ~150 names.

// Rule fields of an account, in wire order.
#define ZUL_ACCOUNT_RISK_REAL_DATA_FIELDS(X)       \
    X(double, m_43_limit_val)                      \
    X(double, m_43_accumulate_val)                 \
    X(double, m_38_limit_val)                      \
    X(double, m_38_accumulate_val)                 \
    X(VORTANE::TOOLS::i64_kq, m_41_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_41_accumulate_val) \
    X(double, m_44_limit_val)                      \
    X(double, m_44_accumulate_val)                 \
    X(VORTANE::TOOLS::i64_kq, m_29_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_29_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_42_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_42_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_54_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_54_accumulate_val) \
    X(double, m_30_limit_val)                      \
    X(double, m_30_accumulate_val)                 \
    X(VORTANE::TOOLS::i64_kq, m_56_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_56_accumulate_val) \
    X(double, m_55_limit_val)                      \
    X(double, m_55_accumulate_val)                 \
    X(double, m_58_limit_val)                      \
    X(double, m_58_accumulate_val)                 \
    X(VORTANE::TOOLS::i64_kq, m_57_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_57_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_31_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_31_accumulate_val) \
    X(double, m_59_limit_val)                      \
    X(double, m_59_accumulate_val)                 \
    X(VORTANE::TOOLS::i64_kq, m_35_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_35_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_35_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_35_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_34_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_34_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_34_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_34_accumulate_val) \
    X(double, m_broker_margin)                     \
    X(double, m_exchange_margin)                   \
    X(double, m_fee)                               \
    X(double, m_bp)                                \
    X(double, m_13_limit_val)                      \
    X(double, m_13_accumulate_val)                 \
    X(double, m_21_limit_val)                      \
    X(double, m_21_accumulate_val)                 \
    X(VORTANE::TOOLS::i64_kq, m_14_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_14_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_14_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_14_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_15_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_15_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_15_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_15_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_62_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_62_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_62_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_62_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_63_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_63_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_63_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_63_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_11_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_11_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_32_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_32_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_17_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_17_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_12_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_12_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_19_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_19_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_18_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_18_accumulate_val) \
    X(double, m_5_limit_val)                       \
    X(VORTANE::TOOLS::i64_kq, m_Rev1)              \
    X(VORTANE::TOOLS::i64_kq, m_Rev2)              \
    X(double, m_2_limit_val)                       \
    X(VORTANE::TOOLS::i64_kq, m_9_limit_val)       \
    X(double, m_8_limit_val)                       \
    X(VORTANE::TOOLS::i64_kq, m_Rev3)              \
    X(double, m_6_limit_val)                       \
    X(double, m_61_limit_val)                      \
    X(double, m_60_limit_val)                      \
    X(VORTANE::TOOLS::i64_kq, m_1_limit_val)       \
    X(VORTANE::TOOLS::i64_kq, m_10_limit_val)      \
    X(double, m_20_limit_val)                      \
    X(double, m_40_limit_val)                      \
    X(double, m_28_limit_val)                      \
    X(VORTANE::TOOLS::i64_kq, m_27_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_24_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_24_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_24_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_24_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_25_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_25_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_25_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_25_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_26_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_26_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_22_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_22_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_33_limit_val)      \
    X(VORTANE::TOOLS::i64_kq, m_33_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_26_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_Rev4)              \
    X(VORTANE::TOOLS::i64_kq, m_36_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_36_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_36_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_36_accumulate_val) \
    X(VORTANE::TOOLS::i64_kq, m_37_limit_val_1)    \
    X(VORTANE::TOOLS::i64_kq, m_37_time_val)       \
    X(VORTANE::TOOLS::i64_kq, m_37_limit_val_2)    \
    X(VORTANE::TOOLS::i64_kq, m_37_accumulate_val)

// Accumulated values that stand behind the mpl record at the end of the account message.
#define ZUL_ACCOUNT_RISK_TAIL_FIELDS(X)            \
    X(double, m_20_accumulate_val)                 \
    X(VORTANE::TOOLS::i64_kq, m_27_accumulate_val) \
    X(double, m_28_accumulate_val)                 \
    X(double, m_40_accumulate_val)                 \
    X(double, m_60_accumulate_val)                 \
    X(double, m_61_accumulate_val)

// Rule fields of a symbol of an account, in wire order.
#define ZUL_ACCOUNT_SYMBOL_RISK_REAL_DATA_FIELDS(X)     \
    X(double, m_onp_short_pos_settle_price)             \
    X(double, m_onp_long_pos_settle_price)              \
    X(VORTANE::TOOLS::i64_kq, m_onp_long_pos_quantity)  \
    X(double, m_onp_long_pos_margin)                    \
    X(double, m_open_fee_rate_2)                        \
    X(double, m_open_fee_rate_1)                        \
    X(VORTANE::TOOLS::i64_kq, m_onp_short_pos_quantity) \
    X(double, m_onp_short_pos_margin)                   \
    X(double, m_broker_margin_rate)                     \
    X(VORTANE::TOOLS::i64_kq, m_fee_caculate_mode)      \
    X(double, m_cover_fee_rate_2)                       \
    X(double, m_cover_fee_rate_1)                       \
    X(double, m_53_limit_val)                           \
    X(double, m_fee)                                    \
    X(VORTANE::TOOLS::i32_kq, m_onp_short_pos_qty)      \
    X(VORTANE::TOOLS::i32_kq, m_today_short_pos_qty)    \
    X(VORTANE::TOOLS::i32_kq, m_onp_long_pos_qty)       \
    X(VORTANE::TOOLS::i32_kq, m_today_long_pos_qty)     \
    X(VORTANE::TOOLS::i64_kq, m_46_limit_val)           \
    X(double, m_snpl)                                   \
    X(double, m_45_limit_val)                           \
    X(double, m_bnpl)                                   \
    X(double, m_48_limit_val)                           \
    X(double, m_4_limit_val)                            \
    X(double, m_47_limit_val)                           \
    X(double, m_3_limit_val)                            \
    X(double, m_52_limit_val)                           \
    X(double, m_51_limit_val)                           \
    X(double, m_50_limit_val)                           \
    X(VORTANE::TOOLS::i64_kq, m_49_limit_val)           \
    X(VORTANE::TOOLS::i64_kq, m_Rev)                    \
    X(double, m_7_limit_val)                            \
    X(VORTANE::TOOLS::i64_kq, m_23_limit_val)           \
    X(VORTANE::TOOLS::i64_kq, m_23_accumulate_val)

#define ZUL_SYMBOL_ACCOUNT_RISK_REAL_DATA_FIELDS(X) \
    X(double, m_bmpl)                               \
    X(VORTANE::TOOLS::i64_kq, m_long_pos_quantity)  \
    X(double, m_long_pos_total_val)                 \
    X(VORTANE::TOOLS::i64_kq, m_rev1)               \
    X(double, m_smpl)                               \
    X(VORTANE::TOOLS::i64_kq, m_short_pos_quantity) \
    X(double, m_short_pos_total_val)                \
    X(VORTANE::TOOLS::i64_kq, m_rev2)

// Accumulated values at the end of the symbol message.
#define ZUL_ACCOUNT_SYMBOL_RISK_TAIL_FIELDS(X) \
    X(double, m_45_accumulate_val)             \
    X(double, m_46_accumulate_val)             \
    X(double, m_47_accumulate_val)             \
    X(double, m_48_accumulate_val)             \
    X(double, m_49_accumulate_val)             \
    X(double, m_50_accumulate_val)             \
    X(double, m_51_accumulate_val)             \
    X(double, m_52_accumulate_val)             \
    X(double, m_53_accumulate_val)

// The sub-records below are zeroed by the message that holds them.
struct account_risk_real_data {
    ZUL_ACCOUNT_RISK_REAL_DATA_FIELDS(ZUL_DECLARE_FIELD)
};

struct account_risk_real_data_mpl {
    double m_39_limit_val;
    double m_39_accumulate_val;
};

// Id 1082 from a server of the other generation; hv27 sends a short form.
struct account_risk_real_data_resp {
    Int2 m_msg_type;
    Int2 m_msg_len;
    Int4 m_sequence;
    AccountID m_account_id;
    Int4 m_user_id;
    Int8 m_last_update_time;
    account_risk_real_data m_account_risk_real_data;
    account_risk_real_data_mpl m_account_mpl_data;
    ZUL_ACCOUNT_RISK_TAIL_FIELDS(ZUL_DECLARE_FIELD)
    char m_reserved[10];
    ZUL_RECORD_CTOR(account_risk_real_data_resp, m_msg_type, m_msg_len,
                    QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID)
};

struct account_symbol_risk_real_data {
    ZUL_ACCOUNT_SYMBOL_RISK_REAL_DATA_FIELDS(ZUL_DECLARE_FIELD)
};

struct symbol_account_risk_real_data {
    ZUL_SYMBOL_ACCOUNT_RISK_REAL_DATA_FIELDS(ZUL_DECLARE_FIELD)
};

// Its head runs user id first, where the account message has the account id first.
struct account_symbol_real_data_resp {
    Int2 m_msg_type;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    AccountID m_account_id;
    Symbol m_symbol;
    Int8 m_last_update_time;
    account_symbol_risk_real_data m_account_symbol_risk_data;
    symbol_account_risk_real_data m_symbol_account_risk_data;
    ZUL_ACCOUNT_SYMBOL_RISK_TAIL_FIELDS(ZUL_DECLARE_FIELD)
    ZUL_RECORD_CTOR(account_symbol_real_data_resp, m_msg_type, m_msg_len,
                    QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID)
};

#pragma pack(pop)

#endif
