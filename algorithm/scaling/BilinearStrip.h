// A strip of a scaled image: the columns that a kernel computes together, with the source samples and weights
// of each column. A strip fits the stack and the first-level cache whatever the image's width.
// Relies on a source that is at least two samples wide. Functions are static, see Bilinear.h.
#pragma once

#include "algorithm/scaling/Bilinear.h"

#include <cstring>

namespace ox3d::scaling {

// Rows of common images are one strip: whole rows suit the prefetchers. No power of two, or all tables would
// compete for the same places in the cache.
constexpr int32_t kStrip = 1920;
// Neighbouring columns that choose their bytes out of the same loads, up to kMaxLoads one after the other.
constexpr int32_t kUnit = 8;
constexpr int32_t kLoad = 16;
constexpr int32_t kMaxLoads = 3;
// Strips are filled up to whole groups by more of the last column: the lanes of the widest vectors.
constexpr int32_t kGroup = 32;
static_assert(kStrip % kGroup == 0 && kGroup % kUnit == 0);

// Up to two rows that are weighed together.
using SourceRows = const uint8_t* [2];
using LineRows = int16_t* [2];

struct Strip {
    int32_t m_begin;
    int32_t m_count;
    int32_t m_padded;
    // Of two samples that exist the left one, and the weight of the right one, which can be all.
    alignas(64) int32_t m_first[kStrip];
    alignas(64) int16_t m_weight[kStrip];

    // Loads of a unit; 0 where there are no tables of units. A column's two bytes are those that the tables of
    // all loads give joined, and an index above 127 gives 0.
    int32_t m_loads;
    int32_t m_start[kStrip / kUnit]; // of a unit's first load
    alignas(64) uint8_t m_bytes[kMaxLoads][2 * kStrip];
    alignas(64) int8_t m_weights[2 * kStrip];
    // The distance of the starts where all units but those of the outer groups have the same tables, or 0.
    int32_t m_advance;
};

// TapOf() for whole rows. Doubles give the same: the numerator has less than 53 bits, and a quotient that is no
// whole number is further from the next one than a double's rounding reaches. Columns that fill up a group lie
// behind the image and get its last sample.
static inline void FillColumns(const ScaleArgs& a, Strip* strip) {
    const double from = a.m_srcWidth;
    const double to = a.m_dstWidth;
    const int32_t last = (a.m_srcWidth - 1) * kWeightOne;
    const int32_t lastLeft = a.m_srcWidth - 2;
    const int32_t begin = strip->m_begin;
    for (int32_t x = 0; x < strip->m_padded; ++x) {
        const double centre = (2.0 * (begin + x) + 1.0) * from - to;
        const double rounded = (centre * kWeightOne + to) / (2.0 * to);
        const auto unclamped = static_cast<int32_t>(centre > 0.0 ? rounded : 0.0);
        const int32_t position = unclamped < last ? unclamped : last;
        const int32_t left = position / kWeightOne < lastLeft ? position / kWeightOne : lastLeft;
        strip->m_first[x] = left;
        strip->m_weight[x] = static_cast<int16_t>(position - left * kWeightOne);
    }
}

// Loads that the widest unit spans; 0 where they are more than kMaxLoads or longer than the source row.
static inline int32_t CountLoads(const ScaleArgs& a, const Strip& strip) {
    int32_t widest = 0;
    for (int32_t x = 0; x < strip.m_padded; x += kUnit) {
        const int32_t span = strip.m_first[x + kUnit - 1] + 2 - strip.m_first[x];
        widest = span > widest ? span : widest;
    }
    const int32_t loads = (widest + kLoad - 1) / kLoad;
    return loads <= kMaxLoads && loads * kLoad <= a.m_srcWidth ? loads : 0;
}

// Bytes and weights of a unit's columns. A weight of 128 does not fit a signed byte: such a column takes its
// sample twice, with half the weight each.
static inline void FillUnit(const Strip& strip, int32_t x, int32_t start, uint8_t* bytes, int8_t* weights) {
    for (ptrdiff_t i = 0; i < kUnit; ++i) {
        const int32_t weight = strip.m_weight[x + i];
        const bool isOne = weight % kWeightOne == 0;
        const int32_t left = strip.m_first[x + i] - start + weight / kWeightOne;
        bytes[2 * i] = static_cast<uint8_t>(left);
        bytes[2 * i + 1] = static_cast<uint8_t>(isOne ? left : left + 1);
        weights[2 * i] = static_cast<int8_t>(isOne ? kWeightOne / 2 : kWeightOne - weight);
        weights[2 * i + 1] = static_cast<int8_t>(isOne ? kWeightOne / 2 : weight);
    }
}

static inline void FillUnits(const ScaleArgs& a, Strip* strip) {
    const int32_t lastStart = a.m_srcWidth - strip->m_loads * kLoad;
    for (int32_t x = 0; x < strip->m_padded; x += kUnit) {
        const int32_t start = strip->m_first[x] < lastStart ? strip->m_first[x] : lastStart;
        uint8_t bytes[2 * kUnit];
        FillUnit(*strip, x, start, bytes, strip->m_weights + ptrdiff_t{2} * x);
        strip->m_start[x / kUnit] = start;
        for (int32_t load = 0; load < strip->m_loads; ++load) {
            uint8_t* out = strip->m_bytes[load] + ptrdiff_t{2} * x;
            for (int32_t i = 0; i < 2 * kUnit; ++i) {
                const auto byte = static_cast<uint8_t>(bytes[i] - kLoad * load);
                out[i] = byte < kLoad ? byte : uint8_t{0x80};
            }
        }
    }
}

static inline bool HaveSameTables(const Strip& strip, int32_t unit, int32_t other) {
    constexpr ptrdiff_t kBytes = ptrdiff_t{2} * kUnit;
    bool isSame = std::memcmp(strip.m_weights + unit * kBytes, strip.m_weights + other * kBytes, kBytes) == 0;
    for (int32_t load = 0; load < strip.m_loads; ++load) {
        const uint8_t* bytes = strip.m_bytes[load];
        isSame = isSame && std::memcmp(bytes + unit * kBytes, bytes + other * kBytes, kBytes) == 0;
    }
    return isSame;
}

// Units are alike at ratios like 3:2 and 2:1, but for the image's borders.
static inline int32_t CommonAdvance(const Strip& strip) {
    const int32_t first = kGroup / kUnit;
    const int32_t last = (strip.m_padded - kGroup) / kUnit;
    const int32_t advance = last - first >= 2 ? strip.m_start[first + 1] - strip.m_start[first] : 0;
    for (int32_t unit = first + 1; unit < last; ++unit) {
        if (strip.m_start[unit] != strip.m_start[unit - 1] + advance || !HaveSameTables(strip, first, unit)) {
            return 0;
        }
    }
    return advance;
}

static inline void FillStrip(const ScaleArgs& a, int32_t begin, bool withUnits, Strip* strip) {
    strip->m_begin = begin;
    strip->m_count = a.m_dstWidth - begin < kStrip ? a.m_dstWidth - begin : kStrip;
    strip->m_padded = (strip->m_count + kGroup - 1) / kGroup * kGroup;
    strip->m_advance = 0;
    FillColumns(a, strip);
    strip->m_loads = withUnits ? CountLoads(a, *strip) : 0;
    if (strip->m_loads > 0) {
        FillUnits(a, strip);
        strip->m_advance = CommonAdvance(*strip);
    }
}

} // namespace ox3d::scaling
