#ifndef VORTANE_TOOLS_CROSS_PLATFORM_API_H
#define VORTANE_TOOLS_CROSS_PLATFORM_API_H

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <string>

#include "tools/vortane_define.h"

namespace VORTANE {
namespace TOOLS {

typedef void* dll_handle_kq;
typedef void* dll_function_kq;
typedef const char* dll_name_kq;
typedef const char* dll_function_name_kq;
typedef const char* dll_error_kq;
typedef pid_t pid_kq;

// Dynamic loading. load_library binds lazily; every failure gives null, and
// get_dll_error tells why (it is not thread-safe, like dlerror).
dll_handle_kq load_library(dll_name_kq dll_name);
dll_function_kq get_function_address(dll_handle_kq handle, dll_function_name_kq function_name);
dll_error_kq get_dll_error();
void free_library(dll_handle_kq handle);

// Starts process_file with the argument vector {"%s", process_param}. The parent gets
// the child's id, or fork's negative result. A negative result can also come back in
// the child, when the program could not be run: the caller must then end that child.
pid_kq create_process_kq(lpcstr_kq process_file, lpcstr_kq process_param);

// Decimal text to 64-bit numbers; null reads as 0.
i64_kq atoi64_kq(lpcstr_kq str);
u64_kq atou64_kq(lpcstr_kq str);

// False for null and "" without asking the file system.
bool file_exists(lpcstr_kq file_path);
// rename(); on false errno tells why.
bool move_file_kq(lpcstr_kq src_file, lpcstr_kq dest_file);
// Old files are kept on this platform: removes nothing and reports success.
bool rm_old_file(const char* p_dir, time_t acc_t);

// Thread-safe localtime.
void localtime_kq(const time_t* timep, tm* tm_result);

// vsnprintf into `size` bytes; returns strlen of what was written (so an over-long
// text gives size - 1, never the length it would have had).
size_t snprintf_kq(lpstr_kq str, unsigned int size, lpcstr_kq format, ...)
    __attribute__((format(printf, 3, 4)));

// Copies at most dest_len - 1 bytes and a terminator; bytes behind the terminator
// are left as they were. An over-long source is cut silently.
lpstr_kq strncpy_kq(lpstr_kq dest, u32_kq dest_len, lpcstr_kq src);

// printf-style formatting into a string, at most 40959 characters.
std::string format_str(const char* pFormat, ...) __attribute__((format(printf, 1, 2)));

// printf-style formatting into a buffer of 40960 bytes that belongs to the calling
// thread for the life of the process: the text stays valid until the same thread
// calls again. Null when the buffer could not be allocated.
const char* format_pchar(const char* pFormat, ...) __attribute__((format(printf, 1, 2)));

}  // namespace TOOLS
}  // namespace VORTANE

#endif
