#ifndef API_ZUL_QUERY_IMPL_H
#define API_ZUL_QUERY_IMPL_H

#include <atomic>

#include "ZulQueryApi.h"

// The object face over one plain-face client: every operation forwards to the
// KQZUL_ function of the same name. The client's user parameter is this object,
// which is how the bridge functions find the caller's event object.
class ZULQueryImpl : public ZULQueryApi {
public:
    ZULQueryImpl();
    ~ZULQueryImpl() override;
    ZULQueryImpl(const ZULQueryImpl&) = delete;
    ZULQueryImpl& operator=(const ZULQueryImpl&) = delete;

    const char* GetQueryApiVersion() override;
    void SetQueryAutoReconnect(bool autoConnect) override;
    void SetQueryMaxWaitTime(int query_wait_time) override;
    RESULT ConnQueryServer(const char* svrAddr, int nPort, ZULQueryEvent* pEvent) override;
    RESULT ConnQueryServer(const ZUL_QuerySvrInfo& param, ZULQueryEvent* pEvent) override;
    RESULT DisConnQueryServer() override;
    RESULT QueryUserLogon(const char* logon_id, const char* user_pwd) override;
    RESULT QueryChangePassword(const char* oldPwd, const char* newPwd) override;
    RESULT QuerySymbolList(char sec_type) override;
    RESULT QueryUserAccount() override;
    RESULT QueryAccountPosition(const char* account_id, char sec_type) override;
    RESULT QueryAccountBP(const char* account_id) override;
    RESULT QueryAccountBPDetail(const char* account_id) override;
    RESULT QueryComboRule(unsigned char comboType, unsigned char hedgeFlag) override;
    RESULT QueryComboPosition(const char* accountId) override;
    RESULT QueryAccountTradeMargin(const char* account_id) override;
    RESULT QueryAccountTradeFee(const char* account_id, ZUL_FeeSecType accountFeeSecType) override;
    RESULT QueryAccountOrder(const char* account_id, char sec_type) override;
    RESULT QueryAccountQuote(const char* account_id, char sec_type) override;
    RESULT QueryAccountArbiOrder(const char* account_id) override;
    RESULT QueryAccountOrderExecution(const char* account_id, char sec_type,
                                      unsigned int rewind_flag) override;
    void QueryConvertFromTimestamp(ZUL_Nanosecond timeStamp, tm& tmResult,
                                   unsigned int& nanoSec) override;
    void SetQueryLoggerSwitch(bool bOn) override;
    void QueryLoggerFlush() override;
    RESULT QueryAccountCashInOut(const char* account_id) override;

    void* m_handle;  // owned: the destructor destroys the client
    // Not owned. Written by ConnQueryServer on the caller's thread, read by the
    // bridge functions on the library's threads.
    std::atomic<ZULQueryEvent*> m_pEvent;
    char m_api_version[20];
};

// The caller's event object of the client behind handle, or null.
ZULQueryEvent* GetQueryApiSpi(void* handle);

#endif
