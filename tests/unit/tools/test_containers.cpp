#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tools/data_pool.h"
#include "tools/data_queue.h"
#include "tools/lock.h"
#include "tools/stream_buffer.h"
#include "tools/template_map_int.h"

using namespace VORTANE::TOOLS;

namespace {

std::string contents(const stream_buffer& b) {
    return std::string(b.get_data_ptr(), b.get_data_len());
}

TEST(StreamBuffer, AppendMovesOrGrowsOnlyWhenTheBytesDontFitBehind) {
    // A buffer of `cap` bytes gets `total` letters "abc...", `popped` of them are
    // consumed and `pushed` sevens appended. Then: whether the append left the data
    // where it was, the capacity, and the room behind the data (asking for it
    // compacts or doubles a full block).
    struct row {
        size_t cap, total, popped, pushed, capacity, reserve;
        bool stays;
    };
    // clang-format off
    const row rows[] = {
        {16, 6, 4, 3, 16, 7, true},       // fits behind the data: nothing moves
        {8, 8, 6, 5, 8, 1, false},        // fits after compaction: capacity kept
        {8, 8, 0, 1, 16, 7, false},       // grows to twice the capacity
        {8, 8, 0, 100, 108, 108, false},  // or to the exact need; the full block doubles
        {0, 0, 0, 3, 3, 3, false},        // from nothing
        {8, 5, 5, 0, 8, 8, true},         // popped to empty: positions back at 0
        {8, 5, 4, 0, 8, 3, true},         // one byte left where it was
        {8, 8, 3, 0, 8, 3, true},         // no room behind: the room in front is taken
        {16, 10, 4, 0, 16, 6, true},      // room in front doesn't count while some is behind
    };
    // clang-format on
    for (const row& r : rows) {
        SCOPED_TRACE(testing::Message()
                     << r.cap << "/" << r.total << "/" << r.popped << "/" << r.pushed);
        stream_buffer b(static_cast<unsigned int>(r.cap));
        const std::string letters("abcdefghijklmnop", r.total), digits(r.pushed, '7');
        ASSERT_TRUE(b.push_data(letters.data(), letters.size()));
        ASSERT_TRUE(b.pop_data(r.popped));
        const char* before = b.get_data_ptr();
        ASSERT_TRUE(b.push_data(digits.data(), digits.size()));
        EXPECT_EQ(r.stays, before == b.get_data_ptr());
        EXPECT_EQ(r.capacity, b.capacity());
        EXPECT_EQ(r.reserve, b.get_reserve_len());
        EXPECT_EQ(letters.substr(r.popped) + digits, contents(b));
    }
}

TEST(StreamBuffer, PartialMessageStaysInPlaceAndMoreArrivesBehindIt) {
    stream_buffer b(64);
    std::string stream, consumed;
    for (int i = 0; i < 5000; ++i)
        stream += static_cast<char>(i * 7);
    // Uneven pieces in, whole 13-byte "messages" out, as a reader would.
    const size_t pieces[] = {1, 12, 50, 999, 3, 2048, 7};
    for (size_t fed = 0, k = 0; fed < stream.size(); ++k) {
        size_t n = std::min(pieces[k % 7], stream.size() - fed);
        ASSERT_TRUE(b.push_data(stream.data() + fed, n));
        fed += n;
        for (; b.get_data_len() >= 13; b.pop_data(13))
            consumed.append(b.get_data_ptr(), 13);
    }
    EXPECT_EQ(stream, consumed + contents(b)) << "bytes lost or reordered";
}

// Counts live objects, so that a leak or a double destruction shows.
struct counted {
    static int live;
    unsigned int value;
    explicit counted(unsigned int v = 0) : value(v) { ++live; }
    counted(const counted& o) : value(o.value) { ++live; }
    counted& operator=(const counted& o) = default;
    ~counted() { --live; }
};
int counted::live = 0;

TEST(DataPool, LastReturnedIsReusedFirstAndObjectsBeyondTheDepthAreFreed) {
    counted* kept;
    {
        data_pool<counted> pool(2);
        counted* a = pool.new_data();
        counted* b = pool.new_data();
        counted* c = pool.new_data();
        for (counted* t : {a, b, c})
            pool.delete_data(t);  // the third finds the pool full and is freed
        EXPECT_EQ(2, pool.get_ready_count());
        EXPECT_EQ(2, pool.get_total_count());
        EXPECT_EQ(2, counted::live);
        EXPECT_EQ(b, pool.new_data());
        EXPECT_EQ(a, pool.new_data());
        kept = pool.new_data();  // none idle: a new one
        EXPECT_EQ(3, pool.get_total_count());
        pool.delete_data(a);
        pool.delete_data(b);
    }
    EXPECT_EQ(1, counted::live) << "the pool frees what it keeps idle, not what is out";
    delete kept;
}

TEST(DataQueue, EmptyQueueThrowsItsTextAndStaysUsable) {
    data_queue<int> q;
    q.pop_front_node();
    EXPECT_EQ(0, q.size());
    try {
        q.get_front_node();
        FAIL() << "no exception";
    } catch (const bad_str_key& e) {
        EXPECT_STREQ("data queue empty ", e.what());
        EXPECT_EQ(-1, e.m_error_code);
    }
    for (int v : {7, 8})
        q.push_node(v);
    EXPECT_EQ(7, q.get_front_node());
    q.pop_front_node();
    EXPECT_EQ(8, q.get_front_node());
}

// True when another thread can take the lock right now.
bool free_for_other_thread(mutex_lock& l) {
    bool got = false;
    std::thread([&] {
        got = l.try_lock();
        if (got)
            l.unlock();
    }).join();
    return got;
}

TEST(MutexLock, RecursiveForTheHolderAndALockerUnlocksOnce) {
    mutex_lock m;
    m.lock();  // one level held by the test itself
    {
        mutex_locker outer(m);
        mutex_locker inner(&m);  // the same thread: must not block
        EXPECT_TRUE(m.try_lock());
        m.unlock();
        EXPECT_FALSE(free_for_other_thread(m));
        inner.unlock();
        inner.unlock();  // must not release another level, nor may its destructor
    }
    EXPECT_FALSE(free_for_other_thread(m));
    m.unlock();
    EXPECT_TRUE(free_for_other_thread(m));
    mutex_locker nothing(static_cast<mutex_lock*>(nullptr));
    nothing.unlock();
}

// What another thread can take right now: {shared, exclusive}.
std::pair<bool, bool> free_for_other_thread(read_write_lock& l) {
    std::pair<bool, bool> got;
    std::thread([&] {
        if ((got.first = l.try_read_lock()))
            l.read_unlock();
        if ((got.second = l.try_write_lock()))
            l.write_unlock();
    }).join();
    return got;
}

TEST(ReadWriteAndSpinLocks, ReadersShareWritersExcludeAndTheSpinLockIsNotRecursive) {
    read_write_lock rw;
    {
        read_locker r(rw);
        EXPECT_EQ(std::make_pair(true, false), free_for_other_thread(rw));
    }
    {
        write_locker w(&rw);
        EXPECT_EQ(std::make_pair(false, false), free_for_other_thread(rw));
    }
    EXPECT_EQ(std::make_pair(true, true), free_for_other_thread(rw));

    spin_lock s;
    {
        spin_locker held(s);
        EXPECT_FALSE(s.try_lock());
    }
    EXPECT_TRUE(s.try_lock());
    s.unlock();
}

// Shows the bucket layout, which the map keeps to itself.
template <typename T>
class probe_map : public map_int<T, null_lock> {
public:
    explicit probe_map(int size) : map_int<T, null_lock>(size) {}
    size_t buckets() const { return this->m_hash_table_size; }
    // Every entry sits in the bucket its key hashes to, and the chains add up to size().
    bool consistent() {
        size_t total = 0;
        for (size_t b = 0; b < buckets(); ++b) {
            for (auto p = this->m_hash_table[b]; p != nullptr; p = p->m_pNext, ++total) {
                if (this->hash_key(p->m_key) % buckets() != b)
                    return false;
            }
        }
        return total == this->size();
    }
};

TEST(MapInt, CollisionsAndGrowthKeepEveryEntryAndEachValueIsDestroyedOnce) {
    {
        probe_map<counted> m(11);
        std::vector<long long> keys;
        for (long long k = 0; k < 53; ++k)
            keys.push_back(k * 53);  // all in one chain of the first table
        for (long long k : keys)
            m.set(k, counted(static_cast<unsigned int>(k)));
        EXPECT_EQ(m.buckets(), 53u);
        std::mt19937_64 rng(7);
        for (int i = 0; i < 3000; ++i)
            keys.push_back(i == 0 ? 53 * 53 : static_cast<long long>(rng()) >> (i % 40));
        for (size_t i = 53; i < keys.size(); ++i) {
            m.set(keys[i], counted(static_cast<unsigned int>(keys[i])));
            EXPECT_TRUE(i > 53 || m.buckets() == 97u) << "grows at the 54th key";
        }
        m.set(53, counted(99));  // replaced in place
        EXPECT_TRUE(m.consistent());
        counted v;
        EXPECT_EQ(counted::live, static_cast<int>(m.size()) + 1);
        for (long long k : keys) {
            ASSERT_TRUE(m.find(k, v));
            EXPECT_EQ(v.value, k == 53 ? 99u : static_cast<unsigned int>(k));
        }
        const long long step = static_cast<long long>(m.buckets());
        m.clear();
        EXPECT_EQ(counted::live, 1);
        EXPECT_EQ(step, static_cast<long long>(m.buckets()));
        for (unsigned int i = 0; i < 3; ++i)
            m.set(5 + i * step, counted(i));
        m.remove_key(5 + step);  // from the middle of a chain
        m.remove_key(7);
        EXPECT_EQ(counted::live, 3);
        EXPECT_TRUE(m.contains(5) && m.contains(5 + 2 * step) && !m.contains(5 + step));
        EXPECT_TRUE(m.consistent());
    }
    EXPECT_EQ(counted::live, 0);
}

// A size that is a bucket count of the table gets exactly that count, one more gets the next.
TEST(MapInt, SizedAtABucketCountOfTheTableTakesThatCount) {
    const size_t counts[] = {53, 97, 193, 389, 769, 1543, 3079, 6151, 12289, 24593, 49157, 98317};
    for (size_t i = 0; i < std::size(counts); ++i) {
        EXPECT_EQ(counts[i], probe_map<int>(static_cast<int>(counts[i])).buckets());
        EXPECT_EQ(counts[i], probe_map<int>(static_cast<int>(counts[i]) - 1).buckets());
        if (i + 1 < std::size(counts)) {
            EXPECT_EQ(counts[i + 1], probe_map<int>(static_cast<int>(counts[i]) + 1).buckets());
        }
    }
    probe_map<int> m(0);
    EXPECT_EQ(53u, m.buckets());
    EXPECT_EQ(25165842u, m.map_int_adjust_size(25165842));
    EXPECT_EQ(4294967291u, m.map_int_adjust_size(4294967291u));
    EXPECT_EQ(4294967291u, m.map_int_adjust_size(4294967292u)) << "the last count is the most";
}

}  // namespace
