// FillFast.h - the filled registration by whole groups of lanes. Compiled once for each tier; a unit names its tier in
// OX3D_TIER, defines what its lanes can do, and includes this file, once. Everything here is local to that unit.
// The source is drawn row by row: a row's patches are worked out block by block, then those beside steps and holes, and
// then all become lines that are laid onto the target.
#pragma once

#include "algorithm/alignment/FillApart.h"
#include "algorithm/alignment/FillLines.h"

namespace ox3d::alignment::OX3D_TIER {
namespace {

// All that a band is drawn with.
struct Band {
    int32_t m_first; // column
    int32_t m_count;
    Samples m_samples[3]; // rows by turns
    Corners m_corners[2];
    Sides m_sides;
    Around m_around;
    Patches m_patches;
    Lines m_lines;
};

// A row of the source, with the band's neighbours on both sides.
void LoadRow(const AlignArgs& a, int32_t v, const Band& band, Samples* __restrict out) {
    if (v < 0 || v >= a.m_height) {
        std::memset(out, 0, sizeof *out);
        return;
    }
    const uint16_t* __restrict row = a.m_depth + static_cast<ptrdiff_t>(v) * a.m_width + band.m_first;
    const int32_t begin = band.m_first > 0 ? -1 : 0;
    const int32_t end = band.m_first + band.m_count < a.m_width ? band.m_count + 1 : band.m_count;
    for (int32_t i = begin; i < end; ++i) {
        out->m_samples[kSpare + i] = row[i] <= 0x7FFF ? row[i] : uint16_t{0};
    }
    out->m_samples[kSpare + begin - 1] = 0;
    std::memset(out->m_samples + kSpare + end, 0, kSpare * sizeof(uint16_t));
}

template <bool kDistorted>
void DrawBand(const AlignArgs& a, const FillOptics& o, int32_t firstRow, int32_t lastRow, Band* band,
              FillTarget* target) {
    const auto samplesAt = [band](int32_t turn) -> Samples& { return band->m_samples[turn % 3]; };
    const auto rowAt = [&](int32_t v, int32_t turn) -> BandRow {
        const int32_t wanted = v + kRowsAhead < a.m_height ? v + kRowsAhead : a.m_height - 1;
        const uint16_t* const ahead = a.m_depth + static_cast<ptrdiff_t>(wanted) * a.m_width + band->m_first;
        return {&o,
                &samplesAt(turn),
                &samplesAt(turn + 1),
                &band->m_corners[turn % 2],
                &band->m_corners[(turn + 1) % 2],
                ahead,
                static_cast<float>(v),
                band->m_first,
                band->m_count};
    };
    LoadRow(a, firstRow - 1, *band, &samplesAt(0));
    LoadRow(a, firstRow, *band, &samplesAt(1));
    const BandRow before = rowAt(firstRow - 1, 0);
    StartCorners(before, &band->m_corners[0]);
    ProjectBelow<kDistorted>(before, &band->m_sides);
    SortPixels(before, band->m_sides, &band->m_patches);
    for (int32_t v = firstRow; v < lastRow; ++v) {
        const int32_t turn = v - firstRow + 1;
        const BandRow row = rowAt(v, turn);
        LoadRow(a, v + 1, *band, &samplesAt(turn + 1));
        ProjectBelow<kDistorted>(row, &band->m_sides);
        SortPixels(row, band->m_sides, &band->m_patches);
        PatchWhole(row, band->m_sides, &band->m_patches);
        PatchApart<kDistorted>(row, samplesAt(turn - 1), &band->m_around, &band->m_patches);
        DrawLines(&band->m_lines, a, target);
        WriteLines(band->m_patches, band->m_count, a, &band->m_lines, target);
    }
    DrawLines(&band->m_lines, a, target);
}

void Draw(const AlignArgs& a, const FillOptics& o, bool isDistorted, int32_t firstRow, int32_t lastRow,
          FillTarget* target) {
    Band band = {};
    for (int32_t first = 0; first < a.m_width; first += kBand) {
        band.m_first = first;
        band.m_count = a.m_width - first < kBand ? a.m_width - first : kBand;
        if (isDistorted) {
            DrawBand<true>(a, o, firstRow, lastRow, &band, target);
        } else {
            DrawBand<false>(a, o, firstRow, lastRow, &band, target);
        }
    }
}

template <bool kDistorted>
void PlaceStretch(const AlignArgs& a, const FillOptics& optics, const ColorGrid& grid, int32_t row,
                  int32_t first, int32_t count, Places* __restrict places) {
    const FillOptics o = optics;
    const ColorGrid g = grid;
    float along[3];
    RowRays(o, static_cast<float>(row), along);
    const uint16_t* __restrict depth = a.m_depth + static_cast<ptrdiff_t>(row) * a.m_width + first;
    const int32_t width = a.m_width;
    const auto left = static_cast<float>(first);
    for (int32_t i = 0; i < count; ++i) {
        const auto d = static_cast<float>(static_cast<int16_t>(depth[i]));
        const Place place = PlaceOf<kDistorted>(o, along, g, width, left + static_cast<float>(i), d);
        places->m_index[i] = place.m_index;
        places->m_depth[i] = place.m_depth;
        places->m_column[i] = place.m_column;
        places->m_row[i] = place.m_row;
    }
}

void PlaceRow(const AlignArgs& a, const FillOptics& o, bool isDistorted, const ColorGrid& grid, int32_t row,
              int32_t first, int32_t count, Places* places) {
    if (isDistorted) {
        PlaceStretch<true>(a, o, grid, row, first, count, places);
    } else {
        PlaceStretch<false>(a, o, grid, row, first, count, places);
    }
}

void TakeNearer(uint16_t* __restrict target, const uint16_t* __restrict other, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
        target[i] = NearerOf(target[i], other[i]);
    }
}

} // namespace

constinit const FillKernels kFillKernels = {Draw, PlaceRow, TakeNearer};

} // namespace ox3d::alignment::OX3D_TIER
