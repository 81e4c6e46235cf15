#include "client/precise_time.h"

#include <sys/time.h>

#include <cstring>

#include "tools/cross_platform_api.h"
#include "tools/lock.h"

using namespace VORTANE::TOOLS;

i64_kq precise_time::m_lStartMicrosecondsOftheDay = 0;
char precise_time::m_startDate[9] = {0};
bool precise_time::m_inited = false;

void precise_time::initialize() {
    // Two first clients made on two threads at once must not race on the statics.
    static mutex_lock s_init_lock;
    mutex_locker locker(s_init_lock);
    if (m_inited)
        return;

    tm today;
    memset(&today, 0, sizeof(today));
    timeval now;
    gettimeofday(&now, nullptr);
    time_t now_sec = now.tv_sec;
    localtime_r(&now_sec, &today);

    tm midnight = today;
    midnight.tm_hour = 0;
    midnight.tm_min = 0;
    midnight.tm_sec = 0;
    m_lStartMicrosecondsOftheDay = static_cast<i64_kq>(mktime(&midnight)) * 1000000;

    snprintf_kq(m_startDate, sizeof(m_startDate), "%04d%02d%02d", today.tm_year + 1900,
                today.tm_mon + 1, today.tm_mday);
    m_inited = true;
}

i64_kq precise_time::get_current_microseconds() {
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<i64_kq>(now.tv_sec) * 1000000 + now.tv_usec;
}

void precise_time::convert_from_timestamp(unsigned long long timeStamp, tm& tmResult,
                                          unsigned int& nanoSec) {
    time_t seconds = static_cast<time_t>(static_cast<unsigned int>(timeStamp >> 32));
    nanoSec = static_cast<unsigned int>(timeStamp & 0xFFFFFFFFull);
    localtime_r(&seconds, &tmResult);
}
