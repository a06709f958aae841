// Depth to another camera's depth by several threads: see RegisterShared.cpp.
#pragma once

#include "algorithm/binostereo/TransformTiers.h"

namespace ox3d::stereo {

// Registers depths alone by the threads that the pool has for an image of this size, to the bits of one. False, and
// the target holds anything, when there is no more than one thread, or a depth is unusual: the kernel for one does
// it then.
bool RegisterShared(const TransformKernels& kernels, const TransformArgs<float>& args);

} // namespace ox3d::stereo
