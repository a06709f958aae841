// Points of a depth image.
#include "tools/ox3d/pictures/DepthCloud.h"

#include <algorithm>
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

// Where the lens puts what a pinhole would see there, in focal lengths.
Sight Distorted(const Sight& sight, const RecordedLens& lens) {
    const auto& [x, y] = sight;
    const double r2 = x * x + y * y;
    const auto& [k1, k2, p1, p2, k3] = lens.m_distortion;
    const double radial = 1 + k1 * r2 + k2 * r2 * r2 + k3 * r2 * r2 * r2;
    return {x * radial + 2 * p1 * x * y + p2 * (r2 + 2 * x * x),
            y * radial + 2 * p2 * x * y + p1 * (r2 + 2 * y * y)};
}

// The other way, step by step.
Sight Undistorted(const Sight& seen, const RecordedLens& lens) {
    constexpr int kMostSteps = 100;
    constexpr double kNear = 1e-7; // focal lengths, less than a thousandth of a pixel
    Sight sight = seen;
    for (int step = 0; step < kMostSteps; ++step) {
        const Sight got = Distorted(sight, lens);
        const Sight off = {got.m_x - seen.m_x, got.m_y - seen.m_y};
        if (std::fabs(off.m_x) < kNear && std::fabs(off.m_y) < kNear) {
            return sight;
        }
        sight = {sight.m_x - off.m_x, sight.m_y - off.m_y};
    }
    return {NAN, NAN};
}

// The color where the lens shows the point; lens and image may differ in size.
Rgb ColorAt(const Point& p, const RecordedLens& lens, const RgbImage& color) {
    if (p[2] <= 0) {
        return kUnseen;
    }
    const Sight seen = Distorted({p[0] / p[2], p[1] / p[2]}, lens);
    const double scaleX = static_cast<double>(color.m_width) / lens.m_width;
    const double scaleY = static_cast<double>(color.m_height) / lens.m_height;
    // Pixel centres are at whole numbers.
    const double column = std::floor((lens.m_fx * seen.m_x + lens.m_cx + 0.5) * scaleX);
    const double row = std::floor((lens.m_fy * seen.m_y + lens.m_cy + 0.5) * scaleY);
    if (!(column >= 0 && row >= 0 && column < color.m_width && row < color.m_height)) {
        return kUnseen;
    }
    return color.At(static_cast<uint32_t>(column), static_cast<uint32_t>(row));
}

} // namespace

CDepthCloud::CDepthCloud(const RecordedCalibration& calibration, EDepthView view, uint32_t width,
                         uint32_t height)
    : m_calibration(calibration), m_isOnColor(view != EDepthView::Sensor) {
    RecordedLens lens = m_isOnColor ? calibration.m_color : calibration.m_depth;
    if (view ==
        EDepthView::Registered) { // its pixels begin where others have their centres, and know no distortion
        lens.m_cx -= 0.5;
        lens.m_cy -= 0.5;
    }
    m_sights.reserve(size_t{width} * height);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            Sight sight = {(x - lens.m_cx) / lens.m_fx, (y - lens.m_cy) / lens.m_fy};
            if (view == EDepthView::OnColor) {
                sight = Undistorted(sight, lens);
            }
            m_sights.push_back(sight);
        }
    }
}

PointCloud CDepthCloud::Of(const DepthImage& depth, const RgbImage& color) const {
    PointCloud cloud;
    cloud.m_hasColor = !color.IsEmpty();
    for (size_t i = 0; i < std::min(m_sights.size(), depth.m_samples.size()); ++i) {
        const double z = depth.m_samples[i];
        if (z == 0 || !std::isfinite(m_sights[i].m_x + m_sights[i].m_y)) {
            continue;
        }
        const Point point = {m_sights[i].m_x * z, m_sights[i].m_y * z, z};
        CloudPoint& out = cloud.m_points.emplace_back();
        out.m_x = static_cast<float>(point[0] / kMetre);
        out.m_y = static_cast<float>(point[1] / kMetre);
        out.m_z = static_cast<float>(point[2] / kMetre);
        if (cloud.m_hasColor) {
            out.m_color = m_isOnColor ? color.m_samples[i]
                                      : ColorAt(Moved(point, m_calibration.m_depthToColor),
                                                m_calibration.m_color, color);
        }
    }
    return cloud;
}

} // namespace ox3d::tool
