// Which camera-control library the tool works through. It tells the RGB-D library by the environment variable
// OX3D_PROVIDER of its own process.
#ifndef OX3D_TOOL_PROVIDER_H
#define OX3D_TOOL_PROVIDER_H

#include <filesystem>
#include <string>
#include <vector>

namespace ox3d::tool {

// The provider that plays recordings. By default it is taken only where there is no other: its cameras are
// not real.
constexpr const char* kPlayer = "virtual";
constexpr const char* kRealCameras = "aravis";

struct ProviderChoice {
    std::string m_name; // for people
    std::filesystem::path m_file;
};

// What the environment says about providers.
struct ProviderVariables {
    std::string m_provider;    // OX3D_PROVIDER: as the library reads it
    std::string m_libraryPath; // LD_LIBRARY_PATH
};
ProviderVariables ReadProviderVariables();

// Where the providers of this installation lie, each in a folder of its own that bears its name.
std::filesystem::path ProvidersFolder();

// The names of the providers in that folder, in the order in which the default is chosen.
std::vector<std::string> ProvidersIn(const std::filesystem::path& installed);

// request: a name out of ProvidersIn(installed), the path (with a '/' in it) of a folder or of a file, or empty: then
// what OX3D_PROVIDER leads to, then the first folder of LD_LIBRARY_PATH that has a provider, then the first of those
// installed. Throws CToolError when there is no such provider.
ProviderChoice ChooseProvider(const std::string& request, const std::filesystem::path& installed,
                              const ProviderVariables& variables);

// From here on the library finds the provider; to be called before the library is. Throws CToolError.
void EnterProvider(const ProviderChoice& choice);

// Why the library cannot use the provider: the dynamic linker's reason, or that functions are missing.
std::string WhyNotLoadable(const ProviderChoice& choice);

} // namespace ox3d::tool

#endif
