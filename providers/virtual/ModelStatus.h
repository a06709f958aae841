// ModelStatus.h - the model's outcomes as codes of the camera-control interface.
#ifndef OX3D_PROVIDER_MODEL_STATUS_H
#define OX3D_PROVIDER_MODEL_STATUS_H

#include "providers/common/Status.h"
#include "virtual-camera/Feature.h"

namespace ox3d {

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
