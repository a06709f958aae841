// CloudFast.h - the loops of a row in a form that a vectoriser takes. Compiled once for each tier; a unit names its
// namespace in OX3D_CLOUD_TIER and includes this file, once. Everything here is local to that unit.
// Results are the same in all: nothing is fused, reassociated or replaced by a reciprocal.
#pragma once

#include "algorithm/rgbd/CloudTiers.h"

namespace ox3d::OX3D_CLOUD_TIER {
namespace {

constexpr float kFar = 1.0e9F;        // what is farther is no number of millimetres
constexpr float kSameSurface = 0.03F; // of the distance: a larger step from pixel to pixel is another surface
constexpr float kLeastArea2 = 1.0e-30F; // the squares of smaller normals lose their digits

// Conditions as numbers: "&" of them needs no branch.
[[gnu::always_inline]] inline int32_t As(bool is) {
    return is ? 1 : 0;
}

[[gnu::always_inline]] inline int32_t IsWithin(float number, float limit) {
    return As(__builtin_fabsf(number) < limit);
}

template <bool kIsOneY>
void BackProjectRow(const uint16_t* __restrict depth, const float* __restrict raysX,
                    const float* __restrict raysY, int32_t count, PointRow out) {
    float* __restrict xs = out.m_x;
    float* __restrict ys = out.m_y;
    float* __restrict zs = out.m_z;
    for (int32_t i = 0; i < count; ++i) {
        const int32_t sample = static_cast<int16_t>(depth[i]);
        const auto z = static_cast<float>(sample);
        const float rx = raysX[i];
        const float ry = raysY[kIsOneY ? 0 : i];
        const int32_t isKept = As(sample > 0) & As(rx == rx) & As(ry == ry);
        xs[i] = isKept != 0 ? rx * z : 0.0F;
        ys[i] = isKept != 0 ? ry * z : 0.0F;
        zs[i] = isKept != 0 ? z : 0.0F;
    }
}

void BackProject(const uint16_t* depth, const float* raysX, const float* raysY, bool isOneY, int32_t count,
                 PointRow out) {
    isOneY ? BackProjectRow<true>(depth, raysX, raysY, count, out)
           : BackProjectRow<false>(depth, raysX, raysY, count, out);
}

void Move(const float* move, int32_t count, PointRow points) {
    float t[12];
    for (int32_t i = 0; i < 12; ++i) {
        t[i] = move[i];
    }
    float* __restrict xs = points.m_x;
    float* __restrict ys = points.m_y;
    float* __restrict zs = points.m_z;
    for (int32_t i = 0; i < count; ++i) {
        const float x = xs[i];
        const float y = ys[i];
        const float z = zs[i];
        const float u = t[0] * x + t[1] * y + t[2] * z + t[3];
        const float v = t[4] * x + t[5] * y + t[6] * z + t[7];
        const float w = t[8] * x + t[9] * y + t[10] * z + t[11];
        const int32_t isKept =
            As(z != 0.0F) & As(w != 0.0F) & IsWithin(u, kFar) & IsWithin(v, kFar) & IsWithin(w, kFar);
        xs[i] = isKept != 0 ? u : 0.0F;
        ys[i] = isKept != 0 ? v : 0.0F;
        zs[i] = isKept != 0 ? w : 0.0F;
    }
}

void Limit(float limit, int32_t count, PointRow points) {
    float* __restrict xs = points.m_x;
    float* __restrict ys = points.m_y;
    float* __restrict zs = points.m_z;
    for (int32_t i = 0; i < count; ++i) {
        const int32_t isKept = IsWithin(xs[i], limit) & IsWithin(ys[i], limit) & IsWithin(zs[i], limit) &
                               As(__builtin_fabsf(zs[i]) >= 0.5F);
        xs[i] = isKept != 0 ? xs[i] : 0.0F;
        ys[i] = isKept != 0 ? ys[i] : 0.0F;
        zs[i] = isKept != 0 ? zs[i] : 0.0F;
    }
}

template <bool kIsDistorted>
void LocateRow(const PointView& view, int32_t count, const PointRow& points, int32_t* __restrict pixels) {
    const PointView a = view;
    const float* t = a.m_move;
    const float* k = a.m_distortion;
    const float* __restrict xs = points.m_x;
    const float* __restrict ys = points.m_y;
    const float* __restrict zs = points.m_z;
    const auto width = static_cast<float>(a.m_width);
    const auto height = static_cast<float>(a.m_height);
    for (int32_t i = 0; i < count; ++i) {
        const float w = t[8] * xs[i] + t[9] * ys[i] + t[10] * zs[i] + t[11];
        const float x = (t[0] * xs[i] + t[1] * ys[i] + t[2] * zs[i] + t[3]) / w;
        const float y = (t[4] * xs[i] + t[5] * ys[i] + t[6] * zs[i] + t[7]) / w;
        float dx = x;
        float dy = y;
        int32_t isSeen = As(zs[i] != 0.0F) & As(w > 0.0F);
        if constexpr (kIsDistorted) {
            const float r2 = x * x + y * y;
            const float q = 1.0F + r2 * (k[0] + r2 * (k[1] + r2 * k[4]));
            dx = x * q + 2.0F * k[2] * x * y + k[3] * (r2 + 2.0F * x * x);
            dy = y * q + 2.0F * k[3] * x * y + k[2] * (r2 + 2.0F * y * y);
            isSeen &= As(r2 <= a.m_maxRadius2);
        }
        const float u = dx * a.m_lens[0] + a.m_lens[2];
        const float v = dy * a.m_lens[1] + a.m_lens[3];
        // The sums are looked at, not what they are made of: below the middle between two pixels they may be rounded to
        // the next one. Truncation is rounding to nearest here, since both are at least 0.
        const float right = u + 0.5F;
        const float down = v + 0.5F;
        isSeen &= As(u > -0.5F) & As(right < width) & As(v > -0.5F) & As(down < height);
        const auto column = static_cast<int32_t>(isSeen != 0 ? right : 0.0F);
        const auto row = static_cast<int32_t>(isSeen != 0 ? down : 0.0F);
        pixels[i] = isSeen != 0 ? row * a.m_width + column : -1;
    }
}

void Locate(const PointView& view, int32_t count, PointRow points, int32_t* pixels) {
    view.m_isDistorted ? LocateRow<true>(view, count, points, pixels)
                       : LocateRow<false>(view, count, points, pixels);
}

// 1 where the neighbour is of the surface of a point at z, else 0.
[[gnu::always_inline]] inline int32_t IsSame(float z, float neighbour) {
    return As(neighbour != 0.0F) & IsWithin(neighbour - z, kSameSurface * __builtin_fabsf(z));
}

// The way from one neighbour to the other, or to the point itself where one of them is of another surface.
[[gnu::always_inline]] inline float Across(int32_t hasFirst, float first, float own, int32_t hasLast,
                                           float last) {
    return (hasLast != 0 ? last : own) - (hasFirst != 0 ? first : own);
}

// One coordinate of a row and of those above and below it.
struct Neighbours {
    const float* m_own;
    const float* m_above;
    const float* m_below;
};

constexpr int32_t kStretch = 128;

// Normals of one stretch, kept apart from the rows: a vectoriser takes no loop whose results may be among what it reads
// by a dozen pointers, nor one that reads some neighbours only.
struct NormalStretch {
    alignas(64) float m_x[kStretch];
    alignas(64) float m_y[kStretch];
    alignas(64) float m_z[kStretch];
};

void NormalsOf(const Neighbours& xRow, const Neighbours& yRow, const Neighbours& zRow, int32_t count,
               NormalStretch* __restrict out) {
    const Neighbours xs = xRow;
    const Neighbours ys = yRow;
    const Neighbours zs = zRow;
    for (int32_t i = 0; i < count; ++i) {
        const float x = xs.m_own[i];
        const float y = ys.m_own[i];
        const float z = zs.m_own[i];
        const int32_t isLeft = IsSame(z, zs.m_own[i - 1]);
        const int32_t isRight = IsSame(z, zs.m_own[i + 1]);
        const int32_t isAbove = IsSame(z, zs.m_above[i]);
        const int32_t isBelow = IsSame(z, zs.m_below[i]);
        const float ax = Across(isLeft, xs.m_own[i - 1], x, isRight, xs.m_own[i + 1]);
        const float ay = Across(isLeft, ys.m_own[i - 1], y, isRight, ys.m_own[i + 1]);
        const float az = Across(isLeft, zs.m_own[i - 1], z, isRight, zs.m_own[i + 1]);
        const float bx = Across(isAbove, xs.m_above[i], x, isBelow, xs.m_below[i]);
        const float by = Across(isAbove, ys.m_above[i], y, isBelow, ys.m_below[i]);
        const float bz = Across(isAbove, zs.m_above[i], z, isBelow, zs.m_below[i]);
        const float cx = ay * bz - az * by;
        const float cy = az * bx - ax * bz;
        const float cz = ax * by - ay * bx;
        const float length2 = cx * cx + cy * cy + cz * cz;
        const int32_t isKnown = As(z != 0.0F) & As(length2 > kLeastArea2) & As(length2 < kFar * kFar);
        const float length = __builtin_sqrtf(isKnown != 0 ? length2 : 1.0F);
        const float signedLength = cx * x + cy * y + cz * z > 0.0F ? -length : length;
        out->m_x[i] = isKnown != 0 ? cx / signedLength : 0.0F;
        out->m_y[i] = isKnown != 0 ? cy / signedLength : 0.0F;
        out->m_z[i] = isKnown != 0 ? cz / signedLength : 0.0F;
    }
}

void Normals(PointRow above, PointRow at, PointRow below, int32_t count, PointRow out) {
    NormalStretch normals;
    for (int32_t first = 0; first < count; first += kStretch) {
        const int32_t length = count - first < kStretch ? count - first : kStretch;
        NormalsOf({at.m_x + first, above.m_x + first, below.m_x + first},
                  {at.m_y + first, above.m_y + first, below.m_y + first},
                  {at.m_z + first, above.m_z + first, below.m_z + first}, length, &normals);
        const size_t bytes = static_cast<size_t>(length) * sizeof(float);
        __builtin_memcpy(out.m_x + first, normals.m_x, bytes);
        __builtin_memcpy(out.m_y + first, normals.m_y, bytes);
        __builtin_memcpy(out.m_z + first, normals.m_z, bytes);
    }
}

void StoreFloats(PointRow points, int32_t count, float* __restrict out) {
    const float* __restrict xs = points.m_x;
    const float* __restrict ys = points.m_y;
    const float* __restrict zs = points.m_z;
    for (ptrdiff_t i = 0; i < count; ++i) {
        out[3 * i] = xs[i];
        out[3 * i + 1] = ys[i];
        out[3 * i + 2] = zs[i];
    }
}

void StoreColored(PointRow points, const uint32_t* __restrict colors, int32_t count, float* __restrict out) {
    const float* __restrict xs = points.m_x;
    const float* __restrict ys = points.m_y;
    const float* __restrict zs = points.m_z;
    for (ptrdiff_t i = 0; i < count; ++i) {
        out[4 * i] = xs[i];
        out[4 * i + 1] = ys[i];
        out[4 * i + 2] = zs[i];
        __builtin_memcpy(out + 4 * i + 3, colors + i, sizeof(float));
    }
}

// To nearest, halves away from 0; the numbers fit.
[[gnu::always_inline]] inline int16_t Rounded(float number) {
    return static_cast<int16_t>(static_cast<int32_t>(number + (number < 0.0F ? -0.5F : 0.5F)));
}

void StoreShorts(PointRow points, int32_t count, int16_t* __restrict out) {
    const float* __restrict xs = points.m_x;
    const float* __restrict ys = points.m_y;
    const float* __restrict zs = points.m_z;
    for (ptrdiff_t i = 0; i < count; ++i) {
        out[3 * i] = Rounded(xs[i]);
        out[3 * i + 1] = Rounded(ys[i]);
        out[3 * i + 2] = Rounded(zs[i]);
    }
}

int32_t Count(const float* __restrict z, int32_t count) {
    int32_t valid = 0;
    for (int32_t i = 0; i < count; ++i) {
        valid += z[i] != 0.0F ? 1 : 0;
    }
    return valid;
}

} // namespace

constexpr CloudKernels kKernels = {BackProject, Move,         Limit,       Locate, Normals,
                                   StoreFloats, StoreColored, StoreShorts, Count};

} // namespace ox3d::OX3D_CLOUD_TIER
