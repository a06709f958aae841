// DataFolder.h - where the library's files lie: the log, the profile and the cameras' calibration. That is the working
// directory, or the folder that the environment variable OX3D_RGBD_DATA_DIR names.
#ifndef OX3D_COMMON_DATA_FOLDER_H
#define OX3D_COMMON_DATA_FOLDER_H

#include <climits>

namespace ox3d {

// The value of the variable; null while the working directory is meant: unset or empty, or the program has more rights
// than who starts it.
const char* DataFolder() noexcept;

// Makes the folder of the variable where there is none, but none above it. What uses the folder notices a failure.
void MakeDataFolder() noexcept;

// The path of a file whose name is relative to the working directory: that name itself without the variable. A path that
// is too long for the system stays too long for it, so that no other file is ever meant.
class CDataPath {
public:
    explicit CDataPath(const char* name) noexcept;
    const char* Text() const noexcept { return m_text; }

private:
    char m_text[PATH_MAX + 1];
};

// Why a file of that name could not be written a moment ago, in the system's words; null where nothing stands against it.
// Tries the folder with a file of one byte.
const char* WhyNotWritable(const char* path) noexcept;

} // namespace ox3d

#endif
