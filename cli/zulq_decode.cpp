#include "zulq_decode.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>

#include "protocol/msg_define.h"
#include "sim_fields.h"
#include "zulq_cli.h"

namespace zulq {

namespace {

// "YYYYMMDD-HH:MM:SS.uuuuuu ": what each byte of the fixed part of a header must be,
// 'd' for a digit.
const char kHeaderShape[] = "dddddddd-dd:dd:dd.dddddd ";
constexpr size_t kHeaderFixed = sizeof(kHeaderShape) - 1;
// The length field has five digits or more; ten hold any length a log can have.
constexpr size_t kMaxLengthDigits = 10;
// A record is read in pieces of this size, so that a damaged length field costs no more
// memory than the file has bytes.
constexpr size_t kReadPiece = 1 << 16;

std::string byte_text(int c) {
    if (c == EOF)
        return "the end of the file";
    char text[16];
    if (c >= 0x20 && c < 0x7f)
        snprintf(text, sizeof(text), "'%c'", c);
    else
        snprintf(text, sizeof(text), "byte 0x%02X", c);
    return text;
}

std::string hex(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes) {
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

// The wire record that a message of this id is, as the library reads it.
const zulsim::RecordInfo* form_of(bool sent, unsigned id, bool hv27) {
    return sent ? zulsim::request_info(static_cast<uint16_t>(id))
                : zulsim::response_info(static_cast<uint16_t>(id), hv27);
}

}  // namespace

bool LogReader::fail(size_t offset, const std::string& what) {
    m_error = "damaged at offset " + std::to_string(offset) + ": " + what;
    return false;
}

bool LogReader::read_exact(char* to, size_t n) {
    const size_t got = fread(to, 1, n, m_in);
    m_pos += got;
    return got == n;
}

bool LogReader::read_record() {
    m_offset = m_pos;
    m_payload.clear();
    m_at = 0;
    char head[kHeaderFixed];
    const size_t got = fread(head, 1, sizeof(head), m_in);
    m_pos += got;
    if (got == 0 && !ferror(m_in))
        return false;  // a clean end
    if (ferror(m_in))
        return fail(m_pos, std::string("read error: ") + strerror(errno));
    for (size_t i = 0; i < got; ++i) {
        const bool digit = head[i] >= '0' && head[i] <= '9';
        if (kHeaderShape[i] == 'd' ? !digit : head[i] != kHeaderShape[i])
            return fail(m_offset + i, "no log record begins here (" + byte_text(head[i] & 0xff) +
                                          " in the time of its header)");
    }
    if (got < sizeof(head))
        return fail(m_pos, "the file ends inside the header of the record at offset " +
                               std::to_string(m_offset));
    m_time = std::string(head, 4) + "-" + std::string(head + 4, 2) + "-" +
             std::string(head + 6, 2) + " " + std::string(head + 9, 15);

    unsigned long long length = 0;
    size_t digits = 0;
    int c = 0;
    while ((c = fgetc(m_in)) != EOF && c >= '0' && c <= '9' && digits < kMaxLengthDigits) {
        ++m_pos;
        ++digits;
        length = length * 10 + static_cast<unsigned>(c - '0');
    }
    if (c != ' ' || digits == 0)
        return fail(m_pos, byte_text(c) + " in the length field of the record at offset " +
                               std::to_string(m_offset));
    ++m_pos;
    c = fgetc(m_in);
    if (c != '0' && c != '1')
        return fail(m_pos, byte_text(c) +
                               " where the direction ('0' sent, '1' received) of the "
                               "record at offset " +
                               std::to_string(m_offset) + " belongs");
    ++m_pos;
    m_sent = c == '0';
    c = fgetc(m_in);
    if (c != ' ')
        return fail(m_pos, byte_text(c) + " behind the direction of the record at offset " +
                               std::to_string(m_offset));
    ++m_pos;

    const size_t payload_at = m_pos;
    while (m_payload.size() < length) {
        const size_t piece = static_cast<size_t>(
            std::min<unsigned long long>(kReadPiece, length - m_payload.size()));
        const size_t had = m_payload.size();
        m_payload.resize(had + piece);
        if (!read_exact(&m_payload[had], piece)) {
            return fail(m_pos, "the file ends inside the record at offset " +
                                   std::to_string(m_offset) + ": " +
                                   std::to_string(m_pos - payload_at) + " of its " +
                                   std::to_string(length) + " bytes are there");
        }
    }
    c = fgetc(m_in);
    if (c != '\n')
        return fail(m_pos, byte_text(c) + " where the newline that ends the record at offset " +
                               std::to_string(m_offset) + " belongs");
    ++m_pos;
    return true;
}

bool LogReader::next(LoggedMessage* out) {
    while (m_at >= m_payload.size()) {
        if (!m_error.empty() || !read_record())
            return false;
    }
    const char* p = m_payload.data() + m_at;
    const size_t left = m_payload.size() - m_at;
    out->offset = m_offset;
    out->time = m_time;
    out->sent = m_sent;
    out->id = static_cast<unsigned char>(p[0]);
    out->info = nullptr;
    size_t take = left;
    if (left >= 2) {
        Int2 id;
        memcpy(&id, p, sizeof(id));
        out->id = id;
        // Byte 51 of a logon answer tells the generation, also for the answer itself.
        const bool logon =
            !m_sent && id == QUERY_LOGON_MSG_RESP_MSG_ID && left >= sizeof(query_logon_msg_resp);
        if (logon)
            m_hv27 = static_cast<unsigned char>(p[51]) == HV27_VERSION_FLAG;
        const zulsim::RecordInfo* info = form_of(m_sent, id, m_hv27);
        if (info != nullptr && left >= info->size) {
            out->info = info;
            take = info->size;
        }
    }
    out->bytes.assign(p, take);
    m_at += take;
    return true;
}

namespace {

bool is_time(const std::string& name) {
    const std::string last = name.substr(name.rfind('.') + 1);
    return last == "m_timestamp" || last == "m_close_time" || last == "m_last_update_time";
}

// "m_account_mpl_data.m_39_limit_val" -> "account_mpl_data.39_limit_val"
std::string column_name(const std::string& field) {
    std::string out;
    size_t start = 0;
    for (;;) {
        const size_t dot = field.find('.', start);
        std::string part = field.substr(start, dot - start);
        if (part.compare(0, 2, "m_") == 0)
            part.erase(0, 2);
        out += part;
        if (dot == std::string::npos)
            return out;
        out += '.';
        start = dot + 1;
    }
}

FieldKind kind_of(const zulsim::FieldInfo& f) {
    switch (f.kind) {
        case zulsim::FieldKind::text:
            return f.width == 1 ? FieldKind::character : FieldKind::text;
        case zulsim::FieldKind::real:
            return FieldKind::real;
        case zulsim::FieldKind::signed_int:
            return FieldKind::signed_int;
        case zulsim::FieldKind::unsigned_int:
            break;
    }
    return f.width == 8 && is_time(f.name) ? FieldKind::timestamp : FieldKind::unsigned_int;
}

// How a wire record prints: its description for zulq_format, and which fields are
// reserved (shown in hex, empty when zero, since they carry no text).
struct WireLayout {
    RecordDesc desc;
    std::vector<bool> reserved;
};

const WireLayout& layout_of(const zulsim::RecordInfo& info) {
    static std::map<const zulsim::RecordInfo*, std::unique_ptr<WireLayout>> cache;
    std::unique_ptr<WireLayout>& slot = cache[&info];
    if (!slot) {
        slot.reset(new WireLayout{RecordDesc{info.name.c_str(), info.size, {}}, {}});
        for (const zulsim::FieldInfo& f : info.fields) {
            slot->desc.fields.push_back(
                FieldDesc{column_name(f.name), kind_of(f), f.offset, f.width});
            slot->reserved.push_back(zulsim::is_reserved(f));
        }
    }
    return *slot;
}

std::string name_of(const LoggedMessage& m, bool hv27) {
    if (m.info != nullptr)
        return m.info->name;
    const zulsim::RecordInfo* form = m.bytes.size() >= 2 ? form_of(m.sent, m.id, hv27) : nullptr;
    if (form == nullptr)
        return "unknown";
    return form->name + " (cut short: " + std::to_string(m.bytes.size()) + " of " +
           std::to_string(form->size) + " bytes)";
}

// Columns and cells of one message: where and when, then its fields, or its bytes.
struct Printed {
    std::vector<Column> columns;
    Row cells;
};

Printed print_message(const LoggedMessage& m, bool hv27) {
    Printed p;
    p.columns = {{"Offset", true, 10},
                 {"Time", false, 26},
                 {"Direction", false, 9},
                 {"MsgId", true, 5},
                 {"Name", false, 36}};
    p.cells = {std::to_string(m.offset), m.time, m.sent ? "sent" : "received", std::to_string(m.id),
               name_of(m, hv27)};
    if (m.info == nullptr) {
        p.columns.push_back({"Bytes", false, 2 * m.bytes.size()});
        p.cells.push_back(hex(m.bytes));
        return p;
    }
    const WireLayout& layout = layout_of(*m.info);
    const std::vector<Column> fields = columns_of(layout.desc);
    Row cells = row_of(layout.desc, m.bytes.data());
    for (size_t i = 0; i < cells.size(); ++i) {
        if (layout.reserved[i]) {
            const FieldDesc& f = layout.desc.fields[i];
            const std::string raw = m.bytes.substr(f.offset, f.width);
            cells[i] = raw.find_first_not_of('\0') == std::string::npos ? "" : hex(raw);
        }
    }
    p.columns.insert(p.columns.end(), fields.begin(), fields.end());
    p.cells.insert(p.cells.end(), cells.begin(), cells.end());
    return p;
}

// Writes the messages in one of the formats. A table starts anew, header and all,
// whenever the kind of message changes; a CSV stream has one header: with --id, the
// fields of every form of that id (cells of another form stay empty), else one line
// per field ("Field,Value").
class Output {
public:
    Output(FILE* out, OutputFormat format, long id) : m_out(out), m_format(format), m_id(id) {
        if (format == OutputFormat::vertical)
            m_printer.reset(new Printer(out, format));
    }

    void print(const LoggedMessage& m, bool hv27) {
        const Printed p = print_message(m, hv27);
        switch (m_format) {
            case OutputFormat::json:
                fprintf(m_out, "%s\n", json_line(p.columns, p.cells).c_str());
                break;
            case OutputFormat::vertical:
                m_printer->print_one(p.columns, p.cells);
                break;
            case OutputFormat::table:
                table(m, p);
                break;
            case OutputFormat::csv:
                if (m_id >= 0)
                    wide_csv(p);
                else
                    long_csv(p);
                break;
        }
        // Each message is out before the next is read, so that a break in the file is
        // reported behind everything before it.
        fflush(m_out);
    }

private:
    void table(const LoggedMessage& m, const Printed& p) {
        const std::string shape = m.info != nullptr ? m.info->name : std::string();
        if (!m_printer || shape != m_shape) {
            if (m_printer)
                fputc('\n', m_out);
            m_printer.reset(new Printer(m_out, OutputFormat::table));
            m_shape = shape;
        }
        m_printer->print_one(p.columns, p.cells);
    }

    void long_csv(const Printed& p) {
        if (!m_header_done) {
            fprintf(m_out, "%s\n",
                    csv_line({"Offset", "Time", "Direction", "MsgId", "Name", "Field", "Value"})
                        .c_str());
            m_header_done = true;
        }
        Row head(p.cells.begin(), p.cells.begin() + kLeading);
        for (size_t i = kLeading; i < p.cells.size(); ++i) {
            Row line = head;
            line.push_back(p.columns[i].name);
            line.push_back(p.cells[i]);
            fprintf(m_out, "%s\n", csv_line(line).c_str());
        }
    }

    void wide_csv(const Printed& p) {
        if (!m_header_done) {
            m_wide = {"Offset", "Time", "Direction", "MsgId", "Name"};
            std::set<std::string> seen;
            const uint16_t id = static_cast<uint16_t>(m_id);
            for (const zulsim::RecordInfo* form :
                 {zulsim::request_info(id), zulsim::response_info(id, false),
                  zulsim::response_info(id, true)}) {
                if (form == nullptr)
                    continue;
                for (const FieldDesc& f : layout_of(*form).desc.fields) {
                    if (seen.insert(f.column).second)
                        m_wide.push_back(f.column);
                }
            }
            m_wide.push_back("Bytes");
            fprintf(m_out, "%s\n", csv_line(m_wide).c_str());
            m_header_done = true;
        }
        std::map<std::string, std::string> by_name;
        for (size_t i = 0; i < p.columns.size(); ++i)
            by_name[p.columns[i].name] = p.cells[i];
        Row line;
        for (const std::string& name : m_wide)
            line.push_back(by_name[name]);
        fprintf(m_out, "%s\n", csv_line(line).c_str());
    }

    static constexpr size_t kLeading = 5;  // Offset, Time, Direction, MsgId, Name

    FILE* m_out;
    OutputFormat m_format;
    long m_id;
    std::unique_ptr<Printer> m_printer;  // vertical, or the current table
    std::string m_shape;                 // of the current table
    bool m_header_done = false;          // CSV
    std::vector<std::string> m_wide;     // CSV with --id: its columns
};

const char kDecodeHelp[] =
    "usage: zulq decode FILE [--id N] [--csv|--json|--vertical]\n"
    "\n"
    "Prints every message of a binary log of the library (mavlog_YYYYMMDD.bin, written\n"
    "while the logger switch is on; zulq --trace turns it on), in the order of the file:\n"
    "the offset of its log record, the local time it was logged, its direction (sent or\n"
    "received), its message id and record name, then the fields of its wire record.\n"
    "The server generation is learnt from each received logon answer (byte 51), as the\n"
    "library does. Messages of an unknown id, or cut short, are shown as their bytes in\n"
    "hex; reserved fields are shown in hex, empty when zero.\n"
    "\n"
    "Options:\n"
    "  --id N      only messages of id N (sent requests and received answers alike)\n"
    "  --csv       one header line, then one line per field of each message\n"
    "              (Field,Value); with --id, one line per message, a column per field\n"
    "  --json      one JSON object per message and line\n"
    "  --vertical  one \"field value\" line per field, messages apart by a blank line\n"
    "  (default: a table, started anew whenever the kind of message changes)\n"
    "\n"
    "Exit status: 0 the whole file read; 1 usage error; 8 the file cannot be read, or it\n"
    "is cut short or damaged: the messages before the break are printed, then a message\n"
    "on stderr names the offset where it breaks.\n";

bool format_option(const std::string& arg, OutputFormat* format) {
    static const std::pair<const char*, OutputFormat> names[] = {
        {"--csv", OutputFormat::csv},
        {"--json", OutputFormat::json},
        {"--vertical", OutputFormat::vertical}};
    for (const auto& n : names) {
        if (arg == n.first) {
            *format = n.second;
            return true;
        }
    }
    return false;
}

bool parse_id(const std::string& text, long* id) {
    char* end = nullptr;
    errno = 0;
    const long n = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || n < 0 || n > 0xFFFF)
        return false;
    *id = n;
    return true;
}

int usage_error(const std::string& what) {
    fprintf(stderr, "zulq: %s\nRun 'zulq decode --help' for usage.\n", what.c_str());
    return EXIT_USAGE;
}

}  // namespace

int decode_log(FILE* in, const DecodeOptions& options, FILE* out, FILE* err) {
    LogReader reader(in);
    Output output(out, options.format, options.id);
    LoggedMessage m;
    while (reader.next(&m)) {
        if (options.id < 0 || static_cast<long>(m.id) == options.id)
            output.print(m, reader.hv27());
    }
    if (reader.error().empty())
        return EXIT_OK;
    fprintf(err, "zulq: %s: %s\n", options.file.c_str(), reader.error().c_str());
    return EXIT_DAMAGED_LOG;
}

bool is_decode_command(int argc, char** argv) {
    OutputFormat ignored;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg != "--help" && arg != "-h" && !format_option(arg, &ignored))
            return arg == "decode";
    }
    return false;
}

int run_decode(int argc, char** argv) {
    DecodeOptions options;
    bool help = false, have_file = false, after_command = false, formats_given = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        OutputFormat format;
        if (!after_command && arg == "decode") {
            after_command = true;
        } else if (arg == "--help" || arg == "-h") {
            help = true;
        } else if (format_option(arg, &format)) {
            if (formats_given && format != options.format)
                return usage_error("choose one of --csv, --json and --vertical");
            options.format = format;
            formats_given = true;
        } else if (arg == "--id" || arg.compare(0, 5, "--id=") == 0) {
            const bool inline_value = arg.size() > 4;
            if (!inline_value && i + 1 >= argc)
                return usage_error("--id needs a value (N)");
            const std::string value = inline_value ? arg.substr(5) : argv[++i];
            if (!parse_id(value, &options.id))
                return usage_error("bad value for --id: '" + value +
                                   "' (a message id, 0 to 65535)");
        } else if (arg.compare(0, 2, "--") == 0 && arg.size() > 2) {
            return usage_error("decode takes no " + arg.substr(0, arg.find('=')));
        } else if (!have_file) {
            options.file = arg;
            have_file = true;
        } else {
            return usage_error("decode takes one FILE");
        }
    }
    if (help) {
        fputs(kDecodeHelp, stdout);
        return EXIT_OK;
    }
    if (!have_file)
        return usage_error("decode takes FILE, a binary log of the library");
    FILE* in = fopen(options.file.c_str(), "rb");
    if (in == nullptr) {
        fprintf(stderr, "zulq: cannot open %s: %s\n", options.file.c_str(), strerror(errno));
        return EXIT_DAMAGED_LOG;
    }
    const int rc = decode_log(in, options, stdout, stderr);
    fclose(in);
    return rc;
}

std::string decode_summary() {
    return "\nReading a log:\n"
           "  decode FILE [--id N]  print the messages of a binary log of the library;\n"
           "                        'zulq decode --help' tells more (exit status 8: the\n"
           "                        file is cut short or damaged)\n";
}

}  // namespace zulq
