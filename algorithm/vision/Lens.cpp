// Lens.cpp - see Lens.h.
#include "algorithm/vision/Lens.h"

#include <cmath>

namespace ox3d::vision {

LensSlopes SlopesOf(const double (&k)[kDistortions], const Point2& ray) {
    const double x = ray.x;
    const double y = ray.y;
    const double p1 = k[2];
    const double p2 = k[3];
    const double r2 = x * x + y * y;
    const double q = 1 + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
    const double slope = k[0] + r2 * (2.0 * k[1] + r2 * 3.0 * k[4]);
    return {{x * q + 2 * p1 * x * y + p2 * (r2 + 2 * x * x), y * q + 2 * p2 * x * y + p1 * (r2 + 2 * y * y)},
            q + 2 * x * x * slope + 2 * p1 * y + 6 * p2 * x,
            2 * x * y * slope + 2 * p1 * x + 2 * p2 * y,
            q + 2 * y * y * slope + 6 * p1 * y + 2 * p2 * x,
            q + 2 * r2 * slope};
}

Point2 Distorted(const double (&k)[kDistortions], const Point2& ray) {
    return SlopesOf(k, ray).m_at;
}

bool Undistort(const double (&k)[kDistortions], const Point2& distorted, Point2* ray) {
    Point2 p = distorted;
    for (int iteration = 0; iteration < 30; ++iteration) {
        const LensSlopes through = SlopesOf(k, p);
        const double dx = through.m_at.x - distorted.x;
        const double dy = through.m_at.y - distorted.y;
        if (std::fabs(dx) < 1e-9 && std::fabs(dy) < 1e-9) {
            *ray = p;
            return through.m_radial > 0;
        }
        const double determinant = through.m_xx * through.m_yy - through.m_xy * through.m_xy;
        p.x -= (through.m_yy * dx - through.m_xy * dy) / determinant;
        p.y -= (through.m_xx * dy - through.m_xy * dx) / determinant;
    }
    return false;
}

bool RayOf(const Lens& lens, const Point2& pixel, Vector3* ray) {
    Point2 at{};
    if (!Undistort(lens.m_distortion, {(pixel.x - lens.m_cx) / lens.m_fx, (pixel.y - lens.m_cy) / lens.m_fy},
                   &at)) {
        return false;
    }
    *ray = {at.x, at.y, 1};
    return true;
}

Point2 PixelOf(const Lens& lens, const Vector3& point) {
    const Point2 at = Distorted(lens.m_distortion, {point[0] / point[2], point[1] / point[2]});
    return {lens.m_fx * at.x + lens.m_cx, lens.m_fy * at.y + lens.m_cy};
}

} // namespace ox3d::vision
