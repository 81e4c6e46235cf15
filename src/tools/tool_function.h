#ifndef VORTANE_TOOLS_TOOL_FUNCTION_H
#define VORTANE_TOOLS_TOOL_FUNCTION_H

#include "tools/vortane_define.h"

namespace VORTANE {
namespace TOOLS {

// Sleeps n_milli_second milliseconds (usleep of n * 1000).
void sleep_kq(unsigned int n_milli_second);

}  // namespace TOOLS
}  // namespace VORTANE

#endif
