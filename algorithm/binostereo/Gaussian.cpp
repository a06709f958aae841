// Separable Gaussian smoothing in fixed point. Rows are filtered once into a ring of 11 rows of 8.8
// fixed-point values, columns are filtered from the ring. Relies on weights that add up to exactly one, so
// that an even area stays as it is.
#include "algorithm/binostereo/ImageTiers.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <numeric>

namespace ox3d::stereo {
namespace {

static_assert(std::accumulate(std::begin(kGaussianWeights), std::end(kGaussianWeights), 0U) == 65536U);

// Reflects an index about the first and the last element; narrow images may take several turns.
int32_t Reflect(int32_t index, int32_t count) {
    if (count == 1) {
        return 0;
    }
    while (index < 0 || index >= count) {
        index = index < 0 ? -index : 2 * (count - 1) - index;
    }
    return index;
}

// 255 * 65536 is the largest sum; rounded to 8.8 it fits 16 bits.
uint16_t RoundRow(uint32_t sum) {
    return static_cast<uint16_t>((sum + 128U) >> 8);
}

void FilterRow(const uint8_t* src, int32_t width, uint16_t* out) {
    const auto border = [src, width](int32_t x) {
        uint32_t sum = 0;
        for (int32_t tap = 0; tap < kGaussianTaps; ++tap) {
            sum += kGaussianWeights[tap] * src[Reflect(x + tap - kGaussianHalf, width)];
        }
        return RoundRow(sum);
    };
    const int32_t innerEnd = std::max(kGaussianHalf, width - kGaussianHalf);
    for (int32_t x = 0; x < std::min(kGaussianHalf, width); ++x) {
        out[x] = border(x);
    }
    ImageKernelsInUse().m_smoothRow(src, innerEnd - kGaussianHalf, out + kGaussianHalf);
    for (int32_t x = innerEnd; x < width; ++x) {
        out[x] = border(x);
    }
}

} // namespace

void reference::SmoothRow(const uint8_t* src, int32_t count, uint16_t* out) {
    for (int32_t x = 0; x < count; ++x) {
        uint32_t sum = 0;
        for (int32_t tap = 0; tap < kGaussianTaps; ++tap) {
            sum += kGaussianWeights[tap] * src[x + tap];
        }
        out[x] = RoundRow(sum);
    }
}

// The largest sum is 65280 * 65536, and with the half that rounds it still fits 32 bits.
void reference::SmoothColumns(const uint16_t* const (&rows)[kGaussianTaps], int32_t width, uint8_t* out) {
    for (int32_t x = 0; x < width; ++x) {
        uint32_t sum = 1U << 23;
        for (int32_t tap = 0; tap < kGaussianTaps; ++tap) {
            sum += kGaussianWeights[tap] * rows[tap][x];
        }
        out[x] = static_cast<uint8_t>(sum >> 24);
    }
}

void SmoothGaussian11(const uint8_t* src, int32_t width, int32_t height, uint8_t* dst, void* work) {
    auto* ring = static_cast<uint16_t*>(work);
    const auto stride = static_cast<size_t>(width);
    const auto ringRow = [ring, stride](int32_t y) {
        return ring + stride * static_cast<size_t>(y % kGaussianTaps);
    };
    int32_t filtered = 0;
    for (int32_t y = 0; y < height; ++y) {
        // Row y needs the rows y - 5 to y + 5; reflected ones lie between these as well, so the ring has
        // them.
        for (; filtered < height && filtered <= y + kGaussianHalf; ++filtered) {
            FilterRow(src + stride * static_cast<size_t>(filtered), width, ringRow(filtered));
        }
        const uint16_t* rows[kGaussianTaps];
        for (int32_t tap = 0; tap < kGaussianTaps; ++tap) {
            rows[tap] = ringRow(Reflect(y + tap - kGaussianHalf, height));
        }
        ImageKernelsInUse().m_smoothColumns(rows, width, dst + stride * static_cast<size_t>(y));
    }
}

} // namespace ox3d::stereo
