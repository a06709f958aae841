// Scene.cpp - see Scene.h.
#include "bench/Scene.h"

#include "virtual-camera/frames/FrameSource.h"
#include "virtual-camera/frames/GroundTruth.h"

#include <stdexcept>

namespace ox3dbench {
namespace {

void Take(const ox3d::RgbdIntrinsics& from, float (&to)[4]) {
    const double numbers[4] = {from.m_fx, from.m_fy, from.m_cx, from.m_cy};
    for (int i = 0; i < 4; ++i) {
        to[i] = static_cast<float>(numbers[i]);
    }
}

} // namespace

DepthScene::DepthScene(Size size) : m_size(size) {
    ox3d::FrameSourceConfig config;
    config.m_depthWidth = static_cast<uint32_t>(size.m_width);
    config.m_depthHeight = static_cast<uint32_t>(size.m_height);
    config.m_colorWidth = config.m_depthWidth;
    config.m_colorHeight = config.m_depthHeight;
    std::string error;
    const auto source = ox3d::CreateFrameSource(config, &error);
    ox3d::FrameImages images;
    if (source == nullptr || !source->Render(1, false, false, &images)) {
        throw std::runtime_error("no scene of " + size.Text() + ": " + error);
    }
    m_next.assign(images.m_depth.begin(), images.m_depth.end());
    source->Render(0, false, true, &images);
    m_depth.assign(images.m_depth.begin(), images.m_depth.end());
    m_grey.assign(images.m_greyPair.begin(),
                  images.m_greyPair.begin() + static_cast<ptrdiff_t>(size.Pixels()));
    const ox3d::RgbdCalibration calibration = ox3d::CGroundTruth(config).Calibration();
    Take(calibration.m_depth, m_depthCamera);
    Take(calibration.m_color, m_colorCamera);
    for (size_t row = 0; row < 3; ++row) {
        for (size_t column = 0; column < 3; ++column) {
            m_transform[4 * row + column] = static_cast<float>(calibration.m_rotation[3 * row + column]);
        }
        m_transform[4 * row + 3] = static_cast<float>(calibration.m_translationMm[row]);
    }
}

} // namespace ox3dbench
