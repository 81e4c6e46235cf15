#ifndef ZUL_QUERY_API_H
#define ZUL_QUERY_API_H

// The object face of the query library. CreateZULQueryApi gives a ZULQueryApi;
// the caller implements ZULQueryEvent, overriding the operations it needs, and
// hands it to ConnQueryServer. Each operation forwards to the plain function of
// the same name (kq_zul_query_event.h) and returns what it returns.
//
// The order of the virtual operations below is part of the interface: a program
// compiled against this header depends on it.
//
// Events run on library threads: OnQueryConnection / OnQueryDisConnection on the
// transport's event thread (a local close on the thread that closes), every other
// event on its receive thread, one at a time and in stream order. An event may
// send queries, and may close or destroy the client (the close is handed to a
// helper thread): after DisConnQueryServer no answer event of that connection
// follows, after DestroyZULQueryApi no event at all, so the event object may be
// freed as soon as DestroyZULQueryApi has returned. Called from another thread,
// DestroyZULQueryApi reports the close of an open connection to the event object
// before it returns.

#include <ctime>

#include "ZulCommonDefine.h"
#include "ZulQueryDefine.h"

class ZUL_API ZULQueryEvent {
public:
    virtual ~ZULQueryEvent() {}
    // err_no 0 ("conn ok").
    virtual void OnQueryConnection(ERR_NO /*err_no*/, const char* /*p_err_str*/) {}
    // err_no 2 "remote disconnected", 3 "local disconnected", 4 "network error".
    virtual void OnQueryDisConnection(ERR_NO /*err_no*/, const char* /*p_err_str*/) {}
    virtual void OnQueryUserLogon(ZUL_QueryLogonResponse* /*pLogon*/) {}
    virtual void OnQueryRspChangePassword(ZUL_ChangePasswordResult /*nResult*/) {}
    virtual void OnQueryUserAccount(ZUL_AccountInfo* /*pAccount*/, bool /*bFinish*/,
                                    ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryAccountPosition(const char* /*pAccount*/,
                                        ZUL_AccountPosition* /*pPosition*/, bool /*bFinish*/,
                                        ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryAccountOptionPosition(const char* /*pAccount*/,
                                              ZUL_AccountOptionPosition* /*pPosition*/,
                                              bool /*bFinish*/, ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryAccountBP(const char* /*pAccount*/, ZUL_AccountBP* /*pBP*/,
                                  ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryAccountBPDetail(const char* /*pAccount*/, ZUL_AccountBPDetail* /*pDetail*/,
                                        ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnAccountBPReport(const char* /*pAccount*/, ZUL_AccountBP* /*pBP*/) {}
    virtual void OnAccountCashInoutNotify(const char* /*pAccount*/, ZUL_AccountCashInout* /*pCash*/,
                                          ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQuerySymbol(ZUL_SymbolField* /*pSymbol*/, bool /*bFinish*/,
                               ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryAccountTradeMargin(const char* /*pAccount*/, ZUL_AccountMargin* /*pMargin*/,
                                           bool /*bFinish*/, ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryAccountTradeFee(const char* /*pAccount*/, ZUL_AccountFee* /*pFee*/,
                                        bool /*bFinish*/, ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryTradeOrder(const char* /*pAccount*/, ZUL_QueryAccountOrder* /*pOrder*/,
                                   bool /*bFinish*/, ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryTradeArbiOrder(const char* /*pAccount*/,
                                       ZUL_QueryAccountArbiOrder* /*pOrder*/, bool /*bFinish*/,
                                       ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryComboRule(ZUL_AccountComboRule* /*pRule*/, bool /*bFinish*/,
                                  ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryComboPosition(const char* /*pAccount*/,
                                      ZUL_AccountComboPosition* /*pPosition*/, bool /*bFinish*/,
                                      ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryTradeQuote(const char* /*pAccount*/, ZUL_QueryAccountQuote* /*pQuote*/,
                                   bool /*bFinish*/, ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryTradeOrderExec(const char* /*pAccount*/, ZUL_QueryOrderExecution* /*pExec*/,
                                       bool /*bFinish*/, ZUL_QueryErrorId /*errorId*/) {}
    virtual void OnQueryTradeOrderExecEx(const char* /*pAccount*/,
                                         ZUL_QueryOrderExecutionEx* /*pExec*/, bool /*bFinish*/,
                                         ZUL_QueryErrorId /*errorId*/) {}
};

class ZUL_API ZULQueryApi {
public:
    virtual ~ZULQueryApi() {}
    // "5.2.4.16"; the pointer stays valid as long as this object.
    virtual const char* GetQueryApiVersion() = 0;
    virtual void SetQueryAutoReconnect(bool autoConnect) = 0;
    virtual void SetQueryMaxWaitTime(int query_wait_time) = 0;
    // pEvent is kept before the connection opens, also when it fails. nPort is cut
    // to its low 16 bits; svrAddr to 15 characters.
    virtual RESULT ConnQueryServer(const char* svrAddr, int nPort, ZULQueryEvent* pEvent) = 0;
    virtual RESULT ConnQueryServer(const ZUL_QuerySvrInfo& param, ZULQueryEvent* pEvent) = 0;
    virtual RESULT DisConnQueryServer() = 0;
    virtual RESULT QueryUserLogon(const char* logon_id, const char* user_pwd) = 0;
    virtual RESULT QueryChangePassword(const char* oldPwd, const char* newPwd) = 0;
    virtual RESULT QuerySymbolList(char sec_type) = 0;
    virtual RESULT QueryUserAccount() = 0;
    virtual RESULT QueryAccountPosition(const char* account_id, char sec_type) = 0;
    virtual RESULT QueryAccountBP(const char* account_id) = 0;
    virtual RESULT QueryAccountBPDetail(const char* account_id) = 0;
    virtual RESULT QueryComboRule(unsigned char comboType, unsigned char hedgeFlag) = 0;
    virtual RESULT QueryComboPosition(const char* accountId) = 0;
    virtual RESULT QueryAccountTradeMargin(const char* account_id) = 0;
    virtual RESULT QueryAccountTradeFee(const char* account_id,
                                        ZUL_FeeSecType accountFeeSecType) = 0;
    virtual RESULT QueryAccountOrder(const char* account_id, char sec_type) = 0;
    virtual RESULT QueryAccountQuote(const char* account_id, char sec_type) = 0;
    virtual RESULT QueryAccountArbiOrder(const char* account_id) = 0;
    virtual RESULT QueryAccountOrderExecution(const char* account_id, char sec_type,
                                              unsigned int rewind_flag) = 0;
    // Splits a timestamp: seconds since the epoch (high 32 bits) as local time,
    // nanoseconds (low 32 bits). Needs no connection.
    virtual void QueryConvertFromTimestamp(ZUL_Nanosecond timeStamp, tm& tmResult,
                                           unsigned int& nanoSec) = 0;
    virtual void SetQueryLoggerSwitch(bool bOn) = 0;
    virtual void QueryLoggerFlush() = 0;
    virtual RESULT QueryAccountCashInOut(const char* account_id) = 0;
};

extern "C" {

// A new client of the object face; its logs open in the working folder.
ZUL_API ZULQueryApi* CreateZULQueryApi();
// Closes an open connection and frees the client; null does nothing.
ZUL_API void DestroyZULQueryApi(ZULQueryApi* pZULQueryApi);

}  // extern "C"

#endif
