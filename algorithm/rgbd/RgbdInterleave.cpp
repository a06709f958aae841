// RgbdInterleave.cpp - see RgbdInterleave.h.
#include "algorithm/rgbd/RgbdInterleave.h"

#include "algorithm/dispatch/KernelChoice.h"
#include "algorithm/rgbd/RgbdInterleaveTiers.h"
#include "base/WorkerPool.h"

namespace ox3d {
namespace {

// Pixels from `first` to `last`, every source long enough. The definition, and the rest of the fast loops.
void InterleaveWhole(const uint8_t* const (&planes)[3], const uint8_t* depth, uint64_t first, uint64_t last,
                     uint8_t* out) {
    for (uint64_t p = first; p < last; ++p) {
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

uint64_t NoGroups(const uint8_t* /*color*/, uint64_t /*planeBytes*/, const uint8_t* /*depth*/,
                  uint64_t /*pixels*/, uint8_t* /*out*/) {
    return 0;
}

constexpr InterleaveKernels kPlain = {NoGroups};

constinit CKernelChoice<InterleaveKernels, kPlain, kPlain, avx2::kInterleaveKernels,
                        avx512::kInterleaveKernels, true>
    g_choice;

} // namespace

EKernelTier UseInterleaveKernelTier(EKernelTier tier) {
    return g_choice.Use(tier);
}

void InterleaveRgbd(ByteSpan color, ByteSpan depth, uint64_t pixels, uint8_t* out) {
    const bool isWhole = color.m_data != nullptr && depth.m_data != nullptr &&
                         color.m_lengthBytes / 3 >= pixels && depth.m_lengthBytes / 2 >= pixels;
    if (isWhole) {
        const uint8_t* const planes[3] = {color.m_data, color.m_data + pixels, color.m_data + 2 * pixels};
        const InterleaveKernels& kernels = g_choice.InUse();
        CPoolTurn(pixels).RunRanges(pixels, [&](uint64_t first, uint64_t end) {
            const uint64_t done = kernels.m_groups(color.m_data + first, pixels, depth.m_data + 2 * first,
                                                   end - first, out + kRgbdPixelBytes * first);
            InterleaveWhole(planes, depth.m_data, first + done, end, out);
        });
        return;
    }
    for (uint64_t p = 0; p < pixels; ++p) {
        for (uint64_t plane = 0; plane < 3; ++plane) {
            out[5 * p + plane] = ByteAt(color, p + plane * pixels);
        }
        out[5 * p + 3] = ByteAt(depth, 2 * p);
        out[5 * p + 4] = ByteAt(depth, 2 * p + 1);
    }
}

} // namespace ox3d
