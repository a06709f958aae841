// FrameImages.cpp - see FrameImages.h.
#include "recording/camera/FrameImages.h"

#include <algorithm>

namespace ox3d {
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

void InterleaveColor(const OX3D_RGBD_IMAGE_DATA& color, uint8_t* out) {
    const uint64_t pixels = uint64_t{color.nWidth} * color.nHeight;
    ChannelPlaces places{};
    FindPlaces(color.enImageType, pixels, &places);
    const uint8_t* pixel = color.pData;
    for (uint64_t i = 0; i < pixels; ++i, pixel += places.m_step, out += 3) {
        out[0] = pixel[places.m_red];
        out[1] = pixel[places.m_green];
        out[2] = pixel[places.m_blue];
    }
}

} // namespace ox3d
