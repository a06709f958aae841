// CameraEvent.h - what a camera tells by itself over its message channel.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_CAMERA_EVENT_H
#define OX3D_VIRTUAL_CAMERA_GIGE_CAMERA_EVENT_H

#include "Wire.h"

namespace ox3d::gige {

// The standard's number, and two of the range that is left to makers.
constexpr uint16_t kEventExposureEnd = 0x0004;
constexpr uint16_t kEventDeviceTemperature = 0x9001; // data: degrees Celsius, 32-bit float
constexpr uint16_t kEventDeviceLost = 0x9002;        // data: 1, a restart

struct CameraEvent {
    uint16_t m_id = 0;
    uint16_t m_blockId = 0; // 0: of no frame
    uint64_t m_timestampNs = 0;
    Bytes m_data;
};

} // namespace ox3d::gige

#endif
