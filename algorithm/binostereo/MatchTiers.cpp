// MatchTiers.cpp - see MatchTiers.h.
#include "algorithm/binostereo/MatchTiers.h"

#include "algorithm/dispatch/KernelChoice.h"

namespace ox3d::stereo {
namespace {

constinit CKernelChoice<MatchKernels, reference::kMatchKernels, sse2::kMatchKernels, avx2::kMatchKernels,
                        avx512::kMatchKernels, true>
    g_choice;

} // namespace

const MatchKernels& MatchKernelsInUse() {
    return g_choice.InUse();
}

EKernelTier UseMatchKernelTier(EKernelTier tier) {
    return g_choice.Use(tier);
}

} // namespace ox3d::stereo
