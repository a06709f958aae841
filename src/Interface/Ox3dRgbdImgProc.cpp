// Ox3dRgbdImgProc.cpp - exported image processing.
#include <ox3drgbd/Ox3dRgbdImgProc.h>

#include "src/Common/AsyncLog.h"
#include "src/Interface/ApiGuard.h"
#include "src/Manager/Manager.h"

namespace {
constexpr const char* kLogSource = "../../src/Interface/Ox3dRgbdImgProc";
}

uint32_t OX3D_RGBD_MapDepthToPointCloud(void* handle, OX3D_RGBD_IMAGE_DATA* pstDepth,
                                        OX3D_RGBD_IMAGE_DATA* pstPointCloud) {
    return ApiBarrier([&] {
        if (handle == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_MapDepthToPointCloud] handle is null.\r\n");
            return OX3D_RGBD_E_HANDLE;
        }
        if (pstDepth == nullptr || pstPointCloud == nullptr) {
            OX_LOG_ERROR("[OX3D_RGBD_MapDepthToPointCloud] param:is null.\r\n");
            return OX3D_RGBD_E_PARAMETER;
        }
        return UnlockedCall(handle,
                            [&](CManager& m) { return m.DepthMapConvert(pstDepth, nullptr, pstPointCloud); });
    });
}
