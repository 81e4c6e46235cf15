// Creates a query client, moves its logs into a folder, destroys the client and
// tells where the logs are.
//
//   create_client [log_folder]     (default: zulq_logs)

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "kq_zul_query_event.h"

int main(int argc, char** argv) {
    const char* log_dir = argc > 1 ? argv[1] : "zulq_logs";

    // The library makes a missing folder with mode 0600, which only root can
    // enter; made here first, the folder is usable for any user.
    if (mkdir(log_dir, 0755) != 0 && errno != EEXIST) {
        fprintf(stderr, "cannot make %s: %s\n", log_dir, strerror(errno));
        return 1;
    }

    // The logs are named after the day of the process's first client: this one.
    time_t now = time(nullptr);
    void* handle = KQZUL_CreateQuery(nullptr);
    KQZUL_SetQueryLogDir(handle, log_dir);
    KQZUL_DestroyQuery(handle);

    char day[16];
    tm local;
    localtime_r(&now, &local);
    strftime(day, sizeof(day), "%Y%m%d", &local);

    char moved[1024];
    snprintf(moved, sizeof(moved), "%s/mavlog_%s.log", log_dir, day);
    struct stat st;
    if (stat(moved, &st) != 0) {
        // The folder is refused silently for any byte other than letters,
        // digits, '_', '-', '/' and '\'.
        fprintf(stderr, "the library kept its logs in the current folder: %s was refused\n",
                log_dir);
        return 1;
    }
    printf("created in:  ./mavlog_%s.log (the \"create query client\" line)\n", day);
    printf("moved to:    %s\n", moved);
    printf("binary log:  %s/mavlog_%s.bin\n", log_dir, day);
    return 0;
}
