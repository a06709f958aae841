// LanesAvx512.h - sixteen numbers at once, as the formulas of FillKernel.h ask for them.
// Relies on being compiled for AVX-512 F, BW, DQ and VL, in a unit that names its tier in OX3D_TIER.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace ox3d::alignment::OX3D_TIER {
namespace {

constexpr int32_t kLanes = 16;

struct Truth {
    __mmask16 m_bits;
    [[nodiscard]] uint32_t Bits() const { return m_bits; }
    static Truth Of(uint32_t bits) { return {static_cast<__mmask16>(bits)}; }
    friend Truth operator&(Truth a, Truth b) { return {static_cast<__mmask16>(a.m_bits & b.m_bits)}; }
    friend Truth operator|(Truth a, Truth b) { return {static_cast<__mmask16>(a.m_bits | b.m_bits)}; }
};

struct Floats {
    explicit Floats(__m512 value) : m_value(value) {}
    Floats(float value) : m_value(_mm512_set1_ps(value)) {}

    friend Floats operator+(Floats a, Floats b) { return Floats(_mm512_add_ps(a.m_value, b.m_value)); }
    friend Floats operator-(Floats a, Floats b) { return Floats(_mm512_sub_ps(a.m_value, b.m_value)); }
    friend Floats operator*(Floats a, Floats b) { return Floats(_mm512_mul_ps(a.m_value, b.m_value)); }
    friend Floats operator/(Floats a, Floats b) { return Floats(_mm512_div_ps(a.m_value, b.m_value)); }
    friend Truth operator<(Floats a, Floats b) {
        return {_mm512_cmp_ps_mask(a.m_value, b.m_value, _CMP_LT_OQ)};
    }
    friend Truth operator<=(Floats a, Floats b) {
        return {_mm512_cmp_ps_mask(a.m_value, b.m_value, _CMP_LE_OQ)};
    }
    friend Truth operator>(Floats a, Floats b) { return b < a; }
    friend Truth operator>=(Floats a, Floats b) { return b <= a; }
    friend Truth IsNumber(Floats value) {
        return {_mm512_cmp_ps_mask(value.m_value, value.m_value, _CMP_ORD_Q)};
    }
    friend Floats Select(Truth isFirst, Floats first, Floats second) {
        return Floats(_mm512_mask_blend_ps(isFirst.m_bits, second.m_value, first.m_value));
    }
    friend Floats Smaller(Floats a, Floats b) { return Floats(_mm512_min_ps(a.m_value, b.m_value)); }
    friend Floats Larger(Floats a, Floats b) { return Floats(_mm512_max_ps(a.m_value, b.m_value)); }
    friend Floats Magnitude(Floats value) { return Floats(_mm512_abs_ps(value.m_value)); }
    friend Floats Ceiling(Floats value) {
        return Floats(_mm512_roundscale_ps(value.m_value, _MM_FROUND_TO_POS_INF | _MM_FROUND_NO_EXC));
    }

    __m512 m_value;
};

Floats Load(const float* from) {
    return Floats(_mm512_loadu_ps(from));
}

Floats Load(const uint16_t* from) {
    return Floats(_mm512_cvtepi32_ps(
        _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)))));
}

void Store(Floats value, float* to) {
    _mm512_storeu_ps(to, value.m_value);
}

// 0, 1, 2 and so on.
Floats LaneNumbers() {
    return Floats(_mm512_setr_ps(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
}

// As integers, cut off.
void StoreWhole(Floats value, uint32_t* to) {
    _mm512_storeu_si512(to, _mm512_cvttps_epi32(value.m_value));
}

// Zeros elsewhere.
void StoreWholeWhere(Truth where, Floats value, uint32_t* to) {
    _mm512_storeu_si512(to, _mm512_maskz_cvttps_epi32(where.m_bits, value.m_value));
}

// The lanes' bits among those of all groups.
void Mark(Truth truth, int32_t at, uint64_t* words) {
    std::memcpy(reinterpret_cast<uint8_t*>(words) + at / 8, &truth.m_bits, sizeof truth.m_bits);
}

Truth Marked(int32_t at, const uint64_t* words) {
    Truth truth;
    std::memcpy(&truth.m_bits, reinterpret_cast<const uint8_t*>(words) + at / 8, sizeof truth.m_bits);
    return truth;
}

// Marks the patches that are drawn, and those that are not continued by the next one. Says whether all that are
// drawn are ones for PackLine.
bool MarkDrawn(const uint32_t* columns, const uint32_t* rows, int32_t at, uint64_t* drawn, uint64_t* ends) {
    const __m512i own = _mm512_loadu_si512(columns);
    const __m512i width = _mm512_srli_epi32(own, 16);
    const __m512i ahead =
        _mm512_and_si512(_mm512_sub_epi32(_mm512_loadu_si512(columns + 1), own), _mm512_set1_epi32(0xFFFF));
    const __m512i ownRows = _mm512_loadu_si512(rows);
    const __mmask16 isDrawn = _mm512_test_epi32_mask(ownRows, ownRows);
    const __mmask16 isElsewhere = _mm512_cmpneq_epi32_mask(ownRows, _mm512_loadu_si512(rows + 1));
    const __mmask16 isApart = _mm512_cmpneq_epi32_mask(width, ahead);
    Mark({isDrawn}, at, drawn);
    Mark({static_cast<__mmask16>(isElsewhere | isApart)}, at, ends);
    return _mm512_mask_cmpgt_epu32_mask(isDrawn, width, _mm512_set1_epi32(2)) == 0;
}

// The low words of some lanes, brought together. Returns how many.
int32_t PackWords(__mmask16 lanes, __m512i value, uint16_t* to) {
    const __m512i packed = _mm512_maskz_compress_epi32(lanes, value);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm512_cvtepi32_epi16(packed));
    return __builtin_popcount(lanes);
}

// Some patches, of which each continues the one before and has two columns at most, as a line of depths.
void PackLine(const uint32_t* columns, const uint32_t* depths, int32_t count, uint16_t* line) {
    const __m512i firstHalf = _mm512_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7);
    const __m512i secondHalf = _mm512_add_epi32(firstHalf, _mm512_set1_epi32(8));
    const __m512i place = _mm512_set1_epi64(int64_t{1} << 32); // of a lane in its patch
    for (int32_t i = 0; i < count; i += kLanes) {
        const auto own =
            static_cast<__mmask16>((uint32_t{1} << (count - i < kLanes ? count - i : kLanes)) - 1);
        const __m512i width = _mm512_maskz_srli_epi32(own, _mm512_loadu_si512(columns + i), 16);
        const __m512i depth = _mm512_loadu_si512(depths + i);
        if (_mm512_cmpgt_epi32_mask(width, _mm512_set1_epi32(1)) == 0) {
            line += PackWords(_mm512_test_epi32_mask(width, width), depth, line);
            continue;
        }
        for (int32_t half = 0; half < 2; ++half) {
            const __m512i from = half == 0 ? firstHalf : secondHalf;
            const __mmask16 lanes = _mm512_cmpgt_epi32_mask(_mm512_permutexvar_epi32(from, width), place);
            line += PackWords(lanes, _mm512_permutexvar_epi32(from, depth), line);
        }
    }
}

} // namespace
} // namespace ox3d::alignment::OX3D_TIER
