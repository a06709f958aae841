// The bilinear scaler in plain loops, for every processor.
// Relies on BilinearFast.h.
#define OX3D_TIER sse2
#include "algorithm/scaling/BilinearStrip.h"

namespace ox3d::scaling::OX3D_TIER {
namespace {

// Without byte shuffles there are neither tables of units nor groups: the plain loops compute every sample.
constexpr bool kHasUnits = false;

void FilterUnits(const Strip& /*strip*/, const SourceRows& /*src*/, const LineRows& /*line*/,
                 int32_t /*rows*/) {}

int32_t BlendGroups(const int16_t* /*nearer*/, const int16_t* /*farther*/, int16_t /*factor*/,
                    int32_t /*count*/, uint8_t* /*out*/) {
    return 0;
}

} // namespace
} // namespace ox3d::scaling::OX3D_TIER

#include "algorithm/scaling/BilinearFast.h"
