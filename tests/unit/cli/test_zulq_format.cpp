// zulq's formats on small samples, for what the end-to-end runs don't pin: exact layouts,
// quoting and escaping of awkward texts, local time.

#include <gtest/gtest.h>

#include "zulq_format.h"

using namespace zulq;

namespace {

// Everything a Printer writes.
template <class F>
std::string printed(OutputFormat format, F print) {
    char* buf = nullptr;
    size_t size = 0;
    FILE* f = open_memstream(&buf, &size);
    Printer p(f, format);
    print(p);
    fclose(f);
    const std::string out(buf, size);
    free(buf);
    return out;
}

const std::vector<Column> kColumns = {{"Name", false, 4}, {"Qty", true, 3}, {"Note", false, 4}};
const std::vector<Row> kRows = {{"ZQ7", "5", "x"}, {"ACCOUNT-2", "12345", "a, \"b\""}};
const auto kAll = [](Printer& p) { p.print_all(kColumns, kRows); };
// Streamed rows of two kinds: a header for each kind once, columns of natural width.
const auto kStreamed = [](Printer& p) {
    const std::vector<Column> a = {{"Event", false, 5}, {"X", true, 3}},
                              b = {a[0], {"Y", false, 2}};
    p.print_one(a, {"a", "1"}), p.print_one(b, {"b", "t"}), p.print_one(a, {"a", "22"});
};

}  // namespace

TEST(ZulqFormat, TableCsvAndVerticalLayoutsAndCsvQuoting) {
    EXPECT_EQ(
        "Name         Qty  Note\n---------  -----  ------\nZQ7            5  x\n"
        "ACCOUNT-2  12345  a, \"b\"\n",
        printed(OutputFormat::table, kAll));
    EXPECT_EQ("Name,Qty,Note\nZQ7,5,x\nACCOUNT-2,12345,\"a, \"\"b\"\"\"\n",
              printed(OutputFormat::csv, kAll));
    EXPECT_EQ("Name  ZQ7\nQty   5\nNote  x\n\nName  ACCOUNT-2\nQty   12345\nNote  a, \"b\"\n",
              printed(OutputFormat::vertical, kAll));
    EXPECT_EQ("Event,X\na,1\nEvent,Y\nb,t\na,22\n", printed(OutputFormat::csv, kStreamed));
    EXPECT_EQ("Event    X\n-----  ---\na        1\n\nEvent  Y\n-----  --\nb      t\na       22\n",
              printed(OutputFormat::table, kStreamed));
    EXPECT_EQ("a,b c,1.5,", csv_line({"a", "b c", "1.5", ""}));
    EXPECT_EQ("\"x,y\",\"say \"\"hi\"\"\",\" lead\",\"trail \",\"two\nlines\"",
              csv_line({"x,y", "say \"hi\"", " lead", "trail ", "two\nlines"}));
}

TEST(ZulqFormat, JsonNumbersBareTextsQuotedAndEscaped) {
    const std::vector<Column> columns = {{"N", true, 0}, {"T", false, 0}, {"R", true, 0}};
    EXPECT_EQ("{\"N\":-12,\"T\":\"a\\\"b\\\\c\",\"R\":1.5}",
              json_line(columns, {"-12", "a\"b\\c", "1.5"}));
    // Not numbers to JSON: kept as strings. Bytes outside ASCII's printable ones as codes.
    EXPECT_EQ("{\"N\":\"nan\",\"T\":\"\\u00E9\\u0001\",\"R\":\"-inf\"}",
              json_line(columns, {"nan", "\xe9\x01", "-inf"}));
}

// 1700000000 s after the epoch is 2023-11-14 22:13:20 UTC; POSIX "UTC-3" is 3 h east of it.
TEST(ZulqFormat, TimestampsAreLocalTimeWithNanosecondsAndTextsStopAtTheirWidth) {
    setenv("TZ", "UTC-3", 1);
    tzset();
    EXPECT_EQ("2023-11-15 01:13:20.000000005", format_timestamp((1700000000ull << 32) | 5u));
    EXPECT_EQ("", format_timestamp(0)) << "a time that has not happened";
    unsetenv("TZ");
    tzset();
    EXPECT_EQ("ABCD", format_text("ABCDEFGH", 4)) << "a full field has no terminator";
    EXPECT_EQ("a\\x01b\\x7F", format_text("a\x01"
                                          "b\x7f",
                                          8));
}
