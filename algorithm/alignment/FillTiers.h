// FillTiers.h - the filled registration's loops by tier. Relies on FillKernel.h as the definition of what every
// tier computes.
#pragma once

#include "algorithm/alignment/FillKernel.h"
#include "algorithm/dispatch/KernelTier.h"

#include <cstring>

namespace ox3d::alignment {

// Where a stretch of a row's depths is seen: index in the target's image, or -1 outside of it; the depth there; and the
// position in an image of the color camera, in 128ths of pixels.
constexpr int32_t kStretch = 256;
struct Places {
    alignas(64) int32_t m_index[kStretch];
    alignas(64) float m_depth[kStretch];
    alignas(64) int32_t m_column[kStretch];
    alignas(64) int32_t m_row[kStretch];
};

// Where depths are drawn, 0 being none. Rows outside of those from m_begin to m_end hold anything: they are cleared when
// something reaches them, shortly before it is drawn, so that they have not left the caches by then.
struct FillTarget {
    uint16_t* m_depth;
    int32_t m_begin;
    int32_t m_end;
};

struct FillKernels {
    // Draws the source's rows from `first` to `last`.
    void (*m_draw)(const AlignArgs& args, const FillOptics& optics, bool isDistorted, int32_t first,
                   int32_t last, FillTarget* target);
    // Places of up to kStretch pixels from (first, row) on. What has no depth may be placed anywhere.
    void (*m_place)(const AlignArgs& args, const FillOptics& optics, bool isDistorted, const ColorGrid& grid,
                    int32_t row, int32_t first, int32_t count, Places* places);
    // Takes over what is nearer in another target.
    void (*m_takeNearer)(uint16_t* target, const uint16_t* other, uint64_t count);
};

// The nearer of two depths, of which 0 is none.
[[gnu::always_inline]] static inline uint16_t NearerOf(uint16_t a, uint16_t b) {
    const auto lessA = static_cast<uint16_t>(a - 1); // none becomes the largest
    const auto lessB = static_cast<uint16_t>(b - 1);
    return static_cast<uint16_t>((lessA < lessB ? lessA : lessB) + 1);
}

// Makes rows of the target, which are among those of the image, ready to be drawn on.
[[gnu::always_inline]] static inline void ReachRows(const AlignArgs& a, int32_t top, int32_t bottom,
                                                    FillTarget* target) {
    constexpr int32_t kAhead = 8;
    const auto clear = [&a, target](int32_t begin, int32_t end) {
        const auto width = static_cast<ptrdiff_t>(a.m_width);
        std::memset(target->m_depth + begin * width, 0,
                    static_cast<size_t>((end - begin) * width) * sizeof(uint16_t));
    };
    if (target->m_begin == target->m_end) {
        target->m_begin = target->m_end = top;
    }
    if (bottom > target->m_end) {
        const int32_t end = a.m_height - bottom < kAhead ? a.m_height : bottom + kAhead;
        clear(target->m_end, end);
        target->m_end = end;
    }
    if (top < target->m_begin) {
        const int32_t begin = top < kAhead ? 0 : top - kAhead;
        clear(begin, target->m_begin);
        target->m_begin = begin;
    }
}

// The numbers of a call, and the kernels in use.
FillOptics OpticsOf(const AlignArgs& args);
bool IsDistorted(const AlignCameras& cameras);
const FillKernels& FillKernelsInUse();

// See CKernelChoice.
EKernelTier UseFillKernelTier(EKernelTier tier);

namespace sse2 {
extern const FillKernels kFillKernels;
}
namespace avx2 {
extern const FillKernels kFillKernels;
}
namespace avx512 {
extern const FillKernels kFillKernels;
}

} // namespace ox3d::alignment
