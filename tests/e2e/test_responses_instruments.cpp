// Symbol list, combination rules, margin and fee rates end to end: every delivered
// field against the wire record the simulator sent, mapped here by the test's own
// reading of each field. The two unions of the symbol record are read at their byte
// offsets, not through the record's declaration.

#include <gtest/gtest.h>

#include "protocol/msg_define.h"
#include "support/records_i.h"

using namespace zul_test;

namespace {

const char FULL_ACCOUNT[] = "ACCT-FULL-WIDE16";

const char* raw_of(const void* record) {
    return static_cast<const char*>(record);
}

ZUL_SymbolField expected_symbol(const query_symbol_resp& w) {
    ZUL_SymbolField e = zeroed<ZUL_SymbolField>();
    const char* raw = raw_of(&w);
    e.m_SecType = w.m_instrument_type;
    memcpy(e.m_Symbol, w.m_symbol, strnlen(w.m_symbol, 20));  // no terminator when full
    e.m_ExchangeID = w.m_exchange_id;
    memcpy(e.m_ProdID, w.m_product_id, 31);  // at most 31 characters, then a zero
    e.m_DeliveryYear = w.m_delivery_year;
    e.m_DeliveryMonth = w.m_delivery_month;
    e.m_MaxMarketOrderVolume = w.m_max_market_order_volume;
    e.m_MinMarketOrderVolume = w.m_min_market_order_volume;
    e.m_MaxLimitOrderVolume = w.m_max_limit_order_volume;
    e.m_MinLimitOrderVolume = w.m_min_limit_order_volume;
    e.m_VolumeMultiple = w.m_volume_multiple;
    e.m_PriceTick = w.m_price_tick;
    e.m_CreateDate = w.m_create_date;
    e.m_OpenDate = w.m_open_date;
    e.m_ExpireDate = w.m_expire_date;
    e.m_InstLifePhase = w.m_inst_life_phase;
    e.m_IsTrading = w.m_is_trading;
    e.m_SymbolIdx = w.m_symbol_idx;
    if (w.m_instrument_type == SEC_TYPE_OPTION) {
        memcpy(e.m_UnderlyingSymbol, raw + 30, 20);
        e.m_CallPut = raw[50];
        memcpy(&e.m_StrikePrice, raw + 127, 8);
    } else {
        memcpy(e.m_SymbolName, raw + 30, strnlen(raw + 30, 21));
        memcpy(&e.m_StartDelivDate, raw + 127, 4);
        memcpy(&e.m_EndDelivDate, raw + 131, 4);
    }
    return e;
}

ZUL_AccountComboRule expected_rule(const query_combo_rule_resp& w) {
    ZUL_AccountComboRule e = zeroed<ZUL_AccountComboRule>();
    e.m_RuleProdType = w.m_rule_prod_type;
    memcpy(e.m_Trading_date, w.m_trading_date, strnlen(w.m_trading_date, 9));
    e.m_ComboType = w.m_combo_type;
    e.m_Priority = w.m_priority;
    e.m_HedgeFlag = w.m_hedge_flag;
    e.m_ComboMargin = w.m_combo_margin;
    e.m_InstrId = w.m_instr_id;
    memcpy(e.m_ComboSymbol, w.m_combo_symbol, strnlen(w.m_combo_symbol, 80));
    memcpy(e.m_FirstSymbol, w.m_combo_leg1, strnlen(w.m_combo_leg1, 20));
    e.m_FirstDirection = w.m_direction_leg1;
    e.m_FirstRegion = w.m_region_leg1;
    memcpy(e.m_SecondSymbol, w.m_combo_leg2, strnlen(w.m_combo_leg2, 20));
    e.m_SecondDirection = w.m_direction_leg2;
    e.m_SecondRegion = w.m_region_leg2;
    return e;
}

ZUL_AccountMargin expected_margin(const query_account_margin_resp& w) {
    ZUL_AccountMargin e = zeroed<ZUL_AccountMargin>();
    e.m_HedgeFlag = w.m_hedge_flag;
    memcpy(e.m_Symbol, w.m_symbol, 20);  // all 20 bytes, terminated or not
    e.m_ExchangeID = w.m_exchange_id;
    memcpy(e.m_ProdID, w.m_prod_id, 31);
    e.m_LongMarginRatio = w.m_long_margin_ratio;
    e.m_ShortMarginRatio = w.m_short_margin_ratio;
    return e;
}

ZUL_AccountFee expected_fee(const query_account_fee_resp& w) {
    ZUL_AccountFee e = zeroed<ZUL_AccountFee>();
    e.m_HedgeFlag = w.m_hedge_flag;
    memcpy(e.m_Symbol, w.m_symbol, 19);  // at most 19 characters, then a zero
    e.m_ExchangeID = w.m_exchange_id;
    memcpy(e.m_ProdID, w.m_prod_id, 31);
    e.m_OpenRatioByMoney = w.m_open_ratio_by_money;
    e.m_OpenRatioByVolume = w.m_open_ratio_by_volume;
    e.m_CloseYesterdayRatioByMoney = w.m_close_yesterday_ratio_by_money;
    e.m_CloseYesterdayRatioByVolume = w.m_close_yesterday_ratio_by_volume;
    e.m_CloseTodayRatioByMoney = w.m_close_today_ratio_by_money;
    e.m_CloseTodayRatioByVolume = w.m_close_today_ratio_by_volume;
    switch (w.m_pos_dir) {
        case 1:
            e.m_PositionDir = 1;
            break;
        default:
            e.m_PositionDir = 5;
            break;
    }
    return e;
}

template <class W>
std::string account_of(const W& w) {
    return text_of(w.m_account_id, 16);
}

class Instruments : public ::testing::TestWithParam<bool> {
protected:
    Instruments() : s(with_generation(GetParam())) {}
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(s.logon()); }
    bool hv27() const { return GetParam(); }

    responses_session s;
};

}  // namespace

TEST_P(Instruments, SymbolListReadsEachRecordByItsInstrumentType) {
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QuerySymbolList(s.handle(), SEC_TYPE_FUTURE));
    ASSERT_TRUE(s.complete(&records_i::symbols));
    auto wire = wire_records<query_symbol_resp>(s.sim(), QUERY_SYMBOL_RESP_MSG_ID, "");
    ASSERT_EQ(5u, wire.size());
    expect_stream(s.rec().get(&records_i::symbols), wire, expected_symbol);

    // What the data set must hold for the comparisons above to mean something: a
    // future with a full symbol and a full name, options, and a closing flag of 2.
    EXPECT_EQ(SEC_TYPE_FUTURE, wire[0].m_instrument_type);
    EXPECT_EQ(20u, strnlen(wire[0].m_symbol, 20));
    EXPECT_EQ(21u, strnlen(wire[0].m_instrument_name, 21));
    EXPECT_EQ(32u, strnlen(wire[0].m_product_id, 32));
    EXPECT_EQ(SEC_TYPE_OPTION, wire[1].m_instrument_type);
    EXPECT_EQ(SEC_TYPE_OPTION, wire[2].m_instrument_type);
    EXPECT_EQ(20u, strnlen(wire[2].m_underlying_fut_symbol, 20));
    EXPECT_EQ(2, wire[4].m_last_record_flag);

    // A full name must not spill into the exchange id behind it.
    auto got = s.rec().get(&records_i::symbols);
    EXPECT_EQ(wire[0].m_exchange_id, got[0].record.m_ExchangeID);
}

TEST_P(Instruments, EmptySymbolListIsOneFinishCall) {
    zulsim::DataSet data = s.sim().data();
    query_symbol_resp closing;
    closing.m_last_record_flag = 1;
    closing.m_instrument_type = SEC_TYPE_OPTION;  // a closing record carries no data
    memcpy(closing.m_symbol, "STALE", 5);
    data.set(QUERY_SYMBOL_RESP_MSG_ID, "", {zulsim::DataSet::bytes_of(closing)});
    s.sim().set_data(data);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QuerySymbolList(s.handle(), SEC_TYPE_OPTION));
    ASSERT_TRUE(s.complete(&records_i::symbols));
    auto got = s.rec().get(&records_i::symbols);
    ASSERT_EQ(1u, got.size());
    EXPECT_TRUE(got[0].finish);
    EXPECT_EQ(0u, got[0].error);
    EXPECT_TRUE(all_zero(got[0].record));
}

TEST_P(Instruments, CombinationRulesOnTheOtherGenerationOnly) {
    if (hv27()) {
        EXPECT_EQ(ZUL_RESULT_NOT_SUPPORTED, KQZUL_QueryComboRule(s.handle(), 1, 1));
        return;
    }
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryComboRule(s.handle(), 1, 1));
    ASSERT_TRUE(s.complete(&records_i::combo_rules));
    auto wire = wire_records<query_combo_rule_resp>(s.sim(), QUERY_COMBO_RULE_RESP_MSG_ID, "");
    ASSERT_EQ(4u, wire.size());
    expect_stream(s.rec().get(&records_i::combo_rules), wire, expected_rule);
    EXPECT_EQ(80u, strnlen(wire[0].m_combo_symbol, 80)) << "the data set must test full texts";
    EXPECT_EQ(9u, strnlen(wire[0].m_trading_date, 9));
}

TEST_P(Instruments, MarginRatesKeepTheWholeSymbol) {
    for (const char* account : {FULL_ACCOUNT, "ZQ7"}) {
        SCOPED_TRACE(account);
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountTradeMargin(s.handle(), account));
        ASSERT_TRUE(s.complete(&records_i::margins));
        auto wire = wire_records<query_account_margin_resp>(
            s.sim(), QUERY_ACCOUNT_MARGIN_RESP_MSG_ID, account);
        ASSERT_EQ(4u, wire.size());
        expect_stream(s.rec().get(&records_i::margins), wire, expected_margin,
                      account_of<query_account_margin_resp>);
        auto got = s.rec().get(&records_i::margins);
        EXPECT_EQ(account, got.back().account) << "the closing call names the account";
        ASSERT_EQ(20u, strnlen(wire[0].m_symbol, 20));
        EXPECT_EQ(std::string(wire[0].m_symbol, 20), std::string(got[0].record.m_Symbol, 20));
        EXPECT_EQ(wire[0].m_exchange_id, got[0].record.m_ExchangeID);
        s.rec().clear(&records_i::margins);
    }
}

TEST_P(Instruments, FeeRatesCutTheSymbolAndMapTheDirection) {
    for (const char* account : {FULL_ACCOUNT, "ZQ7"}) {
        SCOPED_TRACE(account);
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountTradeFee(s.handle(), account, 1));
        ASSERT_TRUE(s.complete(&records_i::fees));
        auto wire =
            wire_records<query_account_fee_resp>(s.sim(), QUERY_ACCOUNT_FEE_RESP_MSG_ID, account);
        ASSERT_EQ(4u, wire.size());
        expect_stream(s.rec().get(&records_i::fees), wire, expected_fee,
                      account_of<query_account_fee_resp>);
        auto got = s.rec().get(&records_i::fees);
        // Directions 1, 2 and 255 on the wire.
        EXPECT_EQ(1, +got[0].record.m_PositionDir);
        EXPECT_EQ(5, +got[1].record.m_PositionDir);
        EXPECT_EQ(5, +got[2].record.m_PositionDir);
        ASSERT_EQ(20u, strnlen(wire[0].m_symbol, 20));
        EXPECT_EQ(std::string(wire[0].m_symbol, 19), std::string(got[0].record.m_Symbol));
        s.rec().clear(&records_i::fees);
    }
}

TEST_P(Instruments, AccountWithoutRatesGetsOneFinishCallNamingIt) {
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountTradeMargin(s.handle(), "EMPTY-01"));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountTradeFee(s.handle(), "EMPTY-01", 2));
    ASSERT_TRUE(s.complete(&records_i::margins));
    ASSERT_TRUE(s.complete(&records_i::fees));
    auto margins = s.rec().get(&records_i::margins);
    auto fees = s.rec().get(&records_i::fees);
    ASSERT_EQ(1u, margins.size());
    ASSERT_EQ(1u, fees.size());
    EXPECT_TRUE(margins[0].finish);
    EXPECT_TRUE(fees[0].finish);
    EXPECT_TRUE(all_zero(margins[0].record));
    EXPECT_TRUE(all_zero(fees[0].record));
    EXPECT_EQ("EMPTY-01", margins[0].account);
    EXPECT_EQ("EMPTY-01", fees[0].account);
}

TEST_P(Instruments, EmptySlotDropsTheRatesAndTheNextOnesArrive) {
    KQZUL_SetQueryAccountTradeFeeEvent(s.handle(), nullptr);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountTradeFee(s.handle(), "ZQ7", 1));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountTradeMargin(s.handle(), "ZQ7"));
    ASSERT_TRUE(s.complete(&records_i::margins));
    EXPECT_EQ(0u, s.rec().count(&records_i::fees));
    EXPECT_EQ(4u, s.rec().count(&records_i::margins));
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, Instruments, ::testing::Values(false, true),
                         generation_name);
