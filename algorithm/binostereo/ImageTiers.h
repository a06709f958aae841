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
    const uint8_t* m_src;
    const uint32_t* m_index;
    const uint8_t* m_weights; // four an entry
    uint64_t m_stride;
    uint64_t m_pixels;
    uint8_t* m_dst;
};

// The tent that gives a smoothed grey value its confidence. The peak may be any number.
struct ConfidenceTent {
    int32_t m_peak;
    float m_rise; // 255 / peak
    float m_fall; // 255 / (255 - peak)

    float At(uint8_t grey) const {
        const auto value = static_cast<float>(grey);
        return grey <= m_peak ? value * m_rise : (255.0F - value) * m_fall;
    }
};

constexpr int32_t kFuseMeanOrLarger = 1;
constexpr int32_t kFuseMeanOrConfident = 2;
constexpr int32_t kFuseLarger = 3;

// Neighbouring pixels of one row to fuse; mode 3 has no confidences.
struct FuseSpan {
    const int16_t* m_depth;
    const int16_t* m_previousDepth;
    const float* m_confidence;
    const float* m_previousConfidence;
    int16_t* m_fused;
    int64_t m_count;
    float m_threshold;
    int32_t m_mode;
};

struct ImageKernels {
    void (*m_remap)(const RemapArgs& args);
    // Filters along a row: out[i] takes kGaussianTaps samples from src[i] on.
    void (*m_smoothRow)(const uint8_t* src, int32_t count, uint16_t* out);
    void (*m_smoothColumns)(const uint16_t* const (&rows)[kGaussianTaps], int32_t width, uint8_t* out);
    void (*m_weigh)(const ConfidenceTent& tent, const uint8_t* grey, int64_t count, float* confidence);
    void (*m_fuse)(const FuseSpan& span);
    int64_t (*m_countZeros)(const int16_t* samples, int64_t count);
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
