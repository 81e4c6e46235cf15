#include "client/QueryClient.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
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
std::vector<std::string> bodies_of(const std::string& dir) {
    std::vector<std::string> bodies;
    for (const std::string& line : split_lines(read_file(log_name(dir, "log")))) {
        EXPECT_GE(parse_log_header(line, 0), 0) << "bad header: " << line;
        bodies.push_back(line.size() > 31 ? line.substr(31) : line);
    }
    return bodies;
}

const char* const CREATED = "info create query client";
const char* const DESTROYED = "info destroy query client";

TEST(QueryClient, EachClientOfTheDayAppendsItsLinesToTheSameFiles) {
    scratch_dir dir;
    for (const char* payload : {"abc", "de"}) {
        CQueryClient client(nullptr);
        client.m_bin_logger.write_bin('0', payload, static_cast<int>(strlen(payload)));
    }
    EXPECT_EQ(bodies_of(""), (std::vector<std::string>{CREATED, DESTROYED, CREATED, DESTROYED}));
    EXPECT_EQ(parse_log_header(read_file(log_name("", "log")), 0), 19);
    std::vector<bin_record> records;
    ASSERT_TRUE(walk_bin_records(read_file(log_name("", "bin")), records));
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].payload, "abc");
    EXPECT_EQ(records[1].payload, "de");
}

TEST(QueryClient, SetLogDirRefusesWhatItCannotUseAndAppendsInAFolderThatExists) {
    scratch_dir dir;
    { std::ofstream("plain") << "x"; }
    ASSERT_EQ(mkdir("old", 0755), 0);
    ASSERT_EQ(mkdir("old/logs", 0755), 0);
    {
        CQueryClient earlier(nullptr);
        earlier.SetLogDir("old/logs");
        earlier.m_txt_logger.write_txt("info", "earlier");
    }
    CQueryClient client(nullptr);
    const char* refused[] = {"", ".", "..", "./logs", "a.b", "my logs", "top/sub", "plain"};
    for (const char* path : refused) {
        client.SetLogDir(path);
        client.m_txt_logger.write_txt("info", path);
    }
    for (const char* made : {"a", "my logs", "top", "logs"})
        EXPECT_FALSE(file_exists(made)) << made;
    EXPECT_EQ(read_file("plain"), "x");
    EXPECT_EQ(bodies_of("").size(), 2u + sizeof(refused) / sizeof(refused[0]));

    client.SetLogDir("old/logs");
    client.m_txt_logger.write_txt("info", "later");
    EXPECT_EQ(bodies_of("old/logs"),
              (std::vector<std::string>{"info earlier", DESTROYED, "info later"}));
    client.SetLogDir("new_1");  // one level is made, without a search bit
    struct stat st;
    ASSERT_EQ(stat("new_1", &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
}

// Writers on several threads while the main thread keeps moving the logs: every
// line and record that reached a file is whole.
TEST(QueryClient, WritersAndALogMoverNeverTearALine) {
    scratch_dir dir;
    ASSERT_EQ(mkdir("a", 0755), 0);
    ASSERT_EQ(mkdir("b", 0755), 0);
    CQueryClient client(nullptr);
    std::atomic<int> written{0};
    std::atomic<bool> moved{false};
    std::vector<std::thread> writers;
    for (int w = 0; w < 3; ++w) {
        writers.emplace_back([&, w] {
            const std::string payload = "bin\n" + std::to_string(w) + std::string(1, '\0');
            for (int i = 0; i < 100000 && !moved; ++i) {
                std::string msg = "writer " + std::to_string(w) + " line " + std::to_string(i);
                client.m_txt_logger.write_txt("info", msg.c_str());
                client.m_bin_logger.write_bin('0', payload.data(), 6);
                ++written;
            }
        });
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (int move = 1; move <= 20; ++move) {
        // At least 30 writes between two moves, however the threads are scheduled.
        const int before = written;
        while (written < before + 30 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        client.SetLogDir(move % 2 ? "a" : "b");
    }
    moved = true;
    for (auto& t : writers)
        t.join();
    client.m_txt_logger.close();
    client.m_bin_logger.close();

    size_t lines = 0;
    for (const char* folder : {"", "a", "b"}) {
        for (const std::string& body : bodies_of(folder)) {
            int w = -1, i = -1;
            sscanf(body.c_str(), "info writer %d line %d", &w, &i);
            const std::string whole =
                "info writer " + std::to_string(w) + " line " + std::to_string(i);
            EXPECT_TRUE(body == CREATED || body == whole) << body;
            lines += body != CREATED;
        }
        std::vector<bin_record> records;
        EXPECT_TRUE(walk_bin_records(read_file(log_name(folder, "bin")), records)) << folder;
        for (const bin_record& r : records)
            EXPECT_EQ(r.payload.size(), 6u);
    }
    EXPECT_GT(lines, 20u * 27);  // only a write under way during a move may be lost
}

}  // namespace
