// Which instructions the kernels with variants may use: the best tier that the processor and the operating
// system offer, or a lower one that the environment asks for. Header only, for units built for any processor.
// Relies on the compiler's processor tests, which ask the operating system, too.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace ox3dcpu {

// In rising order. Reference is the plain definition of the results, Sse2 what every x86-64 processor has (and
// the fast kernels in plain C++ elsewhere), Avx512 the set of x86-64-v4.
enum class KernelTier { Reference, Sse2, Avx2, Avx512 };

inline KernelTier BestKernelTier() {
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2") == 0) {
        return KernelTier::Sse2;
    }
    const bool hasAvx512 = __builtin_cpu_supports("avx512f") != 0 &&
                           __builtin_cpu_supports("avx512bw") != 0 &&
                           __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0;
    return hasAvx512 ? KernelTier::Avx512 : KernelTier::Avx2;
#else
    return KernelTier::Sse2;
#endif
}

// The tier that a word asks for, never above the best one. A word that is none of the four is no wish.
inline KernelTier KernelTierFor(const char* word, KernelTier best) {
    constexpr const char* kWords[] = {"reference", "sse2", "avx2", "avx512"};
    for (int tier = 0; word != nullptr && tier < 4; ++tier) {
        if (std::strcmp(word, kWords[tier]) == 0) {
            return std::min(best, static_cast<KernelTier>(tier));
        }
    }
    return best;
}

// Reads the environment: for the first use, not for every one.
inline KernelTier ChooseKernelTier() {
    return KernelTierFor(std::getenv("OX3D_KERNELS"), BestKernelTier());
}

} // namespace ox3dcpu
