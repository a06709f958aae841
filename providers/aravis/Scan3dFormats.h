// Scan3dFormats.h - pixel formats of depth and of confidence as cameras of GenICam's 3D model send them, and where
// the samples of each coordinate lie in an image. No camera is asked for anything here.
#ifndef OX3D_ARAVIS_SCAN3D_FORMATS_H
#define OX3D_ARAVIS_SCAN3D_FORMATS_H

#include <cstdint>
#include <span>

namespace ox3d {

enum class ESampleKind : uint8_t { Integer, Float };

struct DepthFormat {
    uint32_t m_code;
    const char* m_name; // as the entry of PixelFormat is called
    uint8_t m_sampleBits;
    uint8_t m_samples; // of a pixel: C alone, A and C, or A, B and C
    ESampleKind m_kind;
    bool m_isPlanar;

    uint32_t PixelBits() const { return uint32_t{m_sampleBits} * m_samples; }
};

constexpr uint32_t kPixelMono16 = 0x01100007; // depth where it comes as the range, and there alone

// In the order in which they are chosen: accuracy first, then the fewest bytes.
std::span<const DepthFormat> DepthFormats();
// Null when it is none. Mono16 is one.
const DepthFormat* FindDepthFormat(uint32_t code);

struct ConfidenceFormat {
    uint32_t m_code;
    uint8_t m_sampleBits; // 1 is packed
    ESampleKind m_kind;
    double m_max; // full confidence
};
const ConfidenceFormat* FindConfidenceFormat(uint32_t code);

struct ImageShape {
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    uint32_t m_paddingBytes = 0; // behind each line
};
constexpr uint32_t kMaxImageSide =
    65535; // whose square times the widest pixel is far from the end of 64 bits

// The samples of one coordinate: bits from the start of the image, which is read from the lowest bit of each byte.
struct SampleGrid {
    uint64_t m_firstBit = 0;
    uint64_t m_pixelBits = 0;
    uint64_t m_lineBits = 0;
};

// Lines follow each other without a gap, within a byte even, unless they are padded.
uint64_t LineBits(uint32_t pixelBits, const ImageShape& shape);
// Of the whole image; 0 where a side is 0 or longer than kMaxImageSide.
uint64_t BytesOfImage(uint32_t pixelBits, const ImageShape& shape);
uint64_t BytesOfImage(const DepthFormat& format, const ImageShape& shape);

enum class ECoordinate : uint8_t { A, B, C };

bool HasCoordinate(const DepthFormat& format, ECoordinate coordinate);
// The image has that coordinate.
SampleGrid GridOf(const DepthFormat& format, const ImageShape& shape, ECoordinate coordinate);
// One sample as it was sent, for who needs few. The image has been found to hold them all, and x and y to be within it.
double SampleAt(const DepthFormat& format, std::span<const uint8_t> bytes, const SampleGrid& grid, uint32_t x,
                uint32_t y);

} // namespace ox3d

#endif
