// Depth as a small picture of characters.
#ifndef OX3D_TOOL_DEPTH_TEXT_H
#define OX3D_TOOL_DEPTH_TEXT_H

#include "tools/ox3d/pictures/Images.h"

#include <string>

namespace ox3d::tool {

// Lines of `columns` characters, a character being twice as high as wide, and one with the range: the nearer, the denser;
// blank without data. Empty for an empty image.
std::string DepthText(const DepthImage& depth, uint32_t columns);

} // namespace ox3d::tool

#endif
