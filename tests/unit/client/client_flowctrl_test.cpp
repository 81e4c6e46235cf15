#include "client/client_flowctrl.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

const long long START = 1700000000000000LL;  // an arbitrary wall-clock microsecond
const long long WINDOW = 1000000;            // one second

// The limiter on a clock that the test moves by hand.
class manual_clock_flowctrl : public client_flowctrl {
public:
    std::atomic<long long> m_now{START};

protected:
    VORTANE::TOOLS::i64_kq current_microseconds() override { return m_now.load(); }
};

// Sends single units until one is refused; gives how many passed.
int pass_until_refused(client_flowctrl& fc, bool is_order) {
    int passed = 0;
    while (fc.CheckAndUpdate(is_order, 1)) {
        if (++passed > 1000)
            break;
    }
    return passed;
}

}  // namespace

TEST(ClientFlowCtrl, The295thUnitOfAWindowIsRefused) {
    manual_clock_flowctrl fc;
    for (int i = 0; i < 294; ++i) {
        fc.m_now = START + i * 1700;  // 294 orders within half a second
        ASSERT_TRUE(fc.CheckAndUpdate(true, 1)) << "order " << i + 1;
    }
    fc.m_now = START + WINDOW - 1;
    EXPECT_FALSE(fc.CheckAndUpdate(true, 1));
    EXPECT_EQ(fc.m_order_fc_counter.m_count, 294);
    EXPECT_EQ(fc.m_order_fc_counter.m_start_time, START);
}

TEST(ClientFlowCtrl, AMessageAfterTheWindowOpensTheNextAsItsFirst) {
    manual_clock_flowctrl fc;
    EXPECT_EQ(pass_until_refused(fc, true), 294);

    fc.m_now = START + WINDOW;  // exactly one window after its start
    EXPECT_TRUE(fc.CheckAndUpdate(true, 1));
    EXPECT_EQ(fc.m_order_fc_counter.m_start_time, START + WINDOW);
    EXPECT_EQ(fc.m_order_fc_counter.m_count, 1);
    EXPECT_EQ(pass_until_refused(fc, true), 293);

    // Below the limit, a late message restarts the window as well.
    manual_clock_flowctrl quiet;
    EXPECT_TRUE(quiet.CheckAndUpdate(true, 5));
    quiet.m_now = START + WINDOW - 1;
    EXPECT_TRUE(quiet.CheckAndUpdate(true, 3));
    EXPECT_EQ(quiet.m_order_fc_counter.m_count, 8);
    quiet.m_now = START + WINDOW;
    EXPECT_TRUE(quiet.CheckAndUpdate(true, 2));
    EXPECT_EQ(quiet.m_order_fc_counter.m_start_time, START + WINDOW);
    EXPECT_EQ(quiet.m_order_fc_counter.m_count, 2);
}

TEST(ClientFlowCtrl, ARefusedMessageLeavesNoTraceSoASmallerOnePasses) {
    manual_clock_flowctrl fc;
    ASSERT_TRUE(fc.CheckAndUpdate(true, 290));
    EXPECT_FALSE(fc.CheckAndUpdate(true, 10));
    EXPECT_EQ(fc.m_order_fc_counter.m_count, 290);
    EXPECT_TRUE(fc.CheckAndUpdate(true, 4));
    EXPECT_EQ(fc.m_order_fc_counter.m_count, 294);
    EXPECT_TRUE(fc.CheckAndUpdate(true, 0));  // a zero count passes and changes nothing
    EXPECT_EQ(fc.m_order_fc_counter.m_count, 294);
    EXPECT_FALSE(fc.CheckAndUpdate(true, 1));
}

TEST(ClientFlowCtrl, FirstMessageOfAFreshCounterPassesWhateverItsSize) {
    manual_clock_flowctrl fc;
    EXPECT_TRUE(fc.CheckAndUpdate(false, 400));
    fc.m_now = START + WINDOW / 2;
    EXPECT_FALSE(fc.CheckAndUpdate(false, 1));
    fc.m_now = START + WINDOW;
    EXPECT_TRUE(fc.CheckAndUpdate(false, 1));
}

TEST(ClientFlowCtrl, OrdersAndCancelsAreCountedApart) {
    manual_clock_flowctrl fc;
    EXPECT_EQ(pass_until_refused(fc, true), 294);
    EXPECT_EQ(fc.m_cxl_fc_counter.m_count, 0);
    EXPECT_EQ(pass_until_refused(fc, false), 294);
    EXPECT_EQ(fc.m_order_fc_counter.m_count, 294);
}

TEST(ClientFlowCtrl, LimitsMoveOnlyBetweenOneAndTheCeiling) {
    manual_clock_flowctrl fc;
    EXPECT_FALSE(fc.change_fc_param(0, 10));
    EXPECT_FALSE(fc.change_fc_param(296, 10));
    EXPECT_FALSE(fc.change_fc_param(10, 296));
    EXPECT_FALSE(fc.change_fc_param(10, 0));
    EXPECT_EQ(fc.m_order_fc_param.m_occur_count, 295);
    EXPECT_EQ(fc.m_cxl_fc_param.m_occur_count, 295);

    EXPECT_TRUE(fc.change_fc_param(295, 295));
    EXPECT_TRUE(fc.change_fc_param(100, 50));
    EXPECT_EQ(fc.m_order_fc_param.m_occur_count, 100);
    EXPECT_EQ(fc.m_cxl_fc_param.m_occur_count, 50);
    EXPECT_EQ(fc.m_order_fc_param.m_orig_occur_count, 295);
    EXPECT_EQ(fc.m_order_fc_param.m_time_interval, WINDOW);
}

TEST(ClientFlowCtrl, NewLimitsApplyToTheRunningCount) {
    manual_clock_flowctrl fc;
    ASSERT_TRUE(fc.CheckAndUpdate(true, 120));
    ASSERT_TRUE(fc.change_fc_param(100, 50));
    EXPECT_FALSE(fc.CheckAndUpdate(true, 1));
    EXPECT_EQ(pass_until_refused(fc, false), 49);
    ASSERT_TRUE(fc.change_fc_param(295, 295));
    EXPECT_TRUE(fc.CheckAndUpdate(true, 1));
}

TEST(ClientFlowCtrl, ConcurrentSendersNeitherLoseNorDoubleACount) {
    manual_clock_flowctrl fc;
    const int per_thread = 100;
    std::vector<std::thread> senders;
    std::atomic<int> passed{0};
    for (int t = 0; t < 2; ++t) {
        senders.emplace_back([&] {
            for (int i = 0; i < per_thread; ++i) {
                if (fc.CheckAndUpdate(true, 1))
                    passed++;
            }
        });
    }
    for (auto& s : senders)
        s.join();
    EXPECT_EQ(passed.load(), 2 * per_thread);
    EXPECT_EQ(fc.m_order_fc_counter.m_count, 2 * per_thread);
}
