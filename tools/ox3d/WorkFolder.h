// The working directory, into which the library writes its log and the camera's calibration file.
#ifndef OX3D_TOOL_WORK_FOLDER_H
#define OX3D_TOOL_WORK_FOLDER_H

#include <filesystem>

namespace ox3d::tool {

// Makes the folder (and those above it) the working directory. Throws CToolError.
void EnterFolder(const std::filesystem::path& folder);

} // namespace ox3d::tool

#endif
