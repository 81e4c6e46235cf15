// Risk data end to end, in both server generations: every field of the two public
// risk records against the record the simulator sent, named one by one here; the
// short hv27 form that reports totals and rule 39 only; an empty slot.

#include <gtest/gtest.h>

#include <type_traits>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "support/e2e_client.h"
#include "support/records_ii.h"

using namespace zul_test;

namespace {

const char* const FULL_ACCOUNT = "ACCT-FULL-WIDE16";
const char* const SHORT_ACCOUNT = "ZQ7";

template <typename T>
unsigned long long raw_bits(T v) {
    unsigned long long b = 0;
    memcpy(&b, &v, sizeof(v));
    return b;
}

// Compares one public field with its wire source bit for bit, and counts it.
class field_check {
public:
    template <typename Wire, typename Public>
    void operator()(const char* name, Wire wire, Public pub) {
        ++m_count;
        EXPECT_EQ(sizeof(Wire), sizeof(Public)) << name;
        EXPECT_EQ(std::is_floating_point<Wire>::value, std::is_floating_point<Public>::value)
            << name;
        EXPECT_EQ(raw_bits(wire), raw_bits(pub)) << name;
    }
    int count() const { return m_count; }

private:
    int m_count = 0;
};

#define SAME(src, name) check(#name, src.name, got.name);

void expect_account_risk(const account_risk_real_data_resp& w, const ZUL_AccountRiskData& got) {
    field_check check;
    const account_risk_real_data& rd = w.m_account_risk_real_data;
    EXPECT_EQ(field_bytes(w.m_account_id) + '\0', field_bytes(got.m_account_id));
    SAME(w, m_user_id)
    SAME(w, m_last_update_time)
    SAME(rd, m_broker_margin)
    SAME(rd, m_exchange_margin)
    check("m_total_fee", rd.m_fee, got.m_total_fee);
    check("m_total_bp", rd.m_bp, got.m_total_bp);
    SAME(rd, m_1_limit_val)
    SAME(rd, m_2_limit_val)
    SAME(rd, m_5_limit_val)
    SAME(rd, m_6_limit_val)
    SAME(rd, m_8_limit_val)
    SAME(rd, m_9_limit_val)
    SAME(rd, m_10_limit_val)
    SAME(rd, m_11_limit_val)
    SAME(rd, m_11_accumulate_val)
    SAME(rd, m_12_limit_val)
    SAME(rd, m_12_accumulate_val)
    SAME(rd, m_13_limit_val)
    SAME(rd, m_13_accumulate_val)
    SAME(rd, m_14_limit_val_1)
    SAME(rd, m_14_time_val)
    SAME(rd, m_14_limit_val_2)
    SAME(rd, m_14_accumulate_val)
    SAME(rd, m_15_limit_val_1)
    SAME(rd, m_15_time_val)
    SAME(rd, m_15_limit_val_2)
    SAME(rd, m_15_accumulate_val)
    SAME(rd, m_17_limit_val)
    SAME(rd, m_17_accumulate_val)
    SAME(rd, m_18_limit_val)
    SAME(rd, m_18_accumulate_val)
    SAME(rd, m_19_limit_val)
    SAME(rd, m_19_accumulate_val)
    SAME(rd, m_20_limit_val)
    SAME(w, m_20_accumulate_val)
    SAME(rd, m_21_limit_val)
    SAME(rd, m_21_accumulate_val)
    SAME(rd, m_22_limit_val)
    SAME(rd, m_22_accumulate_val)
    SAME(rd, m_24_limit_val_1)
    SAME(rd, m_24_time_val)
    SAME(rd, m_24_limit_val_2)
    SAME(rd, m_24_accumulate_val)
    SAME(rd, m_25_limit_val_1)
    SAME(rd, m_25_time_val)
    SAME(rd, m_25_limit_val_2)
    SAME(rd, m_25_accumulate_val)
    SAME(rd, m_26_limit_val_1)
    SAME(rd, m_26_accumulate_val)
    SAME(rd, m_26_limit_val_2)
    SAME(rd, m_27_limit_val)
    SAME(w, m_27_accumulate_val)
    SAME(rd, m_28_limit_val)
    SAME(w, m_28_accumulate_val)
    SAME(rd, m_29_limit_val)
    SAME(rd, m_29_accumulate_val)
    SAME(rd, m_30_limit_val)
    SAME(rd, m_30_accumulate_val)
    SAME(rd, m_31_limit_val)
    SAME(rd, m_31_accumulate_val)
    SAME(rd, m_32_limit_val)
    SAME(rd, m_32_accumulate_val)
    SAME(rd, m_33_limit_val)
    SAME(rd, m_33_accumulate_val)
    SAME(rd, m_34_limit_val_2)
    SAME(rd, m_34_time_val)
    SAME(rd, m_34_limit_val_1)
    SAME(rd, m_34_accumulate_val)
    SAME(rd, m_35_limit_val_2)
    SAME(rd, m_35_time_val)
    SAME(rd, m_35_limit_val_1)
    SAME(rd, m_35_accumulate_val)
    SAME(rd, m_36_limit_val_1)
    SAME(rd, m_36_time_val)
    SAME(rd, m_36_limit_val_2)
    SAME(rd, m_36_accumulate_val)
    SAME(rd, m_37_limit_val_1)
    SAME(rd, m_37_time_val)
    SAME(rd, m_37_limit_val_2)
    SAME(rd, m_37_accumulate_val)
    SAME(rd, m_38_limit_val)
    SAME(rd, m_38_accumulate_val)
    SAME(w.m_account_mpl_data, m_39_limit_val)
    SAME(w.m_account_mpl_data, m_39_accumulate_val)
    SAME(rd, m_40_limit_val)
    SAME(w, m_40_accumulate_val)
    SAME(rd, m_41_limit_val)
    SAME(rd, m_41_accumulate_val)
    SAME(rd, m_42_limit_val)
    SAME(rd, m_42_accumulate_val)
    SAME(rd, m_43_limit_val)
    SAME(rd, m_43_accumulate_val)
    SAME(rd, m_44_limit_val)
    SAME(rd, m_44_accumulate_val)
    SAME(rd, m_54_limit_val)
    SAME(rd, m_54_accumulate_val)
    SAME(rd, m_55_limit_val)
    SAME(rd, m_55_accumulate_val)
    SAME(rd, m_56_limit_val)
    SAME(rd, m_56_accumulate_val)
    SAME(rd, m_57_limit_val)
    SAME(rd, m_57_accumulate_val)
    SAME(rd, m_58_limit_val)
    SAME(rd, m_58_accumulate_val)
    SAME(rd, m_59_limit_val)
    SAME(rd, m_59_accumulate_val)
    SAME(rd, m_60_limit_val)
    SAME(w, m_60_accumulate_val)
    SAME(rd, m_61_limit_val)
    SAME(w, m_61_accumulate_val)
    SAME(rd, m_62_limit_val_1)
    SAME(rd, m_62_time_val)
    SAME(rd, m_62_limit_val_2)
    SAME(rd, m_62_accumulate_val)
    SAME(rd, m_63_limit_val_1)
    SAME(rd, m_63_time_val)
    SAME(rd, m_63_limit_val_2)
    SAME(rd, m_63_accumulate_val)
    // All fields but the account id, which was compared above: 119 in all.
    EXPECT_EQ(118, check.count());
}

void expect_hv27_account_risk(const hv27_account_risk_real_data_resp& w,
                              const ZUL_AccountRiskData& got) {
    // The totals and rule 39, and every other field 0.
    ZUL_AccountRiskData expected;
    memcpy(expected.m_account_id, w.m_account_id, 16);
    expected.m_user_id = w.m_user_id;
    expected.m_last_update_time = w.m_last_update_time;
    expected.m_broker_margin = w.m_account_risk_real_data.m_broker_margin;
    expected.m_exchange_margin = w.m_account_risk_real_data.m_exchange_margin;
    expected.m_total_fee = w.m_account_risk_real_data.m_fee;
    expected.m_total_bp = w.m_account_risk_real_data.m_bp;
    expected.m_39_limit_val = w.m_account_mpl_data.m_39_limit_val;
    expected.m_39_accumulate_val = w.m_account_mpl_data.m_39_accumulate_val;
    EXPECT_EQ(0, memcmp(&expected, &got, sizeof(got)));
    EXPECT_NE(0.0, +got.m_broker_margin);
    EXPECT_NE(0.0, +got.m_39_limit_val);
    EXPECT_EQ(0, +got.m_1_limit_val);
    EXPECT_EQ(0, +got.m_63_accumulate_val);
}

void expect_symbol_risk(const account_symbol_real_data_resp& w,
                        const ZUL_AccountSymbolRiskData& got) {
    field_check check;
    const account_symbol_risk_real_data& sd = w.m_account_symbol_risk_data;
    const symbol_account_risk_real_data& pd = w.m_symbol_account_risk_data;
    SAME(w, m_user_id)
    EXPECT_EQ(field_bytes(w.m_account_id) + '\0', field_bytes(got.m_account_id));
    EXPECT_EQ(padded(text_in(w.m_symbol), 20), field_bytes(got.m_symbol));
    SAME(w, m_last_update_time)
    SAME(sd, m_onp_short_pos_settle_price)
    SAME(sd, m_onp_long_pos_settle_price)
    SAME(sd, m_onp_long_pos_quantity)
    SAME(sd, m_onp_long_pos_margin)
    SAME(sd, m_open_fee_rate_2)
    SAME(sd, m_open_fee_rate_1)
    SAME(sd, m_onp_short_pos_quantity)
    SAME(sd, m_onp_short_pos_margin)
    SAME(sd, m_broker_margin_rate)
    SAME(sd, m_fee_caculate_mode)
    SAME(sd, m_cover_fee_rate_2)
    SAME(sd, m_cover_fee_rate_1)
    SAME(sd, m_fee)
    SAME(sd, m_onp_short_pos_qty)
    SAME(sd, m_today_short_pos_qty)
    SAME(sd, m_onp_long_pos_qty)
    SAME(sd, m_today_long_pos_qty)
    SAME(sd, m_snpl)
    SAME(sd, m_bnpl)
    SAME(sd, m_3_limit_val)
    SAME(sd, m_4_limit_val)
    SAME(sd, m_7_limit_val)
    SAME(sd, m_23_limit_val)
    SAME(sd, m_23_accumulate_val)
    SAME(sd, m_45_limit_val)
    SAME(w, m_45_accumulate_val)
    SAME(sd, m_46_limit_val)
    SAME(w, m_46_accumulate_val)
    SAME(sd, m_47_limit_val)
    SAME(w, m_47_accumulate_val)
    SAME(sd, m_48_limit_val)
    SAME(w, m_48_accumulate_val)
    SAME(sd, m_49_limit_val)
    SAME(w, m_49_accumulate_val)
    SAME(sd, m_50_limit_val)
    SAME(w, m_50_accumulate_val)
    SAME(sd, m_51_limit_val)
    SAME(w, m_51_accumulate_val)
    SAME(sd, m_52_limit_val)
    SAME(w, m_52_accumulate_val)
    SAME(sd, m_53_limit_val)
    SAME(w, m_53_accumulate_val)
    SAME(pd, m_bmpl)
    SAME(pd, m_long_pos_quantity)
    SAME(pd, m_long_pos_total_val)
    SAME(pd, m_smpl)
    SAME(pd, m_short_pos_quantity)
    SAME(pd, m_short_pos_total_val)
    // With account id and symbol: 52 fields.
    EXPECT_EQ(50, check.count());
}

#undef SAME

class Risk : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        zulsim::Options o;
        o.hv27 = GetParam();
        m_session.reset(new sim_session(o));
        m_book.reset(new record_book(m_session->handle()));
        m_session->connect_and_logon();
    }
    void TearDown() override {
        m_session.reset();
        m_book.reset();
    }
    void* handle() { return m_session->handle(); }

    template <typename Wire>
    Wire served(uint16_t response_id, const std::string& account) {
        return m_session->sim().data().record<Wire>(response_id, account, 0);
    }

    // The one call that slot got, after the request was answered.
    slot_call only_call(record_slot slot) {
        EXPECT_TRUE(m_book->wait_count(slot, 1));
        const std::vector<slot_call> calls = m_book->calls_of(slot);
        EXPECT_EQ(1u, calls.size());
        EXPECT_EQ(1u, m_book->count()) << "another callback fired";
        return calls.empty() ? slot_call() : calls[0];
    }

    std::unique_ptr<sim_session> m_session;
    std::unique_ptr<record_book> m_book;
};

}  // namespace

TEST_P(Risk, AccountRiskDataFieldByFieldInTheGenerationsForm) {
    for (const char* account : {FULL_ACCOUNT, SHORT_ACCOUNT}) {
        SCOPED_TRACE(account);
        m_book->clear();
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountRiskData(handle(), account, "IGNORED", 101));
        const slot_call c = only_call(SLOT_RISK);
        EXPECT_EQ(0u, c.error);
        const ZUL_AccountRiskData got = c.as<ZUL_AccountRiskData>();
        if (GetParam()) {
            expect_hv27_account_risk(served<hv27_account_risk_real_data_resp>(
                                         QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID, account),
                                     got);
        } else {
            expect_account_risk(
                served<account_risk_real_data_resp>(QUERY_ACCOUNT_RISK_DATA_RESP_MSG_ID, account),
                got);
        }
    }
}

TEST_P(Risk, SymbolRiskDataFieldByField) {
    for (const char* account : {FULL_ACCOUNT, SHORT_ACCOUNT}) {
        SCOPED_TRACE(account);
        m_book->clear();
        ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountSymbolRiskData(handle(), account, "", 0));
        const slot_call c = only_call(SLOT_SYMBOL_RISK);
        EXPECT_EQ(0u, c.error);
        const auto w =
            served<account_symbol_real_data_resp>(QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID, account);
        expect_symbol_risk(w, c.as<ZUL_AccountSymbolRiskData>());
    }
    // The first account's answer has a symbol of 20 characters: it fills the field.
    const auto full =
        served<account_symbol_real_data_resp>(QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID, FULL_ACCOUNT);
    EXPECT_EQ(20u, text_in(full.m_symbol).size());
    EXPECT_EQ(16u, text_in(full.m_account_id).size());
}

TEST_P(Risk, EmptySlotDropsTheAnswerAndTheStreamStaysInStep) {
    // The account answer's size depends on the generation; had the client taken the
    // wrong one, the symbol answer behind it would not arrive whole.
    KQZUL_SetQueryAccountRiskDataEvent(handle(), nullptr);
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountRiskData(handle(), FULL_ACCOUNT, "", 0));
    ASSERT_EQ(ZUL_RESULT_OK, KQZUL_QueryAccountSymbolRiskData(handle(), FULL_ACCOUNT, "", 0));
    const slot_call c = only_call(SLOT_SYMBOL_RISK);
    expect_symbol_risk(
        served<account_symbol_real_data_resp>(QUERY_SYMBOL_RISK_DATA_RESP_MSG_ID, FULL_ACCOUNT),
        c.as<ZUL_AccountSymbolRiskData>());
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, Risk, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "hv27" : "other";
                         });
