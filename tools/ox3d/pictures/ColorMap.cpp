// The color map: a rainbow whose lightness rises to the middle and falls again, read from far to near.
#include "tools/ox3d/pictures/ColorMap.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace ox3d::tool {
namespace {

// Equidistant anchors from near to far, blended linearly.
constexpr std::array<Rgb, 9> kAnchors = {{{144, 12, 0},
                                          {216, 56, 8},
                                          {251, 128, 34},
                                          {238, 207, 58},
                                          {163, 252, 60},
                                          {50, 241, 151},
                                          {40, 187, 235},
                                          {70, 107, 227},
                                          {56, 34, 100}}};

uint8_t Blend(uint8_t a, uint8_t b, float t) {
    return static_cast<uint8_t>(std::lround(static_cast<float>(a) * (1.0F - t) + static_cast<float>(b) * t));
}

} // namespace

Rgb MapColor(float position) {
    const float scaled = std::clamp(position, 0.0F, 1.0F) * static_cast<float>(kAnchors.size() - 1);
    const size_t index = std::min(static_cast<size_t>(scaled), kAnchors.size() - 2);
    const float t = scaled - static_cast<float>(index);
    const Rgb& a = kAnchors[index];
    const Rgb& b = kAnchors[index + 1];
    return {Blend(a.r, b.r, t), Blend(a.g, b.g, t), Blend(a.b, b.b, t)};
}

DepthRange RangeOf(const DepthImage& depth) {
    std::array<uint32_t, 65536> histogram{};
    for (const uint16_t sample : depth.m_samples) {
        ++histogram[sample];
    }
    const uint64_t valid = depth.m_samples.size() - histogram[0];
    if (valid == 0) {
        return {0, 1000};
    }
    const auto percentile = [&](uint64_t percent) {
        const uint64_t wanted = valid * percent / 100;
        uint64_t seen = 0;
        for (uint32_t value = 1; value < histogram.size(); ++value) {
            seen += histogram[value];
            if (seen > wanted) {
                return value;
            }
        }
        return static_cast<uint32_t>(histogram.size() - 1);
    };
    const uint32_t nearMm = percentile(1);
    return {nearMm, std::max(percentile(99), nearMm + 1)};
}

Rgb DepthColor(uint16_t depthMm, const DepthRange& range) {
    if (depthMm == 0) {
        return {};
    }
    const float span = static_cast<float>(range.m_farMm) - static_cast<float>(range.m_nearMm);
    return MapColor((static_cast<float>(depthMm) - static_cast<float>(range.m_nearMm)) / span);
}

} // namespace ox3d::tool
