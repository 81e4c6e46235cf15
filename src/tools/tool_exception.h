#ifndef VORTANE_TOOLS_TOOL_EXCEPTION_H
#define VORTANE_TOOLS_TOOL_EXCEPTION_H

#include <stdexcept>

namespace VORTANE {
namespace TOOLS {

// Thrown when a keyed or positional look-up finds nothing to return.
class bad_str_key : public std::out_of_range {
public:
    explicit bad_str_key(const char* msg) : std::out_of_range(msg), m_error_code(-1) {}
    virtual ~bad_str_key() {}

    int m_error_code;
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
