// Temporary files and the working directory.
#include "tools/ox3d/TempFiles.h"

#include "tools/ox3d/ExitCode.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <system_error>

namespace ox3dtool {

CTempFolder::CTempFolder() {
    std::error_code failure;
    const std::filesystem::path parent = std::filesystem::temp_directory_path(failure);
    std::string name = ((failure ? "/tmp" : parent) / "ox3d-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw CToolError(kExitFile, "cannot make a temporary folder " + name + ": " + std::strerror(errno));
    }
    m_path = name;
}

CTempFolder::~CTempFolder() {
    std::error_code ignored; // what is left in a temporary folder harms nobody
    std::filesystem::remove_all(m_path, ignored);
}

void WriteText(const std::filesystem::path& file, const std::string& text) {
    std::ofstream out(file, std::ios::binary);
    out << text;
    out.close();
    if (!out) {
        throw CToolError(kExitFile, "cannot write " + file.string());
    }
}

void EnterFolder(const std::filesystem::path& folder) {
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (!failure) {
        std::filesystem::current_path(folder, failure);
    }
    if (failure) {
        throw CToolError(kExitFile, "cannot use the folder " + folder.string() + ": " + failure.message());
    }
}

} // namespace ox3dtool
