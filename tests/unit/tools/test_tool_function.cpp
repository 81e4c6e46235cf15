#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "tools/cross_platform_api.h"
#include "tools/date_time.h"
#include "tools/tool_function.h"

using namespace VORTANE::TOOLS;

namespace {

TEST(ToolFunction, FloatsCompareAtAPrecision) {
    typedef bool (*comparison)(const double&, const double&, const unsigned int);
    const comparison eq = equal_float, lt = less_than_float, gt = large_than_float;
    const double limit = 23058430092130.0;  // above it the difference decides
    const struct {
        comparison fn;
        double a, b;
        unsigned int places;
        bool expected;
    } rows[] = {
        // clang-format off
        {eq, 1.004, 1.0, 2, true}, {eq, 1.02, 1.0, 2, false}, {eq, 1.5, 1.0, 0, true},
        {eq, 0.0, 0.00999, 2, true}, {eq, 0.0, 0.01, 2, false},  // the tolerance isn't below it
        {lt, 1.001, 1.009, 2, false}, {gt, 1.009, 1.001, 2, false},  // both scale to 100
        {lt, 1.0, 1.01, 2, true},
        {gt, 0.29, 0.285, 2, true},  // 0.29 * 100 is 28.999...; the nudge makes it 29
        {lt, 0.1, 0.8, 0, false},    // no scale at 0 places
        {lt, 1.0000004, 1.0000011, 6, false}, {lt, 1.0, 1.0000015, 6, true},
        {lt, 1.00000004, 1.00000011, 7, false}, {gt, 1.00000015, 1.0, 7, true},
        {lt, 3e13, 3e13 + 0.0078125, 2, false},
        {lt, limit - 0.0078125, limit, 2, true}, {gt, limit, limit - 0.0078125, 2, true},
        // clang-format on
    };
    for (const auto& r : rows)
        EXPECT_EQ(r.expected, r.fn(r.a, r.b, r.places)) << r.a << " " << r.b << " at " << r.places;
    EXPECT_TRUE(is_zero_float(-0.0000009, 6));
    EXPECT_FALSE(is_zero_float(0.000001, 6));
    EXPECT_EQ(float_compare(1.0099, 1.0101, 2), 0);  // equal wins over the scaled integers
    EXPECT_EQ(float_compare(1.0, 1.02, 2), -1);
    EXPECT_EQ(float_compare(1.02, 1.0, 2), 1);
}

TEST(ToolFunction, IntegerSetsCompare) {
    using v = std::vector<int>;
    const struct {
        v a, b;
        int expected;
    } rows[] = {
        // clang-format off
        {{1, 2}, {2, 1}, RET_EQUAL}, {{1}, {1, 2}, RET_LESS}, {{1, 2}, {1}, RET_LARGE},
        {{1, 3}, {1, 2}, RET_NOT_EQUAL}, {{3}, {1, 2}, RET_NOT_EQUAL}, {{1, 2, 3}, {4}, RET_NOT_EQUAL},
        {{1, 1}, {1, 1}, RET_NOT_EQUAL}, {{1, 2}, {1, 1}, RET_EQUAL}, {{}, {}, RET_EQUAL},
        {{-5, 100000}, {100000, -5}, RET_EQUAL},
        // clang-format on
    };
    for (const auto& r : rows)
        EXPECT_EQ(r.expected, vector_compare(r.a, r.b)) << r.a.size() << " / " << r.b.size();
}

TEST(CrossPlatform, LoadsALibraryAndReportsAMissingOne) {
    dll_handle_kq libm = load_library("libm.so.6");
    ASSERT_NE(libm, nullptr) << get_dll_error();
    auto cosine = reinterpret_cast<double (*)(double)>(get_function_address(libm, "cos"));
    ASSERT_NE(cosine, nullptr);
    EXPECT_DOUBLE_EQ(cosine(0.0), 1.0);
    EXPECT_EQ(get_function_address(libm, "no_such_function_zul"), nullptr);
    free_library(libm);

    EXPECT_EQ(load_library("libno_such_library_zul.so"), nullptr);
    const char* why = get_dll_error();
    ASSERT_NE(why, nullptr);
    EXPECT_NE(std::string(why).find("libno_such_library_zul.so"), std::string::npos);
}

// Runs each test in central European time, written out so that no zone database is
// needed, and gives the process its own zone back afterwards.
class DateTime : public ::testing::Test {
protected:
    void SetUp() override { use_zone("CET-1CEST,M3.5.0,M10.5.0/3"); }
    void TearDown() override { use_zone(m_had_tz ? m_saved_tz.c_str() : nullptr); }
    static void use_zone(const char* tz) {
        (void)(tz != nullptr ? setenv("TZ", tz, 1) : unsetenv("TZ"));
        tzset();
    }

    const char* m_tz = getenv("TZ");
    const bool m_had_tz = m_tz != nullptr;
    const std::string m_saved_tz = m_had_tz ? m_tz : "";
};

TEST_F(DateTime, ParsesAndPrintsRoundTrip) {
    date_time t("20240315 13:45:07.089");
    EXPECT_EQ(t.format(), "20240315 13:45:07.089");
    EXPECT_EQ(t.get_sql_datetime_str(), "2024-03-15 13:45:07");
    EXPECT_EQ(t.format("dd/MM/yyyy iii"), "15/03/2024 089");
    date_time other;
    ASSERT_TRUE(other.assign("20240315/13-45-07,089"));  // separators aren't compared
    EXPECT_TRUE(other == t);
    ASSERT_TRUE(other.assign("15.03.2024 1345", "dd.MM.yyyy HHmm"));
    EXPECT_EQ(other.format(), "20240315 13:45:00.000");
    i64_kq seconds = 0;
    i32_kq ms = 0;
    ASSERT_TRUE(date_time(1704067200 + 3661, 250).format(seconds, ms));
    EXPECT_EQ(seconds, 1704067200 + 3661);
    EXPECT_EQ(ms, 250);
    EXPECT_EQ(date_time(1704067200 + 3661, 250).format(), "20240101 02:01:01.250");

    ASSERT_TRUE(other.assign("20240230", "yyyyMMdd"));  // the day's range isn't per month
    other.add_sec(0);
    EXPECT_EQ(other.get_sql_datetime_str(), "2024-03-01 00:00:00");
}

TEST_F(DateTime, MalformedTextsAreRefusedAndChangeNothing) {
    const date_time kept("20010203 04:05:06.007");
    for (const char* bad :
         {"20240015 00:00:00.000", "20241315 00:00:00.000", "20240132 00:00:00.000",
          "20240115 24:00:00.000", "20240115 00:60:00.000", "20240115 00:00:60.000",
          "2024011x 00:00:00.000", "20240115 00:00:00.-01", "20240315 ", "202",
          "20240315 13:45:07."}) {
        date_time t = kept;
        EXPECT_FALSE(t.assign(bad)) << bad;
        EXPECT_TRUE(t == kept) << bad;
    }
    date_time t = kept;
    EXPECT_FALSE(t.assign(static_cast<lpcstr_kq>(nullptr)));
    EXPECT_FALSE(t.assign(-1, 0));
    EXPECT_TRUE(t == kept);
}

TEST_F(DateTime, ArithmeticCarriesDaysMonthsAndYearsAndSummerTime) {
    date_time t("20231231 00:00:00.789");
    t.add_sec(86399);
    EXPECT_EQ(t.format(), "20231231 23:59:59.789");
    t.add_sec(1);
    EXPECT_EQ(t.format(), "20240101 00:00:00.789");
    t.subtract_day(1);
    EXPECT_EQ(t.format(), "20231231 00:00:00.789");
    t.add_min(60 * 24 * 60);  // 60 days
    EXPECT_EQ(t.get_datetime_str(), "20240229 00:00:00");
    t.subtract_hour(24 * 365);
    EXPECT_EQ(t.get_datetime_str(), "20230301 00:00:00");
    t.subtract_sec(60 * 60 + 1);
    EXPECT_EQ(t.format(), "20230228 22:59:59.789");
    t.add_day(24856);  // beyond what 32-bit seconds would hold
    EXPECT_EQ(t.get_datetime_str(), "20910319 22:59:59");

    // A day is 86400 seconds, also across a change to or from summer time.
    t.assign("20240330 12:00:00.005");
    t.add_day(1);
    EXPECT_EQ(t.format(), "20240331 13:00:00.005");
    t.assign("20240331 01:30:00.000");
    t.add_hour(1);
    EXPECT_EQ(t.get_datetime_str(), "20240331 03:30:00");
    t.assign("20241027 12:00:00.000");
    t.subtract_day(1);
    EXPECT_EQ(t.get_datetime_str(), "20241026 13:00:00");
}

// Summer time from the start: a summer date parses to the instant of its own zone offset
// (UTC+2 here), not an hour off, whichever way it is read or made.
TEST_F(DateTime, SummerTimeDatesParseAndPrintAtTheirOwnOffset) {
    const i64_kq noon_utc_0715 = 1721044800;  // 2024-07-15 12:00:00 UTC
    date_time t("20240715 14:00:00.250");
    i64_kq seconds = 0;
    i32_kq ms = 0;
    ASSERT_TRUE(t.format(seconds, ms));
    EXPECT_EQ(noon_utc_0715, seconds);
    EXPECT_EQ(250, ms);
    EXPECT_EQ("20240715 14:00:00.250", t.format());
    EXPECT_EQ("20240715 14:00:00.000", date_time(noon_utc_0715, 0).format());
    ASSERT_TRUE(t.assign("15/07/2024 14", "dd/MM/yyyy HH"));
    EXPECT_TRUE(t == date_time(noon_utc_0715, 0));
    i64_kq converted = 0;
    date_time::convert_date_time_to_int64(2024, 7, 15, 14, 0, 0, converted);
    EXPECT_EQ(noon_utc_0715, converted);
    t.add_hour(1);
    EXPECT_EQ("20240715 15:00:00.000", t.format());
}

}  // namespace
