// The fast kernels of stereo matching for processors with AVX2: 32 disparities at once.
// Relies on MatchFast.h, and on being compiled for AVX2.
#define OX3D_TIER avx2

#include <immintrin.h>

#include <cstdint>

namespace ox3d::stereo::OX3D_TIER {
namespace {

using Bytes = __m256i;
using Words = __m256i;
struct Pair {
    Words m_low;
    Words m_high;
};
constexpr int32_t kBytes = 32;

Bytes Load(const uint8_t* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}
void Store(uint8_t* to, Bytes value) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value);
}
Bytes SetAll(uint8_t value) {
    return _mm256_set1_epi8(static_cast<char>(value));
}
Bytes Xor(Bytes a, Bytes b) {
    return _mm256_xor_si256(a, b);
}
Bytes Or(Bytes a, Bytes b) {
    return _mm256_or_si256(a, b);
}
Bytes Add(Bytes a, Bytes b) {
    return _mm256_add_epi8(a, b);
}
Bytes AddUpTo255(Bytes a, Bytes b) {
    return _mm256_adds_epu8(a, b);
}
Bytes Subtract(Bytes a, Bytes b) {
    return _mm256_sub_epi8(a, b);
}
Bytes Least(Bytes a, Bytes b) {
    return _mm256_min_epu8(a, b);
}
Bytes DifferenceOf(Bytes a, Bytes b) {
    return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
}
// What stands one byte before each of these, and one byte behind.
void LoadAround(const uint8_t* from, Bytes* before, Bytes* behind) {
    *before = Load(from - 1);
    *behind = Load(from + 1);
}
Bytes QuarterOf(Bytes a) {
    return _mm256_and_si256(_mm256_srli_epi16(a, 2), SetAll(0x3F));
}
Bytes OnesOfThree(Bytes a, Bytes b, Bytes c) {
    return Xor(Xor(a, b), c);
}
Bytes TwosOfThree(Bytes a, Bytes b, Bytes c) {
    return Or(_mm256_and_si256(a, b), _mm256_and_si256(Xor(a, b), c));
}
Bytes CountBits(Bytes a) {
    const __m256i counts = _mm256_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, 0, 1, 1, 2, 1, 2,
                                            2, 3, 1, 2, 2, 3, 2, 3, 3, 4);
    const __m256i nibble = SetAll(0x0F);
    const __m256i low = _mm256_shuffle_epi8(counts, _mm256_and_si256(a, nibble));
    return Add(low, _mm256_shuffle_epi8(counts, _mm256_and_si256(_mm256_srli_epi16(a, 4), nibble)));
}

// (a + b + c + 4) / 8: eighths and what is left of each add up apart, so that bytes hold both.
Bytes EighthOfSum(Bytes a, Bytes b, Bytes c) {
    const __m256i rest = SetAll(7);
    const __m256i whole = SetAll(0x1F);
    const auto eighth = [whole](Bytes v) { return _mm256_and_si256(_mm256_srli_epi16(v, 3), whole); };
    const auto left = [rest](Bytes v) { return _mm256_and_si256(v, rest); };
    const Bytes lefts = Add(Add(left(a), left(b)), Add(left(c), SetAll(4)));
    return Add(Add(eighth(a), eighth(b)), Add(eighth(c), eighth(lefts)));
}

// All bits set from a lane on.
Bytes LanesFrom(int32_t lane) {
    const __m256i lanes = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18,
                                           19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
    return _mm256_cmpgt_epi8(lanes, _mm256_set1_epi8(static_cast<char>(lane - 1)));
}

// Sums are kept as unpacking leaves them: by halves of 128 bits.
Pair WidenedBytes(Bytes a) {
    const __m256i zero = _mm256_setzero_si256();
    return {_mm256_unpacklo_epi8(a, zero), _mm256_unpackhi_epi8(a, zero)};
}
Pair SumOfFour(Bytes a, Bytes b, Bytes c, Bytes d) {
    const __m256i ones = SetAll(1);
    const __m256i low = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpacklo_epi8(a, b), ones),
                                         _mm256_maddubs_epi16(_mm256_unpacklo_epi8(c, d), ones));
    const __m256i high = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpackhi_epi8(a, b), ones),
                                          _mm256_maddubs_epi16(_mm256_unpackhi_epi8(c, d), ones));
    return {low, high};
}
Pair AddPairs(const Pair& a, const Pair& b) {
    return {_mm256_add_epi16(a.m_low, b.m_low), _mm256_add_epi16(a.m_high, b.m_high)};
}
Pair InOrder(const Pair& a) {
    return {_mm256_permute2x128_si256(a.m_low, a.m_high, 0x20),
            _mm256_permute2x128_si256(a.m_low, a.m_high, 0x31)};
}
Words LoadWords(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
void StoreWords(void* to, Words value) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}
Pair LoadPairOfWords(const uint16_t* from) {
    return {LoadWords(from), LoadWords(from + kBytes / 2)};
}
void StorePair(uint16_t* to, const Pair& pair) {
    StoreWords(to, pair.m_low);
    StoreWords(to + kBytes / 2, pair.m_high);
}
Words SetAllWords(int16_t value) {
    return _mm256_set1_epi16(value);
}
Words CountUp() {
    return _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
}
Words AddWords(Words a, Words b) {
    return _mm256_add_epi16(a, b);
}
void TakeSmaller(Words sums, Words index, Words* least, Words* winner) {
    const __m256i isSmaller = _mm256_cmpgt_epi16(*least, sums);
    *winner = _mm256_blendv_epi8(*winner, index, isSmaller);
    *least = _mm256_min_epi16(*least, sums);
}
// Where the least are now, of before and of these.
Words TakeSmallerOrEqual(Words sums, Words index, Words leastAt, Words* least) {
    const __m256i isLarger = _mm256_cmpgt_epi16(sums, *least);
    *least = _mm256_min_epi16(*least, sums);
    return _mm256_blendv_epi8(index, leastAt, isLarger);
}
// From the second word on, and the first of what stands behind.
Words FromSecond(Words words, Words behind) {
    return _mm256_alignr_epi8(_mm256_permute2x128_si256(words, behind, 0x21), words, 2);
}
int32_t LeastWord(Words a) {
    const __m128i half = _mm_min_epi16(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
    return _mm_extract_epi16(_mm_minpos_epu16(half), 0);
}
int32_t WinnerOf(Words least, Words winner) {
    const __m256i isWinner = _mm256_cmpeq_epi16(least, SetAllWords(static_cast<int16_t>(LeastWord(least))));
    return LeastWord(_mm256_blendv_epi8(SetAllWords(0x7FFF), winner, isWinner));
}

// The least byte of each of four vectors, the first in the lowest byte.
uint32_t LeastOfEach(Bytes a, Bytes b, Bytes c, Bytes d) {
    const __m256i ab = Least(_mm256_unpacklo_epi8(a, b), _mm256_unpackhi_epi8(a, b));
    const __m256i cd = Least(_mm256_unpacklo_epi8(c, d), _mm256_unpackhi_epi8(c, d));
    const __m256i all = Least(_mm256_unpacklo_epi16(ab, cd), _mm256_unpackhi_epi16(ab, cd));
    __m128i four = _mm_min_epu8(_mm256_castsi256_si128(all), _mm256_extracti128_si256(all, 1));
    four = _mm_min_epu8(four, _mm_shuffle_epi32(four, 0x4E));
    four = _mm_min_epu8(four, _mm_shuffle_epi32(four, 0xB1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(four));
}

uint8_t FirstOf(Bytes a) {
    return static_cast<uint8_t>(_mm_cvtsi128_si32(_mm256_castsi256_si128(a)));
}
// The least byte, in all of them. Shifted by a byte, words hold the lesser one of two.
Bytes LeastInAll(Bytes a) {
    const __m256i words = Least(a, _mm256_srli_epi16(a, 8));
    const __m128i half = _mm_min_epu8(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    return _mm256_broadcastb_epi8(_mm_minpos_epu16(half));
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/MatchFast.h"
