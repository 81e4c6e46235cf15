#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "api/kq_zul_query_internal.h"
#include "client/QueryClient.h"
#include "client/precise_time.h"
#include "kq_zul_query_event.h"
#include "kq_zul_query_internal_test.h"
#include "support/scratch_dir.h"

using namespace zul_test;

namespace {

// copy_api_str into a 16-byte field that sits between two guard areas.
struct guarded_field {
    unsigned char before[8];
    char field[16];
    unsigned char after[8];

    guarded_field() { memset(static_cast<void*>(this), 0xAB, sizeof(*this)); }
    bool guards_intact() const {
        for (size_t i = 0; i < sizeof(before); ++i) {
            if (before[i] != 0xAB || after[i] != 0xAB)
                return false;
        }
        return true;
    }
};

}  // namespace

TEST(CopyApiStr, CopiesAtMostOneLessThanTheFieldAndZeroesTheRest) {
    guarded_field fifteen;
    copy_api_str(fifteen.field, sizeof(fifteen.field), "ABCDEFGHIJKLMNO");
    EXPECT_EQ(std::string(fifteen.field, 16), std::string("ABCDEFGHIJKLMNO\0", 16));
    EXPECT_TRUE(fifteen.guards_intact());

    guarded_field sixteen;
    copy_api_str(sixteen.field, sizeof(sixteen.field), "ABCDEFGHIJKLMNOP");
    EXPECT_EQ(std::string(sixteen.field, 16), std::string("ABCDEFGHIJKLMNO\0", 16));
    EXPECT_TRUE(sixteen.guards_intact());

    guarded_field longer;
    copy_api_str(longer.field, sizeof(longer.field), "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_EQ(longer.field[15], '\0');
    EXPECT_TRUE(longer.guards_intact());

    guarded_field shorter;
    copy_api_str(shorter.field, sizeof(shorter.field), "AB");
    EXPECT_EQ(std::string(shorter.field, 16), std::string("AB") + std::string(14, '\0'));

    guarded_field empty;
    copy_api_str(empty.field, sizeof(empty.field), "");
    EXPECT_EQ(std::string(empty.field, 16), std::string(16, '\0'));
    EXPECT_TRUE(empty.guards_intact());
}

TEST(PlainFace, NullHandleGivesEightNullOrNothing) {
    scratch_dir dir;
    EXPECT_EQ(KQZUL_DestroyQuery(nullptr), 8);
    EXPECT_EQ(KQZUL_GetQueryUserParam(nullptr), nullptr);
    EXPECT_EQ(KQZUL_SetQueryLoggerSwitch(nullptr, true), 8);
    EXPECT_EQ(KQZUL_QueryLoggerFlush(nullptr), 8);
    KQZUL_SetQueryLogDir(nullptr, "must_not_appear");
    EXPECT_FALSE(file_exists("must_not_appear"));
    // No client was made, so no log either.
    EXPECT_FALSE(file_exists(std::string("mavlog_") + precise_time::m_startDate + ".log"));
}

TEST(PlainFace, ClientGivesBackItsUserParamAndForwardsItsSettings) {
    scratch_dir dir;
    int context = 0;
    void* h = KQZUL_CreateQuery(&context);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(KQZUL_GetQueryUserParam(h), &context);
    void* bare = KQZUL_CreateQuery(nullptr);
    EXPECT_EQ(KQZUL_GetQueryUserParam(bare), nullptr);
    EXPECT_EQ(KQZUL_DestroyQuery(bare), 0);

    CQueryClient* client = static_cast<CQueryClient*>(h);
    EXPECT_EQ(KQZUL_SetQueryLoggerSwitch(h, true), 0);
    EXPECT_TRUE(client->m_bLoggerSwitch);
    EXPECT_EQ(KQZUL_SetQueryLoggerSwitch(h, false), 0);
    EXPECT_FALSE(client->m_bLoggerSwitch);

    KQZUL_SetQueryLogDir(h, "logs");
    EXPECT_TRUE(dir_exists("logs"));
    client->m_txt_logger.write_txt("info", "in logs");
    EXPECT_EQ(KQZUL_QueryLoggerFlush(h), 0);
    client->m_txt_logger.write_txt("info", "after flush");
    EXPECT_EQ(KQZUL_DestroyQuery(h), 0);

    std::vector<std::string> lines =
        split_lines(read_file(std::string("logs/mavlog_") + precise_time::m_startDate + ".log"));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].substr(31), "info in logs");
    EXPECT_EQ(lines[1].substr(31), "info after flush");
    EXPECT_EQ(lines[2].substr(31), "info destroy query client");
}
