// PinholeFit.h - a lens out of what its pixels see: maps of coordinates, or a grid of points.
//
// What a camera sends may lie: a fit counts only where its pixels are met.
#ifndef OX3D_ARAVIS_PINHOLE_FIT_H
#define OX3D_ARAVIS_PINHOLE_FIT_H

#include <span>
#include <vector>

#include "providers/aravis/Scan3dDepth.h"
#include "recording/CalibrationText.h"

namespace ox3d {

// A pixel and what it sees at distance 1, X to the right and Y down.
struct Ray {
    double m_u = 0.0;
    double m_v = 0.0;
    double m_x = 0.0;
    double m_y = 0.0;
};

// Of some thousand pixels all over an image of A, B and C. The rule is that of the image; pixels without a point are left out.
// None where the image has not these coordinates, or is shorter than it says.
std::vector<Ray> RaysOfPoints(const DepthRule& rule, const SentImage& points);
// Of two maps of floats that tell X and Y at distance 1. None where they are no such maps, or not of one size.
std::vector<Ray> RaysOfMaps(const SentImage& mapX, const SentImage& mapY);

// Null, or why it is no lens: of nineteen rays in twenty the pixel must be met within one, and they must come from
// all over the image. Pixels that are wide off do not move the fit.
const char* FitPinhole(std::span<const Ray> rays, const ImageShape& shape, RgbdIntrinsics* lens);

} // namespace ox3d

#endif
