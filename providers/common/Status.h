// Status.h - codes of the camera-control interface as its functions return them.
#ifndef OX3D_PROVIDER_STATUS_H
#define OX3D_PROVIDER_STATUS_H

#include <ox3drgbd/OxCameraControl.h>

namespace ox3d {

constexpr int Code(uint32_t code) {
    return static_cast<int>(code);
}

constexpr int kOk = Code(OX_CC_OK);

// What a call on a camera that is gone answers.
constexpr int kDeviceGone = Code(OX_CC_E_PRECONDITION);

} // namespace ox3d

#endif
