// zulq: asks the query port of a trading server from the command line, through the
// library's session layer. 'zulq --help' tells how.

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ZulQuerySession.h"
#include "zulq_cli.h"
#include "zulq_decode.h"
#include "zulq_format.h"
#include "zulq_output.h"

using namespace zulq;
using zulquery::Error;

namespace {

// Blocked before the library makes its threads, which inherit the mask: the main
// thread alone takes these signals, between its waits, and can then disconnect
// cleanly.
void block_stop_signals() {
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stops, nullptr);
}

// SIGINT or SIGTERM if one is pending, else 0.
int take_stop_signal() {
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    const timespec now = {0, 0};
    const int sig = sigtimedwait(&stops, nullptr, &now);
    return sig > 0 ? sig : 0;
}

// ---- Log folder ----

std::string default_log_dir() {
    const char* tmp = getenv("TMPDIR");
    return std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/zulq-" +
           std::to_string(getuid());
}

// The folder, made (0700) if missing. The default one must be ours: it lies in a
// folder that every user can write to.
bool prepare_log_dir(const std::string& dir, bool must_own) {
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST)
        return false;
    struct stat st;
    return stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode) &&
           (!must_own || st.st_uid == getuid());
}

// The library opens its logs in the working folder as the client is made, and its own
// folder setting takes only a narrow set of path characters. So the session is made from
// inside the log folder, and the working folder comes back at once (no other thread runs
// yet).
std::unique_ptr<zulquery::Session> make_session(const Settings& s, zulquery::Options options) {
    const bool given = !s.log_dir.empty();
    const std::string dir = given ? s.log_dir : default_log_dir();
    const int here = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool moved = here >= 0 && prepare_log_dir(dir, !given) && chdir(dir.c_str()) == 0;
    if (!moved)
        fprintf(stderr, "zulq: cannot use the log folder %s; logs go to the current folder\n",
                dir.c_str());
    auto session = std::make_unique<zulquery::Session>(s.host, s.port, std::move(options));
    if (moved && fchdir(here) != 0)
        fprintf(stderr, "zulq: cannot return to the working folder: %s\n", strerror(errno));
    if (here >= 0)
        close(here);
    return session;
}

// ---- A run ----

class Run {
public:
    explicit Run(const Invocation& inv)
        : m_inv(inv),
          m_printer(stdout, inv.settings.format),
          m_answer(m_printer),
          m_progress(stderr, !inv.settings.quiet && isatty(STDERR_FILENO) == 1),
          m_stdout_tty(isatty(STDOUT_FILENO) == 1) {}

    int main();

private:
    // Runs on the main thread while the session waits: after every batch of records and
    // at least every 50 ms.
    bool poll() {
        fflush(stdout);
        m_progress.tick(Progress::Clock::now());
        m_signal = take_stop_signal();
        return m_signal != 0;
    }
    void record(const RecordDesc& desc, const void* r) {
        // A progress line on the terminal that stdout also writes to must not stand in
        // front of a row.
        if (m_stdout_tty)
            m_progress.clear();
        m_answer.record(desc, r);
        m_progress.add();
    }
    int query(zulquery::Session& session);
    int change_password(zulquery::Session& session);
    int watch(zulquery::Session& session);
    int failed(const Error& e, bool logged_on);

    const Invocation& m_inv;
    Printer m_printer;
    AnswerPrinter m_answer;
    Progress m_progress;
    bool m_stdout_tty;
    int m_signal = 0;  // the signal that ended a wait
};

int Run::main() {
    block_stop_signals();
    zulquery::Options options;
    options.timeout = m_inv.settings.timeout_s;
    options.logger = m_inv.settings.trace;
    options.poll = [this] { return poll(); };
    std::unique_ptr<zulquery::Session> session = make_session(m_inv.settings, options);
    bool logged_on = false;
    try {
        session->logon(m_inv.settings.user, m_inv.settings.password);
        logged_on = true;
        switch (m_inv.command->answer) {
            case AnswerKind::watch:
                return watch(*session);
            case AnswerKind::password:
                return change_password(*session);
            default:
                return query(*session);
        }
    } catch (const Error& e) {
        return failed(e, logged_on);
    }
}

int Run::query(zulquery::Session& session) {
    m_progress.begin(Progress::Clock::now());
    const RecordDesc* closing = m_inv.command->run(
        session, m_inv.args, [this](const RecordDesc& d, const void* r) { record(d, r); });
    m_answer.finish(*closing);
    fflush(stdout);
    m_progress.clear();
    return EXIT_OK;
}

int Run::change_password(zulquery::Session& session) {
    int result = 0;
    try {
        session.change_password(m_inv.args.positional[0], m_inv.args.positional[1]);
    } catch (const Error& e) {
        if (e.kind() != Error::Kind::refused)
            throw;
        result = e.code();
    }
    m_printer.print_all({Column{"Result", true, 6}}, {Row{std::to_string(result)}});
    if (result == 0)
        return EXIT_OK;
    fprintf(stderr, "zulq: the server refused the password change: result %d\n", result);
    return EXIT_REFUSED;
}

// Pushed events as they come, until --count of them or a signal, which ends it well.
int Run::watch(zulquery::Session& session) {
    WatchPrinter printer(m_printer,
                         {&record_desc<ZUL_AccountBP>(), &record_desc<ZUL_AccountCashInout>()});
    for (unsigned long n = 0; m_inv.args.count == 0 || n < m_inv.args.count; ++n) {
        std::optional<zulquery::Push> p;
        try {
            p = session.next_push(-1);
        } catch (const Error& e) {
            if (e.kind() == Error::Kind::interrupted)
                return EXIT_OK;
            throw;
        }
        if (p->kind == zulquery::Push::Kind::bp_report)
            printer.event("bp-report", record_desc<ZUL_AccountBP>(), &p->bp);
        else
            printer.event("cash", record_desc<ZUL_AccountCashInout>(), &p->cash);
        fflush(stdout);
    }
    return EXIT_OK;
}

// What went wrong, in words with the number beside them, and the exit status that says
// why. Records printed so far stay printed.
int Run::failed(const Error& e, bool logged_on) {
    fflush(stdout);
    m_progress.clear();
    const Command& c = *m_inv.command;
    const std::string printed = m_answer.records() > 0
                                    ? "; " + std::to_string(m_answer.records()) + " records printed"
                                    : std::string();
    switch (e.kind()) {
        case Error::Kind::interrupted:
            return 128 + (m_signal != 0 ? m_signal : SIGINT);
        case Error::Kind::cannot_connect:
            fprintf(stderr, "zulq: %s\n", e.what());
            return EXIT_CONNECTION;
        case Error::Kind::logon_refused:
            fprintf(stderr, "zulq: %s\n", e.what());
            return EXIT_LOGON;
        case Error::Kind::refused:
            fprintf(stderr, "zulq: the server refused %s: error id %d\n", c.name, e.code());
            return EXIT_REFUSED;
        case Error::Kind::not_offered:
            fprintf(stderr,
                    "zulq: %s: servers of the hv27 generation do not offer this query (result "
                    "%d)%s%s\n",
                    c.name, e.code(), c.hv27_hint != nullptr && *c.hv27_hint != '\0' ? "; " : "",
                    c.hv27_hint != nullptr ? c.hv27_hint : "");
            return EXIT_NOT_SUPPORTED;
        case Error::Kind::timeout:
            if (!logged_on)
                fprintf(stderr, "zulq: %s\n", e.what());
            else
                fprintf(stderr,
                        "zulq: no answer to %s: the server was silent for %g s (--timeout)%s\n",
                        c.name, m_inv.settings.timeout_s, printed.c_str());
            return EXIT_TIMEOUT;
        case Error::Kind::connection_lost:
            if (!logged_on)
                fprintf(stderr, "zulq: %s\n", e.what());
            else if (e.code() == ZUL_RESULT_SEND_FAILED || e.code() == ZUL_RESULT_NOT_CONNECTED)
                fprintf(stderr, "zulq: %s: connection lost, the request was not sent (result %d)\n",
                        c.name, e.code());
            else
                fprintf(stderr, "zulq: connection lost while waiting for the answer to %s%s\n",
                        c.name, printed.c_str());
            return EXIT_CONNECTION;
        case Error::Kind::rejected:
            if (e.code() == ZUL_RESULT_BAD_PASSWORD)
                fprintf(stderr,
                        "zulq: %s: the library turned the request down: the new password must "
                        "have 8 to 32 letters, digits or '_', with at least one letter and one "
                        "digit (result %d)\n",
                        c.name, e.code());
            else
                fprintf(stderr, "zulq: %s: the library turned the request down: %s\n", c.name,
                        e.what());
            return EXIT_LIBRARY;
    }
    return EXIT_LIBRARY;
}

}  // namespace

int main(int argc, char** argv) {
    if (is_decode_command(argc, argv))
        return run_decode(argc, argv);
    Invocation inv;
    std::string error;
    if (!parse_command_line(argc, argv, &inv, &error)) {
        fprintf(stderr, "zulq: %s\nRun 'zulq %s--help' for usage.\n", error.c_str(),
                inv.command != nullptr ? (std::string(inv.command->name) + " ").c_str() : "");
        return EXIT_USAGE;
    }
    if (inv.version) {
        printf("%s\n", zulquery::version());
        return EXIT_OK;
    }
    if (inv.help) {
        fputs((inv.command != nullptr ? command_help(*inv.command) : main_help() + decode_summary())
                  .c_str(),
              stdout);
        return EXIT_OK;
    }
    return Run(inv).main();
}
