// The lenses of a camera's sensors and the way between them, as ox3d calib and ox3d info tell of them.
#ifndef OX3D_TOOL_CALIBRATION_JSON_H
#define OX3D_TOOL_CALIBRATION_JSON_H

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Json.h"

#include <array>
#include <utility>

namespace ox3d::tool {

struct CameraWay {
    OX3D_RGBD_EXTRINSICS m_numbers{};
    double m_off = 0; // how far the rotation times its transpose is from the identity
    double m_determinant = 0;
    bool IsRotation() const;
};

struct CameraCalibration {
    // "depth" and "color". Empty: the camera has none that can be used.
    std::array<std::pair<std::string, std::optional<OX3D_RGBD_CALIB_INFO>>, 2> m_lenses;
    std::optional<CameraWay> m_depthToColor;
};

CameraCalibration CalibrationOf(const CCamera& camera);
double DegreesOfView(uint32_t pixels, float focalLength);
// null for what the camera has not.
Json CalibrationJson(const CameraCalibration& calibration);

} // namespace ox3d::tool

#endif
