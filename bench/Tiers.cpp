// Tiers.cpp - see Tiers.h.
#include "bench/Tiers.h"

#include "algorithm/alignment/FillTiers.h"
#include "algorithm/binostereo/ImageTiers.h"
#include "algorithm/binostereo/TransformTiers.h"
#include "algorithm/rgbd/RgbdInterleaveTiers.h"
#include "algorithm/scaling/BilinearTiers.h"

namespace ox3dbench {
std::vector<Tier> TiersHere() {
    using ox3d::EKernelTier;
    const Tier all[] = {{"reference", EKernelTier::Reference},
                        {"SSE2", EKernelTier::Sse2},
                        {"AVX2", EKernelTier::Avx2},
                        {"AVX-512", EKernelTier::Avx512}};
    std::vector<Tier> here;
    for (const Tier& tier : all) {
        if (tier.m_tier <= ox3d::BestKernelTier()) {
            here.push_back(tier);
        }
    }
    return here;
}

std::vector<Tier> InterleaveTiersHere() {
    using ox3d::EKernelTier;
    std::vector<Tier> here;
    for (const Tier& tier : TiersHere()) {
        const bool isSame =
            tier.m_tier == EKernelTier::Sse2 || (tier.m_tier == EKernelTier::Avx512 && !ox3d::HasVbmi());
        if (!isSame) {
            here.push_back(tier);
        }
    }
    return here;
}

void UseTier(ox3d::EKernelTier tier) {
    ox3d::alignment::UseFillKernelTier(tier);
    ox3d::stereo::UseTransformKernelTier(tier);
    ox3d::stereo::UseImageKernelTier(tier);
    ox3d::scaling::UseScaleKernelTier(tier);
    ox3d::UseInterleaveKernelTier(tier);
}

} // namespace ox3dbench
