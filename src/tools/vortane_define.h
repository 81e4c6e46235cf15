#ifndef VORTANE_TOOLS_VORTANE_DEFINE_H
#define VORTANE_TOOLS_VORTANE_DEFINE_H

// Fixed-width names shared by every subsystem of the tool library.
namespace VORTANE {
namespace TOOLS {

typedef unsigned char u8_kq;
typedef unsigned int u32_kq;
typedef unsigned long long u64_kq;
typedef int i32_kq;
typedef long long i64_kq;
typedef char* lpstr_kq;
typedef const char* lpcstr_kq;

static_assert(sizeof(u8_kq) == 1 && sizeof(u32_kq) == 4 && sizeof(u64_kq) == 8, "widths");
static_assert(sizeof(i32_kq) == 4 && sizeof(i64_kq) == 8, "widths");

}  // namespace TOOLS
}  // namespace VORTANE

#endif
