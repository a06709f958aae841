// The transform's fast kernels in plain loops, for every processor.
// Relies on TransformFast.h.
#define OX3D_TIER sse2
#include "algorithm/binostereo/TransformLists.h"

namespace ox3d::stereo::OX3D_TIER {
namespace {

int32_t KeepGroups(const Hits& hits, uint16_t* target, int32_t /*targets*/) {
    return KeepEights(hits, target);
}

// Without groups the loops over the rest compute every pixel.
template <bool kDistorted, typename THits>
int32_t ProjectGroups(const Optics& /*optics*/, int32_t /*u0*/, int32_t /*v*/, const int16_t* /*depth*/,
                      int32_t /*count*/, THits* /*hits*/, bool* /*isOrdinary*/) {
    return 0;
}

template <bool kDistorted, typename TPoint>
int32_t MoveGroups(const Optics& /*optics*/, int32_t /*v*/, const int16_t* /*depth*/, int32_t /*count*/,
                   TPoint* /*out*/) {
    return 0;
}

template <typename TPoint>
int32_t MapGroups(const float* /*k*/, int32_t /*v*/, const int16_t* /*depth*/, int32_t /*count*/,
                  TPoint* /*out*/) {
    return 0;
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/TransformFast.h"
