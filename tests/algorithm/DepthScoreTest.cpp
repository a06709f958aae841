// Depth fill score: one region and several, against a count pixel by pixel.
// Relies on process types 3 and 13.
#include "tests/algorithm/TestObject.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <random>
#include <vector>

using namespace algorithm_test;

namespace {

using Region = OXB3D_BINOSTEREO_REGION;
using Output = OXB3D_BINOSTEREO_DEPTH_SCORE_OUTPUT;

class DepthScore : public testing::Test {
protected:
    static constexpr int32_t kWidth = 60;
    static constexpr int32_t kHeight = 40;

    int32_t Score(const Region& region) {
        Output out{-77};
        EXPECT_EQ(Status(region, out), 0);
        return out.score;
    }
    int32_t Status(const Region& region, Output& out) {
        return m_Object.Process(3, OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT{m_image, region}, out);
    }

    CTestObject m_Object{2};
    std::vector<int16_t> m_Depth = std::vector<int16_t>(size_t{kWidth} * kHeight, -1);
    ZQA_IMAGE m_image = Image(3, kWidth, kHeight, m_Depth.data());
};

// Every pixel is told its cell; a pixel past the last cell belongs to none.
int32_t Expected(const std::vector<int16_t>& depth, int32_t stride, const Region& r) {
    const int x0 = std::max(r.x, 1);
    const int y0 = std::max(r.y, 1);
    const int nx = r.x + r.width - x0;
    const int ny = r.y + r.height - y0;
    const int cw = nx / 3;
    const int ch = ny / 3;
    int count[9] = {};
    int filled[9] = {};
    for (int y = 0; y < std::min(3 * ch, ny - 1); ++y) {
        for (int x = 0; x < std::min(3 * cw, nx - 1); ++x) {
            const int cell = y / ch * 3 + x / cw;
            ++count[cell];
            filled[cell] += depth[At(x0 + x, y0 + y, stride)] != 0 ? 1 : 0;
        }
    }
    int32_t worst = INT_MAX;
    for (int i = 0; i < 9; ++i) {
        worst = std::min(worst, count[i] == 0 ? INT_MIN : 100 * filled[i] / count[i]);
    }
    return worst;
}

TEST_F(DepthScore, IsTheWorstCellsShareOfSamples) {
    EXPECT_EQ(Score({1, 1, 9, 9}), 100) << "any value but 0 counts";
    m_Depth[8 * kWidth + 8] = 0;
    EXPECT_EQ(Score({1, 1, 9, 9}), 75) << "the third cell of nine columns is two wide";
    EXPECT_EQ(Score({5, 0, 9, 3}), INT_MIN) << "cells without a row";
    m_image.width = 45; // of a step of 60
    std::mt19937 random(11);
    for (int i = 0; i < 300; ++i) {
        for (int16_t& d : m_Depth) {
            d = static_cast<int16_t>(random() % 8 == 0 ? 0 : random() | 1);
        }
        const auto x = static_cast<int32_t>(random() % 15);
        const auto y = static_cast<int32_t>(random() % 20);
        const Region region{x, y, static_cast<int32_t>(3 + random() % 28),
                            static_cast<int32_t>(3 + random() % 18)};
        ASSERT_EQ(Score(region), Expected(m_Depth, kWidth, region)) << x << ' ' << y << ' ' << region.width;
    }
}

TEST_F(DepthScore, RefusesRegionsOutsideTheImageInOrder) {
    constexpr Region kOutside[] = {{-1, 0, 9, 9}, {0, -1, 9, 9},           {52, 0, 9, 9},
                                   {0, 32, 9, 9}, {60, 0, 0, 9},           {0, 0, 2, 9},
                                   {0, 0, 9, 2},  {0, 0, 9, INT_MIN},      {0, 40, 9, 0},
                                   {2, 0, -5, 9}, {INT_MAX, 0, INT_MAX, 9}};
    for (const Region& region : kOutside) {
        Output out{-77};
        EXPECT_EQ(Status(region, out), 0x10000019) << (&region - kOutside);
        EXPECT_EQ(out.score, -77);
    }
    Output out{};
    m_image.data[0] = nullptr;
    EXPECT_EQ(Status({0, 0, 9, 9}, out), -11);
    EXPECT_EQ(Status({0, 0, 90, 9}, out), 0x10000019);
    m_image.format = 2;
    EXPECT_EQ(Status({0, 0, 90, 9}, out), 0x10000007);
    EXPECT_EQ(OXB3D_BINOSTEREO_DepthScore(nullptr, 60, {60, 40}, 0, 0, &out.score, {0, 0}, {9, 9}),
              0x10000014);
}

TEST_F(DepthScore, OfSeveralRegionsIsThatOfEach) {
    m_Depth[8 * kWidth + 8] = 0;
    const Region regions[] = {{1, 1, 9, 9}, {20, 20, 9, 9}, {5, 0, 9, 3}, {0, 0, 9, 50}};
    int32_t scores[4] = {-77, -77, -77, -77};
    OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT out{scores};
    const auto run = [&](int32_t count, const Region* list) {
        return m_Object.Process(13, OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT{m_image, count, 0, list}, out);
    };
    EXPECT_EQ(run(4, regions), 0x10000019);
    EXPECT_EQ(scores[0], -77) << "no score where one region is wrong";
    EXPECT_EQ(run(3, regions), 0);
    EXPECT_EQ(std::vector<int32_t>(scores, scores + 4), (std::vector<int32_t>{75, 100, INT_MIN, -77}));
    EXPECT_EQ(run(0, regions), 0x10000019);
    EXPECT_EQ(run(1, nullptr), 0x10000014);
}

} // namespace
