// RgbdInterleave.h - a planar color image and a depth image interleaved into 5-byte pixels R, G, B, depth low
// byte, depth high byte.
#ifndef OX3D_RGBD_INTERLEAVE_H
#define OX3D_RGBD_INTERLEAVE_H

#include <cstdint>

namespace ox3d {

constexpr uint64_t kRgbdPixelBytes = 5;

struct ByteSpan {
    const uint8_t* m_data;
    uint64_t m_lengthBytes;
};

// `color` is three planes of `pixels` bytes, `depth` two bytes a pixel, `out` holds 5 bytes a pixel. What a
// source is too short for is read as 0.
void InterleaveRgbd(ByteSpan color, ByteSpan depth, uint64_t pixels, uint8_t* out);

} // namespace ox3d

#endif
