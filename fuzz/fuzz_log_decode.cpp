// libFuzzer target for zulq decode's reader of the library's binary log. Byte 0 chooses
// the output format (bits 0-1: table, CSV, JSON, vertical) and whether only message 1073
// is kept (bit 2); the rest is the log file. A crash, a sanitizer report, or an exit
// status other than "whole" or "damaged" ends the run.

#include <cstdio>
#include <cstdlib>

#include "zulq_cli.h"
#include "zulq_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FILE* sink = fopen("/dev/null", "w");
    if (size == 0 || sink == nullptr)
        return 0;
    zulq::DecodeOptions options;
    options.file = "fuzz.bin";
    const zulq::OutputFormat formats[] = {zulq::OutputFormat::table, zulq::OutputFormat::csv,
                                          zulq::OutputFormat::json, zulq::OutputFormat::vertical};
    options.format = formats[data[0] & 3];
    options.id = (data[0] & 4) != 0 ? 1073 : -1;
    // fmemopen refuses an empty buffer: an empty log is read from /dev/null.
    FILE* in = size > 1 ? fmemopen(const_cast<uint8_t*>(data + 1), size - 1, "rb")
                        : fopen("/dev/null", "rb");
    if (in == nullptr)
        return 0;
    const int rc = zulq::decode_log(in, options, sink, sink);
    fclose(in);
    if (rc != zulq::EXIT_OK && rc != zulq::EXIT_DAMAGED_LOG)
        abort();
    return 0;
}
