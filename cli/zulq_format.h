#ifndef ZULQ_FORMAT_H
#define ZULQ_FORMAT_H

// Turns records into cells and cells into text: aligned tables, CSV, JSON lines or
// one "field value" line per field. What a cell holds depends on the field's kind
// only, so one path serves every record type.

#include <cstdio>
#include <string>
#include <vector>

#include "zulq_records.h"

namespace zulq {

enum class OutputFormat { table, csv, json, vertical };

struct Column {
    std::string name;
    bool numeric;          // right-aligned in a table, bare in JSON
    size_t natural_width;  // room for any value of the field's type, used when rows stream
};

using Row = std::vector<std::string>;

// Local time with nanoseconds, "YYYY-MM-DD HH:MM:SS.nnnnnnnnn"; empty for 0, which
// the server sends for a time that has not happened (an open order's close time).
std::string format_timestamp(ZUL_Nanosecond value);
// The shortest text that reads back as the same double.
std::string format_real(double value);
// The text of a char array: up to its first zero byte and never past width, so a
// field the server filled to the last byte prints whole and alone.
std::string format_text(const char* field, size_t width);

std::string format_field(const FieldDesc& field, const void* record);
std::vector<Column> columns_of(const RecordDesc& desc);
Row row_of(const RecordDesc& desc, const void* record);

// Writes rows in one of the formats. print_all fits a table to the rows it is given;
// print_one serves rows that arrive one at a time, with columns of natural width and a
// header the first time each set of columns shows; print_header writes that header alone
// (an empty answer). print_one leaves flushing to the caller.
class Printer {
public:
    Printer(FILE* out, OutputFormat format) : m_out(out), m_format(format) {}

    void print_all(const std::vector<Column>& columns, const std::vector<Row>& rows);
    void print_one(const std::vector<Column>& columns, const Row& row);
    void print_header(const std::vector<Column>& columns);
    OutputFormat format() const { return m_format; }

private:
    void header(const std::vector<Column>& columns, const std::vector<size_t>& widths);
    void line(const std::vector<Column>& columns, const Row& row,
              const std::vector<size_t>& widths);

    FILE* m_out;
    OutputFormat m_format;
    std::vector<std::vector<std::string>> m_announced;  // print_one: headers written
    size_t m_rows = 0;                                  // rows written so far
};

std::string csv_line(const Row& cells);
std::string json_line(const std::vector<Column>& columns, const Row& cells);

}  // namespace zulq

#endif
