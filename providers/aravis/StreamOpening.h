// StreamOpening.h - a stream of Aravis, set up as every one of the provider's is.
#ifndef OX3D_ARAVIS_STREAM_OPENING_H
#define OX3D_ARAVIS_STREAM_OPENING_H

#include <arv.h>

#include "providers/aravis/ArvError.h"

namespace ox3d {

struct ResendSettings {
    bool m_isOn = true;
    uint32_t m_maxPercent = 25;
    uint32_t m_timeoutMs = 20;
};

// Where an Ethernet camera is; both are 0 for USB.
struct CameraPath {
    uint32_t m_hostIp = 0;
    uint32_t m_cameraIp = 0;
};

// How long a frame stays open whose packets are missing; structured light pauses within a block.
constexpr uint32_t kFrameRetentionMs = 200;
constexpr uint32_t kScan3dRetentionMs = 1000;

// The device's mutex is held. A code; *payloadBytes is what a buffer of the stream needs as the camera is set now.
int OpenStream(ArvDevice* device, const CameraPath& path, const ResendSettings& resend, uint32_t retentionMs,
               CObject<ArvStream>* stream, size_t* payloadBytes);

} // namespace ox3d

#endif
