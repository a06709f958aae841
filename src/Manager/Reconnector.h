// Reconnector.h - a device that was lost and is looked for: the state that calls ask, and the thread that looks.
// There is a thread only where the application has asked for it.
#ifndef OX3D_RECONNECTOR_H
#define OX3D_RECONNECTOR_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

#include "base/Mutex.h"
#include "src/Common/Thread.h"

class CReconnector {
public:
    // What the thread does with the device; all are called on it, without a lock.
    struct Device {
        std::function<void()> m_letGo;                    // close what is left of it
        std::function<bool()> m_reopen;                   // one attempt; true: it is as it was
        std::function<void(uint32_t exceptionId)> m_tell; // the application
    };
    // In the order in which it happens.
    enum class EState : uint32_t {
        Connected,
        Lost,    // looked for
        GivenUp, // the application wants it no more
    };

    explicit CReconnector(Device device) : m_device(std::move(device)) {}
    ~CReconnector() { Close(); }
    CReconnector(const CReconnector&) = delete;
    CReconnector& operator=(const CReconnector&) = delete;

    // A status; without memory or a thread it stays off.
    uint32_t Switch(bool isOn);
    bool IsOn() const { return m_isOn; }

    // From the camera-control library's thread. True: the device will be looked for, and the application hears of it
    // from here.
    bool NoteLoss();
    bool IsLost() const { return m_state != EState::Connected; }
    // False: the attempt that is under way is in vain, since the device is lost again or no longer wanted.
    bool IsAttemptWanted();
    // True once the device is back; false when the time is over. Nothing may be looking for it: the wait then takes its
    // time all the same, up to a second, so that an application that polls does not spin.
    bool WaitUntilBack(std::chrono::steady_clock::time_point until);

    // Ends the thread, after an attempt or a callback that is under way. Not on the thread itself.
    void Close();
    // In a forked child, which has no such thread.
    void Renew();

private:
    static void* Run(void* self);
    void Look();
    void LookForDevice();
    EState PauseAfterAttempt();

    const Device m_device;
    std::atomic<bool> m_isOn{false};
    std::atomic<EState> m_state{EState::Connected};
    ox3d::CMutex m_mutex;
    ox3d::CCondition m_changed;
    bool m_isClosing OX_GUARDED_BY(m_mutex) = false;
    bool m_isLossNew OX_GUARDED_BY(m_mutex) = false;
    OX_THREAD_HANDLE m_thread OX_GUARDED_BY(m_mutex) = nullptr;
};

#endif
