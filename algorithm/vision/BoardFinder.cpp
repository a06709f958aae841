// Looks for the board in the image at half its size, which is four times as fast and less noisy, then at its whole size and at a
// quarter, and fits the corners to the pixels of the image itself.
#include "algorithm/vision/BoardFinder.h"

#include "algorithm/vision/BoardGrid.h"
#include "algorithm/vision/CornerFit.h"
#include "algorithm/vision/CornerLine.h"
#include "algorithm/vision/SaddlePoints.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ox3d::vision {

namespace {

// Means of two by two pixels; a last odd column or row is left out.
GreyView Halved(const GreyView& image, uint8_t* pixels) {
    const GreyView half = {pixels, image.m_width / 2, image.m_width / 2, image.m_height / 2};
    for (int32_t y = 0; y < half.m_height; ++y) {
        const uint8_t* const upper = image.m_pixels + ptrdiff_t{2} * y * image.m_pitch;
        const uint8_t* const lower = upper + image.m_pitch;
        uint8_t* const out = pixels + y * half.m_pitch;
        for (ptrdiff_t x = 0; x < half.m_width; ++x) {
            out[x] = static_cast<uint8_t>(
                (upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1] + 2) >> 2);
        }
    }
    return half;
}

// The scratch memory, for an image of n pixels:
//
//   +----------------+-------------+-----------+---------+------------------+
//   | strengths, 4 n | smoothed, n | halved    | cells   | points, as many  |
//   |                |             | n/4, n/16 | of grid | as there is room |
//   +----------------+-------------+-----------+---------+------------------+
class CScratch {
public:
    CScratch(const GreyView& image, int32_t columns, int32_t rows, void* base)
        : m_at(static_cast<uint8_t*>(base)) {
        const auto pixels = static_cast<size_t>(image.m_width) * static_cast<size_t>(image.m_height);
        const auto side = static_cast<size_t>(CellsAcross(columns, rows));
        uint8_t* const end = m_at + BoardScratchBytes(image.m_width, image.m_height, 0);
        m_planes = {nullptr, reinterpret_cast<float*>(Cut(4 * pixels))};
        m_planes.m_smooth = Cut(pixels);
        m_half = Cut(pixels / 4);
        m_quarter = Cut(pixels / 16);
        m_cells = reinterpret_cast<int16_t*>(Cut(sizeof(int16_t) * side * side));
        m_points = reinterpret_cast<SaddlePoint*>(m_at);
        // More points than some times a board's make the search slow and no better.
        constexpr size_t kOthers = 512;
        constexpr size_t kTimesTheBoards = 4;
        const size_t wanted = kOthers + kTimesTheBoards * static_cast<size_t>(columns * rows);
        m_room =
            static_cast<int32_t>(std::min(wanted, static_cast<size_t>(end - m_at) / sizeof(SaddlePoint)));
    }

    SaddlePlanes m_planes{};
    uint8_t* m_half;
    uint8_t* m_quarter;
    int16_t* m_cells;
    SaddlePoint* m_points;
    int32_t m_room;

private:
    uint8_t* Cut(size_t bytes) {
        uint8_t* const cut = m_at;
        m_at += (bytes + 7) / 8 * 8;
        return cut;
    }

    uint8_t* m_at;
};

// In pixels of an image that is 1 / scale of the whole.
bool FindAt(const GreyView& image, double scale, float radius, int32_t columns, int32_t rows,
            const CScratch& scratch, Corner* corners) {
    const int32_t count = FindSaddlePoints(image, radius, scratch.m_planes, scratch.m_room, scratch.m_points);
    if (!FindGrid(SmoothView(scratch.m_planes, image), {scratch.m_points, count}, columns, rows,
                  scratch.m_cells, corners)) {
        return false;
    }
    std::for_each(corners, corners + ptrdiff_t{columns} * rows, [scale](Corner& corner) {
        corner = {(corner.x + 0.5) * scale - 0.5, (corner.y + 0.5) * scale - 0.5};
    });
    return true;
}

// From a corner to the next, in the middle between both of its neighbours where it has them.
Corner Toward(const CornerLine& line, int32_t at) {
    const int32_t from = std::max(at - 1, 0);
    const int32_t to = std::min(at + 1, line.m_count - 1);
    return {(line[to].x - line[from].x) / (to - from), (line[to].y - line[from].y) / (to - from)};
}

CornerGuess GuessAt(const Corner* corners, int32_t columns, int32_t rows, int32_t column, int32_t row) {
    const CornerLine alongRow = RowOf(corners, columns, row);
    return {alongRow[column], Toward(alongRow, column),
            Toward(ColumnOf(corners, columns, rows, column), row)};
}

// Returns the least contrast, 0 where one is no corner.
double FitCorners(const GreyView& image, int32_t columns, int32_t rows, Corner* corners, float* contrasts) {
    double least = std::numeric_limits<double>::max();
    for (int32_t i = 0; i < columns * rows; ++i) {
        FittedCorner fitted{};
        if (!FitCorner(image, GuessAt(corners, columns, rows, i % columns, i / columns), &fitted)) {
            return 0;
        }
        corners[i] = fitted.m_at;
        least = std::min(least, fitted.m_contrast);
        if (contrasts != nullptr) {
            contrasts[i] = static_cast<float>(fitted.m_contrast);
        }
    }
    return least;
}

// False where a corner is not about in the middle between its neighbours in the line: another one was taken for it.
bool IsEvenLine(const CornerLine& line) {
    constexpr double kMaxShift = 0.3; // of the way between them
    for (int32_t i = 1; i < line.m_count - 1; ++i) {
        const Corner& before = line[i - 1];
        const Corner& after = line[i + 1];
        const double shift =
            std::hypot(before.x + after.x - 2 * line[i].x, before.y + after.y - 2 * line[i].y);
        if (!(shift < kMaxShift * std::hypot(after.x - before.x, after.y - before.y))) {
            return false;
        }
    }
    return true;
}

bool IsEven(const Corner* corners, int32_t columns, int32_t rows) {
    bool isEven = true;
    for (int32_t row = 0; row < rows; ++row) {
        isEven &= IsEvenLine(RowOf(corners, columns, row));
    }
    for (int32_t column = 0; column < columns; ++column) {
        isEven &= IsEvenLine(ColumnOf(corners, columns, rows, column));
    }
    return isEven;
}

// True where the line of corners goes on beyond its end, one step further than the corner and away from the one before. The outer
// corners of a board's own squares lie about there as well, but what is fitted to them is drawn into the square.
bool GoesOn(const GreyView& image, CornerGuess guess, const Corner& before, double leastContrast) {
    constexpr double kMostMoved = 0.1; // of the step
    const double step = std::hypot(guess.m_at.x - before.x, guess.m_at.y - before.y);
    guess.m_at = {2 * guess.m_at.x - before.x, 2 * guess.m_at.y - before.y};
    FittedCorner fitted{};
    if (!FitCorner(image, guess, &fitted)) {
        return false;
    }
    const double moved = std::hypot(fitted.m_at.x - guess.m_at.x, fitted.m_at.y - guess.m_at.y);
    return moved < kMostMoved * step && fitted.m_contrast > leastContrast / 2;
}

// True where what was found is a part of a larger board, of which the other corners were not seen at the size at which it was found.
bool IsPart(const GreyView& image, int32_t columns, int32_t rows, const Corner* corners,
            double leastContrast) {
    const auto at = [&](int32_t column, int32_t row) { return RowOf(corners, columns, row)[column]; };
    const auto goesOn = [&](int32_t column, int32_t row, int32_t across, int32_t down) {
        return GoesOn(image, GuessAt(corners, columns, rows, column, row), at(column - across, row - down),
                      leastContrast)
                   ? 1
                   : 0;
    };
    int32_t left = 0;
    int32_t right = 0;
    for (int32_t row = 0; row < rows; ++row) {
        left += goesOn(0, row, -1, 0);
        right += goesOn(columns - 1, row, 1, 0);
    }
    int32_t above = 0;
    int32_t below = 0;
    for (int32_t column = 0; column < columns; ++column) {
        above += goesOn(column, 0, 0, -1);
        below += goesOn(column, rows - 1, 0, 1);
    }
    return 2 * std::max(left, right) > rows || 2 * std::max(above, below) > columns;
}

} // namespace

bool FindBoard(const GreyView& image, int32_t columns, int32_t rows, void* scratch, Corner* corners,
               float* contrasts) {
    const CScratch memory(image, columns, rows, scratch);
    const auto found = [&](const GreyView& level, double scale, float radius) {
        if (!FindAt(level, scale, radius, columns, rows, memory, corners)) {
            return false;
        }
        const double least = FitCorners(image, columns, rows, corners, contrasts);
        return least > 0 && IsEven(corners, columns, rows) && !IsPart(image, columns, rows, corners, least);
    };
    const GreyView half = Halved(image, memory.m_half);
    return found(half, 2, kWideRing) || found(image, 1, kWideRing) || found(half, 2, kSmallRing) ||
           found(image, 1, kSmallRing) || found(Halved(half, memory.m_quarter), 4, kWideRing);
}

} // namespace ox3d::vision
