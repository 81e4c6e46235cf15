#ifndef KQ_ZUL_QUERY_EVENT_H
#define KQ_ZUL_QUERY_EVENT_H

// The plain face of the query library: a client is a void* handle made by
// KQZUL_CreateQuery and freed by KQZUL_DestroyQuery. Every function that
// returns RESULT gives ZUL_RESULT_BAD_HANDLE (8) for a null handle.
//
// Callbacks receive the handle first. They run on library threads: the
// connection callback on the transport's event thread, every other callback on
// its receive thread, one at a time and in stream order. A callback may send
// requests, and may disconnect or destroy its own client: after a disconnect no
// answer record of that connection follows, after a destroy no callback at all.
// It must not connect its own client (refused with 1). Record pointers are valid
// only during the call. In a stream of records the last call
// has bFinish true and a zeroed record; a refused query is one call with a
// zeroed record, bFinish false and the server's errorId.

#include "ZulCommonDefine.h"
#include "ZulQueryDefine.h"

typedef void (*KQZUL_QueryConnectionEvent)(void* handle, ERR_NO err_no, const char* p_err_str);
typedef void (*KQZUL_UserLogonEvent)(void* handle, ZUL_QueryLogonResponse* pLogon);
typedef void (*KQZUL_ChangePasswordEvent)(void* handle, ZUL_ChangePasswordResult nResult);
typedef void (*KQZUL_QueryUserAccountEvent)(void* handle, ZUL_AccountInfo* pAccountInfo,
                                            bool bFinish, ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryAccountPositionEvent)(void* handle, const char* pAccount,
                                                ZUL_AccountPosition* pPosition, bool bFinish,
                                                ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryAccountOptionPositionEvent)(void* handle, const char* pAccount,
                                                      ZUL_AccountOptionPosition* pPosition,
                                                      bool bFinish, ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryAccountBPEvent)(void* handle, const char* pAccount, ZUL_AccountBP* pBP,
                                          ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryAccountBPDetailEvent)(void* handle, const char* pAccount,
                                                ZUL_AccountBPDetail* pBPDetail,
                                                ZUL_QueryErrorId errorId);
typedef void (*KQZUL_AccountBPReportEvent)(void* handle, const char* pAccount, ZUL_AccountBP* pBP);
typedef void (*KQZUL_AccountCashInoutNotifyEvent)(void* handle, const char* pAccount,
                                                  ZUL_AccountCashInout* pCashInout,
                                                  ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QuerySymbolEvent)(void* handle, ZUL_SymbolField* pSymbol, bool bFinish,
                                       ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryAccountTradeMarginEvent)(void* handle, const char* pAccount,
                                                   ZUL_AccountMargin* pMargin, bool bFinish,
                                                   ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryAccountTradeFeeEvent)(void* handle, const char* pAccount,
                                                ZUL_AccountFee* pFee, bool bFinish,
                                                ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryTradeOrderEvent)(void* handle, const char* pAccount,
                                           ZUL_QueryAccountOrder* pOrder, bool bFinish,
                                           ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryTradeArbiOrderEvent)(void* handle, const char* pAccount,
                                               ZUL_QueryAccountArbiOrder* pOrder, bool bFinish,
                                               ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryTradeOrderExecEvent)(void* handle, const char* pAccount,
                                               ZUL_QueryOrderExecution* pExecution, bool bFinish,
                                               ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryTradeOrderExecEventEx)(void* handle, const char* pAccount,
                                                 ZUL_QueryOrderExecutionEx* pExecution,
                                                 bool bFinish, ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryComboPositionEvent)(void* handle, const char* pAccount,
                                              ZUL_AccountComboPosition* pPosition, bool bFinish,
                                              ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryComboRuleEvent)(void* handle, ZUL_AccountComboRule* pRule, bool bFinish,
                                          ZUL_QueryErrorId errorId);
typedef void (*KQZUL_QueryTradeQuoteEvent)(void* handle, const char* pAccount,
                                           ZUL_QueryAccountQuote* pQuote, bool bFinish,
                                           ZUL_QueryErrorId errorId);

extern "C" {

// ---- The client as a whole ----

// Makes a client; its text and binary logs open at once in the current folder,
// named mavlog_<day>.log and mavlog_<day>.bin after the day of the process's
// first client. user_param comes back from KQZUL_GetQueryUserParam.
ZUL_API void* KQZUL_CreateQuery(void* user_param);
// Closes any connection and frees the client. The handle is dead afterwards, and
// no callback comes after the call has returned, also when it is made inside one.
ZUL_API RESULT KQZUL_DestroyQuery(void* handle);
// The user_param given at creation; null for a null handle.
ZUL_API void* KQZUL_GetQueryUserParam(void* handle);
// Moves both logs into log_dir, made (one level, mode 0600) if missing. The path
// may hold only letters, digits, '_', '-', '/' and '\'; any other byte, or a
// folder that cannot be made, leaves the logs where they are, without a report.
ZUL_API void KQZUL_SetQueryLogDir(void* handle, const char* log_dir);
// The switch (off by default) governs the binary log and the message trace.
ZUL_API RESULT KQZUL_SetQueryLoggerSwitch(void* handle, bool bOn);
ZUL_API RESULT KQZUL_QueryLoggerFlush(void* handle);

// ---- Connection and settings ----

// Reconnection starts with the next successful logon; the library never logs
// on by itself: answer the "conn ok" callback with KQZUL_QueryUserLogon.
ZUL_API RESULT KQZUL_SetQueryAutoReconnect(void* handle, bool autoConnect);
// Longest wait of the transport's event loop in milliseconds (500 by default);
// a negative value is ignored.
ZUL_API RESULT KQZUL_SetQueryMaxWaitTime(void* handle, int query_wait_time);
// ZUL_RESULT_CONN_FAILED (1) for an address that is not dotted IPv4 text, port 0
// or a failed connect; a connect gives up after at most 5 s.
ZUL_API RESULT KQZUL_ConnQueryServer(void* handle, const ZUL_QuerySvrInfo& param);
// No answer record of the connection arrives after the call has returned.
ZUL_API RESULT KQZUL_DisConnQueryServer(void* handle);

// ---- Event registration: a null callback empties its slot ----

ZUL_API RESULT KQZUL_SetQueryConnectionEvent(void* handle, KQZUL_QueryConnectionEvent p);
ZUL_API RESULT KQZUL_SetQueryUserLogonEvent(void* handle, KQZUL_UserLogonEvent p);
ZUL_API RESULT KQZUL_SetQueryChangePasswordEvent(void* handle, KQZUL_ChangePasswordEvent p);
ZUL_API RESULT KQZUL_SetQueryUserAccountEvent(void* handle, KQZUL_QueryUserAccountEvent p);
ZUL_API RESULT KQZUL_SetQueryAccountPositionEvent(void* handle, KQZUL_QueryAccountPositionEvent p);
ZUL_API RESULT KQZUL_SetQueryAccountOptionPositionEvent(void* handle,
                                                        KQZUL_QueryAccountOptionPositionEvent p);
ZUL_API RESULT KQZUL_SetQueryAccountBPEvent(void* handle, KQZUL_QueryAccountBPEvent p);
ZUL_API RESULT KQZUL_SetQueryAccountBPDetailEvent(void* handle, KQZUL_QueryAccountBPDetailEvent p);
// BP reports that the server pushes without a request.
ZUL_API RESULT KQZUL_ReportAccountBPEvent(void* handle, KQZUL_AccountBPReportEvent p);
// Pushed cash notices, and the answers to KQZUL_QueryAccountCashInOut.
ZUL_API RESULT KQZUL_NotifyAccountCashInOutEvent(void* handle, KQZUL_AccountCashInoutNotifyEvent p);
ZUL_API RESULT KQZUL_SetQuerySymbolListEvent(void* handle, KQZUL_QuerySymbolEvent p);
ZUL_API RESULT KQZUL_SetQueryAccountTradeMarginEvent(void* handle,
                                                     KQZUL_QueryAccountTradeMarginEvent p);
ZUL_API RESULT KQZUL_SetQueryAccountTradeFeeEvent(void* handle, KQZUL_QueryAccountTradeFeeEvent p);
ZUL_API RESULT KQZUL_SetQueryTradeOrderEvent(void* handle, KQZUL_QueryTradeOrderEvent p);
ZUL_API RESULT KQZUL_SetQueryTradeArbiOrderEvent(void* handle, KQZUL_QueryTradeArbiOrderEvent p);
ZUL_API RESULT KQZUL_SetQueryTradeOrderExecEvent(void* handle, KQZUL_QueryTradeOrderExecEvent p);
ZUL_API RESULT KQZUL_SetQueryTradeOrderExecEventEx(void* handle,
                                                   KQZUL_QueryTradeOrderExecEventEx p);
ZUL_API RESULT KQZUL_SetQueryTradeQuoteEvent(void* handle, KQZUL_QueryTradeQuoteEvent p);
ZUL_API RESULT KQZUL_SetQueryComboPositionEvent(void* handle, KQZUL_QueryComboPositionEvent p);
ZUL_API RESULT KQZUL_SetQueryComboRuleEvent(void* handle, KQZUL_QueryComboRuleEvent p);

// ---- Requests ----
//
// Checked in this order, the first failure deciding and nothing sent: null
// handle 8, no connection 7, not logged on 6, request not offered by the
// server's generation 23, new password against the rule 10. A send failure
// gives 4. Account ids travel in 16 bytes with a terminator: at most 15
// characters go out, a longer one is cut.

// The one request allowed before logon. The password leaves as its MD5 text;
// logon_id is cut to 32 characters.
ZUL_API RESULT KQZUL_QueryUserLogon(void* handle, const char* logon_id, const char* user_pwd);
// new_pwd: 8 to 32 characters of letters, digits and '_', with at least one
// letter and one digit.
ZUL_API RESULT KQZUL_QueryChangePassword(void* handle, const char* old_pwd, const char* new_pwd);
ZUL_API RESULT KQZUL_QuerySymbolList(void* handle, char sec_type);
ZUL_API RESULT KQZUL_QueryUserAccount(void* handle);
// Futures positions come through the position callback, option positions
// through the option position callback.
ZUL_API RESULT KQZUL_QueryAccountPosition(void* handle, const char* account_id, char sec_type);
// Refused with 23 by a server of the hv27 generation.
ZUL_API RESULT KQZUL_QueryComboPosition(void* handle, const char* account_id);
// Refused with 23 by a server of the hv27 generation.
ZUL_API RESULT KQZUL_QueryComboRule(void* handle, unsigned char combo_type,
                                    unsigned char hedge_flag);
// Refused with 23 by a server of the hv27 generation.
ZUL_API RESULT KQZUL_QueryAccountBP(void* handle, const char* account_id);
ZUL_API RESULT KQZUL_QueryAccountBPDetail(void* handle, const char* account_id);
ZUL_API RESULT KQZUL_QueryAccountCashInOut(void* handle, const char* account_id);
ZUL_API RESULT KQZUL_QueryAccountTradeMargin(void* handle, const char* accountt_id);
ZUL_API RESULT KQZUL_QueryAccountTradeFee(void* handle, const char* accountt_id,
                                          ZUL_FeeSecType accountFeeSecType);
ZUL_API RESULT KQZUL_QueryAccountOrder(void* handle, const char* accountt_id, char sec_type);
// Refused with 23 by a server of the hv27 generation.
ZUL_API RESULT KQZUL_QueryAccountArbiOrder(void* handle, const char* account_id);
ZUL_API RESULT KQZUL_QueryAccountQuote(void* handle, const char* account_id, char sec_type);
// Only the low byte of rewind_flag is sent.
ZUL_API RESULT KQZUL_QueryAccountOrderExecution(void* handle, const char* accountt_id,
                                                char sec_type, unsigned int rewind_flag);

}  // extern "C"

#endif
