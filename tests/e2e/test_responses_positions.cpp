// Futures, option and combination positions end to end: every delivered field
// against the wire record the simulator sent, mapped here by the test's own reading
// of each field.

#include <gtest/gtest.h>

#include "protocol/msg_define.h"
#include "support/records_i.h"

using namespace zul_test;

namespace {

const char FULL_ACCOUNT[] = "ACCT-FULL-WIDE16";

ZUL_AccountPosition expected_fut(const query_account_fut_position_resp& w) {
    ZUL_AccountPosition e = zeroed<ZUL_AccountPosition>();
    memcpy(e.m_ActId, w.m_account_id, 16);
    memcpy(e.m_Symbol, w.m_symbol, 19);
    e.m_PosiDirection = w.m_posi_direction;
    e.m_InitOvnQty = w.m_init_ovn_qty;
    e.m_OvnQty = w.m_ovn_qty;
    e.m_FrozenOvnQty = w.m_frozen_ovn_qty;
    e.m_TodayQty = w.m_today_qty;
    e.m_FrozenTodayQty = w.m_frozen_today_qty;
    e.m_OvnMargin = w.m_ovn_occupied_margin;
    e.m_TodayMargin = w.m_today_occupied_margin;
    e.m_PositionCost = w.m_pos_cost;
    e.m_HedgeFlag = w.m_hedge_flag;
    return e;
}

// The expiry date is the run of digits at the head of its 9 bytes, in decimal.
unsigned int date_number(const char (&text)[9]) {
    unsigned int n = 0;
    for (size_t i = 0; i < sizeof(text) && text[i] >= '0' && text[i] <= '9'; ++i)
        n = n * 10 + static_cast<unsigned int>(text[i] - '0');
    return n;
}

ZUL_AccountOptionPosition expected_opt(const query_account_opt_position_resp& w) {
    ZUL_AccountOptionPosition e = zeroed<ZUL_AccountOptionPosition>();
    memcpy(e.m_ActId, w.account_id, strnlen(w.account_id, 16));
    memcpy(e.m_Symbol, w.full_symbol, strnlen(w.full_symbol, 19));
    e.m_PosiDirection = w.pos_dir;
    memcpy(e.m_UnderlyingSymbol, w.underlying_symbol, strnlen(w.underlying_symbol, 19));
    e.m_CallPut = w.call_put;
    e.m_StrikePrice = w.strike_price;
    e.m_ExpireDate = date_number(w.expire_date);
    e.m_InitOvnQty = w.init_ovn_qty;
    e.m_CurOvnQty = w.cur_ovn_qty;
    e.m_CurTodayQty = w.cur_today_qty;
    e.m_CoverOvnLockedQty = w.cover_ovn_locked_qty;
    e.m_CoverTodayLockedQty = w.cover_today_locked_qty;
    e.m_ExecPendingQty = w.exec_pending_qty;
    e.m_ExecAppliedQty = w.exec_applied_qty;
    e.m_CxlExecPendingQty = w.cxl_exec_pending_qty;
    e.m_LiquidPl = w.liquid_pl;
    e.m_AvgPrice = w.avg_price;
    e.m_TotalCommissionFee = w.total_commission_fee;
    e.m_HedgeFlag = w.hedge_flag;
    return e;
}

ZUL_AccountComboPosition expected_combo(const query_combo_position_resp& w) {
    ZUL_AccountComboPosition e = zeroed<ZUL_AccountComboPosition>();
    memcpy(e.m_Account, w.m_account_id, 16);
    e.m_ComboType = w.m_combo_type;
    memcpy(e.m_ComboSymbol, w.m_combo_symbol, 79);
    memcpy(e.m_FirstSymbol, w.m_first_symbol, 19);
    e.m_FirstDirection = w.m_first_direction;
    memcpy(e.m_SecondSymbol, w.m_second_symbol, 19);
    e.m_SecondDirection = w.m_second_direction;
    e.m_Qty = w.m_qty;
    e.m_InitQty = w.m_init_qty;
    e.m_ComboMargin = w.m_combo_margin;
    e.m_ReturnMargin = w.m_return_margin;
    e.m_HedgeFlag = w.m_hedge_flag;
    return e;
}

template <class W>
std::string account_of(const W& w) {
    return text_of(w.m_account_id, 16);
}

std::string opt_account_of(const query_account_opt_position_resp& w) {
    return text_of(w.account_id, 16);
}

class Positions : public ::testing::TestWithParam<bool> {
protected:
    Positions() : s(with_generation(GetParam())) {}
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(s.logon()); }
    bool hv27() const { return GetParam(); }

    responses_session s;
};

}  // namespace

TEST_P(Positions, FuturesPositionsOfEachAccount) {
    for (const char* account : {FULL_ACCOUNT, "ZQ7"}) {
        SCOPED_TRACE(account);
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(s.handle(), account, SEC_TYPE_FUTURE));
        ASSERT_TRUE(s.complete(&records_i::positions));
        auto wire = wire_records<query_account_fut_position_resp>(
            s.sim(), QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID, account);
        ASSERT_EQ(4u, wire.size());
        expect_stream(s.rec().get(&records_i::positions), wire, expected_fut,
                      account_of<query_account_fut_position_resp>);
        auto got = s.rec().get(&records_i::positions);
        EXPECT_EQ(account, got.back().account);
        EXPECT_EQ(std::string(account), got[0].record.m_ActId);
        ASSERT_EQ(20u, strnlen(wire[0].m_symbol, 20));
        EXPECT_EQ(19u, strlen(got[0].record.m_Symbol));
        s.rec().clear(&records_i::positions);
    }
    EXPECT_EQ(0u, s.rec().count(&records_i::option_positions));
    // The second account's stream closes with flag 2.
    auto zq7 = wire_records<query_account_fut_position_resp>(
        s.sim(), QUERY_ACCOUNT_FUT_POSITION_RESP_MSG_ID, "ZQ7");
    EXPECT_EQ(2, zq7.back().m_last_record_flag);
}

TEST_P(Positions, OptionPositionsReadTheExpiryDateWithinItsField) {
    for (const char* account : {FULL_ACCOUNT, "ZQ7"}) {
        SCOPED_TRACE(account);
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(s.handle(), account, SEC_TYPE_OPTION));
        ASSERT_TRUE(s.complete(&records_i::option_positions));
        auto wire = wire_records<query_account_opt_position_resp>(
            s.sim(), QUERY_ACCOUNT_OPT_POSITION_RESP_MSG_ID, account);
        ASSERT_EQ(4u, wire.size());
        expect_stream(s.rec().get(&records_i::option_positions), wire, expected_opt,
                      opt_account_of);
        auto got = s.rec().get(&records_i::option_positions);
        // Nine digits fill the field of the first record, eight the second's.
        ASSERT_EQ(9u, strnlen(wire[0].expire_date, 9));
        ASSERT_EQ(8u, strnlen(wire[1].expire_date, 9));
        EXPECT_EQ(std::stoul(std::string(wire[0].expire_date, 9)), +got[0].record.m_ExpireDate);
        EXPECT_EQ(std::stoul(std::string(wire[1].expire_date, 8)), +got[1].record.m_ExpireDate);
        EXPECT_EQ(std::string(account), got[0].record.m_ActId);
        ASSERT_EQ(20u, strnlen(wire[0].full_symbol, 20));
        EXPECT_EQ(19u, strlen(got[0].record.m_Symbol));
        s.rec().clear(&records_i::option_positions);
    }
    EXPECT_EQ(0u, s.rec().count(&records_i::positions)) << "options have their own slot";
}

TEST_P(Positions, CombinationPositionsOnTheOtherGenerationOnly) {
    if (hv27()) {
        EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, KQZUL_QueryComboPosition(s.handle(), "ZQ7"));
        return;
    }
    for (const char* account : {FULL_ACCOUNT, "ZQ7"}) {
        SCOPED_TRACE(account);
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryComboPosition(s.handle(), account));
        ASSERT_TRUE(s.complete(&records_i::combo_positions));
        auto wire = wire_records<query_combo_position_resp>(
            s.sim(), QUERY_COMBO_POSITION_RESP_MSG_ID, account);
        ASSERT_EQ(4u, wire.size());
        expect_stream(s.rec().get(&records_i::combo_positions), wire, expected_combo,
                      account_of<query_combo_position_resp>);
        auto got = s.rec().get(&records_i::combo_positions);
        ASSERT_EQ(80u, strnlen(wire[0].m_combo_symbol, 80));
        EXPECT_EQ(79u, strlen(got[0].record.m_ComboSymbol));
        s.rec().clear(&records_i::combo_positions);
    }
}

TEST_P(Positions, AccountWithoutPositionsGetsOneFinishCallNamingIt) {
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(s.handle(), "EMPTY-01", SEC_TYPE_FUTURE));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(s.handle(), "EMPTY-01", SEC_TYPE_OPTION));
    ASSERT_TRUE(s.complete(&records_i::positions));
    ASSERT_TRUE(s.complete(&records_i::option_positions));
    auto fut = s.rec().get(&records_i::positions);
    auto opt = s.rec().get(&records_i::option_positions);
    ASSERT_EQ(1u, fut.size());
    ASSERT_EQ(1u, opt.size());
    for (const auto& d : {fut[0].account, opt[0].account})
        EXPECT_EQ("EMPTY-01", d);
    EXPECT_TRUE(fut[0].finish && opt[0].finish);
    EXPECT_TRUE(all_zero(fut[0].record));
    EXPECT_TRUE(all_zero(opt[0].record));
    EXPECT_EQ(0u, fut[0].error + opt[0].error);
}

TEST_P(Positions, EmptyOptionSlotDropsOptionsEvenWithTheFuturesSlotSet) {
    KQZUL_SetQueryAccountOptionPositionEvent(s.handle(), nullptr);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(s.handle(), "ZQ7", SEC_TYPE_OPTION));
    ASSERT_TRUE(s.barrier());
    EXPECT_EQ(0u, s.rec().count(&records_i::option_positions));
    EXPECT_EQ(0u, s.rec().count(&records_i::positions));
    // The stream was consumed whole: the next answer is read from its own start.
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountPosition(s.handle(), "ZQ7", SEC_TYPE_FUTURE));
    ASSERT_TRUE(s.complete(&records_i::positions));
    EXPECT_EQ(4u, s.rec().count(&records_i::positions));
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, Positions, ::testing::Values(false, true),
                         generation_name);
