// SyncFile.cpp - see SyncFile.h.
#include "base/SyncFile.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace ox3d {
namespace {

bool Synced(const std::string& path, int flags, int (*sync)(int)) {
    const int file = open(path.c_str(), flags | O_CLOEXEC);
    const bool isSynced = file >= 0 && sync(file) == 0;
    const int reason = errno;
    if (file >= 0) {
        close(file);
    }
    errno = reason;
    return isSynced;
}

} // namespace

bool SyncFile(const std::string& path) {
    return Synced(path, O_RDONLY, fdatasync);
}

bool SyncFileSystemOf(const std::string& folder) {
    return Synced(folder, O_RDONLY | O_DIRECTORY, syncfs);
}

} // namespace ox3d
