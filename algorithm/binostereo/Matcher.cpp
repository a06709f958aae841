// Matcher.cpp - see Matcher.h.
#include "algorithm/binostereo/Matcher.h"

#include "algorithm/binostereo/DisparityClean.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace ox3d::stereo {
namespace {

// A few microseconds' work, and of it what caches next to the processor hold.
constexpr int32_t kBlockColumns = 64;

// Offsets of the census' columns and rows. A wide window costs no more than a narrow one: the lattice is stretched.
int32_t Lattice(int32_t window, int32_t (&offsets)[kMaxLattice]) {
    const int32_t r = (window - 1) / 2;
    int32_t count = 0;
    for (int32_t i = -3; i <= 3; ++i) {
        const int32_t size = (std::abs(i) * r + 1) / 3;
        const int32_t offset = i < 0 ? -size : size;
        if (count == 0 || offsets[count - 1] != offset) {
            offsets[count++] = offset;
        }
    }
    return count;
}

// One matching: the rows of the views in the order of the scans. Every thread goes through all of them in that order
// and does those that it takes.
class CMatch {
public:
    CMatch(const MatchSettings& settings, const MatchBuffers& buffers)
        : m_set(settings), m_buf(buffers), m_kernels(MatchKernelsInUse()),
          m_pitch(DisparityPitch(settings.m_disparities)), m_lattice(Lattice(settings.m_window, m_offsets)) {}

    void Run(const CPoolTurn& turn) {
        PrepareRows();
        turn.Run(std::min(turn.Threads(), m_buf.m_threads), [this](uint32_t thread) {
            if (!m_front.Enter()) {
                return;
            }
            Rows rows{m_buf.m_rows[thread], m_front.Take()};
            if (m_set.m_scansBothWays) {
                ScanBothWays(&rows);
            } else {
                ScanOnce(&rows);
            }
        });
    }

private:
    static constexpr uint64_t kNoRow = 0;

    // A thread on its way through the rows.
    struct Rows {
        const MatchRowBuffers& m_buf;
        uint64_t m_taken;
        uint64_t m_row = 0;
        uint32_t m_sleeps = 0;
        bool m_isApart = false; // from the rows before: it begins when they are done
        uint8_t m_runMinimum = 0;

        // Goes on to the next row. True where it is this thread's, which then has to walk it.
        bool Next() { return ++m_row == m_taken; }
    };

    // Calls block(begin, end) for the columns of a row, counted from where the walk along it begins, and then finish(),
    // which needs no other row. The row before is ahead by what paths and costs see of it, and what they write has been
    // read.
    template <typename TBlock, typename TFinish>
    void Walk(Rows* rows, const TBlock& block, const TFinish& finish) {
        const int32_t width = m_set.m_width;
        for (int32_t begin = 0, end = 0; end < width; begin = end) {
            end = std::min(begin + kBlockColumns, width);
            rows->m_sleeps +=
                m_front.Await(rows->m_row - 1, rows->m_isApart ? width : std::min(end + 2, width));
            block(begin, end);
            if (end < width) {
                m_front.Publish(rows->m_row, end);
            }
        }
        // The others stay behind a row that is taken before they may pass, so that this one's place in the strip is not used
        // anew while it is finished.
        if (m_front.Leaves(rows->m_row, rows->m_sleeps)) {
            rows->m_taken = kNoRow;
            finish();
            m_front.Publish(rows->m_row, width);
        } else {
            rows->m_taken = m_front.Take();
            m_front.Publish(rows->m_row, width);
            finish();
        }
    }

    [[nodiscard]] PathRow PathsAt(int32_t row) const {
        const int32_t width = m_set.m_width;
        uint8_t* const costs = m_buf.m_paths + PathRowBytes(width, m_set.m_disparities).Times(row).Bytes();
        uint8_t* const minima =
            reinterpret_cast<uint8_t*>(m_buf.m_minima) + MinimumRowBytes(width).Times(row).Bytes();
        return {costs + kVectorBytes + 3 * m_pitch, reinterpret_cast<uint32_t*>(minima) + 1};
    }

    // What the kernels never write: zeros in front of a row and at its end, no cost behind the last disparity.
    void PrepareRows() const {
        const int32_t rows = m_set.m_scansBothWays ? kKeptRows + StripsOf(m_set.m_height) - 1 : kUpRows;
        for (int32_t row = 0; row < rows; ++row) {
            PreparePaths(PathsAt(row), row == kZeroRow);
        }
        for (uint32_t thread = 0; thread < m_buf.m_threads; ++thread) {
            uint8_t* const run = m_buf.m_rows[thread].m_run;
            std::memset(run - kVectorBytes, kNoCost, kVectorBytes);
            ClosePath(run);
            ClosePath(run + m_pitch);
        }
    }

    void ClosePath(uint8_t* path) const {
        std::memset(path + m_set.m_disparities, kNoCost, static_cast<size_t>(m_pitch - m_set.m_disparities));
    }

    void PreparePaths(const PathRow& row, bool isZero) const {
        std::memset(row.m_costs - 3 * m_pitch - kVectorBytes, kNoCost, kVectorBytes);
        for (int32_t x = -1; x <= m_set.m_width; ++x) {
            for (int32_t path = 0; path < 3; ++path) {
                uint8_t* const costs = row.m_costs + (ptrdiff_t{3} * x + path) * m_pitch;
                if (isZero || x < 0 || x == m_set.m_width) {
                    std::memset(costs, 0, static_cast<size_t>(m_set.m_disparities));
                    row.m_minimum[x] = 0;
                }
                ClosePath(costs);
            }
        }
    }

    [[nodiscard]] int32_t Clamped(int32_t y) const { return std::clamp(y, 0, m_set.m_height - 1); }

    void DescribeView(const BorderedView& view, int32_t y, bool isTurned,
                      uint8_t* const (&planes)[kDescriptionPlanes]) const {
        DescribeArgs args{};
        args.m_lattice = m_lattice;
        for (int32_t i = 0; i < m_lattice; ++i) {
            args.m_rows[i] = view.Row(Clamped(y + m_offsets[i]));
            args.m_columns[i] = m_offsets[i];
        }
        args.m_above = view.Row(Clamped(y - 1));
        args.m_below = view.Row(Clamped(y + 1));
        args.m_isMirrored = isTurned;
        args.m_width = m_set.m_width;
        std::copy(std::begin(planes), std::end(planes), args.m_planes);
        m_kernels.m_describe(args);
    }

    void Describe(const MatchRowBuffers& buf, int32_t y) const {
        DescribeView(m_buf.m_left, y, false, buf.m_leftPlanes);
        DescribeView(m_buf.m_right, y, true, buf.m_rightPlanes);
        // Left of the image the right view repeats its first column.
        for (uint8_t* const plane : buf.m_rightPlanes) {
            std::memset(plane + m_set.m_width, plane[m_set.m_width - 1],
                        static_cast<size_t>(m_set.m_smallest + m_pitch));
        }
    }

    [[nodiscard]] uint8_t* DistancesOf(int32_t y) const {
        return m_buf.m_distances + ptrdiff_t{y % 3} * m_set.m_width * m_pitch;
    }

    // Distances of row y + 1, and from them costs of row y, whose own distances and those above are there.
    CostArgs CostsFrom(const MatchRowBuffers& buf, int32_t y, uint8_t* costs) const {
        CostArgs args{};
        std::copy(std::begin(buf.m_leftPlanes), std::end(buf.m_leftPlanes), args.m_left);
        std::transform(std::begin(buf.m_rightPlanes), std::end(buf.m_rightPlanes), args.m_right,
                       [this](const uint8_t* plane) { return plane + m_set.m_smallest; });
        args.m_planes = m_lattice == kMaxLattice ? kCensusPlanes : kCensusPlanes / 2;
        args.m_width = m_set.m_width;
        args.m_disparities = m_set.m_disparities;
        args.m_older = DistancesOf(Clamped(y - 1));
        args.m_middle = DistancesOf(Clamped(y));
        args.m_newest = DistancesOf(Clamped(y + 1));
        args.m_columns = buf.m_columns;
        args.m_cost = costs;
        Describe(buf, Clamped(y + 1));
        return args;
    }

    // The rows of distances that costs of row y need, but the one below, apart from what was before.
    void BeginCosts(int32_t y, Rows* rows) {
        rows->m_isApart = true;
        for (int32_t above = y > 0 ? y - 2 : y - 1; above < y; ++above) {
            if (rows->Next()) {
                const CostArgs costs = CostsFrom(rows->m_buf, above, nullptr);
                Walk(
                    rows, [&](int32_t begin, int32_t end) { m_kernels.m_cost(costs, begin, end); }, [] {});
            }
            rows->m_isApart = false;
        }
    }

    [[nodiscard]] uint8_t* CostsOf(int32_t y) const {
        return m_buf.m_costs + ptrdiff_t{y % kStripRows} * m_set.m_width * m_pitch;
    }
    [[nodiscard]] uint16_t* SumsOf(int32_t y) const {
        return m_buf.m_sums + ptrdiff_t{y % kStripRows} * m_set.m_width * m_pitch;
    }

    // With a path along the row begun afresh, from outside.
    ScanArgs ScanOf(int32_t y, int32_t yBefore, const PathRow& before, const PathRow& after,
                    Rows* rows) const {
        rows->m_runMinimum = 0;
        for (const ptrdiff_t turn : {0, 1}) {
            std::memset(rows->m_buf.m_run + turn * m_pitch, 0, static_cast<size_t>(m_set.m_disparities));
        }
        return {m_set.m_width,
                m_set.m_disparities,
                CostsOf(y),
                before,
                after,
                rows->m_buf.m_run,
                &rows->m_runMinimum,
                m_buf.m_left.Row(y),
                m_buf.m_left.Row(Clamped(yBefore)),
                m_set.m_smallStep,
                m_set.m_largeStep,
                SumsOf(y)};
    }

    void BeginChoosing(const ChooseArgs& choose) const {
        std::fill_n(choose.m_rightLeast, m_pitch + kVectorBytes, kNoSum);
    }

    // Left and right winner have to agree.
    void FinishRow(const ChooseArgs& c, int32_t y) const {
        int16_t* const out = m_buf.m_chosen.Row(y);
        for (int32_t x = 0; x < m_set.m_width; ++x) {
            const int32_t winner = c.m_winner[x];
            const int32_t value = 16 * m_set.m_smallest + c.m_sixteenths[x];
            const bool isInside = winner + m_set.m_smallest <= x && value > 0;
            const bool agrees = isInside && std::abs(16 * c.m_rightWinner[m_set.m_width - 1 - x + winner] -
                                                     c.m_sixteenths[x]) <= m_set.m_toleranceSixteenths;
            out[x] = static_cast<int16_t>(agrees ? value : 0);
        }
    }

    using ScanKernel = void (*)(const ScanArgs&, int32_t begin, int32_t end);

    // Costs of a row and paths through it, left to right.
    template <typename TFinish>
    void GoDown(int32_t y, const PathRow& before, const PathRow& after, ScanKernel scan, Rows* rows,
                const TFinish& finish) {
        const CostArgs costs = CostsFrom(rows->m_buf, y, CostsOf(y));
        const ScanArgs paths = ScanOf(y, y - 1, before, after, rows);
        Walk(
            rows,
            [&](int32_t begin, int32_t end) {
                m_kernels.m_cost(costs, begin, end);
                scan(paths, begin, end);
            },
            finish);
    }

    // One scan down: three paths from above, one from the left, and then one from the right.
    void ScanOnce(Rows* rows) {
        BeginCosts(0, rows);
        for (int32_t y = 0; y < m_set.m_height; ++y) {
            if (!rows->Next()) {
                continue;
            }
            const PathRow before = PathsAt(y == 0 ? kZeroRow : kDownRows + (y - 1) % 2);
            GoDown(y, before, PathsAt(kDownRows + y % 2), m_kernels.m_scanSumming, rows, [&] {
                const ChooseArgs& choose = rows->m_buf.m_choose;
                BeginChoosing(choose);
                m_kernels.m_runChoosing(ScanOf(y, y - 1, before, before, rows), choose, 0, m_set.m_width);
                FinishRow(choose, y);
            });
        }
    }

    // The row of paths that row y leaves behind in the first scan, and again in the strip's own.
    [[nodiscard]] PathRow DownRow(int32_t y, bool keeps) const {
        if (y < 0) {
            return PathsAt(kZeroRow);
        }
        const bool isKept = keeps && (y + 1) % kStripRows == 0;
        return PathsAt(isKept ? kKeptRows + y / kStripRows : kDownRows + y % 2);
    }

    void ScanBothWays(Rows* rows) {
        const int32_t strips = StripsOf(m_set.m_height);
        BeginCosts(0, rows);
        for (int32_t y = 0; y < (strips - 1) * kStripRows; ++y) {
            if (rows->Next()) {
                GoDown(y, DownRow(y - 1, true), DownRow(y, true), m_kernels.m_scan, rows, [] {});
            }
        }
        for (int32_t strip = strips - 1; strip >= 0; --strip) {
            const int32_t begin = strip * kStripRows;
            const int32_t end = std::min(begin + kStripRows, m_set.m_height);
            SumDown(begin, end, rows);
            ChooseUp(begin, end, rows);
        }
    }

    void SumDown(int32_t begin, int32_t end, Rows* rows) {
        BeginCosts(begin, rows);
        for (int32_t y = begin; y < end; ++y) {
            if (rows->Next()) {
                GoDown(y, DownRow(y - 1, y == begin), DownRow(y, false), m_kernels.m_scanSumming, rows,
                       [] {});
            }
        }
    }

    void ChooseUp(int32_t begin, int32_t end, Rows* rows) {
        rows->m_isApart = true; // from where the last sums are the first row begins
        for (int32_t y = end - 1; y >= begin; --y) {
            if (rows->Next()) {
                GoUp(y, rows);
            }
            rows->m_isApart = false;
        }
    }

    // Right to left.
    void GoUp(int32_t y, Rows* rows) {
        const PathRow before = PathsAt(y + 1 == m_set.m_height ? kZeroRow : kUpRows + (y + 1) % 2);
        const ScanArgs paths = ScanOf(y, y + 1, before, PathsAt(kUpRows + y % 2), rows);
        const ChooseArgs& choose = rows->m_buf.m_choose;
        BeginChoosing(choose);
        const int32_t width = m_set.m_width;
        Walk(
            rows,
            [&](int32_t begin, int32_t end) {
                m_kernels.m_scanChoosing(paths, choose, width - end, width - begin);
            },
            [&] { FinishRow(choose, y); });
    }

    const MatchSettings& m_set;
    const MatchBuffers& m_buf;
    const MatchKernels& m_kernels;
    const ptrdiff_t m_pitch;
    int32_t m_offsets[kMaxLattice]{};
    const int32_t m_lattice;
    CWavefront m_front;
};

void CloseRow(uint8_t* row, int32_t width) {
    std::memset(row - kViewBorder, row[0], kViewBorder);
    std::memset(row + width, row[width - 1], kViewBorder);
}

} // namespace

void SetPenalties(int32_t smoothness, int32_t percent, int32_t fallsFrom, int32_t fallenAt,
                  MatchSettings* settings) {
    // The census of a window of 5 has half as many comparisons.
    const bool isSmall = (settings->m_window - 1) / 2 < 3;
    const int32_t small = (2 + 2 * smoothness) * (isSmall ? 5 : 8) / 8;
    const int32_t large = (20 + 12 * smoothness) * (isSmall ? 5 : 8) / 8;
    const int32_t fallen = std::max(large * percent / 100, small + 1);
    settings->m_smallStep = static_cast<uint8_t>(small);
    for (int32_t step = 0; step < 256; ++step) {
        int32_t value = large;
        if (step > fallsFrom) {
            value = step >= fallenAt ? fallen
                                     : large - (large - fallen) * (step - fallsFrom) / (fallenAt - fallsFrom);
        }
        settings->m_largeStep[step] = static_cast<uint8_t>(value);
    }
}

void FillView(const uint8_t* pixels, ptrdiff_t pitch, int32_t width, int32_t height, bool isTurned,
              const BorderedView& view) {
    for (int32_t y = 0; y < height; ++y, pixels += pitch) {
        if (isTurned) {
            std::reverse_copy(pixels, pixels + width, view.Row(y));
        } else {
            std::copy_n(pixels, width, view.Row(y));
        }
        CloseRow(view.Row(y), width);
    }
}

void SmoothView(int32_t width, int32_t height, const BorderedView& view, uint8_t* rows) {
    // The rows above and at the one that is written, as they were.
    uint8_t* above = rows;
    uint8_t* at = rows + view.m_pitch;
    std::copy_n(view.Row(0) - kViewBorder, view.m_pitch, above);
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* const out = view.Row(y);
        std::copy_n(out - kViewBorder, view.m_pitch, at);
        const uint8_t* const a = above + kViewBorder;
        const uint8_t* const m = at + kViewBorder;
        const uint8_t* const b = y + 1 < height ? view.Row(y + 1) : m;
        const auto column = [a, m, b](int32_t x) { return a[x] + 2 * m[x] + b[x]; };
        for (int32_t x = 0; x < width; ++x) {
            out[x] = static_cast<uint8_t>((column(x - 1) + 2 * column(x) + column(x + 1) + 8) >> 4);
        }
        CloseRow(out, width);
        std::swap(above, at);
    }
}

const DisparityMap& Match(const MatchSettings& settings, const MatchBuffers& buffers, const CPoolTurn& turn) {
    CMatch(settings, buffers).Run(turn);
    const int32_t width = settings.m_width;
    const int32_t height = settings.m_height;
    if (settings.m_hasMedian) {
        MedianOf(buffers.m_chosen, width, height, buffers.m_cleaned);
    }
    const DisparityMap& found = settings.m_hasMedian ? buffers.m_cleaned : buffers.m_chosen;
    if (settings.m_dropsIslands) {
        DropIslands(found, width, height, settings.m_islandPixels, settings.m_islandStepSixteenths,
                    buffers.m_islands);
    }
    if (!settings.m_hasMedian) {
        return found;
    }
    LevelOf(found, width, height, buffers.m_chosen);
    return buffers.m_chosen;
}

} // namespace ox3d::stereo
