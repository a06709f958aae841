// The blurred step that fits the pixels around a point of an edge best.
// Relies on a view of the image; uses no memory but the stack's.
#pragma once

#include "algorithm/binostereo/GreyView.h"

namespace ox3d::stereo {

// A point of an image at which brightness rises most, and the direction and slope in which it does.
struct EdgePoint {
    int32_t m_x;
    int32_t m_y;
    double m_angle; // radians, from the columns to the rows
    double m_slope; // grey values a pixel
};

// The standard deviation, in pixels, of the Gaussian that blurs the step; 0 where the pixels are no such step: too close to
// the border or to another edge, bent, or fainter than what noise makes.
double FitEdge(const GreyView& view, const EdgePoint& point);

} // namespace ox3d::stereo
