// Writing point clouds as PLY files.
#ifndef OX3D_TOOL_PLY_H
#define OX3D_TOOL_PLY_H

#include "tools/ox3d/pictures/PointCloud.h"

#include <string>

namespace ox3d::tool {

// Binary little-endian PLY: x, y, z as floats in metres, then red, green, blue as bytes where the cloud has
// color. Throws CToolError when the file cannot be written.
void WritePly(const std::string& file, const PointCloud& cloud);

} // namespace ox3d::tool

#endif
