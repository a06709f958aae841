// The place of one corner of a checkerboard to a small part of a pixel.
// Relies on a place that is right to a fraction of a square.
#pragma once

#include "algorithm/vision/BoardFinder.h"

namespace ox3d::vision {

struct CornerGuess {
    Corner m_at;
    Corner m_alongRow, m_alongColumn; // to the next corners, pixels
};

struct FittedCorner {
    Corner m_at;
    double m_contrast; // bright less dark, grey values
};

// False where no corner is.
bool FitCorner(const GreyView& image, const CornerGuess& guess, FittedCorner* fitted);

} // namespace ox3d::vision
