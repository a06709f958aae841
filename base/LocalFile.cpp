// LocalFile.cpp - over plain descriptors, so that what is opened can be checked before it is read.
#include "base/LocalFile.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace ox3d {
namespace {

class CDescriptor {
public:
    explicit CDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~CDescriptor() { Close(); }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    int Get() const { return m_descriptor; }
    bool Close() {
        const int descriptor = m_descriptor;
        m_descriptor = -1;
        return descriptor < 0 || close(descriptor) == 0;
    }

private:
    int m_descriptor;
};

bool WriteAll(int descriptor, const uint8_t* bytes, uint64_t lengthBytes) {
    while (lengthBytes > 0) {
        const ssize_t written = write(descriptor, bytes, lengthBytes);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes += written;
        lengthBytes -= static_cast<uint64_t>(written);
    }
    return true;
}

bool IsRegular(const struct stat& status) {
    return (status.st_mode & S_IFMT) == S_IFREG;
}

constexpr int kOpenFlags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr int kMaxAttempts = 3; // another process may make or remove the file meanwhile

// The check comes after opening: what is checked is what is used.
int OnlyRegular(int descriptor) {
    struct stat status {};
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || !IsRegular(status))) {
        close(descriptor);
        errno = 0;
        return -1;
    }
    return descriptor;
}

template <class Container>
bool ReadInto(const std::string& path, uint64_t maxBytes, ELongFile longFile, Container* out) {
    const CDescriptor file(OpenLocalFile(path.c_str()));
    struct stat status {};
    if (file.Get() < 0 || fstat(file.Get(), &status) != 0) {
        return false;
    }
    const auto claimedBytes = static_cast<uint64_t>(status.st_size);
    if (longFile == ELongFile::Refuse && claimedBytes > maxBytes) {
        return false;
    }
    // A file that may be cut may also be longer than it says: those that describe the system say that they are empty.
    constexpr uint64_t kSmallBytes = 4096;
    const uint64_t likelyBytes = std::min(maxBytes, std::max(claimedBytes + 1, kSmallBytes));
    out->resize(longFile == ELongFile::Cut ? likelyBytes : claimedBytes);
    size_t done = 0;
    while (done < out->size()) {
        const ssize_t got = read(file.Get(), out->data() + done, out->size() - done);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0 || (got == 0 && longFile == ELongFile::Refuse)) {
            return false;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<size_t>(got);
        if (longFile == ELongFile::Cut && done == out->size()) {
            out->resize(std::min<uint64_t>(maxBytes, uint64_t{2} * done));
        }
    }
    out->resize(done);
    return true;
}

} // namespace

int OpenLocalFile(const char* path) noexcept {
    return OnlyRegular(open(path, O_RDONLY | kOpenFlags));
}

int AppendToLocalFile(const char* path) noexcept {
    constexpr int kFlags = O_RDWR | O_APPEND | kOpenFlags;
    constexpr mode_t kMode = 0666;
    int descriptor = -1;
    for (int attempt = 0; attempt < kMaxAttempts && descriptor < 0; ++attempt) {
        descriptor = open(path, kFlags);
        if (descriptor < 0 && errno == ENOENT) {
            descriptor = open(path, kFlags | O_CREAT | O_EXCL, kMode); // follows no link
        }
        if (descriptor < 0 && errno != EEXIST) {
            return -1;
        }
    }
    return OnlyRegular(descriptor);
}

bool ReadLocalFile(const std::string& path, uint64_t maxBytes, std::vector<uint8_t>* out,
                   ELongFile longFile) {
    return ReadInto(path, maxBytes, longFile, out);
}

bool ReadLocalFile(const std::string& path, uint64_t maxBytes, std::string* out, ELongFile longFile) {
    return ReadInto(path, maxBytes, longFile, out);
}

bool WriteLocalFile(const std::string& path, const void* bytes, uint64_t lengthBytes) {
    struct stat status {};
    if (path.empty() || (stat(path.c_str(), &status) == 0 && !IsRegular(status))) {
        return false;
    }
    std::string part;
    CDescriptor file(MakePartFile(path, &part));
    if (file.Get() < 0) {
        return false;
    }
    const bool isWritten = WriteAll(file.Get(), static_cast<const uint8_t*>(bytes), lengthBytes);
    if (!file.Close() || !isWritten || std::rename(part.c_str(), path.c_str()) != 0) {
        unlink(part.c_str());
        return false;
    }
    return true;
}

int MakePartFile(const std::string& path, std::string* part) {
    constexpr mode_t kMode = 0644;
    constexpr int kManyAttempts = 10;
    int file = -1;
    errno = EEXIST;
    for (int attempt = 0; attempt < kManyAttempts && file < 0 && errno == EEXIST; ++attempt) {
        uint32_t number = 0;
        if (getrandom(&number, sizeof(number), 0) != sizeof(number)) {
            return -1;
        }
        *part = path + "." + std::to_string(number) + ".part";
        file = open(part->c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
    }
    return file;
}

bool MoveToFreeName(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno == EEXIST) {
        return false;
    }
    struct stat status {};
    if (lstat(from.c_str(), &status) == 0 && (status.st_mode & S_IFMT) != S_IFDIR) {
        return link(from.c_str(), to.c_str()) == 0 && unlink(from.c_str()) == 0;
    }
    const bool isFree = lstat(to.c_str(), &status) != 0 && errno == ENOENT;
    errno = EEXIST;
    return isFree && std::rename(from.c_str(), to.c_str()) == 0;
}

uint64_t LocalFileBytes(const std::string& path) {
    struct stat status {};
    const bool isThere = stat(path.c_str(), &status) == 0 && IsRegular(status);
    return isThere ? static_cast<uint64_t>(status.st_size) : 0;
}

} // namespace ox3d
