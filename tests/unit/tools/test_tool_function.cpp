#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tools/tool_function.h"

using namespace VORTANE::TOOLS;
using strings = std::vector<std::string>;

TEST(ToolFunction, SplitIntoAVector) {
    strings out{"stale"};
    EXPECT_TRUE(string_split("a,b,,c", out, ","));
    EXPECT_EQ(out, (strings{"a", "b", "", "c"}));
    EXPECT_TRUE(string_split("a,b,", out, ","));
    EXPECT_EQ(out, (strings{"a", "b"}));
    EXPECT_TRUE(string_split(",a", out, ","));
    EXPECT_EQ(out, (strings{"", "a"}));
    EXPECT_TRUE(string_split("", out, ","));
    EXPECT_TRUE(out.empty());
    // Shorter than the separator: one piece.
    EXPECT_TRUE(string_split("a", out, ";;"));
    EXPECT_EQ(out, (strings{"a"}));
    // Each separator character cuts, and the walk skips the separator's length.
    EXPECT_TRUE(string_split("ab;cd|ef", out, ";|"));
    EXPECT_EQ(out, (strings{"ab", "d", "f"}));

    out = {"stale"};
    EXPECT_FALSE(string_split("a,b", out, ""));
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(string_split(nullptr, out, ","));

    std::vector<std::wstring> wide;
    EXPECT_TRUE(wstring_split(L"x,,y", wide, L","));
    EXPECT_EQ(wide, (std::vector<std::wstring>{L"x", L"", L"y"}));
}

TEST(ToolFunction, SplitIntoRowsDropsEmptyPiecesAndChecksRoom) {
    char rows[4][4];
    memset(rows, 'z', sizeof(rows));
    EXPECT_TRUE(string_split("a,b,,c", &rows[0][0], 4, 4, ","));
    EXPECT_STREQ(rows[0], "a");
    EXPECT_STREQ(rows[1], "b");
    EXPECT_STREQ(rows[2], "c");
    EXPECT_EQ(rows[3][0], 'z');

    EXPECT_FALSE(string_split("a,b,c", &rows[0][0], 2, 4, ","));  // too many pieces
    EXPECT_FALSE(string_split(",,", &rows[0][0], 4, 4, ","));     // no piece
    EXPECT_FALSE(string_split("", &rows[0][0], 4, 4, ","));
    EXPECT_FALSE(string_split("a", &rows[0][0], 4, 4, ""));
    // A piece needs room for its terminator; the rows before it stay written.
    memset(rows, 'z', sizeof(rows));
    EXPECT_FALSE(string_split("abc,defg", &rows[0][0], 4, 4, ","));
    EXPECT_STREQ(rows[0], "abc");
    EXPECT_EQ(rows[1][0], 'z');
}

TEST(ToolFunction, FindBytesAndReplace) {
    const char src[] = "abxabcd\0ef";
    EXPECT_EQ(find_bytes(src, 10, "abc", 3), src + 3);
    EXPECT_EQ(find_bytes(src, 10, "d\0e", 3), src + 6);
    EXPECT_EQ(find_bytes(src, 10, "efg", 3), nullptr);  // longer than what is left
    EXPECT_EQ(find_bytes(src, 10, "q", 1), nullptr);
    EXPECT_EQ(find_bytes(src, 0, "a", 1), nullptr);
    EXPECT_EQ(find_bytes(nullptr, 10, "a", 1), nullptr);

    std::string text = "aaaa";
    string_replace(text, "aa", "a");
    EXPECT_EQ(text, "aa");
    text = "x.y.z";
    string_replace(text, ".", "::");
    EXPECT_EQ(text, "x::y::z");
    string_replace(text, "", "q");
    EXPECT_EQ(text, "x::y::z");
    EXPECT_EQ(to_string(-42), "-42");
}

TEST(ToolFunction, CharacterClasses) {
    int offset = -1;
    EXPECT_FALSE(is_chinese("abc", offset));
    EXPECT_EQ(offset, -1);
    EXPECT_TRUE(
        is_chinese("\xe4\xb8\xad"
                   "a",
                   offset));
    EXPECT_EQ(offset, 3);

    EXPECT_FALSE(check_special_character("Abc123", 6));
    EXPECT_TRUE(check_special_character("Abc-123", 7));
    EXPECT_TRUE(check_special_character("a_b", 3));
    EXPECT_FALSE(
        check_special_character("a\xe4\xb8\xad"
                                "b",
                                5));
    // len is a lower bound: the walk goes on to the terminator.
    EXPECT_TRUE(check_special_character("ab c", 2));
    // A zero byte before len is special.
    EXPECT_TRUE(check_special_character("ab\0cd", 5));
    EXPECT_FALSE(check_special_character(nullptr, 3));
    EXPECT_FALSE(check_special_character("a b", 0));

    EXPECT_TRUE(is_float("1.2.3", 5));
    EXPECT_FALSE(is_float("-1", 2));
    EXPECT_TRUE(is_float("12x", 2));
    EXPECT_FALSE(is_float("1", 0));
    EXPECT_TRUE(is_float("x", -1));
}

TEST(ToolFunction, NumbersToTextAndBack) {
    std::string text;
    EXPECT_TRUE(convert(-12, text));
    EXPECT_EQ(text, "-12");
    EXPECT_TRUE(convert(static_cast<i64_kq>(1) << 40, text));
    EXPECT_EQ(text, "1099511627776");
    EXPECT_TRUE(convert(2.5, text));
    EXPECT_EQ(text, "2.500000");
    EXPECT_TRUE(convert(0.1f, text));
    EXPECT_EQ(text, "0.100000");
    EXPECT_TRUE(convert(1e7, text));
    EXPECT_EQ(text, "10000000.000000");

    int i = 0;
    i64_kq l = 0;
    float f = 0;
    double d = 0;
    EXPECT_TRUE(convert(std::string("42x"), i));
    EXPECT_EQ(i, 42);
    EXPECT_TRUE(convert(std::string("-1099511627776"), l));
    EXPECT_EQ(l, -1099511627776LL);
    EXPECT_TRUE(convert(std::string("0.5"), f));
    EXPECT_EQ(f, 0.5f);
    // dstLen only has to be positive; the parse runs to the end of the number.
    EXPECT_TRUE(convert("1234", 1, i));
    EXPECT_EQ(i, 1234);
    EXPECT_TRUE(convert("2.25", 1, d));
    EXPECT_EQ(d, 2.25);
    EXPECT_FALSE(convert("7", 0, i));
    EXPECT_FALSE(convert(nullptr, 5, l));
    EXPECT_FALSE(convert("7", -1, f));
    EXPECT_EQ(i, 1234);
}

TEST(ToolFunction, FloatsCompareAtAPrecision) {
    EXPECT_TRUE(equal_float(1.004, 1.0, 2));
    EXPECT_FALSE(equal_float(1.02, 1.0, 2));
    EXPECT_TRUE(equal_float(1.5, 1.0, 0));
    EXPECT_TRUE(equal_float(0.0, 0.00999, 2));
    EXPECT_FALSE(equal_float(0.0, 0.01, 2));  // the tolerance itself isn't below it
    EXPECT_TRUE(is_zero_float(-0.0000009, 6));
    EXPECT_FALSE(is_zero_float(0.000001, 6));

    EXPECT_FALSE(less_than_float(1.001, 1.009, 2));  // both scale to 100
    EXPECT_FALSE(large_than_float(1.009, 1.001, 2));
    EXPECT_TRUE(less_than_float(1.0, 1.01, 2));
    // 0.29 * 100 is 28.999...; the nudge makes it 29.
    EXPECT_TRUE(large_than_float(0.29, 0.285, 2));
    EXPECT_FALSE(less_than_float(0.1, 0.8, 0));  // both scale to 0 without a scale

    // Above five places, and for large values, the difference decides.
    EXPECT_FALSE(less_than_float(1.0000004, 1.0000011, 6));
    EXPECT_TRUE(less_than_float(1.0, 1.0000015, 6));
    EXPECT_FALSE(less_than_float(1.00000004, 1.00000011, 7));
    EXPECT_TRUE(large_than_float(1.00000015, 1.0, 7));
    EXPECT_FALSE(less_than_float(3e13, 3e13 + 0.0078125, 2));
    // At the limit itself the values are still scaled.
    const double limit = 23058430092130.0;
    EXPECT_TRUE(less_than_float(limit - 0.0078125, limit, 2));
    EXPECT_TRUE(large_than_float(limit, limit - 0.0078125, 2));

    EXPECT_EQ(float_compare(1.0099, 1.0101, 2), 0);  // equal wins over the integers
    EXPECT_EQ(float_compare(1.0, 1.02, 2), -1);
    EXPECT_EQ(float_compare(1.02, 1.0, 2), 1);
}

TEST(ToolFunction, IntegerSetsCompare) {
    using v = std::vector<int>;
    EXPECT_EQ(vector_compare(v{1, 2}, v{2, 1}), RET_EQUAL);
    EXPECT_EQ(vector_compare(v{1}, v{1, 2}), RET_LESS);
    EXPECT_EQ(vector_compare(v{1, 2}, v{1}), RET_LARGE);
    EXPECT_EQ(vector_compare(v{1, 3}, v{1, 2}), RET_NOT_EQUAL);
    EXPECT_EQ(vector_compare(v{3}, v{1, 2}), RET_NOT_EQUAL);
    EXPECT_EQ(vector_compare(v{1, 2, 3}, v{4}), RET_NOT_EQUAL);
    EXPECT_EQ(vector_compare(v{1, 1}, v{1, 1}), RET_NOT_EQUAL);
    EXPECT_EQ(vector_compare(v{1, 2}, v{1, 1}), RET_EQUAL);
    EXPECT_EQ(vector_compare(v{}, v{}), RET_EQUAL);
    EXPECT_EQ(vector_compare(v{-5, 100000}, v{100000, -5}), RET_EQUAL);
}
