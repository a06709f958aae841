// Depth edges on color.
#include "tools/ox3d/pictures/Overlay.h"

#include "tools/ox3d/pictures/DepthEdges.h"

namespace ox3d::tool {
namespace {

constexpr Rgb kEdge = {0, 255, 160};

// Halfway to grey and darker, so that the lines stand out and the picture stays readable.
Rgb ToneDown(Rgb color) {
    const uint32_t grey = (color.r * 77U + color.g * 150U + color.b * 29U) >> 8;
    const auto mix = [&](uint8_t channel) { return static_cast<uint8_t>((channel + grey) * 3 / 8); };
    return {mix(color.r), mix(color.g), mix(color.b)};
}

} // namespace

RgbImage OverlayPicture(const RgbImage& color, const DepthImage& depth) {
    const MaskImage edges = FindDepthEdges(depth);
    RgbImage picture(color.m_width, color.m_height);
    for (size_t i = 0; i < picture.m_samples.size(); ++i) {
        picture.m_samples[i] = edges.m_samples[i] != 0 ? kEdge : ToneDown(color.m_samples[i]);
    }
    return picture;
}

} // namespace ox3d::tool
