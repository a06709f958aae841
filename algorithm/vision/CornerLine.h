// A row or a column of the corners of a board.
// Relies on corners row by row.
#pragma once

#include "algorithm/vision/BoardFinder.h"

namespace ox3d::vision {

struct CornerLine {
    const Corner* m_first;
    ptrdiff_t m_step; // from a corner to the next
    int32_t m_count;

    const Corner& operator[](ptrdiff_t i) const { return m_first[i * m_step]; }
};

inline CornerLine RowOf(const Corner* corners, int32_t columns, int32_t row) {
    return {corners + ptrdiff_t{row} * columns, 1, columns};
}

inline CornerLine ColumnOf(const Corner* corners, int32_t columns, int32_t rows, int32_t column) {
    return {corners + column, columns, rows};
}

} // namespace ox3d::vision
