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

void MaskFilled(const AlignArgs& args, const uint16_t* filled, uint8_t* mask) {
    const float step = alignment::OpticsOf(args).m_step;
    for (ptrdiff_t row = 0; row < args.m_height; ++row) {
        MaskRow(filled + row * args.m_width, args.m_width, step, mask + row * args.m_width);
    }
}

} // namespace ox3d
