// The plain face: each function checks the handle and forwards to its client.

#include <unistd.h>

#include <cstring>

#include "api/kq_zul_query_internal.h"
#include "client/QueryClient.h"
#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"

namespace {

CQueryClient* client_of(void* handle) {
    return static_cast<CQueryClient*>(handle);
}

// Shape of every registration function: store the callback (null empties the slot).
template <typename Callback>
RESULT set_slot(void* handle, std::atomic<Callback> CQueryClient::*slot, Callback callback) {
    if (handle == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    (client_of(handle)->*slot).store(callback);
    return ZUL_RESULT_OK;
}

}  // namespace

void sleep_milliseconds(int ms) {
    usleep(ms * 1000);
}

void copy_api_str(char* p_buff, size_t buf_len, const char* p_src) {
    if (buf_len == 0)
        return;
    memset(p_buff, 0, buf_len);
    size_t copy_len = strlen(p_src);
    if (copy_len >= buf_len)
        copy_len = buf_len - 1;
    memcpy(p_buff, p_src, copy_len);
}

void* KQZUL_CreateQuery(void* user_param) {
    return new CQueryClient(user_param);
}

RESULT KQZUL_DestroyQuery(void* handle) {
    if (handle == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    CQueryClient* client = client_of(handle);
    // Inside one of its own callbacks the client can't wait for its own thread: no
    // event reaches the caller from here on, and a helper thread frees the client once
    // that callback has returned.
    if (client->in_own_callback()) {
        CQueryClient::destroy_later(client);
        return ZUL_RESULT_OK;
    }
    delete client;
    return ZUL_RESULT_OK;
}

void* KQZUL_GetQueryUserParam(void* handle) {
    if (handle == nullptr)
        return nullptr;
    return client_of(handle)->GetUserParam();
}

void KQZUL_SetQueryLogDir(void* handle, const char* log_dir) {
    if (handle == nullptr)
        return;
    client_of(handle)->SetLogDir(log_dir);
}

RESULT KQZUL_SetQueryLoggerSwitch(void* handle, bool bOn) {
    if (handle == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    client_of(handle)->SetLoggerSwitch(bOn);
    return ZUL_RESULT_OK;
}

RESULT KQZUL_QueryLoggerFlush(void* handle) {
    if (handle == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    client_of(handle)->LoggerFlush();
    return ZUL_RESULT_OK;
}

RESULT KQZUL_SetQueryAutoReconnect(void* handle, bool autoConnect) {
    if (handle == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    client_of(handle)->SetAutoReconnect(autoConnect);
    return ZUL_RESULT_OK;
}

RESULT KQZUL_SetQueryMaxWaitTime(void* handle, int query_wait_time) {
    if (handle == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    client_of(handle)->SetMaxWaitTime(query_wait_time);
    return ZUL_RESULT_OK;
}

RESULT KQZUL_ConnQueryServer(void* handle, const ZUL_QuerySvrInfo& param) {
    if (handle == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    CQueryClient* client = client_of(handle);
    // Connecting replaces the transport whose thread runs the callback: refused.
    if (client->in_own_callback()) {
        client->m_txt_logger.write_txt("error", "connect refused inside a callback of this client");
        return ZUL_RESULT_CONN_FAILED;
    }
    if (!client->ConnServer(param))
        return ZUL_RESULT_CONN_FAILED;
    sleep_milliseconds(5);
    return ZUL_RESULT_OK;
}

RESULT KQZUL_DisConnQueryServer(void* handle) {
    if (handle == nullptr)
        return ZUL_RESULT_BAD_HANDLE;
    CQueryClient* client = client_of(handle);
    // From here no answer record of the connection reaches the caller, and a connect
    // or send in progress on another thread gives up at once.
    client->request_close();
    // Inside one of its own callbacks the close runs on a helper thread.
    if (client->in_own_callback())
        client->disconnect_later();
    else
        client->DisConnServer();
    client->close_request_done();
    return ZUL_RESULT_OK;
}

RESULT KQZUL_SetQueryConnectionEvent(void* handle, KQZUL_QueryConnectionEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_conn_event, p);
}

RESULT KQZUL_SetQueryUserLogonEvent(void* handle, KQZUL_UserLogonEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_logon_event, p);
}

RESULT KQZUL_SetQueryChangePasswordEvent(void* handle, KQZUL_ChangePasswordEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_change_pwd_event, p);
}

RESULT KQZUL_SetQueryUserAccountEvent(void* handle, KQZUL_QueryUserAccountEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_qry_act, p);
}

RESULT KQZUL_SetQueryAccountPositionEvent(void* handle, KQZUL_QueryAccountPositionEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_act_position, p);
}

RESULT KQZUL_SetQueryAccountOptionPositionEvent(void* handle,
                                                KQZUL_QueryAccountOptionPositionEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_act_opt_position, p);
}

RESULT KQZUL_SetQueryAccountBPEvent(void* handle, KQZUL_QueryAccountBPEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_act_bp, p);
}

RESULT KQZUL_SetQueryAccountBPDetailEvent(void* handle, KQZUL_QueryAccountBPDetailEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_act_bp_detail, p);
}

RESULT KQZUL_ReportAccountBPEvent(void* handle, KQZUL_AccountBPReportEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_report_act_bp_event, p);
}

RESULT KQZUL_NotifyAccountCashInOutEvent(void* handle, KQZUL_AccountCashInoutNotifyEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_act_cash_inout_ntf_event, p);
}

RESULT KQZUL_SetQueryAccountRiskDataEvent(void* handle, KQZUL_QueryAccountRiskDataEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_query_account_risk_data_event, p);
}

RESULT KQZUL_SetQueryAccountSymbolRiskDataEvent(void* handle,
                                                KQZUL_QueryAccountSymbolRiskDataEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_query_account_symbol_risk_data_event, p);
}

RESULT KQZUL_SetQuerySymbolListEvent(void* handle, KQZUL_QuerySymbolEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_query_symbol_event, p);
}

RESULT KQZUL_SetQueryAccountTradeMarginEvent(void* handle, KQZUL_QueryAccountTradeMarginEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_trade_margin_event, p);
}

RESULT KQZUL_SetQueryAccountTradeFeeEvent(void* handle, KQZUL_QueryAccountTradeFeeEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_trade_fee_evnet, p);
}

RESULT KQZUL_SetQueryTradeOrderEvent(void* handle, KQZUL_QueryTradeOrderEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_query_trade_order, p);
}

RESULT KQZUL_SetQueryTradeArbiOrderEvent(void* handle, KQZUL_QueryTradeArbiOrderEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_query_trade_arbi_order, p);
}

RESULT KQZUL_SetQueryTradeOrderExecEvent(void* handle, KQZUL_QueryTradeOrderExecEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_query_trade_order_exec, p);
}

RESULT KQZUL_SetQueryTradeOrderExecEventEx(void* handle, KQZUL_QueryTradeOrderExecEventEx p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_query_trade_order_exec_ex, p);
}

RESULT KQZUL_SetQueryTradeQuoteEvent(void* handle, KQZUL_QueryTradeQuoteEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_fun_query_trade_quote, p);
}

RESULT KQZUL_SetQueryComboPositionEvent(void* handle, KQZUL_QueryComboPositionEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_combo_position_event, p);
}

RESULT KQZUL_SetQueryComboRuleEvent(void* handle, KQZUL_QueryComboRuleEvent p) {
    return set_slot(handle, &CQueryClient::m_ptr_combo_rule_event, p);
}
