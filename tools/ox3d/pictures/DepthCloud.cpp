// Points of a depth image.
#include "tools/ox3d/pictures/DepthCloud.h"

#include <array>
#include <cmath>

namespace ox3d::tool {
namespace {

constexpr Rgb kUnseen = {128, 128, 128};
constexpr double kMetre = 1000; // millimetres

using Point = std::array<double, 3>;

Point Moved(const Point& p, const RecordedWay& way) {
    Point moved = way.m_translationMm;
    for (size_t row = 0; row < 3; ++row) {
        for (size_t i = 0; i < 3; ++i) {
            moved[row] += way.m_rotation[3 * row + i] * p[i];
        }
    }
    return moved;
}

// The color where the lens shows the point; lens and image may differ in size.
Rgb ColorAt(const Point& p, const RecordedLens& lens, const RgbImage& color) {
    if (p[2] <= 0) {
        return kUnseen;
    }
    const double x = p[0] / p[2];
    const double y = p[1] / p[2];
    const double r2 = x * x + y * y;
    const auto& [k1, k2, p1, p2, k3] = lens.m_distortion;
    const double radial = 1 + k1 * r2 + k2 * r2 * r2 + k3 * r2 * r2 * r2;
    const double u = lens.m_fx * (x * radial + 2 * p1 * x * y + p2 * (r2 + 2 * x * x)) + lens.m_cx;
    const double v = lens.m_fy * (y * radial + 2 * p2 * x * y + p1 * (r2 + 2 * y * y)) + lens.m_cy;
    const double scaleX = static_cast<double>(color.m_width) / lens.m_width;
    const double scaleY = static_cast<double>(color.m_height) / lens.m_height;
    const double column = std::floor((u + 0.5) * scaleX); // pixel centres are at whole numbers
    const double row = std::floor((v + 0.5) * scaleY);
    if (!(column >= 0 && row >= 0 && column < color.m_width && row < color.m_height)) {
        return kUnseen;
    }
    return color.At(static_cast<uint32_t>(column), static_cast<uint32_t>(row));
}

} // namespace

PointCloud CloudOfDepth(const DepthImage& depth, const RgbImage& color,
                        const RecordedCalibration& calibration, EDepthView view) {
    const bool isRegistered = view == EDepthView::Registered;
    RecordedLens lens = isRegistered ? calibration.m_color : calibration.m_depth;
    if (isRegistered) { // the registration's pixels begin where others have their centres
        lens.m_cx -= 0.5;
        lens.m_cy -= 0.5;
    }
    PointCloud cloud;
    cloud.m_hasColor = !color.IsEmpty();
    for (uint32_t y = 0; y < depth.m_height; ++y) {
        for (uint32_t x = 0; x < depth.m_width; ++x) {
            const double z = depth.At(x, y);
            if (z == 0) {
                continue;
            }
            const Point point = {(x - lens.m_cx) / lens.m_fx * z, (y - lens.m_cy) / lens.m_fy * z, z};
            CloudPoint& out = cloud.m_points.emplace_back();
            out.m_x = static_cast<float>(point[0] / kMetre);
            out.m_y = static_cast<float>(point[1] / kMetre);
            out.m_z = static_cast<float>(point[2] / kMetre);
            if (cloud.m_hasColor) {
                out.m_color = isRegistered ? color.At(x, y)
                                           : ColorAt(Moved(point, calibration.m_depthToColor),
                                                     calibration.m_color, color);
            }
        }
    }
    return cloud;
}

} // namespace ox3d::tool
