#ifndef ZULQ_CLI_H
#define ZULQ_CLI_H

// The command line of zulq: settings, the table of commands and the parser.

#include <functional>
#include <string>
#include <vector>

#include "ZulQuerySession.h"
#include "zulq_format.h"
#include "zulq_records.h"

namespace zulq {

// Exit status of zulq; a stop by signal N gives 128 + N.
enum ExitCode {
    EXIT_OK = 0,
    EXIT_USAGE = 1,          // bad option or argument
    EXIT_CONNECTION = 2,     // cannot connect, or the connection was lost
    EXIT_LOGON = 3,          // the server refused the logon
    EXIT_REFUSED = 4,        // the server refused the query (error id on stderr)
    EXIT_TIMEOUT = 5,        // the server was silent for longer than --timeout
    EXIT_NOT_SUPPORTED = 6,  // the server's generation (hv27) does not offer the query
    EXIT_LIBRARY = 7,        // the library turned the request down, e.g. a new password
                             // against the rule
};

struct Settings {
    std::string host = "127.0.0.1";
    unsigned short port = 0;
    std::string user;
    std::string password;
    OutputFormat format = OutputFormat::table;
    double timeout_s = 10.0;  // longest silence of the server
    std::string log_dir;      // empty: the default folder under $TMPDIR
    bool quiet = false;       // no progress line
    bool trace = false;       // the library's logger switch: binary log and message trace
};

struct CommandArgs {
    std::vector<std::string> positional;
    int sec_type = SEC_TYPE_FUTURE;
    unsigned rewind = 0;
    unsigned combo_type = 0;
    unsigned hedge_flag = 0;
    bool extended = false;
    unsigned long count = 0;  // watch: stop after this many events; 0: until a signal
};

// How the answer to a command arrives.
enum class AnswerKind {
    list,      // records closed by a finish call
    single,    // one record
    password,  // the result code of a password change
    watch,     // pushed records until interrupted
};

// Where a command's records go, one at a time, as they arrive.
using RecordSink = std::function<void(const RecordDesc& desc, const void* record)>;

// Options that commands may take, as bits of Command::options.
enum CommandOption : unsigned {
    OPT_SEC_TYPE = 1u << 0,
    OPT_REWIND = 1u << 1,
    OPT_EXTENDED = 1u << 2,
    OPT_COMBO_TYPE = 1u << 3,
    OPT_HEDGE_FLAG = 1u << 4,
    OPT_COUNT = 1u << 5,
};

struct Command {
    const char* name;
    const char* arguments;  // positional arguments for the help text
    const char* summary;
    unsigned min_args;
    unsigned max_args;
    unsigned options;  // CommandOption bits
    AnswerKind answer;
    // The records that answer the request.
    std::vector<const RecordDesc*> answers;
    // Asks the server through the session and hands each record to the sink; returns
    // the type whose columns an empty answer shows. Null for password and watch.
    const RecordDesc* (*run)(zulquery::Session& session, const CommandArgs& args,
                             const RecordSink& sink);
    // Null if every server offers it; else what to ask an hv27 server instead ("" for
    // nothing).
    const char* hv27_hint;
};

const std::vector<Command>& commands();

struct Invocation {
    Settings settings;
    const Command* command = nullptr;
    CommandArgs args;
    bool help = false;          // print help (for the command, if one was named) and stop
    bool version = false;       // print the library's version and stop
    std::string format_option;  // the format option given, if any
};

// Fills out from argv. False with a one-line message on a usage error.
bool parse_command_line(int argc, char** argv, Invocation* out, std::string* error);

std::string main_help();
std::string command_help(const Command& c);

}  // namespace zulq

#endif
