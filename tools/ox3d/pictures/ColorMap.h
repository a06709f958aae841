// Colors for depth: near is red, far is blue, no data is black.
#ifndef OX3D_TOOL_COLOR_MAP_H
#define OX3D_TOOL_COLOR_MAP_H

#include "tools/ox3d/pictures/Images.h"

namespace ox3d::tool {

// The depths between which colors run, millimetres. Depths outside take the color of the nearer end.
struct DepthRange {
    uint32_t m_nearMm = 0;
    uint32_t m_farMm = 1;
};

// From the first to the ninety-ninth percentile of the valid samples, so that a few stray ones do not eat
// the colors. Without any valid sample 0 to 1000.
DepthRange RangeOf(const DepthImage& depth);

// position 0 = near, 1 = far; outside is clamped.
Rgb MapColor(float position);

// The color of one sample; black for 0.
Rgb DepthColor(uint16_t depthMm, const DepthRange& range);

} // namespace ox3d::tool

#endif
