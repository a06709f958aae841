// Choosing the camera-control library.
#include "tools/ox3d/Provider.h"

#include "tools/ox3d/ExitCode.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sstream>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace ox3d::tool {
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
    throw CToolError(EExitCode::Provider, "no camera-control library: " + what);
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
    const std::vector<std::string> names = ProvidersIn(installed);
    if (names.empty()) {
        ThrowMissing("none installed in " + installed.string() + " and none in LD_LIBRARY_PATH");
    }
    return {names.front(), installed / names.front()};
}

// The dynamic linker would split or expand such a name: it cannot stand in its path.
void CheckUsableInPath(const fs::path& folder) {
    if (folder.string().find_first_of(":;$") != std::string::npos) {
        ThrowMissing("the folder's name must not contain ':', ';' or '$': " + folder.string());
    }
}

// Empty where it cannot be told: then nothing installed is found, and starting again fails with its reason.
fs::path OwnFile() {
    std::error_code ignored;
    return fs::read_symlink("/proc/self/exe", ignored);
}

} // namespace

std::vector<std::string> ProvidersIn(const fs::path& installed) {
    std::vector<std::string> names;
    std::error_code failure;
    for (fs::directory_iterator entry(installed, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        if (HasProvider(entry->path())) {
            names.push_back(entry->path().filename().string());
        }
    }
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return std::pair(a == kPlayer, a) < std::pair(b == kPlayer, b);
    });
    return names;
}

ProviderChoice ChooseProvider(const std::string& request, const fs::path& installed,
                              const std::string& libraryPath) {
    if (request.empty()) {
        return ChooseDefault(installed, libraryPath);
    }
    const std::vector<std::string> names = ProvidersIn(installed);
    if (std::find(names.begin(), names.end(), request) != names.end()) {
        return {request, installed / request};
    }
    fs::path folder = fs::absolute(request).lexically_normal();
    if (folder.filename() == kLibrary || !folder.has_filename()) { // "folder/" has no file name either
        folder = folder.parent_path();
    }
    const bool isPath = request.find('/') != std::string::npos; // no misspelt name finds a folder by chance
    if (!isPath || !HasProvider(folder)) {
        std::string known;
        for (const std::string& name : names) {
            known += ' ' + name;
        }
        ThrowMissing("no " + std::string(kLibrary) + " at " + request + "; installed in " +
                     installed.string() + ":" + (known.empty() ? " none" : known) +
                     (isPath ? "" : " (a path has a '/')"));
    }
    CheckUsableInPath(folder);
    return {"given", folder};
}

fs::path ProvidersFolder() {
    return (OwnFile().parent_path() / OX3D_PROVIDERS_FROM_TOOL).lexically_normal();
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
        throw CToolError(EExitCode::Provider, "the system does not accept LD_LIBRARY_PATH for this program");
    }
    CheckUsableInPath(choice.m_folder);
    setenv(kGuardVariable, self.c_str(), 1);
    setenv(kPathVariable, PathWithFirst(choice.m_folder, path).c_str(), 1);
    execv(OwnFile().c_str(), argv);
    throw CToolError(EExitCode::Provider, std::string("cannot start again: ") + std::strerror(errno));
}

std::string WhyNotLoadable(const ProviderChoice& choice) {
    // Never closed: a provider cannot be relied on to survive that.
    if (dlopen((choice.m_folder / kLibrary).c_str(), RTLD_LAZY | RTLD_LOCAL) != nullptr) {
        return "it does not have all functions that are required of it";
    }
    const char* const reason = dlerror();
    return reason == nullptr ? "unknown reason" : reason;
}

} // namespace ox3d::tool
