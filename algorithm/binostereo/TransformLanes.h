// The projection of whole groups of samples in the lanes of vectors, for tiers that have these. A unit defines what
// its vectors can do (Floats, Ints, Lanes, kGroup and the functions on them) and then includes this file.
// Relies on the operators of vector types, each of which rounds like the operation on one number: the formulas, and
// the order of their operations, are those of TransformKernel.h.
#pragma once

#include "algorithm/binostereo/TransformLists.h"

namespace ox3d::stereo::OX3D_TIER {
namespace {

template <int kCount>
[[gnu::always_inline]] inline void SpreadAll(const float (&numbers)[kCount], Floats* lanes) {
    for (int i = 0; i < kCount; ++i) {
        lanes[i] = Spread(numbers[i]);
    }
}

// The numbers of a call, each in all lanes.
struct LaneOptics {
    explicit LaneOptics(const Optics& o)
        : m_fx(Spread(o.m_source[0] + kEpsilon)), m_fy(Spread(o.m_source[1] + kEpsilon)),
          m_cx(Spread(o.m_source[2])), m_epsilon(Spread(kEpsilon)), m_lastColumn(Spread(o.m_targetWidth - 1)),
          m_lastRow(Spread(o.m_targetHeight - 1)), m_targetWidth(Spread(o.m_targetWidth)) {
        SpreadAll(o.m_transform, m_transform);
        SpreadAll(o.m_target, m_target);
        SpreadAll(o.m_distortion, m_distortion);
    }

    Floats m_fx;
    Floats m_fy;
    Floats m_cx;
    Floats m_epsilon;
    Ints m_lastColumn;
    Ints m_lastRow;
    Ints m_targetWidth;
    Floats m_transform[12];
    Floats m_target[4];
    Floats m_distortion[4];
};

struct Lanes2 {
    Floats x;
    Floats y;
};

struct Lanes3 {
    Floats x;
    Floats y;
    Floats z;
};

[[gnu::always_inline]] inline Lanes2 DistortLanes(const Floats* k, const Lanes2& n) {
    const Floats one = Spread(1.0F);
    const Floats two = Spread(2.0F);
    const Floats r2 = n.x * n.x + n.y * n.y;
    const Floats r4 = r2 * r2;
    const Floats q = one + k[0] * r2 + k[1] * r4;
    return {n.x * q + two * k[2] * n.x * n.y + k[3] * (r2 + two * n.x * n.x),
            n.y * q + two * k[3] * n.x * n.y + k[2] * (r2 + two * n.y * n.y)};
}

// What MoveSample does, to the samples of columns `u` in the row that is `height` from the centre.
template <bool kDistorted>
[[gnu::always_inline]] inline Lanes3 MoveLanes(const LaneOptics& o, Floats u, Floats height, Floats d,
                                               Lanes2* position) {
    const Floats* t = o.m_transform;
    const Lanes3 p = {(u - o.m_cx) * d / o.m_fx, height * d / o.m_fy, d};
    const Lanes3 moved = {t[0] * p.x + t[1] * p.y + t[2] * p.z + t[3],
                          t[4] * p.x + t[5] * p.y + t[6] * p.z + t[7],
                          t[8] * p.x + t[9] * p.y + t[10] * p.z + t[11]};
    const Floats divisor = moved.z + o.m_epsilon;
    *position = {moved.x / divisor, moved.y / divisor};
    if constexpr (kDistorted) {
        *position = DistortLanes(o.m_distortion, *position);
        return {position->x * moved.z, position->y * moved.z, moved.z};
    }
    return moved;
}

// Projects the whole groups of a part. Returns how many samples these are; `isOrdinary` becomes false if a depth that
// lands is not in [1, 32768). Conversion gives what is not a 32-bit number INT32_MIN, which is beyond each bound
// once it counts as unsigned, as every negative number is.
template <bool kDistorted, typename THits>
int32_t ProjectGroups(const Optics& optics, int32_t u0, int32_t v, const int16_t* __restrict depth,
                      int32_t count, THits* __restrict hits, bool* isOrdinary) {
    const LaneOptics o(optics);
    const Floats height = Spread(static_cast<float>(v) - optics.m_source[3]);
    Ints farthest = Spread(0);
    int32_t place = hits->m_count;
    int32_t i = 0;
    for (; count - i >= kGroup; i += kGroup) {
        Floats d;
        Lanes lands = LoadDepth(depth + i, &d);
        if (IsNone(lands)) {
            continue;
        }
        Lanes2 position;
        const Lanes3 point = MoveLanes<kDistorted>(o, Columns(u0 + i), height, d, &position);
        const Ints column = Truncated(position.x * o.m_target[0] + o.m_target[2]);
        const Ints row = Truncated(position.y * o.m_target[1] + o.m_target[3]);
        lands = AndAtMost(AndAtMost(lands, column, o.m_lastColumn), row, o.m_lastRow);
        const Ints stored = Truncated(point.z);
        farthest = LargestOf(farthest, lands, Sum(stored, Spread(-1))); // what is below 1 becomes the largest
        const Packing packing(lands);
        packing.Store(Sum(column, Product(row, o.m_targetWidth)), hits->m_index + place);
        packing.StoreWords(stored, hits->m_depth + place);
        if constexpr (kHasPoints<THits>) {
            packing.Store(point.x, hits->m_x + place);
            packing.Store(point.y, hits->m_y + place);
            packing.Store(point.z, hits->m_z + place);
        }
        place += packing.Count();
    }
    hits->m_count = place;
    *isOrdinary = AreAllAtMost(farthest, 32766);
    return i;
}

// The points of the whole groups of a row, moved; zeros where there is no depth. Returns how many pixels that are.
template <bool kDistorted, typename TPoint>
int32_t MoveGroups(const Optics& optics, int32_t v, const int16_t* depth, int32_t count, TPoint* out) {
    const LaneOptics o(optics);
    const Floats height = Spread(static_cast<float>(v) - optics.m_source[3]);
    int32_t u = 0;
    for (; count - u >= kGroup; u += kGroup) {
        Floats d;
        const Lanes valid = LoadDepth(depth + u, &d);
        Lanes2 position;
        const Lanes3 point = MoveLanes<kDistorted>(o, Columns(u), height, d, &position);
        StoreGroup(Only(valid, point.x), Only(valid, point.y), Only(valid, point.z),
                   out + 3 * static_cast<ptrdiff_t>(u));
    }
    return u;
}

// The points of the whole groups of a row, by BackProject's formula, also of pixels without depth. Returns how many
// pixels that are.
template <typename TPoint>
int32_t MapGroups(const float* k, int32_t v, const int16_t* depth, int32_t count, TPoint* out) {
    const Floats cx = Spread(k[2]);
    const Floats height = Spread(static_cast<float>(v) - k[3]);
    const Floats fx = Spread(k[0] + kEpsilon);
    const Floats fy = Spread(k[1] + kEpsilon);
    int32_t u = 0;
    for (; count - u >= kGroup; u += kGroup) {
        Floats d;
        LoadDepth(depth + u, &d);
        StoreGroup((Columns(u) - cx) * d / fx, height * d / fy, d, out + 3 * static_cast<ptrdiff_t>(u));
    }
    return u;
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER
