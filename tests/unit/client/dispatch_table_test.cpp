// Every id from 1050 to 1110, and ids far outside, in both server generations: what a
// message of that id takes from the stream, which callback it reaches, and the trace
// text it leaves. The expected values are written out here, apart from the table of the
// dispatcher, so that a row at the wrong index or of the wrong generation shows.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "support/call_book.h"
#include "support/scratch_dir.h"
#include "transport/socket_param.h"

using namespace zul_test;

namespace {

struct expected_row {
    int id;
    size_t other_size;  // 0: unknown to that generation
    size_t hv27_size;
    const char* other_trace;
    const char* hv27_trace;
    slot_id slot;  // the callback it reaches; null for the logon answer (counted apart)
    slot_id hv27_slot = nullptr;  // where hv27 sends it elsewhere
};

const slot_id LOGON = nullptr;
const unsigned short REFUSED_REQUEST = 72;  // a refusal of the symbol list goes to its slot

std::vector<expected_row> expected_rows() {
    return {
        {1063, 112, 112, "proc rewind_order_execution_response_ex",
         "proc rewind_order_execution_response_ex", slot_of(KQZUL_SetQueryTradeOrderExecEventEx)},
        {1064, 24, 24, "proc query_err_resp", "proc query_err_resp",
         slot_of(KQZUL_SetQuerySymbolListEvent)},
        {1068, 56, 56, "proc query_logon_msg_resp", "proc query_logon_msg_resp", LOGON},
        {1069, 16, 16, "proc change_password_resp", "proc change_password_resp",
         slot_of(KQZUL_SetQueryChangePasswordEvent)},
        {1071, 88, 88, "proc query_user_account_resp", "proc query_user_account_resp",
         slot_of(KQZUL_SetQueryUserAccountEvent)},
        {1072, 139, 139, "proc query_symbol_resp", "proc query_symbol_resp",
         slot_of(KQZUL_SetQuerySymbolListEvent)},
        {1073, 152, 152, "proc query_account_fut_position_resp",
         "proc query_account_fut_position_resp", slot_of(KQZUL_SetQueryAccountPositionEvent)},
        {1074, 144, 144, "proc rewind_accoutn_order_response", "proc rewind_accoutn_order_response",
         slot_of(KQZUL_SetQueryTradeOrderEvent)},
        {1075, 88, 112, "proc rewind_order_execution_response",
         "proc hv27_rewind_order_execution_response", slot_of(KQZUL_SetQueryTradeOrderExecEvent),
         slot_of(KQZUL_SetQueryTradeOrderExecEventEx)},
        {1076, 192, 192, "proc query_combo_rule_resp", "proc query_combo_rule_resp",
         slot_of(KQZUL_SetQueryComboRuleEvent)},
        {1077, 96, 96, "proc query_account_margin_resp", "proc query_account_margin_resp",
         slot_of(KQZUL_SetQueryAccountTradeMarginEvent)},
        {1078, 128, 128, "proc query_account_fee_resp", "proc query_account_fee_resp",
         slot_of(KQZUL_SetQueryAccountTradeFeeEvent)},
        {1079, 188, 188, "proc query_combo_position_resp", "proc query_combo_position_resp",
         slot_of(KQZUL_SetQueryComboPositionEvent)},
        {1081, 108, 108, "proc query_account_bp_resp", "proc query_account_bp_resp",
         slot_of(KQZUL_SetQueryAccountBPEvent)},
        {1082, 1006, 84, "proc account_risk_real_data_resp", "proc account_risk_real_data_resp",
         slot_of(KQZUL_SetQueryAccountRiskDataEvent)},
        {1083, 448, 448, "proc account_symbol_real_data_resp", "proc account_symbol_real_data_resp",
         slot_of(KQZUL_SetQueryAccountSymbolRiskDataEvent)},
        {1088, 200, 200, "proc query_account_bp_detail_resp", "proc query_account_bp_detail_resp",
         slot_of(KQZUL_SetQueryAccountBPDetailEvent)},
        {1092, 167, 167, "proc query_account_opt_position_resp",
         "proc query_account_opt_position_resp", slot_of(KQZUL_SetQueryAccountOptionPositionEvent)},
        {1093, 108, 108, "proc report_account_bp", "proc report_account_bp",
         slot_of(KQZUL_ReportAccountBPEvent)},
        {1095, 248, 248, "proc rewind_account_quote_response", "proc rewind_account_quote_response",
         slot_of(KQZUL_SetQueryTradeQuoteEvent)},
        {1098, 144, 144, "proc rewind_account_arbi_order_response",
         "proc rewind_account_arbi_order_response", slot_of(KQZUL_SetQueryTradeArbiOrderEvent)},
        {1099, 64, 64, "proc account_cash_inout_notify", "proc account_cash_inout_notify",
         slot_of(KQZUL_NotifyAccountCashInOutEvent)},
    };
}

// A message of this id and size: the id in front, then zeros, except where a refusal
// names the request it refuses and a logon answer keeps the generation.
std::string message(int id, size_t size, bool hv27 = false) {
    std::string m(size, '\0');
    const Int2 wire_id = static_cast<Int2>(id);
    memcpy(&m[0], &wire_id, sizeof(wire_id));
    if (id == QUERY_ERR_RESP_MSG_ID) {
        hv27_query_err_resp refusal;
        refusal.m_sub_msg_id = REFUSED_REQUEST;
        m.assign(reinterpret_cast<const char*>(&refusal), sizeof(refusal));
    }
    if (id == QUERY_LOGON_MSG_RESP_MSG_ID && hv27)
        m[51] = static_cast<char>(HV27_VERSION_FLAG);
    return m;
}

int g_logon_answers = 0;

class DispatchTable : public ::testing::TestWithParam<bool> {
protected:
    DispatchTable() : m_client(nullptr), m_book(&m_client) {
        g_logon_answers = 0;
        m_client.m_ptr_fun_logon_event = [](void*, ZUL_QueryLogonResponse*) { ++g_logon_answers; };
        query_logon_msg_resp logon;
        logon.m_reserved[0] = static_cast<char>(hv27() ? HV27_VERSION_FLAG : 0);
        feed(std::string(reinterpret_cast<const char*>(&logon), sizeof(logon)));
        g_logon_answers = 0;
    }
    bool hv27() const { return GetParam(); }
    unsigned int feed(const std::string& bytes) {
        m_book.clear();
        const char* p = bytes.data();
        socket_param out(EVENT_RECEIVE, 0, &p, static_cast<unsigned int>(bytes.size()), 0);
        m_client.on_query_callback(out);
        return out.get_proc_len();
    }
    std::string text_log() {
        return read_file(std::string("mavlog_") + precise_time::m_startDate + ".log");
    }

    scratch_dir m_dir;  // first: the logs open in it
    CQueryClient m_client;
    call_book m_book;
};

TEST_P(DispatchTable, EveryKnownIdTakesItsSizeReachesItsSlotAndLeavesItsTrace) {
    ASSERT_EQ(hv27(), m_client.IsHv27Version());
    m_client.SetLoggerSwitch(true);
    for (const expected_row& row : expected_rows()) {
        SCOPED_TRACE("id " + std::to_string(row.id));
        const size_t size = hv27() ? row.hv27_size : row.other_size;
        const std::string whole = message(row.id, size, hv27());
        // One byte short: nothing is taken and nothing is called.
        EXPECT_EQ(0u, feed(whole.substr(0, size - 1)));
        EXPECT_TRUE(m_book.calls().empty());
        // Whole, with the first byte of the next message behind it: exactly the size.
        EXPECT_EQ(size, feed(whole + '\x2b'));
        if (row.slot == LOGON) {
            EXPECT_EQ(1, g_logon_answers);
            EXPECT_TRUE(m_book.calls().empty());
        } else {
            const std::vector<call> calls = m_book.calls();
            ASSERT_EQ(1u, calls.size());
            EXPECT_EQ(hv27() && row.hv27_slot != nullptr ? row.hv27_slot : row.slot, calls[0].slot);
        }
        const std::string trace =
            std::string(" 00000 ") + (hv27() ? row.hv27_trace : row.other_trace) + " \n";
        EXPECT_NE(std::string::npos, text_log().find(trace)) << trace;
        g_logon_answers = 0;
    }
    // The logon answers of the loop kept the generation.
    EXPECT_EQ(hv27(), m_client.IsHv27Version());
}

TEST_P(DispatchTable, EveryOtherIdIsUnknownAndTakesAllThatIsAtHand) {
    std::vector<int> known;
    for (const expected_row& row : expected_rows())
        known.push_back(row.id);
    std::vector<int> ids = {0, 1, 68, 1000, 1062, 1100, 1200, 0x7fff, -1, -0x8000};
    for (int id = 1050; id <= 1110; ++id) {
        if (std::find(known.begin(), known.end(), id) == known.end())
            ids.push_back(id);
    }
    for (int id : ids) {
        SCOPED_TRACE("id " + std::to_string(id));
        const std::string bytes = message(id, 1100);
        EXPECT_EQ(1100u, feed(bytes));
        EXPECT_TRUE(m_book.calls().empty());
        const std::string line =
            "receive unknown msg type: " + std::to_string(static_cast<unsigned int>(id)) +
            ", len is 1100\n";
        EXPECT_NE(std::string::npos, text_log().find(line)) << line;
    }
    EXPECT_EQ(0, g_logon_answers);
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, DispatchTable, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "hv27" : "other";
                         });

}  // namespace
