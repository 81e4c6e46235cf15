// Connection supervision: opening and closing the transport, turning socket events
// into the connection state and the caller's connection callback, and the
// reconnect thread.
//
// Threads: ConnServer and DisConnServer run on the caller's threads, on the
// reconnect thread and on helper threads (a close asked for inside a callback);
// m_conn_mutex makes them take turns. Socket events arrive on the transport's event
// thread ("conn ok", "remote disconnected"), on its receive thread (bytes), and on
// the thread that closes ("local disconnected").

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "client/QueryClient.h"
#include "tools/cross_platform_api.h"
#include "tools/tool_function.h"
#include "transport/linux_socket_param.h"
#include "transport/socket_cache_client.h"

using namespace VORTANE::TOOLS;

namespace {

const unsigned int HOLD_BUFFER_SIZE = 8192;
// Departure: the reconnect thread sleeps until it is told of a change (status, logon,
// quit) rather than looking every 100 ms; the two waits of a campaign are single
// timed waits of the same length as their 100 ms steps added up.
const std::chrono::milliseconds WAIT_BEFORE_ATTEMPT(2000);
const std::chrono::milliseconds WAIT_FOR_LOGON(5000);
// Tags of transports for m_transport_state: never 0, and tag * 2 + 1 fits.
const unsigned MAX_TRANSPORT_TAG = 0x7fffffff;
// A wait for a caller's callback says so in the log this often.
const std::chrono::seconds CALLBACK_WAIT_NOTICE(5);

// The clients whose callbacks this thread is running, innermost last (a callback of one
// client may close another, whose "local disconnected" then runs inside it).
thread_local std::vector<const CQueryClient*> t_callback_clients;

}  // namespace

bool CQueryClient::in_own_callback() const {
    return std::find(t_callback_clients.begin(), t_callback_clients.end(), this) !=
           t_callback_clients.end();
}

void CQueryClient::close_wait_notice(void* self) {
    static_cast<CQueryClient*>(self)->m_txt_logger.write_txt("info", "close waits for a callback");
}

void CQueryClient::wait_for_other_callbacks() {
    const int own =
        static_cast<int>(std::count(t_callback_clients.begin(), t_callback_clients.end(), this));
    auto next_notice = std::chrono::steady_clock::now() + CALLBACK_WAIT_NOTICE;
    while (m_callbacks_running.load() > own) {
        sleep_kq(1);
        if (std::chrono::steady_clock::now() >= next_notice) {
            close_wait_notice(this);
            next_notice += CALLBACK_WAIT_NOTICE;
        }
    }
}

void CQueryClient::notify_watch() {
    // Taken and let go: a waiter that has tested its condition is waiting by now.
    { std::lock_guard<std::mutex> guard(m_watch_mutex); }
    m_watch_cond.notify_all();
}

void CQueryClient::set_transport(socket_cache_client* transport) {
    std::unique_lock<transport_rw_lock> replace(m_transport_lock);
    std::lock_guard<std::mutex> guard(m_interrupt_mutex);
    m_asyncQueryClient = transport;
}

void CQueryClient::interrupt_transport() {
    std::lock_guard<std::mutex> guard(m_interrupt_mutex);
    if (m_asyncQueryClient != nullptr)
        m_asyncQueryClient->interrupt();
}

void CQueryClient::request_close() {
    // In this order: an attempt that publishes its transport after the interrupt below
    // sees the count, one that published before is interrupted.
    ++m_closes_in_progress;
    ++m_close_requests;
    m_delivery_gate.fetch_or(RECORDS_CUT);
    stop_check_and_reconn_thread();
    interrupt_transport();
}

void CQueryClient::close_request_done() {
    --m_closes_in_progress;
}

bool CQueryClient::connect_abandoned(unsigned seen, bool by_reconnect_thread) {
    return m_closes_in_progress.load() > 0 || m_close_requests.load() != seen ||
           (by_reconnect_thread && m_quit_connect_thread.load());
}

// Departure: the transport's state as it writes it into m_transport_state, without
// the transport lock and no transport to keep alive for the look; a request so takes
// that lock once, for its send, not twice.
bool CQueryClient::IsConnect() {
    return (m_transport_state.load() & 1) != 0;
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
    // Under the lock that starts the thread: a logon answer handled meanwhile cannot
    // undo the quit.
    {
        std::lock_guard<std::mutex> guard(m_th_mutex);
        m_quit_connect_thread = true;
    }
    notify_watch();
}

bool CQueryClient::ConnServer(const ZUL_QuerySvrInfo& param) {
    std::lock_guard<std::mutex> turn(m_conn_mutex);
    // param may be m_connectSeverInfo itself; it is read only under the lock that
    // guards its writes.
    return conn_server_locked(param, false);
}

bool CQueryClient::conn_server_locked(ZUL_QuerySvrInfo param, bool by_reconnect_thread) {
    const unsigned seen = m_close_requests.load();
    close_transport(nullptr);
    // The address field need not hold a terminator: never read past its 16 bytes.
    std::string ip(param.m_RemoteQueryIp,
                   strnlen(param.m_RemoteQueryIp, sizeof(param.m_RemoteQueryIp)));
    char buffer[1024];
    // Departure: an address that is not dotted IPv4 text ("garbage", "999.0.0.1") is
    // refused like an empty one, rather than taken as 0.0.0.0, which would connect to
    // whatever listens on this machine and send it the logon.
    if (ip.empty() || param.m_RemoteQueryTCPPort == 0 || !is_dotted_ipv4(ip)) {
        snprintf_kq(buffer, sizeof(buffer), "invalid query port params %s:%d.", ip.c_str(),
                    param.m_RemoteQueryTCPPort);
        m_txt_logger.write_txt("info", buffer);
        return false;
    }
    m_bQueryPortLogon = false;
    // A new connection: its answers go to the caller again (a destroy in progress
    // keeps everything silent).
    m_delivery_gate.fetch_and(static_cast<unsigned char>(~RECORDS_CUT));
    socket_cache_client* transport = new socket_cache_client(HOLD_BUFFER_SIZE);
    transport->set_epoll_max_wait_time(m_epoll_max_wait_time_query);
    transport->set_wait_notice(close_wait_notice, this);
    m_last_tag = m_last_tag % MAX_TRANSPORT_TAG + 1;
    m_transport_state.store(m_last_tag * 2);
    transport->set_connected_mirror(&m_transport_state, m_last_tag);
    // In place before the connect: the "conn ok" callback may send the logon before
    // sock_init has returned, and a close from another thread can interrupt it.
    set_transport(transport);
    // A close asked for since this attempt began: give up (the close disposes of the
    // transport). One asked for from now on interrupts the connect.
    if (connect_abandoned(seen, by_reconnect_thread))
        return false;
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
        std::lock_guard<std::mutex> guard(m_interrupt_mutex);
        if (m_asyncQueryClient == nullptr || (only_if != nullptr && m_asyncQueryClient != only_if))
            return true;
        transport = m_asyncQueryClient;
        m_asyncQueryClient = nullptr;
        // Out of use: what the transport says of itself from now on is not looked at.
        m_transport_state.store(0);
    }
    // With the connection open this reports "local disconnected" on this thread.
    // The lock is not held: the receive thread may still be delivering records
    // whose callbacks send requests, and the close waits for that pass.
    transport->sock_close();
    m_txt_logger.write_txt("info", "close query client");
    // Departure: no pause between the close and the delete. The transport's threads
    // have all left when sock_close returns, so nothing is waited for, and every
    // close would pay the pause.
    delete transport;
    return true;
}

void CQueryClient::disconnect_later() {
    // Counted under the lock the destructor takes before it waits for the helpers:
    // either the destructor waits for this one, or none starts and the destructor
    // closes the connection itself.
    std::lock_guard<std::mutex> guard(m_th_mutex);
    if (m_destroying)
        return;
    socket_cache_client* current = nullptr;
    {
        std::lock_guard<std::mutex> interrupt_guard(m_interrupt_mutex);
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
        // The last touch of the client.
        --m_pending_helpers;
    }).detach();
}

void CQueryClient::destroy_later(CQueryClient* client) {
    // Nothing reaches the caller from now on, not even the "local disconnected" of
    // the close that the destruction makes.
    client->m_delivery_gate.fetch_or(SILENCED | RECORDS_CUT);
    client->request_close();
    client->close_request_done();
    // A callback already running on another thread finishes before the destroy
    // returns: the caller may free its context and event object at once.
    client->wait_for_other_callbacks();
    std::thread([client] { delete client; }).detach();
}

int CQueryClient::query_callback(socket_param& out, void* para) {
    CQueryClient* client = static_cast<CQueryClient*>(para);
    if (client == nullptr)
        return -1;
    // Marks this thread as inside a callback of the client for the whole event, also
    // when the caller's code throws.
    struct callback_scope {
        CQueryClient* client;
        explicit callback_scope(CQueryClient* c) : client(c) {
            t_callback_clients.push_back(c);
            ++client->m_callbacks_running;
        }
        ~callback_scope() {
            --client->m_callbacks_running;
            t_callback_clients.pop_back();
        }
    } scope(client);
    client->on_query_callback(out);
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
    fire_conn_event(ZUL_CONN_OK, "conn ok");
    {
        std::lock_guard<std::mutex> state(m_state_mutex);
        if (seq != m_logon_seq)
            return;
        m_bQueryPortLogon = false;
        m_e_connect_status = E_STATUS_CONNCTED;
    }
    notify_watch();
}

void CQueryClient::on_connection_event(int err_no, const char* text, const char* log_line,
                                       E_CONNECT_STATUS status) {
    {
        std::lock_guard<std::mutex> state(m_state_mutex);
        m_link_up = false;
    }
    fire_conn_event(err_no, text);
    if (log_line != nullptr)
        m_txt_logger.write_txt("error", log_line);
    {
        std::lock_guard<std::mutex> state(m_state_mutex);
        m_bQueryPortLogon = false;
        m_e_connect_status = status;
    }
    notify_watch();
}

void CQueryClient::fire_conn_event(int err_no, const char* text) {
    if ((m_delivery_gate.load() & SILENCED) != 0)
        return;
    KQZUL_QueryConnectionEvent callback = m_ptr_fun_conn_event.load();
    if (callback != nullptr)
        callback(this, static_cast<ERR_NO>(err_no), text);
}

bool CQueryClient::on_logon_accepted(Int4 user_id) {
    // Counted, so that the state writes of a "conn ok" callback still running on the
    // event thread leave this logon alone. An answer handled after its link ended
    // (still queued behind "remote disconnected") changes no state: logged on over a
    // dead link would stop the repair. Nor does one after a close was asked for.
    std::lock_guard<std::mutex> state(m_state_mutex);
    if (!m_link_up || m_delivery_gate.load() != 0)
        return false;
    ++m_logon_seq;
    SetUserId(user_id);
    m_bQueryPortLogon = true;
    return true;
}

void CQueryClient::after_logon_accepted(bool current) {
    if (current) {
        // A connection that ended during the callback keeps its end state.
        std::lock_guard<std::mutex> state(m_state_mutex);
        if (m_link_up)
            m_e_connect_status = E_STATUS_LOGONED;
    }
    // The logon succeeded, so the link is supervised from now on, also one that ended
    // before or during the callback: the thread sees its end state and repairs it, and
    // a campaign in progress ends (its next one starts after the 2 s wait).
    ++m_logons_accepted;
    notify_watch();
    start_reconnect_thread();
}

void CQueryClient::start_reconnect_thread() {
    if (!m_b_auto_connect || m_connect_thread_is_running != 0)
        return;
    std::lock_guard<std::mutex> guard(m_th_mutex);
    // A close asked for meanwhile keeps the thread stopped.
    if (m_destroying || m_connect_thread_is_running != 0 || m_delivery_gate.load() != 0)
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
    // No new reconnect thread or helper can start now; the running one sees its quit
    // flag within one poll, and a connect in progress was interrupted.
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
        watch_wait([this] {
            return m_quit_connect_thread || m_e_connect_status == E_STATUS_DISCONN_OTHER;
        });
    }
    m_txt_logger.write_txt("debug", "_th_query_clt_check_and_reconn stop");
}

bool CQueryClient::_th_try_reconn() {
    m_txt_logger.write_txt("debug", "query _th_try_reconn start");
    int try_times = 0;
    while (!m_quit_connect_thread) {
        // The status is not looked at in this wait: only the quit flag ends it.
        if (watch_wait(WAIT_BEFORE_ATTEMPT, [this] { return m_quit_connect_thread.load(); }))
            return false;
        ++try_times;
        char buffer[1024];
        snprintf_kq(buffer, sizeof(buffer), "query _th_try_reconn ConnServer try times:%d.",
                    try_times);
        m_txt_logger.write_txt("debug", buffer);
        if (!reconnect_once())
            continue;
        // A logon answered after its link had ended ends the campaign as well: the
        // status then still shows the end, and the next campaign begins at once.
        const unsigned logons = m_logons_accepted.load();
        watch_wait(WAIT_FOR_LOGON, [this, logons] {
            return m_quit_connect_thread || m_e_connect_status == E_STATUS_LOGONED ||
                   m_logons_accepted.load() != logons;
        });
        if (m_quit_connect_thread)
            return false;
        if (m_e_connect_status == E_STATUS_LOGONED || m_logons_accepted.load() != logons) {
            m_txt_logger.write_txt("debug", "query _th_try_reconn quit for logon success");
            return true;
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
    return conn_server_locked(m_connectSeverInfo, true);
}
