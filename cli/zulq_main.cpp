// zulq: asks the query port of a trading server from the command line, through the
// plain face of the library. 'zulq --help' tells how.

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>

#include "zulq_cli.h"
#include "zulq_decode.h"
#include "zulq_format.h"
#include "zulq_session.h"

using namespace zulq;

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

// One table per record type, in the order of arrival; a list with no record shows the
// columns of the type that closed it.
void print_answer(Printer& printer, const Command& c, const Answer& answer) {
    std::vector<const RecordDesc*> types;
    for (const Delivery& d : answer.records) {
        if (std::find(types.begin(), types.end(), d.desc) == types.end())
            types.push_back(d.desc);
    }
    if (types.empty())
        types.push_back(answer.closing != nullptr ? answer.closing : c.answers.front());
    for (const RecordDesc* type : types) {
        std::vector<Row> rows;
        for (const Delivery& d : answer.records) {
            if (d.desc == type)
                rows.push_back(row_of(*type, d.bytes.data()));
        }
        printer.print_all(columns_of(*type), rows);
    }
}

int print_password_result(Printer& printer, int result) {
    printer.print_all({Column{"Result", true, 6}}, {Row{std::to_string(result)}});
    if (result == 0)
        return EXIT_OK;
    fprintf(stderr, "zulq: the server refused the password change: result %d\n", result);
    return EXIT_REFUSED;
}

int run(const Invocation& inv) {
    block_stop_signals();
    Printer printer(stdout, inv.settings.format);
    Session session(inv.settings);
    const Command& c = *inv.command;
    if (c.answer == AnswerKind::watch)
        session.watch_into(&printer, inv.args.count);
    int rc = session.open();
    if (rc != EXIT_OK)
        return rc;
    if (c.answer == AnswerKind::watch)
        return session.watch();
    Answer answer;
    rc = session.query(c, inv.args, &answer);
    if (rc != EXIT_OK)
        return rc;
    if (c.answer == AnswerKind::password)
        return print_password_result(printer, answer.password_result);
    print_answer(printer, c, answer);
    return EXIT_OK;
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
    if (inv.help) {
        fputs((inv.command != nullptr ? command_help(*inv.command) : main_help() + decode_summary())
                  .c_str(),
              stdout);
        return EXIT_OK;
    }
    return run(inv);
}
