#include <gtest/gtest.h>

#include "tools/data_pool.h"
#include "tools/stream_buffer.h"

namespace {

using VORTANE::TOOLS::data_pool;
using VORTANE::TOOLS::stream_buffer;

// Counts the objects alive, to see what the pool frees.
struct tracked {
    explicit tracked(unsigned int) { ++alive; }
    ~tracked() { --alive; }
    static int alive;
};
int tracked::alive = 0;

TEST(DataPool, NewBuffersHave2048BytesAndRecycledOnesKeepTheirContents) {
    data_pool<stream_buffer> pool(4);
    stream_buffer* b = pool.new_data();
    EXPECT_EQ(2048u, b->capacity());
    std::string big(5000, 'z');
    b->reset_data(big.data(), big.size());
    pool.delete_data(b);
    ASSERT_EQ(b, pool.new_data());
    EXPECT_EQ(5000u, b->get_data_len());
    EXPECT_EQ(1, pool.get_total_count());
    pool.delete_data(b);
}

TEST(DataPool, LastReturnedIsFirstReused) {
    data_pool<tracked> pool(4);
    EXPECT_EQ(nullptr, pool.get_idle_data());
    tracked* a = pool.new_data();
    tracked* b = pool.new_data();
    pool.delete_data(a);
    pool.delete_data(b);
    EXPECT_EQ(b, pool.new_data());
    EXPECT_EQ(a, pool.get_idle_data());
    // Empty again: the idle look-up doesn't allocate, new_data does.
    EXPECT_EQ(nullptr, pool.get_idle_data());
    tracked* c = pool.new_data();
    EXPECT_TRUE(c != a && c != b);
    EXPECT_EQ(3, pool.get_total_count());
    for (tracked* t : {a, b, c})
        pool.delete_data(t);
}

TEST(DataPool, ObjectsBeyondTheDepthAreFreed) {
    tracked::alive = 0;
    tracked* kept;
    {
        data_pool<tracked> pool(2);
        tracked* objs[3] = {pool.new_data(), pool.new_data(), pool.new_data()};
        for (tracked* t : objs)
            pool.delete_data(t);
        EXPECT_EQ(2, pool.get_ready_count());
        EXPECT_EQ(2, pool.get_total_count());
        EXPECT_EQ(2, tracked::alive);
        kept = pool.new_data();
    }
    // The pool frees what it keeps idle, not what is handed out.
    EXPECT_EQ(1, tracked::alive);
    delete kept;
}

}  // namespace
