#include "client/query_base_log.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <string>
#include <vector>

#include "client/precise_time.h"
#include "support/scratch_dir.h"

using namespace zul_test;

namespace {

// "YYYYMMDD-HH:MM:SS.uuuuuu" of now, as the header writes it.
std::string stamp_now() {
    timeval tv;
    gettimeofday(&tv, nullptr);
    tm local;
    localtime_r(&tv.tv_sec, &local);
    char buf[96];
    snprintf(buf, sizeof(buf), "%04d%02d%02d-%02d:%02d:%02d.%06ld", local.tm_year + 1900,
             local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
             static_cast<long>(tv.tv_usec));
    return buf;
}

TEST(QueryBaseLog, TextLinesHaveTheHeaderFlagAndMessageAtFixedOffsets) {
    scratch_dir dir;
    query_base_log log;
    ASSERT_TRUE(log.open("t.log"));
    const std::string before = stamp_now();
    log.write_txt("info", "hello world");
    const std::string after = stamp_now();
    log.write_txt("error", "abc", 7);  // the field shows the length given
    log.write_txt("debug", "");
    log.close();
    log.close();
    log.write_txt("info", "dropped");

    const std::string data = read_file("t.log");
    ASSERT_EQ(data.size(), 3 * 31u + 17 + 10 + 7);
    EXPECT_EQ(data.substr(24, 7), " 00011 ");
    EXPECT_EQ(data.substr(31, 17), "info hello world\n");
    EXPECT_LE(before, data.substr(0, 24));  // local time to the microsecond
    EXPECT_GE(after, data.substr(0, 24));
    const std::vector<std::string> lines = split_lines(data);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(parse_log_header(lines[1], 0), 7);
    EXPECT_EQ(lines[1].substr(31), "error abc");
    EXPECT_EQ(lines[2].substr(25), "00000 debug ");
}

TEST(QueryBaseLog, BinaryRecordsCarryTheirPayloadUnchanged) {
    scratch_dir dir;
    const std::string first("a\nb\0c\n\0", 7);
    {
        query_base_log log;
        ASSERT_TRUE(log.open("t.bin"));
        log.write_bin('0', "abcde", 5);
        EXPECT_EQ(read_file("t.bin").substr(24), " 00005 0 abcde\n");
        log.write_bin('1', "abcde", 0);
        log.write_bin('1', "abcde", -3);
        EXPECT_EQ(read_file("t.bin").size(), 39u);
    }
    query_base_log log;  // a second logger appends, and a flush keeps the file
    ASSERT_TRUE(log.open("t.bin"));
    log.write_bin('1', first.data(), static_cast<int>(first.size()));
    log.flush_all();
    log.write_bin('0', "\n", 1);
    std::vector<bin_record> records;
    ASSERT_TRUE(walk_bin_records(read_file("t.bin"), records));
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[1].flag, '1');
    EXPECT_EQ(records[1].payload, first);
    EXPECT_EQ(records[2].payload, "\n");
}

TEST(PreciseTime, TimestampsHoldUnsignedSecondsHighAndNanosecondsLow) {
    tm result;
    unsigned int nano = 0;
    precise_time::convert_from_timestamp(0xF0000000FFFFFFFFull, result, nano);
    EXPECT_EQ(nano, 0xFFFFFFFFu);
    EXPECT_EQ(result.tm_year + 1900, 2097);  // not before 1970
}

}  // namespace
