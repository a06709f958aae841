// Pairs of cameras, and where they see a point, in double precision.
#pragma once

#include "algorithm/vision/Matrix3.h"
#include "tests/algorithm/TestObject.h"

#include <cmath>
#include <utility>

namespace ox3d::test {

using vision::Matrix3;
using vision::Multiply;
using vision::Norm;
using vision::Transposed;
using vision::Vector3;
using vision::Widened;
using Camera = OXB3D_BINOSTEREO_CAMERA;
using Rig = OXB3D_BINOSTEREO_INIT_INPUT;
using Pixel = std::pair<double, double>;

// A turn by a rotation vector (radians), by Rodrigues' formula.
inline Matrix3 Turn(const Vector3& r) {
    const double angle = std::max(Norm(r), 1e-9);
    const Matrix3 once = {0, -r[2], r[1], r[2], 0, -r[0], -r[1], r[0], 0};
    const Matrix3 twice = Multiply(once, once);
    Matrix3 turn = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (size_t i = 0; i < 9; ++i) {
        turn[i] += std::sin(angle) / angle * once[i] + (1 - std::cos(angle)) / (angle * angle) * twice[i];
    }
    return turn;
}

inline Pixel Project(const Camera& camera, const Vector3& p) {
    const float* k = camera.distortion;
    const double x = p[0] / p[2], y = p[1] / p[2];
    const double r2 = x * x + y * y;
    const double q = 1 + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
    const double xd = x * q + 2.0 * k[2] * x * y + k[3] * (r2 + 2 * x * x);
    const double yd = y * q + k[2] * (r2 + 2 * y * y) + 2.0 * k[3] * x * y;
    return {camera.matrix[0] * xd + camera.matrix[2], camera.matrix[4] * yd + camera.matrix[5]};
}

// Rotation and translation take a point of the left camera's frame into the right one's.
inline Rig StereoRig(const Camera& left, const Camera& right, const Matrix3& rotation,
                     const Vector3& translation) {
    Rig rig{640, 480, left, right, {}, {}, {}};
    std::copy(rotation.begin(), rotation.end(), rig.rotation);
    std::copy(translation.begin(), translation.end(), rig.translation);
    return rig;
}

inline constexpr Camera kPlain = {{500, 0, 320, 0, 500, 240, 0, 0, 1}, {}};
inline constexpr Camera kBarrel = {{520, 0, 311, 0, 516, 247, 0, 0, 1},
                                   {-0.21F, 0.06F, 0.0012F, -0.0009F, -0.008F}};
inline constexpr Camera kPincushion = {{498, 0, 331, 0, 503, 229, 0, 0, 1},
                                       {0.11F, -0.03F, -0.0007F, 0.0015F, 0.002F}};
inline const Rig kLevel = StereoRig(kPlain, kPlain, Turn({}), {-80, 0, 0});
inline const Rig kVerging = StereoRig(kBarrel, kPincushion, Turn({0.02, 0.09, -0.03}), {-80, 4, 6});
inline const Rig kRightOnTheLeft = StereoRig(kBarrel, kBarrel, Turn({-0.04, -0.05, 0.06}), {75, -6, 3});
inline const Rig kFarFromLevel = StereoRig(kPincushion, kBarrel, Turn({0.06, 0.01, 0.12}), {-60, 30, -8});

} // namespace ox3d::test
