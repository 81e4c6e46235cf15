#include "client/QueryClient.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "client/precise_time.h"
#include "support/scratch_dir.h"

using namespace zul_test;

namespace {

std::string log_name(const std::string& dir, const char* suffix) {
    std::string name = std::string("mavlog_") + precise_time::m_startDate + "." + suffix;
    return dir.empty() ? name : dir + "/" + name;
}

// The text lines of a log with their headers checked and cut off.
std::vector<std::string> bodies_of(const std::string& file) {
    std::vector<std::string> bodies;
    for (const std::string& line : split_lines(read_file(file))) {
        EXPECT_GE(parse_log_header(line, 0), 0) << "bad header: " << line;
        bodies.push_back(line.size() > 31 ? line.substr(31) : line);
    }
    return bodies;
}

int mode_of(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0)
        return -1;
    return st.st_mode & 07777;
}

}  // namespace

TEST(QueryClient, NewClientStartsLoggedOffWithDefaults) {
    scratch_dir dir;
    int marker = 0;
    CQueryClient client(&marker);
    EXPECT_EQ(client.GetUserParam(), &marker);
    EXPECT_FALSE(client.m_bLoggerSwitch);
    EXPECT_EQ(client.GetUserID(), 0u);
    EXPECT_FALSE(client.IsHv27Version());
    EXPECT_FALSE(client.m_bQueryPortLogon);
    EXPECT_EQ(client.m_e_connect_status, E_STATUS_NONE);
    EXPECT_EQ(client.m_connect_thread_is_running, 0);
    EXPECT_FALSE(client.m_quit_connect_thread);
    EXPECT_FALSE(client.m_b_auto_connect);
    EXPECT_EQ(client.m_asyncQueryClient, nullptr);
    EXPECT_EQ(client.m_epoll_max_wait_time_query, 500);
    const ZUL_QuerySvrInfo& svr = client.m_connectSeverInfo;
    EXPECT_EQ(svr.m_RemoteQueryTCPPort, 0);
    for (char c : svr.m_RemoteQueryIp)
        EXPECT_EQ(c, 0);

    client.SetUserId(0x89ABCDEFu);
    EXPECT_EQ(client.GetUserID(), 0x89ABCDEFu);
    client.SetLoggerSwitch(true);
    EXPECT_TRUE(client.m_bLoggerSwitch);
    client.SetLoggerSwitch(false);
    EXPECT_FALSE(client.m_bLoggerSwitch);
}

TEST(QueryClient, CreateAndDestroyLinesGoToTheDatedLogOfTheCurrentFolder) {
    scratch_dir dir;
    time_t before = time(nullptr);
    auto client = std::make_unique<CQueryClient>(nullptr);
    time_t after = time(nullptr);
    std::string day = precise_time::m_startDate;
    EXPECT_TRUE(day == local_day(before) || day == local_day(after)) << day;
    EXPECT_TRUE(file_exists("mavlog_" + day + ".bin"));
    client.reset();

    std::vector<std::string> lines = split_lines(read_file("mavlog_" + day + ".log"));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(parse_log_header(lines[0], 0), 19);
    EXPECT_EQ(lines[0].substr(31), "info create query client");
    EXPECT_EQ(parse_log_header(lines[1], 0), 20);
    EXPECT_EQ(lines[1].substr(31), "info destroy query client");
    EXPECT_EQ(read_file("mavlog_" + day + ".bin"), "");
}

TEST(QueryClient, ASecondClientOfTheDayAppendsToTheSameFiles) {
    scratch_dir dir;
    {
        CQueryClient first(nullptr);
        first.m_bin_logger.write_bin('0', "abc", 3);
    }
    {
        CQueryClient second(nullptr);
        second.m_bin_logger.write_bin('1', "de", 2);
    }
    std::vector<std::string> bodies = bodies_of(log_name("", "log"));
    ASSERT_EQ(bodies.size(), 4u);
    EXPECT_EQ(bodies[0], "info create query client");
    EXPECT_EQ(bodies[1], "info destroy query client");
    EXPECT_EQ(bodies[2], "info create query client");
    EXPECT_EQ(bodies[3], "info destroy query client");

    std::vector<bin_record> records;
    ASSERT_TRUE(walk_bin_records(read_file(log_name("", "bin")), records));
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].payload, "abc");
    EXPECT_EQ(records[1].payload, "de");
}

TEST(QueryClient, SetLogDirRefusesPathsWithAnyOtherCharacter) {
    scratch_dir dir;
    CQueryClient client(nullptr);
    const char* refused[] = {".",       "..",     "./logs",       "../logs", "a.b",
                             "my logs", "c:logs", "logs\xc3\xa9", "logs\t"};
    for (const char* path : refused) {
        client.SetLogDir(path);
        client.m_txt_logger.write_txt("info", path);
    }
    const std::string absolute = dir.path() + "/abs.logs";
    client.SetLogDir(absolute.c_str());
    client.m_txt_logger.write_txt("info", "absolute");
    client.SetLogDir("");
    client.m_txt_logger.write_txt("info", "after empty");

    EXPECT_FALSE(file_exists("a"));
    EXPECT_FALSE(file_exists("my logs"));
    EXPECT_FALSE(file_exists("c:logs"));
    EXPECT_FALSE(file_exists(absolute));
    // Every line landed in the file of the current folder.
    std::vector<std::string> bodies = bodies_of(log_name("", "log"));
    ASSERT_EQ(bodies.size(), 1u + sizeof(refused) / sizeof(refused[0]) + 2);
    EXPECT_EQ(bodies.back(), "info after empty");
}

TEST(QueryClient, SetLogDirMakesOneLevelWithMode0600AndNeverTwo) {
    scratch_dir dir;
    CQueryClient client(nullptr);
    client.SetLogDir("top/sub");
    EXPECT_FALSE(file_exists("top"));

    client.SetLogDir("Logs_01-x");
    EXPECT_EQ(mode_of("Logs_01-x"), 0600);
    client.m_txt_logger.write_txt("info", "moved");
    if (geteuid() == 0) {
        // Only root can enter a folder without its search bit.
        std::vector<std::string> bodies = bodies_of(log_name("Logs_01-x", "log"));
        ASSERT_EQ(bodies.size(), 1u);
        EXPECT_EQ(bodies[0], "info moved");
        EXPECT_TRUE(file_exists(log_name("Logs_01-x", "bin")));
    }
    // Nothing more went to the first file, which keeps the create line.
    std::vector<std::string> first = bodies_of(log_name("", "log"));
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0], "info create query client");
}

TEST(QueryClient, SetLogDirIntoAnExistingFolderAppendsThere) {
    scratch_dir dir;
    ASSERT_EQ(mkdir("old", 0755), 0);
    ASSERT_EQ(mkdir("old/logs", 0755), 0);
    {
        CQueryClient earlier(nullptr);
        earlier.SetLogDir("old/logs");
        earlier.m_txt_logger.write_txt("info", "earlier");
    }
    CQueryClient client(nullptr);
    client.SetLogDir(dir.path().c_str());  // absolute, of the current folder itself
    client.SetLogDir("old/logs");
    EXPECT_EQ(mode_of("old/logs"), 0755);
    client.m_txt_logger.write_txt("info", "later");
    client.LoggerFlush();
    client.m_txt_logger.write_txt("info", "after flush");

    std::vector<std::string> bodies = bodies_of(log_name("old/logs", "log"));
    ASSERT_EQ(bodies.size(), 4u);
    EXPECT_EQ(bodies[0], "info earlier");
    EXPECT_EQ(bodies[1], "info destroy query client");
    EXPECT_EQ(bodies[2], "info later");
    EXPECT_EQ(bodies[3], "info after flush");
}

TEST(QueryClient, SetLogDirOnAPlainFileLeavesTheLogs) {
    scratch_dir dir;
    { std::ofstream("plain") << "x"; }
    CQueryClient client(nullptr);
    client.SetLogDir("plain");
    client.m_txt_logger.write_txt("info", "still here");
    EXPECT_EQ(read_file("plain"), "x");
    EXPECT_EQ(bodies_of(log_name("", "log")).size(), 2u);
}

// A folder whose log file names would not fit in 512 bytes is refused rather
// than cut to some other path.
TEST(QueryClient, SetLogDirRefusesAFolderTooLongForItsFileNames) {
    scratch_dir dir;
    std::string base;
    for (int level = 0; level < 5; ++level) {
        base += std::string(96, 'a' + level);
        ASSERT_EQ(mkdir(base.c_str(), 0755), 0);
        base += "/";
    }
    const std::string fits = base + std::string(491 - base.size(), 'f');
    const std::string too_long = base + std::string(492 - base.size(), 'g');
    ASSERT_EQ(mkdir(fits.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(too_long.c_str(), 0755), 0);

    CQueryClient client(nullptr);
    client.SetLogDir(too_long.c_str());
    client.m_txt_logger.write_txt("info", "stays");
    EXPECT_FALSE(file_exists(log_name(too_long, "log")));
    EXPECT_EQ(bodies_of(log_name("", "log")).size(), 2u);

    client.SetLogDir(fits.c_str());
    client.m_txt_logger.write_txt("info", "moved");
    ASSERT_EQ(bodies_of(log_name(fits, "log")).size(), 1u);
}

TEST(QueryClient, DirExistsOnlyForFolders) {
    scratch_dir dir;
    ASSERT_EQ(mkdir("folder", 0755), 0);
    { std::ofstream("file") << "x"; }
    EXPECT_TRUE(dir_exists("folder"));
    EXPECT_TRUE(dir_exists("folder/"));
    EXPECT_TRUE(dir_exists(dir.path().c_str()));
    EXPECT_FALSE(dir_exists("file"));
    EXPECT_FALSE(dir_exists("missing"));
    EXPECT_FALSE(dir_exists(""));
}

// Spins until pred holds or 30 seconds have passed; gives pred's last value.
template <typename Pred>
bool spin_until(Pred pred) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

// Writers on several threads while another thread keeps moving the logs: no
// crash, no sanitizer report, and every line and record that reached a file
// is whole. Writers and mover go in step, so that moves really fall between
// writes and lines reach the files, however the threads are scheduled.
TEST(QueryClient, WritersAndALogMoverNeverTearALine) {
    scratch_dir dir;
    ASSERT_EQ(mkdir("a", 0755), 0);
    ASSERT_EQ(mkdir("b", 0755), 0);
    CQueryClient client(nullptr);

    const int writers = 3;
    const int lines_each = 400;
    const int lines_per_move = 40;  // a writer runs at most this far ahead of the mover
    std::atomic<int> written{0};
    std::atomic<int> writers_done{0};
    std::atomic<int> moves{0};
    std::atomic<bool> stuck{false};
    std::thread mover([&] {
        int last = 0;
        while (writers_done.load() < writers) {
            if (!spin_until([&] { return written >= last + 30 || writers_done == writers; })) {
                stuck = true;
                return;
            }
            last = written;
            client.SetLogDir(moves % 2 == 0 ? "a" : "b");
            moves++;
        }
    });
    std::vector<std::thread> threads;
    for (int w = 0; w < writers; ++w) {
        threads.emplace_back([&, w] {
            const std::string payload = "bin\n" + std::to_string(w) + std::string(1, '\0');
            for (int i = 0; i < lines_each; ++i) {
                if (!spin_until([&] { return moves >= i / lines_per_move || stuck; })) {
                    stuck = true;
                }
                std::string msg = "writer " + std::to_string(w) + " line " + std::to_string(i);
                client.m_txt_logger.write_txt("info", msg.c_str());
                client.m_bin_logger.write_bin('0', payload.data(),
                                              static_cast<int>(payload.size()));
                written++;
            }
            writers_done++;
        });
    }
    for (auto& t : threads)
        t.join();
    mover.join();
    client.m_txt_logger.close();
    client.m_bin_logger.close();

    size_t lines = 0;
    for (const char* folder : {"", "a", "b"}) {
        for (const std::string& line : split_lines(read_file(log_name(folder, "log")))) {
            long len = parse_log_header(line, 0);
            ASSERT_GE(len, 0) << line;
            std::string body = line.substr(31);
            if (body == "info create query client")
                continue;
            EXPECT_EQ(body.rfind("info writer ", 0), 0u) << body;
            EXPECT_EQ(static_cast<size_t>(len) + 5, body.size()) << line;
            ++lines;
        }
        std::vector<bin_record> records;
        EXPECT_TRUE(walk_bin_records(read_file(log_name(folder, "bin")), records)) << folder;
        for (const bin_record& r : records)
            EXPECT_EQ(r.payload.size(), 6u);
    }
    EXPECT_FALSE(stuck);
    EXPECT_GE(moves, lines_each / lines_per_move - 1);
    EXPECT_GT(lines, 0u);
    EXPECT_LE(lines, static_cast<size_t>(writers * lines_each));
}
