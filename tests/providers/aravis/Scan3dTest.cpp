// Scan3dTest.cpp - depth from images as cameras of the 3D model send them, held against the definitions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "providers/aravis/Scan3dDepth.h"

using namespace ox3d;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr size_t kC = 2;

// Writes bits from the lowest of each byte on, as packed formats have them.
void PutBits(std::vector<uint8_t>* bytes, uint64_t at, uint32_t bits, uint64_t value) {
    for (uint32_t i = 0; i < bits; ++i) {
        const uint64_t bit = at + i;
        (*bytes)[bit / 8] = static_cast<uint8_t>((*bytes)[bit / 8] | (((value >> i) & 1) << (bit % 8)));
    }
}

uint64_t Sent(const DepthFormat& format, double value) {
    if (format.m_kind == ESampleKind::Integer) {
        return static_cast<uint64_t>(value);
    }
    const auto single = static_cast<float>(value);
    uint32_t bits = 0;
    std::memcpy(&bits, &single, sizeof(bits));
    return bits;
}

// An image of the format whose C are the values; A and B count down from 200. Written without the grids under test.
std::vector<uint8_t> MakeImage(const DepthFormat& format, const ImageShape& shape,
                               const std::vector<double>& values) {
    std::vector<uint8_t> bytes(
        BytesOfImage(format, shape)); // nothing behind it, so a sanitizer sees every step beyond
    const uint32_t padding = shape.m_paddingBytes;
    uint64_t at = 0;
    const auto endLine = [&] { at = padding == 0 ? at : ((at + 7) / 8 + padding) * 8; };
    for (uint32_t plane = 0; plane < (format.m_isPlanar ? format.m_samples : 1U); ++plane) {
        at = (at + 7) / 8 * 8;
        for (size_t pixel = 0; pixel < values.size(); ++pixel) {
            for (uint32_t sample = 0; sample < (format.m_isPlanar ? 1U : format.m_samples); ++sample) {
                const bool isC = plane + sample + 1U == format.m_samples;
                PutBits(&bytes, at, format.m_sampleBits,
                        Sent(format, isC ? values[pixel] : static_cast<double>(200 - pixel)));
                at += format.m_sampleBits;
            }
            if ((pixel + 1) % shape.m_width == 0) {
                endLine();
            }
        }
    }
    EXPECT_EQ((at + 7) / 8, bytes.size()) << format.m_name;
    return bytes;
}

std::vector<uint16_t> Depths(const DepthRule& rule, const SentImage& image,
                             const SentImage* confidence = nullptr,
                             EDepthFault expected = EDepthFault::None) {
    std::vector<uint16_t> depths(size_t{image.m_shape.m_width} * image.m_shape.m_height, 7);
    CScan3dDepth converter;
    EXPECT_EQ(converter.Convert(rule, image, confidence, depths), expected) << TextOf(expected);
    return depths;
}

uint16_t DepthOfFloat(const DepthRule& rule, double value) {
    const auto single = static_cast<float>(value);
    const auto* bytes = reinterpret_cast<const uint8_t*>(&single);
    return Depths(rule, {FindDepthFormat(0x012000BF)->m_code, {1, 1, 0}, {bytes, 4}})[0];
}

TEST(Scan3d, FindsTheDepthInEveryFormatWithAndWithoutPadding) {
    const std::vector<double> values = {0, 1, 2, 100, 129, 255, 254, 77, 3, 200, 85, 170, 64, 32, 33};
    const std::vector<uint16_t> expected(values.begin(), values.end());
    for (const DepthFormat& format : DepthFormats()) {
        for (const uint32_t padding : {0U, 1U, 3U}) {
            const ImageShape shape{5, 3, padding};
            const auto bytes = MakeImage(format, shape, values);
            EXPECT_EQ(Depths({}, {format.m_code, shape, bytes}), expected) << format.m_name << padding;
            DepthRule rule;
            rule.m_coordinates[0].m_invalid = 198; // of the third pixel
            auto holed = expected;
            holed[2] = HasCoordinate(format, ECoordinate::A) ? 0 : holed[2];
            EXPECT_EQ(Depths(rule, {format.m_code, shape, bytes}), holed) << format.m_name << padding;
        }
    }
}

TEST(Scan3d, ScalesToMillimetresAndRoundsToNearest) {
    const struct {
        double m_scale;
        double m_offset;
        double m_unitMm;
        double m_sent;
        uint16_t m_depth;
    } kRows[] = {{1, 0, 1, 1499.5, 1500},
                 {1, 0, 1, 1499.25, 1499},
                 {0.25, 10, 1, 4000, 1010},
                 {-1, 3000, 1, 1000, 2000},
                 {0.001, 0, 1000, 1234, 1234},
                 {1, 0, 25.4, 100, 2540},
                 {1, 0, 1, 0.5, 1},
                 {1, 0, 1, 0.25, 0},
                 {1, 0, 1, 65535.25, 65535},
                 {1, 0, 1, 65536, 0},
                 {1, 0, 1, -5, 0},
                 {1, 0, 1, kNaN, 0},
                 {1, 0, 1, INFINITY, 0},
                 {1, 5, 1, 0, 5}}; // 0 is a value like any other
    for (const auto& row : kRows) {
        DepthRule rule;
        rule.m_coordinates[kC].m_scale = row.m_scale;
        rule.m_coordinates[kC].m_offset = row.m_offset;
        rule.m_unitMm = row.m_unitMm;
        EXPECT_EQ(DepthOfFloat(rule, row.m_sent), row.m_depth) << row.m_sent;
    }
}

// Every value there is, by table and by whatever the table found to be quicker.
TEST(Scan3d, ConvertsEveryValueAsItsRuleSays) {
    const struct {
        double m_scale;
        double m_offset;
        std::optional<double> m_invalid;
        bool m_isDisparity;
        bool m_isLine;
    } rules[] = {
        {1.0, 0.0, {}, false, true},      {0.25, 0.0, 0.0, false, true},   {0.1, 120.5, 65535.0, false, true},
        {3.7, 0.0, {}, false, false},     {1.0, -500.0, {}, false, false}, {0.5, 0.0, 1000.0, false, false},
        {-0.5, 9000.0, {}, false, false}, {0.125, 0.0, 0.0, true, false},  {1e-9, 0.0, {}, false, false}};
    std::vector<uint8_t> bytes(1 + size_t{2} * 65536); // one more: values begin where the camera has them
    for (size_t value = 0; value < 65536; ++value) {
        bytes[1 + 2 * value] = static_cast<uint8_t>(value);
        bytes[2 + 2 * value] = static_cast<uint8_t>(value >> 8);
    }
    std::vector<uint16_t> depth(65536);
    for (const auto& [scale, offset, invalid, isDisparity, isLine] : rules) {
        DepthRule rule;
        rule.m_coordinates[2] = {scale, offset, invalid};
        rule.m_isDisparity = isDisparity;
        rule.m_focalPixels = rule.m_baselineMm = isDisparity ? 400.0 : 0.0;
        CDepthTable table;
        const auto depthOf = [&rule](double value) { return DepthOf(rule, value); };
        table.Make(16, isDisparity ? 0.0 : scale, offset, depthOf);
        EXPECT_EQ(table.IsLine(), isLine) << scale << " " << offset;
        table.Convert(bytes.data() + 1, depth);
        for (size_t value = 0; value < 65536; ++value) {
            ASSERT_EQ(depth[value], depthOf(static_cast<double>(value)))
                << scale << " " << offset << ": " << value;
        }
    }
}

TEST(Scan3d, ComparesInvalidValuesAsTheyAreSent) {
    DepthRule rule;
    rule.m_coordinates[kC] = {2.0, 100.0, 50.0};
    EXPECT_EQ(DepthOfFloat(rule, 50), 0);
    EXPECT_EQ(DepthOfFloat(rule, 0), 100);
    rule.m_coordinates[kC].m_invalid = kNaN;
    EXPECT_EQ(DepthOfFloat(rule, kNaN), 0);
    EXPECT_EQ(DepthOfFloat(rule, 50), 200);
}

TEST(Scan3d, MakesDepthOfDisparity) {
    DepthRule rule;
    rule.m_isDisparity = true;
    rule.m_focalPixels = 600;
    rule.m_baselineMm = 50;
    rule.m_coordinates[kC].m_scale = 0.0625;
    EXPECT_EQ(DepthOfFloat(rule, 320), 1500); // 20 pixels
    EXPECT_EQ(DepthOfFloat(rule, 0), 0);
    EXPECT_EQ(DepthOfFloat(rule, -320), 0);
    const uint8_t bytes[2] = {64, 1};
    EXPECT_EQ(Depths(rule, {0x011000B8, {1, 1, 0}, bytes})[0], 1500);
}

TEST(Scan3d, TakesOutWhatTheCameraIsNotSureOf) {
    const auto depth = MakeImage(*FindDepthFormat(0x010800B1), {4, 1, 0}, {10, 20, 30, 40});
    const SentImage image{0x010800B1, {4, 1, 0}, depth};
    const std::vector<uint8_t> confidence = {0, 1, 127, 128};
    const SentImage sure{0x010800C6, {4, 1, 0}, confidence};
    DepthRule rule;
    EXPECT_EQ(Depths(rule, image, &sure), (std::vector<uint16_t>{0, 20, 30, 40}));
    rule.m_confidenceShare = 0.5;
    EXPECT_EQ(Depths(rule, image, &sure), (std::vector<uint16_t>{0, 0, 0, 40}));
    const uint8_t packed[1] = {0b0101};
    const SentImage bits{0x010100C5, {4, 1, 0}, packed};
    EXPECT_EQ(Depths(rule, image, &bits), (std::vector<uint16_t>{10, 0, 30, 0}));
    const std::vector<uint16_t> untouched(4, 7);
    const SentImage narrow{0x010800C6, {2, 2, 0}, confidence};
    EXPECT_EQ(Depths(rule, image, &narrow, EDepthFault::ConfidenceSize), untouched);
    const SentImage color{0x02180014, {4, 1, 0}, confidence};
    EXPECT_EQ(Depths(rule, image, &color, EDepthFault::ConfidenceFormat), untouched);
}

TEST(Scan3d, RefusesWhatCannotBe) {
    const std::vector<uint8_t> bytes(8);
    const SentImage good{0x011000B8, {2, 2, 0}, bytes};
    for (const ImageShape& shape : {ImageShape{0, 2, 0},
                                    {2, 0, 0},
                                    {3, 2, 0},
                                    {2, 2, 1},
                                    {70000, 1, 0},
                                    {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}}) {
        std::vector<uint16_t> out(8);
        EXPECT_EQ(CScan3dDepth().Convert({}, {good.m_format, shape, bytes}, nullptr, out), EDepthFault::Size);
    }
    Depths({}, {0x01080001, {2, 2, 0}, bytes}, nullptr, EDepthFault::Format);
    for (const double number : {0.0, kNaN, static_cast<double>(INFINITY)}) {
        DepthRule rule;
        rule.m_coordinates[kC].m_scale = number;
        Depths(rule, good, nullptr, EDepthFault::Scale);
        rule = {};
        rule.m_unitMm = number;
        Depths(rule, good, nullptr, EDepthFault::Scale);
        rule = {};
        rule.m_isDisparity = true;
        rule.m_focalPixels = 500;
        rule.m_baselineMm = number;
        Depths(rule, good, nullptr, EDepthFault::Disparity);
    }
}

} // namespace
