// Scan3dDepth.h - a range or disparity image as it was sent becomes depth in whole millimetres.
//
// Nothing is taken from the camera unchecked: sizes are held against the bytes there are, numbers against what they
// may be. One thread at a time for each object.
#ifndef OX3D_ARAVIS_SCAN3D_DEPTH_H
#define OX3D_ARAVIS_SCAN3D_DEPTH_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "providers/aravis/DepthTable.h"
#include "providers/aravis/Scan3dFormats.h"

namespace ox3d {

constexpr double kMmPerMetre = 1000.0;
constexpr double kMmPerInch = 25.4;

struct SampleRule {
    double m_scale = 1.0; // may be negative
    double m_offset = 0.0;
    // The value as it is sent, before scale and offset, that stands for no point; NaN is one. None: every value is real.
    std::optional<double> m_invalid;

    bool operator==(const SampleRule&) const = default;
};
bool IsInvalid(const SampleRule& rule, double sent);

struct DepthRule {
    std::array<SampleRule, 3> m_coordinates; // by ECoordinate
    double m_unitMm = 1.0;                   // of a distance
    bool m_isDisparity = false;              // C is a disparity in pixels
    double m_focalPixels = 0.0;              // of disparity only, as the base line is
    double m_baselineMm = 0.0;
    double m_confidenceShare = 0.0; // of the format's maximum; below it there is no depth, nor where it is 0

    bool operator==(const DepthRule&) const = default;
};

struct SentImage {
    uint32_t m_format = 0;
    ImageShape m_shape;
    std::span<const uint8_t> m_bytes; // more than the image needs is padding
};

enum class EDepthFault {
    None,
    Format,           // not one of depth
    Size,             // a side of 0 or too long, or fewer bytes than the format needs
    Scale,            // scale or unit that is 0 or no number, offset that is no number
    Disparity,        // focal length or base line that is not above 0
    ConfidenceFormat, // not one of confidence
    ConfidenceSize,   // not that of the depth, or fewer bytes than it needs
};
// One of English words for a log line.
const char* TextOf(EDepthFault fault);

class CScan3dDepth {
public:
    // Writes width x height depths, 0 where there is none; out has room for them. Nothing is written on a fault.
    // Throws nothing but std::bad_alloc.
    EDepthFault Convert(const DepthRule& rule, const SentImage& image, const SentImage* confidence,
                        std::span<uint16_t> out);

private:
    void MakeTable(const DepthRule& rule, uint8_t sampleBits);

    CDepthTable m_table; // made anew when the rule changes
    DepthRule m_tableRule;
    uint8_t m_tableBits = 0;
};

// One value as it was sent, in millimetres; 0 where there is no depth. The rule has been found good.
uint16_t DepthOf(const DepthRule& rule, double sent);

} // namespace ox3d

#endif
