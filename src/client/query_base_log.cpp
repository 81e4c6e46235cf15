// Departure: the log files are written with one write(2) per line on a descriptor
// opened with O_APPEND, not through stdio with an fflush after every line: a line is in the file
// as soon as its write returns, so a crash of the process loses no line written, and
// lines of several loggers or processes on one file never interleave. The header is
// formatted on the stack; only a new second costs a call of localtime.

#include "client/query_base_log.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "client/precise_time.h"
#include "tools/cross_platform_api.h"

using namespace VORTANE::TOOLS;

namespace {

const i64_kq MICROS_PER_SECOND = 1000000;
const int USEC_WIDTH = 6;
const int LENGTH_WIDTH = 5;

// Each segment as a const run; writev takes them without a const.
iovec segment(const void* data, size_t len) {
    iovec v;
    v.iov_base = const_cast<void*>(data);
    v.iov_len = len;
    return v;
}

// One writev for the whole line. A short write (a full disk) is carried on from
// where it stopped; an error drops the rest of the line, as a failed stdio write did.
void write_segments(int fd, iovec* v, int count) {
    while (count > 0) {
        const ssize_t n = writev(fd, v, count);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        size_t done = static_cast<size_t>(n);
        while (count > 0 && done >= v->iov_len) {
            done -= v->iov_len;
            ++v;
            --count;
        }
        if (count > 0) {
            v->iov_base = static_cast<char*>(v->iov_base) + done;
            v->iov_len -= done;
        }
    }
}

// Close-on-exec: a program that the caller starts must not inherit the logs.
int open_for_append(const char* name) {
    return ::open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
}

const char BLANK[] = " ";
const char NEWLINE[] = "\n";

}  // namespace

size_t put_decimal(char* out, long long value, int width) {
    char digits[24];
    int count = 0;
    unsigned long long magnitude = value < 0 ? 0ull - static_cast<unsigned long long>(value)
                                             : static_cast<unsigned long long>(value);
    do {
        digits[count++] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    size_t at = 0;
    if (value < 0) {
        out[at++] = '-';
        --width;
    }
    for (int i = count; i < width; ++i)
        out[at++] = '0';
    while (count > 0)
        out[at++] = digits[--count];
    return at;
}

log_text::log_text() : m_len(0) {
    m_text[0] = '\0';
}

log_text& log_text::operator<<(const char* text) {
    const size_t n = strnlen(text, ROOM - m_len);
    memcpy(m_text + m_len, text, n);
    m_len += n;
    m_text[m_len] = '\0';
    return *this;
}

log_text& log_text::operator<<(long long value) {
    const size_t max_digits = 21;
    if (ROOM - m_len >= max_digits) {
        m_len += put_decimal(m_text + m_len, value);
        m_text[m_len] = '\0';
    }
    return *this;
}

log_stamp::log_stamp() : m_sec(0), m_valid(false), m_len(0) {
    m_text[0] = '\0';
}

size_t log_stamp::format(char* out, i64_kq now_us, int len) {
    const i64_kq sec = now_us / MICROS_PER_SECOND;
    if (!m_valid || sec != m_sec) {
        time_t start_sec = static_cast<time_t>(sec);
        tm local;
        localtime_kq(&start_sec, &local);
        m_len = snprintf_kq(m_text, sizeof(m_text), "%04d%02d%02d-%02d:%02d:%02d.",
                            local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                            local.tm_min, local.tm_sec);
        m_sec = sec;
        m_valid = true;
    }
    memcpy(out, m_text, m_len);
    size_t at = m_len;
    at += put_decimal(out + at, now_us % MICROS_PER_SECOND, USEC_WIDTH);
    out[at++] = ' ';
    at += put_decimal(out + at, len, LENGTH_WIDTH);
    out[at++] = ' ';
    return at;
}

query_base_log::query_base_log() : m_file_handle(-1) {
    memset(m_filename, 0, sizeof(m_filename));
}

query_base_log::~query_base_log() {
    close();
}

bool query_base_log::open(const char* log_name_prefix) {
    mutex_locker locker(m_lock);
    // A descriptor still open would leak: callers are meant to close first, but
    // closing here costs nothing and keeps the logger sound.
    if (m_file_handle != -1)
        ::close(m_file_handle);
    m_file_handle = open_for_append(log_name_prefix);
    if (m_file_handle == -1)
        return false;
    strncpy_kq(m_filename, sizeof(m_filename), log_name_prefix);
    return true;
}

void query_base_log::write_txt(const char* msg_flag, const char* message) {
    write_txt(msg_flag, message, static_cast<int>(strlen(message)));
}

// The descriptor is tested under the lock, never before it: a test outside could
// see a file that a concurrent close() then shuts before the write.
void query_base_log::write_txt(const char* msg_flag, const char* message, int len) {
    mutex_locker locker(m_lock);
    if (m_file_handle == -1)
        return;
    char header[log_stamp::HEADER_ROOM];
    const size_t header_len = m_stamp.format(header, precise_time::get_current_microseconds(), len);
    iovec line[] = {segment(header, header_len), segment(msg_flag, strlen(msg_flag)),
                    segment(BLANK, 1), segment(message, strlen(message)), segment(NEWLINE, 1)};
    write_segments(m_file_handle, line, sizeof(line) / sizeof(line[0]));
}

void query_base_log::write_txt_pair(i64_kq now_us, const char* first_flag,
                                    const char* second_flag) {
    mutex_locker locker(m_lock);
    if (m_file_handle == -1)
        return;
    char first[log_stamp::HEADER_ROOM];
    char second[log_stamp::HEADER_ROOM];
    const size_t first_len = m_stamp.format(first, now_us, 0);
    const size_t second_len = m_stamp.format(second, now_us, 0);
    iovec lines[] = {segment(first, first_len),   segment(first_flag, strlen(first_flag)),
                     segment(BLANK, 1),           segment(NEWLINE, 1),
                     segment(second, second_len), segment(second_flag, strlen(second_flag)),
                     segment(BLANK, 1),           segment(NEWLINE, 1)};
    write_segments(m_file_handle, lines, sizeof(lines) / sizeof(lines[0]));
}

void query_base_log::write_bin(char flag, const char* data, int len) {
    // A negative length would have the write read far past the payload.
    if (len <= 0)
        return;
    mutex_locker locker(m_lock);
    if (m_file_handle == -1)
        return;
    char header[log_stamp::HEADER_ROOM + 2];
    size_t header_len = m_stamp.format(header, precise_time::get_current_microseconds(), len);
    header[header_len++] = flag;
    header[header_len++] = ' ';
    iovec record[] = {segment(header, header_len), segment(data, static_cast<size_t>(len)),
                      segment(NEWLINE, 1)};
    write_segments(m_file_handle, record, sizeof(record) / sizeof(record[0]));
}

void query_base_log::close() {
    mutex_locker locker(m_lock);
    if (m_file_handle == -1)
        return;
    ::close(m_file_handle);
    m_file_handle = -1;
}

// Nothing waits in a buffer: every line went to the file with its own write. So no
// flush is needed, and none is forced to the disk (no fsync): the files promise to
// lose nothing when the process dies, not when the machine does. The file is still
// closed and opened again by its name, so that a log that its owner has moved away
// goes on in a new file of that name; if that open fails, the logger is closed from
// then on.
void query_base_log::flush_all() {
    mutex_locker locker(m_lock);
    if (m_file_handle == -1)
        return;
    ::close(m_file_handle);
    m_file_handle = open_for_append(m_filename);
}
