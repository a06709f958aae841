// Ox3dRgbdApi.cpp - the exported functions that work on a device through its handle, and those that need
// none. Opening and closing are in Ox3dRgbdOpen.cpp.
//
// Argument checks stand in the order that callers can observe: some functions look at the handle first, some
// at their arguments.
#include <ox3drgbd/Ox3dRgbdApi.h>

#include "base/CallbackSlot.h"
#include "src/Common/AsyncLog.h"
#include "src/Interface/ApiGuard.h"
#include "src/Interface/ApiLog.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = kApiLogSource;
constexpr OX3D_RGBD_VERSION_INFO kVersion = {OX3D_RGBD_VERSION_MAJOR, OX3D_RGBD_VERSION_MINOR,
                                             OX3D_RGBD_VERSION_REVISION};

bool IsDeviceType(uint32_t type) {
    return type >= OX3D_RGBD_DEVICE_ETHERNET && type <= OX3D_RGBD_DEVICE_ALL;
}

// Runs call(manager) on the manager that all functions without a handle share, the enumeration lock held.
template <class Call>
uint32_t EnumerationCall(Call&& call) {
    const COXLock lock(&CManager::EnumerationLock());
    CManager* shared = CManager::Shared();
    return shared == nullptr ? OX3D_RGBD_E_MEMORY : call(*shared);
}

// Registers a callback under the device lock, leaves the lock, and waits until a call of the former callback
// has ended: that call may itself be waiting for the lock. Inside another callback of the device it gives up
// when that call in turn, or a stop or close, waits for this one.
template <class Register, class Wait>
uint32_t RegisterCallback(void* handle, Register&& registerCall, Wait&& wait) {
    CDeviceLock lock(handle);
    if (lock.Status() != OX3D_RGBD_OK) {
        return lock.Status();
    }
    const uint32_t status = registerCall(lock.Manager());
    const CDevicePin pin(handle); // under the lock, so that close cannot be waiting for it yet
    OX_HANDLE_SIGNAL& signal = lock.Signal();
    lock.Leave();
    if (pin.Manager() == nullptr) {
        return status;
    }
    const bool isInside = ox3d::CCallbackScope::IsInsideOwner(handle);
    const bool isAwaited = isInside && signal.m_waiting++ != 0;
    while (!isAwaited && !wait(*pin.Manager(), kLookAgainMs) &&
           !(isInside && signal.m_state != EHandleState::Live)) {
    }
    signal.m_waiting -= isInside ? 1 : 0;
    return status;
}

} // namespace

uint32_t OX3D_RGBD_Initialize(void) {
    return OX3D_RGBD_OK;
}

uint32_t OX3D_RGBD_Release(void) {
    return OX3D_RGBD_OK;
}

uint32_t OX3D_RGBD_GetSDKVersion(OX3D_RGBD_VERSION_INFO* pstVersion) {
    return ApiBarrier([&] {
        if (pstVersion == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_GetSDKVersion] stVersion is null.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        *pstVersion = kVersion;
        return OX3D_RGBD_OK;
    });
}

uint32_t OX3D_RGBD_GetDeviceNumber(uint32_t nDeviceType, uint32_t* pDeviceNumber) {
    return ApiBarrier([&] {
        CManager::Shared(); // first, so that the checks' own lines reach the log
        if (pDeviceNumber == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_GetDeviceNumber] pDeviceNumber is null.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        if (!IsDeviceType(nDeviceType)) {
            return OX3D_RGBD_E_PARAMETER;
        }
        return EnumerationCall([&](CManager& m) { return m.CamGetDeviceNumber(nDeviceType, pDeviceNumber); });
    });
}

uint32_t OX3D_RGBD_GetDeviceList(uint32_t nDeviceType, OX3D_RGBD_DEVICE_INFO* pstDeviceList,
                                 uint32_t nCapacity, uint32_t* pDeviceNumber) {
    return ApiBarrier([&] {
        CManager::Shared();
        if (pstDeviceList == nullptr || nCapacity == 0 || pDeviceNumber == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_GetDeviceList] param error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        if (!IsDeviceType(nDeviceType)) {
            return OX3D_RGBD_E_PARAMETER;
        }
        return EnumerationCall([&](CManager& m) {
            return m.GetDeviceList(nDeviceType, pstDeviceList, nCapacity, pDeviceNumber);
        });
    });
}

uint32_t OX3D_RGBD_CamIsAccessible(OX3D_RGBD_DEVICE_INFO* pstDeviceInfo, uint32_t nAccessMode) {
    return ApiBarrier([&] {
        if (pstDeviceInfo == nullptr) {
            return OX3D_RGBD_E_HANDLE; // not E_PARAMETER: preserved for compatibility
        }
        CManager::Shared();
        return CManager::CamIsAccessible(pstDeviceInfo, nAccessMode);
    });
}

uint32_t OX3D_RGBD_GetDeviceInfo(void* handle, OX3D_RGBD_DEVICE_INFO* pstDeviceInfo) {
    return ApiBarrier([&] {
        if (pstDeviceInfo == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_GetDeviceInfo] param error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_GetDeviceInfo]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return LockedCall(handle, [&](CManager& m) { return m.CamGetDeviceInfo(pstDeviceInfo); });
    });
}

uint32_t OX3D_RGBD_Start(void* handle) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_Start]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return LockedCall(handle, [](CManager& m) { return m.Start(); });
    });
}

uint32_t OX3D_RGBD_Stop(void* handle) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_Stop]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        const CDeviceLock lock(handle);
        if (lock.Status() != OX3D_RGBD_OK) {
            return lock.Status();
        }
        const CDeviceState stopping(lock.Signal(), EHandleState::Stopping);
        return lock.Manager().Stop();
    });
}

uint32_t OX3D_RGBD_FetchFrame(void* handle, OX3D_RGBD_FRAME_DATA* pstFrame, uint32_t nTimeoutMs) {
    return ApiBarrier([&] {
        if (pstFrame == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_FetchFrame] param error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_FetchFrame]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return LockedCall(handle, [&](CManager& m) { return m.FetchFrame(pstFrame, nTimeoutMs); });
    });
}

uint32_t OX3D_RGBD_RegisterFrameCallBack(void* handle, OX3D_RGBD_FrameDataCallBack pfnCallBack, void* pUser) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_RegisterFrameCallBack]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return RegisterCallback(
            handle, [&](CManager& m) { return m.RegisterFrameCallBack(pfnCallBack, pUser); },
            [](CManager& m, uint32_t ms) { return m.WaitForFormerFrameCallback(ms); });
    });
}

uint32_t OX3D_RGBD_RegisterExceptionCallBack(void* handle, OX3D_RGBD_ExceptionCallBack pfnCallBack,
                                             void* pUser) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_RegisterExceptionCallBack]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return RegisterCallback(
            handle, [&](CManager& m) { return m.RegisterExceptionCB(pfnCallBack, pUser); },
            [](CManager& m, uint32_t ms) { return m.WaitForFormerExceptionCallback(ms); });
    });
}

uint32_t OX3D_RGBD_SoftTrigger(void* handle) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_SoftTrigger]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return UnlockedCall(handle, [](CManager& m) { return m.CamSetCommandValue("TriggerSoftware"); });
    });
}

uint32_t OX3D_RGBD_Execute(void* handle, const char* strKey) {
    return ApiBarrier([&] {
        if (strKey == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_Execute] param error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_Execute]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.CamSetCommandValue(strKey); });
    });
}

uint32_t OX3D_RGBD_GetParam(void* handle, const char* strKey, OX3D_RGBD_PARAM* pstValue) {
    return ApiBarrier([&] {
        if (strKey == nullptr || pstValue == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_GetValue] param error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_GetValue]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.CamGetValue(strKey, pstValue); });
    });
}

uint32_t OX3D_RGBD_SetParam(void* handle, const char* strKey, OX3D_RGBD_PARAM* pstValue) {
    return ApiBarrier([&] {
        if (strKey == nullptr || pstValue == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_SetValue] param error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_SetValue]handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return LockedCall(handle, [&](CManager& m) { return m.CamSetValue(strKey, pstValue); });
    });
}

uint32_t OX3D_RGBD_GetCalibInfo(void* handle, uint32_t nCalibType, OX3D_RGBD_CALIB_INFO* pstCalib) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_GetCalibInfo] handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        if (pstCalib == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_GetCalibInfo] param:pstCalibInfo error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.GetCalibInfo(nCalibType, pstCalib); });
    });
}

uint32_t OX3D_RGBD_ExportAllParam(void* handle, const char* strFileName) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_PropertyExport] handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        if (strFileName == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_PropertyExport] param:pOutFileName error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        return LockedCall(handle, [&](CManager& m) { return m.PropertyExport(strFileName); });
    });
}

uint32_t OX3D_RGBD_ImportAllParam(void* handle, const char* strFileName) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_PropertyImport] handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        if (strFileName == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_PropertyImport] param:pInFileName error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        return LockedCall(handle, [&](CManager& m) { return m.PropertyImport(strFileName); });
    });
}

uint32_t OX3D_RGBD_LocalUpgrade(void* handle, const char* strFileName) {
    return ApiBarrier([&] {
        if (strFileName == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_LocalUpgrade] param error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_LocalUpgrade] handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return LockedCall(handle, [&](CManager& m) { return m.LocalUpgrade(strFileName); });
    });
}

uint32_t OX3D_RGBD_GetUpgradeProcess(void* handle, uint32_t* pnPercent) {
    return ApiBarrier([&] {
        if (pnPercent == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_GetUpgradeProcess] param error.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        if (handle == nullptr) {
            OX_LOG_ERROR(" [OX3D_RGBD_GetUpgradeProcess] handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        return LockedCall(handle, [&](CManager& m) { return m.GetUpgradeProcess(pnPercent); });
    });
}

// The functions below check nothing but the handle and write no line of their own.

uint32_t OX3D_RGBD_GetCameraXML(void* handle, uint8_t* pData, uint32_t nDataSize, uint32_t* pnDataLen) {
    return ApiBarrier([&] {
        return LockedCall(handle, [&](CManager& m) { return m.GetCameraXML(pData, nDataSize, pnDataLen); });
    });
}

uint32_t OX3D_RGBD_XML_GetNodeAccessMode(void* handle, const char* strName, Ox3dRgbdAccessMode* pAccessMode) {
    return ApiBarrier([&] {
        return LockedCall(handle, [&](CManager& m) { return m.XML_GetNodeAccessMode(strName, pAccessMode); });
    });
}

uint32_t OX3D_RGBD_SetImageNodeNum(void* handle, uint32_t nCount) {
    return ApiBarrier(
        [&] { return LockedCall(handle, [&](CManager& m) { return m.SetImageNodeNum(nCount); }); });
}

uint32_t OX3D_RGBD_InvalidateNodes(void* handle) {
    return ApiBarrier([&] { return LockedCall(handle, [](CManager& m) { return m.InvalidateNodes(); }); });
}

uint32_t OX3D_RGBD_ReadAddressMem(void* handle, void* pBuffer, int64_t nAddress, int64_t nLength) {
    return ApiBarrier([&] {
        return LockedCall(handle, [&](CManager& m) { return m.ReadAddressMem(pBuffer, nAddress, nLength); });
    });
}

uint32_t OX3D_RGBD_WriteAddressMem(void* handle, const void* pBuffer, int64_t nAddress, int64_t nLength) {
    return ApiBarrier([&] {
        return LockedCall(handle, [&](CManager& m) { return m.WriteAddressMem(pBuffer, nAddress, nLength); });
    });
}

uint32_t OX3D_RGBD_FileAccessRead(void* handle, OX3D_RGBD_FILE_ACCESS* pstFileAccess) {
    return ApiBarrier(
        [&] { return LockedCall(handle, [&](CManager& m) { return m.FileAccessRead(pstFileAccess); }); });
}

uint32_t OX3D_RGBD_FileAccessWrite(void* handle, OX3D_RGBD_FILE_ACCESS* pstFileAccess) {
    return ApiBarrier(
        [&] { return LockedCall(handle, [&](CManager& m) { return m.FileAccessWrite(pstFileAccess); }); });
}

uint32_t OX3D_RGBD_SetGvcpTimeout(void* handle, uint32_t nMilliseconds) {
    return ApiBarrier(
        [&] { return LockedCall(handle, [&](CManager& m) { return m.SetGvcpTimeout(nMilliseconds); }); });
}

uint32_t OX3D_RGBD_GetGvcpTimeout(void* handle, uint32_t* pnMilliseconds) {
    return ApiBarrier(
        [&] { return LockedCall(handle, [&](CManager& m) { return m.GetGvcpTimeout(pnMilliseconds); }); });
}
