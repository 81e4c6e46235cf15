#ifndef CLIENT_QUERY_BASE_LOG_H
#define CLIENT_QUERY_BASE_LOG_H

#include <cstdio>

#include "tools/lock.h"

// One append-only log file: text lines or binary records, each behind the same
// 31-byte header "YYYYMMDD-HH:MM:SS.uuuuuu LLLLL " (local time, length field).
// Text line:     header, flag, blank, message, newline.
// Binary record: header, flag character, blank, raw payload, newline; the
//                payload may hold newlines, so readers walk by the length field.
// Every line is flushed at once. A closed logger drops writes silently.
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
    // Nothing at all for len 0.
    void write_bin(char flag, const char* data, int len);
    void close();
    // Closing and reopening is the flush; writes continue at the end of the file.
    void flush_all();

private:
    void write_hdr(int len);

    FILE* m_file_handle;
    char m_filename[1024];
    // Guards m_file_handle and m_filename: another thread may close or reopen
    // the file (the client moving its logs) while this one writes.
    VORTANE::TOOLS::mutex_lock m_lock;
};

#endif
