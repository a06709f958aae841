// What the tool writes is what was given to it.
#include "tests/tools/ReadBack.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/FrameDecode.h"
#include "tools/ox3d/Ply.h"
#include "tools/ox3d/Png.h"
#include "tools/ox3d/Results.h"
#include "tools/ox3d/TempFiles.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ox3dtool;
using ::testing::ElementsAre;

namespace {

class Writers : public ::testing::Test {
protected:
    std::string File(const char* name) const { return (m_folder.Path() / name).string(); }
    CTempFolder m_folder;
};

TEST_F(Writers, DepthComesBackFromPngSampleForSample) {
    DepthImage depth(257, 3);
    for (size_t i = 0; i < depth.m_samples.size(); ++i) {
        depth.m_samples[i] = static_cast<uint16_t>(i * 85);
    }
    WritePng(File("d.png"), depth);
    EXPECT_EQ(ReadDepthPng(File("d.png")).m_samples, depth.m_samples);
}

TEST_F(Writers, ColorComesBackFromPngPixelForPixel) {
    RgbImage color(5, 2);
    for (uint8_t i = 0; i < 10; ++i) {
        color.m_samples[i] = {i, static_cast<uint8_t>(100 + i), static_cast<uint8_t>(255 - i)};
    }
    WritePng(File("c.png"), color);
    EXPECT_EQ(ReadRgbPng(File("c.png")).m_samples, color.m_samples);
}

TEST_F(Writers, AFileThatCannotBeWrittenIsAnErrorWithItsExitCode) {
    const auto codeOf = [](auto&& write) {
        try {
            write();
        } catch (const CToolError& error) {
            return error.Code();
        }
        return kExitOk;
    };
    EXPECT_EQ(codeOf([&] { WritePng(File("no/such.png"), RgbImage(1, 1)); }), kExitFile);
    EXPECT_EQ(codeOf([&] { WritePng(File("empty.png"), RgbImage()); }), kExitFile);
    EXPECT_EQ(codeOf([&] { WritePly("/dev/full", {{CloudPoint()}, true}); }), kExitFile);
}

TEST_F(Writers, PlyHoldsThePointsInMetresAndTheirColors) {
    WritePly(File("c.ply"),
             {{{0.5F, -0.25F, 2.0F, 0.0F, {1, 2, 3}}, {1.0F, 2.0F, 3.0F, 0.0F, {4, 5, 6}}}, true});
    const PlyFile ply = ReadPly(File("c.ply"));
    EXPECT_THAT(ply.m_header,
                ElementsAre("ply", "format binary_little_endian 1.0", ::testing::StartsWith("comment"),
                            "element vertex 2", "property float x", "property float y", "property float z",
                            "property uchar red", "property uchar green", "property uchar blue",
                            "end_header"));
    ASSERT_EQ(ply.m_body.size(), 2U * 15U);
    float xyz[3];
    std::memcpy(xyz, ply.m_body.data(), sizeof(xyz));
    EXPECT_THAT(xyz, ElementsAre(0.5F, -0.25F, 2.0F));
    EXPECT_EQ(ply.m_body.substr(12, 3), "\x01\x02\x03");
    EXPECT_EQ(ply.m_body.substr(27), "\x04\x05\x06");
}

TEST_F(Writers, APlyWithoutColorsDoesNotPretendToHaveThem) {
    WritePly(File("c.ply"), {{{0.0F, 0.0F, 1.0F, 0.0F, {9, 9, 9}}}, false});
    const PlyFile ply = ReadPly(File("c.ply"));
    EXPECT_THAT(ply.m_header, Not(::testing::Contains(::testing::HasSubstr("uchar"))));
    EXPECT_EQ(ply.m_body.size(), 12U);
}

TEST_F(Writers, AFrameGivesTheFilesThatItHasDataForAndNoStaleOnes) {
    GrabbedFrame frame;
    frame.m_depth = DepthImage(64, 48, 1000);
    frame.m_color = RgbImage(64, 48, {10, 20, 30});
    frame.m_isRegistered = true;
    frame.m_cloud = {{{0.0F, 0.0F, 1.0F, 0.01F, {}}}, true};
    EXPECT_THAT(WriteResults(m_folder.Path(), frame), ElementsAre("depth.png", "depth_color.png", "color.png",
                                                                  "overlay.png", "cloud.ply", "cloud.png"));

    frame.m_isRegistered = false;
    frame.m_cloud = {};
    EXPECT_THAT(WriteResults(m_folder.Path(), frame),
                ElementsAre("depth.png", "depth_color.png", "color.png"));
    EXPECT_FALSE(std::filesystem::exists(m_folder.Path() / "overlay.png"));
    EXPECT_FALSE(std::filesystem::exists(m_folder.Path() / "cloud.ply"));
}

// A frame with one image of 2 x 1 pixels over six bytes.
struct OneImage {
    explicit OneImage(uint32_t type) {
        m_frame.nImageCount = 1;
        m_frame.stImageData[0] = {type, 0, 2, 1, m_bytes, sizeof(m_bytes), 7, 0, 0, {}};
    }
    OX3D_RGBD_IMAGE_DATA& Image() { return m_frame.stImageData[0]; }
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
        EXPECT_THAT(DecodeColor(one.m_frame).m_samples, ElementsAre(row.first, row.second))
            << std::hex << row.format;
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

} // namespace
