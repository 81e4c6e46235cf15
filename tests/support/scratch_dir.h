#ifndef TESTS_SUPPORT_SCRATCH_DIR_H
#define TESTS_SUPPORT_SCRATCH_DIR_H

// A scratch working folder, and readers of the files and logs written into it.

#include <stdlib.h>
#include <sys/stat.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace zul_test {

// A fresh folder under /tmp that becomes the working folder for the life of
// the object; the former working folder comes back and the folder goes away.
class scratch_dir {
public:
    scratch_dir() : m_old(std::filesystem::current_path()) {
        char tmpl[] = "/tmp/zulq_test_XXXXXX";
        if (mkdtemp(tmpl) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        m_path = tmpl;
        std::filesystem::current_path(m_path);
    }
    ~scratch_dir() {
        namespace fs = std::filesystem;
        std::error_code ec;
        fs::current_path(m_old, ec);
        // Folders of mode 0600 are removable by their owner once opened up.
        for (auto it = fs::recursive_directory_iterator(m_path, ec);
             it != fs::recursive_directory_iterator(); it.increment(ec))
            if (it->is_directory(ec))
                chmod(it->path().c_str(), 0700);
        fs::remove_all(m_path, ec);
    }
    scratch_dir(const scratch_dir&) = delete;
    scratch_dir& operator=(const scratch_dir&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::filesystem::path m_old;
    std::string m_path;
};

inline std::string read_file(const std::string& name) {
    std::ostringstream out;
    out << std::ifstream(name, std::ios::binary).rdbuf();
    return out.str();
}

inline bool file_exists(const std::string& name) {
    struct stat st;
    return stat(name.c_str(), &st) == 0;
}

// The eight-digit local date of a point in time.
inline std::string local_day(time_t t) {
    tm local;
    char buf[16];
    strftime(buf, sizeof(buf), "%Y%m%d", localtime_r(&t, &local));
    return buf;
}

// Reads the 31-byte header "YYYYMMDD-HH:MM:SS.uuuuuu LLLLL " at pos: every digit
// and separator must stand at its own offset. Gives the length field, or -1.
inline long parse_log_header(const std::string& data, size_t pos) {
    static const char shape[] = "dddddddd-dd:dd:dd.dddddd ddddd ";
    for (size_t i = 0; i < 31; ++i) {
        const unsigned char c = pos + i < data.size() ? data[pos + i] : '\0';
        if (shape[i] == 'd' ? std::isdigit(c) == 0 : c != shape[i])
            return -1;
    }
    return std::stol(data.substr(pos + 25, 5));
}

// One binary record, as read back by walking the length fields.
struct bin_record {
    char flag;
    std::string payload;
};

// Splits a binary log into records; false when any record is malformed.
inline bool walk_bin_records(const std::string& data, std::vector<bin_record>& records) {
    for (size_t pos = 0; pos < data.size();) {
        const long len = parse_log_header(data, pos);
        const size_t end = pos + 33 + static_cast<size_t>(len);
        if (len < 0 || end >= data.size() || data[pos + 32] != ' ' || data[end] != '\n')
            return false;
        records.push_back({data[pos + 31], data.substr(pos + 33, static_cast<size_t>(len))});
        pos = end + 1;
    }
    return true;
}

// Lines of a text log without their newlines; a last line without one is kept,
// marked, so that a torn end shows.
inline std::vector<std::string> split_lines(const std::string& data) {
    std::vector<std::string> lines;
    for (size_t pos = 0, nl; pos < data.size(); pos = nl + 1) {
        nl = data.find('\n', pos);
        if (nl == std::string::npos) {
            lines.push_back(data.substr(pos) + "<no newline>");
            break;
        }
        lines.push_back(data.substr(pos, nl - pos));
    }
    return lines;
}

}  // namespace zul_test

#endif
