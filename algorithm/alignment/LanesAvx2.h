// LanesAvx2.h - eight numbers at once, as the formulas of FillKernel.h ask for them.
// Relies on being compiled for AVX2, in a unit that names its tier in OX3D_TIER.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace ox3d::alignment::OX3D_TIER {
namespace {

constexpr int32_t kLanes = 8;

// All bits of a lane, or none.
struct Truth {
    [[nodiscard]] uint32_t Bits() const { return static_cast<uint32_t>(_mm256_movemask_ps(m_mask)); }
    static Truth Of(uint32_t bits) {
        const __m256i lane = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
        const __m256i own = _mm256_and_si256(_mm256_set1_epi32(static_cast<int32_t>(bits)), lane);
        return {_mm256_castsi256_ps(_mm256_cmpeq_epi32(own, lane))};
    }
    friend Truth operator&(Truth a, Truth b) { return {_mm256_and_ps(a.m_mask, b.m_mask)}; }
    friend Truth operator|(Truth a, Truth b) { return {_mm256_or_ps(a.m_mask, b.m_mask)}; }

    __m256 m_mask;
};

struct Floats {
    explicit Floats(__m256 value) : m_value(value) {}
    Floats(float value) : m_value(_mm256_set1_ps(value)) {}

    friend Floats operator+(Floats a, Floats b) { return Floats(_mm256_add_ps(a.m_value, b.m_value)); }
    friend Floats operator-(Floats a, Floats b) { return Floats(_mm256_sub_ps(a.m_value, b.m_value)); }
    friend Floats operator*(Floats a, Floats b) { return Floats(_mm256_mul_ps(a.m_value, b.m_value)); }
    friend Floats operator/(Floats a, Floats b) { return Floats(_mm256_div_ps(a.m_value, b.m_value)); }
    friend Truth operator<(Floats a, Floats b) { return {_mm256_cmp_ps(a.m_value, b.m_value, _CMP_LT_OQ)}; }
    friend Truth operator<=(Floats a, Floats b) { return {_mm256_cmp_ps(a.m_value, b.m_value, _CMP_LE_OQ)}; }
    friend Truth operator>(Floats a, Floats b) { return b < a; }
    friend Truth operator>=(Floats a, Floats b) { return b <= a; }
    friend Truth IsNumber(Floats value) { return {_mm256_cmp_ps(value.m_value, value.m_value, _CMP_ORD_Q)}; }
    friend Floats Select(Truth isFirst, Floats first, Floats second) {
        return Floats(_mm256_blendv_ps(second.m_value, first.m_value, isFirst.m_mask));
    }
    friend Floats Smaller(Floats a, Floats b) { return Floats(_mm256_min_ps(a.m_value, b.m_value)); }
    friend Floats Larger(Floats a, Floats b) { return Floats(_mm256_max_ps(a.m_value, b.m_value)); }
    friend Floats Magnitude(Floats value) {
        return Floats(_mm256_andnot_ps(_mm256_set1_ps(-0.0F), value.m_value));
    }
    friend Floats Ceiling(Floats value) {
        return Floats(_mm256_round_ps(value.m_value, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC));
    }

    __m256 m_value;
};

Floats Load(const float* from) {
    return Floats(_mm256_loadu_ps(from));
}

Floats Load(const uint16_t* from) {
    return Floats(
        _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)))));
}

void Store(Floats value, float* to) {
    _mm256_storeu_ps(to, value.m_value);
}

// 0, 1, 2 and so on.
Floats LaneNumbers() {
    return Floats(_mm256_setr_ps(0, 1, 2, 3, 4, 5, 6, 7));
}

// As integers, cut off.
void StoreWhole(Floats value, uint32_t* to) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm256_cvttps_epi32(value.m_value));
}

// Zeros elsewhere.
void StoreWholeWhere(Truth where, Floats value, uint32_t* to) {
    StoreWhole(Floats(_mm256_and_ps(where.m_mask, value.m_value)), to);
}

__m256i LoadInts(const uint32_t* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

// The lanes' bits among those of all groups.
void Mark(Truth truth, int32_t at, uint64_t* words) {
    reinterpret_cast<uint8_t*>(words)[at / 8] = static_cast<uint8_t>(truth.Bits());
}

Truth Marked(int32_t at, const uint64_t* words) {
    return Truth::Of(reinterpret_cast<const uint8_t*>(words)[at / 8]);
}

// Marks the patches that are drawn, and those that are not continued by the next one. Says whether all that are
// drawn are ones for PackLine.
bool MarkDrawn(const uint32_t* columns, const uint32_t* rows, int32_t at, uint64_t* drawn, uint64_t* ends) {
    const __m256i own = LoadInts(columns);
    const __m256i width = _mm256_srli_epi32(own, 16);
    const __m256i ahead =
        _mm256_and_si256(_mm256_sub_epi32(LoadInts(columns + 1), own), _mm256_set1_epi32(0xFFFF));
    const __m256i ownRows = LoadInts(rows);
    const __m256i isNone = _mm256_cmpeq_epi32(ownRows, _mm256_setzero_si256());
    const __m256i isContinued =
        _mm256_and_si256(_mm256_cmpeq_epi32(ownRows, LoadInts(rows + 1)), _mm256_cmpeq_epi32(width, ahead));
    const __m256i isWide = _mm256_andnot_si256(isNone, _mm256_cmpgt_epi32(width, _mm256_set1_epi32(1)));
    const __m256i all = _mm256_set1_epi32(-1);
    Mark({_mm256_castsi256_ps(_mm256_xor_si256(isNone, all))}, at, drawn);
    Mark({_mm256_castsi256_ps(_mm256_xor_si256(isContinued, all))}, at, ends);
    return _mm256_testz_si256(isWide, isWide) != 0;
}

// For each set of eight words the bytes of its members.
struct PackingTable {
    constexpr PackingTable() {
        for (uint32_t words = 0; words < 256; ++words) {
            uint32_t place = 0;
            for (uint32_t word = 0; word < 8; ++word) {
                if ((words >> word & 1U) != 0) {
                    m_bytes[words][place++] = static_cast<uint8_t>(2 * word);
                    m_bytes[words][place++] = static_cast<uint8_t>(2 * word + 1);
                }
            }
        }
    }
    alignas(16) uint8_t m_bytes[256][16] = {};
};
constexpr PackingTable kPackingTable;

// Some patches, of which each continues the one before and has one column at most, as a line of depths.
void PackLine(const uint32_t* columns, const uint32_t* depths, int32_t count, uint16_t* line) {
    for (int32_t i = 0; i < count; i += kLanes) {
        const uint32_t own = (uint32_t{1} << (count - i < kLanes ? count - i : kLanes)) - 1;
        const __m256i hasWidth = _mm256_cmpgt_epi32(LoadInts(columns + i), _mm256_set1_epi32(0xFFFF));
        const uint32_t lanes = Truth{_mm256_castsi256_ps(hasWidth)}.Bits() & own;
        const __m256i depth = LoadInts(depths + i);
        const __m128i words =
            _mm_packus_epi32(_mm256_castsi256_si128(depth), _mm256_extracti128_si256(depth, 1));
        const auto* const members = reinterpret_cast<const __m128i*>(kPackingTable.m_bytes[lanes]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(line), _mm_shuffle_epi8(words, _mm_load_si128(members)));
        line += __builtin_popcount(lanes);
    }
}

} // namespace
} // namespace ox3d::alignment::OX3D_TIER
