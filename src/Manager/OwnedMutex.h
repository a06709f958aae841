// OwnedMutex.h - a recursive mutex that knows whether the calling thread holds it, so that a thread can give
// up a lock it may or may not hold.
#ifndef OX3D_OWNED_MUTEX_H
#define OX3D_OWNED_MUTEX_H

#include <atomic>
#include <cstdint>

#include "src/Common/Thread.h"

class COwnedMutex {
public:
    void Lock() OX_NO_THREAD_SAFETY_ANALYSIS {
        m_mutex.Lock();
        m_owner.store(ThisThread(), std::memory_order_relaxed);
        ++m_depth;
    }

    void Unlock() OX_NO_THREAD_SAFETY_ANALYSIS {
        if (--m_depth == 0) {
            m_owner.store(nullptr, std::memory_order_relaxed);
        }
        m_mutex.Unlock();
    }

    // One level, and only where the calling thread holds the lock.
    void UnlockIfHeld() {
        if (m_owner.load(std::memory_order_relaxed) == ThisThread()) {
            Unlock();
        }
    }

private:
    // The address of a thread's own variable tells threads apart.
    static const void* ThisThread() {
        static thread_local const char mark = 0;
        return &mark;
    }

    COXMutex m_mutex;
    std::atomic<const void*> m_owner{nullptr};
    uint32_t m_depth = 0; // guarded by m_mutex
};

class COwnedLock {
public:
    explicit COwnedLock(COwnedMutex& mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~COwnedLock() { m_mutex.UnlockIfHeld(); }
    COwnedLock(const COwnedLock&) = delete;
    COwnedLock& operator=(const COwnedLock&) = delete;

private:
    COwnedMutex& m_mutex;
};

#endif
