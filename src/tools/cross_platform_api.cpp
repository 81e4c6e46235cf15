#include "tools/cross_platform_api.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace VORTANE {
namespace TOOLS {

void localtime_kq(const time_t* timep, tm* tm_result) { localtime_r(timep, tm_result); }

size_t snprintf_kq(lpstr_kq str, unsigned int size, lpcstr_kq format, ...) {
    if (str == nullptr || size == 0) return 0;
    va_list args;
    va_start(args, format);
    vsnprintf(str, size, format, args);
    va_end(args);
    return strlen(str);
}

lpstr_kq strncpy_kq(lpstr_kq dest, u32_kq dest_len, lpcstr_kq src) {
    if (dest == nullptr || dest_len == 0) return dest;
    size_t n = strlen(src);
    if (n > dest_len - 1) n = dest_len - 1;
    memcpy(dest, src, n);
    dest[n] = '\0';
    return dest;
}

std::string format_str(const char* pFormat, ...) {
    char buffer[40960];
    va_list args;
    va_start(args, pFormat);
    vsnprintf(buffer, sizeof(buffer), pFormat, args);
    va_end(args);
    return std::string(buffer);
}

}  // namespace TOOLS
}  // namespace VORTANE
