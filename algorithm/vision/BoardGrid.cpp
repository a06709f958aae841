// An edge of a corner leads to the nearest point ahead whose edges lie the same way with bright and dark exchanged, if on the
// way one side stays brighter than the other. Along such edges, as long as they lead back as well, a grid grows from
// any point, and goes on to points that lie where it has to; a grid of the board's size is the board.
#include "algorithm/vision/BoardGrid.h"

#include "algorithm/vision/CornerLine.h"

#include <algorithm>
#include <cmath>

namespace ox3d::vision {

namespace {

constexpr float kMinLength = 3;          // of an edge, pixels
constexpr float kMaxTurn = 0.3F;         // sine of the angle between an edge and the point it leads to
constexpr float kMinParallel = 0.85F;    // cosine of the angle between edges of neighbours
constexpr float kMaxBeside = 2;          // pixels from an edge to where its sides are looked at
constexpr float kShareBeside = 0.2F;     // the same, of the edge's length
constexpr float kShareOfContrast = 0.2F; // that the sides differ by at least
constexpr int32_t kLooks = 5;            // along an edge
constexpr int32_t kMinAgree = 4;

struct Direction {
    float m_x, m_y;
};

Direction EdgeOf(const SaddlePoint& point, size_t edge) {
    const float sign = edge < 2 ? 1.0F : -1.0F;
    return {sign * point.m_edgeX[edge % 2], sign * point.m_edgeY[edge % 2]};
}

float Along(const Direction& a, float x, float y) {
    return a.m_x * x + a.m_y * y;
}

float Across(const Direction& a, float x, float y) {
    return a.m_x * y - a.m_y * x;
}

// Parallel, whichever way they point.
bool IsParallel(const SaddlePoint& a, size_t edgeOfA, const SaddlePoint& b, size_t edgeOfB) {
    const Direction edge = EdgeOf(b, edgeOfB);
    return std::fabs(Along(EdgeOf(a, edgeOfA), edge.m_x, edge.m_y)) > kMinParallel;
}

// As angles grow it is bright beside edges 0 and 2.
bool StaysAnEdge(const GreyView& smooth, const SaddlePoint& from, const SaddlePoint& to, bool isBrightAhead) {
    const float x = to.m_x - from.m_x;
    const float y = to.m_y - from.m_y;
    const float length = std::hypot(x, y);
    const float away = std::min(kMaxBeside, kShareBeside * length) / length;
    const float beside = isBrightAhead ? away : -away;
    const float least = kShareOfContrast * std::min(from.m_contrast, to.m_contrast);
    int32_t agree = 0;
    for (int32_t i = 0; i < kLooks; ++i) {
        const float share = 0.3F + 0.4F * static_cast<float>(i) / (kLooks - 1);
        const float atX = from.m_x + share * x;
        const float atY = from.m_y + share * y;
        const float brightX = atX - beside * y;
        const float brightY = atY + beside * x;
        const float darkX = atX + beside * y;
        const float darkY = atY - beside * x;
        agree += IsWithin(smooth, brightX, brightY) && IsWithin(smooth, darkX, darkY) &&
                         Between(smooth, brightX, brightY) - Between(smooth, darkX, darkY) > least
                     ? 1
                     : 0;
    }
    return agree >= kMinAgree;
}

int32_t NextAlong(const GreyView& smooth, const PointSet& set, const SaddlePoint& from, size_t edge) {
    const Direction direction = EdgeOf(from, edge);
    const size_t other = (edge + 1) % 4; // that crosses it here, and goes on from it there
    int32_t next = -1;
    float nearest = static_cast<float>(smooth.m_width + smooth.m_height);
    for (int32_t i = 0; i < set.m_count; ++i) {
        const SaddlePoint& to = set.m_points[i];
        const float x = to.m_x - from.m_x;
        const float y = to.m_y - from.m_y;
        const float along = Along(direction, x, y);
        if (along < kMinLength || along >= nearest || std::fabs(Across(direction, x, y)) > kMaxTurn * along) {
            continue;
        }
        if (IsParallel(from, edge, to, other) && IsParallel(from, other, to, edge) &&
            std::fabs(Across(EdgeOf(to, other), x, y)) < kMaxTurn * along &&
            StaysAnEdge(smooth, from, to, edge % 2 == 0)) {
            next = i;
            nearest = along;
        }
    }
    return next;
}

// Edges about the same way with bright and dark exchanged, and not much fainter.
bool IsLikeNext(const SaddlePoint& a, const SaddlePoint& b) {
    const auto isAlike = [](const Direction& one, const Direction& other) {
        constexpr float kMinAlike = 0.7F;
        return std::fabs(Along(one, other.m_x, other.m_y)) > kMinAlike;
    };
    return 2 * b.m_contrast > a.m_contrast && isAlike(EdgeOf(a, 0), EdgeOf(b, 1)) &&
           isAlike(EdgeOf(a, 1), EdgeOf(b, 0));
}

// Some cells of a grid, with a table that says which point is where.
class CGrid {
public:
    CGrid(const PointSet& set, int32_t columns, int32_t rows, int16_t* cells)
        : m_set(set), m_cells(cells), m_side(CellsAcross(columns, rows)) {}

    void Grow(int32_t seed) {
        std::fill_n(m_cells, m_side * m_side, int16_t{-1});
        m_left = m_right = m_top = m_bottom = 0;
        Put(seed, 0, 0, 0);
        int32_t last = seed;
        for (int32_t at = seed; at >= 0; at = m_set.m_points[at].m_waiting) {
            for (size_t edge = 0; edge < 4; ++edge) {
                const int32_t added = GrowAlong(at, edge);
                if (added >= 0) {
                    m_set.m_points[last].m_waiting = added;
                    last = added;
                }
            }
        }
    }

    // Where noise has broken an edge, the points that lie where the grid goes on; from as many as make no chance of it.
    void Extend() {
        constexpr int32_t kMinPoints = 9;
        int32_t left = m_right - m_left + 1 + m_bottom - m_top + 1; // rounds, as far as a grid may go on
        if (Count() < kMinPoints) {
            return;
        }
        while (left-- > 0 && ExtendOnce()) {
        }
    }

    // Leaves lines at the border out that hardly have a point, until the grid has this size.
    bool TrimTo(int32_t columns, int32_t rows) {
        while (m_right - m_left + 1 > columns || m_bottom - m_top + 1 > rows) {
            const bool isWide = m_right - m_left + 1 > columns;
            const int32_t first = isWide ? InColumn(m_left) : InRow(m_top);
            const int32_t last = isWide ? InColumn(m_right) : InRow(m_bottom);
            if (2 * std::min(first, last) >= (isWide ? rows : columns)) {
                return false;
            }
            if (isWide) {
                first < last ? ++m_left : --m_right;
            } else {
                first < last ? ++m_top : --m_bottom;
            }
        }
        return m_right - m_left + 1 == columns && m_bottom - m_top + 1 == rows;
    }

    // The corners in the order that begins with direction turn of the grid as the columns', where the points are known.
    // Others are left at kUnknown.
    int32_t Take(int32_t turn, int32_t columns, int32_t rows, Corner* corners) const {
        int32_t known = 0;
        for (int32_t row = 0; row < rows; ++row) {
            for (int32_t column = 0; column < columns; ++column) {
                const int32_t point = PointOf(turn, column, row);
                Corner& corner = corners[row * columns + column];
                corner = {NAN, NAN};
                if (point >= 0) {
                    corner = {m_set.m_points[point].m_x, m_set.m_points[point].m_y};
                    ++known;
                }
            }
        }
        return known;
    }

    // How good it is to begin so: what is dark first comes first, then rows that run to the right.
    float RankOf(int32_t turn, int32_t columns, int32_t rows) const {
        float sum = 0;
        int32_t count = 0;
        bool isDark = false;
        for (int32_t row = 0; row < rows; ++row) {
            int32_t before = -1;
            for (int32_t column = 0; column < columns; ++column) {
                const int32_t at = PointOf(turn, column, row);
                if (at < 0) {
                    continue;
                }
                const SaddlePoint& point = m_set.m_points[at];
                // Directions 2 and 3 enclose the square before; it is dark where they are edges 1 and 2 or 3 and 0.
                isDark = (2 + turn - point.m_turn + column + row) % 2 != 0;
                if (before >= 0) {
                    sum += point.m_x - m_set.m_points[before].m_x;
                    ++count;
                }
                before = at;
            }
        }
        constexpr float kDark = 1e6F; // more than an image is wide
        return (isDark ? kDark : 0) + (count > 0 ? sum / static_cast<float>(count) : 0);
    }

private:
    int16_t& Cell(int32_t column, int32_t row) const {
        const int32_t middle = m_side / 2;
        return m_cells[(row + middle) * m_side + column + middle];
    }

    void Put(int32_t index, int32_t column, int32_t row, int32_t turn) {
        SaddlePoint& point = m_set.m_points[index];
        point.m_column = static_cast<int16_t>(column);
        point.m_row = static_cast<int16_t>(row);
        point.m_turn = static_cast<int16_t>(turn);
        point.m_waiting = -1;
        Cell(column, row) = static_cast<int16_t>(index);
        m_left = std::min(m_left, column);
        m_right = std::max(m_right, column);
        m_top = std::min(m_top, row);
        m_bottom = std::max(m_bottom, row);
    }

    bool ExtendOnce() {
        const int32_t rim = m_side / 2;
        const int32_t right = std::min(m_right + 1, rim);
        const int32_t bottom = std::min(m_bottom + 1, rim);
        bool hasGrown = false;
        for (int32_t row = std::max(m_top - 1, -rim); row <= bottom; ++row) {
            for (int32_t column = std::max(m_left - 1, -rim); column <= right; ++column) {
                hasGrown |= Cell(column, row) < 0 && ExtendTo(column, row);
            }
        }
        return hasGrown;
    }

    // From two known points in line with the cell.
    bool ExtendTo(int32_t column, int32_t row) {
        constexpr int32_t kSteps[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
        for (const auto& [across, down] : kSteps) {
            const SaddlePoint* const near = At(column + across, row + down);
            const SaddlePoint* const far = At(column + 2 * across, row + 2 * down);
            const int32_t next = near == nullptr || far == nullptr ? -1 : FreePointNear(*near, *far);
            if (next >= 0) {
                Put(next, column, row,
                    (near->m_turn + 1) % 4); // bright and dark change from corner to corner
                return true;
            }
        }
        return false;
    }

    // As far on from near as that is from far.
    int32_t FreePointNear(const SaddlePoint& near, const SaddlePoint& far) const {
        constexpr float kMaxMiss = 0.25F; // of the step
        const float x = near.m_x - far.m_x;
        const float y = near.m_y - far.m_y;
        int32_t next = -1;
        float nearest = kMaxMiss * std::hypot(x, y);
        for (int32_t i = 0; i < m_set.m_count; ++i) {
            const SaddlePoint& point = m_set.m_points[i];
            const float away = std::hypot(point.m_x - near.m_x - x, point.m_y - near.m_y - y);
            if (away < nearest && point.m_column == kNowhere && IsLikeNext(near, point)) {
                nearest = away;
                next = i;
            }
        }
        return next;
    }

    // Null beyond the table, too.
    const SaddlePoint* At(int32_t column, int32_t row) const {
        const bool isInside = std::max(std::abs(column), std::abs(row)) <= m_side / 2;
        return isInside && Cell(column, row) >= 0 ? &m_set.m_points[Cell(column, row)] : nullptr;
    }

    int32_t Count() const {
        int32_t count = 0;
        for (int32_t row = m_top; row <= m_bottom; ++row) {
            count += InRow(row);
        }
        return count;
    }

    // The point that the grid gets, or -1.
    int32_t GrowAlong(int32_t index, size_t edge) {
        const SaddlePoint& from = m_set.m_points[index];
        const int32_t next = from.m_next[edge];
        if (next < 0 || m_set.m_points[next].m_column != kNowhere) {
            return -1;
        }
        const SaddlePoint& to = m_set.m_points[next];
        const auto* const back = std::find(to.m_next, to.m_next + 4, index);
        const int32_t direction = (static_cast<int32_t>(edge) + from.m_turn) % 4;
        const int32_t column = from.m_column + (direction == 0 ? 1 : direction == 2 ? -1 : 0);
        const int32_t row = from.m_row + (direction == 1 ? 1 : direction == 3 ? -1 : 0);
        if (back == to.m_next + 4 || std::max(std::abs(column), std::abs(row)) > m_side / 2 ||
            Cell(column, row) >= 0) {
            return -1;
        }
        Put(next, column, row, (direction + 6 - static_cast<int32_t>(back - to.m_next)) % 4);
        return next;
    }

    int32_t InColumn(int32_t column) const {
        int32_t count = 0;
        for (int32_t row = m_top; row <= m_bottom; ++row) {
            count += Cell(column, row) >= 0 ? 1 : 0;
        }
        return count;
    }
    int32_t InRow(int32_t row) const {
        int32_t count = 0;
        for (int32_t column = m_left; column <= m_right; ++column) {
            count += Cell(column, row) >= 0 ? 1 : 0;
        }
        return count;
    }

    int32_t PointOf(int32_t turn, int32_t column, int32_t row) const {
        switch (turn) {
        case 0:
            return Cell(m_left + column, m_top + row);
        case 1:
            return Cell(m_right - row, m_top + column);
        case 2:
            return Cell(m_right - column, m_bottom - row);
        default:
            return Cell(m_left + row, m_bottom - column);
        }
    }

    const PointSet m_set;
    int16_t* const m_cells;
    const int32_t m_side;
    int32_t m_left = 0, m_right = 0, m_top = 0, m_bottom = 0;
};

// From the neighbours on both sides, or the next two on one, along a row or a column.
bool Predict(const CornerLine& line, int32_t at, Corner* predicted) {
    const auto known = [&](int32_t i) { return i >= 0 && i < line.m_count && !std::isnan(line[i].x); };
    const auto from = [&](int32_t a, double weightA, int32_t b, double weightB) {
        *predicted = {weightA * line[a].x + weightB * line[b].x, weightA * line[a].y + weightB * line[b].y};
        return true;
    };
    if (known(at - 1) && known(at + 1)) {
        return from(at - 1, 0.5, at + 1, 0.5);
    }
    if (known(at - 1) && known(at - 2)) {
        return from(at - 1, 2, at - 2, -1);
    }
    return known(at + 1) && known(at + 2) && from(at + 1, 2, at + 2, -1);
}

bool FillGaps(int32_t columns, int32_t rows, int32_t gaps, Corner* corners) {
    while (gaps > 0) {
        const int32_t before = gaps;
        for (int32_t i = 0; i < columns * rows; ++i) {
            if (!std::isnan(corners[i].x)) {
                continue;
            }
            const int32_t row = i / columns;
            const int32_t column = i % columns;
            if (Predict(RowOf(corners, columns, row), column, &corners[i]) ||
                Predict(ColumnOf(corners, columns, rows, column), row, &corners[i])) {
                --gaps;
            }
        }
        if (gaps == before) {
            return false;
        }
    }
    return true;
}

bool TakeBoard(CGrid* grid, int32_t columns, int32_t rows, Corner* corners) {
    constexpr int32_t kMaxShareOfGaps = 4; // one in four
    const CGrid whole = *grid;
    float best = -INFINITY;
    for (int32_t turn = 0; turn < 4; ++turn) {
        CGrid trimmed = whole;
        if (!trimmed.TrimTo(turn % 2 == 0 ? columns : rows, turn % 2 == 0 ? rows : columns)) {
            continue;
        }
        const float rank = trimmed.RankOf(turn, columns, rows);
        if (rank > best) {
            best = rank;
            const int32_t known = trimmed.Take(turn, columns, rows, corners);
            const int32_t gaps = columns * rows - known;
            if (gaps * kMaxShareOfGaps > columns * rows || !FillGaps(columns, rows, gaps, corners)) {
                return false;
            }
        }
    }
    return best > -INFINITY;
}

} // namespace

bool FindGrid(const GreyView& smooth, const PointSet& set, int32_t columns, int32_t rows, int16_t* cells,
              Corner* corners) {
    if (set.m_count * 5 < columns * rows * 4) {
        return false;
    }
    for (int32_t i = 0; i < set.m_count; ++i) {
        SaddlePoint& point = set.m_points[i];
        point.m_column = point.m_row = kNowhere;
        for (size_t edge = 0; edge < 4; ++edge) {
            point.m_next[edge] = NextAlong(smooth, set, point, edge);
        }
    }
    CGrid grid(set, columns, rows, cells);
    for (int32_t i = 0; i < set.m_count; ++i) {
        if (set.m_points[i].m_column == kNowhere) {
            grid.Grow(i);
            grid.Extend();
            if (TakeBoard(&grid, columns, rows, corners)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace ox3d::vision
