// TempFolder.cpp - see TempFolder.h.
#include "base/TempFolder.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace ox3d {

CTempFolder::CTempFolder() {
    std::error_code failure;
    const std::filesystem::path parent = std::filesystem::temp_directory_path(failure);
    std::string name = ((failure ? "/tmp" : parent) / "ox3d-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make a temporary folder " + name);
    }
    m_path = name;
}

CTempFolder::~CTempFolder() {
    std::error_code ignored; // what is left in a temporary folder does no harm
    std::filesystem::remove_all(m_path, ignored);
}

} // namespace ox3d
