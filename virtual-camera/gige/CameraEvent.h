// CameraEvent.h - what a camera tells by itself over its message channel.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_CAMERA_EVENT_H
#define OX3D_VIRTUAL_CAMERA_GIGE_CAMERA_EVENT_H

#include "gigevision/Wire.h"

namespace ox3d::gige {

struct CameraEvent {
    uint16_t m_id = 0;
    uint16_t m_blockId = 0; // 0: of no frame
    uint64_t m_timestampNs = 0;
    Bytes m_data;
};

} // namespace ox3d::gige

#endif
