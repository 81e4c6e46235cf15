#ifndef CLIENT_QUERY_CLIENT_H
#define CLIENT_QUERY_CLIENT_H

#include <pthread.h>

#include <atomic>

#include "ZulQueryDefine.h"
#include "client/client_flowctrl.h"
#include "client/query_base_log.h"
#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"

class socket_cache_client;

// State of the connection as the reconnect thread sees it.
enum E_CONNECT_STATUS : int {
    E_STATUS_NONE = 0,              // no connection event yet
    E_STATUS_CONNCTED = 1,          // open, not logged on
    E_STATUS_DISCONN_BY_LOCAL = 2,  // closed by this side: never repaired
    E_STATUS_DISCONN_OTHER = 3,     // ended by the server or the network: repaired
    E_STATUS_LOGONED = 4,           // logged on over the current connection
};

// True when pathname names an existing folder.
bool dir_exists(const char* pathname);

// The engine behind one handle of the plain face: its two logs, its connection
// and the caller's callbacks. Made and freed by KQZUL_CreateQuery and
// KQZUL_DestroyQuery; the caller's threads, the transport's threads and the
// reconnect thread all work on it. Fields that those threads share are atomic;
// the loggers and the limiter lock themselves.
class CQueryClient {
public:
    explicit CQueryClient(void* param);
    ~CQueryClient();
    CQueryClient(const CQueryClient&) = delete;
    CQueryClient& operator=(const CQueryClient&) = delete;

    // Moves both logs into log_dir (made, one level, if missing); a path with a
    // byte other than letters, digits, '_', '-', '\' and '/' is refused silently.
    void SetLogDir(const char* log_dir);
    void SetLoggerSwitch(bool bOn);
    void LoggerFlush();
    void* GetUserParam();
    Int4 GetUserID();
    void SetUserId(Int4 id);
    bool IsHv27Version();

    // Calls the callback in slot, if there is one, with this client as handle.
    // The slot is read once, so a concurrent unregistration cannot make it null
    // between the test and the call.
    template <typename Callback, typename... Args>
    void fire_event(const std::atomic<Callback>& slot, Args... args) {
        Callback callback = slot.load();
        if (callback != nullptr)
            callback(this, args...);
    }

    std::atomic<unsigned char> m_connect_thread_is_running{0};
    std::atomic<E_CONNECT_STATUS> m_e_connect_status{E_STATUS_NONE};
    std::atomic<bool> m_quit_connect_thread{false};
    std::atomic<bool> m_b_auto_connect{false};
    pthread_t m_th{};
    socket_cache_client* m_asyncQueryClient = nullptr;  // owned; null while not connected
    std::atomic<bool> m_bQueryPortLogon{false};
    std::atomic<bool> m_bHv27Server{false};
    query_base_log m_txt_logger;
    query_base_log m_bin_logger;
    std::atomic<Int4> m_UserId{0};
    void* m_userParam;
    ZUL_QuerySvrInfo m_connectSeverInfo;  // last address connected to
    std::atomic<bool> m_bLoggerSwitch{false};
    client_flowctrl m_clt_fc;
    std::atomic<int> m_epoll_max_wait_time_query{500};  // milliseconds

    // The caller's callbacks; an empty slot drops its event.
    std::atomic<KQZUL_QueryConnectionEvent> m_ptr_fun_conn_event{nullptr};
    std::atomic<KQZUL_UserLogonEvent> m_ptr_fun_logon_event{nullptr};
    std::atomic<KQZUL_ChangePasswordEvent> m_ptr_fun_change_pwd_event{nullptr};
    std::atomic<KQZUL_QueryUserAccountEvent> m_ptr_fun_qry_act{nullptr};
    std::atomic<KQZUL_QueryAccountPositionEvent> m_ptr_fun_act_position{nullptr};
    std::atomic<KQZUL_QueryAccountOptionPositionEvent> m_ptr_fun_act_opt_position{nullptr};
    std::atomic<KQZUL_QueryAccountBPEvent> m_ptr_fun_act_bp{nullptr};
    std::atomic<KQZUL_QueryAccountBPDetailEvent> m_ptr_fun_act_bp_detail{nullptr};
    std::atomic<KQZUL_AccountBPReportEvent> m_ptr_fun_report_act_bp_event{nullptr};
    std::atomic<KQZUL_AccountCashInoutNotifyEvent> m_ptr_fun_act_cash_inout_ntf_event{nullptr};
    std::atomic<KQZUL_QueryAccountRiskDataEvent> m_ptr_fun_query_account_risk_data_event{nullptr};
    std::atomic<KQZUL_QueryAccountSymbolRiskDataEvent>
        m_ptr_fun_query_account_symbol_risk_data_event{nullptr};
    std::atomic<KQZUL_QuerySymbolEvent> m_ptr_query_symbol_event{nullptr};
    std::atomic<KQZUL_QueryAccountTradeMarginEvent> m_ptr_trade_margin_event{nullptr};
    std::atomic<KQZUL_QueryAccountTradeFeeEvent> m_ptr_trade_fee_evnet{nullptr};
    std::atomic<KQZUL_QueryTradeOrderEvent> m_ptr_fun_query_trade_order{nullptr};
    std::atomic<KQZUL_QueryTradeArbiOrderEvent> m_ptr_fun_query_trade_arbi_order{nullptr};
    std::atomic<KQZUL_QueryTradeOrderExecEvent> m_ptr_fun_query_trade_order_exec{nullptr};
    std::atomic<KQZUL_QueryTradeOrderExecEventEx> m_ptr_fun_query_trade_order_exec_ex{nullptr};
    std::atomic<KQZUL_QueryTradeQuoteEvent> m_ptr_fun_query_trade_quote{nullptr};
    std::atomic<KQZUL_QueryComboPositionEvent> m_ptr_combo_position_event{nullptr};
    std::atomic<KQZUL_QueryComboRuleEvent> m_ptr_combo_rule_event{nullptr};

private:
    void open_logs(const char* log_dir);
};

#endif
