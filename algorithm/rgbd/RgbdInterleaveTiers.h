// RgbdInterleaveTiers.h - the interleave's loops by tier. The plain loop is the definition; each other one is
// in a unit of its own, compiled for its processors.
#ifndef OX3D_RGBD_INTERLEAVE_TIERS_H
#define OX3D_RGBD_INTERLEAVE_TIERS_H

#include "algorithm/dispatch/KernelTier.h"

#include <cstdint>

namespace ox3d {

struct InterleaveKernels {
    // Interleaves as many of the first `pixels` pixels as make whole groups and returns how many those are.
    // Every source is long enough. `planeBytes` is the distance of the three color planes.
    uint64_t (*m_groups)(const uint8_t* color, uint64_t planeBytes, const uint8_t* depth, uint64_t pixels,
                         uint8_t* out);
};

// See CKernelChoice. There is no loop for SSE2, and the one for AVX-512 needs VBMI.
EKernelTier UseInterleaveKernelTier(EKernelTier tier);

namespace avx2 {
extern const InterleaveKernels kInterleaveKernels;
}
namespace avx512 {
extern const InterleaveKernels kInterleaveKernels;
}

} // namespace ox3d

#endif
