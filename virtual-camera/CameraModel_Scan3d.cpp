// CameraModel_Scan3d.cpp - what cameras of the standard's 3D model have besides: components, regions, coordinates.
#include <algorithm>
#include <bit>
#include <cmath>

#include "gigevision/Registers.h"
#include "virtual-camera/CameraModel.h"

namespace ox3d {
namespace {

// In the order of a frame's parts.
constexpr uint32_t kAllComponents[] = {kRange,     kDisparity,      kConfidence,
                                       kIntensity, kCoordinateMapA, kCoordinateMapB};

// What a reader sets before it reads frames.
constexpr EFeature kSetupFeatures[] = {
    EFeature::ComponentEnable,      EFeature::PixelFormat,
    EFeature::Scan3dOutputMode,     EFeature::Scan3dCoordinateSystemReference,
    EFeature::Scan3dTransformValue, EFeature::GevGVSPExtendedIDMode};

constexpr EFeature kRegionFeatures[] = {EFeature::Width, EFeature::Height, EFeature::OffsetX,
                                        EFeature::OffsetY};

int64_t DefaultMode(EDepthKind depth) {
    switch (depth) {
    case EDepthKind::Points:
        return kCalibratedAbcGrid;
    case EDepthKind::Disparity:
        return kDisparityC;
    case EDepthKind::Rectified:
        return kRectifiedC;
    case EDepthKind::Range:
        break;
    }
    return kCalibratedC;
}

uint32_t DefaultFormat(uint32_t component, const Scan3dConfig& config) {
    switch (component) {
    case kIntensity:
        return config.m_intensity == EIntensityKind::Color ? kRgb8 : kMono8;
    case kConfidence:
        return kConfidence8;
    case kCoordinateMapA:
        return kCoord3dA32f;
    case kCoordinateMapB:
        return kCoord3dB32f;
    default:
        return config.m_depth == EDepthKind::Points ? kCoord3dAbc32f : kCoord3dC16;
    }
}

int64_t UnitValue(const Scan3dConfig& config) {
    constexpr int64_t kPixel = 2;
    constexpr int64_t kValues[] = {0, 1, 3, 0}; // in the order of EDistanceUnit
    return config.IsDisparity() ? kPixel : kValues[static_cast<size_t>(config.m_unit)];
}

} // namespace

uint64_t CCameraModel::RawAt(EFeature id, uint32_t slot) const {
    return Raw(*m_features.Find(id), slot);
}

void CCameraModel::SetRawAt(EFeature id, uint32_t slot, uint64_t value) {
    StoreRaw(*m_features.Find(id), slot, value);
}

void CCameraModel::SetFloatAt(EFeature id, uint32_t slot, float value) {
    m_registers.SetFloat(m_features.Find(id)->AddressOf(slot), value);
}

// What one lens sees has one region and one binning.
bool CCameraModel::IsOfDepthLens(uint32_t component) const {
    return component != kIntensity || m_config.m_scan3d.m_intensity != EIntensityKind::Color;
}

// The whole image, in steps that a region can have.
Region CCameraModel::FullRegion(uint32_t component) const {
    const bool hasSource = m_sizes != nullptr;
    const FrameSourceConfig& wanted = m_config.m_source;
    if (!IsOfDepthLens(component)) {
        return {hasSource ? m_sizes->ColorWidth() : wanted.m_colorWidth,
                hasSource ? m_sizes->ColorHeight() : wanted.m_colorHeight, 0, 0};
    }
    const auto binning = static_cast<uint32_t>(Value(EFeature::BinningHorizontal));
    return {(hasSource ? m_sizes->DepthWidth() : wanted.m_depthWidth) / binning,
            (hasSource ? m_sizes->DepthHeight() : wanted.m_depthHeight) / binning, 0, 0};
}

void CCameraModel::ResetRegion(uint32_t component) {
    const Region full = FullRegion(component);
    SetRawAt(EFeature::Width, component, full.m_width - full.m_width % kRegionStep);
    SetRawAt(EFeature::Height, component, full.m_height - full.m_height % kRegionStep);
    SetRawAt(EFeature::OffsetX, component, 0);
    SetRawAt(EFeature::OffsetY, component, 0);
}

void CCameraModel::FillScan3dDefaults() {
    const Scan3dConfig& config = m_config.m_scan3d;
    for (const uint32_t component : kAllComponents) {
        SetRawAt(EFeature::ComponentIDValue, component, component);
        SetRawAt(EFeature::PixelFormat, component, DefaultFormat(component, config));
        ResetRegion(component);
    }
    SetRawAt(EFeature::ComponentEnable, config.DepthComponent(), 1);
    SetValue(EFeature::ComponentSelector, config.DepthComponent());
    SetValue(EFeature::Scan3dOutputMode, DefaultMode(config.m_depth));
    SetValue(EFeature::Scan3dDistanceUnit, UnitValue(config));
    if (config.m_reference != EReference::Anchor) {
        constexpr double kMovedByMm = 250;
        const double mmPerUnit = OpticsOf(config, Scan3dNow(), m_sensor).m_mmPerUnit;
        SetValue(EFeature::Scan3dCoordinateSystemReference, kTransformed);
        SetFloatAt(EFeature::Scan3dTransformValue, kTranslationZ, static_cast<float>(kMovedByMm / mmPerUnit));
    }
    m_registers.SetNumber(gige::reg::kStreamCapability, 4,
                          0xC0000000); // source port told, ids of 16 bits known
    m_registers.SetNumber(gige::reg::kStreamChannelCapability, 4,
                          config.m_canMultiPart ? gige::kMultiPart : 0);
}

Scan3dSettings CCameraModel::Scan3dNow() const {
    Scan3dSettings settings;
    settings.m_mode = Value(EFeature::Scan3dOutputMode);
    settings.m_binning = static_cast<uint32_t>(Value(EFeature::BinningHorizontal));
    if (m_config.m_scan3d.m_reference != EReference::Anchor &&
        Value(EFeature::Scan3dCoordinateSystemReference) == kTransformed) {
        settings.m_movedBy =
            std::bit_cast<float>(static_cast<uint32_t>(RawAt(EFeature::Scan3dTransformValue, kTranslationZ)));
    }
    settings.m_isMultiPart = Value(EFeature::GevSCCFGMultiPart) != 0;
    settings.m_isExtendedId = Value(EFeature::GevGVSPExtendedIDMode) != 0;
    for (const uint32_t component : kAllComponents) {
        ComponentSettings& out = settings.m_components[component];
        out.m_isEnabled = RawAt(EFeature::ComponentEnable, component) != 0;
        out.m_format = static_cast<uint32_t>(RawAt(EFeature::PixelFormat, component));
        out.m_region = {static_cast<uint32_t>(RawAt(EFeature::Width, component)),
                        static_cast<uint32_t>(RawAt(EFeature::Height, component)),
                        static_cast<uint32_t>(RawAt(EFeature::OffsetX, component)),
                        static_cast<uint32_t>(RawAt(EFeature::OffsetY, component))};
    }
    return settings;
}

void CCameraModel::RefreshScan3d() {
    const Scan3dSettings settings = Scan3dNow();
    const bool hasSource = m_sizes != nullptr;
    SetValue(EFeature::SensorWidth, hasSource ? m_sizes->DepthWidth() : m_config.m_source.m_depthWidth);
    SetValue(EFeature::SensorHeight, hasSource ? m_sizes->DepthHeight() : m_config.m_source.m_depthHeight);
    for (const uint32_t component : kAllComponents) {
        const Region full = FullRegion(component);
        SetRawAt(EFeature::WidthMax, component, full.m_width);
        SetRawAt(EFeature::HeightMax, component, full.m_height);
    }
    SetValue(EFeature::PayloadSize, static_cast<int64_t>(Scan3dPayloadBytes(settings)));
    const Scan3dOptics optics = OpticsOf(m_config.m_scan3d, settings, m_sensor);
    if (m_config.m_scan3d.m_lens == ELensKind::Features) {
        SetFloat(EFeature::Scan3dFocalLength, optics.m_pinhole.m_fx);
        SetFloat(EFeature::Scan3dAspectRatio, optics.m_pinhole.m_fy / optics.m_pinhole.m_fx);
        SetFloat(EFeature::Scan3dPrincipalPointU, optics.m_pinhole.m_cx);
        SetFloat(EFeature::Scan3dPrincipalPointV, optics.m_pinhole.m_cy);
    }
    if (m_config.m_scan3d.IsDisparity()) {
        const bool isZero = m_config.m_faults.m_isBaselineZero != 0;
        SetFloat(EFeature::Scan3dBaseline, isZero ? 0 : optics.m_baselineMm / 1000);
    }
    RefreshCoordinates(optics);
}

void CCameraModel::RefreshCoordinates(const Scan3dOptics& optics) {
    const FaultSet& faults = m_config.m_faults;
    for (uint32_t axis = 0; axis < optics.m_rules.size(); ++axis) {
        const CoordinateRule& rule = optics.m_rules[axis];
        float scale = faults.m_isScaleZero != 0 ? 0 : rule.m_scale;
        scale = faults.m_isScaleNan != 0 ? std::numeric_limits<float>::quiet_NaN() : scale;
        SetFloatAt(EFeature::Scan3dCoordinateScale, axis, scale);
        SetFloatAt(EFeature::Scan3dCoordinateOffset, axis, rule.m_offset);
        SetRawAt(EFeature::Scan3dInvalidDataFlag, axis, rule.m_hasInvalid ? 1 : 0);
        SetFloatAt(EFeature::Scan3dInvalidDataValue, axis, rule.m_invalid);
        const float end = rule.m_isFloat ? rule.m_maxSample : rule.m_maxSample * rule.m_scale + rule.m_offset;
        const float begin = rule.m_isFloat ? -rule.m_maxSample : rule.m_offset;
        SetFloatAt(EFeature::Scan3dAxisMin, axis, std::min(begin, end));
        SetFloatAt(EFeature::Scan3dAxisMax, axis, std::max(begin, end));
    }
}

// Beyond the range of the feature alone: a format must be one of the component, a region must be inside the image.
EModelStatus CCameraModel::CheckScan3d(const FeatureRow& row, uint32_t slot, uint64_t raw) const {
    if (m_config.m_faults.m_isSetupDenied != 0 &&
        std::find(std::begin(kSetupFeatures), std::end(kSetupFeatures), row.m_id) !=
            std::end(kSetupFeatures)) {
        return EModelStatus::Access;
    }
    if (row.m_id == EFeature::PixelFormat) {
        const Scan3dFormat* format = FindScan3dFormat(static_cast<uint32_t>(raw));
        return format != nullptr && (format->m_slots >> slot & 1U) != 0 ? EModelStatus::Ok
                                                                        : EModelStatus::Range;
    }
    if (row.m_id == EFeature::Scan3dTransformValue && slot != kTranslationZ) {
        return raw == 0 ? EModelStatus::Ok : EModelStatus::Range; // images are not turned, nor moved aside
    }
    EFeature other; // what the region's size or place is added to
    switch (row.m_id) {
    case EFeature::Width:
        other = EFeature::OffsetX;
        break;
    case EFeature::OffsetX:
        other = EFeature::Width;
        break;
    case EFeature::Height:
        other = EFeature::OffsetY;
        break;
    case EFeature::OffsetY:
        other = EFeature::Height;
        break;
    default:
        return EModelStatus::Ok;
    }
    const bool isAcross = row.m_id == EFeature::Width || row.m_id == EFeature::OffsetX;
    const uint32_t maximum = isAcross ? FullRegion(slot).m_width : FullRegion(slot).m_height;
    return raw + RawAt(other, slot) <= maximum ? EModelStatus::Ok : EModelStatus::Range;
}

void CCameraModel::OnScan3dWritten(EFeature id, uint32_t slot) {
    const uint32_t depth = m_config.m_scan3d.DepthComponent();
    const bool isRegion =
        std::find(std::begin(kRegionFeatures), std::end(kRegionFeatures), id) != std::end(kRegionFeatures);
    if (isRegion && IsOfDepthLens(slot)) {
        for (const uint32_t component : kAllComponents) {
            if (IsOfDepthLens(component)) {
                SetRawAt(id, component, RawAt(id, slot));
            }
        }
    } else if (id == EFeature::BinningHorizontal || id == EFeature::BinningVertical) {
        const int64_t binning = Value(id);
        SetValue(EFeature::BinningHorizontal, binning);
        SetValue(EFeature::BinningVertical, binning);
        for (const uint32_t component : kAllComponents) {
            if (IsOfDepthLens(component)) {
                ResetRegion(component);
            }
        }
    } else if (id == EFeature::PixelFormat && slot == depth) {
        // Points need the mode of points, and no other mode has them.
        const bool isPoints = FindScan3dFormat(static_cast<uint32_t>(RawAt(id, slot)))->IsPoints();
        if (isPoints != (Value(EFeature::Scan3dOutputMode) == kCalibratedAbcGrid)) {
            SetValue(EFeature::Scan3dOutputMode, isPoints ? kCalibratedAbcGrid : kCalibratedC);
        }
    } else if (id == EFeature::Scan3dOutputMode) {
        const bool isPoints = Value(id) == kCalibratedAbcGrid;
        const auto format = static_cast<uint32_t>(RawAt(EFeature::PixelFormat, depth));
        if (isPoints != FindScan3dFormat(format)->IsPoints()) {
            SetRawAt(EFeature::PixelFormat, depth, isPoints ? kCoord3dAbc32f : kCoord3dC16);
        }
    }
}

bool CCameraModel::RenderScan3d(const Exposure& exposure, CameraFrame* frame) {
    const Scan3dSettings& settings = exposure.m_scan3d;
    const EIntensityKind intensity =
        settings.m_components[kIntensity].m_isEnabled ? m_config.m_scan3d.m_intensity : EIntensityKind::None;
    return m_source != nullptr &&
           m_source->Render(exposure.m_sourceIndex, intensity == EIntensityKind::Color,
                            intensity == EIntensityKind::Grey, &m_images) &&
           m_packer.Pack(m_config.m_scan3d, settings, OpticsOf(m_config.m_scan3d, settings, m_sensor),
                         m_images, frame);
}

} // namespace ox3d
