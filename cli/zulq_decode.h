#ifndef ZULQ_DECODE_H
#define ZULQ_DECODE_H

// zulq decode: reads the library's binary log (mavlog_YYYYMMDD.bin) and prints every
// message in it, sent or received, with the fields of its wire record, in the formats
// of the queries.
//
// A log record is a text header "YYYYMMDD-HH:MM:SS.uuuuuu LLLLL ", a direction
// character ('0' sent, '1' received), a blank, LLLLL bytes of payload and a newline.
// The payload of a received record is one message, or the bytes that the library threw
// away as unknown; that of a sent record is what one send took. The reader walks the
// file by the length field alone, since payloads hold newlines of their own.

#include <cstdio>
#include <string>
#include <vector>

#include "zulq_format.h"

namespace zulsim {
struct RecordInfo;
}

namespace zulq {

// Exit status of decode, beside EXIT_OK and EXIT_USAGE.
constexpr int EXIT_DAMAGED_LOG = 8;  // unreadable, cut short or damaged at some offset

// One message of the log.
struct LoggedMessage {
    size_t offset = 0;  // of its log record in the file
    std::string time;   // local, "YYYY-MM-DD HH:MM:SS.uuuuuu"
    bool sent = false;
    unsigned id = 0;
    // The wire record it was read as; null when the bytes match no record (an unknown
    // id, or fewer bytes than the record of its id has).
    const zulsim::RecordInfo* info = nullptr;
    std::string bytes;
};

// Reads a log from a stream, one record at a time, and splits the payloads into
// messages. The server generation is learnt as the library learns it: from byte 51
// of every received logon answer.
class LogReader {
public:
    explicit LogReader(FILE* in) : m_in(in) {}

    // The next message; false at the end of the file or where it breaks (see error()).
    bool next(LoggedMessage* out);
    // Empty if the file ended cleanly; else what is wrong and at which offset.
    const std::string& error() const { return m_error; }
    bool hv27() const { return m_hv27; }

private:
    bool read_record();
    bool read_exact(char* to, size_t n);
    bool fail(size_t offset, const std::string& what);

    FILE* m_in;
    size_t m_pos = 0;  // bytes consumed from the file
    bool m_hv27 = false;
    std::string m_error;
    // The record being split.
    size_t m_offset = 0;
    std::string m_time;
    bool m_sent = false;
    std::string m_payload;
    size_t m_at = 0;  // messages taken from m_payload so far end here
};

struct DecodeOptions {
    std::string file;
    OutputFormat format = OutputFormat::table;
    long id = -1;  // keep only messages of this id; -1: all
};

// Prints the messages of the log to out; a break in the file is reported on err, after
// the messages before it. Returns EXIT_OK or EXIT_DAMAGED_LOG.
int decode_log(FILE* in, const DecodeOptions& options, FILE* out, FILE* err);

// Whether argv asks for decode: its first word that is not a format option or --help.
bool is_decode_command(int argc, char** argv);
// zulq decode from the command line: an exit status.
int run_decode(int argc, char** argv);
// One line for zulq's main help.
std::string decode_summary();

}  // namespace zulq

#endif
