// BayerPlanes.cpp - the library leaves the pixels at the image's border black, so it is given a margin: pixels mirrored about
// the outermost ones, which have the same filter.
#include "providers/aravis/BayerPlanes.h"

#include <algorithm>

#ifdef OX3D_HAS_DC1394
#    include <dc1394/conversions.h>
#endif

namespace ox3d {

#ifdef OX3D_HAS_DC1394

namespace {

constexpr uint32_t kMargin = 2; // what the interpolation looks at, and even: the order of the filters stays

dc1394color_filter_t FilterOf(EBayerOrder order) {
    switch (order) {
    case EBayerOrder::GR:
        return DC1394_COLOR_FILTER_GRBG;
    case EBayerOrder::RG:
        return DC1394_COLOR_FILTER_RGGB;
    case EBayerOrder::GB:
        return DC1394_COLOR_FILTER_GBRG;
    case EBayerOrder::BG:
        break;
    }
    return DC1394_COLOR_FILTER_BGGR;
}

// The image's line or column at a place that counts the margin, too.
uint32_t Mirrored(uint32_t place, uint32_t side) {
    const uint32_t inside = place < kMargin ? kMargin - place : place - kMargin;
    return inside < side ? inside : 2 * side - 2 - inside;
}

// The upper eight bits of pixels that need not begin with a byte, but end in the next.
void CopyBits(const BayerImage& image, uint64_t firstBit, uint8_t* out) {
    const uint32_t mask = (1U << image.m_bits) - 1;
    uint64_t at = firstBit;
    for (uint32_t x = 0; x < image.m_width; ++x, at += image.m_bits) {
        const uint8_t* const bytes = image.m_bytes + at / 8;
        const uint32_t value = (bytes[0] | uint32_t{bytes[1]} << 8) >> (at % 8) & mask;
        out[x] = static_cast<uint8_t>(value >> (image.m_bits - 8U));
    }
}

void CopyPairs(const uint8_t* line, uint32_t width, uint8_t* out) {
    for (uint32_t x = 0; x + 1 < width; x += 2, line += 3) {
        out[x] = line[0];
        out[x + 1] = line[2];
    }
}

void CopyBytes(const uint8_t* line, const BayerImage& image, uint8_t* out) {
    const uint32_t max = (1U << image.m_bits) - 1;
    for (uint32_t x = 0; x < image.m_width; ++x) {
        const uint32_t wide =
            image.m_bits == 8 ? line[x] : line[size_t{2} * x] | (uint32_t{line[size_t{2} * x + 1]} << 8);
        out[x] = static_cast<uint8_t>(std::min(wide, max) >> (image.m_bits - 8U));
    }
}

void CopyLine(uint32_t y, const BayerImage& image, uint8_t* out) {
    const uint64_t firstBit = y * image.m_lineBits;
    switch (image.m_packing) {
    case EBayerPacking::Bytes:
        CopyBytes(image.m_bytes + firstBit / 8, image, out + kMargin);
        break;
    case EBayerPacking::Bits:
        CopyBits(image, firstBit, out + kMargin);
        break;
    case EBayerPacking::Pairs:
        CopyPairs(image.m_bytes + firstBit / 8, image.m_width, out + kMargin);
        break;
    }
    for (const uint32_t x : {0U, 1U, image.m_width + kMargin, image.m_width + kMargin + 1}) {
        out[x] = out[kMargin + Mirrored(x, image.m_width)];
    }
}

} // namespace

bool CBayerPlanes::Make(const BayerImage& image, std::span<uint8_t> planes) {
    const uint64_t width = uint64_t{image.m_width} + kMargin + kMargin;
    const uint64_t height = uint64_t{image.m_height} + kMargin + kMargin;
    const uint64_t pixels = uint64_t{image.m_width} * image.m_height;
    constexpr uint64_t kMaxSide = UINT16_MAX;
    // The library counts bytes in an int.
    if (image.m_width < 3 || image.m_height < 3 || width > kMaxSide || height > kMaxSide ||
        3 * width * height > INT32_MAX || planes.size() < 3 * pixels) {
        return false;
    }
    m_mosaic.resize(width * height);
    m_rgb.resize(3 * width * height);
    for (uint32_t y = 0; y < height; ++y) {
        CopyLine(Mirrored(y, image.m_height), image, m_mosaic.data() + y * width);
    }
    if (dc1394_bayer_decoding_8bit(m_mosaic.data(), m_rgb.data(), static_cast<uint32_t>(width),
                                   static_cast<uint32_t>(height), FilterOf(image.m_order),
                                   DC1394_BAYER_METHOD_HQLINEAR) != DC1394_SUCCESS) {
        return false;
    }
    for (uint32_t y = 0; y < image.m_height; ++y) {
        const uint8_t* rgb = m_rgb.data() + 3 * ((y + kMargin) * width + kMargin);
        uint8_t* const out = planes.data() + uint64_t{y} * image.m_width;
        for (uint32_t x = 0; x < image.m_width; ++x, rgb += 3) {
            out[x] = rgb[0];
            out[x + pixels] = rgb[1];
            out[x + 2 * pixels] = rgb[2];
        }
    }
    return true;
}

#else

bool CBayerPlanes::Make(const BayerImage& /*image*/, std::span<uint8_t> /*planes*/) {
    return false;
}

#endif

} // namespace ox3d
