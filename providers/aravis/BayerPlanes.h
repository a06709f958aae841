// BayerPlanes.h - an image whose pixels lie behind a mosaic of color filters becomes a red, a green and a blue plane, by
// libdc1394 where the build has it.
#ifndef OX3D_ARAVIS_BAYER_PLANES_H
#define OX3D_ARAVIS_BAYER_PLANES_H

#include <cstdint>
#include <span>
#include <vector>

namespace ox3d {

#ifdef OX3D_HAS_DC1394
constexpr bool kHasBayer = true;
#else
constexpr bool kHasBayer = false;
#endif

// Filters of the first two pixels of the first line, as pixel formats name them.
enum class EBayerOrder : uint8_t { GR, RG, GB, BG };

// Of pixels of more than 8 bits: two bytes each, the low one first; bits one after the other, from the lowest of each byte;
// two in three bytes, their upper eight bits in the first and the last.
enum class EBayerPacking : uint8_t { Bytes, Bits, Pairs };

struct BayerImage {
    const uint8_t* m_bytes = nullptr;
    uint64_t m_lineBits = 0;
    uint32_t m_width = 0; // even where two pixels share bytes in pairs
    uint32_t m_height = 0;
    uint8_t m_bits = 8; // of a pixel
    EBayerPacking m_packing = EBayerPacking::Bytes;
    EBayerOrder m_order = EBayerOrder::GR;
};

// One thread at a time for each object.
class CBayerPlanes {
public:
    // Writes 3 x width x height bytes; planes has room for them. False, with nothing written, for sides below 3 or too long,
    // and without the library. Throws nothing but std::bad_alloc.
    bool Make(const BayerImage& image, std::span<uint8_t> planes);

private:
    // Both have a margin around the image.
    std::vector<uint8_t> m_mosaic;
    std::vector<uint8_t> m_rgb;
};

} // namespace ox3d

#endif
