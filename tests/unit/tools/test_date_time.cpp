#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "tools/date_time.h"

using namespace VORTANE::TOOLS;

namespace {

// Runs each test in a fixed zone (UTC unless a test switches) and restores the
// process's own zone afterwards.
class DateTime : public ::testing::Test {
protected:
    void SetUp() override {
        const char* tz = getenv("TZ");
        m_had_tz = tz != nullptr;
        if (m_had_tz)
            m_saved_tz = tz;
        use_zone("UTC0");
    }
    void TearDown() override {
        if (m_had_tz) {
            setenv("TZ", m_saved_tz.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    static void use_zone(const char* tz) {
        setenv("TZ", tz, 1);
        tzset();
    }
    // Central European time, written out so that no zone database is needed.
    static void use_central_europe() { use_zone("CET-1CEST,M3.5.0,M10.5.0/3"); }

    static date_time at(int y, int mo, int d, int h, int mi, int s, int ms = 0) {
        date_time t(static_cast<i64_kq>(0), 0);
        t.set_date(y, mo, d);
        t.set_time(h, mi, s, ms);
        return t;
    }
    // The local date now, as yyyyMMdd.
    static std::string today() {
        time_t now = time(nullptr);
        tm t;
        localtime_r(&now, &t);
        char text[16];
        strftime(text, sizeof(text), "%Y%m%d", &t);
        return text;
    }

private:
    bool m_had_tz = false;
    std::string m_saved_tz;
};

}  // namespace

TEST_F(DateTime, ParsesAndPrintsTheDefaultFormat) {
    date_time t("20240315 13:45:07.089");
    EXPECT_EQ(t.format(), "20240315 13:45:07.089");
    EXPECT_EQ(t.get_datetime_str(), "20240315 13:45:07");
    EXPECT_EQ(t.get_sql_datetime_str(), "2024-03-15 13:45:07");
    EXPECT_EQ(t.format("dd/MM/yyyy iii"), "15/03/2024 089");

    // Only positions count: separators aren't compared.
    date_time other;
    ASSERT_TRUE(other.assign("20240315/13-45-07,089"));
    EXPECT_TRUE(other == t);
    ASSERT_TRUE(other.assign("15.03.2024 1345", "dd.MM.yyyy HHmm"));
    EXPECT_EQ(other.format(), "20240315 13:45:00.000");
}

TEST_F(DateTime, MissingTokensTakeTodayAndZero) {
    const std::string before = today();
    date_time t("09:30", "HH:mm");
    const std::string day = t.format("yyyyMMdd");
    EXPECT_TRUE(day == before || day == today()) << day;  // midnight may pass meanwhile
    EXPECT_EQ(t.format("HH:mm:ss.iii"), "09:30:00.000");
}

TEST_F(DateTime, RangesAreCheckedPerTokenNotPerMonth) {
    date_time t = at(2000, 1, 1, 0, 0, 0);
    ASSERT_TRUE(t.assign("20240230", "yyyyMMdd"));
    t.add_sec(0);
    EXPECT_EQ(t.get_sql_datetime_str(), "2024-03-01 00:00:00");
    EXPECT_TRUE(t.assign("20240300", "yyyyMMdd"));  // day 0 passes
    t.add_sec(0);
    EXPECT_EQ(t.get_sql_datetime_str(), "2024-02-29 00:00:00");

    const date_time kept = at(2001, 2, 3, 4, 5, 6, 7);
    for (const char* bad :
         {"20240015 00:00:00.000", "20241315 00:00:00.000", "20240132 00:00:00.000",
          "20240115 24:00:00.000", "20240115 00:60:00.000", "20240115 00:00:60.000",
          "2024011x 00:00:00.000", "20240115 00:00:00.-01"}) {
        t = kept;
        EXPECT_FALSE(t.assign(bad)) << bad;
        EXPECT_TRUE(t == kept) << bad;
    }
}

TEST_F(DateTime, ShortTextsAndNullsAreRefused) {
    date_time t = at(2001, 2, 3, 4, 5, 6, 7);
    const date_time kept = t;
    EXPECT_FALSE(t.assign("20240315 "));           // ends exactly where the hour stands
    EXPECT_FALSE(t.assign("202"));                 // ends before the month's place
    EXPECT_FALSE(t.assign("20240315 13:45:07."));  // empty millisecond
    EXPECT_FALSE(t.assign(static_cast<lpcstr_kq>(nullptr)));
    EXPECT_FALSE(t.assign("2024", nullptr));
    EXPECT_FALSE(t.assign(-1, 0));
    EXPECT_FALSE(t.assign(0, -1));
    EXPECT_TRUE(t == kept);
    EXPECT_EQ(t.format(static_cast<lpcstr_kq>(nullptr)), "");

    ASSERT_TRUE(t.assign("202", "yyyy"));  // a shortened token reads what is there
    EXPECT_EQ(t.format("yyyy"), "0202");
    int y, mo, d, h, mi, sec, ms;
    t.get_date(y, mo, d);
    t.get_time(h, mi, sec, ms);
    EXPECT_EQ(y, 202);
    EXPECT_EQ(h + mi + sec + ms, 0);
}

TEST_F(DateTime, FailedConstructionFallsBackOnTheCurrentTime) {
    const i64_kq before = time(nullptr);
    for (date_time t : {date_time("2024x315 13:45:07.089"), date_time(-1, 0),
                        date_time(static_cast<lpcstr_kq>(nullptr)), date_time()}) {
        i64_kq seconds = 0;
        i32_kq ms = -1;
        t.format(seconds, ms);
        EXPECT_GE(seconds, before);
        EXPECT_LE(seconds, static_cast<i64_kq>(time(nullptr)));
        EXPECT_EQ(ms, 0);
    }
    EXPECT_EQ(date_time(86400 + 3723, 456).format(), "19700102 01:02:03.456");
}

TEST_F(DateTime, PrintingReplacesTheFirstWholeTokenOnly) {
    date_time t = at(12345, 1, 2, 3, 4, 5, 6);
    EXPECT_EQ(t.format("yyyy-MM"), "12345-01");
    t = at(2024, 7, 8, 9, 10, 11, 12);
    EXPECT_EQ(t.format("yyyy yyyy"), "2024 yyyy");
    EXPECT_EQ(t.format("y-M-d"), "y-M-d");

    char out[32];
    memset(out, 'z', sizeof(out));
    const int len = static_cast<int>(strlen("20240708 09:10:11.012"));
    EXPECT_FALSE(t.format(out, len));
    EXPECT_EQ(out[0], 'z');
    EXPECT_TRUE(t.format(out, len + 1));
    EXPECT_STREQ(out, "20240708 09:10:11.012");
    EXPECT_TRUE(t.format(out, 11, "yyyy-MM-dd"));
    EXPECT_STREQ(out, "2024-07-08");
}

TEST_F(DateTime, EpochConversions) {
    i64_kq seconds = 0;
    date_time::convert_date_time_to_int64(2024, 1, 1, 0, 0, 0, seconds);
    EXPECT_EQ(seconds, 1704067200);
    date_time::convert_date_time_to_int64("2024", "01", "01", "1", "1", "1", seconds);
    EXPECT_EQ(seconds, 1704067200 + 3661);

    char text[32];
    EXPECT_TRUE(date_time::convert_int64_date_time_to_str(1704067200 + 3661, text, 32));
    EXPECT_STREQ(text, "2024:1:1-1:1:1");
    EXPECT_TRUE(date_time::convert_int64_date_time_to_str(1704067200, text, 5));
    EXPECT_STREQ(text, "2024");
    EXPECT_FALSE(date_time::convert_int64_date_time_to_str(-1, text, 32));

    date_time t = at(2024, 1, 1, 1, 1, 1, 250);
    i32_kq ms = 0;
    EXPECT_TRUE(t.format(seconds, ms));
    EXPECT_EQ(seconds, 1704067200 + 3661);
    EXPECT_EQ(ms, 250);

    use_central_europe();
    date_time::convert_date_time_to_int64(2024, 1, 1, 0, 0, 0, seconds);
    EXPECT_EQ(seconds, 1704067200 - 3600);
    // mktime decides on summer time itself.
    date_time::convert_date_time_to_int64(2024, 7, 1, 12, 0, 0, seconds);
    EXPECT_EQ(seconds, 1719828000);
    t = at(2024, 7, 1, 12, 0, 0);
    t.add_sec(0);
    EXPECT_EQ(t.get_datetime_str(), "20240701 12:00:00");
}

TEST_F(DateTime, ArithmeticCarriesDaysMonthsAndYears) {
    date_time t = at(2023, 12, 31, 0, 0, 0, 789);
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
    t.subtract_min(1);
    EXPECT_EQ(t.get_datetime_str(), "20230228 23:59:00");
    t.subtract_sec(59 * 60 + 1);
    EXPECT_EQ(t.format(), "20230228 22:59:59.789");
    t.add_day(24856);  // beyond what 32-bit seconds would hold
    EXPECT_EQ(t.get_datetime_str(), "20910319 22:59:59");
}

TEST_F(DateTime, ADayIs86400SecondsAcrossDaylightSaving) {
    use_central_europe();
    date_time t = at(2024, 3, 30, 12, 0, 0, 5);
    t.add_day(1);
    EXPECT_EQ(t.format(), "20240331 13:00:00.005");
    t = at(2024, 3, 31, 1, 30, 0);
    t.add_hour(1);
    EXPECT_EQ(t.get_datetime_str(), "20240331 03:30:00");
    t = at(2024, 10, 27, 12, 0, 0);
    t.subtract_day(1);
    EXPECT_EQ(t.get_datetime_str(), "20241026 13:00:00");
}

TEST_F(DateTime, CalendarAndOrdering) {
    EXPECT_TRUE(at(2000, 1, 1, 0, 0, 0).leap_year());
    EXPECT_TRUE(at(2024, 1, 1, 0, 0, 0).leap_year());
    EXPECT_FALSE(at(1900, 1, 1, 0, 0, 0).leap_year());
    EXPECT_FALSE(at(2023, 1, 1, 0, 0, 0).leap_year());
    EXPECT_EQ(at(2024, 3, 15, 23, 59, 59).weekday(), 5);  // a Friday
    EXPECT_EQ(at(2000, 1, 1, 0, 0, 0).weekday(), 6);
    EXPECT_EQ(at(2024, 3, 0, 0, 0, 0).weekday(), 4);  // day 0: 29 February, a Thursday

    const date_time a = at(2024, 5, 6, 7, 8, 9, 10);
    const date_time later_ms = at(2024, 5, 6, 7, 8, 9, 11);
    const date_time earlier_year = at(2023, 12, 31, 23, 59, 59, 999);
    EXPECT_TRUE(a < later_ms);
    EXPECT_TRUE(later_ms > a);
    EXPECT_FALSE(a < a);
    EXPECT_FALSE(a > a);
    EXPECT_TRUE(earlier_year < a);
    EXPECT_FALSE(a == later_ms);
    date_time b = earlier_year;
    b = b;
    b = a;
    EXPECT_TRUE(b == a);
}
