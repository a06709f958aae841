// RgbdInterleave.cpp - see RgbdInterleave.h.
#include "Manager/RgbdInterleave.h"

namespace {

// Pixels from `first` to `last`, every source long enough.
void InterleaveWhole(const uint8_t* const (&planes)[3], const uint8_t* depth, uint64_t last, uint8_t* out) {
    for (uint64_t p = 0; p < last; ++p) {
        out[5 * p] = planes[0][p];
        out[5 * p + 1] = planes[1][p];
        out[5 * p + 2] = planes[2][p];
        out[5 * p + 3] = depth[2 * p];
        out[5 * p + 4] = depth[2 * p + 1];
    }
}

uint8_t ByteAt(ByteSpan span, uint64_t index) {
    return span.m_data != nullptr && index < span.m_lengthBytes ? span.m_data[index] : 0;
}

} // namespace

void InterleaveRgbd(ByteSpan colour, ByteSpan depth, uint64_t pixels, uint8_t* out) {
    const bool isWhole = colour.m_data != nullptr && depth.m_data != nullptr &&
                         colour.m_lengthBytes / 3 >= pixels && depth.m_lengthBytes / 2 >= pixels;
    if (isWhole) {
        const uint8_t* const planes[3] = {colour.m_data, colour.m_data + pixels, colour.m_data + 2 * pixels};
        InterleaveWhole(planes, depth.m_data, pixels, out);
        return;
    }
    for (uint64_t p = 0; p < pixels; ++p) {
        for (uint64_t plane = 0; plane < 3; ++plane) {
            out[5 * p + plane] = ByteAt(colour, p + plane * pixels);
        }
        out[5 * p + 3] = ByteAt(depth, 2 * p);
        out[5 * p + 4] = ByteAt(depth, 2 * p + 1);
    }
}
