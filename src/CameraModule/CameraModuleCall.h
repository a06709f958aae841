// CameraModuleCall.h - the one shape of a call into the camera-control library; included by the units of
// CCameraModule only.
#ifndef OX3D_CAMERA_MODULE_CALL_H
#define OX3D_CAMERA_MODULE_CALL_H

#include "src/CameraModule/CameraModule.h"
#include "src/Common/AsyncLog.h"

namespace {
[[maybe_unused]] constexpr const char* kLogSource = "../../src/CameraModule/CameraModule";
}

// The function's name for the log and the global behind it, then the arguments after the handle.
#define CAM_CALL(function, ...) Call(#function, function __VA_OPT__(, ) __VA_ARGS__)

template <class Result, class... Params, class... Args>
int CCameraModule::RawCallOn(void* handle, const char* name, Result (*&global)(void*, Params...),
                             Args... args) {
    auto* function = CamFunction(global);
    if (function == nullptr) {
        OX_LOG_ERROR("camera module %s is null.\r\n", name);
        return static_cast<int>(OX_CC_E_SUPPORT);
    }
    if (handle == nullptr && m_isLetGo) {
        return static_cast<int>(OX_CC_E_PRECONDITION);
    }
    return function(handle, args...);
}

template <class Result, class... Params, class... Args>
int CCameraModule::RawCall(const char* name, Result (*&global)(void*, Params...), Args... args) {
    const CUse use(m_handle);
    return RawCallOn(use.Handle(), name, global, args...);
}

template <class Result, class... Params, class... Args>
uint32_t CCameraModule::Call(const char* name, Result (*&global)(void*, Params...), Args... args) {
    const int status = RawCall(name, global, args...);
    if (status != 0) {
        OX_LOG_ERROR("camera module %s fail, nRet:[%#x].\r\n", name, status);
    }
    return ErrCodeTrans(status);
}

#endif
