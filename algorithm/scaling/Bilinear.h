// The bilinear scaler's definition: where a sample lies between source samples, and how four of them are weighed.
// Every kernel equals it to the bit. Integers only, so that no result depends on the machine.
// Functions are static: of a shared one the linker takes a single copy for all units, and a copy from a unit
// that is compiled for newer processors would stop the older ones.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ox3d::scaling {

// Weights are 128ths, those of two neighbours add up to one.
constexpr int32_t kWeightBits = 7;
constexpr int32_t kWeightOne = 1 << kWeightBits;

// Source and target planes that do not overlap, without padding; sides are at most OX_MP_MAX_SIDE. Of the target the
// rows from the first to the one before the end are wanted.
struct ScaleArgs {
    const uint8_t* m_src;
    int32_t m_srcWidth;
    int32_t m_srcHeight;
    uint8_t* m_dst;
    int32_t m_dstWidth;
    int32_t m_dstHeight;
    int32_t m_firstRow = 0;
    int32_t m_endRow = m_dstHeight;
};

// The two neighbours along one axis. Where the second would weigh nothing it is the first.
struct Tap {
    int32_t m_first;
    int32_t m_second;
    int32_t m_weight; // of the second
};

// Sample `index` of `to` on an axis of `from` samples. The centres of both images' pixels are laid on each
// other, the position is rounded to 128ths, half up, and borders are clamped.
static inline Tap TapOf(int32_t index, int32_t from, int32_t to) {
    const int64_t centre = (int64_t{2} * index + 1) * from - to; // the position times 2 * to
    const int64_t last = int64_t{from - 1} << kWeightBits;
    const int64_t rounded = centre > 0 ? (centre * kWeightOne + to) / (int64_t{2} * to) : 0;
    const int64_t position = rounded < last ? rounded : last;
    const auto first = static_cast<int32_t>(position >> kWeightBits);
    const auto weight = static_cast<int32_t>(position & (kWeightOne - 1));
    return {first, first + (weight != 0 ? 1 : 0), weight};
}

// The sum has all bits of both axes' weights and is rounded once, half up.
static inline uint8_t BilinearSample(const uint8_t* top, const uint8_t* bottom, const Tap& column,
                                     const Tap& row) {
    const int32_t keep = kWeightOne - column.m_weight;
    const int32_t above = top[column.m_first] * keep + top[column.m_second] * column.m_weight;
    const int32_t below = bottom[column.m_first] * keep + bottom[column.m_second] * column.m_weight;
    const int32_t sum = above * (kWeightOne - row.m_weight) + below * row.m_weight;
    return static_cast<uint8_t>((sum + (1 << (2 * kWeightBits - 1))) >> (2 * kWeightBits));
}

static inline const uint8_t* SourceRow(const ScaleArgs& a, int32_t row) {
    return a.m_src + static_cast<ptrdiff_t>(row) * a.m_srcWidth;
}

static inline uint8_t* TargetRow(const ScaleArgs& a, int32_t row) {
    return a.m_dst + static_cast<ptrdiff_t>(row) * a.m_dstWidth;
}

} // namespace ox3d::scaling
