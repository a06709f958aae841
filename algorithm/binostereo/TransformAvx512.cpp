// The transform's fast kernels for processors with AVX-512; by hand is only the store of three coordinates.
// Relies on TransformFast.h, and on being compiled for AVX-512 F, BW, DQ and VL.
#define OX3D_TIER avx512
#include "algorithm/binostereo/TransformKernel.h"

#include <immintrin.h>

namespace ox3d::stereo::OX3D_TIER {
namespace {

constexpr int32_t kGroup = 16;

// Coordinate c of element e goes to place 3e + c of the group's 48. Modulo 16 these places differ for all e,
// so one permutation a coordinate brings every element to its lane, and masks pick the lanes of each third.
// 11 is the inverse of 3 modulo 16: lane p takes element 11(p - c), of which a permutation reads 4 bits.
__m512i SourceLanes(int32_t c) {
    const __m512i lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm512_mullo_epi32(_mm512_sub_epi32(lane, _mm512_set1_epi32(c)), _mm512_set1_epi32(11));
}

// Lanes whose number is 0, 1 or 2 modulo 3.
constexpr __mmask16 kLanes0 = 0x9249;
constexpr __mmask16 kLanes1 = 0x2492;
constexpr __mmask16 kLanes2 = 0x4924;

__m512 Pick(__m512 x, __m512 y, __mmask16 takeY, __m512 z, __mmask16 takeZ) {
    return _mm512_mask_blend_ps(takeZ, _mm512_mask_blend_ps(takeY, x, y), z);
}

__m256i Pick(__m256i x, __m256i y, __mmask16 takeY, __m256i z, __mmask16 takeZ) {
    return _mm256_mask_blend_epi16(takeZ, _mm256_mask_blend_epi16(takeY, x, y), z);
}

void StoreGroup(__m512 x, __m512 y, __m512 z, __m256i /*depth*/, float* out) {
    const __m512 px = _mm512_permutexvar_ps(SourceLanes(0), x);
    const __m512 py = _mm512_permutexvar_ps(SourceLanes(1), y);
    const __m512 pz = _mm512_permutexvar_ps(SourceLanes(2), z);
    _mm512_storeu_ps(out, Pick(px, py, kLanes1, pz, kLanes2));
    _mm512_storeu_ps(out + 16, Pick(px, py, kLanes0, pz, kLanes1));
    _mm512_storeu_ps(out + 32, Pick(px, py, kLanes2, pz, kLanes0));
}

// The conversion instruction is the one that FloatToInt32 stands for; its low 16 bits are stored.
__m256i LowWords(__m512 value) {
    return _mm512_cvtepi32_epi16(_mm512_cvttps_epi32(value));
}

void StoreGroup(__m512 x, __m512 y, __m512 /*z*/, __m256i depth, int16_t* out) {
    const __m256i px = _mm256_permutexvar_epi16(_mm512_cvtepi32_epi16(SourceLanes(0)), LowWords(x));
    const __m256i py = _mm256_permutexvar_epi16(_mm512_cvtepi32_epi16(SourceLanes(1)), LowWords(y));
    const __m256i pz = _mm256_permutexvar_epi16(_mm512_cvtepi32_epi16(SourceLanes(2)), depth);
    auto* to = reinterpret_cast<__m256i*>(out);
    _mm256_storeu_si256(to, Pick(px, py, kLanes1, pz, kLanes2));
    _mm256_storeu_si256(to + 1, Pick(px, py, kLanes0, pz, kLanes1));
    _mm256_storeu_si256(to + 2, Pick(px, py, kLanes2, pz, kLanes0));
}

// The points of the whole groups of a row, by BackProject's formula. Returns how many pixels that are.
template <typename TPoint>
int32_t MapGroups(const float* k, int32_t v, const int16_t* depth, int32_t count, TPoint* out) {
    const __m512 cx = _mm512_set1_ps(k[2]);
    const __m512 height = _mm512_set1_ps(static_cast<float>(v) - k[3]);
    const __m512 fx = _mm512_set1_ps(k[0] + kEpsilon);
    const __m512 fy = _mm512_set1_ps(k[1] + kEpsilon);
    __m512i column = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    int32_t u = 0;
    for (; count - u >= kGroup; u += kGroup) {
        const __m256i samples = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(depth + u));
        const __m512 d = _mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(samples));
        const __m512 width = _mm512_sub_ps(_mm512_cvtepi32_ps(column), cx);
        const __m512 x = _mm512_div_ps(_mm512_mul_ps(width, d), fx);
        const __m512 y = _mm512_div_ps(_mm512_mul_ps(height, d), fy);
        StoreGroup(x, y, d, samples, out + 3 * static_cast<ptrdiff_t>(u));
        column = _mm512_add_epi32(column, _mm512_set1_epi32(kGroup));
    }
    return u;
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/TransformFast.h"
