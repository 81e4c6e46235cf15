// The example programs run against the simulator and print what it served.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/e2e_client.h"

using namespace zul_test;

namespace {

// Runs a program to its end and gives its standard output and exit status.
std::string run(const std::string& command, int* status) {
    std::string out;
    FILE* p = popen(command.c_str(), "r");
    if (p == nullptr) {
        *status = -1;
        return out;
    }
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), p)) > 0)
        out.append(buf, n);
    *status = pclose(p);
    return out;
}

class Examples : public ::testing::TestWithParam<const char*> {};

}  // namespace

TEST_P(Examples, ListAccountsAndPositionsFromTheSimulator) {
    scratch_dir dir;
    zulsim::Simulator sim;
    ASSERT_TRUE(sim.start());
    const std::string exe = std::string(ZUL_EXAMPLES_DIR) + "/" + GetParam();
    int status = 0;
    // timeout(1) bounds a hang of the program under test.
    const std::string out =
        run("timeout 60 " + exe + " 127.0.0.1 " + std::to_string(sim.port()) + " trader01 pw123456",
            &status);
    EXPECT_EQ(0, status) << out;
    EXPECT_NE(std::string::npos,
              out.find("logon: result 0, user id " + std::to_string(sim.options().user_id)))
        << out;
    for (const std::string& account : sim.data().accounts()) {
        EXPECT_NE(std::string::npos, out.find("account " + account)) << account << "\n" << out;
    }
    // Each account with positions shows them; the sim asked for each in turn.
    EXPECT_NE(std::string::npos, out.find("  ZQ7 ")) << out;
    int position_requests = 0;
    for (const zulsim::ReceivedRequest& r : sim.requests())
        position_requests += r.id == 73 ? 1 : 0;
    EXPECT_EQ(static_cast<int>(sim.data().accounts().size()), position_requests);

    // A refused logon gives a clear message and a failing status.
    sim.configure([](zulsim::Options& o) { o.logon_result = 3; });
    run("timeout 60 " + exe + " 127.0.0.1 " + std::to_string(sim.port()) +
            " trader01 bad 2>/dev/null",
        &status);
    EXPECT_NE(0, status);
    sim.stop();
}

INSTANTIATE_TEST_SUITE_P(BothFaces, Examples, ::testing::Values("plain_face", "object_face"));
