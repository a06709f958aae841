// ApiGuard.cpp - see ApiGuard.h.
//
// Close never races with the unlocked calls: a call counts itself in and then checks whether the device is
// closing; close marks the device closing and then checks whether a call is counted in. With sequential
// consistency at least one of the two sees the other. A signal record may have passed to another device since
// its look-up, and then the count keeps that device alive; so a call compares the record's handle after the
// state. In the other order the state could be that of the record's next device.
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
    m_signal->m_state = EHandleState::Live;
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
    if (m_mutex == nullptr || m_signal == nullptr || factory->IsInherited(handle)) {
        return OX3D_RGBD_E_HANDLE;
    }
    if (ox3d::CCallbackScope::IsInsideOwner(handle)) {
        while (!m_mutex->LockFor(kLookAgainMs)) {
            const EHandleState state = m_signal->m_state;
            if (state != EHandleState::Live) {
                return state == EHandleState::Stopping ? OX3D_RGBD_E_STATE : OX3D_RGBD_E_HANDLE;
            }
        }
    } else {
        m_mutex->Lock();
    }
    m_isHeld = true;
    const bool isSame =
        factory->GetMutexHandle(m_mutex) == handle && factory->GetSignalHandle(m_signal) == handle;
    if (!isSame || m_signal->m_state == EHandleState::Closing) {
        Leave();
        return OX3D_RGBD_E_HANDLE;
    }
    m_manager = static_cast<CManager*>(handle);
    return OX3D_RGBD_OK;
}

CDevicePin::CDevicePin(void* handle) {
    const CMyHandleFactory* factory = handle != nullptr ? CMyHandleFactory::GetFactory() : nullptr;
    OX_HANDLE_SIGNAL* signal = factory != nullptr ? factory->GetHandleSignal(handle) : nullptr;
    if (signal == nullptr || factory->IsInherited(handle)) {
        return;
    }
    ++signal->m_inside;
    if (signal->m_state == EHandleState::Closing || factory->GetSignalHandle(signal) != handle) {
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
    // Calls inside end by themselves; a short sleep is little beside the time that a camera takes to close.
    constexpr timespec kPause = {0, 1000000};
    while (signal->m_inside > own) {
        nanosleep(&kPause, nullptr);
    }
}
