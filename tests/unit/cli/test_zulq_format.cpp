// zulq's formats on small samples, for what the end-to-end runs don't pin: exact layouts,
// quoting and escaping of awkward texts, local time.

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "zulq_format.h"
#include "zulq_output.h"

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

// The progress line: nothing in the first second, then "N records, R/s" at most every 200 ms,
// each drawing erasing the last; clear() erases it; disabled, nothing at all.
TEST(ZulqOutput, ProgressLineShowsAfterASecondAndIsErased) {
    for (const bool enabled : {true, false}) {
        char* buf = nullptr;
        size_t size = 0;
        FILE* f = open_memstream(&buf, &size);
        Progress p(f, enabled);
        const Progress::Clock::time_point t0;
        p.begin(t0);
        for (int i = 0; i < 30; ++i)
            p.add();
        p.tick(t0 + std::chrono::milliseconds(900));
        p.tick(t0 + std::chrono::milliseconds(1500));  // 30 records in 1.5 s
        p.tick(t0 + std::chrono::milliseconds(1600));  // too soon for another
        p.add();
        p.tick(t0 + std::chrono::milliseconds(2000));
        p.clear();
        p.clear();
        fclose(f);
        const std::string out(buf, size);
        free(buf);
        EXPECT_EQ(enabled ? "\r\033[K30 records, 20/s\r\033[K31 records, 16/s\r\033[K" : "", out);
    }
}

// Events of two types: CSV under one header, the union of their columns; JSON lines with the
// event's own fields.
TEST(ZulqOutput, WatchEventsUnderOneHeaderOrWithTheirOwnFields) {
    ZUL_AccountBP bp{};
    strcpy(bp.m_Account, "A1");
    bp.m_InitialBp = 1.5;
    ZUL_AccountCashInout cash{};
    strcpy(cash.m_Account, "B2");
    cash.m_CashInOut = -2;
    const std::vector<const RecordDesc*> types = {&record_desc<ZUL_AccountBP>(),
                                                  &record_desc<ZUL_AccountCashInout>()};
    const auto events = [&](Printer& p) {
        WatchPrinter w(p, types);
        w.event("cash", record_desc<ZUL_AccountCashInout>(), &cash);
        w.event("bp-report", record_desc<ZUL_AccountBP>(), &bp);
    };
    EXPECT_EQ(
        "Event,Account,InitialBp,AvailableBp,Margin,FrozenMargin,CommissionFee,FrozenCommission,"
        "OvnInitMargin,TotalLiquidPL,TotalMarketPL,AccountIdx,CashInOut,CashInTotal,CashOutTotal\n"
        "cash,B2,,0,,,,,,,,,-2,0,0\n"
        "bp-report,A1,1.5,0,0,0,0,0,0,0,0,0,,,\n",
        printed(OutputFormat::csv, events));
    EXPECT_EQ(
        "{\"Event\":\"cash\",\"Account\":\"B2\",\"AvailableBp\":0,\"CashInOut\":-2,"
        "\"CashInTotal\":0,\"CashOutTotal\":0}\n"
        "{\"Event\":\"bp-report\",\"Account\":\"A1\",\"InitialBp\":1.5,\"AvailableBp\":0,"
        "\"Margin\":0,\"FrozenMargin\":0,\"CommissionFee\":0,\"FrozenCommission\":0,"
        "\"OvnInitMargin\":0,\"TotalLiquidPL\":0,\"TotalMarketPL\":0,\"AccountIdx\":0}\n",
        printed(OutputFormat::json, events));
}

// Rows as they come: columns as wide as their types allow, so a later, longer value stays in
// its column; an empty answer prints its header alone.
TEST(ZulqOutput, AnswerRowsStreamInTypeWideColumns) {
    ZUL_AccountMargin a{}, b{};
    strcpy(a.m_Symbol, "X");
    strcpy(b.m_Symbol, "LONGER-SYMBOL-19CHR");
    b.m_LongMarginRatio = -2.2250738585072014e-308;
    const std::string table = printed(OutputFormat::table, [&](Printer& p) {
        AnswerPrinter answer(p);
        answer.record(record_desc<ZUL_AccountMargin>(), &a);
        answer.record(record_desc<ZUL_AccountMargin>(), &b);
        answer.finish(record_desc<ZUL_AccountMargin>());
    });
    std::vector<std::string> lines;
    std::istringstream in(table);
    for (std::string l; std::getline(in, l);)
        lines.push_back(l);
    ASSERT_EQ(4u, lines.size()) << table;
    // The last column is a number, right-aligned: every line as long as the header.
    for (const std::string& l : lines)
        EXPECT_EQ(lines[0].size(), l.size()) << table;
    EXPECT_EQ("HedgeFlag,Symbol,ExchangeID,ProdID,LongMarginRatio,ShortMarginRatio\n",
              printed(OutputFormat::csv, [&](Printer& p) {
                  AnswerPrinter answer(p);
                  answer.finish(record_desc<ZUL_AccountMargin>());
              }));
}
