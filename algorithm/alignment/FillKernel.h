// FillKernel.h - the filled registration's definition: the formulas, in the order that defines the result to the
// bit, and the scalar reference built of them. The fast kernels use the same formulas in other loops.
// Relies on being compiled without contraction of multiply and add. Functions are static: of a shared one the
// linker takes a single copy for all units, and a copy from a unit that is compiled for newer processors would
// stop the older ones.
#pragma once

#include "algorithm/alignment/Fill.h"

namespace ox3d::alignment {

// No pixel covers more columns or rows than this; what would is cut down around its middle. So the work is
// bounded whatever the cameras are.
constexpr int32_t kMaxSpan = 8;
// A side that leans by more pixels than this is taken from its leftmost to its rightmost point instead of at its
// middle.
constexpr float kMaxLean = 0.5F;
// In 128ths, less a half of one for rounding.
constexpr float kHalfPixel = 63.5F;
constexpr float kMaxDepth = 32767.0F; // of what is drawn

// The numbers of a call, as the loops use them.
struct FillOptics {
    float m_ray[9]; // takes (u, v, 1) of the source into the target camera's frame, for a depth of 1
    float m_shift[3];
    float m_target[9];
    float m_maxRadius2; // beyond, the distortion is none
    float m_step;
    float m_columns;
    float m_rows;
};

// What the formulas ask of numbers, here of a single one. Tiers have it for vectors of them, each number of which fares
// like a single one.
[[gnu::always_inline]] static inline float Select(bool isFirst, float first, float second) {
    return isFirst ? first : second;
}
[[gnu::always_inline]] static inline float Smaller(float a, float b) {
    return a < b ? a : b;
}
[[gnu::always_inline]] static inline float Larger(float a, float b) {
    return a > b ? a : b;
}
[[gnu::always_inline]] static inline bool IsNumber(float value) {
    return value == value;
}
[[gnu::always_inline]] static inline float Magnitude(float value) {
    return __builtin_fabsf(value);
}
// The least whole number that is not less; of numbers that are integers of 32 bits once they are cut off.
[[gnu::always_inline]] static inline float Ceiling(float value) {
    const auto whole = static_cast<float>(static_cast<int32_t>(value));
    return whole + (whole < value ? 1.0F : 0.0F);
}

// A point in the target: its pixel's coordinates, and its depth.
template <typename TNumber>
struct Spot {
    TNumber x;
    TNumber y;
    TNumber z;
};

template <typename TNumber>
[[gnu::always_inline]] static inline TNumber MovedDepth(const FillOptics& o, const float (&along)[3],
                                                        TNumber u, TNumber d) {
    return (o.m_ray[6] * u + along[2]) * d + o.m_shift[2];
}

// Where the ray through (u, v) is at depth d, in the target's pixels; no numbers where the lens, being distorted, does not
// see that. `along` are its row's parts of the ray.
template <bool kDistorted, typename TNumber>
[[gnu::always_inline]] static inline Spot<TNumber> Project(const FillOptics& o, const float (&along)[3],
                                                           TNumber u, TNumber d) {
    const TNumber z = MovedDepth(o, along, u, d);
    const TNumber inverse = 1.0F / z;
    TNumber x = ((o.m_ray[0] * u + along[0]) * d + o.m_shift[0]) * inverse;
    TNumber y = ((o.m_ray[3] * u + along[1]) * d + o.m_shift[1]) * inverse;
    if constexpr (kDistorted) {
        const float* k = o.m_target + 4;
        const TNumber r2 = x * x + y * y;
        const TNumber q = ((k[4] * r2 + k[1]) * r2 + k[0]) * r2 + 1.0F;
        const TNumber xy = 2.0F * x * y;
        const TNumber bentX = x * q + k[2] * xy + k[3] * (r2 + 2.0F * x * x);
        const TNumber bentY = y * q + k[3] * xy + k[2] * (r2 + 2.0F * y * y);
        const auto isSeen = r2 <= o.m_maxRadius2;
        x = Select(isSeen, bentX, TNumber(__builtin_nanf("")));
        y = Select(isSeen, bentY, TNumber(__builtin_nanf("")));
    }
    return {x * o.m_target[0] + o.m_target[2], y * o.m_target[1] + o.m_target[3], z};
}

static inline void RowRays(const FillOptics& o, float v, float (&along)[3]) {
    for (int i = 0; i < 3; ++i) {
        along[i] = o.m_ray[3 * i + 1] * v + o.m_ray[3 * i + 2];
    }
}

// Whether two neighbours are no step apart; 0 is no depth, and near to itself alone.
template <typename TNumber>
[[gnu::always_inline]] static inline auto AreNear(TNumber a, TNumber b, float step) {
    const TNumber least = Smaller(a, b);
    return Larger(a, b) - least <= step * least;
}

// Whether two neighbours belong to one surface.
template <typename TNumber>
[[gnu::always_inline]] static inline auto Linked(TNumber a, TNumber b, float step) {
    const auto areDepths = Smaller(a, b) > 0.0F;
    const auto areNear = AreNear(a, b, step);
    return areDepths & areNear;
}

// The depth that a pixel has at one of its corners: the mean of those of the four pixels around the corner that
// are linked with it, by way of one another. So all linked pixels have one corner there. `side` is the pixel's
// neighbour in its row, `across` that in its column, `far` the one between these.
template <typename TNumber>
[[gnu::always_inline]] static inline TNumber CornerDepth(TNumber own, TNumber side, TNumber across,
                                                         TNumber far, float step) {
    const auto toSide = Linked(own, side, step);
    const auto toAcross = Linked(own, across, step);
    const auto sideToFar = Linked(side, far, step);
    const auto acrossToFar = Linked(across, far, step);
    const auto hasSide = toSide | (toAcross & acrossToFar & sideToFar);
    const auto hasAcross = toAcross | (toSide & sideToFar & acrossToFar);
    const auto hasFar = (toSide & sideToFar) | (toAcross & acrossToFar);
    const TNumber none(0.0F);
    const TNumber one(1.0F);
    const TNumber sum =
        own + Select(hasSide, side, none) + Select(hasAcross, across, none) + Select(hasFar, far, none);
    return sum /
           (one + Select(hasSide, one, none) + Select(hasAcross, one, none) + Select(hasFar, one, none));
}

// Pixels from m_left to m_right and m_top to m_bottom, the ends exclusive, where it is drawn at all. m_depth is the
// depth less one, still to be cut off; where nothing is drawn it may be anything.
template <typename TNumber, typename TTruth>
struct Patch {
    TNumber m_left;
    TNumber m_right;
    TNumber m_top;
    TNumber m_bottom;
    TNumber m_depth;
    TTruth m_isDrawn;
};

// What a patch reaches over before it is cut into pixels.
template <typename TNumber, typename TTruth>
struct Reach {
    TNumber m_left;
    TNumber m_right;
    TNumber m_top;
    TNumber m_bottom;
    TTruth m_isStretch; // it has a width and a height
};

// From `low` to `high`, cut down to kMaxSpan, or what rounding makes of it, around the middle. Says whether it is a
// stretch at all: numbers that are none, or too large to have a middle, fail the test.
template <typename TNumber>
[[gnu::always_inline]] static inline auto CutStretch(TNumber* low, TNumber* high) {
    const TNumber middle = (*low + *high) * 0.5F;
    constexpr float kHalf = 0.5F * kMaxSpan;
    *low = Larger(*low, middle - kHalf);
    *high = Smaller(*high, middle + kHalf);
    const TNumber length = *high - *low;
    return (length >= 0.0F) & (length <= static_cast<float>(kMaxSpan + 1));
}

// No number becomes 0.
template <typename TNumber>
[[gnu::always_inline]] static inline TNumber Within(TNumber value, float end) {
    return Smaller(Larger(value, TNumber(0.0F)), TNumber(end));
}

template <typename TNumber>
struct Corner4 {
    Spot<TNumber> m_topLeft;
    Spot<TNumber> m_topRight;
    Spot<TNumber> m_bottomLeft;
    Spot<TNumber> m_bottomRight;
};

// From where to where a side between two corners reaches: its middle alone, where it does not lean.
template <typename TNumber>
struct Side {
    TNumber m_low;
    TNumber m_high;
};
template <typename TNumber>
[[gnu::always_inline]] static inline Side<TNumber> SideOf(TNumber a, TNumber b) {
    const TNumber middle = (a + b) * 0.5F;
    const TNumber half = Magnitude(a - b) * 0.5F;
    const TNumber reach = Select(half > 0.5F * kMaxLean, half, TNumber(0.0F));
    return {middle - reach, middle + reach};
}

// A side counts at its middle, which both its pixels share, so that neighbours do not overlap; up and down a patch
// reaches as far as any corner, so that rows of which one is shifted against the other leave no gap.
template <typename TNumber>
[[gnu::always_inline]] static inline auto ReachOf(const Corner4<TNumber>& c) {
    const Side<TNumber> left = SideOf(c.m_topLeft.x, c.m_bottomLeft.x);
    const Side<TNumber> right = SideOf(c.m_topRight.x, c.m_bottomRight.x);
    TNumber low = Smaller(left.m_low, right.m_low);
    TNumber high = Larger(left.m_high, right.m_high);
    TNumber top =
        Smaller(Smaller(c.m_topLeft.y, c.m_topRight.y), Smaller(c.m_bottomLeft.y, c.m_bottomRight.y));
    TNumber bottom =
        Larger(Larger(c.m_topLeft.y, c.m_topRight.y), Larger(c.m_bottomLeft.y, c.m_bottomRight.y));
    const TNumber sides = left.m_low + right.m_low; // no number where a corner is not seen
    auto isStretch = CutStretch(&low, &high) & CutStretch(&top, &bottom) & IsNumber(sides);
    return Reach<TNumber, decltype(isStretch)>{low, high, top, bottom, isStretch};
}

// The depth at (x, y) of the plane with the slope between the corners, through `z` in their middle; within what
// the corners and the middle have, so that corners on one line do no harm.
template <typename TNumber>
[[gnu::always_inline]] static inline TNumber DepthAt(const Corner4<TNumber>& c, TNumber z, TNumber x,
                                                     TNumber y) {
    const Spot<TNumber>& tl = c.m_topLeft;
    const Spot<TNumber>& tr = c.m_topRight;
    const Spot<TNumber>& bl = c.m_bottomLeft;
    const Spot<TNumber>& br = c.m_bottomRight;
    const TNumber downX = br.x - tl.x;
    const TNumber downY = br.y - tl.y;
    const TNumber downZ = br.z - tl.z;
    const TNumber upX = tr.x - bl.x;
    const TNumber upY = tr.y - bl.y;
    const TNumber upZ = tr.z - bl.z;
    const TNumber part = 1.0F / (downX * upY - downY * upX);
    const TNumber asideX = x - ((tl.x + br.x) + (tr.x + bl.x)) * 0.25F;
    const TNumber asideY = y - ((tl.y + br.y) + (tr.y + bl.y)) * 0.25F;
    const TNumber plane =
        z + (asideX * (downZ * upY - upZ * downY) + asideY * (downX * upZ - upX * downZ)) * part;
    const TNumber least = Smaller(Smaller(Smaller(tl.z, tr.z), Smaller(bl.z, br.z)), z);
    const TNumber most = Larger(Larger(Larger(tl.z, tr.z), Larger(bl.z, br.z)), z);
    return Smaller(Larger(plane, least), most);
}

// Where a pixel with these corners and the depth z is drawn. All of a patch has the depth of its surface in its middle.
// A stretch of kMaxSpan may have one whole pixel too many by rounding; those that are short have not.
template <bool kIsShort, typename TNumber, typename TTruth>
[[gnu::always_inline]] static inline Patch<TNumber, TTruth>
PatchOf(const FillOptics& o, const Corner4<TNumber>& c, const Reach<TNumber, TTruth>& reach, TNumber z) {
    constexpr float kSpan = kMaxSpan;
    const TNumber left = Ceiling(Within(reach.m_left, o.m_columns));
    TNumber right = Ceiling(Within(reach.m_right, o.m_columns));
    const TNumber top = Ceiling(Within(reach.m_top, o.m_rows));
    TNumber bottom = Ceiling(Within(reach.m_bottom, o.m_rows));
    if constexpr (!kIsShort) {
        right = Smaller(right, left + kSpan);
        bottom = Smaller(bottom, top + kSpan);
    }
    const TNumber depth = DepthAt(c, z, (left + right - 1.0F) * 0.5F, (top + bottom - 1.0F) * 0.5F);
    const TTruth isDrawn = reach.m_isStretch & (depth >= 0.5F) & (depth < kMaxDepth + 0.5F) & (top < bottom);
    return {left, right, top, bottom, depth - 0.5F, isDrawn};
}

// How the pixels of the color camera's image lie in the target's, which is the same picture of another size: centre
// by centre, as the scaler lays them.
struct ColorGrid {
    float m_columnScale; // 128ths of a pixel of the image a pixel of the target
    float m_rowScale;
    float m_lastColumn; // 128ths
    float m_lastRow;
};

struct Place {
    int32_t m_index;
    float m_depth;
    int32_t m_column;
    int32_t m_row;
};

template <bool kDistorted>
[[gnu::always_inline]] static inline Place PlaceOf(const FillOptics& o, const float (&along)[3],
                                                   const ColorGrid& g, int32_t width, float u, float d) {
    const Spot<float> spot = Project<kDistorted>(o, along, u, d);
    const float x = spot.x + 0.5F;
    const float y = spot.y + 0.5F;
    const int32_t isInside = static_cast<int32_t>(x >= 0.0F) & static_cast<int32_t>(x < o.m_columns) &
                             static_cast<int32_t>(y >= 0.0F) & static_cast<int32_t>(y < o.m_rows) &
                             static_cast<int32_t>(spot.z >= 0.5F);
    const auto column = static_cast<int32_t>(isInside != 0 ? x : 0.0F);
    const auto row = static_cast<int32_t>(isInside != 0 ? y : 0.0F);
    Place place;
    place.m_index = isInside != 0 ? row * width + column : -1;
    place.m_depth = spot.z;
    place.m_column = static_cast<int32_t>(Within(x * g.m_columnScale - kHalfPixel, g.m_lastColumn));
    place.m_row = static_cast<int32_t>(Within(y * g.m_rowScale - kHalfPixel, g.m_lastRow));
    return place;
}

} // namespace ox3d::alignment
