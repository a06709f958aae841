// RecordingSourceTest.cpp - recordings as they should be and as they should not. Files are made with libpng.
#include "virtual-camera/frames/RecordingSource.h"
#include "base/PngFile.h"
#include "virtual-camera/frames/FrameSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <png.h>
#include <sys/stat.h>
#include <zlib.h>

namespace ox3d {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

void WritePng(const fs::path& path, uint32_t format, uint32_t width, uint32_t height, const void* pixels) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = format;
    ASSERT_NE(png_image_write_to_file(&image, path.c_str(), 0, pixels, 0, nullptr), 0) << image.message;
}

// A depth image of one value; the writer adds gamma information, which must not change it.
void WriteDepth(const fs::path& path, uint16_t value, uint32_t width = 32, uint32_t height = 24) {
    WritePng(path, PNG_FORMAT_LINEAR_Y, width, height,
             std::vector<uint16_t>(size_t{width} * height, value).data());
}

void WriteColor(const fs::path& path, uint8_t red, uint8_t green, uint8_t blue, uint32_t width = 64,
                uint32_t height = 48) {
    std::vector<uint8_t> pixels;
    for (uint32_t i = 0; i < width * height; ++i) {
        pixels.insert(pixels.end(), {red, green, blue});
    }
    WritePng(path, PNG_FORMAT_RGB, width, height, pixels.data());
}

void WriteText(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

class RecordingTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/recordingXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_folder = pattern;
        fs::create_directory(m_folder / "depth");
        fs::create_directory(m_folder / "color");
        WriteText(m_folder / "calibration.xml", "<SensorCali/>\n");
    }
    void TearDown() override { fs::remove_all(m_folder); }

    std::unique_ptr<CFrameSource> Open(bool loop = false) {
        FrameSourceConfig config;
        config.m_isRecording = true;
        config.m_folder = m_folder.string();
        config.m_loop = loop;
        m_error.clear();
        return CreateFrameSource(config, &m_error);
    }
    // The first sample of each frame, until the source ends.
    std::vector<uint16_t> Values(CFrameSource* source) {
        std::vector<uint16_t> values;
        for (uint64_t i = 0; source->Render(i, true, false, &m_images); ++i) {
            values.push_back(m_images.m_depth.at(0));
        }
        return values;
    }
    fs::path Depth(const char* name) const { return m_folder / "depth" / name; }
    fs::path Color(const char* name) const { return m_folder / "color" / name; }

    fs::path m_folder;
    std::string m_error;
    FrameImages m_images;
};

TEST_F(RecordingTest, PlaysInTheOrderOfTheNumbersAndEndsOrStartsAgain) {
    WriteDepth(Depth("000010.png"), 1010);
    WriteDepth(Depth("9.png"), 65000);
    WriteDepth(Depth("000100.png"), 1100);
    WriteDepth(Depth("notes.png"), 1);
    WriteText(Depth("readme.txt"), "not an image");
    std::unique_ptr<CFrameSource> source = Open();
    ASSERT_NE(source, nullptr) << m_error;
    EXPECT_EQ(Values(source.get()), (std::vector<uint16_t>{65000, 1010, 1100}));
    EXPECT_EQ(source->CalibrationXml(), "<SensorCali/>\n");
    source = Open(true);
    ASSERT_TRUE(source->Render(3 * 1000000007ULL + 1, false, false, &m_images));
    EXPECT_EQ(m_images.m_depth.at(0), 1010);
}

TEST_F(RecordingTest, PairsColorByNumberAndToleratesItsAbsence) {
    WriteDepth(Depth("000000.png"), 1000);
    WriteDepth(Depth("000001.png"), 1001);
    WriteColor(Color("1.png"), 200, 100, 50);
    WriteColor(Color("7.png"), 1, 2, 3, 8,
               8); // belongs to no depth image: neither shown nor a size to keep to
    const std::unique_ptr<CFrameSource> source = Open();
    ASSERT_NE(source, nullptr) << m_error;
    EXPECT_EQ(source->ColorWidth(), 64U);
    ASSERT_TRUE(source->Render(0, true, true, &m_images));
    EXPECT_EQ(m_images.m_colorWidth, 0U);
    EXPECT_EQ(m_images.m_greyPair, std::vector<uint8_t>(size_t{2} * 32 * 24, 0));
    ASSERT_TRUE(source->Render(1, true, true, &m_images));
    ASSERT_EQ(m_images.m_colorWidth, 64U);
    constexpr size_t kPlane = size_t{64} * 48;
    ASSERT_EQ(m_images.m_color.size(), kPlane * 3);
    EXPECT_EQ(m_images.m_color[kPlane - 1], 200);
    EXPECT_EQ(m_images.m_color[kPlane], 100);
    EXPECT_EQ(m_images.m_color[2 * kPlane], 50);
    EXPECT_EQ(m_images.m_greyPair, std::vector<uint8_t>(size_t{2} * 32 * 24, 124))
        << "the luma, at the depth image's size";
}

TEST_F(RecordingTest, LeavesOutFramesOfAnotherSize) {
    WriteDepth(Depth("0.png"), 1000);
    WriteColor(Color("0.png"), 1, 2, 3);
    WriteDepth(Depth("1.png"), 1001, 32, 25);
    WriteDepth(Depth("2.png"), 1002);
    WriteColor(Color("2.png"), 1, 2, 3, 65, 48);
    WriteDepth(Depth("3.png"), 1003);
    WriteColor(Color("3.png"), 1, 2, 3);
    ::testing::internal::CaptureStderr();
    const std::unique_ptr<CFrameSource> source = Open();
    ASSERT_NE(source, nullptr) << m_error;
    EXPECT_EQ(Values(source.get()), (std::vector<uint16_t>{1000, 1003}));
    const std::string messages = ::testing::internal::GetCapturedStderr();
    EXPECT_THAT(messages, HasSubstr("depth/1.png"));
    EXPECT_THAT(messages, HasSubstr("color/2.png"));
}

TEST_F(RecordingTest, GreyAndTransparentColorImagesAreShown) {
    WriteDepth(Depth("0.png"), 1000);
    WriteDepth(Depth("1.png"), 1000);
    WritePng(Color("0.png"), PNG_FORMAT_GRAY, 2, 1, std::vector<uint8_t>{10, 240}.data());
    WritePng(Color("1.png"), PNG_FORMAT_RGBA, 2, 1,
             std::vector<uint8_t>{10, 20, 30, 128, 40, 50, 60, 0}.data());
    const std::unique_ptr<CFrameSource> source = Open();
    ASSERT_NE(source, nullptr) << m_error;
    ASSERT_TRUE(source->Render(0, true, false, &m_images));
    EXPECT_EQ(m_images.m_color, (std::vector<uint8_t>{10, 240, 10, 240, 10, 240}));
    ASSERT_TRUE(source->Render(1, true, false, &m_images));
    EXPECT_EQ(m_images.m_color, (std::vector<uint8_t>{10, 40, 20, 50, 30, 60}));
}

TEST_F(RecordingTest, DamagedFramesFailAloneAndSayWhy) {
    WriteDepth(Depth("0.png"), 1000, 320, 240);
    WriteColor(Color("0.png"), 1, 2, 3, 320, 240);
    WriteDepth(Depth("1.png"), 1001, 320, 240);
    WriteDepth(Depth("2.png"), 1002, 320, 240);
    fs::resize_file(Depth("1.png"), fs::file_size(Depth("1.png")) - 40);
    fs::resize_file(Color("0.png"), fs::file_size(Color("0.png")) - 40);
    const std::unique_ptr<CFrameSource> source = Open();
    ASSERT_NE(source, nullptr) << m_error;
    ::testing::internal::CaptureStderr();
    EXPECT_TRUE(source->Render(0, true, true, &m_images));
    EXPECT_EQ(m_images.m_colorWidth, 0U);
    EXPECT_FALSE(source->Render(1, true, true, &m_images));
    EXPECT_FALSE(source->HasEnded(1));
    EXPECT_TRUE(source->Render(2, true, true, &m_images));
    EXPECT_FALSE(source->HasEnded(2));
    const std::string messages = ::testing::internal::GetCapturedStderr();
    EXPECT_THAT(messages, HasSubstr("color/0.png"));
    EXPECT_THAT(messages, HasSubstr("depth/1.png"));
}

TEST_F(RecordingTest, WhatCannotBePlayedIsRefusedWithAReason) {
    struct Case {
        std::function<void()> m_spoil;
        const char* m_reason;
    };
    const uint8_t grey[4] = {1, 2, 3, 4};
    const Case cases[] = {
        {[&] { fs::remove(m_folder / "calibration.xml"); }, "calibration.xml: no such file"},
        {[&] { WriteText(m_folder / "calibration.xml", ""); }, "calibration.xml: empty"},
        {[&] { WriteText(m_folder / "calibration.xml", std::string((1 << 20) + 1, 'x')); },
         "larger than 1 MiB"},
        {[&] { fs::remove_all(m_folder / "depth"); }, "depth: no numbered PNG files"},
        {[&] { WritePng(Depth("0.png"), PNG_FORMAT_GRAY, 2, 2, grey); },
         "none of the files is a usable depth image"},
        {[&] { WriteText(Depth("0.png"), "not a PNG file at all"); }, "none of the files"},
        {[&] { fs::resize_file(Depth("0.png"), 60); }, "none of the files"},
        {[&] { fs::remove(Depth("0.png")), mkfifo(Depth("0.png").c_str(), 0600); }, "none of the files"}};
    for (const Case& c : cases) {
        TearDown();
        SetUp();
        WriteDepth(Depth("0.png"), 1000);
        ASSERT_NE(Open(), nullptr) << m_error;
        c.m_spoil();
        EXPECT_EQ(Open(), nullptr) << c.m_reason;
        EXPECT_THAT(m_error, HasSubstr(c.m_reason));
    }
}

TEST_F(RecordingTest, AnImageOfManyMegapixelsIsNotEvenAllocated) {
    WriteDepth(Depth("0.png"), 0);
    std::fstream file(Depth("0.png"), std::ios::binary | std::ios::in | std::ios::out);
    std::array<char, 33> head{}; // signature, then the header chunk with its checksum
    file.read(head.data(), head.size());
    head[16 + 2] = 0x40; // width and height, big-endian: 16384 x 8192 and a little
    head[20 + 2] = 0x20;
    const uLong sum = crc32(0, reinterpret_cast<const Bytef*>(&head[12]), 17);
    for (size_t i = 0; i < 4; ++i) {
        head[29 + i] = static_cast<char>(sum >> (24 - 8 * i));
    }
    file.seekp(0);
    file.write(head.data(), head.size());
    file.close();
    PngSize size;
    std::vector<uint16_t> samples;
    EXPECT_FALSE(ReadDepthPng(Depth("0.png"), &size, &samples, &m_error));
    EXPECT_THAT(m_error, HasSubstr("64 megapixels"));
    EXPECT_EQ(samples.capacity(), 0U);
}

// A frame as another reader of the same file sees it.
template <class Sample>
std::vector<Sample> ReadDirectly(const fs::path& path, uint32_t format) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0) << image.message;
    image.format = format;
    std::vector<Sample> pixels(PNG_IMAGE_SIZE(image) / sizeof(Sample));
    EXPECT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0) << image.message;
    return pixels;
}

TEST(RealRecording, IsDeliveredAsItLiesInTheFiles) {
    for (const char* name : {"office", "desk"}) {
        const fs::path folder = fs::path(OX3D_DATA_DIR) / name;
        FrameSourceConfig config;
        config.m_isRecording = true;
        config.m_folder = folder.string();
        std::string error;
        const std::unique_ptr<CFrameSource> source = CreateFrameSource(config, &error);
        ASSERT_NE(source, nullptr) << error;
        EXPECT_EQ(source->DepthWidth(), 640U);
        EXPECT_EQ(source->ColorHeight(), 480U);
        EXPECT_THAT(source->CalibrationXml(), HasSubstr("Left_correct_2_RGB"));
        FrameImages images;
        ASSERT_TRUE(source->Render(1, true, false, &images));
        EXPECT_EQ(images.m_depth,
                  ReadDirectly<uint16_t>(folder / "depth" / "000001.png", PNG_FORMAT_LINEAR_Y));
        const auto color = ReadDirectly<uint8_t>(folder / "color" / "000001.png", PNG_FORMAT_RGB);
        const size_t plane = images.m_color.size() / 3;
        size_t wrong = 0;
        for (size_t i = 0; i < color.size(); ++i) {
            wrong += images.m_color[i % 3 * plane + i / 3] != color[i] ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0U) << name;
    }
}

} // namespace
} // namespace ox3d
