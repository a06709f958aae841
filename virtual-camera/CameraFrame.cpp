// CameraFrame.cpp - lays images out as a camera's payload and chunks. Chunk headers are little-endian words.
#include "virtual-camera/CameraFrame.h"

#include <algorithm>
#include <cstring>

namespace ox3d {
namespace {

uint64_t Pixels(uint32_t width, uint32_t height) {
    return uint64_t{width} * height;
}

void PutWord(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        at[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

// Header words: image type, width, height, then zeros; word 3 is left to the reader of the chunk.
void PackChunk(uint32_t id, uint32_t headerBytes, uint32_t type, uint32_t width, uint32_t height,
               const std::vector<uint8_t>& pixels, CameraFrame* frame) {
    CameraChunk& chunk = frame->m_chunks[frame->m_chunkCount++];
    chunk.m_id = id;
    chunk.m_bytes.resize(headerBytes + pixels.size());
    chunk.m_lengthBytes = static_cast<uint32_t>(chunk.m_bytes.size());
    std::fill_n(chunk.m_bytes.begin(), headerBytes, uint8_t{0});
    PutWord(chunk.m_bytes.data(), type);
    PutWord(chunk.m_bytes.data() + 4, width);
    PutWord(chunk.m_bytes.data() + 8, height);
    std::memcpy(chunk.m_bytes.data() + headerBytes, pixels.data(), pixels.size());
}

bool PackMainImage(const FrameImages& images, bool isGrey, CameraFrame* frame) {
    const uint64_t pixels = Pixels(images.m_depthWidth, images.m_depthHeight);
    const uint64_t sizeBytes = isGrey ? pixels : 2 * pixels;
    const bool isWhole = isGrey ? images.m_greyPair.size() >= pixels : images.m_depth.size() == pixels;
    if (!isWhole || pixels == 0 || sizeBytes > UINT32_MAX) {
        return false;
    }
    frame->m_width = images.m_depthWidth;
    frame->m_height = images.m_depthHeight;
    frame->m_pixelFormat = isGrey ? kPixelMono8 : kPixelDepth;
    frame->m_imageLengthBytes = static_cast<uint32_t>(sizeBytes);
    frame->m_image.resize(sizeBytes);
    const void* from = isGrey ? static_cast<const void*>(images.m_greyPair.data()) : images.m_depth.data();
    std::memcpy(frame->m_image.data(), from, sizeBytes);
    return true;
}

} // namespace

uint64_t PayloadBytes(const CFrameSource& source, const FrameContent& content, bool isChunkModeActive) {
    const uint64_t pixels = Pixels(source.DepthWidth(), source.DepthHeight());
    uint64_t sizeBytes = content.m_isGrey ? pixels : 2 * pixels;
    if (isChunkModeActive) {
        sizeBytes += kChunkTrailerBytes; // the main image is a chunk as well then
    }
    if (content.m_hasColor) {
        sizeBytes += kExtendedImageHeaderBytes + 3 * Pixels(source.ColorWidth(), source.ColorHeight()) +
                     kChunkTrailerBytes;
    }
    if (content.m_hasGreyPair) {
        sizeBytes += kDemosaicPairHeaderBytes + 2 * pixels + kChunkTrailerBytes;
    }
    return sizeBytes;
}

bool PackFrame(const FrameImages& images, const FrameContent& content, CameraFrame* frame) {
    frame->m_chunkCount = 0;
    frame->m_isChunked = content.m_isChunked;
    if (!PackMainImage(images, content.m_isGrey, frame)) {
        return false;
    }
    const uint64_t colorBytes = 3 * Pixels(images.m_colorWidth, images.m_colorHeight);
    if (content.m_hasColor && colorBytes > 0) {
        if (images.m_color.size() != colorBytes || colorBytes > INT32_MAX) {
            return false;
        }
        PackChunk(kChunkExtendedImage, kExtendedImageHeaderBytes, kPixelRgb8Planar, images.m_colorWidth,
                  images.m_colorHeight, images.m_color, frame);
    }
    const uint64_t pixels = Pixels(images.m_depthWidth, images.m_depthHeight);
    if (content.m_hasGreyPair && images.m_greyPair.size() == 2 * pixels) {
        PackChunk(kChunkDemosaicPair, kDemosaicPairHeaderBytes, kPixelMono8, images.m_depthWidth,
                  2 * images.m_depthHeight, images.m_greyPair, frame);
    }
    frame->m_declaredChunkCount = frame->m_chunkCount;
    frame->m_isChunkListMissing = false;
    return true;
}

void ApplyFrameFaults(const FaultSet& faults, CameraFrame* frame) {
    if (frame->m_number % faults.m_badEvery != 0) {
        return;
    }
    frame->m_imageLengthBytes = std::min(frame->m_imageLengthBytes, faults.m_depthLengthBytes);
    for (uint32_t i = 0; i < frame->m_chunkCount; ++i) {
        CameraChunk& chunk = frame->m_chunks[i];
        chunk.m_lengthBytes = std::min(chunk.m_lengthBytes, faults.m_chunkLengthBytes);
    }
    if (faults.m_chunkCount != kNoFault) {
        frame->m_declaredChunkCount = faults.m_chunkCount;
    }
    frame->m_isChunkListMissing = faults.m_isChunkListMissing != 0;
}

} // namespace ox3d
