// Joins the points at which the corners of a checkerboard may be into its grid.
// Relies on memory of the caller.
#pragma once

#include "algorithm/vision/BoardFinder.h"
#include "algorithm/vision/SaddlePoints.h"

namespace ox3d::vision {

// A grid may come out larger than the board by what was taken for a corner of it beside its border.
constexpr int32_t kGridMargin = 2;

struct PointSet {
    SaddlePoint* m_points;
    int32_t m_count; // up to 32767
};

constexpr int32_t CellsAcross(int32_t columns, int32_t rows) {
    return 2 * ((columns > rows ? columns : rows) + kGridMargin) + 1;
}

// Writes the corners as FindBoard orders them, at the points' places; cells are CellsAcross squared. smooth is the image that
// the points were found in.
bool FindGrid(const GreyView& smooth, const PointSet& set, int32_t columns, int32_t rows, int16_t* cells,
              Corner* corners);

} // namespace ox3d::vision
