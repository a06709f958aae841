// Two distorted, rotated cameras: where they see a point, in double precision.
// Relies on the library's small matrix algebra.
#pragma once

#include "algorithm/binostereo/Matrix3.h"
#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <algorithm>
#include <utility>

namespace ox3d::test {

using stereo::Matrix3;
using stereo::Vector3;

using Pixel = std::pair<double, double>;

// A turn by a rotation vector (radians), by Rodrigues' formula.
inline Matrix3 Turn(const Vector3& r) {
    const double angle = stereo::Norm(r);
    const double s = angle == 0 ? 1 : std::sin(angle) / angle;
    const double c = angle == 0 ? 0 : (1 - std::cos(angle)) / (angle * angle);
    Matrix3 m{};
    for (size_t i = 0; i < 3; ++i) {
        const Vector3 unit = {i == 0 ? 1.0 : 0, i == 1 ? 1.0 : 0, i == 2 ? 1.0 : 0};
        const Vector3 once = stereo::Cross(r, unit);
        const Vector3 twice = stereo::Cross(r, once);
        for (size_t row = 0; row < 3; ++row) {
            m[3 * row + i] = unit[row] + s * once[row] + c * twice[row];
        }
    }
    return m;
}

inline Pixel Project(const OXB3D_BINOSTEREO_CAMERA& camera, const Vector3& p) {
    const float* k = camera.distortion;
    const double x = p[0] / p[2];
    const double y = p[1] / p[2];
    const double r2 = x * x + y * y;
    const double q = 1 + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
    const double xd = x * q + 2.0 * k[2] * x * y + k[3] * (r2 + 2 * x * x);
    const double yd = y * q + k[2] * (r2 + 2 * y * y) + 2.0 * k[3] * x * y;
    return {camera.matrix[0] * xd + camera.matrix[2], camera.matrix[4] * yd + camera.matrix[5]};
}

// The point at distance 1 that a pixel sees, by fixed-point iteration on the forward model.
inline Vector3 RayOf(const OXB3D_BINOSTEREO_CAMERA& camera, const Pixel& pixel) {
    Vector3 ray = {0, 0, 1};
    for (int i = 0; i < 15; ++i) {
        const auto [u, v] = Project(camera, ray);
        ray[0] += (pixel.first - u) / camera.matrix[0];
        ray[1] += (pixel.second - v) / camera.matrix[4];
    }
    return ray;
}

struct StereoRig {
    OXB3D_BINOSTEREO_INIT_INPUT m_input{};

    StereoRig(const OXB3D_BINOSTEREO_CAMERA& left, const OXB3D_BINOSTEREO_CAMERA& right,
              const Matrix3& rotation, const Vector3& translation) {
        m_input.width = 640;
        m_input.height = 480;
        m_input.left = left;
        m_input.right = right;
        std::copy(rotation.begin(), rotation.end(), m_input.rotation);
        std::copy(translation.begin(), translation.end(), m_input.translation);
    }
    Vector3 ToRight(const Vector3& p) const {
        Vector3 moved{};
        for (size_t row = 0; row < 3; ++row) {
            const float* r = m_input.rotation + 3 * row;
            moved[row] = r[0] * p[0] + r[1] * p[1] + r[2] * p[2] + m_input.translation[row];
        }
        return moved;
    }
};

} // namespace ox3d::test
