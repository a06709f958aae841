// Limits.h - what no kernel can beat: the same loads and stores with the widest vectors, and nothing between.
#ifndef OX3D_BENCH_LIMITS_H
#define OX3D_BENCH_LIMITS_H

#include <cstddef>
#include <cstdint>

namespace ox3dbench {

// Loads `loadBytes` and stores `storeBytes`, evenly mixed, with the widest vectors of the processor.
void LoadAndStore(const void* from, size_t loadBytes, void* to, size_t storeBytes);

} // namespace ox3dbench

#endif
