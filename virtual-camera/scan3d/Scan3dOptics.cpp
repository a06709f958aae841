// Scan3dOptics.cpp - intrinsics by region and binning, coordinates by output mode and pixel format.
#include "virtual-camera/scan3d/Scan3dOptics.h"

#include "virtual-camera/frames/SceneModel.h"

namespace ox3d {
namespace {

constexpr double kNearestByDisparityMm = 300; // what is nearer has no disparity
constexpr double kRasterPlaneMm = 2000;       // where rectified columns are as far apart as pixels

double MmPerUnit(EDistanceUnit unit) {
    switch (unit) {
    case EDistanceUnit::Inch:
        return 25.4;
    case EDistanceUnit::Meter:
        return 1000;
    case EDistanceUnit::Millimeter:
    case EDistanceUnit::Untold:
        break;
    }
    return 1;
}

RgbdIntrinsics PinholeOf(const Scan3dSettings& settings, const Region& region, const RgbdIntrinsics& sensor) {
    const double binning = settings.m_binning;
    const double centre = (binning - 1) / 2; // of the first binned pixel, in those of the sensor
    return {sensor.m_fx / binning, sensor.m_fy / binning, (sensor.m_cx - centre) / binning - region.m_x,
            (sensor.m_cy - centre) / binning - region.m_y};
}

// Rows and columns of a rectified image are coordinates themselves.
CoordinateRule RasterRule(double focal, double centre, double mmPerUnit) {
    CoordinateRule rule;
    rule.m_scale = static_cast<float>(kRasterPlaneMm / focal / mmPerUnit);
    rule.m_offset = static_cast<float>(-centre * kRasterPlaneMm / focal / mmPerUnit);
    return rule;
}

CoordinateRule LengthRule(const Scan3dConfig& config, const Scan3dFormat& format, bool isSideways,
                          double mmPerUnit) {
    CoordinateRule rule;
    rule.m_isFloat = format.m_isFloat;
    rule.m_hasInvalid = config.m_isInvalidFlagged;
    if (format.m_isFloat) {
        rule.m_invalid = std::numeric_limits<float>::quiet_NaN();
        return rule;
    }
    // Sideways there is as much on both sides of the axis, and more of it than there is forward.
    const double scaleMm = config.m_scaleMm * (1U << (16U - format.m_sampleBits)) * (isSideways ? 2 : 1);
    const double offsetMm = isSideways ? -scaleMm * (1U << (format.m_sampleBits - 1U)) : config.m_offsetMm;
    rule.m_scale = static_cast<float>(scaleMm / mmPerUnit);
    rule.m_offset = static_cast<float>(offsetMm / mmPerUnit);
    rule.m_maxSample = static_cast<float>(format.MaxSample());
    return rule;
}

CoordinateRule DisparityRule(const Scan3dConfig& config, const Scan3dFormat& format,
                             double focalTimesBaseline) {
    CoordinateRule rule = LengthRule(config, format, false, 1);
    if (!format.m_isFloat) {
        const double largest = focalTimesBaseline / kNearestByDisparityMm;
        rule.m_scale = static_cast<float>(largest / format.MaxSample());
        rule.m_offset = 0;
    }
    return rule;
}

} // namespace

Scan3dOptics OpticsOf(const Scan3dConfig& config, const Scan3dSettings& settings,
                      const RgbdIntrinsics& sensor) {
    const ComponentSettings& depth = settings.m_components[config.DepthComponent()];
    const Scan3dFormat& format = *FindScan3dFormat(depth.m_format);
    Scan3dOptics optics;
    optics.m_pinhole = PinholeOf(settings, depth.m_region, sensor);
    optics.m_baselineMm = kSceneBaselineMm;
    optics.m_mmPerUnit = MmPerUnit(config.m_unit);
    optics.m_movedBy = static_cast<double>(settings.m_movedBy);
    auto& [a, b, c] = optics.m_rules;
    c = LengthRule(config, format, false, optics.m_mmPerUnit);
    if (settings.m_mode == kDisparityC) {
        c = DisparityRule(config, format, optics.m_pinhole.m_fx * optics.m_baselineMm);
    } else if (settings.m_mode == kCalibratedAbcGrid) {
        a = LengthRule(config, format, true, optics.m_mmPerUnit);
        b = a;
    } else if (settings.m_mode == kRectifiedC) {
        a = RasterRule(optics.m_pinhole.m_fx, optics.m_pinhole.m_cx, optics.m_mmPerUnit);
        b = RasterRule(optics.m_pinhole.m_fy, optics.m_pinhole.m_cy, optics.m_mmPerUnit);
    } else if (settings.m_mode == kUncalibratedC) {
        c.m_scale = 1; // values as they are, of which nothing is known
        c.m_offset = 0;
    }
    return optics;
}

} // namespace ox3d
