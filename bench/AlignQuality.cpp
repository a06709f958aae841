// AlignQuality.cpp - see AlignQuality.h.
#include "bench/AlignQuality.h"

#include <algorithm>
#include <cmath>

namespace ox3dbench {
namespace {

constexpr double kStep = 0.03;  // of a depth, between two surfaces
constexpr double kFlat = 0.001; // of a depth, off the straight line
constexpr double kNoiseMm = 4;
constexpr double kReach = 0.49; // of a sample, in pixels

struct Point {
    double m_x;
    double m_y;
    double m_z;
};

// Shifts back, then rotates back.
Point ToDepth(const ox3d::RgbdCalibration& c, const Point& p) {
    const double* r = c.m_rotation;
    const double x = p.m_x - c.m_translationMm[0];
    const double y = p.m_y - c.m_translationMm[1];
    const double z = p.m_z - c.m_translationMm[2];
    return {r[0] * x + r[3] * y + r[6] * z, r[1] * x + r[4] * y + r[7] * z, r[2] * x + r[5] * y + r[8] * z};
}

double Share(size_t part, size_t whole) {
    return static_cast<double>(part) / static_cast<double>(std::max<size_t>(whole, 1));
}

} // namespace

CAlignTruth::CAlignTruth(const ox3d::FrameSourceConfig& config, uint64_t frame, const Lens& lens)
    : m_scene(config), m_calibration(m_scene.Calibration()), m_frame(frame), m_width(config.m_depthWidth),
      m_height(config.m_depthHeight) {
    const ox3d::RgbdIntrinsics scene = m_calibration.m_color;
    m_calibration.m_color.m_fx *= lens.m_zoom;
    m_calibration.m_color.m_fy *= lens.m_zoom;
    std::copy(std::begin(lens.m_distortion), std::end(lens.m_distortion), m_calibration.m_distortion);
    for (uint32_t row = 0; row < m_height; ++row) {
        for (uint32_t column = 0; column < m_width; ++column) {
            const Direction direction = DirectionOf(column, row);
            const double depth = m_scene
                                     .FromColorCamera(frame, direction.m_x * scene.m_fx + scene.m_cx,
                                                      direction.m_y * scene.m_fy + scene.m_cy)
                                     .m_depthMm;
            m_truth.push_back(static_cast<float>(depth));
            m_sample.push_back(SampleOf(direction, depth));
        }
    }
}

// The ray of a pixel of the color camera, with the distortion taken out step by step.
CAlignTruth::Direction CAlignTruth::DirectionOf(double column, double row) const {
    const ox3d::RgbdIntrinsics& k = m_calibration.m_color;
    const double* c = m_calibration.m_distortion;
    const Direction bent = {(column - k.m_cx) / k.m_fx, (row - k.m_cy) / k.m_fy};
    Direction d = bent;
    for (int i = 0; i < 20; ++i) {
        const double r2 = d.m_x * d.m_x + d.m_y * d.m_y;
        const double q = 1 + r2 * (c[0] + r2 * (c[1] + r2 * c[4]));
        const double xy = 2 * d.m_x * d.m_y;
        d = {(bent.m_x - c[2] * xy - c[3] * (r2 + 2 * d.m_x * d.m_x)) / q,
             (bent.m_y - c[3] * xy - c[2] * (r2 + 2 * d.m_y * d.m_y)) / q};
    }
    return d;
}

// The pixel of the depth image that has a sample of the point's surface around it, or -1. Points in the outermost
// hundredth of a pixel are left out: to which side they fall is a matter of the last millimetre.
ptrdiff_t CAlignTruth::SampleOf(const Direction& direction, double depth) const {
    const Point point = ToDepth(m_calibration, {direction.m_x * depth, direction.m_y * depth, depth});
    const ox3d::RgbdIntrinsics& k = m_calibration.m_depth;
    const double u = point.m_x / point.m_z * k.m_fx + k.m_cx;
    const double v = point.m_y / point.m_z * k.m_fy + k.m_cy;
    const double column = std::round(u);
    const double row = std::round(v);
    const bool isInside = depth > 0 && column >= 0 && row >= 0 && column < m_width && row < m_height &&
                          std::fabs(u - column) < kReach && std::fabs(v - row) < kReach;
    if (!isInside ||
        std::fabs(m_scene.FromDepthCamera(m_frame, column, row).m_depthMm - point.m_z) > kStep * point.m_z) {
        return -1;
    }
    return static_cast<ptrdiff_t>(row * m_width + column);
}

// Without the lens's distortion and zoom.
uint8_t CAlignTruth::MaskAt(uint32_t u, uint32_t v) const {
    const ox3d::RgbdIntrinsics& from = m_calibration.m_depth;
    const ox3d::RgbdIntrinsics& to = m_calibration.m_color;
    const double* r = m_calibration.m_rotation;
    const double* t = m_calibration.m_translationMm;
    const double z = m_scene.FromDepthCamera(m_frame, u, v).m_depthMm;
    const double x = (u - from.m_cx) / from.m_fx * z;
    const double y = (v - from.m_cy) / from.m_fy * z;
    const double depth = r[6] * x + r[7] * y + r[8] * z + t[2];
    const double column = (r[0] * x + r[1] * y + r[2] * z + t[0]) / depth * to.m_fx + to.m_cx;
    const double row = (r[3] * x + r[4] * y + r[5] * z + t[1]) / depth * to.m_fy + to.m_cy;
    if (column < -0.5 || row < -0.5 || column >= m_width - 0.5 || row >= m_height - 0.5) {
        return 64;
    }
    return m_scene.FromColorCamera(m_frame, column, row).m_depthMm < depth * (1 - kStep) ? 128 : 255;
}

// Whether the pixels around are of one surface that is nearly flat and not seen from its edge: there, a shift of
// the image shows as an error along the slope and as nothing else.
bool CAlignTruth::IsSmooth(size_t pixel) const {
    const size_t column = pixel % m_width;
    const size_t row = pixel / m_width;
    if (column < 2 || row < 2 || column + 2 >= m_width || row + 2 >= m_height) {
        return false;
    }
    const float own = m_truth[pixel];
    for (const size_t away : {size_t{1}, size_t{2}, size_t{m_width}, size_t{2} * m_width}) {
        const float before = m_truth[pixel - away];
        const float after = m_truth[pixel + away];
        if (std::fabs(before + after - 2 * own) > kFlat * own || std::fabs(after - before) > kStep * own) {
            return false;
        }
    }
    return own > 0;
}

// A pixel of the border between two surfaces may show either; one that shows what none around it does shows
// through a hole, or stands out.
bool CAlignTruth::Bleeds(size_t pixel, double depth) const {
    const size_t column = pixel % m_width;
    const size_t row = pixel / m_width;
    double nearest = 1e9;
    double farthest = 0;
    for (size_t y = row - std::min<size_t>(row, 1); y <= std::min<size_t>(row + 1, m_height - 1); ++y) {
        for (size_t x = column - std::min<size_t>(column, 1); x <= std::min<size_t>(column + 1, m_width - 1);
             ++x) {
            nearest = std::min<double>(nearest, m_truth[y * m_width + x]);
            farthest = std::max<double>(farthest, m_truth[y * m_width + x]);
        }
    }
    return depth > farthest * (1 + kStep) || depth < nearest * (1 - kStep);
}

// Least squares of error = shift . slope + offset.
void CAlignTruth::FitShift(const std::vector<uint16_t>& registered, AlignQuality* quality) const {
    double m[3][4] = {};
    for (size_t i = 0; i < registered.size(); ++i) {
        if (registered[i] == 0 || !IsSmooth(i)) {
            continue;
        }
        const double error = registered[i] - double{m_truth[i]};
        const double row[4] = {(m_truth[i + 1] - m_truth[i - 1]) * 0.5,
                               (m_truth[i + m_width] - m_truth[i - m_width]) * 0.5, 1.0, error};
        if (std::fabs(error) > kNoiseMm + 2 * (std::fabs(row[0]) + std::fabs(row[1]))) {
            continue;
        }
        for (int a = 0; a < 3; ++a) {
            for (int b = 0; b < 4; ++b) {
                m[a][b] += row[a] * row[b];
            }
        }
    }
    for (int pivot = 0; pivot < 3; ++pivot) {
        for (int a = 0; a < 3; ++a) {
            const double factor = a == pivot ? 0.0 : m[a][pivot] / m[pivot][pivot];
            for (int b = 0; b < 4; ++b) {
                m[a][b] -= factor * m[pivot][b];
            }
        }
    }
    quality->m_shiftX = m[0][3] / m[0][0];
    quality->m_shiftY = m[1][3] / m[1][1];
}

AlignQuality CAlignTruth::Judge(const std::vector<uint16_t>& depth,
                                const std::vector<uint16_t>& registered) const {
    AlignQuality quality = {};
    size_t seen = 0;
    size_t sampled = 0;
    size_t valid = 0;
    size_t bleeding = 0;
    std::vector<double> errors;
    for (size_t i = 0; i < registered.size(); ++i) {
        const bool isValid = registered[i] != 0;
        if (m_sample[i] >= 0) {
            ++seen;
            sampled += static_cast<size_t>(depth[static_cast<size_t>(m_sample[i])] != 0);
            valid += static_cast<size_t>(isValid);
        }
        if (isValid) {
            errors.push_back(std::fabs(registered[i] - double{m_truth[i]}));
            bleeding += static_cast<size_t>(Bleeds(i, registered[i]));
        }
    }
    quality.m_sourceShare = Share(sampled, seen);
    quality.m_validShare = Share(valid, seen);
    quality.m_bleedShare = Share(bleeding, registered.size());
    const auto middle = errors.begin() + static_cast<ptrdiff_t>(errors.size() / 2);
    std::nth_element(errors.begin(), middle, errors.end());
    quality.m_medianMm = errors.empty() ? NAN : *middle;
    FitShift(registered, &quality);
    return quality;
}

} // namespace ox3dbench
