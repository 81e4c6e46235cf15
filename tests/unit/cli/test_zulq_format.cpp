// The record descriptions and output formats of zulq, without a server.

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <cmath>
#include <cstring>
#include <ctime>
#include <limits>
#include <map>
#include <string>

#include "zulq_format.h"
#include "zulq_records.h"

using namespace zulq;

namespace {

// Sets TZ for the life of the object.
class time_zone {
public:
    explicit time_zone(const char* tz) {
        const char* old = getenv("TZ");
        m_had = old != nullptr;
        if (m_had)
            m_old = old;
        setenv("TZ", tz, 1);
        tzset();
    }
    ~time_zone() {
        if (m_had)
            setenv("TZ", m_old.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    bool m_had = false;
    std::string m_old;
};

// Everything a Printer writes, as text.
template <class F>
std::string printed(OutputFormat format, F print) {
    char* buf = nullptr;
    size_t size = 0;
    FILE* f = open_memstream(&buf, &size);
    {
        Printer p(f, format);
        print(p);
    }
    fclose(f);
    std::string out(buf, size);
    free(buf);
    return out;
}

const FieldDesc& field(const RecordDesc& d, const std::string& column) {
    for (const FieldDesc& f : d.fields) {
        if (f.column == column)
            return f;
    }
    throw std::runtime_error("no column " + column + " in " + d.type);
}

std::string cell(const RecordDesc& d, const void* record, const std::string& column) {
    return format_field(field(d, column), record);
}

}  // namespace

// A field left out of a description, or listed at the wrong place, leaves a gap or an
// overlap: the fields must cover each record exactly, in order.
TEST(ZulqRecords, EveryDescriptionCoversItsRecordFieldByField) {
    // Field counts of the public records, as their definitions list them.
    const std::map<std::string, size_t> counts = {
        {"ZUL_QueryAccountOrder", 21},   {"ZUL_QueryAccountArbiOrder", 19},
        {"ZUL_QueryOrderExecution", 10}, {"ZUL_QueryOrderExecutionEx", 12},
        {"ZUL_QueryAccountQuote", 25},   {"ZUL_AccountInfo", 9},
        {"ZUL_AccountPosition", 12},     {"ZUL_AccountComboPosition", 12},
        {"ZUL_AccountComboRule", 14},    {"ZUL_AccountOptionPosition", 19},
        {"ZUL_AccountBP", 11},           {"ZUL_AccountBPDetail", 21},
        {"ZUL_AccountCashInout", 5},     {"ZUL_SymbolField", 24},
        {"ZUL_AccountMargin", 6},        {"ZUL_AccountFee", 11},
        {"ZUL_AccountRiskData", 119},    {"ZUL_AccountSymbolRiskData", 52},
    };
    const std::vector<const RecordDesc*> all = all_record_descs();
    ASSERT_EQ(counts.size(), all.size());
    for (const RecordDesc* d : all) {
        ASSERT_EQ(1u, counts.count(d->type)) << d->type;
        EXPECT_EQ(counts.at(d->type), d->fields.size()) << d->type;
        size_t next = 0;
        for (const FieldDesc& f : d->fields) {
            EXPECT_EQ(next, f.offset) << d->type << "." << f.column;
            EXPECT_EQ(std::string::npos, f.column.find("m_")) << d->type << "." << f.column;
            next = f.offset + f.width;
        }
        EXPECT_EQ(d->size, next) << d->type;
    }
}

// Values are read at their own width and sign: a one-byte field of 255 is not -1, a
// negative direction is not four billion, an 8-byte count keeps its high bytes.
TEST(ZulqFormat, NumbersReadAtTheirWidthAndSign) {
    ZUL_AccountPosition p;
    memset(&p, 0x7b, sizeof(p));
    p.m_PosiDirection = -2;
    p.m_HedgeFlag = 255;
    p.m_TodayQty = 4000000000u;
    p.m_PositionCost = -0.1;
    const RecordDesc& d = record_desc<ZUL_AccountPosition>();
    EXPECT_EQ("-2", cell(d, &p, "PosiDirection"));
    EXPECT_EQ("255", cell(d, &p, "HedgeFlag"));
    EXPECT_EQ("4000000000", cell(d, &p, "TodayQty"));
    EXPECT_EQ("-0.1", cell(d, &p, "PositionCost"));

    ZUL_SymbolField s;
    memset(&s, 0, sizeof(s));
    s.m_SymbolIdx = 65535;
    EXPECT_EQ("65535", cell(record_desc<ZUL_SymbolField>(), &s, "SymbolIdx"));

    ZUL_AccountBPDetail b;
    memset(&b, 0, sizeof(b));
    b.m_AmountCount = -5000000000123LL;
    EXPECT_EQ("-5000000000123", cell(record_desc<ZUL_AccountBPDetail>(), &b, "AmountCount"));
}

TEST(ZulqFormat, RealsReadBackExactly) {
    for (double v : {0.1, -65009.125, 1e300, 5e-324, 123456789.987654321, -0.0}) {
        const std::string text = format_real(v);
        EXPECT_EQ(v, strtod(text.c_str(), nullptr)) << text;
        EXPECT_TRUE(std::signbit(v) == std::signbit(strtod(text.c_str(), nullptr))) << text;
    }
    EXPECT_EQ("0.1", format_real(0.1));
    EXPECT_EQ("1000.5", format_real(1000.5));
}

// 1700000000 s after the epoch is 2023-11-14 22:13:20 UTC.
TEST(ZulqFormat, TimestampsAreLocalTimeWithNanoseconds) {
    const ZUL_Nanosecond t = (1700000000ull << 32) | 5u;
    {
        time_zone utc("UTC");
        EXPECT_EQ("2023-11-14 22:13:20.000000005", format_timestamp(t));
        EXPECT_EQ("1970-01-01 00:00:01.999999999", format_timestamp((1ull << 32) | 999999999u));
        EXPECT_EQ("", format_timestamp(0));
    }
    {
        // POSIX TZ: "UTC-3" is three hours east of Greenwich.
        time_zone east("UTC-3");
        EXPECT_EQ("2023-11-15 01:13:20.000000005", format_timestamp(t));
    }
}

// A text that fills its field has no terminator: it ends at the field's width and
// takes nothing of the next field.
TEST(ZulqFormat, TextsStopAtTheirWidth) {
    ZUL_QueryAccountQuote q;
    memset(&q, 'x', sizeof(q));
    memcpy(q.m_Symbol, "ABCDEFGHIJKLMNOPQRST", 20);
    q.m_ExchengeID = 'Z';
    memcpy(q.m_ReqForQuoteID, "Q1\0garbage", 10);
    const RecordDesc& d = record_desc<ZUL_QueryAccountQuote>();
    EXPECT_EQ("ABCDEFGHIJKLMNOPQRST", cell(d, &q, "Symbol"));
    EXPECT_EQ("Q1", cell(d, &q, "ReqForQuoteID"));
    // The last field of the record is full too: nothing past the record is read.
    memset(q.m_ReqForQuoteID, 'R', sizeof(q.m_ReqForQuoteID));
    EXPECT_EQ(std::string(24, 'R'), cell(d, &q, "ReqForQuoteID"));

    EXPECT_EQ("a\\x01b\\x7F", format_text("a\x01"
                                          "b\x7f",
                                          8));
    EXPECT_EQ("", format_text("\0abc", 4));

    ZUL_SymbolField s;
    memset(&s, 0, sizeof(s));
    s.m_CallPut = 'C';
    EXPECT_EQ("C", cell(record_desc<ZUL_SymbolField>(), &s, "CallPut"));
    s.m_CallPut = 0;
    EXPECT_EQ("", cell(record_desc<ZUL_SymbolField>(), &s, "CallPut"));
}

TEST(ZulqFormat, CsvQuotesOnlyWhatNeedsIt) {
    EXPECT_EQ("a,b c,1.5", csv_line({"a", "b c", "1.5"}));
    EXPECT_EQ("\"x,y\",\"say \"\"hi\"\"\",\" lead\",\"trail \",\"two\nlines\"",
              csv_line({"x,y", "say \"hi\"", " lead", "trail ", "two\nlines"}));
    EXPECT_EQ(",", csv_line({"", ""}));
}

TEST(ZulqFormat, JsonNumbersBareTextsQuotedAndEscaped) {
    const std::vector<Column> columns = {{"N", true, 0}, {"T", false, 0}, {"R", true, 0}};
    EXPECT_EQ("{\"N\":-12,\"T\":\"a\\\"b\\\\c\",\"R\":1.5}",
              json_line(columns, {"-12", "a\"b\\c", "1.5"}));
    // Not numbers in JSON: kept as strings. Bytes above 127 as their code points.
    EXPECT_EQ("{\"N\":\"nan\",\"T\":\"\\u00E9\\u0001\",\"R\":\"-inf\"}",
              json_line(columns, {"nan", "\xe9\x01", "-inf"}));
    EXPECT_EQ("{\"N\":\"nan\",\"T\":\"\",\"R\":\"inf\"}",
              json_line(columns, {format_real(std::numeric_limits<double>::quiet_NaN()), "",
                                  format_real(std::numeric_limits<double>::infinity())}));
}

TEST(ZulqFormat, TableAlignsNumbersRightAndTextsLeft) {
    const std::vector<Column> columns = {{"Name", false, 4}, {"Qty", true, 3}, {"Note", false, 4}};
    const std::string out = printed(OutputFormat::table, [&](Printer& p) {
        p.print_all(columns, {{"ZQ7", "5", "x"}, {"ACCOUNT-2", "12345", "long note"}});
    });
    EXPECT_EQ(
        "Name         Qty  Note\n"
        "---------  -----  ---------\n"
        "ZQ7            5  x\n"
        "ACCOUNT-2  12345  long note\n",
        out);
}

// Rows that stream in (watch) get a header once for each set of columns, however the
// kinds alternate, and columns of the field's natural width.
TEST(ZulqFormat, StreamedRowsAnnounceEachKindOnce) {
    const std::vector<Column> a = {{"Event", false, 5}, {"X", true, 3}};
    const std::vector<Column> b = {{"Event", false, 5}, {"Y", false, 2}};
    const std::string csv = printed(OutputFormat::csv, [&](Printer& p) {
        p.print_one(a, {"a", "1"});
        p.print_one(b, {"b", "t"});
        p.print_one(a, {"a", "2"});
        p.print_one(b, {"b", "u"});
    });
    EXPECT_EQ("Event,X\na,1\nEvent,Y\nb,t\na,2\nb,u\n", csv);
    const std::string table = printed(OutputFormat::table, [&](Printer& p) {
        p.print_one(a, {"a", "1"});
        p.print_one(a, {"a", "22"});
    });
    EXPECT_EQ("Event    X\n-----  ---\na        1\na       22\n", table);
}
