#ifndef ZUL_COMMON_DEFINE_H
#define ZUL_COMMON_DEFINE_H

// Scalar and string types of the public records, the export macro and the
// result and connection codes shared by both faces of the library.

#define ZUL_API __attribute__((visibility("default")))

typedef int RESULT;
typedef int ERR_NO;

typedef unsigned int ZUL_ClientToken;
typedef int ZUL_UserID;
typedef long long ZUL_MarketToken;
typedef unsigned int ZUL_Internal_Id;
typedef unsigned long long ZUL_Nanosecond;
typedef long long ZUL_INT8;

typedef char ZUL_Account[17];
typedef char ZUL_DATE[9];
typedef char ZUL_ProductID[32];
typedef char ZUL_Symbol[20];
typedef char ZUL_Combo_Symbol[80];
typedef char ZUL_SymbolName[21];
typedef char ZUL_QUOTE_ID[24];
typedef char ZUL_MarketOrderId[25];
typedef char ZUL_MarketExecId[25];

typedef unsigned char ZUL_SideType;
typedef unsigned char ZUL_ExchangeID;
typedef unsigned char ZUL_SecType;

// Values of ZUL_SecType, and of m_sec_type and m_instrument_type on the wire; the wire
// declarations take this one enumeration from here.
enum zul_sec_type {
    SEC_TYPE_STOCK = 1,
    SEC_TYPE_OPTION = 2,
    SEC_TYPE_FUTURE = 3,
    SEC_TYPE_ARBI = 4,
    SEC_TYPE_F = 5,
};

typedef unsigned char ZUL_FeeSecType;
typedef unsigned char ZUL_ForceCloseReason;
typedef int ZUL_Previlege;
typedef int ZUL_PosiDirection;
typedef unsigned char ZUL_OrderStatus;
typedef unsigned int ZUL_CustomFieldType;
typedef unsigned char ZUL_HedgeFlag;
typedef int ZUL_LogonResult;
typedef int ZUL_ChangePasswordResult;
typedef unsigned int ZUL_QueryErrorId;

typedef long long ZUL_64_int;
typedef int ZUL_32_int;

// Results of the plain functions. A request function's 0 means only that the
// request went to the transport; the answer arrives through its callback.
const RESULT ZUL_RESULT_OK = 0;
const RESULT ZUL_RESULT_CONN_FAILED = 1;
const RESULT ZUL_RESULT_SEND_FAILED = 4;
const RESULT ZUL_RESULT_NOT_LOGGED_ON = 6;
const RESULT ZUL_RESULT_NOT_CONNECTED = 7;
const RESULT ZUL_RESULT_BAD_HANDLE = 8;
const RESULT ZUL_RESULT_BAD_PASSWORD = 10;
const RESULT ZUL_RESULT_NOT_SUPPORTED = 23;

// Codes of the connection callback, each with a fixed text.
const ERR_NO ZUL_CONN_OK = 0;                   // "conn ok"
const ERR_NO ZUL_CONN_REMOTE_DISCONNECTED = 2;  // "remote disconnected"
const ERR_NO ZUL_CONN_LOCAL_DISCONNECTED = 3;   // "local disconnected"
const ERR_NO ZUL_CONN_NETWORK_ERROR = 4;        // "network error"

// The values that the library itself gives a meaning; all others come from the
// server and are passed on unchanged.
const ZUL_LogonResult ZUL_LOGON_ACCEPTED = 0;
const ZUL_QueryErrorId ZUL_QUERY_ERROR_NONE = 0;
const ZUL_ExchangeID ZUL_EXCHANGE_ID_FIRST = 100;
const ZUL_ExchangeID ZUL_EXCHANGE_ID_LAST = 108;

#endif
