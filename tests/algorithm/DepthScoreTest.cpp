// Depth fill score: one region and several, against a count pixel by pixel.
// Relies on process types 3 and 13.
#include "tests/algorithm/TestObject.h"

#include <climits>
#include <random>

using namespace ox3d::test;

namespace {

using Region = OXB3D_BINOSTEREO_REGION;

class DepthScore : public testing::Test {
protected:
    int32_t Score(const Region& region) {
        int32_t score = -77;
        EXPECT_EQ(m_object.Process(3, OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT{m_image, region}, score), 0);
        return score;
    }

    CTestObject m_object{2};
    std::vector<int16_t> m_depth = std::vector<int16_t>(size_t{60} * 40, -1);
    ZQA_IMAGE m_image = Image(3, 60, 40, m_depth.data());
};

// Every pixel is told its cell; a pixel past the last cell belongs to none.
int32_t Expected(const std::vector<int16_t>& depth, const Region& r) {
    const int x0 = std::max(r.x, 1);
    const int y0 = std::max(r.y, 1);
    const int nx = r.x + r.width - x0;
    const int ny = r.y + r.height - y0;
    int count[9] = {};
    int filled[9] = {};
    for (int y = 0; y < std::min(ny / 3 * 3, ny - 1); ++y) {
        for (int x = 0; x < std::min(nx / 3 * 3, nx - 1); ++x) {
            const int cell = y / (ny / 3) * 3 + x / (nx / 3);
            ++count[cell];
            filled[cell] += depth[At(x0 + x, y0 + y, 60)] != 0 ? 1 : 0;
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
    m_depth[8 * 60 + 8] = 0;
    EXPECT_EQ(Score({1, 1, 9, 9}), 75) << "the third cell of nine columns is two wide";
    EXPECT_EQ(Score({5, 0, 9, 3}), INT_MIN) << "cells without a row";
    m_image.width = 45; // of a step of 60
    std::mt19937 random(11);
    const auto below = [&random](uint32_t end) { return static_cast<int32_t>(random() % end); };
    for (int i = 0; i < 300; ++i) {
        std::generate(m_depth.begin(), m_depth.end(),
                      [&] { return static_cast<int16_t>(random() % 8 == 0 ? 0 : random() | 1); });
        const Region region{below(15), below(20), 3 + below(28), 3 + below(18)};
        ASSERT_EQ(Score(region), Expected(m_depth, region)) << i;
    }
}

TEST_F(DepthScore, OfSeveralRegionsIsThatOfEach) {
    m_depth[8 * 60 + 8] = 0;
    const Region regions[] = {{1, 1, 9, 9}, {20, 20, 9, 9}, {5, 0, 9, 3}};
    int32_t scores[4] = {-77, -77, -77, -77};
    OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT out{scores};
    EXPECT_EQ(m_object.Process(13, OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT{m_image, 3, 0, regions}, out), 0);
    EXPECT_EQ(std::vector<int32_t>(scores, scores + 4), (std::vector<int32_t>{75, 100, INT_MIN, -77}));
}

} // namespace
