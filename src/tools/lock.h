#ifndef VORTANE_TOOLS_LOCK_H
#define VORTANE_TOOLS_LOCK_H

#include "tools/linux_lock.h"

namespace VORTANE {
namespace TOOLS {

// The lock policy of containers that one thread owns: every operation is free.
class null_lock {
public:
    null_lock() {}
    ~null_lock() {}
    void lock() {}
    void unlock() {}
    bool try_lock() { return true; }
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
