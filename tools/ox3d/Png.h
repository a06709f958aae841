// Writing PNG files over libpng. Both functions throw CToolError when the file cannot be written.
#ifndef OX3D_TOOL_PNG_H
#define OX3D_TOOL_PNG_H

#include "tools/ox3d/Images.h"

#include <string>

namespace ox3dtool {

void WritePng(const std::string& file, const RgbImage& image);   // 8 bits a channel
void WritePng(const std::string& file, const DepthImage& image); // 16 bits, grey, the samples as they are

} // namespace ox3dtool

#endif
