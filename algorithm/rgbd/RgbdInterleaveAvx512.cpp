// RgbdInterleaveAvx512.cpp - 64 pixels at a time, for processors with AVX-512 BW and VBMI; static functions
// only.
#include "algorithm/rgbd/RgbdInterleaveTiers.h"

#include <cstddef>
#include <immintrin.h>

namespace ox3d::avx512 {
namespace {

constexpr uint64_t kGroup = 64;

// Byte c of pixel e goes to place 5e + c of the group's 320. Modulo 64 these places differ for all e, so one
// permutation brings all bytes c of a group to their lanes, and masks pick the lanes of each of the five
// vectors. 13 is the inverse of 5 modulo 64: lane p takes pixel 13(p - c).
struct Lanes {
    alignas(64) uint8_t m_source[5][64];
    // Lanes whose number is 0 to 4 modulo 5.
    uint64_t m_modulo[5];
};

constexpr Lanes MakeLanes() {
    Lanes lanes{};
    for (int p = 0; p < 64; ++p) {
        for (int c = 0; c < 5; ++c) {
            const int pixel = (13 * (p - c + 64)) % 64;
            // The fourth and fifth byte come from the samples, two bytes a pixel.
            lanes.m_source[c][p] = static_cast<uint8_t>(c < 3 ? pixel : 2 * pixel + c - 3);
        }
        lanes.m_modulo[p % 5] |= uint64_t{1} << p;
    }
    return lanes;
}

constexpr Lanes kLanes = MakeLanes();

__m512i Source(int c) {
    return _mm512_load_si512(kLanes.m_source[c]);
}

__m512i Place(int c, const uint8_t* plane) {
    return _mm512_permutexvar_epi8(Source(c), _mm512_loadu_si512(plane));
}

// Vector k holds places 64k to 64k + 63: byte c where p + 64k is c modulo 5, that is, p is c + k.
void Store(int k, const __m512i (&bytes)[5], uint8_t* out) {
    __m512i interleaved = bytes[0];
    for (int c = 1; c < 5; ++c) {
        interleaved = _mm512_mask_blend_epi8(kLanes.m_modulo[(c + k) % 5], interleaved, bytes[c]);
    }
    _mm512_storeu_si512(out + ptrdiff_t{64} * k, interleaved);
}

uint64_t InterleaveGroups(const uint8_t* color, uint64_t planeBytes, const uint8_t* depth, uint64_t pixels,
                          uint8_t* out) {
    uint64_t p = 0;
    for (; pixels - p >= kGroup; p += kGroup) {
        const __m512i samples0 = _mm512_loadu_si512(depth + 2 * p);
        const __m512i samples1 = _mm512_loadu_si512(depth + 2 * p + 64);
        const __m512i bytes[5] = {Place(0, color + p), Place(1, color + planeBytes + p),
                                  Place(2, color + 2 * planeBytes + p),
                                  _mm512_permutex2var_epi8(samples0, Source(3), samples1),
                                  _mm512_permutex2var_epi8(samples0, Source(4), samples1)};
        for (int k = 0; k < 5; ++k) {
            Store(k, bytes, out + 5 * p);
        }
    }
    return p;
}

} // namespace

constinit const InterleaveKernels kInterleaveKernels = {InterleaveGroups};

} // namespace ox3d::avx512
