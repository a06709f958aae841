// What a conversion writes: it lies beside its place until it is whole, and goes away when it never is.
#ifndef OX3D_TOOL_CONVERT_TARGET_H
#define OX3D_TOOL_CONVERT_TARGET_H

#include <filesystem>
#include <string>

namespace ox3d::tool {

enum class ETarget { File, Folder };

class CConvertTarget {
public:
    // A place that is free, or for a folder an empty one. Throws a CToolError that says why nothing can be written there.
    CConvertTarget(const std::string& name, ETarget kind);
    ~CConvertTarget();
    CConvertTarget(const CConvertTarget&) = delete;
    CConvertTarget& operator=(const CConvertTarget&) = delete;

    // Where to write: an empty folder, or the name of a file that is not there.
    std::filesystem::path Part() const { return m_work / "result"; }
    // Gives it its name, on the disk; throws when that cannot be.
    void Keep();
    // A message with the place in it, where it names what lies beside it.
    std::string InWordsOfTheUser(std::string message) const;

private:
    [[noreturn]] void Throw(int error) const;

    std::filesystem::path m_path; // absolute
    std::filesystem::path m_work; // a folder of its own beside it
};

} // namespace ox3d::tool

#endif
