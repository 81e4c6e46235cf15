#ifndef VORTANE_TOOLS_CROSS_PLATFORM_API_H
#define VORTANE_TOOLS_CROSS_PLATFORM_API_H

#include <ctime>
#include <cstddef>
#include <string>

#include "tools/vortane_define.h"

namespace VORTANE {
namespace TOOLS {

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

}  // namespace TOOLS
}  // namespace VORTANE

#endif
