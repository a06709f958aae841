// Scan3dFrameTest.cpp - components of a frame, whole and not, and the color among them.
#include <gtest/gtest.h>

#include <cstring>

#include "providers/aravis/ColorPlanes.h"
#include "providers/aravis/ProviderFeatures.h"
#include "providers/aravis/Scan3dFrame.h"

using namespace ox3d;

namespace {

constexpr uint32_t kC16 = 0x011000B8;
constexpr uint32_t kAbc16Planar = 0x023000BA;
constexpr uint32_t kConfidence8 = 0x010800C6;
constexpr uint32_t kRgb8 = 0x02180014;

const uint8_t kDepth[] = {1, 2, 3, 4};
const uint8_t kColor[] = {10, 20, 30, 40, 50, 60};
const uint8_t kSure[] = {0, 9};

SentPart Part(uint32_t component, uint32_t format, std::span<const uint8_t> bytes) {
    return {component, {format, {2, 1, 0}, bytes}};
}

const SentPart kRange = Part(kComponentRange, kC16, kDepth);
const SentPart kIntensity = Part(kComponentIntensity, kRgb8, kColor);
const SentPart kConfidence = Part(kComponentConfidence, kConfidence8, kSure);

Scan3dPlan WholePlan() {
    Scan3dPlan plan;
    plan.m_depth = {kComponentRange, kC16};
    plan.m_intensity = {kComponentIntensity, kRgb8};
    plan.m_confidence = {kComponentConfidence, kConfidence8};
    return plan;
}

const char* Make(const Scan3dPlan& plan, const std::vector<SentPart>& parts, MadeFrame* made) {
    CScan3dFrame maker;
    return maker.Make(plan, parts, made);
}

TEST(Scan3dFrame, HasDepthAndColorInTheFormOfTheLibrarysOwnCameras) {
    MadeFrame made;
    ASSERT_EQ(Make(WholePlan(), {kIntensity, kConfidence, kRange}, &made), nullptr); // in any order
    EXPECT_EQ(made.m_depth, (std::vector<uint16_t>{0, 0x0403}));
    ASSERT_EQ(made.m_chunk.size(), 32U + 6U);
    uint32_t words[8] = {};
    std::memcpy(words, made.m_chunk.data(), sizeof(words));
    EXPECT_EQ(std::vector<uint32_t>(words, words + 8),
              (std::vector<uint32_t>{0x02180021, 2, 1, 6, 0, 0, 0, 0}));
    EXPECT_EQ(std::vector<uint8_t>(made.m_chunk.begin() + 32, made.m_chunk.end()),
              (std::vector<uint8_t>{10, 40, 20, 50, 30, 60}));
}

TEST(Scan3dFrame, IsNoneWhenAComponentIsMissingTwiceOrOfAnotherFormat) {
    MadeFrame made;
    const auto other = Part(kComponentRange, kRgb8, kColor);
    const auto shortOne = Part(kComponentRange, kC16, std::span(kDepth).first(3));
    for (const auto& parts : {std::vector{kRange, kIntensity},
                              {kRange, kConfidence},
                              {kIntensity, kConfidence},
                              {kRange, kRange, kIntensity, kConfidence},
                              {other, kIntensity, kConfidence},
                              {shortOne, kIntensity, kConfidence}}) {
        EXPECT_NE(Make(WholePlan(), parts, &made), nullptr);
    }
}

TEST(Scan3dFrame, TakesPlanesThatComeAsPartsOfTheirOwn) {
    Scan3dPlan plan;
    plan.m_depth = {kComponentRange, kAbc16Planar};
    const uint8_t planes[3][4] = {{1, 0, 2, 0}, {3, 0, 4, 0}, {5, 0, 6, 0}};
    std::vector<SentPart> parts;
    for (const auto& plane : planes) {
        parts.push_back(Part(kComponentRange, kAbc16Planar, plane));
        parts.back().m_isPlane = true;
    }
    MadeFrame made;
    ASSERT_EQ(Make(plan, parts, &made), nullptr);
    EXPECT_EQ(made.m_depth, (std::vector<uint16_t>{5, 6}));
    parts.pop_back();
    EXPECT_NE(Make(plan, parts, &made), nullptr);
}

TEST(Scan3dJoin, PutsBlocksOfOneTimeTogetherAndForgetsWhatStaysIncomplete) {
    CScan3dJoin join;
    EXPECT_FALSE(join.Add(100, kRange, 2)); // its other half never comes
    EXPECT_FALSE(join.Add(200, kRange, 2));
    EXPECT_FALSE(join.Add(300, kIntensity, 2));
    EXPECT_FALSE(join.Add(100, kIntensity, 2)); // too late
    ASSERT_TRUE(join.Add(300, kRange, 2));
    ASSERT_EQ(join.Parts().size(), 2U);
    EXPECT_EQ(join.Parts()[0].m_component, kComponentIntensity);
    EXPECT_NE(join.Parts()[0].m_image.m_bytes.data(), kColor)
        << "the block's memory is another block's by now";
    EXPECT_EQ(join.Parts()[0].m_image.m_bytes[5], 60);
    EXPECT_FALSE(join.Add(400, kRange, 2));
}

TEST(ColorPlanes, ReadsEveryLayout) {
    const struct {
        uint32_t m_format;
        std::vector<uint8_t> m_bytes;
        std::vector<uint8_t> m_planes;
    } kRows[] = {{0x02180015, {30, 20, 10, 60, 50, 40}, {10, 40, 20, 50, 30, 60}}, // BGR8
                 {0x01080001, {7, 9}, {7, 9, 7, 9, 7, 9}},
                 {0x01100005, {0xF0, 0x0F, 0x10, 0x08}, {255, 129, 255, 129, 255, 129}}, // Mono12
                 {0x02100032, {100, 128, 200, 128}, {100, 200, 100, 200, 100, 200}},
                 {0x0210001F, {84, 76, 255, 76}, {254, 254, 0, 0, 0, 0}},      // red, chroma first
                 {0x0210003E, {16, 128, 235, 128}, {0, 255, 0, 255, 0, 255}}}; // from black to white, narrow
    for (const auto& row : kRows) {
        std::vector<uint8_t> planes(6);
        ASSERT_TRUE(CColorPlanes().Make({row.m_format, {2, 1, 0}, row.m_bytes}, planes)) << row.m_format;
        EXPECT_EQ(planes, row.m_planes) << row.m_format;
        EXPECT_FALSE(CColorPlanes().Make({row.m_format, {2, 2, 0}, row.m_bytes}, planes)) << row.m_format;
    }
    std::vector<uint8_t> planes(9);
    EXPECT_FALSE(CColorPlanes().Make({0x02100032, {3, 1, 0}, std::vector<uint8_t>(8)}, planes))
        << "half a pair";
}

// Which color the filter of a pixel lets through: the first letters of the format's name are the first line's.
char FilterAt(const std::string& order, uint32_t x, uint32_t y) {
    const char* const other =
        order[0] == 'G' ? (order[1] == 'R' ? "BG" : "RG") : (order[0] == 'R' ? "GB" : "GR");
    return y % 2 == 0 ? order[x % 2] : other[x % 2];
}

TEST(ColorPlanes, FillsInWhatAMosaicOfFiltersLeavesOut) {
    if (!kHasBayer) {
        GTEST_SKIP() << "built without it";
    }
    constexpr uint32_t kWidth = 9;
    constexpr uint32_t kHeight = 7;
    const std::pair<uint32_t, uint32_t> depths[] = {
        {8, 0x01080008}, {10, 0x0110000C}, {12, 0x01100010}, {16, 0x0110002E}};
    const char* const orders[] = {"GR", "RG", "GB", "BG"};
    const auto valueAt = [](char color, uint32_t x, uint32_t y) { // colors that change evenly
        return color == 'R' ? 40 + 4 * x : color == 'G' ? 90 + 4 * x + 6 * y : 210 - 6 * y;
    };
    for (const auto& [bits, firstCode] : depths) {
        for (uint32_t order = 0; order < 4; ++order) {
            const uint32_t bytes = bits == 8 ? 1 : 2;
            std::vector<uint8_t> image; // two bytes between lines
            for (uint32_t y = 0; y < kHeight; ++y) {
                for (uint32_t x = 0; x < kWidth; ++x) {
                    const uint32_t value = valueAt(FilterAt(orders[order], x, y), x, y) << (bits - 8);
                    image.push_back(static_cast<uint8_t>(value));
                    image.resize(image.size() + bytes - 1, static_cast<uint8_t>(value >> 8));
                }
                image.resize(image.size() + 2);
            }
            std::vector<uint8_t> planes(size_t{3} * kWidth * kHeight);
            const ImageShape shape{kWidth, kHeight, 2};
            ASSERT_TRUE(CColorPlanes().Make({firstCode + order, shape, image}, planes))
                << orders[order] << bits;
            for (size_t i = 0; i < planes.size(); ++i) {
                const auto x = static_cast<uint32_t>(i % kWidth);
                const auto y = static_cast<uint32_t>(i / kWidth % kHeight);
                const bool isInside = x > 1 && y > 1 && x + 2 < kWidth && y + 2 < kHeight;
                const int expected = static_cast<int>(valueAt("RGB"[i / (kWidth * kHeight)], x, y));
                ASSERT_NEAR(planes[i], expected, isInside ? 1 : 16) << orders[order] << bits << " at " << i;
            }
            image.pop_back();
            image.resize(image.size() - 2);
            EXPECT_FALSE(CColorPlanes().Make({firstCode + order, shape, image}, planes));
            EXPECT_FALSE(CColorPlanes().Make({firstCode + order, {2, 2, 0}, image}, planes));
        }
    }
}

TEST(ColorPlanes, ReadsAMosaicWhosePixelsShareBytesAsOneWhosePixelsDoNot) {
    if (!kHasBayer) {
        GTEST_SKIP() << "built without it";
    }
    const struct {
        uint32_t m_bits;
        uint32_t m_code; // of red first
        uint32_t m_bitsCode;
        uint32_t m_pairsCode;
    } kRows[] = {{10, 0x0110000D, 0x010A0058, 0x010C0027}, {12, 0x01100011, 0x010C0059, 0x010C002B}};
    constexpr uint32_t kHeight = 5;
    for (const auto& row : kRows) {
        for (const uint32_t width : {8U, 7U}) { // of the latter, lines begin within a byte
            std::vector<uint8_t> wide;
            std::vector<uint8_t> bits((width * kHeight * row.m_bits + 7) / 8);
            std::vector<uint8_t> pairs;
            uint32_t last = 0;
            for (uint32_t i = 0; i < width * kHeight; ++i) {
                const uint32_t value = i * 2654435761U >> (32 - row.m_bits);
                wide.insert(wide.end(), {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)});
                for (uint32_t bit = 0; bit < row.m_bits; ++bit) {
                    const size_t at = size_t{i} * row.m_bits + bit;
                    bits[at / 8] = static_cast<uint8_t>(bits[at / 8] | (value >> bit & 1) << at % 8);
                }
                if (i % 2 == 1) {
                    const uint32_t low = (1U << (row.m_bits - 8)) - 1;
                    pairs.push_back(static_cast<uint8_t>(last >> (row.m_bits - 8)));
                    pairs.push_back(static_cast<uint8_t>((value & low) << 4 | (last & low)));
                    pairs.push_back(static_cast<uint8_t>(value >> (row.m_bits - 8)));
                }
                last = value;
            }
            const ImageShape shape{width, kHeight, 0};
            std::vector<uint8_t> expected(size_t{3} * width * kHeight);
            std::vector<uint8_t> planes(expected.size());
            ASSERT_TRUE(CColorPlanes().Make({row.m_code, shape, wide}, expected));
            ASSERT_TRUE(CColorPlanes().Make({row.m_bitsCode, shape, bits}, planes));
            EXPECT_EQ(planes, expected) << row.m_bits << " bits, " << width;
            bits.pop_back();
            EXPECT_FALSE(CColorPlanes().Make({row.m_bitsCode, shape, bits}, planes));
            planes.assign(planes.size(), 0);
            ASSERT_EQ(CColorPlanes().Make({row.m_pairsCode, shape, pairs}, planes), width % 2 == 0);
            EXPECT_TRUE(width % 2 != 0 || planes == expected) << row.m_bits << " bits in pairs";
        }
    }
}

TEST(ProviderFeatures, AnswersTheSwitchesOfOpeningForCamerasThatLackThem) {
    CProviderFeatures own;
    EXPECT_FALSE(own.IsWorkModeSwitch("CameraWorkingMode", 4)) << "the library's own kind";
    own.SetKind(ECameraKind::Sfnc3d);
    EXPECT_FALSE(own.IsWorkModeSwitch("ChunkModeActive", 1)) << "the application's";
    EXPECT_TRUE(own.IsWorkModeSwitch("CameraWorkingMode", 4));
    EXPECT_TRUE(own.IsWorkModeSwitch("ImageMode", 2));
    EXPECT_TRUE(own.IsWorkModeSwitch("ChunkModeActive", 1));
    EXPECT_TRUE(own.IsWorkModeSwitch("ChunkSelector", 24));
    EXPECT_TRUE(own.IsWorkModeSwitch("ChunkEnable", 1));
    EXPECT_FALSE(own.IsWorkModeSwitch("ChunkModeActive", 1));
}

TEST(ProviderFeatures, RefuseWhatCannotBe) {
    CProviderFeatures own;
    EXPECT_EQ(own.SetFloat("Gain", 0.5F), std::nullopt);
    EXPECT_EQ(own.SetFloat("Ox3dConfidenceThreshold", 0.5F), 0);
    EXPECT_EQ(own.Options().m_confidenceShare, 0.5);
    for (const float share : {-0.1F, 1.5F, std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_NE(own.SetFloat("Ox3dConfidenceThreshold", share), 0);
    }
    EXPECT_EQ(own.SetString("Ox3dBaselineUnit", "mm"), 0);
    EXPECT_NE(own.SetString("Ox3dBaselineUnit", "furlong"), 0);
    EXPECT_NE(own.SetString("Ox3dCameraKind", "Native"), 0);
    EXPECT_NE(own.SetInteger("Ox3dFrameRetention", -1), 0);
}

} // namespace
