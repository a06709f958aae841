// Scene.cpp - see Scene.h.
#include "bench/Scene.h"

#include "virtual-camera/frames/FrameSource.h"
#include "virtual-camera/frames/GroundTruth.h"

#include <algorithm>
#include <random>
#include <stdexcept>

namespace ox3dbench {
namespace {

void Take(const ox3d::RgbdIntrinsics& from, float (&to)[4]) {
    const double numbers[4] = {from.m_fx, from.m_fy, from.m_cx, from.m_cy};
    for (int i = 0; i < 4; ++i) {
        to[i] = static_cast<float>(numbers[i]);
    }
}

// Discs without depth until a tenth of the image has none, as a stereo camera leaves them in an office: at edges, on
// what shines, and where only one imager sees.
void MakeHoles(Size size, std::vector<int16_t>* depth) {
    std::minstd_rand random(1); // the same holes in every run
    const auto below = [&random](int32_t end) {
        return static_cast<int32_t>(random() % static_cast<uint32_t>(end));
    };
    auto missing = static_cast<size_t>(std::count(depth->begin(), depth->end(), 0));
    while (missing < depth->size() / 10) {
        const int32_t radius = 1 + below(size.m_width / 64 + 1);
        const int32_t column = below(size.m_width);
        const int32_t row = below(size.m_height);
        for (int32_t y = std::max(row - radius, 0); y < std::min(row + radius, size.m_height); ++y) {
            for (int32_t x = std::max(column - radius, 0); x < std::min(column + radius, size.m_width); ++x) {
                const bool isInside = (x - column) * (x - column) + (y - row) * (y - row) < radius * radius;
                int16_t& sample = (*depth)[static_cast<size_t>(y) * static_cast<size_t>(size.m_width) +
                                           static_cast<size_t>(x)];
                missing += isInside && sample != 0 ? 1 : 0;
                sample = isInside ? int16_t{0} : sample;
            }
        }
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
    MakeHoles(size, &m_depth);
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
