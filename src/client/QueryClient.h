#ifndef CLIENT_QUERY_CLIENT_H
#define CLIENT_QUERY_CLIENT_H

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <shared_mutex>
#include <mutex>

#include "ZulQueryDefine.h"
#include "client/client_flowctrl.h"
#include "client/query_base_log.h"
#include "protocol/msg_define.h"
#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"

class socket_cache_client;
class socket_param;
struct query_logon_msg_resp;
struct hv27_rewind_order_execution_response;
struct hv27_account_risk_real_data_resp;
struct hv27_query_err_resp;

// State of the connection as the reconnect thread sees it.
enum E_CONNECT_STATUS : int {
    E_STATUS_NONE = 0,              // no connection event yet
    E_STATUS_CONNCTED = 1,          // open, not logged on
    E_STATUS_DISCONN_BY_LOCAL = 2,  // closed by this side: never repaired
    E_STATUS_DISCONN_OTHER = 3,     // ended by the server or the network: repaired
    E_STATUS_LOGONED = 4,           // logged on over the current connection
};

// The channel a caller asks SendMsgToZul for. Only the query port exists here.
enum enSendDirection : int {
    SD_TRADE_AUTO = 1,
    SD_TRADE_TCP = 2,
    SD_QUERY_TCP = 3,
};

// The socket the send loop writes to.
enum send_by_which_socket : int {
    send_by_trade_tcp = 1,
    send_by_trade_udp = 2,
    send_by_query_tcp = 3,
};

// Marks m_connect_thread_is_running for as long as the reconnect thread runs,
// on every way out of it.
class thread_running_flag {
public:
    explicit thread_running_flag(std::atomic<unsigned char>& flag) : m_p_flag(&flag) {
        *m_p_flag = 1;
    }
    ~thread_running_flag() { *m_p_flag = 0; }
    thread_running_flag(const thread_running_flag&) = delete;
    thread_running_flag& operator=(const thread_running_flag&) = delete;

private:
    std::atomic<unsigned char>* m_p_flag;
};

// Reader-writer lock that lets a waiting writer in before new readers, so that a
// steady stream of senders can't keep the transport from being replaced. Readers
// must not nest.
class transport_rw_lock {
public:
    transport_rw_lock() {
        pthread_rwlockattr_t attr;
        pthread_rwlockattr_init(&attr);
        pthread_rwlockattr_setkind_np(&attr, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
        pthread_rwlock_init(&m_lock, &attr);
        pthread_rwlockattr_destroy(&attr);
    }
    ~transport_rw_lock() { pthread_rwlock_destroy(&m_lock); }
    transport_rw_lock(const transport_rw_lock&) = delete;
    transport_rw_lock& operator=(const transport_rw_lock&) = delete;
    void lock() { pthread_rwlock_wrlock(&m_lock); }
    void unlock() { pthread_rwlock_unlock(&m_lock); }
    void lock_shared() { pthread_rwlock_rdlock(&m_lock); }
    void unlock_shared() { pthread_rwlock_unlock(&m_lock); }

private:
    pthread_rwlock_t m_lock;
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

    // Connection supervision.
    bool ConnServer(const ZUL_QuerySvrInfo& param);
    bool DisConnServer();
    bool IsConnect();
    bool IsLogon();
    void SetAutoReconnect(bool autoConnect);
    void SetMaxWaitTime(int query_wait_time);
    void stop_check_and_reconn_thread();
    static int query_callback(socket_param& out, void* para);
    int on_query_callback(socket_param& out);
    static void* trade_clt_check_and_reconn_thread(void* self);
    void _th_trade_clt_check_and_reconn();
    bool _th_try_reconn();

    // True on a thread that is running one of this client's callbacks: the
    // transport's event or receive thread, or a thread reporting a local close.
    // Closing or destroying the client from there must not wait for itself.
    bool in_own_callback() const;
    // The caller asks for the connection to close (KQZUL_DisConnQueryServer): no
    // answer record of it is delivered from now on, the reconnect thread is told to
    // quit, and waits of the transport (connect, send) end at once. The close itself
    // follows, on this thread or a helper; close_request_done() after it.
    void request_close();
    void close_request_done();
    // Closes the connection from a helper thread, so that a callback may ask for
    // it without waiting for its own thread. Only the transport that stands now is
    // closed: a connection opened meanwhile survives.
    void disconnect_later();
    // Destroy asked for inside one of the client's callbacks: from now on nothing
    // reaches the caller; once every other callback in progress has returned, a
    // helper thread frees the client.
    static void destroy_later(CQueryClient* client);
    // A successful logon answer, before its callback: true when it belongs to the
    // link that stands, whose state it then sets.
    bool on_logon_accepted(Int4 user_id);
    // ... and after its callback: the status, and supervision of the link (also of a
    // link that ended before the answer was handled).
    void after_logon_accepted(bool current);

    // Outbound path.
    int SendMsgToZul(const char* p_data_flag, const char* p_data, int nLen, enSendDirection sd);
    bool ChangeFCParam(Int4 order_count, Int4 cxl_count);

    // Inbound dispatch.
    int ProcReceiveMsg(const unsigned char* p_data, unsigned int nLen);
    // The size of the message whose first nLen bytes are at p_data, for the server
    // generation known now; 0 while its id is not all there, or unknown.
    unsigned int message_size(const unsigned char* p_data, unsigned int nLen);
    static Int8 SwichEndian(Int8 v);
    static Int4 SwichEndian32(Int4 v);
    static VORTANE::TOOLS::u64_kq convert_now_to_timestamp();

    // Response translators: each turns one wire record into a public record and
    // calls its slot. They run on the transport's receive thread.
    // Logon, password, accounts and balances (QueryClient_account.cpp).
    void ProcQueryPortLogonRespMsg(query_logon_msg_resp* pMsg);
    void ProcChangePwdRespMsg(change_password_resp* pMsg);
    void ProcQueryUserAccountRespMsg(query_user_account_resp* pMsg);
    void ProcQueryAccountBpResp(query_account_bp_resp* pMsg);
    void ProcQueryAccountBpDetailResp(query_account_bp_detail_resp* pMsg);
    void ProcAccountBpReport(report_account_bp* pMsg);
    void ProcAccountCashInOutNotify(account_cash_inout_notify* pMsg);
    // Symbols, combination rules, margin and fee rates (QueryClient_instrument.cpp).
    void ProcQuerySymbolRespMsg(query_symbol_resp* pMsg);
    void ProcQueryComboRuleRespMsg(query_combo_rule_resp* pMsg);
    void ProcQueryAccountMarginRespMsg(query_account_margin_resp* pMsg);
    void ProcQueryAccountFeeRespMsg(query_account_fee_resp* pMsg);
    // Positions (QueryClient_position.cpp).
    void ProcQueryAccountFutPositionRespMsg(query_account_fut_position_resp* pMsg);
    void ProcQueryAccountOptionPositionRespMsg(query_account_opt_position_resp* pMsg);
    void ProcQueryAccountComboPositionRespMsg(query_combo_position_resp* pMsg);
    // Orders, executions and quotes (QueryClient_order.cpp).
    void ProcQueryAccountTradeOrderMsg(rewind_accoutn_order_response* pMsg);
    void ProcQueryAccountTradeArbiOrderMsg(rewind_account_arbi_order_response* pMsg);
    void ProcQueryAccountTradeExecutionpMsg(rewind_order_execution_response* pMsg);
    void ProcQueryAccountTradeExecutionpMsg(hv27_rewind_order_execution_response* pMsg);
    void ProcQueryAccountTradeExecutionpMsgEx(rewind_order_execution_response_ex* pMsg);
    void ProcQueryAccountQuoteMsg(rewind_account_quote_response* pMsg);
    // Risk data (QueryClient_risk.cpp).
    void ProcAccountRealDataResp(account_risk_real_data_resp* pMsg);
    void ProcAccountRealDataResp(hv27_account_risk_real_data_resp* pMsg);
    void ProcAccountSymbolRealDataResp(account_symbol_real_data_resp* pMsg);
    // Refused queries (QueryClient_error.cpp).
    void ProQueryErrRespMsg(hv27_query_err_resp* pMsg);

    // Calls the callback in slot, if there is one, with this client as handle.
    // The slot is read once, so a concurrent unregistration cannot make it null
    // between the test and the call. Answers and pushes are dropped once a close or
    // destroy was asked for (see m_delivery_gate).
    template <typename Callback, typename... Args>
    void fire_event(const std::atomic<Callback>& slot, Args... args) {
        if (m_delivery_gate.load() != 0)
            return;
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

    // Connection work; the callers hold m_conn_mutex.
    bool conn_server_locked(ZUL_QuerySvrInfo param, bool by_reconnect_thread);
    bool close_transport(socket_cache_client* only_if);
    // One attempt of a reconnection campaign; refused once the quit flag is set.
    bool reconnect_once();
    void on_connection_event(int err_no, const char* text, const char* log_line,
                             E_CONNECT_STATUS status);
    void on_connect_event();
    void dispatch_received(socket_param& out);
    // Starts the reconnect thread if auto reconnect is on and none runs.
    void start_reconnect_thread();
    // Waits for the end of the reconnect thread and of every helper thread that
    // works on this client; after it no thread of the client touches it again.
    void wait_for_helper_threads();
    // The connection callback: dropped only once a destroy was asked for.
    void fire_conn_event(int err_no, const char* text);
    // Ends the waits of the current transport (connect, send for room, event loop).
    void interrupt_transport();
    // True when an attempt begun with `seen` close requests must give up.
    bool connect_abandoned(unsigned seen, bool by_reconnect_thread);
    void set_transport(socket_cache_client* transport);
    // Waits until no thread but this one runs a callback of this client.
    void wait_for_other_callbacks();
    // Tells the reconnect thread that the status, the logon count or the quit flag
    // changed; called after the change.
    void notify_watch();
    // The reconnect thread's waits: until `done` holds or `limit` has passed; true
    // when `done` holds.
    template <typename Done>
    bool watch_wait(std::chrono::milliseconds limit, Done done) {
        std::unique_lock<std::mutex> guard(m_watch_mutex);
        return m_watch_cond.wait_for(guard, limit, done);
    }
    template <typename Done>
    void watch_wait(Done done) {
        std::unique_lock<std::mutex> guard(m_watch_mutex);
        m_watch_cond.wait(guard, done);
    }
    static void close_wait_notice(void* self);

    // Serialises ConnServer and DisConnServer: the caller's threads, the
    // reconnect thread and the helper threads never replace the transport at once.
    std::mutex m_conn_mutex;
    // Guards m_asyncQueryClient: shared while a thread uses the transport (sends,
    // IsConnect), exclusive while it is replaced. The transport is deleted only
    // after it has left this pointer and every user has let go of it.
    transport_rw_lock m_transport_lock;
    // One message on the wire at a time: bytes of two messages never interleave.
    std::mutex m_wire_mutex;
    // Orders the state writes of "conn ok" against a logon answered meanwhile.
    std::mutex m_state_mutex;
    unsigned long m_logon_seq = 0;
    // True from a connection's "conn ok" to its end. A logon answer that the
    // receive thread hands over after its connection has ended belongs to a link
    // that is gone: it is delivered, but logs nothing on.
    bool m_link_up = false;
    // The reconnect thread: joinable while m_th_started, joined before another
    // starts and before the client is freed.
    std::mutex m_th_mutex;
    bool m_th_started = false;
    bool m_destroying = false;
    // Helper threads that close on behalf of a callback; counted and started under
    // m_th_mutex, so that none starts once the destructor waits for them.
    std::atomic<int> m_pending_helpers{0};

    // Bits of m_delivery_gate. RECORDS_CUT: a close was asked for, no answer record of
    // the connection goes to the caller any more (until the next connect). SILENCED: a
    // destroy was asked for inside a callback, nothing at all goes to the caller.
    static constexpr unsigned char RECORDS_CUT = 1;
    static constexpr unsigned char SILENCED = 2;
    std::atomic<unsigned char> m_delivery_gate{0};
    // Threads inside a callback of this client now.
    std::atomic<int> m_callbacks_running{0};
    // Counted by every close asked for, and held up while one is in progress: a
    // connect attempt that sees either gives up.
    std::atomic<unsigned> m_close_requests{0};
    std::atomic<int> m_closes_in_progress{0};
    // Guards m_asyncQueryClient for interrupt_transport, which must not wait behind
    // the transport lock (a send may hold it shared while it waits for room).
    std::mutex m_interrupt_mutex;
    // Successful logon answers; a reconnection campaign ends on one, also on one that
    // came after its link had ended.
    std::atomic<unsigned> m_logons_accepted{0};
    // The reconnect thread sleeps on this until one of the above changes.
    std::mutex m_watch_mutex;
    std::condition_variable m_watch_cond;
    // IsConnect's answer without the transport: the transport's connected state, kept
    // by the transport of the tag written here (tag * 2, + 1 while connected), 0 while
    // there is none. Read without a lock, so a request takes the transport lock once.
    std::atomic<unsigned> m_transport_state{0};
    unsigned m_last_tag = 0;  // under m_conn_mutex
};

#endif
