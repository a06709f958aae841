// The scalar reference kernel of the common data transform, for both point types. Single precision throughout
// and in the order of the formulas written here: this order defines the result to the bit, so nothing may be
// reassociated, fused or replaced by a reciprocal. The fast kernels use the same formulas in other loops.
// Relies on FloatToInt.h, and on being compiled without contraction of multiply and add. Functions are static
// for the reason that FloatToInt.h gives.
#pragma once

#include "algorithm/binostereo/FloatToInt.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace ox3d::stereo {

enum class ETransformMode { Refused, A, B1, B2, B3, C1, C2, C3 };

template <typename TPoint>
struct TransformArgs {
    const int16_t* m_depth;
    int32_t m_step; // samples from row to row of the source, points from row to row of the points
    int32_t m_width;
    int32_t m_height;
    TPoint* m_points;
    int16_t* m_targetDepth;
    int32_t m_targetWidth;
    const float* m_sourceIntrinsics; // fx, fy, cx, cy
    const float* m_transform;        // row-major 3 x 4
    const float* m_targetIntrinsics; // fx, fy, cx, cy
    const float* m_distortion;       // k1, k2, p1, p2
    int32_t m_firstRow = 0;          // rows before it and from m_height on are left to others
};

struct Vec3 {
    float x;
    float y;
    float z;
};

struct Vec2 {
    float x;
    float y;
};

static inline Vec3 BackProject(const float* k, int32_t u, int32_t v, float d) {
    return {(static_cast<float>(u) - k[2]) * d / (k[0] + kEpsilon),
            (static_cast<float>(v) - k[3]) * d / (k[1] + kEpsilon), d};
}

static inline Vec3 Move(const float* t, const Vec3& p) {
    return {t[0] * p.x + t[1] * p.y + t[2] * p.z + t[3], t[4] * p.x + t[5] * p.y + t[6] * p.z + t[7],
            t[8] * p.x + t[9] * p.y + t[10] * p.z + t[11]};
}

static inline Vec2 Normalise(const Vec3& p) {
    return {p.x / (p.z + kEpsilon), p.y / (p.z + kEpsilon)};
}

static inline Vec2 Distort(const float* k, const Vec2& n) {
    const float r2 = n.x * n.x + n.y * n.y;
    const float r4 = r2 * r2;
    const float q = 1.0F + k[0] * r2 + k[1] * r4;
    return {n.x * q + 2.0F * k[2] * n.x * n.y + k[3] * (r2 + 2.0F * n.x * n.x),
            n.y * q + 2.0F * k[3] * n.x * n.y + k[2] * (r2 + 2.0F * n.y * n.y)};
}

static inline void StorePoint(const Vec3& p, float* out) {
    out[0] = p.x;
    out[1] = p.y;
    out[2] = p.z;
}

static inline void StorePoint(const Vec3& p, int16_t* out) {
    out[0] = FloatToInt16(p.x);
    out[1] = FloatToInt16(p.y);
    out[2] = FloatToInt16(p.z);
}

// A sample's pixel in the target image as an index into it, or -1. u is decided before v is computed. The
// bound on v is the source's height, deliberately: the target is as tall as the source.
template <typename TPoint>
static ptrdiff_t TargetIndex(const TransformArgs<TPoint>& a, const Vec2& n) {
    const float* k = a.m_targetIntrinsics;
    const int32_t u = FloatToInt32(n.x * k[0] + k[2]);
    if (u >= a.m_targetWidth || u < 0) {
        return -1;
    }
    const int32_t v = FloatToInt32(n.y * k[1] + k[3]);
    if (v >= a.m_height || v < 0) {
        return -1;
    }
    return u + static_cast<ptrdiff_t>(v) * a.m_targetWidth;
}

template <typename TPoint, typename TPixel>
static void ForEachPixel(const TransformArgs<TPoint>& a, TPixel pixel) {
    for (int32_t v = 0; v < a.m_height; ++v) {
        const ptrdiff_t row = static_cast<ptrdiff_t>(v) * a.m_step;
        for (int32_t u = 0; u < a.m_width; ++u) {
            pixel(u, v, row + u);
        }
    }
}

// Mode A. Every pixel, also those without depth.
template <typename TPoint>
static void MapAllPixels(const TransformArgs<TPoint>& a) {
    ForEachPixel(a, [&a](int32_t u, int32_t v, ptrdiff_t index) {
        const int16_t sample = a.m_depth[index];
        StorePoint(BackProject(a.m_sourceIntrinsics, u, v, static_cast<float>(sample)),
                   a.m_points + 3 * index);
    });
}

// One valid sample moved into the target camera: its normalised image position and its point. With distortion
// the point lies on the distorted ray.
template <bool kDistorted, typename TPoint>
static Vec3 MoveSample(const TransformArgs<TPoint>& a, int32_t u, int32_t v, float d, Vec2* position) {
    const Vec3 moved = Move(a.m_transform, BackProject(a.m_sourceIntrinsics, u, v, d));
    *position = Normalise(moved);
    if constexpr (kDistorted) {
        *position = Distort(a.m_distortion, *position);
        return {position->x * moved.z, position->y * moved.z, moved.z};
    }
    return moved;
}

// Modes B3 and C2: the points stay at their source pixel.
template <bool kDistorted, typename TPoint>
static void MovePoints(const TransformArgs<TPoint>& a) {
    ForEachPixel(a, [&a](int32_t u, int32_t v, ptrdiff_t index) {
        const int16_t sample = a.m_depth[index];
        if (sample > 0) {
            Vec2 position{};
            const Vec3 point = MoveSample<kDistorted>(a, u, v, static_cast<float>(sample), &position);
            StorePoint(point, a.m_points + 3 * index);
        }
    });
}

// Modes B1, B2, C1 and C3: the nearest depth wins a target pixel, and on a tie the earlier one stays.
template <bool kDistorted, bool kWithPoints, typename TPoint>
static void RegisterDepth(const TransformArgs<TPoint>& a) {
    ForEachPixel(a, [&a](int32_t u, int32_t v, ptrdiff_t index) {
        const int16_t sample = a.m_depth[index];
        if (sample <= 0) {
            return;
        }
        Vec2 position{};
        const Vec3 point = MoveSample<kDistorted>(a, u, v, static_cast<float>(sample), &position);
        const ptrdiff_t target = TargetIndex(a, position);
        if (target < 0) {
            return;
        }
        // The comparison is with what was stored, truncated to 16 bits, not with the depth that was.
        const auto stored = static_cast<float>(a.m_targetDepth[target]);
        if (stored == 0.0F || stored > point.z) {
            a.m_targetDepth[target] = FloatToInt16(point.z);
            if constexpr (kWithPoints) {
                StorePoint(point, a.m_points + 3 * target);
            }
        }
    });
}

template <typename TPoint>
static void RunReference(ETransformMode mode, const TransformArgs<TPoint>& a) {
    switch (mode) {
    case ETransformMode::A:
        return MapAllPixels(a);
    case ETransformMode::B1:
        return RegisterDepth<true, false>(a);
    case ETransformMode::B2:
        return RegisterDepth<true, true>(a);
    case ETransformMode::B3:
        return MovePoints<true>(a);
    case ETransformMode::C1:
        return RegisterDepth<false, false>(a);
    case ETransformMode::C2:
        return MovePoints<false>(a);
    case ETransformMode::C3:
        return RegisterDepth<false, true>(a);
    case ETransformMode::Refused:
        break;
    }
}

} // namespace ox3d::stereo
