#ifndef CLIENT_PRECISE_TIME_H
#define CLIENT_PRECISE_TIME_H

#include <ctime>

#include "tools/vortane_define.h"

// Wall clock in microseconds, the start day of the process that names the log
// files, and the unpacking of the server's timestamps. All state is static and
// shared by every client of the process.
class precise_time {
public:
    precise_time() {}
    ~precise_time() {}

    // Fixes the start day on the first call of the process; later calls do nothing.
    static void initialize();
    // Microseconds since the epoch, wall clock.
    static VORTANE::TOOLS::i64_kq get_current_microseconds();
    // High 32 bits: seconds since the epoch, into local time; low 32 bits: nanoseconds.
    static void convert_from_timestamp(unsigned long long timeStamp, tm& tmResult,
                                       unsigned int& nanoSec);

    static VORTANE::TOOLS::i64_kq m_lStartMicrosecondsOftheDay;  // local midnight of the start day
    static char m_startDate[9];                                  // start day, "YYYYMMDD"
    static bool m_inited;
};

#endif
