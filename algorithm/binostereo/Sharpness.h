// How wide the edges of a grey image are: the measure of a lens's focus.
// Relies on a view of the image; uses no memory but the stack's.
#pragma once

#include "algorithm/binostereo/GreyView.h"

namespace ox3d::stereo {

struct Sharpness {
    float m_edgeWidth; // pixels from 10 to 90 percent, the median; 0 where there is no edge
    int32_t m_edges;   // that it is the median of
};

Sharpness MeasureSharpness(const GreyView& view);

} // namespace ox3d::stereo
