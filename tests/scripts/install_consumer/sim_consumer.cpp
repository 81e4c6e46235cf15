// A user's test: the simulator in-process, a client of the installed library logs on
// to it.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "kq_zul_query_event.h"
#include "zul_sim.h"

namespace {

std::atomic<int> g_logon_result{-1};  // written by the receive thread

void on_logon(void*, ZUL_QueryLogonResponse* r) {
    g_logon_result = r->m_Result;
}

}  // namespace

int main() {
    zulsim::Simulator sim;
    std::string error;
    if (!sim.start(&error)) {
        fprintf(stderr, "simulator: %s\n", error.c_str());
        return 1;
    }
    void* handle = KQZUL_CreateQuery(nullptr);
    KQZUL_SetQueryUserLogonEvent(handle, on_logon);
    ZUL_QuerySvrInfo server;
    strcpy(server.m_RemoteQueryIp, "127.0.0.1");
    server.m_RemoteQueryTCPPort = sim.port();
    int rc = 1;
    if (KQZUL_ConnQueryServer(handle, server) == ZUL_RESULT_OK &&
        KQZUL_QueryUserLogon(handle, "trader01", "pw123456") == ZUL_RESULT_OK) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (g_logon_result < 0 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        rc = g_logon_result == 0 ? 0 : 1;
    }
    KQZUL_DisConnQueryServer(handle);
    KQZUL_DestroyQuery(handle);
    sim.stop();
    puts(rc == 0 ? "sim consumer ok" : "sim consumer failed");
    return rc;
}
