// The camera control that the command line asks for, entered when a command first needs it: a command may do
// without.
#ifndef OX3D_TOOL_CAMERA_CONTROL_H
#define OX3D_TOOL_CAMERA_CONTROL_H

#include "tools/ox3d/PlayedRecording.h"
#include "tools/ox3d/Provider.h"

#include <optional>
#include <string>

namespace ox3d::tool {

struct CameraControlRequest {
    std::string m_provider;  // as for ChooseProvider()
    std::string m_recording; // a file or a folder to play; empty: none
    PlayOptions m_play;
};

class CCameraControl {
public:
    // Throws CToolError for a recording that cannot be played.
    explicit CCameraControl(const CameraControlRequest& request);

    // Whether the command line names one, so that a command must not do without.
    bool IsNamed() const { return !m_request.empty(); }

    // From here on the library finds this provider, and Ctrl-C only sets a flag. Throws CToolError.
    const ProviderChoice& Enter();

private:
    std::string m_request;
    std::filesystem::path m_recording; // absolute
    PlayOptions m_play;
    ProviderChoice m_choice;
    std::optional<CRecordingCamera> m_recordingCamera;
};

} // namespace ox3d::tool

#endif
