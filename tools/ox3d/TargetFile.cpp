// Files that are whole or not there.
#include "tools/ox3d/TargetFile.h"

#include "base/LocalFile.h"
#include "tools/ox3d/ExitCode.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace ox3d::tool {

namespace fs = std::filesystem;

std::string SourceFile(const std::string& name) {
    std::string path = fs::absolute(name);
    std::error_code ignored;
    if (!fs::exists(path, ignored)) {
        throw CToolError(EExitCode::File, "there is no file " + path);
    }
    if (!fs::is_regular_file(path, ignored) || LocalFileBytes(path) == 0) {
        throw CToolError(EExitCode::File, path + " is empty or no file");
    }
    return path;
}

CTargetFile::CTargetFile(const std::string& name, EExisting existing)
    : m_path(fs::absolute(name)), m_existing(existing) {
    std::error_code ignored;
    if (existing == EExisting::Refuse && fs::exists(fs::symlink_status(m_path, ignored))) {
        throw CToolError(EExitCode::File, m_path.string() + " is there already; --force replaces it");
    }
    if (fs::is_directory(m_path, ignored) || !m_path.has_filename()) {
        Throw(EISDIR);
    }
    std::string part;
    const int file = MakePartFile(m_path.string(), &part);
    if (file < 0) {
        Throw(errno);
    }
    close(file);
    m_part = part;
}

CTargetFile::~CTargetFile() {
    if (!m_part.empty()) {
        unlink(m_part.c_str());
    }
}

void CTargetFile::Write(std::string_view bytes) {
    errno = 0;
    if (!WriteLocalFile(m_part, bytes.data(), bytes.size())) {
        Throw(errno);
    }
}

void CTargetFile::Keep() {
    // A name for what is not on the disk could outlive a loss of power that its bytes do not.
    const int file = open(m_part.c_str(), O_RDONLY | O_CLOEXEC);
    const bool isSynced = file >= 0 && fdatasync(file) == 0;
    const int reason = errno;
    close(file);
    if (!isSynced) {
        Throw(reason);
    }
    // Another program may have made the file since it was looked for.
    const unsigned flags = m_existing == EExisting::Refuse ? RENAME_NOREPLACE : 0;
    if (renameat2(AT_FDCWD, m_part.c_str(), AT_FDCWD, m_path.c_str(), flags) != 0 &&
        (errno != EINVAL || std::rename(m_part.c_str(), m_path.c_str()) != 0)) {
        Throw(errno);
    }
    m_part.clear();
}

void CTargetFile::Throw(int error) const {
    throw CToolError(EExitCode::File, "cannot write " + m_path.string() +
                                          (error == 0 ? "" : std::string(": ") + std::strerror(error)));
}

} // namespace ox3d::tool
