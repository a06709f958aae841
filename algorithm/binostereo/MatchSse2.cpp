// The fast kernels of stereo matching for every x86-64 processor: 16 disparities at once. Elsewhere the reference
// kernels stand in. Relies on MatchFast.h.
#define OX3D_TIER sse2

#include "algorithm/binostereo/MatchTiers.h"

#if defined(__x86_64__)
#    include <emmintrin.h>

namespace ox3d::stereo::OX3D_TIER {
namespace {

using Bytes = __m128i;
using Words = __m128i;
struct Pair {
    Words m_low;
    Words m_high;
};
constexpr int32_t kBytes = 16;

Bytes Load(const uint8_t* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}
void Store(uint8_t* to, Bytes value) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), value);
}
Bytes SetAll(uint8_t value) {
    return _mm_set1_epi8(static_cast<char>(value));
}
Bytes Xor(Bytes a, Bytes b) {
    return _mm_xor_si128(a, b);
}
Bytes Or(Bytes a, Bytes b) {
    return _mm_or_si128(a, b);
}
Bytes And(Bytes a, Bytes b) {
    return _mm_and_si128(a, b);
}
Bytes Add(Bytes a, Bytes b) {
    return _mm_add_epi8(a, b);
}
Bytes AddUpTo255(Bytes a, Bytes b) {
    return _mm_adds_epu8(a, b);
}
Bytes Subtract(Bytes a, Bytes b) {
    return _mm_sub_epi8(a, b);
}
Bytes Least(Bytes a, Bytes b) {
    return _mm_min_epu8(a, b);
}
Bytes DifferenceOf(Bytes a, Bytes b) {
    return Or(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a));
}
// What stands one byte before each of these, and one byte behind.
void LoadAround(const uint8_t* from, Bytes* before, Bytes* behind) {
    *before = Load(from - 1);
    *behind = Load(from + 1);
}
Bytes QuarterOf(Bytes a) {
    return And(_mm_srli_epi16(a, 2), SetAll(0x3F));
}
Bytes OnesOfThree(Bytes a, Bytes b, Bytes c) {
    return Xor(Xor(a, b), c);
}
Bytes TwosOfThree(Bytes a, Bytes b, Bytes c) {
    return Or(And(a, b), And(Xor(a, b), c));
}
Bytes CountBits(Bytes a) {
    const Bytes pairs = Subtract(a, And(_mm_srli_epi16(a, 1), SetAll(0x55)));
    const Bytes nibbles = Add(And(pairs, SetAll(0x33)), And(_mm_srli_epi16(pairs, 2), SetAll(0x33)));
    return And(Add(nibbles, _mm_srli_epi16(nibbles, 4)), SetAll(0x0F));
}

// (a + b + c + 4) / 8: eighths and what is left of each add up apart, so that bytes hold both.
Bytes EighthOfSum(Bytes a, Bytes b, Bytes c) {
    const auto eighth = [](Bytes v) { return And(_mm_srli_epi16(v, 3), SetAll(0x1F)); };
    const auto left = [](Bytes v) { return And(v, SetAll(7)); };
    const Bytes lefts = Add(Add(left(a), left(b)), Add(left(c), SetAll(4)));
    return Add(Add(eighth(a), eighth(b)), Add(eighth(c), eighth(lefts)));
}

// All bits set from a lane on.
Bytes LanesFrom(int32_t lane) {
    const __m128i lanes = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm_cmpgt_epi8(lanes, _mm_set1_epi8(static_cast<char>(lane - 1)));
}

Pair WidenedBytes(Bytes a) {
    const __m128i zero = _mm_setzero_si128();
    return {_mm_unpacklo_epi8(a, zero), _mm_unpackhi_epi8(a, zero)};
}
Pair AddPairs(const Pair& a, const Pair& b) {
    return {_mm_add_epi16(a.m_low, b.m_low), _mm_add_epi16(a.m_high, b.m_high)};
}
Pair SumOfFour(Bytes a, Bytes b, Bytes c, Bytes d) {
    return AddPairs(AddPairs(WidenedBytes(a), WidenedBytes(b)), AddPairs(WidenedBytes(c), WidenedBytes(d)));
}
Pair InOrder(const Pair& a) {
    return a;
}
Words LoadWords(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
void StoreWords(void* to, Words value) {
    _mm_storeu_si128(static_cast<__m128i*>(to), value);
}
Pair LoadPairOfWords(const uint16_t* from) {
    return {LoadWords(from), LoadWords(from + kBytes / 2)};
}
void StorePair(uint16_t* to, const Pair& pair) {
    StoreWords(to, pair.m_low);
    StoreWords(to + kBytes / 2, pair.m_high);
}
Words SetAllWords(int16_t value) {
    return _mm_set1_epi16(value);
}
Words CountUp() {
    return _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
}
Words AddWords(Words a, Words b) {
    return _mm_add_epi16(a, b);
}
// `first` where the mask is set.
Words Select(Words mask, Words first, Words second) {
    return Or(And(mask, first), _mm_andnot_si128(mask, second));
}
void TakeSmaller(Words sums, Words index, Words* least, Words* winner) {
    *winner = Select(_mm_cmpgt_epi16(*least, sums), index, *winner);
    *least = _mm_min_epi16(*least, sums);
}
// Where the least are now, of before and of these.
Words TakeSmallerOrEqual(Words sums, Words index, Words leastAt, Words* least) {
    const __m128i isLarger = _mm_cmpgt_epi16(sums, *least);
    *least = _mm_min_epi16(*least, sums);
    return Select(isLarger, leastAt, index);
}
// From the second word on, and the first of what stands behind.
Words FromSecond(Words words, Words behind) {
    return Or(_mm_srli_si128(words, 2), _mm_slli_si128(behind, 14));
}
int32_t LeastWord(Words a) {
    a = _mm_min_epi16(a, _mm_shuffle_epi32(a, 0x4E));
    a = _mm_min_epi16(a, _mm_shuffle_epi32(a, 0xB1));
    a = _mm_min_epi16(a, _mm_shufflelo_epi16(a, 0xB1));
    return _mm_extract_epi16(a, 0);
}
int32_t WinnerOf(Words least, Words winner) {
    const __m128i isWinner = _mm_cmpeq_epi16(least, SetAllWords(static_cast<int16_t>(LeastWord(least))));
    return LeastWord(Select(isWinner, winner, SetAllWords(0x7FFF)));
}

// The least byte of each of four vectors, the first in the lowest byte.
uint32_t LeastOfEach(Bytes a, Bytes b, Bytes c, Bytes d) {
    const __m128i ab = Least(_mm_unpacklo_epi8(a, b), _mm_unpackhi_epi8(a, b));
    const __m128i cd = Least(_mm_unpacklo_epi8(c, d), _mm_unpackhi_epi8(c, d));
    __m128i four = Least(_mm_unpacklo_epi16(ab, cd), _mm_unpackhi_epi16(ab, cd));
    four = Least(four, _mm_shuffle_epi32(four, 0x4E));
    four = Least(four, _mm_shuffle_epi32(four, 0xB1));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(four));
}

uint8_t FirstOf(Bytes a) {
    return static_cast<uint8_t>(_mm_cvtsi128_si32(a));
}
// The least byte, in all of them.
Bytes LeastInAll(Bytes a) {
    a = Least(a, _mm_shuffle_epi32(a, 0x4E));
    a = Least(a, _mm_shuffle_epi32(a, 0xB1));
    const __m128i words = Least(a, _mm_srli_epi16(a, 8)); // of two, with a zero above
    const __m128i least = Least(words, _mm_shufflehi_epi16(_mm_shufflelo_epi16(words, 0xB1), 0xB1));
    return _mm_packus_epi16(least, least);
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#    include "algorithm/binostereo/MatchFast.h"
#else
namespace ox3d::stereo::OX3D_TIER {

const MatchKernels kMatchKernels = reference::kMatchKernels;

} // namespace ox3d::stereo::OX3D_TIER
#endif
