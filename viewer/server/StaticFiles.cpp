// The page's files.
#include "viewer/server/StaticFiles.h"

#include "base/LocalFile.h"

#include <filesystem>

namespace ox3d::viewer {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kMaxFileBytes = uint64_t{16} << 20U;
constexpr size_t kMaxFiles = 1000;

std::string TypeOf(const fs::path& file) {
    static const std::map<std::string, std::string> kTypes = {{".html", "text/html; charset=utf-8"},
                                                              {".js", "text/javascript; charset=utf-8"},
                                                              {".mjs", "text/javascript; charset=utf-8"},
                                                              {".css", "text/css; charset=utf-8"},
                                                              {".json", "application/json"},
                                                              {".map", "application/json"},
                                                              {".svg", "image/svg+xml"},
                                                              {".png", "image/png"},
                                                              {".ico", "image/x-icon"},
                                                              {".txt", "text/plain; charset=utf-8"}};
    const auto type = kTypes.find(file.extension().string());
    return type == kTypes.end() ? "application/octet-stream" : type->second;
}

} // namespace

StaticFiles ReadStaticFiles(const std::string& folder) {
    StaticFiles files;
    std::error_code failure;
    fs::recursive_directory_iterator entry(folder, failure);
    for (; !failure && entry != fs::recursive_directory_iterator() && files.size() < kMaxFiles;
         entry.increment(failure)) {
        const bool isHidden = entry->path().filename().string().front() == '.';
        std::error_code ignored;
        if (isHidden || !fs::is_regular_file(entry->symlink_status(ignored))) {
            if (isHidden) {
                entry.disable_recursion_pending();
            }
            continue;
        }
        StaticFile file{TypeOf(entry->path()), {}};
        if (ReadLocalFile(entry->path().string(), kMaxFileBytes, &file.m_bytes)) {
            std::string path(1, '/');
            path += entry->path().lexically_relative(folder).generic_string();
            files[path] = std::make_shared<const StaticFile>(std::move(file));
        }
    }
    if (const auto index = files.find("/index.html"); index != files.end()) {
        files["/"] = index->second;
    }
    return files;
}

} // namespace ox3d::viewer
