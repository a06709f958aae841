// Scan3dFormat.h - the pixel formats of a 3D camera's components, one row each.
#ifndef OX3D_VIRTUAL_CAMERA_SCAN3D_SCAN3D_FORMAT_H
#define OX3D_VIRTUAL_CAMERA_SCAN3D_SCAN3D_FORMAT_H

#include <array>
#include <cstdint>
#include <iterator>

#include "virtual-camera/scan3d/Scan3dSettings.h"

namespace ox3d {

// How samples lie in memory.
enum class EPixelLayout : uint8_t {
    Depth,
    Map,
    Points,
    PlanarPoints,
    Confidence,
    Grey,
    Color,
    Bayer,
    BayerPairs,
    Yuv422
};

struct Scan3dFormat {
    const char* m_name = "";
    uint32_t m_code = 0; // of the pixel format naming convention; bits 16 to 23 are the bits of a pixel
    EPixelLayout m_layout = EPixelLayout::Depth;
    uint8_t m_sampleBits = 0; // of one coordinate or channel
    bool m_isFloat = false;
    bool m_isSwapped = false; // Color: blue first. Yuv422: chroma first
    uint32_t m_slots = 0;     // the components that can have it
    uint16_t m_traits = kScan3dTrait;

    constexpr uint32_t PixelBits() const { return m_code >> 16U & 0xFFU; }
    constexpr bool IsPoints() const {
        return m_layout == EPixelLayout::Points || m_layout == EPixelLayout::PlanarPoints;
    }
    constexpr uint32_t MaxSample() const { return (1U << m_sampleBits) - 1; } // of one that is no float
};

constexpr uint32_t kOfRange = 1U << kRange;
constexpr uint32_t kOfDepth = kOfRange | 1U << kDisparity;
constexpr uint32_t kOfConfidence = 1U << kConfidence;
constexpr uint32_t kOfIntensity = 1U << kIntensity;

constexpr uint32_t kOfMapA = 1U << kCoordinateMapA;
constexpr uint32_t kOfMapB = 1U << kCoordinateMapB;

constexpr uint32_t kCoord3dA32f = 0x012000BD;
constexpr uint32_t kCoord3dB32f = 0x012000BE;
constexpr uint32_t kCoord3dC16 = 0x011000B8;
constexpr uint32_t kCoord3dAbc32f = 0x026000C0;
constexpr uint32_t kConfidence8 = 0x010800C6;
constexpr uint32_t kMono8 = 0x01080001;
constexpr uint32_t kRgb8 = 0x02180014;

inline constexpr Scan3dFormat kScan3dFormats[] = {
    {"Coord3D_C8", 0x010800B1, EPixelLayout::Depth, 8, false, false, kOfRange},
    {"Coord3D_C10p", 0x010A00D7, EPixelLayout::Depth, 10, false, false, kOfRange},
    {"Coord3D_C12p", 0x010C00DA, EPixelLayout::Depth, 12, false, false, kOfRange},
    {"Coord3D_C16", kCoord3dC16, EPixelLayout::Depth, 16, false, false, kOfDepth},
    {"Coord3D_C32f", 0x012000BF, EPixelLayout::Depth, 32, true, false, kOfDepth},
    {"Coord3D_ABC16", 0x023000B9, EPixelLayout::Points, 16, false, false, kOfRange},
    {"Coord3D_ABC16_Planar", 0x023000BA, EPixelLayout::PlanarPoints, 16, false, false, kOfRange},
    {"Coord3D_ABC32f", kCoord3dAbc32f, EPixelLayout::Points, 32, true, false, kOfRange},
    {"Coord3D_ABC32f_Planar", 0x026000C1, EPixelLayout::PlanarPoints, 32, true, false, kOfRange},
    {"Coord3D_A32f", kCoord3dA32f, EPixelLayout::Map, 32, true, false, kOfMapA, kMapsTrait},
    {"Coord3D_B32f", kCoord3dB32f, EPixelLayout::Map, 32, true, false, kOfMapB, kMapsTrait},
    {"Confidence8", kConfidence8, EPixelLayout::Confidence, 8, false, false, kOfConfidence},
    {"Confidence16", 0x011000C7, EPixelLayout::Confidence, 16, false, false, kOfConfidence},
    {"Mono8", kMono8, EPixelLayout::Grey, 8, false, false, kOfIntensity},
    {"Mono16", 0x01100007, EPixelLayout::Grey, 16, false, false, kOfIntensity},
    {"RGB8", kRgb8, EPixelLayout::Color, 8, false, false, kOfIntensity, kColorTrait},
    {"BGR8", 0x02180015, EPixelLayout::Color, 8, false, true, kOfIntensity, kColorTrait},
    {"BayerRG8", 0x01080009, EPixelLayout::Bayer, 8, false, false, kOfIntensity, kColorTrait},
    {"BayerRG10p", 0x010A0058, EPixelLayout::Bayer, 10, false, false, kOfIntensity, kColorTrait},
    {"BayerRG12p", 0x010C0059, EPixelLayout::Bayer, 12, false, false, kOfIntensity, kColorTrait},
    {"BayerRG12Packed", 0x010C002B, EPixelLayout::BayerPairs, 12, false, false, kOfIntensity, kColorTrait},
    {"YUV422_8", 0x02100032, EPixelLayout::Yuv422, 8, false, false, kOfIntensity, kColorTrait},
    {"YUV422_8_UYVY", 0x0210001F, EPixelLayout::Yuv422, 8, false, true, kOfIntensity, kColorTrait},
};

// The entries of PixelFormat; what is not of the selected component is not available.
constexpr auto Scan3dFormatEntries() {
    std::array<EnumEntry, std::size(kScan3dFormats)> entries{};
    for (size_t i = 0; i < entries.size(); ++i) {
        const Scan3dFormat& format = kScan3dFormats[i];
        entries[i] = {format.m_name, format.m_code, kEveryTransport, format.m_traits, format.m_slots};
    }
    return entries;
}

// Null when no component has it.
constexpr const Scan3dFormat* FindScan3dFormat(uint32_t code) {
    for (const Scan3dFormat& format : kScan3dFormats) {
        if (format.m_code == code) {
            return &format;
        }
    }
    return nullptr;
}

// Pixels are packed without gaps; only the image's last byte may be filled up.
constexpr uint64_t Scan3dImageBytes(const Scan3dFormat& format, uint32_t width, uint32_t height) {
    return (uint64_t{width} * height * format.PixelBits() + 7) / 8;
}

} // namespace ox3d

#endif
