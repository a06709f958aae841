// Images of a delivered frame. A record's own figures are checked before a byte is read.
#include "tools/ox3d/pictures/FrameDecode.h"

#include <algorithm>
#include <cstring>

namespace ox3d::tool {
namespace {

constexpr uint32_t kMaxSidePixels = 16384;
// GenICam pixel formats that cameras send as color, besides OX3D_RGBD_PIXEL_RGB8_PLANAR.
constexpr uint32_t kMono8 = 0x01080001;
constexpr uint32_t kRgb8 = 0x02180014;
constexpr uint32_t kBgr8 = 0x02180015;

// Where a format keeps the channels of pixel p in an image of n pixels: at offset + p * step.
struct ChannelPlaces {
    uint32_t m_bytesPerPixel;
    uint64_t m_step;
    uint64_t m_red;
    uint64_t m_green;
    uint64_t m_blue;
};

bool FindPlaces(uint32_t format, uint64_t pixels, ChannelPlaces* places) {
    switch (format) {
    case OX3D_RGBD_PIXEL_RGB8_PLANAR:
        *places = {3, 1, 0, pixels, 2 * pixels};
        return true;
    case kRgb8:
        *places = {3, 3, 0, 1, 2};
        return true;
    case kBgr8:
        *places = {3, 3, 2, 1, 0};
        return true;
    case kMono8:
        *places = {1, 1, 0, 0, 0};
        return true;
    default:
        return false;
    }
}

bool HoldsPixels(const OX3D_RGBD_IMAGE_DATA& image, uint32_t bytesPerPixel) {
    return image.pData != nullptr && image.nWidth >= 1 && image.nWidth <= kMaxSidePixels &&
           image.nHeight >= 1 && image.nHeight <= kMaxSidePixels &&
           uint64_t{image.nWidth} * image.nHeight * bytesPerPixel <= image.nDataLen;
}

template <typename Predicate>
const OX3D_RGBD_IMAGE_DATA* FindImage(const OX3D_RGBD_FRAME_DATA& frame, Predicate&& isWanted) {
    const uint32_t count = std::min<uint32_t>(frame.nImageCount, OX3D_RGBD_MAX_IMAGES);
    const OX3D_RGBD_IMAGE_DATA* const end = frame.stImageData + count;
    const OX3D_RGBD_IMAGE_DATA* const found = std::find_if(frame.stImageData, end, isWanted);
    return found == end ? nullptr : found;
}

bool IsColor(const OX3D_RGBD_IMAGE_DATA& image) {
    ChannelPlaces places{};
    return image.enStreamType != OX3D_RGBD_STREAM_LEFT && image.enStreamType != OX3D_RGBD_STREAM_RIGHT &&
           FindPlaces(image.enImageType, 0, &places) && HoldsPixels(image, places.m_bytesPerPixel);
}

} // namespace

const OX3D_RGBD_IMAGE_DATA* FindDepth(const OX3D_RGBD_FRAME_DATA& frame) {
    return FindImage(frame, [](const OX3D_RGBD_IMAGE_DATA& image) {
        return image.enImageType == OX3D_RGBD_PIXEL_DEPTH16 && HoldsPixels(image, sizeof(uint16_t));
    });
}

const OX3D_RGBD_IMAGE_DATA* FindColor(const OX3D_RGBD_FRAME_DATA& frame) {
    return FindImage(frame, IsColor);
}

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
    ChannelPlaces places{};
    FindPlaces(image->enImageType, color.m_samples.size(), &places);
    const uint8_t* pixel = image->pData;
    for (Rgb& sample : color.m_samples) {
        sample = {pixel[places.m_red], pixel[places.m_green], pixel[places.m_blue]};
        pixel += places.m_step;
    }
    return color;
}

} // namespace ox3d::tool
