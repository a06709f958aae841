// Scan3dCalibration.cpp - the part of CScan3dSetup that knows lenses.
#include <cmath>
#include <cstdio>

#include "providers/aravis/Features.h"
#include "providers/aravis/Scan3dSetup.h"
#include "providers/aravis/Selection.h"
#include "providers/common/Status.h"
#include "recording/CalibrationText.h"

namespace ox3d {
namespace {

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

} // namespace

CScan3dSetup::Side CScan3dSetup::SideOf(ArvDevice* device, const Component* component) const {
    const CSelection selection(device, kComponentSelector, component->m_entry);
    OX_CC_INT_VALUE_EX width{};
    OX_CC_INT_VALUE_EX height{};
    const bool isRead = features::GetInteger(device, "Width", &width) == kOk &&
                        features::GetInteger(device, "Height", &height) == kOk;
    return isRead ? Side{width.nCurValue, height.nCurValue} : Side{};
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
           features::GetEnumName(device, "PixelFormat", &format) == kOk && format.rfind("Mono", 0) == 0;
}

std::string CScan3dSetup::Calibration(ArvDevice* device) const {
    const Component* depth = Depth();
    if (depth == nullptr) {
        return FormatCalibrationXml(nullptr, false);
    }
    const Side side = SideOf(device, depth);
    const CSelection selection(device, kComponentSelector, depth->m_entry);
    std::string mode;
    features::GetEnumName(device, "Scan3dOutputMode", &mode);
    const auto pinhole = ReadPinhole(device);
    const bool isSize = side.m_width > 0 && side.m_width <= kMaxImageSide && side.m_height > 0 &&
                        side.m_height <= kMaxImageSide;
    if (!pinhole || !isSize || mode == "RectifiedC") {
        std::fprintf(stderr, "camera control: the camera tells no lens of its depth: no points, and no color "
                             "registered to it\n");
        return FormatCalibrationXml(nullptr, false);
    }
    const bool isOneLens = IsOneLens(device, side);
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
    return FormatCalibrationXml(&set, isOneLens);
}

} // namespace ox3d
