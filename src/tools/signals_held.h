#ifndef VORTANE_TOOLS_SIGNALS_HELD_H
#define VORTANE_TOOLS_SIGNALS_HELD_H

#include <signal.h>

namespace VORTANE {
namespace TOOLS {

// Blocks the asynchronous signals of the calling thread for its life. Threads started
// meanwhile inherit the mask, so that signals stay with the caller's own threads (a
// Ctrl-C handler, a thread that waits for SIGTERM). Faults stay deliverable.
class signals_held {
public:
    signals_held() {
        sigset_t all;
        sigfillset(&all);
        for (int sync : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT})
            sigdelset(&all, sync);
        pthread_sigmask(SIG_BLOCK, &all, &m_old);
    }
    ~signals_held() { pthread_sigmask(SIG_SETMASK, &m_old, nullptr); }
    signals_held(const signals_held&) = delete;
    signals_held& operator=(const signals_held&) = delete;

private:
    sigset_t m_old;
};

}  // namespace TOOLS
}  // namespace VORTANE

#endif
