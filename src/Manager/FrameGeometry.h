// FrameGeometry.h - the lenses of a frame's images and the ways between its cameras, from the calibration and from how
// the frame was made. In double precision: what is derived has to be exact in the single precision of the file.
#ifndef OX3D_FRAME_GEOMETRY_H
#define OX3D_FRAME_GEOMETRY_H

#include <array>
#include <cstdint>

#include "src/Manager/CalibrationFile.h"
#include "src/Manager/FrameNotes.h"

// In pixels, whole numbers are the centres of pixels.
struct Lens {
    double m_fx = 1.0;
    double m_fy = 1.0;
    double m_cx = 0.0;
    double m_cy = 0.0;
    std::array<double, 5> m_distortion = {}; // k1, k2, p1, p2, k3

    bool operator==(const Lens&) const = default;
    bool IsDistorted() const { return m_distortion != std::array<double, 5>{}; }
};

// to = R * from + t
struct Motion {
    std::array<double, 9> m_rotation = {1, 0, 0, 0, 1, 0, 0, 0, 1}; // row by row
    std::array<double, 3> m_translation = {};
};

// Of the depth image, and of the color image, as the frame has them.
Lens DepthLens(const FrameNote& note, const DepthCalibration& calibration);
Lens ColorLens(const FrameNote& note, const DepthCalibration& calibration);

// Cameras are OX3D_RGBD_CAMERA_*. False when they differ and the way between them is none: it cannot be inverted, or the
// numbers are none; *motion is then unchanged.
bool MotionBetween(const DepthCalibration& calibration, uint32_t from, uint32_t to, Motion* motion);

// Whether images of this lens can be projected from: all are numbers, and the focal lengths can be divided by.
bool IsUsable(const Lens& lens);

#endif
