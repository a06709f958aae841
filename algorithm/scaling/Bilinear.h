// The bilinear scaler's definition: where a sample lies between source samples, and the scalar reference loop,
// which every fast kernel equals to the bit. Integers only, so nothing depends on the machine.
// Functions are static: a unit that is compiled for newer processors must not lend the linker its copy.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ox3d::scaling {

// Weights are 128ths, those of two neighbours add up to one.
constexpr int32_t kWeightBits = 7;
constexpr int32_t kWeightOne = 1 << kWeightBits;

// Two planes that do not overlap, without padding; sides are at most OX_MP_MAX_SIDE.
struct ScaleArgs {
    const uint8_t* src;
    int32_t srcWidth;
    int32_t srcHeight;
    uint8_t* dst;
    int32_t dstWidth;
    int32_t dstHeight;
};

// The two neighbours along one axis. Where the second would weigh nothing it is the first.
struct Tap {
    int32_t first;
    int32_t second;
    int32_t weight; // of the second
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
    const int32_t keep = kWeightOne - column.weight;
    const int32_t above = top[column.first] * keep + top[column.second] * column.weight;
    const int32_t below = bottom[column.first] * keep + bottom[column.second] * column.weight;
    const int32_t sum = above * (kWeightOne - row.weight) + below * row.weight;
    return static_cast<uint8_t>((sum + (1 << (2 * kWeightBits - 1))) >> (2 * kWeightBits));
}

static inline const uint8_t* SourceRow(const ScaleArgs& a, int32_t row) {
    return a.src + static_cast<ptrdiff_t>(row) * a.srcWidth;
}

static inline uint8_t* TargetRow(const ScaleArgs& a, int32_t row) {
    return a.dst + static_cast<ptrdiff_t>(row) * a.dstWidth;
}

} // namespace ox3d::scaling
