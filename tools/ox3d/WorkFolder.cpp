// Folders that the tool works in.
#include "tools/ox3d/WorkFolder.h"

#include "tools/ox3d/ExitCode.h"

#include <cstdlib>
#include <system_error>

namespace ox3d::tool {

CScratchFolder::CScratchFolder() try : CTempFolder() {
} catch (const std::system_error& error) {
    throw CToolError(EExitCode::File, error.what());
}

void KeepInReach(const char* variable) {
    const char* const path = std::getenv(variable);
    if (path != nullptr && path[0] != '\0') {
        setenv(variable, std::filesystem::absolute(path).c_str(), 1);
    }
}

void EnterFolder(const std::filesystem::path& folder) {
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (!failure) {
        std::filesystem::current_path(folder, failure);
    }
    if (failure) {
        throw CToolError(EExitCode::File,
                         "cannot use the folder " + folder.string() + ": " + failure.message());
    }
}

} // namespace ox3d::tool
