#include "client/client_flowctrl.h"

#include "client/precise_time.h"

using namespace VORTANE::TOOLS;

client_flowctrl::client_flowctrl() {
    precise_time::initialize();
}

i64_kq client_flowctrl::current_microseconds() {
    return precise_time::get_current_microseconds();
}

bool client_flowctrl::CheckAndUpdate(bool is_order, unsigned int order_count) {
    const clt_flowctrl_param& param = is_order ? m_order_fc_param : m_cxl_fc_param;
    clt_flowctrl_counter& counter = is_order ? m_order_fc_counter : m_cxl_fc_counter;
    mutex_locker locker(m_lock);
    // Read under the lock so that the windows see the senders in clock order.
    i64_kq usec = current_microseconds();
    if (counter.never_happened()) {
        counter.restart_count(usec, order_count);
        return true;
    }
    counter.m_count += order_count;
    i64_kq interval = usec - counter.m_start_time;
    if (counter.m_count >= param.m_occur_count) {
        if (interval < param.m_time_interval) {
            counter.m_count -= order_count;
            return false;
        }
        counter.restart_count(usec, order_count);
        return true;
    }
    if (interval >= param.m_time_interval)
        counter.restart_count(usec, order_count);
    return true;
}

bool client_flowctrl::change_fc_param(unsigned int order_count, unsigned int cxl_count) {
    mutex_locker locker(m_lock);
    if (order_count == 0 || order_count > m_order_fc_param.m_orig_occur_count)
        return false;
    if (cxl_count == 0 || cxl_count > m_cxl_fc_param.m_orig_occur_count)
        return false;
    m_order_fc_param.m_occur_count = order_count;
    m_cxl_fc_param.m_occur_count = cxl_count;
    return true;
}
