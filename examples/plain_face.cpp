// Lists the accounts of a user and the futures positions of each, through the
// plain function face.
//
//   plain_face <host> <port> <user> <password>
//
// Callbacks run on library threads; this program waits for the finish call of
// each list (or a refusal) with a time limit.

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "kq_zul_query_event.h"

namespace {

// What the callbacks hand to the main thread.
struct session {
    std::mutex mutex;
    std::condition_variable changed;
    bool connected = false;
    bool logon_done = false;
    int logon_result = -1;
    bool list_done = false;
    std::vector<std::string> accounts;
};

session* of(void* handle) {
    return static_cast<session*>(KQZUL_GetQueryUserParam(handle));
}

template <typename F>
void update(void* handle, F change) {
    session* s = of(handle);
    std::lock_guard<std::mutex> lock(s->mutex);
    change(*s);
    s->changed.notify_all();
}

void on_connection(void* handle, ERR_NO err_no, const char* text) {
    printf("connection: %d %s\n", err_no, text);
    update(handle, [&](session& s) { s.connected = err_no == ZUL_CONN_OK; });
}

void on_logon(void* handle, ZUL_QueryLogonResponse* logon) {
    printf("logon: result %d, user id %d\n", logon->m_Result, logon->m_UserId);
    update(handle, [&](session& s) {
        s.logon_result = logon->m_Result;
        s.logon_done = true;
    });
}

void on_account(void* handle, ZUL_AccountInfo* a, bool bFinish, ZUL_QueryErrorId errorId) {
    if (!bFinish && errorId == 0)
        printf("account %-16s available bp %14.2f  margin %14.2f\n", a->m_Account, a->m_AvailableBp,
               a->m_Margin);
    update(handle, [&](session& s) {
        if (!bFinish && errorId == 0)
            s.accounts.push_back(a->m_Account);
        if (bFinish || errorId != 0)
            s.list_done = true;
    });
}

void on_position(void* handle, const char* account, ZUL_AccountPosition* p, bool bFinish,
                 ZUL_QueryErrorId errorId) {
    if (errorId != 0)
        printf("  positions of %s refused: error %u\n", account, errorId);
    else if (!bFinish)
        printf("  %-16s %-20s dir %d  overnight %u  today %u  cost %.2f\n", account, p->m_Symbol,
               p->m_PosiDirection, p->m_OvnQty, p->m_TodayQty, p->m_PositionCost);
    update(handle, [&](session& s) {
        if (bFinish || errorId != 0)
            s.list_done = true;
    });
}

// Waits until done(s) holds, at most ten seconds.
template <typename P>
bool wait_for(session& s, P done) {
    std::unique_lock<std::mutex> lock(s.mutex);
    return s.changed.wait_for(lock, std::chrono::seconds(10), [&] { return done(s); });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        fprintf(stderr, "usage: %s <host> <port> <user> <password>\n", argv[0]);
        return 2;
    }
    session s;
    void* handle = KQZUL_CreateQuery(&s);
    KQZUL_SetQueryConnectionEvent(handle, on_connection);
    KQZUL_SetQueryUserLogonEvent(handle, on_logon);
    KQZUL_SetQueryUserAccountEvent(handle, on_account);
    KQZUL_SetQueryAccountPositionEvent(handle, on_position);

    ZUL_QuerySvrInfo server;
    snprintf(server.m_RemoteQueryIp, sizeof(server.m_RemoteQueryIp), "%s", argv[1]);
    server.m_RemoteQueryTCPPort = static_cast<unsigned short>(atoi(argv[2]));
    int rc = 0;
    if (KQZUL_ConnQueryServer(handle, server) != ZUL_RESULT_OK) {
        fprintf(stderr, "cannot connect to %s:%s\n", argv[1], argv[2]);
        rc = 1;
    } else if (KQZUL_QueryUserLogon(handle, argv[3], argv[4]) != ZUL_RESULT_OK ||
               !wait_for(s, [](session& x) { return x.logon_done; }) || s.logon_result != 0) {
        fprintf(stderr, "logon failed\n");
        rc = 1;
    } else {
        KQZUL_QueryUserAccount(handle);
        wait_for(s, [](session& x) { return x.list_done; });
        for (const std::string& account : std::vector<std::string>(s.accounts)) {
            {
                std::lock_guard<std::mutex> lock(s.mutex);
                s.list_done = false;
            }
            KQZUL_QueryAccountPosition(handle, account.c_str(), 3);
            wait_for(s, [](session& x) { return x.list_done; });
        }
    }
    KQZUL_DisConnQueryServer(handle);
    KQZUL_DestroyQuery(handle);
    return rc;
}
