// Jpeg.h - color images in and out of JPEG. Relies on libjpeg-turbo.
#ifndef OX3D_RECORDING_JPEG_H
#define OX3D_RECORDING_JPEG_H

#include "base/ImageMemory.h"
#include "recording/Bytes.h"
#include "recording/RecordedFrame.h"

namespace ox3d {

// The image as CJpegEncoder takes it: where it lies, or in *room where its planes lie apart.
const uint8_t* InterleavedBytes(const ColorView& color, ByteVector* room);

// Each keeps its memory; one thread at a time.
class CJpegEncoder {
public:
    CJpegEncoder();
    ~CJpegEncoder();
    CJpegEncoder(const CJpegEncoder&) = delete;
    CJpegEncoder& operator=(const CJpegEncoder&) = delete;
    // 4:2:2. The image stays until the next call; empty when it cannot be made.
    std::span<const uint8_t> Encode(const uint8_t* interleaved, uint32_t width, uint32_t height, int quality);

private:
    void* m_codec;
    ImageBlock m_buffer;
    uint64_t m_bufferBytes = 0;
};

class CJpegDecoder {
public:
    CJpegDecoder();
    ~CJpegDecoder();
    CJpegDecoder(const CJpegDecoder&) = delete;
    CJpegDecoder& operator=(const CJpegDecoder&) = delete;
    // Sizes out of the head; false when there is none, or it promises more than maxPixels.
    bool Size(std::span<const uint8_t> image, uint64_t maxPixels, uint32_t* width, uint32_t* height);
    // R, G, B of every pixel together. False when the image is damaged anywhere.
    bool Decode(std::span<const uint8_t> image, uint32_t width, uint32_t height, uint8_t* interleaved);

private:
    void* m_codec;
};

} // namespace ox3d

#endif
