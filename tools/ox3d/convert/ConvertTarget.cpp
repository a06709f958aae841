// Results that are whole or not there.
#include "tools/ox3d/convert/ConvertTarget.h"

#include "base/LocalFile.h"
#include "base/SyncFile.h"
#include "tools/ox3d/ExitCode.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <unistd.h>

namespace ox3d::tool {

namespace fs = std::filesystem;

namespace {

bool IsEmptyFolder(const fs::path& path) {
    std::error_code failure;
    return fs::symlink_status(path, failure).type() == fs::file_type::directory &&
           fs::is_empty(path, failure);
}

} // namespace

CConvertTarget::CConvertTarget(const std::string& name, ETarget kind)
    : m_path(fs::absolute(name).lexically_normal()) {
    if (!m_path.has_filename()) { // "folder/"
        m_path = m_path.parent_path();
    }
    std::error_code ignored;
    if (fs::exists(fs::symlink_status(m_path, ignored)) &&
        !(kind == ETarget::Folder && IsEmptyFolder(m_path))) {
        throw CToolError(EExitCode::File, m_path.string() + " exists already");
    }
    std::string work = m_path.parent_path() / "ox3d-convert.XXXXXX";
    if (mkdtemp(work.data()) == nullptr) {
        Throw(errno);
    }
    m_work = work;
    if (kind == ETarget::Folder && !fs::create_directory(Part(), ignored)) {
        const int error = ignored.value();
        fs::remove_all(m_work, ignored);
        Throw(error);
    }
}

CConvertTarget::~CConvertTarget() {
    std::error_code ignored;
    fs::remove_all(m_work, ignored);
}

void CConvertTarget::Keep() {
    // Only a folder gives way to another, and only an empty one.
    const bool isKept = SyncFileSystemOf(m_work) && // a result may be thousands of files
                        (IsEmptyFolder(m_path) ? std::rename(Part().c_str(), m_path.c_str()) == 0
                                               : MoveToFreeName(Part().string(), m_path.string()));
    if (!isKept) {
        Throw(errno);
    }
    SyncFileSystemOf(m_path.parent_path());
}

std::string CConvertTarget::InWordsOfTheUser(std::string message) const {
    const std::string part = Part().string();
    for (size_t at = message.find(part); at != message.npos; at = message.find(part, at)) {
        message.replace(at, part.size(), m_path.string());
        at += m_path.string().size();
    }
    return message;
}

void CConvertTarget::Throw(int error) const {
    throw CToolError(EExitCode::File, "cannot write " + m_path.string() + ": " + std::strerror(error));
}

} // namespace ox3d::tool
