#include "tools/hash.h"

#include <nmmintrin.h>

#include <array>
#include <cstring>

namespace VORTANE {
namespace TOOLS {

namespace {

// The reflected form of the Castagnoli polynomial 0x1EDC6F41.
const uint32_t k_crc32c_poly = 0x82F63B78u;

constexpr std::array<uint32_t, 256> make_crc32c_table() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int k = 0; k < 8; ++k)
            c = (c & 1u) ? (c >> 1) ^ k_crc32c_poly : c >> 1;
        table[i] = c;
    }
    return table;
}

constexpr std::array<uint32_t, 256> k_crc32c_table = make_crc32c_table();

template <typename V>
V load(const char* p) {
    V v;
    memcpy(&v, p, sizeof(v));
    return v;
}

// Portable steps: a value in host order is its bytes in ascending address order.
uint32_t sw_bytes(uint32_t crc, const char* p, size_t n) {
    return crc32c_portable(crc, p, n);
}

__attribute__((target("sse4.2"))) uint32_t hw_u8(uint32_t crc, const char* p) {
    return _mm_crc32_u8(crc, load<uint8_t>(p));
}
__attribute__((target("sse4.2"))) uint32_t hw_u16(uint32_t crc, const char* p) {
    return _mm_crc32_u16(crc, load<uint16_t>(p));
}
__attribute__((target("sse4.2"))) uint32_t hw_u32(uint32_t crc, const char* p) {
    return _mm_crc32_u32(crc, load<uint32_t>(p));
}

}  // namespace

// The reads of the hashed record, as (offset, width), in order. One list serves both
// ways, so that they cannot drift apart. Laid out by hand: the formatter moves it on
// every pass.
// clang-format off
#define ZUL_CRC10_STEPS(U8, U16, U32)                                              \
    U32(5) U32(9) U8(29) U8(30) U32(31) U32(35) U16(39) U8(49) U8(50) U32(53)      \
    U16(57) U32(59) U16(63) U32(65) U8(69) U8(71) U32(73)
// clang-format on

uint8_t sse42_crc32_10_portable(const char* buf) {
    uint32_t crc = 0;
#define ZUL_SW8(o) crc = sw_bytes(crc, buf + (o), 1);
#define ZUL_SW16(o) crc = sw_bytes(crc, buf + (o), 2);
#define ZUL_SW32(o) crc = sw_bytes(crc, buf + (o), 4);
    ZUL_CRC10_STEPS(ZUL_SW8, ZUL_SW16, ZUL_SW32)
#undef ZUL_SW8
#undef ZUL_SW16
#undef ZUL_SW32
    return static_cast<uint8_t>(crc);
}

// A straight line of 17 crc32 instructions.
__attribute__((target("sse4.2"))) uint8_t sse42_crc32_10_hardware(const char* buf) {
    uint32_t crc = 0;
#define ZUL_HW8(o) crc = hw_u8(crc, buf + (o));
#define ZUL_HW16(o) crc = hw_u16(crc, buf + (o));
#define ZUL_HW32(o) crc = hw_u32(crc, buf + (o));
    ZUL_CRC10_STEPS(ZUL_HW8, ZUL_HW16, ZUL_HW32)
#undef ZUL_HW8
#undef ZUL_HW16
#undef ZUL_HW32
    return static_cast<uint8_t>(crc);
}

#undef ZUL_CRC10_STEPS

uint32_t crc32c_portable(uint32_t crc, const void* data, size_t len) {
    const unsigned char* p = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < len; ++i)
        crc = k_crc32c_table[(crc ^ p[i]) & 0xFFu] ^ (crc >> 8);
    return crc;
}

__attribute__((target("sse4.2"))) uint32_t crc32c_hardware(uint32_t crc, const void* data,
                                                           size_t len) {
    const char* p = static_cast<const char*>(data);
    uint64_t wide = crc;
    for (; len >= 8; p += 8, len -= 8)
        wide = _mm_crc32_u64(wide, load<uint64_t>(p));
    crc = static_cast<uint32_t>(wide);
    for (; len > 0; ++p, --len)
        crc = _mm_crc32_u8(crc, load<uint8_t>(p));
    return crc;
}

bool crc32c_hardware_available() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("sse4.2");
}

}  // namespace TOOLS
}  // namespace VORTANE

uint8_t sse42_crc32_10(const char* buf) {
    // Chosen once: the processor doesn't change while the process runs.
    static uint8_t (*const hash10)(const char*) = VORTANE::TOOLS::crc32c_hardware_available()
                                                      ? VORTANE::TOOLS::sse42_crc32_10_hardware
                                                      : VORTANE::TOOLS::sse42_crc32_10_portable;
    return hash10(buf);
}
