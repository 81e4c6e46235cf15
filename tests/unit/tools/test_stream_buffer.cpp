#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tools/stream_buffer.h"

using VORTANE::TOOLS::stream_buffer;

namespace {

std::string contents(const stream_buffer& b) { return std::string(b.get_data_ptr(), b.get_data_len()); }

// Fills a buffer of the given capacity with `total` bytes and pops `popped` of them.
void prime(stream_buffer& b, size_t total, size_t popped) {
    std::string s(total, 'x');
    for (size_t i = 0; i < total; ++i) s[i] = static_cast<char>('a' + i);
    ASSERT_TRUE(b.push_data(s.data(), s.size()));
    ASSERT_TRUE(b.pop_data(popped));
}

}  // namespace

TEST(StreamBuffer, AppendFitsBehindDataWithoutMoving) {
    stream_buffer b(16);
    prime(b, 6, 4);  // "ef" unread at positions 4..6
    const char* before = b.get_data_ptr();
    ASSERT_TRUE(b.push_data("123", 3));
    EXPECT_EQ(before, b.get_data_ptr()) << "bytes that fit behind the data must not be moved";
    EXPECT_EQ("ef123", contents(b));
    EXPECT_EQ(16u, b.capacity());
}

TEST(StreamBuffer, AppendCompactsWhenOnlyFrontRoomSuffices) {
    stream_buffer b(8);
    prime(b, 8, 6);  // "gh" unread at 6..8
    ASSERT_TRUE(b.push_data("12345", 5));
    EXPECT_EQ(8u, b.capacity());
    EXPECT_EQ("gh12345", contents(b));
    // After compaction the data starts at the front: 7 bytes held, 1 free behind.
    EXPECT_EQ(1u, b.get_reserve_len());
}

TEST(StreamBuffer, GrowthDoublesOrTakesExactNeed) {
    stream_buffer doubled(8);
    prime(doubled, 8, 0);
    ASSERT_TRUE(doubled.push_data("z", 1));
    EXPECT_EQ(16u, doubled.capacity());
    EXPECT_EQ("abcdefghz", contents(doubled));

    stream_buffer exact(8);
    prime(exact, 8, 0);
    std::string big(100, 'q');
    ASSERT_TRUE(exact.push_data(big.data(), big.size()));
    EXPECT_EQ(108u, exact.capacity());
    EXPECT_EQ("abcdefgh" + big, contents(exact));
}

TEST(StreamBuffer, PartialMessageStaysInPlaceAndMoreArrivesBehindIt) {
    stream_buffer b(8192);
    std::string stream;
    for (int i = 0; i < 5000; ++i) stream += static_cast<char>(i * 7);
    // Feed in uneven pieces, consume whole 13-byte "messages" as a reader would.
    std::string consumed;
    size_t fed = 0;
    const size_t pieces[] = {1, 12, 50, 999, 3, 2048, 7};
    size_t k = 0;
    while (fed < stream.size()) {
        size_t n = std::min(pieces[k++ % 7], stream.size() - fed);
        ASSERT_TRUE(b.push_data(stream.data() + fed, n));
        fed += n;
        while (b.get_data_len() >= 13) {
            consumed.append(b.get_data_ptr(), 13);
            b.pop_data(13);
        }
    }
    consumed.append(b.get_data_ptr(), b.get_data_len());
    EXPECT_EQ(stream, consumed) << "bytes lost or reordered across partial consumption";
}

TEST(StreamBuffer, PopToEmptyResetsPositions) {
    stream_buffer b(8);
    prime(b, 5, 0);
    b.pop_data(4);
    const char* last = b.get_data_ptr();
    EXPECT_EQ('e', *last);
    EXPECT_EQ(1u, b.get_data_len());
    b.pop_data(1);
    EXPECT_EQ(0u, b.get_data_len());
    // Positions are back at the front: the whole block is free behind the end.
    EXPECT_EQ(8u, b.get_reserve_len());
}

TEST(StreamBuffer, EmptyPushAndZeroCapacity) {
    stream_buffer zero(0);
    EXPECT_TRUE(zero.push_data("", 0));
    EXPECT_EQ(0u, zero.get_data_len());
    EXPECT_EQ(0u, zero.get_reserve_len());
    ASSERT_TRUE(zero.push_data("abc", 3));
    EXPECT_EQ(3u, zero.capacity()) << "growth from nothing takes exactly what is needed";
    EXPECT_EQ("abc", contents(zero));
}

TEST(StreamBuffer, ReserveCountsOnlyRoomBehindData) {
    stream_buffer b(16);
    prime(b, 10, 4);  // 4 free in front, 6 free behind
    EXPECT_EQ(6u, b.get_reserve_len());
    EXPECT_EQ("efghij", contents(b)) << "asking for room must not move data that has room";

    stream_buffer full(8);
    prime(full, 8, 3);  // no room behind, 3 in front: compacts
    EXPECT_EQ(3u, full.get_reserve_len());
    EXPECT_EQ("defgh", contents(full));

    stream_buffer packed(8);
    prime(packed, 8, 0);  // full of unread bytes: doubles
    EXPECT_EQ(8u, packed.get_reserve_len());
    EXPECT_EQ(16u, packed.capacity());
    EXPECT_EQ("abcdefgh", contents(packed));
}

TEST(StreamBuffer, DirectWriteThroughReserve) {
    stream_buffer b(4);
    ASSERT_GE(b.get_reserve_len(), 3u);
    memcpy(b.get_reserve_ptr(), "xyz", 3);
    EXPECT_EQ(3u, b.fill_reserve_len(3));
    EXPECT_EQ("xyz", contents(b));
}

TEST(StreamBuffer, ResetDataLeavesOnlyNewBytesAtFront) {
    stream_buffer b(8);
    prime(b, 7, 2);
    ASSERT_TRUE(b.reset_data("new", 3));
    EXPECT_EQ("new", contents(b));
    EXPECT_EQ(5u, b.get_reserve_len());
}

TEST(StreamBuffer, ResetDataBufMovesUnreadToFront) {
    stream_buffer b(8);
    prime(b, 8, 5);
    EXPECT_TRUE(b.reset_data_buf());
    EXPECT_EQ("fgh", contents(b));
    EXPECT_EQ(5u, b.get_reserve_len());
}

TEST(StreamBuffer, ProducerAndConsumerUnderTheBufferLock) {
    // One writer and one reader holding the buffer lock around each look, as the
    // socket layer hands chunks over: every byte arrives once, in order.
    stream_buffer b(64);
    const int total = 200000;
    std::thread writer([&] {
        for (int i = 0; i < total; ++i) {
            char c = static_cast<char>(i % 251);
            b.push_data(&c, 1);
        }
    });
    int got = 0;
    bool ordered = true;
    while (got < total) {
        b.lock_stream();
        size_t n = b.get_data_len();
        for (size_t i = 0; i < n; ++i) {
            if (b.get_data_ptr()[i] != static_cast<char>((got + static_cast<int>(i)) % 251)) ordered = false;
        }
        b.pop_data(n);
        b.unlock_stream();
        got += static_cast<int>(n);
    }
    writer.join();
    EXPECT_TRUE(ordered);
    EXPECT_EQ(total, got);
}
