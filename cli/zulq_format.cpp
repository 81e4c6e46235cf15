#include "zulq_format.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>

namespace zulq {

namespace {

// A byte that would upset a terminal or a line-based reader is shown as \xNN; bytes
// above 127 pass, so texts in a multi-byte encoding stay readable.
void append_byte(std::string& out, unsigned char c) {
    if (c < 0x20 || c == 0x7f) {
        char esc[5];
        snprintf(esc, sizeof(esc), "\\x%02X", c);
        out += esc;
    } else {
        out += static_cast<char>(c);
    }
}

template <class T>
T read_as(const void* record, size_t offset) {
    T value;
    memcpy(&value, static_cast<const unsigned char*>(record) + offset, sizeof(T));
    return value;
}

long long read_signed(const void* record, const FieldDesc& f) {
    switch (f.width) {
        case 1:
            return read_as<signed char>(record, f.offset);
        case 2:
            return read_as<short>(record, f.offset);
        case 4:
            return read_as<int>(record, f.offset);
        default:
            return read_as<long long>(record, f.offset);
    }
}

unsigned long long read_unsigned(const void* record, const FieldDesc& f) {
    switch (f.width) {
        case 1:
            return read_as<unsigned char>(record, f.offset);
        case 2:
            return read_as<unsigned short>(record, f.offset);
        case 4:
            return read_as<unsigned int>(record, f.offset);
        default:
            return read_as<unsigned long long>(record, f.offset);
    }
}

size_t natural_width(const FieldDesc& f) {
    switch (f.kind) {
        case FieldKind::text:
            return f.width;
        case FieldKind::character:
            return 4;
        case FieldKind::timestamp:
            return 29;
        case FieldKind::real:
            // The longest shortest form of a double: "-2.2250738585072014e-308".
            return 24;
        default:
            // Digits of the widest value of that many bytes, and a sign.
            return f.width == 1 ? 4 : f.width == 2 ? 6 : f.width == 4 ? 11 : 20;
    }
}

bool is_numeric(FieldKind kind) {
    return kind == FieldKind::signed_int || kind == FieldKind::unsigned_int ||
           kind == FieldKind::real;
}

// "nan" and "inf" are numbers to C but not to JSON.
bool is_json_number(const std::string& cell) {
    size_t i = (!cell.empty() && cell[0] == '-') ? 1 : 0;
    return i < cell.size() && isdigit(static_cast<unsigned char>(cell[i]));
}

std::string json_string(const std::string& s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c >= 0x7f) {
            // Bytes above 127 come as their Latin-1 reading: the line stays valid
            // JSON whatever encoding the server used, and no byte is lost.
            char esc[7];
            snprintf(esc, sizeof(esc), "\\u%04X", c);
            out += esc;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string csv_cell(const std::string& s) {
    const bool quote = s.find_first_of(",\"\r\n") != std::string::npos ||
                       (!s.empty() && (s.front() == ' ' || s.back() == ' '));
    if (!quote)
        return s;
    std::string out = "\"";
    for (char c : s) {
        if (c == '"')
            out += '"';
        out += c;
    }
    return out + "\"";
}

std::string padded(const std::string& cell, size_t width, bool right) {
    if (cell.size() >= width)
        return cell;
    const std::string fill(width - cell.size(), ' ');
    return right ? fill + cell : cell + fill;
}

std::vector<std::string> names_of(const std::vector<Column>& columns) {
    std::vector<std::string> names;
    for (const Column& c : columns)
        names.push_back(c.name);
    return names;
}

}  // namespace

std::string format_timestamp(ZUL_Nanosecond value) {
    if (value == 0)
        return "";
    const time_t seconds = static_cast<time_t>(value >> 32);
    const unsigned nanos = static_cast<unsigned>(value & 0xffffffffu);
    tm local;
    localtime_r(&seconds, &local);
    char date[32];
    strftime(date, sizeof(date), "%Y-%m-%d %H:%M:%S", &local);
    char out[48];
    // The low half is shown as it came, even a value of a second or more.
    snprintf(out, sizeof(out), "%s.%09u", date, nanos);
    return out;
}

std::string format_real(double value) {
    char buf[64];
    const std::to_chars_result r = std::to_chars(buf, buf + sizeof(buf), value);
    return std::string(buf, r.ptr);
}

std::string format_text(const char* field, size_t width) {
    std::string out;
    for (size_t i = 0; i < width && field[i] != '\0'; ++i)
        append_byte(out, static_cast<unsigned char>(field[i]));
    return out;
}

std::string format_field(const FieldDesc& f, const void* record) {
    const char* at = static_cast<const char*>(record) + f.offset;
    switch (f.kind) {
        case FieldKind::text:
        case FieldKind::character:
            return format_text(at, f.width);
        case FieldKind::timestamp:
            return format_timestamp(read_as<ZUL_Nanosecond>(record, f.offset));
        case FieldKind::real:
            return format_real(read_as<double>(record, f.offset));
        case FieldKind::signed_int:
            return std::to_string(read_signed(record, f));
        case FieldKind::unsigned_int:
            return std::to_string(read_unsigned(record, f));
    }
    return "";
}

std::vector<Column> columns_of(const RecordDesc& desc) {
    std::vector<Column> columns;
    for (const FieldDesc& f : desc.fields)
        columns.push_back(
            Column{f.column, is_numeric(f.kind), std::max(f.column.size(), natural_width(f))});
    return columns;
}

Row row_of(const RecordDesc& desc, const void* record) {
    Row row;
    for (const FieldDesc& f : desc.fields)
        row.push_back(format_field(f, record));
    return row;
}

std::string csv_line(const Row& cells) {
    std::string out;
    for (size_t i = 0; i < cells.size(); ++i) {
        if (i > 0)
            out += ',';
        out += csv_cell(cells[i]);
    }
    return out;
}

std::string json_line(const std::vector<Column>& columns, const Row& cells) {
    std::string out = "{";
    for (size_t i = 0; i < columns.size() && i < cells.size(); ++i) {
        if (i > 0)
            out += ',';
        out += json_string(columns[i].name) + ':';
        out += columns[i].numeric && is_json_number(cells[i]) ? cells[i] : json_string(cells[i]);
    }
    return out + "}";
}

void Printer::header(const std::vector<Column>& columns, const std::vector<size_t>& widths) {
    if (m_format == OutputFormat::csv) {
        fprintf(m_out, "%s\n", csv_line(names_of(columns)).c_str());
    } else if (m_format == OutputFormat::table) {
        if (m_rows > 0)
            fprintf(m_out, "\n");
        line(columns, names_of(columns), widths);
        std::string rule;
        for (size_t i = 0; i < widths.size(); ++i)
            rule += (i > 0 ? "  " : "") + std::string(widths[i], '-');
        fprintf(m_out, "%s\n", rule.c_str());
    }
}

void Printer::line(const std::vector<Column>& columns, const Row& row,
                   const std::vector<size_t>& widths) {
    std::string out;
    switch (m_format) {
        case OutputFormat::csv:
            out = csv_line(row);
            break;
        case OutputFormat::json:
            out = json_line(columns, row);
            break;
        case OutputFormat::table:
            for (size_t i = 0; i < columns.size() && i < row.size(); ++i) {
                const bool last = i + 1 == columns.size();
                // The last column is not padded on the right: no trailing blanks.
                const size_t w = last && !columns[i].numeric ? 0 : widths[i];
                out += (i > 0 ? "  " : "") + padded(row[i], w, columns[i].numeric);
            }
            break;
        case OutputFormat::vertical: {
            size_t name_width = 0;
            for (const Column& c : columns)
                name_width = std::max(name_width, c.name.size());
            if (m_rows > 0)
                out += '\n';
            for (size_t i = 0; i < columns.size() && i < row.size(); ++i)
                out += padded(columns[i].name, name_width, false) + "  " + row[i] +
                       (i + 1 < columns.size() ? "\n" : "");
            break;
        }
    }
    fprintf(m_out, "%s\n", out.c_str());
}

void Printer::print_all(const std::vector<Column>& columns, const std::vector<Row>& rows) {
    std::vector<size_t> widths;
    for (size_t i = 0; i < columns.size(); ++i) {
        size_t w = columns[i].name.size();
        for (const Row& r : rows)
            w = std::max(w, i < r.size() ? r[i].size() : 0);
        widths.push_back(w);
    }
    header(columns, widths);
    for (const Row& r : rows) {
        line(columns, r, widths);
        ++m_rows;
    }
    fflush(m_out);
}

void Printer::print_header(const std::vector<Column>& columns) {
    std::vector<size_t> widths;
    for (const Column& c : columns)
        widths.push_back(c.natural_width);
    std::vector<std::string> names = names_of(columns);
    if (std::find(m_announced.begin(), m_announced.end(), names) == m_announced.end()) {
        header(columns, widths);
        m_announced.push_back(std::move(names));
    }
}

void Printer::print_one(const std::vector<Column>& columns, const Row& row) {
    print_header(columns);
    std::vector<size_t> widths;
    for (const Column& c : columns)
        widths.push_back(c.natural_width);
    line(columns, row, widths);
    ++m_rows;
}

}  // namespace zulq
