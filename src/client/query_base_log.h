#ifndef CLIENT_QUERY_BASE_LOG_H
#define CLIENT_QUERY_BASE_LOG_H

#include <cstddef>

#include "tools/lock.h"
#include "tools/vortane_define.h"

// value in decimal as "%0*lld" prints it with this width: a minus sign counts in the
// width, zeros fill after it; width 0 pads nothing. out needs room for 21 bytes or
// the width, whichever is more. Returns the number of bytes written, without a
// terminator.
size_t put_decimal(char* out, long long value, int width = 0);

// A line of the text log made of fixed texts and decimal numbers, built without stdio:
// such lines come at every message with the trace on, and at every unknown id with it
// off. Holds up to 127 bytes; what does not fit is cut.
class log_text {
public:
    log_text();
    log_text& operator<<(const char* text);
    log_text& operator<<(long long value);
    const char* c_str() const { return m_text; }

private:
    static const size_t ROOM = 127;
    char m_text[ROOM + 1];
    size_t m_len;
};

// The 31-byte header of a log line, "YYYYMMDD-HH:MM:SS.uuuuuu LLLLL ": local time to
// the microsecond and a length field, as "%04d%02d%02d-%02d:%02d:%02d.%06d %05d " would
// print them. The date and the second are formatted only when the second changes; the
// rest is put digit by digit.
class log_stamp {
public:
    // Room for any header: the length field grows past five digits for larger values.
    static const size_t HEADER_ROOM = 64;

    log_stamp();
    // Writes the header of a line stamped now_us (microseconds since the epoch) with len
    // in its length field into out, which holds HEADER_ROOM bytes; returns its length.
    size_t format(char* out, VORTANE::TOOLS::i64_kq now_us, int len);

private:
    VORTANE::TOOLS::i64_kq m_sec;  // the second that m_text shows, or none yet
    bool m_valid;
    char m_text[HEADER_ROOM];  // "YYYYMMDD-HH:MM:SS."
    size_t m_len;
};

// One append-only log file: text lines or binary records, each behind the same
// 31-byte header "YYYYMMDD-HH:MM:SS.uuuuuu LLLLL " (local time, length field).
// Text line:     header, flag, blank, message, newline.
// Binary record: header, flag character, blank, raw payload, newline; the
//                payload may hold newlines, so readers walk by the length field.
// Every line reaches the file at once, in one write. A closed logger drops writes
// silently.
class query_base_log {
public:
    query_base_log();
    ~query_base_log();
    query_base_log(const query_base_log&) = delete;
    query_base_log& operator=(const query_base_log&) = delete;

    // Opens (creates) the file at this path for appending.
    bool open(const char* log_name_prefix);
    void write_txt(const char* msg_flag, const char* message);
    // len goes into the length field only; the message is written to its terminator.
    void write_txt(const char* msg_flag, const char* message, int len);
    // Two text lines with empty messages, both stamped now_us (microseconds since the
    // epoch), in one write: the message trace and its cost line.
    void write_txt_pair(VORTANE::TOOLS::i64_kq now_us, const char* first_flag,
                        const char* second_flag);
    // Nothing at all for len 0.
    void write_bin(char flag, const char* data, int len);
    void close();
    // Reopens the file by its name; see the definition.
    void flush_all();

private:
    // The descriptor of the open file, -1 while closed.
    int m_file_handle;
    char m_filename[1024];
    // Guards the descriptor, the name and the stamp: another thread may close or
    // reopen the file (the client moving its logs) while this one writes.
    VORTANE::TOOLS::mutex_lock m_lock;
    log_stamp m_stamp;
};

#endif
