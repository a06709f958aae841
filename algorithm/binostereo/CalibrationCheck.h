// What numbers of a calibration have to be before anything is computed of them.
// Relies on Matrix3.h and the public records.
#pragma once

#include "algorithm/vision/Matrix3.h"

#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <algorithm>
#include <iterator>

namespace ox3d::stereo {

constexpr double kRotationTolerance = 1e-3; // how far from orthonormal a rotation may be written

inline bool IsRotation(const vision::Matrix3& m) {
    const vision::Matrix3 square = vision::Multiply(m, vision::Transposed(m));
    for (size_t i = 0; i < square.size(); ++i) {
        if (!(std::fabs(square[i] - (i % 4 == 0 ? 1.0 : 0.0)) < kRotationTolerance)) {
            return false;
        }
    }
    return vision::Dot(vision::Row(m, 0), vision::Cross(vision::Row(m, 1), vision::Row(m, 2))) > 0;
}

template <size_t count>
bool AllFinite(const float (&values)[count]) {
    return std::all_of(std::begin(values), std::end(values), [](float v) { return std::isfinite(v); });
}

inline bool IsCamera(const OXB3D_BINOSTEREO_CAMERA& camera) {
    return AllFinite(camera.matrix) && AllFinite(camera.distortion) && camera.matrix[0] > 0 &&
           camera.matrix[4] > 0;
}

inline bool IsCalibration(const OXB3D_BINOSTEREO_RGBD_PARAM& param) {
    return IsCamera(param.depth) && IsCamera(param.color) && AllFinite(param.rotation) &&
           AllFinite(param.translation) && IsRotation(vision::Widened(param.rotation));
}

} // namespace ox3d::stereo
