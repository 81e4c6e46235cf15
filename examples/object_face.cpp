// Lists the accounts of a user and the futures positions of each, through the
// object face.
//
//   object_face <host> <port> <user> <password>
//
// Events run on library threads; this program waits for the finish event of each
// list (or a refusal) with a time limit.

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "ZulQueryApi.h"

namespace {

class listing : public ZULQueryEvent {
public:
    void OnQueryConnection(ERR_NO err_no, const char* text) override {
        printf("connection: %d %s\n", err_no, text);
    }
    void OnQueryDisConnection(ERR_NO err_no, const char* text) override {
        printf("disconnection: %d %s\n", err_no, text);
    }
    void OnQueryUserLogon(ZUL_QueryLogonResponse* logon) override {
        printf("logon: result %d, user id %d\n", logon->m_Result, logon->m_UserId);
        finish([&] { m_logon_result = logon->m_Result; });
    }
    void OnQueryUserAccount(ZUL_AccountInfo* a, bool bFinish, ZUL_QueryErrorId errorId) override {
        if (bFinish || errorId != 0)
            return finish([] {});
        printf("account %-16s available bp %14.2f  margin %14.2f\n", a->m_Account, a->m_AvailableBp,
               a->m_Margin);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_accounts.push_back(a->m_Account);
    }
    void OnQueryAccountPosition(const char* account, ZUL_AccountPosition* p, bool bFinish,
                                ZUL_QueryErrorId errorId) override {
        if (errorId != 0)
            printf("  positions of %s refused: error %u\n", account, errorId);
        else if (!bFinish)
            printf("  %-16s %-20s dir %d  overnight %u  today %u  cost %.2f\n", account,
                   p->m_Symbol, p->m_PosiDirection, p->m_OvnQty, p->m_TodayQty, p->m_PositionCost);
        if (bFinish || errorId != 0)
            finish([] {});
    }

    // Waits for the next finish event, at most ten seconds.
    bool wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        const bool ok = m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return m_done; });
        m_done = false;
        return ok;
    }
    int logon_result() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_logon_result;
    }
    std::vector<std::string> accounts() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_accounts;
    }

private:
    template <typename F>
    void finish(F change) {
        std::lock_guard<std::mutex> lock(m_mutex);
        change();
        m_done = true;
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_done = false;
    int m_logon_result = -1;
    std::vector<std::string> m_accounts;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        fprintf(stderr, "usage: %s <host> <port> <user> <password>\n", argv[0]);
        return 2;
    }
    listing events;  // outlives the client: its close is reported to it
    ZULQueryApi* api = CreateZULQueryApi();
    printf("library version %s\n", api->GetQueryApiVersion());
    int rc = 0;
    if (api->ConnQueryServer(argv[1], atoi(argv[2]), &events) != ZUL_RESULT_OK) {
        fprintf(stderr, "cannot connect to %s:%s\n", argv[1], argv[2]);
        rc = 1;
    } else if (api->QueryUserLogon(argv[3], argv[4]) != ZUL_RESULT_OK || !events.wait() ||
               events.logon_result() != 0) {
        fprintf(stderr, "logon failed\n");
        rc = 1;
    } else {
        api->QueryUserAccount();
        events.wait();
        for (const std::string& account : events.accounts()) {
            api->QueryAccountPosition(account.c_str(), 3);
            events.wait();
        }
        api->DisConnQueryServer();
    }
    DestroyZULQueryApi(api);
    return rc;
}
