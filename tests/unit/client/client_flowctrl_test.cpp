#include "client/client_flowctrl.h"

#include <gtest/gtest.h>

#include <atomic>

namespace {

const long long START = 1700000000000000LL;  // an arbitrary wall-clock microsecond
const long long W = 1000000;                 // the window, one second

// The limiter on a clock that the test moves by hand.
class manual_clock_flowctrl : public client_flowctrl {
public:
    std::atomic<long long> m_now{START};

protected:
    VORTANE::TOOLS::i64_kq current_microseconds() override { return m_now.load(); }
};

TEST(ClientFlowCtrl, WindowsOpenWithTheFirstMessageAfterTheLastRanOut) {
    struct step {
        bool order;
        unsigned int units;
        long long at;  // after START
        bool passes;
        long long count;  // of that kind, afterwards
    };
    // clang-format off
    const step steps[] = {
        {true, 290, 0, true, 290},
        {true, 10, 1, false, 290},      // refused, and leaves no trace
        {true, 4, 2, true, 294},
        {true, 0, 3, true, 294},        // nothing to count
        {true, 1, W - 1, false, 294},   // the 295th unit of the window
        {false, 400, W - 1, true, 400}, // cancels apart; a fresh counter takes any size
        {false, 1, W + W / 2, false, 400},
        {true, 1, W, true, 1},          // the window has run out: this one opens the next
        {true, 3, W + 5, true, 4},
        {true, 2, 2 * W, true, 2},      // below the limit a late one opens the next as well
        {false, 1, 2 * W, true, 1},
    };
    // clang-format on
    manual_clock_flowctrl fc;
    for (const step& s : steps) {
        fc.m_now = START + s.at;
        EXPECT_EQ(s.passes, fc.CheckAndUpdate(s.order, s.units)) << s.units << " at " << s.at;
        EXPECT_EQ(s.count, (s.order ? fc.m_order_fc_counter : fc.m_cxl_fc_counter).m_count);
    }
}

}  // namespace
