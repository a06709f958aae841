// ApiGuard.h - the one shape of an exported function: an exception barrier, the handle resolved, the device
// lock held (or the device kept alive without it), one manager call.
#ifndef OX3D_API_GUARD_H
#define OX3D_API_GUARD_H

#include <cstdint>

#include "base/ExceptionBarrier.h"
#include "src/Interface/HandleFactory.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

class CManager;

// How often a callback that waits looks whether somebody has begun to wait for it.
constexpr uint32_t kLookAgainMs = 2;

// Runs `call`, and turns what it throws into a status.
template <class Call>
uint32_t ApiBarrier(Call&& call) {
    return ox3d::StatusBarrier<uint32_t>(OX3D_RGBD_E_MEMORY, OX3D_RGBD_E_HANDLE, call);
}

// The device lock of a handle, held for a scope. From inside a callback of the same device it does not wait
// for a thread that in turn waits for callbacks to end: it gives up with the status of that thread's doing.
class CDeviceLock {
public:
    explicit CDeviceLock(void* handle);
    // For its opener. Nobody gets in before: somebody may be closing, by an old copy, a device that had the
    // same address.
    explicit CDeviceLock(CManager& fresh);
    ~CDeviceLock();
    CDeviceLock(const CDeviceLock&) = delete;
    CDeviceLock& operator=(const CDeviceLock&) = delete;

    // OX3D_RGBD_OK: the lock is held and the handle is live.
    uint32_t Status() const { return m_status; }
    CManager& Manager() const { return *m_manager; }
    OX_HANDLE_SIGNAL& Signal() const { return *m_signal; }
    void Leave();

private:
    uint32_t Enter(void* handle);

    COXMutex* m_mutex = nullptr;
    OX_HANDLE_SIGNAL* m_signal = nullptr;
    CManager* m_manager = nullptr;
    bool m_isHeld = false;
    uint32_t m_status;
};

// Keeps a device's manager alive for a scope without its lock: close waits for it.
class CDevicePin {
public:
    explicit CDevicePin(void* handle);
    ~CDevicePin();
    CDevicePin(const CDevicePin&) = delete;
    CDevicePin& operator=(const CDevicePin&) = delete;

    // Null where the handle is not live.
    CManager* Manager() const { return m_manager; }

    // Returns when no other thread's call is inside `signal`'s device without the lock. Newcomers must have
    // been shut out by then.
    static void WaitForOthers(OX_HANDLE_SIGNAL* signal);

private:
    OX_HANDLE_SIGNAL* m_signal = nullptr;
    CManager* m_manager = nullptr;
    const CDevicePin* m_outer = nullptr;
};

// What a device's lock holder is doing, for a scope; Keep() leaves it so.
class CDeviceState {
public:
    CDeviceState(OX_HANDLE_SIGNAL& signal, OX_HANDLE_STATE state)
        : m_signal(&signal), m_state(state), m_former(signal.m_state.exchange(state)) {}
    ~CDeviceState() {
        // Only its own state is taken back: a close that began inside stays.
        if (m_signal != nullptr) {
            m_signal->m_state.compare_exchange_strong(m_state, m_former);
        }
    }
    CDeviceState(const CDeviceState&) = delete;
    CDeviceState& operator=(const CDeviceState&) = delete;

    void Keep() { m_signal = nullptr; }

private:
    OX_HANDLE_SIGNAL* m_signal;
    uint32_t m_state;
    uint32_t m_former;
};

// call(manager) under the device lock.
template <class Call>
uint32_t LockedCall(void* handle, Call&& call) {
    const CDeviceLock lock(handle);
    return lock.Status() != OX3D_RGBD_OK ? lock.Status() : call(lock.Manager());
}

// call(manager) with the device kept alive only.
template <class Call>
uint32_t UnlockedCall(void* handle, Call&& call) {
    const CDevicePin pin(handle);
    return pin.Manager() == nullptr ? OX3D_RGBD_E_HANDLE : call(*pin.Manager());
}

#endif
