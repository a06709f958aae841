// The fast kernels of the common data transform: the formulas of TransformKernel.h in loops that a vectoriser
// takes, and by hand what it does not. Compiled once for each tier; a unit names its tier in OX3D_TIER, includes its
// functions on groups and then this file, once. Everything here is local to that unit.
// Relies on what KernelsFor() admits: no output on the inputs, extents that are exact as floats, and target indices
// of 32 bits.
#pragma once

#include "algorithm/binostereo/RegisterFast.h"

namespace ox3d::stereo::OX3D_TIER {
namespace {

template <bool kDistorted>
void MoveBlock(const Optics& optics, int32_t u0, int32_t v, const int16_t* __restrict depth, int32_t count,
               Block* __restrict block) {
    const Optics o = optics;
    for (int32_t i = 0; i < count; ++i) {
        const int32_t sample = depth[i];
        Vec2 position{};
        const Vec3 point = MoveOne<kDistorted>(o, u0 + i, v, static_cast<float>(sample), &position);
        block->m_x[i] = sample > 0 ? point.x : 0.0F;
        block->m_y[i] = sample > 0 ? point.y : 0.0F;
        block->m_z[i] = sample > 0 ? point.z : 0.0F;
    }
}

// The points of the valid samples, and zeros for the others: all points of the source's pixels are written.
template <bool kDistorted, typename TPoint>
void MoveFast(const TransformArgs<TPoint>& a) {
    const Optics optics(a);
    Block block;
    for (int32_t v = a.m_firstRow; v < a.m_height; ++v) {
        const ptrdiff_t row = static_cast<ptrdiff_t>(v) * a.m_step;
        const int16_t* depth = a.m_depth + row;
        TPoint* out = a.m_points + 3 * row;
        int32_t u = MoveGroups<kDistorted>(optics, v, depth, a.m_width, out);
        while (u < a.m_width) {
            const int32_t count = a.m_width - u < kBlock ? a.m_width - u : kBlock;
            MoveBlock<kDistorted>(optics, u, v, depth + u, count, &block);
            for (int32_t i = 0; i < count; ++i, ++u) {
                StorePoint({block.m_x[i], block.m_y[i], block.m_z[i]}, out + 3 * static_cast<ptrdiff_t>(u));
            }
        }
    }
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
        return RegisterFast<true, Hits>(a);
    case ETransformMode::B2:
        return RegisterFast<true, PointHits>(a);
    case ETransformMode::B3:
        return MoveFast<true>(a);
    case ETransformMode::C1:
        return RegisterFast<false, Hits>(a);
    case ETransformMode::C2:
        return MoveFast<false>(a);
    case ETransformMode::C3:
        return RegisterFast<false, PointHits>(a);
    case ETransformMode::Refused:
        break;
    }
}

int64_t CountFast(const TransformArgs<float>& a) {
    return a.m_distortion != nullptr ? CountHits<true>(a) : CountHits<false>(a);
}

void RegisterBandFast(const TransformArgs<float>& a, RegisterBand* band) {
    a.m_distortion != nullptr ? RegisterRows<true>(a, band) : RegisterRows<false>(a, band);
}

} // namespace

constinit const TransformKernels kTransformKernels = {RunFast<float>, RunFast<int16_t>, CountFast,
                                                      RegisterBandFast, false};

} // namespace ox3d::stereo::OX3D_TIER
