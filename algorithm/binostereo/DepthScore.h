// Which regions of a depth image have a fill score.
// Relies on the public records; uses no memory of the object.
#pragma once

#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace ox3d::stereo {

bool IsInside(const OXB3D_BINOSTEREO_REGION& region, int32_t imageWidth, int32_t imageHeight);
// Large enough for cells.
bool IsScorable(const OXB3D_BINOSTEREO_REGION& region);

} // namespace ox3d::stereo
