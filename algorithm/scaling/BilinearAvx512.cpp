// The bilinear scaler for processors with AVX-512: the operations that its loops are made of.
// Relies on BilinearUnits.h and BilinearFast.h, and on being compiled for AVX-512 F, BW, DQ and VL.
#define OX3D_TIER avx512
#include "algorithm/scaling/BilinearStrip.h"

#include <immintrin.h>

namespace ox3d::scaling::OX3D_TIER {
namespace {

using Vector = __m512i;
constexpr int32_t kVectorUnits = 4;

__m128i LoadUnit(const uint8_t* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

template <typename TStart>
Vector LoadUnits(const uint8_t* src, TStart start) {
    const __m256i low = _mm256_set_m128i(LoadUnit(src + start(1)), LoadUnit(src + start(0)));
    const __m256i high = _mm256_set_m128i(LoadUnit(src + start(3)), LoadUnit(src + start(2)));
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}

Vector LoadTable(const void* from) {
    return _mm512_load_si512(from);
}

void Store(int16_t* to, Vector value) {
    _mm512_store_si512(to, value);
}

Vector Shuffle(Vector samples, Vector bytes) {
    return _mm512_shuffle_epi8(samples, bytes);
}

Vector Or(Vector a, Vector b) {
    return _mm512_or_si512(a, b);
}

// The sum of each two unsigned samples with signed weights, at most 255 * 128.
Vector MultiplyPairs(Vector samples, Vector weights) {
    return _mm512_maddubs_epi16(samples, weights);
}

Vector Broadcast(int16_t value) {
    return _mm512_set1_epi16(value);
}

Vector Add(Vector a, Vector b) {
    return _mm512_add_epi16(a, b);
}

Vector Subtract(Vector a, Vector b) {
    return _mm512_sub_epi16(a, b);
}

Vector MultiplyHigh(Vector a, Vector b) {
    return _mm512_mulhi_epi16(a, b);
}

// (a + 64) >> 7, as the rounded 2^-15 of the 2^8-fold.
Vector RoundWeightOff(Vector a) {
    return _mm512_mulhrs_epi16(a, _mm512_set1_epi16(1 << (15 - kWeightBits)));
}

// Packing goes by quarters; the eighths are put in order behind it.
void StoreBytes(uint8_t* to, Vector first, Vector second) {
    const Vector order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    _mm512_storeu_si512(to, _mm512_permutexvar_epi64(order, _mm512_packus_epi16(first, second)));
}

} // namespace
} // namespace ox3d::scaling::OX3D_TIER

#include "algorithm/scaling/BilinearUnits.h"

#include "algorithm/scaling/BilinearFast.h"
