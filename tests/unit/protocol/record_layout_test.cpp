// Every record, public or on the wire, against its table: each field's width and kind in
// declared order, offsets accumulating from the widths, so a wrong width, a swap, a wrong kind
// or another size fails. A constructor must zero all but the id and length it sets.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>

#include "ZulQueryDefine.h"
#include "kq_zul_query_internal_test.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"

namespace {

// U unsigned, S signed, F floating point, C plain char, A array of bytes, R nested record.
template <class T>
constexpr char kind_of() {
    return std::is_array_v<T>            ? (sizeof(std::remove_extent_t<T>) == 1 ? 'A' : '?')
           : std::is_class_v<T>          ? 'R'
           : std::is_floating_point_v<T> ? 'F'
           : std::is_same_v<T, char>     ? 'C'
           : std::is_signed_v<T>         ? 'S'
                                         : 'U';
}

constexpr size_t kNext = ~size_t{0};  // the field follows the one before it

// Where the compiler put a field and what it made of it, against what the table says;
// `at` is explicit only where a union gives the same bytes a second reading.
struct field {
    const char* name;
    size_t offset, size, at, width;
    char kind, want;
};

template <class T>
void check_layout(const char* record, size_t stated_size, std::initializer_list<field> fields) {
    SCOPED_TRACE(record);
    size_t next = 0;
    for (const field& f : fields) {
        EXPECT_EQ(f.offset, f.at == kNext ? next : f.at) << f.name;
        EXPECT_EQ(f.size, f.width) << f.name;
        EXPECT_EQ(f.kind, f.want) << f.name;
        next += f.at == kNext ? f.width : 0;
    }
    EXPECT_EQ(next, stated_size) << "the widths do not add up to the stated size";
    EXPECT_EQ(sizeof(T), stated_size);
}

// Default-constructs T over marker bytes, at an odd address since packed records live
// anywhere: it must start with `head`, be zero after it and write nothing beyond itself.
template <class T>
void expect_built_as(const char* record, const std::string& head) {
    alignas(16) char buf[sizeof(T) + 2];
    memset(buf, 0x5A, sizeof(buf));
    new (buf + 1) T;
    const std::string want = head + std::string(sizeof(T) - head.size(), '\0') + '\x5A';
    const std::string got(buf + 1, sizeof(T) + 1);
    const size_t good = std::mismatch(want.begin(), want.end(), got.begin()).first - want.begin();
    EXPECT_EQ(good, want.size()) << record << ": offset of the first wrong byte";
}

// A wire record starts with its id and its length, both little-endian.
std::string id_and_size(unsigned id, unsigned size) {
    return {char(id & 0xFF), char(id >> 8), char(size & 0xFF), char(size >> 8)};
}

}  // namespace

// clang-format off
#define FIELD(f, at, w, k) field{#f, offsetof(Rec, f), sizeof(Rec::f), at, w, kind_of<decltype(Rec::f)>(), k},
#define U1(f) FIELD(f, kNext, 1, 'U')
#define U2(f) FIELD(f, kNext, 2, 'U')
#define U4(f) FIELD(f, kNext, 4, 'U')
#define U8(f) FIELD(f, kNext, 8, 'U')
#define S4(f) FIELD(f, kNext, 4, 'S')
#define S8(f) FIELD(f, kNext, 8, 'S')
#define F8(f) FIELD(f, kNext, 8, 'F')
#define C1(f) FIELD(f, kNext, 1, 'C')
#define A(f, n) FIELD(f, kNext, n, 'A')
#define REC(f, n) FIELD(f, kNext, n, 'R')
#define ALT(at, k, f, w) FIELD(f, at, w, k)
#define LAYOUT(T, SIZE, ...) do { using Rec = T; check_layout<Rec>(#T, SIZE, {__VA_ARGS__}); } while (0)
#define WIRE(T, ID, SIZE, ...) LAYOUT(T, SIZE, __VA_ARGS__); expect_built_as<T>(#T, id_and_size(ID, SIZE))
#define HDR U2(m_msg_id) U2(m_msg_len) U4(m_sequence)
#define HDR_T U2(m_msg_type) U2(m_msg_len) U4(m_sequence)
// A numbered risk rule's limit and accumulated value, or two limits, time and accumulated value.
#define PAIR(K, n) K(m_##n##_limit_val) K(m_##n##_accumulate_val)
#define QUAD(n) S8(m_##n##_limit_val_1) S8(m_##n##_time_val) S8(m_##n##_limit_val_2) S8(m_##n##_accumulate_val)
#define QUAD_REV(n) S8(m_##n##_limit_val_2) S8(m_##n##_time_val) S8(m_##n##_limit_val_1) S8(m_##n##_accumulate_val)
// Stretches that several wire records share.
#define BP_FIELDS HDR U4(m_user_id) A(m_account_id, 16) U4(m_previlege) F8(m_initial_bp) F8(m_available_bp) F8(m_margin) \
    F8(m_frozen_margin) F8(m_commission_fee) F8(m_frozen_commission) F8(m_ovn_init_margin) F8(m_total_liquid_pl)         \
    F8(m_total_market_pl) U1(m_account_idx) A(m_reserved, 3)
#define BP_DETAIL_HEAD HDR U4(m_user_id) A(m_account_id, 16) F8(m_initial_equity) F8(m_initial_bp) F8(m_ovn_init_margin)       \
    F8(m_available_bp) F8(m_margin) F8(m_frozen_margin) F8(m_commission_fee) F8(m_frozen_commission) F8(m_opt_premium_balance) \
    F8(m_opt_frozen_premium) F8(m_comm_declaration_fee) F8(m_step_declaration_fee) F8(m_cash_in_total) F8(m_cash_out_total)    \
    F8(m_total_liquid_pl) F8(m_total_market_pl) F8(m_risk_rate)
#define EXEC_HEAD HDR U1(m_last_record_flag) U4(m_user_id) A(m_account_id, 16) U8(m_timestamp) U4(m_order_token) \
    U4(m_internal_order_id) U4(m_executed_quantity) F8(m_execution_price) A(m_market_exec_id, 24) U1(m_leg_no) U1(m_order_type)

TEST(PublicLayout, EveryRecordMatchesItsTable) {
    LAYOUT(ZUL_QuerySvrInfo, 18, A(m_RemoteQueryIp, 16) U2(m_RemoteQueryTCPPort));
    LAYOUT(ZUL_QueryLogonResponse, 10, S4(m_Result) S4(m_UserId) U1(m_UserTokenCancelEnable) U1(m_UserSelfexecCheckEnable));
    LAYOUT(ZUL_QueryAccountOrder, 122, S4(m_Userid) U8(m_Timestamp) U4(m_ClientOrderToken) U1(m_SideType) U4(m_Quantity)
        U1(m_InstrumentType) A(m_Symbol, 20) F8(m_Price) A(m_Account, 17) U1(m_ExchengeID) U1(m_ForceCloseReason)
        U4(m_InternalOrderId) U1(m_OrderStatus) U8(m_CloseTime) S4(m_FilledQty) U4(m_MinQty) A(m_MarketOrderId, 25)
        U1(m_HedgeFlag) U4(m_CustomField) U1(m_IOC) U1(m_SymbolFlag));
    LAYOUT(ZUL_QueryAccountArbiOrder, 120, S4(m_Userid) U8(m_Timestamp) U4(m_ClientOrderToken) U1(m_SideType) U4(m_Quantity)
        A(m_Symbol, 20) F8(m_Price) A(m_Account, 17) U1(m_ExchengeID) U4(m_InternalOrderId) U1(m_OrderStatus) S4(m_FilledQty)
        U8(m_CloseTime) U4(m_MinQty) A(m_MarketOrderId, 25) U1(m_HedgeFlag) U4(m_CustomField) U1(m_IOC) U1(m_OrderType));
    LAYOUT(ZUL_QueryOrderExecution, 67, S4(m_Userid) U8(m_Timestamp) U4(m_ClientOrderToken) U4(m_InternalOrderId)
        U4(m_ExecutedQuantity) F8(m_ExecutionPrice) S8(m_ExecutionID) A(m_MarketExecID, 25) U1(m_LegNo) U1(m_OrderType));
    LAYOUT(ZUL_QueryOrderExecutionEx, 88, S4(m_Userid) U8(m_Timestamp) U4(m_ClientOrderToken) U4(m_InternalOrderId)
        U4(m_ExecutedQuantity) F8(m_ExecutionPrice) S8(m_ExecutionID) A(m_MarketExecID, 25) U1(m_LegNo) U1(m_OrderType)
        A(m_Symbol, 20) U1(m_SideType));
    LAYOUT(ZUL_QueryAccountQuote, 183, S4(m_Userid) A(m_Symbol, 20) U1(m_ExchengeID) U4(m_ClientQuoteToken)
        U4(m_InternalQuoteId) U4(m_BidInternalQuoteId) U4(m_AskInternalQuoteId) A(m_MarketQuoteId, 25) A(m_BidOrderSysId, 25)
        A(m_AskOrderSysId, 25) U4(m_BidQty) U4(m_AskQty) F8(m_BidPrice) F8(m_AskPrice) U1(m_BidHedgeFlag) U1(m_AskHedgeFlag)
        U1(m_BidIsOffset) U1(m_AskIsOffset) U1(m_BidState) U1(m_AskState) U4(m_BidFillQty) U4(m_AskFillQty) U4(m_CustomField)
        U1(m_IOC) A(m_ReqForQuoteID, 24));
    LAYOUT(ZUL_AccountInfo, 70, A(m_Account, 17) S4(m_Previlege) F8(m_InitialBp) F8(m_AvailableBp) F8(m_Margin)
        F8(m_FrozenMargin) F8(m_CommissionFee) F8(m_FrozenCommission) U1(m_AccountIdx));
    LAYOUT(ZUL_AccountPosition, 86, A(m_ActId, 17) A(m_Symbol, 20) S4(m_PosiDirection) U4(m_InitOvnQty) U4(m_OvnQty)
        U4(m_FrozenOvnQty) U4(m_TodayQty) U4(m_FrozenTodayQty) F8(m_OvnMargin) F8(m_TodayMargin) F8(m_PositionCost)
        U1(m_HedgeFlag));
    LAYOUT(ZUL_AccountComboPosition, 165, A(m_Account, 17) U1(m_ComboType) A(m_ComboSymbol, 80) A(m_FirstSymbol, 20)
        U1(m_FirstDirection) A(m_SecondSymbol, 20) U1(m_SecondDirection) U4(m_Qty) U4(m_InitQty) F8(m_ComboMargin)
        F8(m_ReturnMargin) U1(m_HedgeFlag));
    LAYOUT(ZUL_AccountComboRule, 166, U1(m_RuleProdType) A(m_Trading_date, 9) U1(m_ComboType) U4(m_Priority) U1(m_HedgeFlag)
        F8(m_ComboMargin) U4(m_InstrId) A(m_ComboSymbol, 80) A(m_FirstSymbol, 20) U1(m_FirstDirection) F8(m_FirstRegion)
        A(m_SecondSymbol, 20) U1(m_SecondDirection) F8(m_SecondRegion));
    LAYOUT(ZUL_AccountOptionPosition, 131, A(m_ActId, 17) A(m_Symbol, 20) S4(m_PosiDirection) A(m_UnderlyingSymbol, 20)
        C1(m_CallPut) F8(m_StrikePrice) U4(m_ExpireDate) U4(m_InitOvnQty) U4(m_CurOvnQty) U4(m_CurTodayQty)
        U4(m_CoverOvnLockedQty) U4(m_CoverTodayLockedQty) U4(m_ExecPendingQty) U4(m_ExecAppliedQty) U4(m_CxlExecPendingQty)
        F8(m_LiquidPl) F8(m_AvgPrice) F8(m_TotalCommissionFee) U1(m_HedgeFlag));
    LAYOUT(ZUL_AccountBP, 90, A(m_Account, 17) F8(m_InitialBp) F8(m_AvailableBp) F8(m_Margin) F8(m_FrozenMargin)
        F8(m_CommissionFee) F8(m_FrozenCommission) F8(m_OvnInitMargin) F8(m_TotalLiquidPL) F8(m_TotalMarketPL) U1(m_AccountIdx));
    LAYOUT(ZUL_AccountBPDetail, 163, A(m_Account, 17) F8(m_InitialEquity) F8(m_InitialBp) F8(m_OvnInitMargin) F8(m_AvailableBp)
        F8(m_Margin) F8(m_FrozenMargin) F8(m_CommissionFee) F8(m_FrozenCommission) F8(m_OptPremiumBalance)
        F8(m_OptFrozenPremium) F8(m_CommDeclarationFee) F8(m_StepDeclarationFee) F8(m_CashInTotal) F8(m_CashOutTotal)
        F8(m_TotalLiquidPL) F8(m_TotalMarketPL) F8(m_RiskRate) U1(m_PushMode) S8(m_AmountCount) U1(m_AccountIdx));
    LAYOUT(ZUL_AccountCashInout, 49, A(m_Account, 17) F8(m_AvailableBp) F8(m_CashInOut) F8(m_CashInTotal) F8(m_CashOutTotal));
    LAYOUT(ZUL_SymbolField, 170, U1(m_SecType) A(m_Symbol, 20) A(m_SymbolName, 21) U1(m_ExchangeID) A(m_ProdID, 32)
        U4(m_DeliveryYear) U4(m_DeliveryMonth) U4(m_MaxMarketOrderVolume) U4(m_MinMarketOrderVolume) U4(m_MaxLimitOrderVolume)
        U4(m_MinLimitOrderVolume) U4(m_VolumeMultiple) F8(m_PriceTick) U4(m_CreateDate) U4(m_OpenDate) U4(m_ExpireDate)
        U4(m_StartDelivDate) U4(m_EndDelivDate) U4(m_InstLifePhase) U4(m_IsTrading) U2(m_SymbolIdx) A(m_UnderlyingSymbol, 20)
        F8(m_StrikePrice) C1(m_CallPut));
    LAYOUT(ZUL_AccountMargin, 70, U1(m_HedgeFlag) A(m_Symbol, 20) U1(m_ExchangeID) A(m_ProdID, 32) F8(m_LongMarginRatio)
        F8(m_ShortMarginRatio));
    LAYOUT(ZUL_AccountFee, 106, U1(m_HedgeFlag) A(m_Symbol, 20) U1(m_ExchangeID) A(m_ProdID, 32) F8(m_OpenRatioByMoney)
        F8(m_OpenRatioByVolume) F8(m_CloseYesterdayRatioByMoney) F8(m_CloseYesterdayRatioByVolume) F8(m_CloseTodayRatioByMoney)
        F8(m_CloseTodayRatioByVolume) S4(m_PositionDir));
    LAYOUT(ZUL_AccountRiskData, 957, A(m_account_id, 17) U4(m_user_id) U8(m_last_update_time) F8(m_broker_margin)
        F8(m_exchange_margin) F8(m_total_fee) F8(m_total_bp) S8(m_1_limit_val) F8(m_2_limit_val) F8(m_5_limit_val)
        F8(m_6_limit_val) F8(m_8_limit_val) S8(m_9_limit_val) S8(m_10_limit_val) PAIR(S8, 11) PAIR(S8, 12) PAIR(F8, 13) QUAD(14)
        QUAD(15) PAIR(S8, 17) PAIR(S8, 18) PAIR(S8, 19) PAIR(F8, 20) PAIR(F8, 21) PAIR(S8, 22) QUAD(24) QUAD(25)
        S8(m_26_limit_val_1) S8(m_26_accumulate_val) S8(m_26_limit_val_2) PAIR(S8, 27) PAIR(F8, 28) PAIR(S8, 29) PAIR(F8, 30)
        PAIR(S8, 31) PAIR(S8, 32) PAIR(S8, 33) QUAD_REV(34) QUAD_REV(35) QUAD(36) QUAD(37) PAIR(F8, 38) PAIR(F8, 39)
        PAIR(F8, 40) PAIR(S8, 41) PAIR(S8, 42) PAIR(F8, 43) PAIR(F8, 44) PAIR(S8, 54) PAIR(F8, 55) PAIR(S8, 56) PAIR(S8, 57)
        PAIR(F8, 58) PAIR(F8, 59) PAIR(F8, 60) PAIR(F8, 61) QUAD(62) QUAD(63));
    LAYOUT(ZUL_AccountSymbolRiskData, 417, U4(m_user_id) A(m_account_id, 17) A(m_symbol, 20) U8(m_last_update_time)
        F8(m_onp_short_pos_settle_price) F8(m_onp_long_pos_settle_price) S8(m_onp_long_pos_quantity) F8(m_onp_long_pos_margin)
        F8(m_open_fee_rate_2) F8(m_open_fee_rate_1) S8(m_onp_short_pos_quantity) F8(m_onp_short_pos_margin)
        F8(m_broker_margin_rate) S8(m_fee_caculate_mode) F8(m_cover_fee_rate_2) F8(m_cover_fee_rate_1) F8(m_fee)
        S4(m_onp_short_pos_qty) S4(m_today_short_pos_qty) S4(m_onp_long_pos_qty) S4(m_today_long_pos_qty) F8(m_snpl) F8(m_bnpl)
        F8(m_3_limit_val) F8(m_4_limit_val) F8(m_7_limit_val) PAIR(S8, 23) PAIR(F8, 45) S8(m_46_limit_val)
        F8(m_46_accumulate_val) PAIR(F8, 47) PAIR(F8, 48) S8(m_49_limit_val) F8(m_49_accumulate_val) PAIR(F8, 50) PAIR(F8, 51)
        PAIR(F8, 52) PAIR(F8, 53) F8(m_bmpl) S8(m_long_pos_quantity) F8(m_long_pos_total_val) F8(m_smpl)
        S8(m_short_pos_quantity) F8(m_short_pos_total_val));
}

TEST(RecordBuilt, PublicConstructorsZeroTheWholeRecord) {
    expect_built_as<ZUL_QuerySvrInfo>("ZUL_QuerySvrInfo", "");
    expect_built_as<ZUL_AccountRiskData>("ZUL_AccountRiskData", "");
    expect_built_as<ZUL_AccountSymbolRiskData>("ZUL_AccountSymbolRiskData", "");
}

TEST(WireLayout, Requests) {
    WIRE(query_logon_msg_req, 68, 80, HDR U4(m_proto_version) A(m_login_id, 33) A(m_password, 33) A(m_reserved, 2));
    WIRE(change_password_req, 69, 80, HDR U4(m_user_id) A(m_old_pwd_md5, 33) A(m_new_pwd_md5, 33) A(m_reserved, 2));
    WIRE(query_user_account_req, 71, 16, HDR U4(m_user_id) A(m_reserved, 4));
    WIRE(query_symbol_req, 72, 16, HDR U4(m_user_id) U1(m_sec_type) A(m_reserved, 3));
    WIRE(query_account_position_req, 73, 32, HDR U4(m_user_id) A(m_account_id, 16) U1(m_sec_type) A(m_reserved, 3));
    WIRE(rewind_account_order_req, 74, 32, HDR U4(m_user_id) A(m_account_id, 16) U1(m_sec_type) A(m_reserved, 3));
    WIRE(rewind_account_exe_req, 75, 32, HDR U4(m_user_id) A(m_account_id, 16) U1(m_sec_type) U1(m_rewind_flag) A(m_reserved, 2));
    WIRE(query_combo_rule, 76, 16, HDR U4(m_user_id) U1(m_combo_type) U1(m_hedge_flag) A(m_reserved, 2));
    WIRE(query_account_margin, 77, 32, HDR U4(m_user_id) A(m_account_id, 16) A(m_reserved, 4));
    WIRE(query_account_fee, 78, 32, HDR U4(m_user_id) A(m_account_id, 16) U1(m_sec_type) A(m_reserved, 3));
    WIRE(query_combo_position, 79, 32, HDR A(m_account_id, 16) U4(m_user_id) A(m_reserved, 4));
    WIRE(query_account_bp_req, 81, 28, HDR U4(m_user_id) A(m_account_id, 16));
    WIRE(account_risk_real_data_req, 82, 28, HDR U4(m_user_id) A(m_account_id, 16));
    WIRE(account_symbol_real_data_req, 83, 48, HDR_T U4(m_user_id) A(m_account_id, 16) A(m_symbol, 20));
    WIRE(query_cash_inout_req, 85, 32, HDR_T U4(m_user_id) A(m_account_id, 16) A(m_reserved, 4));
    WIRE(query_account_bp_detail_req, 88, 28, HDR U4(m_user_id) A(m_account_id, 16));
    WIRE(rewind_account_quote_req, 95, 32, HDR_T U4(m_user_id) A(m_account_id, 16) U1(m_sec_type) A(m_reserved, 3));
    WIRE(rewind_account_arbi_order_req, 98, 32, HDR_T U4(m_user_id) A(m_account_id, 16) A(m_reserved, 4));
}

TEST(WireLayout, LogonAccountAndBalanceResponses) {
    WIRE(query_logon_msg_resp, 1068, 56, HDR U4(Result) A(m_login_id, 33) U4(m_user_id) U1(m_user_token_cancel_enable)
        U1(m_user_selfexec_check_enable) A(m_reserved, 5));
    WIRE(hv27_query_logon_msg_resp, 1068, 56, HDR U4(m_result) A(m_login_id, 33) U4(m_user_id) U1(m_user_token_cancel_enable)
        U1(m_user_selfexec_check_enable) U1(m_version_flag) A(m_reserved, 4));
    WIRE(change_password_resp, 1069, 16, HDR U4(m_user_id) U4(m_result_code));
    WIRE(query_user_account_resp, 1071, 88, HDR U1(m_last_record_flag) U4(m_user_id) A(m_account_id, 16) U4(m_previlege)
        F8(m_initial_bp) F8(m_available_bp) F8(m_margin) F8(m_frozen_margin) F8(m_commission_fee) F8(m_frozen_commission)
        U1(m_account_idx) A(m_reserved, 6));
    WIRE(query_account_bp_resp, 1081, 108, BP_FIELDS);
    WIRE(report_account_bp, 1093, 108, BP_FIELDS);
    WIRE(query_account_bp_detail_resp, 1088, 200, BP_DETAIL_HEAD C1(m_reserved1) U8(m_amount_count) U1(m_account_idx)
        A(m_reserved, 26));
    WIRE(hv27_query_account_bp_detail_resp, 1088, 200, BP_DETAIL_HEAD C1(m_push_mode) U8(m_amount_count) A(m_reserved, 27));
    WIRE(account_cash_inout_notify, 1099, 64, HDR U4(m_user_id) A(m_account_id, 16) F8(m_available_bp) F8(m_cash_in_out)
        F8(m_cash_in_total) F8(m_cash_out_total) A(m_reserved, 4));
    WIRE(hv27_query_err_resp, 1064, 24, HDR U4(m_user_id) U2(m_sub_msg_id) U4(m_error_id) A(m_reserved, 6));
}

// The symbol record reads two stretches two ways: a name of 21 characters over the
// underlying symbol and call/put, the strike price over both delivery dates.
TEST(WireLayout, InstrumentRateAndPositionResponses) {
    WIRE(query_symbol_resp, 1072, 139, HDR U1(m_last_record_flag) U1(m_instrument_type) A(m_symbol, 20) A(m_instrument_name, 21)
        ALT(30, 'A', m_underlying_fut_symbol, 20) ALT(50, 'C', m_call_put, 1) U1(m_exchange_id) A(m_product_id, 32)
        U2(m_delivery_year) U1(m_delivery_month) U4(m_max_market_order_volume) U4(m_min_market_order_volume)
        U4(m_max_limit_order_volume) U4(m_min_limit_order_volume) U4(m_volume_multiple) F8(m_price_tick) U4(m_create_date)
        U4(m_open_date) U4(m_expire_date) U4(m_start_deliv_date) U4(m_end_deliv_date) ALT(127, 'F', m_strike_price, 8)
        U1(m_inst_life_phase) U1(m_is_trading) U2(m_symbol_idx));
    WIRE(query_combo_rule_resp, 1076, 192, HDR U1(m_last_record_flag) U1(m_rule_prod_type) A(m_prod_group, 13)
        A(m_trading_date, 9) U1(m_combo_type) U4(m_priority) U1(m_hedge_flag) F8(m_combo_margin) A(m_combo_symbol, 80)
        U4(m_instr_id) A(m_combo_leg1, 20) A(m_combo_leg2, 20) U1(m_direction_leg1) U1(m_direction_leg2) F8(m_region_leg1)
        F8(m_region_leg2) A(m_reserved, 4));
    WIRE(query_account_margin_resp, 1077, 96, HDR U1(m_last_record_flag) A(m_account_id, 16) U1(m_hedge_flag) A(m_symbol, 20)
        U1(m_exchange_id) A(m_prod_id, 32) F8(m_long_margin_ratio) F8(m_short_margin_ratio) C1(m_reserved));
    WIRE(query_account_fee_resp, 1078, 128, HDR U1(m_last_record_flag) A(m_account_id, 16) U1(m_hedge_flag) A(m_symbol, 20)
        U1(m_exchange_id) A(m_prod_id, 32) F8(m_open_ratio_by_money) F8(m_open_ratio_by_volume)
        F8(m_close_yesterday_ratio_by_money) F8(m_close_yesterday_ratio_by_volume) F8(m_close_today_ratio_by_money)
        F8(m_close_today_ratio_by_volume) U1(m_pos_dir));
    WIRE(query_account_fut_position_resp, 1073, 152, HDR U1(m_last_record_flag) U4(m_user_id) A(m_account_id, 16)
        U4(m_request_id) A(m_symbol, 20) U1(m_posi_direction) U4(m_init_ovn_qty) F8(m_init_ovn_margin) U4(m_ovn_qty)
        U4(m_frozen_ovn_qty) U4(m_today_qty) U4(m_frozen_today_qty) F8(m_ovn_occupied_margin) F8(m_today_occupied_margin)
        F8(m_total_fee) F8(m_ovn_liquid_pl) F8(m_today_liquid_pl) F8(m_ovn_market_pl) F8(m_today_market_pl) F8(m_pos_cost)
        U1(m_hedge_flag) A(m_reserved, 5));
    WIRE(query_account_opt_position_resp, 1092, 167, U2(msg_id) U2(msg_len) U4(sequence) U1(last_record_flag) U4(user_id)
        A(account_id, 16) U4(request_id) U4(exchange_id) A(full_symbol, 20) A(underlying_symbol, 20) C1(call_put)
        F8(strike_price) A(expire_date, 9) U1(pos_dir) U4(init_ovn_qty) F8(init_ovn_margin) U4(cur_today_qty)
        U4(cover_today_locked_qty) U4(exec_pending_qty) U4(exec_applied_qty) U4(cxl_exec_pending_qty) F8(liquid_pl)
        F8(avg_price) U4(cur_ovn_qty) U4(cover_ovn_locked_qty) F8(total_commission_fee) U1(hedge_flag) A(reserved, 6));
    WIRE(query_combo_position_resp, 1079, 188, HDR U1(m_last_record_flag) A(m_account_id, 16) U1(m_hedge_flag) U4(m_instr_id)
        U1(m_combo_type) A(m_combo_symbol, 80) A(m_first_symbol, 20) U1(m_first_direction) A(m_second_symbol, 20)
        U1(m_second_direction) U4(m_qty) U4(m_init_qty) F8(m_combo_margin) F8(m_init_combo_margin) F8(m_return_margin)
        A(m_reserved, 3));
}

TEST(WireLayout, OrderExecutionAndQuoteResponses) {
    WIRE(rewind_accoutn_order_response, 1074, 144, HDR U1(m_last_record_flag) U4(m_user_id) U8(m_timestamp) U4(m_order_token)
        U1(m_instrument_type) A(m_symbol, 20) U1(m_order_price_type) U1(m_side_type) U4(m_quantity) F8(m_price) U1(m_hedge_flag)
        F8(m_stop_price) U1(m_ioc) U4(m_minimum_quantity) A(m_account_id, 16) U1(m_exchange_id) U1(m_order_state)
        U1(m_cxl_rjt_flag) U8(m_close_time) U4(m_filled_qty) U4(m_internal_order_id) A(m_market_order_id, 24)
        U4(m_mkt_custom_field) U1(m_symbol_flag) A(m_reserved1, 3) U1(m_market_session_id) A(m_reserved, 2));
    WIRE(rewind_account_arbi_order_response, 1098, 144, HDR U1(m_last_record_flag) U4(m_user_id) U8(m_timestamp)
        U4(m_order_token) U1(m_order_type) A(m_symbol, 20) U1(m_order_price_type) U1(m_side_type) U4(m_quantity) F8(m_price)
        U1(m_hedge_flag) F8(m_stop_price) U1(m_ioc) U4(m_minimum_quantity) A(m_account_id, 16) U1(m_exchange_id)
        U1(m_order_state) U1(m_cxl_rjt_flag) U8(m_close_time) U4(m_filled_qty) U4(m_internal_order_id) A(m_market_order_id, 24)
        U4(m_mkt_custom_field) A(m_reserved1, 4) U1(m_market_session_id) A(m_reserved, 2));
    WIRE(rewind_order_execution_response, 1075, 88, EXEC_HEAD A(m_reserved, 5));
    WIRE(rewind_order_execution_response_ex, 1063, 112, EXEC_HEAD A(m_symbol, 20) U1(m_side_type) A(m_reserved, 8));
    WIRE(hv27_rewind_order_execution_response, 1075, 112, EXEC_HEAD A(m_symbol, 20) U1(m_side_type) A(m_reserved, 8));
    WIRE(rewind_account_quote_response, 1095, 248, HDR U1(m_last_record_flag) U4(m_user_id) U1(m_sec_type) U4(m_quote_token)
        U1(m_ioc) A(reserved, 7) U4(m_internal_quote_id) U4(m_bid_internal_quote_id) U4(m_ask_internal_quote_id)
        A(m_mkt_quote_id, 24) A(m_bid_mkt_order_id, 24) A(m_ask_mkt_order_id, 24) A(m_account_id, 16) U1(m_exchange_id)
        A(m_symbol, 20) U1(m_bid_offset_flag) U4(m_bid_volume) F8(m_bid_price) U1(m_bid_hedge_flag) U1(m_bid_state)
        U4(m_bid_fill_volume) U1(m_ask_offset_flag) U4(m_ask_volume) F8(m_ask_price) U1(m_ask_hedge_flag) U1(m_ask_state)
        U4(m_ask_fill_volume) U4(m_mkt_custom_field) A(m_req_for_quote_id, 24) A(m_reserved2, 35));
}

TEST(WireLayout, RiskDataResponses) {
    WIRE(account_risk_real_data_resp, 1082, 1006, HDR_T A(m_account_id, 16) U4(m_user_id) U8(m_last_update_time)
        REC(m_account_risk_real_data, 896) REC(m_account_mpl_data, 16) F8(m_20_accumulate_val) S8(m_27_accumulate_val)
        F8(m_28_accumulate_val) F8(m_40_accumulate_val) F8(m_60_accumulate_val) F8(m_61_accumulate_val) A(m_reserved, 10));
    LAYOUT(account_risk_real_data, 896, PAIR(F8, 43) PAIR(F8, 38) PAIR(S8, 41) PAIR(F8, 44) PAIR(S8, 29) PAIR(S8, 42)
        PAIR(S8, 54) PAIR(F8, 30) PAIR(S8, 56) PAIR(F8, 55) PAIR(F8, 58) PAIR(S8, 57) PAIR(S8, 31) PAIR(F8, 59) QUAD_REV(35)
        QUAD_REV(34) F8(m_broker_margin) F8(m_exchange_margin) F8(m_fee) F8(m_bp) PAIR(F8, 13) PAIR(F8, 21) QUAD(14) QUAD(15)
        QUAD(62) QUAD(63) PAIR(S8, 11) PAIR(S8, 32) PAIR(S8, 17) PAIR(S8, 12) PAIR(S8, 19) PAIR(S8, 18) F8(m_5_limit_val)
        S8(m_Rev1) S8(m_Rev2) F8(m_2_limit_val) S8(m_9_limit_val) F8(m_8_limit_val) S8(m_Rev3) F8(m_6_limit_val)
        F8(m_61_limit_val) F8(m_60_limit_val) S8(m_1_limit_val) S8(m_10_limit_val) F8(m_20_limit_val) F8(m_40_limit_val)
        F8(m_28_limit_val) S8(m_27_limit_val) QUAD(24) QUAD(25) S8(m_26_limit_val_1) S8(m_26_accumulate_val) PAIR(S8, 22)
        PAIR(S8, 33) S8(m_26_limit_val_2) S8(m_Rev4) QUAD(36) QUAD(37));
    LAYOUT(account_risk_real_data_mpl, 16, PAIR(F8, 39));
    WIRE(hv27_account_risk_real_data_resp, 1082, 84, HDR A(m_account_id, 16) U4(m_user_id) U8(m_last_update_time)
        REC(m_account_risk_real_data, 32) REC(m_account_mpl_data, 16));
    LAYOUT(hv27_account_risk_real_data, 32, F8(m_broker_margin) F8(m_exchange_margin) F8(m_fee) F8(m_bp));
    LAYOUT(hv27_account_risk_real_data_mpl, 16, PAIR(F8, 39));
    WIRE(account_symbol_real_data_resp, 1083, 448, HDR_T U4(m_user_id) A(m_account_id, 16) A(m_symbol, 20)
        U8(m_last_update_time) REC(m_account_symbol_risk_data, 256) REC(m_symbol_account_risk_data, 64) F8(m_45_accumulate_val)
        F8(m_46_accumulate_val) F8(m_47_accumulate_val) F8(m_48_accumulate_val) F8(m_49_accumulate_val) F8(m_50_accumulate_val)
        F8(m_51_accumulate_val) F8(m_52_accumulate_val) F8(m_53_accumulate_val));
    LAYOUT(account_symbol_risk_real_data, 256, F8(m_onp_short_pos_settle_price) F8(m_onp_long_pos_settle_price)
        S8(m_onp_long_pos_quantity) F8(m_onp_long_pos_margin) F8(m_open_fee_rate_2) F8(m_open_fee_rate_1)
        S8(m_onp_short_pos_quantity) F8(m_onp_short_pos_margin) F8(m_broker_margin_rate) S8(m_fee_caculate_mode)
        F8(m_cover_fee_rate_2) F8(m_cover_fee_rate_1) F8(m_53_limit_val) F8(m_fee) S4(m_onp_short_pos_qty)
        S4(m_today_short_pos_qty) S4(m_onp_long_pos_qty) S4(m_today_long_pos_qty) S8(m_46_limit_val) F8(m_snpl)
        F8(m_45_limit_val) F8(m_bnpl) F8(m_48_limit_val) F8(m_4_limit_val) F8(m_47_limit_val) F8(m_3_limit_val)
        F8(m_52_limit_val) F8(m_51_limit_val) F8(m_50_limit_val) S8(m_49_limit_val) S8(m_Rev) F8(m_7_limit_val) PAIR(S8, 23));
    LAYOUT(symbol_account_risk_real_data, 64, F8(m_bmpl) S8(m_long_pos_quantity) F8(m_long_pos_total_val) S8(m_rev1) F8(m_smpl)
        S8(m_short_pos_quantity) F8(m_short_pos_total_val) S8(m_rev2));
}
// clang-format on

TEST(WireConstants, VersionGenerationFlagAndKinds) {
    EXPECT_EQ(QUERY_PROTO_VERSION, 15u);
    EXPECT_EQ(HV27_VERSION_FLAG, 6);
    EXPECT_EQ(
        (std::string{SEC_TYPE_STOCK, SEC_TYPE_OPTION, SEC_TYPE_FUTURE, SEC_TYPE_ARBI, SEC_TYPE_F}),
        "\1\2\3\4\5");
}
