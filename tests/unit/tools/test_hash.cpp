#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "tools/hash.h"

using namespace VORTANE::TOOLS;

namespace {

// Bit by bit, straight from the reflected polynomial, as a yardstick for both paths.
uint32_t reference_crc32c(uint32_t crc, const unsigned char* p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int k = 0; k < 8; ++k)
            crc = (crc & 1) ? (crc >> 1) ^ 0x82F63B78u : crc >> 1;
    }
    return crc;
}

// The bytes of a record that the one-byte hash covers, in order.
std::vector<unsigned char> hashed_bytes(const unsigned char* rec) {
    std::vector<unsigned char> out;
    auto take = [&](int from, int to) {
        for (int i = from; i <= to; ++i)
            out.push_back(rec[i]);
    };
    take(5, 12);
    take(29, 40);
    take(49, 50);
    take(53, 69);
    take(71, 71);
    take(73, 76);
    return out;
}

uint8_t reference_hash10(const unsigned char* rec) {
    std::vector<unsigned char> bytes = hashed_bytes(rec);
    return static_cast<uint8_t>(reference_crc32c(0, bytes.data(), bytes.size()));
}

}  // namespace

TEST(Crc32c, KnownValues) {
    const unsigned char check[] = "123456789";
    // The usual form (start and final inversion) has the published check value.
    EXPECT_EQ(~reference_crc32c(~0u, check, 9), 0xE3069283u);
    EXPECT_EQ(~crc32c_portable(~0u, check, 9), 0xE3069283u);
    // The raw form that the hash uses: start 0, no inversion.
    EXPECT_EQ(crc32c_portable(0, check, 9), 0x58E3FA20u);
    EXPECT_EQ(crc32c_portable(0, check, 0), 0u);
    EXPECT_EQ(crc32c_portable(crc32c_portable(0, check, 4), check + 4, 5), 0x58E3FA20u);
}

TEST(Crc32c, HardwareAndPortablePathsAgree) {
    if (!crc32c_hardware_available())
        GTEST_SKIP() << "no crc32 instruction";
    std::mt19937 rng(12345);
    std::vector<unsigned char> data(300 + 8);
    for (auto& b : data)
        b = static_cast<unsigned char>(rng());
    for (size_t offset = 0; offset < 8; ++offset) {
        for (size_t len = 0; len <= 300; ++len) {
            const unsigned char* p = data.data() + offset;
            const uint32_t start = rng();
            const uint32_t expected = reference_crc32c(start, p, len);
            ASSERT_EQ(crc32c_portable(start, p, len), expected) << offset << "/" << len;
            ASSERT_EQ(crc32c_hardware(start, p, len), expected) << offset << "/" << len;
        }
    }
}

TEST(Crc32c, RecordHashCoversTheChosenBytesOnly) {
    unsigned char rec[96 + 1] = {0};
    EXPECT_EQ(sse42_crc32_10(reinterpret_cast<char*>(rec)), 0);
    for (int i = 0; i < 77; ++i)
        rec[i] = static_cast<unsigned char>(i);
    EXPECT_EQ(sse42_crc32_10(reinterpret_cast<char*>(rec)), 0x88);
    for (int i = 0; i < 77; ++i)
        rec[i] = static_cast<unsigned char>(i * 37 + 11);
    EXPECT_EQ(sse42_crc32_10(reinterpret_cast<char*>(rec)), 0x98);

    const uint8_t base = sse42_crc32_10(reinterpret_cast<char*>(rec));
    for (int skipped : {0, 4, 13, 28, 41, 48, 51, 52, 70, 72, 77, 95}) {
        rec[skipped] ^= 0xA5;
        EXPECT_EQ(sse42_crc32_10(reinterpret_cast<char*>(rec)), base) << skipped;
        rec[skipped] ^= 0xA5;
    }
}

TEST(Crc32c, RecordHashPathsAgreeOnRandomRecords) {
    const bool hardware = crc32c_hardware_available();
    std::mt19937 rng(99);
    unsigned char storage[77 + 8];
    for (int round = 0; round < 2000; ++round) {
        for (auto& b : storage)
            b = static_cast<unsigned char>(rng());
        const unsigned char* rec = storage + round % 8;  // any alignment
        const char* buf = reinterpret_cast<const char*>(rec);
        const uint8_t expected = reference_hash10(rec);
        ASSERT_EQ(sse42_crc32_10_portable(buf), expected) << round;
        ASSERT_EQ(sse42_crc32_10(buf), expected) << round;
        if (hardware) {
            ASSERT_EQ(sse42_crc32_10_hardware(buf), expected) << round;
        }
    }
}
