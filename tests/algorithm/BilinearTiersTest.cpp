// The bilinear scaler: its definition gives weighted means as they are computed by hand and in double precision,
// and every tier gives the definition's bytes: any sizes and ratios, any address, recorded pictures.
// Relies on the tier being set in-process; tiers that this processor lacks are skipped.
#include "algorithm/scaling/BilinearTiers.h"
#include "base/PngFile.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

using ox3d::EKernelTier;

namespace {

using Plane = std::vector<uint8_t>;

struct Size {
    int32_t width;
    int32_t height;
    size_t Samples() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
};

// Both planes begin `offset` bytes into a block that ends where they end.
Plane Scaled(const Plane& src, Size from, Size to, EKernelTier tier, size_t offset = 0) {
    EXPECT_EQ(ox3d::scaling::UseScaleKernelTier(tier), tier);
    Plane dst(offset + to.Samples(), 0xA5);
    ox3d::scaling::ScaleBilinear(
        {src.data() + offset, from.width, from.height, dst.data() + offset, to.width, to.height});
    return dst;
}

// Noise, now and then of nothing but the extremes.
Plane Noise(std::mt19937& random, size_t bytes) {
    Plane plane(bytes);
    const bool isHard = random() % 4 == 0;
    for (uint8_t& sample : plane) {
        const auto any = static_cast<uint8_t>(random());
        sample = isHard ? static_cast<uint8_t>(any < 128 ? 0 : 255) : any;
    }
    return plane;
}

class Bilinear : public testing::TestWithParam<EKernelTier> {
protected:
    void SetUp() override {
        if (GetParam() > ox3d::BestKernelTier()) {
            GTEST_SKIP() << "this processor lacks the tier";
        }
    }
    void TearDown() override { ox3d::scaling::UseScaleKernelTier(ox3d::BestKernelTier()); }

    static void Compare(std::mt19937& random, Size from, Size to) {
        const size_t offset = random() % 70;
        const Plane src = Noise(random, offset + from.Samples());
        ASSERT_TRUE(Scaled(src, from, to, EKernelTier::Reference, offset) ==
                    Scaled(src, from, to, GetParam(), offset))
            << from.width << 'x' << from.height << " to " << to.width << 'x' << to.height;
    }
};

TEST(BilinearDefinition, RoundsExactWeightsHalfUp) {
    // 3:2 lies on quarters: sixteenths, here with sums of 8 and 24 sixteenths.
    EXPECT_EQ(Scaled({8, 0, 0, 0, 0, 0, 0, 0, 0}, {3, 3}, {2, 2}, EKernelTier::Reference),
              (Plane{5, 0, 0, 0}));
    EXPECT_EQ(Scaled({0, 8, 0, 0, 0, 0, 0, 0, 8}, {3, 3}, {2, 2}, EKernelTier::Reference),
              (Plane{2, 2, 0, 5}));
    EXPECT_EQ(Scaled({1, 2, 2, 1}, {2, 2}, {1, 1}, EKernelTier::Reference), Plane{2});
    EXPECT_EQ(Scaled({10, 20}, {2, 1}, {4, 2}, EKernelTier::Reference),
              (Plane{10, 13, 18, 20, 10, 13, 18, 20}));
    EXPECT_EQ(Scaled({7}, {1, 1}, {2, 2}, EKernelTier::Reference), (Plane{7, 7, 7, 7}));
}

TEST(BilinearDefinition, AgreesWithDoublePrecision) {
    std::mt19937 random(7);
    const Size from = {37, 23};
    const Plane src = Noise(random, from.Samples());
    for (const Size to : {Size{64, 50}, Size{23, 19}, Size{5, 4}}) {
        const Plane dst = Scaled(src, from, to, EKernelTier::Reference);
        for (int32_t i = 0; i < to.width * to.height; ++i) {
            const auto position = [](int32_t at, int32_t count, int32_t of) {
                return std::clamp((at + 0.5) * of / count - 0.5, 0.0, of - 1.0);
            };
            const double x = position(i % to.width, to.width, from.width);
            const double y = position(i / to.width, to.height, from.height);
            double mean = 0;
            for (int32_t s = 0; s < from.width * from.height; ++s) {
                const double across = std::max(0.0, 1 - std::fabs(x - s % from.width));
                const double down = std::max(0.0, 1 - std::fabs(y - s / from.width)); // NOLINT: whole rows
                mean += across * down * src[static_cast<size_t>(s)];
            }
            // Half a step of rounding, and half a 128th of the steepest slope on both axes.
            ASSERT_NEAR(dst[static_cast<size_t>(i)], mean, 0.5 + 255.0 / 128) << to.width << ", " << i;
        }
    }
}

TEST_P(Bilinear, GivesTheDefinitionsBytesForAnySizes) {
    std::mt19937 random(20240611);
    const auto side = [&random](uint32_t most) { return 1 + static_cast<int32_t>(random() % most); };
    for (int round = 0; round < 3000; ++round) {
        const uint32_t most = round % 100 == 0 ? 4500 : (round % 3 == 0 ? 300 : 70);
        ASSERT_NO_FATAL_FAILURE(Compare(random, {side(most), side(9)}, {side(most), side(9)}));
    }
}

TEST_P(Bilinear, GivesTheDefinitionsBytesAtCommonRatios) {
    constexpr struct {
        int32_t from;
        int32_t to;
    } kRatios[] = {{3, 2}, {2, 3}, {2, 1}, {1, 2}, {3, 1}, {1, 3}, {1, 1}, {4, 3}, {9, 4}, {25, 4}, {8, 1}};
    std::mt19937 random(11);
    for (const auto& ratio : kRatios) {
        // Of every remainder to whole groups of columns, and of more than one strip.
        for (const int32_t times : {1, 2, 7, 31, 32, 33, 64, 97, 160, 323, 700, 1281}) {
            const Size from = {ratio.from * times, 9 * ratio.from};
            const Size to = {ratio.to * times, 9 * ratio.to};
            ASSERT_NO_FATAL_FAILURE(Compare(random, from, to));
            ASSERT_NO_FATAL_FAILURE(Compare(random, from, {to.width + 1, to.height}));
            ASSERT_NO_FATAL_FAILURE(Compare(random, {from.width + 1, 3}, {to.width, 5}));
        }
    }
}

TEST_P(Bilinear, GivesTheDefinitionsBytesForTheLargestSides) {
    std::mt19937 random(13);
    for (const int32_t other : {1, 2, 3, 16383, 16384}) {
        ASSERT_NO_FATAL_FAILURE(Compare(random, {16384, 2}, {other, 3}));
        ASSERT_NO_FATAL_FAILURE(Compare(random, {other, 2}, {16384, 3}));
        ASSERT_NO_FATAL_FAILURE(Compare(random, {2, 16384}, {3, other}));
        ASSERT_NO_FATAL_FAILURE(Compare(random, {2, other}, {3, 16384}));
    }
}

TEST_P(Bilinear, GivesTheDefinitionsBytesForARecordedPicture) {
    const std::string file = std::string(OX3D_DATA_DIR) + "/desk/color/000000.png";
    ox3d::PngSize size;
    Plane planes;
    std::string error;
    ASSERT_TRUE(ox3d::ReadColorPng(file, &size, &planes, &error)) << error;
    const Size from = {static_cast<int32_t>(size.m_width), static_cast<int32_t>(size.m_height)};
    for (const Size to :
         {Size{640, 480}, Size{from.width * 2 / 3, from.height * 2 / 3}, Size{1920, 1080}, from}) {
        EXPECT_TRUE(Scaled(planes, from, to, EKernelTier::Reference) == Scaled(planes, from, to, GetParam()));
    }
}

INSTANTIATE_TEST_SUITE_P(Tiers, Bilinear,
                         testing::Values(EKernelTier::Sse2, EKernelTier::Avx2, EKernelTier::Avx512));

} // namespace
