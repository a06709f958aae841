// Jpeg.cpp - see Jpeg.h.
#include "recording/Jpeg.h"

#include <turbojpeg.h>

namespace ox3d {

CJpegEncoder::CJpegEncoder() : m_codec(tjInitCompress()) {}

CJpegEncoder::~CJpegEncoder() {
    tjFree(m_buffer);
    if (m_codec != nullptr) {
        tjDestroy(m_codec);
    }
}

std::span<const uint8_t> CJpegEncoder::Encode(const uint8_t* interleaved, uint32_t width, uint32_t height,
                                              int quality) {
    unsigned long lengthBytes = 0;
    if (m_codec == nullptr ||
        tjCompress2(m_codec, interleaved, static_cast<int>(width), 0, static_cast<int>(height), TJPF_RGB,
                    &m_buffer, &lengthBytes, TJSAMP_422, quality, TJFLAG_FASTDCT) != 0) {
        return {};
    }
    return {m_buffer, lengthBytes};
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
