// The bilinear scaler's fast kernel: Bilinear.h's arithmetic axis by axis, in loops that a vectoriser takes.
// Compiled once for each tier; a unit names its tier in OX3D_TIER, includes its FilterUnits() and
// BlendGroups() and then this file, once. Everything here is local to that unit.
// Relies on 16 bits being enough: a sample weighted along its row is at most 255 * 128.
#pragma once

#include "algorithm/dispatch/Bytes.h"
#include "algorithm/scaling/BilinearStrip.h"
#include "algorithm/scaling/BilinearTiers.h"

namespace ox3d::scaling::OX3D_TIER {
namespace {

// A source row weighted into a line, for columns that lie anywhere. Gathering and weighing take turns: only
// the second is work for vectors.
void FilterFar(const Strip& strip, const uint8_t* __restrict src, int16_t* __restrict line) {
    alignas(64) uint16_t pairs[kStrip];
    for (int32_t x = 0; x < strip.m_padded; ++x) {
        pairs[x] = LoadPair(src + strip.m_first[x]);
    }
    for (int32_t x = 0; x < strip.m_padded; ++x) {
        const int32_t left = pairs[x] & 0xFF;
        const int32_t right = pairs[x] >> 8;
        line[x] = static_cast<int16_t>(left * kWeightOne + (right - left) * strip.m_weight[x]);
    }
}

// Two lines into samples. With n the nearer line and f the other one of weight w/128, w at most 64, the sum
// over 128 * 128 is 128 n + (f - n) w, and cutting it by 128 first loses nothing of its rounding: that is n
// plus the upper half of (n - f) * (-512 w), whose factor fits 16 bits.
void Blend(const int16_t* __restrict nearer, const int16_t* __restrict farther, int32_t weight, int32_t count,
           uint8_t* __restrict out) {
    const auto factor = static_cast<int16_t>(-512 * weight);
    for (int32_t x = BlendGroups(nearer, farther, factor, count, out); x < count; ++x) {
        const auto difference = static_cast<int16_t>(nearer[x] - farther[x]);
        const auto moved = static_cast<int16_t>((difference * factor) >> 16);
        const auto sum = static_cast<int16_t>(nearer[x] + moved + kWeightOne / 2);
        out[x] = static_cast<uint8_t>(sum >> kWeightBits);
    }
}

// The weighted source rows that are at hand, a row in the line of its parity: neighbours never collide.
struct Lines {
    alignas(64) int16_t m_line[2][kStrip];
    int32_t m_row[2] = {-1, -1};
};

// Weighs those of a tap's rows that are not at hand.
void Fetch(const ScaleArgs& a, const Strip& strip, const Tap& tap, Lines* lines) {
    SourceRows src = {};
    LineRows line = {};
    int32_t lacking = 0;
    for (int32_t row = tap.m_first; row <= tap.m_second; ++row) {
        if (lines->m_row[row & 1] != row) {
            lines->m_row[row & 1] = row;
            src[lacking] = SourceRow(a, row);
            line[lacking++] = lines->m_line[row & 1];
        }
    }
    if (strip.m_loads > 0 && lacking > 0) {
        FilterUnits(strip, src, line, lacking);
        return;
    }
    for (int32_t i = 0; i < lacking; ++i) {
        FilterFar(strip, src[i], line[i]);
    }
}

void ScaleStrip(const ScaleArgs& a, const Strip& strip) {
    Lines lines;
    for (int32_t y = a.m_firstRow; y < a.m_endRow; ++y) {
        const Tap tap = TapOf(y, a.m_srcHeight, a.m_dstHeight);
        Fetch(a, strip, tap, &lines);
        const int16_t* first = lines.m_line[tap.m_first & 1];
        const int16_t* second = lines.m_line[tap.m_second & 1];
        uint8_t* out = TargetRow(a, y) + strip.m_begin;
        if (tap.m_weight <= kWeightOne / 2) {
            Blend(first, second, tap.m_weight, strip.m_count, out);
        } else {
            Blend(second, first, kWeightOne - tap.m_weight, strip.m_count, out);
        }
    }
}

void Scale(const ScaleArgs& args) {
    if (args.m_srcWidth < 2) {
        ScaleReference(args); // a row without two neighbours
        return;
    }
    for (int32_t begin = 0; begin < args.m_dstWidth; begin += kStrip) {
        Strip strip;
        FillStrip(args, begin, kHasUnits, &strip);
        ScaleStrip(args, strip);
    }
}

} // namespace

constinit const ScaleKernels kScaleKernels = {Scale};

} // namespace ox3d::scaling::OX3D_TIER
