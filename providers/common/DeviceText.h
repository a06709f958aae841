// DeviceText.h - what device records say in fixed fields.
#ifndef OX3D_PROVIDER_DEVICE_TEXT_H
#define OX3D_PROVIDER_DEVICE_TEXT_H

#include <string>

#include "base/BoundedText.h"
#include <ox3drgbd/OxCameraControl.h>

namespace ox3d {

constexpr uint32_t kIpModeShift = 24; // records and words have the IP mode bits in their top byte
constexpr uint32_t kIpModeBits = 0x07;

inline std::string SerialOf(const OX_CC_DEVICE_INFO& record) {
    if (record.nTLayerType == OX_CC_GIGE_DEVICE) {
        return std::string(BoundedText(record.stGigEInfo.chSerialNumber));
    }
    return record.nTLayerType == OX_CC_USB_DEVICE ? std::string(BoundedText(record.stUsb3Info.chSerialNumber))
                                                  : "";
}

} // namespace ox3d

#endif
