// LensRays.cpp - see LensRays.h.
#include "src/Manager/LensRays.h"

#include <cmath>
#include <limits>

#include "algorithm/alignment/LensTurn.h"

namespace {

constexpr uint32_t kMaxSteps = 30;
constexpr double kExact = 1e-10;      // of a direction, far below a pixel
constexpr double kMaxDirection = 1e4; // what looks farther aside sees nothing

struct Direction {
    double x;
    double y;
};

// Where a direction is seen, in focal lengths, and how that changes with it.
struct Distorted {
    Direction m_at;
    double m_xx;
    double m_xy; // of x with y, and of y with x
    double m_yy;
};

Distorted Distort(const std::array<double, 5>& k, const Direction& n) {
    const double r2 = n.x * n.x + n.y * n.y;
    const double q = 1.0 + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
    const double slope = 2.0 * (k[0] + r2 * (2.0 * k[1] + r2 * 3.0 * k[4])); // of q, over x or y
    return {{n.x * q + 2.0 * k[2] * n.x * n.y + k[3] * (r2 + 2.0 * n.x * n.x),
             n.y * q + 2.0 * k[3] * n.x * n.y + k[2] * (r2 + 2.0 * n.y * n.y)},
            q + n.x * n.x * slope + 2.0 * k[2] * n.y + 6.0 * k[3] * n.x,
            n.x * n.y * slope + 2.0 * k[2] * n.x + 2.0 * k[3] * n.y,
            q + n.y * n.y * slope + 2.0 * k[3] * n.x + 6.0 * k[2] * n.y};
}

// Newton's way from a start nearby. False where it leads nowhere.
bool Undistort(const std::array<double, 5>& k, const Direction& seen, double maxRadius2,
               Direction* direction) {
    Direction n = *direction;
    for (uint32_t step = 0; step < kMaxSteps; ++step) {
        const Distorted d = Distort(k, n);
        const double dx = d.m_at.x - seen.x;
        const double dy = d.m_at.y - seen.y;
        if (std::abs(dx) < kExact && std::abs(dy) < kExact) {
            *direction = n;
            return n.x * n.x + n.y * n.y <= maxRadius2;
        }
        const double determinant = d.m_xx * d.m_yy - d.m_xy * d.m_xy;
        n.x -= (d.m_yy * dx - d.m_xy * dy) / determinant;
        n.y -= (d.m_xx * dy - d.m_xy * dx) / determinant;
        if (!std::isfinite(n.x) || !std::isfinite(n.y)) {
            return false;
        }
    }
    return false;
}

float RayOrNone(double direction) {
    return std::abs(direction) <= kMaxDirection ? static_cast<float>(direction)
                                                : std::numeric_limits<float>::quiet_NaN();
}

} // namespace

void FillStraightRays(const Lens& lens, uint32_t width, uint32_t height, float* x, float* y) {
    for (uint32_t u = 0; u < width; ++u) {
        x[u] = RayOrNone((u - lens.m_cx) / lens.m_fx);
    }
    for (uint32_t v = 0; v < height; ++v) {
        y[v] = RayOrNone((v - lens.m_cy) / lens.m_fy);
    }
}

void FillDistortedRays(const Lens& lens, uint32_t width, uint32_t height, float* x, float* y) {
    const auto& k = lens.m_distortion;
    const double maxRadius2 = ox3d::MaxRadius2(k[0], k[1], k[4]);
    for (uint32_t v = 0; v < height; ++v) {
        Direction last = {};
        bool isNear = false; // the last pixel's direction is known, and where to begin
        for (uint32_t u = 0; u < width; ++u) {
            const Direction seen = {(u - lens.m_cx) / lens.m_fx, (v - lens.m_cy) / lens.m_fy};
            Direction direction = isNear ? last : seen;
            isNear = Undistort(k, seen, maxRadius2, &direction);
            last = direction;
            const double none = std::numeric_limits<double>::quiet_NaN();
            *x++ = RayOrNone(isNear ? direction.x : none);
            *y++ = RayOrNone(isNear ? direction.y : none);
        }
    }
}
