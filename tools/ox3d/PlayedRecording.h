// Playing a recording: the list of cameras that the virtual provider reads, with one camera that plays it.
#ifndef OX3D_TOOL_RECORDING_H
#define OX3D_TOOL_RECORDING_H

#include "tools/ox3d/WorkFolder.h"

#include <filesystem>
#include <string>

namespace ox3d::tool {

// Throws a CToolError that names the missing part of a folder that does not look like a recording.
void CheckRecording(const std::filesystem::path& folder);

// The text of the camera list. The folder is absolute.
std::string CameraListFor(const std::filesystem::path& folder);

// The variable that names the virtual provider's list of cameras.
constexpr const char* kListVariable = "OX3D_VIRTUAL_CAMERAS";

// While it lives, the virtual provider has that one camera.
class CRecordingCamera {
public:
    explicit CRecordingCamera(const std::filesystem::path& folder);

private:
    CScratchFolder m_folder;
};

} // namespace ox3d::tool

#endif
