// Ox3dRgbdExtension.cpp - the exported functions beyond the first interface. Arguments are looked at before the handle,
// and nothing is logged of a handle.
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include "src/Common/AsyncLog.h"
#include "src/Interface/ApiGuard.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Interface/Ox3dRgbdExtension";

uint32_t RefuseArguments(const char* function) {
    OX_LOG_ERROR("[%s] param error.\r\n", function);
    return OX3D_RGBD_E_PARAMETER;
}

bool IsCamera(uint32_t camera) {
    return camera == OX3D_RGBD_CAMERA_DEPTH || camera == OX3D_RGBD_CAMERA_COLOR;
}

} // namespace

uint32_t OX3D_RGBD_GetFeatures(void* handle, const char* strName, OX3D_RGBD_FEATURE* pstFeatures,
                               uint32_t nCapacity, uint32_t* pnCount) {
    return ApiBarrier([&] {
        if (pnCount == nullptr || (pstFeatures == nullptr && nCapacity != 0)) {
            return RefuseArguments("OX3D_RGBD_GetFeatures");
        }
        return UnlockedCall(
            handle, [&](CManager& m) { return m.GetFeatures(strName, pstFeatures, nCapacity, pnCount); });
    });
}

uint32_t OX3D_RGBD_GetFeatureEntries(void* handle, const char* strName, OX3D_RGBD_FEATURE_ENTRY* pstEntries,
                                     uint32_t nCapacity, uint32_t* pnCount) {
    return ApiBarrier([&] {
        if (strName == nullptr || pnCount == nullptr || (pstEntries == nullptr && nCapacity != 0)) {
            return RefuseArguments("OX3D_RGBD_GetFeatureEntries");
        }
        return UnlockedCall(handle, [&](CManager& m) {
            return m.GetFeatureEntries(strName, pstEntries, nCapacity, pnCount);
        });
    });
}

uint32_t OX3D_RGBD_SetEnumByName(void* handle, const char* strName, const char* strEntry) {
    return ApiBarrier([&] {
        if (strName == nullptr || strEntry == nullptr) {
            return RefuseArguments("OX3D_RGBD_SetEnumByName");
        }
        return LockedCall(handle, [&](CManager& m) { return m.SetEnumByName(strName, strEntry); });
    });
}

uint32_t OX3D_RGBD_CopyFrame(void* handle, const OX3D_RGBD_FRAME_DATA* pFrame,
                             OX3D_RGBD_FRAME_DATA** ppCopy) {
    return ApiBarrier([&] {
        if (pFrame == nullptr || ppCopy == nullptr) {
            return RefuseArguments("OX3D_RGBD_CopyFrame");
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.CopyFrame(*pFrame, ppCopy); });
    });
}

uint32_t OX3D_RGBD_TakeFrame(void* handle, OX3D_RGBD_FRAME_DATA* pFrame, OX3D_RGBD_FRAME_DATA** ppTaken) {
    return ApiBarrier([&] {
        if (pFrame == nullptr || ppTaken == nullptr) {
            return RefuseArguments("OX3D_RGBD_TakeFrame");
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.TakeFrame(pFrame, ppTaken); });
    });
}

uint32_t OX3D_RGBD_FreeFrame(OX3D_RGBD_FRAME_DATA* pCopy) {
    return ApiBarrier([&] {
        return CFrameCopies::Shared().Free(pCopy) ? OX3D_RGBD_OK : RefuseArguments("OX3D_RGBD_FreeFrame");
    });
}

uint32_t OX3D_RGBD_GetFrameClock(void* handle, OX3D_RGBD_FRAME_CLOCK* pClock) {
    return ApiBarrier([&] {
        if (pClock == nullptr) {
            return RefuseArguments("OX3D_RGBD_GetFrameClock");
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.GetFrameClock(pClock); });
    });
}

uint32_t OX3D_RGBD_GetFrameTimes(void* handle, const OX3D_RGBD_FRAME_DATA* pFrame,
                                 OX3D_RGBD_FRAME_TIMES* pTimes) {
    return ApiBarrier([&] {
        if (pFrame == nullptr || pTimes == nullptr) {
            return RefuseArguments("OX3D_RGBD_GetFrameTimes");
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.GetFrameTimes(*pFrame, pTimes); });
    });
}

uint32_t OX3D_RGBD_GetExtrinsics(void* handle, uint32_t nFrom, uint32_t nTo,
                                 OX3D_RGBD_EXTRINSICS* pExtrinsics) {
    return ApiBarrier([&] {
        if (pExtrinsics == nullptr || !IsCamera(nFrom) || !IsCamera(nTo)) {
            return RefuseArguments("OX3D_RGBD_GetExtrinsics");
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.GetExtrinsics(nFrom, nTo, pExtrinsics); });
    });
}

uint32_t OX3D_RGBD_GetIntrinsics(void* handle, uint32_t nStream, OX3D_RGBD_INTRINSICS* pIntrinsics) {
    return ApiBarrier([&] {
        if (pIntrinsics == nullptr || !IsCamera(nStream)) {
            return RefuseArguments("OX3D_RGBD_GetIntrinsics");
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.GetIntrinsics(nStream, pIntrinsics); });
    });
}

uint32_t OX3D_RGBD_ExportSystemCalibration(void* handle, const char* strFileName) {
    return ApiBarrier([&] {
        if (strFileName == nullptr) {
            return RefuseArguments("OX3D_RGBD_ExportSystemCalibration");
        }
        return LockedCall(handle, [&](CManager& m) { return m.CalibFileExport(strFileName, nullptr); });
    });
}

uint32_t OX3D_RGBD_ImportSystemCalibration(void* handle, const char* strFileName) {
    return ApiBarrier([&] {
        if (strFileName == nullptr) {
            return RefuseArguments("OX3D_RGBD_ImportSystemCalibration");
        }
        return LockedCall(handle, [&](CManager& m) { return m.CalibFileImport(strFileName, nullptr); });
    });
}

uint32_t OX3D_RGBD_MapFrameToPointCloud(void* handle, const OX3D_RGBD_FRAME_DATA* pFrame,
                                        const OX3D_RGBD_CLOUD_OPTIONS* pOptions, OX3D_RGBD_CLOUD* pCloud) {
    return ApiBarrier([&] {
        if (pFrame == nullptr || pOptions == nullptr || pCloud == nullptr ||
            !CFrameCloud::AreOptions(*pOptions)) {
            return RefuseArguments("OX3D_RGBD_MapFrameToPointCloud");
        }
        return UnlockedCall(handle, [&](CManager& m) { return m.MapFrame(*pFrame, *pOptions, pCloud); });
    });
}
