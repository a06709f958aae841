// Playing a recording.
#include "tools/ox3d/Recording.h"

#include "tools/ox3d/ExitCode.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>

namespace ox3dtool {

namespace fs = std::filesystem;

namespace {

constexpr const char* kListVariable = "OX3D_VIRTUAL_CAMERAS";

} // namespace

void CheckRecording(const fs::path& folder) {
    const std::string& name = folder.string();
    if (std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; })) {
        throw CToolError(kExitUsage, "the recording's folder has control characters in its name");
    }
    std::error_code ignored;
    if (!fs::is_directory(folder, ignored)) {
        throw CToolError(kExitUsage, "no such recording folder: " + name);
    }
    for (const char* const part : {"depth", "calibration.xml"}) {
        if (!fs::exists(folder / part, ignored)) {
            throw CToolError(kExitUsage, name + " is no recording: it has no " + part);
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

void KeepCameraListInReach() {
    const char* const list = std::getenv(kListVariable);
    if (list != nullptr && list[0] != '\0') {
        setenv(kListVariable, fs::absolute(list).c_str(), 1);
    }
}

CRecordingCamera::CRecordingCamera(const fs::path& folder) {
    const fs::path list = m_folder.Path() / "cameras.ini";
    WriteText(list, CameraListFor(folder));
    setenv(kListVariable, list.c_str(), 1);
}

} // namespace ox3dtool
