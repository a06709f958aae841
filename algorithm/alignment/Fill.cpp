// Fill.cpp - see Fill.h. The scalar reference stands here.
#include "algorithm/alignment/Fill.h"

#include "algorithm/alignment/FillTiers.h"
#include "algorithm/alignment/LensTurn.h"
#include "algorithm/dispatch/KernelChoice.h"

#include <algorithm>
#include <cstring>

namespace ox3d {
namespace alignment {
namespace {

float SampleAt(const AlignArgs& a, int32_t u, int32_t v) {
    if (u < 0 || u >= a.m_width || v < 0 || v >= a.m_height) {
        return 0.0F;
    }
    const auto sample = static_cast<int16_t>(a.m_depth[static_cast<ptrdiff_t>(v) * a.m_width + u]);
    return static_cast<float>(sample > 0 ? sample : 0);
}

// The corner of pixel (u, v) on the side `du` and the height `dv`, each -1 or 1.
Spot CornerOf(const AlignArgs& a, const FillOptics& o, bool isDistorted, int32_t u, int32_t v, int32_t du,
              int32_t dv) {
    const float depth = CornerDepth(SampleAt(a, u, v), SampleAt(a, u + du, v), SampleAt(a, u, v + dv),
                                    SampleAt(a, u + du, v + dv), o.m_step);
    float along[3];
    RowRays(o, static_cast<float>(v) + 0.5F * static_cast<float>(dv), along);
    const float column = static_cast<float>(u) + 0.5F * static_cast<float>(du);
    return isDistorted ? Project<true>(o, along, column, depth) : Project<false>(o, along, column, depth);
}

void DrawPixel(const AlignArgs& a, const FillOptics& o, bool isDistorted, int32_t u, int32_t v,
               uint16_t* target) {
    float along[3];
    RowRays(o, static_cast<float>(v), along);
    const Corner4 corners = {
        CornerOf(a, o, isDistorted, u, v, -1, -1), CornerOf(a, o, isDistorted, u, v, 1, -1),
        CornerOf(a, o, isDistorted, u, v, -1, 1), CornerOf(a, o, isDistorted, u, v, 1, 1)};
    const Patch patch = PatchOf(o, corners, MovedDepth(o, along, static_cast<float>(u), SampleAt(a, u, v)));
    for (int32_t row = patch.m_top; patch.m_isDrawn != 0 && row < patch.m_bottom; ++row) {
        for (int32_t column = patch.m_left; column < patch.m_right; ++column) {
            uint16_t& stored = target[static_cast<ptrdiff_t>(row) * a.m_width + column];
            stored = patch.m_depth < stored ? static_cast<uint16_t>(patch.m_depth) : stored;
        }
    }
}

void DrawReference(const AlignArgs& a, const FillOptics& o, bool isDistorted, int32_t first, int32_t last,
                   uint16_t* target) {
    for (int32_t v = first; v < last; ++v) {
        for (int32_t u = 0; u < a.m_width; ++u) {
            if (SampleAt(a, u, v) > 0.0F) {
                DrawPixel(a, o, isDistorted, u, v, target);
            }
        }
    }
}

void TakeNearer(uint16_t* target, const uint16_t* other, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
        target[i] = std::min(target[i], other[i]);
    }
}

void AddOne(uint16_t* target, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
        target[i] = static_cast<uint16_t>(target[i] + 1U);
    }
}

void PlaceReference(const AlignArgs& a, const FillOptics& o, bool isDistorted, const ColorGrid& grid,
                    int32_t row, int32_t first, int32_t count, Places* places) {
    float along[3];
    RowRays(o, static_cast<float>(row), along);
    for (int32_t i = 0; i < count; ++i) {
        const auto u = static_cast<float>(first + i);
        const float d = SampleAt(a, first + i, row);
        const Place place = isDistorted ? PlaceOf<true>(o, along, grid, a.m_width, u, d)
                                        : PlaceOf<false>(o, along, grid, a.m_width, u, d);
        places->m_index[i] = place.m_index;
        places->m_depth[i] = place.m_depth;
        places->m_column[i] = place.m_column;
        places->m_row[i] = place.m_row;
    }
}

constexpr FillKernels kReference = {DrawReference, PlaceReference, TakeNearer, AddOne};

constinit CKernelChoice<FillKernels, kReference, sse2::kFillKernels, avx2::kFillKernels, avx512::kFillKernels>
    g_choice;

} // namespace

FillOptics OpticsOf(const AlignArgs& a) {
    const AlignCameras& c = a.m_cameras;
    FillOptics o = {};
    for (ptrdiff_t row = 0; row < 3; ++row) {
        const float* t = c.m_transform + 4 * row;
        const double x = double{t[0]} / c.m_depth[0];
        const double y = double{t[1]} / c.m_depth[1];
        o.m_ray[3 * row] = static_cast<float>(x);
        o.m_ray[3 * row + 1] = static_cast<float>(y);
        o.m_ray[3 * row + 2] = static_cast<float>(t[2] - x * c.m_depth[2] - y * c.m_depth[3]);
        o.m_shift[row] = t[3];
    }
    std::memcpy(o.m_target, c.m_target, sizeof o.m_target);
    o.m_maxRadius2 = static_cast<float>(MaxRadius2(c.m_target[4], c.m_target[5], c.m_target[8]));
    o.m_step = static_cast<float>(a.m_stepPermille) * 0.001F;
    o.m_columns = static_cast<float>(a.m_width);
    o.m_rows = static_cast<float>(a.m_height);
    return o;
}

bool IsDistorted(const AlignCameras& cameras) {
    for (int i = 4; i < 9; ++i) {
        if (cameras.m_target[i] != 0.0F) {
            return true;
        }
    }
    return false;
}

const FillKernels& FillKernelsInUse() {
    return g_choice.InUse();
}

EKernelTier UseFillKernelTier(EKernelTier tier) {
    return g_choice.Use(tier);
}

} // namespace alignment

bool Fill(const AlignArgs& args, uint16_t* target, const CPoolTurn& turn, uint16_t* spare) {
    using namespace alignment;
    if (!IsAlignSize(static_cast<uint32_t>(args.m_width), static_cast<uint32_t>(args.m_height))) {
        return false;
    }
    const uint64_t pixels = static_cast<uint64_t>(args.m_width) * static_cast<uint64_t>(args.m_height);
    const uint32_t parts = spare != nullptr ? turn.Threads() : 1;
    const FillKernels& kernels = FillKernelsInUse();
    const FillOptics optics = OpticsOf(args);
    // Rows of one part may land anywhere, so each part has a target of its own. The nearest of all is the nearest.
    turn.Run(parts, [&](uint32_t part) {
        uint16_t* own = part == 0 ? target : spare + (part - 1) * pixels;
        std::memset(own, 0xFF, pixels * sizeof(uint16_t));
        const auto rowOf = [&](uint32_t i) {
            return static_cast<int32_t>(static_cast<int64_t>(args.m_height) * i / parts);
        };
        kernels.m_draw(args, optics, IsDistorted(args.m_cameras), rowOf(part), rowOf(part + 1), own);
    });
    turn.RunRanges(pixels, [&](uint64_t first, uint64_t end) {
        for (uint32_t part = 1; part < parts; ++part) {
            kernels.m_takeNearer(target + first, spare + (part - 1) * pixels + first, end - first);
        }
        kernels.m_addOne(target + first, end - first);
    });
    return true;
}

bool Fill(const AlignArgs& args, uint16_t* target) {
    return Fill(args, target, CPoolTurn(0), nullptr);
}

} // namespace ox3d
