// Which camera-control library the tool works through. The RGB-D library opens "libOxCameraControl.so" by its
// bare name, so the choice is made by the dynamic linker's search path, which it reads when a process starts.
#ifndef OX3D_TOOL_PROVIDER_H
#define OX3D_TOOL_PROVIDER_H

#include <filesystem>
#include <string>
#include <vector>

namespace ox3d::tool {

// The provider that plays recordings. By default it is taken only where there is no other: its cameras are
// not real.
constexpr const char* kPlayer = "virtual";

struct ProviderChoice {
    std::string m_name; // for people
    std::filesystem::path m_folder;
};

// Where the providers of this installation lie, each in a folder of its own that bears its name.
std::filesystem::path ProvidersFolder();

// The names of the providers in that folder, in the order in which the default is chosen.
std::vector<std::string> ProvidersIn(const std::filesystem::path& installed);

// request: a name out of ProvidersIn(installed), the path (with a '/' in it) of a folder or of a file
// libOxCameraControl.so, or empty: then the first folder of libraryPath that has one, then the first of those
// installed. Throws CToolError when there is no such provider.
ProviderChoice ChooseProvider(const std::string& request, const std::filesystem::path& installed,
                              const std::string& libraryPath);

// The search path with the provider's folder first.
std::string PathWithFirst(const std::filesystem::path& folder, const std::string& libraryPath);

// Puts the provider first in LD_LIBRARY_PATH. Starts the tool again in the same process when that changes
// anything, and returns otherwise.
void EnterProvider(const ProviderChoice& choice, char** argv);

// Why the library cannot use the provider: the dynamic linker's reason, or that functions are missing.
std::string WhyNotLoadable(const ProviderChoice& choice);

} // namespace ox3d::tool

#endif
