#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <string>

#include "tools/md5.h"

using namespace VORTANE::TOOLS;

namespace {

std::string to_hex(const unsigned char* bytes, size_t n) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < n; ++i) {
        out += digits[bytes[i] >> 4];
        out += digits[bytes[i] & 15];
    }
    return out;
}

// Digest of `text` fed in pieces of `piece` bytes (0: in one call).
std::string md5_hex(const std::string& text, size_t piece = 0) {
    md5_context ctx;
    md5_starts(&ctx);
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    size_t left = text.size();
    if (piece == 0)
        piece = left;
    while (left > 0) {
        size_t n = left < piece ? left : piece;
        md5_update(&ctx, p, n);
        p += n;
        left -= n;
    }
    unsigned char digest[16];
    md5_finish(&ctx, digest);
    return to_hex(digest, 16);
}

std::string upper(std::string s) {
    for (char& c : s)
        c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return s;
}

}  // namespace

TEST(Md5, ReferenceSuite) {
    const struct {
        const char* text;
        const char* digest;
    } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"1234567890123456789012345678901234567890123456789012345678901234567890123456"
         "7890",
         "57edf4a22be3c955ac49da2e2107b67a"},
        {"password", "5f4dcc3b5aa765d61d8327deb882cf99"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(md5_hex(c.text), c.digest) << c.text;
        char out[33];
        encrypt_md5(c.text, static_cast<int>(strlen(c.text)), out);
        EXPECT_EQ(std::string(out), upper(c.digest)) << c.text;
    }
}

TEST(Md5, LengthsAroundThePaddingBoundary) {
    // Runs of 'a'; from 56 bytes on the length needs a second padding block.
    const struct {
        size_t length;
        const char* digest;
    } cases[] = {
        {55, "ef1772b6dff9a122358552954ad0df65"}, {56, "3b0c8ac703f828b04c6c197006d17218"},
        {63, "b06521f39153d618550606be297466d5"}, {64, "014842d480b571495a4a0363793f7367"},
        {65, "c743a45e0d2e6a95cb859adae0248435"}, {128, "e510683b3f5ffe4093d021808bc6ff70"},
    };
    for (const auto& c : cases) {
        const std::string text(c.length, 'a');
        EXPECT_EQ(md5_hex(text), c.digest) << c.length;
        for (size_t piece : {1u, 7u, 63u, 64u, 65u}) {
            EXPECT_EQ(md5_hex(text, piece), c.digest) << c.length << " in pieces of " << piece;
        }
    }
}

TEST(Md5, CountOverflowsIntoTheHighWord) {
    md5_context ctx;
    md5_starts(&ctx);
    ctx.total[0] = 0xFFFFFFC0ul;
    ctx.total[1] = 2;
    unsigned char block[64] = {0};
    md5_update(&ctx, block, 64);
    EXPECT_EQ(ctx.total[0], 0u);
    EXPECT_EQ(ctx.total[1], 3u);
    md5_update(&ctx, block, 0);
    EXPECT_EQ(ctx.total[0], 0u);
}

TEST(Md5, EncryptWritesThirtyThreeBytesOfUpperCaseText) {
    char out[40];
    memset(out, 'x', sizeof(out));
    encrypt_md5("abc", 3, out);
    EXPECT_EQ(std::string(out, 32), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_EQ(out[32], '\0');
    EXPECT_EQ(out[33], 'x');

    encrypt_md5("abcdef", 3, out);  // only the first nLen bytes count
    EXPECT_STREQ(out, "900150983CD24FB0D6963F7D28E17F72");
    encrypt_md5("", 0, out);
    EXPECT_STREQ(out, "D41D8CD98F00B204E9800998ECF8427E");
    encrypt_md5("abc", -1, out);  // a negative length digests nothing
    EXPECT_STREQ(out, "D41D8CD98F00B204E9800998ECF8427E");
}
