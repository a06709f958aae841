// CallbackSlot.h - one application callback: function and user pointer published together, calls in flight
// counted, so that a caller that takes a callback away knows when nobody is inside it any more.
#ifndef OX3D_CALLBACK_SLOT_H
#define OX3D_CALLBACK_SLOT_H

#include <condition_variable>
#include <cstdint>
#include <mutex>

// Marks the calling thread as being inside a callback on behalf of `owner` (a manager) through `slot`, for
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
    void Publish(Fn fn, void* user) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_fn = fn;
        m_user = user;
    }

    bool IsRegistered() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_fn != nullptr;
    }

    // Whether another thread is inside the callback.
    bool IsBusyElsewhere() const {
        const uint32_t own = CCallbackScope::CountInSlot(this);
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_inFlight > own;
    }

    // Takes the pair for one call and counts it in flight; false when there is no callback. Every success is
    // matched by Release; CCallbackCall does both.
    bool Acquire(Fn* fn, void** user) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_fn == nullptr) {
            return false;
        }
        *fn = m_fn;
        *user = m_user;
        ++m_inFlight;
        return true;
    }

    void Release() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        --m_inFlight;
        m_idle.notify_all();
    }

    // Returns when no other thread is inside the callback. Must not be called with a lock held that the
    // callback may want.
    void WaitIdle() {
        const uint32_t own = CCallbackScope::CountInSlot(this);
        std::unique_lock<std::mutex> lock(m_mutex);
        m_idle.wait(lock, [this, own] { return m_inFlight <= own; });
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_idle;
    Fn m_fn = nullptr;
    void* m_user = nullptr;
    uint32_t m_inFlight = 0;
};

// One call of a slot's callback, on behalf of `owner`: in flight, and the thread marked as inside, for the
// life of the object.
template <class Fn>
class CCallbackCall {
public:
    CCallbackCall(CCallbackSlot<Fn>& slot, const void* owner) : m_slot(slot), m_scope(owner, &slot) {
        m_isInFlight = slot.Acquire(&m_fn, &m_user);
    }
    ~CCallbackCall() {
        if (m_isInFlight) {
            m_slot.Release();
        }
    }
    CCallbackCall(const CCallbackCall&) = delete;
    CCallbackCall& operator=(const CCallbackCall&) = delete;

    // False: there is no callback to call.
    explicit operator bool() const { return m_isInFlight; }

    template <class Record>
    void operator()(Record* record) const {
        m_fn(record, m_user);
    }

private:
    CCallbackSlot<Fn>& m_slot;
    CCallbackScope m_scope; // ends after the release: a waiter never sees a call that is not counted
    Fn m_fn = nullptr;
    void* m_user = nullptr;
    bool m_isInFlight = false;
};

#endif
