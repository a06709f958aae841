// The fast kernels of the common data transform: the formulas of TransformKernel.h in loops that a vectoriser
// takes. Compiled once for each tier; a unit names its tier in OX3D_TIER, includes its MapGroups() and then
// this file, once. Everything here is local to that unit.
// Relies on what KernelsFor() admits: no output on the depth samples, extents that are exact as floats, and
// target indices of 32 bits.
#pragma once

#include "algorithm/binostereo/TransformKernel.h"
#include "algorithm/binostereo/TransformTiers.h"

namespace ox3d::stereo::OX3D_TIER {
namespace {

// Projecting and testing the depth take turns block by block: in one long loop the divisions and the scattered
// stores would not overlap.
constexpr int32_t kBlock = 256;

struct Block {
    alignas(64) float m_x[kBlock];
    alignas(64) float m_y[kBlock];
    alignas(64) float m_z[kBlock];
    alignas(64) int32_t m_target[kBlock];  // index into the target, or -1
    alignas(64) int32_t m_nearest[kBlock]; // the stored depth less one, where z is ordinary
};

// The numbers of a call by value, so that a compiler sees that no store changes them.
struct Optics {
    template <typename TPoint>
    explicit Optics(const TransformArgs<TPoint>& a)
        : m_targetWidth(a.m_targetWidth), m_columns(static_cast<float>(a.m_targetWidth)),
          m_rows(static_cast<float>(a.m_height)) {
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
    float m_columns;
    float m_rows;
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

// Projects a block. Says whether every depth that lands is ordinary, that is, in [1, 32768). Bounds are tested
// in floats, which is the truncated comparison: -1 < t < 0 truncates to 0. What fails is replaced before it is
// converted. The tests are joined by bits, not by branches.
template <bool kDistorted, bool kWithPoints>
bool ProjectBlock(const Optics& optics, int32_t u0, int32_t v, const int16_t* __restrict depth, int32_t count,
                  Block* __restrict block) {
    const Optics o = optics;
    int32_t unusual = 0;
    for (int32_t i = 0; i < count; ++i) {
        const int32_t sample = depth[i];
        Vec2 position{};
        const Vec3 point = MoveOne<kDistorted>(o, u0 + i, v, static_cast<float>(sample), &position);
        const float column = position.x * o.m_target[0] + o.m_target[2];
        const float row = position.y * o.m_target[1] + o.m_target[3];
        const int32_t lands = static_cast<int32_t>(sample > 0) & static_cast<int32_t>(column > -1.0F) &
                              static_cast<int32_t>(column < o.m_columns) & static_cast<int32_t>(row > -1.0F) &
                              static_cast<int32_t>(row < o.m_rows);
        const int32_t ordinary =
            static_cast<int32_t>(point.z >= 1.0F) & static_cast<int32_t>(point.z < 32768.0F);
        const auto u = static_cast<int32_t>(lands != 0 ? column : 0.0F);
        const auto w = static_cast<int32_t>(lands != 0 ? row : 0.0F);
        block->m_target[i] = lands != 0 ? u + w * o.m_targetWidth : -1;
        block->m_nearest[i] = static_cast<int32_t>(ordinary != 0 ? point.z : 1.0F) - 1;
        block->m_z[i] = point.z;
        if constexpr (kWithPoints) {
            block->m_x[i] = point.x;
            block->m_y[i] = point.y;
        }
        unusual |= lands & (ordinary ^ 1);
    }
    return unusual == 0;
}

// The nearest wins, without branches and in any order: with ordinary depths, and a target that holds nothing
// but zeros and depths, "empty or farther" is an unsigned minimum once 1 is taken off and 0 so made the
// largest. A sample that does not land goes into a slot of its own that is never read.
void KeepNearest(const Block& block, int32_t count, int16_t* target) {
    int16_t spilled[kBlock] = {};
    for (int32_t i = 0; i < count; ++i) {
        const int32_t index = block.m_target[i];
        int16_t* slot = index >= 0 ? target + index : spilled + i;
        const uint32_t stored = static_cast<uint16_t>(*slot - 1);
        const auto candidate = static_cast<uint32_t>(block.m_nearest[i]);
        *slot = static_cast<int16_t>((candidate < stored ? candidate : stored) + 1U);
    }
}

// The rule itself, in the order of the samples.
template <bool kWithPoints, typename TPoint>
void KeepNearestInOrder(const TransformArgs<TPoint>& a, const Block& block, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const ptrdiff_t target = block.m_target[i];
        if (target < 0) {
            continue;
        }
        const auto stored = static_cast<float>(a.m_targetDepth[target]);
        if (stored == 0.0F || stored > block.m_z[i]) {
            a.m_targetDepth[target] = FloatToInt16(block.m_z[i]);
            if constexpr (kWithPoints) {
                StorePoint({block.m_x[i], block.m_y[i], block.m_z[i]}, a.m_points + 3 * target);
            }
        }
    }
}

template <typename TPoint, typename TBlock>
void ForEachBlock(const TransformArgs<TPoint>& a, TBlock block) {
    for (int32_t v = a.m_firstRow; v < a.m_height; ++v) {
        const ptrdiff_t row = static_cast<ptrdiff_t>(v) * a.m_step;
        for (int32_t u = 0; u < a.m_width; u += kBlock) {
            block(u, v, row + u, a.m_width - u < kBlock ? a.m_width - u : kBlock);
        }
    }
}

template <bool kDistorted, bool kWithPoints, typename TPoint>
void RegisterFast(const TransformArgs<TPoint>& a) {
    const Optics optics(a);
    Block block;
    // One unusual depth can leave a negative sample behind, after which only the rule itself holds; and only
    // the source's width was cleared, beyond which the target holds anything.
    bool inOrder = a.m_targetWidth > a.m_width;
    ForEachBlock(a, [&](int32_t u, int32_t v, ptrdiff_t index, int32_t count) {
        const bool ordinary =
            ProjectBlock<kDistorted, kWithPoints>(optics, u, v, a.m_depth + index, count, &block);
        inOrder = inOrder || !ordinary;
        if (kWithPoints || inOrder) {
            KeepNearestInOrder<kWithPoints>(a, block, count);
        } else {
            KeepNearest(block, count, a.m_targetDepth);
        }
    });
}

template <bool kDistorted>
void MoveBlock(const Optics& optics, int32_t u0, int32_t v, const int16_t* __restrict depth, int32_t count,
               Block* __restrict block) {
    const Optics o = optics;
    for (int32_t i = 0; i < count; ++i) {
        Vec2 position{};
        const Vec3 point = MoveOne<kDistorted>(o, u0 + i, v, static_cast<float>(depth[i]), &position);
        block->m_x[i] = point.x;
        block->m_y[i] = point.y;
        block->m_z[i] = point.z;
    }
}

template <bool kDistorted, typename TPoint>
void MoveFast(const TransformArgs<TPoint>& a) {
    const Optics optics(a);
    Block block;
    ForEachBlock(a, [&](int32_t u, int32_t v, ptrdiff_t index, int32_t count) {
        MoveBlock<kDistorted>(optics, u, v, a.m_depth + index, count, &block);
        for (int32_t i = 0; i < count; ++i) {
            if (a.m_depth[index + i] > 0) {
                StorePoint({block.m_x[i], block.m_y[i], block.m_z[i]}, a.m_points + 3 * (index + i));
            }
        }
    });
}

template <typename TPoint>
void MapFast(const TransformArgs<TPoint>& a) {
    const float k[4] = {a.m_sourceIntrinsics[0], a.m_sourceIntrinsics[1], a.m_sourceIntrinsics[2],
                        a.m_sourceIntrinsics[3]};
    for (int32_t v = a.m_firstRow; v < a.m_height; ++v) {
        const ptrdiff_t row = static_cast<ptrdiff_t>(v) * a.m_step;
        const int16_t* __restrict depth = a.m_depth + row;
        TPoint* __restrict out = a.m_points + 3 * row;
        for (int32_t u = MapGroups(k, v, depth, a.m_width, out); u < a.m_width; ++u) {
            const Vec3 point = BackProject(k, u, v, static_cast<float>(depth[u]));
            StorePoint(point, out + 3 * static_cast<ptrdiff_t>(u));
        }
    }
}

template <typename TPoint>
void RunFast(ETransformMode mode, const TransformArgs<TPoint>& a) {
    switch (mode) {
    case ETransformMode::A:
        return MapFast(a);
    case ETransformMode::B1:
        return RegisterFast<true, false>(a);
    case ETransformMode::B2:
        return RegisterFast<true, true>(a);
    case ETransformMode::B3:
        return MoveFast<true>(a);
    case ETransformMode::C1:
        return RegisterFast<false, false>(a);
    case ETransformMode::C2:
        return MoveFast<false>(a);
    case ETransformMode::C3:
        return RegisterFast<false, true>(a);
    case ETransformMode::Refused:
        break;
    }
}

} // namespace

constinit const TransformKernels kTransformKernels = {RunFast<float>, RunFast<int16_t>, false};

} // namespace ox3d::stereo::OX3D_TIER
