// Edge cases of the account, instrument and position translators, fed as byte runs
// through the message loop with no socket: the expiry date read within its 9 bytes,
// closing flags other than 1, the fee direction, empty slots, the sizes the
// dispatcher consumes and the trace names of each message.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "protocol/msg_define.h"
#include "support/records_i.h"
#include "support/scratch_dir.h"
#include "transport/socket_param.h"

using namespace zul_test;

namespace {

template <class W>
std::string bytes_of(const W& w) {
    return std::string(reinterpret_cast<const char*>(&w), sizeof(W));
}

template <size_t N>
void fill_text(char (&field)[N], const std::string& text) {
    memcpy(field, text.data(), std::min(N, text.size()));
}

const std::string FULL_ACCOUNT = "ACCT-FULL-WIDE16";
const std::string SYMBOL_20 = "SYM-TWENTY-CHARS-XYZ";

class Translators : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(20u, SYMBOL_20.size());
        m_client.reset(new CQueryClient(nullptr));
        m_rec.attach(m_client.get());
        register_records_i(m_client.get());
    }
    void TearDown() override { m_client.reset(); }

    // Offers bytes as the transport would and returns what the loop consumed.
    unsigned int feed(const std::string& bytes) {
        const char* p = bytes.data();
        socket_param out(EVENT_RECEIVE, 0, &p, static_cast<unsigned int>(bytes.size()), 0);
        m_client->on_query_callback(out);
        return out.get_proc_len();
    }
    std::string text_log() {
        return read_file(std::string("mavlog_") + precise_time::m_startDate + ".log");
    }

    scratch_dir m_dir;
    records_i m_rec;
    std::unique_ptr<CQueryClient> m_client;
};

query_account_opt_position_resp option_position(const std::string& expire_date, Int1 pos_dir) {
    query_account_opt_position_resp m;
    fill_text(m.account_id, FULL_ACCOUNT);
    fill_text(m.full_symbol, SYMBOL_20);
    fill_text(m.underlying_symbol, SYMBOL_20);
    fill_text(m.expire_date, expire_date);
    m.pos_dir = pos_dir;
    m.exchange_id = 0x31313131;  // digits again, just before the symbols
    return m;
}

}  // namespace

TEST_F(Translators, ExpiryDateIsReadWithinItsNineBytes) {
    // The direction that follows the date is the digit '7': a read past the field
    // would give a ten-digit number.
    feed(bytes_of(option_position("123456789", '7')));
    feed(bytes_of(option_position("20250615", 2)));
    feed(bytes_of(option_position(" 42x", 1)));
    feed(bytes_of(option_position("NODIGITS", 1)));
    auto got = m_rec.get(&records_i::option_positions);
    ASSERT_EQ(4u, got.size());
    EXPECT_EQ(123456789u, +got[0].record.m_ExpireDate);
    EXPECT_EQ('7', +got[0].record.m_PosiDirection);
    EXPECT_EQ(20250615u, +got[1].record.m_ExpireDate);
    EXPECT_EQ(2, +got[1].record.m_PosiDirection) << "positions keep the server's direction";
    EXPECT_EQ(42u, +got[2].record.m_ExpireDate) << "read as atoi reads it";
    EXPECT_EQ(0u, +got[3].record.m_ExpireDate);
    // Limited texts: the full account whole and terminated, symbols cut to 19.
    EXPECT_EQ(FULL_ACCOUNT, got[0].record.m_ActId);
    EXPECT_EQ(SYMBOL_20.substr(0, 19), got[0].record.m_Symbol);
    EXPECT_EQ(SYMBOL_20.substr(0, 19), got[0].record.m_UnderlyingSymbol);
    EXPECT_EQ(FULL_ACCOUNT, got[0].account);
}

TEST_F(Translators, FeeDirectionOneIsKeptAndEveryOtherGivesFive) {
    std::string bytes;
    for (Int1 dir : {0, 1, 2, 255}) {
        query_account_fee_resp fee;
        fee.m_pos_dir = dir;
        bytes += bytes_of(fee);
    }
    EXPECT_EQ(bytes.size(), feed(bytes));
    auto fees = m_rec.get(&records_i::fees);
    ASSERT_EQ(4u, fees.size());
    EXPECT_EQ(5, +fees[0].record.m_PositionDir);
    EXPECT_EQ(1, +fees[1].record.m_PositionDir);
    EXPECT_EQ(5, +fees[2].record.m_PositionDir);
    EXPECT_EQ(5, +fees[3].record.m_PositionDir);
}

// A closing record full of stale bytes, with flag 2: one call, bFinish true, a zero
// record, and, where the callback takes one, the closing record's account text.
template <class W>
W closing_with_flag_two() {
    W w;
    unsigned char* p = reinterpret_cast<unsigned char*>(&w);
    memset(p + 8, 0x37, sizeof(W) - 8);
    return w;
}

TEST_F(Translators, AnyNonZeroLastRecordFlagCloses) {
    auto account = closing_with_flag_two<query_user_account_resp>();
    auto symbol = closing_with_flag_two<query_symbol_resp>();
    auto rule = closing_with_flag_two<query_combo_rule_resp>();
    auto margin = closing_with_flag_two<query_account_margin_resp>();
    auto fee = closing_with_flag_two<query_account_fee_resp>();
    auto fut = closing_with_flag_two<query_account_fut_position_resp>();
    auto opt = closing_with_flag_two<query_account_opt_position_resp>();
    auto combo = closing_with_flag_two<query_combo_position_resp>();
    account.m_last_record_flag = symbol.m_last_record_flag = rule.m_last_record_flag = 2;
    margin.m_last_record_flag = fee.m_last_record_flag = fut.m_last_record_flag = 2;
    opt.last_record_flag = combo.m_last_record_flag = 2;
    const std::string bytes = bytes_of(account) + bytes_of(symbol) + bytes_of(rule) +
                              bytes_of(margin) + bytes_of(fee) + bytes_of(fut) + bytes_of(opt) +
                              bytes_of(combo);
    EXPECT_EQ(bytes.size(), feed(bytes));

    const std::string stale_account(16, '7');
    auto check = [&](auto list, bool has_account) {
        ASSERT_EQ(1u, list.size());
        EXPECT_TRUE(list[0].finish);
        EXPECT_EQ(0u, list[0].error);
        EXPECT_TRUE(all_zero(list[0].record));
        EXPECT_EQ(has_account ? stale_account : std::string(), list[0].account);
        EXPECT_TRUE(list[0].account_terminated);
    };
    check(m_rec.get(&records_i::accounts), false);
    check(m_rec.get(&records_i::symbols), false);
    check(m_rec.get(&records_i::combo_rules), false);
    check(m_rec.get(&records_i::margins), true);
    check(m_rec.get(&records_i::fees), true);
    check(m_rec.get(&records_i::positions), true);
    check(m_rec.get(&records_i::option_positions), true);
    check(m_rec.get(&records_i::combo_positions), true);
}

// Every message of these families, one after the other in one buffer: each is
// consumed at its own size and reaches its own slot once, and with the switch on
// each leaves its own trace line.
TEST_F(Translators, EachMessageIsConsumedAtItsSizeAndTracedByName) {
    m_client->SetLoggerSwitch(true);
    report_account_bp report;
    fill_text(report.m_account_id, FULL_ACCOUNT);
    change_password_resp password;
    password.m_result_code = 31;
    const std::string bytes =
        bytes_of(password) + bytes_of(query_user_account_resp()) +
        bytes_of(query_account_bp_resp()) + bytes_of(query_account_bp_detail_resp()) +
        bytes_of(report) + bytes_of(account_cash_inout_notify()) + bytes_of(query_symbol_resp()) +
        bytes_of(query_combo_rule_resp()) + bytes_of(query_account_margin_resp()) +
        bytes_of(query_account_fee_resp()) + bytes_of(query_account_fut_position_resp()) +
        bytes_of(query_account_opt_position_resp()) + bytes_of(query_combo_position_resp());
    EXPECT_EQ(16u + 88 + 108 + 200 + 108 + 64 + 139 + 192 + 96 + 128 + 152 + 167 + 188,
              bytes.size());
    EXPECT_EQ(bytes.size(), feed(bytes));

    ASSERT_EQ(1u, m_rec.password_results().size());
    EXPECT_EQ(31, m_rec.password_results()[0]);
    EXPECT_EQ(1u, m_rec.count(&records_i::accounts));
    EXPECT_EQ(1u, m_rec.count(&records_i::bp));
    EXPECT_EQ(1u, m_rec.count(&records_i::bp_detail));
    ASSERT_EQ(1u, m_rec.count(&records_i::bp_report));
    EXPECT_EQ(FULL_ACCOUNT, m_rec.get(&records_i::bp_report)[0].account);
    EXPECT_EQ(1u, m_rec.count(&records_i::cash));
    EXPECT_EQ(1u, m_rec.count(&records_i::symbols));
    EXPECT_EQ(1u, m_rec.count(&records_i::combo_rules));
    EXPECT_EQ(1u, m_rec.count(&records_i::margins));
    EXPECT_EQ(1u, m_rec.count(&records_i::fees));
    EXPECT_EQ(1u, m_rec.count(&records_i::positions));
    EXPECT_EQ(1u, m_rec.count(&records_i::option_positions));
    EXPECT_EQ(1u, m_rec.count(&records_i::combo_positions));

    const std::string log = text_log();
    for (const char* name :
         {"change_password_resp", "query_user_account_resp", "query_account_bp_resp",
          "query_account_bp_detail_resp", "report_account_bp", "account_cash_inout_notify",
          "query_symbol_resp", "query_combo_rule_resp", "query_account_margin_resp",
          "query_account_fee_resp", "query_account_fut_position_resp",
          "query_account_opt_position_resp", "query_combo_position_resp"}) {
        EXPECT_NE(std::string::npos, log.find(std::string(" 00000 proc ") + name + " \n")) << name;
    }
}

TEST_F(Translators, EmptySlotsDropEveryMessageAndTheStreamGoesOn) {
    KQZUL_SetQueryUserAccountEvent(m_client.get(), nullptr);
    KQZUL_SetQueryChangePasswordEvent(m_client.get(), nullptr);
    KQZUL_SetQueryAccountBPEvent(m_client.get(), nullptr);
    KQZUL_SetQueryAccountBPDetailEvent(m_client.get(), nullptr);
    KQZUL_ReportAccountBPEvent(m_client.get(), nullptr);
    KQZUL_NotifyAccountCashInOutEvent(m_client.get(), nullptr);
    KQZUL_SetQuerySymbolListEvent(m_client.get(), nullptr);
    KQZUL_SetQueryComboRuleEvent(m_client.get(), nullptr);
    KQZUL_SetQueryAccountTradeMarginEvent(m_client.get(), nullptr);
    KQZUL_SetQueryAccountTradeFeeEvent(m_client.get(), nullptr);
    KQZUL_SetQueryAccountPositionEvent(m_client.get(), nullptr);
    KQZUL_SetQueryAccountOptionPositionEvent(m_client.get(), nullptr);
    KQZUL_SetQueryComboPositionEvent(m_client.get(), nullptr);
    const std::string bytes =
        bytes_of(change_password_resp()) + bytes_of(query_user_account_resp()) +
        bytes_of(query_account_bp_resp()) + bytes_of(query_account_bp_detail_resp()) +
        bytes_of(report_account_bp()) + bytes_of(account_cash_inout_notify()) +
        bytes_of(query_symbol_resp()) + bytes_of(query_combo_rule_resp()) +
        bytes_of(query_account_margin_resp()) + bytes_of(query_account_fee_resp()) +
        bytes_of(query_account_fut_position_resp()) + bytes_of(query_account_opt_position_resp()) +
        bytes_of(query_combo_position_resp());
    EXPECT_EQ(bytes.size(), feed(bytes));
    EXPECT_EQ(0u, m_rec.calls());

    // Filled again, the next message arrives.
    KQZUL_SetQueryAccountOptionPositionEvent(
        m_client.get(), on_account_stream<ZUL_AccountOptionPosition, &records_i::option_positions>);
    feed(bytes_of(option_position("20300101", 1)));
    ASSERT_EQ(1u, m_rec.count(&records_i::option_positions));
    EXPECT_EQ(20300101u, +m_rec.get(&records_i::option_positions)[0].record.m_ExpireDate);
}
