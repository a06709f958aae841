// Files.h - whole files, and folders that vanish with their object; programs that make folders link ox3d_base.
#ifndef OX3D_TESTS_SUPPORT_FILES_H
#define OX3D_TESTS_SUPPORT_FILES_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "base/TempFolder.h"

namespace ox3d::test {

// The file from the offset on; empty when there is none.
inline std::string ReadFile(const std::filesystem::path& name, std::streamoff offset = 0) {
    std::ifstream file(name, std::ios::binary);
    file.seekg(offset);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::filesystem::path& name, const std::string& text) {
    if (!(std::ofstream(name, std::ios::binary) << text).flush()) {
        throw std::runtime_error("cannot write " + name.string());
    }
}

// A folder for one test.
class CTempFolder : public ox3d::CTempFolder {
public:
    std::string File(const std::string& name) const { return Path() / name; }
};

// The working folder of the process as long as the object lives.
class CWorkFolder : public CTempFolder {
public:
    CWorkFolder() { std::filesystem::current_path(Path()); }
    ~CWorkFolder() {
        std::error_code ignored;
        std::filesystem::current_path(m_before, ignored);
    }

private:
    const std::filesystem::path m_before = std::filesystem::current_path();
};

} // namespace ox3d::test

#endif
