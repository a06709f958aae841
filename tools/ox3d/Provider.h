// Which camera-control library the tool works through. The RGB-D library opens "libOxCameraControl.so" by its
// bare name, so the choice is made by the dynamic linker's search path, which it reads when a process starts.
#ifndef OX3D_TOOL_PROVIDER_H
#define OX3D_TOOL_PROVIDER_H

#include <filesystem>
#include <string>

namespace ox3dtool {

struct ProviderChoice {
    std::string m_name; // for people
    std::filesystem::path m_folder;
};

// request: "virtual" or "aravis" (folders of `installed`), a folder, a file libOxCameraControl.so, or empty:
// then the first folder of libraryPath that has one, then aravis, then virtual. Throws CToolError when
// there is no such provider.
ProviderChoice ChooseProvider(const std::string& request, const std::filesystem::path& installed,
                              const std::string& libraryPath);

// Where the providers of this installation lie: ../lib/ox3drgbd beside the tool's own folder.
std::filesystem::path InstalledProviders();

// The search path with the provider's folder first.
std::string PathWithFirst(const std::filesystem::path& folder, const std::string& libraryPath);

// Puts the provider first in LD_LIBRARY_PATH. Starts the tool again in the same process when that changes
// anything, and returns otherwise.
void EnterProvider(const ProviderChoice& choice, char** argv);

// Why the library cannot use the provider: the dynamic linker's reason, or that functions are missing.
std::string WhyNotLoadable(const ProviderChoice& choice);

} // namespace ox3dtool

#endif
