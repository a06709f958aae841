// FillTiers.h - the filled registration's loops by tier. Relies on FillKernel.h as the definition of what every
// tier computes.
#pragma once

#include "algorithm/alignment/FillKernel.h"
#include "algorithm/dispatch/KernelTier.h"

namespace ox3d::alignment {

// Where a stretch of a row's depths is seen: index in the target's image, or -1 outside of it; the depth there; and the
// position in an image of the color camera, in 128ths of pixels.
constexpr int32_t kStretch = 256;
struct Places {
    alignas(64) int32_t m_index[kStretch];
    alignas(64) float m_depth[kStretch];
    alignas(64) int32_t m_column[kStretch];
    alignas(64) int32_t m_row[kStretch];
};

struct FillKernels {
    // Draws the source's rows from `first` to `last` into a target of depths less one.
    void (*m_draw)(const AlignArgs& args, const FillOptics& optics, bool isDistorted, int32_t first,
                   int32_t last, uint16_t* target);
    // Places of up to kStretch pixels from (first, row) on. What has no depth may be placed anywhere.
    void (*m_place)(const AlignArgs& args, const FillOptics& optics, bool isDistorted, const ColorGrid& grid,
                    int32_t row, int32_t first, int32_t count, Places* places);
    // Takes over what is nearer in another target.
    void (*m_takeNearer)(uint16_t* target, const uint16_t* other, uint64_t count);
    // Makes depths of depths less one.
    void (*m_addOne)(uint16_t* target, uint64_t count);
};

// The numbers of a call, and the kernels in use.
FillOptics OpticsOf(const AlignArgs& args);
bool IsDistorted(const AlignCameras& cameras);
const FillKernels& FillKernelsInUse();

// See CKernelChoice.
EKernelTier UseFillKernelTier(EKernelTier tier);

namespace sse2 {
extern const FillKernels kFillKernels;
}
namespace avx2 {
extern const FillKernels kFillKernels;
}
namespace avx512 {
extern const FillKernels kFillKernels;
}

} // namespace ox3d::alignment
