#ifndef KQ_ZUL_QUERY_INTERNAL_TEST_H
#define KQ_ZUL_QUERY_INTERNAL_TEST_H

// Live risk data by numbered risk rule: the number in a field's name is the
// number of a rule of the server. Offered on the plain face only. Each answer
// is one call with one record; there is no finish flag and no account argument.

#include <cstring>

#include "ZulCommonDefine.h"
#include "ZulQueryDefine.h"

typedef unsigned int Int4;

#pragma pack(push, 1)

struct ZUL_AccountRiskData {
    ZUL_Account m_account_id;
    Int4 m_user_id;
    ZUL_Nanosecond m_last_update_time;
    double m_broker_margin;
    double m_exchange_margin;
    double m_total_fee;
    double m_total_bp;
    ZUL_64_int m_1_limit_val;
    double m_2_limit_val;
    double m_5_limit_val;
    double m_6_limit_val;
    double m_8_limit_val;
    ZUL_64_int m_9_limit_val;
    ZUL_64_int m_10_limit_val;
    ZUL_64_int m_11_limit_val;
    ZUL_64_int m_11_accumulate_val;
    ZUL_64_int m_12_limit_val;
    ZUL_64_int m_12_accumulate_val;
    double m_13_limit_val;
    double m_13_accumulate_val;
    ZUL_64_int m_14_limit_val_1;
    ZUL_64_int m_14_time_val;
    ZUL_64_int m_14_limit_val_2;
    ZUL_64_int m_14_accumulate_val;
    ZUL_64_int m_15_limit_val_1;
    ZUL_64_int m_15_time_val;
    ZUL_64_int m_15_limit_val_2;
    ZUL_64_int m_15_accumulate_val;
    ZUL_64_int m_17_limit_val;
    ZUL_64_int m_17_accumulate_val;
    ZUL_64_int m_18_limit_val;
    ZUL_64_int m_18_accumulate_val;
    ZUL_64_int m_19_limit_val;
    ZUL_64_int m_19_accumulate_val;
    double m_20_limit_val;
    double m_20_accumulate_val;
    double m_21_limit_val;
    double m_21_accumulate_val;
    ZUL_64_int m_22_limit_val;
    ZUL_64_int m_22_accumulate_val;
    ZUL_64_int m_24_limit_val_1;
    ZUL_64_int m_24_time_val;
    ZUL_64_int m_24_limit_val_2;
    ZUL_64_int m_24_accumulate_val;
    ZUL_64_int m_25_limit_val_1;
    ZUL_64_int m_25_time_val;
    ZUL_64_int m_25_limit_val_2;
    ZUL_64_int m_25_accumulate_val;
    ZUL_64_int m_26_limit_val_1;
    ZUL_64_int m_26_accumulate_val;
    ZUL_64_int m_26_limit_val_2;
    ZUL_64_int m_27_limit_val;
    ZUL_64_int m_27_accumulate_val;
    double m_28_limit_val;
    double m_28_accumulate_val;
    ZUL_64_int m_29_limit_val;
    ZUL_64_int m_29_accumulate_val;
    double m_30_limit_val;
    double m_30_accumulate_val;
    ZUL_64_int m_31_limit_val;
    ZUL_64_int m_31_accumulate_val;
    ZUL_64_int m_32_limit_val;
    ZUL_64_int m_32_accumulate_val;
    ZUL_64_int m_33_limit_val;
    ZUL_64_int m_33_accumulate_val;
    ZUL_64_int m_34_limit_val_2;
    ZUL_64_int m_34_time_val;
    ZUL_64_int m_34_limit_val_1;
    ZUL_64_int m_34_accumulate_val;
    ZUL_64_int m_35_limit_val_2;
    ZUL_64_int m_35_time_val;
    ZUL_64_int m_35_limit_val_1;
    ZUL_64_int m_35_accumulate_val;
    ZUL_64_int m_36_limit_val_1;
    ZUL_64_int m_36_time_val;
    ZUL_64_int m_36_limit_val_2;
    ZUL_64_int m_36_accumulate_val;
    ZUL_64_int m_37_limit_val_1;
    ZUL_64_int m_37_time_val;
    ZUL_64_int m_37_limit_val_2;
    ZUL_64_int m_37_accumulate_val;
    double m_38_limit_val;
    double m_38_accumulate_val;
    double m_39_limit_val;
    double m_39_accumulate_val;
    double m_40_limit_val;
    double m_40_accumulate_val;
    ZUL_64_int m_41_limit_val;
    ZUL_64_int m_41_accumulate_val;
    ZUL_64_int m_42_limit_val;
    ZUL_64_int m_42_accumulate_val;
    double m_43_limit_val;
    double m_43_accumulate_val;
    double m_44_limit_val;
    double m_44_accumulate_val;
    ZUL_64_int m_54_limit_val;
    ZUL_64_int m_54_accumulate_val;
    double m_55_limit_val;
    double m_55_accumulate_val;
    ZUL_64_int m_56_limit_val;
    ZUL_64_int m_56_accumulate_val;
    ZUL_64_int m_57_limit_val;
    ZUL_64_int m_57_accumulate_val;
    double m_58_limit_val;
    double m_58_accumulate_val;
    double m_59_limit_val;
    double m_59_accumulate_val;
    double m_60_limit_val;
    double m_60_accumulate_val;
    double m_61_limit_val;
    double m_61_accumulate_val;
    ZUL_64_int m_62_limit_val_1;
    ZUL_64_int m_62_time_val;
    ZUL_64_int m_62_limit_val_2;
    ZUL_64_int m_62_accumulate_val;
    ZUL_64_int m_63_limit_val_1;
    ZUL_64_int m_63_time_val;
    ZUL_64_int m_63_limit_val_2;
    ZUL_64_int m_63_accumulate_val;

    ZUL_AccountRiskData() { memset(static_cast<void*>(this), 0, sizeof(*this)); }
};

struct ZUL_AccountSymbolRiskData {
    Int4 m_user_id;
    ZUL_Account m_account_id;
    ZUL_Symbol m_symbol;
    ZUL_Nanosecond m_last_update_time;
    double m_onp_short_pos_settle_price;
    double m_onp_long_pos_settle_price;
    ZUL_64_int m_onp_long_pos_quantity;
    double m_onp_long_pos_margin;
    double m_open_fee_rate_2;
    double m_open_fee_rate_1;
    ZUL_64_int m_onp_short_pos_quantity;
    double m_onp_short_pos_margin;
    double m_broker_margin_rate;
    ZUL_64_int m_fee_caculate_mode;
    double m_cover_fee_rate_2;
    double m_cover_fee_rate_1;
    double m_fee;
    ZUL_32_int m_onp_short_pos_qty;
    ZUL_32_int m_today_short_pos_qty;
    ZUL_32_int m_onp_long_pos_qty;
    ZUL_32_int m_today_long_pos_qty;
    double m_snpl;
    double m_bnpl;
    double m_3_limit_val;
    double m_4_limit_val;
    double m_7_limit_val;
    ZUL_64_int m_23_limit_val;
    ZUL_64_int m_23_accumulate_val;
    double m_45_limit_val;
    double m_45_accumulate_val;
    ZUL_64_int m_46_limit_val;
    double m_46_accumulate_val;
    double m_47_limit_val;
    double m_47_accumulate_val;
    double m_48_limit_val;
    double m_48_accumulate_val;
    ZUL_64_int m_49_limit_val;
    double m_49_accumulate_val;
    double m_50_limit_val;
    double m_50_accumulate_val;
    double m_51_limit_val;
    double m_51_accumulate_val;
    double m_52_limit_val;
    double m_52_accumulate_val;
    double m_53_limit_val;
    double m_53_accumulate_val;
    double m_bmpl;
    ZUL_64_int m_long_pos_quantity;
    double m_long_pos_total_val;
    double m_smpl;
    ZUL_64_int m_short_pos_quantity;
    double m_short_pos_total_val;

    ZUL_AccountSymbolRiskData() { memset(static_cast<void*>(this), 0, sizeof(*this)); }
};

#pragma pack(pop)

typedef void (*KQZUL_QueryAccountRiskDataEvent)(void* handle, ZUL_AccountRiskData* pRiskData,
                                                ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryAccountSymbolRiskDataEvent)(void* handle,
                                                      ZUL_AccountSymbolRiskData* pRiskData,
                                                      ZUL_QueryErrorId errorId);

extern "C" {

ZUL_API RESULT KQZUL_SetQueryAccountRiskDataEvent(void* handle, KQZUL_QueryAccountRiskDataEvent p);
ZUL_API RESULT KQZUL_SetQueryAccountSymbolRiskDataEvent(void* handle,
                                                        KQZUL_QueryAccountSymbolRiskDataEvent p);

// Risk data of one account. The request carries the account only: symbol_id
// and exchange_id are not sent. Any server generation is asked.
ZUL_API RESULT KQZUL_QueryAccountRiskData(void* handle, const char* account_id,
                                          const char* symbol_id, int exchange_id);
// Risk data of an account by symbol. symbol_id goes into the request's symbol
// field, cut to 19 characters, so that one symbol can be asked for; an empty
// symbol_id leaves that field zero. exch_id is not sent.
ZUL_API RESULT KQZUL_QueryAccountSymbolRiskData(void* handle, const char* accountt_id,
                                                const char* symbol_id, int exch_id);

}  // extern "C"

#endif
