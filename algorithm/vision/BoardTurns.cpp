// BoardTurns.cpp - see BoardTurns.h. A turn about the middle of a board changes its pose and the order of its corners, nothing else.
#include "algorithm/vision/BoardTurns.h"

#include <algorithm>

namespace ox3d::vision {

namespace {

constexpr int32_t kQuarters = 4;

// By quarters from the board's columns to its rows.
Matrix3 Turned(const Matrix3& m, int32_t quarters) {
    Matrix3 turned = m;
    for (int32_t i = 0; i < quarters; ++i) {
        const Matrix3 before = turned;
        for (size_t row = 0; row < 3; ++row) {
            turned[3 * row] = before[3 * row + 1];
            turned[3 * row + 1] = -before[3 * row];
        }
    }
    return turned;
}

// Three where both are the same, less the more they are turned to one another.
double Likeness(const Matrix3& a, const Matrix3& b) {
    return Dot(Row(a, 0), Row(b, 0)) + Dot(Row(a, 1), Row(b, 1)) + Dot(Row(a, 2), Row(b, 2));
}

struct BestTurn {
    int32_t m_quarters;
    double m_likeness;
};

BestTurn TurnLike(const Matrix3& expected, const Matrix3& seen, int32_t turns) {
    BestTurn best{0, -kQuarters};
    for (int32_t quarters = 0; quarters < kQuarters; quarters += kQuarters / turns) {
        const double likeness = Likeness(expected, Turned(seen, quarters));
        if (likeness > best.m_likeness) {
            best = {quarters, likeness};
        }
    }
    return best;
}

// As many rows as columns where it is no half turn.
void TurnCorners(Corner* corners, int32_t columns, int32_t rows, int32_t quarters) {
    const ptrdiff_t across = columns;
    const ptrdiff_t down = rows;
    if (quarters >= kQuarters / 2) {
        std::reverse(corners, corners + across * down);
    }
    if (quarters % 2 == 0) {
        return;
    }
    for (ptrdiff_t row = 0; row < down; ++row) {
        for (ptrdiff_t column = 0; column < row; ++column) {
            std::swap(corners[row * across + column], corners[column * across + row]);
        }
    }
    for (ptrdiff_t row = 0; row < down / 2; ++row) {
        Corner* const upper = corners + row * across;
        std::swap_ranges(upper, upper + across, corners + (down - 1 - row) * across);
    }
}

// Of what each turn of each view says of the camera's rotation, that with which all views agree best.
Matrix3 RotationOf(const Pose* first, const Pose* other, int32_t views, int32_t turns) {
    Matrix3 best{};
    double most = -INFINITY;
    for (int32_t i = 0; i < views * turns; ++i) {
        const int32_t view = i / turns;
        const Matrix3 rotation = Multiply(Turned(other[view].m_rotation, i % turns * (kQuarters / turns)),
                                          Transposed(first[view].m_rotation));
        double likeness = 0;
        for (int32_t v = 0; v < views; ++v) {
            const Matrix3 expected = Multiply(rotation, first[v].m_rotation);
            likeness += TurnLike(expected, other[v].m_rotation, turns).m_likeness;
        }
        if (likeness > most) {
            most = likeness;
            best = rotation;
        }
    }
    return best;
}

} // namespace

int32_t TurnsOf(const BoardViews& seen) {
    if ((seen.m_columns + seen.m_rows) % 2 != 0) {
        return 1;
    }
    const bool isSquare = seen.m_columns == seen.m_rows && seen.m_squareWidth == seen.m_squareHeight;
    return isSquare && seen.m_columns % 2 == 0 ? kQuarters : kQuarters / 2;
}

void AgreeOnTurns(const BoardViews& seen, Pose* boards) {
    const int32_t turns = TurnsOf(seen);
    for (int32_t camera = 1; turns > 1 && camera < seen.m_cameras; ++camera) {
        Pose* const others = boards + ptrdiff_t{camera} * seen.m_views;
        const Matrix3 rotation = RotationOf(boards, others, seen.m_views, turns);
        for (int32_t view = 0; view < seen.m_views; ++view) {
            Matrix3& own = others[view].m_rotation;
            const Matrix3 expected = Multiply(rotation, boards[view].m_rotation);
            const int32_t quarters = TurnLike(expected, own, turns).m_quarters;
            own = Turned(own, quarters);
            TurnCorners(seen.m_corners + seen.FirstOf(view, camera), seen.m_columns, seen.m_rows, quarters);
        }
    }
}

} // namespace ox3d::vision
