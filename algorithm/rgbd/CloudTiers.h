// CloudTiers.h - the loops of Cloud.h over one row, by tier. All are the same text (CloudFast.h), compiled for each.
#ifndef OX3D_RGBD_CLOUD_TIERS_H
#define OX3D_RGBD_CLOUD_TIERS_H

#include "algorithm/dispatch/KernelTier.h"
#include "algorithm/rgbd/Cloud.h"

namespace ox3d {

// Points by their numbers. Z = 0: none.
struct PointRow {
    float* m_x;
    float* m_y;
    float* m_z;
};

struct CloudKernels {
    // raysY is one number where isOneY.
    void (*m_backProject)(const uint16_t* depth, const float* raysX, const float* raysY, bool isOneY,
                          int32_t count, PointRow out);
    void (*m_move)(const float* move, int32_t count, PointRow points);
    // For 16-bit numbers: drops points that are as far as the limit along an axis, or whose Z rounds to 0.
    void (*m_limit)(float limit, int32_t count, PointRow points);
    // The pixel of each point, or -1.
    void (*m_locate)(const PointView& view, int32_t count, PointRow points, int32_t* pixels);
    // Of the rows above, at and below; each has a point without depth on both sides.
    void (*m_normals)(PointRow above, PointRow at, PointRow below, int32_t count, PointRow out);
    void (*m_storeFloats)(PointRow points, int32_t count, float* out);
    // With a color, as a fourth number.
    void (*m_storeColored)(PointRow points, const uint32_t* colors, int32_t count, float* out);
    void (*m_storeShorts)(PointRow points, int32_t count, int16_t* out);
    int32_t (*m_count)(const float* z, int32_t count);
};

// See CKernelChoice. There is one table for the reference and SSE2.
EKernelTier UseCloudKernelTier(EKernelTier tier);

namespace cloud_sse2 {
extern const CloudKernels kKernels;
}
namespace cloud_avx2 {
extern const CloudKernels kKernels;
}
namespace cloud_avx512 {
extern const CloudKernels kKernels;
}

} // namespace ox3d

#endif
