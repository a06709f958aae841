// FrameMemory.h - memory for images: begins on a cache line, which is also the widest vector.
#ifndef OX3D_COMMON_FRAME_MEMORY_H
#define OX3D_COMMON_FRAME_MEMORY_H

#include <cstdint>
#include <cstdlib>

constexpr uint64_t kFrameAlignmentBytes = 64;

/// Freed by free(). Null when there is no such memory; a size of 0 gives a block like any other.
inline void* AllocateFrameMemory(uint64_t bytes) noexcept {
    if (bytes > UINT64_MAX - kFrameAlignmentBytes) {
        return nullptr;
    }
    const uint64_t blocks = (bytes + kFrameAlignmentBytes - 1) / kFrameAlignmentBytes;
    return aligned_alloc(kFrameAlignmentBytes, (blocks == 0 ? 1 : blocks) * kFrameAlignmentBytes);
}

#endif
