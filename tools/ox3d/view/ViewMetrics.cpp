// Figures for Prometheus: its text format, version 0.0.4.
#include "tools/ox3d/view/ViewMetrics.h"

#include "tools/ox3d/Json.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

struct Row {
    const char* m_name;
    const char* m_type;
    const char* m_help;
    double (*m_value)(const ViewMetric& camera);
};

constexpr Row kRows[] = {
    {"ox3d_frames_total", "counter", "Frames that came.",
     [](const ViewMetric& camera) { return static_cast<double>(camera.m_figures.m_frames); }},
    {"ox3d_lost_frames_total", "counter", "Frames missing between those that came.",
     [](const ViewMetric& camera) { return static_cast<double>(camera.m_figures.m_lost); }},
    {"ox3d_incomplete_frames_total", "counter", "Frames without an image that they should have.",
     [](const ViewMetric& camera) { return static_cast<double>(camera.m_figures.m_incomplete); }},
    {"ox3d_frame_rate", "gauge", "Frames a second.",
     [](const ViewMetric& camera) { return camera.m_figures.m_fps; }},
    {"ox3d_latency_seconds", "gauge", "Median time from the taking of a frame to its arrival.",
     [](const ViewMetric& camera) { return camera.m_figures.m_latencyMs50 / 1e3; }},
    {"ox3d_valid_depth_ratio", "gauge", "Share of depth samples with a value.",
     [](const ViewMetric& camera) { return camera.m_encoded.m_validDepth; }},
    {"ox3d_encoded_frames_total", "counter", "Frames encoded for viewers.",
     [](const ViewMetric& camera) { return static_cast<double>(camera.m_encoded.m_frames); }},
    {"ox3d_encoded_bytes_total", "counter", "Bytes encoded for viewers.",
     [](const ViewMetric& camera) { return static_cast<double>(camera.m_encoded.m_bytes); }},
};

// A serial number is a camera's text, and may have anything in it. JSON quotes what the format has quoted.
std::string Quoted(const std::string& text) {
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace

std::string MetricsText(const std::vector<ViewMetric>& cameras) {
    std::string text;
    for (const Row& row : kRows) {
        const std::string name = row.m_name;
        text.append("# HELP ").append(name).append(" ").append(row.m_help).append("\n");
        text.append("# TYPE ").append(name).append(" ").append(row.m_type).append("\n");
        for (const ViewMetric& camera : cameras) {
            char value[32];
            std::snprintf(value, sizeof(value), "%.17g", row.m_value(camera));
            text.append(name).append("{camera=").append(Quoted(camera.m_camera));
            text.append("} ").append(value).append("\n");
        }
    }
    return text;
}

} // namespace ox3d::tool
