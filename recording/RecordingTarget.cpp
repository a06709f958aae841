// RecordingTarget.cpp - see RecordingTarget.h.
#include "recording/RecordingTarget.h"

#include <filesystem>
#include <unistd.h>

namespace ox3d {

ERecordingTarget LookAtTarget(const std::string& path, bool isReplacing, std::string* error) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) {
        *error = path + " is a folder; name a file in it";
        return ERecordingTarget::Unusable;
    }
    if (!isReplacing && fs::exists(fs::symlink_status(path, ignored))) {
        *error = path + " exists already";
        return ERecordingTarget::Taken;
    }
    const fs::path folder = fs::absolute(path, ignored).parent_path();
    if (!fs::is_directory(folder, ignored) || access(folder.c_str(), W_OK) != 0) {
        *error = "cannot write into the folder " + folder.string();
        return ERecordingTarget::Unusable;
    }
    return ERecordingTarget::Free;
}

} // namespace ox3d
