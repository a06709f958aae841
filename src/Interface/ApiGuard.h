// ApiGuard.h - the one shape of an exported function: an exception barrier, the handle resolved, the device
// lock held (or the device kept alive without it), one manager call.
#ifndef OX3D_API_GUARD_H
#define OX3D_API_GUARD_H

#include <cstdint>

#include "base/Cancellation.h"
#include "base/ExceptionBarrier.h"
#include "src/Interface/HandleFactory.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

class CManager;

// How often a waiting callback checks whether another thread has begun to wait for it.
constexpr uint32_t kLookAgainMs = 2;

// Runs `call`, and turns what it throws into a status. The calling thread cannot be cancelled inside, but for the
// wait for a frame.
template <class Call>
uint32_t ApiBarrier(Call&& call) {
    const ox3d::CCancellationOff off;
    return ox3d::StatusBarrier<uint32_t>(OX3D_RGBD_E_MEMORY, OX3D_RGBD_E_HANDLE, call);
}

// The device lock of a handle, held for a scope. Inside a callback of the same device it does not wait for a
// thread that in turn waits for callbacks to end: it gives up with the status for what that thread does, stop
// or close.
class CDeviceLock {
public:
    explicit CDeviceLock(void* handle);
    // For the opener, before any other thread gets in: a thread may be closing, by a stale copy of the
    // handle, a former device at the same address.
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

// Keeps a device's manager alive for a scope without its lock: close waits for the end of the scope.
class CDevicePin {
public:
    explicit CDevicePin(void* handle);
    ~CDevicePin();
    CDevicePin(const CDevicePin&) = delete;
    CDevicePin& operator=(const CDevicePin&) = delete;

    // Null where the handle is not live.
    CManager* Manager() const { return m_manager; }

    // Returns when no other thread's call is inside `signal`'s device without the lock. The device must be
    // marked closing, so that no new call gets in.
    static void WaitForOthers(OX_HANDLE_SIGNAL* signal);

private:
    OX_HANDLE_SIGNAL* m_signal = nullptr;
    CManager* m_manager = nullptr;
    const CDevicePin* m_outer = nullptr;
};

// The state of a device while the holder of its lock stops or closes it, for a scope; Keep() makes it last.
class CDeviceState {
public:
    CDeviceState(OX_HANDLE_SIGNAL& signal, EHandleState state)
        : m_signal(&signal), m_state(state), m_former(signal.m_state.exchange(state)) {}
    ~CDeviceState() {
        // Restores the former state unless a close began inside.
        if (m_signal != nullptr) {
            m_signal->m_state.compare_exchange_strong(m_state, m_former);
        }
    }
    CDeviceState(const CDeviceState&) = delete;
    CDeviceState& operator=(const CDeviceState&) = delete;

    void Keep() { m_signal = nullptr; }

private:
    OX_HANDLE_SIGNAL* m_signal;
    EHandleState m_state;
    EHandleState m_former;
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
