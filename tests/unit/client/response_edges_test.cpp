// The translators fed from byte runs with no socket: the conversions the simulator's data
// can't pin down, and every refusal sub id in both generations with its log lines.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "support/call_book.h"
#include "support/scratch_dir.h"
#include "transport/socket_param.h"

using namespace zul_test;

namespace {

template <class W>
std::string bytes_of(const W& w) {
    return std::string(reinterpret_cast<const char*>(&w), sizeof(W));
}

hv27_query_err_resp refusal(Int2 sub, Int4 error = 6) {
    hv27_query_err_resp e;
    e.m_sub_msg_id = sub;
    e.m_error_id = error;
    return e;
}

class Translators : public ::testing::Test {
protected:
    Translators() : m_client(nullptr), m_book(&m_client) {}

    // Offers bytes as the transport would; all must be consumed. Returns the calls made.
    std::vector<call> feed(const std::string& bytes) {
        m_book.clear();
        const char* p = bytes.data();
        socket_param out(EVENT_RECEIVE, 0, &p, static_cast<unsigned int>(bytes.size()), 0);
        m_client.on_query_callback(out);
        EXPECT_EQ(bytes.size(), out.get_proc_len());
        return m_book.calls();
    }
    // The generation comes with a logon answer, as from a server.
    void set_generation(bool hv27) {
        query_logon_msg_resp logon;
        logon.m_reserved[0] = static_cast<char>(hv27 ? HV27_VERSION_FLAG : 0);
        feed(bytes_of(logon));
        ASSERT_EQ(hv27, m_client.IsHv27Version());
    }
    std::string text_log() {
        return read_file(std::string("mavlog_") + precise_time::m_startDate + ".log");
    }

    scratch_dir m_dir;  // first: the logs open in it
    CQueryClient m_client;
    call_book m_book;
};

}  // namespace

TEST_F(Translators, ExpiryDateIsReadWithinItsNineBytesAndFeeDirectionsOtherThanOneGiveFive) {
    // The digit '7' follows the date: a read past the field would give ten digits.
    const std::pair<const char*, unsigned> dates[] = {
        {"123456789", 123456789}, {"20250615", 20250615}, {"NODIGITS", 0}};
    for (const auto& d : dates) {
        query_account_opt_position_resp m;
        memcpy(m.expire_date, d.first, strlen(d.first));
        m.pos_dir = '7';
        const std::vector<call> got = feed(bytes_of(m));
        ASSERT_EQ(1u, got.size());
        EXPECT_EQ(d.second, +got[0].as<ZUL_AccountOptionPosition>().m_ExpireDate) << d.first;
        EXPECT_EQ('7', +got[0].as<ZUL_AccountOptionPosition>().m_PosiDirection);
    }
    for (Int1 dir : {0, 1, 2, 255}) {
        query_account_fee_resp m;
        m.m_pos_dir = dir;
        const std::vector<call> got = feed(bytes_of(m));
        ASSERT_EQ(1u, got.size());
        EXPECT_EQ(dir == 1 ? 1 : 5, +got[0].as<ZUL_AccountFee>().m_PositionDir) << int(dir);
    }
}

TEST_F(Translators, EveryRefusalSubIdReachesItsOwnSlotOrOnlyTheLog) {
    std::vector<int> subs;
    for (int sub = 0; sub < 1200; ++sub)
        subs.push_back(sub);
    subs.push_back(65535);
    for (bool hv27 : {false, true}) {
        set_generation(hv27);
        // clang-format off
        const std::map<int, slot_id> rows = {
            {71, slot_of(KQZUL_SetQueryUserAccountEvent)}, {72, slot_of(KQZUL_SetQuerySymbolListEvent)},
            {73, slot_of(KQZUL_SetQueryAccountPositionEvent)}, {74, slot_of(KQZUL_SetQueryTradeOrderEvent)},
            {75, hv27 ? slot_of(KQZUL_SetQueryTradeOrderExecEventEx) : slot_of(KQZUL_SetQueryTradeOrderExecEvent)},
            {76, slot_of(KQZUL_SetQueryComboRuleEvent)}, {77, slot_of(KQZUL_SetQueryAccountTradeMarginEvent)},
            {78, slot_of(KQZUL_SetQueryAccountTradeFeeEvent)}, {79, slot_of(KQZUL_SetQueryComboPositionEvent)},
            {81, slot_of(KQZUL_SetQueryAccountBPEvent)}, {82, slot_of(KQZUL_SetQueryAccountRiskDataEvent)},
            {83, slot_of(KQZUL_SetQueryAccountSymbolRiskDataEvent)}, {85, slot_of(KQZUL_NotifyAccountCashInOutEvent)},
            {88, slot_of(KQZUL_SetQueryAccountBPDetailEvent)}, {95, slot_of(KQZUL_SetQueryTradeQuoteEvent)},
            {98, slot_of(KQZUL_SetQueryTradeArbiOrderEvent)}};
        // clang-format on
        for (int sub : subs) {
            const Int4 error = sub % 2 != 0 ? static_cast<Int4>(sub) : 0;  // 0 passes unchanged
            const std::vector<call> got = feed(bytes_of(refusal(static_cast<Int2>(sub), error)));
            auto row = rows.find(sub);
            if (row == rows.end()) {
                EXPECT_TRUE(got.empty()) << sub;
                continue;
            }
            ASSERT_EQ(1u, got.size()) << sub;
            EXPECT_EQ(row->second, got[0].slot) << sub;
            EXPECT_EQ(error, got[0].error) << sub;
        }
    }
    const std::string log = text_log();
    for (int sub : {0, 69, 80, 84, 99, 1063, 65535})
        EXPECT_NE(std::string::npos,
                  log.find(" error receive unknown sub msg type: " + std::to_string(sub) + "\n"))
            << sub;
    for (int sub : {71, 75, 88})
        EXPECT_EQ(std::string::npos,
                  log.find("unknown sub msg type: " + std::to_string(sub) + "\n"));
}

TEST_F(Translators, RefusalsAreTracedOnlyWithTheSwitchOn) {
    const std::string bytes = bytes_of(refusal(74)) + bytes_of(refusal(88)) + bytes_of(refusal(84));
    feed(bytes);
    std::string log = text_log();
    EXPECT_EQ(std::string::npos, log.find("proc sub msg"));
    EXPECT_EQ(std::string::npos, log.find("process query error"));
    EXPECT_NE(std::string::npos, log.find(" error receive unknown sub msg type: 84\n"));

    m_client.SetLoggerSwitch(true);
    feed(bytes);
    log = text_log();
    const size_t order = log.find(" 00000 proc sub msg account order query \n");
    ASSERT_NE(std::string::npos, order);
    const size_t detail = log.find(" 00000 proc sub msg query account bp detail \n", order);
    ASSERT_NE(std::string::npos, detail);
    EXPECT_NE(std::string::npos,
              log.find(" info process query error sub message type:[74]\n", order));
    const size_t unknown = log.find(" error receive unknown sub msg type: 84\n", detail);
    ASSERT_NE(std::string::npos, unknown);
    EXPECT_NE(std::string::npos,
              log.find(" info process query error sub message type:[84]\n", unknown));
}
