#ifndef TESTS_SUPPORT_E2E_CLIENT_H
#define TESTS_SUPPORT_E2E_CLIENT_H

// A plain-face client wired to a recorder, and a simulator to talk to: the pieces
// every end-to-end test needs.

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "kq_zul_query_event.h"
#include "support/scratch_dir.h"
#include "zul_sim.h"

namespace zul_test {

using namespace std::chrono_literals;

// Polls pred until it holds or the deadline passes; the deadlines are generous
// because the suite runs on busy 2-core machines and under sanitizers.
inline bool wait_until(const std::function<bool()>& pred,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!pred()) {
        if (std::chrono::steady_clock::now() > deadline)
            return pred();
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

struct conn_event {
    ERR_NO code;
    std::string text;
    pthread_t thread;
};

// Collects what the client reports, under its own lock. The hooks run on the
// callback's thread after the recording; set them before connecting.
class recorder {
public:
    std::vector<conn_event> conn_events() {
        std::lock_guard<std::mutex> g(m_mutex);
        return m_conn;
    }
    std::vector<ZUL_QueryLogonResponse> logons() {
        std::lock_guard<std::mutex> g(m_mutex);
        return m_logons;
    }
    size_t count_conn(ERR_NO code) {
        const std::vector<conn_event> all = conn_events();
        return std::count_if(all.begin(), all.end(),
                             [&](const conn_event& e) { return e.code == code; });
    }

    std::function<void(void* handle, ERR_NO code)> on_conn;
    std::function<void(void* handle, const ZUL_QueryLogonResponse&)> on_logon;

    static void record_conn(void* handle, ERR_NO code, const char* text) {
        recorder* r = static_cast<recorder*>(KQZUL_GetQueryUserParam(handle));
        std::unique_lock<std::mutex> g(r->m_mutex);
        r->m_conn.push_back({code, text ? text : "", pthread_self()});
        g.unlock();
        if (r->on_conn)
            r->on_conn(handle, code);
    }
    static void record_logon(void* handle, ZUL_QueryLogonResponse* logon) {
        recorder* r = static_cast<recorder*>(KQZUL_GetQueryUserParam(handle));
        std::unique_lock<std::mutex> g(r->m_mutex);
        r->m_logons.push_back(*logon);
        g.unlock();
        if (r->on_logon)
            r->on_logon(handle, *logon);
    }

private:
    std::mutex m_mutex;
    std::vector<conn_event> m_conn;
    std::vector<ZUL_QueryLogonResponse> m_logons;
};

// A logon as the callbacks of the tests send it.
inline RESULT send_logon(void* handle) {
    return KQZUL_QueryUserLogon(handle, "trader01", "pw123456");
}

inline ZUL_QuerySvrInfo server_at(uint16_t port, const char* ip = "127.0.0.1") {
    ZUL_QuerySvrInfo info;
    strncpy(info.m_RemoteQueryIp, ip, sizeof(info.m_RemoteQueryIp) - 1);
    info.m_RemoteQueryTCPPort = port;
    return info;
}

// A simulator and one client of the plain face with its logs in a scratch folder.
// The client is destroyed before the simulator stops.
class sim_session {
public:
    explicit sim_session(zulsim::Options options = zulsim::Options()) : m_sim(options) {
        std::string error;
        if (!m_sim.start(&error))
            throw std::runtime_error("simulator did not start: " + error);
        m_handle = KQZUL_CreateQuery(&m_rec);
        KQZUL_SetQueryConnectionEvent(m_handle, recorder::record_conn);
        KQZUL_SetQueryUserLogonEvent(m_handle, recorder::record_logon);
    }
    ~sim_session() {
        if (m_handle != nullptr)
            KQZUL_DestroyQuery(m_handle);
        m_sim.stop();
    }
    sim_session(const sim_session&) = delete;
    sim_session& operator=(const sim_session&) = delete;

    void* handle() { return m_handle; }
    CQueryClient* client() { return static_cast<CQueryClient*>(m_handle); }
    recorder& rec() { return m_rec; }
    zulsim::Simulator& sim() { return m_sim; }
    // Destroys the client now (the destructor then skips it).
    void destroy() { KQZUL_DestroyQuery(release()); }
    // The caller destroys the client from here on.
    void* release() { return std::exchange(m_handle, nullptr); }
    std::string text_log() { return read_file("mavlog_" + log_day() + ".log"); }
    std::string bin_log() { return read_file("mavlog_" + log_day() + ".bin"); }
    // How often a text stands in the text log.
    size_t log_count(const std::string& part) {
        const std::string log = text_log();
        size_t n = 0;
        for (size_t pos = log.find(part); pos != std::string::npos; pos = log.find(part, pos + 1))
            ++n;
        return n;
    }

    RESULT connect() { return KQZUL_ConnQueryServer(m_handle, server_at(m_sim.port())); }

    // Connects, logs on and waits for the answer.
    void connect_and_logon(const char* user = "trader01", const char* password = "secret99") {
        ASSERT_EQ(ZUL_RESULT_OK, connect());
        const size_t before = m_rec.logons().size();
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryUserLogon(m_handle, user, password));
        ASSERT_TRUE(wait_until([&] { return m_rec.logons().size() > before; }));
        ASSERT_TRUE(wait_until([&] { return m_rec.count_conn(ZUL_CONN_OK) > 0; }));
    }

private:
    static std::string log_day() { return precise_time::m_startDate; }

    scratch_dir m_dir;  // first: the logs open in it, and it goes last
    recorder m_rec;
    zulsim::Simulator m_sim;
    void* m_handle = nullptr;
};

}  // namespace zul_test

#endif
