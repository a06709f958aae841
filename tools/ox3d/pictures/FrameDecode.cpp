// Images of a delivered frame, copied.
#include "tools/ox3d/pictures/FrameDecode.h"

#include <cstring>

namespace ox3d::tool {

DepthImage DecodeDepth(const OX3D_RGBD_FRAME_DATA& frame) {
    const OX3D_RGBD_IMAGE_DATA* const image = FindDepth(frame);
    if (image == nullptr) {
        return {};
    }
    DepthImage depth(image->nWidth, image->nHeight);
    std::memcpy(depth.m_samples.data(), image->pData, depth.m_samples.size() * sizeof(uint16_t));
    return depth;
}

RgbImage DecodeColor(const OX3D_RGBD_FRAME_DATA& frame) {
    const OX3D_RGBD_IMAGE_DATA* const image = FindColor(frame);
    if (image == nullptr) {
        return {};
    }
    RgbImage color(image->nWidth, image->nHeight);
    InterleaveColor(*image, reinterpret_cast<uint8_t*>(color.m_samples.data()));
    return color;
}

} // namespace ox3d::tool
