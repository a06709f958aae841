// FileStore.cpp - files by name, bounded in number and size.
#include "virtual-camera/FileStore.h"

#include <algorithm>

namespace ox3d {
namespace {

constexpr size_t kMaxNameBytes = 64;

bool IsFileName(std::string_view name) {
    return !name.empty() && name.size() <= kMaxNameBytes &&
           std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c <= '~' && c != '/'; });
}

} // namespace

const std::vector<uint8_t>* CFileStore::Find(std::string_view name) const {
    const auto found = m_files.find(name);
    return found == m_files.end() ? nullptr : &found->second;
}

EModelStatus CFileStore::CheckRoom(std::string_view name, uint64_t sizeBytes) const {
    if (!IsFileName(name)) {
        return EModelStatus::Argument;
    }
    const bool isNew = m_files.find(name) == m_files.end();
    const bool isTooMuch = sizeBytes > kMaxBytes || (isNew && m_files.size() >= kMaxFiles);
    return isTooMuch ? EModelStatus::Full : EModelStatus::Ok;
}

EModelStatus CFileStore::Write(std::string_view name, std::vector<uint8_t> bytes) {
    const EModelStatus status = CheckRoom(name, bytes.size());
    if (status == EModelStatus::Ok) {
        m_files.insert_or_assign(std::string(name), std::move(bytes));
    }
    return status;
}

EModelStatus CFileStore::WriteAt(std::string_view name, uint64_t offset, const uint8_t* bytes,
                                 uint64_t lengthBytes) {
    if (offset > kMaxBytes || lengthBytes > kMaxBytes) {
        return EModelStatus::Full;
    }
    const EModelStatus status = CheckRoom(name, offset + lengthBytes);
    if (status != EModelStatus::Ok) {
        return status;
    }
    std::vector<uint8_t>& file = m_files[std::string(name)];
    file.resize(std::max<uint64_t>(file.size(), offset + lengthBytes));
    std::copy_n(bytes, lengthBytes, file.begin() + static_cast<std::ptrdiff_t>(offset));
    return EModelStatus::Ok;
}

bool CFileStore::Erase(std::string_view name) {
    const auto found = m_files.find(name);
    if (found == m_files.end()) {
        return false;
    }
    m_files.erase(found);
    return true;
}

EFileStatus CFileAccess::Open(CFileStore* store, const Request& request) {
    if (!m_openFile.empty()) {
        return EFileStatus::Failure;
    }
    if (request.m_openMode == 0 && store->Find(request.m_file) == nullptr) {
        return EFileStatus::Unavailable;
    }
    // Opening for writing alone starts an empty file.
    if (request.m_openMode == 1 && store->Write(request.m_file, {}) != EModelStatus::Ok) {
        return EFileStatus::Failure;
    }
    m_openFile = request.m_file;
    m_openMode = request.m_openMode;
    return EFileStatus::Success;
}

EFileStatus CFileAccess::Read(const CFileStore& store, const Request& request, uint64_t* moved) const {
    const std::vector<uint8_t>* file = store.Find(request.m_file);
    if (file == nullptr) {
        return EFileStatus::Unavailable;
    }
    const uint64_t begin = std::min<uint64_t>(request.m_offset, file->size());
    *moved = std::min<uint64_t>(request.m_lengthBytes, file->size() - begin);
    std::copy_n(file->begin() + static_cast<std::ptrdiff_t>(begin), *moved, request.m_buffer->begin());
    return EFileStatus::Success;
}

EFileStatus CFileAccess::Execute(CFileStore* store, const Request& request, uint64_t* moved) {
    *moved = 0;
    if (request.m_operation == EFileOperation::Open) {
        return Open(store, request);
    }
    if (request.m_operation == EFileOperation::Delete) {
        const bool isOpen = m_openFile == request.m_file;
        return !isOpen && store->Erase(request.m_file) ? EFileStatus::Success : EFileStatus::Failure;
    }
    if (m_openFile.empty() || m_openFile != request.m_file) {
        return EFileStatus::Failure;
    }
    switch (request.m_operation) {
    case EFileOperation::Close:
        m_openFile.clear();
        return EFileStatus::Success;
    case EFileOperation::Read:
        return m_openMode == 1 ? EFileStatus::Failure : Read(*store, request, moved);
    case EFileOperation::Write:
        if (m_openMode == 0 || store->WriteAt(request.m_file, request.m_offset, request.m_buffer->data(),
                                              request.m_lengthBytes) != EModelStatus::Ok) {
            return EFileStatus::Failure;
        }
        *moved = request.m_lengthBytes;
        return EFileStatus::Success;
    default:
        return EFileStatus::Failure;
    }
}

} // namespace ox3d
