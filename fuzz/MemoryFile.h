// MemoryFile.h - a regular file that is on no disk, for readers that take a path.
#ifndef OX3D_FUZZ_MEMORY_FILE_H
#define OX3D_FUZZ_MEMORY_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include "fuzz/Input.h"

namespace ox3d::fuzz {

class CMemoryFile {
public:
    CMemoryFile() : m_file(memfd_create("fuzz", MFD_CLOEXEC)) {
        OX3D_FUZZ_EXPECT(m_file >= 0);
        m_path = "/proc/self/fd/" + std::to_string(m_file);
    }
    ~CMemoryFile() { close(m_file); }
    CMemoryFile(const CMemoryFile&) = delete;
    CMemoryFile& operator=(const CMemoryFile&) = delete;

    const std::string& Path() const { return m_path; }
    void Write(std::span<const uint8_t> bytes) {
        const auto length = static_cast<ssize_t>(bytes.size());
        OX3D_FUZZ_EXPECT(ftruncate(m_file, length) == 0);
        OX3D_FUZZ_EXPECT(pwrite(m_file, bytes.data(), bytes.size(), 0) == length);
    }
    void Expect(std::span<const uint8_t> bytes) const {
        std::vector<uint8_t> there(bytes.size() + 1);
        const auto length = static_cast<ssize_t>(bytes.size());
        OX3D_FUZZ_EXPECT(pread(m_file, there.data(), there.size(), 0) == length);
        OX3D_FUZZ_EXPECT(std::equal(bytes.begin(), bytes.end(), there.begin()));
    }

private:
    int m_file;
    std::string m_path;
};

} // namespace ox3d::fuzz

#endif
