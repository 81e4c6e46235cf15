#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tools/hash.h"
#include "tools/md5.h"

using namespace VORTANE::TOOLS;

namespace {

// Upper-case hex digest of `text` fed in pieces of `piece` bytes.
std::string md5_hex(const std::string& text, size_t piece) {
    md5_context ctx;
    md5_starts(&ctx);
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    for (size_t done = 0; done < text.size(); done += piece)
        md5_update(&ctx, p + done, std::min(piece, text.size() - done));
    unsigned char digest[16];
    md5_finish(&ctx, digest);
    std::string out;
    for (unsigned char b : digest)
        out += std::string{"0123456789ABCDEF"[b >> 4], "0123456789ABCDEF"[b & 15]};
    return out;
}

TEST(Md5, ReferenceSuiteWholeAndInPiecesAndAsText) {
    // The RFC 1321 suite, and runs of 'a' around the padding boundary of 56 bytes.
    const std::pair<std::string, std::string> cases[] = {
        // clang-format off
        {"", "D41D8CD98F00B204E9800998ECF8427E"},
        {"a", "0CC175B9C0F1B6A831C399E269772661"},
        {"abc", "900150983CD24FB0D6963F7D28E17F72"},
        {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
        {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "D174AB98D277D9F5A5611C2C9F419D9F"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890", "57EDF4A22BE3C955AC49DA2E2107B67A"},
        {std::string(55, 'a'), "EF1772B6DFF9A122358552954AD0DF65"},
        {std::string(56, 'a'), "3B0C8AC703F828B04C6C197006D17218"},
        {std::string(64, 'a'), "014842D480B571495A4A0363793F7367"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        for (size_t piece : {size_t(100), size_t(1), size_t(63)})
            EXPECT_EQ(md5_hex(c.first, piece), c.second) << "in pieces of " << piece;
        char out[34];
        memset(out, 'x', sizeof(out));
        encrypt_md5(c.first.data(), static_cast<int>(c.first.size()), out);
        EXPECT_EQ(c.second + '\0' + 'x', std::string(out, 34)) << "33 bytes, upper case";
    }
}

// Bit by bit, straight from the reflected polynomial, as a yardstick for both paths.
uint32_t reference_crc32c(uint32_t crc, const unsigned char* p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int k = 0; k < 8; ++k)
            crc = (crc & 1) ? (crc >> 1) ^ 0x82F63B78u : crc >> 1;
    }
    return crc;
}

TEST(Crc32c, HardwareAndPortablePathsAgreeWithTheDefinition) {
    const unsigned char check[] = "123456789";
    EXPECT_EQ(~crc32c_portable(~0u, check, 9), 0xE3069283u);  // the published check value
    EXPECT_EQ(crc32c_portable(0, check, 9), 0x58E3FA20u);
    const bool hardware = crc32c_hardware_available();
    std::mt19937 rng(12345);
    std::vector<unsigned char> data(300 + 8);
    for (auto& b : data)
        b = static_cast<unsigned char>(rng());
    for (size_t offset = 0; offset < 8; ++offset) {
        for (size_t len = 0; len <= 300; ++len) {
            const unsigned char* p = data.data() + offset;
            const uint32_t start = rng(), expected = reference_crc32c(start, p, len);
            ASSERT_EQ(crc32c_portable(start, p, len), expected) << offset << "/" << len;
            ASSERT_TRUE(!hardware || crc32c_hardware(start, p, len) == expected) << offset;
        }
    }
    // The record hash: the low byte of the CRC of chosen byte ranges.
    const int ranges[][2] = {{5, 12}, {29, 40}, {49, 50}, {53, 69}, {71, 71}, {73, 76}};
    for (int round = 0; round < 2000; ++round) {
        const char* rec = reinterpret_cast<const char*>(data.data() + round % 200);
        std::vector<unsigned char> chosen;
        for (const auto& r : ranges)
            chosen.insert(chosen.end(), rec + r[0], rec + r[1] + 1);
        const uint8_t expected =
            static_cast<uint8_t>(reference_crc32c(0, chosen.data(), chosen.size()));
        ASSERT_EQ(sse42_crc32_10_portable(rec), expected) << round;
        ASSERT_EQ(sse42_crc32_10(rec), expected) << round;
        ASSERT_TRUE(!hardware || sse42_crc32_10_hardware(rec) == expected) << round;
        data[round % data.size()] ^= static_cast<unsigned char>(rng());
    }
}

}  // namespace
