// TransformTiers.cpp - see TransformTiers.h. The reference kernel is instantiated here.
#include "algorithm/binostereo/TransformTiers.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace oxb3d {
namespace {

using ox3dcpu::KernelTier;

constexpr TransformKernels kReference = {RunReference<float>, RunReference<int16_t>, true};

// Null until the first use. Two threads that get there together choose the same.
constinit std::atomic<const TransformKernels*> g_kernels{nullptr};

const TransformKernels& KernelsOf(KernelTier tier) {
    switch (tier) {
#if defined(__x86_64__)
    case KernelTier::Avx512:
        return avx512::kKernels;
    case KernelTier::Avx2:
        return avx2::kKernels;
#else
    case KernelTier::Avx512:
    case KernelTier::Avx2:
#endif
    case KernelTier::Sse2:
        return sse2::kKernels;
    case KernelTier::Reference:
        break;
    }
    return kReference;
}

const TransformKernels& KernelsInUse() {
    const TransformKernels* kernels = g_kernels.load(std::memory_order_acquire);
    if (kernels == nullptr) {
        kernels = &KernelsOf(ox3dcpu::ChooseKernelTier());
        g_kernels.store(kernels, std::memory_order_release);
    }
    return *kernels;
}

// Addresses from `data` to `data` + `bytes`, for comparing.
struct Extent {
    uintptr_t first;
    uintptr_t last;
};

Extent MakeExtent(const void* data, int64_t bytes) {
    const auto first = reinterpret_cast<uintptr_t>(data);
    return {first, first + static_cast<uintptr_t>(bytes)};
}

bool Overlap(const Extent& a, const Extent& b) {
    return a.first < b.last && b.first < a.last;
}

// Within these bounds an extent is exact as a float, an index into the target fits into 32 bits, and no sum
// below overflows.
constexpr int32_t kLargestExtent = 1 << 24;

// The fast kernels read a block of samples before they write its results, so no output may lie on the depth.
template <typename TPoint>
bool Suits(TransformMode mode, const TransformArgs<TPoint>& a) {
    if (a.step < a.width || a.step > kLargestExtent || a.height > kLargestExtent) {
        return false;
    }
    const int64_t samples = static_cast<int64_t>(a.step) * a.height;
    const bool registers = mode != TransformMode::A && a.targetDepth != nullptr;
    const int64_t targets = registers ? static_cast<int64_t>(a.targetWidth) * a.height : 0;
    const Extent depth = MakeExtent(a.depth, 2 * samples);
    // Registered points lie at their place in the target, which may be wider than the source.
    if (a.points != nullptr && Overlap(depth, MakeExtent(a.points, 12 * std::max(samples, targets)))) {
        return false;
    }
    if (!registers) {
        return true;
    }
    const int64_t cleared = static_cast<int64_t>(a.width) * a.height;
    return a.targetWidth >= 1 && a.targetWidth <= kLargestExtent && targets <= INT32_MAX &&
           !Overlap(depth, MakeExtent(a.targetDepth, 2 * std::max(targets, cleared)));
}

} // namespace

const TransformKernels& KernelsFor(TransformMode mode, const TransformArgs<float>& args) {
    return Suits(mode, args) ? KernelsInUse() : kReference;
}

const TransformKernels& KernelsFor(TransformMode mode, const TransformArgs<int16_t>& args) {
    return Suits(mode, args) ? KernelsInUse() : kReference;
}

KernelTier UseKernelTier(KernelTier tier) {
    tier = std::min(tier, ox3dcpu::BestKernelTier());
    g_kernels.store(&KernelsOf(tier), std::memory_order_release);
    return tier;
}

} // namespace oxb3d
