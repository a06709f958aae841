// Mutex.h - the plain mutex, its lock for a scope and a condition to wait for, known to clang's analysis.
//
// A thread that waits loops over its condition ("while (!m_isStopping) m_changed.Wait(m_mutex);"): the analysis
// sees the guarded members there, which it would not inside a predicate.
#ifndef OX3D_BASE_MUTEX_H
#define OX3D_BASE_MUTEX_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "base/ThreadSafety.h"

namespace ox3d {

// Not recursive.
class OX_CAPABILITY("mutex") CMutex {
public:
    CMutex() = default;
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    void Lock() OX_ACQUIRE() { m_mutex.lock(); }
    void Unlock() OX_RELEASE() { m_mutex.unlock(); }
    // Tells the analysis, where it cannot know, that the calling thread holds the mutex: in a function object that
    // runs under it.
    void AssertHeld() const OX_ASSERT_CAPABILITY() {}

private:
    friend class CCondition;
    std::mutex m_mutex;
};

// Locks for the length of a scope. Unlock and Lock open a gap in it.
class OX_SCOPED_CAPABILITY CLock {
public:
    explicit CLock(CMutex& mutex) OX_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~CLock() OX_RELEASE() {
        if (m_isHeld) {
            m_mutex.Unlock();
        }
    }
    CLock(const CLock&) = delete;
    CLock& operator=(const CLock&) = delete;

    void Unlock() OX_RELEASE() {
        m_isHeld = false;
        m_mutex.Unlock();
    }
    void Lock() OX_ACQUIRE() {
        m_mutex.Lock();
        m_isHeld = true;
    }

private:
    CMutex& m_mutex;
    bool m_isHeld = true;
};

// All waits may end early without a cause, so they stand in a loop.
class CCondition {
public:
    void NotifyOne() noexcept { m_condition.notify_one(); }
    void NotifyAll() noexcept { m_condition.notify_all(); }

    void Wait(CMutex& mutex) OX_REQUIRES(mutex) {
        Adopted held(mutex.m_mutex);
        m_condition.wait(held.m_lock);
    }
    // False once the time has come.
    bool WaitUntil(CMutex& mutex, std::chrono::steady_clock::time_point until) OX_REQUIRES(mutex) {
        Adopted held(mutex.m_mutex);
        return m_condition.wait_until(held.m_lock, until) == std::cv_status::no_timeout;
    }
    // False once the time is over.
    bool WaitFor(CMutex& mutex, std::chrono::steady_clock::duration time) OX_REQUIRES(mutex) {
        return WaitUntil(mutex, std::chrono::steady_clock::now() + time);
    }

private:
    // The caller's lock for the time of the wait. It stays the caller's when a thread that is cancelled unwinds.
    struct Adopted {
        explicit Adopted(std::mutex& mutex) : m_lock(mutex, std::adopt_lock) {}
        ~Adopted() { m_lock.release(); }
        Adopted(const Adopted&) = delete;
        Adopted& operator=(const Adopted&) = delete;
        std::unique_lock<std::mutex> m_lock;
    };

    std::condition_variable m_condition;
};

} // namespace ox3d

#endif
