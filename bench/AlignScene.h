// AlignScene.h - a frame and the cameras to align it with, in the types of the kernels and of their peers.
#ifndef OX3D_BENCH_ALIGN_SCENE_H
#define OX3D_BENCH_ALIGN_SCENE_H

#include "algorithm/alignment/ColorToDepth.h"
#include "recording/CalibrationText.h"

#include <cstdint>
#include <vector>

namespace ox3dbench {

struct AlignScene {
    int32_t m_width = 0;
    int32_t m_height = 0;
    std::vector<uint16_t> m_depth;
    std::vector<uint8_t> m_color; // three planes
    int32_t m_colorWidth = 0;
    int32_t m_colorHeight = 0;
    ox3d::AlignCameras m_cameras = {};

    ox3d::AlignArgs Args() const { return {m_depth.data(), m_width, m_height, 30, m_cameras}; }
    ox3d::ColorPlanes Color() const { return {m_color.data(), m_colorWidth, m_colorHeight}; }
    std::vector<uint16_t> Truncated() const;
    std::vector<uint16_t> Filled() const;
};

ox3d::AlignCameras CamerasOf(const ox3d::RgbdCalibration& calibration);

// OpenCV's, where it is installed; else empty.
std::vector<uint16_t> RegisteredByOpenCv(const AlignScene& scene, bool isDilated);

} // namespace ox3dbench

#endif
