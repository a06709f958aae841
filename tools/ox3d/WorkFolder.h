// Folders that the tool works in: temporary ones, and the working directory, into which the library writes its log and the camera's calibration file.
#ifndef OX3D_TOOL_WORK_FOLDER_H
#define OX3D_TOOL_WORK_FOLDER_H

#include "base/TempFolder.h"

#include <filesystem>

namespace ox3d::tool {

// A folder for temporary files that vanishes with its object. Throws CToolError.
class CScratchFolder : public CTempFolder {
public:
    CScratchFolder();
};

// What an environment variable names may be relative to the working directory, which commands change: names it from the
// root instead.
void KeepInReach(const char* variable);

// Makes the folder (and those above it) the working directory. Throws CToolError.
void EnterFolder(const std::filesystem::path& folder);

} // namespace ox3d::tool

#endif
