// The little 3 x 3 algebra of cameras, in double precision and row-major.
// Relies on nothing.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>

namespace ox3d::vision {

using Vector3 = std::array<double, 3>;
using Matrix3 = std::array<double, 9>;

inline double Dot(const Vector3& a, const Vector3& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline double Norm(const Vector3& a) {
    return std::sqrt(Dot(a, a));
}

inline Vector3 Cross(const Vector3& a, const Vector3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline Vector3 Row(const Matrix3& m, size_t row) {
    return {m[3 * row], m[3 * row + 1], m[3 * row + 2]};
}

inline Vector3 Multiply(const Matrix3& m, const Vector3& v) {
    return {Dot(Row(m, 0), v), Dot(Row(m, 1), v), Dot(Row(m, 2), v)};
}

inline Matrix3 Transposed(const Matrix3& m) {
    return {m[0], m[3], m[6], m[1], m[4], m[7], m[2], m[5], m[8]};
}

inline Matrix3 Multiply(const Matrix3& a, const Matrix3& b) {
    Matrix3 product{};
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column) {
            for (size_t k = 0; k < 3; ++k) {
                product[3 * row + column] += a[3 * row + k] * b[3 * k + column];
            }
        }
    }
    return product;
}

// About an axis, by its length in radians.
inline Matrix3 TurnBy(const Vector3& axis) {
    const double angle = Norm(axis);
    const double first = angle > 1e-9 ? std::sin(angle) / angle : 1;
    const double second = angle > 1e-9 ? (1 - std::cos(angle)) / (angle * angle) : 0.5;
    const Matrix3 once = {0, -axis[2], axis[1], axis[2], 0, -axis[0], -axis[1], axis[0], 0};
    const Matrix3 twice = Multiply(once, once);
    Matrix3 turn = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (size_t i = 0; i < turn.size(); ++i) {
        turn[i] += first * once[i] + second * twice[i];
    }
    return turn;
}

inline Matrix3 Widened(const float (&m)[9]) {
    Matrix3 wide{};
    std::copy(std::begin(m), std::end(m), wide.begin());
    return wide;
}

inline Vector3 Widened(const float (&v)[3]) {
    return {v[0], v[1], v[2]};
}

inline void Narrow(const Vector3& v, float (&narrow)[3]) {
    std::transform(v.begin(), v.end(), narrow, [](double value) { return static_cast<float>(value); });
}

inline void Narrow(const Matrix3& m, float (&narrow)[9]) {
    std::transform(m.begin(), m.end(), narrow, [](double value) { return static_cast<float>(value); });
}

// False where the rows are linearly dependent as far as double precision can tell, or not finite. The
// determinant is judged against the volume that rows of these lengths can span, so that the scale of a row
// does not matter.
inline bool Invert(const Matrix3& m, Matrix3* inverse) {
    const Vector3 r0 = Row(m, 0);
    const Vector3 r1 = Row(m, 1);
    const Vector3 r2 = Row(m, 2);
    const Vector3 c0 = Cross(r1, r2);
    const Vector3 c1 = Cross(r2, r0);
    const Vector3 c2 = Cross(r0, r1);
    const double determinant = Dot(r0, c0);
    const double largest = Norm(r0) * Norm(r1) * Norm(r2);
    constexpr double kRounding = 8.0 * std::numeric_limits<double>::epsilon();
    if (!std::isfinite(largest) || !(std::fabs(determinant) > kRounding * largest)) {
        return false;
    }
    for (size_t row = 0; row < 3; ++row) {
        (*inverse)[3 * row] = c0[row] / determinant;
        (*inverse)[3 * row + 1] = c1[row] / determinant;
        (*inverse)[3 * row + 2] = c2[row] / determinant;
    }
    return true;
}

} // namespace ox3d::vision
