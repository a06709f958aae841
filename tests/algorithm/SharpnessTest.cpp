// Process type 11 as applications call it: on boards whose blur is known, on a picture of a scene that is blurred step by
// step, and where there is nothing to measure.
#include "base/PngFile.h"
#include "tests/algorithm/BoardPicture.h"

using namespace ox3d::test;

namespace {

using Output = OXB3D_BINOSTEREO_SHARPNESS_SCORE_OUTPUT;

constexpr double kWidthOfSigma = 2.563; // from 10 to 90 percent of a Gaussian step

// In memory that ends with the last pixel, with padded rows.
Output ScoreOf(const std::vector<uint8_t>& pixels, int32_t width, int32_t height,
               const OXB3D_BINOSTEREO_REGION& region, int32_t mark = 80) {
    constexpr int32_t kPadding = 7;
    const int32_t step = width + kPadding;
    const CPlane<uint8_t> plane(At(0, height, step) - kPadding);
    for (int32_t y = 0; y < height; ++y) {
        std::copy_n(pixels.data() + At(0, y, width), width, plane.Data() + At(0, y, step));
    }
    CTestObject object(2, std::max(width, 640), std::max(height, 480));
    EXPECT_EQ(object.SetParam(515, mark), 0);
    Output out{};
    const OXB3D_BINOSTEREO_SHARPNESS_SCORE_INPUT in = {{1, width, height, {step}, {plane.Data()}}, region};
    EXPECT_EQ(object.Process(11, in, out), 0);
    return out;
}

Output ScoreOf(const BoardPicture& board, int32_t mark = 80) {
    return ScoreOf(Drawn(board), 640, 480, {0, 0, 640, 480}, mark);
}

TEST(Sharpness, IsTheWidthOfTheBlurWhateverTheDirectionContrastAndNoise) {
    const struct {
        double m_degrees, m_contrast, m_noise, m_tolerance;
    } views[] = {{0, 140, 0, 0.02}, {3, 140, 0, 0.02},  {20, 140, 0, 0.01}, {45, 140, 0, 0.01},
                 {20, 70, 0, 0.02}, {20, 140, 3, 0.05}, {20, 70, 3, 0.10}};
    for (const double sigma : {0.5, 0.7, 1.0, 1.5, 2.0, 3.0, 4.0}) {
        for (const auto& [degrees, contrast, noise, tolerance] : views) {
            const Output out = ScoreOf({sigma, degrees, contrast, noise});
            const double truth = kWidthOfSigma * sigma;
            EXPECT_NEAR(out.edgeWidth, truth, tolerance * truth)
                << degrees << ' ' << contrast << ' ' << noise;
            EXPECT_GT(out.edges, 100);
        }
    }
}

TEST(Sharpness, ScoresWidthsAndPassesAtItsMark) {
    EXPECT_EQ(ScoreOf({0.4}).score, 100);
    EXPECT_EQ(ScoreOf({4}).score, 0);
    const Output out = ScoreOf({0.9});
    EXPECT_EQ(out.score, static_cast<int32_t>(100 - 20 * (out.edgeWidth - 1.2F)));
    EXPECT_GT(out.score, 70);
    EXPECT_LT(out.score, 80);
    EXPECT_EQ(out.passed, 0U);
    EXPECT_EQ(ScoreOf({0.9}, out.score).passed, 1U);
    EXPECT_EQ(ScoreOf({0.9}, out.score + 1).passed, 0U);
}

// Each blur comes on top of the one before and of the picture's own.
TEST(Sharpness, OfASceneFallsStrictlyWithEveryStepOfBlur) {
    std::vector<uint8_t> pixels;
    ox3d::PngSize size{};
    std::string error;
    ASSERT_TRUE(ox3d::ReadColorPng(OX3D_DATA_DIR "/motorcycle/left.png", &size, &pixels, &error)) << error;
    const auto width = static_cast<int32_t>(size.m_width);
    const auto height = static_cast<int32_t>(size.m_height);
    pixels.resize(At(0, height, width)); // grey: three equal planes
    float before = 0;
    for (int32_t blur = 0; blur <= 16; ++blur) {
        const Output out = ScoreOf(pixels, width, height, {0, 0, width, height});
        EXPECT_GE(out.edges, 16) << blur;
        if (blur == 0 || blur == 2 || blur == 4 || blur == 8 || blur == 16) {
            EXPECT_GT(out.edgeWidth, before * 1.1F) << blur;
            before = out.edgeWidth;
        }
        for (const int32_t pitch : {1, width}) { // 1-2-1 along the rows, then down the columns
            const std::vector<uint8_t> from = pixels;
            for (size_t i = static_cast<size_t>(width); i + static_cast<size_t>(width) < from.size(); ++i) {
                const auto step = static_cast<size_t>(pitch);
                pixels[i] = static_cast<uint8_t>((from[i - step] + 2 * from[i] + from[i + step] + 2) >> 2);
            }
        }
    }
}

TEST(Sharpness, LooksAtItsRegionAlone) {
    const std::vector<uint8_t> sharp = Drawn({0.6});
    std::vector<uint8_t> pixels = Drawn({2});
    for (int32_t y = 100; y < 300; ++y) {
        std::copy_n(sharp.data() + At(200, y, 640), 250, pixels.data() + At(200, y, 640));
    }
    EXPECT_NEAR(ScoreOf(pixels, 640, 480, {200, 100, 250, 200}).edgeWidth, kWidthOfSigma * 0.6, 0.05);
    EXPECT_NEAR(ScoreOf(pixels, 640, 480, {0, 310, 640, 170}).edgeWidth, kWidthOfSigma * 2, 0.1);
    EXPECT_EQ(ScoreOf(pixels, 640, 480, {637, 477, 3, 3}).edges, 0);
}

TEST(Sharpness, IsNoneWhereNothingIsToBeSeen) {
    std::mt19937 random(3);
    std::vector<uint8_t> noise(size_t{640} * 480);
    std::generate(noise.begin(), noise.end(), [&random] { return static_cast<uint8_t>(random()); });
    const std::vector<uint8_t> flat(noise.size(), 255);
    for (const auto& pixels : {noise, flat}) {
        const Output out = ScoreOf(pixels, 640, 480, {0, 0, 640, 480});
        EXPECT_LT(out.edges, 16);
        EXPECT_EQ(out.score, 0);
        EXPECT_EQ(out.passed, 0U);
    }
}

} // namespace
