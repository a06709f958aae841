// A rectangle of an image record, as the measures of grey images read it.
// Relies on the public records of images.
#pragma once

#include "algorithm/vision/GreyView.h"

#include <ox3drgbd/Oxb3dBinoStereo.h>

namespace ox3d::stereo {

using vision::GreyView;

// Only for an image that was checked, and a region inside it.
inline GreyView ViewOf(const ZQA_IMAGE& image, const OXB3D_BINOSTEREO_REGION& region) {
    const ptrdiff_t pitch = image.step[0];
    return {static_cast<const uint8_t*>(image.data[0]) + region.y * pitch + region.x, pitch, region.width,
            region.height};
}

} // namespace ox3d::stereo
