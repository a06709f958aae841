// Which instructions the kernels with variants may use: the best tier that the processor and the operating
// system offer, or a lower one that the environment asks for. Header only, for units built for any processor.
// Relies on the compiler's processor tests, which ask the operating system, too.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace ox3d {

// In rising order. Reference is the plain definition of the results, Sse2 what every x86-64 processor has (and
// the fast kernels in plain C++ elsewhere), Avx512 the set of x86-64-v4.
enum class EKernelTier { Reference, Sse2, Avx2, Avx512 };

#if defined(__x86_64__)
constexpr bool kHasX86Tiers = true;

inline EKernelTier BestKernelTier() {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2") == 0) {
        return EKernelTier::Sse2;
    }
    const bool hasAvx512 = __builtin_cpu_supports("avx512f") != 0 &&
                           __builtin_cpu_supports("avx512bw") != 0 &&
                           __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0;
    return hasAvx512 ? EKernelTier::Avx512 : EKernelTier::Avx2;
}

// Byte permutations and counts of a byte's bits, which came together and which the tier Avx512 does not include.
inline bool HasVbmi() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512vbmi") != 0 && __builtin_cpu_supports("avx512bitalg") != 0;
}
#else
constexpr bool kHasX86Tiers = false;

inline EKernelTier BestKernelTier() {
    return EKernelTier::Sse2;
}

inline bool HasVbmi() {
    return false;
}
#endif

// The tier that a word asks for, never above the best one. Any word but these four asks for nothing.
inline EKernelTier KernelTierFor(const char* word, EKernelTier best) {
    constexpr const char* kWords[] = {"reference", "sse2", "avx2", "avx512"};
    for (int tier = 0; word != nullptr && tier < 4; ++tier) {
        if (std::strcmp(word, kWords[tier]) == 0) {
            return std::min(best, static_cast<EKernelTier>(tier));
        }
    }
    return best;
}

// Reads the environment: for the first use, not for every one.
inline EKernelTier ChooseKernelTier() {
    return KernelTierFor(std::getenv("OX3D_KERNELS"), BestKernelTier());
}

} // namespace ox3d
