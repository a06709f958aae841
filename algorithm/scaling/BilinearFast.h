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
    for (int32_t x = 0; x < strip.padded; ++x) {
        pairs[x] = LoadPair(src + strip.first[x]);
    }
    for (int32_t x = 0; x < strip.padded; ++x) {
        const int32_t left = pairs[x] & 0xFF;
        const int32_t right = pairs[x] >> 8;
        line[x] = static_cast<int16_t>(left * kWeightOne + (right - left) * strip.weight[x]);
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
    alignas(64) int16_t line[2][kStrip];
    int32_t row[2] = {-1, -1};
};

// Weighs those of a tap's rows that are not at hand.
void Fetch(const ScaleArgs& a, const Strip& strip, const Tap& tap, Lines* lines) {
    SourceRows src = {};
    LineRows line = {};
    int32_t lacking = 0;
    for (int32_t row = tap.first; row <= tap.second; ++row) {
        if (lines->row[row & 1] != row) {
            lines->row[row & 1] = row;
            src[lacking] = SourceRow(a, row);
            line[lacking++] = lines->line[row & 1];
        }
    }
    if (strip.loads > 0 && lacking > 0) {
        FilterUnits(strip, src, line, lacking);
        return;
    }
    for (int32_t i = 0; i < lacking; ++i) {
        FilterFar(strip, src[i], line[i]);
    }
}

void ScaleStrip(const ScaleArgs& a, const Strip& strip) {
    Lines lines;
    for (int32_t y = 0; y < a.dstHeight; ++y) {
        const Tap tap = TapOf(y, a.srcHeight, a.dstHeight);
        Fetch(a, strip, tap, &lines);
        const int16_t* first = lines.line[tap.first & 1];
        const int16_t* second = lines.line[tap.second & 1];
        uint8_t* out = TargetRow(a, y) + strip.begin;
        if (tap.weight <= kWeightOne / 2) {
            Blend(first, second, tap.weight, strip.count, out);
        } else {
            Blend(second, first, kWeightOne - tap.weight, strip.count, out);
        }
    }
}

void Scale(const ScaleArgs& args) {
    if (args.srcWidth < 2) {
        ScaleReference(args); // a row without two neighbours
        return;
    }
    for (int32_t begin = 0; begin < args.dstWidth; begin += kStrip) {
        Strip strip;
        FillStrip(args, begin, kHasUnits, &strip);
        ScaleStrip(args, strip);
    }
}

} // namespace

constinit const ScaleKernels kScaleKernels = {Scale};

} // namespace ox3d::scaling::OX3D_TIER
