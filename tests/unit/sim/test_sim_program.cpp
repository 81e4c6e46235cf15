// The program zul_sim: its port line, its options, its end on SIGTERM.

#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "protocol/msg_define.h"
#include "raw_client.h"

namespace {

class Program {
public:
    explicit Program(std::vector<std::string> args) {
        int out[2];
        if (::pipe(out) != 0) {
            return;
        }
        m_pid = ::fork();
        if (m_pid == 0) {
            ::dup2(out[1], 1);
            ::close(out[0]);
            std::vector<char*> argv{const_cast<char*>(ZUL_SIM_PATH)};
            for (auto& a : args) {
                argv.push_back(a.data());
            }
            argv.push_back(nullptr);
            ::execv(ZUL_SIM_PATH, argv.data());
            ::_exit(127);
        }
        ::close(out[1]);
        m_out = out[0];
    }
    ~Program() {
        if (m_pid > 0 && !m_reaped) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        ::close(m_out);
    }

    // The first line of standard output, or "" at the deadline.
    std::string first_line() {
        std::string line;
        auto until = std::chrono::steady_clock::now() + milliseconds(10000);
        char ch;
        while (std::chrono::steady_clock::now() < until) {
            pollfd p{m_out, POLLIN, 0};
            if (::poll(&p, 1, 100) > 0) {
                if (::read(m_out, &ch, 1) != 1 || ch == '\n') {
                    break;
                }
                line.push_back(ch);
            }
        }
        return line;
    }

    // Exit status, or -1 if the program is still running at the deadline.
    int wait_exit() {
        for (auto until = std::chrono::steady_clock::now() + milliseconds(10000);
             std::chrono::steady_clock::now() < until;) {
            int status = 0;
            if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_reaped = true;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            ::usleep(10000);
        }
        return -1;
    }

    pid_t pid() const { return m_pid; }

private:
    pid_t m_pid = -1;
    int m_out = -1;
    bool m_reaped = false;
};

uint16_t port_of(const std::string& line) {
    const std::string head = "zul_sim listening on 127.0.0.1:";
    if (line.compare(0, head.size(), head) != 0) {
        return 0;
    }
    return static_cast<uint16_t>(std::stoi(line.substr(head.size())));
}

TEST(SimProgram, PrintsItsPortServesAndEndsOnSigterm) {
    Program p({"--port", "0", "--hv27", "--refuse", "77:55", "--write-mode", "split:7"});
    std::string line = p.first_line();
    uint16_t port = port_of(line);
    ASSERT_NE(port, 0) << line;
    RawClient c(port);
    ASSERT_TRUE(c.connected());
    query_logon_msg_req logon;
    ASSERT_TRUE(c.send(logon));
    Bytes m;
    ASSERT_TRUE(c.read_message(true, &m));
    EXPECT_EQ(m[51], 6);
    query_account_margin margin;
    ASSERT_TRUE(c.send(margin));
    ASSERT_TRUE(c.read_message(true, &m));
    EXPECT_EQ(id_of(m), 1064);
    EXPECT_EQ(u32_at(m, 14), 55u);
    ::kill(p.pid(), SIGTERM);
    EXPECT_EQ(p.wait_exit(), 0);
}

TEST(SimProgram, BadOptionsAndDataFileFail) {
    Program bad({"--write-mode", "sideways"});
    EXPECT_EQ(bad.wait_exit(), 2);
    Program missing({"--data", "/nonexistent/zulsim-data.txt"});
    EXPECT_EQ(missing.wait_exit(), 2);
    Program help({"--help"});
    EXPECT_EQ(help.first_line(), "usage: zul_sim [options]");
    EXPECT_EQ(help.wait_exit(), 0);
}

}  // namespace
