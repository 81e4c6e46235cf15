#include "client/QueryClient.h"

#include <sys/stat.h>

#include <cstring>
#include <string>

#include "client/precise_time.h"
#include "tools/cross_platform_api.h"
#include "tools/tool_function.h"

using namespace VORTANE::TOOLS;

namespace {

// Longest path of a log file, folder included.
const unsigned int LOG_PATH_SIZE = 512;
// Room that the file name takes behind the folder: "/mavlog_YYYYMMDD.log".
const size_t LOG_NAME_TAIL = 20;

bool is_log_dir_char(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '\\' || c == '/';
}

// Points, blanks and bytes above 0x7f are refused, so no path can climb with "..".
bool is_log_dir_path(const char* log_dir) {
    for (const char* p = log_dir; *p != '\0'; ++p) {
        if (!is_log_dir_char(*p))
            return false;
    }
    return true;
}

void open_log(query_base_log& log, const char* log_dir, const char* suffix) {
    char name[LOG_PATH_SIZE];
    if (log_dir == nullptr) {
        snprintf_kq(name, sizeof(name), "mavlog_%s.%s", precise_time::m_startDate, suffix);
    } else {
        snprintf_kq(name, sizeof(name), "%s/mavlog_%s.%s", log_dir, precise_time::m_startDate,
                    suffix);
    }
    log.open(name);
}

}  // namespace

// The slash behind the name makes lstat fail on anything but a folder.
bool dir_exists(const char* pathname) {
    std::string path(pathname);
    if (path.empty())
        return false;
    if (path.back() != '/')
        path += '/';
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

CQueryClient::CQueryClient(void* param) : m_userParam(param) {
    precise_time::initialize();
    sleep_kq(1);
    // A log that cannot be opened stays closed; the client works without it.
    open_logs(nullptr);
    m_txt_logger.write_txt("info", "create query client");
}

CQueryClient::~CQueryClient() {
    // No thread of this client may outlive it: the reconnect thread is told to
    // quit and awaited (a connect attempt of it is interrupted), as are helper
    // threads that close on a callback's behalf.
    stop_check_and_reconn_thread();
    ++m_close_requests;
    // Records still queued are not delivered; the close below is still reported.
    m_delivery_gate.fetch_or(RECORDS_CUT);
    interrupt_transport();
    wait_for_helper_threads();
    // An open connection reports "local disconnected" on this thread, before the
    // line below.
    DisConnServer();
    m_txt_logger.write_txt("info", "destroy query client");
    m_txt_logger.close();
    m_bin_logger.close();
}

void CQueryClient::open_logs(const char* log_dir) {
    open_log(m_txt_logger, log_dir, "log");
    open_log(m_bin_logger, log_dir, "bin");
}

void CQueryClient::SetLogDir(const char* log_dir) {
    if (log_dir == nullptr || log_dir[0] == '\0')
        return;
    if (!is_log_dir_path(log_dir))
        return;
    // A folder whose file names would be cut must not send the logs to a
    // mangled path: it is refused like a bad character.
    if (strlen(log_dir) + LOG_NAME_TAIL >= LOG_PATH_SIZE)
        return;
    // 0600: owner read and write, no search bit. A user other than root cannot
    // enter such a folder, so such callers make the folder themselves first.
    if (!dir_exists(log_dir) && mkdir(log_dir, 0600) != 0)
        return;
    m_txt_logger.close();
    m_bin_logger.close();
    open_logs(log_dir);
}

void CQueryClient::SetLoggerSwitch(bool bOn) {
    m_bLoggerSwitch = bOn;
}

void CQueryClient::LoggerFlush() {
    m_txt_logger.flush_all();
    m_bin_logger.flush_all();
}

void* CQueryClient::GetUserParam() {
    return m_userParam;
}

Int4 CQueryClient::GetUserID() {
    return m_UserId;
}

void CQueryClient::SetUserId(Int4 id) {
    m_UserId = id;
}

bool CQueryClient::IsHv27Version() {
    return m_bHv27Server;
}
