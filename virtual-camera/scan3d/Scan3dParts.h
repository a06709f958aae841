// Scan3dParts.h - the images of a scene as the components of a 3D camera.
#ifndef OX3D_VIRTUAL_CAMERA_SCAN3D_SCAN3D_PARTS_H
#define OX3D_VIRTUAL_CAMERA_SCAN3D_SCAN3D_PARTS_H

#include <vector>

#include "virtual-camera/CameraFrame.h"
#include "virtual-camera/scan3d/Scan3dOptics.h"

namespace ox3d {

// Makes the parts of a frame; it keeps memory from frame to frame. One caller at a time.
class CScan3dPacker {
public:
    // False when the images are not of the sizes that the settings were made for.
    bool Pack(const Scan3dConfig& config, const Scan3dSettings& settings, const Scan3dOptics& optics,
              const FrameImages& images, CameraFrame* frame);

private:
    bool PackIntensity(const Scan3dConfig& config, const Scan3dSettings& settings, const FrameImages& images,
                       CameraFrame* frame);

    std::vector<uint16_t> m_depth; // of the region, in millimetres
    std::vector<uint16_t> m_raster;
    std::vector<uint8_t> m_grey;
};

// Bytes that a receiver needs room for: of all parts, or of the largest block.
uint64_t Scan3dPayloadBytes(const Scan3dSettings& settings);

} // namespace ox3d

#endif
