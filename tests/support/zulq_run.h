#ifndef TESTS_SUPPORT_ZULQ_RUN_H
#define TESTS_SUPPORT_ZULQ_RUN_H

// zulq run as a program against an in-process simulator, from a scratch working folder,
// and its JSON lines read back.

#include <sys/wait.h>

#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "support/e2e_client.h"

namespace zul_test {

struct zulq_outcome {
    int code = -1;  // exit status
    std::string out, err;
};

// zulq with `args`, in UTC, with a password in the environment; the output goes through
// files in the working folder.
inline zulq_outcome run_zulq(const std::string& args) {
    const std::string cmd = "timeout 120 env -u ZULQ_PASSWORD TZ=UTC ZULQ_PASSWORD=pw123456 " +
                            std::string(ZUL_BINARY_DIR) + "/cli/zulq " + args +
                            " >zulq.out 2>zulq.err";
    const int status = system(cmd.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file("zulq.out"),
            read_file("zulq.err")};
}

// A time of the wire (seconds in the high half, nanoseconds in the low) as zulq prints it
// in UTC; empty for 0.
inline std::string utc_text(unsigned long long t) {
    if (t == 0)
        return "";
    const time_t s = static_cast<time_t>(t >> 32);
    tm c;
    char out[64];
    const size_t n = strftime(out, sizeof(out), "%Y-%m-%d %H:%M:%S", gmtime_r(&s, &c));
    snprintf(out + n, sizeof(out) - n, ".%09u", static_cast<unsigned>(t));
    return out;
}

inline std::string json_text_at(const std::string& l, size_t& i) {
    std::string s;
    for (++i; i < l.size() && l[i] != '"'; ++i) {
        if (l[i] == '\\' && l[++i] == 'u') {
            s += static_cast<char>(std::stoi(l.substr(i + 1, 4), nullptr, 16));
            i += 4;
        } else {
            s += l[i];
        }
    }
    return ++i, s;
}

// Reads back lines of flat objects with string and number values, the keys in order.
inline std::vector<std::vector<std::pair<std::string, std::string>>> parse_json_lines(
    const std::string& out) {
    std::vector<std::vector<std::pair<std::string, std::string>>> rows;
    for (const std::string& l : split_lines(out)) {
        EXPECT_TRUE(!l.empty() && l.front() == '{' && l.back() == '}') << l;
        rows.emplace_back();
        for (size_t i = 1; i + 1 < l.size(); ++i) {  // i at a key, then behind a comma
            const std::string key = json_text_at(l, i);
            const bool text = l[++i] == '"';
            std::string value =
                text ? '"' + json_text_at(l, i) : l.substr(i, l.find_first_of(",}", i) - i);
            i = text ? i : l.find_first_of(",}", i);
            rows.back().emplace_back(key, std::move(value));
        }
    }
    return rows;
}

// One JSON object of a line: key -> value, a string value with its opening quote.
using json_row = std::map<std::string, std::string>;

// The lines of parse_json_lines, each as a map.
inline std::vector<json_row> parse_json_rows(const std::string& out) {
    std::vector<json_row> rows;
    for (auto& line : parse_json_lines(out))
        rows.emplace_back(line.begin(), line.end());
    return rows;
}

}  // namespace zul_test

#endif
