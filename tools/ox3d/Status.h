// Statuses of the library as text.
#ifndef OX3D_TOOL_STATUS_H
#define OX3D_TOOL_STATUS_H

#include <cstdint>
#include <string>

namespace ox3d::tool {

// For example "no data in time (0x80060006)".
std::string StatusText(uint32_t status);

} // namespace ox3d::tool

#endif
