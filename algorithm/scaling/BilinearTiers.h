// The bilinear scaler's kernels by tier, and the choice among them.
// Relies on Bilinear.h as the definition of what every tier computes.
#pragma once

#include "algorithm/dispatch/KernelTier.h"
#include "algorithm/scaling/Bilinear.h"

namespace ox3d::scaling {

struct ScaleKernels {
    void (*m_scale)(const ScaleArgs& args);
};

// The definition in plain loops.
void ScaleReference(const ScaleArgs& args);

// Scales with the tier in use; see CKernelChoice. Stores nothing between calls.
void ScaleBilinear(const ScaleArgs& args);
EKernelTier UseScaleKernelTier(EKernelTier tier);

namespace sse2 {
extern const ScaleKernels kScaleKernels;
}
namespace avx2 {
extern const ScaleKernels kScaleKernels;
}
namespace avx512 {
extern const ScaleKernels kScaleKernels;
}

} // namespace ox3d::scaling
