// Private temporary files and folders that vanish with their object.
#ifndef OX3D_TOOL_TEMP_FILES_H
#define OX3D_TOOL_TEMP_FILES_H

#include <filesystem>
#include <string>

namespace ox3dtool {

// A folder that only the user can enter.
class CTempFolder {
public:
    CTempFolder();
    ~CTempFolder();
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

// Writes a text to a new file. Throws CToolError.
void WriteText(const std::filesystem::path& file, const std::string& text);

// Makes the folder (and those above it) the working directory. Throws CToolError. The library writes its log
// and the camera's calibration file into the working directory.
void EnterFolder(const std::filesystem::path& folder);

} // namespace ox3dtool

#endif
