// BilinearTiers.cpp - see BilinearTiers.h. The reference kernel is here.
#include "algorithm/scaling/BilinearTiers.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace oxmp {
namespace {

using ox3dcpu::KernelTier;

// Null until the first use. Two threads that get there together choose the same.
constinit std::atomic<ScaleKernel> g_kernel{nullptr};

ScaleKernel KernelOf(KernelTier tier) {
    switch (tier) {
#if defined(__x86_64__)
    case KernelTier::Avx512:
        return avx512::Scale;
    case KernelTier::Avx2:
        return avx2::Scale;
#else
    case KernelTier::Avx512:
    case KernelTier::Avx2:
#endif
    case KernelTier::Sse2:
        return sse2::Scale;
    case KernelTier::Reference:
        break;
    }
    return ScaleReference;
}

ScaleKernel KernelInUse() {
    ScaleKernel kernel = g_kernel.load(std::memory_order_relaxed);
    if (kernel == nullptr) {
        kernel = KernelOf(ox3dcpu::ChooseKernelTier());
        g_kernel.store(kernel, std::memory_order_relaxed);
    }
    return kernel;
}

} // namespace

void ScaleReference(const ScaleArgs& args) {
    for (int32_t y = 0; y < args.dstHeight; ++y) {
        const Tap row = TapOf(y, args.srcHeight, args.dstHeight);
        const uint8_t* top = SourceRow(args, row.first);
        const uint8_t* bottom = SourceRow(args, row.second);
        uint8_t* out = TargetRow(args, y);
        for (int32_t x = 0; x < args.dstWidth; ++x) {
            out[x] = BilinearSample(top, bottom, TapOf(x, args.srcWidth, args.dstWidth), row);
        }
    }
}

void ScaleBilinear(const ScaleArgs& args) {
    const ScaleKernel kernel = KernelInUse();
    if (kernel != ScaleReference && args.srcWidth == args.dstWidth && args.srcHeight == args.dstHeight) {
        // Every position is a whole one.
        std::memcpy(args.dst, args.src,
                    static_cast<size_t>(args.srcWidth) * static_cast<size_t>(args.srcHeight));
        return;
    }
    kernel(args);
}

KernelTier UseKernelTier(KernelTier tier) {
    tier = std::min(tier, ox3dcpu::BestKernelTier());
    g_kernel.store(KernelOf(tier), std::memory_order_relaxed);
    return tier;
}

} // namespace oxmp
