// RgbdInterleaveAvx2.cpp - 32 pixels at a time, for processors with AVX2; static functions only.
#include "algorithm/rgbd/RgbdInterleaveTiers.h"

#include <immintrin.h>

namespace ox3d::avx2 {
namespace {

constexpr uint64_t kGroup = 32;

// 16 pixels are 80 bytes, five vectors of 16. Vector k takes its color bytes from four pixels R, G, B, 0 that
// begin at pixel 3k, and its depth bytes from eight samples that begin at kFirstSample[k]; the other bytes are
// zero in either, so the two are just joined.
constexpr int kFirstSample[5] = {0, 0, 4, 8, 8};

struct Shuffle {
    alignas(32) int8_t m_color[32];
    alignas(32) int8_t m_depth[32];
};

struct Shuffles {
    Shuffle m_vectors[5];
};

constexpr Shuffles MakeShuffles() {
    Shuffles result{};
    for (int k = 0; k < 5; ++k) {
        for (int i = 0; i < 32; ++i) {
            const int pixel = (16 * k + i % 16) / 5;
            const int byte = (16 * k + i % 16) % 5;
            result.m_vectors[k].m_color[i] = static_cast<int8_t>(byte < 3 ? 4 * (pixel - 3 * k) + byte : -1);
            result.m_vectors[k].m_depth[i] =
                static_cast<int8_t>(byte < 3 ? -1 : 2 * (pixel - kFirstSample[k]) + byte - 3);
        }
    }
    return result;
}

constexpr Shuffles kShuffles = MakeShuffles();

__m256i Load(const uint8_t* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

__m256i Interleave(int k, __m256i color, __m256i depth) {
    const Shuffle& shuffle = kShuffles.m_vectors[k];
    const auto* fromColor = reinterpret_cast<const __m256i*>(shuffle.m_color);
    const auto* fromDepth = reinterpret_cast<const __m256i*>(shuffle.m_depth);
    return _mm256_or_si256(_mm256_shuffle_epi8(color, _mm256_load_si256(fromColor)),
                           _mm256_shuffle_epi8(depth, _mm256_load_si256(fromDepth)));
}

void Store(uint8_t* out, __m256i value) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), value);
}

// The low half of every vector belongs to the first 16 pixels, the high half to the others.
void InterleaveGroup(__m256i r, __m256i g, __m256i b, __m256i samples0, __m256i samples1, uint8_t* out) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i redGreen0 = _mm256_unpacklo_epi8(r, g);
    const __m256i redGreen1 = _mm256_unpackhi_epi8(r, g);
    const __m256i blue0 = _mm256_unpacklo_epi8(b, zero);
    const __m256i blue1 = _mm256_unpackhi_epi8(b, zero);
    const __m256i pixels0 = _mm256_unpacklo_epi16(redGreen0, blue0);
    const __m256i pixels4 = _mm256_unpackhi_epi16(redGreen0, blue0);
    const __m256i pixels8 = _mm256_unpacklo_epi16(redGreen1, blue1);
    const __m256i pixels12 = _mm256_unpackhi_epi16(redGreen1, blue1);
    const __m256i depth0 = _mm256_permute2x128_si256(samples0, samples1, 0x20);
    const __m256i depth8 = _mm256_permute2x128_si256(samples0, samples1, 0x31);
    const __m256i w0 = Interleave(0, pixels0, depth0);
    const __m256i w1 = Interleave(1, _mm256_alignr_epi8(pixels4, pixels0, 12), depth0);
    const __m256i w2 =
        Interleave(2, _mm256_alignr_epi8(pixels8, pixels4, 8), _mm256_alignr_epi8(depth8, depth0, 8));
    const __m256i w3 = Interleave(3, _mm256_alignr_epi8(pixels12, pixels8, 4), depth8);
    const __m256i w4 = Interleave(4, pixels12, depth8);
    Store(out, _mm256_permute2x128_si256(w0, w1, 0x20));
    Store(out + 32, _mm256_permute2x128_si256(w2, w3, 0x20));
    Store(out + 64, _mm256_blend_epi32(w4, w0, 0xF0));
    Store(out + 96, _mm256_permute2x128_si256(w1, w2, 0x31));
    Store(out + 128, _mm256_permute2x128_si256(w3, w4, 0x31));
}

uint64_t InterleaveGroups(const uint8_t* color, uint64_t planeBytes, const uint8_t* depth, uint64_t pixels,
                          uint8_t* out) {
    uint64_t p = 0;
    for (; pixels - p >= kGroup; p += kGroup) {
        InterleaveGroup(Load(color + p), Load(color + planeBytes + p), Load(color + 2 * planeBytes + p),
                        Load(depth + 2 * p), Load(depth + 2 * p + 32), out + 5 * p);
    }
    return p;
}

} // namespace

constinit const InterleaveKernels kInterleaveKernels = {InterleaveGroups};

} // namespace ox3d::avx2
