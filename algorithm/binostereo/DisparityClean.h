// What is done to chosen disparities: a median, the removal of small islands, and a mean over what lies on one surface.
// Nothing is filled in.
// Relies on Matcher.h for the maps.
#pragma once

#include "algorithm/binostereo/Matcher.h"

namespace ox3d::stereo {

// The median of three by three samples where there is a disparity; neighbours without one count as the pixel itself.
void MedianOf(const DisparityMap& from, int32_t width, int32_t height, const DisparityMap& to);

// The mean of five by five samples, as far as they lie on one surface with the one in the middle; the two outermost rows
// and columns stay as they are.
void LevelOf(const DisparityMap& from, int32_t width, int32_t height, const DisparityMap& to);

// Removes connected groups of at most `pixels` pixels; neighbours along rows and columns are connected where they
// differ by at most `step`.
void DropIslands(const DisparityMap& map, int32_t width, int32_t height, int32_t pixels, int32_t step,
                 uint32_t* words);

// Words that DropIslands uses.
CCheckedSize IslandWords(int32_t width, int32_t height);

} // namespace ox3d::stereo
