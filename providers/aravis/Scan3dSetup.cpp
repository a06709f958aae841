// Scan3dSetup.cpp - selectors are given back as they were found: the application may have set them.
#include "providers/aravis/Scan3dSetup.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "providers/aravis/ArvError.h"
#include "providers/aravis/ColorPlanes.h"
#include "providers/aravis/Features.h"
#include "providers/aravis/Selection.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr const char* kComponentEnable = "ComponentEnable";
constexpr const char* kPixelFormat = "PixelFormat";
constexpr const char* kOutputMode = "Scan3dOutputMode";
constexpr const char* kCoordinateSelector = "Scan3dCoordinateSelector";
constexpr const char* kReferenceSystem = "Scan3dCoordinateSystemReference";
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

void CScan3dSetup::Enable(ArvDevice* device, const Component* component) {
    bool isOn = true;
    if (component == nullptr || component->m_entry.empty()) {
        return;
    }
    const CSelection selection(device, kComponentSelector, component->m_entry);
    if (selection.IsDone() && features::GetBoolean(device, kComponentEnable, &isOn) == kOk && !isOn &&
        features::SetBoolean(device, kComponentEnable, true) == kOk) {
        m_changes.push_back({component->m_entry, kComponentEnable, "", false});
    }
}

// The first of the wanted entries that the camera has now, unless it is set to that already.
void CScan3dSetup::Choose(ArvDevice* device, const std::string& entry, const char* key,
                          const std::vector<std::string>& wanted) {
    const CSelection selection(device, kComponentSelector, entry);
    std::string now;
    if (!selection.IsDone() || features::GetEnumName(device, key, &now) != kOk) {
        return;
    }
    const std::vector<std::string> there = features::EntriesOf(device, key);
    for (const std::string& name : wanted) {
        if (name == now) {
            return;
        }
        if (std::find(there.begin(), there.end(), name) != there.end() &&
            features::SetEnumByName(device, key, name.c_str()) == kOk) {
            m_changes.push_back({entry, key, now});
            return;
        }
    }
}

// Aravis's own switch first; only then can the ids be asked for that multi-part blocks need.
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
    if (m_isMultiPart) {
        Choose(device, "", "GevGVSPExtendedIDMode", {"On"});
    }
}

void CScan3dSetup::Apply(ArvDevice* device) {
    FindComponents(device);
    const Component* depth = Depth();
    if (depth == nullptr) {
        return;
    }
    Enable(device, depth);
    Enable(device, Find(kComponentIntensity));
    Enable(device, Find(kComponentConfidence));
    std::string mode;
    const CSelection selection(device, kComponentSelector, depth->m_entry);
    features::GetEnumName(device, kOutputMode, &mode);
    if (std::find(std::begin(kDepthModes), std::end(kDepthModes), mode) == std::end(kDepthModes)) {
        Choose(device, depth->m_entry, kOutputMode, {std::begin(kDepthModes), std::end(kDepthModes)});
    }
    Choose(device, depth->m_entry, kReferenceSystem, {"Anchor"});
    Choose(device, depth->m_entry, kPixelFormat, DepthFormatNames());
    if (const Component* intensity = Find(kComponentIntensity)) {
        Choose(device, intensity->m_entry, kPixelFormat, ColorFormatNames());
    }
    TurnOnMultiPart(device);
}

void CScan3dSetup::PutBack(ArvDevice* device) {
    for (; !m_changes.empty(); m_changes.pop_back()) {
        const Change& change = m_changes.back();
        const CSelection selection(device, kComponentSelector, change.m_entry);
        if (change.m_name.empty()) {
            features::SetBoolean(device, change.m_key, change.m_isOn);
        } else {
            features::SetEnumByName(device, change.m_key, change.m_name.c_str());
        }
    }
    if (m_isMultiPart && !m_wasMultiPart) {
        CArvError error;
        const CObject<ArvCamera> camera(arv_camera_new_with_device(device, error.Out()));
        if (camera != nullptr) {
            arv_camera_gv_set_multipart(camera.get(), FALSE, error.Out());
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
