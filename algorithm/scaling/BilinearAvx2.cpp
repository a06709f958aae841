// The bilinear scaler for processors with AVX2: the operations that its loops are made of.
// Relies on BilinearUnits.h and BilinearFast.h, and on being compiled for AVX2.
#define OX3D_TIER avx2
#include "algorithm/scaling/BilinearStrip.h"

#include <immintrin.h>

namespace ox3d::scaling::OX3D_TIER {
namespace {

using Vector = __m256i;
constexpr int32_t kVectorUnits = 2;

__m128i LoadUnit(const uint8_t* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

template <typename TStart>
Vector LoadUnits(const uint8_t* src, TStart start) {
    return _mm256_set_m128i(LoadUnit(src + start(1)), LoadUnit(src + start(0)));
}

Vector LoadTable(const void* from) {
    return _mm256_load_si256(static_cast<const __m256i*>(from));
}

void Store(int16_t* to, Vector value) {
    _mm256_store_si256(reinterpret_cast<__m256i*>(to), value);
}

Vector Shuffle(Vector samples, Vector bytes) {
    return _mm256_shuffle_epi8(samples, bytes);
}

Vector Or(Vector a, Vector b) {
    return _mm256_or_si256(a, b);
}

// The sum of each two unsigned samples with signed weights, at most 255 * 128.
Vector MultiplyPairs(Vector samples, Vector weights) {
    return _mm256_maddubs_epi16(samples, weights);
}

Vector Broadcast(int16_t value) {
    return _mm256_set1_epi16(value);
}

Vector Add(Vector a, Vector b) {
    return _mm256_add_epi16(a, b);
}

Vector Subtract(Vector a, Vector b) {
    return _mm256_sub_epi16(a, b);
}

Vector MultiplyHigh(Vector a, Vector b) {
    return _mm256_mulhi_epi16(a, b);
}

// (a + 64) >> 7, as the rounded 2^-15 of the 2^8-fold.
Vector RoundWeightOff(Vector a) {
    return _mm256_mulhrs_epi16(a, _mm256_set1_epi16(1 << (15 - kWeightBits)));
}

// Packing goes by halves; the quarters are put in order behind it.
void StoreBytes(uint8_t* to, Vector first, Vector second) {
    const Vector bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0xD8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes);
}

} // namespace
} // namespace ox3d::scaling::OX3D_TIER

#include "algorithm/scaling/BilinearUnits.h"

#include "algorithm/scaling/BilinearFast.h"
