// Choosing the camera-control library.
#include "tools/ox3d/Provider.h"

#include "tools/ox3d/ExitCode.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sstream>
#include <system_error>
#include <unistd.h>

namespace ox3dtool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLibrary = "libOxCameraControl.so";
constexpr const char* kPathVariable = "LD_LIBRARY_PATH";
// Holds the id of the process that has started itself again; a process never does so twice.
constexpr const char* kGuardVariable = "OX3D_TOOL_RESTARTED";

std::string Variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool HasProvider(const fs::path& folder) {
    std::error_code ignored;
    return fs::is_regular_file(folder / kLibrary, ignored);
}

[[noreturn]] void ThrowMissing(const std::string& what) {
    throw CToolError(kExitProvider, "no camera-control library: " + what);
}

ProviderChoice ChooseDefault(const fs::path& installed, const std::string& libraryPath) {
    std::istringstream folders(libraryPath);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (!folder.empty() && HasProvider(folder)) {
            const fs::path path = fs::absolute(folder);
            const bool isOurs = path.parent_path() == installed;
            return {isOurs ? path.filename().string() : "from LD_LIBRARY_PATH", path};
        }
    }
    for (const char* const name : {"aravis", "virtual"}) {
        if (HasProvider(installed / name)) {
            return {name, installed / name};
        }
    }
    ThrowMissing("none installed in " + installed.string() + " and none in LD_LIBRARY_PATH");
}

// What the dynamic linker would take apart or expand cannot be the name of a folder in its path.
void CheckUsableInPath(const fs::path& folder) {
    if (folder.string().find_first_of(":;$") != std::string::npos) {
        ThrowMissing("the folder's name must not contain ':', ';' or '$': " + folder.string());
    }
}

fs::path OwnFile() {
    std::error_code failure;
    fs::path self = fs::read_symlink("/proc/self/exe", failure);
    if (failure) {
        throw CToolError(kExitFailure, "cannot find the tool's own folder: " + failure.message());
    }
    return self;
}

} // namespace

ProviderChoice ChooseProvider(const std::string& request, const fs::path& installed,
                              const std::string& libraryPath) {
    if (request.empty()) {
        return ChooseDefault(installed, libraryPath);
    }
    if (request == "virtual" || request == "aravis") {
        if (!HasProvider(installed / request)) {
            ThrowMissing("the provider \"" + request + "\" is not installed in " + installed.string());
        }
        return {request, installed / request};
    }
    fs::path folder = fs::absolute(request).lexically_normal();
    if (folder.filename() == kLibrary || !folder.has_filename()) { // "folder/" has no file name either
        folder = folder.parent_path();
    }
    if (!HasProvider(folder)) {
        ThrowMissing("no " + std::string(kLibrary) + " at " + request);
    }
    CheckUsableInPath(folder);
    return {"given", folder};
}

fs::path InstalledProviders() {
    return OwnFile().parent_path().parent_path() / "lib" / "ox3drgbd";
}

std::string PathWithFirst(const fs::path& folder, const std::string& libraryPath) {
    return libraryPath.empty() ? folder.string() : folder.string() + ":" + libraryPath;
}

void EnterProvider(const ProviderChoice& choice, char** argv) {
    const std::string path = Variable(kPathVariable);
    const std::string first = path.substr(0, path.find(':'));
    if (first == choice.m_folder.string()) {
        return;
    }
    const std::string self = std::to_string(getpid());
    if (Variable(kGuardVariable) == self) {
        throw CToolError(kExitProvider, "the system does not accept LD_LIBRARY_PATH for this program");
    }
    CheckUsableInPath(choice.m_folder);
    setenv(kGuardVariable, self.c_str(), 1);
    setenv(kPathVariable, PathWithFirst(choice.m_folder, path).c_str(), 1);
    execv(OwnFile().c_str(), argv);
    throw CToolError(kExitProvider, std::string("cannot start again: ") + std::strerror(errno));
}

std::string WhyNotLoadable(const ProviderChoice& choice) {
    // Kept open: providers cannot be relied on to survive being closed.
    if (dlopen((choice.m_folder / kLibrary).c_str(), RTLD_LAZY | RTLD_LOCAL) != nullptr) {
        return "it does not have all functions that are required of it";
    }
    const char* const reason = dlerror();
    return reason == nullptr ? "unknown reason" : reason;
}

} // namespace ox3dtool
