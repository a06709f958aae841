// TempFolder.h - a folder for temporary files that vanishes with its object.
#ifndef OX3D_BASE_TEMP_FOLDER_H
#define OX3D_BASE_TEMP_FOLDER_H

#include <filesystem>

namespace ox3d {

class CTempFolder {
public:
    // Only the user can enter it. Throws std::system_error, whose text says what failed.
    CTempFolder();
    ~CTempFolder();
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

} // namespace ox3d

#endif
