// ImageSize.h - sizes of the images in a frame record.
#ifndef OX3D_IMAGE_SIZE_H
#define OX3D_IMAGE_SIZE_H

#include <cstdint>

#include <ox3drgbd/Ox3dRgbdDefine.h>

// Lengths in image records are 32 bits wide.
constexpr uint64_t kMaxImageBytes = UINT32_MAX;

inline uint64_t PixelCount(const OX3D_RGBD_IMAGE_DATA& image) {
    return static_cast<uint64_t>(image.nWidth) * image.nHeight;
}

#endif
