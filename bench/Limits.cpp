// Limits.cpp - see Limits.h. Relies on the compiler's function attributes, so that the unit itself is built for
// any processor.
#include "bench/Limits.h"

#include <algorithm>
#include <cstring>
#if defined(__x86_64__)
#    include <immintrin.h>
#endif

namespace ox3dbench {
namespace {

// Blocks small enough for the first-level cache; in each the loads come first and the stores take what was
// loaded last.
constexpr size_t kBlockBytes = 8192;

using BlockFunction = void (*)(const uint8_t* from, size_t loadBytes, uint8_t* to, size_t storeBytes);

#if defined(__x86_64__)
__attribute__((target("avx2"))) void BlockAvx2(const uint8_t* from, size_t loadBytes, uint8_t* to,
                                               size_t storeBytes) {
    __m256i value = _mm256_setzero_si256();
    for (size_t i = 0; i + 32 <= loadBytes; i += 32) {
        value = _mm256_xor_si256(value, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i)));
    }
    for (size_t i = 0; i + 32 <= storeBytes; i += 32) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + i), value);
    }
}

__attribute__((target("avx512f"))) void BlockAvx512(const uint8_t* from, size_t loadBytes, uint8_t* to,
                                                    size_t storeBytes) {
    __m512i value = _mm512_setzero_si512();
    for (size_t i = 0; i + 64 <= loadBytes; i += 64) {
        value = _mm512_xor_si512(value, _mm512_loadu_si512(from + i));
    }
    for (size_t i = 0; i + 64 <= storeBytes; i += 64) {
        _mm512_storeu_si512(to + i, value);
    }
}
#endif

void BlockPlain(const uint8_t* from, size_t loadBytes, uint8_t* to, size_t storeBytes) {
    uint64_t value = 0;
    for (size_t i = 0; i + sizeof(value) <= loadBytes; i += sizeof(value)) {
        uint64_t loaded = 0;
        std::memcpy(&loaded, from + i, sizeof(loaded));
        value ^= loaded;
    }
    for (size_t i = 0; i + sizeof(value) <= storeBytes; i += sizeof(value)) {
        std::memcpy(to + i, &value, sizeof(value));
    }
}

BlockFunction WidestBlock() {
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") != 0) {
        return BlockAvx512;
    }
    if (__builtin_cpu_supports("avx2") != 0) {
        return BlockAvx2;
    }
#endif
    return BlockPlain;
}

} // namespace

void LoadAndStore(const void* from, size_t loadBytes, void* to, size_t storeBytes) {
    static const BlockFunction block = WidestBlock();
    const auto* source = static_cast<const uint8_t*>(from);
    auto* target = static_cast<uint8_t*>(to);
    const size_t blocks = std::max<size_t>((loadBytes + storeBytes) / kBlockBytes, 1);
    // Whole vectors a block; what is left over at the end is less than a vector a block.
    const size_t loadStep = loadBytes / blocks / 64 * 64;
    const size_t storeStep = storeBytes / blocks / 64 * 64;
    size_t loaded = 0;
    size_t stored = 0;
    for (size_t i = 0; i + 1 < blocks; ++i) {
        block(source + loaded, loadStep, target + stored, storeStep);
        loaded += loadStep;
        stored += storeStep;
    }
    block(source + loaded, loadBytes - loaded, target + stored, storeBytes - stored);
}

} // namespace ox3dbench
