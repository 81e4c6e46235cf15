#include "tools/tool_function.h"

#include <unistd.h>

namespace VORTANE {
namespace TOOLS {

void sleep_kq(unsigned int n_milli_second) { usleep(n_milli_second * 1000); }

}  // namespace TOOLS
}  // namespace VORTANE
