// The transform's fast kernels for processors with AVX-512; by hand are the store of three coordinates, the
// packing of what lands and the scattering of a list.
// Relies on TransformFast.h, and on being compiled for AVX-512 F, BW, DQ and VL.
#define OX3D_TIER avx512
#include "algorithm/binostereo/TransformKernel.h"

#include <immintrin.h>

namespace ox3d::stereo::OX3D_TIER {
namespace {

constexpr int32_t kGroup = 16;

using Floats = __m512;
using Ints = __m512i;
using Lanes = __mmask16;

Floats Spread(float value) {
    return _mm512_set1_ps(value);
}

Ints Spread(int32_t value) {
    return _mm512_set1_epi32(value);
}

// The numbers of a group's columns.
Floats Columns(int32_t first) {
    const Ints lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm512_cvtepi32_ps(_mm512_add_epi32(lane, Spread(first)));
}

// A group of samples as floats. Returns those that are valid.
Lanes LoadDepth(const int16_t* depth, Floats* out) {
    const __m256i samples = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(depth));
    *out = _mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(samples));
    return _mm256_cmpgt_epi16_mask(samples, _mm256_setzero_si256());
}

bool IsNone(Lanes lanes) {
    return lanes == 0;
}

Ints Truncated(Floats value) {
    return _mm512_cvttps_epi32(value);
}

Ints Sum(Ints a, Ints b) {
    return _mm512_add_epi32(a, b);
}

Ints Product(Ints a, Ints b) {
    return _mm512_mullo_epi32(a, b);
}

// Those of the lanes whose unsigned value is at most the last.
Lanes AndAtMost(Lanes lanes, Ints value, Ints last) {
    return _mm512_mask_cmple_epu32_mask(lanes, value, last);
}

// The larger one of unsigned numbers in those lanes.
Ints LargestOf(Ints largest, Lanes lanes, Ints value) {
    return _mm512_mask_max_epu32(largest, lanes, largest, value);
}

bool AreAllAtMost(Ints value, int32_t last) {
    return _mm512_cmpgt_epu32_mask(value, Spread(last)) == 0;
}

Floats Only(Lanes lanes, Floats value) {
    return _mm512_maskz_mov_ps(lanes, value);
}

// Brings the values of some lanes together and stores them, and anything behind them up to a whole group.
class Packing {
public:
    explicit Packing(Lanes lanes) : m_lanes(lanes) {}
    int32_t Count() const { return __builtin_popcount(m_lanes); }
    void Store(Ints value, uint32_t* out) const {
        _mm512_storeu_si512(out, _mm512_maskz_compress_epi32(m_lanes, value));
    }
    void Store(Floats value, float* out) const {
        _mm512_storeu_ps(out, _mm512_maskz_compress_ps(m_lanes, value));
    }
    // The low 16 bits.
    void StoreWords(Ints value, uint16_t* out) const {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out),
                            _mm512_cvtepi32_epi16(_mm512_maskz_compress_epi32(m_lanes, value)));
    }

private:
    Lanes m_lanes;
};

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

void StoreGroup(__m512 x, __m512 y, __m512 z, float* out) {
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

void StoreGroup(__m512 x, __m512 y, __m512 z, int16_t* out) {
    const __m256i px = _mm256_permutexvar_epi16(_mm512_cvtepi32_epi16(SourceLanes(0)), LowWords(x));
    const __m256i py = _mm256_permutexvar_epi16(_mm512_cvtepi32_epi16(SourceLanes(1)), LowWords(y));
    const __m256i pz = _mm256_permutexvar_epi16(_mm512_cvtepi32_epi16(SourceLanes(2)), LowWords(z));
    auto* to = reinterpret_cast<__m256i*>(out);
    _mm256_storeu_si256(to, Pick(px, py, kLanes1, pz, kLanes2));
    _mm256_storeu_si256(to + 1, Pick(px, py, kLanes0, pz, kLanes1));
    _mm256_storeu_si256(to + 2, Pick(px, py, kLanes2, pz, kLanes0));
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/TransformLanes.h"

namespace ox3d::stereo::OX3D_TIER {
namespace {

// All bits of the lanes.
uint32_t UnionOf(Ints bits) {
    const __m256i half = _mm256_or_si256(_mm512_castsi512_si256(bits), _mm512_extracti64x4_epi64(bits, 1));
    __m128i quarter = _mm_or_si128(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
    quarter = _mm_or_si128(quarter, _mm_shuffle_epi32(quarter, 0x4E));
    quarter = _mm_or_si128(quarter, _mm_shuffle_epi32(quarter, 0xB1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(quarter));
}

// Sixteen hits that follow each other from left to right in 32 pixels of the target, at most two of them on one: all
// at once, in vectors that stand for the pixels. Other hits one by one.
[[gnu::always_inline]] inline void KeepGroup(const Hits& hits, int32_t first, uint16_t* target,
                                             int32_t targets) {
    const Ints index = _mm512_loadu_si512(hits.m_index + first);
    const Ints next = _mm512_loadu_si512(hits.m_index + first + 1);
    const Ints offset = _mm512_sub_epi32(index, _mm512_set1_epi32(static_cast<int32_t>(hits.m_index[first])));
    const uint32_t same = _mm512_mask_cmpeq_epu32_mask(0x7FFF, index, next);
    const uint32_t back = _mm512_mask_cmpgt_epu32_mask(0x7FFF, index, next);
    const uint32_t far = _mm512_cmpgt_epu32_mask(offset, Spread(31));
    const bool leavesTarget = static_cast<int64_t>(hits.m_index[first]) + 32 > targets;
    if ((back | far | (same & same >> 1U) | static_cast<uint32_t>(leavesTarget)) != 0) {
        for (int32_t i = first; i < first + kGroup; ++i) {
            KeepNearestOne(hits, i, target);
        }
        return;
    }
    const auto words = [&hits](int32_t i) {
        return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(hits.m_depth + i)));
    };
    Ints nearest = words(first);
    nearest = _mm512_mask_min_epu32(nearest, static_cast<Lanes>(same), nearest, words(first + 1));
    nearest = _mm512_maskz_compress_epi32(static_cast<Lanes>(~(same << 1U)), nearest);
    const uint32_t pixels = UnionOf(_mm512_sllv_epi32(Spread(1), offset));
    const auto low = static_cast<Lanes>(pixels);
    const auto high = static_cast<Lanes>(pixels >> 16U);
    const Ints lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const Ints rest = _mm512_permutexvar_epi32(Sum(lane, Spread(__builtin_popcount(low))), nearest);
    const Ints spread = _mm512_inserti64x4(
        _mm512_castsi256_si512(_mm512_cvtepi32_epi16(_mm512_maskz_expand_epi32(low, nearest))),
        _mm512_cvtepi32_epi16(_mm512_maskz_expand_epi32(high, rest)), 1);
    uint16_t* const window = target + hits.m_index[first];
    const Ints one = _mm512_set1_epi16(1);
    const Ints less = _mm512_sub_epi16(_mm512_loadu_si512(window), one); // empty is the largest
    const Ints kept = _mm512_mask_min_epu16(less, pixels, less, _mm512_sub_epi16(spread, one));
    _mm512_storeu_si512(window, _mm512_add_epi16(kept, one));
}

// From four places of the list in turn, since a load waits for a store before it that it overlaps in part. Returns how
// many hits are done.
int32_t KeepGroups(const Hits& hits, uint16_t* target, int32_t targets) {
    const int32_t quarter = hits.m_count / (4 * kGroup) * kGroup;
    for (int32_t i = 0; i < quarter; i += kGroup) {
        for (int32_t first = i; first < 4 * quarter; first += quarter) {
            KeepGroup(hits, first, target, targets);
        }
    }
    return 4 * quarter;
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/TransformFast.h"
