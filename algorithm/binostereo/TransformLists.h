// The lists that samples are projected into, and the projection in plain loops that a vectoriser takes. Part of
// TransformFast.h, and like it local to the unit of a tier, for which OX3D_TIER is defined.
// Relies on TransformKernel.h for the formulas, and on TransformTiers.h for the rule of the nearest.
#pragma once

#include "algorithm/binostereo/TransformTiers.h"

namespace ox3d::stereo::OX3D_TIER {
namespace {

// Samples of a list at most: a usual row is one list, and a list stays in the first-level cache.
constexpr int32_t kListed = 2048;
// Stores of whole groups reach beyond the last hit.
constexpr int32_t kSpare = 16;

// The samples of a part of a row that land in the target, in their order, and nothing else.
struct Hits {
    int32_t m_count;
    alignas(64) uint32_t m_index[kListed + kSpare]; // into the target
    alignas(64) uint16_t m_depth[kListed + kSpare]; // to store, where z is ordinary
};

struct PointHits : Hits {
    alignas(64) float m_x[kListed + kSpare];
    alignas(64) float m_y[kListed + kSpare];
    alignas(64) float m_z[kListed + kSpare];
};

template <typename THits>
constexpr bool kHasPoints = std::is_same_v<THits, PointHits>;

// The numbers of a call by value, so that a compiler sees that no store changes them.
struct Optics {
    template <typename TPoint>
    explicit Optics(const TransformArgs<TPoint>& a)
        : m_targetWidth(a.m_targetWidth), m_targetHeight(a.m_height) {
        std::memcpy(m_source, a.m_sourceIntrinsics, sizeof m_source);
        std::memcpy(m_transform, a.m_transform, sizeof m_transform);
        if (a.m_targetDepth != nullptr) {
            std::memcpy(m_target, a.m_targetIntrinsics, sizeof m_target);
        }
        if (a.m_distortion != nullptr) {
            std::memcpy(m_distortion, a.m_distortion, sizeof m_distortion);
        }
    }

    float m_source[4] = {};
    float m_transform[12] = {};
    float m_target[4] = {};
    float m_distortion[4] = {};
    int32_t m_targetWidth;
    int32_t m_targetHeight;
};

// Inlined into its loop, or that is no loop for a vectoriser.
template <bool kDistorted>
[[gnu::always_inline]] inline Vec3 MoveOne(const Optics& o, int32_t u, int32_t v, float d, Vec2* position) {
    const Vec3 moved = Move(o.m_transform, BackProject(o.m_source, u, v, d));
    if constexpr (kDistorted) {
        *position = Distort(o.m_distortion, Normalise(moved));
        return {position->x * moved.z, position->y * moved.z, moved.z};
    }
    *position = Normalise(moved);
    return moved;
}

// Samples of a block, small enough for the results of all to stay near while they are sorted out.
constexpr int32_t kBlock = 256;

struct Block {
    alignas(64) float m_x[kBlock];
    alignas(64) float m_y[kBlock];
    alignas(64) float m_z[kBlock];
    alignas(64) int32_t m_target[kBlock]; // index into the target, or -1
    alignas(64) int32_t m_depth[kBlock];  // to store, where z is ordinary
};

// Projects a block of at most kBlock samples. Says whether every depth that lands is ordinary, that is, in
// [1, 32768). Bounds are tested in floats, which is the truncated comparison: -1 < t < 0 truncates to 0. What fails
// is replaced before it is converted. The tests are joined by bits, not by branches.
template <bool kDistorted, bool kWithPoints>
bool FillBlock(const Optics& optics, int32_t u0, int32_t v, const int16_t* __restrict depth, int32_t count,
               Block* __restrict block) {
    const Optics o = optics;
    const auto columns = static_cast<float>(o.m_targetWidth);
    const auto rows = static_cast<float>(o.m_targetHeight);
    int32_t unusual = 0;
    for (int32_t i = 0; i < count; ++i) {
        const int32_t sample = depth[i];
        Vec2 position{};
        const Vec3 point = MoveOne<kDistorted>(o, u0 + i, v, static_cast<float>(sample), &position);
        const float column = position.x * o.m_target[0] + o.m_target[2];
        const float row = position.y * o.m_target[1] + o.m_target[3];
        const int32_t lands = static_cast<int32_t>(sample > 0) & static_cast<int32_t>(column > -1.0F) &
                              static_cast<int32_t>(column < columns) & static_cast<int32_t>(row > -1.0F) &
                              static_cast<int32_t>(row < rows);
        const int32_t ordinary =
            static_cast<int32_t>(point.z >= 1.0F) & static_cast<int32_t>(point.z < 32768.0F);
        const auto u = static_cast<int32_t>(lands != 0 ? column : 0.0F);
        const auto w = static_cast<int32_t>(lands != 0 ? row : 0.0F);
        block->m_target[i] = lands != 0 ? u + w * o.m_targetWidth : -1;
        block->m_depth[i] = static_cast<int32_t>(ordinary != 0 ? point.z : 1.0F);
        if constexpr (kWithPoints) {
            block->m_x[i] = point.x;
            block->m_y[i] = point.y;
            block->m_z[i] = point.z;
        }
        unusual |= lands & (ordinary ^ 1);
    }
    return unusual == 0;
}

// Appends what lands of a block: everything is written, and the place moves on only behind what lands.
template <bool kDistorted, typename THits>
bool ProjectBlock(const Optics& optics, int32_t u0, int32_t v, const int16_t* depth, int32_t count,
                  THits* hits) {
    Block block;
    const bool isOrdinary = FillBlock<kDistorted, kHasPoints<THits>>(optics, u0, v, depth, count, &block);
    int32_t place = hits->m_count;
    for (int32_t i = 0; i < count; ++i) {
        hits->m_index[place] = static_cast<uint32_t>(block.m_target[i]);
        hits->m_depth[place] = static_cast<uint16_t>(block.m_depth[i]);
        if constexpr (kHasPoints<THits>) {
            hits->m_x[place] = block.m_x[i];
            hits->m_y[place] = block.m_y[i];
            hits->m_z[place] = block.m_z[i];
        }
        place += static_cast<int32_t>(block.m_target[i] >= 0);
    }
    hits->m_count = place;
    return isOrdinary;
}

[[gnu::always_inline]] inline void KeepNearestOne(const Hits& hits, int32_t i, uint16_t* __restrict target) {
    KeepNearer(target + hits.m_index[i], hits.m_depth[i]);
}

// Eight at a time. Returns how many hits are done.
[[gnu::always_inline]] inline int32_t KeepEights(const Hits& hits, uint16_t* __restrict target) {
    const int32_t count = hits.m_count;
    int32_t i = 0;
    for (; i + 8 <= count; i += 8) {
#pragma GCC unroll 8
        for (int32_t k = 0; k < 8; ++k) {
            KeepNearestOne(hits, i + k, target);
        }
    }
    return i;
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER
