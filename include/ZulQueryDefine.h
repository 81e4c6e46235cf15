#ifndef ZUL_QUERY_DEFINE_H
#define ZUL_QUERY_DEFINE_H

// Records that the query callbacks deliver, and the server address given to
// the connect call. Every record is packed: its size is the sum of its fields.
// A delivered record lives in the library's storage and is valid only during
// the callback that shows it.

#include <cstring>

#include "ZulCommonDefine.h"

#pragma pack(push, 1)

// Where the query port listens. m_RemoteQueryIp is dotted text, terminated;
// the port is in host byte order.
struct ZUL_QuerySvrInfo {
    char m_RemoteQueryIp[16];
    unsigned short m_RemoteQueryTCPPort;

    ZUL_QuerySvrInfo() { memset(static_cast<void*>(this), 0, sizeof(*this)); }
};

// m_Result 0 (ZUL_LOGON_ACCEPTED) is a logon; any other value is a refusal.
struct ZUL_QueryLogonResponse {
    ZUL_LogonResult m_Result;
    ZUL_UserID m_UserId;
    unsigned char m_UserTokenCancelEnable;
    unsigned char m_UserSelfexecCheckEnable;
};

// Timestamps (ZUL_Nanosecond) hold the seconds since the epoch in their high
// 32 bits and the nanoseconds within that second in their low 32 bits.
struct ZUL_QueryAccountOrder {
    ZUL_UserID m_Userid;
    ZUL_Nanosecond m_Timestamp;
    ZUL_ClientToken m_ClientOrderToken;
    ZUL_SideType m_SideType;
    unsigned int m_Quantity;
    ZUL_SecType m_InstrumentType;
    ZUL_Symbol m_Symbol;
    double m_Price;
    ZUL_Account m_Account;
    ZUL_ExchangeID m_ExchengeID;
    ZUL_ForceCloseReason m_ForceCloseReason;
    ZUL_Internal_Id m_InternalOrderId;
    ZUL_OrderStatus m_OrderStatus;
    ZUL_Nanosecond m_CloseTime;
    int m_FilledQty;
    unsigned int m_MinQty;
    ZUL_MarketOrderId m_MarketOrderId;
    ZUL_HedgeFlag m_HedgeFlag;
    ZUL_CustomFieldType m_CustomField;
    unsigned char m_IOC;
    unsigned char m_SymbolFlag;
};

struct ZUL_QueryAccountArbiOrder {
    ZUL_UserID m_Userid;
    ZUL_Nanosecond m_Timestamp;
    ZUL_ClientToken m_ClientOrderToken;
    ZUL_SideType m_SideType;
    unsigned int m_Quantity;
    ZUL_Symbol m_Symbol;
    double m_Price;
    ZUL_Account m_Account;
    ZUL_ExchangeID m_ExchengeID;
    ZUL_Internal_Id m_InternalOrderId;
    ZUL_OrderStatus m_OrderStatus;
    int m_FilledQty;
    ZUL_Nanosecond m_CloseTime;
    unsigned int m_MinQty;
    ZUL_MarketOrderId m_MarketOrderId;
    ZUL_HedgeFlag m_HedgeFlag;
    ZUL_CustomFieldType m_CustomField;
    unsigned char m_IOC;
    unsigned char m_OrderType;
};

struct ZUL_QueryOrderExecution {
    ZUL_UserID m_Userid;
    ZUL_Nanosecond m_Timestamp;
    ZUL_ClientToken m_ClientOrderToken;
    ZUL_Internal_Id m_InternalOrderId;
    unsigned int m_ExecutedQuantity;
    double m_ExecutionPrice;
    ZUL_MarketToken m_ExecutionID;
    ZUL_MarketExecId m_MarketExecID;
    unsigned char m_LegNo;
    unsigned char m_OrderType;
};

struct ZUL_QueryOrderExecutionEx {
    ZUL_UserID m_Userid;
    ZUL_Nanosecond m_Timestamp;
    ZUL_ClientToken m_ClientOrderToken;
    ZUL_Internal_Id m_InternalOrderId;
    unsigned int m_ExecutedQuantity;
    double m_ExecutionPrice;
    ZUL_MarketToken m_ExecutionID;
    ZUL_MarketExecId m_MarketExecID;
    unsigned char m_LegNo;
    unsigned char m_OrderType;
    ZUL_Symbol m_Symbol;
    ZUL_SideType m_SideType;
};

struct ZUL_QueryAccountQuote {
    ZUL_UserID m_Userid;
    ZUL_Symbol m_Symbol;
    ZUL_ExchangeID m_ExchengeID;
    ZUL_ClientToken m_ClientQuoteToken;
    ZUL_Internal_Id m_InternalQuoteId;
    ZUL_Internal_Id m_BidInternalQuoteId;
    ZUL_Internal_Id m_AskInternalQuoteId;
    ZUL_MarketOrderId m_MarketQuoteId;
    ZUL_MarketOrderId m_BidOrderSysId;
    ZUL_MarketOrderId m_AskOrderSysId;
    unsigned int m_BidQty;
    unsigned int m_AskQty;
    double m_BidPrice;
    double m_AskPrice;
    ZUL_HedgeFlag m_BidHedgeFlag;
    ZUL_HedgeFlag m_AskHedgeFlag;
    unsigned char m_BidIsOffset;
    unsigned char m_AskIsOffset;
    ZUL_OrderStatus m_BidState;
    ZUL_OrderStatus m_AskState;
    unsigned int m_BidFillQty;
    unsigned int m_AskFillQty;
    ZUL_CustomFieldType m_CustomField;
    unsigned char m_IOC;
    ZUL_QUOTE_ID m_ReqForQuoteID;
};

struct ZUL_AccountInfo {
    ZUL_Account m_Account;
    ZUL_Previlege m_Previlege;
    double m_InitialBp;
    double m_AvailableBp;
    double m_Margin;
    double m_FrozenMargin;
    double m_CommissionFee;
    double m_FrozenCommission;
    unsigned char m_AccountIdx;
};

struct ZUL_AccountPosition {
    ZUL_Account m_ActId;
    ZUL_Symbol m_Symbol;
    ZUL_PosiDirection m_PosiDirection;
    unsigned int m_InitOvnQty;
    unsigned int m_OvnQty;
    unsigned int m_FrozenOvnQty;
    unsigned int m_TodayQty;
    unsigned int m_FrozenTodayQty;
    double m_OvnMargin;
    double m_TodayMargin;
    double m_PositionCost;
    ZUL_HedgeFlag m_HedgeFlag;
};

struct ZUL_AccountComboPosition {
    ZUL_Account m_Account;
    unsigned char m_ComboType;
    ZUL_Combo_Symbol m_ComboSymbol;
    ZUL_Symbol m_FirstSymbol;
    unsigned char m_FirstDirection;
    ZUL_Symbol m_SecondSymbol;
    unsigned char m_SecondDirection;
    unsigned int m_Qty;
    unsigned int m_InitQty;
    double m_ComboMargin;
    double m_ReturnMargin;
    ZUL_HedgeFlag m_HedgeFlag;
};

struct ZUL_AccountComboRule {
    unsigned char m_RuleProdType;
    ZUL_DATE m_Trading_date;
    unsigned char m_ComboType;
    unsigned int m_Priority;
    unsigned char m_HedgeFlag;
    double m_ComboMargin;
    unsigned int m_InstrId;
    ZUL_Combo_Symbol m_ComboSymbol;
    ZUL_Symbol m_FirstSymbol;
    unsigned char m_FirstDirection;
    double m_FirstRegion;
    ZUL_Symbol m_SecondSymbol;
    unsigned char m_SecondDirection;
    double m_SecondRegion;
};

struct ZUL_AccountOptionPosition {
    ZUL_Account m_ActId;
    ZUL_Symbol m_Symbol;
    ZUL_PosiDirection m_PosiDirection;
    ZUL_Symbol m_UnderlyingSymbol;
    char m_CallPut;
    double m_StrikePrice;
    unsigned int m_ExpireDate;
    unsigned int m_InitOvnQty;
    unsigned int m_CurOvnQty;
    unsigned int m_CurTodayQty;
    unsigned int m_CoverOvnLockedQty;
    unsigned int m_CoverTodayLockedQty;
    unsigned int m_ExecPendingQty;
    unsigned int m_ExecAppliedQty;
    unsigned int m_CxlExecPendingQty;
    double m_LiquidPl;
    double m_AvgPrice;
    double m_TotalCommissionFee;
    ZUL_HedgeFlag m_HedgeFlag;
};

struct ZUL_AccountBP {
    ZUL_Account m_Account;
    double m_InitialBp;
    double m_AvailableBp;
    double m_Margin;
    double m_FrozenMargin;
    double m_CommissionFee;
    double m_FrozenCommission;
    double m_OvnInitMargin;
    double m_TotalLiquidPL;
    double m_TotalMarketPL;
    unsigned char m_AccountIdx;
};

struct ZUL_AccountBPDetail {
    ZUL_Account m_Account;
    double m_InitialEquity;
    double m_InitialBp;
    double m_OvnInitMargin;
    double m_AvailableBp;
    double m_Margin;
    double m_FrozenMargin;
    double m_CommissionFee;
    double m_FrozenCommission;
    double m_OptPremiumBalance;
    double m_OptFrozenPremium;
    double m_CommDeclarationFee;
    double m_StepDeclarationFee;
    double m_CashInTotal;
    double m_CashOutTotal;
    double m_TotalLiquidPL;
    double m_TotalMarketPL;
    double m_RiskRate;
    unsigned char m_PushMode;
    ZUL_INT8 m_AmountCount;
    unsigned char m_AccountIdx;
};

struct ZUL_AccountCashInout {
    ZUL_Account m_Account;
    double m_AvailableBp;
    double m_CashInOut;
    double m_CashInTotal;
    double m_CashOutTotal;
};

// m_SymbolName and the delivery dates are filled for kinds other than option;
// the underlying, strike and call/put character only for an option.
struct ZUL_SymbolField {
    ZUL_SecType m_SecType;
    ZUL_Symbol m_Symbol;
    ZUL_SymbolName m_SymbolName;
    ZUL_ExchangeID m_ExchangeID;
    ZUL_ProductID m_ProdID;
    unsigned int m_DeliveryYear;
    unsigned int m_DeliveryMonth;
    unsigned int m_MaxMarketOrderVolume;
    unsigned int m_MinMarketOrderVolume;
    unsigned int m_MaxLimitOrderVolume;
    unsigned int m_MinLimitOrderVolume;
    unsigned int m_VolumeMultiple;
    double m_PriceTick;
    unsigned int m_CreateDate;
    unsigned int m_OpenDate;
    unsigned int m_ExpireDate;
    unsigned int m_StartDelivDate;
    unsigned int m_EndDelivDate;
    unsigned int m_InstLifePhase;
    unsigned int m_IsTrading;
    unsigned short m_SymbolIdx;
    ZUL_Symbol m_UnderlyingSymbol;
    double m_StrikePrice;
    char m_CallPut;
};

struct ZUL_AccountMargin {
    ZUL_HedgeFlag m_HedgeFlag;
    ZUL_Symbol m_Symbol;
    ZUL_ExchangeID m_ExchangeID;
    ZUL_ProductID m_ProdID;
    double m_LongMarginRatio;
    double m_ShortMarginRatio;
};

// m_PositionDir is 1 when the server's direction is 1, and 5 for any other.
struct ZUL_AccountFee {
    ZUL_HedgeFlag m_HedgeFlag;
    ZUL_Symbol m_Symbol;
    ZUL_ExchangeID m_ExchangeID;
    ZUL_ProductID m_ProdID;
    double m_OpenRatioByMoney;
    double m_OpenRatioByVolume;
    double m_CloseYesterdayRatioByMoney;
    double m_CloseYesterdayRatioByVolume;
    double m_CloseTodayRatioByMoney;
    double m_CloseTodayRatioByVolume;
    ZUL_PosiDirection m_PositionDir;
};

#pragma pack(pop)

#endif
