// CalibrationReader.cpp - see CalibrationReader.h.
#include "recording/CalibrationReader.h"

#include "base/CalibrationXml.h"

#include <algorithm>
#include <cmath>

namespace ox3d {
namespace {

double Finite(float number) {
    return std::isfinite(number) ? static_cast<double>(number) : 0;
}

bool ReadLens(const CalibratedCamera& camera, const CalibrationSet& set, RecordedLens* lens) {
    if (!camera.m_intrinsics) {
        return false;
    }
    const auto& [fx, fy, cx, cy] = *camera.m_intrinsics;
    *lens = {set.m_width, set.m_height, Finite(fx), Finite(fy), Finite(cx), Finite(cy), {}};
    return lens->m_fx > 0 && lens->m_fy > 0;
}

std::array<double, 5> Distortion(const CalibratedDistortion& distortion) {
    const auto& [k1, k2, p1, p2] = distortion.m_terms;
    const std::optional<float>& fifth = distortion.m_k3 ? distortion.m_k3 : distortion.m_p3;
    return {Finite(k1), Finite(k2), Finite(p1), Finite(p2), Finite(fifth.value_or(0))};
}

} // namespace

std::optional<RecordedCalibration> ReadCalibration(const std::string& xml, uint32_t depthWidth) {
    CalibrationSet set;
    RecordedCalibration calibration;
    if (ReadCalibrationSet(xml, depthWidth, &set) != ECalibrationSet::Found || !set.m_rotation ||
        !set.m_translation || !set.m_color.m_distortion ||
        !ReadLens(set.m_depth, set, &calibration.m_depth) ||
        !ReadLens(set.m_color, set, &calibration.m_color)) {
        return std::nullopt;
    }
    // Depth images have none, whatever the file says.
    calibration.m_color.m_distortion = Distortion(*set.m_color.m_distortion);
    RecordedWay& way = calibration.m_depthToColor;
    std::transform(set.m_rotation->begin(), set.m_rotation->end(), way.m_rotation.begin(), Finite);
    std::transform(set.m_translation->begin(), set.m_translation->end(), way.m_translationMm.begin(), Finite);
    return calibration;
}

RecordedLens ScaledTo(RecordedLens lens, PngSize own, PngSize size) {
    const bool isSaid = lens.m_width != 0 && lens.m_height != 0;
    const double x = static_cast<double>(size.m_width) / (isSaid ? lens.m_width : own.m_width);
    const double y = static_cast<double>(size.m_height) / (isSaid ? lens.m_height : own.m_height);
    lens.m_width = size.m_width;
    lens.m_height = size.m_height;
    lens.m_fx *= x;
    lens.m_fy *= y;
    // About the pixels' centres: the images' corners lie on each other.
    lens.m_cx = (lens.m_cx + 0.5) * x - 0.5;
    lens.m_cy = (lens.m_cy + 0.5) * y - 0.5;
    return lens;
}

void AddLensesOfFile(PngSize depth, PngSize color, RecordedCamera* camera) {
    const auto calibration = ReadCalibration(camera->m_calibrationXml, depth.m_width);
    if (!calibration) {
        return;
    }
    if (!camera->m_depthLens) {
        // The library takes a set that belongs to the depth's width as it is.
        const bool isOwn = calibration->m_depth.m_width == depth.m_width;
        camera->m_depthLens = isOwn ? calibration->m_depth : ScaledTo(calibration->m_depth, depth, depth);
        camera->m_depthLens->m_height = depth.m_height;
    }
    if (!camera->m_colorLens && color.m_width > 0) {
        camera->m_colorLens = ScaledTo(calibration->m_color, depth, color);
    }
    if (!camera->m_depthToColor) {
        camera->m_depthToColor = calibration->m_depthToColor;
    }
}

} // namespace ox3d
