// FillPatches.h - the patches of a row's pixels, by whole groups of lanes. Part of FillFast.h, and like it local to the
// unit of a tier. A corner that all its four pixels share is projected once and serves the rows above and below it;
// pixels beside a step or a hole have corners of their own, and are listed.
// Corners and patches are worked out in loops of their own: a processor has several groups of either in work at a time,
// but not of both after each other.
// Relies on the formulas of FillKernel.h.
#pragma once

#include "algorithm/alignment/FillTiers.h"

namespace ox3d::alignment::OX3D_TIER {
namespace {

constexpr int32_t kBand = 2048; // columns that are drawn in one go from top to bottom: all of a usual row's
// Room for groups that reach beyond the last column. So much that arrays that are walked together do not lie about a multiple
// of 4 KB apart, where a processor takes loads for ones of what it has only just stored.
constexpr int32_t kSpare = 96;
// How early a row is asked for, piece by piece while others are worked on.
constexpr int32_t kRowsAhead = 8;

// A row's samples in a band, with the neighbours on both sides; 0 is none.
struct Samples {
    [[nodiscard]] const uint16_t* From(int32_t column) const { return m_samples + kSpare + column; }
    alignas(64) uint16_t m_samples[kBand + 3 * kSpare];
};

// A bit for each pixel or corner.
struct Marks {
    uint64_t m_words[kBand / 64 + 2];
};

// What lies between two rows.
struct Corners {
    alignas(64) float m_x[kBand + kSpare]; // the corner to the left of a pixel
    alignas(64) float m_y[kBand + kSpare];
    alignas(64) float m_z[kBand + kSpare];
    Marks m_areShared; // pixels of which both corners on this side are
    Marks m_areNear;   // pixels below that are no step from the one to their left
};

// What a row's pixels have for themselves.
struct Sides {
    alignas(64) float m_low[kBand + kSpare]; // of the side to the left
    alignas(64) float m_high[kBand + kSpare];
    Marks m_areDepths;
    Marks m_areDown; // no step from the one below
};

struct Patches {
    alignas(64) uint32_t m_columns[kBand + kSpare]; // the first, and above it their number
    alignas(
        64) uint32_t m_rows[kBand + kSpare]; // the first, and above it the one behind the last; 0: not drawn
    alignas(64) uint32_t m_depth[kBand + kSpare]; // less one
    Marks m_areWhole;                             // all corners are shared
    Marks m_areApart;                             // not so
};

// One row of a band.
struct BandRow {
    const FillOptics* m_optics;
    const Samples* m_own;
    const Samples* m_below;
    const Corners* m_cornersAbove;
    Corners* m_cornersBelow;
    const uint16_t* m_ahead; // of the source, some rows further on
    float m_row;
    int32_t m_first; // column
    int32_t m_count;
};

// The lanes with at least three of four.
[[gnu::always_inline]] inline uint64_t ThreeOf(uint64_t a, uint64_t b, uint64_t c, uint64_t d) {
    return (a & b & (c | d)) | (c & d & (a | b));
}

// Works out the corners below a row's pixels and behind them, and the sides that lead down to these.
template <bool kDistorted>
void ProjectBelow(const BandRow& row, Sides* __restrict sides) {
    const FillOptics o = *row.m_optics;
    const float* const aboveX = row.m_cornersAbove->m_x;
    Corners* __restrict const below = row.m_cornersBelow;
    const uint16_t* const own = row.m_own->From(0);
    const uint16_t* const next = row.m_below->From(0);
    float along[3];
    RowRays(o, row.m_row + 0.5F, along);
    Floats u = LaneNumbers() + (static_cast<float>(row.m_first) - 0.5F);
    sides->m_areDepths.m_words[row.m_count / 64] = 0;
    for (int32_t i = 0; i <= row.m_count; i += kLanes) {
        const Floats a = Load(own + i - 1);
        const Floats b = Load(own + i);
        const Floats c = Load(next + i - 1);
        const Floats d = Load(next + i);
        const Spot<Floats> spot = Project<kDistorted>(o, along, u, (a + b + c + d) * 0.25F);
        const Side<Floats> side = SideOf(Load(aboveX + i), spot.x);
        __builtin_prefetch(row.m_ahead + i);
        Store(spot.x, below->m_x + i);
        Store(spot.y, below->m_y + i);
        Store(spot.z, below->m_z + i);
        Store(side.m_low, sides->m_low + i);
        Store(side.m_high, sides->m_high + i);
        Mark(b > 0.0F, i, sides->m_areDepths.m_words);
        Mark(AreNear(b, d, o.m_step), i, sides->m_areDown.m_words);
        Mark(AreNear(c, d, o.m_step), i, below->m_areNear.m_words);
        u = u + static_cast<float>(kLanes);
    }
}

// Sorts a row's pixels into those whose corners are all shared and those with corners of their own. Pixels without depth
// are near each other, too; but of four pixels, of which three pairs are near, all have a depth or none has.
void SortPixels(const BandRow& row, const Sides& sides, Patches* patches) {
    const uint64_t* const nearAbove = row.m_cornersAbove->m_areNear.m_words;
    const uint64_t* const nearBelow = row.m_cornersBelow->m_areNear.m_words;
    const uint64_t* const down = sides.m_areDown.m_words;
    uint64_t downLeft =
        AreNear<float>(*row.m_own->From(-1), *row.m_below->From(-1), row.m_optics->m_step) ? 1 : 0;
    const auto sharedAt = [&](int32_t word) {
        return ThreeOf(nearAbove[word], nearBelow[word], down[word] << 1U | downLeft, down[word]);
    };
    uint64_t shared = sharedAt(0);
    for (int32_t word = 0; word * 64 < row.m_count; ++word) {
        downLeft = down[word] >> 63U;
        const uint64_t next = sharedAt(word + 1);
        const uint64_t pairs = shared & (shared >> 1U | next << 63U);
        const uint64_t whole = pairs & row.m_cornersAbove->m_areShared.m_words[word];
        row.m_cornersBelow->m_areShared.m_words[word] = pairs;
        patches->m_areWhole.m_words[word] = sides.m_areDepths.m_words[word] & whole;
        patches->m_areApart.m_words[word] = sides.m_areDepths.m_words[word] & ~whole;
        shared = next;
    }
}

// ReachOf for a group between two sides. Patches up to half of kMaxSpan are none to be cut, and those that are larger by
// so much that rounding of their middle could matter lie outside of every target.
[[gnu::always_inline]] inline Reach<Floats, Truth>
ShortReachOf(const Corner4<Floats>& c, const Side<Floats>& left, const Side<Floats>& right) {
    const Floats low = Smaller(left.m_low, right.m_low);
    const Floats high = Larger(left.m_high, right.m_high);
    const Floats top =
        Smaller(Smaller(c.m_topLeft.y, c.m_topRight.y), Smaller(c.m_bottomLeft.y, c.m_bottomRight.y));
    const Floats bottom =
        Larger(Larger(c.m_topLeft.y, c.m_topRight.y), Larger(c.m_bottomLeft.y, c.m_bottomRight.y));
    constexpr float kShort = 0.5F * kMaxSpan;
    return {low, high, top, bottom, (high - low <= kShort) & (bottom - top <= kShort)};
}

[[gnu::always_inline]] inline Corner4<Floats> CornersAt(const Corners& above, const Corners& below,
                                                        int32_t i) {
    const auto spotAt = [](const Corners& c, int32_t k) -> Spot<Floats> {
        return {Load(c.m_x + k), Load(c.m_y + k), Load(c.m_z + k)};
    };
    return {spotAt(above, i), spotAt(above, i + 1), spotAt(below, i), spotAt(below, i + 1)};
}

// The first of some columns or rows, and in the upper 16 bits their number. As a float it has all its bits.
[[gnu::always_inline]] inline Floats Stretch(Floats first, Floats end) {
    return first + (end - first) * 65536.0F;
}

[[gnu::always_inline]] inline int32_t FirstOf(uint32_t stretch) {
    return static_cast<int32_t>(stretch & 0xFFFFU);
}

[[gnu::always_inline]] inline int32_t EndOf(uint32_t stretch) {
    return static_cast<int32_t>((stretch & 0xFFFFU) + (stretch >> 16U));
}

// The pixels with shared corners; others are none that is drawn.
void PatchWhole(const BandRow& row, const Sides& sides, Patches* __restrict patches) {
    const FillOptics o = *row.m_optics;
    float along[3];
    RowRays(o, row.m_row, along);
    Floats u = LaneNumbers() + static_cast<float>(row.m_first);
    for (int32_t i = 0; i < row.m_count; i += kLanes) {
        const Corner4<Floats> c = CornersAt(*row.m_cornersAbove, *row.m_cornersBelow, i);
        const Reach<Floats, Truth> reach =
            ShortReachOf(c, {Load(sides.m_low + i), Load(sides.m_high + i)},
                         {Load(sides.m_low + i + 1), Load(sides.m_high + i + 1)});
        const Truth isWhole = Marked(i, patches->m_areWhole.m_words);
        const Floats z = MovedDepth(o, along, u, Load(row.m_own->From(i)));
        Patch<Floats, Truth> patch = PatchOf<true>(o, c, reach, z);
        if (__builtin_expect((isWhole.Bits() & ~reach.m_isStretch.Bits()) != 0, 0)) {
            patch = PatchOf<false>(o, c, ReachOf(c), z);
        }
        StoreWhole(Stretch(patch.m_left, patch.m_right), patches->m_columns + i);
        StoreWholeWhere(patch.m_isDrawn & isWhole, Stretch(patch.m_top, patch.m_bottom), patches->m_rows + i);
        StoreWhole(patch.m_depth, patches->m_depth + i);
        u = u + static_cast<float>(kLanes);
    }
    patches->m_rows[row.m_count] = 0;
}

// Which pixels below are near each other, of the row before a band's first.
void StartCorners(const BandRow& row, Corners* above) {
    for (int32_t i = 0; i <= row.m_count; i += kLanes) {
        Mark(AreNear(Load(row.m_own->From(i - 1)), Load(row.m_own->From(i)), row.m_optics->m_step), i,
             above->m_areNear.m_words);
    }
}

} // namespace
} // namespace ox3d::alignment::OX3D_TIER
