// The argument rules of the request functions: the password rule and the range
// of exchange ids.

#include <gtest/gtest.h>

#include <string>

#include "api/kq_zul_query_internal.h"

TEST(PasswdCheck, LengthMustBeEightToThirtyTwo) {
    EXPECT_FALSE(passwd_check(""));
    EXPECT_FALSE(passwd_check("abc1234"));
    EXPECT_TRUE(passwd_check("abc12345"));
    const std::string len32 = "a" + std::string(31, '1');
    EXPECT_TRUE(passwd_check(len32.c_str()));
    EXPECT_FALSE(passwd_check((len32 + "1").c_str()));
}

TEST(PasswdCheck, NeedsALetterAndADigitAndUnderscoreCountsAsNeither) {
    EXPECT_FALSE(passwd_check("abcdefgh"));
    EXPECT_FALSE(passwd_check("ABCDEFGH"));
    EXPECT_FALSE(passwd_check("12345678"));
    EXPECT_FALSE(passwd_check("________"));
    EXPECT_FALSE(passwd_check("abc_defg"));
    EXPECT_FALSE(passwd_check("123_4567"));
    EXPECT_TRUE(passwd_check("abc_1234"));
    EXPECT_TRUE(passwd_check("ABC_1234"));
    EXPECT_TRUE(passwd_check("_______a1"));
}

TEST(PasswdCheck, EveryCharacterRangeEndsWhereItShould) {
    // The first and last member of each range pass.
    EXPECT_TRUE(passwd_check("azAZ09__"));
    // The neighbours of each range end fail, wherever they stand.
    for (char outside : {'/', ':', '@', '[', '`', '{', '^', '-', ' ', '.', '\x7F'}) {
        std::string pwd = "abc12345";
        pwd[3] = outside;
        EXPECT_FALSE(passwd_check(pwd.c_str())) << "byte " << static_cast<int>(outside);
        EXPECT_FALSE(passwd_check(("abc12345" + std::string(1, outside)).c_str()))
            << "byte " << static_cast<int>(outside) << " at the end";
    }
}

TEST(PasswdCheck, BytesAboveOneHundredTwentySevenFail) {
    // As signed characters these are negative, and must not slip through as
    // anything else.
    for (int byte : {0x80, 0xB0, 0xC1, 0xE1, 0xFF}) {
        std::string pwd = "abc12345";
        pwd[0] = static_cast<char>(byte);
        EXPECT_FALSE(passwd_check(pwd.c_str())) << "byte " << byte;
    }
}

TEST(ExchangeIdCheck, TrueExactlyFromOneHundredToOneHundredEight) {
    EXPECT_FALSE(exchange_id_check(0));
    EXPECT_FALSE(exchange_id_check(99));
    for (int id = 100; id <= 108; ++id)
        EXPECT_TRUE(exchange_id_check(static_cast<unsigned char>(id))) << id;
    EXPECT_FALSE(exchange_id_check(109));
    EXPECT_FALSE(exchange_id_check(255));
}
