// The kernels of the common data transform by tier, and the choice among them.
// Relies on TransformKernel.h as the definition of what every tier computes.
#pragma once

#include "algorithm/binostereo/TransformKernel.h"
#include "algorithm/dispatch/KernelTier.h"

namespace oxb3d {

struct TransformKernels {
    void (*runFloat)(TransformMode mode, const TransformArgs<float>& args);
    void (*run16)(TransformMode mode, const TransformArgs<int16_t>& args);
    bool isReference;
};

// The tier in use, or the reference for arguments that the fast kernels are not made for. The first call
// chooses the tier; nothing allocates and nothing waits.
const TransformKernels& KernelsFor(TransformMode mode, const TransformArgs<float>& args);
const TransformKernels& KernelsFor(TransformMode mode, const TransformArgs<int16_t>& args);

inline void RunKernel(const TransformKernels& kernels, TransformMode mode, const TransformArgs<float>& args) {
    kernels.runFloat(mode, args);
}
inline void RunKernel(const TransformKernels& kernels, TransformMode mode,
                      const TransformArgs<int16_t>& args) {
    kernels.run16(mode, args);
}

// Sets the tier for all later calls, at most to what the processor has. Says which it is.
ox3dcpu::KernelTier UseKernelTier(ox3dcpu::KernelTier tier);

namespace sse2 {
extern const TransformKernels kKernels;
}
namespace avx2 {
extern const TransformKernels kKernels;
}
namespace avx512 {
extern const TransformKernels kKernels;
}

} // namespace oxb3d
