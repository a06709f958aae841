// The choice among the variants of one family of kernels, made once, at the first use.
// Relies on KernelTier.h for what processor and environment allow.
#pragma once

#include "algorithm/dispatch/KernelTier.h"

#include <algorithm>
#include <atomic>

namespace ox3d {

// `TKernels` is a family's table of functions; the other arguments are its tables by tier. With kNeedsVbmi the
// kernels for AVX-512 need what HasVbmi() says, too, and those for AVX2 stand in where the processor has none.
template <typename TKernels, const TKernels& kReference, const TKernels& kSse2, const TKernels& kAvx2,
          const TKernels& kAvx512, bool kNeedsVbmi = false>
class CKernelChoice {
public:
    // The kernels in use. The first call chooses them; two threads that get there together choose the same.
    // Nothing allocates and no thread waits.
    const TKernels& InUse() {
        const TKernels* kernels = m_inUse.load(std::memory_order_acquire);
        if (kernels == nullptr) {
            kernels = &Of(ChooseKernelTier());
            m_inUse.store(kernels, std::memory_order_release);
        }
        return *kernels;
    }

    // Sets the tier for all later calls, at most to what the processor has. Returns the tier that was set.
    EKernelTier Use(EKernelTier tier) {
        tier = std::min(tier, BestKernelTier());
        m_inUse.store(&Of(tier), std::memory_order_release);
        return tier;
    }

private:
    static const TKernels& Of(EKernelTier tier) {
        // Elsewhere the units of the newer tiers are not built, so nothing may refer to them.
        if constexpr (kHasX86Tiers) {
            if (tier == EKernelTier::Avx512 && (!kNeedsVbmi || HasVbmi())) {
                return kAvx512;
            }
            if (tier >= EKernelTier::Avx2) {
                return kAvx2;
            }
        }
        // NOLINTNEXTLINE(bugprone-branch-clone): a family may have one table for both
        return tier == EKernelTier::Reference ? kReference : kSse2;
    }

    std::atomic<const TKernels*> m_inUse{nullptr};
};

} // namespace ox3d
