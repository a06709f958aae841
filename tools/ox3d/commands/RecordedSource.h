// What a recorder is told of one of the tool's cameras.
#ifndef OX3D_TOOL_RECORDED_SOURCE_H
#define OX3D_TOOL_RECORDED_SOURCE_H

#include "recording/camera/CameraRecord.h"
#include "tools/ox3d/Camera.h"

#include <filesystem>

namespace ox3d::tool {

// What is known of the camera before its first frame; files go by way of the folder. A calibration that cannot be read is told.
RecordedCamera DescribeCamera(const CCamera& camera, const std::filesystem::path& scratch);

} // namespace ox3d::tool

#endif
