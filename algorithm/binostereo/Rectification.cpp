// The geometry of calibrated rectification, in double precision. Rotations are combined as quaternions, whose
// half and whose shortest arc need no angle and have no special cases at the angles that occur.
// Relies on Lens.h and on what a calibration may say.
#include "algorithm/binostereo/Rectification.h"

#include "algorithm/binostereo/CalibrationCheck.h"
#include "algorithm/vision/Lens.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace ox3d::stereo {
namespace {

using namespace ox3d::vision;

using Camera = OXB3D_BINOSTEREO_CAMERA;

struct Quaternion {
    double w;
    Vector3 v;
};

struct Window {
    double m_left = std::numeric_limits<double>::max();
    double m_right = std::numeric_limits<double>::lowest();
    double m_top = std::numeric_limits<double>::max();
    double m_bottom = std::numeric_limits<double>::lowest();

    void Include(const Point2& p) {
        m_left = std::min(m_left, p.x);
        m_right = std::max(m_right, p.x);
        m_top = std::min(m_top, p.y);
        m_bottom = std::max(m_bottom, p.y);
    }
};

constexpr double kSmallestRayCosine = 0.1;   // a ray further than about 84 degrees off axis is not held
constexpr double kSmallestFocalLength = 1.0; // pixels
constexpr int kBorderSteps = 16;             // points along each side of an image

Matrix3 MatrixOf(const Quaternion& quaternion) {
    const double norm = std::sqrt(quaternion.w * quaternion.w + Dot(quaternion.v, quaternion.v));
    const double w = quaternion.w / norm;
    const double x = quaternion.v[0] / norm;
    const double y = quaternion.v[1] / norm;
    const double z = quaternion.v[2] / norm;
    return {1 - 2 * (y * y + z * z), 2 * (x * y - w * z),     2 * (x * z + w * y),
            2 * (x * y + w * z),     1 - 2 * (x * x + z * z), 2 * (y * z - w * x),
            2 * (x * z - w * y),     2 * (y * z + w * x),     1 - 2 * (x * x + y * y)};
}

// From the largest of the four components, which is at least one half; w comes out not negative.
Quaternion QuaternionOf(const Matrix3& m) {
    const double fourSquares[4] = {1 + m[0] + m[4] + m[8], 1 + m[0] - m[4] - m[8], 1 - m[0] + m[4] - m[8],
                                   1 - m[0] - m[4] + m[8]};
    const auto largest = std::max_element(std::begin(fourSquares), std::end(fourSquares)) - fourSquares;
    const double s = 2 * std::sqrt(fourSquares[largest]);
    const Vector3 antisymmetric = {m[7] - m[5], m[2] - m[6], m[3] - m[1]};
    Quaternion q{};
    if (largest == 0) {
        q = {s / 4, {antisymmetric[0] / s, antisymmetric[1] / s, antisymmetric[2] / s}};
    } else {
        const auto axis = static_cast<size_t>(largest - 1);
        q.w = antisymmetric[axis] / s;
        for (size_t i = 0; i < 3; ++i) {
            q.v[i] = i == axis ? s / 4 : (m[3 * axis + i] + m[3 * i + axis]) / s;
        }
    }
    if (q.w < 0) {
        q = {-q.w, {-q.v[0], -q.v[1], -q.v[2]}};
    }
    return q;
}

// The rotation of half the angle: halfway between the rotation and none.
Matrix3 HalfRotation(const Matrix3& rotation) {
    const Quaternion q = QuaternionOf(rotation);
    const double norm = std::sqrt(q.w * q.w + Dot(q.v, q.v));
    return MatrixOf({q.w + norm, q.v});
}

// The shortest turn that lays a direction along the row axis, to the side on which it already points.
Matrix3 TurnOntoRowAxis(const Vector3& direction) {
    const Vector3 axis = {direction[0] > 0 ? 1.0 : -1.0, 0, 0};
    return MatrixOf({Norm(direction) + Dot(direction, axis), Cross(direction, axis)});
}

// Adds one border pixel's place on the rectified image plane to the window; false where it has none.
bool IncludePixel(const Camera& camera, const Matrix3& rotation, const Point2& pixel, Window* window) {
    const Point2 distorted = {(pixel.x - static_cast<double>(camera.matrix[2])) / camera.matrix[0],
                              (pixel.y - static_cast<double>(camera.matrix[5])) / camera.matrix[4]};
    Point2 ray{};
    double coefficients[kDistortions];
    std::copy(std::begin(camera.distortion), std::end(camera.distortion), coefficients);
    if (!Undistort(coefficients, distorted, &ray)) {
        return false;
    }
    const Vector3 turned = Multiply(rotation, Vector3{ray.x, ray.y, 1});
    if (!(turned[2] > kSmallestRayCosine * Norm(turned))) {
        return false;
    }
    window->Include({turned[0] / turned[2], turned[1] / turned[2]});
    return true;
}

// Widens the window by a camera's field of view. Border pixels without a ray or with one too oblique for an
// image plane are left out, as long as half of the border is there.
bool IncludeFieldOfView(const Camera& camera, const Matrix3& rotation, double lastColumn, double lastRow,
                        Window* window) {
    int found = 0;
    for (int step = 0; step < kBorderSteps; ++step) {
        const double along = static_cast<double>(step) / kBorderSteps;
        const Point2 border[4] = {{along * lastColumn, 0},
                                  {lastColumn, along * lastRow},
                                  {(1 - along) * lastColumn, lastRow},
                                  {0, (1 - along) * lastRow}};
        for (const Point2& pixel : border) {
            found += IncludePixel(camera, rotation, pixel, window) ? 1 : 0;
        }
    }
    return found >= 2 * kBorderSteps;
}

// The window's middle comes to the image's middle.
bool FillProjection(const OXB3D_BINOSTEREO_INIT_INPUT& input, const Window& window, float (&projection)[12]) {
    const double lastColumn = input.width - 1;
    const double lastRow = input.height - 1;
    const double sources = std::min(std::min(input.left.matrix[0], input.left.matrix[4]),
                                    std::min(input.right.matrix[0], input.right.matrix[4]));
    const double focal = std::min(
        {sources, lastColumn / (window.m_right - window.m_left), lastRow / (window.m_bottom - window.m_top)});
    if (!(focal >= kSmallestFocalLength)) {
        return false;
    }
    std::fill(std::begin(projection), std::end(projection), 0.0F);
    projection[0] = static_cast<float>(focal);
    projection[2] = static_cast<float>((lastColumn - focal * (window.m_left + window.m_right)) / 2);
    projection[5] = static_cast<float>(focal);
    projection[6] = static_cast<float>((lastRow - focal * (window.m_top + window.m_bottom)) / 2);
    projection[10] = 1.0F;
    return true;
}

} // namespace

bool ComputeRectification(const OXB3D_BINOSTEREO_INIT_INPUT& input, Rectification* result) {
    if (!IsCamera(input.left) || !IsCamera(input.right) || !AllFinite(input.rotation) ||
        !AllFinite(input.translation)) {
        return false;
    }
    const Matrix3 rotation = Widened(input.rotation);
    const Vector3 translation = {input.translation[0], input.translation[1], input.translation[2]};
    const double baseLine = Norm(translation);
    if (!IsRotation(rotation) || !(baseLine > 0)) {
        return false;
    }
    // Left turns forward by half, right turns back by half: then they differ by a translation alone.
    const Matrix3 half = HalfRotation(rotation);
    const Matrix3 halfBack = Transposed(half);
    const Matrix3 turn = TurnOntoRowAxis(Multiply(halfBack, translation));
    const Matrix3 left = Multiply(turn, half);
    const Matrix3 right = Multiply(turn, halfBack);
    Window window;
    if (!IncludeFieldOfView(input.left, left, input.width - 1, input.height - 1, &window) ||
        !IncludeFieldOfView(input.right, right, input.width - 1, input.height - 1, &window) ||
        !FillProjection(input, window, result->m_projection)) {
        return false;
    }
    Narrow(left, result->m_leftRotation);
    Narrow(right, result->m_rightRotation);
    result->m_baseLine = static_cast<float>(baseLine);
    result->m_rightOffset = static_cast<float>(-Multiply(right, translation)[0]);
    return true;
}

} // namespace ox3d::stereo
