// Tiers.h - the tiers of the kernels that this processor has, and how a row chooses one for its work.
#ifndef OX3D_BENCH_TIERS_H
#define OX3D_BENCH_TIERS_H

#include "algorithm/dispatch/KernelTier.h"

#include <vector>

namespace ox3dbench {

struct Tier {
    const char* m_name;
    ox3d::EKernelTier m_tier;
};

// In rising order.
std::vector<Tier> TiersHere();
// Those in which the interleave differs from the tier below: it has no loop for SSE2, and the one for AVX-512
// needs VBMI.
std::vector<Tier> InterleaveTiersHere();

// Sets the tier of every kernel that has variants.
void UseTier(ox3d::EKernelTier tier);
inline void UseBestTier() {
    UseTier(ox3d::BestKernelTier());
}

} // namespace ox3dbench

#endif
