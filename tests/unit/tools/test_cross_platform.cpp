#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <string>
#include <thread>

#include "tools/cross_platform_api.h"

using namespace VORTANE::TOOLS;

namespace {

// The child's exit code, or -1 if it hasn't ended within 10 s (it is then killed).
int wait_exit_code(pid_t pid) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return -1;
        }
        usleep(1000);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A fresh empty file in the temporary folder; removed by the destructor.
struct temp_file {
    std::string path;
    temp_file() {
        char name[] = "/tmp/zul_cross_XXXXXX";
        int fd = mkstemp(name);
        if (fd >= 0)
            close(fd);
        path = name;
    }
    ~temp_file() { unlink(path.c_str()); }
};

}  // namespace

TEST(CrossPlatform, LoadsALibraryAndFindsItsFunctions) {
    dll_handle_kq libm = load_library("libm.so.6");
    ASSERT_NE(libm, nullptr) << get_dll_error();
    auto cosine = reinterpret_cast<double (*)(double)>(get_function_address(libm, "cos"));
    ASSERT_NE(cosine, nullptr);
    EXPECT_DOUBLE_EQ(cosine(0.0), 1.0);
    EXPECT_EQ(get_function_address(libm, "no_such_function_zul"), nullptr);
    EXPECT_NE(get_dll_error(), nullptr);
    free_library(libm);

    EXPECT_EQ(load_library("libno_such_library_zul.so"), nullptr);
    const char* why = get_dll_error();
    ASSERT_NE(why, nullptr);
    EXPECT_NE(std::string(why).find("libno_such_library_zul.so"), std::string::npos);
}

TEST(CrossPlatform, StartsAProcessWithTheParameterAsItsOnlyArgument) {
    pid_kq pid = create_process_kq("/bin/true", "ignored");
    ASSERT_GT(pid, 0);
    EXPECT_EQ(wait_exit_code(pid), 0);

    // test(1) with one argument succeeds exactly when that argument isn't empty.
    pid = create_process_kq("/usr/bin/test", "x");
    ASSERT_GT(pid, 0);
    EXPECT_EQ(wait_exit_code(pid), 0);
    pid = create_process_kq("/usr/bin/test", "");
    ASSERT_GT(pid, 0);
    EXPECT_EQ(wait_exit_code(pid), 1);
}

TEST(CrossPlatform, AProgramThatCannotRunLeavesTheChildWithANegativeResult) {
    pid_kq pid = create_process_kq("/nonexistent/zul_program", "x");
    if (pid < 0)
        _exit(42);  // the forked child, back from a failed exec
    EXPECT_EQ(wait_exit_code(pid), 42);
}

TEST(CrossPlatform, TextToSixtyFourBitNumbers) {
    EXPECT_EQ(atoi64_kq("9223372036854775807"), LLONG_MAX);
    EXPECT_EQ(atoi64_kq("-9223372036854775807"), -LLONG_MAX);
    EXPECT_EQ(atoi64_kq("12abc"), 12);
    EXPECT_EQ(atou64_kq("18446744073709551615"), ULLONG_MAX);
    EXPECT_EQ(atou64_kq("0x10"), 0u);  // base 10 only
    EXPECT_EQ(atoi64_kq(nullptr), 0);
    EXPECT_EQ(atou64_kq(nullptr), 0u);
}

TEST(CrossPlatform, FilesExistMoveAndStay) {
    EXPECT_FALSE(file_exists(nullptr));
    EXPECT_FALSE(file_exists(""));
    temp_file f;
    EXPECT_TRUE(file_exists(f.path.c_str()));

    const std::string moved = f.path + ".moved";
    ASSERT_TRUE(move_file_kq(f.path.c_str(), moved.c_str()));
    EXPECT_FALSE(file_exists(f.path.c_str()));
    EXPECT_TRUE(file_exists(moved.c_str()));
    errno = 0;
    EXPECT_FALSE(move_file_kq(f.path.c_str(), moved.c_str()));
    EXPECT_EQ(errno, ENOENT);
    ASSERT_TRUE(move_file_kq(moved.c_str(), f.path.c_str()));

    utimbuf old_times = {0, 0};
    ASSERT_EQ(utime(f.path.c_str(), &old_times), 0);
    EXPECT_TRUE(rm_old_file("/tmp", time(nullptr)));
    EXPECT_TRUE(file_exists(f.path.c_str()));
}

TEST(CrossPlatform, FormattingCutsToTheBuffer) {
    char small[8];
    memset(small, 'z', sizeof(small));
    EXPECT_EQ(snprintf_kq(small, 6, "%d", 1234567), 5u);
    EXPECT_STREQ(small, "12345");
    EXPECT_EQ(small[6], 'z');

    memset(small, 'z', sizeof(small));
    EXPECT_EQ(strncpy_kq(small, 4, "abcdef"), small);
    EXPECT_STREQ(small, "abc");
    strncpy_kq(small, 8, "a");
    EXPECT_EQ(std::string(small, 4), std::string("a\0c\0", 4));

    const std::string longer(50000, 'q');
    EXPECT_EQ(format_str("%s", longer.c_str()).size(), 40959u);
    EXPECT_EQ(strlen(format_pchar("%s", longer.c_str())), 40959u);
    EXPECT_EQ(format_str("%d-%s", 7, "x"), "7-x");
}

TEST(CrossPlatform, EachThreadFormatsIntoItsOwnLastingBuffer) {
    const char* first = format_pchar("%s %d", "main", 1);
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first, "main 1");
    EXPECT_EQ(format_pchar("%d", 2), first);
    EXPECT_STREQ(first, "2");

    const char* other = nullptr;
    std::thread t([&other] { other = format_pchar("%s", "worker"); });
    t.join();
    ASSERT_NE(other, nullptr);
    EXPECT_NE(other, first);
    // Both texts survive: the worker's buffer outlives its thread.
    EXPECT_STREQ(other, "worker");
    EXPECT_STREQ(first, "2");
}
