#ifndef CLIENT_CLIENT_FLOWCTRL_H
#define CLIENT_CLIENT_FLOWCTRL_H

#include "tools/lock.h"
#include "tools/vortane_define.h"

// Limit of one message kind: at most m_occur_count - 1 units per window of
// m_time_interval microseconds. m_orig_occur_count is the ceiling and never changes.
struct clt_flowctrl_param {
    VORTANE::TOOLS::i64_kq m_time_interval = 1000000;
    VORTANE::TOOLS::i64_kq m_occur_count = 295;
    VORTANE::TOOLS::i64_kq m_orig_occur_count = 295;
};

// Running count of one message kind in its current window.
struct clt_flowctrl_counter {
    VORTANE::TOOLS::i64_kq m_start_time = 0;  // microseconds since the epoch
    VORTANE::TOOLS::i64_kq m_count = 0;

    bool never_happened() const { return m_start_time == 0 && m_count == 0; }
    void restart_count(VORTANE::TOOLS::i64_kq usec, unsigned int order_count) {
        m_start_time = usec;
        m_count = order_count;
    }
};

// Send-rate limiter for orders (first message byte 10) and cancels (11), each
// counted apart in fixed windows. A window opens with the first message after
// the previous one has run out; a refused message leaves no trace in the count.
class client_flowctrl {
public:
    client_flowctrl();
    virtual ~client_flowctrl() {}
    client_flowctrl(const client_flowctrl&) = delete;
    client_flowctrl& operator=(const client_flowctrl&) = delete;

    // True when order_count more units of the kind may go now; they are counted.
    bool CheckAndUpdate(bool is_order, unsigned int order_count);
    // Sets both limits, each within 1 and its ceiling; otherwise false and no change.
    bool change_fc_param(unsigned int order_count, unsigned int cxl_count);

    clt_flowctrl_param m_order_fc_param;
    clt_flowctrl_param m_cxl_fc_param;
    clt_flowctrl_counter m_order_fc_counter;
    clt_flowctrl_counter m_cxl_fc_counter;

protected:
    // The clock of the windows; tests put their own in place.
    virtual VORTANE::TOOLS::i64_kq current_microseconds();

private:
    // Two sending threads must not lose or double a count.
    VORTANE::TOOLS::mutex_lock m_lock;
};

#endif
