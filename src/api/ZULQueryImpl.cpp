// The object face: ZULQueryImpl forwards to the plain face, and the bridge
// functions turn the plain callbacks into calls on the caller's event object.
// The bridges run on whichever thread fires the callback.

#include "api/ZULQueryImpl.h"

#include <cstring>

#include "client/precise_time.h"
#include "kq_zul_query_event.h"
#include "tools/cross_platform_api.h"

namespace {

const char API_VERSION[] = "5.2.4.16";

// The shape of every bridge: find the event object, drop the event if there is
// none, else call the operation with the arguments behind the handle.
template <typename... Params, typename... Args>
void bridge(void* handle, void (ZULQueryEvent::*op)(Params...), Args... args) {
    ZULQueryEvent* event = GetQueryApiSpi(handle);
    if (event != nullptr)
        (event->*op)(args...);
}

void On_QueryConnectionEvent(void* handle, ERR_NO err_no, const char* p_err_str) {
    bridge(handle,
           err_no == ZUL_CONN_OK ? &ZULQueryEvent::OnQueryConnection
                                 : &ZULQueryEvent::OnQueryDisConnection,
           err_no, p_err_str);
}
void On_QueryUserLogonEvent(void* handle, ZUL_QueryLogonResponse* pLogon) {
    bridge(handle, &ZULQueryEvent::OnQueryUserLogon, pLogon);
}
void On_ChangeQueryPasswordEvent(void* handle, ZUL_ChangePasswordResult nResult) {
    bridge(handle, &ZULQueryEvent::OnQueryRspChangePassword, nResult);
}
void On_QuerySymbolEvent(void* handle, ZUL_SymbolField* p, bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQuerySymbol, p, bFinish, errorId);
}
void On_QueryUserAccountEvent(void* handle, ZUL_AccountInfo* p, bool bFinish,
                              ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryUserAccount, p, bFinish, errorId);
}
void On_QueryAccountPositionEvent(void* handle, const char* pAccount, ZUL_AccountPosition* p,
                                  bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryAccountPosition, pAccount, p, bFinish, errorId);
}
void On_QueryAccountOptionPositionEvent(void* handle, const char* pAccount,
                                        ZUL_AccountOptionPosition* p, bool bFinish,
                                        ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryAccountOptionPosition, pAccount, p, bFinish, errorId);
}
void On_QueryAccountBPEvent(void* handle, const char* pAccount, ZUL_AccountBP* p,
                            ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryAccountBP, pAccount, p, errorId);
}
void On_QueryAccountBPDetailEvent(void* handle, const char* pAccount, ZUL_AccountBPDetail* p,
                                  ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryAccountBPDetail, pAccount, p, errorId);
}
void On_ReportccountBPEvent(void* handle, const char* pAccount, ZUL_AccountBP* p) {
    bridge(handle, &ZULQueryEvent::OnAccountBPReport, pAccount, p);
}
void On_NotifyAccountCashInoutEvent(void* handle, const char* pAccount, ZUL_AccountCashInout* p,
                                    ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnAccountCashInoutNotify, pAccount, p, errorId);
}
void On_QueryAccountTradeMarginEvent(void* handle, const char* pAccount, ZUL_AccountMargin* p,
                                     bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryAccountTradeMargin, pAccount, p, bFinish, errorId);
}
void On_QueryAccountTradeFeeEvent(void* handle, const char* pAccount, ZUL_AccountFee* p,
                                  bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryAccountTradeFee, pAccount, p, bFinish, errorId);
}
void On_QueryTradeArbiOrderEvent(void* handle, const char* pAccount, ZUL_QueryAccountArbiOrder* p,
                                 bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryTradeArbiOrder, pAccount, p, bFinish, errorId);
}
void On_QueryTradeOrderEvent(void* handle, const char* pAccount, ZUL_QueryAccountOrder* p,
                             bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryTradeOrder, pAccount, p, bFinish, errorId);
}
void On_QueryTradeQuoteEvent(void* handle, const char* pAccount, ZUL_QueryAccountQuote* p,
                             bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryTradeQuote, pAccount, p, bFinish, errorId);
}
void On_QueryTradeOrderExecEvent(void* handle, const char* pAccount, ZUL_QueryOrderExecution* p,
                                 bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryTradeOrderExec, pAccount, p, bFinish, errorId);
}
void On_QueryTradeOrderExecEventEx(void* handle, const char* pAccount, ZUL_QueryOrderExecutionEx* p,
                                   bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryTradeOrderExecEx, pAccount, p, bFinish, errorId);
}
void On_QueryComboPositionEvent(void* handle, const char* pAccount, ZUL_AccountComboPosition* p,
                                bool bFinish, ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryComboPosition, pAccount, p, bFinish, errorId);
}
void On_QueryComboRuleEvent(void* handle, ZUL_AccountComboRule* p, bool bFinish,
                            ZUL_QueryErrorId errorId) {
    bridge(handle, &ZULQueryEvent::OnQueryComboRule, p, bFinish, errorId);
}

}  // namespace

ZULQueryEvent* GetQueryApiSpi(void* handle) {
    ZULQueryImpl* impl = static_cast<ZULQueryImpl*>(KQZUL_GetQueryUserParam(handle));
    return impl == nullptr ? nullptr : impl->m_pEvent.load();
}

ZULQueryImpl::ZULQueryImpl() : m_handle(KQZUL_CreateQuery(this)), m_pEvent(nullptr) {
    memset(m_api_version, 0, sizeof(m_api_version));
    KQZUL_SetQueryConnectionEvent(m_handle, On_QueryConnectionEvent);
    KQZUL_SetQueryUserLogonEvent(m_handle, On_QueryUserLogonEvent);
    KQZUL_SetQueryChangePasswordEvent(m_handle, On_ChangeQueryPasswordEvent);
    KQZUL_SetQuerySymbolListEvent(m_handle, On_QuerySymbolEvent);
    KQZUL_SetQueryUserAccountEvent(m_handle, On_QueryUserAccountEvent);
    KQZUL_SetQueryAccountPositionEvent(m_handle, On_QueryAccountPositionEvent);
    KQZUL_SetQueryAccountOptionPositionEvent(m_handle, On_QueryAccountOptionPositionEvent);
    KQZUL_SetQueryAccountBPEvent(m_handle, On_QueryAccountBPEvent);
    KQZUL_SetQueryAccountBPDetailEvent(m_handle, On_QueryAccountBPDetailEvent);
    KQZUL_ReportAccountBPEvent(m_handle, On_ReportccountBPEvent);
    KQZUL_NotifyAccountCashInOutEvent(m_handle, On_NotifyAccountCashInoutEvent);
    KQZUL_SetQueryAccountTradeMarginEvent(m_handle, On_QueryAccountTradeMarginEvent);
    KQZUL_SetQueryAccountTradeFeeEvent(m_handle, On_QueryAccountTradeFeeEvent);
    KQZUL_SetQueryTradeArbiOrderEvent(m_handle, On_QueryTradeArbiOrderEvent);
    KQZUL_SetQueryTradeOrderEvent(m_handle, On_QueryTradeOrderEvent);
    KQZUL_SetQueryTradeQuoteEvent(m_handle, On_QueryTradeQuoteEvent);
    KQZUL_SetQueryTradeOrderExecEvent(m_handle, On_QueryTradeOrderExecEvent);
    KQZUL_SetQueryTradeOrderExecEventEx(m_handle, On_QueryTradeOrderExecEventEx);
    KQZUL_SetQueryComboPositionEvent(m_handle, On_QueryComboPositionEvent);
    KQZUL_SetQueryComboRuleEvent(m_handle, On_QueryComboRuleEvent);
}

ZULQueryImpl::~ZULQueryImpl() {
    if (m_handle != nullptr)
        KQZUL_DestroyQuery(m_handle);
}

const char* ZULQueryImpl::GetQueryApiVersion() {
    memset(m_api_version, 0, sizeof(m_api_version));
    memcpy(m_api_version, API_VERSION, sizeof(API_VERSION));
    return m_api_version;
}

void ZULQueryImpl::SetQueryAutoReconnect(bool autoConnect) {
    KQZUL_SetQueryAutoReconnect(m_handle, autoConnect);
}

void ZULQueryImpl::SetQueryMaxWaitTime(int query_wait_time) {
    KQZUL_SetQueryMaxWaitTime(m_handle, query_wait_time);
}

RESULT ZULQueryImpl::ConnQueryServer(const char* svrAddr, int nPort, ZULQueryEvent* pEvent) {
    m_pEvent = pEvent;
    ZUL_QuerySvrInfo info;
    VORTANE::TOOLS::strncpy_kq(info.m_RemoteQueryIp, sizeof(info.m_RemoteQueryIp), svrAddr);
    info.m_RemoteQueryTCPPort = static_cast<unsigned short>(nPort & 0xffff);
    return KQZUL_ConnQueryServer(m_handle, info);
}

RESULT ZULQueryImpl::ConnQueryServer(const ZUL_QuerySvrInfo& param, ZULQueryEvent* pEvent) {
    m_pEvent = pEvent;
    return KQZUL_ConnQueryServer(m_handle, param);
}

RESULT ZULQueryImpl::DisConnQueryServer() {
    return KQZUL_DisConnQueryServer(m_handle);
}

RESULT ZULQueryImpl::QueryUserLogon(const char* logon_id, const char* user_pwd) {
    return KQZUL_QueryUserLogon(m_handle, logon_id, user_pwd);
}

RESULT ZULQueryImpl::QueryChangePassword(const char* oldPwd, const char* newPwd) {
    return KQZUL_QueryChangePassword(m_handle, oldPwd, newPwd);
}

RESULT ZULQueryImpl::QuerySymbolList(char sec_type) {
    return KQZUL_QuerySymbolList(m_handle, sec_type);
}

RESULT ZULQueryImpl::QueryUserAccount() {
    return KQZUL_QueryUserAccount(m_handle);
}

RESULT ZULQueryImpl::QueryAccountPosition(const char* account_id, char sec_type) {
    return KQZUL_QueryAccountPosition(m_handle, account_id, sec_type);
}

RESULT ZULQueryImpl::QueryAccountBP(const char* account_id) {
    return KQZUL_QueryAccountBP(m_handle, account_id);
}

RESULT ZULQueryImpl::QueryAccountBPDetail(const char* account_id) {
    return KQZUL_QueryAccountBPDetail(m_handle, account_id);
}

RESULT ZULQueryImpl::QueryComboRule(unsigned char comboType, unsigned char hedgeFlag) {
    return KQZUL_QueryComboRule(m_handle, comboType, hedgeFlag);
}

RESULT ZULQueryImpl::QueryComboPosition(const char* accountId) {
    return KQZUL_QueryComboPosition(m_handle, accountId);
}

RESULT ZULQueryImpl::QueryAccountTradeMargin(const char* account_id) {
    return KQZUL_QueryAccountTradeMargin(m_handle, account_id);
}

RESULT ZULQueryImpl::QueryAccountTradeFee(const char* account_id,
                                          ZUL_FeeSecType accountFeeSecType) {
    return KQZUL_QueryAccountTradeFee(m_handle, account_id, accountFeeSecType);
}

RESULT ZULQueryImpl::QueryAccountOrder(const char* account_id, char sec_type) {
    return KQZUL_QueryAccountOrder(m_handle, account_id, sec_type);
}

RESULT ZULQueryImpl::QueryAccountQuote(const char* account_id, char sec_type) {
    return KQZUL_QueryAccountQuote(m_handle, account_id, sec_type);
}

RESULT ZULQueryImpl::QueryAccountArbiOrder(const char* account_id) {
    return KQZUL_QueryAccountArbiOrder(m_handle, account_id);
}

RESULT ZULQueryImpl::QueryAccountOrderExecution(const char* account_id, char sec_type,
                                                unsigned int rewind_flag) {
    return KQZUL_QueryAccountOrderExecution(m_handle, account_id, sec_type, rewind_flag);
}

void ZULQueryImpl::QueryConvertFromTimestamp(ZUL_Nanosecond timeStamp, tm& tmResult,
                                             unsigned int& nanoSec) {
    precise_time::convert_from_timestamp(timeStamp, tmResult, nanoSec);
}

void ZULQueryImpl::SetQueryLoggerSwitch(bool bOn) {
    KQZUL_SetQueryLoggerSwitch(m_handle, bOn);
}

void ZULQueryImpl::QueryLoggerFlush() {
    KQZUL_QueryLoggerFlush(m_handle);
}

RESULT ZULQueryImpl::QueryAccountCashInOut(const char* account_id) {
    return KQZUL_QueryAccountCashInOut(m_handle, account_id);
}

ZULQueryApi* CreateZULQueryApi() {
    return new ZULQueryImpl();
}

void DestroyZULQueryApi(ZULQueryApi* pZULQueryApi) {
    delete pZULQueryApi;
}
