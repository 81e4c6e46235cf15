// Layout of every public record, written as data: each field with its type and
// width in declared order. Offsets are accumulated from the widths, so a wrong
// width, a wrong type or two swapped fields fails, and so does a record whose
// size differs from its stated figure.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>
#include <vector>

#include "ZulQueryDefine.h"
#include "kq_zul_query_internal_test.h"

namespace {

struct field_layout {
    const char* name;
    size_t offset;  // where the compiler put it
    size_t size;    // what the compiler made of it
    size_t width;   // what the table says
};

// Stops the build when a field's type is not the one of its table.
template <typename Expected, typename Actual>
constexpr const char* typed(const char* name) {
    static_assert(std::is_same<Expected, Actual>::value, "field type differs from its table");
    return name;
}

#define FIELD(REC, NAME, TYPE, WIDTH)                                                          \
    field_layout {                                                                             \
        typed<TYPE, decltype(REC::NAME)>(#NAME), offsetof(REC, NAME), sizeof(REC::NAME), WIDTH \
    }

void check_layout(size_t size, size_t stated_size, const std::vector<field_layout>& fields) {
    size_t offset = 0;
    for (const field_layout& f : fields) {
        EXPECT_EQ(f.offset, offset) << f.name;
        EXPECT_EQ(f.size, f.width) << f.name;
        offset += f.width;
    }
    EXPECT_EQ(offset, stated_size) << "the widths do not add up to the stated size";
    EXPECT_EQ(size, stated_size);
}

}  // namespace

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_QuerySvrInfo, NAME, TYPE, WIDTH)
TEST(RecordLayout, QuerySvrInfo) {
    check_layout(sizeof(ZUL_QuerySvrInfo), 18,
                 {F(m_RemoteQueryIp, char[16], 16), F(m_RemoteQueryTCPPort, unsigned short, 2)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_QueryLogonResponse, NAME, TYPE, WIDTH)
TEST(RecordLayout, QueryLogonResponse) {
    check_layout(sizeof(ZUL_QueryLogonResponse), 10,
                 {F(m_Result, ZUL_LogonResult, 4), F(m_UserId, ZUL_UserID, 4),
                  F(m_UserTokenCancelEnable, unsigned char, 1),
                  F(m_UserSelfexecCheckEnable, unsigned char, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_QueryAccountOrder, NAME, TYPE, WIDTH)
TEST(RecordLayout, QueryAccountOrder) {
    check_layout(sizeof(ZUL_QueryAccountOrder), 122,
                 {F(m_Userid, ZUL_UserID, 4),
                  F(m_Timestamp, ZUL_Nanosecond, 8),
                  F(m_ClientOrderToken, ZUL_ClientToken, 4),
                  F(m_SideType, ZUL_SideType, 1),
                  F(m_Quantity, unsigned int, 4),
                  F(m_InstrumentType, ZUL_SecType, 1),
                  F(m_Symbol, ZUL_Symbol, 20),
                  F(m_Price, double, 8),
                  F(m_Account, ZUL_Account, 17),
                  F(m_ExchengeID, ZUL_ExchangeID, 1),
                  F(m_ForceCloseReason, ZUL_ForceCloseReason, 1),
                  F(m_InternalOrderId, ZUL_Internal_Id, 4),
                  F(m_OrderStatus, ZUL_OrderStatus, 1),
                  F(m_CloseTime, ZUL_Nanosecond, 8),
                  F(m_FilledQty, int, 4),
                  F(m_MinQty, unsigned int, 4),
                  F(m_MarketOrderId, ZUL_MarketOrderId, 25),
                  F(m_HedgeFlag, ZUL_HedgeFlag, 1),
                  F(m_CustomField, ZUL_CustomFieldType, 4),
                  F(m_IOC, unsigned char, 1),
                  F(m_SymbolFlag, unsigned char, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_QueryAccountArbiOrder, NAME, TYPE, WIDTH)
TEST(RecordLayout, QueryAccountArbiOrder) {
    check_layout(
        sizeof(ZUL_QueryAccountArbiOrder), 120,
        {F(m_Userid, ZUL_UserID, 4), F(m_Timestamp, ZUL_Nanosecond, 8),
         F(m_ClientOrderToken, ZUL_ClientToken, 4), F(m_SideType, ZUL_SideType, 1),
         F(m_Quantity, unsigned int, 4), F(m_Symbol, ZUL_Symbol, 20), F(m_Price, double, 8),
         F(m_Account, ZUL_Account, 17), F(m_ExchengeID, ZUL_ExchangeID, 1),
         F(m_InternalOrderId, ZUL_Internal_Id, 4), F(m_OrderStatus, ZUL_OrderStatus, 1),
         F(m_FilledQty, int, 4), F(m_CloseTime, ZUL_Nanosecond, 8), F(m_MinQty, unsigned int, 4),
         F(m_MarketOrderId, ZUL_MarketOrderId, 25), F(m_HedgeFlag, ZUL_HedgeFlag, 1),
         F(m_CustomField, ZUL_CustomFieldType, 4), F(m_IOC, unsigned char, 1),
         F(m_OrderType, unsigned char, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_QueryOrderExecution, NAME, TYPE, WIDTH)
TEST(RecordLayout, QueryOrderExecution) {
    check_layout(
        sizeof(ZUL_QueryOrderExecution), 67,
        {F(m_Userid, ZUL_UserID, 4), F(m_Timestamp, ZUL_Nanosecond, 8),
         F(m_ClientOrderToken, ZUL_ClientToken, 4), F(m_InternalOrderId, ZUL_Internal_Id, 4),
         F(m_ExecutedQuantity, unsigned int, 4), F(m_ExecutionPrice, double, 8),
         F(m_ExecutionID, ZUL_MarketToken, 8), F(m_MarketExecID, ZUL_MarketExecId, 25),
         F(m_LegNo, unsigned char, 1), F(m_OrderType, unsigned char, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_QueryOrderExecutionEx, NAME, TYPE, WIDTH)
TEST(RecordLayout, QueryOrderExecutionEx) {
    check_layout(
        sizeof(ZUL_QueryOrderExecutionEx), 88,
        {F(m_Userid, ZUL_UserID, 4), F(m_Timestamp, ZUL_Nanosecond, 8),
         F(m_ClientOrderToken, ZUL_ClientToken, 4), F(m_InternalOrderId, ZUL_Internal_Id, 4),
         F(m_ExecutedQuantity, unsigned int, 4), F(m_ExecutionPrice, double, 8),
         F(m_ExecutionID, ZUL_MarketToken, 8), F(m_MarketExecID, ZUL_MarketExecId, 25),
         F(m_LegNo, unsigned char, 1), F(m_OrderType, unsigned char, 1),
         F(m_Symbol, ZUL_Symbol, 20), F(m_SideType, ZUL_SideType, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_QueryAccountQuote, NAME, TYPE, WIDTH)
TEST(RecordLayout, QueryAccountQuote) {
    check_layout(sizeof(ZUL_QueryAccountQuote), 183,
                 {F(m_Userid, ZUL_UserID, 4),
                  F(m_Symbol, ZUL_Symbol, 20),
                  F(m_ExchengeID, ZUL_ExchangeID, 1),
                  F(m_ClientQuoteToken, ZUL_ClientToken, 4),
                  F(m_InternalQuoteId, ZUL_Internal_Id, 4),
                  F(m_BidInternalQuoteId, ZUL_Internal_Id, 4),
                  F(m_AskInternalQuoteId, ZUL_Internal_Id, 4),
                  F(m_MarketQuoteId, ZUL_MarketOrderId, 25),
                  F(m_BidOrderSysId, ZUL_MarketOrderId, 25),
                  F(m_AskOrderSysId, ZUL_MarketOrderId, 25),
                  F(m_BidQty, unsigned int, 4),
                  F(m_AskQty, unsigned int, 4),
                  F(m_BidPrice, double, 8),
                  F(m_AskPrice, double, 8),
                  F(m_BidHedgeFlag, ZUL_HedgeFlag, 1),
                  F(m_AskHedgeFlag, ZUL_HedgeFlag, 1),
                  F(m_BidIsOffset, unsigned char, 1),
                  F(m_AskIsOffset, unsigned char, 1),
                  F(m_BidState, ZUL_OrderStatus, 1),
                  F(m_AskState, ZUL_OrderStatus, 1),
                  F(m_BidFillQty, unsigned int, 4),
                  F(m_AskFillQty, unsigned int, 4),
                  F(m_CustomField, ZUL_CustomFieldType, 4),
                  F(m_IOC, unsigned char, 1),
                  F(m_ReqForQuoteID, ZUL_QUOTE_ID, 24)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountInfo, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountInfo) {
    check_layout(sizeof(ZUL_AccountInfo), 70,
                 {F(m_Account, ZUL_Account, 17), F(m_Previlege, ZUL_Previlege, 4),
                  F(m_InitialBp, double, 8), F(m_AvailableBp, double, 8), F(m_Margin, double, 8),
                  F(m_FrozenMargin, double, 8), F(m_CommissionFee, double, 8),
                  F(m_FrozenCommission, double, 8), F(m_AccountIdx, unsigned char, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountPosition, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountPosition) {
    check_layout(sizeof(ZUL_AccountPosition), 86,
                 {F(m_ActId, ZUL_Account, 17), F(m_Symbol, ZUL_Symbol, 20),
                  F(m_PosiDirection, ZUL_PosiDirection, 4), F(m_InitOvnQty, unsigned int, 4),
                  F(m_OvnQty, unsigned int, 4), F(m_FrozenOvnQty, unsigned int, 4),
                  F(m_TodayQty, unsigned int, 4), F(m_FrozenTodayQty, unsigned int, 4),
                  F(m_OvnMargin, double, 8), F(m_TodayMargin, double, 8),
                  F(m_PositionCost, double, 8), F(m_HedgeFlag, ZUL_HedgeFlag, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountComboPosition, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountComboPosition) {
    check_layout(sizeof(ZUL_AccountComboPosition), 165,
                 {F(m_Account, ZUL_Account, 17), F(m_ComboType, unsigned char, 1),
                  F(m_ComboSymbol, ZUL_Combo_Symbol, 80), F(m_FirstSymbol, ZUL_Symbol, 20),
                  F(m_FirstDirection, unsigned char, 1), F(m_SecondSymbol, ZUL_Symbol, 20),
                  F(m_SecondDirection, unsigned char, 1), F(m_Qty, unsigned int, 4),
                  F(m_InitQty, unsigned int, 4), F(m_ComboMargin, double, 8),
                  F(m_ReturnMargin, double, 8), F(m_HedgeFlag, ZUL_HedgeFlag, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountComboRule, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountComboRule) {
    check_layout(sizeof(ZUL_AccountComboRule), 166,
                 {F(m_RuleProdType, unsigned char, 1), F(m_Trading_date, ZUL_DATE, 9),
                  F(m_ComboType, unsigned char, 1), F(m_Priority, unsigned int, 4),
                  F(m_HedgeFlag, unsigned char, 1), F(m_ComboMargin, double, 8),
                  F(m_InstrId, unsigned int, 4), F(m_ComboSymbol, ZUL_Combo_Symbol, 80),
                  F(m_FirstSymbol, ZUL_Symbol, 20), F(m_FirstDirection, unsigned char, 1),
                  F(m_FirstRegion, double, 8), F(m_SecondSymbol, ZUL_Symbol, 20),
                  F(m_SecondDirection, unsigned char, 1), F(m_SecondRegion, double, 8)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountOptionPosition, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountOptionPosition) {
    check_layout(
        sizeof(ZUL_AccountOptionPosition), 131,
        {F(m_ActId, ZUL_Account, 17), F(m_Symbol, ZUL_Symbol, 20),
         F(m_PosiDirection, ZUL_PosiDirection, 4), F(m_UnderlyingSymbol, ZUL_Symbol, 20),
         F(m_CallPut, char, 1), F(m_StrikePrice, double, 8), F(m_ExpireDate, unsigned int, 4),
         F(m_InitOvnQty, unsigned int, 4), F(m_CurOvnQty, unsigned int, 4),
         F(m_CurTodayQty, unsigned int, 4), F(m_CoverOvnLockedQty, unsigned int, 4),
         F(m_CoverTodayLockedQty, unsigned int, 4), F(m_ExecPendingQty, unsigned int, 4),
         F(m_ExecAppliedQty, unsigned int, 4), F(m_CxlExecPendingQty, unsigned int, 4),
         F(m_LiquidPl, double, 8), F(m_AvgPrice, double, 8), F(m_TotalCommissionFee, double, 8),
         F(m_HedgeFlag, ZUL_HedgeFlag, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountBP, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountBP) {
    check_layout(sizeof(ZUL_AccountBP), 90,
                 {F(m_Account, ZUL_Account, 17), F(m_InitialBp, double, 8),
                  F(m_AvailableBp, double, 8), F(m_Margin, double, 8), F(m_FrozenMargin, double, 8),
                  F(m_CommissionFee, double, 8), F(m_FrozenCommission, double, 8),
                  F(m_OvnInitMargin, double, 8), F(m_TotalLiquidPL, double, 8),
                  F(m_TotalMarketPL, double, 8), F(m_AccountIdx, unsigned char, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountBPDetail, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountBPDetail) {
    check_layout(sizeof(ZUL_AccountBPDetail), 163,
                 {F(m_Account, ZUL_Account, 17),      F(m_InitialEquity, double, 8),
                  F(m_InitialBp, double, 8),          F(m_OvnInitMargin, double, 8),
                  F(m_AvailableBp, double, 8),        F(m_Margin, double, 8),
                  F(m_FrozenMargin, double, 8),       F(m_CommissionFee, double, 8),
                  F(m_FrozenCommission, double, 8),   F(m_OptPremiumBalance, double, 8),
                  F(m_OptFrozenPremium, double, 8),   F(m_CommDeclarationFee, double, 8),
                  F(m_StepDeclarationFee, double, 8), F(m_CashInTotal, double, 8),
                  F(m_CashOutTotal, double, 8),       F(m_TotalLiquidPL, double, 8),
                  F(m_TotalMarketPL, double, 8),      F(m_RiskRate, double, 8),
                  F(m_PushMode, unsigned char, 1),    F(m_AmountCount, ZUL_INT8, 8),
                  F(m_AccountIdx, unsigned char, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountCashInout, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountCashInout) {
    check_layout(
        sizeof(ZUL_AccountCashInout), 49,
        {F(m_Account, ZUL_Account, 17), F(m_AvailableBp, double, 8), F(m_CashInOut, double, 8),
         F(m_CashInTotal, double, 8), F(m_CashOutTotal, double, 8)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_SymbolField, NAME, TYPE, WIDTH)
TEST(RecordLayout, SymbolField) {
    check_layout(sizeof(ZUL_SymbolField), 170,
                 {F(m_SecType, ZUL_SecType, 1),
                  F(m_Symbol, ZUL_Symbol, 20),
                  F(m_SymbolName, ZUL_SymbolName, 21),
                  F(m_ExchangeID, ZUL_ExchangeID, 1),
                  F(m_ProdID, ZUL_ProductID, 32),
                  F(m_DeliveryYear, unsigned int, 4),
                  F(m_DeliveryMonth, unsigned int, 4),
                  F(m_MaxMarketOrderVolume, unsigned int, 4),
                  F(m_MinMarketOrderVolume, unsigned int, 4),
                  F(m_MaxLimitOrderVolume, unsigned int, 4),
                  F(m_MinLimitOrderVolume, unsigned int, 4),
                  F(m_VolumeMultiple, unsigned int, 4),
                  F(m_PriceTick, double, 8),
                  F(m_CreateDate, unsigned int, 4),
                  F(m_OpenDate, unsigned int, 4),
                  F(m_ExpireDate, unsigned int, 4),
                  F(m_StartDelivDate, unsigned int, 4),
                  F(m_EndDelivDate, unsigned int, 4),
                  F(m_InstLifePhase, unsigned int, 4),
                  F(m_IsTrading, unsigned int, 4),
                  F(m_SymbolIdx, unsigned short, 2),
                  F(m_UnderlyingSymbol, ZUL_Symbol, 20),
                  F(m_StrikePrice, double, 8),
                  F(m_CallPut, char, 1)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountMargin, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountMargin) {
    check_layout(sizeof(ZUL_AccountMargin), 70,
                 {F(m_HedgeFlag, ZUL_HedgeFlag, 1), F(m_Symbol, ZUL_Symbol, 20),
                  F(m_ExchangeID, ZUL_ExchangeID, 1), F(m_ProdID, ZUL_ProductID, 32),
                  F(m_LongMarginRatio, double, 8), F(m_ShortMarginRatio, double, 8)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountFee, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountFee) {
    check_layout(
        sizeof(ZUL_AccountFee), 106,
        {F(m_HedgeFlag, ZUL_HedgeFlag, 1), F(m_Symbol, ZUL_Symbol, 20),
         F(m_ExchangeID, ZUL_ExchangeID, 1), F(m_ProdID, ZUL_ProductID, 32),
         F(m_OpenRatioByMoney, double, 8), F(m_OpenRatioByVolume, double, 8),
         F(m_CloseYesterdayRatioByMoney, double, 8), F(m_CloseYesterdayRatioByVolume, double, 8),
         F(m_CloseTodayRatioByMoney, double, 8), F(m_CloseTodayRatioByVolume, double, 8),
         F(m_PositionDir, ZUL_PosiDirection, 4)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountRiskData, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountRiskData) {
    check_layout(sizeof(ZUL_AccountRiskData), 957,
                 {F(m_account_id, ZUL_Account, 17),
                  F(m_user_id, Int4, 4),
                  F(m_last_update_time, ZUL_Nanosecond, 8),
                  F(m_broker_margin, double, 8),
                  F(m_exchange_margin, double, 8),
                  F(m_total_fee, double, 8),
                  F(m_total_bp, double, 8),
                  F(m_1_limit_val, ZUL_64_int, 8),
                  F(m_2_limit_val, double, 8),
                  F(m_5_limit_val, double, 8),
                  F(m_6_limit_val, double, 8),
                  F(m_8_limit_val, double, 8),
                  F(m_9_limit_val, ZUL_64_int, 8),
                  F(m_10_limit_val, ZUL_64_int, 8),
                  F(m_11_limit_val, ZUL_64_int, 8),
                  F(m_11_accumulate_val, ZUL_64_int, 8),
                  F(m_12_limit_val, ZUL_64_int, 8),
                  F(m_12_accumulate_val, ZUL_64_int, 8),
                  F(m_13_limit_val, double, 8),
                  F(m_13_accumulate_val, double, 8),
                  F(m_14_limit_val_1, ZUL_64_int, 8),
                  F(m_14_time_val, ZUL_64_int, 8),
                  F(m_14_limit_val_2, ZUL_64_int, 8),
                  F(m_14_accumulate_val, ZUL_64_int, 8),
                  F(m_15_limit_val_1, ZUL_64_int, 8),
                  F(m_15_time_val, ZUL_64_int, 8),
                  F(m_15_limit_val_2, ZUL_64_int, 8),
                  F(m_15_accumulate_val, ZUL_64_int, 8),
                  F(m_17_limit_val, ZUL_64_int, 8),
                  F(m_17_accumulate_val, ZUL_64_int, 8),
                  F(m_18_limit_val, ZUL_64_int, 8),
                  F(m_18_accumulate_val, ZUL_64_int, 8),
                  F(m_19_limit_val, ZUL_64_int, 8),
                  F(m_19_accumulate_val, ZUL_64_int, 8),
                  F(m_20_limit_val, double, 8),
                  F(m_20_accumulate_val, double, 8),
                  F(m_21_limit_val, double, 8),
                  F(m_21_accumulate_val, double, 8),
                  F(m_22_limit_val, ZUL_64_int, 8),
                  F(m_22_accumulate_val, ZUL_64_int, 8),
                  F(m_24_limit_val_1, ZUL_64_int, 8),
                  F(m_24_time_val, ZUL_64_int, 8),
                  F(m_24_limit_val_2, ZUL_64_int, 8),
                  F(m_24_accumulate_val, ZUL_64_int, 8),
                  F(m_25_limit_val_1, ZUL_64_int, 8),
                  F(m_25_time_val, ZUL_64_int, 8),
                  F(m_25_limit_val_2, ZUL_64_int, 8),
                  F(m_25_accumulate_val, ZUL_64_int, 8),
                  F(m_26_limit_val_1, ZUL_64_int, 8),
                  F(m_26_accumulate_val, ZUL_64_int, 8),
                  F(m_26_limit_val_2, ZUL_64_int, 8),
                  F(m_27_limit_val, ZUL_64_int, 8),
                  F(m_27_accumulate_val, ZUL_64_int, 8),
                  F(m_28_limit_val, double, 8),
                  F(m_28_accumulate_val, double, 8),
                  F(m_29_limit_val, ZUL_64_int, 8),
                  F(m_29_accumulate_val, ZUL_64_int, 8),
                  F(m_30_limit_val, double, 8),
                  F(m_30_accumulate_val, double, 8),
                  F(m_31_limit_val, ZUL_64_int, 8),
                  F(m_31_accumulate_val, ZUL_64_int, 8),
                  F(m_32_limit_val, ZUL_64_int, 8),
                  F(m_32_accumulate_val, ZUL_64_int, 8),
                  F(m_33_limit_val, ZUL_64_int, 8),
                  F(m_33_accumulate_val, ZUL_64_int, 8),
                  F(m_34_limit_val_2, ZUL_64_int, 8),
                  F(m_34_time_val, ZUL_64_int, 8),
                  F(m_34_limit_val_1, ZUL_64_int, 8),
                  F(m_34_accumulate_val, ZUL_64_int, 8),
                  F(m_35_limit_val_2, ZUL_64_int, 8),
                  F(m_35_time_val, ZUL_64_int, 8),
                  F(m_35_limit_val_1, ZUL_64_int, 8),
                  F(m_35_accumulate_val, ZUL_64_int, 8),
                  F(m_36_limit_val_1, ZUL_64_int, 8),
                  F(m_36_time_val, ZUL_64_int, 8),
                  F(m_36_limit_val_2, ZUL_64_int, 8),
                  F(m_36_accumulate_val, ZUL_64_int, 8),
                  F(m_37_limit_val_1, ZUL_64_int, 8),
                  F(m_37_time_val, ZUL_64_int, 8),
                  F(m_37_limit_val_2, ZUL_64_int, 8),
                  F(m_37_accumulate_val, ZUL_64_int, 8),
                  F(m_38_limit_val, double, 8),
                  F(m_38_accumulate_val, double, 8),
                  F(m_39_limit_val, double, 8),
                  F(m_39_accumulate_val, double, 8),
                  F(m_40_limit_val, double, 8),
                  F(m_40_accumulate_val, double, 8),
                  F(m_41_limit_val, ZUL_64_int, 8),
                  F(m_41_accumulate_val, ZUL_64_int, 8),
                  F(m_42_limit_val, ZUL_64_int, 8),
                  F(m_42_accumulate_val, ZUL_64_int, 8),
                  F(m_43_limit_val, double, 8),
                  F(m_43_accumulate_val, double, 8),
                  F(m_44_limit_val, double, 8),
                  F(m_44_accumulate_val, double, 8),
                  F(m_54_limit_val, ZUL_64_int, 8),
                  F(m_54_accumulate_val, ZUL_64_int, 8),
                  F(m_55_limit_val, double, 8),
                  F(m_55_accumulate_val, double, 8),
                  F(m_56_limit_val, ZUL_64_int, 8),
                  F(m_56_accumulate_val, ZUL_64_int, 8),
                  F(m_57_limit_val, ZUL_64_int, 8),
                  F(m_57_accumulate_val, ZUL_64_int, 8),
                  F(m_58_limit_val, double, 8),
                  F(m_58_accumulate_val, double, 8),
                  F(m_59_limit_val, double, 8),
                  F(m_59_accumulate_val, double, 8),
                  F(m_60_limit_val, double, 8),
                  F(m_60_accumulate_val, double, 8),
                  F(m_61_limit_val, double, 8),
                  F(m_61_accumulate_val, double, 8),
                  F(m_62_limit_val_1, ZUL_64_int, 8),
                  F(m_62_time_val, ZUL_64_int, 8),
                  F(m_62_limit_val_2, ZUL_64_int, 8),
                  F(m_62_accumulate_val, ZUL_64_int, 8),
                  F(m_63_limit_val_1, ZUL_64_int, 8),
                  F(m_63_time_val, ZUL_64_int, 8),
                  F(m_63_limit_val_2, ZUL_64_int, 8),
                  F(m_63_accumulate_val, ZUL_64_int, 8)});
}
#undef F

#define F(NAME, TYPE, WIDTH) FIELD(ZUL_AccountSymbolRiskData, NAME, TYPE, WIDTH)
TEST(RecordLayout, AccountSymbolRiskData) {
    check_layout(sizeof(ZUL_AccountSymbolRiskData), 417,
                 {F(m_user_id, Int4, 4),
                  F(m_account_id, ZUL_Account, 17),
                  F(m_symbol, ZUL_Symbol, 20),
                  F(m_last_update_time, ZUL_Nanosecond, 8),
                  F(m_onp_short_pos_settle_price, double, 8),
                  F(m_onp_long_pos_settle_price, double, 8),
                  F(m_onp_long_pos_quantity, ZUL_64_int, 8),
                  F(m_onp_long_pos_margin, double, 8),
                  F(m_open_fee_rate_2, double, 8),
                  F(m_open_fee_rate_1, double, 8),
                  F(m_onp_short_pos_quantity, ZUL_64_int, 8),
                  F(m_onp_short_pos_margin, double, 8),
                  F(m_broker_margin_rate, double, 8),
                  F(m_fee_caculate_mode, ZUL_64_int, 8),
                  F(m_cover_fee_rate_2, double, 8),
                  F(m_cover_fee_rate_1, double, 8),
                  F(m_fee, double, 8),
                  F(m_onp_short_pos_qty, ZUL_32_int, 4),
                  F(m_today_short_pos_qty, ZUL_32_int, 4),
                  F(m_onp_long_pos_qty, ZUL_32_int, 4),
                  F(m_today_long_pos_qty, ZUL_32_int, 4),
                  F(m_snpl, double, 8),
                  F(m_bnpl, double, 8),
                  F(m_3_limit_val, double, 8),
                  F(m_4_limit_val, double, 8),
                  F(m_7_limit_val, double, 8),
                  F(m_23_limit_val, ZUL_64_int, 8),
                  F(m_23_accumulate_val, ZUL_64_int, 8),
                  F(m_45_limit_val, double, 8),
                  F(m_45_accumulate_val, double, 8),
                  F(m_46_limit_val, ZUL_64_int, 8),
                  F(m_46_accumulate_val, double, 8),
                  F(m_47_limit_val, double, 8),
                  F(m_47_accumulate_val, double, 8),
                  F(m_48_limit_val, double, 8),
                  F(m_48_accumulate_val, double, 8),
                  F(m_49_limit_val, ZUL_64_int, 8),
                  F(m_49_accumulate_val, double, 8),
                  F(m_50_limit_val, double, 8),
                  F(m_50_accumulate_val, double, 8),
                  F(m_51_limit_val, double, 8),
                  F(m_51_accumulate_val, double, 8),
                  F(m_52_limit_val, double, 8),
                  F(m_52_accumulate_val, double, 8),
                  F(m_53_limit_val, double, 8),
                  F(m_53_accumulate_val, double, 8),
                  F(m_bmpl, double, 8),
                  F(m_long_pos_quantity, ZUL_64_int, 8),
                  F(m_long_pos_total_val, double, 8),
                  F(m_smpl, double, 8),
                  F(m_short_pos_quantity, ZUL_64_int, 8),
                  F(m_short_pos_total_val, double, 8)});
}
#undef F

// The three records with a constructor zero every byte, whatever lay there before.
template <typename Record>
bool constructs_all_zero() {
    alignas(Record) unsigned char storage[sizeof(Record)];
    memset(storage, 0xAB, sizeof(storage));
    Record* rec = new (storage) Record();
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(rec);
    for (size_t i = 0; i < sizeof(Record); ++i) {
        if (bytes[i] != 0)
            return false;
    }
    return true;
}

TEST(RecordLayout, DefaultConstructorsZeroTheWholeRecord) {
    EXPECT_TRUE(constructs_all_zero<ZUL_QuerySvrInfo>());
    EXPECT_TRUE(constructs_all_zero<ZUL_AccountRiskData>());
    EXPECT_TRUE(constructs_all_zero<ZUL_AccountSymbolRiskData>());
}
