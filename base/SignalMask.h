// SignalMask.h - which signals a thread of the library or of a provider takes: those of its own faults.
#ifndef OX3D_BASE_SIGNAL_MASK_H
#define OX3D_BASE_SIGNAL_MASK_H

#include <pthread.h>

#include <csignal>
#include <initializer_list>

namespace ox3d {

// Blocks all signals on the calling thread for a scope, so that threads started inside begin with them blocked and
// no handler of the application runs there. The signals of faults stay open: blocked, they would end the process
// before the application's crash handler sees them.
class CSignalsBlocked {
public:
    CSignalsBlocked() noexcept {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int signalNumber : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
            sigdelset(&blocked, signalNumber);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &m_before);
    }
    ~CSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    CSignalsBlocked(const CSignalsBlocked&) = delete;
    CSignalsBlocked& operator=(const CSignalsBlocked&) = delete;

private:
    sigset_t m_before{};
};

} // namespace ox3d

#endif
