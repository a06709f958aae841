// The transform's fast kernels for processors with AVX2; by hand are the store of three coordinates and the
// packing of what lands.
// Relies on TransformFast.h, and on being compiled for AVX2.
#define OX3D_TIER avx2
#include "algorithm/binostereo/TransformKernel.h"

#include <immintrin.h>

namespace ox3d::stereo::OX3D_TIER {
namespace {

constexpr int32_t kGroup = 8;

using Floats = __m256;
using Ints = __m256i;
using Lanes = __m256i; // all bits of a lane, or none

Floats Spread(float value) {
    return _mm256_set1_ps(value);
}

Ints Spread(int32_t value) {
    return _mm256_set1_epi32(value);
}

// The numbers of a group's columns.
Floats Columns(int32_t first) {
    const Ints lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    return _mm256_cvtepi32_ps(_mm256_add_epi32(lane, Spread(first)));
}

// A group of samples as floats. Returns those that are valid.
Lanes LoadDepth(const int16_t* depth, Floats* out) {
    const Ints samples = _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(depth)));
    *out = _mm256_cvtepi32_ps(samples);
    return _mm256_cmpgt_epi32(samples, _mm256_setzero_si256());
}

bool IsNone(Lanes lanes) {
    return _mm256_testz_si256(lanes, lanes) != 0;
}

Ints Truncated(Floats value) {
    return _mm256_cvttps_epi32(value);
}

Ints Sum(Ints a, Ints b) {
    return _mm256_add_epi32(a, b);
}

Ints Product(Ints a, Ints b) {
    return _mm256_mullo_epi32(a, b);
}

// Those of the lanes whose unsigned value is at most the last.
Lanes AndAtMost(Lanes lanes, Ints value, Ints last) {
    return _mm256_and_si256(lanes, _mm256_cmpeq_epi32(_mm256_min_epu32(value, last), value));
}

// The larger one of unsigned numbers in those lanes.
Ints LargestOf(Ints largest, Lanes lanes, Ints value) {
    return _mm256_max_epu32(largest, _mm256_and_si256(lanes, value));
}

bool AreAllAtMost(Ints value, int32_t last) {
    return _mm256_movemask_epi8(AndAtMost(Spread(-1), value, Spread(last))) == -1;
}

Floats Only(Lanes lanes, Floats value) {
    return _mm256_and_ps(_mm256_castsi256_ps(lanes), value);
}

// For each set of lanes the numbers of its members, one byte each.
struct PackingTable {
    constexpr PackingTable() {
        for (uint32_t lanes = 0; lanes < 256; ++lanes) {
            uint32_t place = 0;
            for (uint8_t lane = 0; lane < 8; ++lane) {
                if ((lanes >> lane & 1U) != 0) {
                    m_members[lanes][place++] = lane;
                }
            }
        }
    }
    uint8_t m_members[256][8] = {};
};
constexpr PackingTable kPackingTable;

// Brings the values of some lanes together and stores them, and anything behind them up to a whole group.
class Packing {
public:
    explicit Packing(Lanes lanes)
        : m_lanes(static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(lanes)))),
          m_members(_mm256_cvtepu8_epi32(
              _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kPackingTable.m_members[m_lanes])))) {}
    int32_t Count() const { return __builtin_popcount(m_lanes); }
    void Store(Ints value, uint32_t* out) const {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), Packed(value));
    }
    void Store(Floats value, float* out) const {
        _mm256_storeu_ps(out, _mm256_permutevar8x32_ps(value, m_members));
    }
    // Numbers of up to 16 bits; larger ones become anything.
    void StoreWords(Ints value, uint16_t* out) const {
        const Ints packed = Packed(value);
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(out),
            _mm_packus_epi32(_mm256_castsi256_si128(packed), _mm256_extracti128_si256(packed, 1)));
    }

private:
    Ints Packed(Ints value) const { return _mm256_permutevar8x32_epi32(value, m_members); }

    uint32_t m_lanes;
    Ints m_members;
};

// Coordinate c of element e goes to place 3e + c of the group's 24. Modulo 8 these places differ for all e, so
// one permutation a coordinate brings every element to its lane, and blends pick the lanes of each third.
// 3 is its own inverse modulo 8: lane p takes element 3(p - c).
__m256i SourceLanes(int32_t c) {
    const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    const __m256i distance = _mm256_sub_epi32(lane, _mm256_set1_epi32(c));
    return _mm256_and_si256(_mm256_mullo_epi32(distance, _mm256_set1_epi32(3)), _mm256_set1_epi32(7));
}

void StoreGroup(__m256 x, __m256 y, __m256 z, float* out) {
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

void StoreGroup(__m256 x, __m256 y, __m256 z, int16_t* out) {
    const __m128i px =
        _mm_shuffle_epi8(LowWords(x), _mm_setr_epi8(0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11));
    const __m128i py =
        _mm_shuffle_epi8(LowWords(y), _mm_setr_epi8(10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5));
    const __m128i pz =
        _mm_shuffle_epi8(LowWords(z), _mm_setr_epi8(4, 5, 10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15));
    auto* to = reinterpret_cast<__m128i*>(out);
    _mm_storeu_si128(to, _mm_blend_epi16(_mm_blend_epi16(px, py, 0x92), pz, 0x24));
    _mm_storeu_si128(to + 1, _mm_blend_epi16(_mm_blend_epi16(px, py, 0x24), pz, 0x49));
    _mm_storeu_si128(to + 2, _mm_blend_epi16(_mm_blend_epi16(px, py, 0x49), pz, 0x92));
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/TransformLanes.h"

namespace ox3d::stereo::OX3D_TIER {
namespace {

int32_t KeepGroups(const Hits& hits, uint16_t* target, int32_t /*targets*/) {
    return KeepEights(hits, target);
}

} // namespace
} // namespace ox3d::stereo::OX3D_TIER

#include "algorithm/binostereo/TransformFast.h"
