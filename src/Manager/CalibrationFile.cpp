// CalibrationFile.cpp - see CalibrationFile.h.
#include "src/Manager/CalibrationFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <utility>

#include "base/CalibrationXml.h"
#include "base/LocalFile.h"

namespace {

using ox3d::CalibrationSet;
using ox3d::ECalibrationSet;

constexpr uint64_t kMaxFileBytes = 1 << 20;

// Preserved for compatibility: the messages do not always name the missing element. Support staff search logs
// for them.
constexpr const char* kFileLine = "[DepthMapConvert] cfg_file is not exist.\r\n";
constexpr const char* kRootLine = "[DepthMapConvert] pArithConfig is null.\r\n";
constexpr const char* kSetLine = "[DepthMapConvert] pRGBD_2 is null.\r\n";
constexpr const char* kCameraLine = "[DepthMapConvert] camera is null.\r\n";

// Returns null on success, else the line of the first thing that is missing.
const char* LoadSet(const char* fileName, int64_t width, CalibrationSet* set) {
    std::string text;
    if (!ox3d::ReadLocalFile(fileName, kMaxFileBytes, &text)) {
        return kFileLine;
    }
    switch (ox3d::ReadCalibrationSet(text, width, set)) {
    case ECalibrationSet::Found:
        return nullptr;
    case ECalibrationSet::NoXml:
        return kFileLine;
    case ECalibrationSet::NoRoot:
        return kRootLine;
    case ECalibrationSet::NoSet:
        return kSetLine;
    case ECalibrationSet::NoCamera:
        break;
    }
    return kCameraLine;
}

const char* MissingPart(const CalibrationSet& set) {
    const std::pair<bool, const char*> parts[] = {
        {set.m_depth.m_isThere, "[DepthMapConvert] Left_correct is null.\r\n"},
        {set.m_depth.m_intrinsics.has_value(), "[DepthMapConvert] ty is null.\r\n"},
        {set.m_hasWay, "[DepthMapConvert] Left_correct is null.\r\n"},
        {set.m_rotation.has_value(), "[DepthMapConvert] pRotMat is null.\r\n"},
        {set.m_translation.has_value(), "[DepthMapConvert] pTVec is null.\r\n"},
        {set.m_color.m_isThere, "[DepthMapConvert] pRGB is null.\r\n"},
        {set.m_color.m_intrinsics.has_value(), "[DepthMapConvert] pRgbData is null.\r\n"},
        {set.m_color.m_distortion.has_value(), "[DepthMapConvert] pRgbDistort is null.\r\n"},
    };
    const auto* const missing =
        std::find_if(std::begin(parts), std::end(parts), [](const auto& part) { return !part.first; });
    return missing == std::end(parts) ? nullptr : missing->second;
}

// Of a set that has every part.
DepthCalibration DepthCalibrationOf(const CalibrationSet& set) {
    DepthCalibration out = {};
    std::copy(set.m_depth.m_intrinsics->begin(), set.m_depth.m_intrinsics->end(), out.m_depthIntrinsics);
    for (size_t row = 0; row < 3; ++row) {
        std::copy_n(set.m_rotation->begin() + 3 * row, 3, out.m_depthToColor + 4 * row);
        out.m_depthToColor[4 * row + 3] = (*set.m_translation)[row];
    }
    out.m_depthToColor[15] = 1.0f;
    const ox3d::CalibratedDistortion& distortion = *set.m_color.m_distortion;
    float* const terms =
        std::copy(set.m_color.m_intrinsics->begin(), set.m_color.m_intrinsics->end(), out.m_colorIntrinsics);
    float* const fifth = std::copy(distortion.m_terms.begin(), distortion.m_terms.end(), terms);
    *fifth = distortion.m_p3 ? *distortion.m_p3 : distortion.m_k3.value_or(0.0f);
    out.m_setWidth = set.m_width;
    out.m_setHeight = set.m_height;
    return out;
}

// Of a set that says that depth is not registered, and has what is known of the cameras.
DepthCalibration LeftCalibrationOf(const CalibrationSet& set) {
    DepthCalibration out = {};
    if (MissingPart(set) == nullptr) {
        out = DepthCalibrationOf(set);
    } else {
        out.m_hasColor = false;
        out.m_hasDepth = set.m_depth.m_intrinsics.has_value();
        out.m_setWidth = set.m_width;
        out.m_setHeight = set.m_height;
        if (out.m_hasDepth) {
            std::copy(set.m_depth.m_intrinsics->begin(), set.m_depth.m_intrinsics->end(),
                      out.m_depthIntrinsics);
        }
    }
    out.m_isDepthLeft = true;
    return out;
}

} // namespace

void CalibrationFileName(const char* serialNumber, char* name) {
    char safe[64] = {};
    const size_t length = strnlen(serialNumber, sizeof(safe) - 1);
    for (size_t i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(serialNumber[i]);
        safe[i] = byte == '/' || byte < 0x20 || byte == 0x7F ? '_' : serialNumber[i];
    }
    snprintf(name, kCalibrationNameBytes, "RGBDSensorCali_%s.xml", safe);
}

const char* LoadDepthCalibration(const char* fileName, uint32_t depthWidth, DepthCalibration* out) try {
    CalibrationSet set;
    const char* missing = LoadSet(fileName, depthWidth, &set);
    if (missing == nullptr && set.m_isDepthLeft) {
        *out = LeftCalibrationOf(set);
        return nullptr;
    }
    missing = missing == nullptr ? MissingPart(set) : missing;
    if (missing == nullptr) {
        *out = DepthCalibrationOf(set);
    }
    return missing;
} catch (const std::exception&) {
    return kFileLine;
}

bool LoadSensorCalibration(const char* fileName, int64_t width, uint32_t sensor,
                           OX3D_RGBD_CALIB_INFO* out) try {
    CalibrationSet set;
    if (LoadSet(fileName, width, &set) != nullptr) {
        return false;
    }
    const bool isDepth = sensor == OX3D_RGBD_CALIB_DEPTH;
    const ox3d::CalibratedCamera& camera = isDepth ? set.m_depth : set.m_color;
    // Depth images are rectified: their sensor's file section has no distortion as a rule.
    if (!camera.m_intrinsics || (!camera.m_distortion && !isDepth)) {
        return false;
    }
    OX3D_RGBD_CALIB_INFO info = {};
    info.nWidth = set.m_width;
    info.nHeight = set.m_height;
    const auto& [fx, fy, cx, cy] = *camera.m_intrinsics;
    info.fFx = fx;
    info.fFy = fy;
    info.fCx = cx;
    info.fCy = cy;
    if (camera.m_distortion) {
        const auto& [k1, k2, p1, p2] = camera.m_distortion->m_terms;
        const std::optional<float>& k3 = camera.m_distortion->m_k3;
        info.fK1 = k1;
        info.fK2 = k2;
        info.fP1 = p1;
        info.fP2 = p2;
        info.fK3 = k3 ? *k3 : camera.m_distortion->m_p3.value_or(0.0f);
    }
    *out = info;
    return true;
} catch (const std::exception&) {
    return false;
}
