// Reconnector.cpp - see Reconnector.h.
#include "src/Manager/Reconnector.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/ExceptionBarrier.h"
#include "base/SignalMask.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace {

// Long beside the attempt of a camera that is not there, short beside the seconds that one takes to start.
constexpr std::chrono::milliseconds kBetweenAttempts{500};
constexpr std::chrono::seconds kLongestVainWait{1};

} // namespace

uint32_t CReconnector::Switch(bool isOn) {
    const ox3d::CLock lock(m_mutex);
    if (isOn && m_thread == nullptr) {
        const ox3d::CSignalsBlocked blocked;
        m_isClosing = false;
        m_thread = OX_CreateThread(nullptr, &CReconnector::Run, this);
        if (m_thread == nullptr) {
            return OX3D_RGBD_E_MEMORY;
        }
    }
    m_isOn = isOn;
    m_changed.NotifyAll();
    return OX3D_RGBD_OK;
}

bool CReconnector::NoteLoss() {
    const ox3d::CLock lock(m_mutex);
    if (!m_isOn || m_isClosing) {
        return false;
    }
    m_isLossNew = true;
    m_state = EState::Lost;
    m_changed.NotifyAll();
    return true;
}

bool CReconnector::IsAttemptWanted() {
    const ox3d::CLock lock(m_mutex);
    return !m_isClosing && m_isOn && !m_isLossNew;
}

bool CReconnector::WaitUntilBack(std::chrono::steady_clock::time_point until) {
    const auto longest = std::chrono::steady_clock::now() + kLongestVainWait;
    const ox3d::CLock lock(m_mutex);
    for (bool isTimeLeft = true; isTimeLeft && m_state != EState::Connected && !m_isClosing;) {
        isTimeLeft = m_changed.WaitUntil(m_mutex, m_state == EState::Lost ? until : std::min(until, longest));
    }
    return m_state == EState::Connected;
}

void CReconnector::Close() {
    OX_THREAD_HANDLE thread = nullptr;
    {
        const ox3d::CLock lock(m_mutex);
        m_isClosing = true;
        m_isOn = false;
        m_changed.NotifyAll();
        std::swap(thread, m_thread);
    }
    OX_WaitForThreadEnd(thread);
    OX_DestroyThread(thread);
}

void CReconnector::Renew() OX_NO_THREAD_SAFETY_ANALYSIS {
    ::new (&m_mutex) ox3d::CMutex;
    ::new (&m_changed) ox3d::CCondition;
    OX_DestroyThread(m_thread);
    m_thread = nullptr;
    m_isOn = false;
}

void* CReconnector::Run(void* self) {
    static_cast<CReconnector*>(self)->Look();
    return nullptr;
}

void CReconnector::Look() {
    for (;;) {
        {
            const ox3d::CLock lock(m_mutex);
            while (!m_isClosing && m_state != EState::Lost) {
                m_changed.Wait(m_mutex);
            }
            if (m_isClosing) {
                return;
            }
        }
        LookForDevice();
    }
}

void CReconnector::LookForDevice() {
    m_device.m_tell(OX3D_RGBD_EXCEPTION_RETRYING);
    EState outcome = EState::Lost;
    while (outcome == EState::Lost) {
        m_device.m_letGo();
        {
            const ox3d::CLock lock(m_mutex);
            m_isLossNew = false; // the lost device can no more say so
        }
        const bool isBack =
            ox3d::ExceptionBarrier(m_device.m_reopen, [](const std::exception*) { return false; });
        {
            const ox3d::CLock lock(m_mutex);
            if (isBack && !m_isLossNew) {
                m_state = EState::Connected;
                m_changed.NotifyAll();
            }
            outcome = m_state;
        }
        if (outcome == EState::Lost) {
            outcome = PauseAfterAttempt();
        }
        const ox3d::CLock lock(m_mutex);
        if (m_isClosing) {
            return;
        }
    }
    m_device.m_tell(outcome == EState::Connected ? OX3D_RGBD_EXCEPTION_RECONNECTED
                                                 : OX3D_RGBD_EXCEPTION_OFFLINE);
}

// What holds when the next attempt is due.
CReconnector::EState CReconnector::PauseAfterAttempt() {
    const auto until = std::chrono::steady_clock::now() + kBetweenAttempts;
    const ox3d::CLock lock(m_mutex);
    for (bool isTimeLeft = true; isTimeLeft && !m_isClosing && m_isOn;) {
        isTimeLeft = m_changed.WaitUntil(m_mutex, until);
    }
    if (!m_isClosing && !m_isOn) {
        m_state = EState::GivenUp;
        m_changed.NotifyAll();
    }
    return m_state;
}
