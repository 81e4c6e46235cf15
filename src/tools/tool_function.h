#ifndef VORTANE_TOOLS_TOOL_FUNCTION_H
#define VORTANE_TOOLS_TOOL_FUNCTION_H

#include <string>
#include <vector>

#include "tools/vortane_define.h"

namespace VORTANE {
namespace TOOLS {

// Sleeps n_milli_second milliseconds (usleep of n * 1000).
void sleep_kq(unsigned int n_milli_second);

// Splitting. Each character of the separator ends a piece, and the walk then skips
// the separator's whole length. Adjacent separators give empty pieces; a trailing
// one gives no extra piece. False for a null source or an empty separator; an empty
// source gives no piece and true.
bool string_split(const char* str_src, std::vector<std::string>& str_dst,
                  std::string str_separator);
bool wstring_split(const wchar_t* str_src, std::vector<std::wstring>& str_dst,
                   std::wstring str_separator);
// The same walk, empty pieces dropped, into rows of lineNum bytes at strDst: false
// for a null or empty source, no piece, more than num pieces, or a piece that doesn't
// fit a row with its terminator (rows before that one stay written).
bool string_split(const char* strSrc, char* strDst, int num, int lineNum, std::string strSeparator);

// First place of the target bytes in the source bytes, or null.
const char* find_bytes(const char* strSrc, unsigned int srcLen, const char* strTarget,
                       unsigned int targetLen);
// Replaces every occurrence from left to right; a replacement isn't searched again.
void string_replace(std::string& full, const std::string& old_sub_str,
                    const std::string& new_sub_str);
std::string to_string(int src);

// True when p_str starts with bytes above 127; i_offset is then how many.
bool is_chinese(const char* p_str, int& i_offset);
// True if anything but digits, ASCII letters and bytes above 127 occurs. The walk
// goes at least len bytes and on to the terminator.
bool check_special_character(const char* ptr, int len);
// True if the first len bytes are all digits or points.
bool is_float(const char* ptr, int len);

// Numbers to text; floating values with 6 digits behind the point.
bool convert(int src, std::string& dst);
bool convert(i64_kq src, std::string& dst);
bool convert(float src, std::string& dst);
bool convert(double src, std::string& dst);

// Text to numbers (atoi, atoll, atof). The forms with a pointer refuse a null src or
// a dstLen of 0 or below; dstLen doesn't bound the parse.
bool convert(const std::string& src, int& dst);
bool convert(const std::string& src, i64_kq& dst);
bool convert(const std::string& src, float& dst);
bool convert(const std::string& src, double& dst);
bool convert(const char* src, int dstLen, int& dst);
bool convert(const char* src, int dstLen, i64_kq& dst);
bool convert(const char* src, int dstLen, float& dst);
bool convert(const char* src, int dstLen, double& dst);

// Floating comparison at `precision` decimal places.
bool is_zero_float(const double& a, const unsigned int precision);
bool equal_float(const double& a, const double& b, const unsigned int precision);
bool less_than_float(const double& a, const double& b, const unsigned int precision);
bool large_than_float(const double& a, const double& b, const unsigned int precision);
// 0 if equal, else -1 if less, else 1.
int float_compare(const double& a, const double& b, const unsigned int precision);

// Comparison of integer sets.
const int RET_EQUAL = 0;
const int RET_LESS = -1;
const int RET_LARGE = 1;
const int RET_NOT_EQUAL = -2;
// RET_LESS when the shorter a lies within b, RET_LARGE when the shorter b lies within
// a, RET_EQUAL for the same length, b within a and no repeat in a; else RET_NOT_EQUAL.
int vector_compare(const std::vector<int>& a, const std::vector<int>& b);

}  // namespace TOOLS
}  // namespace VORTANE

#endif
