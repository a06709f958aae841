// Jpeg.cpp - see Jpeg.h.
#include "recording/Jpeg.h"

#include <turbojpeg.h>

namespace ox3d {

const uint8_t* InterleavedBytes(const ColorView& color, ByteVector* room) {
    if (color.m_layout == EColorLayout::Interleaved) {
        return color.m_bytes;
    }
    const size_t pixels = size_t{color.m_width} * color.m_height;
    room->resize(pixels * 3);
    const uint8_t* const red = color.m_bytes;
    const uint8_t* const green = red + pixels;
    const uint8_t* const blue = green + pixels;
    uint8_t* out = room->data();
    for (size_t i = 0; i < pixels; ++i, out += 3) {
        out[0] = red[i];
        out[1] = green[i];
        out[2] = blue[i];
    }
    return room->data();
}

CJpegEncoder::CJpegEncoder() : m_codec(tjInitCompress()) {}

CJpegEncoder::~CJpegEncoder() {
    if (m_codec != nullptr) {
        tjDestroy(m_codec);
    }
}

std::span<const uint8_t> CJpegEncoder::Encode(const uint8_t* interleaved, uint32_t width, uint32_t height,
                                              int quality) {
    const int columns = static_cast<int>(width);
    const int rows = static_cast<int>(height);
    unsigned long lengthBytes = tjBufSize(columns, rows, TJSAMP_422); // no image needs more
    if (m_codec == nullptr || lengthBytes == static_cast<unsigned long>(-1)) {
        return {};
    }
    if (lengthBytes > m_bufferBytes) {
        m_buffer.reset(static_cast<uint8_t*>(AllocateImageMemory(lengthBytes)));
        m_bufferBytes = m_buffer == nullptr ? 0 : lengthBytes;
    }
    uint8_t* buffer = m_buffer.get();
    if (buffer == nullptr ||
        tjCompress2(m_codec, interleaved, columns, 0, rows, TJPF_RGB, &buffer, &lengthBytes, TJSAMP_422,
                    quality, TJFLAG_FASTDCT | TJFLAG_NOREALLOC) != 0) {
        return {};
    }
    return {buffer, lengthBytes};
}

CJpegDecoder::CJpegDecoder() : m_codec(tjInitDecompress()) {}

CJpegDecoder::~CJpegDecoder() {
    if (m_codec != nullptr) {
        tjDestroy(m_codec);
    }
}

bool CJpegDecoder::Size(std::span<const uint8_t> image, uint64_t maxPixels, uint32_t* width,
                        uint32_t* height) {
    int columns = 0;
    int rows = 0;
    int subsampling = 0;
    int colors = 0;
    if (m_codec == nullptr || image.empty() ||
        tjDecompressHeader3(m_codec, image.data(), image.size(), &columns, &rows, &subsampling, &colors) !=
            0 ||
        columns < 1 || rows < 1 || static_cast<uint64_t>(columns) * static_cast<uint64_t>(rows) > maxPixels) {
        return false;
    }
    *width = static_cast<uint32_t>(columns);
    *height = static_cast<uint32_t>(rows);
    return true;
}

bool CJpegDecoder::Decode(std::span<const uint8_t> image, uint32_t width, uint32_t height,
                          uint8_t* interleaved) {
    return m_codec != nullptr &&
           tjDecompress2(m_codec, image.data(), image.size(), interleaved, static_cast<int>(width), 0,
                         static_cast<int>(height), TJPF_RGB, TJFLAG_LIMITSCANS) == 0;
}

} // namespace ox3d
