// The bilinear scaler's loops over bytes that are chosen out of loads by table, and over its samples: for units
// that have byte shuffles. Such a unit names its tier in OX3D_TIER, defines Vector and the operations used here,
// and includes this file and then BilinearFast.h, once.
// Relies on a strip's tables. Everything here is local to that unit.
#pragma once

#include "algorithm/scaling/BilinearStrip.h"

namespace ox3d::scaling::OX3D_TIER {
namespace {

constexpr bool kHasUnits = true;
constexpr ptrdiff_t kColumns = ptrdiff_t{kVectorUnits} * kUnit; // of a vector
static_assert(kGroup % kColumns == 0);

// Source samples are asked for so many bytes before they are needed, about the two rows that come next.
constexpr ptrdiff_t kAhead = 4096;

// Bytes and weights that the columns from x on choose.
template <int32_t loads>
struct Choice {
    Choice(const Strip& strip, ptrdiff_t x) : m_weights(LoadTable(strip.m_weights + 2 * x)) {
        for (int32_t load = 0; load < loads; ++load) {
            m_bytes[load] = LoadTable(strip.m_bytes[load] + 2 * x);
        }
    }

    // start(unit) gives where the loads of one of the vector's units begin.
    template <typename TStart>
    void Weigh(const uint8_t* src, TStart start, int16_t* line) const {
        Vector pairs = Shuffle(LoadUnits(src, start), m_bytes[0]);
        for (int32_t load = 1; load < loads; ++load) {
            pairs = Or(pairs, Shuffle(LoadUnits(src + ptrdiff_t{load} * kLoad, start), m_bytes[load]));
        }
        Store(line, MultiplyPairs(pairs, m_weights));
    }

    Vector m_bytes[loads];
    Vector m_weights;
};

// The pointers by value, so that a compiler sees that no store changes them.
template <int32_t rows>
struct Rows {
    Rows(const SourceRows& sources, const LineRows& lines) {
        for (int32_t row = 0; row < rows; ++row) {
            m_src[row] = sources[row];
            m_line[row] = lines[row];
        }
    }

    const uint8_t* m_src[rows];
    int16_t* m_line[rows];
};

// Weighs one or two source rows, which then share the reading of the tables.
template <int32_t loads, int32_t rows>
void FilterAny(const Strip& strip, ptrdiff_t begin, ptrdiff_t end, const Rows<rows>& given) {
    const Rows<rows> r = given;
    const int32_t* starts = strip.m_start + begin / kUnit;
    for (ptrdiff_t x = begin; x < end; x += kColumns, starts += kVectorUnits) {
        const Choice<loads> choice(strip, x);
        for (int32_t row = 0; row < rows; ++row) {
            choice.Weigh(
                r.m_src[row], [starts](int32_t unit) { return ptrdiff_t{starts[unit]}; }, r.m_line[row] + x);
            __builtin_prefetch(r.m_src[row] + starts[0] + kAhead);
        }
    }
}

// The same where all units are alike.
template <int32_t loads, int32_t rows>
void FilterAlike(const Strip& strip, ptrdiff_t begin, ptrdiff_t end, const Rows<rows>& given) {
    const Rows<rows> r = given;
    const Choice<loads> choice(strip, begin);
    const ptrdiff_t advance = strip.m_advance;
    ptrdiff_t start = strip.m_start[begin / kUnit];
    for (ptrdiff_t x = begin; x < end; x += kGroup) {
        for (int32_t row = 0; row < rows; ++row) {
            __builtin_prefetch(r.m_src[row] + start + kAhead);
            for (ptrdiff_t done = 0; done < kGroup; done += kColumns) {
                const ptrdiff_t first = start + done / kUnit * advance;
                choice.Weigh(
                    r.m_src[row], [=](int32_t unit) { return first + unit * advance; },
                    r.m_line[row] + x + done);
            }
        }
        start += kGroup / kUnit * advance;
    }
}

template <int32_t loads, int32_t rows>
void FilterRows(const Strip& strip, const SourceRows& src, const LineRows& line) {
    const Rows<rows> all(src, line);
    if (strip.m_advance == 0) {
        FilterAny<loads>(strip, 0, strip.m_padded, all);
        return;
    }
    const ptrdiff_t last = strip.m_padded - kGroup;
    FilterAny<loads>(strip, 0, kGroup, all);
    FilterAlike<loads>(strip, kGroup, last, all);
    FilterAny<loads>(strip, last, strip.m_padded, all);
}

void FilterUnits(const Strip& strip, const SourceRows& src, const LineRows& line, int32_t rows) {
    using Filter = void (*)(const Strip&, const SourceRows&, const LineRows&);
    constexpr Filter kFilters[kMaxLoads][2] = {{FilterRows<1, 1>, FilterRows<1, 2>},
                                               {FilterRows<2, 1>, FilterRows<2, 2>},
                                               {FilterRows<3, 1>, FilterRows<3, 2>}};
    kFilters[strip.m_loads - 1][rows - 1](strip, src, line);
}

// See Blend(). Returns how many samples whole groups of two vectors are.
int32_t BlendGroups(const int16_t* nearer, const int16_t* farther, int16_t factor, int32_t count,
                    uint8_t* out) {
    const Vector factors = Broadcast(factor);
    const auto blend = [=](ptrdiff_t x) {
        const Vector n = LoadTable(nearer + x);
        const Vector moved = MultiplyHigh(Subtract(n, LoadTable(farther + x)), factors);
        return RoundWeightOff(Add(n, moved));
    };
    ptrdiff_t x = 0;
    for (; count - x >= 2 * kColumns; x += 2 * kColumns) {
        StoreBytes(out + x, blend(x), blend(x + kColumns));
    }
    return static_cast<int32_t>(x);
}

} // namespace
} // namespace ox3d::scaling::OX3D_TIER
