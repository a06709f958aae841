// Gaussian smoothing of an 8-bit image, 11 x 11 taps.
// Relies on nothing; the caller gives the work memory.
#pragma once

#include "algorithm/binostereo/CheckedSize.h"

#include <cstdint>

namespace ox3d::stereo {

constexpr int32_t kGaussianTaps = 11;
constexpr int32_t kGaussianHalf = kGaussianTaps / 2;
// sigma = 0.3 * ((11 - 1) / 2 - 1) + 0.8 = 2, in units of 2^-16.
constexpr uint32_t kGaussianWeights[kGaussianTaps] = {578,   1779, 4267, 7972, 11600, 13144,
                                                      11600, 7972, 4267, 1779, 578};

// Bytes of work memory for an image of the given width: 11 filtered rows of 16-bit values.
constexpr CCheckedSize GaussianWorkSize(int32_t width) {
    return PlaneSize(sizeof(uint16_t), width, kGaussianTaps);
}

// Both images are width x height without padding; borders are reflected about the outermost pixel. work
// stands on a 2-byte boundary.
void SmoothGaussian11(const uint8_t* src, int32_t width, int32_t height, uint8_t* dst, void* work);

} // namespace ox3d::stereo
