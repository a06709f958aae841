// Status.h - the model's outcomes as codes of the camera-control interface.
#ifndef OX3D_PROVIDER_STATUS_H
#define OX3D_PROVIDER_STATUS_H

#include <ox3drgbd/OxCameraControl.h>

#include "virtual-camera/Feature.h"

namespace ox3d {

constexpr int Code(uint32_t code) {
    return static_cast<int>(code);
}

constexpr int kOk = Code(OX_CC_OK);

// What a call on a camera that is gone answers.
constexpr int kDeviceGone = Code(OX_CC_E_PRECONDITION);

constexpr int ToCode(EModelStatus status) {
    switch (status) {
    case EModelStatus::Ok:
        return kOk;
    case EModelStatus::UnknownFeature:
        return Code(OX_CC_E_GC_ARGUMENT);
    case EModelStatus::WrongType:
        return Code(OX_CC_E_GC_DYNAMIC_CAST);
    case EModelStatus::Range:
        return Code(OX_CC_E_GC_RANGE);
    case EModelStatus::Access:
        return Code(OX_CC_E_GC_ACCESS);
    case EModelStatus::Argument:
        return Code(OX_CC_E_PARAMETER);
    case EModelStatus::NoData:
        return Code(OX_CC_E_NO_DATA);
    case EModelStatus::Full:
        return Code(OX_CC_E_BUFFER_FULL);
    case EModelStatus::Resource:
        return Code(OX_CC_E_RESOURCE);
    }
    return Code(OX_CC_E_UNKNOWN);
}

} // namespace ox3d

#endif
