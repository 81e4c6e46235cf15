// The data set: every field of every served record carries a value of its own, texts
// fill their fields in some records, and the data file reads into exact records.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include "protocol/msg_define.h"
#include "protocol/msg_define_hv27.h"
#include "sim_builders.h"
#include "sim_fields.h"
#include "zul_sim.h"

namespace {

using zulsim::Bytes;
using zulsim::DataSet;
using zulsim::FieldInfo;
using zulsim::FieldKind;

// Packed fields are read by value: a reference to one may be misaligned.
template <class T>
T val(T v) {
    return v;
}

bool is_stamp(const std::string& n) {
    return n == "m_user_id" || n == "user_id" || n == "m_account_id" || n == "account_id" ||
           n == "m_last_record_flag" || n == "last_record_flag";
}

// Fields whose values carry a meaning the client acts on, and so repeat on purpose.
bool is_chosen(const std::string& n) {
    return n == "m_instrument_type" || n == "m_pos_dir" || n == "call_put" || n == "m_call_put";
}

Bytes field_bytes(const FieldInfo& f, const Bytes& r) {
    return Bytes(r.begin() + f.offset, r.begin() + f.offset + f.width);
}

TEST(SimDataSet, EveryFieldOfEveryDataRecordHasAValueOfItsOwn) {
    for (bool hv27 : {false, true}) {
        DataSet d = DataSet::standard(hv27, 70123);
        size_t checked = 0;
        for (const auto& kv : d.all()) {
            uint16_t id = kv.first.first;
            const zulsim::RecordInfo& info = *zulsim::response_info(id, hv27);
            std::vector<const Bytes*> data;
            for (const Bytes& r : kv.second) {
                ASSERT_EQ(r.size(), info.size);
                if (!zulsim::is_stream(id) || r[8] == 0 ||
                    (zulsim::closes_on_one_only(id) && r[8] == 2)) {
                    data.push_back(&r);
                }
            }
            for (const Bytes* r : data) {
                bool option = id == QUERY_SYMBOL_RESP_MSG_ID && (*r)[9] == SEC_TYPE_OPTION;
                std::set<Bytes> seen;
                for (const FieldInfo& f : info.fields) {
                    bool other_reading = f.variant != zulsim::Variant::always &&
                                         (f.variant == zulsim::Variant::option) != option;
                    if (f.offset < 8 || zulsim::is_reserved(f) || is_stamp(f.name) ||
                        other_reading) {
                        continue;
                    }
                    SCOPED_TRACE(info.name + "." + f.name);
                    Bytes v = field_bytes(f, *r);
                    EXPECT_NE(v, Bytes(f.width, 0)) << "zero value";
                    if (f.width > 1 && !is_chosen(f.name)) {
                        EXPECT_TRUE(seen.insert(v).second) << "same value as another field";
                    }
                    ++checked;
                }
            }
            // Records of one stream differ field by field, so a record read twice shows.
            for (size_t i = 0; i + 1 < data.size(); ++i) {
                for (const FieldInfo& f : info.fields) {
                    if (f.offset >= 8 && f.width > 1 && !zulsim::is_reserved(f) &&
                        !is_stamp(f.name) && !is_chosen(f.name) &&
                        f.variant == zulsim::Variant::always) {
                        EXPECT_NE(field_bytes(f, *data[i]), field_bytes(f, *data[i + 1]))
                            << info.name << "." << f.name;
                    }
                }
            }
        }
        EXPECT_GT(checked, 1000u);
    }
}

TEST(SimDataSet, FullWidthTextsWithoutTerminatorAppear) {
    DataSet d = DataSet::standard(false, 70123);
    auto full = [](const char* p, size_t n) { return memchr(p, 0, n) == nullptr; };
    auto pos = d.record<query_account_fut_position_resp>(1073, "ACCT-FULL-WIDE16", 0);
    EXPECT_TRUE(full(pos.m_account_id, 16));
    EXPECT_TRUE(full(pos.m_symbol, 20));
    auto pos2 = d.record<query_account_fut_position_resp>(1073, "ACCT-FULL-WIDE16", 1);
    EXPECT_FALSE(full(pos2.m_symbol, 20)) << "short texts in other records";
    EXPECT_TRUE(
        full(d.record<rewind_accoutn_order_response>(1074, "ZQ7", 0).m_market_order_id, 24));
    EXPECT_TRUE(full(d.record<query_account_margin_resp>(1077, "ZQ7", 0).m_prod_id, 32));
    EXPECT_TRUE(full(d.record<query_combo_position_resp>(1079, "ZQ7", 0).m_combo_symbol, 80));
    auto opt = d.record<query_account_opt_position_resp>(1092, "ZQ7", 0);
    EXPECT_TRUE(full(opt.expire_date, 9));
    for (char ch : std::string(opt.expire_date, 9)) {
        EXPECT_TRUE(ch >= '0' && ch <= '9');
    }
    auto sym_future = d.record<query_symbol_resp>(1072, "", 0);
    auto sym_option = d.record<query_symbol_resp>(1072, "", 2);
    EXPECT_NE(sym_future.m_instrument_type, SEC_TYPE_OPTION);
    EXPECT_TRUE(full(sym_future.m_instrument_name, 21));
    EXPECT_EQ(sym_option.m_instrument_type, SEC_TYPE_OPTION);
    EXPECT_TRUE(full(sym_option.m_underlying_fut_symbol, 20));
    EXPECT_TRUE(sym_option.m_call_put == 'C' || sym_option.m_call_put == 'P');
    EXPECT_EQ(d.accounts(), (std::vector<std::string>{"ACCT-FULL-WIDE16", "ZQ7", "EMPTY-01"}));
}

TEST(SimDataSet, ShortAccountNameFindsTheFullWidthAccount) {
    DataSet d = DataSet::standard(false, 70123);
    EXPECT_EQ(d.find(1073, "ACCT-FULL-WIDE1"), d.find(1073, "ACCT-FULL-WIDE16"));
    EXPECT_EQ(d.find(1073, "ACCT-FULL-WIDE"), nullptr);
    EXPECT_EQ(d.find(1073, "NOBODY"), nullptr);
}

class DataFile : public ::testing::Test {
protected:
    std::string write(const std::string& text) {
        std::ofstream(m_path) << text;
        return m_path;
    }
    void TearDown() override { std::remove(m_path.c_str()); }
    std::string m_path = "zulsim_data_test_" + std::to_string(::getpid()) + ".txt";
};

TEST_F(DataFile, ReadsRecordsIntoExactWireRecords) {
    write(
        "# accounts of a test\n"
        "user 4242\n"
        "account A1 m_previlege=3 m_initial_bp=1000.5\n"
        "position A1 m_symbol=IF2412 m_posi_direction=2 m_today_qty=7 m_pos_cost=-1.25\n"
        "position A1 m_symbol=IC2501\n"
        "order A1 m_last_record_flag=2 m_quantity=9  # flag 2 is data in orders\n"
        "bp A1 m_available_bp=99.75 m_account_idx=4\n"
        "risk B2 m_43_limit_val=1.5 m_41_limit_val=-8\n");
    DataSet d;
    std::string error;
    ASSERT_TRUE(DataSet::load(m_path, false, 1, &d, &error)) << error;
    EXPECT_EQ(d.user_id(), 4242u);
    // The account lines make the account list; B2 is served all the same.
    EXPECT_EQ(d.accounts(), (std::vector<std::string>{"A1"}));
    const auto* positions = d.find(1073, "A1");
    ASSERT_NE(positions, nullptr);
    ASSERT_EQ(positions->size(), 3u);
    auto p = d.record<query_account_fut_position_resp>(1073, "A1", 0);
    EXPECT_STREQ(p.m_symbol, "IF2412");
    EXPECT_STREQ(p.m_account_id, "A1");
    EXPECT_EQ(val(p.m_user_id), 4242u);
    EXPECT_EQ(p.m_posi_direction, 2);
    EXPECT_EQ(val(p.m_today_qty), 7u);
    EXPECT_EQ(val(p.m_pos_cost), -1.25);
    EXPECT_EQ(p.m_last_record_flag, 0);
    auto end = d.record<query_account_fut_position_resp>(1073, "A1", 2);
    EXPECT_EQ(end.m_last_record_flag, 1);
    EXPECT_STREQ(end.m_account_id, "A1");
    EXPECT_EQ(d.record<rewind_accoutn_order_response>(1074, "A1", 0).m_last_record_flag, 2);
    auto bp = d.record<query_account_bp_resp>(1081, "A1", 0);
    EXPECT_EQ(val(bp.m_available_bp), 99.75);
    EXPECT_EQ(bp.m_account_idx, 4);
    auto report = d.record<report_account_bp>(1093, "A1", 0);
    EXPECT_EQ(val(report.m_msg_id), 1093);
    EXPECT_EQ(val(report.m_available_bp), 99.75);
    auto risk = d.record<account_risk_real_data_resp>(1082, "B2", 0);
    EXPECT_EQ(val(risk.m_account_risk_real_data.m_43_limit_val), 1.5);
    EXPECT_EQ(val(risk.m_account_risk_real_data.m_41_limit_val), -8);
    // Named accounts get every stream (empty) and every single answer (zero).
    ASSERT_NE(d.find(1095, "B2"), nullptr);
    EXPECT_EQ(d.find(1095, "B2")->size(), 1u);
    EXPECT_EQ(val(d.record<query_account_bp_resp>(1081, "B2", 0).m_available_bp), 0.0);
}

TEST_F(DataFile, WithoutAccountLinesEveryNamedAccountIsListed) {
    write("bp Z9\nposition A1\n");
    DataSet d;
    std::string error;
    ASSERT_TRUE(DataSet::load(m_path, false, 1, &d, &error)) << error;
    EXPECT_EQ(d.accounts(), (std::vector<std::string>{"Z9", "A1"}));
}

TEST_F(DataFile, ErrorsNameTheLine) {
    DataSet d;
    std::string error;
    write("account A1\nposition A1 m_nonsense=1\n");
    EXPECT_FALSE(DataSet::load(m_path, false, 1, &d, &error));
    EXPECT_NE(error.find(":2:"), std::string::npos) << error;
    write("position A1 m_today_qty=abc\n");
    EXPECT_FALSE(DataSet::load(m_path, false, 1, &d, &error));
    write("position A1 m_posi_direction=256\n");
    EXPECT_FALSE(DataSet::load(m_path, false, 1, &d, &error)) << "too wide for one byte";
    write("execution A1 m_order_type=1\n");
    ASSERT_TRUE(DataSet::load(m_path, true, 1, &d, &error)) << error;
    EXPECT_EQ(d.find(1075, "A1")->front().size(), 112u) << "the generation's form";
    write("hv27_rewind_order_execution_response A1\n");
    EXPECT_FALSE(DataSet::load(m_path, false, 1, &d, &error));
    EXPECT_FALSE(DataSet::load("/nonexistent/zulsim.txt", false, 1, &d, &error));
}

}  // namespace
