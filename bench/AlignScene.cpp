// AlignScene.cpp - see AlignScene.h.
#include "bench/AlignScene.h"

#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <algorithm>

namespace ox3dbench {
namespace {

template <size_t N>
void Take(const ox3d::RgbdIntrinsics& from, float (&to)[N]) {
    const double numbers[4] = {from.m_fx, from.m_fy, from.m_cx, from.m_cy};
    std::transform(std::begin(numbers), std::end(numbers), to,
                   [](double n) { return static_cast<float>(n); });
}

} // namespace

std::vector<uint16_t> AlignScene::Truncated() const {
    std::vector<uint16_t> target(m_depth.size());
    OXB3D_BINOSTEREO_Comn_Trans_f32(reinterpret_cast<const int16_t*>(m_depth.data()), m_width, m_width,
                                    m_height, nullptr, reinterpret_cast<int16_t*>(target.data()), m_width,
                                    m_cameras.m_depth, m_cameras.m_transform, m_cameras.m_target, nullptr);
    return target;
}

std::vector<uint16_t> AlignScene::Filled() const {
    std::vector<uint16_t> target(m_depth.size());
    ox3d::Fill(Args(), target.data());
    return target;
}

ox3d::AlignCameras CamerasOf(const ox3d::RgbdCalibration& calibration) {
    ox3d::AlignCameras cameras = {};
    Take(calibration.m_depth, cameras.m_depth);
    Take(calibration.m_color, cameras.m_target);
    for (size_t i = 0; i < 9; ++i) {
        cameras.m_transform[i / 3 * 4 + i % 3] = static_cast<float>(calibration.m_rotation[i]);
    }
    for (size_t i = 0; i < 3; ++i) {
        cameras.m_transform[4 * i + 3] = static_cast<float>(calibration.m_translationMm[i]);
    }
    for (size_t i = 0; i < 5; ++i) {
        cameras.m_target[4 + i] = static_cast<float>(calibration.m_distortion[i]);
    }
    return cameras;
}

} // namespace ox3dbench
