#include "client/record_copy.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace record_copy;

namespace {

// Copies a wire field of M bytes holding `text` (zeros behind it, other bytes behind
// the field) into a zeroed public field of N bytes; gives those N bytes, or a note if
// the copy wrote past them.
template <size_t N, size_t M, typename Copy>
std::string copied(const std::string& text, Copy copy) {
    struct {
        char field[M];
        char next[4];
    } wire;
    memset(wire.field, 0, M);
    memcpy(wire.field, text.data(), text.size());
    memcpy(wire.next, "NEXT", 4);
    struct {
        char field[N];
        char guard[4];
    } pub;
    memset(pub.field, 0, N);
    memcpy(pub.guard, "####", 4);
    copy(pub.field, wire.field);
    return memcmp(pub.guard, "####", 4) == 0 ? std::string(pub.field, N) : "past the field";
}

#define COPY_WITH(form) [](auto& dst, auto& src) { form(dst, src); }

TEST(RecordCopy, EachFormKeepsWithinBothFields) {
    const std::string z(1, '\0');
    const std::string abc16 = "ABCDEFGHIJKLMNOP", abc20 = abc16 + "QRST";
    EXPECT_EQ(abc16 + z, (copied<17, 16>(abc16, COPY_WITH(account_copy))));

    EXPECT_EQ(abc20, (copied<20, 20>(abc20, COPY_WITH(bounded_text))));  // no terminator
    EXPECT_EQ("AB" + std::string(18, '\0'),  // nothing behind the first zero
              (copied<20, 20>(std::string("AB\0\0\0X", 6), COPY_WITH(bounded_text))));
    EXPECT_EQ("202401319", (copied<9, 9>("202401319", COPY_WITH(bounded_text))));

    EXPECT_EQ("ID" + std::string(8, '\0') + "Z" + std::string(14, '\0'),
              (copied<25, 24>(std::string("ID\0\0\0\0\0\0\0\0Z", 11), COPY_WITH(whole_field))));

    const std::string hex32 = "0123456789abcdef0123456789ABCDEF";
    EXPECT_EQ(hex32.substr(0, 31) + z, (copied<32, 32>(hex32, COPY_WITH(forced_end))));
    EXPECT_EQ(std::string(79, 'c') + z,
              (copied<80, 80>(std::string(80, 'c'), COPY_WITH(forced_end))));

    EXPECT_EQ(abc20.substr(0, 19) + z, (copied<20, 20>(abc20, COPY_WITH(limited_text))));
    EXPECT_EQ(abc16 + z, (copied<17, 16>(abc16, COPY_WITH(limited_text))));
    EXPECT_EQ("EXEC-1" + std::string(19, '\0'),
              (copied<25, 24>("EXEC-1", COPY_WITH(limited_text))));
}

}  // namespace
