// From a delivered frame to pictures, files and figures: what a person would look for in them.
#include "base/PngFile.h"
#include "tests/support/Files.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/commands/Progress.h"
#include "tools/ox3d/pictures/CloudView.h"
#include "tools/ox3d/pictures/DepthEdges.h"
#include "tools/ox3d/pictures/DepthView.h"
#include "tools/ox3d/pictures/FrameDecode.h"
#include "tools/ox3d/pictures/Overlay.h"
#include "tools/ox3d/pictures/PixelFont.h"
#include "tools/ox3d/pictures/Ply.h"
#include "tools/ox3d/pictures/Results.h"
#include "tools/ox3d/pictures/SplatCanvas.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>

namespace ox3d::tool {
namespace {

using namespace ::testing;

// A frame with one image of 2 x 1 pixels over six bytes.
struct OneImage {
    explicit OneImage(uint32_t type) {
        m_frame.nImageCount = 1;
        m_frame.stImageData[0] = {type, 0, 2, 1, m_bytes, sizeof(m_bytes), 7, 0, 0, {}};
    }
    uint8_t m_bytes[6] = {1, 2, 3, 4, 5, 6};
    OX3D_RGBD_FRAME_DATA m_frame{};
};

TEST(FrameDecode, ReadsTheChannelsWhereEachFormatKeepsThem) {
    const std::tuple<uint32_t, Rgb, Rgb> rows[] = {
        {OX3D_RGBD_PIXEL_RGB8_PLANAR, {1, 3, 5}, {2, 4, 6}},
        {0x02180014, {1, 2, 3}, {4, 5, 6}},
        {0x02180015, {3, 2, 1}, {6, 5, 4}},
        {0x01080001, {1, 1, 1}, {2, 2, 2}},
    };
    for (const auto& [format, first, second] : rows) {
        OneImage one(format);
        EXPECT_THAT(DecodeColor(one.m_frame).m_samples, ElementsAre(first, second)) << format;
    }
    OneImage depth(OX3D_RGBD_PIXEL_DEPTH16);
    EXPECT_THAT(DecodeDepth(depth.m_frame).m_samples, ElementsAre(0x0201, 0x0403));
}

TEST(FrameDecode, BelievesNoRecordThatPromisesMoreThanItsBytes) {
    void (*const lies[])(OX3D_RGBD_FRAME_DATA&) = {
        [](auto& frame) { frame.stImageData[0].nDataLen = 5; },
        [](auto& frame) { frame.stImageData[0].nHeight = 2; },
        [](auto& frame) { frame.stImageData[0].nWidth = frame.stImageData[0].nHeight = 0xFFFFFFFF; },
        [](auto& frame) { frame.stImageData[0].nWidth = 0; },
        [](auto& frame) { frame.stImageData[0].pData = nullptr; },
        [](auto& frame) { frame.nImageCount = 0; },
        [](auto& frame) { frame.stImageData[0].enStreamType = OX3D_RGBD_STREAM_LEFT; }, // no color either
    };
    for (const auto& lie : lies) {
        OneImage one(OX3D_RGBD_PIXEL_RGB8_PLANAR);
        lie(one.m_frame);
        EXPECT_TRUE(DecodeColor(one.m_frame).IsEmpty());
    }
    OneImage many(OX3D_RGBD_PIXEL_RGBD);
    many.m_frame.nImageCount = 1000; // more than the record has room for
    EXPECT_EQ(FindDepth(many.m_frame), nullptr);
}

TEST(PixelFont, IsNotMirrored) {
    RgbImage image(24, 16, {});
    DrawText(image, 0, 0, "17", {1, 2, 3}, 2);
    EXPECT_EQ(image.At(20, 2), (Rgb{1, 2, 3}));
    EXPECT_EQ(image.At(12, 2), Rgb{});
}

TEST(Results, AreTheFilesThatAFrameHasDataForAndNoStaleOnes) {
    const test::CTempFolder folder;
    GrabbedFrame frame;
    frame.m_depth = DepthImage(64, 48, 1000);
    frame.m_depth.At(1, 0) = 0x1234;
    frame.m_color = RgbImage(64, 48, {10, 20, 30});
    frame.m_isRegistered = true;
    frame.m_cloud = {{{0.0F, 0.0F, 1.0F, 0.01F, {}}}, true};
    EXPECT_THAT(WriteResults(folder.Path(), frame), ElementsAre("depth.png", "depth_color.png", "color.png",
                                                                "overlay.png", "cloud.ply", "cloud.png"));
    PngSize size;
    std::string error;
    std::vector<uint16_t> depth;
    std::vector<uint8_t> planes;
    EXPECT_TRUE(ReadDepthPng(folder.File("depth.png"), &size, &depth, &error)) << error;
    EXPECT_EQ(depth, frame.m_depth.m_samples);
    EXPECT_TRUE(ReadColorPng(folder.File("color.png"), &size, &planes, &error)) << error;
    EXPECT_THAT((std::vector{planes.front(), planes.at(planes.size() / 2), planes.back()}),
                ElementsAre(10, 20, 30));

    frame.m_color = RgbImage(32, 48);
    EXPECT_THAT(WriteResults(folder.Path(), frame), Not(Contains("overlay.png")));
    frame.m_color = RgbImage(64, 48);
    frame.m_isRegistered = false;
    frame.m_cloud = {};
    EXPECT_THAT(WriteResults(folder.Path(), frame), ElementsAre("depth.png", "depth_color.png", "color.png"));
    EXPECT_FALSE(std::filesystem::exists(folder.File("overlay.png")) ||
                 std::filesystem::exists(folder.File("cloud.ply")));
    const auto isFile = Property(&CToolError::Code, EExitCode::File);
    EXPECT_THAT([&] { WriteResults(folder.File("none"), frame); }, Throws<CToolError>(isFile));
    EXPECT_THAT([&] { WritePly("/dev/full", {{CloudPoint()}, true}); }, Throws<CToolError>(isFile));
}

TEST(Results, APlyFileHoldsThePointsInMetresAndTheirColors) {
    PointCloud cloud = {{{0.5F, -0.25F, 2.0F, 0.0F, {1, 2, 3}}, {1.0F, 2.0F, 3.0F, 0.0F, {4, 5, 6}}}, true};
    const std::string numbers[] = {{"\0\0\0\x3f\0\0\x80\xbe\0\0\0\x40", 12},
                                   {"\0\0\x80\x3f\0\0\0\x40\0\0\x40\x40", 12}};
    const test::CTempFolder folder;
    const std::string file = folder.File("c.ply");
    WritePly(file, cloud);
    EXPECT_THAT(test::ReadFile(file),
                AllOf(StartsWith("ply\nformat binary_little_endian 1.0\n"),
                      EndsWith("\nelement vertex 2\nproperty float x\nproperty float y\nproperty float z\n"
                               "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n" +
                               numbers[0] + "\1\2\3" + numbers[1] + "\4\5\6")));
    cloud.m_hasColor = false;
    WritePly(file, cloud);
    EXPECT_THAT(test::ReadFile(file), EndsWith("float z\nend_header\n" + numbers[0] + numbers[1]));
}

TEST(FrameStats, CountsTheGapsInTheFrameNumbers) {
    const std::pair<std::vector<uint32_t>, uint64_t> rows[] = {
        {{1, 4}, 2}, {{5, 6}, 0}, {{7, 8, 1, 2}, 0}, {{3, 3}, 0}, {{1, 3, 1, 4}, 3}, {{4294967295U, 1}, 0}};
    for (const auto& [numbers, lost] : rows) {
        CFrameStats stats;
        for (const uint32_t number : numbers) {
            stats.Add(number, 0.0, {});
        }
        EXPECT_EQ(stats.LostFrames(), lost) << PrintToString(numbers);
    }
}

TEST(FrameStats, SummarisesAllFramesAndFillsABarNoFurtherThanItsEnd) {
    DepthImage half(10, 1);
    std::fill_n(half.m_samples.begin(), 5, uint16_t{800});
    CFrameStats stats;
    EXPECT_EQ(ProgressLine(stats, 2), "[............................] 0/2  0.0 frames/s  0 lost");
    stats.Add(1, 100.0, half);
    EXPECT_EQ(stats.Summary(), "1 frame, 0.0 frames/s, 0 lost, 50.0 % of depth valid");
    EXPECT_EQ(ProgressLine(stats, 2), "[##############..............] 1/2  0.0 frames/s  0 lost");
    stats.Add(4, 100.5, DepthImage(10, 1));
    stats.AddBad();
    EXPECT_EQ(stats.Summary(),
              "2 frames, 2.0 frames/s, 2 lost, 25.0 % of depth valid, 1 that could not be assembled");
    stats.Add(5, 101.0, DepthImage(10, 1));
    EXPECT_EQ(ProgressLine(stats, 2), "[############################] 3/2  2.0 frames/s  2 lost");
    EXPECT_EQ(ProgressLine(stats, 0), "3 frames  2.0 frames/s  2 lost");
}

// A floor that falls away steeply towards the top, with or without a box of 40 x 40 pixels on it, and the raster of gaps
// that registration leaves where the color image has 1.5 times as many pixels in each direction.
DepthImage Floor(bool hasBox, bool hasRaster) {
    DepthImage depth(160, 120);
    for (uint32_t i = 0; i < 160 * 120; ++i) {
        const uint32_t x = i % 160;
        const uint32_t y = i / 160;
        const bool isBox = hasBox && x >= 60 && x < 100 && y >= 40 && y < 80;
        const bool isGap = hasRaster && (x % 3 == 2 || y % 3 == 2);
        depth.m_samples[i] = static_cast<uint16_t>(isGap ? 0 : isBox ? 600 : 100000 / (30 + y));
    }
    return depth;
}

TEST(DepthEdges, SlantedSurfacesHaveNoneHoweverSteep) {
    EXPECT_THAT(FindDepthEdges(Floor(false, false)).m_samples, Each(0));
    EXPECT_THAT(FindDepthEdges(Floor(false, true)).m_samples, Each(0));
    for (const uint32_t side : {0U, 1U, 2U, 3U}) {
        EXPECT_THAT(FindDepthEdges(DepthImage(side, side, 500)).m_samples, Each(0));
    }
}

TEST(DepthEdges, LieOnTheOutlineOfAThingWhateverGapsThereAreAndShowOnColor) {
    for (const bool hasRaster : {false, true}) {
        const RgbImage picture = OverlayPicture(RgbImage(160, 120, {200, 100, 100}), Floor(true, hasRaster));
        const Rgb ground = picture.At(2, 2);
        EXPECT_GT(ground.r, ground.g);
        uint32_t count = 0;
        for (int i = 0; i < 160 * 120; ++i) {
            // Pixels from the middle of the box, as a chessboard king walks: 20 at its outline.
            const int steps = std::max(std::abs(2 * (i % 160) - 159), std::abs(2 * (i / 160) - 119)) / 2;
            const bool isEdge = picture.m_samples[static_cast<size_t>(i)] != ground;
            EXPECT_FALSE(isEdge && (steps < 17 || steps > 22)) << i % 160 << ", " << i / 160;
            count += isEdge ? 1 : 0;
        }
        EXPECT_GE(count, 128U) << "the outline is incomplete";
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
    EXPECT_EQ(picture.At(310, 16), picture.At(0, 199));
    EXPECT_GT(picture.At(322, 194).r, 200U);    // the foot of the 2 of 2000
    for (const uint32_t side : {1U, 2U, 16U}) { // too small for a bar, still sound
        EXPECT_EQ(DepthPicture(DepthImage(side, side, 700)).m_height, side);
    }
}

TEST(DepthView, TicksAreRoundNumbersInsideTheRange) {
    EXPECT_THAT(TicksOf({480, 1290}, 6), ElementsAre(600, 800, 1000, 1200));
    EXPECT_THAT(TicksOf({999, 1001}, 1), ElementsAre(1000));
    EXPECT_LE(TicksOf({1, 65535}, 8).size(), 8U);
}

// Points of three floats, colors of four bytes.
OX3D_RGBD_CLOUD CloudRecord(uint32_t width, std::vector<float>& points, std::vector<uint8_t>* colors) {
    OX3D_RGBD_CLOUD cloud{};
    cloud.pPoints = points.data();
    cloud.nWidth = width;
    cloud.nHeight = static_cast<uint32_t>(points.size() / 3 / width);
    cloud.nPointStride = 12;
    cloud.pColors = colors != nullptr ? colors->data() : nullptr;
    cloud.nColorStride = 4;
    return cloud;
}

TEST(PointCloud, LeavesOutWhatIsNoPointAndGreysWhatHasNoColor) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> points = {0, 0, 0, 100, -200, 500, nan, 0, 1, 1, 1, 2000};
    std::vector<uint8_t> colors = {1, 1, 1, 255, 7, 8, 9, 255, 1, 1, 1, 255, 0, 0, 0, 0};
    const PointCloud cloud = CloudOf(CloudRecord(2, points, &colors));
    ASSERT_EQ(cloud.m_points.size(), 2U);
    EXPECT_FLOAT_EQ(cloud.m_points[0].m_y, -0.2F);
    EXPECT_FLOAT_EQ(cloud.m_points[0].m_z, 0.5F);
    EXPECT_EQ(cloud.m_points[0].m_color, (Rgb{7, 8, 9}));
    EXPECT_EQ(cloud.m_points[1].m_color, (Rgb{128, 128, 128}));
    EXPECT_FLOAT_EQ(cloud.m_points[1].m_gap, 0.004F);
    EXPECT_TRUE(cloud.m_hasColor);
    EXPECT_FALSE(CloudOf(CloudRecord(2, points, nullptr)).m_hasColor);
}

TEST(CloudView, ShowsCloudsOfAnySize) {
    std::vector<float> points;
    std::vector<uint8_t> colors;
    for (uint32_t i = 0; i < 64 * 48;
         ++i) { // the upper half to the left and to the right, and the lower half
        const float x = static_cast<float>(i % 64) - 32;
        const float y = static_cast<float>(i / 64) - 24; // NOLINT(bugprone-integer-division): rows
        points.insert(points.end(), {x * 2000 / 60, y * 2000 / 60, 2000});
        const Rgb color = y >= 0 ? Rgb{255, 10, 10} : x < 0 ? Rgb{10, 10, 255} : Rgb{10, 255, 10};
        colors.insert(colors.end(), {color.r, color.g, color.b, 255});
    }
    const RgbImage picture = CloudPicture(CloudOf(CloudRecord(64, points, &colors)));
    EXPECT_GT(picture.At(650, 250).g, 200U);
    EXPECT_GT(picture.At(475, 500).r, 200U);
    EXPECT_GT(picture.At(1486, 200).g, 200U); // from the right
    EXPECT_GT(picture.At(1486, 500).r, 200U);
    EXPECT_GT(picture.At(938, 660).b, 200U); // the ruler's first tick
    CSplatCanvas canvas(4, 4);
    canvas.Splat(2.0F, 2.0F, 3.0F, 1.0F, {1, 0, 0});
    canvas.Splat(2.0F, 2.0F, 3.0F, 2.0F, {2, 0, 0}); // behind it
    EXPECT_EQ(canvas.Finish(1.0F).At(2, 2).r, 1);
    EXPECT_FALSE(CloudPicture({}).IsEmpty());
    EXPECT_FALSE(CloudPicture({{{0.0F, 0.0F, 1.0F, 0.0F, {}}}, false}).IsEmpty());
}

} // namespace
} // namespace ox3d::tool
