#ifndef TESTS_SUPPORT_CALL_BOOK_H
#define TESTS_SUPPORT_CALL_BOOK_H

// One recorder for every record callback of a client. A hook, made from the callback's
// own type, copies what each call shows (account text, record bytes, finish flag, error
// id, password result) into the book of that client, in order. No two slots share a
// callback type, so the type names the slot. Books are found by handle, since the
// handle's user parameter belongs to the session's connection recorder; a book that is
// gone simply stops recording.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"

namespace zul_test {

using slot_id = const void*;

struct call {
    slot_id slot = nullptr;
    bool has_account = false, has_finish = false, finish = false;
    std::string account;
    std::string record;  // the record's bytes; empty for the password answer
    ZUL_QueryErrorId error = 0;
    ZUL_ChangePasswordResult result = 0;

    void take(const char* a) {
        has_account = true;
        account = a != nullptr ? a : "(null)";
    }
    void take(bool f) {
        has_finish = true;
        finish = f;
    }
    void take(ZUL_QueryErrorId e) { error = e; }
    void take(ZUL_ChangePasswordResult r) { result = r; }
    template <class R>
    void take(R* r) {
        record.assign(reinterpret_cast<const char*>(r), sizeof(R));
    }
    template <class R>
    R as() const {
        R r;
        EXPECT_EQ(sizeof(R), record.size());
        memcpy(static_cast<void*>(&r), record.data(), std::min(sizeof(R), record.size()));
        return r;
    }
    bool zero_record() const { return record.find_first_not_of('\0') == std::string::npos; }
};

class call_book {
public:
    explicit call_book(void* handle);
    ~call_book() {
        std::lock_guard<std::mutex> g(mutex());
        books().erase(m_handle);
    }
    call_book(const call_book&) = delete;
    call_book& operator=(const call_book&) = delete;

    // The calls so far, of one slot or of all.
    std::vector<call> calls(slot_id only = nullptr) {
        std::lock_guard<std::mutex> g(mutex());
        std::vector<call> out;
        for (const call& c : m_calls)
            if (only == nullptr || c.slot == only)
                out.push_back(c);
        return out;
    }
    void clear() {
        std::lock_guard<std::mutex> g(mutex());
        m_calls.clear();
    }
    static void add(void* handle, const call& c) {
        std::lock_guard<std::mutex> g(mutex());
        auto it = books().find(handle);
        if (it != books().end())
            it->second->m_calls.push_back(c);
    }

private:
    static std::mutex& mutex() {
        static std::mutex m;
        return m;
    }
    static std::map<void*, call_book*>& books() {
        static std::map<void*, call_book*> b;
        return b;
    }

    void* m_handle;
    std::vector<call> m_calls;
};

template <class F>
struct hook;
template <class... A>
struct hook<void (*)(void*, A...)> {
    static inline char id;
    static void fn(void* handle, A... args) {
        call c;
        c.slot = &id;
        (c.take(args), ...);
        call_book::add(handle, c);
    }
};

// A slot is named by the function that registers it.
template <class F>
slot_id slot_of(RESULT (*)(void*, F)) {
    return &hook<F>::id;
}
template <class F>
void hook_up(void* handle, RESULT (*set)(void*, F)) {
    set(handle, &hook<F>::fn);
}
template <class... S>
void hook_all(void* handle, S... set) {
    (hook_up(handle, set), ...);
}

inline call_book::call_book(void* handle) : m_handle(handle) {
    {
        std::lock_guard<std::mutex> g(mutex());
        books()[handle] = this;
    }
    hook_all(handle, KQZUL_SetQueryChangePasswordEvent, KQZUL_SetQueryUserAccountEvent,
             KQZUL_SetQueryAccountPositionEvent, KQZUL_SetQueryAccountOptionPositionEvent,
             KQZUL_SetQueryAccountBPEvent, KQZUL_SetQueryAccountBPDetailEvent,
             KQZUL_ReportAccountBPEvent, KQZUL_NotifyAccountCashInOutEvent,
             KQZUL_SetQuerySymbolListEvent, KQZUL_SetQueryAccountTradeMarginEvent,
             KQZUL_SetQueryAccountTradeFeeEvent, KQZUL_SetQueryTradeOrderEvent,
             KQZUL_SetQueryTradeArbiOrderEvent, KQZUL_SetQueryTradeOrderExecEvent,
             KQZUL_SetQueryTradeOrderExecEventEx, KQZUL_SetQueryTradeQuoteEvent,
             KQZUL_SetQueryComboPositionEvent, KQZUL_SetQueryComboRuleEvent,
             KQZUL_SetQueryAccountRiskDataEvent, KQZUL_SetQueryAccountSymbolRiskDataEvent);
}

}  // namespace zul_test

#endif
