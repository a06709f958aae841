// Cancellation.h - pthread_cancel and the calls of the library: off inside all of them, and open again in the one
// place that may wait long. Relies on nothing.
//
// A thread that is cancelled unwinds from wherever the C library finds it: out of a lock, or through a function that
// must not throw, which ends the process.
#ifndef OX3D_BASE_CANCELLATION_H
#define OX3D_BASE_CANCELLATION_H

#include <pthread.h>

namespace ox3d {

// The calling thread cannot be cancelled for a scope. Scopes nest. A cancellation that came meanwhile acts at the
// thread's next cancellation point after the outermost one.
class CCancellationOff {
public:
    CCancellationOff() noexcept : m_outer(t_innermost) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before);
        t_innermost = this;
    }
    ~CCancellationOff() {
        t_innermost = m_outer;
        pthread_setcancelstate(m_before, nullptr);
    }
    CCancellationOff(const CCancellationOff&) = delete;
    CCancellationOff& operator=(const CCancellationOff&) = delete;

private:
    friend class CCancellationPoint;
    static inline thread_local const CCancellationOff* t_innermost = nullptr;
    const CCancellationOff* m_outer;
    int m_before = PTHREAD_CANCEL_ENABLE;
};

// A gap in the innermost scope: cancellation is as the thread had it before, but at cancellation points only.
class CCancellationPoint {
public:
    CCancellationPoint() noexcept : m_off(CCancellationOff::t_innermost) {
        pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &m_type);
        if (m_off != nullptr) {
            pthread_setcancelstate(m_off->m_before, nullptr);
        }
    }
    ~CCancellationPoint() {
        if (m_off != nullptr) {
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        }
        pthread_setcanceltype(m_type, nullptr);
    }
    CCancellationPoint(const CCancellationPoint&) = delete;
    CCancellationPoint& operator=(const CCancellationPoint&) = delete;

private:
    const CCancellationOff* m_off;
    int m_type = PTHREAD_CANCEL_DEFERRED;
};

} // namespace ox3d

#endif
