// What disparities stand for: distances and points.
#include "tools/ox3d/stereo/StereoDepth.h"

#include <algorithm>
#include <cmath>

namespace ox3d::tool {
namespace {

// Millimetres, 0 where there is none.
double DistanceOf(int16_t sixteenths, const RectifiedCamera& camera) {
    const double shift = sixteenths / 16.0 + camera.m_offset;
    if (sixteenths <= 0 || !(shift > 0)) {
        return 0;
    }
    const double distance = camera.m_fx * camera.m_baseLineMm / shift;
    return distance >= 0.5 && distance < 65535.5 ? distance : 0;
}

} // namespace

DepthImage DepthOf(const DisparityImage& found, const RectifiedCamera& camera) {
    DepthImage depth(found.m_width, found.m_height);
    std::transform(found.m_samples.begin(), found.m_samples.end(), depth.m_samples.begin(),
                   [&](int16_t d16) { return static_cast<uint16_t>(std::lround(DistanceOf(d16, camera))); });
    return depth;
}

PointCloud PointsOf(const DisparityImage& found, const RectifiedCamera& camera, const RgbImage& color) {
    struct Point {
        float m_x;
        float m_y;
        float m_z;
    };
    std::vector<Point> points(found.m_samples.size());
    std::vector<uint8_t> colors(4 * found.m_samples.size(), 255);
    size_t i = 0;
    for (uint32_t y = 0; y < found.m_height; ++y) {
        for (uint32_t x = 0; x < found.m_width; ++x, ++i) {
            const double distance = DistanceOf(found.m_samples[i], camera);
            points[i] = {static_cast<float>((x - camera.m_cx) / camera.m_fx * distance),
                         static_cast<float>((y - camera.m_cy) / camera.m_fy * distance),
                         static_cast<float>(distance)};
            const Rgb& here = color.m_samples[i];
            const uint8_t samples[3] = {here.r, here.g, here.b};
            std::copy_n(samples, 3, &colors[4 * i]);
        }
    }
    OX3D_RGBD_CLOUD cloud{};
    cloud.pPoints = points.data();
    cloud.pColors = colors.data();
    cloud.nWidth = found.m_width;
    cloud.nHeight = found.m_height;
    cloud.nPointStride = sizeof(Point);
    cloud.nColorStride = 4;
    return CloudOf(cloud);
}

} // namespace ox3d::tool
