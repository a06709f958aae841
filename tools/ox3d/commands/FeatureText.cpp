// Feature values as text.
#include "tools/ox3d/commands/FeatureText.h"

#include "tools/ox3d/Camera.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace ox3d::tool {
namespace {

std::string IntText(const OX3D_RGBD_INTPARAM& value) {
    std::string text = std::to_string(value.nCurValue);
    if (value.nMin < value.nMax) {
        text += " [" + std::to_string(value.nMin) + " .. " + std::to_string(value.nMax);
        text += value.nInc > 1 ? ", step " + std::to_string(value.nInc) + "]" : "]";
    }
    return text;
}

std::string FloatText(const OX3D_RGBD_FLOATPARAM& value) {
    char text[96];
    const auto current = static_cast<double>(value.fCurValue);
    const auto min = static_cast<double>(value.fMin);
    const auto max = static_cast<double>(value.fMax);
    if (min < max) {
        std::snprintf(text, sizeof(text), "%g [%g .. %g]", current, min, max);
    } else {
        std::snprintf(text, sizeof(text), "%g", current);
    }
    return text;
}

// Small numbers as such, the rest, such as pixel formats, in hexadecimal.
std::string EnumValueText(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof(text), value < 10000 ? "%" PRIu32 : "0x%08" PRIx32, value);
    return text;
}

std::string EnumText(const OX3D_RGBD_ENUMPARAM& value) {
    std::string text = EnumValueText(value.nCurValue);
    const uint32_t count = std::min<uint32_t>(value.nSupportedNum, OX3D_RGBD_MAX_ENUM_ENTRIES);
    for (uint32_t i = 0; i < count; ++i) {
        text += (i == 0 ? " of " : ", ") + EnumValueText(value.nSupportValue[i]);
    }
    return text;
}

} // namespace

std::string ValueText(const OX3D_RGBD_PARAM& param) {
    switch (param.enParamType) {
    case OX3D_RGBD_PARAM_BOOL:
        return param.bBoolValue != 0 ? "yes" : "no";
    case OX3D_RGBD_PARAM_INT:
        return IntText(param.stIntParam);
    case OX3D_RGBD_PARAM_FLOAT:
        return FloatText(param.stFloatParam);
    case OX3D_RGBD_PARAM_ENUM:
        return EnumText(param.stEnumParam);
    case OX3D_RGBD_PARAM_STRING:
        return TextOf(param.stStringParam.chCurValue);
    default:
        return "";
    }
}

const char* AccessText(Ox3dRgbdAccessMode mode) {
    switch (mode) {
    case OX3D_RGBD_ACCESS_NOT_IMPLEMENTED:
        return "not implemented";
    case OX3D_RGBD_ACCESS_NOT_AVAILABLE:
        return "not available";
    case OX3D_RGBD_ACCESS_WRITE_ONLY:
        return "write-only";
    case OX3D_RGBD_ACCESS_READ_ONLY:
        return "read-only";
    case OX3D_RGBD_ACCESS_READ_WRITE:
        return "read-write";
    default:
        return "unknown";
    }
}

} // namespace ox3d::tool
