// Tiers.cpp - see Tiers.h.
#include "bench/Tiers.h"

#include "algorithm/binostereo/ImageTiers.h"
#include "algorithm/binostereo/TransformTiers.h"
#include "algorithm/rgbd/RgbdInterleaveTiers.h"
#include "algorithm/scaling/BilinearTiers.h"

namespace ox3dbench {
namespace {

bool HasVbmi() {
#if defined(__x86_64__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512vbmi") != 0;
#else
    return false;
#endif
}

InterleaveGroups GroupsOf([[maybe_unused]] ox3dcpu::KernelTier tier) {
#if defined(__x86_64__)
    if (tier == ox3dcpu::KernelTier::Avx512 && HasVbmi()) {
        return InterleaveGroupsAvx512;
    }
    if (tier >= ox3dcpu::KernelTier::Avx2) {
        return InterleaveGroupsAvx2;
    }
#endif
    return nullptr;
}

} // namespace

std::vector<Tier> TiersHere() {
    using ox3dcpu::KernelTier;
    const Tier all[] = {{"reference", KernelTier::Reference},
                        {"SSE2", KernelTier::Sse2},
                        {"AVX2", KernelTier::Avx2},
                        {"AVX-512", KernelTier::Avx512}};
    std::vector<Tier> here;
    for (const Tier& tier : all) {
        if (tier.m_tier <= ox3dcpu::BestKernelTier()) {
            here.push_back(tier);
        }
    }
    return here;
}

std::vector<Tier> InterleaveTiersHere() {
    using ox3dcpu::KernelTier;
    std::vector<Tier> here;
    for (const Tier& tier : TiersHere()) {
        const bool isSame =
            tier.m_tier == KernelTier::Sse2 || (tier.m_tier == KernelTier::Avx512 && !HasVbmi());
        if (!isSame) {
            here.push_back(tier);
        }
    }
    return here;
}

void UseTier(ox3dcpu::KernelTier tier) {
    oxb3d::UseKernelTier(tier);
    oxb3d::UseImageKernelTier(tier);
    oxmp::UseKernelTier(tier);
    UseInterleaveGroups(GroupsOf(tier));
}

} // namespace ox3dbench
