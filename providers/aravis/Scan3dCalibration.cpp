// Scan3dCalibration.cpp - the part of CScan3dSetup that knows lenses.
#include <cmath>
#include <cstdio>
#include <iterator>

#include "providers/aravis/Features.h"
#include "providers/aravis/LensLook.h"
#include "providers/aravis/PinholeFit.h"
#include "providers/aravis/Scan3dSetup.h"
#include "providers/aravis/Selection.h"
#include "providers/aravis/UserCalibration.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr const char* kCost = "no lens can be learnt of it";

// Some cameras spell the point as the rule that one lives by.
std::optional<double> Principal(ArvDevice* device, const char* key, const char* misspelt) {
    const auto value = features::ReadNumber(device, key);
    return value ? value : features::ReadNumber(device, misspelt);
}

// Of the selected component.
std::optional<RgbdIntrinsics> ReadPinhole(ArvDevice* device) {
    const auto focal = features::ReadNumber(device, "Scan3dFocalLength");
    const auto ratio = features::ReadNumber(device, "Scan3dAspectRatio").value_or(1.0);
    const auto u = Principal(device, "Scan3dPrincipalPointU", "Scan3dPrinciplePointU");
    const auto v = Principal(device, "Scan3dPrincipalPointV", "Scan3dPrinciplePointV");
    const bool isUsable = focal && u && v && std::isfinite(*focal) && *focal > 0.0 && std::isfinite(ratio) &&
                          ratio > 0.0 && std::isfinite(*u) && std::isfinite(*v);
    return isUsable ? std::optional(RgbdIntrinsics{*focal, *focal * ratio, *u, *v}) : std::nullopt;
}

// Columns follow no lens then, whatever a file says.
bool IsRectified(ArvDevice* device) {
    std::string mode;
    return features::GetEnumName(device, kOutputMode, &mode) == kOk && mode == "RectifiedC";
}

bool IsEntryOrNone(ArvDevice* device, const char* key, const char* entry) {
    std::string now;
    return features::GetEnumName(device, key, &now) != kOk || now == entry;
}

} // namespace

CScan3dSetup::Side CScan3dSetup::SideOf(ArvDevice* device, const Component* component) const {
    const CSelection selection(device, kComponentSelector, component->m_entry);
    const auto read = [&](const char* key) {
        OX_CC_INT_VALUE_EX value{};
        return features::GetInteger(device, key, &value) == kOk ? value.nCurValue : 0;
    };
    return {read("Width"), read("Height"), read("OffsetX"), read("OffsetY")};
}

// A grey image of the depth's size is what the depth was measured in. Of color the camera does not say so: most have a
// lens of its own for it.
bool CScan3dSetup::IsOneLens(ArvDevice* device, const Side& depth) const {
    const Component* intensity = Find(kComponentIntensity);
    if (intensity == nullptr || !IsEnabled(device, intensity)) {
        return true;
    }
    const Side side = SideOf(device, intensity);
    const CSelection selection(device, kComponentSelector, intensity->m_entry);
    std::string format;
    return side.m_width == depth.m_width && side.m_height == depth.m_height &&
           features::GetEnumName(device, kPixelFormat, &format) == kOk && format.rfind("Mono", 0) == 0;
}

bool CScan3dSetup::IsLensTold(ArvDevice* device) const {
    const Component* depth = Depth();
    const CSelection selection(device, kComponentSelector, depth == nullptr ? "" : depth->m_entry);
    return depth == nullptr || IsRectified(device) || ReadPinhole(device);
}

// Both maps come as floats, which need no scale.
const char* CScan3dSetup::LookAtMaps(ArvDevice* device, const CLensLook& look, const Side& side,
                                     CSettingChanges* changes, RgbdIntrinsics* lens) const {
    LookedAt maps[2];
    const char* const entries[] = {"CoordinateMapA", "CoordinateMapB"};
    for (size_t i = 0; i < std::size(maps); ++i) {
        const Component* component = Find(entries[i]);
        if (component == nullptr) {
            return "it has no maps of its coordinates";
        }
        const std::string& entry = component->m_entry;
        changes->Switch(device, {kComponentSelector, entry, kComponentEnable}, true, kCost);
        changes->Choose(device, {kComponentSelector, entry, kPixelFormat},
                        {i == 0 ? "Coord3D_A32f" : "Coord3D_B32f"}, kCost);
        Scan3dPlan::Component sent;
        if (ReadComponent(device, component, &sent) != kOk || sent.m_id == 0) {
            return "the maps of its coordinates are not to be had";
        }
        maps[i].m_component = sent.m_id;
        maps[i].m_format = sent.m_format;
    }
    if (!m_isMultiPart && maps[0].m_format == maps[1].m_format) {
        return "nothing tells the maps of its coordinates apart";
    }
    if (!look.Take(device, maps)) {
        return "the maps of its coordinates do not come";
    }
    const ImageShape& shape = maps[0].m_shape;
    return shape.m_width == side.m_width && shape.m_height == side.m_height
               ? FitPinhole(RaysOfMaps(maps[0].Image(), maps[1].Image()), shape, lens)
               : "the maps of its coordinates have not the size of its depth";
}

// Points of a system that is not the lens's own follow no pinhole.
const char* CScan3dSetup::LookAtPoints(ArvDevice* device, const CLensLook& look, const Side& side,
                                       CSettingChanges* changes, RgbdIntrinsics* lens) const {
    const Component& depth = *Depth();
    if (!IsEntryOrNone(device, "Scan3dCoordinateSystemReference", "Anchor") ||
        !IsEntryOrNone(device, "Scan3dCoordinateSystem", "Cartesian")) {
        return "they are not of the lens's own system";
    }
    changes->Choose(device, {kComponentSelector, depth.m_entry, kOutputMode}, {"CalibratedABC_Grid"}, kCost);
    changes->Choose(device, {kComponentSelector, depth.m_entry, kPixelFormat},
                    {"Coord3D_ABC32f", "Coord3D_ABC32f_Planar", "Coord3D_ABC16", "Coord3D_ABC16_Planar"},
                    kCost);
    Scan3dPlan plan;
    std::string why;
    const bool isRead = Read(device, {}, &plan, &why) == kOk;
    const DepthFormat* format = isRead ? FindDepthFormat(plan.m_depth.m_format) : nullptr;
    if (format == nullptr || !HasCoordinate(*format, ECoordinate::B)) {
        return "it sends no grid of points";
    }
    LookedAt points;
    points.m_component = plan.m_depth.m_id;
    points.m_format = plan.m_depth.m_format;
    if (!look.Take(device, std::span(&points, 1))) {
        return "its points do not come";
    }
    return points.m_shape.m_width == side.m_width && points.m_shape.m_height == side.m_height
               ? FitPinhole(RaysOfPoints(plan.m_rule, points.Image()), points.m_shape, lens)
               : "its points have not the size of its depth";
}

// The camera is as it was afterwards. What has been learnt stays: while frames come no look can be taken, and where there was
// nothing to see each further one would cost as much time.
std::optional<RgbdIntrinsics> CScan3dSetup::LearnLens(ArvDevice* device, const CLensLook* look,
                                                      const Side& side) {
    if (m_learnt && m_learnt->first == side) {
        return m_learnt->second;
    }
    if (look == nullptr) {
        return std::nullopt;
    }
    RgbdIntrinsics lens;
    CSettingChanges changes;
    changes.Choose(device, {nullptr, "", "TriggerMode"}, {"Off"}, kCost);
    const bool hasMaps = Find("CoordinateMapA") != nullptr;
    const char* fault = LookAtMaps(device, *look, side, &changes, &lens);
    if (fault != nullptr && hasMaps) {
        std::fprintf(stderr, "camera control: no lens of the camera's maps: %s\n", fault);
    }
    if (fault != nullptr) {
        fault = LookAtPoints(device, *look, side, &changes, &lens);
    }
    changes.PutBack(device);
    m_learnt = {side, fault == nullptr ? std::optional(lens) : std::nullopt};
    if (fault != nullptr) {
        std::fprintf(stderr, "camera control: no lens of the camera's points: %s\n", fault);
    }
    return m_learnt->second;
}

std::string CScan3dSetup::Calibration(ArvDevice* device, const CLensLook* look) {
    const Component* depth = Depth();
    if (depth == nullptr) {
        return FormatUnregisteredXml(nullptr, false);
    }
    const Side side = SideOf(device, depth);
    const CSelection selection(device, kComponentSelector, depth->m_entry);
    const bool isRectified = IsRectified(device);
    const bool isOneLens = IsOneLens(device, side);
    std::optional<RgbdIntrinsics> pinhole;
    const auto find = [&] {
        if (!pinhole && side.IsImage() && !isRectified) {
            pinhole = ReadPinhole(device);
            pinhole = pinhole ? pinhole : LearnLens(device, look, side);
        }
    };
    if (isOneLens) {
        find(); // else the user knows more
    }
    if (std::string text = pinhole || isRectified ? "" : ReadUserCalibration(device); !text.empty()) {
        return text;
    }
    find();
    if (!pinhole) {
        std::fprintf(stderr, "camera control: the camera tells no lens of its depth: no points of it\n");
        return FormatUnregisteredXml(nullptr, false);
    }
    if (!isOneLens) {
        std::fprintf(stderr,
                     "camera control: the camera does not tell where its color is taken from: it is not "
                     "registered to the depth\n");
    }
    RgbdCalibration set;
    set.m_width = static_cast<uint32_t>(side.m_width);
    set.m_height = static_cast<uint32_t>(side.m_height);
    set.m_depth = *pinhole;
    set.m_color = *pinhole;
    set.m_rotation[0] = set.m_rotation[4] = set.m_rotation[8] = 1.0;
    return FormatUnregisteredXml(&set, isOneLens);
}

} // namespace ox3d
