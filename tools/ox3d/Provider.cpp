// Choosing the camera-control library.
#include "tools/ox3d/Provider.h"

#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Suggest.h"

#include <algorithm>
#include <cstdlib>
#include <dlfcn.h>
#include <sstream>
#include <system_error>
#include <utility>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLibrary = "libOxCameraControl.so";
constexpr const char* kProviderVariable = "OX3D_PROVIDER";

std::string Variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool HasProvider(const fs::path& folder) {
    std::error_code ignored;
    return fs::is_regular_file(folder / kLibrary, ignored);
}

ProviderChoice InstalledProvider(const fs::path& installed, const std::string& name) {
    return {name, installed / name / kLibrary};
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
            return {isOurs ? path.filename().string() : "from LD_LIBRARY_PATH", path / kLibrary};
        }
    }
    const std::vector<std::string> names = ProvidersIn(installed);
    if (names.empty()) {
        ThrowMissing("none installed in " + installed.string() + " and none in LD_LIBRARY_PATH");
    }
    return InstalledProvider(installed, names.front());
}

// The library's two words stay words; anything else is a path, in which no '/' has to be.
std::string RequestOf(const ProviderVariables& variables) {
    const std::string& value = variables.m_provider;
    const bool isWord = value.empty() || value == kRealCameras || value == kPlayer;
    return isWord ? value : fs::absolute(value).string();
}

// Empty where it cannot be told: then nothing installed is found.
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

ProviderChoice ChooseProvider(const std::string& asked, const fs::path& installed,
                              const ProviderVariables& variables) {
    const std::string request = asked.empty() ? RequestOf(variables) : asked;
    if (request.empty()) {
        return ChooseDefault(installed, variables.m_libraryPath);
    }
    const std::vector<std::string> names = ProvidersIn(installed);
    if (std::find(names.begin(), names.end(), request) != names.end()) {
        return InstalledProvider(installed, request);
    }
    std::error_code ignored;
    fs::path file = fs::absolute(request).lexically_normal();
    if (fs::is_directory(file, ignored)) {
        file /= kLibrary;
    }
    const bool isPath = request.find('/') != std::string::npos; // no misspelt name finds a folder by chance
    if (!isPath || !fs::is_regular_file(file, ignored)) {
        std::string known;
        for (const std::string& name : names) {
            known += ' ' + name;
        }
        ThrowMissing("no " + std::string(kLibrary) + " at " + request +
                     (asked.empty() ? ", where OX3D_PROVIDER leads" : "") + "; installed in " +
                     installed.string() + ":" + (known.empty() ? " none" : known) +
                     (isPath ? "" : " (a path has a '/')" + DidYouMean(request, names)));
    }
    return {asked.empty() ? "from OX3D_PROVIDER" : "given", file};
}

fs::path ProvidersFolder() {
    return (OwnFile().parent_path() / OX3D_PROVIDERS_FROM_TOOL).lexically_normal();
}

ProviderVariables ReadProviderVariables() {
    return {Variable(kProviderVariable), Variable("LD_LIBRARY_PATH")};
}

void EnterProvider(const ProviderChoice& choice) {
    setenv(kProviderVariable, choice.m_file.c_str(), 1);
    if (secure_getenv(kProviderVariable) == nullptr) {
        throw CToolError(EExitCode::Provider, "a program with file capabilities, or of another user, cannot "
                                              "choose its camera control: take them off (ox3d doctor)");
    }
}

std::string WhyNotLoadable(const ProviderChoice& choice) {
    // Never closed: a provider cannot be relied on to survive that.
    if (dlopen(choice.m_file.c_str(), RTLD_LAZY | RTLD_LOCAL) != nullptr) {
        return "it does not have all functions that are required of it";
    }
    const char* const reason = dlerror();
    return reason == nullptr ? "unknown reason" : reason;
}

} // namespace ox3d::tool
