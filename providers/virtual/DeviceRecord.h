// DeviceRecord.h - a camera's identity as a device record, and back.
#ifndef OX3D_PROVIDER_DEVICE_RECORD_H
#define OX3D_PROVIDER_DEVICE_RECORD_H

#include <string>

#include <ox3drgbd/OxCameraControl.h>

#include "virtual-camera/CameraModel.h"

namespace ox3d {

OX_CC_DEVICE_INFO ToDeviceRecord(const CameraIdentity& identity, uint32_t ordinal);

// Empty when the record is of no transport that this provider knows.
std::string SerialOf(const OX_CC_DEVICE_INFO& record);

} // namespace ox3d

#endif
