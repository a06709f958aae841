// ApiGuard.cpp - see ApiGuard.h.
//
// Why close never races with the unlocked calls: a call counts itself in and then looks whether the device is
// closing; close first marks it closing and then looks whether anybody is counted in. Both in sequential
// consistency, so at least one of the two sees the other. A record that is not closing may have been given to
// another device since it was looked up, and keeps that one alive: so whose record it is comes last, and not
// the other way round, where the state seen could be that of the record's next device.
#include "src/Interface/ApiGuard.h"

#include <time.h>

#include "base/CallbackSlot.h"
#include "src/Manager/Manager.h"

namespace {

thread_local const CDevicePin* t_innermostPin = nullptr;

} // namespace

CDeviceLock::CDeviceLock(void* handle) : m_status(Enter(handle)) {}

CDeviceLock::CDeviceLock(CManager& fresh) OX_NO_THREAD_SAFETY_ANALYSIS
    : m_mutex(CMyHandleFactory::GetFactory()->GetHandleMutex(&fresh)),
      m_signal(CMyHandleFactory::GetFactory()->GetHandleSignal(&fresh)),
      m_manager(&fresh),
      m_status(OX3D_RGBD_OK) {
    m_mutex->Lock();
    m_isHeld = true;
    m_signal->m_state = OX_HANDLE_LIVE;
}

CDeviceLock::~CDeviceLock() {
    Leave();
}

void CDeviceLock::Leave() OX_NO_THREAD_SAFETY_ANALYSIS {
    if (m_isHeld) {
        m_isHeld = false;
        m_mutex->Unlock();
    }
}

uint32_t CDeviceLock::Enter(void* handle) OX_NO_THREAD_SAFETY_ANALYSIS {
    const CMyHandleFactory* factory = handle != nullptr ? CMyHandleFactory::GetFactory() : nullptr;
    if (factory == nullptr) {
        return OX3D_RGBD_E_HANDLE;
    }
    m_mutex = factory->GetHandleMutex(handle);
    m_signal = factory->GetHandleSignal(handle);
    if (m_mutex == nullptr || m_signal == nullptr) {
        return OX3D_RGBD_E_HANDLE;
    }
    if (ox3d::CCallbackScope::IsInsideOwner(handle)) {
        while (!m_mutex->LockFor(kLookAgainMs)) {
            const uint32_t state = m_signal->m_state;
            if (state != OX_HANDLE_LIVE) {
                return state == OX_HANDLE_STOPPING ? OX3D_RGBD_E_STATE : OX3D_RGBD_E_HANDLE;
            }
        }
    } else {
        m_mutex->Lock();
    }
    m_isHeld = true;
    const bool isSame =
        factory->GetMutexHandle(m_mutex) == handle && factory->GetSignalHandle(m_signal) == handle;
    if (!isSame || m_signal->m_state == OX_HANDLE_CLOSING) {
        Leave();
        return OX3D_RGBD_E_HANDLE;
    }
    m_manager = static_cast<CManager*>(handle);
    return OX3D_RGBD_OK;
}

CDevicePin::CDevicePin(void* handle) {
    const CMyHandleFactory* factory = handle != nullptr ? CMyHandleFactory::GetFactory() : nullptr;
    OX_HANDLE_SIGNAL* signal = factory != nullptr ? factory->GetHandleSignal(handle) : nullptr;
    if (signal == nullptr) {
        return;
    }
    ++signal->m_inside;
    if (signal->m_state == OX_HANDLE_CLOSING || factory->GetSignalHandle(signal) != handle) {
        --signal->m_inside;
        return;
    }
    m_signal = signal;
    m_manager = static_cast<CManager*>(handle);
    m_outer = t_innermostPin;
    t_innermostPin = this;
}

CDevicePin::~CDevicePin() {
    if (m_signal != nullptr) {
        t_innermostPin = m_outer;
        --m_signal->m_inside;
    }
}

void CDevicePin::WaitForOthers(OX_HANDLE_SIGNAL* signal) {
    uint32_t own = 0;
    for (const CDevicePin* pin = t_innermostPin; pin != nullptr; pin = pin->m_outer) {
        own += pin->m_signal == signal ? 1 : 0;
    }
    // Calls inside end by themselves; a short sleep costs a close nothing that its camera would not.
    constexpr timespec kPause = {0, 1000000};
    while (signal->m_inside > own) {
        nanosleep(&kPause, nullptr);
    }
}
