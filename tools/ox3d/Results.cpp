// The files of one grabbed frame.
#include "Results.h"

#include "CloudView.h"
#include "DepthView.h"
#include "Overlay.h"
#include "Ply.h"
#include "Png.h"

#include <system_error>

namespace ox3dtool {
namespace {

bool HasColor(const GrabbedFrame& frame) {
    return !frame.m_color.IsEmpty();
}

bool HasOverlay(const GrabbedFrame& frame) {
    return HasColor(frame) && frame.m_isRegistered && frame.m_color.m_nWidth == frame.m_depth.m_nWidth &&
           frame.m_color.m_nHeight == frame.m_depth.m_nHeight;
}

bool HasCloud(const GrabbedFrame& frame) {
    return !frame.m_cloud.m_points.empty();
}

struct Result {
    const char* m_name;
    bool (*m_isThere)(const GrabbedFrame&);
    void (*m_write)(const std::string& file, const GrabbedFrame&);
};

constexpr Result kResults[] = {
    {"depth.png", [](const GrabbedFrame&) { return true; },
     [](const std::string& file, const GrabbedFrame& frame) { WritePng(file, frame.m_depth); }},
    {"depth_color.png", [](const GrabbedFrame&) { return true; },
     [](const std::string& file, const GrabbedFrame& frame) { WritePng(file, DepthPicture(frame.m_depth)); }},
    {"color.png", HasColor,
     [](const std::string& file, const GrabbedFrame& frame) { WritePng(file, frame.m_color); }},
    {"overlay.png", HasOverlay,
     [](const std::string& file, const GrabbedFrame& frame) {
         WritePng(file, OverlayPicture(frame.m_color, frame.m_depth));
     }},
    {"cloud.ply", HasCloud,
     [](const std::string& file, const GrabbedFrame& frame) { WritePly(file, frame.m_cloud); }},
    {"cloud.png", HasCloud,
     [](const std::string& file, const GrabbedFrame& frame) { WritePng(file, CloudPicture(frame.m_cloud)); }},
};

} // namespace

std::vector<std::string> WriteResults(const std::filesystem::path& folder, const GrabbedFrame& frame) {
    std::vector<std::string> written;
    for (const Result& result : kResults) {
        const std::filesystem::path file = folder / result.m_name;
        if (result.m_isThere(frame)) {
            result.m_write(file.string(), frame);
            written.emplace_back(result.m_name);
        } else {
            std::error_code ignored; // usually there is none
            std::filesystem::remove(file, ignored);
        }
    }
    return written;
}

} // namespace ox3dtool
