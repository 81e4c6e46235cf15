#include "tools/date_time.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "tools/cross_platform_api.h"

namespace VORTANE {
namespace TOOLS {

const char* date_time::s_year = "yyyy";
const char* date_time::s_moth = "MM";
const char* date_time::s_day = "dd";
const char* date_time::s_hour = "HH";
const char* date_time::s_min = "mm";
const char* date_time::s_sec = "ss";
const char* date_time::s_millisecond = "iii";
const char* date_time::s_default_format = "yyyyMMdd HH:mm:ss.iii";

namespace {

// The seven fields in the order of the tokens: year, month, day, hour, minute,
// second, millisecond.
const int k_field_count = 7;
typedef i32_kq field_values[k_field_count];

struct token_rule {
    const char* const* token;
    size_t width;
    i32_kq low;
    i32_kq high;
};

// Day 0 passes on purpose: the month isn't consulted, and mktime reads day 0 as
// the last day of the month before.
const token_rule k_tokens[k_field_count] = {
    {&date_time::s_year, 4, 0, 9999},      {&date_time::s_moth, 2, 1, 12},
    {&date_time::s_day, 2, 0, 31},         {&date_time::s_hour, 2, 0, 23},
    {&date_time::s_min, 2, 0, 59},         {&date_time::s_sec, 2, 0, 59},
    {&date_time::s_millisecond, 3, 0, 999}};

tm local_tm(i64_kq second) {
    time_t t = static_cast<time_t>(second);
    tm result;
    memset(&result, 0, sizeof(result));
    localtime_kq(&t, &result);
    return result;
}

i64_kq local_seconds(i32_kq year, i32_kq mon, i32_kq day, i32_kq hour, i32_kq minute, i32_kq sec) {
    tm t;
    memset(&t, 0, sizeof(t));
    t.tm_year = year - 1900;
    t.tm_mon = mon - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = sec;
    t.tm_isdst = -1;
    return static_cast<i64_kq>(mktime(&t));
}

std::string zero_padded(i32_kq value, size_t width) {
    char text[32];
    snprintf(text, sizeof(text), "%0*d", static_cast<int>(width), value);
    return text;
}

i32_kq text_to_int(lpcstr_kq text) {
    return text == nullptr ? 0 : atoi(text);
}

}  // namespace

date_time::date_time() {
    default_construct();
}

date_time::date_time(const date_time& other)
    : m_year(other.m_year),
      m_month(other.m_month),
      m_day(other.m_day),
      m_hour(other.m_hour),
      m_min(other.m_min),
      m_sec(other.m_sec),
      m_millisecond(other.m_millisecond) {}

date_time::date_time(const std::string& str) {
    if (!assign(str))
        default_construct();
}

// A null text fails like a malformed one.
date_time::date_time(lpcstr_kq str) {
    if (!assign(str))
        default_construct();
}

date_time::date_time(const std::string& str, const std::string& strFormat) {
    if (!assign(str, strFormat))
        default_construct();
}

date_time::date_time(lpcstr_kq str, lpcstr_kq str_format) {
    if (!assign(str, str_format))
        default_construct();
}

date_time::date_time(i64_kq second, i32_kq millisecond) {
    if (!assign(second, millisecond))
        default_construct();
}

void date_time::default_construct() {
    set_from_seconds(static_cast<i64_kq>(time(nullptr)));
    m_millisecond = 0;
}

void date_time::set_from_seconds(i64_kq second) {
    tm t = local_tm(second);
    m_year = t.tm_year + 1900;
    m_month = t.tm_mon + 1;
    m_day = t.tm_mday;
    m_hour = t.tm_hour;
    m_min = t.tm_min;
    m_sec = t.tm_sec;
}

i64_kq date_time::to_seconds() const {
    return local_seconds(m_year, m_month, m_day, m_hour, m_min, m_sec);
}

date_time& date_time::operator=(const date_time& other) {
    if (this != &other) {
        m_year = other.m_year;
        m_month = other.m_month;
        m_day = other.m_day;
        m_hour = other.m_hour;
        m_min = other.m_min;
        m_sec = other.m_sec;
        m_millisecond = other.m_millisecond;
    }
    return *this;
}

namespace {
// Negative, zero or positive as a lies before, on or after b, field by field.
int compare_fields(const field_values& a, const field_values& b) {
    for (int i = 0; i < k_field_count; ++i) {
        if (a[i] != b[i])
            return a[i] < b[i] ? -1 : 1;
    }
    return 0;
}
}  // namespace

bool date_time::operator<(const date_time& other) const {
    const field_values mine = {m_year, m_month, m_day, m_hour, m_min, m_sec, m_millisecond};
    const field_values theirs = {other.m_year, other.m_month, other.m_day,        other.m_hour,
                                 other.m_min,  other.m_sec,   other.m_millisecond};
    return compare_fields(mine, theirs) < 0;
}

bool date_time::operator>(const date_time& other) const {
    return other < *this;
}

bool date_time::operator==(const date_time& other) const {
    return !(*this < other) && !(other < *this);
}

bool date_time::assign(const std::string& str) {
    return assign(str, std::string(s_default_format));
}

bool date_time::assign(lpcstr_kq str) {
    if (str == nullptr)
        return false;
    return assign(std::string(str));
}

bool date_time::assign(const std::string& str, const std::string& strFromat) {
    tm today = local_tm(static_cast<i64_kq>(time(nullptr)));
    field_values values = {today.tm_year + 1900, today.tm_mon + 1, today.tm_mday, 0, 0, 0, 0};
    for (int i = 0; i < k_field_count; ++i) {
        const token_rule& rule = k_tokens[i];
        // One letter of the token is enough to place the field.
        size_t idx = strFromat.find_first_of(*rule.token);
        if (idx == std::string::npos)
            continue;
        // A text that ends before the field's place is malformed like any other.
        if (idx > str.size())
            return false;
        std::string strTemp = str.substr(idx, rule.width);
        if (!is_valid_date_time_str(strTemp))
            return false;
        i32_kq value = atoi(strTemp.c_str());
        if (value < rule.low || value > rule.high)
            return false;
        values[i] = value;
    }
    m_year = values[0];
    m_month = values[1];
    m_day = values[2];
    m_hour = values[3];
    m_min = values[4];
    m_sec = values[5];
    m_millisecond = values[6];
    return true;
}

bool date_time::assign(lpcstr_kq str, lpcstr_kq str_fromat) {
    if (str == nullptr || str_fromat == nullptr)
        return false;
    return assign(std::string(str), std::string(str_fromat));
}

bool date_time::assign(i64_kq second, i32_kq millisecond) {
    if (second < 0 || millisecond < 0)
        return false;
    set_from_seconds(second);
    m_millisecond = millisecond;
    return true;
}

bool date_time::is_valid_date_time_str(const std::string& str_src) {
    if (str_src.empty())
        return false;
    for (char c : str_src) {
        if (c < '0' || c > '9')
            return false;
    }
    return true;
}

std::string date_time::format() {
    return format(std::string(s_default_format));
}

std::string date_time::format(const std::string& strFormat) {
    const field_values values = {m_year, m_month, m_day, m_hour, m_min, m_sec, m_millisecond};
    std::string result = strFormat;
    for (int i = 0; i < k_field_count; ++i) {
        const char* token = *k_tokens[i].token;
        size_t pos = result.find(token);
        if (pos == std::string::npos)
            continue;
        result.replace(pos, strlen(token), zero_padded(values[i], k_tokens[i].width));
    }
    return result;
}

std::string date_time::format(lpcstr_kq str_fromat) {
    if (str_fromat == nullptr)
        return std::string();
    return format(std::string(str_fromat));
}

bool date_time::format(lpstr_kq outStr, i32_kq strLen) {
    return format(outStr, strLen, s_default_format);
}

bool date_time::format(lpstr_kq outStr, i32_kq strLen, lpcstr_kq strFormat) {
    if (outStr == nullptr || strFormat == nullptr)
        return false;
    std::string text = format(std::string(strFormat));
    if (static_cast<i64_kq>(text.size()) >= static_cast<i64_kq>(strLen))
        return false;
    memcpy(outStr, text.c_str(), text.size() + 1);
    return true;
}

bool date_time::format(i64_kq& second, i32_kq& millicsecond) {
    second = to_seconds();
    millicsecond = m_millisecond;
    return true;
}

std::string date_time::get_datetime_str() {
    return format(std::string("yyyyMMdd HH:mm:ss"));
}

std::string date_time::get_sql_datetime_str() {
    return format(std::string("yyyy-MM-dd HH:mm:ss"));
}

bool date_time::leap_year() {
    if (m_year % 400 == 0)
        return true;
    if (m_year % 4 != 0)
        return false;
    return m_year % 100 != 0;
}

i32_kq date_time::weekday() {
    return local_tm(local_seconds(m_year, m_month, m_day, 0, 0, 0)).tm_wday;
}

void date_time::get_date(i32_kq& year, i32_kq& month, i32_kq& day) {
    year = m_year;
    month = m_month;
    day = m_day;
}

void date_time::get_time(i32_kq& hour, i32_kq& minute, i32_kq& sec, i32_kq& millisecond) {
    hour = m_hour;
    minute = m_min;
    sec = m_sec;
    millisecond = m_millisecond;
}

void date_time::set_date(i32_kq year, i32_kq month, i32_kq day) {
    m_year = year;
    m_month = month;
    m_day = day;
}

void date_time::set_time(i32_kq hour, i32_kq minute, i32_kq sec, i32_kq millisecond) {
    m_hour = hour;
    m_min = minute;
    m_sec = sec;
    m_millisecond = millisecond;
}

bool date_time::add_seconds(i64_kq num) {
    set_from_seconds(to_seconds() + num);
    return true;
}

bool date_time::add_sec(int num) {
    return add_seconds(num);
}
bool date_time::add_min(int num) {
    return add_seconds(static_cast<i64_kq>(num) * 60);
}
bool date_time::add_hour(int num) {
    return add_seconds(static_cast<i64_kq>(num) * 3600);
}
bool date_time::add_day(int num) {
    return add_seconds(static_cast<i64_kq>(num) * 86400);
}
bool date_time::subtract_sec(int num) {
    return add_seconds(-static_cast<i64_kq>(num));
}
bool date_time::subtract_min(int num) {
    return add_seconds(-static_cast<i64_kq>(num) * 60);
}
bool date_time::subtract_hour(int num) {
    return add_seconds(-static_cast<i64_kq>(num) * 3600);
}
bool date_time::subtract_day(int num) {
    return add_seconds(-static_cast<i64_kq>(num) * 86400);
}

void date_time::convert_date_time_to_int64(i32_kq year, i32_kq mon, i32_kq day, i32_kq hour,
                                           i32_kq minute, i32_kq sec, i64_kq& int64_date_time) {
    int64_date_time = local_seconds(year, mon, day, hour, minute, sec);
}

void date_time::convert_date_time_to_int64(lpcstr_kq year, lpcstr_kq mon, lpcstr_kq day,
                                           lpcstr_kq hour, lpcstr_kq minute, lpcstr_kq sec,
                                           i64_kq& int64_date_time) {
    int64_date_time = local_seconds(text_to_int(year), text_to_int(mon), text_to_int(day),
                                    text_to_int(hour), text_to_int(minute), text_to_int(sec));
}

bool date_time::convert_int64_date_time_to_str(i64_kq int64_date_time, lpstr_kq dst_str,
                                               i32_kq dst_str_len) {
    // A missing or sizeless buffer is refused like a negative time.
    if (int64_date_time < 0 || dst_str == nullptr || dst_str_len <= 0)
        return false;
    tm t = local_tm(int64_date_time);
    snprintf_kq(dst_str, static_cast<unsigned int>(dst_str_len), "%d:%d:%d-%d:%d:%d",
                t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
    return true;
}

}  // namespace TOOLS
}  // namespace VORTANE
