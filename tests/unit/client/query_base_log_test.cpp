#include "client/query_base_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
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

// The header as the one format of the system prints it, for comparison.
std::string printf_header(long long now_us, int len) {
    const time_t sec = static_cast<time_t>(now_us / 1000000);
    tm local;
    localtime_r(&sec, &local);
    char buf[96];
    snprintf(buf, sizeof(buf), "%04d%02d%02d-%02d:%02d:%02d.%06d %05d ", local.tm_year + 1900,
             local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
             static_cast<int>(now_us % 1000000), len);
    return buf;
}

// One stamp over a run of times that stays in a second, moves on, comes back and jumps
// across days and years: the cached date and second must follow every change.
TEST(LogStamp, HeaderIsWhatTheFormatPrintsForEveryTimeAndLength) {
    const long long base = 1718000000LL * 1000000;  // a June day
    const long long times[] = {base,
                               base + 999999,
                               base + 1000000,
                               base + 7,
                               base + 86400LL * 1000000 + 12,
                               base + 200LL * 86400 * 1000000 + 999000,
                               base - 3600LL * 1000000,
                               1000000,
                               0,
                               4102444800LL * 1000000 + 123456};
    const int lengths[] = {0, 7, 99999, 100000, 123456789, INT_MAX, -3, -99999, INT_MIN};
    log_stamp stamp;
    for (long long now : times) {
        for (int len : lengths) {
            char out[log_stamp::HEADER_ROOM];
            const size_t n = stamp.format(out, now, len);
            ASSERT_EQ(printf_header(now, len), std::string(out, n)) << now << " " << len;
        }
    }
}

TEST(LogStamp, DecimalsArePaddedAsPrintfPadsThem) {
    const struct {
        long long value;
        int width;
    } cases[] = {{0, 0},      {0, 5},         {42, 6},        {-42, 6}, {-7, 1},
                 {123456, 3}, {LLONG_MAX, 0}, {LLONG_MIN, 0}, {-1, 25}};
    for (const auto& c : cases) {
        char expected[64];
        snprintf(expected, sizeof(expected), "%0*lld", c.width, c.value);
        char out[64];
        const size_t n = put_decimal(out, c.value, c.width);
        EXPECT_EQ(std::string(expected), std::string(out, n)) << c.value << " " << c.width;
    }
}

// A line is in the file as soon as its call returns: a process that dies right after
// (no exit handlers, no flush) leaves every line it wrote.
TEST(QueryBaseLog, LinesWrittenBeforeADeathAreAllInTheFile) {
    scratch_dir dir;
    const pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        query_base_log txt;
        query_base_log bin;
        if (!txt.open("t.log") || !bin.open("t.bin"))
            _exit(3);
        for (int i = 0; i < 50; ++i) {
            txt.write_txt("info", ("line " + std::to_string(i)).c_str());
            bin.write_bin('0', "abc\ndef", 7);
        }
        txt.write_txt_pair(1718000000LL * 1000000, "proc x", "cost");
        abort();
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFSIGNALED(status)) << "the child did not die as planned: " << status;
    const std::vector<std::string> lines = split_lines(read_file("t.log"));
    ASSERT_EQ(52u, lines.size());
    EXPECT_EQ("info line 49", lines[49].substr(31));
    EXPECT_EQ(printf_header(1718000000LL * 1000000, 0) + "proc x ", lines[50]);
    EXPECT_EQ(printf_header(1718000000LL * 1000000, 0) + "cost ", lines[51]);
    std::vector<bin_record> records;
    ASSERT_TRUE(walk_bin_records(read_file("t.bin"), records));
    EXPECT_EQ(50u, records.size());
}

// The descriptor of each open log, found by the file it names.
int descriptor_of(const std::string& name) {
    const std::string path = std::filesystem::absolute(name).string();
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ec;
        if (std::filesystem::read_symlink(entry.path(), ec).string() == path)
            return std::stoi(entry.path().filename().string());
    }
    return -1;
}

// A program that the caller starts must not inherit the logs, reopened ones included.
TEST(QueryBaseLog, LogsAreClosedOnExec) {
    scratch_dir dir;
    query_base_log log;
    ASSERT_TRUE(log.open("t.log"));
    int fd = descriptor_of("t.log");
    ASSERT_NE(-1, fd);
    EXPECT_NE(0, fcntl(fd, F_GETFD) & FD_CLOEXEC);
    log.flush_all();
    fd = descriptor_of("t.log");
    ASSERT_NE(-1, fd);
    EXPECT_NE(0, fcntl(fd, F_GETFD) & FD_CLOEXEC);
}

// Two loggers of one file, as two clients of one process or two processes in one
// folder have: each line lands whole at the end, none overwrites or splits another.
TEST(QueryBaseLog, TwoLoggersOfOneFileNeverTearOrOverwriteALine) {
    scratch_dir dir;
    const int per_thread = 300;
    auto writer = [&](char fill) {
        query_base_log log;
        if (!log.open("shared.log"))
            return;
        for (int i = 0; i < per_thread; ++i) {
            // Lengths up to several pages, so that a line of one does not fit in a page.
            const std::string message(static_cast<size_t>(1 + (i * 997) % 9000), fill);
            log.write_txt("info", message.c_str());
        }
    };
    std::thread a(writer, 'a');
    std::thread b(writer, 'b');
    a.join();
    b.join();
    const std::vector<std::string> lines = split_lines(read_file("shared.log"));
    ASSERT_EQ(2u * per_thread, lines.size());
    int count[2] = {0, 0};
    for (const std::string& line : lines) {
        const long len = parse_log_header(line, 0);
        ASSERT_GT(len, 0) << line.substr(0, 40);
        ASSERT_EQ(31u + 5 + static_cast<size_t>(len), line.size());
        const char fill = line[36];
        ASSERT_TRUE(fill == 'a' || fill == 'b');
        ASSERT_EQ(std::string::npos, line.find_first_not_of(fill, 36)) << "a torn line";
        ++count[fill - 'a'];
    }
    EXPECT_EQ(per_thread, count[0]);
    EXPECT_EQ(per_thread, count[1]);
}

// Nothing waits in a buffer, so a flush only opens the file again by its name: a log
// that its owner moved away goes on in a new file of that name.
TEST(QueryBaseLog, FlushGoesOnInAFreshFileAfterTheLogWasMoved) {
    scratch_dir dir;
    query_base_log log;
    ASSERT_TRUE(log.open("t.log"));
    log.write_txt("info", "before");
    ASSERT_EQ(0, rename("t.log", "t.log.1"));
    log.write_txt("info", "after the move");
    log.flush_all();
    log.write_txt("info", "after the flush");
    const std::vector<std::string> moved = split_lines(read_file("t.log.1"));
    ASSERT_EQ(2u, moved.size());
    EXPECT_EQ("info after the move", moved[1].substr(31));
    const std::vector<std::string> fresh = split_lines(read_file("t.log"));
    ASSERT_EQ(1u, fresh.size());
    EXPECT_EQ("info after the flush", fresh[0].substr(31));
}

TEST(PreciseTime, TimestampsHoldUnsignedSecondsHighAndNanosecondsLow) {
    tm result;
    unsigned int nano = 0;
    precise_time::convert_from_timestamp(0xF0000000FFFFFFFFull, result, nano);
    EXPECT_EQ(nano, 0xFFFFFFFFu);
    EXPECT_EQ(result.tm_year + 1900, 2097);  // not before 1970
}

}  // namespace
