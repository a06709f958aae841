// Calibrations as JSON, and whether a rotation can be one.
#include "tools/ox3d/commands/CalibrationJson.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>

namespace ox3d::tool {
namespace {

// Calibration files write six digits or so.
constexpr double kOrthonormalTo = 1e-3;

double OffOrthonormal(const float (&r)[9]) {
    double worst = 0;
    for (size_t row = 0; row < 3; ++row) {
        for (size_t other = 0; other < 3; ++other) {
            double dot = row == other ? -1 : 0;
            for (size_t i = 0; i < 3; ++i) {
                dot += static_cast<double>(r[3 * row + i]) * static_cast<double>(r[3 * other + i]);
            }
            worst = std::fmax(worst, std::isfinite(dot) ? std::fabs(dot) : HUGE_VAL);
        }
    }
    return worst;
}

double Determinant(const float (&r)[9]) {
    const auto minor = [&](size_t a, size_t b, size_t c, size_t d) {
        return static_cast<double>(r[a]) * static_cast<double>(r[b]) -
               static_cast<double>(r[c]) * static_cast<double>(r[d]);
    };
    return static_cast<double>(r[0]) * minor(4, 8, 5, 7) - static_cast<double>(r[1]) * minor(3, 8, 5, 6) +
           static_cast<double>(r[2]) * minor(3, 7, 4, 6);
}

Json LensJson(const OX3D_RGBD_CALIB_INFO& lens) {
    Json json = {
        {"width", lens.nWidth},
        {"height", lens.nHeight},
        {"fx", lens.fFx},
        {"fy", lens.fFy},
        {"cx", lens.fCx},
        {"cy", lens.fCy},
        {"distortion",
         {{"k1", lens.fK1}, {"k2", lens.fK2}, {"p1", lens.fP1}, {"p2", lens.fP2}, {"k3", lens.fK3}}}};
    if (lens.nWidth != 0) {
        json["field_of_view_degrees"] = {DegreesOfView(lens.nWidth, lens.fFx),
                                         DegreesOfView(lens.nHeight, lens.fFy)};
    }
    return json;
}

Json WayJson(const CameraWay& way) {
    return {{"rotation", way.m_numbers.fRotation},
            {"translation_mm", way.m_numbers.fTranslation},
            {"off_orthonormal", way.m_off},
            {"determinant", way.m_determinant},
            {"is_rotation", way.IsRotation()}};
}

} // namespace

bool CameraWay::IsRotation() const {
    return m_off <= kOrthonormalTo && m_determinant > 0;
}

double DegreesOfView(uint32_t pixels, float focalLength) {
    const double half = static_cast<double>(pixels) / 2 / static_cast<double>(focalLength);
    return 2 * std::atan(half) * 180 / std::numbers::pi;
}

CameraCalibration CalibrationOf(const CCamera& camera) {
    CameraCalibration calibration;
    calibration.m_lenses = {{{"depth", camera.Calibration(OX3D_RGBD_CALIB_DEPTH)},
                             {"color", camera.Calibration(OX3D_RGBD_CALIB_COLOR)}}};
    CameraWay way;
    if (OX3D_RGBD_GetExtrinsics(camera.Handle(), OX3D_RGBD_CAMERA_DEPTH, OX3D_RGBD_CAMERA_COLOR,
                                &way.m_numbers) == OX3D_RGBD_OK) {
        way.m_off = OffOrthonormal(way.m_numbers.fRotation);
        way.m_determinant = Determinant(way.m_numbers.fRotation);
        calibration.m_depthToColor = way;
    }
    return calibration;
}

Json CalibrationJson(const CameraCalibration& calibration) {
    Json json = Json::object();
    for (const auto& [name, lens] : calibration.m_lenses) {
        json[name] = lens ? LensJson(*lens) : Json();
    }
    const std::optional<CameraWay>& way = calibration.m_depthToColor;
    json["depth_to_color"] = way ? WayJson(*way) : Json();
    return json;
}

} // namespace ox3d::tool
