// LensRays.h - the directions in which the pixels of an image look, and back, for lenses with distortion.
#ifndef OX3D_LENS_RAYS_H
#define OX3D_LENS_RAYS_H

#include <cstdint>

#include "src/Manager/FrameGeometry.h"

// Of every column and every row of an image without distortion.
void FillStraightRays(const Lens& lens, uint32_t width, uint32_t height, float* x, float* y);
// Of every pixel, by rows. Not-a-number where no direction leads to the pixel.
void FillDistortedRays(const Lens& lens, uint32_t width, uint32_t height, float* x, float* y);

#endif
