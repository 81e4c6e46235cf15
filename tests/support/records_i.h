#ifndef TESTS_SUPPORT_RECORDS_I_H
#define TESTS_SUPPORT_RECORDS_I_H

// Recorders for the account, balance, instrument, rate and position callbacks, and a
// session that wires them to a client talking to the simulator. Each callback finds
// its recorder through a registry keyed by the handle, since the handle's user
// parameter already belongs to the connection recorder.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "support/e2e_client.h"

namespace zul_test {

// One callback call, with a copy of what the callback was shown.
template <class R>
struct delivery {
    std::string account;             // the account text beside the record; "" if none
    bool account_terminated = true;  // a zero within the 17 bytes of a public account id
    bool account_in_record = false;  // the text is the record's own m_Account
    R record;
    bool finish = false;
    ZUL_QueryErrorId error = 0;
    unsigned long order = 0;  // place among all calls this recorder saw
};

template <class R>
R zeroed() {
    R r;
    memset(static_cast<void*>(&r), 0, sizeof(R));
    return r;
}

// A delivered record against the one the test built from the wire record, byte for
// byte: every field at once, texts with their terminators, reals bit for bit. The
// offsets that differ are named.
template <class R>
void expect_same_record(const R& expected, const R& actual) {
    const unsigned char* e = reinterpret_cast<const unsigned char*>(&expected);
    const unsigned char* a = reinterpret_cast<const unsigned char*>(&actual);
    std::string offsets, want, got;
    char hex[4];
    for (size_t i = 0; i < sizeof(R); ++i) {
        if (e[i] == a[i])
            continue;
        offsets += " " + std::to_string(i);
        snprintf(hex, sizeof(hex), " %02x", e[i]);
        want += hex;
        snprintf(hex, sizeof(hex), " %02x", a[i]);
        got += hex;
    }
    EXPECT_TRUE(offsets.empty()) << "bytes differ at offsets" << offsets << "\n  expected" << want
                                 << "\n  actual  " << got;
}

template <class R>
bool all_zero(const R& r) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(&r);
    for (size_t i = 0; i < sizeof(R); ++i)
        if (p[i] != 0)
            return false;
    return true;
}

class records_i {
public:
    template <class R>
    using list = std::vector<delivery<R>>;

    std::vector<ZUL_ChangePasswordResult> passwords;
    list<ZUL_AccountInfo> accounts;
    list<ZUL_AccountBP> bp;
    list<ZUL_AccountBPDetail> bp_detail;
    list<ZUL_AccountBP> bp_report;
    list<ZUL_AccountCashInout> cash;
    list<ZUL_SymbolField> symbols;
    list<ZUL_AccountComboRule> combo_rules;
    list<ZUL_AccountMargin> margins;
    list<ZUL_AccountFee> fees;
    list<ZUL_AccountPosition> positions;
    list<ZUL_AccountOptionPosition> option_positions;
    list<ZUL_AccountComboPosition> combo_positions;

    // Copies of a list, taken under the lock.
    template <class R>
    list<R> get(list<R> records_i::*which) {
        std::lock_guard<std::mutex> g(m_mutex);
        return this->*which;
    }
    template <class R>
    size_t count(list<R> records_i::*which) {
        std::lock_guard<std::mutex> g(m_mutex);
        return (this->*which).size();
    }
    template <class R>
    bool finished(list<R> records_i::*which) {
        std::lock_guard<std::mutex> g(m_mutex);
        const list<R>& l = this->*which;
        return !l.empty() && l.back().finish;
    }
    template <class R>
    void clear(list<R> records_i::*which) {
        std::lock_guard<std::mutex> g(m_mutex);
        (this->*which).clear();
    }
    // Calls of any callback so far.
    unsigned long calls() {
        std::lock_guard<std::mutex> g(m_mutex);
        return m_calls;
    }
    std::vector<ZUL_ChangePasswordResult> password_results() {
        std::lock_guard<std::mutex> g(m_mutex);
        return passwords;
    }

    template <class R>
    void add(list<R> records_i::*which, const char* account, const R* record, bool finish,
             ZUL_QueryErrorId error) {
        delivery<R> d;
        if (account != nullptr) {
            const size_t n = strnlen(account, sizeof(ZUL_Account));
            d.account.assign(account, n);
            d.account_terminated = n < sizeof(ZUL_Account);
        }
        d.record = *record;
        d.finish = finish;
        d.error = error;
        std::lock_guard<std::mutex> g(m_mutex);
        d.order = ++m_calls;
        (this->*which).push_back(d);
    }
    void add_password(ZUL_ChangePasswordResult r) {
        std::lock_guard<std::mutex> g(m_mutex);
        ++m_calls;
        passwords.push_back(r);
    }
    // Marks the last call of a list as showing the record's own account id.
    template <class R>
    void mark_account_in_record(list<R> records_i::*which) {
        std::lock_guard<std::mutex> g(m_mutex);
        (this->*which).back().account_in_record = true;
    }

    // The registry: callbacks of a handle find this recorder until it goes.
    static std::mutex& registry_mutex() {
        static std::mutex m;
        return m;
    }
    static std::map<void*, records_i*>& registry() {
        static std::map<void*, records_i*> r;
        return r;
    }
    static records_i* of(void* handle) {
        std::lock_guard<std::mutex> g(registry_mutex());
        auto it = registry().find(handle);
        return it == registry().end() ? nullptr : it->second;
    }
    void attach(void* handle) {
        std::lock_guard<std::mutex> g(registry_mutex());
        registry()[handle] = this;
        m_handle = handle;
    }
    ~records_i() {
        std::lock_guard<std::mutex> g(registry_mutex());
        if (m_handle != nullptr)
            registry().erase(m_handle);
    }

private:
    std::mutex m_mutex;
    unsigned long m_calls = 0;
    void* m_handle = nullptr;
};

template <class R>
using record_list = records_i::list<R>;

// Callbacks of each argument shape, one instance per list.
template <class R, record_list<R> records_i::*L>
void on_stream(void* h, R* r, bool finish, ZUL_QueryErrorId e) {
    if (records_i* rec = records_i::of(h))
        rec->add(L, nullptr, r, finish, e);
}

template <class R, record_list<R> records_i::*L>
void on_account_stream(void* h, const char* a, R* r, bool finish, ZUL_QueryErrorId e) {
    if (records_i* rec = records_i::of(h))
        rec->add(L, a, r, finish, e);
}

template <class R, record_list<R> records_i::*L>
void on_account_answer(void* h, const char* a, R* r, ZUL_QueryErrorId e) {
    if (records_i* rec = records_i::of(h)) {
        rec->add(L, a, r, false, e);
        if (a == r->m_Account)
            rec->mark_account_in_record(L);
    }
}

inline void on_bp_report(void* h, const char* a, ZUL_AccountBP* r) {
    if (records_i* rec = records_i::of(h)) {
        rec->add(&records_i::bp_report, a, r, false, 0);
        if (a == r->m_Account)
            rec->mark_account_in_record(&records_i::bp_report);
    }
}

inline void on_change_password(void* h, ZUL_ChangePasswordResult r) {
    if (records_i* rec = records_i::of(h))
        rec->add_password(r);
}

// Fills every slot this recorder serves.
inline void register_records_i(void* h) {
    using R = records_i;
    KQZUL_SetQueryChangePasswordEvent(h, on_change_password);
    KQZUL_SetQueryUserAccountEvent(h, on_stream<ZUL_AccountInfo, &R::accounts>);
    KQZUL_SetQueryAccountBPEvent(h, on_account_answer<ZUL_AccountBP, &R::bp>);
    KQZUL_SetQueryAccountBPDetailEvent(h, on_account_answer<ZUL_AccountBPDetail, &R::bp_detail>);
    KQZUL_ReportAccountBPEvent(h, on_bp_report);
    KQZUL_NotifyAccountCashInOutEvent(h, on_account_answer<ZUL_AccountCashInout, &R::cash>);
    KQZUL_SetQuerySymbolListEvent(h, on_stream<ZUL_SymbolField, &R::symbols>);
    KQZUL_SetQueryComboRuleEvent(h, on_stream<ZUL_AccountComboRule, &R::combo_rules>);
    KQZUL_SetQueryAccountTradeMarginEvent(h, on_account_stream<ZUL_AccountMargin, &R::margins>);
    KQZUL_SetQueryAccountTradeFeeEvent(h, on_account_stream<ZUL_AccountFee, &R::fees>);
    KQZUL_SetQueryAccountPositionEvent(h, on_account_stream<ZUL_AccountPosition, &R::positions>);
    KQZUL_SetQueryAccountOptionPositionEvent(
        h, on_account_stream<ZUL_AccountOptionPosition, &R::option_positions>);
    KQZUL_SetQueryComboPositionEvent(
        h, on_account_stream<ZUL_AccountComboPosition, &R::combo_positions>);
}

// A simulator, a logged-on client, and the recorders of both kinds. The session goes
// before the recorder, so no callback finds it gone.
class responses_session {
public:
    explicit responses_session(zulsim::Options options = zulsim::Options()) : m_s(options) {
        m_rec.attach(m_s.handle());
        register_records_i(m_s.handle());
        // A short event-loop wait makes the close at the end of each test quick.
        KQZUL_SetQueryMaxWaitTime(m_s.handle(), 20);
    }
    // Connects and logs on; the test asserts on the outcome.
    void logon() { m_s.connect_and_logon(); }

    void* handle() { return m_s.handle(); }
    zulsim::Simulator& sim() { return m_s.sim(); }
    sim_session& session() { return m_s; }
    records_i& rec() { return m_rec; }

    // Waits until a stream has closed, i.e. its last call carried bFinish.
    template <class R>
    bool wait_finished(record_list<R> records_i::*which) {
        return wait_until([&] { return m_rec.finished(which); });
    }
    template <class R>
    bool wait_count(record_list<R> records_i::*which, size_t n) {
        return wait_until([&] { return m_rec.count(which) >= n; });
    }
    // Waits for the finish call of a stream and then for a barrier, so that a stray
    // call after it would be seen too.
    template <class R>
    bool complete(record_list<R> records_i::*which) {
        return wait_finished(which) && barrier();
    }
    // Answers arrive in the order of the requests: once a cash answer asked for now
    // is in, everything the server sent before it has been handled.
    bool barrier() {
        const size_t before = m_rec.count(&records_i::cash);
        if (KQZUL_QueryAccountCashInOut(handle(), "ZQ7") != ZUL_RESULT_OK)
            return false;
        return wait_count(&records_i::cash, before + 1);
    }

private:
    records_i m_rec;
    sim_session m_s;
};

// The records the simulator serves for one answer, read back as their wire type.
template <class W>
std::vector<W> wire_records(zulsim::Simulator& sim, uint16_t id, const std::string& account) {
    const zulsim::DataSet data = sim.data();
    std::vector<W> out;
    const std::vector<zulsim::Bytes>* msgs = data.find(id, account);
    if (msgs == nullptr)
        return out;
    for (size_t i = 0; i < msgs->size(); ++i) {
        EXPECT_EQ(sizeof(W), (*msgs)[i].size()) << "record " << i << " of " << id;
        out.push_back(data.record<W>(id, account, i));
    }
    return out;
}

inline std::string text_of(const char* field, size_t width) {
    return std::string(field, strnlen(field, width));
}

// A whole stream as the caller must see it: one call per data record, mapped and
// compared with the record the test built, each with bFinish false and error id 0; then
// exactly one call with bFinish true, an all-zero record and error id 0. Where the
// callback takes an account text, account_of gives the text each call must show.
template <class R, class W>
void expect_stream(const record_list<R>& got, const std::vector<W>& wire, R (*expected)(const W&),
                   std::string (*account_of)(const W&) = nullptr) {
    ASSERT_FALSE(wire.empty()) << "the simulator serves no such stream";
    ASSERT_EQ(wire.size(), got.size()) << "one call per data record and one to finish";
    for (size_t i = 0; i < wire.size(); ++i) {
        SCOPED_TRACE("call " + std::to_string(i));
        const bool last = i + 1 == wire.size();
        EXPECT_EQ(last, got[i].finish);
        EXPECT_EQ(0u, got[i].error);
        if (last)
            EXPECT_TRUE(all_zero(got[i].record)) << "the closing call carries a zeroed record";
        else
            expect_same_record(expected(wire[i]), got[i].record);
        if (account_of != nullptr) {
            EXPECT_EQ(account_of(wire[i]), got[i].account);
            EXPECT_TRUE(got[i].account_terminated);
        }
    }
}

inline zulsim::Options with_generation(bool hv27, uint32_t user_id = 4242) {
    zulsim::Options o;
    o.hv27 = hv27;
    o.user_id = user_id;
    return o;
}

inline std::string generation_name(const ::testing::TestParamInfo<bool>& info) {
    return info.param ? "hv27" : "other";
}

}  // namespace zul_test

#endif
