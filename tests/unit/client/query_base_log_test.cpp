#include "client/query_base_log.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <string>
#include <vector>

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

}  // namespace

TEST(QueryBaseLog, TextLineHasHeaderFlagAndMessageAtFixedOffsets) {
    scratch_dir dir;
    query_base_log log;
    ASSERT_TRUE(log.open("t.log"));
    std::string before = stamp_now();
    log.write_txt("info", "hello world");
    std::string after = stamp_now();
    log.close();

    std::string data = read_file("t.log");
    ASSERT_EQ(data.size(), 31u + 4 + 1 + 11 + 1);
    EXPECT_EQ(parse_log_header(data, 0), 11);
    EXPECT_EQ(data.substr(25, 6), "00011 ");
    EXPECT_EQ(data.substr(31), "info hello world\n");
    // Local date and time to the microsecond, taken while the line was written.
    std::string stamp = data.substr(0, 24);
    EXPECT_LE(before, stamp);
    EXPECT_GE(after, stamp);
}

TEST(QueryBaseLog, LengthFieldShowsTheLengthArgumentAndEmptyMessageEndsInBlank) {
    scratch_dir dir;
    query_base_log log;
    ASSERT_TRUE(log.open("t.log"));
    log.write_txt("error", "abc", 7);
    log.write_txt("debug", "");
    log.close();

    std::vector<std::string> lines = split_lines(read_file("t.log"));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(parse_log_header(lines[0], 0), 7);
    EXPECT_EQ(lines[0].substr(31), "error abc");
    EXPECT_EQ(parse_log_header(lines[1], 0), 0);
    EXPECT_EQ(lines[1].substr(25), "00000 debug ");
}

TEST(QueryBaseLog, BinaryRecordOfFiveBytesAddsExactlyThirtyNineAndZeroAddsNothing) {
    scratch_dir dir;
    query_base_log log;
    ASSERT_TRUE(log.open("t.bin"));
    log.write_txt("info", "x");
    size_t before = read_file("t.bin").size();

    log.write_bin('0', "abcde", 5);
    std::string data = read_file("t.bin");
    ASSERT_EQ(data.size(), before + 39);
    EXPECT_EQ(parse_log_header(data, before), 5);
    EXPECT_EQ(data.substr(before + 31), "0 abcde\n");

    log.write_bin('1', "abcde", 0);
    log.write_bin('1', "abcde", -3);
    EXPECT_EQ(read_file("t.bin").size(), before + 39);
}

TEST(QueryBaseLog, PayloadWithNewlinesAndZeroBytesIsWrittenUnchanged) {
    scratch_dir dir;
    const std::string first("a\nb\0c\n\0", 7);
    const std::string second("\n\n\0", 3);
    query_base_log log;
    ASSERT_TRUE(log.open("t.bin"));
    log.write_bin('1', first.data(), static_cast<int>(first.size()));
    log.write_bin('0', second.data(), static_cast<int>(second.size()));
    log.close();

    std::vector<bin_record> records;
    ASSERT_TRUE(walk_bin_records(read_file("t.bin"), records));
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].flag, '1');
    EXPECT_EQ(records[0].payload, first);
    EXPECT_EQ(records[1].flag, '0');
    EXPECT_EQ(records[1].payload, second);
}

TEST(QueryBaseLog, ClosedLoggerDropsWritesAndClosesOnlyOnce) {
    scratch_dir dir;
    query_base_log log;
    log.write_txt("info", "never");
    log.write_bin('0', "never", 5);
    log.flush_all();
    EXPECT_FALSE(file_exists("t.log"));

    EXPECT_FALSE(log.open("no_such_folder/t.log"));
    log.write_txt("info", "dropped");

    ASSERT_TRUE(log.open("t.log"));
    log.write_txt("info", "kept");
    log.close();
    log.close();
    log.write_txt("info", "dropped too");
    EXPECT_EQ(split_lines(read_file("t.log")).size(), 1u);
}

TEST(QueryBaseLog, OpenAndFlushAppendBehindEarlierLines) {
    scratch_dir dir;
    {
        query_base_log first;
        ASSERT_TRUE(first.open("t.log"));
        first.write_txt("info", "one");
    }  // the destructor closes
    query_base_log log;
    ASSERT_TRUE(log.open("t.log"));
    log.write_txt("info", "two");
    log.flush_all();
    log.write_txt("info", "three");
    log.close();

    std::vector<std::string> lines = split_lines(read_file("t.log"));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].substr(31), "info one");
    EXPECT_EQ(lines[1].substr(31), "info two");
    EXPECT_EQ(lines[2].substr(31), "info three");
}
