// How far a color image stands off where a calibration says that its depth lies.
// Relies on a view of the image; uses no memory but the stack's.
#pragma once

#include "algorithm/binostereo/GreyView.h"

namespace ox3d::stereo {

struct Registration {
    float m_dx; // pixels of the color image
    float m_dy;
    int32_t m_edges; // points of depth edges that it was found by
};

// How far from where it is expected a shift is looked for, pixels.
constexpr int32_t kMaxRegistrationShift = 8;

// Depth of rows that are step samples apart; both images have the sizes of the calibration.
Registration MeasureRegistration(const int16_t* depth, ptrdiff_t step, const GreyView& color,
                                 const OXB3D_BINOSTEREO_RGBD_PARAM& param);

} // namespace ox3d::stereo
