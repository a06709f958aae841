// Process types 4 and 14 as applications call them: what a board's contrast, blur and lens make of its score, and what is no
// board. Relies on rendered pictures.
#include "tests/algorithm/RenderedBoard.h"
#include "tests/algorithm/TestObject.h"

using namespace ox3d::test;

namespace {

using Output = OXB3D_BINOSTEREO_SADDLE_SCORE_OUTPUT;
using Region = OXB3D_BINOSTEREO_REGION;

constexpr int32_t kWidth = 400;
constexpr int32_t kHeight = 300;
constexpr int32_t kPadding = 5;
constexpr int32_t kRegion = 0x10000019;
const BoardCamera kLens = {kWidth, kHeight, 375, 373, 203, 147, {-0.18, 0.05, 0.0005, 0, 0}};

// An image that ends with its last pixel, in padded rows.
class CPicture {
public:
    explicit CPicture(const BoardLook& look, const std::array<double, 3>& middle = {0, 0, 600})
        : m_plane(At(0, kHeight, kStep) - kPadding) {
        const std::vector<uint8_t> pixels = Rendered(kLens, PoseOf(look, 20, -15, 5, middle), look);
        for (int32_t y = 0; y < kHeight; ++y) {
            std::copy_n(pixels.data() + At(0, y, kWidth), kWidth, m_plane.Data() + At(0, y, kStep));
        }
    }
    ZQA_IMAGE Record() const { return {1, kWidth, kHeight, {kStep}, {m_plane.Data()}}; }

private:
    static constexpr int32_t kStep = kWidth + kPadding;
    CPlane<uint8_t> m_plane;
};

// With scratch memory of exactly the size for the largest board that words B and C allow.
class CScorer {
public:
    CScorer() : m_memory(kAbility) {
        EXPECT_EQ(OXB3D_BINOSTEREO_Create(&kAbility, m_memory.Tab(), &m_handle), 0);
    }
    template <class In, class Out>
    int32_t Run(int32_t type, In in, Out& out) const {
        return OXB3D_BINOSTEREO_Process(m_handle, type, &in, sizeof in, &out, sizeof out);
    }
    Output ScoreOf(const CPicture& picture, int32_t columns = 9, int32_t rows = 6,
                   const Region& region = {0, 0, kWidth, kHeight}) const {
        Output out = {-7, 7, -7, -7};
        EXPECT_EQ(
            Run(4, OXB3D_BINOSTEREO_SADDLE_SCORE_INPUT{picture.Record(), region, columns, rows, {}}, out), 0);
        return out;
    }
    void SetMark(int32_t mark) const {
        OXB3D_BINOSTEREO_PARAM param = {514, mark};
        EXPECT_EQ(OXB3D_BINOSTEREO_SetConfig(m_handle, 1, &param, sizeof param), 0);
    }

private:
    static constexpr OXB3D_BINOSTEREO_ABILITY kAbility = {640, 480, 2, 0, 10, 9, 0, 0};
    CMemory m_memory;
    void* m_handle = nullptr;
};

TEST(SaddleScore, FollowsContrastAndNoiseAndPassesAtItsMark) {
    const CScorer scorer;
    const Output good = scorer.ScoreOf(CPicture({}));
    EXPECT_GE(good.score, 94);
    EXPECT_EQ(good.passed, 1U);
    EXPECT_EQ(good.found, 1);
    EXPECT_LT(good.rms, 0.06F) << "the lens bends it, and the score knows of that";
    BoardLook faint;
    faint.dark = 100;
    faint.bright = 132;
    const Output half = scorer.ScoreOf(CPicture(faint));
    EXPECT_NEAR(half.score, 48, 3) << "half of the contrast that is enough";
    EXPECT_EQ(half.passed, 0U);
    scorer.SetMark(half.score);
    EXPECT_EQ(scorer.ScoreOf(CPicture(faint)).passed, 1U);
    scorer.SetMark(half.score + 1);
    EXPECT_EQ(scorer.ScoreOf(CPicture(faint)).passed, 0U);
    BoardLook noisy;
    noisy.noise = 15;
    noisy.blur = 1.5;
    const Output blurred = scorer.ScoreOf(CPicture(noisy));
    EXPECT_LT(blurred.score, good.score - 4);
    EXPECT_GT(blurred.rms, 0.06F);
}

TEST(SaddleScore, IsNoneWithoutTheWholeBoard) {
    const CScorer scorer;
    const CPicture whole({});
    const CPicture half({}, {260, 0, 600});
    for (const Output& out : {scorer.ScoreOf(half), scorer.ScoreOf(whole, 9, 5), scorer.ScoreOf(whole, 10, 6),
                              scorer.ScoreOf(whole, 9, 6, {200, 0, 200, kHeight})}) {
        EXPECT_EQ(out.score, 0);
        EXPECT_EQ(out.passed, 0U);
        EXPECT_EQ(out.found, 0);
        EXPECT_EQ(out.rms, 0);
    }
    EXPECT_EQ(scorer.ScoreOf(whole, 6, 9).found, 1) << "turned";
}

TEST(SaddleScore, OfSeveralRegionsIsThatOfEachAndNoneIsWrittenWhereOneIsNotValid) {
    const CScorer scorer;
    const CPicture picture({});
    const Region all = {0, 0, kWidth, kHeight};
    OXB3D_BINOSTEREO_SADDLE_REGION regions[] = {
        {all, 9, 6}, {{0, 0, 60, 60}, 4, 3}, {{1, 2, 398, 297}, 9, 6}};
    Output results[3] = {{-7, 7, -7, -7}, {-7, 7, -7, -7}, {-7, 7, -7, -7}};
    OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_OUTPUT out = {results};
    const auto run = [&](int32_t count) {
        return scorer.Run(14, OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_INPUT{picture.Record(), count, 0, regions},
                          out);
    };
    for (const auto& [columns, rows] : {std::pair{1, 6}, {9, 1}, {11, 6}, {9, 10}, {-9, 6}}) {
        regions[2].columns = columns;
        regions[2].rows = rows;
        EXPECT_EQ(run(3), kRegion) << columns << ' ' << rows;
        EXPECT_EQ(results[0].score, -7);
        Output unwritten = {-7, 7, -7, -7};
        EXPECT_EQ(scorer.Run(4, OXB3D_BINOSTEREO_SADDLE_SCORE_INPUT{picture.Record(), all, columns, rows, {}},
                             unwritten),
                  kRegion);
        EXPECT_EQ(unwritten.score, -7);
    }
    regions[2].columns = 9;
    regions[2].rows = 6;
    ASSERT_EQ(run(3), 0);
    const Output alone = scorer.ScoreOf(picture);
    EXPECT_EQ(results[0].score, alone.score);
    EXPECT_EQ(results[0].rms, alone.rms);
    EXPECT_EQ(results[1].found, 0);
    EXPECT_EQ(results[2].found, 1);
    EXPECT_NEAR(results[2].rms, alone.rms, 0.02F) << "the lens's middle is the image's";
}

} // namespace
