// Finds a checkerboard in a grey image: its inner corners to a small part of a pixel, in an order that the board's own
// colors give where they can. Relies on memory of the caller; allocates nothing and throws nothing.
#pragma once

#include "algorithm/vision/GreyView.h"

namespace ox3d::vision {

// In pixels; the centre of the first pixel is 0, 0.
struct Corner {
    double x, y;
};

// Inner corners of a board across and down, 2 to 50 each.
constexpr int32_t kMinBoardCorners = 2;
constexpr int32_t kMaxBoardCorners = 50;

constexpr uint64_t kBoardBytesAPixel = 8;

// Scratch for images of up to this size and boards of up to so many corners: 8 bytes a pixel and 64 KiB, which FindBoard takes,
// and behind them 32 bytes a corner, which it leaves to what its caller makes of them. Not for sizes below 0.
constexpr uint64_t BoardScratchBytes(int32_t width, int32_t height, int32_t corners) {
    return kBoardBytesAPixel * static_cast<uint64_t>(width) * static_cast<uint64_t>(height) +
           (uint64_t{64} << 10) + 32 * static_cast<uint64_t>(corners);
}

// False where the whole board is not seen. Else corners are columns * rows, row by row, and contrasts, which may be null, by
// how many grey values white is brighter than black around each. Rows follow one another clockwise from columns, as they do
// on a board that is read from left to right and from above. Of the turns that leaves, two or, with as many rows as columns, four, that one is taken in
// which the square before the first corner is dark; where several have it (both counts even or both odd), the one
// of them whose rows run to the right. scratch stands on an 8-byte boundary.
bool FindBoard(const GreyView& image, int32_t columns, int32_t rows, void* scratch, Corner* corners,
               float* contrasts);

} // namespace ox3d::vision
