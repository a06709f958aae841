// Kernels over whole images by tier, and the choice among them: remapping, smoothing, confidence, fusion and
// counting. The reference kernels stand in the units of their features and define what every tier computes.
#pragma once

#include "algorithm/binostereo/FloatToInt.h"
#include "algorithm/binostereo/Gaussian.h"
#include "algorithm/dispatch/KernelTier.h"

#include <cstddef>
#include <cstdint>

namespace ox3d::stereo {

// A remapping whose planes have `pixels` entries, of a source with rows of `stride` bytes.
struct RemapArgs {
    const uint8_t* src;
    const uint32_t* index;
    const uint8_t* weights; // four an entry
    uint64_t stride;
    uint64_t pixels;
    uint8_t* dst;
};

// The tent that gives a smoothed grey value its confidence. The peak may be any number.
struct ConfidenceTent {
    int32_t peak;
    float rise; // 255 / peak
    float fall; // 255 / (255 - peak)

    float At(uint8_t grey) const {
        const auto value = static_cast<float>(grey);
        return grey <= peak ? value * rise : (255.0F - value) * fall;
    }
};

constexpr int32_t kFuseMeanOrLarger = 1;
constexpr int32_t kFuseMeanOrConfident = 2;
constexpr int32_t kFuseLarger = 3;

// Neighbouring pixels of one row to fuse; mode 3 has no confidences.
struct FuseSpan {
    const int16_t* depth;
    const int16_t* previousDepth;
    const float* confidence;
    const float* previousConfidence;
    int16_t* fused;
    int64_t count;
    float threshold;
    int32_t mode;
};

struct ImageKernels {
    void (*remap)(const RemapArgs& args);
    // Filters along a row: out[i] takes kGaussianTaps samples from src[i] on.
    void (*smoothRow)(const uint8_t* src, int32_t count, uint16_t* out);
    void (*smoothColumns)(const uint16_t* const (&rows)[kGaussianTaps], int32_t width, uint8_t* out);
    void (*weigh)(const ConfidenceTent& tent, const uint8_t* grey, int64_t count, float* confidence);
    void (*fuse)(const FuseSpan& span);
    int64_t (*countZeros)(const int16_t* samples, int64_t count);
};

// See CKernelChoice.
const ImageKernels& ImageKernelsInUse();
EKernelTier UseImageKernelTier(EKernelTier tier);

namespace reference {
void Remap(const RemapArgs& args);
void SmoothRow(const uint8_t* src, int32_t count, uint16_t* out);
void SmoothColumns(const uint16_t* const (&rows)[kGaussianTaps], int32_t width, uint8_t* out);
void Weigh(const ConfidenceTent& tent, const uint8_t* grey, int64_t count, float* confidence);
void Fuse(const FuseSpan& span);
int64_t CountZeros(const int16_t* samples, int64_t count);
} // namespace reference

namespace sse2 {
extern const ImageKernels kImageKernels;
}
namespace avx2 {
extern const ImageKernels kImageKernels;
}
namespace avx512 {
extern const ImageKernels kImageKernels;
}

} // namespace ox3d::stereo
