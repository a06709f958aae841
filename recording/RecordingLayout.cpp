// RecordingLayout.cpp - see RecordingLayout.h.
#include "recording/RecordingLayout.h"

#include <charconv>
#include <cstdio>

namespace ox3d {

namespace fs = std::filesystem;

std::string RecordingImageName(uint64_t number) {
    char name[32];
    std::snprintf(name, sizeof(name), "%06llu.png", static_cast<unsigned long long>(number));
    return name;
}

std::map<uint64_t, std::string> RecordingImages(const fs::path& folder, std::string* leftOut) {
    std::map<uint64_t, std::string> found;
    std::error_code failure;
    fs::directory_iterator entry(folder, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        const fs::path& path = entry->path();
        const std::string stem = path.stem().string();
        uint64_t number = 0;
        const auto parsed = std::from_chars(stem.data(), stem.data() + stem.size(), number);
        const bool isNumber = parsed.ec == std::errc() && parsed.ptr == stem.data() + stem.size();
        if (path.extension() == ".png" && isNumber && !found.emplace(number, path.string()).second) {
            leftOut->append(leftOut->empty() ? "" : ", ").append(path.string());
        }
    }
    return found;
}

} // namespace ox3d
