// ImageTiers.cpp - see ImageTiers.h.
#include "algorithm/binostereo/ImageTiers.h"

#include <algorithm>
#include <atomic>

namespace oxb3d {
namespace {

using ox3dcpu::KernelTier;

constexpr ImageKernels kReference = {reference::Remap, reference::SmoothRow, reference::SmoothColumns,
                                     reference::Weigh, reference::Fuse,      reference::CountZeros};

// Null until the first use. Two threads that get there together choose the same.
constinit std::atomic<const ImageKernels*> g_imageKernels{nullptr};

const ImageKernels& KernelsOf(KernelTier tier) {
    switch (tier) {
#if defined(__x86_64__)
    case KernelTier::Avx512:
        return avx512::kImageKernels;
    case KernelTier::Avx2:
        return avx2::kImageKernels;
#else
    case KernelTier::Avx512:
    case KernelTier::Avx2:
#endif
    case KernelTier::Sse2:
        return sse2::kImageKernels;
    case KernelTier::Reference:
        break;
    }
    return kReference;
}

} // namespace

const ImageKernels& ImageKernelsInUse() {
    const ImageKernels* kernels = g_imageKernels.load(std::memory_order_acquire);
    if (kernels == nullptr) {
        kernels = &KernelsOf(ox3dcpu::ChooseKernelTier());
        g_imageKernels.store(kernels, std::memory_order_release);
    }
    return *kernels;
}

KernelTier UseImageKernelTier(KernelTier tier) {
    tier = std::min(tier, ox3dcpu::BestKernelTier());
    g_imageKernels.store(&KernelsOf(tier), std::memory_order_release);
    return tier;
}

} // namespace oxb3d
