// Point clouds as PCD files, version 0.7, binary.
#ifndef OX3D_TOOL_PCD_H
#define OX3D_TOOL_PCD_H

#include "tools/ox3d/pictures/PointCloud.h"

#include <string>

namespace ox3d::tool {

// Throws CToolError.
void WritePcd(const std::string& file, const PointCloud& cloud);

} // namespace ox3d::tool

#endif
