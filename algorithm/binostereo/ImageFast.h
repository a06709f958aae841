// The fast image kernels: the reference kernels' arithmetic in loops that a vectoriser takes. Compiled once for
// each tier; a unit names its tier in OX3D_TIER and includes this file, once. Everything here is local to that
// unit. Where pointers bear no __restrict the compiler tests for overlap itself.
#pragma once

#include "algorithm/binostereo/ImageTiers.h"
#include "algorithm/dispatch/Bytes.h"

#include <cstring>

namespace ox3d::stereo::OX3D_TIER {
namespace {

constexpr int64_t kBlock = 256;

// Two neighbours above and two below each entry, entry by entry.
template <typename TInside>
void GatherNeighbours(const RemapArgs& a, const uint32_t* __restrict index, int64_t count,
                      uint16_t* __restrict pairs, TInside isInside) {
    const uint8_t* __restrict above = a.m_src;
    const uint8_t* __restrict below = a.m_src + a.m_stride;
    for (int64_t i = 0; i < count; ++i) {
        const bool inside = isInside(index[i]);
        const uint32_t at = inside ? index[i] : 0;
        const uint32_t both = LoadPair(above + at) | static_cast<uint32_t>(LoadPair(below + at)) << 16;
        const uint32_t used = inside ? both : 0;
        std::memcpy(pairs + 2 * i, &used, sizeof used);
    }
}

// Black ones where the map leaves the source, which a sound map never does.
void GatherBlock(const RemapArgs& a, const uint32_t* __restrict index, int64_t count,
                 uint16_t* __restrict pairs) {
    const uint64_t insideEnd = a.m_pixels - a.m_stride - 1;
    uint32_t largest = 0;
    for (int64_t i = 0; i < count; ++i) {
        largest = index[i] > largest ? index[i] : largest;
    }
    if (largest < insideEnd) {
        GatherNeighbours(a, index, count, pairs, [](uint32_t) { return true; });
    } else {
        GatherNeighbours(a, index, count, pairs, [insideEnd](uint32_t at) { return at < insideEnd; });
    }
}

// A result is bits 6 to 13 of the sum, which 16 bits hold whatever the weights are.
void WeighNeighbours(const uint16_t* __restrict pairs, const uint8_t* __restrict weights, int64_t count,
                     uint8_t* __restrict out) {
    alignas(64) uint16_t halves[2 * kBlock];
    for (int64_t i = 0; i < 2 * count; ++i) {
        const uint16_t weight = LoadPair(weights + 2 * i);
        const uint32_t left = static_cast<uint32_t>(pairs[i] & 0xFF) * static_cast<uint32_t>(weight & 0xFF);
        const uint32_t right = static_cast<uint32_t>(pairs[i] >> 8) * static_cast<uint32_t>(weight >> 8);
        halves[i] = static_cast<uint16_t>(left + right);
    }
    for (int64_t i = 0; i < count; ++i) {
        out[i] = static_cast<uint8_t>(static_cast<uint16_t>(halves[2 * i] + halves[2 * i + 1]) >> 6);
    }
}

// A block's samples are read before its results are written, so no output may lie on an input.
void Remap(const RemapArgs& a) {
    if (a.m_stride < 2 || a.m_pixels < a.m_stride + 2 || Overlap(a.m_src, a.m_pixels, a.m_dst, a.m_pixels) ||
        Overlap(a.m_index, 4 * a.m_pixels, a.m_dst, a.m_pixels) ||
        Overlap(a.m_weights, 4 * a.m_pixels, a.m_dst, a.m_pixels)) {
        reference::Remap(a);
        return;
    }
    alignas(64) uint16_t pairs[2 * kBlock];
    const auto pixels = static_cast<int64_t>(a.m_pixels);
    for (int64_t i = 0; i < pixels; i += kBlock) {
        const int64_t count = pixels - i < kBlock ? pixels - i : kBlock;
        GatherBlock(a, a.m_index + i, count, pairs);
        WeighNeighbours(pairs, a.m_weights + 4 * i, count, a.m_dst + i);
    }
}

// The weights are symmetric, so samples of one weight are added first.
void SmoothRow(const uint8_t* src, int32_t count, uint16_t* out) {
    constexpr ptrdiff_t kLast = kGaussianTaps - 1;
    for (ptrdiff_t x = 0; x < count; ++x) {
        uint32_t sum = kGaussianWeights[kGaussianHalf] * src[x + kGaussianHalf] + 128U;
        for (ptrdiff_t tap = 0; tap < kGaussianHalf; ++tap) {
            sum += kGaussianWeights[tap] * static_cast<uint32_t>(src[x + tap] + src[x + kLast - tap]);
        }
        out[x] = static_cast<uint16_t>(sum >> 8);
    }
}

void SmoothColumns(const uint16_t* const (&rows)[kGaussianTaps], int32_t width, uint8_t* __restrict out) {
    const uint16_t* r[kGaussianTaps];
    std::memcpy(r, rows, sizeof r);
    for (ptrdiff_t x = 0; x < width; ++x) {
        uint32_t sum = kGaussianWeights[kGaussianHalf] * r[kGaussianHalf][x] + (1U << 23);
        for (ptrdiff_t tap = 0; tap < kGaussianHalf; ++tap) {
            sum += kGaussianWeights[tap] * static_cast<uint32_t>(r[tap][x] + r[kGaussianTaps - 1 - tap][x]);
        }
        out[x] = static_cast<uint8_t>(sum >> 24);
    }
}

void Weigh(const ConfidenceTent& tent, const uint8_t* grey, int64_t count, float* confidence) {
    const ConfidenceTent t = tent;
    for (int64_t i = 0; i < count; ++i) {
        const auto value = static_cast<float>(grey[i]);
        const float rising = value * t.m_rise;
        const float falling = (255.0F - value) * t.m_fall;
        confidence[i] = grey[i] <= t.m_peak ? rising : falling;
    }
}

// Half of a sum that has wrapped into 16 bits, toward zero.
int16_t HalfOfWrapped(int32_t sum) {
    const auto wrapped = static_cast<int32_t>(static_cast<int16_t>(sum));
    return static_cast<int16_t>((wrapped + (wrapped < 0 ? 1 : 0)) >> 1);
}

void FuseMeanOrConfident(const FuseSpan& span) {
    const FuseSpan s = span;
    for (int64_t i = 0; i < s.m_count; ++i) {
        const int16_t d = s.m_depth[i];
        const int16_t p = s.m_previousDepth[i];
        const float wc = s.m_confidence[i];
        const float wp = s.m_previousConfidence[i];
        const int16_t mean = HalfOfWrapped(d + p);
        const int16_t confident = wc > wp ? d : p;
        const bool both =
            static_cast<bool>(static_cast<int>(wc > s.m_threshold) & static_cast<int>(wp > s.m_threshold));
        s.m_fused[i] = both ? mean : confident;
    }
}

// A tenth of the sum, in doubles, is larger than the difference exactly where the sum is larger than ten times
// the difference: no sum of two samples comes near enough to a multiple of ten to be rounded across it.
void FuseMeanOrLarger(const FuseSpan& span) {
    const FuseSpan s = span;
    for (int64_t i = 0; i < s.m_count; ++i) {
        const int32_t d = s.m_depth[i];
        const int32_t p = s.m_previousDepth[i];
        const float wc = s.m_confidence[i];
        const float wp = s.m_previousConfidence[i];
        const int32_t sum = d + p;
        const int32_t larger = d > p ? d : p;
        const int32_t smaller = d > p ? p : d;
        const int32_t joined = sum > 10 * (larger - smaller) ? sum >> 1 : larger;
        const int32_t confident = wc > wp ? d : p;
        const float difference = wc - wp;
        const float distance = difference < 0.0F ? -difference : difference;
        const bool joins =
            static_cast<bool>((static_cast<int>(wc > s.m_threshold) & static_cast<int>(wp > s.m_threshold)) |
                              static_cast<int>(!(distance >= kEpsilon)));
        s.m_fused[i] = static_cast<int16_t>(joins ? joined : confident);
    }
}

void FuseLarger(const FuseSpan& span) {
    const FuseSpan s = span;
    for (int64_t i = 0; i < s.m_count; ++i) {
        s.m_fused[i] = s.m_depth[i] > s.m_previousDepth[i] ? s.m_depth[i] : s.m_previousDepth[i];
    }
}

void Fuse(const FuseSpan& span) {
    if (span.m_mode == kFuseLarger) {
        FuseLarger(span);
    } else if (span.m_mode == kFuseMeanOrConfident) {
        FuseMeanOrConfident(span);
    } else {
        FuseMeanOrLarger(span);
    }
}

// Counts in lanes of 16 bits, of which none overflows in one block.
int64_t CountZeros(const int16_t* samples, int64_t count) {
    constexpr int64_t kMaxCounted = 32768;
    int64_t zeros = 0;
    for (int64_t i = 0; i < count; i += kMaxCounted) {
        const int64_t end = count - i < kMaxCounted ? count : i + kMaxCounted;
        uint16_t found = 0;
        for (int64_t x = i; x < end; ++x) {
            found = static_cast<uint16_t>(found + (samples[x] == 0 ? 1 : 0));
        }
        zeros += found;
    }
    return zeros;
}

} // namespace

constinit const ImageKernels kImageKernels = {Remap, SmoothRow, SmoothColumns, Weigh, Fuse, CountZeros};

} // namespace ox3d::stereo::OX3D_TIER
