#ifndef TESTS_SUPPORT_RECORDS_II_H
#define TESTS_SUPPORT_RECORDS_II_H

// A book that records every call of every record slot of one client, in order:
// which slot, the account text, the record's bytes, the finish flag and the error
// id, as far as the slot's callback has them. The connection and logon slots stay
// with the session's recorder; all twenty others are registered here, so a test
// can tell exactly which callbacks an event reached.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"
#include "support/e2e_client.h"

namespace zul_test {

enum record_slot : int {
    SLOT_CHANGE_PWD,
    SLOT_ACCOUNT,
    SLOT_POSITION,
    SLOT_OPT_POSITION,
    SLOT_BP,
    SLOT_BP_DETAIL,
    SLOT_BP_REPORT,
    SLOT_CASH_INOUT,
    SLOT_RISK,
    SLOT_SYMBOL_RISK,
    SLOT_SYMBOL,
    SLOT_MARGIN,
    SLOT_FEE,
    SLOT_ORDER,
    SLOT_ARBI_ORDER,
    SLOT_EXEC,
    SLOT_EXEC_EX,
    SLOT_QUOTE,
    SLOT_COMBO_POSITION,
    SLOT_COMBO_RULE,
    SLOT_COUNT
};

struct slot_call {
    record_slot slot;
    bool has_account = false;
    bool account_null = false;
    std::string account;
    std::string record;  // the record's bytes; empty for the password answer
    bool has_finish = false;
    bool finish = false;
    bool has_error = false;
    ZUL_QueryErrorId error = 0;
    int result = 0;  // the password answer's result

    template <typename Record>
    Record as() const {
        Record r;
        EXPECT_EQ(sizeof(Record), record.size()) << "record of another type";
        memcpy(static_cast<void*>(&r), record.data(), std::min(sizeof(Record), record.size()));
        return r;
    }
    bool record_is_zero() const { return record.find_first_not_of('\0') == std::string::npos; }
};

// Fields of packed records are compared as values (unary +): a reference bound to
// one may be misaligned.

// All bytes of a fixed text field.
template <size_t N>
std::string field_bytes(const char (&f)[N]) {
    return std::string(f, N);
}
// The text of a field: up to its first zero byte, or all of it.
template <size_t N>
std::string text_in(const char (&f)[N]) {
    return std::string(f, strnlen(f, N));
}
// text cut to width and filled up with zeros: a public field as it should read.
inline std::string padded(const std::string& text, size_t width) {
    std::string s = text.substr(0, width);
    s.resize(width, '\0');
    return s;
}
// The bits of a double, so that a value moved bit for bit compares exactly.
inline unsigned long long bits(double v) {
    unsigned long long b;
    memcpy(&b, &v, sizeof(b));
    return b;
}

class record_book;

namespace detail {

// Callbacks find their book by handle. Every access holds one lock, so a book that
// goes away while the client still delivers just stops recording.
inline std::mutex& books_mutex() {
    static std::mutex m;
    return m;
}
inline std::map<void*, record_book*>& books() {
    static std::map<void*, record_book*> m;
    return m;
}

inline void add_call(void* handle, slot_call call);

template <typename Record>
slot_call make_call(record_slot slot, const Record* r) {
    slot_call c;
    c.slot = slot;
    if (r != nullptr)
        c.record.assign(reinterpret_cast<const char*>(r), sizeof(Record));
    return c;
}

inline void set_account(slot_call& c, const char* account) {
    c.has_account = true;
    c.account_null = account == nullptr;
    if (account != nullptr)
        c.account = account;
}

// One recorder per callback shape.
template <record_slot S, typename R>
void on_stream(void* h, const char* account, R* r, bool finish, ZUL_QueryErrorId error) {
    slot_call c = make_call(S, r);
    set_account(c, account);
    c.has_finish = true;
    c.finish = finish;
    c.has_error = true;
    c.error = error;
    add_call(h, c);
}

template <record_slot S, typename R>
void on_list(void* h, R* r, bool finish, ZUL_QueryErrorId error) {
    slot_call c = make_call(S, r);
    c.has_finish = true;
    c.finish = finish;
    c.has_error = true;
    c.error = error;
    add_call(h, c);
}

template <record_slot S, typename R>
void on_single(void* h, const char* account, R* r, ZUL_QueryErrorId error) {
    slot_call c = make_call(S, r);
    set_account(c, account);
    c.has_error = true;
    c.error = error;
    add_call(h, c);
}

template <record_slot S, typename R>
void on_report(void* h, const char* account, R* r) {
    slot_call c = make_call(S, r);
    set_account(c, account);
    add_call(h, c);
}

template <record_slot S, typename R>
void on_risk(void* h, R* r, ZUL_QueryErrorId error) {
    slot_call c = make_call(S, r);
    c.has_error = true;
    c.error = error;
    add_call(h, c);
}

inline void on_change_pwd(void* h, ZUL_ChangePasswordResult result) {
    slot_call c = make_call<char>(SLOT_CHANGE_PWD, nullptr);
    c.result = result;
    add_call(h, c);
}

}  // namespace detail

class record_book {
public:
    // Registers every record slot of the client, and the password slot.
    explicit record_book(void* handle) : m_handle(handle) {
        {
            std::lock_guard<std::mutex> g(detail::books_mutex());
            detail::books()[handle] = this;
        }
        using namespace detail;
        KQZUL_SetQueryChangePasswordEvent(handle, on_change_pwd);
        KQZUL_SetQueryUserAccountEvent(handle, on_list<SLOT_ACCOUNT, ZUL_AccountInfo>);
        KQZUL_SetQueryAccountPositionEvent(handle, on_stream<SLOT_POSITION, ZUL_AccountPosition>);
        KQZUL_SetQueryAccountOptionPositionEvent(
            handle, on_stream<SLOT_OPT_POSITION, ZUL_AccountOptionPosition>);
        KQZUL_SetQueryAccountBPEvent(handle, on_single<SLOT_BP, ZUL_AccountBP>);
        KQZUL_SetQueryAccountBPDetailEvent(handle, on_single<SLOT_BP_DETAIL, ZUL_AccountBPDetail>);
        KQZUL_ReportAccountBPEvent(handle, on_report<SLOT_BP_REPORT, ZUL_AccountBP>);
        KQZUL_NotifyAccountCashInOutEvent(handle, on_single<SLOT_CASH_INOUT, ZUL_AccountCashInout>);
        KQZUL_SetQueryAccountRiskDataEvent(handle, on_risk<SLOT_RISK, ZUL_AccountRiskData>);
        KQZUL_SetQueryAccountSymbolRiskDataEvent(
            handle, on_risk<SLOT_SYMBOL_RISK, ZUL_AccountSymbolRiskData>);
        KQZUL_SetQuerySymbolListEvent(handle, on_list<SLOT_SYMBOL, ZUL_SymbolField>);
        KQZUL_SetQueryAccountTradeMarginEvent(handle, on_stream<SLOT_MARGIN, ZUL_AccountMargin>);
        KQZUL_SetQueryAccountTradeFeeEvent(handle, on_stream<SLOT_FEE, ZUL_AccountFee>);
        KQZUL_SetQueryTradeOrderEvent(handle, on_stream<SLOT_ORDER, ZUL_QueryAccountOrder>);
        KQZUL_SetQueryTradeArbiOrderEvent(handle,
                                          on_stream<SLOT_ARBI_ORDER, ZUL_QueryAccountArbiOrder>);
        KQZUL_SetQueryTradeOrderExecEvent(handle, on_stream<SLOT_EXEC, ZUL_QueryOrderExecution>);
        KQZUL_SetQueryTradeOrderExecEventEx(handle,
                                            on_stream<SLOT_EXEC_EX, ZUL_QueryOrderExecutionEx>);
        KQZUL_SetQueryTradeQuoteEvent(handle, on_stream<SLOT_QUOTE, ZUL_QueryAccountQuote>);
        KQZUL_SetQueryComboPositionEvent(handle,
                                         on_stream<SLOT_COMBO_POSITION, ZUL_AccountComboPosition>);
        KQZUL_SetQueryComboRuleEvent(handle, on_list<SLOT_COMBO_RULE, ZUL_AccountComboRule>);
    }
    ~record_book() {
        std::lock_guard<std::mutex> g(detail::books_mutex());
        detail::books().erase(m_handle);
    }
    record_book(const record_book&) = delete;
    record_book& operator=(const record_book&) = delete;

    std::vector<slot_call> calls() {
        std::lock_guard<std::mutex> g(detail::books_mutex());
        return m_calls;
    }
    std::vector<slot_call> calls_of(record_slot slot) {
        std::vector<slot_call> out;
        for (const slot_call& c : calls())
            if (c.slot == slot)
                out.push_back(c);
        return out;
    }
    size_t count() {
        std::lock_guard<std::mutex> g(detail::books_mutex());
        return m_calls.size();
    }
    void clear() {
        std::lock_guard<std::mutex> g(detail::books_mutex());
        m_calls.clear();
    }
    // Waits for a call of slot with bFinish true, the end of a stream.
    bool wait_finished(record_slot slot) {
        return wait_until([&] {
            for (const slot_call& c : calls())
                if (c.slot == slot && c.finish)
                    return true;
            return false;
        });
    }
    bool wait_count(record_slot slot, size_t n) {
        return wait_until([&] { return calls_of(slot).size() >= n; });
    }
    // Asks for the risk data of one account (via: SLOT_RISK or SLOT_SYMBOL_RISK)
    // and waits for the answer. Messages are handled in order, so whatever came
    // before the answer has been delivered by then.
    bool sync(record_slot via = SLOT_SYMBOL_RISK) {
        const size_t before = calls_of(via).size();
        const RESULT sent = via == SLOT_RISK
                                ? KQZUL_QueryAccountRiskData(m_handle, "ZQ7", "", 0)
                                : KQZUL_QueryAccountSymbolRiskData(m_handle, "ZQ7", "", 0);
        if (sent != ZUL_RESULT_OK)
            return false;
        {
            std::lock_guard<std::mutex> g(detail::books_mutex());
            m_sync_slots[via] = true;
        }
        return wait_count(via, before + 1);
    }
    // The calls but the ordinary answers that sync() asked for.
    std::vector<slot_call> calls_but_sync() {
        std::lock_guard<std::mutex> g(detail::books_mutex());
        std::vector<slot_call> out;
        for (const slot_call& c : m_calls)
            if (!(m_sync_slots[c.slot] && c.error == 0))
                out.push_back(c);
        return out;
    }

    void add(const slot_call& c) { m_calls.push_back(c); }  // under books_mutex

private:
    void* m_handle;
    std::vector<slot_call> m_calls;
    bool m_sync_slots[SLOT_COUNT] = {};
};

namespace detail {

inline void add_call(void* handle, slot_call call) {
    std::lock_guard<std::mutex> g(books_mutex());
    auto it = books().find(handle);
    if (it != books().end())
        it->second->add(call);
}

}  // namespace detail

}  // namespace zul_test

#endif
