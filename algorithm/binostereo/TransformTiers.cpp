// TransformTiers.cpp - see TransformTiers.h. The reference kernel is instantiated here.
#include "algorithm/binostereo/TransformTiers.h"

#include "algorithm/dispatch/Bytes.h"
#include "algorithm/dispatch/KernelChoice.h"

#include <algorithm>
#include <cstdint>

namespace ox3d::stereo {
namespace {

constexpr TransformKernels kReference = {RunReference<float>, RunReference<int16_t>, true};

constinit CKernelChoice<TransformKernels, kReference, sse2::kTransformKernels, avx2::kTransformKernels,
                        avx512::kTransformKernels>
    g_choice;

// Within these bounds an extent is exact as a float, an index into the target fits into 32 bits, and no sum
// below overflows.
constexpr int32_t kMaxExtent = 1 << 24;

// The fast kernels read a block of samples before they write its results, so no output may lie on the depth.
template <typename TPoint>
bool Suits(ETransformMode mode, const TransformArgs<TPoint>& a) {
    if (a.m_step < a.m_width || a.m_step > kMaxExtent || a.m_height > kMaxExtent) {
        return false;
    }
    const bool registers = mode != ETransformMode::A && a.m_targetDepth != nullptr;
    const int64_t samples = static_cast<int64_t>(a.m_step) * a.m_height;
    const int64_t targets = registers ? static_cast<int64_t>(a.m_targetWidth) * a.m_height : 0;
    const auto depthBytes = static_cast<uint64_t>(2 * samples);
    // Registered points lie at their place in the target, which may be wider than the source.
    const auto pointBytes = static_cast<uint64_t>(12 * std::max(samples, targets));
    if (a.m_points != nullptr && Overlap(a.m_depth, depthBytes, a.m_points, pointBytes)) {
        return false;
    }
    if (!registers) {
        return true;
    }
    const int64_t cleared = static_cast<int64_t>(a.m_width) * a.m_height;
    const auto targetBytes = static_cast<uint64_t>(2 * std::max(targets, cleared));
    return a.m_targetWidth >= 1 && a.m_targetWidth <= kMaxExtent && targets <= INT32_MAX &&
           !Overlap(a.m_depth, depthBytes, a.m_targetDepth, targetBytes);
}

} // namespace

const TransformKernels& KernelsFor(ETransformMode mode, const TransformArgs<float>& args) {
    return Suits(mode, args) ? g_choice.InUse() : kReference;
}

const TransformKernels& KernelsFor(ETransformMode mode, const TransformArgs<int16_t>& args) {
    return Suits(mode, args) ? g_choice.InUse() : kReference;
}

EKernelTier UseTransformKernelTier(EKernelTier tier) {
    return g_choice.Use(tier);
}

} // namespace ox3d::stereo
