#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tools/data_queue.h"

namespace {

using VORTANE::TOOLS::bad_str_key;
using VORTANE::TOOLS::data_queue;

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
    EXPECT_THROW(q.jump_front_node(), std::out_of_range);
    q.push_node(7);
    EXPECT_EQ(1, q.size());
    EXPECT_EQ(7, q.get_front_node());
}

bool sum_until_negative(int& node, void* sum) {
    *static_cast<int*>(sum) += node > 0 ? node : 0;
    return node >= 0;
}

TEST(DataQueue, FrontFirstWithTheFrontLeftInPlaceUntilPopped) {
    data_queue<std::string> q;
    for (const char* s : {"a", "b", "c"})
        q.push_node(s);
    EXPECT_EQ("a", q.get_front_node());
    q.get_front_node() = "A";
    EXPECT_EQ("A", q.jump_front_node());
    EXPECT_EQ(2, q.size());
    q.pop_front_node();
    EXPECT_EQ("c", q.get_front_node());
    q.pop_front_node();
    EXPECT_TRUE(q.empty());

    data_queue<int> numbers;
    for (int v : {1, 2, -1, 4})
        numbers.push_node(v);
    int sum = 0;
    EXPECT_EQ(3, numbers.forearch_iterator(sum_until_negative, &sum));
    EXPECT_EQ(3, sum);
}

TEST(DataQueue, ManyProducersOneConsumerLoseNothingAndKeepEachOrder) {
    const int producers = 4, per_producer = 5000;
    data_queue<int> q;
    std::vector<std::thread> threads;
    for (int p = 0; p < producers; ++p) {
        threads.emplace_back([&q, p] {
            for (int i = 0; i < per_producer; ++i)
                q.push_node(p * per_producer + i);
        });
    }
    std::vector<int> last(producers, -1);
    for (int taken = 0; taken < producers * per_producer;) {
        if (q.empty()) {
            std::this_thread::yield();
            continue;
        }
        int v = q.get_front_node();
        q.pop_front_node();
        EXPECT_LT(last[v / per_producer], v % per_producer);
        last[v / per_producer] = v % per_producer;
        ++taken;
    }
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(0, q.size());
}

}  // namespace
