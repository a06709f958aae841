// ChunkWalk.cpp - from the last chunk to the first, every length held against what is left.
#include "providers/aravis/ChunkWalk.h"

#include <algorithm>

namespace ox3d {
namespace {

constexpr size_t kTrailerBytes = 8;

uint32_t Word(const uint8_t* bytes, bool isBigEndian) {
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) {
        word = (word << 8) | bytes[isBigEndian ? i : 3 - i];
    }
    return word;
}

} // namespace

bool WalkChunks(std::span<const uint8_t> payload, bool isBigEndian, std::vector<ChunkSpan>* chunks) {
    chunks->clear();
    size_t left = payload.size();
    while (left > 0) {
        if (left < kTrailerBytes || chunks->size() >= kMaxChunks) {
            return false;
        }
        left -= kTrailerBytes;
        const uint32_t id = Word(payload.data() + left, isBigEndian);
        const uint32_t lengthBytes = Word(payload.data() + left + 4, isBigEndian);
        if (lengthBytes > left) {
            return false;
        }
        left -= lengthBytes;
        chunks->push_back({id, lengthBytes, left});
    }
    std::reverse(chunks->begin(), chunks->end());
    return !chunks->empty();
}

} // namespace ox3d
