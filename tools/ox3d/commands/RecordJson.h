// What an enumeration tells of a camera, for --json.
#ifndef OX3D_TOOL_RECORD_JSON_H
#define OX3D_TOOL_RECORD_JSON_H

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Json.h"

namespace ox3d::tool {

Json RecordJson(const DeviceRecord& record);

} // namespace ox3d::tool

#endif
