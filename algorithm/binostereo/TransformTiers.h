// The kernels of the common data transform by tier, and the choice among them.
// Relies on TransformKernel.h as the definition of what every tier computes.
#pragma once

#include "algorithm/binostereo/TransformKernel.h"
#include "algorithm/dispatch/KernelTier.h"

namespace ox3d::stereo {

// Bytes of the points that modes B2 and C3 clear for each pixel, of 16-bit points, too.
constexpr uint64_t kRegisteredPointBytes = 12;

// The nearest wins, without a branch and in any order: of ordinary depths, in a target that holds nothing but zeros and
// such depths. 0 less one is larger than each, so that one comparison says whether what is stored stays.
[[gnu::always_inline]] static inline void KeepNearer(uint16_t* target, uint16_t depth) {
    const uint32_t stored = *target;
    *target = static_cast<uint16_t>(stored - 1U < depth ? stored : depth);
}

// A hit on a pixel that another band owns.
struct StrayHit {
    uint32_t m_index; // into the target
    uint16_t m_depth;
};

// What one of several threads does of a registration of depths alone: some rows of the source. The same rows of the
// target are its own, to clear and to register into, and hits on others become strays.
struct RegisterBand {
    int32_t m_firstRow = 0;
    int32_t m_endRow = 0;
    StrayHit* m_strays = nullptr; // room for all samples of the rows
    int64_t m_strayCount = 0;
    bool m_isOrdinary = true; // every depth that landed; the first other one ends the band's work
};

struct TransformKernels {
    void (*m_runFloat)(ETransformMode mode, const TransformArgs<float>& args);
    void (*m_run16)(ETransformMode mode, const TransformArgs<int16_t>& args);
    // How many samples land in the target, of arguments that register: the work of the projection alone.
    int64_t (*m_countHits)(const TransformArgs<float>& args);
    // Null for the reference.
    void (*m_registerBand)(const TransformArgs<float>& args, RegisterBand* band);
    bool m_isReference;
};

// The kernels in use, or the reference for arguments that the fast kernels are not made for.
const TransformKernels& KernelsFor(ETransformMode mode, const TransformArgs<float>& args);
const TransformKernels& KernelsFor(ETransformMode mode, const TransformArgs<int16_t>& args);

inline void RunKernel(const TransformKernels& kernels, ETransformMode mode,
                      const TransformArgs<float>& args) {
    kernels.m_runFloat(mode, args);
}
inline void RunKernel(const TransformKernels& kernels, ETransformMode mode,
                      const TransformArgs<int16_t>& args) {
    kernels.m_run16(mode, args);
}

// See CKernelChoice.
EKernelTier UseTransformKernelTier(EKernelTier tier);

namespace sse2 {
extern const TransformKernels kTransformKernels;
}
namespace avx2 {
extern const TransformKernels kTransformKernels;
}
namespace avx512 {
extern const TransformKernels kTransformKernels;
}

} // namespace ox3d::stereo
