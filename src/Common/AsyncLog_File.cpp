// AsyncLog_File.cpp - the log's file: lines go to its end, and it becomes the backup at its limit, whatever other
// processes write to it and rotate it. Relies on flock, and on inodes to tell files apart.
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/LocalFile.h"
#include "src/Common/AsyncLog.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

// Without a buffer: every line is flushed at once anyway, and a forked child has none to flush a second time. Lines
// always go to the end, also to that of a file that another process has begun.
FILE* AppendTo(const char* name) noexcept {
    const int descriptor = ox3d::AppendToLocalFile(name);
    FILE* const file = descriptor >= 0 ? fdopen(descriptor, "ab+") : nullptr;
    if (file != nullptr) {
        setvbuf(file, nullptr, _IONBF, 0);
    } else if (descriptor >= 0) {
        close(descriptor);
    }
    return file;
}

bool IsSame(const struct stat& one, const struct stat& other) noexcept {
    return one.st_ino == other.st_ino && one.st_dev == other.st_dev;
}

} // namespace

// CreateLogFile without the release, which would join the writer: the writer calls this one.
uint32_t COxAsyncLog::OpenLogFile(const char* name, int append) noexcept {
    if (name == nullptr || (append != 0 && append != 1)) {
        puts("Invaile input value!\r");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (strnlen(name, kLogNameBytes + 1) > kLogNameBytes) {
        return OX3D_RGBD_E_PARAMETER;
    }
    CloseLogFile();
    m_file = AppendTo(name);
    if (m_file == nullptr) {
        return OX3D_RGBD_E_MEMORY;
    }
    return append == 1 || ftruncate(fileno(m_file), 0) == 0 ? OX3D_RGBD_OK : OX3D_RGBD_E_MEMORY;
}

void COxAsyncLog::CloseLogFile() noexcept {
    if (m_file != nullptr) {
        fclose(m_file);
        m_file = nullptr;
    }
}

uint32_t COxAsyncLog::BackUpLogFile(const char* primaryName, const char* backupName) noexcept {
    if (primaryName == nullptr || backupName == nullptr) {
        puts("Invaile input value!\r");
        return OX3D_RGBD_E_PARAMETER;
    }
    char primary[kLogNameBytes];
    char backup[kLogNameBytes];
    snprintf(primary, sizeof(primary), "%s", primaryName);
    snprintf(backup, sizeof(backup), "%s", backupName);
    bool isFound = access(primary, F_OK) == 0;
    if (!isFound) {
        isFound = access(primary, F_OK) == 0; // another process may just have been replacing it
    }
    if (!isFound) {
        puts("Failed find log file!\r");
        return OX3D_RGBD_E_PARAMETER;
    }
    if (access(backup, F_OK) == 0) {
        const bool isRemoved = remove(backup) == 0;
        printf("%s to delete the log file(%s)!\r\n", isRemoved ? "succeed" : "fail", backup);
    }
    // A failed rename is reported and counts as success: the caller then truncates the primary, so that the
    // log stays within its size whatever happens to the backup.
    const bool isRenamed = rename(primary, backup) == 0;
    printf("%s change the filename form (%s) to (%s)!\r\n", isRenamed ? "Success" : "Failed", primary,
           backup);
    return OX3D_RGBD_OK;
}

// False when the node must not be committed.
bool COxAsyncLog::WriteNode(const DATA_NODE* node) noexcept {
    int32_t level = 0;
    if (node->m_extraBuf != nullptr) {
        memcpy(&level, node->m_extraBuf, sizeof(level));
    }
    if (level > m_level || m_file == nullptr) {
        return true;
    }
    const char* const text = reinterpret_cast<const char*>(node->m_mainBuf);
    fwrite(text, 1, strnlen(text, node->m_mainSizeBytes), m_file);
    fflush(m_file);
    struct stat own {};
    if (fstat(fileno(m_file), &own) != 0) {
        return true;
    }
    const bool isFull = static_cast<uint64_t>(own.st_size) >= m_sizeLimitBytes;
    if (!IsMovedAway(own)) {
        return !isFull || RotateLogFile(own);
    }
    if (FollowName()) {
        return own.st_nlink >
               0; // else more than one rotation went by since the last line, and this one is lost
    }
    if (isFull) { // what bears the name is no file
        CloseLogFile();
    }
    return true;
}

// Whether another process that writes to the same file has rotated it: its name is another file's, or is about to
// be. A file that somebody removed is written to until it is full.
bool COxAsyncLog::IsMovedAway(const struct stat& own) const noexcept {
    struct stat named {};
    return stat(m_primaryName, &named) == 0 ? !IsSame(named, own)
                                            : stat(m_backupName, &named) == 0 && IsSame(named, own);
}

bool COxAsyncLog::FollowName() noexcept {
    FILE* const named = AppendTo(m_primaryName);
    if (named == nullptr) {
        return false;
    }
    CloseLogFile();
    m_file = named;
    return true;
}

// Of the processes that share the file, the one that gets its lock rotates it; the others go on, and find with their
// next line that the file has moved. The name may be another file's since the look that led here.
bool COxAsyncLog::RotateLogFile(const struct stat& own) noexcept {
    const bool isLocked = flock(fileno(m_file), LOCK_EX | LOCK_NB) == 0;
    if ((!isLocked && errno == EWOULDBLOCK) || IsMovedAway(own)) {
        Unlock(isLocked);
        return true;
    }
    const bool isBackedUp = BackUpLogFile(m_primaryName, m_backupName) == OX3D_RGBD_OK;
    FILE* const next = isBackedUp ? AppendTo(m_primaryName) : nullptr;
    Unlock(isLocked);
    CloseLogFile();
    m_file = next;
    if (!isBackedUp) {
        printf("Failed renmame logfile name (%s) to (%s)!\r\n", m_primaryName, m_backupName);
        return false;
    }
    struct stat named {};
    // Lines in a file that is new are another process's; the old one that could not be renamed begins anew.
    if (next == nullptr || fstat(fileno(next), &named) != 0 ||
        (IsSame(named, own) && ftruncate(fileno(next), 0) != 0)) {
        m_running = 0; // the next call of the log joins this thread and frees the rest
        printf("Failed create log file (%s)!\r\n", m_primaryName);
        return false;
    }
    return true;
}

// By hand and not by closing the file, which a forked child may have open as well.
void COxAsyncLog::Unlock(bool isLocked) noexcept {
    if (isLocked) {
        flock(fileno(m_file), LOCK_UN);
    }
}
