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
    for (int32_t y = args.m_firstRow; y < args.m_endRow; ++y) {
        const Tap row = TapOf(y, args.m_srcHeight, args.m_dstHeight);
        const uint8_t* top = SourceRow(args, row.m_first);
        const uint8_t* bottom = SourceRow(args, row.m_second);
        uint8_t* out = TargetRow(args, y);
        for (int32_t x = 0; x < args.m_dstWidth; ++x) {
            out[x] = BilinearSample(top, bottom, TapOf(x, args.m_srcWidth, args.m_dstWidth), row);
        }
    }
}

void ScaleBilinear(const ScaleArgs& args) {
    const auto scale = g_choice.InUse().m_scale;
    if (scale != ScaleReference && args.m_srcWidth == args.m_dstWidth &&
        args.m_srcHeight == args.m_dstHeight) {
        // Every position is a whole one.
        const auto rows = static_cast<size_t>(args.m_endRow - args.m_firstRow);
        std::memcpy(TargetRow(args, args.m_firstRow), SourceRow(args, args.m_firstRow),
                    static_cast<size_t>(args.m_srcWidth) * rows);
        return;
    }
    scale(args);
}

EKernelTier UseScaleKernelTier(EKernelTier tier) {
    return g_choice.Use(tier);
}

} // namespace ox3d::scaling
