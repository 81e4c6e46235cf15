// The example programs run against the simulator and print what it served.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/e2e_client.h"

using namespace zul_test;

class Examples : public ::testing::TestWithParam<const char*> {};

TEST_P(Examples, ListAccountsAndPositionsFromTheSimulatorAndFailOnARefusedLogon) {
    scratch_dir dir;
    zulsim::Simulator sim;
    ASSERT_TRUE(sim.start());
    // timeout(1) bounds a hang of the program under test.
    const std::string command = "timeout 60 " + std::string(ZUL_EXAMPLES_DIR) + "/" + GetParam() +
                                " 127.0.0.1 " + std::to_string(sim.port()) + " trader01 ";
    std::string out;
    FILE* p = popen((command + "pw123456").c_str(), "r");
    ASSERT_NE(nullptr, p);
    char buf[4096];
    for (size_t n; (n = fread(buf, 1, sizeof(buf), p)) > 0;)
        out.append(buf, n);
    EXPECT_EQ(0, pclose(p)) << out;
    EXPECT_NE(std::string::npos,
              out.find("logon: result 0, user id " + std::to_string(sim.options().user_id)));
    for (const std::string& account : sim.data().accounts())
        EXPECT_NE(std::string::npos, out.find("account " + account)) << account << "\n" << out;
    EXPECT_NE(std::string::npos, out.find("  ZQ7 ")) << "its positions\n" << out;

    sim.configure([](zulsim::Options& o) { o.logon_result = 3; });
    EXPECT_NE(0, system((command + "bad 2>/dev/null >/dev/null").c_str()));
}

INSTANTIATE_TEST_SUITE_P(BothFaces, Examples, ::testing::Values("plain_face", "object_face"));
