// The fast kernels of stereo matching for processors with AVX-512 and counts of a byte's bits: 64 disparities at once.
// Relies on MatchFast.h, and on being compiled for these.
#define OX3D_TIER avx512

#include <immintrin.h>

#include <cstdint>

namespace ox3d::stereo::OX3D_TIER {
namespace {

using Bytes = __m512i;
using Words = __m512i;
struct Pair {
    Words m_low;
    Words m_high;
};
constexpr int32_t kBytes = 64;

Bytes Load(const uint8_t* from) {
    return _mm512_loadu_si512(from);
}
void Store(uint8_t* to, Bytes value) {
    _mm512_storeu_si512(to, value);
}
Bytes SetAll(uint8_t value) {
    return _mm512_set1_epi8(static_cast<char>(value));
}
Bytes Xor(Bytes a, Bytes b) {
    return _mm512_xor_si512(a, b);
}
Bytes Or(Bytes a, Bytes b) {
    return _mm512_or_si512(a, b);
}
Bytes Add(Bytes a, Bytes b) {
    return _mm512_add_epi8(a, b);
}
Bytes AddUpTo255(Bytes a, Bytes b) {
    return _mm512_adds_epu8(a, b);
}
Bytes Subtract(Bytes a, Bytes b) {
    return _mm512_sub_epi8(a, b);
}
Bytes Least(Bytes a, Bytes b) {
    return _mm512_min_epu8(a, b);
}
Bytes DifferenceOf(Bytes a, Bytes b) {
    return Or(_mm512_subs_epu8(a, b), _mm512_subs_epu8(b, a));
}
// What stands one byte before each of these 64, and one byte behind. Three loads of whole lines and four moves between
// lanes: a load that spans two stores would wait until both have come to the cache, and each of them takes two lines.
void LoadAround(const uint8_t* from, Bytes* before, Bytes* behind) {
    const Bytes at = Load(from);
    *before = _mm512_alignr_epi8(at, _mm512_alignr_epi64(at, Load(from - kBytes), 6), 15);
    *behind = _mm512_alignr_epi8(_mm512_alignr_epi64(Load(from + kBytes), at, 2), at, 1);
}
Bytes QuarterOf(Bytes a) {
    return _mm512_and_si512(_mm512_srli_epi16(a, 2), SetAll(0x3F));
}
Bytes OnesOfThree(Bytes a, Bytes b, Bytes c) {
    return _mm512_ternarylogic_epi32(a, b, c, 0x96);
}
Bytes TwosOfThree(Bytes a, Bytes b, Bytes c) {
    return _mm512_ternarylogic_epi32(a, b, c, 0xE8);
}
Bytes CountBits(Bytes a) {
    return _mm512_popcnt_epi8(a);
}

// (a + b + c + 4) / 8: eighths and what is left of each add up apart, so that bytes hold both.
Bytes EighthOfSum(Bytes a, Bytes b, Bytes c) {
    const __m512i rest = SetAll(7);
    const __m512i whole = SetAll(0x1F);
    const auto eighth = [whole](Bytes v) { return _mm512_and_si512(_mm512_srli_epi16(v, 3), whole); };
    const auto left = [rest](Bytes v) { return _mm512_and_si512(v, rest); };
    const Bytes lefts = Add(Add(left(a), left(b)), Add(left(c), SetAll(4)));
    return Add(Add(eighth(a), eighth(b)), Add(eighth(c), eighth(lefts)));
}

// All bits set from a lane on, 1 to 63.
Bytes LanesFrom(int32_t lane) {
    return _mm512_movm_epi8(~uint64_t{0} << lane);
}

// Sums are kept as unpacking leaves them: by quarters of 128 bits.
Pair WidenedBytes(Bytes a) {
    const __m512i zero = _mm512_setzero_si512();
    return {_mm512_unpacklo_epi8(a, zero), _mm512_unpackhi_epi8(a, zero)};
}
Pair SumOfFour(Bytes a, Bytes b, Bytes c, Bytes d) {
    const __m512i ones = SetAll(1);
    const __m512i low = _mm512_add_epi16(_mm512_maddubs_epi16(_mm512_unpacklo_epi8(a, b), ones),
                                         _mm512_maddubs_epi16(_mm512_unpacklo_epi8(c, d), ones));
    const __m512i high = _mm512_add_epi16(_mm512_maddubs_epi16(_mm512_unpackhi_epi8(a, b), ones),
                                          _mm512_maddubs_epi16(_mm512_unpackhi_epi8(c, d), ones));
    return {low, high};
}
Pair AddPairs(const Pair& a, const Pair& b) {
    return {_mm512_add_epi16(a.m_low, b.m_low), _mm512_add_epi16(a.m_high, b.m_high)};
}
Pair InOrder(const Pair& a) {
    const __m512i first = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
    const __m512i second = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    return {_mm512_permutex2var_epi64(a.m_low, first, a.m_high),
            _mm512_permutex2var_epi64(a.m_low, second, a.m_high)};
}
Words LoadWords(const void* from) {
    return _mm512_loadu_si512(from);
}
void StoreWords(void* to, Words value) {
    _mm512_storeu_si512(to, value);
}
Pair LoadPairOfWords(const uint16_t* from) {
    return {LoadWords(from), LoadWords(from + kBytes / 2)};
}
void StorePair(uint16_t* to, const Pair& pair) {
    StoreWords(to, pair.m_low);
    StoreWords(to + kBytes / 2, pair.m_high);
}
Words SetAllWords(int16_t value) {
    return _mm512_set1_epi16(value);
}
Words CountUp() {
    alignas(64) int16_t index[kBytes / 2];
    for (int16_t i = 0; i < kBytes / 2; ++i) {
        index[i] = i;
    }
    return LoadWords(index);
}
Words AddWords(Words a, Words b) {
    return _mm512_add_epi16(a, b);
}
void TakeSmaller(Words sums, Words index, Words* least, Words* winner) {
    *winner = _mm512_mask_mov_epi16(*winner, _mm512_cmplt_epi16_mask(sums, *least), index);
    *least = _mm512_min_epi16(*least, sums);
}
// Where the least are now, of before and of these.
Words TakeSmallerOrEqual(Words sums, Words index, Words leastAt, Words* least) {
    const __mmask32 isTaken = _mm512_cmple_epi16_mask(sums, *least);
    *least = _mm512_min_epi16(*least, sums);
    return _mm512_mask_mov_epi16(leastAt, isTaken, index);
}
// From the second word on, and the first of what stands behind.
Words FromSecond(Words words, Words behind) {
    return _mm512_alignr_epi8(_mm512_alignr_epi64(behind, words, 2), words, 2);
}
int32_t LeastWord(Words a) {
    const __m256i half = _mm256_min_epi16(_mm512_castsi512_si256(a), _mm512_extracti64x4_epi64(a, 1));
    const __m128i quarter = _mm_min_epi16(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
    return _mm_extract_epi16(_mm_minpos_epu16(quarter), 0);
}
int32_t WinnerOf(Words least, Words winner) {
    const __mmask32 isWinner =
        _mm512_cmpeq_epi16_mask(least, SetAllWords(static_cast<int16_t>(LeastWord(least))));
    return LeastWord(_mm512_mask_mov_epi16(SetAllWords(0x7FFF), isWinner, winner));
}

// The least byte of each of four vectors, the first in the lowest byte.
uint32_t LeastOfEach(Bytes a, Bytes b, Bytes c, Bytes d) {
    const __m512i ab = Least(_mm512_unpacklo_epi8(a, b), _mm512_unpackhi_epi8(a, b));
    const __m512i cd = Least(_mm512_unpacklo_epi8(c, d), _mm512_unpackhi_epi8(c, d));
    const __m512i all = Least(_mm512_unpacklo_epi16(ab, cd), _mm512_unpackhi_epi16(ab, cd));
    const __m256i half = _mm256_min_epu8(_mm512_castsi512_si256(all), _mm512_extracti64x4_epi64(all, 1));
    __m128i four = _mm_min_epu8(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
    four = _mm_min_epu8(four, _mm_shuffle_epi32(four, 0x4E));
    four = _mm_min_epu8(four, _mm_shuffle_epi32(four, 0xB1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(four));
}

uint8_t FirstOf(Bytes a) {
    return static_cast<uint8_t>(_mm_cvtsi128_si32(_mm512_castsi512_si128(a)));
}
// The least byte, in all of them. Shifted by a byte, words hold the lesser one of two.
Bytes LeastInAll(Bytes a) {
    const __m512i words = Least(a, _mm512_srli_epi16(a, 8));
    const __m256i half = _mm256_min_epu8(_mm512_castsi512_si256(words), _mm512_extracti64x4_epi64(words, 1));
    const __m128i quarter = _mm_min_epu8(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
    return _mm512_broadcastb_epi8(_mm_minpos_epu16(quarter));
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/MatchFast.h"
