// Fill.cpp - see Fill.h. The scalar reference stands here.
#include "algorithm/alignment/Fill.h"

#include "algorithm/alignment/FillTiers.h"
#include "algorithm/alignment/LensTurn.h"
#include "algorithm/dispatch/KernelChoice.h"

#include <array>
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
Spot<float> CornerOf(const AlignArgs& a, const FillOptics& o, bool isDistorted, int32_t u, int32_t v,
                     int32_t du, int32_t dv) {
    const float depth = CornerDepth(SampleAt(a, u, v), SampleAt(a, u + du, v), SampleAt(a, u, v + dv),
                                    SampleAt(a, u + du, v + dv), o.m_step);
    float along[3];
    RowRays(o, static_cast<float>(v) + 0.5F * static_cast<float>(dv), along);
    const float column = static_cast<float>(u) + 0.5F * static_cast<float>(du);
    return isDistorted ? Project<true>(o, along, column, depth) : Project<false>(o, along, column, depth);
}

void DrawPixel(const AlignArgs& a, const FillOptics& o, bool isDistorted, int32_t u, int32_t v,
               FillTarget* target) {
    float along[3];
    RowRays(o, static_cast<float>(v), along);
    const Corner4<float> corners = {
        CornerOf(a, o, isDistorted, u, v, -1, -1), CornerOf(a, o, isDistorted, u, v, 1, -1),
        CornerOf(a, o, isDistorted, u, v, -1, 1), CornerOf(a, o, isDistorted, u, v, 1, 1)};
    const auto patch = PatchOf<false>(o, corners, ReachOf(corners),
                                      MovedDepth(o, along, static_cast<float>(u), SampleAt(a, u, v)));
    if (!patch.m_isDrawn) {
        return;
    }
    const auto bottom = static_cast<int32_t>(patch.m_bottom);
    const auto right = static_cast<int32_t>(patch.m_right);
    const auto depth = static_cast<uint16_t>(static_cast<int32_t>(patch.m_depth) + 1);
    ReachRows(a, static_cast<int32_t>(patch.m_top), bottom, target);
    for (auto row = static_cast<int32_t>(patch.m_top); row < bottom; ++row) {
        for (auto column = static_cast<int32_t>(patch.m_left); column < right; ++column) {
            uint16_t& stored = target->m_depth[static_cast<ptrdiff_t>(row) * a.m_width + column];
            stored = NearerOf(stored, depth);
        }
    }
}

void DrawReference(const AlignArgs& a, const FillOptics& o, bool isDistorted, int32_t first, int32_t last,
                   FillTarget* target) {
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
        target[i] = NearerOf(target[i], other[i]);
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

constexpr FillKernels kReference = {DrawReference, PlaceReference, TakeNearer};

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

namespace alignment {
namespace {

// Brings what all parts have drawn of rows into the first one's target.
void MergeRows(const AlignArgs& args, const FillTarget* targets, uint32_t count, int32_t begin, int32_t end) {
    const auto width = static_cast<size_t>(args.m_width);
    for (int32_t row = begin; row < end; ++row) {
        uint16_t* const to = targets[0].m_depth + static_cast<size_t>(row) * width;
        if (row < targets[0].m_begin || row >= targets[0].m_end) {
            std::memset(to, 0, width * sizeof(uint16_t));
        }
        for (uint32_t i = 1; i < count; ++i) {
            if (row >= targets[i].m_begin && row < targets[i].m_end) {
                FillKernelsInUse().m_takeNearer(to, targets[i].m_depth + static_cast<size_t>(row) * width,
                                                width);
            }
        }
    }
}

} // namespace
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
    const auto rowOf = [&](uint64_t i) {
        return static_cast<int32_t>(static_cast<uint64_t>(args.m_height) * i / parts);
    };
    // Rows of one part may land anywhere, so each part has a target of its own. The nearest of all is the nearest.
    std::array<FillTarget, kMaxThreads> targets = {};
    turn.Run(parts, [&](uint32_t part) {
        targets[part].m_depth = part == 0 ? target : spare + (part - 1) * pixels;
        kernels.m_draw(args, optics, IsDistorted(args.m_cameras), rowOf(part), rowOf(part + 1),
                       &targets[part]);
    });
    turn.Run(parts,
             [&](uint32_t part) { MergeRows(args, targets.data(), parts, rowOf(part), rowOf(part + 1)); });
    return true;
}

bool Fill(const AlignArgs& args, uint16_t* target) {
    return Fill(args, target, CPoolTurn(0), nullptr);
}

} // namespace ox3d
