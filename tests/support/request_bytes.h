#ifndef TESTS_SUPPORT_REQUEST_BYTES_H
#define TESTS_SUPPORT_REQUEST_BYTES_H

// Expected request images, written byte by byte from offsets and widths, so that
// they owe nothing to the library's own record types.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace zul_test {

using image_bytes = std::vector<unsigned char>;

// A zeroed record of len bytes with its id and length in the header. Every
// write outside the record is a test failure, not a crash.
class wire_image {
public:
    wire_image(uint16_t id, uint16_t len) : m_bytes(len, 0) { u16(0, id).u16(2, len); }

    wire_image& u8(size_t off, uint8_t v) { return put(off, 1, v); }
    wire_image& u16(size_t off, uint16_t v) { return put(off, 2, v); }
    wire_image& u32(size_t off, uint32_t v) { return put(off, 4, v); }
    // At most width - 1 characters of s, the rest of the field zero.
    wire_image& text(size_t off, size_t width, const std::string& s) {
        if (!fits(off, width))
            return *this;
        for (size_t i = 0; i < width; ++i)
            m_bytes[off + i] = i + 1 < width && i < s.size() ? static_cast<unsigned char>(s[i]) : 0;
        return *this;
    }
    const image_bytes& bytes() const { return m_bytes; }

private:
    bool fits(size_t off, size_t width) {
        if (off + width <= m_bytes.size())
            return true;
        ADD_FAILURE() << "field at " << off << " of width " << width << " outside "
                      << m_bytes.size() << " bytes";
        return false;
    }
    // Little-endian, whatever the host.
    wire_image& put(size_t off, size_t width, uint32_t v) {
        if (!fits(off, width))
            return *this;
        for (size_t i = 0; i < width; ++i)
            m_bytes[off + i] = static_cast<unsigned char>(v >> (8 * i));
        return *this;
    }

    image_bytes m_bytes;
};

// The header and user id of most requests, then the account at 12.
inline wire_image user_account_image(uint16_t id, uint16_t len, uint32_t user,
                                     const std::string& account) {
    wire_image img(id, len);
    img.u32(8, user).text(12, 16, account);
    return img;
}

// Where two images differ, for a failure message: every differing offset with
// both bytes, and a note when the lengths differ.
inline std::string image_diff(const image_bytes& expected, const image_bytes& actual) {
    std::string out;
    if (expected.size() != actual.size())
        out += "length " + std::to_string(actual.size()) + ", expected " +
               std::to_string(expected.size()) + "; ";
    const size_t n = std::min(expected.size(), actual.size());
    for (size_t i = 0; i < n; ++i) {
        if (expected[i] == actual[i])
            continue;
        char buf[48];
        snprintf(buf, sizeof(buf), "@%zu: %02X expected %02X; ", i, actual[i], expected[i]);
        out += buf;
    }
    return out;
}

}  // namespace zul_test

#endif
