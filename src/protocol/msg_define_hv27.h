#ifndef ZUL_PROTOCOL_MSG_DEFINE_HV27_H
#define ZUL_PROTOCOL_MSG_DEFINE_HV27_H

// Records as a server of generation hv27 declares them. The error answer 1064 is
// declared here and is the same for both generations.

#include "protocol/msg_define.h"

#pragma pack(push, 1)

// Bytes 8 to 50 agree with query_logon_msg_resp; byte 51 tells the generation.
struct hv27_query_logon_msg_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_result;
    char m_login_id[33];
    Int4 m_user_id;
    Int1 m_user_token_cancel_enable;
    Int1 m_user_selfexec_check_enable;
    Int1 m_version_flag;
    char m_reserved[4];
    ZUL_RECORD_CTOR(hv27_query_logon_msg_resp, m_msg_id, m_msg_len, QUERY_LOGON_MSG_RESP_MSG_ID)
};

// The layout of rewind_order_execution_response_ex under the id 1075.
struct hv27_rewind_order_execution_response {
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
    ZUL_RECORD_CTOR(hv27_rewind_order_execution_response, m_msg_id, m_msg_len,
                    REWIND_ORDER_EXECUTION_RESPONSE_MSG_ID)
};

struct hv27_account_risk_real_data {
    double m_broker_margin;
    double m_exchange_margin;
    double m_fee;
    double m_bp;
};

struct hv27_account_risk_real_data_mpl {
    double m_39_limit_val;
    double m_39_accumulate_val;
};

// The totals and rule 39 only; the first 36 bytes agree with the long form.
struct hv27_account_risk_real_data_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    AccountID m_account_id;
    Int4 m_user_id;
    Int8 m_last_update_time;
    hv27_account_risk_real_data m_account_risk_real_data;
    hv27_account_risk_real_data_mpl m_account_mpl_data;
    ZUL_RECORD_CTOR(hv27_account_risk_real_data_resp, m_msg_id, m_msg_len,
                    QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID)
};

// Bytes 0 to 163 and 165 to 172 agree with query_account_bp_detail_resp. Byte 164 is
// named here; byte 173, the first reserved byte, carries the account index.
struct hv27_query_account_bp_detail_resp {
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
    char m_push_mode;
    Int8 m_amount_count;
    char m_reserved[27];
    ZUL_RECORD_CTOR(hv27_query_account_bp_detail_resp, m_msg_id, m_msg_len,
                    QUERY_ACCOUNT_BP_DETAIL_RESP_MSG_ID)
};

// Sent in place of a request's answer when the server refuses it.
struct hv27_query_err_resp {
    Int2 m_msg_id;
    Int2 m_msg_len;
    Int4 m_sequence;
    Int4 m_user_id;
    Int2 m_sub_msg_id;
    Int4 m_error_id;
    char m_reserved[6];
    ZUL_RECORD_CTOR(hv27_query_err_resp, m_msg_id, m_msg_len, QUERY_ERR_RESP_MSG_ID)
};

#pragma pack(pop)

#endif
