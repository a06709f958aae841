// FillApart.h - the patches of pixels with corners of their own, by the rule itself: every corner at the depth that
// its pixel has there. Part of FillFast.h, and like it local to the unit of a tier.
#pragma once

#include "algorithm/alignment/FillPatches.h"

namespace ox3d::alignment::OX3D_TIER {
namespace {

// So many pixels at a time: several groups, of which a processor has more than one in work.
constexpr int32_t kApart = 64;

// Some pixels: which of the band's they are, and the samples on and around them.
struct Around {
    alignas(64) uint16_t m_at[kApart];
    alignas(64) uint16_t m_samples[9][kApart]; // row by row
};

// The patches of the group from the i-th of these pixels on.
template <bool kDistorted>
[[gnu::always_inline]] inline Patch<Floats, Truth> PatchesOf(const BandRow& row, const FillOptics& o,
                                                             const Around& around, int32_t i) {
    float top[3];
    float middle[3];
    float bottom[3];
    RowRays(o, row.m_row - 0.5F, top);
    RowRays(o, row.m_row, middle);
    RowRays(o, row.m_row + 0.5F, bottom);
    const auto sample = [&around, i](int32_t k) { return Load(around.m_samples[k] + i); };
    const Floats u = Load(around.m_at + i) + static_cast<float>(row.m_first);
    const Floats own = sample(4);
    const Corner4<Floats> corners = {
        Project<kDistorted>(o, top, u - 0.5F, CornerDepth(own, sample(3), sample(1), sample(0), o.m_step)),
        Project<kDistorted>(o, top, u + 0.5F, CornerDepth(own, sample(5), sample(1), sample(2), o.m_step)),
        Project<kDistorted>(o, bottom, u - 0.5F, CornerDepth(own, sample(3), sample(7), sample(6), o.m_step)),
        Project<kDistorted>(o, bottom, u + 0.5F,
                            CornerDepth(own, sample(5), sample(7), sample(8), o.m_step))};
    return PatchOf<false>(o, corners, ReachOf(corners), MovedDepth(o, middle, u, own));
}

template <bool kDistorted>
[[gnu::noinline]] void PatchSome(const BandRow& row, const Around& around, int32_t count, Patches* patches) {
    const FillOptics o = *row.m_optics;
    alignas(64) uint32_t columns[kApart];
    alignas(64) uint32_t rows[kApart];
    alignas(64) uint32_t depths[kApart];
    for (int32_t i = 0; i < count; i += kLanes) {
        const Patch<Floats, Truth> patch = PatchesOf<kDistorted>(row, o, around, i);
        StoreWhole(Stretch(patch.m_left, patch.m_right), columns + i);
        StoreWholeWhere(patch.m_isDrawn, Stretch(patch.m_top, patch.m_bottom), rows + i);
        StoreWhole(patch.m_depth, depths + i);
    }
    for (int32_t i = 0; i < count; ++i) {
        const int32_t at = around.m_at[i];
        patches->m_columns[at] = columns[i];
        patches->m_rows[at] = rows[i];
        patches->m_depth[at] = depths[i];
    }
}

// A row's pixels of that kind.
template <bool kDistorted>
void PatchApart(const BandRow& row, const Samples& above, Around* around, Patches* patches) {
    const uint16_t* const rows[] = {above.From(-1), row.m_own->From(-1), row.m_below->From(-1)};
    int32_t count = 0;
    for (int32_t word = 0; word * 64 < row.m_count; ++word) {
        for (uint64_t bits = patches->m_areApart.m_words[word]; bits != 0; bits &= bits - 1) {
            const int32_t at = word * 64 + __builtin_ctzll(bits);
            around->m_at[count] = static_cast<uint16_t>(at);
            for (int32_t k = 0; k < 9; ++k) {
                around->m_samples[k][count] = rows[k / 3][at + k % 3];
            }
            ++count;
            if (count == kApart) {
                PatchSome<kDistorted>(row, *around, count, patches);
                count = 0;
            }
        }
    }
    PatchSome<kDistorted>(row, *around, count, patches);
}

} // namespace
} // namespace ox3d::alignment::OX3D_TIER
