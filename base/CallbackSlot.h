// CallbackSlot.h - one application callback: function and user pointer published together, calls in flight
// counted, so that a thread that takes a callback away can wait until no other thread is inside it. Calls of the
// pair in force and calls of pairs before it are counted apart: a thread that replaces a callback waits for the
// old one, not for the new one.
#ifndef OX3D_BASE_CALLBACK_SLOT_H
#define OX3D_BASE_CALLBACK_SLOT_H

#include <chrono>
#include <cstdint>
#include <new>

#include "base/Mutex.h"

namespace ox3d {

// Marks the calling thread as being inside a callback on behalf of `owner` through `slot`, for
// the life of the object. Scopes nest, since a callback may drive another device.
class CCallbackScope {
public:
    CCallbackScope(const void* owner, const void* slot);
    ~CCallbackScope();
    CCallbackScope(const CCallbackScope&) = delete;
    CCallbackScope& operator=(const CCallbackScope&) = delete;

    static bool IsInsideOwner(const void* owner);
    static uint32_t CountInSlot(const void* slot);

private:
    const void* m_owner;
    const void* m_slot;
    const CCallbackScope* m_outer;
};

template <class Fn>
class CCallbackSlot {
public:
    struct Pair {
        Fn m_fn = nullptr;
        void* m_user = nullptr;
    };

    // Puts a pair into force and returns the former one. Waits for no call in flight.
    Pair Publish(const Pair& pair) {
        const CLock lock(m_mutex);
        const Pair former = m_pair;
        m_pair = pair;
        m_former += m_current;
        m_current = 0;
        ++m_epoch;
        return former;
    }

    bool IsRegistered() const {
        const CLock lock(m_mutex);
        return m_pair.m_fn != nullptr;
    }

    // Whether another thread is inside the callback.
    bool IsBusyElsewhere() const {
        const uint32_t own = CCallbackScope::CountInSlot(this);
        const CLock lock(m_mutex);
        return m_former + m_current > own;
    }

    // Takes the pair for one call and counts it in flight; false when there is no callback. Every success is
    // matched by Release with the same epoch; CCallbackCall does both.
    bool Acquire(Pair* pair, uint64_t* epoch) {
        const CLock lock(m_mutex);
        if (m_pair.m_fn == nullptr) {
            return false;
        }
        *pair = m_pair;
        *epoch = m_epoch;
        ++m_current;
        return true;
    }

    void Release(uint64_t epoch) {
        const CLock lock(m_mutex);
        --(epoch == m_epoch ? m_current : m_former);
        m_idle.NotifyAll();
    }

    // Waits until no other thread is inside a pair that was in force before; false when that takes longer. No lock
    // may be held that the callback may want.
    bool WaitFormer(uint32_t timeoutMs) {
        const uint32_t own = CCallbackScope::CountInSlot(this);
        const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        const CLock lock(m_mutex);
        while (m_former > own) {
            if (!m_idle.WaitUntil(m_mutex, until)) {
                return m_former <= own;
            }
        }
        return true;
    }

    // Returns when no other thread is inside any pair. The same holds for locks.
    void WaitIdle() {
        const uint32_t own = CCallbackScope::CountInSlot(this);
        const CLock lock(m_mutex);
        while (m_former + m_current > own) {
            m_idle.Wait(m_mutex);
        }
    }

    // In a forked child, of a slot of its parent: no thread is inside or waits, whatever it looks like.
    void Renew() OX_NO_THREAD_SAFETY_ANALYSIS {
        ::new (&m_mutex) CMutex;
        ::new (&m_idle) CCondition; // to destroy the former one would wait for those that wait
        m_former = 0;
        m_current = 0;
    }

private:
    mutable CMutex m_mutex;
    CCondition m_idle;
    Pair m_pair OX_GUARDED_BY(m_mutex);
    uint64_t m_epoch OX_GUARDED_BY(m_mutex) = 0;   // counts the pairs
    uint32_t m_current OX_GUARDED_BY(m_mutex) = 0; // calls of the pair in force
    uint32_t m_former OX_GUARDED_BY(m_mutex) = 0;  // calls of pairs before it
};

// One call of a slot's callback, on behalf of `owner`: in flight, and the thread marked as inside, for the
// life of the object.
template <class Fn>
class CCallbackCall {
public:
    CCallbackCall(CCallbackSlot<Fn>& slot, const void* owner) : m_slot(slot), m_scope(owner, &slot) {
        m_isInFlight = slot.Acquire(&m_pair, &m_epoch);
    }
    ~CCallbackCall() {
        if (m_isInFlight) {
            m_slot.Release(m_epoch);
        }
    }
    CCallbackCall(const CCallbackCall&) = delete;
    CCallbackCall& operator=(const CCallbackCall&) = delete;

    // False: there is no callback to call.
    explicit operator bool() const { return m_isInFlight; }

    // The user pointer follows the arguments.
    template <class... Args>
    void operator()(Args... args) const {
        m_pair.m_fn(args..., m_pair.m_user);
    }

private:
    CCallbackSlot<Fn>& m_slot;
    CCallbackScope m_scope; // ends after the release: a waiting thread never sees a call that is not counted
    typename CCallbackSlot<Fn>::Pair m_pair;
    uint64_t m_epoch = 0;
    bool m_isInFlight = false;
};

} // namespace ox3d

#endif
