// A recording as a source of frames: order and end, bad frames, grey views, memory.
#include "virtual-camera/frames/RecordingSource.h"
#include "recording/Recorder.h"
#include "recording/RecordingWriter.h"
#include "tests/support/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ox3d {
namespace {

class RecordingSource : public ::testing::Test {
protected:
    // Three frames of 1000, 1001 and 1002 mm, the middle one with color.
    void SetUp() override {
        CRecordingWriter writer(m_folder.Path());
        ASSERT_TRUE(writer.Begin(&m_error)) << m_error;
        test::WriteFile(writer.CalibrationFile(), "<SensorCali/>\n");
        std::vector<uint8_t> color;
        for (uint32_t i = 0; i < 64 * 48; ++i) {
            color.insert(color.end(), {200, 100, 50});
        }
        for (uint16_t i = 0; i < 3; ++i) {
            const std::vector<uint16_t> depth(size_t{32} * 24, static_cast<uint16_t>(1000 + i));
            const uint8_t* rgb = i == 1 ? color.data() : nullptr;
            ASSERT_TRUE(writer.Add(i, {32, 24}, depth.data(), {64, 48}, rgb, &m_error));
        }
    }
    std::unique_ptr<CFrameSource> Open(bool loop, uint64_t maxCacheBytes = CRecordingSource::kMaxCacheBytes) {
        std::unique_ptr<CFrameSource> source =
            CRecordingSource::Create({true, m_folder.Path().string(), loop}, &m_error, maxCacheBytes);
        EXPECT_NE(source, nullptr) << m_error;
        return source;
    }
    // The depth of a frame, 0 when it cannot be had.
    uint16_t DepthOf(CFrameSource& source, uint64_t index) {
        return source.Render(index, true, true, &m_images) ? m_images.m_depth.at(0) : uint16_t{0};
    }

    test::CTempFolder m_folder;
    std::string m_error;
    FrameImages m_images;
};

// The library would refuse the camera with nothing but "no data".
TEST_F(RecordingSource, SaysThatACalibrationIsMissing) {
    const std::string path = m_folder.Path() / "bare.mcap";
    const std::unique_ptr<CRecorder> recorder = CRecorder::Open(path, {}, {}, &m_error);
    ASSERT_NE(recorder, nullptr) << m_error;
    const std::vector<uint16_t> depth(size_t{32} * 24, uint16_t{1000});
    FrameView frame;
    frame.m_depth = {depth.data(), 32, 24, 32};
    ASSERT_TRUE(recorder->Add(frame));
    ASSERT_EQ(recorder->Finish().m_written, 1u);
    EXPECT_EQ(CRecordingSource::Create({true, path, true}, &m_error), nullptr);
    EXPECT_THAT(m_error, ::testing::HasSubstr("no calibration"));
}

TEST_F(RecordingSource, PlaysToTheEndOrStartsAgainWhetherFramesStayInMemoryOrNot) {
    for (const uint64_t maxCacheBytes : {CRecordingSource::kMaxCacheBytes, uint64_t{0}}) {
        const std::unique_ptr<CFrameSource> once = Open(false, maxCacheBytes);
        for (const uint16_t i : {0, 1, 2, 1, 1, 0}) {
            EXPECT_EQ(DepthOf(*once, i), 1000 + i);
            EXPECT_EQ(m_images.m_colorWidth, i == 1 ? 64U : 0U);
            EXPECT_FALSE(once->HasEnded(i));
        }
        EXPECT_EQ(DepthOf(*once, 3), 0);
        EXPECT_TRUE(once->HasEnded(3));
        const std::unique_ptr<CFrameSource> again = Open(true, maxCacheBytes);
        EXPECT_EQ(DepthOf(*again, 3 * 1000000007ULL + 1), 1001);
        EXPECT_FALSE(again->HasEnded(3 * 1000000007ULL));
    }
}

TEST_F(RecordingSource, HasTheLumaOfColorAsItsLeftViewAtTheDepthsSizeAndNoRightOne) {
    const std::unique_ptr<CFrameSource> source = Open(false);
    EXPECT_FALSE(source->HasRightView());
    DepthOf(*source, 0);
    EXPECT_EQ(m_images.m_greyPair, std::vector<uint8_t>(size_t{32} * 24, 0));
    DepthOf(*source, 1);
    EXPECT_EQ(m_images.m_greyPair, std::vector<uint8_t>(size_t{32} * 24, 124));
    EXPECT_EQ(m_images.m_color.at(size_t{64} * 48), 100) << "planes";
}

// Frame 0 has both views, 1 the left one alone, 2 a right one of another size.
TEST_F(RecordingSource, HasThePairThatWasRecordedWhereItIsWhole) {
    const auto write = [this](const std::string& name, uint32_t width, uint8_t grey) {
        std::filesystem::create_directories(m_folder.File(name).substr(0, m_folder.File(name).rfind('/')));
        const std::vector<uint8_t> rgb(size_t{width} * 24 * 3, grey);
        ASSERT_TRUE(WriteColorPng(m_folder.File(name), {width, 24}, rgb.data(), &m_error)) << m_error;
    };
    write("left/000000.png", 32, 10);
    write("right/0.png", 32, 20);
    write("left/000001.png", 32, 30);
    write("left/000002.png", 32, 50);
    write("right/000002.png", 31, 60);
    std::vector<uint8_t> pair(size_t{2} * 32 * 24, 10);
    std::fill(pair.begin() + 32 * 24, pair.end(), uint8_t{20});
    for (const uint64_t maxCacheBytes : {CRecordingSource::kMaxCacheBytes, uint64_t{0}}) {
        const std::unique_ptr<CFrameSource> source = Open(true, maxCacheBytes);
        EXPECT_TRUE(source->HasRightView());
        for (int round = 0; round < 2; ++round) {
            DepthOf(*source, 0);
            EXPECT_EQ(m_images.m_greyPair, pair);
            DepthOf(*source, 1);
            EXPECT_EQ(m_images.m_greyPair, std::vector<uint8_t>(size_t{32} * 24, 124));
            DepthOf(*source, 2);
            EXPECT_EQ(m_images.m_greyPair, std::vector<uint8_t>(size_t{32} * 24, 0));
        }
    }
}

TEST_F(RecordingSource, ForgetsADamagedFrameForGoodAndEndsWhenAllAreDamaged) {
    const std::unique_ptr<CFrameSource> source = Open(true, 0);
    test::WriteFile(m_folder.File("depth/000001.png"), "no PNG any more");
    EXPECT_EQ(DepthOf(*source, 1), 0);
    EXPECT_EQ(DepthOf(*source, 2), 1002);
    EXPECT_EQ(DepthOf(*source, 1), 0);
    EXPECT_FALSE(source->HasEnded(1));
    std::filesystem::remove_all(m_folder.File("depth"));
    EXPECT_EQ(DepthOf(*source, 0) + DepthOf(*source, 2), 0);
    EXPECT_TRUE(source->HasEnded(4));
}

} // namespace
} // namespace ox3d
