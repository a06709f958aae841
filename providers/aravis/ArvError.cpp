// ArvError.cpp - what goes wrong inside Aravis, as codes of the camera-control interface.
#include "providers/aravis/ArvError.h"

#include "providers/common/Status.h"

namespace ox3d {
namespace {

int DeviceErrorCode(int code) {
    switch (static_cast<ArvDeviceError>(code)) {
    case ARV_DEVICE_ERROR_WRONG_FEATURE:
        return Code(OX_CC_E_GC_DYNAMIC_CAST);
    case ARV_DEVICE_ERROR_FEATURE_NOT_FOUND:
        return Code(OX_CC_E_GC_ARGUMENT);
    case ARV_DEVICE_ERROR_NOT_CONNECTED:
    case ARV_DEVICE_ERROR_TRANSFER_ERROR:
    case ARV_DEVICE_ERROR_TIMEOUT:
    case ARV_DEVICE_ERROR_NOT_FOUND:
        return kDeviceGone;
    case ARV_DEVICE_ERROR_NOT_CONTROLLER:
        return Code(OX_CC_E_ACCESS_DENIED);
    case ARV_DEVICE_ERROR_GENICAM_NOT_FOUND:
        return Code(OX_CC_E_GC_GENERIC);
    case ARV_DEVICE_ERROR_NO_STREAM_CHANNEL:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_NOT_IMPLEMENTED:
        return Code(OX_CC_E_SUPPORT);
    case ARV_DEVICE_ERROR_INVALID_PARAMETER:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_BAD_ALIGNMENT:
        return Code(OX_CC_E_PARAMETER);
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER:
        return Code(OX_CC_E_GC_RANGE);
    // The camera refuses both what is locked at the moment and what can never be written.
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED:
        return Code(OX_CC_E_GC_ACCESS);
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY: // for a moment only, for example while it writes its flash
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR:
    case ARV_DEVICE_ERROR_UNKNOWN:
        break;
    }
    return Code(OX_CC_E_UNKNOWN);
}

int FeatureErrorCode(int code) {
    switch (static_cast<ArvGcError>(code)) {
    case ARV_GC_ERROR_OUT_OF_RANGE:
    case ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND:
    case ARV_GC_ERROR_INVALID_LENGTH:
        return Code(OX_CC_E_GC_RANGE);
    case ARV_GC_ERROR_READ_ONLY:
        return Code(OX_CC_E_GC_ACCESS);
    case ARV_GC_ERROR_NODE_NOT_FOUND:
        return Code(OX_CC_E_GC_ARGUMENT);
    case ARV_GC_ERROR_SET_FROM_STRING_UNDEFINED:
    case ARV_GC_ERROR_GET_AS_STRING_UNDEFINED:
        return Code(OX_CC_E_GC_DYNAMIC_CAST);
    case ARV_GC_ERROR_NO_DEVICE_SET:
        return kDeviceGone;
    case ARV_GC_ERROR_PROPERTY_NOT_DEFINED:
    case ARV_GC_ERROR_PVALUE_NOT_DEFINED:
    case ARV_GC_ERROR_INVALID_PVALUE:
    case ARV_GC_ERROR_EMPTY_ENUMERATION:
    case ARV_GC_ERROR_NO_EVENT_IMPLEMENTATION:
    case ARV_GC_ERROR_INVALID_BIT_RANGE:
    case ARV_GC_ERROR_INVALID_SYNTAX:
        break;
    }
    return Code(OX_CC_E_GC_GENERIC);
}

} // namespace

int CodeOf(const GError* error) {
    if (error == nullptr) {
        return kOk;
    }
    if (error->domain == ARV_DEVICE_ERROR) {
        return DeviceErrorCode(error->code);
    }
    return error->domain == ARV_GC_ERROR ? FeatureErrorCode(error->code) : Code(OX_CC_E_UNKNOWN);
}

bool IsUnreachable(const GError* error) {
    return error != nullptr && error->domain == ARV_DEVICE_ERROR && CodeOf(error) == kDeviceGone;
}

} // namespace ox3d
