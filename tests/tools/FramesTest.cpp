// From a delivered frame to files and figures: images, PLY, counts.
#include "base/PngFile.h"
#include "tests/support/Files.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/commands/Progress.h"
#include "tools/ox3d/pictures/FrameDecode.h"
#include "tools/ox3d/pictures/Ply.h"
#include "tools/ox3d/pictures/Results.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ox3d::tool {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

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
    const struct {
        uint32_t format;
        Rgb first;
        Rgb second;
    } rows[] = {
        {OX3D_RGBD_PIXEL_RGB8_PLANAR, {1, 3, 5}, {2, 4, 6}},
        {0x02180014, {1, 2, 3}, {4, 5, 6}},
        {0x02180015, {3, 2, 1}, {6, 5, 4}},
        {0x01080001, {1, 1, 1}, {2, 2, 2}},
    };
    for (const auto& row : rows) {
        OneImage one(row.format);
        EXPECT_THAT(DecodeColor(one.m_frame).m_samples, ElementsAre(row.first, row.second)) << row.format;
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

class Results : public ::testing::Test {
protected:
    std::string File(const char* name) const { return m_folder.File(name); }
    test::CTempFolder m_folder;
};

TEST_F(Results, AreTheFilesThatAFrameHasDataForAndNoStaleOnes) {
    GrabbedFrame frame;
    frame.m_depth = DepthImage(64, 48, 1000);
    frame.m_depth.At(1, 0) = 0x1234;
    frame.m_color = RgbImage(64, 48, {10, 20, 30});
    frame.m_isRegistered = true;
    frame.m_cloud = {{{0.0F, 0.0F, 1.0F, 0.01F, {}}}, true};
    EXPECT_THAT(WriteResults(m_folder.Path(), frame), ElementsAre("depth.png", "depth_color.png", "color.png",
                                                                  "overlay.png", "cloud.ply", "cloud.png"));
    PngSize size;
    std::string error;
    std::vector<uint16_t> depth;
    std::vector<uint8_t> planes;
    EXPECT_TRUE(ReadDepthPng(File("depth.png"), &size, &depth, &error)) << error;
    EXPECT_EQ(depth, frame.m_depth.m_samples);
    EXPECT_TRUE(ReadColorPng(File("color.png"), &size, &planes, &error)) << error;
    EXPECT_THAT((std::vector{planes.front(), planes.at(planes.size() / 2), planes.back()}),
                ElementsAre(10, 20, 30));

    frame.m_isRegistered = false;
    frame.m_cloud = {};
    EXPECT_THAT(WriteResults(m_folder.Path(), frame),
                ElementsAre("depth.png", "depth_color.png", "color.png"));
    EXPECT_FALSE(std::filesystem::exists(File("overlay.png")) || std::filesystem::exists(File("cloud.ply")));
}

TEST_F(Results, ThatCannotBeWrittenAreAnErrorWithItsExitCode) {
    const auto codeOf = [](auto&& write) {
        try {
            write();
        } catch (const CToolError& error) {
            return error.Code();
        }
        return EExitCode::Ok;
    };
    EXPECT_EQ(codeOf([&] {
                  WriteResults(m_folder.Path() / "none", {1, DepthImage(9, 9, 1), {}, false, {}});
              }),
              EExitCode::File);
    EXPECT_EQ(codeOf([&] { WritePly("/dev/full", {{CloudPoint()}, true}); }), EExitCode::File);
}

TEST_F(Results, APlyFileHoldsThePointsInMetresAndTheirColors) {
    PointCloud cloud = {{{0.5F, -0.25F, 2.0F, 0.0F, {1, 2, 3}}, {1.0F, 2.0F, 3.0F, 0.0F, {4, 5, 6}}}, true};
    WritePly(File("c.ply"), cloud);
    EXPECT_THAT(test::ReadFile(File("c.ply")),
                AllOf(HasSubstr("ply\nformat binary_little_endian 1.0\n"), HasSubstr("\nelement vertex 2\n"),
                      HasSubstr("float x\nproperty float y\nproperty float z\nproperty uchar red\n"
                                "property uchar green\nproperty uchar blue\nend_header\n")));
    // 0.5, -0.25, 2.0 and so on, as they lie in memory.
    constexpr char kBody[] = "\0\0\0\x3f\0\0\x80\xbe\0\0\0\x40\1\2\3\0\0\x80\x3f\0\0\0\x40\0\0\x40\x40\4\5\6";
    EXPECT_THAT(test::ReadFile(File("c.ply")),
                EndsWith("end_header\n" + std::string(kBody, sizeof(kBody) - 1)));
    cloud.m_hasColor = false;
    WritePly(File("c.ply"), cloud);
    EXPECT_THAT(test::ReadFile(File("c.ply")), Not(HasSubstr("uchar")));
    EXPECT_THAT(test::ReadFile(File("c.ply")),
                EndsWith("end_header\n" + std::string(kBody, 12) + std::string(kBody + 15, 12)));
}

TEST(FrameStats, CountsTheGapsInTheFrameNumbers) {
    const struct {
        std::vector<uint32_t> numbers;
        uint64_t lost;
    } rows[] = {{{1, 4}, 2}, {{5, 6}, 0},       {{7, 8, 1, 2}, 0},
                {{3, 3}, 0}, {{1, 3, 1, 4}, 3}, {{4294967295U, 1}, 0}};
    for (const auto& row : rows) {
        CFrameStats stats;
        for (const uint32_t number : row.numbers) {
            stats.Add(number, 0.0, {});
        }
        EXPECT_EQ(stats.LostFrames(), row.lost)
            << "beginning with " << row.numbers[0] << ", " << row.numbers[1];
        EXPECT_EQ(stats.Frames(), row.numbers.size());
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

} // namespace
} // namespace ox3d::tool
