// Depth as a picture for people: color-mapped, with a scale bar beside it.
#ifndef OX3D_TOOL_DEPTH_VIEW_H
#define OX3D_TOOL_DEPTH_VIEW_H

#include "tools/ox3d/pictures/ColorMap.h"
#include "tools/ox3d/pictures/Images.h"

#include <vector>

namespace ox3d::tool {

// Round numbers (1, 2 or 5 times a power of ten apart) inside the range, ascending; at most maxTicks of them.
std::vector<uint32_t> TicksOf(const DepthRange& range, uint32_t maxTicks);

// The color-mapped image with a scale bar at its right whose ticks are labelled in millimetres.
RgbImage DepthPicture(const DepthImage& depth);

} // namespace ox3d::tool

#endif
