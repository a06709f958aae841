// Scan3dSetup.cpp - selectors are given back as they were found: the application may have set them.
#include "providers/aravis/Scan3dSetup.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

#include "providers/aravis/ArvError.h"
#include "providers/aravis/ColorPlanes.h"
#include "providers/aravis/Features.h"
#include "providers/aravis/Selection.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr const char* kCoordinateSelector = "Scan3dCoordinateSelector";
constexpr const char* kCoordinateSystem = "Scan3dCoordinateSystem";
constexpr const char* kCartesian = "Cartesian";
constexpr const char* kReferenceSystem = "Scan3dCoordinateSystemReference";
constexpr const char* kAnchor = "Anchor";
constexpr const char* kTransformSelector = "Scan3dTransformSelector";
constexpr const char* kTransformValue = "Scan3dTransformValue";
constexpr size_t kMaxComponents = 64; // more are no camera's

// Modes whose C is depth; a point's columns follow the lens in all but the rectified one.
constexpr const char* kDepthModes[] = {"CalibratedC", "ProjectedC", "CalibratedABC_Grid", "RectifiedC",
                                       "DisparityC"};

// The standard's number of the selected component; by its name where the camera does not tell.
uint32_t SelectedId(ArvDevice* device, const std::string& entry) {
    static constexpr struct {
        const char* m_name;
        uint32_t m_id;
    } kNames[] = {{"Intensity", kComponentIntensity},
                  {"Range", kComponentRange},
                  {"Confidence", kComponentConfidence},
                  {"Disparity", kComponentDisparity}};
    if (const auto id = features::ReadNumber(device, "ComponentIDValue")) {
        return *id > 0 && *id <= UINT16_MAX ? static_cast<uint32_t>(*id) : 0;
    }
    for (const auto& row : kNames) {
        if (entry == row.m_name) {
            return row.m_id;
        }
    }
    return 0;
}

SampleRule ReadCoordinate(ArvDevice* device, const char* entry) {
    SampleRule rule;
    const CSelection selection(device, kCoordinateSelector, entry);
    if (!selection.IsDone() && entry[std::char_traits<char>::length(entry) - 1] != 'C') {
        return rule; // without a selector there is one coordinate only
    }
    rule.m_scale = features::ReadNumber(device, "Scan3dCoordinateScale").value_or(1.0);
    rule.m_offset = features::ReadNumber(device, "Scan3dCoordinateOffset").value_or(0.0);
    if (features::ReadNumber(device, "Scan3dInvalidDataFlag").value_or(0.0) != 0.0) {
        rule.m_invalid = features::ReadNumber(device, "Scan3dInvalidDataValue");
    }
    return rule;
}

bool IsPixel(const std::string& unit) {
    return unit == "Pixel" || unit == "pixel" || unit == "px";
}

int Refuse(std::string* why, const char* text) {
    *why = text;
    return Code(OX_CC_E_SUPPORT);
}

bool IsMoved(ArvDevice* device) {
    const std::vector<std::string> entries = features::EntriesOf(device, kTransformSelector);
    return entries.empty() || std::any_of(entries.begin(), entries.end(), [&](const std::string& entry) {
               const CSelection selection(device, kTransformSelector, entry);
               return !selection.IsDone() || features::ReadNumber(device, kTransformValue) != 0.0;
           });
}

// Null, or why the selected component's C is not the depth of the lens.
const char* FaultOfSystem(ArvDevice* device) {
    std::string name;
    if (features::GetEnumName(device, kCoordinateSystem, &name) == kOk && name != kCartesian) {
        return "its coordinates are not Cartesian";
    }
    const bool isElsewhere =
        features::GetEnumName(device, kReferenceSystem, &name) == kOk && name != kAnchor && IsMoved(device);
    return isElsewhere ? "its coordinates are those of a transformed system (Scan3dCoordinateSystemReference)"
                       : nullptr;
}

std::vector<std::string> DepthFormatNames() {
    std::vector<std::string> names;
    for (const DepthFormat& format : DepthFormats()) {
        names.emplace_back(format.m_name);
    }
    return names;
}

} // namespace

double MillimetresOf(const std::string& unit) {
    static constexpr struct {
        const char* m_name;
        double m_mm;
    } kUnits[] = {{"Millimeter", 1.0},   {"mm", 1.0},           {"Meter", kMmPerMetre}, {"m", kMmPerMetre},
                  {"Inch", kMmPerInch},  {"in", kMmPerInch},    {"inch", kMmPerInch},   {"Centimeter", 10.0},
                  {"cm", 10.0},          {"Micrometer", 0.001}, {"um", 0.001},          {"Millimetre", 1.0},
                  {"Metre", kMmPerMetre}};
    const auto* found = std::find_if(std::begin(kUnits), std::end(kUnits),
                                     [&](const auto& row) { return unit == row.m_name; });
    return found == std::end(kUnits) ? 0.0 : found->m_mm;
}

const CScan3dSetup::Component* CScan3dSetup::Find(uint32_t id) const {
    const auto found = std::find_if(m_components.begin(), m_components.end(),
                                    [&](const Component& component) { return component.m_id == id; });
    return found == m_components.end() ? nullptr : &*found;
}

const CScan3dSetup::Component* CScan3dSetup::Find(const char* entry) const {
    const auto found = std::find_if(m_components.begin(), m_components.end(),
                                    [&](const Component& component) { return component.m_entry == entry; });
    return found == m_components.end() ? nullptr : &*found;
}

const CScan3dSetup::Component* CScan3dSetup::Depth() const {
    const Component* range = Find(kComponentRange);
    return range != nullptr ? range : Find(kComponentDisparity);
}

void CScan3dSetup::FindComponents(ArvDevice* device) {
    m_components.clear();
    for (const std::string& entry : features::EntriesOf(device, kComponentSelector)) {
        const CSelection selection(device, kComponentSelector, entry);
        const uint32_t id = selection.IsDone() ? SelectedId(device, entry) : 0;
        if (id != 0 && m_components.size() < kMaxComponents) {
            m_components.push_back({entry, id});
        }
    }
    if (m_components.empty()) {
        m_components.push_back({"", kComponentRange}); // one image, without a choice
    }
}

void CScan3dSetup::Enable(ArvDevice* device, const Component* component, const char* cost) {
    if (component != nullptr && !component->m_entry.empty()) {
        m_changes.Switch(device, {kComponentSelector, component->m_entry, kComponentEnable}, true, cost);
    }
}

// The anchor's Cartesian system, in which the lens is where depth begins. A camera that knows only one that has been moved
// away is told to move it by nothing: what its numbers would make of a point, in which order, is better not guessed.
void CScan3dSetup::ChooseSystem(ArvDevice* device, const Component& depth) {
    constexpr const char* kCost = "its coordinates are none of the depth's lens";
    m_changes.Choose(device, {kComponentSelector, depth.m_entry, kCoordinateSystem}, {kCartesian}, kCost);
    m_changes.Choose(device, {kComponentSelector, depth.m_entry, kReferenceSystem}, {kAnchor}, kCost);
    const CSelection selection(device, kComponentSelector, depth.m_entry);
    std::string reference;
    if (features::GetEnumName(device, kReferenceSystem, &reference) != kOk || reference == kAnchor) {
        return;
    }
    for (const std::string& entry : features::EntriesOf(device, kTransformSelector)) {
        m_changes.SetToZero(device, {kTransformSelector, entry, kTransformValue}, kCost);
    }
}

// A component that cannot be read would cost every frame.
void CScan3dSetup::ChooseColor(ArvDevice* device, const Component& intensity) {
    m_changes.Choose(device, {kComponentSelector, intensity.m_entry, kPixelFormat}, ColorFormatNames(),
                     "color comes as it is set");
    const CSelection selection(device, kComponentSelector, intensity.m_entry);
    OX_CC_ENUM_VALUE format{};
    if (features::GetEnum(device, kPixelFormat, &format) == kOk && !IsColorFormat(format.nCurValue)) {
        std::fprintf(stderr,
                     "camera control: the camera has no pixel format of %s that can be read: no color\n",
                     intensity.m_entry.c_str());
        m_changes.Switch(device, {kComponentSelector, intensity.m_entry, kComponentEnable}, false,
                         "acquisition will not start with it");
    }
}

// Aravis's own switch first; only then can the ids be asked for that multi-part blocks need. Blocks whose leader has no
// room for the number of their parts cannot be taken apart.
void CScan3dSetup::TurnOnMultiPart(ArvDevice* device) {
    if (!ARV_IS_GV_DEVICE(device)) {
        return;
    }
    CArvError error;
    const CObject<ArvCamera> camera(arv_camera_new_with_device(device, error.Out()));
    if (camera == nullptr || arv_camera_gv_is_multipart_supported(camera.get(), error.Out()) == 0) {
        return;
    }
    m_wasMultiPart = arv_camera_gv_get_multipart(camera.get(), error.Out()) != 0;
    arv_camera_gv_set_multipart(camera.get(), TRUE, error.Out());
    m_isMultiPart = !error.IsSet() && arv_camera_gv_get_multipart(camera.get(), error.Out()) != 0;
    constexpr const char* kCost = "components come in blocks of their own";
    if (!m_isMultiPart) {
        std::fprintf(stderr, "camera control: the camera refuses multi-part payload: %s\n", kCost);
    } else if (!m_changes.Choose(device, {nullptr, "", "GevGVSPExtendedIDMode"}, {"On"}, kCost)) {
        arv_camera_gv_set_multipart(camera.get(), FALSE, error.Out());
        m_isMultiPart = arv_camera_gv_get_multipart(camera.get(), error.Out()) != 0;
    }
}

void CScan3dSetup::Apply(ArvDevice* device) {
    FindComponents(device);
    const Component* depth = Depth();
    if (depth == nullptr) {
        return;
    }
    Enable(device, depth, "there is no depth");
    Enable(device, Find(kComponentIntensity), "frames have no color");
    Enable(device, Find(kComponentConfidence), "the invalid value alone tells where there is no depth");
    std::string mode;
    const CSelection selection(device, kComponentSelector, depth->m_entry);
    features::GetEnumName(device, kOutputMode, &mode);
    if (std::find(std::begin(kDepthModes), std::end(kDepthModes), mode) == std::end(kDepthModes)) {
        m_changes.Choose(device, {kComponentSelector, depth->m_entry, kOutputMode},
                         {std::begin(kDepthModes), std::end(kDepthModes)}, "it gives no depth");
    }
    ChooseSystem(device, *depth);
    m_changes.Choose(device, {kComponentSelector, depth->m_entry, kPixelFormat}, DepthFormatNames(),
                     "depth comes as it is set");
    if (const Component* intensity = Find(kComponentIntensity)) {
        ChooseColor(device, *intensity);
    }
    TurnOnMultiPart(device);
}

void CScan3dSetup::PutBack(ArvDevice* device) {
    m_changes.PutBack(device);
    if (m_isMultiPart && !m_wasMultiPart) {
        CArvError error;
        const CObject<ArvCamera> camera(arv_camera_new_with_device(device, error.Out()));
        if (camera != nullptr) {
            arv_camera_gv_set_multipart(camera.get(), FALSE, error.Out());
        }
        if (camera == nullptr || error.IsSet()) {
            std::fprintf(stderr, "camera control: multi-part payload is not turned off again\n");
        }
        m_isMultiPart = false;
    }
}

bool CScan3dSetup::IsEnabled(ArvDevice* device, const Component* component) const {
    bool isOn = true;
    if (component == nullptr) {
        return false;
    }
    const CSelection selection(device, kComponentSelector, component->m_entry);
    return features::GetBoolean(device, kComponentEnable, &isOn) != kOk || isOn;
}

int CScan3dSetup::ReadComponent(ArvDevice* device, const Component* component,
                                Scan3dPlan::Component* out) const {
    if (!IsEnabled(device, component)) {
        return kOk;
    }
    const CSelection selection(device, kComponentSelector, component->m_entry);
    OX_CC_ENUM_VALUE format{};
    const int code = features::GetEnum(device, kPixelFormat, &format);
    if (code == kOk) {
        *out = {component->m_id, format.nCurValue};
    }
    return code;
}

int CScan3dSetup::Read(ArvDevice* device, const Scan3dOptions& options, Scan3dPlan* plan,
                       std::string* why) const {
    const Component* depth = Depth();
    if (depth == nullptr || !IsEnabled(device, depth)) {
        return Refuse(why, "no component with depth is enabled");
    }
    Scan3dPlan made;
    for (const auto& [component, out] :
         {std::pair(depth, &made.m_depth), std::pair(Find(kComponentIntensity), &made.m_intensity),
          std::pair(Find(kComponentConfidence), &made.m_confidence)}) {
        if (const int code = ReadComponent(device, component, out); code != kOk) {
            *why = "a component's pixel format cannot be read";
            return code;
        }
    }
    const bool isNamedDepth = made.m_depth.m_format != kPixelMono16 || depth->m_id == kComponentRange;
    if (FindDepthFormat(made.m_depth.m_format) == nullptr || !isNamedDepth) {
        return Refuse(why, "the pixel format of its depth is none that can be read");
    }
    if (made.m_intensity.m_id != 0 && !IsColorFormat(made.m_intensity.m_format)) {
        return Refuse(
            why, "the pixel format of its intensity is none that can be read: choose another one, or turn "
                 "the component off");
    }
    if (made.m_confidence.m_id != 0 && FindConfidenceFormat(made.m_confidence.m_format) == nullptr) {
        return Refuse(
            why, "the pixel format of its confidence is none that can be read: choose another one, or turn "
                 "the component off");
    }
    const bool isUntold =
        made.m_depth.m_format == made.m_intensity.m_format ||
        made.m_depth.m_format == made.m_confidence.m_format ||
        (made.m_confidence.m_id != 0 && made.m_intensity.m_format == made.m_confidence.m_format);
    if (!m_isMultiPart && isUntold) {
        return Refuse(
            why, "two components have one pixel format, and without multi-part nothing tells them apart");
    }
    const CSelection selection(device, kComponentSelector, depth->m_entry);
    std::string mode;
    if (features::GetEnumName(device, kOutputMode, &mode) == kOk &&
        std::find(std::begin(kDepthModes), std::end(kDepthModes), mode) == std::end(kDepthModes)) {
        *why = "output mode " + mode + " gives no depth";
        return Code(OX_CC_E_SUPPORT);
    }
    made.m_isRectified = mode == "RectifiedC";
    DepthRule& rule = made.m_rule;
    rule.m_coordinates = {ReadCoordinate(device, "CoordinateA"), ReadCoordinate(device, "CoordinateB"),
                          ReadCoordinate(device, "CoordinateC")};
    rule.m_confidenceShare = options.m_confidenceShare;
    std::string unit;
    features::GetEnumName(device, "Scan3dDistanceUnit", &unit);
    rule.m_isDisparity = depth->m_id == kComponentDisparity || mode == "DisparityC" || IsPixel(unit);
    if (const char* fault = rule.m_isDisparity ? nullptr : FaultOfSystem(device)) {
        return Refuse(why, fault);
    }
    if (!rule.m_isDisparity && !unit.empty()) {
        rule.m_unitMm = MillimetresOf(unit);
        if (rule.m_unitMm == 0.0) {
            *why = "distances in " + unit + " are not known";
            return Code(OX_CC_E_SUPPORT);
        }
    }
    if (rule.m_isDisparity) {
        const std::string told = features::UnitOf(device, "Scan3dBaseline");
        const std::string& name = options.m_baselineUnit.empty() ? told : options.m_baselineUnit;
        const double baselineMm = name.empty() ? kMmPerMetre : MillimetresOf(name);
        rule.m_focalPixels = features::ReadNumber(device, "Scan3dFocalLength").value_or(0.0);
        rule.m_baselineMm = features::ReadNumber(device, "Scan3dBaseline").value_or(0.0) * baselineMm;
    }
    *plan = made;
    return kOk;
}

} // namespace ox3d
