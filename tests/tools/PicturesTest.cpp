// Pictures: what a person would look for in them.
#include "tools/ox3d/pictures/CloudView.h"
#include "tools/ox3d/pictures/DepthEdges.h"
#include "tools/ox3d/pictures/DepthView.h"
#include "tools/ox3d/pictures/Overlay.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace ox3d::tool {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

constexpr uint32_t kWidth = 160;
constexpr uint32_t kHeight = 120;
constexpr uint32_t kLeft = 60; // of a box of 40 x 40 pixels
constexpr uint32_t kTop = 40;
constexpr uint32_t kSide = 40;

// A floor that falls away steeply towards the top, with a box on it or without.
DepthImage Floor(bool hasBox) {
    DepthImage depth(kWidth, kHeight);
    for (uint32_t y = 0; y < kHeight; ++y) {
        std::fill_n(&depth.At(0, y), kWidth, static_cast<uint16_t>(100000 / (30 + y)));
        if (hasBox && y >= kTop && y < kTop + kSide) {
            std::fill_n(&depth.At(kLeft, y), kSide, uint16_t{600});
        }
    }
    return depth;
}

// The raster that registration leaves where the color image has 1.5 times as many pixels in each direction.
DepthImage WithRaster(DepthImage depth) {
    for (size_t i = 0; i < depth.m_samples.size(); ++i) {
        const bool isGap = i % kWidth % 3 == 2 || i / kWidth % 3 == 2;
        depth.m_samples[i] = isGap ? uint16_t{0} : depth.m_samples[i];
    }
    return depth;
}

// The strip that the depth camera cannot see beside the box.
DepthImage WithHiddenStrip(DepthImage depth) {
    for (uint32_t y = kTop; y < kTop + kSide; ++y) {
        std::fill_n(&depth.At(kLeft - 14, y), 14, uint16_t{0});
    }
    return depth;
}

TEST(DepthEdges, SlantedSurfacesHaveNoneHoweverSteep) {
    EXPECT_THAT(FindDepthEdges(Floor(false)).m_samples, Each(0));
    EXPECT_THAT(FindDepthEdges(WithRaster(Floor(false))).m_samples, Each(0));
    for (const uint32_t side : {0U, 1U, 2U, 3U}) {
        EXPECT_THAT(FindDepthEdges(DepthImage(side, side, 500)).m_samples, Each(0));
    }
}

TEST(DepthEdges, LieOnTheOutlineOfAThingWhateverGapsThereAreAndShowOnColor) {
    for (const DepthImage& depth : {Floor(true), WithHiddenStrip(Floor(true)), WithRaster(Floor(true))}) {
        const RgbImage picture = OverlayPicture(RgbImage(kWidth, kHeight, {200, 100, 100}), depth);
        const Rgb ground = picture.At(2, 2);
        EXPECT_GT(ground.r, ground.g);
        uint32_t count = 0;
        for (int y = 0; y < static_cast<int>(kHeight); ++y) {
            for (int x = 0; x < static_cast<int>(kWidth); ++x) {
                // Pixels from the middle of the box, as a chessboard king walks: 20 at its outline.
                const int steps = std::max(std::abs(2 * x - 159), std::abs(2 * y - 119)) / 2;
                const bool isEdge = picture.At(static_cast<uint32_t>(x), static_cast<uint32_t>(y)) != ground;
                EXPECT_FALSE(isEdge && (steps < 17 || steps > 22)) << x << ", " << y;
                count += isEdge ? 1 : 0;
            }
        }
        EXPECT_GE(count, 4 * kSide * 8 / 10) << "the outline is incomplete";
    }
}

TEST(DepthView, RunsFromRedNearToBlueFarAndIsBlackWithoutDataWithAScaleBesideIt) {
    DepthImage depth(300, 200, 1000);
    std::fill_n(depth.m_samples.begin(), 20000, uint16_t{2000});
    depth.m_samples[0] = 0;
    depth.m_samples[1] = 60000; // a stray sample does not stretch the range
    const DepthRange range = RangeOf(depth);
    EXPECT_EQ(range.m_nearMm, 1000U);
    EXPECT_EQ(range.m_farMm, 2000U);
    const RgbImage picture = DepthPicture(depth);
    EXPECT_GT(picture.m_width, 300U);
    EXPECT_EQ(picture.At(0, 0), Rgb());
    EXPECT_GT(picture.At(0, 199).r, picture.At(0, 199).b);
    EXPECT_GT(picture.At(9, 0).b, picture.At(9, 0).r);
    EXPECT_EQ(picture.At(1, 0), picture.At(9, 0));
    for (const uint32_t side : {1U, 2U, 16U}) { // too small for a bar, still sound
        EXPECT_EQ(DepthPicture(DepthImage(side, side, 700)).m_height, side);
    }
}

TEST(DepthView, TicksAreRoundNumbersInsideTheRange) {
    EXPECT_THAT(TicksOf({480, 1290}, 6), ElementsAre(600, 800, 1000, 1200));
    EXPECT_THAT(TicksOf({999, 1001}, 1), ElementsAre(1000));
    EXPECT_LE(TicksOf({1, 65535}, 8).size(), 8U);
}

TEST(PointCloud, OfRegisteredDepthUsesTheColorCamerasIntrinsics) {
    DepthImage depth(4, 2);
    depth.At(3, 1) = 2000;
    RgbImage color(8, 4);
    color.At(6, 2) = {7, 8, 9};
    const OX3D_RGBD_CALIB_INFO calib{0, 0, 2.0F, 4.0F, 1.0F, 0.5F, 0, 0, 0, 0, 0, {}};
    const PointCloud cloud = CloudFromRegistered(depth, &color, calib);
    ASSERT_EQ(cloud.m_points.size(), 1U); // invalid depth gives no point
    EXPECT_FLOAT_EQ(cloud.m_points[0].m_x, 2.0F);
    EXPECT_FLOAT_EQ(cloud.m_points[0].m_y, 0.25F);
    EXPECT_FLOAT_EQ(cloud.m_points[0].m_z, 2.0F);
    EXPECT_EQ(cloud.m_points[0].m_color, (Rgb{7, 8, 9}));
    EXPECT_TRUE(CloudFromRegistered(depth, &color, {}).m_points.empty()); // no intrinsics, no points
    EXPECT_FALSE(CloudFromRegistered(depth, nullptr, calib).m_hasColor);
}

TEST(PointCloud, OfAPointImageLeavesOutWhatIsNoPoint) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    float points[] = {100.0F, -200.0F, 500.0F, 0.0F, 0.0F, 0.0F, nan, 0.0F, 1.0F};
    OX3D_RGBD_IMAGE_DATA image{};
    image.enImageType = OX3D_RGBD_PIXEL_POINT_CLOUD;
    image.nWidth = 3;
    image.nHeight = 1;
    image.pData = reinterpret_cast<uint8_t*>(points);
    image.nDataLen = sizeof(points);
    const PointCloud cloud = CloudFromPointImage(image);
    ASSERT_EQ(cloud.m_points.size(), 1U);
    EXPECT_FLOAT_EQ(cloud.m_points[0].m_y, -0.2F);
    image.nDataLen -= 1;
    EXPECT_TRUE(CloudFromPointImage(image).m_points.empty());
}

// Mean column, from `left` to `right`, of the pixels in which one channel clearly leads; -1 without any.
double MeanColumn(const RgbImage& picture, uint8_t Rgb::*channel, uint32_t left, uint32_t right) {
    double sum = 0.0;
    double count = 0.0;
    for (uint32_t y = 0; y < picture.m_height; ++y) {
        for (uint32_t x = left; x < right; ++x) {
            const Rgb& pixel = picture.At(x, y);
            const bool leads = pixel.*channel > 150 && pixel.r + pixel.g + pixel.b < 2 * pixel.*channel;
            sum += leads ? x : 0;
            count += leads ? 1 : 0;
        }
    }
    return count == 0.0 ? -1.0 : sum / count;
}

TEST(CloudView, ShowsNearThingsNearerToTheCameraInTheSideView) {
    DepthImage depth(64, 48, 2000);
    RgbImage color(64, 48, {10, 10, 255});
    for (uint32_t y = 20; y < 40; ++y) {
        std::fill_n(&depth.At(20, y), 20, uint16_t{1000});
        std::fill_n(&color.At(20, y), 20, Rgb{255, 10, 10});
    }
    const OX3D_RGBD_CALIB_INFO calib{0, 0, 60.0F, 60.0F, 32.0F, 24.0F, 0, 0, 0, 0, 0, {}};
    const RgbImage picture = CloudPicture(CloudFromRegistered(depth, &color, calib));
    const uint32_t border = 901; // between the two views
    EXPECT_GT(MeanColumn(picture, &Rgb::r, 0, border), 0.0);
    EXPECT_GT(MeanColumn(picture, &Rgb::b, 0, border), 0.0);
    const double red = MeanColumn(picture, &Rgb::r, border, picture.m_width);
    EXPECT_GT(red, border);
    EXPECT_GT(MeanColumn(picture, &Rgb::b, border, picture.m_width), red + 100);
    EXPECT_FALSE(CloudPicture({}).IsEmpty());
    EXPECT_FALSE(CloudPicture({{{0.0F, 0.0F, 1.0F, 0.0F, {}}}, false}).IsEmpty());
}

} // namespace
} // namespace ox3d::tool
