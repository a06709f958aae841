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

// A point in the target: its pixel's coordinates, and its depth.
struct Spot {
    float x;
    float y;
    float z;
};

// Where the ray through (u, v) is at depth d, in the target's pixels; no numbers where the lens, being distorted, does not
// see that. `along` are its row's parts of the ray.
template <bool kDistorted>
[[gnu::always_inline]] static inline Spot Project(const FillOptics& o, const float (&along)[3], float u,
                                                  float d) {
    const float z = (o.m_ray[6] * u + along[2]) * d + o.m_shift[2];
    const float inverse = 1.0F / z;
    float x = ((o.m_ray[0] * u + along[0]) * d + o.m_shift[0]) * inverse;
    float y = ((o.m_ray[3] * u + along[1]) * d + o.m_shift[1]) * inverse;
    if constexpr (kDistorted) {
        const float* k = o.m_target + 4;
        const float r2 = x * x + y * y;
        const float q = ((k[4] * r2 + k[1]) * r2 + k[0]) * r2 + 1.0F;
        const float xy = 2.0F * x * y;
        const float bentX = x * q + k[2] * xy + k[3] * (r2 + 2.0F * x * x);
        const float bentY = y * q + k[3] * xy + k[2] * (r2 + 2.0F * y * y);
        const bool isSeen = r2 <= o.m_maxRadius2;
        x = isSeen ? bentX : __builtin_nanf("");
        y = isSeen ? bentY : __builtin_nanf("");
    }
    return {x * o.m_target[0] + o.m_target[2], y * o.m_target[1] + o.m_target[3], z};
}

static inline void RowRays(const FillOptics& o, float v, float (&along)[3]) {
    for (int i = 0; i < 3; ++i) {
        along[i] = o.m_ray[3 * i + 1] * v + o.m_ray[3 * i + 2];
    }
}

[[gnu::always_inline]] static inline float Smaller(float a, float b) {
    return a < b ? a : b;
}
[[gnu::always_inline]] static inline float Larger(float a, float b) {
    return a > b ? a : b;
}

// Whether two neighbours belong to one surface; 0 is no depth.
[[gnu::always_inline]] static inline int32_t Linked(float a, float b, float step) {
    const float least = Smaller(a, b);
    return static_cast<int32_t>(least > 0.0F) & static_cast<int32_t>(Larger(a, b) - least <= step * least);
}

// The depth that a pixel has at one of its corners: the mean of those of the four pixels around the corner that
// are linked with it, by way of one another. So all linked pixels have one corner there. `side` is the pixel's
// neighbour in its row, `across` that in its column, `far` the one between these.
[[gnu::always_inline]] static inline float CornerDepth(float own, float side, float across, float far,
                                                       float step) {
    const int32_t toSide = Linked(own, side, step);
    const int32_t toAcross = Linked(own, across, step);
    const int32_t sideToFar = Linked(side, far, step);
    const int32_t acrossToFar = Linked(across, far, step);
    const int32_t hasSide = toSide | (toAcross & acrossToFar & sideToFar);
    const int32_t hasAcross = toAcross | (toSide & sideToFar & acrossToFar);
    const int32_t hasFar = (toSide & sideToFar) | (toAcross & acrossToFar);
    const float sum =
        own + (hasSide != 0 ? side : 0.0F) + (hasAcross != 0 ? across : 0.0F) + (hasFar != 0 ? far : 0.0F);
    return sum / static_cast<float>(1 + hasSide + hasAcross + hasFar);
}

// Pixels from m_left to m_right and m_top to m_bottom, the ends exclusive, where it is drawn at all. m_depth is the
// depth less one.
struct Patch {
    int32_t m_left;
    int32_t m_right;
    int32_t m_top;
    int32_t m_bottom;
    int32_t m_depth;
    int32_t m_isDrawn;
};

[[gnu::always_inline]] static inline int32_t Ceiling(float value) {
    const auto whole = static_cast<int32_t>(value);
    return whole + static_cast<int32_t>(static_cast<float>(whole) < value);
}

// From `low` to `high`, cut down to kMaxSpan, or what rounding makes of it, around the middle. Says whether it is a
// stretch at all: numbers that are none, or too large to have a middle, fail the test.
[[gnu::always_inline]] static inline int32_t CutStretch(float* low, float* high) {
    const float middle = (*low + *high) * 0.5F;
    constexpr float kHalf = 0.5F * kMaxSpan;
    *low = Larger(*low, middle - kHalf);
    *high = Smaller(*high, middle + kHalf);
    const float length = *high - *low;
    return static_cast<int32_t>(length >= 0.0F) &
           static_cast<int32_t>(length <= static_cast<float>(kMaxSpan + 1));
}

// No number becomes 0.
[[gnu::always_inline]] static inline float Within(float value, float end) {
    return Smaller(Larger(value, 0.0F), end);
}

// The end of a stretch of whole pixels, of which a rounded one may have one too many.
[[gnu::always_inline]] static inline int32_t EndOf(int32_t begin, int32_t end) {
    return end < begin + kMaxSpan ? end : begin + kMaxSpan;
}

// By how much a side reaches to the left and right of its middle.
[[gnu::always_inline]] static inline float HalfLean(float a, float b) {
    const float half = (Larger(a, b) - Smaller(a, b)) * 0.5F;
    return half > 0.5F * kMaxLean ? half : 0.0F;
}

struct Corner4 {
    Spot m_topLeft;
    Spot m_topRight;
    Spot m_bottomLeft;
    Spot m_bottomRight;
};

// The depth at (x, y) of the plane with the slope between the corners, through `z` in their middle; within what
// the corners and the middle have, so that corners on one line do no harm.
[[gnu::always_inline]] static inline float DepthAt(const Corner4& c, float z, float x, float y) {
    const Spot& tl = c.m_topLeft;
    const Spot& tr = c.m_topRight;
    const Spot& bl = c.m_bottomLeft;
    const Spot& br = c.m_bottomRight;
    const float downX = br.x - tl.x;
    const float downY = br.y - tl.y;
    const float downZ = br.z - tl.z;
    const float upX = tr.x - bl.x;
    const float upY = tr.y - bl.y;
    const float upZ = tr.z - bl.z;
    const float part = 1.0F / (downX * upY - downY * upX);
    const float asideX = x - ((tl.x + br.x) + (tr.x + bl.x)) * 0.25F;
    const float asideY = y - ((tl.y + br.y) + (tr.y + bl.y)) * 0.25F;
    const float plane =
        z + (asideX * (downZ * upY - upZ * downY) + asideY * (downX * upZ - upX * downZ)) * part;
    const float least = Smaller(Smaller(Smaller(tl.z, tr.z), Smaller(bl.z, br.z)), z);
    const float most = Larger(Larger(Larger(tl.z, tr.z), Larger(bl.z, br.z)), z);
    return Smaller(Larger(plane, least), most);
}

// Where a pixel with these corners and the depth z is drawn. A side counts at its middle, which both its pixels
// share, so that neighbours do not overlap; up and down the patch reaches as far as any corner, so that rows of
// which one is shifted against the other leave no gap. All of a patch has the depth of its surface in its middle.
[[gnu::always_inline]] static inline Patch PatchOf(const FillOptics& o, const Corner4& c, float z) {
    const float left = (c.m_topLeft.x + c.m_bottomLeft.x) * 0.5F;
    const float right = (c.m_topRight.x + c.m_bottomRight.x) * 0.5F;
    const float reachLeft = HalfLean(c.m_topLeft.x, c.m_bottomLeft.x);
    const float reachRight = HalfLean(c.m_topRight.x, c.m_bottomRight.x);
    float low = Smaller(left - reachLeft, right - reachRight);
    float high = Larger(left + reachLeft, right + reachRight);
    float top = Smaller(Smaller(c.m_topLeft.y, c.m_topRight.y), Smaller(c.m_bottomLeft.y, c.m_bottomRight.y));
    float bottom = Larger(Larger(c.m_topLeft.y, c.m_topRight.y), Larger(c.m_bottomLeft.y, c.m_bottomRight.y));
    const float sides = left + right; // no number where a corner is not seen
    const int32_t isStretch =
        CutStretch(&low, &high) & CutStretch(&top, &bottom) & static_cast<int32_t>(sides == sides);
    Patch patch;
    patch.m_left = Ceiling(Within(low, o.m_columns));
    patch.m_right = EndOf(patch.m_left, Ceiling(Within(high, o.m_columns)));
    patch.m_top = Ceiling(Within(top, o.m_rows));
    patch.m_bottom = EndOf(patch.m_top, Ceiling(Within(bottom, o.m_rows)));
    const float depth = DepthAt(c, z, static_cast<float>(patch.m_left + patch.m_right - 1) * 0.5F,
                                static_cast<float>(patch.m_top + patch.m_bottom - 1) * 0.5F);
    patch.m_depth = static_cast<int32_t>(Within(depth - 0.5F, kMaxDepth - 1.0F));
    patch.m_isDrawn = isStretch & static_cast<int32_t>(depth >= 0.5F) &
                      static_cast<int32_t>(depth < kMaxDepth + 0.5F) &
                      static_cast<int32_t>(patch.m_top < patch.m_bottom);
    return patch;
}

[[gnu::always_inline]] static inline float MovedDepth(const FillOptics& o, const float (&along)[3], float u,
                                                      float d) {
    return (o.m_ray[6] * u + along[2]) * d + o.m_shift[2];
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
    const Spot spot = Project<kDistorted>(o, along, u, d);
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
