// StaticFiles.h - the page's files, read once: what is not in the table is not served, so no path leads out of the folder.
#ifndef OX3D_VIEWER_STATIC_FILES_H
#define OX3D_VIEWER_STATIC_FILES_H

#include <map>
#include <memory>
#include <string>

namespace ox3d::viewer {

struct StaticFile {
    std::string m_type;
    std::string m_bytes;
};

// By request path: "/vendor/three.js"; "/" is index.html. Hidden files, links and what is no regular file are left out.
using StaticFiles = std::map<std::string, std::shared_ptr<const StaticFile>>;
StaticFiles ReadStaticFiles(const std::string& folder);

} // namespace ox3d::viewer

#endif
