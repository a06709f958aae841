// Building point clouds from those of the library, which have one point a pixel: so neighbours are known.
#include "tools/ox3d/pictures/PointCloud.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ox3d::tool {
namespace {

constexpr float kMetresPerMm = 0.001F;
constexpr uint8_t kGrey[4] = {128, 128, 128, 255};
constexpr uint32_t kMaxGapPixels = 3;  // registration leaves gaps of one or two pixels
constexpr float kSameSurface = 0.013F; // of the distance, a pixel: a larger step in depth is another surface
constexpr float kPixelOfOrdinaryLens = 0.002F; // radians, for samples without a neighbour

using PointImage = Image<CloudPoint>; // Z = 0: no point

float Distance(const CloudPoint& a, const CloudPoint& b) {
    return std::hypot(a.m_x - b.m_x, a.m_y - b.m_y, a.m_z - b.m_z);
}

// Metres from the point at (x, y) to the next one in the given direction, 0 when there is none on the same
// surface.
float GapTowards(const PointImage& points, uint32_t x, uint32_t y, uint32_t dx, uint32_t dy) {
    const CloudPoint& here = points.At(x, y);
    for (uint32_t i = 1; i <= kMaxGapPixels; ++i) {
        const uint32_t u = x + i * dx;
        const uint32_t v = y + i * dy;
        if (u >= points.m_width || v >= points.m_height) {
            return 0.0F;
        }
        const CloudPoint& next = points.At(u, v);
        if (next.m_z > 0.0F) {
            const bool isSame =
                std::abs(next.m_z - here.m_z) < kSameSurface * static_cast<float>(i) * here.m_z;
            return isSame ? Distance(here, next) : 0.0F;
        }
    }
    return 0.0F;
}

PointCloud Compact(const PointImage& points, bool hasColor) {
    PointCloud cloud;
    cloud.m_hasColor = hasColor;
    cloud.m_points.reserve(points.m_samples.size());
    for (uint32_t y = 0; y < points.m_height; ++y) {
        for (uint32_t x = 0; x < points.m_width; ++x) {
            CloudPoint point = points.At(x, y);
            if (point.m_z > 0.0F) {
                point.m_gap = std::max({GapTowards(points, x, y, 1, 0), GapTowards(points, x, y, 0, 1),
                                        point.m_z * kPixelOfOrdinaryLens});
                cloud.m_points.push_back(point);
            }
        }
    }
    return cloud;
}

} // namespace

PointCloud CloudOf(const OX3D_RGBD_CLOUD& cloud) {
    PointImage points(cloud.nWidth, cloud.nHeight);
    const auto* const numbers = static_cast<const uint8_t*>(cloud.pPoints);
    for (size_t i = 0; i < points.m_samples.size(); ++i) {
        float xyz[3];
        std::memcpy(xyz, numbers + i * cloud.nPointStride, sizeof(xyz));
        if (!(xyz[2] > 0.0F && std::isfinite(xyz[0]) && std::isfinite(xyz[1]) && std::isfinite(xyz[2]))) {
            continue;
        }
        const uint8_t* const rgba = cloud.pColors != nullptr ? cloud.pColors + i * cloud.nColorStride : kGrey;
        points.m_samples[i] = {xyz[0] * kMetresPerMm, xyz[1] * kMetresPerMm, xyz[2] * kMetresPerMm, 0.0F,
                               rgba[3] != 0 ? Rgb{rgba[0], rgba[1], rgba[2]}
                                            : Rgb{kGrey[0], kGrey[1], kGrey[2]}};
    }
    return Compact(points, cloud.pColors != nullptr);
}

} // namespace ox3d::tool
