// ChunkImage.h - one image that a camera sent as chunk data: the bounded reading of its header and the record
// that describes its copy.
#ifndef OX3D_CHUNK_IMAGE_H
#define OX3D_CHUNK_IMAGE_H

#include <cstdint>

#include "src/Manager/GrowBuffer.h"
#include <ox3drgbd/OxCameraControl.h>

// The initial size of every frame-assembly buffer.
constexpr uint64_t kAssemblyBufferBytes = 0x400000;

struct ChunkImage {
    bool m_isPresent = false;
    uint32_t m_chunkId = 0;
    uint32_t m_imageType = 0;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint32_t m_lengthBytes = 0;
};

enum class EChunkResult { Copied, TooShort, NoBuffer, NoGrowth };

// Copies the chunk's image into the buffer, then sets *image. The payload length is written into word 3 of
// the chunk's own header, where readers of the raw chunk expect it. On any other result image, chunk and (but
// for its first allocation) buffer stay as they were.
EChunkResult TakeChunkImage(const OX_CHUNK_DATA_CONTENT& chunk, uint32_t headerBytes, CGrowBuffer* buffer,
                            ChunkImage* image);

#endif
