// Statuses as text: the library's own words, without the name that they begin with.
#include "tools/ox3d/Status.h"

#include <cstdio>
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <string_view>

namespace ox3d::tool {

std::string StatusText(uint32_t status) {
    const std::string_view text = OX3D_RGBD_StatusText(status);
    const size_t name = text.find(": ");
    char code[16];
    std::snprintf(code, sizeof(code), " (0x%08x)", static_cast<unsigned>(status));
    return std::string(text.substr(name == text.npos ? 0 : name + 2)) + code;
}

} // namespace ox3d::tool
