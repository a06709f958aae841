// Feature values as text.
#ifndef OX3D_TOOL_FEATURE_TEXT_H
#define OX3D_TOOL_FEATURE_TEXT_H

#include <ox3drgbd/Ox3dRgbdDefine.h>
#include <string>

namespace ox3d::tool {

// The value and, where it has one, its range: "30 [1 .. 120]", "4 of 1, 2, 4", "yes", "a text".
std::string ValueText(const OX3D_RGBD_PARAM& param);

// "read-write" and so on.
const char* AccessText(Ox3dRgbdAccessMode mode);

} // namespace ox3d::tool

#endif
