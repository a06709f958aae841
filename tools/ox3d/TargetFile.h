// Files of the command line. One that a command writes lies under a temporary name in the same folder until it is whole.
#ifndef OX3D_TOOL_TARGET_FILE_H
#define OX3D_TOOL_TARGET_FILE_H

#include <filesystem>
#include <string>
#include <string_view>

namespace ox3d::tool {

// A file that a command reads, named from the root, since the working folder changes. Throws a CToolError where there is
// none, or it is empty.
std::string SourceFile(const std::string& name);

// Copies a file that would be lost beside another one, under a name that is free there, or among the temporary files where that
// cannot be. Returns the copy's name, empty when there is none.
std::string SaveBeside(const std::string& file, const std::string& neighbor);

enum class EExisting { Refuse, Replace };

class CTargetFile {
public:
    // Throws a CToolError that says why nothing can be written there.
    CTargetFile(const std::string& name, EExisting existing);
    ~CTargetFile();
    CTargetFile(const CTargetFile&) = delete;
    CTargetFile& operator=(const CTargetFile&) = delete;

    // Where to write. The file is there, and empty.
    const std::string& Part() const { return m_part; }
    // Writes all of it; throws.
    void Write(std::string_view bytes);
    // Gives the file its name; throws when that cannot be.
    void Keep();

private:
    void CheckReplaceable() const;
    [[noreturn]] void Throw(int error) const;

    const std::filesystem::path m_path; // absolute
    const EExisting m_existing;
    std::string m_part; // empty when it is gone
};

} // namespace ox3d::tool

#endif
