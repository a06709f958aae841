// FillApart.h - the patches of pixels with corners of their own, by the rule itself: every corner at the depth that
// its pixel has there. Part of FillFast.h, and like it local to the unit of a tier.
#pragma once

#include "algorithm/alignment/FillPatches.h"

namespace ox3d::alignment::OX3D_TIER {
namespace {

// Some pixels' columns, and the samples on and around them.
struct Around {
    alignas(64) float m_column[kLanes];
    alignas(64) uint16_t m_samples[9][kLanes]; // row by row
};

template <bool kDistorted>
[[gnu::always_inline]] inline Patch<Floats, Truth> PatchesOf(const FillOptics& o, float v,
                                                             const Around& around) {
    float top[3];
    float middle[3];
    float bottom[3];
    RowRays(o, v - 0.5F, top);
    RowRays(o, v, middle);
    RowRays(o, v + 0.5F, bottom);
    Floats s[9] = {0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F};
    for (int32_t i = 0; i < 9; ++i) {
        s[i] = Load(around.m_samples[i]);
    }
    const Floats u = Load(around.m_column);
    const Floats own = s[4];
    const Corner4<Floats> corners = {
        Project<kDistorted>(o, top, u - 0.5F, CornerDepth(own, s[3], s[1], s[0], o.m_step)),
        Project<kDistorted>(o, top, u + 0.5F, CornerDepth(own, s[5], s[1], s[2], o.m_step)),
        Project<kDistorted>(o, bottom, u - 0.5F, CornerDepth(own, s[3], s[7], s[6], o.m_step)),
        Project<kDistorted>(o, bottom, u + 0.5F, CornerDepth(own, s[5], s[7], s[8], o.m_step))};
    return PatchOf<false>(o, corners, ReachOf(corners), MovedDepth(o, middle, u, own));
}

// A row's pixels of that kind.
template <bool kDistorted>
void PatchApart(const BandRow& row, const Samples& above, Patches* patches) {
    const Samples* const rows[] = {&above, row.m_own, row.m_below};
    Around around;
    int32_t apart[kLanes];
    int32_t count = 0;
    const auto finish = [&] {
        alignas(64) uint32_t some[3][kLanes];
        const Patch<Floats, Truth> patch = PatchesOf<kDistorted>(*row.m_optics, row.m_row, around);
        StorePairs(patch.m_left, patch.m_right - patch.m_left, some[0]);
        StorePairsWhere(patch.m_isDrawn, patch.m_top, patch.m_bottom, some[1]);
        StorePairs(patch.m_depth, patch.m_depth, some[2]);
        for (int32_t i = 0; i < count; ++i) {
            patches->m_columns[apart[i]] = some[0][i];
            patches->m_rows[apart[i]] = some[1][i];
            patches->m_depth[apart[i]] = some[2][i];
        }
        count = 0;
    };
    for (int32_t word = 0; word * 64 < row.m_count; ++word) {
        for (uint64_t bits = patches->m_areApart.m_words[word]; bits != 0; bits &= bits - 1) {
            const int32_t at = word * 64 + __builtin_ctzll(bits);
            apart[count] = at;
            around.m_column[count] = static_cast<float>(row.m_first + at);
            for (int32_t k = 0; k < 9; ++k) {
                around.m_samples[k][count] = rows[k / 3]->From(at - 1)[k % 3];
            }
            if (++count == kLanes) {
                finish();
            }
        }
    }
    if (count > 0) {
        finish();
    }
}

} // namespace
} // namespace ox3d::alignment::OX3D_TIER
