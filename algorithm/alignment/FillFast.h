// FillFast.h - the filled registration in loops that a vectoriser takes. Compiled once for each tier; a unit names
// its tier in OX3D_TIER and includes this file, once. Everything here is local to that unit.
// The source is drawn in strips of columns, so that all of a strip's rows stay in the nearest cache. A corner that
// all its four pixels share is projected once; pixels beside a step or a hole have corners of their own, and their
// groups are drawn by the rule itself.
#pragma once

#include "algorithm/alignment/FillTiers.h"

#include <cstring>

namespace ox3d::alignment::OX3D_TIER {
namespace {

constexpr int32_t kGroup = 16;
constexpr int32_t kStrip = 256;
constexpr int32_t kLineGroup = 32;
constexpr int32_t kPadded = kStrip + 2 * kGroup;

// The corners between two rows: where they are, and whether all four pixels around share one. Corner i lies to
// the left of pixel i.
struct Corners {
    alignas(64) float m_x[kPadded];
    alignas(64) float m_y[kPadded];
    alignas(64) float m_z[kPadded];
    alignas(64) int32_t m_isShared[kPadded];
};

struct Samples {
    alignas(64) float m_depth[kPadded]; // of pixel i at i + 1; 0 is none
};

struct Patches {
    alignas(64) int32_t m_left[kPadded];
    alignas(64) int32_t m_right[kPadded];
    alignas(64) int32_t m_rows[kPadded]; // top and bottom in one number; negative: not drawn
    alignas(64) int32_t m_depth[kPadded];
    alignas(64) int32_t m_isApart[kPadded]; // has a corner of its own
    alignas(64) uint8_t m_isEnd[kPadded];
};

struct Line {
    int32_t m_begin; // in the depths of all
    int32_t m_length;
    int32_t m_left;
    int32_t m_rows;
};

// A row's lines, drawn when the next row has been projected: a processor waits when it reads what it has only just
// written in smaller pieces. A group of room stands behind each.
struct Lines {
    int32_t m_count;
    Line m_line[kStrip];
    alignas(64) uint16_t m_depth[kStrip * (kMaxSpan + kLineGroup)];
};

struct Strip {
    int32_t m_first; // column
    int32_t m_count;
    Samples m_samples[3]; // rows by turns
    Corners m_corners[2];
    Patches m_patches;
    Lines m_lines;
};

// Samples as floats, with those of the neighbouring strips.
void LoadRow(const AlignArgs& a, int32_t v, int32_t first, int32_t count, Samples* __restrict out) {
    std::memset(out, 0, sizeof *out);
    if (v < 0 || v >= a.m_height) {
        return;
    }
    const uint16_t* __restrict row = a.m_depth + static_cast<ptrdiff_t>(v) * a.m_width;
    const int32_t begin = first > 0 ? 0 : 1;
    const int32_t end = first + count < a.m_width ? count + 2 : count + 1;
    for (int32_t i = begin; i < end; ++i) {
        const int32_t sample = static_cast<int16_t>(row[first + i - 1]);
        out->m_depth[i] = static_cast<float>(sample > 0 ? sample : 0);
    }
}

// The corners between two rows, at height v.
template <bool kDistorted>
void ProjectCorners(const FillOptics& optics, float v, int32_t first, int32_t count, const Samples& above,
                    const Samples& below, Corners* __restrict corners) {
    const FillOptics o = optics;
    float along[3];
    RowRays(o, v, along);
    const auto left = static_cast<float>(first);
    for (int32_t i = 0; i < count; ++i) {
        const float a = above.m_depth[i];
        const float b = above.m_depth[i + 1];
        const float c = below.m_depth[i];
        const float d = below.m_depth[i + 1];
        const int32_t links =
            Linked(a, b, o.m_step) + Linked(c, d, o.m_step) + Linked(a, c, o.m_step) + Linked(b, d, o.m_step);
        const float u = left + static_cast<float>(i) - 0.5F;
        const Spot spot = Project<kDistorted>(o, along, u, (a + b + c + d) * 0.25F);
        corners->m_x[i] = spot.x;
        corners->m_y[i] = spot.y;
        corners->m_z[i] = spot.z;
        corners->m_isShared[i] = static_cast<int32_t>(links >= 3);
    }
}

// A patch's rows as one number; negative where nothing is drawn.
[[gnu::always_inline]] inline int32_t RowsOf(const Patch& patch, int32_t isDepth) {
    return (patch.m_top * 65536 + patch.m_bottom) | ((isDepth & patch.m_isDrawn) - 1);
}

[[gnu::always_inline]] inline Spot SpotOf(const Corners& c, int32_t i) {
    return {c.m_x[i], c.m_y[i], c.m_z[i]};
}

// Pixels whose corners are all shared. Returns whether there are others.
int32_t PatchRow(const FillOptics& optics, float v, int32_t first, int32_t count,
                 const Samples* __restrict samples, const Corners* __restrict t, const Corners* __restrict b,
                 Patches* __restrict patches) {
    const FillOptics o = optics;
    float along[3];
    RowRays(o, v, along);
    const auto left = static_cast<float>(first);
    int32_t areApart = 0;
    for (int32_t i = 0; i < count; ++i) {
        const float d = samples->m_depth[i + 1];
        const float z = MovedDepth(o, along, left + static_cast<float>(i), d);
        const Corner4 corners = {SpotOf(*t, i), SpotOf(*t, i + 1), SpotOf(*b, i), SpotOf(*b, i + 1)};
        const Patch patch = PatchOf(o, corners, z);
        const auto isDepth = static_cast<int32_t>(d > 0.0F);
        patches->m_left[i] = patch.m_left;
        patches->m_right[i] = patch.m_right;
        patches->m_rows[i] = RowsOf(patch, isDepth);
        patches->m_depth[i] = patch.m_depth;
        const int32_t isApart =
            isDepth &
            ((t->m_isShared[i] & t->m_isShared[i + 1] & b->m_isShared[i] & b->m_isShared[i + 1]) ^ 1);
        patches->m_isApart[i] = isApart;
        areApart |= isApart;
    }
    return areApart;
}

// A group by the rule itself: every corner at the depth that its pixel has there.
template <bool kDistorted>
void PatchGroup(const FillOptics& optics, float v, int32_t first, int32_t begin, const Samples& above,
                const Samples& own, const Samples& below, Patches* __restrict patches) {
    const FillOptics o = optics;
    float top[3];
    float middle[3];
    float bottom[3];
    RowRays(o, v - 0.5F, top);
    RowRays(o, v, middle);
    RowRays(o, v + 0.5F, bottom);
    const auto column = static_cast<float>(first + begin);
    const float* __restrict a = above.m_depth + begin;
    const float* __restrict m = own.m_depth + begin;
    const float* __restrict b = below.m_depth + begin;
    for (int32_t i = 0; i < kGroup; ++i) {
        const float u = column + static_cast<float>(i);
        const float d = m[i + 1];
        const float tl = CornerDepth(d, m[i], a[i + 1], a[i], o.m_step);
        const float tr = CornerDepth(d, m[i + 2], a[i + 1], a[i + 2], o.m_step);
        const float bl = CornerDepth(d, m[i], b[i + 1], b[i], o.m_step);
        const float br = CornerDepth(d, m[i + 2], b[i + 1], b[i + 2], o.m_step);
        const Corner4 corners = {
            Project<kDistorted>(o, top, u - 0.5F, tl), Project<kDistorted>(o, top, u + 0.5F, tr),
            Project<kDistorted>(o, bottom, u - 0.5F, bl), Project<kDistorted>(o, bottom, u + 0.5F, br)};
        const Patch patch = PatchOf(o, corners, MovedDepth(o, middle, u, d));
        patches->m_left[begin + i] = patch.m_left;
        patches->m_right[begin + i] = patch.m_right;
        patches->m_rows[begin + i] = RowsOf(patch, static_cast<int32_t>(d > 0.0F));
        patches->m_depth[begin + i] = patch.m_depth;
    }
}

// Whole groups: what is too much of a line is empty, and lowers nothing.
void LowerRow(uint16_t* __restrict target, const uint16_t* __restrict line, int32_t count) {
    for (int32_t first = 0; first < count; first += kLineGroup) {
        for (int32_t i = first; i < first + kLineGroup; ++i) {
            target[i] = target[i] < line[i] ? target[i] : line[i];
        }
    }
}

// Only what there is, at the target's end.
void LowerEnd(uint16_t* target, const uint16_t* line, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        target[i] = target[i] < line[i] ? target[i] : line[i];
    }
}

// Marks the patches that are not continued by the next one, to the right and on the same rows of the target.
void MarkEnds(int32_t count, Patches* __restrict p) {
    for (int32_t i = 0; i < count; ++i) {
        const int32_t isEnd = static_cast<int32_t>(p->m_rows[i] != p->m_rows[i + 1]) |
                              static_cast<int32_t>(p->m_right[i] != p->m_left[i + 1]);
        p->m_isEnd[i] = static_cast<uint8_t>(isEnd);
    }
}

// The patches from `begin` to `end`, of which each continues the one before, as a line of depths. Returns its length.
// A patch is stored four pixels wide: what is too much is overwritten by the next one, or by the line's end.
int32_t WriteLine(const Patches& p, int32_t begin, int32_t end, uint16_t* line) {
    const int32_t left = p.m_left[begin];
    for (int32_t i = begin; i < end; ++i) {
        const uint64_t depths = static_cast<uint64_t>(p.m_depth[i]) * 0x0001000100010001ULL;
        uint16_t* to = line + (p.m_left[i] - left);
        std::memcpy(to, &depths, sizeof depths);
        if (p.m_right[i] - p.m_left[i] > 4) {
            std::memcpy(to + 4, &depths, sizeof depths);
        }
    }
    const int32_t length = p.m_right[end - 1] - left;
    std::memset(line + length, 0xFF, kLineGroup * sizeof(uint16_t));
    return length;
}

// Asks for memory that will be wanted a row later.
void Fetch(const uint16_t* target, int32_t count) {
    for (int32_t i = 0; i < count; i += kLineGroup) {
        __builtin_prefetch(target + i, 1);
    }
}

// Patches of a row that continue one another become one line.
void WriteLines(const Patches& p, int32_t count, int32_t width, const uint16_t* target, Lines* lines) {
    int32_t begin = 0;
    int32_t used = 0;
    lines->m_count = 0;
    while (begin < count) {
        int32_t end = begin + 1;
        if (p.m_rows[begin] >= 0) {
            while (p.m_isEnd[end - 1] == 0) {
                ++end;
            }
            const int32_t length = WriteLine(p, begin, end, lines->m_depth + used);
            lines->m_line[lines->m_count++] = {used, length, p.m_left[begin], p.m_rows[begin]};
            used += length + kLineGroup;
            Fetch(target + static_cast<int64_t>(p.m_rows[begin] >> 16) * width + p.m_left[begin], length);
        }
        begin = end;
    }
}

// Lays the lines onto their rows of the target.
void DrawLines(const Lines& lines, int32_t width, int32_t height, uint16_t* target) {
    const int64_t pixels = static_cast<int64_t>(width) * height;
    for (int32_t i = 0; i < lines.m_count; ++i) {
        const Line& line = lines.m_line[i];
        const uint16_t* depth = lines.m_depth + line.m_begin;
        for (int32_t row = line.m_rows >> 16; row < (line.m_rows & 0xFFFF); ++row) {
            const int64_t first = static_cast<int64_t>(row) * width + line.m_left;
            if (first + line.m_length + kLineGroup <= pixels) {
                LowerRow(target + first, depth, line.m_length);
            } else {
                LowerEnd(target + first, depth, line.m_length);
            }
        }
    }
}

template <bool kDistorted>
void PatchApart(const FillOptics& o, float v, int32_t first, int32_t count, const Samples& above,
                const Samples& own, const Samples& below, Patches* patches) {
    for (int32_t u = 0; u < count; u += kGroup) {
        int32_t areApart = 0;
        for (int32_t i = 0; i < kGroup; ++i) {
            areApart |= patches->m_isApart[u + i];
        }
        if (areApart != 0) {
            PatchGroup<kDistorted>(o, v, first, u, above, own, below, patches);
        }
    }
}

template <bool kDistorted>
void DrawStrip(const AlignArgs& a, const FillOptics& o, int32_t firstRow, int32_t lastRow, Strip* strip,
               uint16_t* target) {
    const int32_t first = strip->m_first;
    const int32_t count = strip->m_count;
    LoadRow(a, firstRow - 1, first, count, &strip->m_samples[0]);
    LoadRow(a, firstRow, first, count, &strip->m_samples[1]);
    ProjectCorners<kDistorted>(o, static_cast<float>(firstRow) - 0.5F, first, count + 1, strip->m_samples[0],
                               strip->m_samples[1], &strip->m_corners[0]);
    Patches& patches = strip->m_patches;
    strip->m_lines.m_count = 0;
    for (int32_t v = firstRow; v < lastRow; ++v) {
        const int32_t turn = v - firstRow;
        const Samples& above = strip->m_samples[turn % 3];
        const Samples& own = strip->m_samples[(turn + 1) % 3];
        Samples& below = strip->m_samples[(turn + 2) % 3];
        const auto height = static_cast<float>(v);
        LoadRow(a, v + 1, first, count, &below);
        ProjectCorners<kDistorted>(o, height + 0.5F, first, count + 1, own, below,
                                   &strip->m_corners[(turn + 1) % 2]);
        if (PatchRow(o, height, first, count, &own, &strip->m_corners[turn % 2],
                     &strip->m_corners[(turn + 1) % 2], &patches) != 0) {
            PatchApart<kDistorted>(o, height, first, count, above, own, below, &patches);
        }
        patches.m_rows[count] = -1;
        MarkEnds(count, &patches);
        DrawLines(strip->m_lines, a.m_width, a.m_height, target);
        WriteLines(patches, count, a.m_width, target, &strip->m_lines);
    }
    DrawLines(strip->m_lines, a.m_width, a.m_height, target);
}

void Draw(const AlignArgs& a, const FillOptics& o, bool isDistorted, int32_t firstRow, int32_t lastRow,
          uint16_t* target) {
    Strip strip = {};
    for (int32_t first = 0; first < a.m_width; first += kStrip) {
        strip.m_first = first;
        strip.m_count = a.m_width - first < kStrip ? a.m_width - first : kStrip;
        if (isDistorted) {
            DrawStrip<true>(a, o, firstRow, lastRow, &strip, target);
        } else {
            DrawStrip<false>(a, o, firstRow, lastRow, &strip, target);
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
        target[i] = target[i] < other[i] ? target[i] : other[i];
    }
}

void AddOne(uint16_t* target, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
        target[i] = static_cast<uint16_t>(target[i] + 1U);
    }
}

} // namespace

constinit const FillKernels kFillKernels = {Draw, PlaceRow, TakeNearer, AddOne};

} // namespace ox3d::alignment::OX3D_TIER
