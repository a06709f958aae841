// What the writer writes the reader reads, and what is damaged or hostile costs no more than its frame.
#include "base/LocalFile.h"
#include "recording/CalibrationReader.h"
#include "recording/CalibrationText.h"
#include "recording/RecordingReader.h"
#include "recording/RecordingWriter.h"
#include "tests/support/Files.h"
#include "tests/support/OpenThings.h"

#include <algorithm>
#include <csignal>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace ox3d {
namespace {

namespace fs = std::filesystem;
using test::WriteFile;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Recording : public ::testing::Test {
protected:
    void SetUp() override {
        m_writer = CRecordingWriter(m_folder.Path());
        ASSERT_TRUE(m_writer.Begin(&m_error)) << m_error;
        WriteFile(m_writer.CalibrationFile(), "<SensorCali/>\n");
    }
    // A depth image of one value, and a color image of pixels 1, 2, 3 where it has a size.
    void Add(uint32_t number, uint16_t depth, PngSize size = {320, 240}, PngSize colorSize = {}) {
        const std::vector<uint16_t> samples(size_t{size.m_width} * size.m_height, depth);
        std::vector<uint8_t> pixels(size_t{colorSize.m_width} * colorSize.m_height * 3);
        std::generate(pixels.begin(), pixels.end(),
                      [next = 0]() mutable { return static_cast<uint8_t>(next++ % 3 + 1); });
        const uint8_t* const color = pixels.empty() ? nullptr : pixels.data();
        ASSERT_TRUE(m_writer.Add(number, size, samples.data(), colorSize, color, &m_error)) << m_error;
    }
    // By another writer than the project's own, which adds gamma information that must change nothing.
    void AddForeign(const char* name, uint32_t format, const void* pixels) {
        png_image image = {};
        image.version = PNG_IMAGE_VERSION;
        image.width = 2;
        image.height = 1;
        image.format = format;
        ASSERT_NE(png_image_write_to_file(&image, m_folder.File(name).c_str(), 0, pixels, 0, nullptr), 0);
    }
    // The first sample of each frame that can be read.
    std::vector<uint16_t> Read() {
        ::testing::internal::CaptureStderr();
        m_reader = CRecordingReader::Open(m_folder.Path().string(), &m_error);
        std::vector<uint16_t> values;
        std::vector<uint16_t> samples;
        for (size_t i = 0; m_reader != nullptr && i < m_reader->FrameCount(); ++i) {
            if (m_reader->ReadDepth(i, &samples)) {
                EXPECT_THAT(samples, Each(samples.at(0)));
                values.push_back(samples[0]);
            }
        }
        m_messages = ::testing::internal::GetCapturedStderr();
        return values;
    }
    std::vector<uint8_t> ColorOf(size_t frame) {
        std::vector<uint8_t> planes;
        return m_reader->ReadColor(frame, &planes) ? planes : std::vector<uint8_t>();
    }
    void Cut(const char* name) const {
        fs::resize_file(m_folder.File(name), fs::file_size(m_folder.File(name)) - 40);
    }

    test::CTempFolder m_folder;
    CRecordingWriter m_writer{m_folder.Path()};
    std::unique_ptr<CRecordingReader> m_reader;
    std::string m_error;
    std::string m_messages;
};

TEST_F(Recording, IsReadAsItWasWrittenUnderTheCamerasFrameNumbers) {
    Add(7, 0x1234, {32, 24}, {4, 2});
    Add(9, 65535, {32, 24});
    Add(9, 1, {32, 24}); // a camera that does not count
    Add(2, 2, {32, 24}); // or begins again
    EXPECT_THAT(Read(), ElementsAre(0x1234, 65535, 1, 2));
    EXPECT_THAT(ColorOf(0),
                ElementsAre(1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3));
    EXPECT_TRUE(ColorOf(1).empty());
    EXPECT_EQ(m_reader->DepthSize().m_width, 32U);
    EXPECT_EQ(m_reader->ColorSize().m_height, 2U);
    EXPECT_EQ(m_reader->CalibrationXml(), "<SensorCali/>\n");
    EXPECT_TRUE(fs::exists(m_folder.File("depth/000007.png")) &&
                fs::exists(m_folder.File("depth/000011.png")));
}

TEST_F(Recording, IsNotWrittenOverAnotherOneNorWhereThereIsNoRoom) {
    Add(1, 1000);
    EXPECT_FALSE(m_writer.Begin(&m_error));
    EXPECT_THAT(m_error, HasSubstr("holds a recording already"));
    const uint8_t view[1] = {7};
    ASSERT_TRUE(m_writer.WritePair(1, {1, 1}, view, view, &m_error)) << m_error;
    fs::remove_all(m_folder.File("depth"));
    EXPECT_FALSE(CRecordingWriter(m_folder.Path()).Begin(&m_error)) << "a pair is left";
    fs::remove_all(m_folder.File("depth"));
    EXPECT_FALSE(m_writer.Add(2, {1, 1}, std::vector<uint16_t>{1}.data(), {}, nullptr, &m_error));
    EXPECT_FALSE(CRecordingWriter("/proc/none").Begin(&m_error));
}

TEST(RecordedCalibration, IsReadAsItWasWrittenOrNotAtAll) {
    RgbdCalibration wide{640,
                         480,
                         {500, 510, 320, 240},
                         {600, 610, 330, 250},
                         {1, 0, 0, 0, 0.6, -0.8, 0, 0.8, 0.6},
                         {21, 1, -3},
                         {0.1, 0.2, 0.3, 0.4, 0.5}};
    RgbdCalibration other = wide;
    other.m_width = 1280;
    other.m_depth.m_fx = 1000;
    const std::string xml = FormatCalibrationXml(wide, other);
    const std::optional<RecordedCalibration> read = ReadCalibration(xml, 640);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->m_depth.m_fx * 1000 + read->m_color.m_cy, 500250);
    EXPECT_EQ(read->m_depth.m_width, 640U);
    EXPECT_THAT(read->m_color.m_distortion,
                ::testing::Pointwise(::testing::DoubleNear(1e-7), wide.m_distortion));
    EXPECT_THAT(read->m_depth.m_distortion, Each(0));
    EXPECT_THAT(read->m_depthToColor.m_rotation,
                ::testing::Pointwise(::testing::DoubleNear(1e-7), wide.m_rotation));
    EXPECT_THAT(read->m_depthToColor.m_translationMm, ElementsAre(21, 1, -3));
    EXPECT_EQ(ReadCalibration(xml, 1280)->m_depth.m_fx, 1000);
    for (const char* const part :
         {"RGBD_1>", "Camera ", "Left_correct>", "RotMat", "TVec", "Intrins", "Distort"}) {
        std::string broken = xml;
        for (size_t at = 0; (at = broken.find(part, at)) != std::string::npos; ++at) {
            broken[at] = 'X';
        }
        EXPECT_FALSE(ReadCalibration(broken, 640)) << part;
    }
    wide.m_color.m_fx = 0;
    EXPECT_FALSE(ReadCalibration(FormatCalibrationXml(wide, other), 640));
    EXPECT_FALSE(ReadCalibration("", 640));
}

TEST_F(Recording, FilesAreWrittenWholeOrLeftAsTheyWere) {
    const std::string bytes(100000, 'x');
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit few{1000, before.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &few);
    EXPECT_FALSE(WriteLocalFile(m_writer.CalibrationFile(), bytes.data(), bytes.size()));
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(test::ReadFile(m_writer.CalibrationFile()), "<SensorCali/>\n");
    const fs::directory_iterator files(m_folder.Path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 3) << "the calibration and two folders";
}

TEST_F(Recording, OfOtherWritersIsReadInTheOrderOfItsNumbers) {
    const uint16_t depth[][2] = {{65000, 65000}, {1010, 1010}, {1100, 1100}, {1, 1}};
    AddForeign("depth/9.png", PNG_FORMAT_LINEAR_Y, depth[0]);
    AddForeign("depth/000010.png", PNG_FORMAT_LINEAR_Y, depth[1]);
    AddForeign("depth/10.png", PNG_FORMAT_LINEAR_Y, depth[1]); // of two with one number either will do
    AddForeign("depth/000100.png", PNG_FORMAT_LINEAR_Y, depth[2]);
    AddForeign("depth/5notes.png", PNG_FORMAT_LINEAR_Y, depth[3]);
    const uint8_t grey[] = {10, 240};
    const uint8_t transparent[] = {10, 20, 30, 128, 40, 50, 60, 0};
    AddForeign("color/000009.png", PNG_FORMAT_GRAY, grey);
    AddForeign("color/100.png", PNG_FORMAT_RGBA, transparent);
    AddForeign("color/7.png", PNG_FORMAT_GRAY, grey); // belongs to no depth image
    EXPECT_THAT(Read(), ElementsAre(65000, 1010, 1100));
    EXPECT_THAT(m_messages, HasSubstr("10.png: left out"));
    EXPECT_THAT(ColorOf(0), ElementsAre(10, 240, 10, 240, 10, 240));
    EXPECT_TRUE(ColorOf(1).empty());
    EXPECT_THAT(ColorOf(2), ElementsAre(10, 40, 20, 50, 30, 60));
}

TEST_F(Recording, LosesNoMoreThanItsBadFramesAndSaysWhich) {
    Add(0, 1000, {320, 240}, {320, 240});
    Add(1, 1001);
    Add(2, 1002);
    Add(3, 1003, {320, 241});
    Add(4, 1004, {320, 240}, {321, 240});
    WriteFile(m_folder.File("depth/000005.png"), "no PNG");
    Add(6, 1006, {320, 240}, {320, 240});
    WriteFile(m_folder.File("color/000006.png"), "no PNG");
    Cut("color/000000.png");
    Cut("depth/000001.png");
    EXPECT_THAT(Read(), ElementsAre(1000, 1002, 1006));
    test::ExpectRoundsLeaveNothing(1, 3, 1 << 20, [&] { Read(); });
    for (const char* const name :
         {"depth/000001", "depth/000003", "color/000004", "depth/000005", "color/000006"}) {
        EXPECT_THAT(m_messages, HasSubstr(name));
    }
    ::testing::internal::CaptureStderr();
    EXPECT_TRUE(ColorOf(0).empty());
    EXPECT_TRUE(ColorOf(0).empty());
    const std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.find("color/000000"), said.rfind("color/000000")) << "said once: " << said;
}

TEST_F(Recording, ThatCannotBePlayedIsRefusedWithAReason) {
    const std::string calibration = m_writer.CalibrationFile();
    const std::string depth = m_folder.File("depth/000001.png");
    const std::pair<std::function<void()>, const char*> rows[] = {
        {[&] { fs::remove(calibration); }, "calibration.xml: no such file"},
        {[&] { fs::remove(calibration), mkfifo(calibration.c_str(), 0600); },
         "calibration.xml: no such file"},
        {[&] { WriteFile(calibration, ""); }, "calibration.xml: empty"},
        {[&] { WriteFile(calibration, std::string((1 << 20) + 1, 'x')); }, "larger than 1 MiB"},
        {[&] { fs::remove_all(m_folder.File("depth")); }, "depth: no numbered PNG files"},
        {[&] { fs::resize_file(depth, 60); }, "none of the files is a usable depth image"},
        {[&] { fs::remove(depth), mkfifo(depth.c_str(), 0600); }, "none of the files"},
        {[&] { fs::rename(m_folder.File("color/000001.png"), depth); }, "none of the files"},
        {[&] { AddForeign("depth/000001.png", PNG_FORMAT_GRAY, "\x01\x02"); }, "none of the files"},
    };
    for (const auto& [spoil, reason] : rows) {
        for (const auto& part : fs::directory_iterator(m_folder.Path())) {
            fs::remove_all(part);
        }
        SetUp();
        Add(1, 1000, {320, 240}, {4, 2});
        ASSERT_THAT(Read(), ElementsAre(1000)) << m_error;
        spoil();
        Read();
        EXPECT_EQ(m_reader, nullptr) << reason;
        EXPECT_THAT(m_error, HasSubstr(reason));
    }
}

TEST_F(Recording, WithAnImageOfMoreThan64MegapixelsIsRefusedBeforeAnythingIsAllocated) {
    using std::string_literals::operator""s;
    const std::string file = m_folder.File("large.png");
    PngSize size;
    std::vector<uint16_t> samples;
    WriteFile(file,
              "\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\x20\0\0\0\x20\0\x10\0\0\0\0\x07\x51\x49\xc6\0\0\0\1IDAT"s);
    EXPECT_TRUE(ReadPngSize(file, true, &size, &m_error)) << m_error;
    WriteFile(file,
              "\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\x20\1\0\0\x20\0\x10\0\0\0\0\xe8\x93\x22\xf8\0\0\0\1IDAT"s);
    EXPECT_FALSE(ReadDepthPng(file, &size, &samples, &m_error));
    EXPECT_THAT(m_error, HasSubstr("64 megapixels"));
    EXPECT_EQ(samples.capacity(), 0U);
}

} // namespace
} // namespace ox3d
