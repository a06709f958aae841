// Matcher.cpp - see Matcher.h.
#include "algorithm/binostereo/Matcher.h"

#include "algorithm/binostereo/DisparityClean.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace ox3d::stereo {
namespace {

// Hands out parts of a block, on boundaries of a vector; without a base it only counts.
class CParts {
public:
    explicit CParts(uint8_t* base) : m_base(base) {}

    template <typename T = uint8_t>
    T* Take(CCheckedSize bytes) {
        uint8_t* const part = m_base == nullptr ? nullptr : m_base + m_used.Bytes();
        m_used = m_used.Plus(bytes).RoundedUp(kVectorBytes);
        return reinterpret_cast<T*>(part);
    }
    // A part with a vector in front of it.
    template <typename T = uint8_t>
    T* TakeBehind(uint64_t front, CCheckedSize bytes) {
        auto* const part = Take(CCheckedSize(front).Plus(bytes));
        return reinterpret_cast<T*>(part == nullptr ? nullptr : part + front);
    }
    [[nodiscard]] CCheckedSize Used() const { return m_used; }

private:
    uint8_t* m_base;
    CCheckedSize m_used;
};

// Rows of paths: one of zeros, two in turns for each scan, and one that is kept for each strip.
enum EPathRow { kZeroRow, kDownRows, kUpRows = 3, kKeptRows = 5 };

CCheckedSize PathRowBytes(int32_t width, int32_t disparities) {
    return CCheckedSize(3)
        .Times(DisparityPitch(disparities))
        .Times(int64_t{width} + 2)
        .Plus(CCheckedSize(kVectorBytes));
}

CCheckedSize MinimumRowBytes(int32_t width) {
    return CCheckedSize(sizeof(uint32_t)).Times(int64_t{width} + 2).RoundedUp(kVectorBytes);
}

int32_t Strips(int32_t height) {
    return static_cast<int32_t>((int64_t{height} + kStripRows - 1) / kStripRows);
}

BorderedView TakeView(CParts* parts, int32_t width, int32_t height) {
    const CCheckedSize pitch =
        CCheckedSize(uint64_t{2} * kViewBorder).Plus(CCheckedSize(1).Times(width)).RoundedUp(kVectorBytes);
    auto* const base = parts->Take(pitch.Times(height));
    return {base == nullptr ? nullptr : base + kViewBorder, static_cast<ptrdiff_t>(pitch.Bytes())};
}

DisparityMap TakeMap(CParts* parts, int32_t width, int32_t height) {
    // A sample on either side of each row; a row's last may be the next one's first.
    const ptrdiff_t pitch = ptrdiff_t{width} + 2;
    auto* const base = parts->Take<int16_t>(CCheckedSize(sizeof(int16_t)).Times(pitch).Times(height));
    return {base == nullptr ? nullptr : base + 1, pitch};
}

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

// One matching: the rows of the views in the order of the scans.
class CMatch {
public:
    CMatch(const MatchSettings& settings, const MatchBuffers& buffers)
        : m_set(settings), m_buf(buffers), m_kernels(MatchKernelsInUse()),
          m_pitch(DisparityPitch(settings.m_disparities)), m_lattice(Lattice(settings.m_window, m_offsets)) {}

    void Run() {
        PrepareRows();
        if (m_set.m_scansBothWays) {
            ScanBothWays();
        } else {
            ScanOnce();
        }
    }

private:
    [[nodiscard]] PathRow PathsAt(int32_t row) const {
        const int32_t width = m_set.m_width;
        uint8_t* const costs = m_buf.m_paths + PathRowBytes(width, m_set.m_disparities).Times(row).Bytes();
        uint8_t* const minima =
            reinterpret_cast<uint8_t*>(m_buf.m_minima) + MinimumRowBytes(width).Times(row).Bytes();
        return {costs + kVectorBytes + 3 * m_pitch, reinterpret_cast<uint32_t*>(minima) + 1};
    }

    // What the kernels never write: zeros in front of a row and at its end, no cost behind the last disparity.
    void PrepareRows() const {
        const int32_t rows = m_set.m_scansBothWays ? kKeptRows + Strips(m_set.m_height) - 1 : kUpRows;
        for (int32_t row = 0; row < rows; ++row) {
            PreparePaths(PathsAt(row), row == kZeroRow);
        }
        std::memset(m_buf.m_run - kVectorBytes, kNoCost, kVectorBytes);
        ClosePath(m_buf.m_run);
        ClosePath(m_buf.m_run + m_pitch);
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

    void Describe(int32_t y) const {
        DescribeView(m_buf.m_left, y, false, m_buf.m_leftPlanes);
        DescribeView(m_buf.m_right, y, true, m_buf.m_rightPlanes);
        // Left of the image the right view repeats its first column.
        for (uint8_t* const plane : m_buf.m_rightPlanes) {
            std::memset(plane + m_set.m_width, plane[m_set.m_width - 1],
                        static_cast<size_t>(m_set.m_smallest + m_pitch));
        }
    }

    [[nodiscard]] uint8_t* DistancesOf(int32_t y) const {
        return m_buf.m_distances + ptrdiff_t{y % 3} * m_set.m_width * m_pitch;
    }

    // Distances of row y + 1, and from them costs of row y, whose own distances and those above are there.
    void CostRow(int32_t y, uint8_t* costs) const {
        CostArgs args{};
        std::copy(std::begin(m_buf.m_leftPlanes), std::end(m_buf.m_leftPlanes), args.m_left);
        std::transform(std::begin(m_buf.m_rightPlanes), std::end(m_buf.m_rightPlanes), args.m_right,
                       [this](const uint8_t* plane) { return plane + m_set.m_smallest; });
        args.m_planes = m_lattice == kMaxLattice ? kCensusPlanes : kCensusPlanes / 2;
        args.m_width = m_set.m_width;
        args.m_disparities = m_set.m_disparities;
        args.m_older = DistancesOf(Clamped(y - 1));
        args.m_middle = DistancesOf(Clamped(y));
        args.m_newest = DistancesOf(Clamped(y + 1));
        args.m_columns = m_buf.m_columns;
        args.m_cost = costs;
        Describe(Clamped(y + 1));
        m_kernels.m_cost(args, 0, m_set.m_width);
    }

    // What CostRow needs for row y.
    void BeginCosts(int32_t y) const {
        if (y > 0) {
            CostRow(y - 2, nullptr);
        }
        CostRow(y - 1, nullptr);
    }

    [[nodiscard]] uint8_t* CostsOf(int32_t y) const {
        return m_buf.m_costs + ptrdiff_t{y % kStripRows} * m_set.m_width * m_pitch;
    }
    [[nodiscard]] uint16_t* SumsOf(int32_t y) const {
        return m_buf.m_sums + ptrdiff_t{y % kStripRows} * m_set.m_width * m_pitch;
    }

    // With a path along the row begun afresh, from outside.
    ScanArgs ScanOf(int32_t y, int32_t yBefore, const PathRow& before, const PathRow& after,
                    uint8_t* runMinimum) const {
        *runMinimum = 0;
        for (const ptrdiff_t turn : {0, 1}) {
            std::memset(m_buf.m_run + turn * m_pitch, 0, static_cast<size_t>(m_set.m_disparities));
        }
        return {m_set.m_width,
                m_set.m_disparities,
                CostsOf(y),
                before,
                after,
                m_buf.m_run,
                runMinimum,
                m_buf.m_left.Row(y),
                m_buf.m_left.Row(Clamped(yBefore)),
                m_set.m_smallStep,
                m_set.m_largeStep,
                SumsOf(y)};
    }

    void BeginChoosing() const { std::fill_n(m_buf.m_choose.m_rightLeast, m_set.m_width + m_pitch, kNoSum); }

    // Left and right winner have to agree.
    void FinishRow(int32_t y) const {
        const ChooseArgs& c = m_buf.m_choose;
        int16_t* const out = m_buf.m_chosen.Row(y);
        for (int32_t x = 0; x < m_set.m_width; ++x) {
            const int32_t winner = c.m_winner[x];
            const int32_t back = 16 * c.m_rightWinner[m_set.m_width - 1 - x + winner];
            const int32_t value = 16 * m_set.m_smallest + c.m_sixteenths[x];
            const bool agrees = std::abs(back - c.m_sixteenths[x]) <= m_set.m_toleranceSixteenths &&
                                winner + m_set.m_smallest <= x && value > 0;
            out[x] = static_cast<int16_t>(agrees ? value : 0);
        }
    }

    // One scan down: three paths from above, one from the left, and then one from the right.
    void ScanOnce() const {
        BeginCosts(0);
        for (int32_t y = 0; y < m_set.m_height; ++y) {
            CostRow(y, CostsOf(y));
            uint8_t runMinimum = 0;
            const PathRow before = PathsAt(y == 0 ? kZeroRow : kDownRows + (y - 1) % 2);
            ScanArgs args = ScanOf(y, y - 1, before, PathsAt(kDownRows + y % 2), &runMinimum);
            m_kernels.m_scanSumming(args, 0, m_set.m_width);
            args = ScanOf(y, y - 1, before, before, &runMinimum);
            BeginChoosing();
            m_kernels.m_runChoosing(args, m_buf.m_choose, 0, m_set.m_width);
            FinishRow(y);
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

    void ScanBothWays() const {
        const int32_t strips = Strips(m_set.m_height);
        uint8_t runMinimum = 0;
        BeginCosts(0);
        for (int32_t y = 0; y < (strips - 1) * kStripRows; ++y) {
            CostRow(y, CostsOf(y));
            m_kernels.m_scan(ScanOf(y, y - 1, DownRow(y - 1, true), DownRow(y, true), &runMinimum), 0,
                             m_set.m_width);
        }
        for (int32_t strip = strips - 1; strip >= 0; --strip) {
            const int32_t begin = strip * kStripRows;
            const int32_t end = std::min(begin + kStripRows, m_set.m_height);
            SumDown(begin, end);
            ChooseUp(begin, end);
        }
    }

    void SumDown(int32_t begin, int32_t end) const {
        uint8_t runMinimum = 0;
        BeginCosts(begin);
        for (int32_t y = begin; y < end; ++y) {
            CostRow(y, CostsOf(y));
            const ScanArgs args =
                ScanOf(y, y - 1, DownRow(y - 1, y == begin), DownRow(y, false), &runMinimum);
            m_kernels.m_scanSumming(args, 0, m_set.m_width);
        }
    }

    void ChooseUp(int32_t begin, int32_t end) const {
        uint8_t runMinimum = 0;
        for (int32_t y = end - 1; y >= begin; --y) {
            const PathRow before = PathsAt(y + 1 == m_set.m_height ? kZeroRow : kUpRows + (y + 1) % 2);
            const ScanArgs args = ScanOf(y, y + 1, before, PathsAt(kUpRows + y % 2), &runMinimum);
            BeginChoosing();
            m_kernels.m_scanChoosing(args, m_buf.m_choose, 0, m_set.m_width);
            FinishRow(y);
        }
    }

    const MatchSettings& m_set;
    const MatchBuffers& m_buf;
    const MatchKernels& m_kernels;
    const ptrdiff_t m_pitch;
    int32_t m_offsets[kMaxLattice]{};
    const int32_t m_lattice;
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

CCheckedSize LayOutMatch(int32_t width, int32_t height, int32_t disparities, uint8_t* base,
                         MatchBuffers* buffers) {
    CParts parts(base);
    MatchBuffers& b = *buffers;
    const auto pitch = static_cast<uint64_t>(DisparityPitch(disparities));
    const CCheckedSize row = CCheckedSize(pitch).Times(width);
    b.m_left = TakeView(&parts, width, height);
    b.m_right = TakeView(&parts, width, height);
    b.m_chosen = TakeMap(&parts, width, height);
    b.m_cleaned = TakeMap(&parts, width, height);
    // Vectors reach beyond the last column.
    const CCheckedSize plane = CCheckedSize(1).Times(width).Plus(CCheckedSize(kVectorBytes));
    for (uint8_t*& part : b.m_leftPlanes) {
        part = parts.Take(plane);
    }
    for (uint8_t*& part : b.m_rightPlanes) {
        part = parts.Take(plane.Plus(CCheckedSize(kMaxSmallestDisparity + pitch)));
    }
    b.m_distances = parts.Take(row.Times(3));
    b.m_columns = parts.Take(CCheckedSize(4 * pitch));
    b.m_costs = parts.Take(row.Times(kStripRows));
    b.m_sums = parts.Take<uint16_t>(row.Times(sizeof(uint16_t) * kStripRows));
    const int64_t pathRows = kKeptRows + Strips(height);
    const CCheckedSize paths =
        PathRowBytes(width, disparities).Times(pathRows).Plus(CCheckedSize(kVectorBytes));
    const CCheckedSize islands = IslandWords(width, height).Times(sizeof(uint32_t));
    b.m_paths = parts.Take(paths.Fits() && paths.Bytes() < islands.Bytes() ? islands : paths);
    b.m_islands = reinterpret_cast<uint32_t*>(b.m_paths);
    b.m_minima = parts.Take<uint32_t>(MinimumRowBytes(width).Times(pathRows));
    b.m_run = parts.TakeBehind(kVectorBytes, CCheckedSize(2 * pitch + kVectorBytes));
    const CCheckedSize samples = CCheckedSize(sizeof(int16_t)).Times(width);
    const CCheckedSize reach = samples.Plus(CCheckedSize(sizeof(int16_t) * (pitch + kVectorBytes)));
    b.m_choose.m_winner = parts.Take<uint16_t>(samples);
    b.m_choose.m_sixteenths = parts.Take<int16_t>(samples);
    b.m_choose.m_rightLeast = parts.Take<int16_t>(reach);
    b.m_choose.m_rightWinner = parts.Take<int16_t>(reach);
    b.m_choose.m_line = parts.Take<int16_t>(CCheckedSize(sizeof(int16_t) * pitch));
    return islands.Fits() ? parts.Used() : islands;
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

void Match(const MatchSettings& settings, const MatchBuffers& buffers) {
    CMatch(settings, buffers).Run();
    const int32_t width = settings.m_width;
    const int32_t height = settings.m_height;
    if (settings.m_hasMedian) {
        MedianOf(buffers.m_chosen, width, height, buffers.m_cleaned);
    } else {
        for (int32_t y = 0; y < height; ++y) {
            std::copy_n(buffers.m_chosen.Row(y), width, buffers.m_cleaned.Row(y));
        }
    }
    if (settings.m_dropsIslands) {
        DropIslands(buffers.m_cleaned, width, height, settings.m_islandPixels,
                    settings.m_islandStepSixteenths, buffers.m_islands);
    }
}

} // namespace ox3d::stereo
