// libFuzzer target for the message loop: see message_loop_driver.h for the layout of an
// input. A crash, a sanitizer report, or a loop that claims to have consumed more bytes
// than it was offered ends the run.

#include <cstdlib>

#include "message_loop_driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (!zul_fuzz::fuzz_one_input(data, size).consumed_within_offer)
        abort();
    return 0;
}
