// Multi-frame depth fusion: the smoothing, the modes, the shifts of the confidences, and process type 6. And the fill
// score of depth images, process types 3 and 13.
// Relies on buffers of exactly the asked size between guard pages.
#include "algorithm/binostereo/Gaussian.h"
#include "algorithm/binostereo/ImageTiers.h"
#include "tests/algorithm/TestObject.h"

#include <climits>
#include <cmath>
#include <random>

using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

using Depth = std::vector<int16_t>;
using Grey = std::vector<uint8_t>;

constexpr auto kUntouched = static_cast<int16_t>(0xA7A7);

TEST(Smoothing, IsAGaussianOfSigmaTwoWithReflectedBorders) {
    std::mt19937 random(1);
    for (const auto& [width, height] : {std::pair{40, 23}, {3, 2}, {1, 12}}) {
        Grey src(At(0, height, width));
        std::generate(src.begin(), src.end(), [&] { return static_cast<uint8_t>(random()); });
        Grey dst(src.size());
        const CGuardedBlock work(GaussianWorkSize(width).RoundedUp(128).Bytes());
        SmoothGaussian11(src.data(), width, height, dst.data(), work.Data());
        const auto reflect = [](int i, int n) {
            const int phase = std::abs(i) % std::max(2 * (n - 1), 1);
            return std::min(phase, 2 * (n - 1) - phase);
        };
        for (int i = 0; i < width * height; ++i) {
            double sum = 0, total = 0;
            for (int tap = 0; tap < 11 * 11; ++tap) {
                const int dx = tap % 11 - 5, dy = tap / 11 - 5;
                const double weight = std::exp(-(dx * dx + dy * dy) / 8.0);
                total += weight;
                sum +=
                    weight * src[At(reflect(i % width + dx, width), reflect(i / width + dy, height), width)];
            }
            ASSERT_NEAR(dst[static_cast<size_t>(i)], sum / total, 0.51) << i;
        }
    }
}

TEST(Fusion, OfOnePixelFollowsItsMode) {
    const struct {
        int32_t m_mode;
        int16_t m_depth, m_previous;
        float m_confidence, m_previousConfidence; // sure above 60
        int16_t m_fused;
    } kPixels[] = {
        {1, 1000, 1050, 100, 100, 1025}, {1, 1000, 1222, 61, 61, 1111},   {1, 1000, 1223, 61, 61, 1223},
        {1, 1300, 1000, 100, 100, 1300}, {1, 11, 9, 61, 61, 11},          {1, 900, 1300, 60, 70, 1300},
        {1, 900, 1300, 70, 60, 900},     {1, 1000, 1050, 50, 50, 1025},   {1, 1000, 1050, NAN, 99, 1025},
        {1, 0, -700, 50, 50, 0},         {2, 1000, 1050, 100, 100, 1025}, {2, 5, -8, 100, 100, -1},
        {2, 900, 1300, 60, 70, 1300},    {2, 900, 1300, 70, 60, 900},     {2, 900, 1300, 50, 50, 1300},
        {3, 500, 900, 0, 0, 900},        {3, -500, -900, 0, 0, -500}};
    for (const auto& p : kPixels) {
        int16_t fused = 0;
        reference::Fuse({&p.m_depth, &p.m_previous, &p.m_confidence, &p.m_previousConfidence, &fused, 1,
                         60.0F, p.m_mode});
        EXPECT_EQ(fused, p.m_fused) << &p - kPixels;
    }
}

// Two frames, of which the first is the surer one beyond column and row 20 and the second the surer one before them.
// So a shift of the confidences shows as a place at which the second frame's depth ends.
TEST(Fusion, TakesDepthsWhereThePixelIsAndConfidencesAtTheShiftedPlace) {
    constexpr int32_t kWidth = 48, kHeight = 36; // of a buffer for 50 x 37
    for (const auto& [rowShift, columnShift] :
         {std::pair{0, 0}, {7, 3}, {-9, -14}, {-40, 60}, {INT_MIN, INT_MAX}}) {
        SCOPED_TRACE(testing::Message() << rowShift << ' ' << columnShift);
        uint64_t persistent = 0, scratch = 0;
        ASSERT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_BufferSize({50, 37}, &persistent, &scratch), 0);
        const CGuardedBlock state(persistent);
        const CGuardedBlock work(scratch);
        ASSERT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Init(state.Data(), {50, 37}, state.Data(), work.Data()), 0);
        const int32_t config[11] = {2, 1, kWidth, kHeight, 11, 2, 255, 1, 70, rowShift, columnShift};
        const CPlane<int16_t> output(size_t{kWidth} * kHeight);
        for (const int16_t frame : {int16_t{1}, int16_t{2}}) {
            const CPlane<int16_t> depth(Depth(size_t{kWidth} * kHeight, frame));
            const CPlane<uint8_t> grey(size_t{kWidth} * kHeight);
            for (int32_t i = 0; i < kWidth * kHeight; ++i) {
                const bool isBefore = i % kWidth < 20 && i / kWidth < 20;
                grey.Data()[i] = isBefore == (frame == 2) ? 70 : 0;
            }
            const OXB3D_BINOSTEREO_FUSE_FRAME in{depth.Data(), grey.Data(), kWidth, kHeight};
            ASSERT_EQ(OXB3D_BINOSTEREO_MULTI_FUSE_Process(state.Data(), &in, config, output.Data()), 0);
        }
        for (int32_t i = 0; i < kWidth * kHeight; ++i) {
            const int64_t x = i % kWidth, y = i / kWidth;
            const int64_t column = x - columnShift, row = y - rowShift;
            const bool isFused = x >= 2 && column >= 0 && x + columnShift < kWidth - 1 && y >= 1 &&
                                 row >= 0 && y + rowShift <= kHeight - 1;
            const bool isSurer = row >= 5 && row < 20 && column >= 5 && column < 20;
            // The corner of the surer place is smoothed round.
            if (row <= 14 || row >= 22 || column <= 14 || column >= 22) {
                ASSERT_EQ(output.Data()[i], isFused ? (isSurer ? 2 : 1) : kUntouched) << x << ' ' << y;
            }
        }
    }
}

class FuseProcess : public testing::Test {
protected:
    // One frame of one depth and one grey value; returns the fused depth at a pixel.
    int16_t Fuse(int16_t depth, uint8_t grey, int x = 300, int y = 200, int32_t width = 640) {
        const Depth depths(m_out.size(), depth);
        const Grey greys(m_out.size(), grey);
        ZQA_IMAGE out = Image(3, m_out.data(), width);
        const OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT in{Image(3, depths.data(), width),
                                                   Image(1, greys.data(), width)};
        EXPECT_EQ(m_object.Process(6, in, out), 0);
        return m_out[At(x, y, width)];
    }
    int16_t Fused(int x, int y) const { return m_out[At(x, y, 640)]; }

    CTestObject m_object{4};
    Depth m_out = Depth(size_t{640} * 480);
};

TEST_F(FuseProcess, FollowsTheModeAndThresholdOfTheParameters) {
    EXPECT_EQ(Fuse(1000, 0), 1000) << "the first frame comes back unchanged";
    EXPECT_EQ(Fuse(1050, 0), 1025);
    EXPECT_EQ(OXB3D_BINOSTEREO_Restart(m_object.Handle()), 0); // forgets no frame
    EXPECT_EQ(Fuse(1150, 0), 1100);
    EXPECT_EQ(Fuse(900, 70), 900) << "the more confident";
    EXPECT_EQ(Fuse(2000, 255), 900);
    m_object.SetParam(257, 2);
    m_object.SetParam(259, 254); // grey 70 is confident to 255
    Fuse(20000, 70);
    EXPECT_EQ(Fuse(20000, 70), -12768) << "the sum wraps in 16 bits";
    m_object.SetParam(259, 255);
    EXPECT_EQ(Fuse(500, 70), 20000) << "not confident enough, and not more so than the last";
}

TEST_F(FuseProcess, StartsAnewWithAFrameOfAnotherSize) {
    Fuse(1000, 70);
    EXPECT_EQ(Fuse(1050, 70, 300, 200, 600), 1050);
    EXPECT_EQ(Fuse(1150, 70, 300, 200, 600), 1100);
    m_object.SetParam(257, 3);
    EXPECT_EQ(Fuse(2000, 70), 2000);
    m_object.SetParam(257, 1);
    EXPECT_EQ(Fuse(1000, 70), 1000) << "nothing is known of the first frame's confidence";
}

TEST_F(FuseProcess, NarrowsTheRegionByTheShifts) {
    m_object.SetParam(257, 3);
    int16_t depth = 1;
    Fuse(depth, 0);
    const auto expectRegion = [&](int32_t rowShift, int32_t columnShift, int left, int top, int right,
                                  int bottom) {
        m_object.SetParam(260, rowShift);
        m_object.SetParam(261, columnShift);
        EXPECT_EQ(Fuse(++depth, 0, left, top), depth);
        EXPECT_EQ(Fused(right, bottom), depth);
        for (const auto& [x, y] :
             {std::pair{left - 1, top}, {left, top - 1}, {right + 1, bottom}, {right, bottom + 1}}) {
            EXPECT_EQ(Fused(x, y), kUntouched) << x << ' ' << y;
        }
    };
    expectRegion(20, -64, 5, 20, 633, 459);
    expectRegion(-64, 64, 64, 5, 574, 474);
}

using Region = OXB3D_BINOSTEREO_REGION;

TEST(DepthScore, IsTheWorstCellsShareOfSamples) {
    // A sample without depth, a region and its score. No cell has the image's first row and column, and none the
    // region's last ones where thirds of it are whole.
    const struct {
        int32_t m_x, m_y;
        Region m_region;
        int32_t m_score;
    } kCases[] = {
        {0, 0, {1, 1, 9, 9}, 100},      {8, 8, {1, 1, 9, 9}, 75},       {9, 8, {1, 1, 9, 9}, 100},
        {8, 9, {1, 1, 9, 9}, 100},      {0, 5, {0, 0, 10, 10}, 100},    {5, 0, {0, 0, 10, 10}, 100},
        {1, 1, {0, 0, 10, 10}, 88},     {8, 1, {0, 0, 10, 10}, 83},     {1, 8, {0, 0, 10, 10}, 83},
        {13, 20, {10, 20, 12, 7}, 87},  {14, 22, {10, 20, 12, 7}, 87},  {20, 25, {10, 20, 12, 7}, 83},
        {20, 26, {10, 20, 12, 7}, 100}, {21, 25, {10, 20, 12, 7}, 100}, {9, 9, {5, 0, 9, 3}, INT_MIN}};
    CTestObject object(2);
    for (const auto& [x, y, region, score] : kCases) {
        std::vector<int16_t> depth(size_t{60} * 40, -1);
        depth[At(x, y, 60)] = 0;
        ZQA_IMAGE image = Image(3, depth.data(), 60, 40);
        image.width = 45; // of a step of 60
        int32_t found = -77;
        EXPECT_EQ(object.Process(3, OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT{image, region}, found), 0);
        EXPECT_EQ(found, score) << x << ' ' << y;
    }
}

// Of a cell of 767 x 875 single precision makes 99.99999.
TEST(DepthScore, OfALargeImageWithoutAHoleIsFull) {
    constexpr int32_t kWidth = 3 * 767 + 1, kHeight = 3 * 875 + 1;
    std::vector<int16_t> depth(At(0, kHeight, kWidth), -1);
    CTestObject object(2);
    for (const int32_t expected : {100, 99}) {
        int32_t found = -77;
        const OXB3D_BINOSTEREO_DEPTH_SCORE_INPUT in{Image(3, depth.data(), kWidth, kHeight),
                                                    {0, 0, kWidth, kHeight}};
        EXPECT_EQ(object.Process(3, in, found), 0);
        EXPECT_EQ(found, expected);
        depth[At(9, 9, kWidth)] = 0;
    }
}

TEST(DepthScore, OfSeveralRegionsIsThatOfEach) {
    std::vector<int16_t> depth(size_t{60} * 40, -1);
    depth[8 * 60 + 8] = 0;
    const Region regions[] = {{1, 1, 9, 9}, {20, 20, 9, 9}, {5, 0, 9, 3}};
    int32_t scores[4] = {-77, -77, -77, -77};
    OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_OUTPUT out{scores};
    const OXB3D_BINOSTEREO_DEPTH_SCORE_MROI_INPUT in{Image(3, depth.data(), 60, 40), 3, 0, regions};
    EXPECT_EQ(CTestObject(2).Process(13, in, out), 0);
    EXPECT_EQ(std::vector<int32_t>(scores, scores + 4), (std::vector<int32_t>{75, 100, INT_MIN, -77}));
}

} // namespace
