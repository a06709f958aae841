// Memory as kernels of every family look at it: pairs of bytes at any address, and ranges that share bytes.
// Functions are static: of a shared one the linker takes a single copy for all units, and a copy from a unit
// that is compiled for newer processors would stop the older ones.
#pragma once

#include <cstdint>
#include <cstring>

namespace ox3d {

// Two neighbouring bytes in one load, the left one in the low byte.
static inline uint16_t LoadPair(const uint8_t* from) {
    uint16_t pair = 0;
    std::memcpy(&pair, from, sizeof pair);
    return pair;
}

// Whether two ranges of memory share a byte. Compared as numbers, since they may belong to different objects.
static inline bool Overlap(const void* a, uint64_t aBytes, const void* b, uint64_t bBytes) {
    const uint64_t aBegin = reinterpret_cast<uintptr_t>(a);
    const uint64_t bBegin = reinterpret_cast<uintptr_t>(b);
    return aBegin < bBegin ? bBegin - aBegin < aBytes : aBegin - bBegin < bBytes;
}

} // namespace ox3d
