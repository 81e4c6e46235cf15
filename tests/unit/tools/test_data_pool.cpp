#include <gtest/gtest.h>

#include "tools/data_pool.h"
#include "tools/stream_buffer.h"

namespace {

using VORTANE::TOOLS::data_pool;
using VORTANE::TOOLS::stream_buffer;

// Counts the objects alive, to see what the pool frees.
struct tracked {
    explicit tracked(unsigned int size) : capacity(size) { ++alive; }
    ~tracked() { --alive; }
    unsigned int capacity;
    static int alive;
};
int tracked::alive = 0;

class DataPool : public ::testing::Test {
protected:
    void SetUp() override { tracked::alive = 0; }
};

TEST_F(DataPool, EmptyPoolMakesNewBuffersOf2048Bytes) {
    data_pool<stream_buffer> pool(4);
    stream_buffer* b = pool.new_data();
    ASSERT_NE(nullptr, b);
    EXPECT_EQ(2048u, b->capacity());
    EXPECT_EQ(0u, b->get_data_len());
    EXPECT_EQ(1, pool.get_total_count());
    EXPECT_EQ(0, pool.get_ready_count());
    pool.delete_data(b);
}

TEST_F(DataPool, LastReturnedIsFirstReused) {
    data_pool<tracked> pool(4);
    tracked* a = pool.new_data();
    tracked* b = pool.new_data();
    pool.delete_data(a);
    pool.delete_data(b);
    EXPECT_EQ(2, pool.get_ready_count());
    EXPECT_EQ(b, pool.new_data());
    EXPECT_EQ(a, pool.new_data());
    tracked* c = pool.new_data();
    EXPECT_NE(a, c);
    EXPECT_NE(b, c);
    EXPECT_EQ(3, pool.get_total_count());
    EXPECT_EQ(3, tracked::alive);
    for (tracked* t : {a, b, c})
        pool.delete_data(t);
}

TEST_F(DataPool, ObjectsBeyondTheDepthAreFreed) {
    {
        data_pool<tracked> pool(2);
        tracked* objs[3] = {pool.new_data(), pool.new_data(), pool.new_data()};
        EXPECT_EQ(3, pool.get_total_count());
        for (tracked* t : objs)
            pool.delete_data(t);
        EXPECT_EQ(2, pool.get_ready_count());
        EXPECT_EQ(2, pool.get_total_count());
        EXPECT_EQ(2, tracked::alive);
    }
    // The pool frees what it keeps idle.
    EXPECT_EQ(0, tracked::alive);
}

TEST_F(DataPool, HandedOutObjectsAreNotTheDestructorsToFree) {
    tracked* kept;
    {
        data_pool<tracked> pool(2);
        kept = pool.new_data();
    }
    EXPECT_EQ(1, tracked::alive);
    delete kept;
}

TEST_F(DataPool, RecycledBufferKeepsItsContentsAndCapacity) {
    data_pool<stream_buffer> pool(2);
    stream_buffer* b = pool.new_data();
    std::string big(5000, 'z');
    b->reset_data(big.data(), big.size());
    pool.delete_data(b);
    stream_buffer* again = pool.new_data();
    ASSERT_EQ(b, again);
    EXPECT_EQ(5000u, again->get_data_len());
    EXPECT_GE(again->capacity(), 5000u);
    pool.delete_data(again);
}

TEST_F(DataPool, IdleLookupNeverAllocates) {
    data_pool<tracked> pool(2);
    EXPECT_EQ(nullptr, pool.get_idle_data());
    EXPECT_EQ(0, pool.get_total_count());
    tracked* a = pool.new_data();
    pool.delete_data(a);
    EXPECT_EQ(a, pool.get_idle_data());
    EXPECT_EQ(nullptr, pool.get_idle_data());
    pool.delete_data(a);
}

TEST_F(DataPool, NullReturnedToANonFullPoolIsHandedOutAgain) {
    data_pool<tracked> pool(2);
    pool.delete_data(nullptr);
    EXPECT_EQ(1, pool.get_ready_count());
    EXPECT_EQ(nullptr, pool.new_data());
    // With the pool full, a null is skipped.
    data_pool<tracked> none(0);
    none.delete_data(nullptr);
    EXPECT_EQ(0, none.get_total_count());
}

}  // namespace
