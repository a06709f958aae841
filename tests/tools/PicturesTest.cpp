// Pictures: what a person would look for in them.
#include "tools/ox3d/CloudView.h"
#include "tools/ox3d/ColorMap.h"
#include "tools/ox3d/DepthEdges.h"
#include "tools/ox3d/DepthView.h"
#include "tools/ox3d/Overlay.h"
#include "tools/ox3d/PixelFont.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

using namespace ox3dtool;
using ::testing::ElementsAre;

namespace {

constexpr uint32_t kWidth = 160;
constexpr uint32_t kHeight = 120;

// A floor that falls away steeply towards the top.
DepthImage Floor() {
    DepthImage depth(kWidth, kHeight);
    for (uint32_t y = 0; y < kHeight; ++y) {
        std::fill_n(&depth.At(0, y), kWidth, static_cast<uint16_t>(100000 / (30 + y)));
    }
    return depth;
}

struct Box {
    uint32_t m_left = 60;
    uint32_t m_right = 100; // one behind
    uint32_t m_top = 40;
    uint32_t m_bottom = 80; // one behind
    bool Holds(uint32_t x, uint32_t y) const {
        return x >= m_left && x < m_right && y >= m_top && y < m_bottom;
    }
    // Pixels from (x, y) to the outline, as a chessboard king walks.
    uint32_t ToOutline(uint32_t x, uint32_t y) const {
        const auto gap = [](uint32_t value, uint32_t low, uint32_t high) {
            return value < low ? low - value : value >= high ? value - high + 1 : 0;
        };
        if (!Holds(x, y)) {
            return std::max(gap(x, m_left, m_right), gap(y, m_top, m_bottom));
        }
        return std::min({x - m_left, m_right - 1 - x, y - m_top, m_bottom - 1 - y});
    }
};

DepthImage BoxOnFloor(const Box& box) {
    DepthImage depth = Floor();
    for (uint32_t y = box.m_top; y < box.m_bottom; ++y) {
        std::fill_n(&depth.At(box.m_left, y), box.m_right - box.m_left, uint16_t{600});
    }
    return depth;
}

// The raster that registration leaves where the color image has 1.5 times as many pixels in each direction.
void LeaveRaster(DepthImage& depth) {
    for (uint32_t y = 0; y < depth.m_height; ++y) {
        for (uint32_t x = 0; x < depth.m_width; ++x) {
            depth.At(x, y) = x % 3 == 2 || y % 3 == 2 ? uint16_t{0} : depth.At(x, y);
        }
    }
}

// The strip that the depth camera cannot see beside the box.
void HideStrip(DepthImage& depth, const Box& box) {
    for (uint32_t y = box.m_top; y < box.m_bottom; ++y) {
        std::fill_n(&depth.At(box.m_left - 14, y), 14, uint16_t{0});
    }
}

void ExpectOutline(const DepthImage& depth, const Box& box, const char* what) {
    const MaskImage edges = FindDepthEdges(depth);
    uint32_t onOutline = 0;
    for (uint32_t y = 0; y < kHeight; ++y) {
        for (uint32_t x = 0; x < kWidth; ++x) {
            if (edges.At(x, y) != 0) {
                EXPECT_LE(box.ToOutline(x, y), 2U) << what << ": edge at " << x << ", " << y;
                ++onOutline;
            }
        }
    }
    EXPECT_GE(onOutline, 4U * 40U * 8U / 10U) << what << ": the outline is incomplete";
}

TEST(DepthEdges, SlantedSurfacesHaveNoneHoweverSteep) {
    DepthImage floor = Floor();
    EXPECT_THAT(FindDepthEdges(floor).m_samples, ::testing::Each(0));
    LeaveRaster(floor);
    EXPECT_THAT(FindDepthEdges(floor).m_samples, ::testing::Each(0));
}

TEST(DepthEdges, LieOnTheOutlineOfAThingWhateverGapsThereAre) {
    const Box box;
    DepthImage depth = BoxOnFloor(box);
    ExpectOutline(depth, box, "complete");
    HideStrip(depth, box);
    ExpectOutline(depth, box, "with a hidden strip");
    depth = BoxOnFloor(box);
    LeaveRaster(depth);
    ExpectOutline(depth, box, "with a raster");
}

TEST(DepthEdges, SurviveImagesThatAreTinyOrEmpty) {
    for (const uint32_t side : {0U, 1U, 2U, 3U}) {
        EXPECT_THAT(FindDepthEdges(DepthImage(side, side, 500)).m_samples, ::testing::Each(0));
    }
    EXPECT_THAT(FindDepthEdges(DepthImage(kWidth, kHeight)).m_samples, ::testing::Each(0));
}

TEST(Overlay, ShowsTheColorImageWithTheEdgesOnIt) {
    const Box box;
    const DepthImage depth = BoxOnFloor(box);
    const RgbImage picture = OverlayPicture(RgbImage(kWidth, kHeight, {200, 100, 100}), depth);
    const MaskImage edges = FindDepthEdges(depth);
    const Rgb ground = picture.At(2, 2);
    EXPECT_GT(ground.r, ground.g);
    for (size_t i = 0; i < edges.m_samples.size(); ++i) {
        ASSERT_EQ(picture.m_samples[i] == ground, edges.m_samples[i] == 0);
    }
}

TEST(ColorMap, RunsFromRedNearToBlueFarAndIsBlackWithoutData) {
    const DepthRange range = {500, 1500};
    EXPECT_EQ(DepthColor(0, range), Rgb());
    const Rgb nearest = DepthColor(500, range);
    const Rgb farthest = DepthColor(1500, range);
    EXPECT_GT(nearest.r, nearest.b);
    EXPECT_GT(farthest.b, farthest.r);
    EXPECT_EQ(DepthColor(1, range), nearest);
    EXPECT_EQ(DepthColor(65535, range), farthest);
    EXPECT_GT(DepthColor(1000, range).g, 200);
}

TEST(ColorMap, TakesItsRangeFromTheBulkOfTheValidSamples) {
    DepthImage depth(100, 100, 1000);
    std::fill_n(depth.m_samples.begin(), 5000, uint16_t{0});
    std::fill_n(depth.m_samples.begin(), 2000, uint16_t{2000});
    depth.m_samples[9999] = 60000;
    const DepthRange range = RangeOf(depth);
    EXPECT_EQ(range.m_nearMm, 1000U);
    EXPECT_EQ(range.m_farMm, 2000U);
    EXPECT_LT(RangeOf(DepthImage(4, 4)).m_nearMm, RangeOf(DepthImage(4, 4)).m_farMm);
}

TEST(DepthView, TicksAreRoundNumbersInsideTheRange) {
    EXPECT_THAT(TicksOf({480, 1290}, 6), ElementsAre(600, 800, 1000, 1200));
    EXPECT_THAT(TicksOf({0, 10}, 12), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10));
    EXPECT_THAT(TicksOf({999, 1001}, 1), ElementsAre(1000));
    EXPECT_LE(TicksOf({1, 65535}, 8).size(), 8U);
}

TEST(DepthView, KeepsTheImageAtTheLeftAndPutsAScaleBesideIt) {
    DepthImage depth = Floor();
    depth.At(5, 7) = 0;
    const RgbImage picture = DepthPicture(depth);
    ASSERT_GT(picture.m_width, kWidth);
    ASSERT_EQ(picture.m_height, kHeight);
    EXPECT_EQ(picture.At(5, 7), Rgb());
    EXPECT_EQ(picture.At(6, 8), DepthColor(depth.At(6, 8), RangeOf(depth)));
    const auto right = [&](uint32_t x) { return picture.At(x, kHeight / 2) == MapColor(0.5F); };
    EXPECT_FALSE(right(kWidth));
    for (const uint32_t side : {1U, 2U, 16U}) {
        EXPECT_EQ(DepthPicture(DepthImage(side, side, 700)).m_height,
                  side); // too small for a bar, still sound
    }
}

TEST(PixelFont, DrawsInsideTheImageOnly) {
    RgbImage image(8, 8);
    DrawText(image, 6, 6, "8", {255, 255, 255}, 1);
    DrawText(image, -3, -3, "8", {255, 255, 255}, 1);
    DrawText(image, 2147483000, 0, "88", {255, 255, 255}, 300);
    EXPECT_NE(image.At(7, 6), Rgb());
    EXPECT_EQ(TextWidth("1000", 2), 46U);
}

TEST(PointCloud, OfRegisteredDepthUsesTheColorCamerasIntrinsics) {
    DepthImage depth(4, 2);
    depth.At(3, 1) = 2000;
    RgbImage color(8, 4);
    color.At(6, 2) = {7, 8, 9};
    OX3D_RGBD_CALIB_INFO calib{};
    calib.fFx = 2.0F;
    calib.fFy = 4.0F;
    calib.fCx = 1.0F;
    calib.fCy = 0.5F;
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

// Mean column of the pixels in which one channel clearly leads, from column `left` on; -1 without any.
double MeanColumn(const RgbImage& picture, uint8_t Rgb::*channel, uint32_t left, uint32_t right) {
    double sum = 0.0;
    double count = 0.0;
    for (uint32_t y = 0; y < picture.m_height; ++y) {
        for (uint32_t x = left; x < right; ++x) {
            const Rgb& pixel = picture.At(x, y);
            if (pixel.*channel > 150 && pixel.r + pixel.g + pixel.b < 2 * pixel.*channel) {
                sum += x;
                count += 1.0;
            }
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
    OX3D_RGBD_CALIB_INFO calib{0, 0, 60.0F, 60.0F, 32.0F, 24.0F, 0, 0, 0, 0, 0, {}};
    const RgbImage picture = CloudPicture(CloudFromRegistered(depth, &color, calib));
    const uint32_t border = 901; // between the two views
    EXPECT_GT(MeanColumn(picture, &Rgb::r, 0, border), 0.0);
    EXPECT_GT(MeanColumn(picture, &Rgb::b, 0, border), 0.0);
    const double red = MeanColumn(picture, &Rgb::r, border, picture.m_width);
    const double blue = MeanColumn(picture, &Rgb::b, border, picture.m_width);
    EXPECT_GT(red, border);
    EXPECT_GT(blue, red + 100);
}

TEST(CloudView, TakesCloudsOfNoPointsAndOfOne) {
    EXPECT_FALSE(CloudPicture({}).IsEmpty());
    EXPECT_FALSE(CloudPicture({{{0.0F, 0.0F, 1.0F, 0.0F, {}}}, false}).IsEmpty());
}

} // namespace
