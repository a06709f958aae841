// TransformTiers.cpp - see TransformTiers.h. The reference kernel is instantiated here.
#include "algorithm/binostereo/TransformTiers.h"

#include "algorithm/dispatch/Bytes.h"
#include "algorithm/dispatch/KernelChoice.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace ox3d::stereo {
namespace {

int64_t CountHits(const TransformArgs<float>& a) {
    int64_t landed = 0;
    ForEachPixel(a, [&](int32_t u, int32_t v, ptrdiff_t index) {
        const auto d = static_cast<float>(a.m_depth[index]);
        Vec2 position{};
        a.m_distortion != nullptr ? MoveSample<true>(a, u, v, d, &position)
                                  : MoveSample<false>(a, u, v, d, &position);
        landed += d > 0 && TargetIndex(a, position) >= 0 ? 1 : 0;
    });
    return landed;
}

constexpr TransformKernels kReference = {RunReference<float>, RunReference<int16_t>, CountHits, nullptr,
                                         true};

constinit CKernelChoice<TransformKernels, kReference, sse2::kTransformKernels, avx2::kTransformKernels,
                        avx512::kTransformKernels>
    g_choice;

// Within these bounds an extent is exact as a float, an index into the target fits into 32 bits, and no sum
// below overflows.
constexpr int32_t kMaxExtent = 1 << 24;

// The bytes of an output, and whether they meet some other ones.
struct Output {
    const void* m_data;
    uint64_t m_bytes;

    bool Meets(const void* data, uint64_t bytes) const {
        return m_data != nullptr && data != nullptr && Overlap(data, bytes, m_data, m_bytes);
    }
};

// The fast kernels read the numbers, and many samples, before they write results, so no output may lie on those; nor
// may the outputs lie on each other, since they are cleared at other times.
template <typename TPoint>
bool Suits(ETransformMode mode, const TransformArgs<TPoint>& a) {
    if (a.m_step < a.m_width || a.m_step > kMaxExtent || a.m_height > kMaxExtent) {
        return false;
    }
    const bool registers = mode != ETransformMode::A && a.m_targetDepth != nullptr;
    if (registers && (a.m_targetWidth < 1 || a.m_targetWidth > kMaxExtent)) {
        return false;
    }
    const auto samples = static_cast<uint64_t>(a.m_step) * static_cast<uint64_t>(a.m_height);
    const auto targets =
        registers ? static_cast<uint64_t>(a.m_targetWidth) * static_cast<uint64_t>(a.m_height) : 0;
    // Registered points lie at their place in the target, which may be wider than the source.
    const Output points = {a.m_points, 12 * std::max(samples, targets)};
    const auto cleared = static_cast<uint64_t>(a.m_width) * static_cast<uint64_t>(a.m_height);
    const Output target = {registers ? a.m_targetDepth : nullptr, 2 * std::max(targets, cleared)};
    const struct {
        const void* m_data;
        uint64_t m_bytes;
    } inputs[] = {{a.m_depth, 2 * samples},
                  {a.m_sourceIntrinsics, sizeof(float[4])},
                  {a.m_transform, sizeof(float[12])},
                  {a.m_targetIntrinsics, sizeof(float[4])},
                  {a.m_distortion, sizeof(float[4])}};
    return targets <= INT32_MAX && !points.Meets(target.m_data, target.m_bytes) &&
           std::none_of(std::begin(inputs), std::end(inputs), [&](const auto& input) {
               return points.Meets(input.m_data, input.m_bytes) || target.Meets(input.m_data, input.m_bytes);
           });
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
