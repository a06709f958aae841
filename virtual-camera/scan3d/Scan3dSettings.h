// Scan3dSettings.h - what a camera of the standard's 3D model is, and what it is set to.
#ifndef OX3D_VIRTUAL_CAMERA_SCAN3D_SCAN3D_SETTINGS_H
#define OX3D_VIRTUAL_CAMERA_SCAN3D_SCAN3D_SETTINGS_H

#include <array>
#include <cstdint>

#include "virtual-camera/Feature.h"

namespace ox3d {

// The standard's numbers of components.
constexpr uint32_t kIntensity = 1;
constexpr uint32_t kRange = 4;
constexpr uint32_t kConfidence = 6;
constexpr uint32_t kDisparity = 8;
// This camera's own numbers: the standard has none.
constexpr uint32_t kCoordinateMapA = 10;
constexpr uint32_t kCoordinateMapB = 11;
constexpr uint32_t kComponentSlots = 12;

// Values of Scan3dOutputMode.
constexpr int64_t kUncalibratedC = 0;
constexpr int64_t kCalibratedAbcGrid = 1;
constexpr int64_t kCalibratedC = 2;
constexpr int64_t kRectifiedC = 3;
constexpr int64_t kDisparityC = 4;
constexpr int64_t kProjectedC = 5;

// Values of Scan3dCoordinateSystemReference, and of Scan3dTransformSelector the only one that may be other than 0.
constexpr int64_t kAnchor = 0;
constexpr int64_t kTransformed = 1;
constexpr uint32_t kTranslationZ = 5;

constexpr uint32_t kMinRegion = 16; // columns and rows
constexpr uint32_t kRegionStep = 4;
constexpr uint32_t kMaxBinning = 4;

enum class EDepthKind : uint8_t { Range, Points, Disparity, Rectified };
enum class EIntensityKind : uint8_t { None, Color, Grey };       // of a lens of its own; of the depth's
enum class ELensKind : uint8_t { Features, Maps, Untold };       // how the depth's lens is told
enum class EReference : uint8_t { Anchor, Choice, Transformed }; // the last two begin transformed
enum class EDistanceUnit : uint8_t { Millimeter, Inch, Meter, Untold };

// What the camera list says.
struct Scan3dConfig {
    EDepthKind m_depth = EDepthKind::Range;
    EIntensityKind m_intensity = EIntensityKind::Color;
    EDistanceUnit m_unit = EDistanceUnit::Millimeter;
    bool m_hasConfidence = false;
    bool m_canMultiPart = true;
    bool m_isInvalidFlagged = true; // else only the confidence tells where there is no depth
    double m_scaleMm = 0.1;         // of Coord3D_C16; smaller formats have a coarser one
    double m_offsetMm = 0;
    ELensKind m_lens = ELensKind::Features;
    EReference m_reference = EReference::Anchor;

    bool operator==(const Scan3dConfig&) const = default;

    bool IsDisparity() const { return m_depth == EDepthKind::Disparity; }
    uint32_t DepthComponent() const { return IsDisparity() ? kDisparity : kRange; }
};

uint16_t TraitsOf(const Scan3dConfig& config);

// Columns and rows of a component's image after binning.
struct Region {
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint32_t m_x = 0;
    uint32_t m_y = 0;
};

struct ComponentSettings {
    bool m_isEnabled = false;
    uint32_t m_format = 0;
    Region m_region;
};

struct Scan3dSettings {
    int64_t m_mode = kCalibratedC;
    float m_movedBy = 0;    // along the axis, in the distance unit
    uint32_t m_binning = 1; // of everything that the depth's lens sees
    bool m_isMultiPart = false;
    bool m_isExtendedId = false;
    std::array<ComponentSettings, kComponentSlots> m_components; // by the standard's number
};

} // namespace ox3d

#endif
