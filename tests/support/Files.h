// Files.h - whole files, and folders that vanish with their object.
#ifndef OX3D_TESTS_SUPPORT_FILES_H
#define OX3D_TESTS_SUPPORT_FILES_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

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

class CTempFolder {
public:
    CTempFolder() {
        std::string name = std::filesystem::temp_directory_path() / "ox3d_test_XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make " + name);
        }
        m_path = name;
    }
    ~CTempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    std::string File(const std::string& name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
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
