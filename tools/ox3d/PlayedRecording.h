// Playing a recording: the list of cameras that the virtual provider reads, with one camera that plays it.
#ifndef OX3D_TOOL_RECORDING_H
#define OX3D_TOOL_RECORDING_H

#include "tools/ox3d/WorkFolder.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace ox3d::tool {

struct PlayOptions {
    bool m_isLooping = true;   // begin again at the end
    double m_speed = 1;        // of that of the recording
    bool m_isEthernet = false; // whatever it was: the library aligns images of Ethernet cameras alone
};

// As a camera, which the library opens only with a calibration, or for its images alone.
enum class EPlayedAs : uint8_t { Camera, Images };

// Throws a CToolError that names the missing part of a folder that does not look like a recording, or says why a file
// cannot be played.
void CheckRecording(const std::filesystem::path& path, EPlayedAs as = EPlayedAs::Camera);

// The text of the camera list. The path is absolute.
std::string CameraListFor(const std::filesystem::path& path, const PlayOptions& options = {});

// The variable that names the virtual provider's list of cameras.
constexpr const char* kListVariable = "OX3D_VIRTUAL_CAMERAS";

// While it lives, the virtual provider has that one camera.
class CRecordingCamera {
public:
    CRecordingCamera(const std::filesystem::path& path, const PlayOptions& options);

private:
    CScratchFolder m_folder;
};

} // namespace ox3d::tool

#endif
