// The transform's fast kernels in plain loops, for every processor.
// Relies on TransformFast.h.
#define OXB3D_TIER sse2
#include "algorithm/binostereo/TransformKernel.h"

namespace oxb3d::OXB3D_TIER {
namespace {

// No groups: the loop over the rest does it all.
template <typename TPoint>
int32_t MapGroups(const float* /*k*/, int32_t /*v*/, const int16_t* /*depth*/, int32_t /*count*/,
                  TPoint* /*out*/) {
    return 0;
}

} // namespace
} // namespace oxb3d::OXB3D_TIER

#include "algorithm/binostereo/TransformFast.h"
