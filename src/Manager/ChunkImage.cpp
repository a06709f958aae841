// ChunkImage.cpp - see ChunkImage.h.
#include "src/Manager/ChunkImage.h"

#include <cstring>

EChunkResult TakeChunkImage(const OX_CHUNK_DATA_CONTENT& chunk, uint32_t headerBytes, CGrowBuffer* buffer,
                            ChunkImage* image) {
    if (chunk.pChunkData == nullptr || chunk.nChunkLen < headerBytes) {
        return EChunkResult::TooShort;
    }
    const uint32_t payloadBytes = chunk.nChunkLen - headerBytes;
    if (!buffer->EnsureExists()) {
        return EChunkResult::NoBuffer;
    }
    if (!buffer->Grow(payloadBytes)) {
        return EChunkResult::NoGrowth;
    }
    // A chunk lies at any address: its words are copied, never read in place.
    memcpy(chunk.pChunkData + 12, &payloadBytes, sizeof(payloadBytes));
    uint32_t words[3];
    memcpy(words, chunk.pChunkData, sizeof(words));
    memcpy(buffer->Data(), chunk.pChunkData + headerBytes, payloadBytes);
    *image = {true, chunk.nChunkID, words[0], words[1], words[2], payloadBytes};
    return EChunkResult::Copied;
}
