#include "tools/tool_function.h"

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "tools/lock.h"
#include "tools/template_map_int.h"

namespace VORTANE {
namespace TOOLS {

void sleep_kq(unsigned int n_milli_second) {
    usleep(n_milli_second * 1000);
}

namespace {

// Cuts `text`, which ends with a separator, into pieces: each character of `sep`
// ends a piece, and the walk goes on behind it by the whole separator's length.
template <typename S>
void split_walk(const S& text, const S& sep, std::vector<S>& out) {
    size_t pos = 0;
    while (pos < text.size()) {
        size_t hit = text.find_first_of(sep, pos);
        if (hit == S::npos)
            hit = text.size();
        out.push_back(text.substr(pos, hit - pos));
        pos = hit + sep.size();
    }
}

template <typename S>
bool split_to_vector(const S& src, std::vector<S>& dst, const S& sep) {
    dst.clear();
    if (sep.empty())
        return false;
    if (src.empty())
        return true;
    if (src.size() < sep.size()) {
        dst.push_back(src);
        return true;
    }
    S text = src;
    if (text.compare(text.size() - sep.size(), sep.size(), sep) != 0)
        text += sep;
    split_walk(text, sep, dst);
    return true;
}

bool is_ascii_alnum(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_high_byte(char c) {
    return (static_cast<unsigned char>(c) & 0x80) != 0;
}

template <typename N>
bool number_to_text(N src, std::string& dst, bool fixed_point) {
    std::ostringstream out;
    if (fixed_point)
        out << std::fixed;
    out << src;
    dst = out.str();
    return true;
}

void parse_number(const char* s, int& d) {
    d = atoi(s);
}
void parse_number(const char* s, i64_kq& d) {
    d = atoll(s);
}
void parse_number(const char* s, float& d) {
    d = static_cast<float>(atof(s));
}
void parse_number(const char* s, double& d) {
    d = atof(s);
}

template <typename N>
bool parse_text(const char* src, N& dst) {
    parse_number(src, dst);
    return true;
}

// dstLen is only checked, never used as a bound: the parse ends with the number.
template <typename N>
bool parse_checked(const char* src, int dstLen, N& dst) {
    if (src == nullptr || dstLen <= 0)
        return false;
    return parse_text(src, dst);
}

// Exact decimal constants for the usual precisions, so that a comparison at two
// places uses 0.01 itself and not a computed neighbour of it.
const unsigned int k_table_precisions = 6;
const double k_tolerance[k_table_precisions] = {1.0, 0.1, 0.01, 0.001, 0.0001, 0.00001};
const double k_scale[k_table_precisions] = {1.0, 10.0, 100.0, 1000.0, 10000.0, 100000.0};
const double k_nudge[k_table_precisions] = {0.1, 0.01, 0.001, 0.0001, 0.00001, 0.000001};
// Beyond this a value scaled by 10^5 would no longer fit a long long.
const double k_scaled_limit = 23058430092130.0;

double computed_tolerance(unsigned int precision) {
    return 1.0 / pow(10.0, precision);
}

bool use_difference_rule(double a, double b, unsigned int precision) {
    return fabs(a) > k_scaled_limit || fabs(b) > k_scaled_limit || precision >= k_table_precisions;
}

// The value at `precision` places as an integer; the nudge lifts a value such as
// 0.29 * 100 = 28.999... to its intended 29 before the cut toward zero.
long long scaled_value(double x, unsigned int precision) {
    return static_cast<long long>(x * k_scale[precision] + k_nudge[precision]);
}

}  // namespace

bool string_split(const char* str_src, std::vector<std::string>& str_dst,
                  std::string str_separator) {
    if (str_src == nullptr)
        return false;
    return split_to_vector(std::string(str_src), str_dst, str_separator);
}

bool wstring_split(const wchar_t* str_src, std::vector<std::wstring>& str_dst,
                   std::wstring str_separator) {
    if (str_src == nullptr)
        return false;
    return split_to_vector(std::wstring(str_src), str_dst, str_separator);
}

bool string_split(const char* strSrc, char* strDst, int num, int lineNum,
                  std::string strSeparator) {
    // A null destination is refused like a null source: there is nowhere to write.
    if (strSrc == nullptr || strSrc[0] == '\0' || strDst == nullptr)
        return false;
    if (strSeparator.empty())
        return false;
    std::vector<std::string> pieces;
    split_walk(std::string(strSrc) + strSeparator, strSeparator, pieces);
    std::vector<std::string> kept;
    for (const std::string& piece : pieces) {
        if (!piece.empty())
            kept.push_back(piece);
    }
    if (kept.empty() || kept.size() > static_cast<size_t>(num < 0 ? 0 : num))
        return false;
    for (size_t i = 0; i < kept.size(); ++i) {
        if (lineNum <= 0 || kept[i].size() >= static_cast<size_t>(lineNum))
            return false;
        strcpy(strDst + static_cast<size_t>(lineNum) * i, kept[i].c_str());
    }
    return true;
}

const char* find_bytes(const char* strSrc, unsigned int srcLen, const char* strTarget,
                       unsigned int targetLen) {
    if (strSrc == nullptr || strTarget == nullptr || srcLen == 0 || targetLen == 0) {
        return nullptr;
    }
    const char* end = strSrc + srcLen;
    for (const char* p = strSrc; p < end; ++p) {
        p = static_cast<const char*>(memchr(p, strTarget[0], static_cast<size_t>(end - p)));
        if (p == nullptr || static_cast<size_t>(end - p) < targetLen)
            return nullptr;
        if (memcmp(p, strTarget, targetLen) == 0)
            return p;
    }
    return nullptr;
}

void string_replace(std::string& full, const std::string& old_sub_str,
                    const std::string& new_sub_str) {
    // An empty pattern would match everywhere and never end.
    if (old_sub_str.empty())
        return;
    size_t pos = 0;
    while ((pos = full.find(old_sub_str, pos)) != std::string::npos) {
        full.replace(pos, old_sub_str.size(), new_sub_str);
        pos += new_sub_str.size();
    }
}

std::string to_string(int src) {
    return std::to_string(src);
}

bool is_chinese(const char* p_str, int& i_offset) {
    if (p_str == nullptr)
        return false;
    int count = 0;
    while (is_high_byte(p_str[count]))
        ++count;
    if (count == 0)
        return false;
    i_offset = count;
    return true;
}

bool check_special_character(const char* ptr, int len) {
    if (ptr == nullptr || len <= 0)
        return false;
    int pos = 0;
    while (pos < len || ptr[pos] != '\0') {
        int offset = 0;
        if (is_ascii_alnum(static_cast<unsigned char>(ptr[pos]))) {
            ++pos;
        } else if (is_chinese(ptr + pos, offset)) {
            pos += offset;
        } else {
            return true;
        }
    }
    return false;
}

// A null text with bytes to look at is refused rather than read.
bool is_float(const char* ptr, int len) {
    if (len == 0 || (ptr == nullptr && len > 0))
        return false;
    for (int i = 0; i < len; ++i) {
        if (!((ptr[i] >= '0' && ptr[i] <= '9') || ptr[i] == '.'))
            return false;
    }
    return true;
}

bool convert(int src, std::string& dst) {
    return number_to_text(src, dst, false);
}
bool convert(i64_kq src, std::string& dst) {
    return number_to_text(src, dst, false);
}
bool convert(float src, std::string& dst) {
    return number_to_text(static_cast<double>(src), dst, true);
}
bool convert(double src, std::string& dst) {
    return number_to_text(src, dst, true);
}

bool convert(const std::string& src, int& dst) {
    return parse_text(src.c_str(), dst);
}
bool convert(const std::string& src, i64_kq& dst) {
    return parse_text(src.c_str(), dst);
}
bool convert(const std::string& src, float& dst) {
    return parse_text(src.c_str(), dst);
}
bool convert(const std::string& src, double& dst) {
    return parse_text(src.c_str(), dst);
}
bool convert(const char* src, int dstLen, int& dst) {
    return parse_checked(src, dstLen, dst);
}
bool convert(const char* src, int dstLen, i64_kq& dst) {
    return parse_checked(src, dstLen, dst);
}
bool convert(const char* src, int dstLen, float& dst) {
    return parse_checked(src, dstLen, dst);
}
bool convert(const char* src, int dstLen, double& dst) {
    return parse_checked(src, dstLen, dst);
}

bool is_zero_float(const double& a, const unsigned int precision) {
    return equal_float(a, 0.0, precision);
}

bool equal_float(const double& a, const double& b, const unsigned int precision) {
    const double tolerance =
        precision < k_table_precisions ? k_tolerance[precision] : computed_tolerance(precision);
    return fabs(a - b) < tolerance;
}

bool less_than_float(const double& a, const double& b, const unsigned int precision) {
    if (use_difference_rule(a, b, precision))
        return b - a > computed_tolerance(precision);
    return scaled_value(a, precision) < scaled_value(b, precision);
}

bool large_than_float(const double& a, const double& b, const unsigned int precision) {
    if (use_difference_rule(a, b, precision))
        return a - b > computed_tolerance(precision);
    return scaled_value(a, precision) > scaled_value(b, precision);
}

int float_compare(const double& a, const double& b, const unsigned int precision) {
    if (equal_float(a, b, precision))
        return 0;
    return less_than_float(a, b, precision) ? -1 : 1;
}

int vector_compare(const std::vector<int>& a, const std::vector<int>& b) {
    // The longer vector (a when the lengths are equal) fills the table, and every
    // value of the other must be found in it.
    const bool a_shorter = a.size() < b.size();
    const std::vector<int>& held = a_shorter ? b : a;
    const std::vector<int>& probed = a_shorter ? a : b;
    map_int<int, null_lock> values(11);
    for (int v : held)
        values.set(v, v);
    for (int v : probed) {
        if (!values.contains(v))
            return RET_NOT_EQUAL;
    }
    if (a_shorter)
        return RET_LESS;
    if (a.size() > b.size())
        return RET_LARGE;
    return values.size() == a.size() ? RET_EQUAL : RET_NOT_EQUAL;
}

}  // namespace TOOLS
}  // namespace VORTANE
