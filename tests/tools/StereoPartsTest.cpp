// The parts of stereo depth in the tool: formats of its files, what disparities are held against, and its options.
#include "tests/support/Files.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/stereo/Netpbm.h"
#include "tools/ox3d/stereo/StereoCalibration.h"
#include "tools/ox3d/stereo/StereoParameters.h"
#include "tools/ox3d/stereo/StereoTruth.h"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ox3d::tool {
namespace {

using namespace ::testing;
using namespace std::string_literals;

TEST(Netpbm, ReadsWhatItSaysAndNothingThatIsCutShortOrTooLarge) {
    GreyImage grey;
    ASSERT_TRUE(ReadPgm("P5 # of a camera\n2 # and more\n 2\n255\nabcd", &grey));
    EXPECT_EQ(std::string(grey.m_samples.begin(), grey.m_samples.end()), "abcd");
    EXPECT_EQ(grey.m_width, 2U);
    for (const char* const wrong :
         {"", "P5", "P5\n2 2\n255\nabc", "P5\n2 2\n65535\nabcdabcd", "P5\n-2 2\n255\nabcd", "P5\n0 2\n255\n",
          "P5\n65536 65536\n255\nabcd", "P5\n99999999999 2\n255\nabcd", "P5\n2x 2\n255\nabcd",
          "P2\n2 2\n255\nabcd", "P5\n2 2\n255#\nabcd"}) {
        EXPECT_FALSE(ReadPgm(wrong, &grey)) << wrong;
    }
    FloatImage image;
    ASSERT_TRUE(ReadPfm("Pf\n1 2\n-1.0\n\0\0\200\077\0\0\0\100"s, &image));
    EXPECT_THAT(image.m_samples, ElementsAre(2.0F, 1.0F)) << "the lowest row comes first";
    ASSERT_TRUE(ReadPfm("Pf 1 1 1 \077\200\0\0"s, &image));
    EXPECT_EQ(image.m_samples.at(0), 1.0F);
    for (const std::string& wrong :
         {"Pf\n1 2\n-1\n\0\0\0\0"s, "Pf\n1 1\n0\n\0\0\0\0"s, "PF\n1 1\n-1\n\0\0\0\0"s,
          "Pf\n1 1\nnan\n\0\0\0\0"s, "Pf\n32768 32768\n-1\n\0\0\0\0"s}) {
        EXPECT_FALSE(ReadPfm(wrong, &image)) << wrong;
    }
    const test::CTempFolder folder;
    const FloatImage written = [] {
        FloatImage pixels(3, 2);
        pixels.m_samples = {0.5F, -1, 7, INFINITY, 3, 4};
        return pixels;
    }();
    WritePfm(folder.File("a.pfm"), written);
    ASSERT_TRUE(ReadPfm(test::ReadFile(folder.File("a.pfm")), &image));
    EXPECT_EQ(image.m_samples, written.m_samples);
    EXPECT_THAT(ReadTruth(folder.File("a.pfm")).m_samples, ElementsAre(0.5F, 0, 7, 0, 3, 4));
}

TEST(StereoTruth, CountsWhatBothViewsSeeAndTakesWhatIsMissingForWrong) {
    FloatImage truth(8, 1);
    // 1 looks past the edge; 3, 5 and 6 look at one place, 5 and 6 are one surface before 3; so is 7 before 4.
    truth.m_samples = {0, 2, 1, 1, 1, 3, 4, 4};
    DropHidden(&truth);
    EXPECT_THAT(truth.m_samples, ElementsAre(0, 0, 1, 0, 0, 3, 4, 4));
    DisparityImage found(8, 1);
    found.m_samples = {400, 400, 32, 400, 400, 65, 97, 0}; // off by 16, 17 and 33 sixteenths, and missing
    const StereoQuality quality = QualityOf(truth, found);
    EXPECT_EQ(quality.m_known, 4U);
    EXPECT_DOUBLE_EQ(quality.m_bad1, 75);
    EXPECT_DOUBLE_EQ(quality.m_bad2, 50);
    EXPECT_DOUBLE_EQ(quality.m_complete, 75);
    EXPECT_DOUBLE_EQ(quality.m_mean, (16 + 17 + 33) / 16.0 / 3);
    EXPECT_EQ(QualityOf(FloatImage(8, 1), found).m_known, 0U);
}

TEST(StereoParameters, HaveTheDefaultsAndRangesOfTheLibrary) {
    alignas(128) static uint8_t memory[1U << 22U];
    OXB3D_BINOSTEREO_ABILITY ability{640, 480, OXB3D_BINOSTEREO_ABILITY_SCORE, 1, 0, 0, 0, 0};
    OXB3D_BINOSTEREO_MEM_TAB table[OXB3D_BINOSTEREO_MEM_TAB_COUNT]{};
    ASSERT_EQ(OXB3D_BINOSTEREO_GetMemSize(&ability, table), 0);
    ASSERT_LE(table[0].size + table[1].size, sizeof(memory));
    table[0].base = memory;
    table[1].base = memory + table[0].size;
    void* object = nullptr;
    ASSERT_EQ(OXB3D_BINOSTEREO_Create(&ability, table, &object), 0);
    const auto isTaken = [&](const StereoParameter& parameter, int32_t value) {
        const OXB3D_BINOSTEREO_PARAM record{parameter.m_id, value};
        return OXB3D_BINOSTEREO_SetSingleParam(object, &record) == OXB3D_BINOSTEREO_OK;
    };
    for (const StereoParameter& parameter : StereoParameters()) {
        OXB3D_BINOSTEREO_PARAM record{parameter.m_id, 0};
        ASSERT_EQ(OXB3D_BINOSTEREO_GetSingleParam(object, &record), 0) << parameter.m_name;
        EXPECT_EQ(record.value, parameter.m_default) << parameter.m_name;
        EXPECT_TRUE(isTaken(parameter, parameter.m_first) && isTaken(parameter, parameter.m_last))
            << parameter.m_name;
        EXPECT_FALSE(isTaken(parameter, parameter.m_first - 1) || isTaken(parameter, parameter.m_last + 1))
            << parameter.m_name;
    }
}

TEST(StereoCalibration, IsReadWholeOrRefusedInWords) {
    const test::CTempFolder folder;
    const std::string file = folder.File("stereo.json");
    const std::string camera =
        R"({"fx": 700, "fy": 701, "cx": 320.5, "cy": 240, "distortion": [0.1, 0, 0, 0, 0]})";
    const std::string ends = R"("rotation": [1, 0, 0, 0, 1, 0, 0, 0, 1], "translation": [-60, 0.5, 0]})";
    const std::string whole =
        R"({"width": 640, "height": 480, "left": )" + camera + R"(, "right": )" + camera + ", " + ends;
    test::WriteFile(file, whole);
    const OXB3D_BINOSTEREO_INIT_INPUT read = ReadStereoCalibration(file);
    EXPECT_EQ(read.width, 640);
    EXPECT_THAT(read.right.matrix, ElementsAre(700, 0, 320.5F, 0, 701, 240, 0, 0, 1));
    EXPECT_EQ(read.left.distortion[0], 0.1F);
    EXPECT_THAT(read.translation, ElementsAre(-60, 0.5F, 0));
    const auto changed = [&](const std::string& from, const std::string& to) {
        return std::string(whole).replace(whole.find(from), from.size(), to);
    };
    const std::pair<std::string, const char*> rows[] = {
        {whole.substr(0, 100), "it is no JSON"},
        {"[]", "there is no \"width\""},
        {changed("\"right\"", "\"other\""), "there is no \"right\""},
        {changed("640", "0"), "\"width\" is no size"},
        {changed("640", "1e9"), "\"width\" is no size"},
        {changed("640", "\"640\""), "\"width\" is no size"},
        {changed("[-60, 0.5, 0]", "[-60, 0.5]"), "\"translation\" has to be a list of 3 numbers"},
        {changed("700", "1e300"), "\"fx\" is no number"},
        {changed("[0.1, ", "[null, "), "\"distortion\" is no number"},
    };
    for (const auto& [text, says] : rows) {
        test::WriteFile(file, text);
        EXPECT_THAT([&] { ReadStereoCalibration(file); }, ThrowsMessage<CToolError>(HasSubstr(says))) << text;
    }
}

} // namespace
} // namespace ox3d::tool
