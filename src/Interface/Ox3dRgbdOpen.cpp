// Ox3dRgbdOpen.cpp - the life of handles: the four opens, close, and the IP configuration, which works on a
// handle of its own.
#include <utility>

#include "base/SignalMask.h"
#include "src/Common/AsyncLog.h"
#include "src/Interface/ApiGuard.h"
#include "src/Interface/ApiLog.h"
#include "src/Manager/Manager.h"
#include <ox3drgbd/Ox3dRgbdApi.h>

namespace {

constexpr const char* kLogSource = kApiLogSource;
// The log ends with the last device, and drops what it has not written: not the reason why that one was not opened.
constexpr uint32_t kLogWaitMs = 50;

// Ends a device whose lock the caller holds: refuses new calls and waits for those inside without the lock.
// The camera is closed before the registry lock is taken, so that a slow camera does not delay the opening of
// other devices.
uint32_t RetireDevice(const CDeviceLock& lock) {
    CDeviceState closing(lock.Signal(), EHandleState::Closing);
    CDevicePin::WaitForOthers(&lock.Signal());
    const uint32_t status = lock.Manager().DeInit();
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    closing.Keep();
    CMyHandleFactory::GetFactory()->DestroyHandle(&lock.Manager());
    return OX3D_RGBD_OK;
}

// Creates a handle and runs work(manager) under its device lock. A failure destroys the handle, and so does a
// success unless isKept.
template <class Work>
uint32_t WithNewHandle(bool isKept, Work&& work) {
    CMyHandleFactory* factory = CMyHandleFactory::CreateFactory();
    if (factory == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    CManager* manager = factory->CreateHandle();
    if (manager == nullptr) {
        return OX3D_RGBD_E_HANDLE;
    }
    const CDeviceLock lock(*manager);
    uint32_t status = ApiBarrier([&] {
        const uint32_t initStatus = manager->Init();
        return initStatus != OX3D_RGBD_OK ? initStatus : work(*manager);
    });
    if (status != OX3D_RGBD_OK) {
        OxLog_WaitUntilWritten(kLogWaitMs);
    }
    if (status != OX3D_RGBD_OK || !isKept) {
        const uint32_t retireStatus = RetireDevice(lock);
        if (status == OX3D_RGBD_OK && retireStatus != OX3D_RGBD_OK) {
            status = OX3D_RGBD_E_HANDLE;
        }
    }
    return status;
}

template <class Bind>
uint32_t Open(void** handle, Bind&& bind) {
    return WithNewHandle(true, [&](CManager& manager) {
        const uint32_t status = bind(manager);
        if (status != OX3D_RGBD_OK) {
            return status;
        }
        *handle =
            &manager; // before connecting, preserved for compatibility: a later failure leaves a dead value
        return manager.ConnectDevice();
    });
}

// The opens by a text; `function` is the name in the log lines.
uint32_t OpenByText(const char* function, void** handle, const char* text,
                    uint32_t (CManager::*bind)(const char*)) {
    return ApiBarrier([&] {
        if (text == nullptr) {
            OX_LOG_ERROR("[%s] param error.\r\n", function);
            return OX3D_RGBD_E_PARAMETER;
        }
        if (handle == nullptr) {
            OX_LOG_ERROR(" [%s] handle is null.\r\n", function);
            return OX3D_RGBD_E_HANDLE;
        }
        return Open(handle, [&](CManager& m) { return (m.*bind)(text); });
    });
}

// Close from inside a callback of the device: the camera-control library's thread cannot end before the
// callback returns, so a thread of this library waits for the return and closes then.
void* CloseBehindCallback(void* argument) {
    auto* manager = static_cast<CManager*>(argument);
    ApiBarrier([&] {
        manager->WaitForCallbacks();
        COXMutex* mutex = CMyHandleFactory::GetFactory()->GetHandleMutex(manager);
        const COXLock lock(mutex);
        CDevicePin::WaitForOthers(CMyHandleFactory::GetFactory()->GetHandleSignal(manager));
        manager->DeInit();
        CMyHandleFactory::GetFactory()->DestroyHandle(manager);
        return OX3D_RGBD_OK;
    });
    return nullptr;
}

uint32_t CloseFromCallback(const CDeviceLock& lock) {
    CDeviceState closing(lock.Signal(), EHandleState::Closing);
    const ox3d::CSignalsBlocked blocked;
    const OX_THREAD_HANDLE thread = OX_CreateThread(nullptr, &CloseBehindCallback, &lock.Manager());
    if (thread == nullptr) {
        return OX3D_RGBD_E_HANDLE;
    }
    pthread_detach(*static_cast<pthread_t*>(thread)); // no thread joins it
    OX_DestroyThread(thread);
    closing.Keep();
    // A close that has returned is followed by no further callback.
    lock.Manager().DropCallbacks();
    return OX3D_RGBD_OK;
}

} // namespace

uint32_t OX3D_RGBD_OpenDevice(void** handle, OX3D_RGBD_DEVICE_INFO* pstDeviceInfo) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_OpenDevice] handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return Open(handle, [&](CManager& m) { return m.BindDevice(pstDeviceInfo); });
    });
}

uint32_t OX3D_RGBD_OpenDeviceByIp(void** handle, const char* chIp) {
    return OpenByText("OX3D_RGBD_OpenDeviceByIp", handle, chIp, &CManager::BindDeviceByIP);
}

uint32_t OX3D_RGBD_OpenDeviceByName(void** handle, const char* chDeviceName) {
    return OpenByText("OX3D_RGBD_OpenDeviceByName", handle, chDeviceName, &CManager::BindDeviceByName);
}

uint32_t OX3D_RGBD_OpenDeviceBySerialNumber(void** handle, const char* chSerialNumber) {
    return OpenByText("OX3D_RGBD_OpenDeviceBySerialNumber", handle, chSerialNumber,
                      &CManager::BindDeviceBySerialNumber);
}

uint32_t OX3D_RGBD_CloseDevice(void** handle) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_CloseDevice]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        CMyHandleFactory* const factory = CMyHandleFactory::GetFactory();
        if (factory != nullptr && factory->DropInherited(*handle)) {
            *handle = nullptr;
            return OX3D_RGBD_OK;
        }
        const CDeviceLock lock(*handle);
        if (lock.Status() != OX3D_RGBD_OK) {
            return lock.Status();
        }
        const bool isInside = ox3d::CCallbackScope::IsInsideOwner(&lock.Manager());
        const uint32_t status = isInside ? CloseFromCallback(lock) : RetireDevice(lock);
        if (status != OX3D_RGBD_OK) {
            return OX3D_RGBD_E_HANDLE;
        }
        *handle = nullptr;
        return OX3D_RGBD_OK;
    });
}

uint32_t OX3D_RGBD_SetIpConfig(const char* chSerialNumber, OX3D_RGBD_IP_CONFIG* pstIpConfig) {
    return ApiBarrier([&] {
        if (chSerialNumber == nullptr || pstIpConfig == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_SetIpConfig]handle is null.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        return WithNewHandle(false, [&](CManager& m) {
            const uint32_t status = m.BindDeviceBySerialNumber(chSerialNumber);
            return status != OX3D_RGBD_OK ? status : m.SetIpConfig(pstIpConfig);
        });
    });
}
