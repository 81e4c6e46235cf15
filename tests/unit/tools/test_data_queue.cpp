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
    EXPECT_TRUE(q.empty());
    try {
        q.get_front_node();
        FAIL() << "no exception";
    } catch (const bad_str_key& e) {
        EXPECT_STREQ("data queue empty ", e.what());
        EXPECT_EQ(-1, e.m_error_code);
    }
    EXPECT_THROW(q.jump_front_node(), std::out_of_range);
    q.push_node(7);
    EXPECT_EQ(7, q.get_front_node());
}

TEST(DataQueue, PopOnEmptyQueueKeepsTheCountAtZero) {
    data_queue<int> q;
    q.pop_front_node();
    EXPECT_EQ(0, q.size());
    q.push_node(1);
    EXPECT_EQ(1, q.size());
    q.pop_front_node();
    q.pop_front_node();
    EXPECT_EQ(0, q.size());
    EXPECT_TRUE(q.empty());
}

TEST(DataQueue, FrontFirstOrderWithTheElementLeftInPlaceUntilPopped) {
    data_queue<std::string> q;
    q.push_node("a");
    q.push_node("b");
    q.push_node("c");
    EXPECT_EQ(3, q.size());
    EXPECT_EQ("a", q.get_front_node());
    EXPECT_EQ("a", q.get_front_node());
    q.get_front_node() = "A";
    EXPECT_EQ("A", q.jump_front_node());
    EXPECT_EQ(2, q.size());
    EXPECT_EQ("b", q.get_front_node());
    q.pop_front_node();
    EXPECT_EQ("c", q.get_front_node());
    EXPECT_EQ(1, q.size());
}

bool add_until_negative(int& node, void* sum) {
    if (node < 0)
        return false;
    *static_cast<int*>(sum) += node;
    return true;
}
bool double_it(int& node, void*) {
    node *= 2;
    return true;
}
bool count_const(const int&, void* n) {
    ++*static_cast<int*>(n);
    return true;
}

TEST(DataQueue, VisitorWalksFrontFirstAndMayStopEarly) {
    data_queue<int> q;
    for (int v : {1, 2, -1, 4})
        q.push_node(v);
    int sum = 0;
    EXPECT_EQ(3, q.forearch_iterator(add_until_negative, &sum));
    EXPECT_EQ(3, sum);
    EXPECT_EQ(4, q.forearch_iterator(double_it, nullptr));
    EXPECT_EQ(2, q.get_front_node());
    int seen = 0;
    EXPECT_EQ(4, q.forearch_iterator(count_const, &seen));
    EXPECT_EQ(4, seen);
}

TEST(DataQueue, ManyProducersOneConsumerLoseNothingAndKeepEachOrder) {
    const int producers = 4;
    const int per_producer = 5000;
    data_queue<int> q;
    std::vector<std::thread> threads;
    for (int p = 0; p < producers; ++p) {
        threads.emplace_back([&q, p] {
            for (int i = 0; i < per_producer; ++i)
                q.push_node(p * per_producer + i);
        });
    }
    std::vector<int> last(producers, -1);
    int taken = 0;
    while (taken < producers * per_producer) {
        if (q.empty()) {
            std::this_thread::yield();
            continue;
        }
        int v = q.get_front_node();
        q.pop_front_node();
        int p = v / per_producer;
        EXPECT_LT(last[p], v % per_producer);
        last[p] = v % per_producer;
        ++taken;
    }
    for (auto& t : threads)
        t.join();
    EXPECT_TRUE(q.empty());
    EXPECT_EQ(0, q.size());
}

}  // namespace
