// zul_sim: the query-port simulator as a program. Prints one line,
// "zul_sim listening on 127.0.0.1:<port>", then serves until SIGINT or SIGTERM.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "zul_sim.h"

namespace {

const char kUsage[] =
    "usage: zul_sim [options]\n"
    "  --port N                 listen on 127.0.0.1:N (default 0: any free port)\n"
    "  --hv27                   speak the hv27 server generation\n"
    "  --user-id N              user id given at logon (default 70123)\n"
    "  --refuse-logon CODE      refuse every logon with this result code\n"
    "  --version-flag N         byte 51 of the logon answer (default 6 with --hv27, else 0)\n"
    "  --password-md5 HEX       accept only this password digest (32 hex digits)\n"
    "  --refuse ID:ERR          answer request ID with error ERR (message 1064); repeatable\n"
    "  --no-answer ID           never answer request ID (stay silent); repeatable\n"
    "  --exec-ex                answer request 75 with message 1063\n"
    "  --push-interval MS       push a BP report and a cash notice every MS milliseconds\n"
    "  --write-mode MODE        whole | byte | split:K | chunks:N | coalesce\n"
    "  --pause MS               pause after every write\n"
    "  --drop-after-bytes N     drop the client after N more bytes written (once)\n"
    "  --drop-after-messages N  drop the client after N more messages written (once)\n"
    "  --drop-on-request ID     drop a client that sends request ID (once)\n"
    "  --close-on-accept        accept connections and close them at once\n"
    "  --hold-connects          listen but never accept: connects hang until they give up\n"
    "  --stop-reading           read nothing from clients: what they send piles up\n"
    "  --close-after-logon      answer every logon and close in the same write\n"
    "  --flood-rate N           after logon, send BP reports at about N bytes per second\n"
    "  --records N              answer every stream with N generated records\n"
    "  --data FILE              serve the accounts and records of FILE (see README.md)\n"
    "  --version                print the version and exit\n"
    "  --help                   this text\n";

bool number(const char* text, unsigned long long* out) {
    char* end = nullptr;
    *out = strtoull(text, &end, 0);
    return *text != '\0' && *end == '\0';
}

bool write_mode(const std::string& text, zulsim::Options* o) {
    std::string name = text.substr(0, text.find(':'));
    unsigned long long param = 0;
    bool has_param = text.find(':') != std::string::npos;
    if (has_param && !number(text.c_str() + name.size() + 1, &param)) {
        return false;
    }
    o->write_param = static_cast<size_t>(param);
    if (name == "whole" && !has_param) {
        o->write_mode = zulsim::WriteMode::whole;
    } else if (name == "byte" && !has_param) {
        o->write_mode = zulsim::WriteMode::byte_by_byte;
    } else if (name == "coalesce" && !has_param) {
        o->write_mode = zulsim::WriteMode::coalesce;
    } else if (name == "split" && param > 0) {
        o->write_mode = zulsim::WriteMode::split;
    } else if (name == "chunks" && param > 0) {
        o->write_mode = zulsim::WriteMode::chunks;
    } else {
        return false;
    }
    return true;
}

bool refusal(const std::string& text, zulsim::Options* o) {
    size_t colon = text.find(':');
    unsigned long long id = 0, err = 0;
    if (colon == std::string::npos || !number(text.substr(0, colon).c_str(), &id) ||
        !number(text.c_str() + colon + 1, &err) || id > 0xFFFF) {
        return false;
    }
    o->refusals[static_cast<uint16_t>(id)] = static_cast<uint32_t>(err);
    return true;
}

// Reads the command line into `o` and `data_file`; false with a message on error.
bool parse(int argc, char** argv, zulsim::Options* o, std::string* data_file, bool* help,
           bool* version) {
    for (int i = 1; i < argc; ++i) {
        std::string opt = argv[i];
        unsigned long long n = 0;
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        auto numeric = [&](unsigned long long max) {
            ++i;
            return value != nullptr && number(value, &n) && n <= max;
        };
        bool ok = true;
        if (opt == "--help" || opt == "-h") {
            *help = true;
        } else if (opt == "--version") {
            *version = true;
        } else if (opt == "--hv27") {
            o->hv27 = true;
        } else if (opt == "--exec-ex") {
            o->exec_with_symbol = true;
        } else if (opt == "--close-on-accept") {
            o->accept_mode = zulsim::AcceptMode::close_at_once;
        } else if (opt == "--hold-connects") {
            o->accept_mode = zulsim::AcceptMode::hold;
        } else if (opt == "--stop-reading") {
            o->stop_reading = true;
        } else if (opt == "--close-after-logon") {
            o->close_after_logon = true;
        } else if (opt == "--flood-rate") {
            ok = numeric(~0ull) && n > 0 && (o->flood_rate = static_cast<size_t>(n), true);
        } else if (opt == "--port") {
            ok = numeric(0xFFFF) && (o->port = static_cast<uint16_t>(n), true);
        } else if (opt == "--user-id") {
            ok = numeric(0xFFFFFFFF) && (o->user_id = static_cast<uint32_t>(n), true);
        } else if (opt == "--refuse-logon") {
            ok =
                numeric(0xFFFFFFFF) && n != 0 && (o->logon_result = static_cast<uint32_t>(n), true);
        } else if (opt == "--version-flag") {
            ok = numeric(0xFF) && (o->version_flag = static_cast<int>(n), true);
        } else if (opt == "--push-interval") {
            ok = numeric(86400000) && (o->push_interval = std::chrono::milliseconds(n), true);
        } else if (opt == "--pause") {
            ok = numeric(86400000) && (o->pause = std::chrono::milliseconds(n), true);
        } else if (opt == "--drop-after-bytes") {
            ok = numeric(~0ull) && (o->drop_after_bytes = static_cast<size_t>(n), true);
        } else if (opt == "--drop-after-messages") {
            ok = numeric(~0ull) && (o->drop_after_messages = static_cast<size_t>(n), true);
        } else if (opt == "--drop-on-request") {
            ok = numeric(0xFFFF) && (o->drop_on_request = static_cast<uint16_t>(n), true);
        } else if (opt == "--no-answer") {
            ok = numeric(0xFFFF) && (o->unanswered.insert(static_cast<uint16_t>(n)), true);
        } else if (opt == "--records") {
            ok = numeric(~0ull) && (o->bulk_records = static_cast<size_t>(n), true);
        } else if (opt == "--password-md5" || opt == "--data" || opt == "--refuse" ||
                   opt == "--write-mode") {
            ++i;
            ok = value != nullptr;
            if (ok && opt == "--password-md5") {
                o->password_digest = value;
            } else if (ok && opt == "--data") {
                *data_file = value;
            } else if (ok && opt == "--refuse") {
                ok = refusal(value, o);
            } else if (ok) {
                ok = write_mode(value, o);
            }
        } else {
            std::cerr << "zul_sim: unknown option " << opt << "\n" << kUsage;
            return false;
        }
        if (!ok) {
            std::cerr << "zul_sim: bad or missing value for " << opt << "\n";
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    zulsim::Options options;
    std::string data_file;
    bool help = false;
    bool version = false;
    if (!parse(argc, argv, &options, &data_file, &help, &version)) {
        return 2;
    }
    if (version) {
        // The simulator comes with the library and carries its version.
        std::cout << "zul_sim " << ZUL_SIM_VERSION << "\n";
        return 0;
    }
    if (help) {
        std::cout << kUsage;
        return 0;
    }
    // The signals are taken by sigwait below; every thread of the simulator inherits
    // the blocked mask, so none of them is interrupted.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

    zulsim::DataSet data = zulsim::DataSet::standard(options.hv27, options.user_id);
    std::string error;
    if (!data_file.empty() &&
        !zulsim::DataSet::load(data_file, options.hv27, options.user_id, &data, &error)) {
        std::cerr << "zul_sim: " << error << "\n";
        return 2;
    }
    // A "user" line of the data file names the user that logs on as well.
    options.user_id = data.user_id();
    zulsim::Simulator sim(options);
    sim.set_data(data);
    if (!sim.start(&error)) {
        std::cerr << "zul_sim: " << error << "\n";
        return 1;
    }
    std::printf("zul_sim listening on 127.0.0.1:%u\n", static_cast<unsigned>(sim.port()));
    std::fflush(stdout);
    int signal_number = 0;
    sigwait(&stop_signals, &signal_number);
    sim.stop();
    return 0;
}
