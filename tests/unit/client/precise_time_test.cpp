#include "client/precise_time.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstring>
#include <ctime>
#include <string>

#include "support/scratch_dir.h"

using namespace zul_test;

TEST(PreciseTime, StartDayIsTodayAndItsMidnightAndNeverChanges) {
    time_t before = time(nullptr);
    precise_time::initialize();
    time_t after = time(nullptr);
    std::string day = precise_time::m_startDate;
    EXPECT_TRUE(day == local_day(before) || day == local_day(after)) << day;
    EXPECT_TRUE(precise_time::m_inited);

    time_t midnight = static_cast<time_t>(precise_time::m_lStartMicrosecondsOftheDay / 1000000);
    EXPECT_EQ(precise_time::m_lStartMicrosecondsOftheDay % 1000000, 0);
    tm local;
    localtime_r(&midnight, &local);
    EXPECT_EQ(local.tm_hour, 0);
    EXPECT_EQ(local.tm_min, 0);
    EXPECT_EQ(local.tm_sec, 0);
    EXPECT_EQ(local_day(midnight), day);

    // A later call keeps the day of the first, whatever it is meanwhile.
    strcpy(precise_time::m_startDate, "19990101");
    precise_time::initialize();
    EXPECT_STREQ(precise_time::m_startDate, "19990101");
    strcpy(precise_time::m_startDate, day.c_str());
}

TEST(PreciseTime, CurrentMicrosecondsFollowTheWallClock) {
    timeval tv;
    gettimeofday(&tv, nullptr);
    long long before = tv.tv_sec * 1000000LL + tv.tv_usec;
    long long now = precise_time::get_current_microseconds();
    gettimeofday(&tv, nullptr);
    long long after = tv.tv_sec * 1000000LL + tv.tv_usec;
    EXPECT_LE(before, now);
    EXPECT_GE(after, now);
}

TEST(PreciseTime, TimestampSplitsIntoSecondsHighAndNanosecondsLow) {
    tm result;
    unsigned int nano = 0;
    precise_time::convert_from_timestamp(0x0000000100000002ull, result, nano);
    EXPECT_EQ(nano, 2u);
    time_t one = 1;
    tm expected;
    localtime_r(&one, &expected);
    EXPECT_EQ(mktime(&result), mktime(&expected));

    // The seconds are unsigned 32 bits: 0xF0000000 lies in 2097, not before 1970.
    precise_time::convert_from_timestamp(0xF0000000FFFFFFFFull, result, nano);
    EXPECT_EQ(nano, 0xFFFFFFFFu);
    EXPECT_EQ(result.tm_year + 1900, 2097);
}
