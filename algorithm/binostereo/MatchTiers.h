// Kernels of stereo matching by tier, and the choice among them. Each works on one row of the left image, on columns
// from one to another, so that rows can be shared out among threads. The reference kernels define what every tier
// computes: integers only, equal to the bit.
#pragma once

#include "algorithm/dispatch/KernelTier.h"

#include <cstddef>
#include <cstdint>

namespace ox3d::stereo {

constexpr int32_t kMaxDisparities = 288;
constexpr int32_t kMaxSmallestDisparity = 400;

// A pixel's description: planes of eight comparisons each, and one of gradients.
constexpr int32_t kCensusPlanes = 6;
constexpr int32_t kDescriptionPlanes = kCensusPlanes + 1;
constexpr int32_t kMaxLattice = 7; // columns, and rows, of the census

// The kernels work on whole vectors of the disparities of one pixel. The lanes behind the last disparity hold
// kNoCost, at least one of them: it also bounds the next pixel's first disparity from below.
constexpr int32_t kVectorBytes = 64;
constexpr uint8_t kNoCost = 255;

// How far apart the disparities of two neighbouring pixels lie. Static: see dispatch/Bytes.h.
static constexpr int32_t DisparityPitch(int32_t disparities) {
    return (disparities + kVectorBytes) / kVectorBytes * kVectorBytes;
}

// Bit by bit: centre > neighbour. `m_rows` and `m_columns` are the lattice in rising order; where `m_isMirrored`, the
// image is one turned left to right, and bits and gradient are those of the image before.
struct DescribeArgs {
    const uint8_t* m_rows[kMaxLattice]; // at column 0; columns around it can be read
    int32_t m_columns[kMaxLattice];
    int32_t m_lattice; // 5 or 7
    const uint8_t* m_above;
    const uint8_t* m_below;
    bool m_isMirrored;
    int32_t m_width;
    uint8_t* m_planes[kDescriptionPlanes];
};

// Costs of one row: m_newest holds the sums of description distances of the row below, m_older and m_middle those of
// the row above and of the row itself.
struct CostArgs {
    const uint8_t* m_left[kDescriptionPlanes]; // of the row below, by column
    const uint8_t*
        m_right[kDescriptionPlanes]; // turned left to right: entry width - 1 - x is what x looks at first
    int32_t m_planes;                // of the census: 3 or 6
    int32_t m_width;
    int32_t m_disparities;
    const uint8_t* m_older;
    const uint8_t* m_middle;
    uint8_t* m_newest;
    uint8_t* m_cost;    // null: m_newest alone
    uint8_t* m_columns; // four columns of sums, kept from one range of a row to the next
};

// Where the paths through a row come from and go to. A pixel has three, from the row before (its neighbour behind,
// itself and its neighbour ahead); a fourth runs along the row. `ahead` is to the right in a scan down, to the left
// in a scan up. All rows of paths have a slot of zeros in front and at their end.
struct PathRow {
    uint8_t* m_costs;    // of column 0: three pitches a column
    uint32_t* m_minimum; // of column 0: three bytes a column, of the paths in the order above
};

struct ScanArgs {
    int32_t m_width;
    int32_t m_disparities;
    const uint8_t* m_cost;
    PathRow m_before;
    PathRow m_after;
    uint8_t* m_run; // the path along the row: two columns, used in turns
    uint8_t* m_runMinimum;
    const uint8_t* m_grey;       // of the row, at column 0
    const uint8_t* m_greyBefore; // of the row before
    uint8_t m_smallStep;
    const uint8_t* m_largeStep; // by the brightness step
    uint16_t* m_sums;           // of column 0: a pitch a column, in an order of the tier's own
};

// Winners of a row, in disparities above the smallest. Columns are chosen from right to left.
struct ChooseArgs {
    uint16_t* m_winner;
    int16_t* m_sixteenths;  // the winner with its fraction
    int16_t* m_rightWinner; // the same for the right image, turned left to right
    // By disparity, for the columns of the right image that the last column has looked at: its least sum so far, which
    // begins as kNoSum, and where that was. A vector behind the last disparity can be read.
    int16_t* m_rightLeast;
    int16_t* m_rightLeastAt;
    int16_t* m_line; // a pitch
};
constexpr int16_t kNoSum = 0x7FFF;

constexpr int32_t kLevelled = 5;     // side of the window in which disparities of one surface are averaged
constexpr int32_t kSurfaceStep = 12; // sixteenths between its middle and what belongs to the same surface

struct MatchKernels {
    void (*m_describe)(const DescribeArgs& args);
    // Ranges of a row come one after the other, from its begin on.
    void (*m_cost)(const CostArgs& args, int32_t begin, int32_t end);
    // Three paths, from the row before.
    void (*m_scan)(const ScanArgs& args, int32_t begin, int32_t end);
    // The fourth with them, left to right; m_sums are set.
    void (*m_scanSumming)(const ScanArgs& args, int32_t begin, int32_t end);
    // Mirrored, right to left: from the row below; m_sums and these four together decide.
    void (*m_scanChoosing)(const ScanArgs& args, const ChooseArgs& choose, int32_t begin, int32_t end);
    // Only the path along the row, right to left; m_sums and it together decide.
    void (*m_runChoosing)(const ScanArgs& args, const ChooseArgs& choose, int32_t begin, int32_t end);
    // The median of three by three samples above 0, others count as the one in the middle; 0 where that is not above.
    // Rows have a sample in front and at their end.
    void (*m_median)(const int16_t* const (&rows)[3], int32_t width, int16_t* out);
    // The mean of five by five samples, where the one in the middle is above 0. Two that lie opposite one another count if
    // both are above 0 and differ from it by at most kSurfaceStep, else it stands for them: what is slanted stays
    // so. Of a row's first and last two samples nothing is written.
    void (*m_level)(const int16_t* const (&rows)[kLevelled], int32_t width, int16_t* out);
};

// Of a mean that is no more than kSurfaceStep away from what it is a mean of, the nearest whole number.
static inline int16_t MeanOfLevelled(int16_t at, int16_t sumOfRises) {
    constexpr int32_t kCount = kLevelled * kLevelled;
    constexpr int32_t kAbove = kCount * kSurfaceStep + kCount / 2; // so that nothing below zero is divided
    const auto shifted = static_cast<uint16_t>(sumOfRises + kAbove);
    return static_cast<int16_t>(at + shifted / kCount - kSurfaceStep);
}

// The fraction of a winner in sixteenths, rounded half away from zero. Equiangular lines through the sums around it give
// r / 2 for a ratio r of their slopes, which is drawn to whole disparities: measured on slanted and on curved
// surfaces, r * (3 - r) / 4 has half of that pull, and a stronger bend errs the other way where there is noise.
static inline int32_t FractionOf(int32_t before, int32_t at, int32_t after) {
    const int32_t rise = before > after ? before - at : after - at;
    if (rise <= 0) {
        return 0;
    }
    const int32_t slope = before - after;
    const int32_t size = slope < 0 ? -slope : slope;
    const int32_t whole = rise * rise;
    const int32_t fraction = (8 * size * (3 * rise - size) + whole) / (2 * whole);
    return slope < 0 ? -fraction : fraction;
}

// See CKernelChoice.
const MatchKernels& MatchKernelsInUse();
EKernelTier UseMatchKernelTier(EKernelTier tier);

namespace reference {
extern const MatchKernels kMatchKernels;
}
namespace sse2 {
extern const MatchKernels kMatchKernels;
}
namespace avx2 {
extern const MatchKernels kMatchKernels;
}
namespace avx512 {
extern const MatchKernels kMatchKernels;
}

} // namespace ox3d::stereo
