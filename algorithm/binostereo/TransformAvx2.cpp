// The transform's fast kernels for processors with AVX2; by hand is only the store of three coordinates.
// Relies on TransformFast.h, and on being compiled for AVX2.
#define OX3D_TIER avx2
#include "algorithm/binostereo/TransformKernel.h"

#include <immintrin.h>

namespace ox3d::stereo::OX3D_TIER {
namespace {

constexpr int32_t kGroup = 8;

// Coordinate c of element e goes to place 3e + c of the group's 24. Modulo 8 these places differ for all e, so
// one permutation a coordinate brings every element to its lane, and blends pick the lanes of each third.
// 3 is its own inverse modulo 8: lane p takes element 3(p - c).
__m256i SourceLanes(int32_t c) {
    const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    const __m256i distance = _mm256_sub_epi32(lane, _mm256_set1_epi32(c));
    return _mm256_and_si256(_mm256_mullo_epi32(distance, _mm256_set1_epi32(3)), _mm256_set1_epi32(7));
}

void StoreGroup(__m256 x, __m256 y, __m256 z, __m128i /*depth*/, float* out) {
    const __m256 px = _mm256_permutevar8x32_ps(x, SourceLanes(0));
    const __m256 py = _mm256_permutevar8x32_ps(y, SourceLanes(1));
    const __m256 pz = _mm256_permutevar8x32_ps(z, SourceLanes(2));
    _mm256_storeu_ps(out, _mm256_blend_ps(_mm256_blend_ps(px, py, 0x92), pz, 0x24));
    _mm256_storeu_ps(out + 8, _mm256_blend_ps(_mm256_blend_ps(px, py, 0x24), pz, 0x49));
    _mm256_storeu_ps(out + 16, _mm256_blend_ps(_mm256_blend_ps(px, py, 0x49), pz, 0x92));
}

// The conversion instruction is the one that FloatToInt32 stands for; its low 16 bits are stored.
__m128i LowWords(__m256 value) {
    const __m256i low = _mm256_and_si256(_mm256_cvttps_epi32(value), _mm256_set1_epi32(0xFFFF));
    return _mm_packus_epi32(_mm256_castsi256_si128(low), _mm256_extracti128_si256(low, 1));
}

void StoreGroup(__m256 x, __m256 y, __m256 /*z*/, __m128i depth, int16_t* out) {
    const __m128i px =
        _mm_shuffle_epi8(LowWords(x), _mm_setr_epi8(0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11));
    const __m128i py =
        _mm_shuffle_epi8(LowWords(y), _mm_setr_epi8(10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5));
    const __m128i pz =
        _mm_shuffle_epi8(depth, _mm_setr_epi8(4, 5, 10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15));
    auto* to = reinterpret_cast<__m128i*>(out);
    _mm_storeu_si128(to, _mm_blend_epi16(_mm_blend_epi16(px, py, 0x92), pz, 0x24));
    _mm_storeu_si128(to + 1, _mm_blend_epi16(_mm_blend_epi16(px, py, 0x24), pz, 0x49));
    _mm_storeu_si128(to + 2, _mm_blend_epi16(_mm_blend_epi16(px, py, 0x49), pz, 0x92));
}

// The points of the whole groups of a row, by BackProject's formula. Returns how many pixels that are.
template <typename TPoint>
int32_t MapGroups(const float* k, int32_t v, const int16_t* depth, int32_t count, TPoint* out) {
    const __m256 cx = _mm256_set1_ps(k[2]);
    const __m256 height = _mm256_set1_ps(static_cast<float>(v) - k[3]);
    const __m256 fx = _mm256_set1_ps(k[0] + kEpsilon);
    const __m256 fy = _mm256_set1_ps(k[1] + kEpsilon);
    __m256i column = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    int32_t u = 0;
    for (; count - u >= kGroup; u += kGroup) {
        const __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i*>(depth + u));
        const __m256 d = _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(samples));
        const __m256 width = _mm256_sub_ps(_mm256_cvtepi32_ps(column), cx);
        const __m256 x = _mm256_div_ps(_mm256_mul_ps(width, d), fx);
        const __m256 y = _mm256_div_ps(_mm256_mul_ps(height, d), fy);
        StoreGroup(x, y, d, samples, out + 3 * static_cast<ptrdiff_t>(u));
        column = _mm256_add_epi32(column, _mm256_set1_epi32(kGroup));
    }
    return u;
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/TransformFast.h"
