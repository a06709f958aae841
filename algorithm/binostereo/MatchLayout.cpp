// MatchLayout.cpp - where the matcher's buffers lie in the caller's memory; see Matcher.h.
#include "algorithm/binostereo/DisparityClean.h"

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

MatchRowBuffers TakeRow(CParts* parts, int32_t width, uint64_t pitch) {
    MatchRowBuffers row{};
    // Vectors reach beyond the last column.
    const CCheckedSize plane = CCheckedSize(1).Times(width).Plus(CCheckedSize(kVectorBytes));
    for (uint8_t*& part : row.m_leftPlanes) {
        part = parts->Take(plane);
    }
    for (uint8_t*& part : row.m_rightPlanes) {
        part = parts->Take(plane.Plus(CCheckedSize(kMaxSmallestDisparity + pitch)));
    }
    row.m_columns = parts->Take(CCheckedSize(4 * pitch));
    row.m_run = parts->TakeBehind(kVectorBytes, CCheckedSize(2 * pitch + kVectorBytes));
    const CCheckedSize samples = CCheckedSize(sizeof(int16_t)).Times(width);
    const CCheckedSize disparities(sizeof(int16_t) * (pitch + kVectorBytes));
    row.m_choose.m_winner = parts->Take<uint16_t>(samples);
    row.m_choose.m_sixteenths = parts->Take<int16_t>(samples);
    row.m_choose.m_rightWinner = parts->Take<int16_t>(samples);
    row.m_choose.m_rightLeast = parts->Take<int16_t>(disparities);
    row.m_choose.m_rightLeastAt = parts->Take<int16_t>(disparities);
    row.m_choose.m_line = parts->Take<int16_t>(CCheckedSize(sizeof(int16_t) * pitch));
    return row;
}

} // namespace

CCheckedSize PathRowBytes(int32_t width, int32_t disparities) {
    return CCheckedSize(3)
        .Times(DisparityPitch(disparities))
        .Times(int64_t{width} + 2)
        .Plus(CCheckedSize(kVectorBytes));
}

CCheckedSize MinimumRowBytes(int32_t width) {
    return CCheckedSize(sizeof(uint32_t)).Times(int64_t{width} + 2).RoundedUp(kVectorBytes);
}

int32_t StripsOf(int32_t height) {
    return static_cast<int32_t>((int64_t{height} + kStripRows - 1) / kStripRows);
}

CCheckedSize LayOutMatch(const MatchExtent& extent, uint8_t* base, MatchBuffers* buffers) {
    const int32_t width = extent.m_width;
    const int32_t height = extent.m_height;
    CParts parts(base);
    MatchBuffers& b = *buffers;
    const auto pitch = static_cast<uint64_t>(DisparityPitch(extent.m_disparities));
    const CCheckedSize row = CCheckedSize(pitch).Times(width);
    b.m_left = TakeView(&parts, width, height);
    b.m_right = TakeView(&parts, width, height);
    b.m_chosen = TakeMap(&parts, width, height);
    b.m_cleaned = TakeMap(&parts, width, height);
    b.m_distances = parts.Take(row.Times(3));
    b.m_costs = parts.Take(row.Times(kStripRows));
    b.m_sums = parts.Take<uint16_t>(row.Times(sizeof(uint16_t) * kStripRows));
    const int64_t pathRows = kKeptRows + StripsOf(height);
    const CCheckedSize paths =
        PathRowBytes(width, extent.m_disparities).Times(pathRows).Plus(CCheckedSize(kVectorBytes));
    const CCheckedSize islands = IslandWords(width, height).Times(sizeof(uint32_t));
    b.m_paths = parts.Take(paths.Fits() && paths.Bytes() < islands.Bytes() ? islands : paths);
    b.m_islands = reinterpret_cast<uint32_t*>(b.m_paths);
    b.m_minima = parts.Take<uint32_t>(MinimumRowBytes(width).Times(pathRows));
    b.m_threads = extent.m_threads;
    for (uint32_t thread = 0; thread < extent.m_threads; ++thread) {
        b.m_rows[thread] = TakeRow(&parts, width, pitch);
    }
    return islands.Fits() ? parts.Used() : islands;
}

} // namespace ox3d::stereo
