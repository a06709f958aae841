// Lenses and places of cameras as the public records have them, and as double precision has them.
// Relies on Lens.h and the public records.
#pragma once

#include "algorithm/vision/Lens.h"

#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <algorithm>
#include <iterator>

namespace ox3d::stereo {

inline vision::Lens LensOf(const OXB3D_BINOSTEREO_CAMERA& camera) {
    const float* const m = camera.matrix;
    vision::Lens lens{m[0], m[4], m[2], m[5], {}};
    std::copy(std::begin(camera.distortion), std::end(camera.distortion), lens.m_distortion);
    return lens;
}

inline OXB3D_BINOSTEREO_CAMERA CameraOf(const vision::Lens& lens) {
    OXB3D_BINOSTEREO_CAMERA camera{};
    vision::Narrow({lens.m_fx, 0, lens.m_cx, 0, lens.m_fy, lens.m_cy, 0, 0, 1}, camera.matrix);
    std::transform(std::begin(lens.m_distortion), std::end(lens.m_distortion), camera.distortion,
                   [](double k) { return static_cast<float>(k); });
    return camera;
}

} // namespace ox3d::stereo
