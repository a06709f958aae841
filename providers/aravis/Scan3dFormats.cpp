// Scan3dFormats.cpp - the tables; numbers are those of the Pixel Format Naming Convention.
#include "providers/aravis/Scan3dFormats.h"

#include <arv.h>

#include <algorithm>
#include <bit>
#include <iterator>

namespace ox3d {
namespace {

constexpr ESampleKind kInteger = ESampleKind::Integer;
constexpr ESampleKind kFloat = ESampleKind::Float;

constexpr DepthFormat kFormats[] = {
    // 16 bits and floats first: with the scale that belongs to them both are finer than a millimetre.
    {ARV_PIXEL_FORMAT_COORD3D_C_16, "Coord3D_C16", 16, 1, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_C_32F, "Coord3D_C32f", 32, 1, kFloat, false},
    {ARV_PIXEL_FORMAT_COORD3D_AC_16, "Coord3D_AC16", 16, 2, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_AC_16_PLANAR, "Coord3D_AC16_Planar", 16, 2, kInteger, true},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_16, "Coord3D_ABC16", 16, 3, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_16_PLANAR, "Coord3D_ABC16_Planar", 16, 3, kInteger, true},
    {ARV_PIXEL_FORMAT_COORD3D_AC_32F, "Coord3D_AC32f", 32, 2, kFloat, false},
    {ARV_PIXEL_FORMAT_COORD3D_AC_32F_PLANAR, "Coord3D_AC32f_Planar", 32, 2, kFloat, true},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_32F, "Coord3D_ABC32f", 32, 3, kFloat, false},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_32F_PLANAR, "Coord3D_ABC32f_Planar", 32, 3, kFloat, true},
    {kPixelMono16, "Mono16", 16, 1, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_C_12P, "Coord3D_C12p", 12, 1, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_AC_12P, "Coord3D_AC12p", 12, 2, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_AC_12P_PLANAR, "Coord3D_AC12p_Planar", 12, 2, kInteger, true},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_12P, "Coord3D_ABC12p", 12, 3, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_12P_PLANAR, "Coord3D_ABC12p_Planar", 12, 3, kInteger, true},
    {ARV_PIXEL_FORMAT_COORD3D_C_10P, "Coord3D_C10p", 10, 1, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_AC_10P, "Coord3D_AC10p", 10, 2, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_AC_10P_PLANAR, "Coord3D_AC10p_Planar", 10, 2, kInteger, true},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_10P, "Coord3D_ABC10p", 10, 3, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_10P_PLANAR, "Coord3D_ABC10p_Planar", 10, 3, kInteger, true},
    {ARV_PIXEL_FORMAT_COORD3D_C_8, "Coord3D_C8", 8, 1, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_AC_8, "Coord3D_AC8", 8, 2, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_AC_8_PLANAR, "Coord3D_AC8_Planar", 8, 2, kInteger, true},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_8, "Coord3D_ABC8", 8, 3, kInteger, false},
    {ARV_PIXEL_FORMAT_COORD3D_ABC_8_PLANAR, "Coord3D_ABC8_Planar", 8, 3, kInteger, true},
};
// The number of a format says how many bits its pixels have.
static_assert(std::all_of(std::begin(kFormats), std::end(kFormats), [](const DepthFormat& format) {
    return uint32_t{format.m_sampleBits} * format.m_samples == ((format.m_code >> 16) & 0xFF);
}));

constexpr ConfidenceFormat kConfidence[] = {
    {0x010800C4, 8, kInteger, 1.0}, // Confidence1, a byte each
    {0x010100C5, 1, kInteger, 1.0}, // Confidence1p
    {0x010800C6, 8, kInteger, 255.0},
    {0x011000C7, 16, kInteger, 65535.0},
    {0x012000C8, 32, kFloat, 1.0},
    {ARV_PIXEL_FORMAT_MONO_8, 8, kInteger, 255.0},
    {ARV_PIXEL_FORMAT_MONO_10, 16, kInteger, 1023.0},
    {ARV_PIXEL_FORMAT_MONO_12, 16, kInteger, 4095.0},
    {kPixelMono16, 16, kInteger, 65535.0},
};

template <typename Table>
auto FindCode(const Table& table, uint32_t code) {
    const auto found =
        std::find_if(std::begin(table), std::end(table), [&](const auto& row) { return row.m_code == code; });
    return found == std::end(table) ? nullptr : &*found;
}

bool IsImage(const ImageShape& shape) {
    return shape.m_width > 0 && shape.m_width <= kMaxImageSide && shape.m_height > 0 &&
           shape.m_height <= kMaxImageSide;
}

// Which of a pixel's samples it is.
uint32_t SampleOf(const DepthFormat& format, ECoordinate coordinate) {
    return coordinate == ECoordinate::C ? format.m_samples - 1U : static_cast<uint32_t>(coordinate);
}

} // namespace

std::span<const DepthFormat> DepthFormats() {
    return kFormats;
}

const DepthFormat* FindDepthFormat(uint32_t code) {
    return FindCode(kFormats, code);
}

const ConfidenceFormat* FindConfidenceFormat(uint32_t code) {
    return FindCode(kConfidence, code);
}

uint64_t LineBits(uint32_t pixelBits, const ImageShape& shape) {
    const uint64_t bits = uint64_t{shape.m_width} * pixelBits;
    return shape.m_paddingBytes == 0 ? bits : ((bits + 7) / 8 + shape.m_paddingBytes) * 8;
}

uint64_t BytesOfImage(uint32_t pixelBits, const ImageShape& shape) {
    return IsImage(shape) ? (LineBits(pixelBits, shape) * shape.m_height + 7) / 8 : 0;
}

uint64_t BytesOfImage(const DepthFormat& format, const ImageShape& shape) {
    return format.m_isPlanar ? BytesOfImage(format.m_sampleBits, shape) * format.m_samples
                             : BytesOfImage(format.PixelBits(), shape);
}

bool HasCoordinate(const DepthFormat& format, ECoordinate coordinate) {
    return coordinate == ECoordinate::C || format.m_samples == 3 ||
           (coordinate == ECoordinate::A && format.m_samples == 2);
}

SampleGrid GridOf(const DepthFormat& format, const ImageShape& shape, ECoordinate coordinate) {
    const uint64_t sample = SampleOf(format, coordinate);
    if (format.m_isPlanar) {
        return {sample * BytesOfImage(format.m_sampleBits, shape) * 8, format.m_sampleBits,
                LineBits(format.m_sampleBits, shape)};
    }
    return {sample * format.m_sampleBits, format.PixelBits(), LineBits(format.PixelBits(), shape)};
}

double SampleAt(const DepthFormat& format, std::span<const uint8_t> bytes, const SampleGrid& grid, uint32_t x,
                uint32_t y) {
    const uint64_t bit = grid.m_firstBit + y * grid.m_lineBits + x * grid.m_pixelBits;
    const uint64_t end = (bit + format.m_sampleBits + 7) / 8;
    uint64_t value =
        0; // least significant byte first; none has more than 40 bits with what it shares its bytes with
    for (uint64_t at = end; at > bit / 8; --at) {
        value = value << 8 | bytes[at - 1];
    }
    value = value >> bit % 8 & ((uint64_t{1} << format.m_sampleBits) - 1);
    return format.m_kind == ESampleKind::Float ? std::bit_cast<float>(static_cast<uint32_t>(value))
                                               : static_cast<double>(value);
}

} // namespace ox3d
