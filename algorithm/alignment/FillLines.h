// FillLines.h - patches that continue one another, as lines of depths that are laid onto the target's rows. Part of
// FillFast.h, and like it local to the unit of a tier.
#pragma once

#include "algorithm/alignment/FillPatches.h"

#include <cstring>

namespace ox3d::alignment::OX3D_TIER {
namespace {

constexpr int32_t kLineGroup = 32;
constexpr int32_t kLines = 64;
constexpr int32_t kLongest = 512; // patches of a line
constexpr int32_t kLineRoom = kLongest * kMaxSpan + 2048;

struct Line {
    int32_t m_begin; // in the depths of all
    int32_t m_length;
    int32_t m_left;
    int32_t m_top;
    int32_t m_bottom;
};

// Lines that wait to be drawn until others have been worked out: a processor waits when it reads what it has only
// just written in smaller pieces. A group that lowers nothing stands behind each.
struct Lines {
    int32_t m_count;
    int32_t m_used;
    Line m_line[kLines];
    alignas(64) uint16_t m_depth[kLineRoom];
};

// Whole groups: what is too much of a line is empty, and lowers nothing. In the target 0 is empty.
[[gnu::always_inline]] inline void LowerRow(uint16_t* __restrict target, const uint16_t* __restrict line,
                                            int32_t count) {
    for (int32_t first = 0; first < count; first += kLineGroup) {
        for (int32_t i = first; i < first + kLineGroup; ++i) {
            const auto stored = static_cast<uint16_t>(target[i] - 1);
            target[i] = static_cast<uint16_t>((stored < line[i] ? stored : line[i]) + 1);
        }
    }
}

// Only what there is, at the target's end.
void LowerEnd(uint16_t* target, const uint16_t* line, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const auto stored = static_cast<uint16_t>(target[i] - 1);
        target[i] = static_cast<uint16_t>((stored < line[i] ? stored : line[i]) + 1);
    }
}

// Lays the lines onto their rows of the target, and forgets them.
void DrawLines(Lines* lines, const AlignArgs& a, FillTarget* target) {
    const int64_t pixels = static_cast<int64_t>(a.m_width) * a.m_height;
    for (int32_t i = 0; i < lines->m_count; ++i) {
        const Line line = lines->m_line[i];
        const uint16_t* depth = lines->m_depth + line.m_begin;
        for (int32_t row = line.m_top; row < line.m_bottom; ++row) {
            const int64_t first = static_cast<int64_t>(row) * a.m_width + line.m_left;
            if (first + line.m_length + kLineGroup <= pixels) {
                LowerRow(target->m_depth + first, depth, line.m_length);
            } else {
                LowerEnd(target->m_depth + first, depth, line.m_length);
            }
        }
    }
    lines->m_count = 0;
    lines->m_used = 0;
}

// The first mark from `at` on; there is one.
[[gnu::always_inline]] inline int32_t NextOf(const Marks& marks, int32_t at) {
    int32_t word = at / 64;
    uint64_t bits = marks.m_words[word] & ~uint64_t{0} << static_cast<uint32_t>(at % 64);
    while (bits == 0) {
        bits = marks.m_words[++word];
    }
    return word * 64 + __builtin_ctzll(bits);
}

// Some patches, of which each continues the one before, as a line of depths. What is stored too much of one is overwritten
// by the next one, or by the line's end.
void WriteLine(const uint32_t* columns, const uint32_t* depths, int32_t count, uint16_t* line) {
    const int32_t left = FirstOf(columns[0]);
#pragma GCC unroll 4
    for (int32_t i = 0; i < count; ++i) {
        uint16_t* const to = line + (FirstOf(columns[i]) - left);
        const uint32_t pair = depths[i] * 0x10001U;
        std::memcpy(to, &pair, sizeof pair);
        if (columns[i] >> 16U > 2) {
            for (int32_t k = 2; k < kMaxSpan; k += 2) {
                std::memcpy(to + k, &pair, sizeof pair);
            }
        }
    }
}

// Patches of a row that continue one another, to the right and on the same rows of the target, become one line.
void WriteLines(const Patches& p, int32_t count, const AlignArgs& a, Lines* lines, FillTarget* target) {
    Marks drawn;
    Marks ends;
    drawn.m_words[count / 64] = 0;
    ends.m_words[count / 64] = 0;
    bool isPackable = true;
    for (int32_t i = 0; i < count; i += kLanes) {
        isPackable = MarkDrawn(p.m_columns + i, p.m_rows + i, i, drawn.m_words, ends.m_words) && isPackable;
    }
    drawn.m_words[count / 64] |= uint64_t{1} << static_cast<uint32_t>(count % 64);
    for (int32_t begin = NextOf(drawn, 0); begin < count; begin = NextOf(drawn, begin)) {
        const int32_t next = NextOf(ends, begin) + 1;
        const int32_t end = next - begin < kLongest ? next : begin + kLongest;
        const int32_t left = FirstOf(p.m_columns[begin]);
        const int32_t length = EndOf(p.m_columns[end - 1]) - left;
        const int32_t top = FirstOf(p.m_rows[begin]);
        const int32_t bottom = EndOf(p.m_rows[begin]);
        if (lines->m_count == kLines || lines->m_used + length + 2 * kLineGroup > kLineRoom) {
            DrawLines(lines, a, target);
        }
        uint16_t* const line = lines->m_depth + lines->m_used;
        if (isPackable) {
            PackLine(p.m_columns + begin, p.m_depth + begin, end - begin, line);
        } else {
            WriteLine(p.m_columns + begin, p.m_depth + begin, end - begin, line);
        }
        std::memset(line + length, 0xFF, kLineGroup * sizeof(uint16_t));
        lines->m_line[lines->m_count++] = {lines->m_used, length, left, top, bottom};
        lines->m_used += length + kLineGroup;
        ReachRows(a, top, bottom, target);
        begin = end;
    }
}

} // namespace
} // namespace ox3d::alignment::OX3D_TIER
