// From two rectified views to disparities: census and gradient costs, semi-global paths, winners that both views agree
// on. Relies on MatchTiers.h for the kernels; all memory is the caller's.
#pragma once

#include "algorithm/binostereo/CheckedSize.h"
#include "algorithm/binostereo/MatchTiers.h"
#include "algorithm/binostereo/Wavefront.h"
#include "base/WorkerPool.h"

namespace ox3d::stereo {

// What the depth parameters say, made ready. Disparities are a multiple of 16.
struct MatchSettings {
    int32_t m_width;
    int32_t m_height;
    int32_t m_window; // side of the census, 5 to 40
    int32_t m_smallest;
    int32_t m_disparities;
    bool m_scansBothWays; // eight paths, else five
    uint8_t m_smallStep;
    uint8_t m_largeStep[256];
    int32_t m_toleranceSixteenths;
    bool m_hasMedian;
    bool m_dropsIslands;
    int32_t m_islandPixels;
    int32_t m_islandStepSixteenths;
};

// The penalties of paths; the window stands in the settings already. A large step costs less where the brightness
// steps, too.
void SetPenalties(int32_t smoothness, int32_t percent, int32_t fallsFrom, int32_t fallenAt,
                  MatchSettings* settings);

// A view with borders that repeat its outermost samples.
struct BorderedView {
    uint8_t* m_pixels; // of column 0 of row 0
    ptrdiff_t m_pitch;

    [[nodiscard]] uint8_t* Row(int32_t y) const { return m_pixels + y * m_pitch; }
};
constexpr int32_t kViewBorder = 32;

struct DisparityMap {
    int16_t* m_sixteenths; // of column 0 of row 0; 0: none
    ptrdiff_t m_pitch;     // in samples; a sample in front of and at the end of each row can be written

    [[nodiscard]] int16_t* Row(int32_t y) const { return m_sixteenths + y * m_pitch; }
};

// The first scan keeps its paths at every 16th row, the second goes up in strips of 16 rows, scans each down again from
// what was kept and then up. So costs and sums of a strip are all that is kept of them, and stay in the cache.
constexpr int32_t kStripRows = 16;

// What a thread needs for the row that it works on.
struct MatchRowBuffers {
    uint8_t* m_leftPlanes[kDescriptionPlanes];
    uint8_t* m_rightPlanes[kDescriptionPlanes];
    uint8_t* m_columns;
    uint8_t* m_run;
    ChooseArgs m_choose;
};

struct MatchBuffers {
    BorderedView m_left;
    BorderedView m_right; // turned left to right
    DisparityMap m_chosen;
    DisparityMap m_cleaned;
    uint32_t* m_islands;  // on the paths, which are done with by then
    uint8_t* m_distances; // three rows of disparities
    uint8_t* m_costs;     // a strip
    uint16_t* m_sums;     // a strip
    uint8_t* m_paths;     // rows of paths, see EPathRow
    uint32_t* m_minima;
    uint32_t m_threads;
    MatchRowBuffers m_rows[kMaxMatchThreads];
};

// What the memory is laid out for.
struct MatchExtent {
    int32_t m_width;
    int32_t m_height;
    int32_t m_disparities;
    uint32_t m_threads; // the calling one included, 1 to kMaxMatchThreads
};

// Rows of paths: one of zeros, two in turns for each scan, and one that is kept for each strip.
enum EPathRow { kZeroRow, kDownRows, kUpRows = 3, kKeptRows = 5 };

CCheckedSize PathRowBytes(int32_t width, int32_t disparities);
CCheckedSize MinimumRowBytes(int32_t width);
int32_t StripsOf(int32_t height);

// The memory for that extent. With a base, on a 64-byte boundary, *buffers points into it.
CCheckedSize LayOutMatch(const MatchExtent& extent, uint8_t* base, MatchBuffers* buffers);

// Copies an image into the view, as it is or turned left to right.
void FillView(const uint8_t* pixels, ptrdiff_t pitch, int32_t width, int32_t height, bool isTurned,
              const BorderedView& view);
// Smooths by 1-2-1 in both directions. The rows are two of the view's pitch.
void SmoothView(int32_t width, int32_t height, const BorderedView& view, uint8_t* rows);

// From the views in the buffers to disparities, by the threads of the turn for which there are buffers. The result, in one
// of the two maps, is the same for any number of them.
const DisparityMap& Match(const MatchSettings& settings, const MatchBuffers& buffers, const CPoolTurn& turn);

} // namespace ox3d::stereo
