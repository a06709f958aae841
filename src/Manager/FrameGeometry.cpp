// FrameGeometry.cpp - see FrameGeometry.h.
#include "src/Manager/FrameGeometry.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace {

struct Size {
    double m_width;
    double m_height;
};

Size SizeOf(const NotedImage& image) {
    return {static_cast<double>(image.m_width), static_cast<double>(image.m_height)};
}

Lens LensOf(const float* intrinsics) {
    return {.m_fx = intrinsics[0], .m_fy = intrinsics[1], .m_cx = intrinsics[2], .m_cy = intrinsics[3]};
}

// Of the color camera, for images of the size that the set belongs to.
Lens CalibratedColorLens(const DepthCalibration& calibration) {
    Lens lens = LensOf(calibration.m_colorIntrinsics);
    for (size_t i = 0; i < lens.m_distortion.size(); ++i) {
        lens.m_distortion[i] = calibration.m_colorIntrinsics[4 + i];
    }
    return lens;
}

// The size of both cameras' images for which the set's intrinsics are; the depth's, where the set does not say it.
Size SetSize(const FrameNote& note, const DepthCalibration& calibration) {
    if (calibration.m_setWidth == 0 || calibration.m_setHeight == 0) {
        return SizeOf(note.m_images[0]);
    }
    return {static_cast<double>(calibration.m_setWidth), static_cast<double>(calibration.m_setHeight)};
}

// Images are scaled about their pixels' centres, the corners of both lie on each other.
Lens Scaled(Lens lens, const Size& from, const Size& to) {
    const double x = to.m_width / from.m_width;
    const double y = to.m_height / from.m_height;
    lens.m_fx *= x;
    lens.m_fy *= y;
    lens.m_cx = (lens.m_cx + 0.5) * x - 0.5;
    lens.m_cy = (lens.m_cy + 0.5) * y - 0.5;
    return lens;
}

// Depth that is registered in the plain way lies on the set's own pixels, whatever size that was meant for.
Lens RegisteredLens(const FrameNote& note, const DepthCalibration& calibration) {
    Lens lens = CalibratedColorLens(calibration);
    if (note.m_alignMode != 0) {
        return Scaled(lens, SetSize(note, calibration), SizeOf(note.m_images[0]));
    }
    // Targets are truncated: a pixel holds what falls between its centre and the next one's. Distortion stays out.
    lens.m_cx -= 0.5;
    lens.m_cy -= 0.5;
    lens.m_distortion = {};
    return lens;
}

} // namespace

Lens DepthLens(const FrameNote& note, const DepthCalibration& calibration) {
    if (note.IsDepthInColor()) {
        return RegisteredLens(note, calibration);
    }
    const Lens lens = LensOf(calibration.m_depthIntrinsics);
    // A set that was chosen by the depth's width is taken as it is, as registration takes it.
    const bool isOwn = calibration.m_setWidth == note.m_images[0].m_width;
    return isOwn ? lens : Scaled(lens, SetSize(note, calibration), SizeOf(note.m_images[0]));
}

Lens ColorLens(const FrameNote& note, const DepthCalibration& calibration) {
    if (note.IsColorInDepth()) {
        return DepthLens(note, calibration);
    }
    return Scaled(CalibratedColorLens(calibration), SetSize(note, calibration), SizeOf(note.m_images[1]));
}

namespace {

// Also in the single precision in which it is handed out.
bool IsNumber(double number) {
    return std::abs(number) <= std::numeric_limits<float>::max();
}

bool IsDivisor(double number) {
    return IsNumber(number) && std::abs(number) >= std::numeric_limits<float>::min();
}

bool AreNumbers(const Motion& motion) {
    return std::all_of(motion.m_rotation.begin(), motion.m_rotation.end(), IsNumber) &&
           std::all_of(motion.m_translation.begin(), motion.m_translation.end(), IsNumber);
}

// Transforms of the file need not be rotations to the last digit: registration takes them as they are, so the way back
// is their inverse, not their transpose.
bool Inverse(const Motion& motion, Motion* out) {
    const auto& r = motion.m_rotation;
    const auto minor = [&r](size_t a, size_t b, size_t c, size_t d) { return r[a] * r[d] - r[b] * r[c]; };
    const std::array<double, 9> adjugate = {minor(4, 5, 7, 8),  -minor(1, 2, 7, 8), minor(1, 2, 4, 5),
                                            -minor(3, 5, 6, 8), minor(0, 2, 6, 8),  -minor(0, 2, 3, 5),
                                            minor(3, 4, 6, 7),  -minor(0, 1, 6, 7), minor(0, 1, 3, 4)};
    const double determinant = r[0] * adjugate[0] + r[1] * adjugate[3] + r[2] * adjugate[6];
    Motion back;
    for (size_t i = 0; i < 9; ++i) {
        back.m_rotation[i] = adjugate[i] / determinant;
    }
    for (size_t row = 0; row < 3; ++row) {
        const double* const k = &back.m_rotation[3 * row];
        const auto& t = motion.m_translation;
        back.m_translation[row] = -(k[0] * t[0] + k[1] * t[1] + k[2] * t[2]);
    }
    *out = back;
    return std::isnormal(determinant) && AreNumbers(back);
}

} // namespace

bool IsUsable(const Lens& lens) {
    return IsDivisor(lens.m_fx) && IsDivisor(lens.m_fy) && IsNumber(lens.m_cx) && IsNumber(lens.m_cy) &&
           std::all_of(lens.m_distortion.begin(), lens.m_distortion.end(), IsNumber);
}

bool MotionBetween(const DepthCalibration& calibration, uint32_t from, uint32_t to, Motion* motion) {
    if (from == to) {
        *motion = {};
        return true;
    }
    if (!calibration.m_hasColor) {
        return false;
    }
    Motion forth;
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column) {
            forth.m_rotation[3 * row + column] = calibration.m_depthToColor[4 * row + column];
        }
        forth.m_translation[row] = calibration.m_depthToColor[4 * row + 3];
    }
    Motion back;
    if (!AreNumbers(forth) || !Inverse(forth, &back)) {
        return false;
    }
    *motion = from == OX3D_RGBD_CAMERA_DEPTH ? forth : back;
    return true;
}
