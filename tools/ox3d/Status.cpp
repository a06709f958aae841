// Statuses of the library as text. Codes that only ever pass through from the camera-control library stay
// numbers: their meaning is that library's.
#include "tools/ox3d/Status.h"

#include <cstdio>
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace ox3d::tool {
namespace {

const char* Meaning(uint32_t status) {
    switch (status) {
    case OX3D_RGBD_OK:
        return "success";
    case OX3D_RGBD_E_HANDLE:
        return "no such camera handle, or a general error";
    case OX3D_RGBD_E_CAMERA:
        return "the camera refused or does not support this";
    case OX3D_RGBD_E_STATE:
        return "not possible in this state";
    case OX3D_RGBD_E_PARAMETER:
        return "unknown name or a value that is not allowed";
    case OX3D_RGBD_E_MEMORY:
        return "out of memory";
    case OX3D_RGBD_E_NO_DATA:
        return "no data";
    case OX3D_RGBD_E_LOAD_LIBRARY:
        return "the camera-control library cannot be loaded";
    case OX3D_RGBD_E_ALGORITHM:
        return "depth cannot be converted; images below 640 x 480 are too small";
    case OX3D_RGBD_E_CAMERA_0E:
        return "access denied; another application may hold the camera";
    case OX3D_RGBD_E_CAMERA_0F:
        return "value out of the feature's range";
    default:
        return "code of the camera-control library";
    }
}

} // namespace

std::string StatusText(uint32_t status) {
    char code[16];
    std::snprintf(code, sizeof(code), " (0x%08x)", static_cast<unsigned>(status));
    return std::string(Meaning(status)) + code;
}

} // namespace ox3d::tool
