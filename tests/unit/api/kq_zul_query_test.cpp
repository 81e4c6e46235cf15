// The plain face's own helpers and its handling of handles: copying a caller's text into a
// request field, the argument rules of the request functions, and what a handle gives back.

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "api/kq_zul_query_internal.h"
#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "kq_zul_query_event.h"
#include "support/scratch_dir.h"

using namespace zul_test;

TEST(CopyApiStr, KeepsATerminatorInsideTheFieldZeroesTheRestAndStaysInside) {
    for (std::string src :
         {"ABCDEFGHIJKLMNO", "ABCDEFGHIJKLMNOP", "ABCDEFGHIJKLMNOPQRSTUVWXYZ", "AB", ""}) {
        char buf[32];  // a 16-byte field between two 8-byte guards
        memset(buf, '#', sizeof(buf));
        copy_api_str(buf + 8, 16, src.c_str());
        std::string want = std::string(8, '#') + src.substr(0, 15);
        want += std::string(24 - want.size(), '\0') + std::string(8, '#');
        EXPECT_EQ(std::string(buf, sizeof(buf)), want) << src;
    }
}

TEST(PasswdCheck, EightToThirtyTwoLettersDigitsOrUnderscoresWithALetterAndADigit) {
    const std::string len32 = "a" + std::string(31, '1');
    const std::pair<std::string, bool> cases[] = {
        {"", false},          {"abc1234", false},  {"abc12345", true},  {len32, true},
        {len32 + "1", false}, {"abcdefgh", false}, {"ABCDEFGH", false}, {"12345678", false},
        {"________", false},  {"abc_defg", false}, {"123_4567", false}, {"abc_1234", true},
        {"ABC_1234", true},   {"_______a1", true}, {"azAZ09__", true}};
    for (const auto& [pwd, ok] : cases)
        EXPECT_EQ(passwd_check(pwd.c_str()), ok) << pwd;
    // The neighbours of each range end, and bytes above 127 (negative as signed chars),
    // fail wherever they stand.
    for (char bad :
         {'/', ':', '@', '[', '`', '{', '^', '-', ' ', '.', '\x7F', '\x80', '\xC1', '\xFF'})
        for (int at : {3, 8})
            EXPECT_FALSE(passwd_check(std::string("abc12345").insert(at, 1, bad).c_str()))
                << int(bad);
}

TEST(ExchangeIdCheck, TrueExactlyFromOneHundredToOneHundredEight) {
    for (int id = 0; id <= 255; ++id)
        EXPECT_EQ(exchange_id_check(static_cast<unsigned char>(id)), id >= 100 && id <= 108) << id;
}

TEST(PlainFace, NullHandleIsRefusedAndAClientForwardsItsSettings) {
    scratch_dir dir;
    EXPECT_EQ(KQZUL_DestroyQuery(nullptr), 8);
    EXPECT_EQ(KQZUL_GetQueryUserParam(nullptr), nullptr);
    EXPECT_EQ(KQZUL_SetQueryLoggerSwitch(nullptr, true), 8);
    EXPECT_EQ(KQZUL_QueryLoggerFlush(nullptr), 8);
    KQZUL_SetQueryLogDir(nullptr, "must_not_appear");
    EXPECT_TRUE(std::filesystem::is_empty(".")) << "no folder, and no log as no client was made";

    int context = 0;
    void* h = KQZUL_CreateQuery(&context);
    EXPECT_EQ(KQZUL_GetQueryUserParam(h), &context);
    CQueryClient* client = static_cast<CQueryClient*>(h);
    for (bool on : {true, false}) {
        EXPECT_EQ(KQZUL_SetQueryLoggerSwitch(h, on), 0);
        EXPECT_EQ(client->m_bLoggerSwitch, on);
    }
    KQZUL_SetQueryLogDir(h, "logs");
    client->m_txt_logger.write_txt("info", "in logs");
    EXPECT_EQ(KQZUL_QueryLoggerFlush(h), 0);
    client->m_txt_logger.write_txt("info", "after flush");  // the flush left the log open
    EXPECT_EQ(KQZUL_DestroyQuery(h), 0);
    std::vector<std::string> lines =
        split_lines(read_file(std::string("logs/mavlog_") + precise_time::m_startDate + ".log"));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].substr(31), "info in logs");
    EXPECT_EQ(lines[1].substr(31), "info after flush");
    EXPECT_EQ(lines[2].substr(31), "info destroy query client");
}
