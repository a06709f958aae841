// What a lens does to the rays of a pinhole camera, there and back.
// Relies on Matrix3.h.
#pragma once

#include "algorithm/vision/Matrix3.h"

namespace ox3d::vision {

struct Point2 {
    double x;
    double y;
};

constexpr size_t kDistortions = 5; // k1, k2, p1, p2, k3

struct Lens {
    double m_fx, m_fy, m_cx, m_cy; // pixels
    double m_distortion[kDistortions];
};

// Where the lens lets a ray (x, y, 1) come through, on the same plane.
Point2 Distorted(const double (&k)[kDistortions], const Point2& ray);

// The same, and how that place moves with the ray: the slope of one axis by the other is the same both ways.
struct LensSlopes {
    Point2 m_at;
    double m_xx, m_xy, m_yy;
    double m_radial; // of the distance from the middle: positive where the model does not fold back
};
LensSlopes SlopesOf(const double (&k)[kDistortions], const Point2& ray);

// Newton's iteration on that. False where no ray belongs to the point: beyond the radius at which the model folds back, or
// where nothing converges.
bool Undistort(const double (&k)[kDistortions], const Point2& distorted, Point2* ray);

// The ray (x, y, 1) through a pixel, and the pixel of a point in front of the camera.
bool RayOf(const Lens& lens, const Point2& pixel, Vector3* ray);
Point2 PixelOf(const Lens& lens, const Vector3& point);

} // namespace ox3d::vision
