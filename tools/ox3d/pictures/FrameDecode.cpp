// Images of a delivered frame, copied.
#include "tools/ox3d/pictures/FrameDecode.h"

#include <algorithm>
#include <cstring>
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <span>

namespace ox3d::tool {
namespace {

GreyImage ViewIn(const OX3D_RGBD_FRAME_DATA& frame, uint32_t stream) {
    const uint32_t count = std::min<uint32_t>(frame.nImageCount, OX3D_RGBD_MAX_IMAGES);
    for (const OX3D_RGBD_IMAGE_DATA& image : std::span(frame.stImageData, count)) {
        const uint64_t pixels = uint64_t{image.nWidth} * image.nHeight;
        if (image.enStreamType == stream && image.enImageType == OX3D_RGBD_PIXEL_MONO8 && pixels > 0 &&
            image.nDataLen >= pixels && image.pData != nullptr) {
            GreyImage view(image.nWidth, image.nHeight);
            std::memcpy(view.m_samples.data(), image.pData, pixels);
            return view;
        }
    }
    return {};
}

} // namespace

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

ViewPair DecodePair(const OX3D_RGBD_FRAME_DATA& frame) {
    ViewPair pair{ViewIn(frame, OX3D_RGBD_STREAM_LEFT), ViewIn(frame, OX3D_RGBD_STREAM_RIGHT)};
    const bool isOneSize =
        pair.m_left.m_width == pair.m_right.m_width && pair.m_left.m_height == pair.m_right.m_height;
    return isOneSize ? pair : ViewPair();
}

} // namespace ox3d::tool
