// Edges of registered depth drawn onto color: where registration is right they lie on the outlines of the
// same things.
#ifndef OX3D_TOOL_OVERLAY_H
#define OX3D_TOOL_OVERLAY_H

#include "tools/ox3d/pictures/Images.h"

namespace ox3d::tool {

// The color image, toned down, with the depth's edges. Both images of one size.
RgbImage OverlayPicture(const RgbImage& color, const DepthImage& depth);

} // namespace ox3d::tool

#endif
