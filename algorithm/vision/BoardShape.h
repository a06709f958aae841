// How far the corners of a board are from where a plane seen through a simple lens has them.
// Relies on nothing but the stack's memory.
#pragma once

#include "algorithm/vision/BoardFinder.h"
#include "algorithm/vision/Matrix3.h"

namespace ox3d::vision {

// Fits a homography and one radial term around the middle to corners in the order of FindBoard, and writes how many pixels
// each is away from its place. False where corners are no plane's, and then nothing is written.
bool MeasureShape(const Corner* corners, int32_t columns, int32_t rows, const Corner& middle,
                  float* distances);

// The homography of that fit: it takes (x, y, 1) on the board, in squares from the board's middle, to where a lens without the
// radial term has it from middle, in pixels. False as above.
bool FitHomography(const Corner* corners, int32_t columns, int32_t rows, const Corner& middle,
                   Matrix3* homography);

} // namespace ox3d::vision
