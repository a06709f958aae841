// DataFolder.cpp - see DataFolder.h.
#include "src/Common/DataFolder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ox3d {
namespace {

constexpr const char* kVariable = "OX3D_RGBD_DATA_DIR";
constexpr mode_t kFolderMode = 0775; // as that of the log's folder

} // namespace

const char* DataFolder() noexcept {
    const char* const folder = secure_getenv(kVariable);
    return folder != nullptr && folder[0] != '\0' ? folder : nullptr;
}

void MakeDataFolder() noexcept {
    const char* const folder = DataFolder();
    if (folder != nullptr) {
        mkdir(folder, kFolderMode);
    }
}

CDataPath::CDataPath(const char* name) noexcept {
    const char* const folder = DataFolder();
    if (folder == nullptr) {
        snprintf(m_text, sizeof(m_text), "%s", name);
        return;
    }
    const bool isDotted = strncmp(name, "./", 2) == 0;
    snprintf(m_text, sizeof(m_text), "%s/%s", folder, isDotted ? name + 2 : name);
}

const char* WhyNotWritable(const char* path) noexcept {
    struct stat named {};
    if (stat(path, &named) == 0) {
        if (!S_ISREG(named.st_mode)) {
            return S_ISDIR(named.st_mode) ? strerrordesc_np(EISDIR) : "No regular file";
        }
        if (access(path, W_OK) != 0) {
            return strerrordesc_np(errno);
        }
    }
    char trial[PATH_MAX + 32];
    snprintf(trial, sizeof(trial), "%s.%d.trial", path, getpid());
    const int descriptor = open(trial, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        return errno == EEXIST ? nullptr
                               : strerrordesc_np(errno); // another thread's trial says what it finds
    }
    const bool isWritten = write(descriptor, "", 1) == 1;
    const int error = errno;
    close(descriptor);
    unlink(trial);
    return isWritten ? nullptr : strerrordesc_np(error);
}

} // namespace ox3d
