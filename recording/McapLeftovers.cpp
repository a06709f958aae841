// McapLeftovers.cpp - see McapLeftovers.h.
#include "recording/McapLeftovers.h"

#include "recording/McapReader.h"

#include <algorithm>
#include <filesystem>
#include <sys/file.h>
#include <unistd.h>

namespace ox3d {
namespace {

namespace fs = std::filesystem;

// As MakePartFile() names them.
bool IsPartOf(const std::string& name, const std::string& whole) {
    constexpr std::string_view kEnd = ".part";
    if (name.size() <= whole.size() + 1 + kEnd.size() || !name.starts_with(whole + ".") ||
        !name.ends_with(kEnd)) {
        return false;
    }
    return std::all_of(name.begin() + static_cast<std::ptrdiff_t>(whole.size()) + 1,
                       name.end() - static_cast<std::ptrdiff_t>(kEnd.size()),
                       [](char digit) { return digit >= '0' && digit <= '9'; });
}

// Nothing, or the first of the bytes that a file begins with.
bool IsHardlyBegun(const CMcapFile& file) {
    ByteVector bytes;
    return file.Bytes() < kMcapMagic.size() && file.Read(0, file.Bytes(), &bytes) &&
           std::equal(bytes.begin(), bytes.end(), kMcapMagic.begin());
}

bool HasNoFrame(const CMcapFile& file) {
    McapContents contents;
    std::string error;
    return IsHardlyBegun(file) || (ScanMcap(file, &contents, &error) && contents.m_summary.m_chunks.empty());
}

// The lock is held until the file is gone: a recorder that has just made it takes another then.
bool RemoveUnlessUsed(const std::string& path) {
    CMcapFile file;
    std::string error;
    return file.Open(path, true, &error) && flock(file.Descriptor(), LOCK_EX | LOCK_NB) == 0 &&
           file.Measure() && HasNoFrame(file) && unlink(path.c_str()) == 0;
}

} // namespace

std::vector<std::string> RemoveMcapLeftovers(const std::string& path) {
    const fs::path whole = fs::absolute(path);
    std::vector<std::string> removed;
    std::error_code failure;
    for (fs::directory_iterator entry(whole.parent_path(), failure);
         !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        if (IsPartOf(entry->path().filename(), whole.filename()) && RemoveUnlessUsed(entry->path())) {
            removed.push_back(entry->path());
        }
    }
    return removed;
}

} // namespace ox3d
