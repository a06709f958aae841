// Files that are whole or not there.
#include "tools/ox3d/TargetFile.h"

#include "base/LocalFile.h"
#include "base/SyncFile.h"
#include "tools/ox3d/ExitCode.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <unistd.h>

namespace ox3d::tool {

namespace fs = std::filesystem;

namespace {

std::string CopyToFreeName(const std::string& file, const std::string& name) {
    constexpr int kMaxNames = 1000;
    std::error_code failure;
    for (int i = 0; i < kMaxNames; ++i) {
        std::string copy = name + ".former";
        if (i > 0) {
            copy.append(".").append(std::to_string(i));
        }
        if (fs::copy_file(file, copy, failure)) {
            return copy;
        }
        if (failure != std::errc::file_exists) {
            std::error_code ignored;
            if (fs::is_regular_file(copy, ignored)) { // what did not fit
                fs::remove(copy, ignored);
            }
            break;
        }
    }
    return "";
}

} // namespace

std::string SaveBeside(const std::string& file, const std::string& neighbor) {
    const std::string copy = CopyToFreeName(file, neighbor);
    std::error_code failure;
    return copy.empty()
               ? CopyToFreeName(file, fs::temp_directory_path(failure) / fs::path(neighbor).filename())
               : copy;
}

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
    CheckReplaceable();
    std::error_code ignored;
    if (existing == EExisting::Refuse && fs::exists(fs::symlink_status(m_path, ignored))) {
        throw CToolError(EExitCode::File, m_path.string() + " is there already; --force replaces it");
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
    // Another program may have made the file since it was looked for.
    CheckReplaceable();
    if (!SyncFile(m_part) ||
        (m_existing == EExisting::Refuse ? !MoveToFreeName(m_part, m_path.string())
                                         : std::rename(m_part.c_str(), m_path.c_str()) != 0)) {
        Throw(errno);
    }
    m_part.clear();
}

// A device, a pipe or a link that the file took the place of would be lost to the whole host.
void CTargetFile::CheckReplaceable() const {
    std::error_code ignored;
    const fs::file_status status = fs::symlink_status(m_path, ignored);
    if (fs::is_directory(m_path, ignored) || !m_path.has_filename()) {
        Throw(EISDIR);
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw CToolError(EExitCode::File, m_path.string() + " is no regular file; nothing else is replaced");
    }
}

void CTargetFile::Throw(int error) const {
    throw CToolError(EExitCode::File, "cannot write " + m_path.string() +
                                          (error == 0 ? "" : std::string(": ") + std::strerror(error)));
}

} // namespace ox3d::tool
