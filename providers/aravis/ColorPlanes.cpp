// ColorPlanes.cpp - one row for each pixel format; numbers are those of the Pixel Format Naming Convention.
#include "providers/aravis/ColorPlanes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <iterator>
#ifdef OX3D_HAS_YUV
#    include <libyuv/planar_functions.h>
#endif

namespace ox3d {
namespace {

enum class ELayout : uint8_t { Rgb, Grey, Grey16, Yuv422, Bayer };

// Y from kr, kg, kb; chroma around 128. Narrow: Y from 16 to 235, chroma over 224 values.
struct YuvRule {
    double m_kr;
    double m_kb;
    bool m_isNarrow;
};
constexpr YuvRule kFull601{0.299, 0.114, false};
constexpr YuvRule kNarrow601{0.299, 0.114, true};
constexpr YuvRule kNarrow709{0.2126, 0.0722, true};

struct ColorFormat {
    uint32_t m_code;
    const char* m_name;
    ELayout m_layout;
    uint8_t
        m_first; // Rgb: place of red, 0 or 2. Yuv422: place of the first luma, 0 or 1. Grey16, Bayer: bits
    const YuvRule* m_yuv = nullptr;
    EBayerOrder m_order = EBayerOrder::GR;
    EBayerPacking m_packing = EBayerPacking::Bytes;
};
constexpr EBayerPacking kBits = EBayerPacking::Bits;
constexpr EBayerPacking kPairs = EBayerPacking::Pairs;

constexpr ColorFormat kFormats[] = {
    {0x02180014, "RGB8", ELayout::Rgb, 0},
    {0x02180015, "BGR8", ELayout::Rgb, 2},
    {0x02100032, "YUV422_8", ELayout::Yuv422, 0, &kFull601},
    {0x0210001F, "YUV422_8_UYVY", ELayout::Yuv422, 1, &kFull601},
    {0x0210003B, "YCbCr422_8", ELayout::Yuv422, 0, &kFull601},
    {0x02100043, "YCbCr422_8_CbYCrY", ELayout::Yuv422, 1, &kFull601},
    {0x0210003E, "YCbCr601_422_8", ELayout::Yuv422, 0, &kNarrow601},
    {0x02100044, "YCbCr601_422_8_CbYCrY", ELayout::Yuv422, 1, &kNarrow601},
    {0x02100041, "YCbCr709_422_8", ELayout::Yuv422, 0, &kNarrow709},
    {0x02100045, "YCbCr709_422_8_CbYCrY", ELayout::Yuv422, 1, &kNarrow709},
    {0x01080008, "BayerGR8", ELayout::Bayer, 8, nullptr, EBayerOrder::GR},
    {0x01080009, "BayerRG8", ELayout::Bayer, 8, nullptr, EBayerOrder::RG},
    {0x0108000A, "BayerGB8", ELayout::Bayer, 8, nullptr, EBayerOrder::GB},
    {0x0108000B, "BayerBG8", ELayout::Bayer, 8, nullptr, EBayerOrder::BG},
    {0x010A0056, "BayerGR10p", ELayout::Bayer, 10, nullptr, EBayerOrder::GR, kBits},
    {0x010A0058, "BayerRG10p", ELayout::Bayer, 10, nullptr, EBayerOrder::RG, kBits},
    {0x010A0054, "BayerGB10p", ELayout::Bayer, 10, nullptr, EBayerOrder::GB, kBits},
    {0x010A0052, "BayerBG10p", ELayout::Bayer, 10, nullptr, EBayerOrder::BG, kBits},
    {0x010C0057, "BayerGR12p", ELayout::Bayer, 12, nullptr, EBayerOrder::GR, kBits},
    {0x010C0059, "BayerRG12p", ELayout::Bayer, 12, nullptr, EBayerOrder::RG, kBits},
    {0x010C0055, "BayerGB12p", ELayout::Bayer, 12, nullptr, EBayerOrder::GB, kBits},
    {0x010C0053, "BayerBG12p", ELayout::Bayer, 12, nullptr, EBayerOrder::BG, kBits},
    {0x010C0026, "BayerGR10Packed", ELayout::Bayer, 10, nullptr, EBayerOrder::GR, kPairs},
    {0x010C0027, "BayerRG10Packed", ELayout::Bayer, 10, nullptr, EBayerOrder::RG, kPairs},
    {0x010C0028, "BayerGB10Packed", ELayout::Bayer, 10, nullptr, EBayerOrder::GB, kPairs},
    {0x010C0029, "BayerBG10Packed", ELayout::Bayer, 10, nullptr, EBayerOrder::BG, kPairs},
    {0x010C002A, "BayerGR12Packed", ELayout::Bayer, 12, nullptr, EBayerOrder::GR, kPairs},
    {0x010C002B, "BayerRG12Packed", ELayout::Bayer, 12, nullptr, EBayerOrder::RG, kPairs},
    {0x010C002C, "BayerGB12Packed", ELayout::Bayer, 12, nullptr, EBayerOrder::GB, kPairs},
    {0x010C002D, "BayerBG12Packed", ELayout::Bayer, 12, nullptr, EBayerOrder::BG, kPairs},
    {0x0110000C, "BayerGR10", ELayout::Bayer, 10, nullptr, EBayerOrder::GR},
    {0x0110000D, "BayerRG10", ELayout::Bayer, 10, nullptr, EBayerOrder::RG},
    {0x0110000E, "BayerGB10", ELayout::Bayer, 10, nullptr, EBayerOrder::GB},
    {0x0110000F, "BayerBG10", ELayout::Bayer, 10, nullptr, EBayerOrder::BG},
    {0x01100010, "BayerGR12", ELayout::Bayer, 12, nullptr, EBayerOrder::GR},
    {0x01100011, "BayerRG12", ELayout::Bayer, 12, nullptr, EBayerOrder::RG},
    {0x01100012, "BayerGB12", ELayout::Bayer, 12, nullptr, EBayerOrder::GB},
    {0x01100013, "BayerBG12", ELayout::Bayer, 12, nullptr, EBayerOrder::BG},
    {0x0110002E, "BayerGR16", ELayout::Bayer, 16, nullptr, EBayerOrder::GR},
    {0x0110002F, "BayerRG16", ELayout::Bayer, 16, nullptr, EBayerOrder::RG},
    {0x01100030, "BayerGB16", ELayout::Bayer, 16, nullptr, EBayerOrder::GB},
    {0x01100031, "BayerBG16", ELayout::Bayer, 16, nullptr, EBayerOrder::BG},
    {0x01080001, "Mono8", ELayout::Grey, 0},
    {0x01100003, "Mono10", ELayout::Grey16, 10},
    {0x01100005, "Mono12", ELayout::Grey16, 12},
    {0x01100007, "Mono16", ELayout::Grey16, 16},
};

bool IsBuilt(const ColorFormat& format) {
    return kHasBayer || format.m_layout != ELayout::Bayer;
}

const ColorFormat* Find(uint32_t code) {
    const auto* found =
        std::find_if(std::begin(kFormats), std::end(kFormats),
                     [&](const ColorFormat& format) { return format.m_code == code && IsBuilt(format); });
    return found == std::end(kFormats) ? nullptr : found;
}

struct Planes {
    uint8_t* m_red;
    uint8_t* m_green;
    uint8_t* m_blue;
};

void Rgb(const uint8_t* line, uint32_t width, uint8_t red, const Planes& out) {
    uint8_t* const first = red == 0 ? out.m_red : out.m_blue;
    uint8_t* const last = red == 0 ? out.m_blue : out.m_red;
#ifdef OX3D_HAS_YUV
    const auto pixels = static_cast<int>(width); // sides have 16 bits
    libyuv::SplitRGBPlane(line, 0, first, 0, out.m_green, 0, last, 0, pixels, 1);
#else
    for (size_t x = 0; x < width; ++x) {
        first[x] = line[3 * x];
        out.m_green[x] = line[3 * x + 1];
        last[x] = line[3 * x + 2];
    }
#endif
}

void Grey16(const uint8_t* line, uint32_t width, uint8_t bits, const Planes& out) {
    const uint32_t max = (1U << bits) - 1;
    for (uint32_t x = 0; x < width; ++x) {
        const uint8_t* const bytes = line + size_t{2} * x;
        const uint32_t value = std::min<uint32_t>(bytes[0] | (uint32_t{bytes[1]} << 8), max);
        out.m_red[x] = static_cast<uint8_t>(value >> (bits - 8));
    }
}

// Contributions in 1/65536 of a step, so that a pixel is a few additions.
struct YuvTables {
    std::array<int32_t, 256> m_y, m_redV, m_greenU, m_greenV, m_blueU;
};

YuvTables MakeTables(const YuvRule& rule) {
    constexpr double kOne = 65536.0;
    const double y = rule.m_isNarrow ? 255.0 / 219.0 : 1.0;
    const double c = rule.m_isNarrow ? 255.0 / 224.0 : 1.0;
    const double kg = 1.0 - rule.m_kr - rule.m_kb;
    YuvTables tables{};
    for (size_t i = 0; i < 256; ++i) {
        const double chroma = (static_cast<double>(i) - 128.0) * c;
        const auto fixed = [](double value) { return static_cast<int32_t>(std::lround(value * kOne)); };
        tables.m_y[i] = fixed((static_cast<double>(i) - (rule.m_isNarrow ? 16.0 : 0.0)) * y);
        tables.m_redV[i] = fixed(2.0 * (1.0 - rule.m_kr) * chroma);
        tables.m_blueU[i] = fixed(2.0 * (1.0 - rule.m_kb) * chroma);
        tables.m_greenU[i] = fixed(-2.0 * (1.0 - rule.m_kb) * rule.m_kb / kg * chroma);
        tables.m_greenV[i] = fixed(-2.0 * (1.0 - rule.m_kr) * rule.m_kr / kg * chroma);
    }
    return tables;
}

const YuvTables& TablesOf(const YuvRule* rule) {
    static const YuvTables s_full601 = MakeTables(kFull601);
    static const YuvTables s_narrow601 = MakeTables(kNarrow601);
    static const YuvTables s_narrow709 = MakeTables(kNarrow709);
    return rule == &kNarrow709 ? s_narrow709 : rule == &kNarrow601 ? s_narrow601 : s_full601;
}

uint8_t Byte(int32_t fixed) {
    constexpr int32_t kHalf = 1 << 15;
    return static_cast<uint8_t>(std::clamp((fixed + kHalf) >> 16, 0, 255));
}

void Yuv422(const uint8_t* line, uint32_t width, uint8_t firstLuma, const YuvTables& tables,
            const Planes& out) {
    for (uint32_t x = 0; x < width; ++x) {
        const uint8_t* pair = line + size_t{x / 2} * 4;
        const uint8_t y = pair[firstLuma + 2 * (x % 2)];
        const uint8_t u = pair[1 - firstLuma];
        const uint8_t v = pair[3 - firstLuma];
        out.m_red[x] = Byte(tables.m_y[y] + tables.m_redV[v]);
        out.m_green[x] = Byte(tables.m_y[y] + tables.m_greenU[u] + tables.m_greenV[v]);
        out.m_blue[x] = Byte(tables.m_y[y] + tables.m_blueU[u]);
    }
}

void Line(const ColorFormat& format, const uint8_t* line, uint32_t width, const Planes& out) {
    switch (format.m_layout) {
    case ELayout::Rgb:
        Rgb(line, width, format.m_first, out);
        return;
    case ELayout::Yuv422:
        Yuv422(line, width, format.m_first, TablesOf(format.m_yuv), out);
        return;
    case ELayout::Bayer: // no line by itself
        return;
    case ELayout::Grey:
        std::memcpy(out.m_red, line, width);
        break;
    case ELayout::Grey16:
        Grey16(line, width, format.m_first, out);
        break;
    }
    std::memcpy(out.m_green, out.m_red, width);
    std::memcpy(out.m_blue, out.m_red, width);
}

} // namespace

std::vector<std::string> ColorFormatNames() {
    std::vector<std::string> names;
    for (const ColorFormat& format : kFormats) {
        if (IsBuilt(format)) {
            names.emplace_back(format.m_name);
        }
    }
    return names;
}

bool IsColorFormat(uint32_t code) {
    return Find(code) != nullptr;
}

bool CColorPlanes::Make(const SentImage& image, std::span<uint8_t> planes) {
    const ColorFormat* format = Find(image.m_format);
    const ImageShape& shape = image.m_shape;
    const uint32_t pixelBits = (image.m_format >> 16) & 0xFF;
    const uint64_t bytes = BytesOfImage(pixelBits, shape);
    const uint64_t pixels = uint64_t{shape.m_width} * shape.m_height;
    const bool isHalfPair =
        format != nullptr && shape.m_width % 2 != 0 &&
        (format->m_layout == ELayout::Yuv422 || format->m_packing == EBayerPacking::Pairs);
    if (format == nullptr || isHalfPair || bytes == 0 || image.m_bytes.size() < bytes ||
        planes.size() < 3 * pixels) {
        return false;
    }
    const uint64_t lineBits = LineBits(pixelBits, shape);
    if (format->m_layout == ELayout::Bayer) {
        return m_bayer.Make({image.m_bytes.data(), lineBits, shape.m_width, shape.m_height, format->m_first,
                             format->m_packing, format->m_order},
                            planes);
    }
    for (uint64_t y = 0; y < shape.m_height; ++y) {
        uint8_t* red = planes.data() + y * shape.m_width;
        Line(*format, image.m_bytes.data() + y * lineBits / 8, shape.m_width,
             {red, red + pixels, red + 2 * pixels});
    }
    return true;
}

} // namespace ox3d
