// DeviceRecord.h - a camera's identity as a device record.
#ifndef OX3D_PROVIDER_DEVICE_RECORD_H
#define OX3D_PROVIDER_DEVICE_RECORD_H

#include <ox3drgbd/OxCameraControl.h>

#include "virtual-camera/CameraModel.h"

namespace ox3d {

OX_CC_DEVICE_INFO ToDeviceRecord(const CameraIdentity& identity, uint32_t ordinal);

} // namespace ox3d

#endif
