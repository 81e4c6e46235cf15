#ifndef VORTANE_TOOLS_DATE_TIME_H
#define VORTANE_TOOLS_DATE_TIME_H

#include <string>

#include "tools/vortane_define.h"

namespace VORTANE {
namespace TOOLS {

// A local date and time with milliseconds. Formats are maps of positions made of the
// tokens below: parsing reads each field at the first place of its token's letter,
// printing replaces the first whole token. All conversions to and from seconds go
// through mktime and localtime, so the process's time zone applies.
class date_time {
public:
    static const char* s_year;
    static const char* s_moth;
    static const char* s_day;
    static const char* s_hour;
    static const char* s_min;
    static const char* s_sec;
    static const char* s_millisecond;
    static const char* s_default_format;

    // The current local time, milliseconds 0.
    date_time();
    date_time(const date_time& other);
    // Parse with the default format, or the current time if that fails.
    date_time(const std::string& str);
    date_time(lpcstr_kq str);
    // Parse with the given format, or the current time if that fails.
    date_time(const std::string& str, const std::string& strFormat);
    date_time(lpcstr_kq str, lpcstr_kq str_format);
    // From seconds since the epoch, or the current time if either value is negative.
    date_time(i64_kq second, i32_kq millisecond);

    date_time& operator=(const date_time& other);
    bool operator<(const date_time& other) const;
    bool operator>(const date_time& other) const;
    bool operator==(const date_time& other) const;

    // Parsing: false on failure, and the object is unchanged.
    bool assign(const std::string& str);
    bool assign(lpcstr_kq str);
    bool assign(const std::string& str, const std::string& strFromat);
    bool assign(lpcstr_kq str, lpcstr_kq str_fromat);
    bool assign(i64_kq second, i32_kq millisecond);
    // Non-empty and digits only.
    bool is_valid_date_time_str(const std::string& str_src);

    std::string format();
    std::string format(const std::string& strFormat);
    std::string format(lpcstr_kq str_fromat);
    // The text and its terminator into outStr if they fit strLen bytes; else false and
    // outStr untouched.
    bool format(lpstr_kq outStr, i32_kq strLen);
    bool format(lpstr_kq outStr, i32_kq strLen, lpcstr_kq strFormat);
    bool format(i64_kq& second, i32_kq& millicsecond);
    std::string get_datetime_str();
    std::string get_sql_datetime_str();

    bool leap_year();
    // 0 is Sunday.
    i32_kq weekday();
    void get_date(i32_kq& year, i32_kq& month, i32_kq& day);
    void get_time(i32_kq& hour, i32_kq& minute, i32_kq& sec, i32_kq& millisecond);
    // Stored as given; out-of-range fields are normalised by the next arithmetic.
    void set_date(i32_kq year, i32_kq month, i32_kq day);
    void set_time(i32_kq hour, i32_kq minute, i32_kq sec, i32_kq millisecond);

    // Arithmetic in seconds of the clock: a day is 86400 seconds, so across a change
    // of daylight saving the hour moves. Milliseconds stay. Always true.
    bool add_sec(int num);
    bool add_min(int num);
    bool add_hour(int num);
    bool add_day(int num);
    bool subtract_sec(int num);
    bool subtract_min(int num);
    bool subtract_hour(int num);
    bool subtract_day(int num);

    // Local date and time to seconds since the epoch.
    static void convert_date_time_to_int64(i32_kq year, i32_kq mon, i32_kq day, i32_kq hour,
                                           i32_kq minute, i32_kq sec, i64_kq& int64_date_time);
    static void convert_date_time_to_int64(lpcstr_kq year, lpcstr_kq mon, lpcstr_kq day,
                                           lpcstr_kq hour, lpcstr_kq minute, lpcstr_kq sec,
                                           i64_kq& int64_date_time);
    // "year:month:day-hour:minute:second", unpadded; false for a negative value.
    static bool convert_int64_date_time_to_str(i64_kq int64_date_time, lpstr_kq dst_str,
                                               i32_kq dst_str_len);

private:
    void default_construct();
    void set_from_seconds(i64_kq second);
    i64_kq to_seconds() const;
    // Adds in 64 bits, so that add_day(24856) and the like don't overflow an int.
    bool add_seconds(i64_kq num);

    // Every constructor starts from all fields 0.
    i32_kq m_year = 0;
    i32_kq m_month = 0;
    i32_kq m_day = 0;
    i32_kq m_hour = 0;
    i32_kq m_min = 0;
    i32_kq m_sec = 0;
    i32_kq m_millisecond = 0;
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
