#include "client/query_base_log.h"

#include <cstring>
#include <ctime>

#include "client/precise_time.h"
#include "tools/cross_platform_api.h"

using namespace VORTANE::TOOLS;

query_base_log::query_base_log() : m_file_handle(nullptr) {
    memset(m_filename, 0, sizeof(m_filename));
}

query_base_log::~query_base_log() {
    close();
}

bool query_base_log::open(const char* log_name_prefix) {
    mutex_locker locker(m_lock);
    // A handle still open would leak its descriptor: callers are meant to close
    // first, but closing here costs nothing and keeps the logger sound.
    if (m_file_handle != nullptr)
        fclose(m_file_handle);
    m_file_handle = fopen(log_name_prefix, "ab+");
    if (m_file_handle == nullptr)
        return false;
    strncpy_kq(m_filename, sizeof(m_filename), log_name_prefix);
    return true;
}

void query_base_log::write_txt(const char* msg_flag, const char* message) {
    write_txt(msg_flag, message, static_cast<int>(strlen(message)));
}

// The handle is tested under the lock, never before it: a test outside could
// see a file that a concurrent close() then shuts before the write.
void query_base_log::write_txt(const char* msg_flag, const char* message, int len) {
    mutex_locker locker(m_lock);
    if (m_file_handle == nullptr)
        return;
    write_hdr(len);
    fprintf(m_file_handle, "%s %s\n", msg_flag, message);
    fflush(m_file_handle);
}

void query_base_log::write_bin(char flag, const char* data, int len) {
    // A negative length would have fwrite read far past the payload.
    if (len <= 0)
        return;
    mutex_locker locker(m_lock);
    if (m_file_handle == nullptr)
        return;
    write_hdr(len);
    fprintf(m_file_handle, "%c ", flag);
    fwrite(data, 1, static_cast<size_t>(len), m_file_handle);
    fputc('\n', m_file_handle);
    fflush(m_file_handle);
}

void query_base_log::close() {
    mutex_locker locker(m_lock);
    if (m_file_handle == nullptr)
        return;
    fclose(m_file_handle);
    m_file_handle = nullptr;
}

void query_base_log::flush_all() {
    mutex_locker locker(m_lock);
    if (m_file_handle == nullptr)
        return;
    fclose(m_file_handle);
    m_file_handle = fopen(m_filename, "ab+");
}

// Called with m_lock held.
void query_base_log::write_hdr(int len) {
    if (m_file_handle == nullptr)
        return;
    i64_kq lUSec = precise_time::get_current_microseconds();
    time_t start_sec = static_cast<time_t>(lUSec / 1000000);
    int start_usec = static_cast<int>(lUSec % 1000000);
    tm local;
    localtime_kq(&start_sec, &local);
    fprintf(m_file_handle, "%04d%02d%02d-%02d:%02d:%02d.%06d %05d ", local.tm_year + 1900,
            local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, start_usec,
            len);
}
