// DisparityClean.cpp - see DisparityClean.h.
#include "algorithm/binostereo/DisparityClean.h"

#include <algorithm>
#include <cstdlib>

namespace ox3d::stereo {
namespace {

// Pixels of one group in one row. A run's group is that of its parent; a root, which is its own parent, counts.
struct Run {
    uint32_t m_begin; // offset of the first pixel in the image
    uint32_t m_end;
    uint32_t m_parent;
    uint32_t m_pixels;
};

uint32_t RootOf(Run* runs, uint32_t run) {
    while (runs[run].m_parent != run) {
        runs[run].m_parent = runs[runs[run].m_parent].m_parent;
        run = runs[run].m_parent;
    }
    return run;
}

void Join(Run* runs, uint32_t a, uint32_t b) {
    a = RootOf(runs, a);
    b = RootOf(runs, b);
    if (a == b) {
        return;
    }
    const uint32_t older = std::min(a, b);
    const uint32_t newer = std::max(a, b);
    runs[newer].m_parent = older;
    runs[older].m_pixels += runs[newer].m_pixels;
}

bool Touch(int16_t a, int16_t b, int32_t step) {
    return a > 0 && b > 0 && std::abs(a - b) <= step;
}

// Appends the row's runs; their ends are columns until the whole row is known.
uint32_t RunsOf(const int16_t* row, int32_t width, int32_t step, Run* runs, uint32_t count) {
    for (int32_t x = 0; x < width;) {
        if (row[x] <= 0) {
            ++x;
            continue;
        }
        const int32_t begin = x++;
        while (x < width && Touch(row[x - 1], row[x], step)) {
            ++x;
        }
        runs[count] = {static_cast<uint32_t>(begin), static_cast<uint32_t>(x), count,
                       static_cast<uint32_t>(x - begin)};
        ++count;
    }
    return count;
}

// Joins runs of two rows that touch anywhere.
void JoinRows(const int16_t* above, const int16_t* row, int32_t step, Run* runs, uint32_t first,
              uint32_t middle, uint32_t end) {
    uint32_t upper = first;
    uint32_t lower = middle;
    while (upper < middle && lower < end) {
        const uint32_t from = std::max(runs[upper].m_begin, runs[lower].m_begin);
        const uint32_t to = std::min(runs[upper].m_end, runs[lower].m_end);
        for (uint32_t x = from; x < to; ++x) {
            if (Touch(above[x], row[x], step)) {
                Join(runs, upper, lower);
                break;
            }
        }
        (runs[upper].m_end < runs[lower].m_end ? upper : lower) += 1;
    }
}

} // namespace

CCheckedSize IslandWords(int32_t width, int32_t height) {
    // No row has more runs than pixels; a word a row besides says where its runs begin.
    return PlaneSize(sizeof(Run) / sizeof(uint32_t), width, height)
        .Plus(CCheckedSize(static_cast<uint64_t>(std::max(height, 0)) + 1));
}

void DropIslands(const DisparityMap& map, int32_t width, int32_t height, int32_t pixels, int32_t step,
                 uint32_t* words) {
    auto* const runs = reinterpret_cast<Run*>(words);
    uint32_t* const firstOf = words + PlaneSize(sizeof(Run) / sizeof(uint32_t), width, height).Bytes();
    uint32_t count = 0;
    for (int32_t y = 0; y < height; ++y) {
        firstOf[y] = count;
        count = RunsOf(map.Row(y), width, step, runs, count);
        if (y > 0) {
            JoinRows(map.Row(y - 1), map.Row(y), step, runs, firstOf[y - 1], firstOf[y], count);
        }
    }
    firstOf[height] = count;
    for (int32_t y = 0; y < height; ++y) {
        for (uint32_t run = firstOf[y]; run < firstOf[y + 1]; ++run) {
            if (runs[RootOf(runs, run)].m_pixels <= static_cast<uint32_t>(pixels)) {
                std::fill(map.Row(y) + runs[run].m_begin, map.Row(y) + runs[run].m_end, int16_t{0});
            }
        }
    }
}

void MedianOf(const DisparityMap& from, int32_t width, int32_t height, const DisparityMap& to) {
    for (int32_t y = 0; y < height; ++y) {
        from.Row(y)[-1] = from.Row(y)[0];
        from.Row(y)[width] = from.Row(y)[width - 1];
    }
    const MatchKernels& kernels = MatchKernelsInUse();
    for (int32_t y = 0; y < height; ++y) {
        const int16_t* const rows[3] = {from.Row(std::max(y - 1, 0)), from.Row(y),
                                        from.Row(std::min(y + 1, height - 1))};
        kernels.m_median(rows, width, to.Row(y));
    }
}

void LevelOf(const DisparityMap& from, int32_t width, int32_t height, const DisparityMap& to) {
    const MatchKernels& kernels = MatchKernelsInUse();
    constexpr int32_t kEdge = kLevelled / 2;
    for (int32_t y = 0; y < height; ++y) {
        std::copy_n(from.Row(y), width, to.Row(y));
        if (y >= kEdge && y < height - kEdge) {
            const int16_t* const rows[kLevelled] = {from.Row(y - 2), from.Row(y - 1), from.Row(y),
                                                    from.Row(y + 1), from.Row(y + 2)};
            kernels.m_level(rows, width, to.Row(y));
        }
    }
}

} // namespace ox3d::stereo
