// The files of one grabbed frame.
#include "tools/ox3d/pictures/Results.h"

#include "base/PngFile.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/pictures/CloudView.h"
#include "tools/ox3d/pictures/DepthView.h"
#include "tools/ox3d/pictures/Overlay.h"
#include "tools/ox3d/pictures/Ply.h"

#include <system_error>

namespace ox3d::tool {
namespace {

bool HasColor(const GrabbedFrame& frame) {
    return !frame.m_color.IsEmpty();
}

bool HasOverlay(const GrabbedFrame& frame) {
    return HasColor(frame) && frame.m_isRegistered && frame.m_color.m_width == frame.m_depth.m_width &&
           frame.m_color.m_height == frame.m_depth.m_height;
}

bool HasCloud(const GrabbedFrame& frame) {
    return !frame.m_cloud.m_points.empty();
}

void Check(bool isWritten, const std::string& error) {
    if (!isWritten) {
        throw CToolError(EExitCode::File, "cannot write " + error);
    }
}

void WritePng(const std::string& file, const RgbImage& image) {
    std::string error;
    const auto* const bytes = reinterpret_cast<const uint8_t*>(image.m_samples.data());
    Check(WriteColorPng(file, {image.m_width, image.m_height}, bytes, &error), error);
}

void WritePng(const std::string& file, const DepthImage& image) {
    std::string error;
    Check(WriteDepthPng(file, {image.m_width, image.m_height}, image.m_samples.data(), &error), error);
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

} // namespace ox3d::tool
