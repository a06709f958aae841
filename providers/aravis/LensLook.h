// LensLook.h - one look through a camera that does not tell its lens by features: pictures of some components, taken
// before the application has started anything.
#ifndef OX3D_ARAVIS_LENS_LOOK_H
#define OX3D_ARAVIS_LENS_LOOK_H

#include <span>
#include <vector>

#include "providers/aravis/Scan3dDepth.h"
#include "providers/aravis/StreamOpening.h"

namespace ox3d {

struct LookedAt {
    uint32_t m_component = 0; // the camera's number
    uint32_t m_format = 0;
    ImageShape m_shape;
    std::vector<uint8_t> m_bytes; // empty until it has come; planes follow each other

    SentImage Image() const { return {m_format, m_shape, m_bytes}; }
};

// For one thread that holds the device's mutex.
class CLensLook {
public:
    CLensLook(const CameraPath& path, const ResendSettings& resend, uint32_t retentionMs)
        : m_path(path), m_resend(resend), m_retentionMs(retentionMs) {}
    // Starts acquisition with the camera as it is set, fills in the bytes of all that are asked for, and stops. False where they
    // have not come within some seconds. Throws nothing but std::bad_alloc.
    bool Take(ArvDevice* device, std::span<LookedAt> wanted) const;

private:
    const CameraPath m_path;
    const ResendSettings m_resend;
    const uint32_t m_retentionMs;
};

} // namespace ox3d

#endif
