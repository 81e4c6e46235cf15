#include "tools/cross_platform_api.h"

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/lock.h"
#include "tools/template_map_int.h"

namespace VORTANE {
namespace TOOLS {

namespace {
const size_t k_format_buf_len = 40960;
}  // namespace

dll_handle_kq load_library(dll_name_kq dll_name) {
    return dlopen(dll_name, RTLD_LAZY);
}

dll_function_kq get_function_address(dll_handle_kq handle, dll_function_name_kq function_name) {
    return dlsym(handle, function_name);
}

dll_error_kq get_dll_error() {
    return dlerror();  // NOLINT(concurrency-mt-unsafe): the wrapper shares dlerror's limits
}

void free_library(dll_handle_kq handle) {
    dlclose(handle);
}

pid_kq create_process_kq(lpcstr_kq process_file, lpcstr_kq process_param) {
    pid_kq pid = fork();
    if (pid != 0)
        return pid;
    return execl(process_file, "%s", process_param, static_cast<char*>(nullptr));
}

i64_kq atoi64_kq(lpcstr_kq str) {
    return str == nullptr ? 0 : atoll(str);
}

u64_kq atou64_kq(lpcstr_kq str) {
    return str == nullptr ? 0 : strtoull(str, nullptr, 10);
}

bool file_exists(lpcstr_kq file_path) {
    if (file_path == nullptr || file_path[0] == '\0')
        return false;
    return access(file_path, F_OK) == 0;
}

bool move_file_kq(lpcstr_kq src_file, lpcstr_kq dest_file) {
    return rename(src_file, dest_file) == 0;
}

bool rm_old_file(const char*, time_t) {
    return true;
}

void localtime_kq(const time_t* timep, tm* tm_result) {
    localtime_r(timep, tm_result);
}

size_t snprintf_kq(lpstr_kq str, unsigned int size, lpcstr_kq format, ...) {
    if (str == nullptr || size == 0)
        return 0;
    va_list args;
    va_start(args, format);
    vsnprintf(str, size, format, args);
    va_end(args);
    return strlen(str);
}

lpstr_kq strncpy_kq(lpstr_kq dest, u32_kq dest_len, lpcstr_kq src) {
    if (dest == nullptr || dest_len == 0)
        return dest;
    size_t n = strlen(src);
    if (n > dest_len - 1)
        n = dest_len - 1;
    memcpy(dest, src, n);
    dest[n] = '\0';
    return dest;
}

std::string format_str(const char* pFormat, ...) {
    char buffer[k_format_buf_len];
    va_list args;
    va_start(args, pFormat);
    vsnprintf(buffer, sizeof(buffer), pFormat, args);
    va_end(args);
    return std::string(buffer);
}

// The buffer of the calling thread, made at its first call; null if malloc fails.
static char* thread_format_buffer() {
    // Built once and never destroyed: the buffers live as long as the process, and a
    // thread that still formats while the process exits must find its table.
    static map_int<char*, null_lock>& map_string = *new map_int<char*, null_lock>(11);
    static mutex_lock& l = *new mutex_lock;

    const map_int<char*, null_lock>::IntKey id =
        static_cast<map_int<char*, null_lock>::IntKey>(pthread_self());
    mutex_locker locker(l);
    char* buffer = nullptr;
    if (!map_string.find(id, buffer)) {
        buffer = static_cast<char*>(malloc(k_format_buf_len));
        // Nothing is stored on failure, so a later call tries again.
        if (buffer != nullptr)
            map_string.set(id, buffer);
    }
    return buffer;
}

const char* format_pchar(const char* pFormat, ...) {
    char* buffer = thread_format_buffer();
    if (buffer == nullptr)
        return nullptr;
    va_list args;
    va_start(args, pFormat);
    vsnprintf(buffer, k_format_buf_len, pFormat, args);
    va_end(args);
    return buffer;
}

}  // namespace TOOLS
}  // namespace VORTANE
