// DeviceText.h - texts in the fixed fields of device records, each read and written with the field's bound.
#ifndef OX3D_PROVIDER_DEVICE_TEXT_H
#define OX3D_PROVIDER_DEVICE_TEXT_H

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include <ox3drgbd/OxCameraControl.h>

namespace ox3d {

constexpr uint32_t kIpModeShift = 24; // records and words have the IP mode bits in their top byte
constexpr uint32_t kIpModeBits = 0x07;

// The field must be zero: a text as long as the field has no terminator.
template <size_t N>
void CopyText(char (&field)[N], std::string_view text) {
    std::copy_n(text.begin(), std::min(text.size(), N), field);
}

template <size_t N>
std::string BoundedText(const char (&field)[N]) {
    return std::string(field, strnlen(field, N));
}

inline std::string SerialOf(const OX_CC_DEVICE_INFO& record) {
    if (record.nTLayerType == OX_CC_GIGE_DEVICE) {
        return BoundedText(record.stGigEInfo.chSerialNumber);
    }
    return record.nTLayerType == OX_CC_USB_DEVICE ? BoundedText(record.stUsb3Info.chSerialNumber) : "";
}

} // namespace ox3d

#endif
