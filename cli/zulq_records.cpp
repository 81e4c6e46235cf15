#include "zulq_records.h"

namespace zulq {

FieldDesc make_field(const char* member, FieldKind kind, size_t offset, size_t width) {
    std::string column = member;
    if (column.compare(0, 2, "m_") == 0)
        column.erase(0, 2);
    return FieldDesc{column, kind, offset, width};
}

// RECORD(R, F(a), F(b), ...) defines the description of R; the fields are listed in
// the order of the public header, every one of them.
#define F(f) ZULQ_FIELD(Rec, f)
#define RECORD(R, ...)                                             \
    template <>                                                    \
    const RecordDesc& record_desc<R>() {                           \
        using Rec = R;                                             \
        static const RecordDesc d{#R, sizeof(Rec), {__VA_ARGS__}}; \
        return d;                                                  \
    }

RECORD(ZUL_QueryAccountOrder, F(m_Userid), F(m_Timestamp), F(m_ClientOrderToken), F(m_SideType),
       F(m_Quantity), F(m_InstrumentType), F(m_Symbol), F(m_Price), F(m_Account), F(m_ExchengeID),
       F(m_ForceCloseReason), F(m_InternalOrderId), F(m_OrderStatus), F(m_CloseTime),
       F(m_FilledQty), F(m_MinQty), F(m_MarketOrderId), F(m_HedgeFlag), F(m_CustomField), F(m_IOC),
       F(m_SymbolFlag))

RECORD(ZUL_QueryAccountArbiOrder, F(m_Userid), F(m_Timestamp), F(m_ClientOrderToken), F(m_SideType),
       F(m_Quantity), F(m_Symbol), F(m_Price), F(m_Account), F(m_ExchengeID), F(m_InternalOrderId),
       F(m_OrderStatus), F(m_FilledQty), F(m_CloseTime), F(m_MinQty), F(m_MarketOrderId),
       F(m_HedgeFlag), F(m_CustomField), F(m_IOC), F(m_OrderType))

RECORD(ZUL_QueryOrderExecution, F(m_Userid), F(m_Timestamp), F(m_ClientOrderToken),
       F(m_InternalOrderId), F(m_ExecutedQuantity), F(m_ExecutionPrice), F(m_ExecutionID),
       F(m_MarketExecID), F(m_LegNo), F(m_OrderType))

RECORD(ZUL_QueryOrderExecutionEx, F(m_Userid), F(m_Timestamp), F(m_ClientOrderToken),
       F(m_InternalOrderId), F(m_ExecutedQuantity), F(m_ExecutionPrice), F(m_ExecutionID),
       F(m_MarketExecID), F(m_LegNo), F(m_OrderType), F(m_Symbol), F(m_SideType))

RECORD(ZUL_QueryAccountQuote, F(m_Userid), F(m_Symbol), F(m_ExchengeID), F(m_ClientQuoteToken),
       F(m_InternalQuoteId), F(m_BidInternalQuoteId), F(m_AskInternalQuoteId), F(m_MarketQuoteId),
       F(m_BidOrderSysId), F(m_AskOrderSysId), F(m_BidQty), F(m_AskQty), F(m_BidPrice),
       F(m_AskPrice), F(m_BidHedgeFlag), F(m_AskHedgeFlag), F(m_BidIsOffset), F(m_AskIsOffset),
       F(m_BidState), F(m_AskState), F(m_BidFillQty), F(m_AskFillQty), F(m_CustomField), F(m_IOC),
       F(m_ReqForQuoteID))

RECORD(ZUL_AccountInfo, F(m_Account), F(m_Previlege), F(m_InitialBp), F(m_AvailableBp), F(m_Margin),
       F(m_FrozenMargin), F(m_CommissionFee), F(m_FrozenCommission), F(m_AccountIdx))

RECORD(ZUL_AccountPosition, F(m_ActId), F(m_Symbol), F(m_PosiDirection), F(m_InitOvnQty),
       F(m_OvnQty), F(m_FrozenOvnQty), F(m_TodayQty), F(m_FrozenTodayQty), F(m_OvnMargin),
       F(m_TodayMargin), F(m_PositionCost), F(m_HedgeFlag))

RECORD(ZUL_AccountComboPosition, F(m_Account), F(m_ComboType), F(m_ComboSymbol), F(m_FirstSymbol),
       F(m_FirstDirection), F(m_SecondSymbol), F(m_SecondDirection), F(m_Qty), F(m_InitQty),
       F(m_ComboMargin), F(m_ReturnMargin), F(m_HedgeFlag))

RECORD(ZUL_AccountComboRule, F(m_RuleProdType), F(m_Trading_date), F(m_ComboType), F(m_Priority),
       F(m_HedgeFlag), F(m_ComboMargin), F(m_InstrId), F(m_ComboSymbol), F(m_FirstSymbol),
       F(m_FirstDirection), F(m_FirstRegion), F(m_SecondSymbol), F(m_SecondDirection),
       F(m_SecondRegion))

RECORD(ZUL_AccountOptionPosition, F(m_ActId), F(m_Symbol), F(m_PosiDirection),
       F(m_UnderlyingSymbol), F(m_CallPut), F(m_StrikePrice), F(m_ExpireDate), F(m_InitOvnQty),
       F(m_CurOvnQty), F(m_CurTodayQty), F(m_CoverOvnLockedQty), F(m_CoverTodayLockedQty),
       F(m_ExecPendingQty), F(m_ExecAppliedQty), F(m_CxlExecPendingQty), F(m_LiquidPl),
       F(m_AvgPrice), F(m_TotalCommissionFee), F(m_HedgeFlag))

RECORD(ZUL_AccountBP, F(m_Account), F(m_InitialBp), F(m_AvailableBp), F(m_Margin),
       F(m_FrozenMargin), F(m_CommissionFee), F(m_FrozenCommission), F(m_OvnInitMargin),
       F(m_TotalLiquidPL), F(m_TotalMarketPL), F(m_AccountIdx))

RECORD(ZUL_AccountBPDetail, F(m_Account), F(m_InitialEquity), F(m_InitialBp), F(m_OvnInitMargin),
       F(m_AvailableBp), F(m_Margin), F(m_FrozenMargin), F(m_CommissionFee), F(m_FrozenCommission),
       F(m_OptPremiumBalance), F(m_OptFrozenPremium), F(m_CommDeclarationFee),
       F(m_StepDeclarationFee), F(m_CashInTotal), F(m_CashOutTotal), F(m_TotalLiquidPL),
       F(m_TotalMarketPL), F(m_RiskRate), F(m_PushMode), F(m_AmountCount), F(m_AccountIdx))

RECORD(ZUL_AccountCashInout, F(m_Account), F(m_AvailableBp), F(m_CashInOut), F(m_CashInTotal),
       F(m_CashOutTotal))

RECORD(ZUL_SymbolField, F(m_SecType), F(m_Symbol), F(m_SymbolName), F(m_ExchangeID), F(m_ProdID),
       F(m_DeliveryYear), F(m_DeliveryMonth), F(m_MaxMarketOrderVolume), F(m_MinMarketOrderVolume),
       F(m_MaxLimitOrderVolume), F(m_MinLimitOrderVolume), F(m_VolumeMultiple), F(m_PriceTick),
       F(m_CreateDate), F(m_OpenDate), F(m_ExpireDate), F(m_StartDelivDate), F(m_EndDelivDate),
       F(m_InstLifePhase), F(m_IsTrading), F(m_SymbolIdx), F(m_UnderlyingSymbol), F(m_StrikePrice),
       F(m_CallPut))

RECORD(ZUL_AccountMargin, F(m_HedgeFlag), F(m_Symbol), F(m_ExchangeID), F(m_ProdID),
       F(m_LongMarginRatio), F(m_ShortMarginRatio))

RECORD(ZUL_AccountFee, F(m_HedgeFlag), F(m_Symbol), F(m_ExchangeID), F(m_ProdID),
       F(m_OpenRatioByMoney), F(m_OpenRatioByVolume), F(m_CloseYesterdayRatioByMoney),
       F(m_CloseYesterdayRatioByVolume), F(m_CloseTodayRatioByMoney), F(m_CloseTodayRatioByVolume),
       F(m_PositionDir))

RECORD(ZUL_AccountRiskData, F(m_account_id), F(m_user_id), F(m_last_update_time),
       F(m_broker_margin), F(m_exchange_margin), F(m_total_fee), F(m_total_bp), F(m_1_limit_val),
       F(m_2_limit_val), F(m_5_limit_val), F(m_6_limit_val), F(m_8_limit_val), F(m_9_limit_val),
       F(m_10_limit_val), F(m_11_limit_val), F(m_11_accumulate_val), F(m_12_limit_val),
       F(m_12_accumulate_val), F(m_13_limit_val), F(m_13_accumulate_val), F(m_14_limit_val_1),
       F(m_14_time_val), F(m_14_limit_val_2), F(m_14_accumulate_val), F(m_15_limit_val_1),
       F(m_15_time_val), F(m_15_limit_val_2), F(m_15_accumulate_val), F(m_17_limit_val),
       F(m_17_accumulate_val), F(m_18_limit_val), F(m_18_accumulate_val), F(m_19_limit_val),
       F(m_19_accumulate_val), F(m_20_limit_val), F(m_20_accumulate_val), F(m_21_limit_val),
       F(m_21_accumulate_val), F(m_22_limit_val), F(m_22_accumulate_val), F(m_24_limit_val_1),
       F(m_24_time_val), F(m_24_limit_val_2), F(m_24_accumulate_val), F(m_25_limit_val_1),
       F(m_25_time_val), F(m_25_limit_val_2), F(m_25_accumulate_val), F(m_26_limit_val_1),
       F(m_26_accumulate_val), F(m_26_limit_val_2), F(m_27_limit_val), F(m_27_accumulate_val),
       F(m_28_limit_val), F(m_28_accumulate_val), F(m_29_limit_val), F(m_29_accumulate_val),
       F(m_30_limit_val), F(m_30_accumulate_val), F(m_31_limit_val), F(m_31_accumulate_val),
       F(m_32_limit_val), F(m_32_accumulate_val), F(m_33_limit_val), F(m_33_accumulate_val),
       F(m_34_limit_val_2), F(m_34_time_val), F(m_34_limit_val_1), F(m_34_accumulate_val),
       F(m_35_limit_val_2), F(m_35_time_val), F(m_35_limit_val_1), F(m_35_accumulate_val),
       F(m_36_limit_val_1), F(m_36_time_val), F(m_36_limit_val_2), F(m_36_accumulate_val),
       F(m_37_limit_val_1), F(m_37_time_val), F(m_37_limit_val_2), F(m_37_accumulate_val),
       F(m_38_limit_val), F(m_38_accumulate_val), F(m_39_limit_val), F(m_39_accumulate_val),
       F(m_40_limit_val), F(m_40_accumulate_val), F(m_41_limit_val), F(m_41_accumulate_val),
       F(m_42_limit_val), F(m_42_accumulate_val), F(m_43_limit_val), F(m_43_accumulate_val),
       F(m_44_limit_val), F(m_44_accumulate_val), F(m_54_limit_val), F(m_54_accumulate_val),
       F(m_55_limit_val), F(m_55_accumulate_val), F(m_56_limit_val), F(m_56_accumulate_val),
       F(m_57_limit_val), F(m_57_accumulate_val), F(m_58_limit_val), F(m_58_accumulate_val),
       F(m_59_limit_val), F(m_59_accumulate_val), F(m_60_limit_val), F(m_60_accumulate_val),
       F(m_61_limit_val), F(m_61_accumulate_val), F(m_62_limit_val_1), F(m_62_time_val),
       F(m_62_limit_val_2), F(m_62_accumulate_val), F(m_63_limit_val_1), F(m_63_time_val),
       F(m_63_limit_val_2), F(m_63_accumulate_val))

RECORD(ZUL_AccountSymbolRiskData, F(m_user_id), F(m_account_id), F(m_symbol), F(m_last_update_time),
       F(m_onp_short_pos_settle_price), F(m_onp_long_pos_settle_price), F(m_onp_long_pos_quantity),
       F(m_onp_long_pos_margin), F(m_open_fee_rate_2), F(m_open_fee_rate_1),
       F(m_onp_short_pos_quantity), F(m_onp_short_pos_margin), F(m_broker_margin_rate),
       F(m_fee_caculate_mode), F(m_cover_fee_rate_2), F(m_cover_fee_rate_1), F(m_fee),
       F(m_onp_short_pos_qty), F(m_today_short_pos_qty), F(m_onp_long_pos_qty),
       F(m_today_long_pos_qty), F(m_snpl), F(m_bnpl), F(m_3_limit_val), F(m_4_limit_val),
       F(m_7_limit_val), F(m_23_limit_val), F(m_23_accumulate_val), F(m_45_limit_val),
       F(m_45_accumulate_val), F(m_46_limit_val), F(m_46_accumulate_val), F(m_47_limit_val),
       F(m_47_accumulate_val), F(m_48_limit_val), F(m_48_accumulate_val), F(m_49_limit_val),
       F(m_49_accumulate_val), F(m_50_limit_val), F(m_50_accumulate_val), F(m_51_limit_val),
       F(m_51_accumulate_val), F(m_52_limit_val), F(m_52_accumulate_val), F(m_53_limit_val),
       F(m_53_accumulate_val), F(m_bmpl), F(m_long_pos_quantity), F(m_long_pos_total_val),
       F(m_smpl), F(m_short_pos_quantity), F(m_short_pos_total_val))

#undef RECORD
#undef F

std::vector<const RecordDesc*> all_record_descs() {
    return {&record_desc<ZUL_QueryAccountOrder>(),   &record_desc<ZUL_QueryAccountArbiOrder>(),
            &record_desc<ZUL_QueryOrderExecution>(), &record_desc<ZUL_QueryOrderExecutionEx>(),
            &record_desc<ZUL_QueryAccountQuote>(),   &record_desc<ZUL_AccountInfo>(),
            &record_desc<ZUL_AccountPosition>(),     &record_desc<ZUL_AccountComboPosition>(),
            &record_desc<ZUL_AccountComboRule>(),    &record_desc<ZUL_AccountOptionPosition>(),
            &record_desc<ZUL_AccountBP>(),           &record_desc<ZUL_AccountBPDetail>(),
            &record_desc<ZUL_AccountCashInout>(),    &record_desc<ZUL_SymbolField>(),
            &record_desc<ZUL_AccountMargin>(),       &record_desc<ZUL_AccountFee>(),
            &record_desc<ZUL_AccountRiskData>(),     &record_desc<ZUL_AccountSymbolRiskData>()};
}

}  // namespace zulq
