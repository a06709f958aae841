// ChunkWalk.h - takes a payload with chunks apart.
//
//   [data 0][id][length] [data 1][id][length] ... [data n][id][length]   <- read from this end
//
// Id and length are words of 32 bits, big-endian on Ethernet and little-endian on USB.
#ifndef OX3D_ARAVIS_CHUNK_WALK_H
#define OX3D_ARAVIS_CHUNK_WALK_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace ox3d {

struct ChunkSpan {
    uint32_t m_id;
    uint32_t m_lengthBytes;
    size_t m_offset;
};

constexpr size_t kMaxChunks = 64;

// Fills *chunks in the order of the payload. False when lengths do not add up to the payload exactly: nothing
// in it can be relied on then.
bool WalkChunks(std::span<const uint8_t> payload, bool isBigEndian, std::vector<ChunkSpan>* chunks);

} // namespace ox3d

#endif
