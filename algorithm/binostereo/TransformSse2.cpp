// The transform's fast kernels in plain loops, for every processor.
// Relies on TransformFast.h.
#define OX3D_TIER sse2
#include "algorithm/binostereo/TransformKernel.h"

namespace ox3d::stereo::OX3D_TIER {
namespace {

// Without groups the loop over the rest computes every pixel.
template <typename TPoint>
int32_t MapGroups(const float* /*k*/, int32_t /*v*/, const int16_t* /*depth*/, int32_t /*count*/,
                  TPoint* /*out*/) {
    return 0;
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/TransformFast.h"
