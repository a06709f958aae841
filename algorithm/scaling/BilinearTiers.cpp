// BilinearTiers.cpp - see BilinearTiers.h. The reference kernel is here.
#include "algorithm/scaling/BilinearTiers.h"

#include "algorithm/dispatch/KernelChoice.h"

#include <cstring>

namespace ox3d::scaling {
namespace {

constexpr ScaleKernels kReference = {ScaleReference};

constinit CKernelChoice<ScaleKernels, kReference, sse2::kScaleKernels, avx2::kScaleKernels,
                        avx512::kScaleKernels>
    g_choice;

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
    const auto scale = g_choice.InUse().scale;
    if (scale != ScaleReference && args.srcWidth == args.dstWidth && args.srcHeight == args.dstHeight) {
        // Every position is a whole one.
        std::memcpy(args.dst, args.src,
                    static_cast<size_t>(args.srcWidth) * static_cast<size_t>(args.srcHeight));
        return;
    }
    scale(args);
}

EKernelTier UseScaleKernelTier(EKernelTier tier) {
    return g_choice.Use(tier);
}

} // namespace ox3d::scaling
