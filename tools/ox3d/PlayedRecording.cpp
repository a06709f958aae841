// Playing a recording.
#include "tools/ox3d/PlayedRecording.h"

#include "base/LocalFile.h"
#include "recording/RecordingLayout.h"
#include "tools/ox3d/ExitCode.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

namespace ox3d::tool {

namespace fs = std::filesystem;

void CheckRecording(const fs::path& folder) {
    const std::string& name = folder.string();
    if (std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; })) {
        throw CToolError(EExitCode::Usage, "the recording's folder has control characters in its name");
    }
    std::error_code ignored;
    if (!fs::is_directory(folder, ignored)) {
        throw CToolError(EExitCode::Usage, "no such recording folder: " + name);
    }
    for (const char* const part : {kRecordingDepth, kRecordingCalibration}) {
        if (!fs::exists(folder / part, ignored)) {
            throw CToolError(EExitCode::Usage, name + " is no recording: it has no " + part);
        }
    }
}

std::string CameraListFor(const fs::path& folder) {
    return "[camera]\n"
           "serial = REC00000001\n"
           "model = Recording\n"
           "source = recording\n"
           "recording = " +
           folder.string() +
           "\n"
           "loop = yes\n";
}

CRecordingCamera::CRecordingCamera(const fs::path& folder) {
    const fs::path list = m_folder.Path() / "cameras.ini";
    const std::string text = CameraListFor(folder);
    if (!WriteLocalFile(list.string(), text.data(), text.size())) {
        throw CToolError(EExitCode::File, "cannot write " + list.string());
    }
    setenv(kListVariable, list.c_str(), 1);
}

} // namespace ox3d::tool
