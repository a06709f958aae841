// The true disparities of a stereo pair, and how far found ones are from them.
#ifndef OX3D_TOOL_STEREO_TRUTH_H
#define OX3D_TOOL_STEREO_TRUTH_H

#include "tools/ox3d/stereo/Netpbm.h"

#include <string>

namespace ox3d::tool {

// Found disparities of the left view in sixteenths of a pixel: left(x, y) is right(x - d, y). What is not above 0 is none.
using DisparityImage = Image<int16_t>;

// Disparities of the left view in pixels, 0 where they are not known: a PFM file, or a PNG file of 16 bits that has them
// times 256. Throws a CToolError.
FloatImage ReadTruth(const std::string& file);

// Forgets the truth of what the right view does not see: it looks past its left edge, or something nearer is in front.
void DropHidden(FloatImage* truth);

struct StereoQuality {
    uint64_t m_known = 0;  // pixels with a truth; without any all else is 0
    double m_bad1 = 0;     // percent of them off by more than one pixel, or without a disparity
    double m_bad2 = 0;     // by more than two
    double m_mean = 0;     // mean error in pixels of those with a disparity
    double m_complete = 0; // percent with a disparity
};
// Of images of one size.
StereoQuality QualityOf(const FloatImage& truth, const DisparityImage& found);

} // namespace ox3d::tool

#endif
