// MaskFilled.cpp - the occlusion mask of registered depth; see Fill.h.
#include "algorithm/alignment/FillTiers.h"

#include <cstring>

namespace ox3d {
namespace {

void MaskRow(const uint16_t* filled, int32_t width, float step, uint8_t* mask) {
    int32_t end = 0;
    while (end < width) {
        const int32_t begin = end;
        while (end < width && filled[end] != 0) {
            ++end;
        }
        std::memset(mask + begin, kMaskSeen, static_cast<size_t>(end - begin));
        const int32_t hole = end;
        while (end < width && filled[end] == 0) {
            ++end;
        }
        const bool isBetween = hole > 0 && end < width;
        const bool isStep = isBetween && !alignment::Linked<float>(filled[hole - 1], filled[end], step);
        std::memset(mask + hole, isStep ? kMaskHidden : kMaskNone, static_cast<size_t>(end - hole));
    }
}

} // namespace

void MaskFilled(const AlignArgs& args, const uint16_t* filled, const CPoolTurn& turn, uint8_t* mask) {
    const float step = alignment::OpticsOf(args).m_step;
    turn.RunRanges(static_cast<uint64_t>(args.m_height), [&](uint64_t first, uint64_t end) {
        for (uint64_t row = first; row < end; ++row) {
            const size_t start = row * static_cast<size_t>(args.m_width);
            MaskRow(filled + start, args.m_width, step, mask + start);
        }
    });
}

} // namespace ox3d
