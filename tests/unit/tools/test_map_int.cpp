#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <vector>

#include "tools/linux_lock.h"
#include "tools/template_map_int.h"

using namespace VORTANE::TOOLS;

namespace {

// Shows the bucket layout, which the map keeps to itself.
template <typename T, typename L = null_lock>
class probe_map : public map_int<T, L> {
public:
    explicit probe_map(int size) : map_int<T, L>(size) {}
    size_t buckets() const { return this->m_hash_table_size; }
    size_t max_dup() const { return this->m_max_duplicate_count; }
    std::vector<long long> chain(size_t bucket) const {
        std::vector<long long> keys;
        for (auto p = this->m_hash_table[bucket]; p != nullptr; p = p->m_pNext) {
            keys.push_back(p->m_key);
        }
        return keys;
    }
    // Every entry in the bucket its key hashes to, and the chains add up to size().
    bool consistent() {
        size_t total = 0;
        for (size_t b = 0; b < buckets(); ++b) {
            for (long long key : chain(b)) {
                if (this->hash_key(key) % buckets() != b)
                    return false;
                ++total;
            }
        }
        return total == this->size();
    }
};

// Counts live copies, so that a leak or a double destruction shows.
struct counted {
    static int live;
    int value;
    explicit counted(int v = 0) : value(v) { ++live; }
    counted(const counted& o) : value(o.value) { ++live; }
    counted& operator=(const counted& o) = default;
    ~counted() { --live; }
};
int counted::live = 0;

}  // namespace

TEST(MapInt, BucketCountsFollowTheFixedTable) {
    for (int size : {0, 11, 53})
        EXPECT_EQ(probe_map<int>(size).buckets(), 53u) << size;
    EXPECT_EQ(probe_map<int>(54).buckets(), 97u);
    probe_map<int> m(0);
    // The table's three odd members are kept as they are.
    EXPECT_EQ(m.map_int_adjust_size(786434), 786443u);
    EXPECT_EQ(m.map_int_adjust_size(25165842), 25165842u);
    EXPECT_EQ(m.map_int_adjust_size(25165843), 50331553u);
    EXPECT_EQ(m.map_int_adjust_size(50331554), 100663319u);
    EXPECT_EQ(m.map_int_adjust_size(5000000000ull), 4294967291u);
}

TEST(MapInt, GrowsAtTheFiftyFourthKeyAndKeepsEveryEntry) {
    probe_map<long long> m(11);
    for (long long k = 0; k < 53; ++k)
        m.set(k * 1000, -k);
    EXPECT_EQ(m.buckets(), 53u);
    m.set(53000, -53);
    EXPECT_EQ(m.buckets(), 97u);

    std::mt19937_64 rng(7);
    std::vector<long long> keys;
    for (int i = 0; i < 3000; ++i)
        keys.push_back(static_cast<long long>(rng()) >> (i % 40));
    for (long long k : keys)
        m.set(k, k ^ 0x5A5A);
    EXPECT_TRUE(m.consistent());
    EXPECT_GE(m.buckets(), m.size());
    for (long long k = 0; k < 54; ++k) {
        long long v = 0;
        ASSERT_TRUE(m.find(k * 1000, v));
        EXPECT_EQ(v, -k);
    }
    for (long long k : keys) {
        long long v = 0;
        ASSERT_TRUE(m.find(k, v));
        EXPECT_EQ(v, k ^ 0x5A5A);
    }
}

TEST(MapInt, CollidingKeysChainInOrderAndReplaceInPlace) {
    probe_map<int> m(53);
    for (long long k = 0; k < 53; ++k)
        m.set(k + 2, 0);
    EXPECT_EQ(m.max_dup(), 0u);  // no key met an occupied bucket
    m.clear();

    m.set(1, 10);
    m.set(54, 20);
    m.set(107, 30);
    m.set(160, 40);
    EXPECT_EQ(m.chain(1), (std::vector<long long>{1, 54, 107, 160}));
    EXPECT_EQ(m.max_dup(), 3u);
    m.set(54, 21);
    EXPECT_EQ(m.chain(1), (std::vector<long long>{1, 54, 107, 160}));
    EXPECT_EQ(m.size(), 4u);
    int v = -1;
    EXPECT_FALSE(m.find(2, v));
    EXPECT_EQ(v, -1);
    EXPECT_TRUE(m.find(54, v));
    EXPECT_EQ(v, 21);

    m.reset_table_size(2);
    EXPECT_EQ(m.chain(0), (std::vector<long long>{54, 160}));
    EXPECT_EQ(m.chain(1), (std::vector<long long>{1, 107}));
    EXPECT_EQ(m.max_dup(), 3u);
    EXPECT_EQ(m.max_duplicate_count(), 3u);
}

TEST(MapInt, NegativeKeysHashByTheirLowHalf) {
    probe_map<int> m(53);
    EXPECT_EQ(m.hash_key(-1), 1u);
    EXPECT_EQ(m.hash_key(-(1LL << 32)), 0u);
    EXPECT_EQ(m.hash_key(-(1LL << 32) + 5), 5u);
    EXPECT_EQ(m.hash_key(-(1LL << 31)), 2147483648u);
    EXPECT_EQ(m.hash_key(1LL << 40), static_cast<size_t>(1LL << 40));

    // -1, 1 and -(2^32) - 1 share a chain and stay three entries.
    m.set(-1, 1);
    m.set(1, 2);
    m.set(-(1LL << 32) - 1, 3);
    EXPECT_EQ(m.chain(1), (std::vector<long long>{-1, 1, -(1LL << 32) - 1}));
    int v = 0;
    EXPECT_TRUE(m.find(-(1LL << 32) - 1, v));
    EXPECT_EQ(v, 3);
    EXPECT_TRUE(m.contains(-1));
    EXPECT_FALSE(m.contains(-2));
}

TEST(MapInt, ClearAndDestructionDestroyEachValueOnce) {
    {
        probe_map<counted> m(11);
        for (int i = 0; i < 500; ++i)
            m.set(i % 250 * 53, counted(i));
        EXPECT_EQ(counted::live, 250);
        size_t buckets = m.buckets();
        m.clear();
        EXPECT_EQ(counted::live, 0);
        EXPECT_EQ(m.size(), 0u);
        EXPECT_EQ(m.buckets(), buckets);
        EXPECT_GT(m.max_dup(), 0u);
        const long long step = static_cast<long long>(buckets);
        m.set(5, counted(1));
        m.set(5 + step, counted(2));
        m.set(5 + 2 * step, counted(3));
        m.remove_key(5 + step);
        m.remove_key(7);
        EXPECT_EQ(counted::live, 2);
        EXPECT_EQ(m.size(), 2u);
        EXPECT_EQ(m.chain(5), (std::vector<long long>{5, 5 + 2 * step}));
        m.remove_key(5);
        EXPECT_EQ(m.chain(5), (std::vector<long long>{5 + 2 * step}));
        EXPECT_EQ(m.size(), 1u);
        EXPECT_TRUE(m.consistent());
    }
    EXPECT_EQ(counted::live, 0);
}

TEST(MapInt, LockedMapTakesInsertsFromTwoThreads) {
    probe_map<int, mutex_lock> m(11);
    auto fill = [&m](int base) {
        for (int i = 0; i < 2000; ++i)
            m.set(base + i, base + i);
    };
    std::thread a(fill, 0), b(fill, 100000);
    a.join();
    b.join();
    EXPECT_EQ(m.size(), 4000u);
    EXPECT_TRUE(m.consistent());
}
