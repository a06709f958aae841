// Playing a recording.
#include "tools/ox3d/PlayedRecording.h"

#include "base/LocalFile.h"
#include "recording/RecordingLayout.h"
#include "recording/RecordingReader.h"
#include "tools/ox3d/ExitCode.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace ox3d::tool {

namespace fs = std::filesystem;

void CheckRecording(const fs::path& path, EPlayedAs as) {
    const std::string& name = path.string();
    if (std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; })) {
        throw CToolError(EExitCode::Usage, "the recording has control characters in its name");
    }
    std::error_code ignored;
    if (!fs::exists(path, ignored)) {
        throw CToolError(EExitCode::File, name + ": no such file or folder");
    }
    if (!fs::is_directory(path, ignored)) {
        std::string error;
        const auto reader = CRecordingReader::Open(name, &error);
        if (reader == nullptr) {
            throw CToolError(EExitCode::File, error);
        }
        if (as == EPlayedAs::Camera && reader->CalibrationXml().empty()) {
            throw CToolError(
                EExitCode::File,
                name + " has no calibration, without which no camera is opened; \"ox3d view\" shows it");
        }
        return;
    }
    for (const char* const part : {kRecordingDepth, kRecordingCalibration}) {
        if (!fs::exists(path / part, ignored)) {
            throw CToolError(EExitCode::File, name + " is no recording: it has no " + part);
        }
    }
}

// Pairs are sent by USB cameras alone.
bool HasPair(const fs::path& folder) {
    std::error_code ignored;
    return fs::exists(folder / kRecordingLeft, ignored) && fs::exists(folder / kRecordingRight, ignored);
}

std::string CameraListFor(const fs::path& path, const PlayOptions& options) {
    std::error_code ignored;
    // Of a file the camera that was recorded is known.
    const bool isNameless = !fs::is_regular_file(path, ignored);
    const std::string identity = isNameless ? "serial = REC00000001\nmodel = Recording\n" : "";
    const char* const transport = options.m_isEthernet          ? "transport = gige\n"
                                  : isNameless && HasPair(path) ? "transport = usb\n"
                                                                : "";
    char speed[32];
    std::snprintf(speed, sizeof(speed), "%.6f", options.m_speed);
    return "[camera]\n" + identity + "source = recording\nrecording = " + path.string() +
           "\nloop = " + (options.m_isLooping ? "yes" : "no") + "\nspeed = " + speed + "\n" + transport;
}

CRecordingCamera::CRecordingCamera(const fs::path& path, const PlayOptions& options) {
    const fs::path list = m_folder.Path() / "cameras.ini";
    const std::string text = CameraListFor(path, options);
    if (!WriteLocalFile(list.string(), text.data(), text.size())) {
        throw CToolError(EExitCode::File, "cannot write " + list.string());
    }
    setenv(kListVariable, list.c_str(), 1);
}

} // namespace ox3d::tool
