// The kernels of the common data transform by tier, and the choice among them.
// Relies on TransformKernel.h as the definition of what every tier computes.
#pragma once

#include "algorithm/binostereo/TransformKernel.h"
#include "algorithm/dispatch/KernelTier.h"

namespace ox3d::stereo {

// Bytes of the points that modes B2 and C3 clear for each pixel, of 16-bit points, too.
constexpr uint64_t kRegisteredPointBytes = 12;

struct TransformKernels {
    void (*m_runFloat)(ETransformMode mode, const TransformArgs<float>& args);
    void (*m_run16)(ETransformMode mode, const TransformArgs<int16_t>& args);
    // How many samples land in the target, of arguments that register: the work of the projection alone.
    int64_t (*m_countHits)(const TransformArgs<float>& args);
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
