// RecordedFrame.h - frames and cameras as recordings know them. Relies on nothing: neither cameras nor the library.
#ifndef OX3D_RECORDING_RECORDED_FRAME_H
#define OX3D_RECORDING_RECORDED_FRAME_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace ox3d {

// A pinhole with the distortion k1, k2, p1, p2, k3, of images of that size.
struct RecordedLens {
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    double m_fx = 0;
    double m_fy = 0;
    double m_cx = 0;
    double m_cy = 0;
    std::array<double, 5> m_distortion{};
};

// Takes points of the depth camera into the color camera's frame.
struct RecordedWay {
    std::array<double, 9> m_rotation{}; // row by row
    std::array<double, 3> m_translationMm{};
};

// What is known of a frame beside its images.
struct RecordedFacts {
    uint64_t m_number = 0;
    uint64_t m_ticks = 0;      // of the device's clock
    uint64_t m_hostNs = 0;     // UTC, when the frame came to the host
    uint64_t m_lostBefore = 0; // frames between this one and the one before it that never came
    bool m_isIncomplete = false;
    bool m_isColorLost = false; // it came, and no image could be made of it
    uint64_t m_cameraNs = 0;    // UTC, when the camera took it; 0: not known
};

// Images of the caller's, read during the call alone.
struct DepthView {
    const uint16_t* m_samples = nullptr;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint64_t m_strideSamples = 0;
};

// R, G, B of a pixel together, three planes, or packed: then for a recorder of JPEG images alone, which keeps it as it is.
enum class EColorLayout { Interleaved, Planar, Jpeg };

struct ColorView {
    const uint8_t* m_bytes = nullptr; // null: no color
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    EColorLayout m_layout = EColorLayout::Interleaved;
    size_t m_jpegBytes = 0;
};

struct FrameView {
    RecordedFacts m_facts;
    DepthView m_depth;
    ColorView m_color;
};

// What is recorded once.
struct RecordedCamera {
    std::map<std::string, std::string> m_facts; // serial, model, firmware, ...
    std::string m_calibrationXml;               // empty texts are left out
    std::string m_features;
    std::string m_description;
    std::optional<RecordedLens> m_depthLens;
    std::optional<RecordedLens> m_colorLens;
    std::optional<RecordedWay> m_depthToColor;
};

} // namespace ox3d

#endif
