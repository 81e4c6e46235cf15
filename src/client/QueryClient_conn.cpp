// Connection supervision: opening and closing the transport, turning socket events
// into the connection state and the caller's connection callback, and the
// reconnect thread.
//
// Threads: ConnServer and DisConnServer run on the caller's threads, on the
// reconnect thread and on helper threads (a close asked for inside a callback);
// m_conn_mutex makes them take turns. Socket events arrive on the transport's event
// thread ("conn ok", "remote disconnected"), on its receive thread (bytes), and on
// the thread that closes ("local disconnected").

#include <poll.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "client/QueryClient.h"
#include "tools/cross_platform_api.h"
#include "tools/tool_function.h"
#include "transport/socket_cache_client.h"

using namespace VORTANE::TOOLS;

namespace {

const unsigned int HOLD_BUFFER_SIZE = 8192;
const unsigned int CLOSE_TO_DELETE_PAUSE_MS = 20;
const unsigned int RECONNECT_POLL_MS = 100;
const int WAIT_BEFORE_ATTEMPT_STEPS = 20;  // x 100 ms
const int WAIT_FOR_LOGON_STEPS = 50;       // x 100 ms

// The client whose callback this thread is running, if any.
thread_local const CQueryClient* t_callback_client = nullptr;

class callback_scope {
public:
    explicit callback_scope(const CQueryClient* client) : m_prev(t_callback_client) {
        t_callback_client = client;
    }
    ~callback_scope() { t_callback_client = m_prev; }

private:
    const CQueryClient* m_prev;
};

}  // namespace

bool CQueryClient::in_own_callback() const {
    return t_callback_client == this;
}

bool CQueryClient::IsConnect() {
    std::shared_lock<transport_rw_lock> use(m_transport_lock);
    return m_asyncQueryClient != nullptr && m_asyncQueryClient->is_connected();
}

bool CQueryClient::IsLogon() {
    return m_bQueryPortLogon;
}

void CQueryClient::SetAutoReconnect(bool autoConnect) {
    m_b_auto_connect = autoConnect;
}

void CQueryClient::SetMaxWaitTime(int query_wait_time) {
    if (query_wait_time < 0)
        return;
    m_epoll_max_wait_time_query = query_wait_time;
    std::shared_lock<transport_rw_lock> use(m_transport_lock);
    if (m_asyncQueryClient != nullptr)
        m_asyncQueryClient->set_epoll_max_wait_time(query_wait_time);
}

void CQueryClient::stop_check_and_reconn_thread() {
    m_quit_connect_thread = true;
}

bool CQueryClient::ConnServer(const ZUL_QuerySvrInfo& param) {
    std::lock_guard<std::mutex> turn(m_conn_mutex);
    // param may be m_connectSeverInfo itself; it is read only under the lock that
    // guards its writes.
    return conn_server_locked(param);
}

bool CQueryClient::conn_server_locked(ZUL_QuerySvrInfo param) {
    close_transport(nullptr);
    // The address field need not hold a terminator: never read past its 16 bytes.
    std::string ip(param.m_RemoteQueryIp, strnlen(param.m_RemoteQueryIp, sizeof(param.m_RemoteQueryIp)));
    char buffer[1024];
    if (ip.empty() || param.m_RemoteQueryTCPPort == 0) {
        snprintf_kq(buffer, sizeof(buffer), "invalid query port params %s:%d.", ip.c_str(),
                    param.m_RemoteQueryTCPPort);
        m_txt_logger.write_txt("info", buffer);
        return false;
    }
    m_bQueryPortLogon = false;
    socket_cache_client* transport = new socket_cache_client(HOLD_BUFFER_SIZE);
    transport->set_epoll_max_wait_time(m_epoll_max_wait_time_query);
    {
        // In place before the connect: the "conn ok" callback may send the logon
        // before sock_init has returned.
        std::unique_lock<transport_rw_lock> replace(m_transport_lock);
        m_asyncQueryClient = transport;
    }
    // A failed transport stays until the next ConnServer or DisConnServer.
    if (!transport->sock_init(ip, param.m_RemoteQueryTCPPort, query_callback, this, false))
        return false;
    snprintf_kq(buffer, sizeof(buffer), "open query servr %s:%d successed", ip.c_str(),
                param.m_RemoteQueryTCPPort);
    m_txt_logger.write_txt("info", buffer);
    m_connectSeverInfo = param;
    return true;
}

bool CQueryClient::DisConnServer() {
    std::lock_guard<std::mutex> turn(m_conn_mutex);
    return close_transport(nullptr);
}

// Takes the transport out of use, closes it on this thread and deletes it. With
// only_if set, a transport other than that one is left alone.
bool CQueryClient::close_transport(socket_cache_client* only_if) {
    socket_cache_client* transport = nullptr;
    {
        // Waits for a send in progress; later senders find no transport.
        std::unique_lock<transport_rw_lock> replace(m_transport_lock);
        if (m_asyncQueryClient == nullptr || (only_if != nullptr && m_asyncQueryClient != only_if))
            return true;
        transport = m_asyncQueryClient;
        m_asyncQueryClient = nullptr;
    }
    // With the connection open this reports "local disconnected" on this thread.
    // The lock is not held: the receive thread may still be delivering records
    // whose callbacks send requests, and the close waits for that pass.
    transport->sock_close();
    m_txt_logger.write_txt("info", "close query client");
    sleep_kq(CLOSE_TO_DELETE_PAUSE_MS);
    delete transport;
    return true;
}

void CQueryClient::disconnect_later() {
    socket_cache_client* current = nullptr;
    {
        std::shared_lock<transport_rw_lock> use(m_transport_lock);
        current = m_asyncQueryClient;
    }
    if (current == nullptr)
        return;
    ++m_pending_helpers;
    std::thread([this, current] {
        {
            std::lock_guard<std::mutex> turn(m_conn_mutex);
            close_transport(current);
        }
        --m_pending_helpers;
    }).detach();
}

void CQueryClient::destroy_later(CQueryClient* client) {
    client->stop_check_and_reconn_thread();
    ++client->m_pending_helpers;
    std::thread([client] {
        --client->m_pending_helpers;
        delete client;
    }).detach();
}

int CQueryClient::query_callback(socket_param& out, void* para) {
    CQueryClient* client = static_cast<CQueryClient*>(para);
    if (client != nullptr) {
        callback_scope scope(client);
        client->on_query_callback(out);
    }
    return -1;
}

int CQueryClient::on_query_callback(socket_param& out) {
    switch (out.get_event_type()) {
        case EVENT_CONNECT:
            on_connect_event();
            break;
        case EVENT_REMOTE_DISCONNECT:
            on_connection_event(ZUL_CONN_REMOTE_DISCONNECTED, "remote disconnected",
                                "query port disconnected by server", E_STATUS_DISCONN_OTHER);
            break;
        case EVENT_LOCALE_DISCONNECT:
            on_connection_event(ZUL_CONN_LOCAL_DISCONNECTED, "local disconnected", nullptr,
                                E_STATUS_DISCONN_BY_LOCAL);
            break;
        case EVENT_NETWORK_ERROR:
            on_connection_event(ZUL_CONN_NETWORK_ERROR, "network error",
                                "query port disconnected by network error", E_STATUS_DISCONN_OTHER);
            break;
        case EVENT_RECEIVE:
            dispatch_received(out);
            break;
        default:
            break;
    }
    return 0;
}

// "conn ok": the callback runs before the state writes, and may log on from there.
// A logon answered before the callback returns has already written its state,
// which the writes below must not undo.
void CQueryClient::on_connect_event() {
    unsigned long seq;
    {
        std::lock_guard<std::mutex> state(m_state_mutex);
        m_link_up = true;
        seq = m_logon_seq;
    }
    fire_event(m_ptr_fun_conn_event, static_cast<ERR_NO>(ZUL_CONN_OK), "conn ok");
    std::lock_guard<std::mutex> state(m_state_mutex);
    if (seq != m_logon_seq)
        return;
    m_bQueryPortLogon = false;
    m_e_connect_status = E_STATUS_CONNCTED;
}

void CQueryClient::on_connection_event(int err_no, const char* text, const char* log_line,
                                       E_CONNECT_STATUS status) {
    {
        std::lock_guard<std::mutex> state(m_state_mutex);
        m_link_up = false;
    }
    fire_event(m_ptr_fun_conn_event, static_cast<ERR_NO>(err_no), text);
    if (log_line != nullptr)
        m_txt_logger.write_txt("error", log_line);
    std::lock_guard<std::mutex> state(m_state_mutex);
    m_bQueryPortLogon = false;
    m_e_connect_status = status;
}

void CQueryClient::start_reconnect_thread() {
    if (!m_b_auto_connect || m_connect_thread_is_running != 0)
        return;
    std::lock_guard<std::mutex> guard(m_th_mutex);
    if (m_destroying || m_connect_thread_is_running != 0)
        return;
    // The flag is 0, so an earlier thread has left its loop: its join is short.
    if (m_th_started) {
        pthread_join(m_th, nullptr);
        m_th_started = false;
    }
    m_quit_connect_thread = false;
    // Marked before the thread exists, so that a second logon at once starts none.
    m_connect_thread_is_running = 1;
    if (pthread_create(&m_th, nullptr, trade_clt_check_and_reconn_thread, this) == 0)
        m_th_started = true;
    else
        m_connect_thread_is_running = 0;
}

void CQueryClient::wait_for_helper_threads() {
    {
        std::lock_guard<std::mutex> guard(m_th_mutex);
        m_destroying = true;
    }
    // No new reconnect thread can start now; the running one sees its quit flag
    // within one poll, or when the connect in progress returns.
    if (m_th_started) {
        pthread_join(m_th, nullptr);
        m_th_started = false;
    }
    while (m_pending_helpers.load() > 0)
        sleep_kq(1);
}

void* CQueryClient::trade_clt_check_and_reconn_thread(void* self) {
    if (self != nullptr)
        static_cast<CQueryClient*>(self)->_th_trade_clt_check_and_reconn();
    return nullptr;
}

void CQueryClient::_th_trade_clt_check_and_reconn() {
    m_txt_logger.write_txt("debug", "_th_query_clt_check_and_reconn start");
    thread_running_flag running(m_connect_thread_is_running);
    if (m_quit_connect_thread)
        return;
    while (!m_quit_connect_thread) {
        if (m_e_connect_status == E_STATUS_DISCONN_OTHER && !_th_try_reconn())
            return;
        sleep_kq(RECONNECT_POLL_MS);
    }
    m_txt_logger.write_txt("debug", "_th_query_clt_check_and_reconn stop");
}

bool CQueryClient::_th_try_reconn() {
    m_txt_logger.write_txt("debug", "query _th_try_reconn start");
    int try_times = 0;
    while (!m_quit_connect_thread) {
        for (int i = 0; i < WAIT_BEFORE_ATTEMPT_STEPS; ++i) {
            sleep_kq(RECONNECT_POLL_MS);
            if (m_quit_connect_thread)
                return false;
        }
        ++try_times;
        char buffer[1024];
        snprintf_kq(buffer, sizeof(buffer), "query _th_try_reconn ConnServer try times:%d.", try_times);
        m_txt_logger.write_txt("debug", buffer);
        if (!reconnect_once())
            continue;
        for (int i = 0; i < WAIT_FOR_LOGON_STEPS; ++i) {
            sleep_kq(RECONNECT_POLL_MS);
            if (m_quit_connect_thread)
                return false;
            if (m_e_connect_status == E_STATUS_LOGONED) {
                m_txt_logger.write_txt("debug", "query _th_try_reconn quit for logon success");
                return true;
            }
        }
    }
    return false;
}

bool CQueryClient::reconnect_once() {
    std::lock_guard<std::mutex> turn(m_conn_mutex);
    // A caller that disconnected while this attempt waited for its turn keeps
    // its connection closed.
    if (m_quit_connect_thread)
        return false;
    return conn_server_locked(m_connectSeverInfo);
}
