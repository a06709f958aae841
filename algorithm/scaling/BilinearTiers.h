// The bilinear scaler's kernels by tier, and the choice among them.
// Relies on Bilinear.h as the definition of what every tier computes.
#pragma once

#include "algorithm/dispatch/KernelTier.h"
#include "algorithm/scaling/Bilinear.h"

namespace oxmp {

using ScaleKernel = void (*)(const ScaleArgs& args);

// The definition in plain loops.
void ScaleReference(const ScaleArgs& args);

// Scales with the tier in use, which the first call chooses. Allocates nothing, waits for nothing, and keeps
// nothing between calls.
void ScaleBilinear(const ScaleArgs& args);

// Sets the tier for all later calls, at most to what the processor has. Says which it is.
ox3dcpu::KernelTier UseKernelTier(ox3dcpu::KernelTier tier);

namespace sse2 {
void Scale(const ScaleArgs& args);
}
namespace avx2 {
void Scale(const ScaleArgs& args);
}
namespace avx512 {
void Scale(const ScaleArgs& args);
}

} // namespace oxmp
