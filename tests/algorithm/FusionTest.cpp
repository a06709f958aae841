// Multi-frame depth fusion: the smoothing, the modes, the shifts of the confidences, and process type 6.
// Relies on buffers of exactly the asked size between guard pages.
#include "algorithm/binostereo/Gaussian.h"
#include "algorithm/binostereo/ImageTiers.h"
#include "tests/algorithm/TestObject.h"

#include <climits>
#include <cmath>
#include <limits>
#include <random>

using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

using Depth = std::vector<int16_t>;
using Grey = std::vector<uint8_t>;

TEST(Smoothing, IsAGaussianOfSigmaTwoWithReflectedBorders) {
    std::mt19937 random(1);
    for (const auto& [width, height] : {std::pair{40, 23}, {3, 2}, {1, 12}}) {
        Grey src(At(0, height, width));
        std::generate(src.begin(), src.end(), [&] { return static_cast<uint8_t>(random()); });
        Grey dst(src.size());
        const CGuardedBlock work(GaussianWorkSize(width).RoundedUp(128).Bytes());
        SmoothGaussian11(src.data(), width, height, dst.data(), work.Data());
        const auto reflect = [](int i, int n) {
            const int period = std::max(2 * (n - 1), 1);
            const int phase = ((i % period) + period) % period;
            return n == 1 ? 0 : std::min(phase, period - phase);
        };
        for (int i = 0; i < width * height; ++i) {
            double sum = 0;
            double total = 0;
            for (int tap = 0; tap < 11 * 11; ++tap) {
                const int dx = tap % 11 - 5;
                const int dy = tap / 11 - 5;
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
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    const struct {
        int32_t m_mode;
        int16_t m_depth, m_previous;
        float m_confidence, m_previousConfidence; // sure above 60
        int16_t m_fused;
    } kPixels[] = {{1, 1000, 1050, 100, 100, 1025},
                   {1, 1000, 1222, 61, 61, 1111},
                   {1, 1000, 1223, 61, 61, 1223},
                   {1, 1300, 1000, 100, 100, 1300},
                   {1, 11, 9, 61, 61, 11},
                   {1, 900, 1300, 60, 70, 1300},
                   {1, 900, 1300, 70, 60, 900},
                   {1, 1000, 1050, 50, 50, 1025},
                   {1, 1000, 1050, kNaN, 99, 1025},
                   {1, 0, -7, 50, 50, 0},
                   {2, 1000, 1050, 100, 100, 1025},
                   {2, 5, -8, 100, 100, -1},
                   {2, 20000, 20000, 100, 100, -12768},
                   {2, 900, 1300, 60, 70, 1300},
                   {2, 900, 1300, 70, 60, 900},
                   {2, 900, 1300, 50, 50, 1300},
                   {3, 5, 9, 0, 0, 9},
                   {3, -5, -9, 0, 0, -5}};
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
    constexpr int32_t kWidth = 48; // of a buffer for 50
    constexpr int32_t kHeight = 36;
    for (const auto& [rowShift, columnShift] :
         {std::pair{0, 0}, {7, 3}, {-9, -14}, {-40, 60}, {INT_MIN, INT_MAX}}) {
        SCOPED_TRACE(testing::Message() << rowShift << ' ' << columnShift);
        uint64_t persistent = 0;
        uint64_t scratch = 0;
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
        for (int64_t y = std::max(rowShift, 1);
             y <= std::min<int64_t>(kHeight - 1, int64_t{kHeight} - 1 - rowShift); ++y) {
            for (int64_t x = std::max(columnShift, 2); x < int64_t{kWidth} - 1 - columnShift && x < kWidth;
                 ++x) {
                const int64_t row = y - rowShift;
                const int64_t column = x - columnShift;
                // The corner of the surer place is smoothed round.
                const bool isCorner = row > 14 && row < 22 && column > 14 && column < 22;
                const bool isSurer = row >= 5 && row < 20 && column >= 5 && column < 20;
                if (!isCorner) {
                    ASSERT_EQ(output.Data()[y * kWidth + x], isSurer ? 2 : 1) << x << ' ' << y;
                }
            }
        }
    }
}

class FuseProcess : public testing::Test {
protected:
    // One frame of one depth and one grey value; returns the fused depth at a pixel.
    int16_t Fuse(int16_t depth, uint8_t grey, int x = 300, int y = 200) {
        const Depth depths(m_out.size(), depth);
        const Grey greys(m_out.size(), grey);
        ZQA_IMAGE out = Image(3, 640, 480, m_out.data());
        EXPECT_EQ(m_object.Process(6,
                                   OXB3D_BINOSTEREO_DEPTH_FUSE_INPUT{Image(3, 640, 480, depths.data()),
                                                                     Image(1, 640, 480, greys.data())},
                                   out),
                  0);
        return Fused(x, y);
    }
    int16_t Fused(int x, int y) const { return m_out[At(x, y, 640)]; }

    CTestObject m_object{4};
    Depth m_out = Depth(size_t{640} * 480);
};

TEST_F(FuseProcess, FollowsTheModeAndThresholdOfTheParameters) {
    EXPECT_EQ(Fuse(1000, 0), 1000) << "the first frame comes back unchanged";
    EXPECT_EQ(Fuse(1050, 0), 1025);
    EXPECT_EQ(OXB3D_BINOSTEREO_Restart(m_object.Handle()), 0); // forgets no frame
    EXPECT_EQ(Fuse(1300, 0), 1300);
    EXPECT_EQ(Fuse(900, 70), 900) << "the more confident";
    EXPECT_EQ(Fuse(2000, 255), 900);
    m_object.SetParam(257, 2);
    m_object.SetParam(259, 254); // grey 70 is confident to 255
    Fuse(20000, 70);
    EXPECT_EQ(Fuse(20000, 70), -12768) << "the sum wraps in 16 bits";
    m_object.SetParam(259, 255);
    EXPECT_EQ(Fuse(500, 70), 20000) << "not confident enough, and not more so than the last";
}

TEST_F(FuseProcess, NarrowsTheRegionByTheShifts) {
    m_object.SetParam(257, 3);
    m_object.SetParam(260, 20);
    m_object.SetParam(261, 64);
    Fuse(1, 0);
    const auto untouched = static_cast<int16_t>(0xA7A7);
    EXPECT_EQ(Fuse(7, 0, 64, 20), 7);
    EXPECT_EQ(Fused(63, 20), untouched);
    EXPECT_EQ(Fused(64, 19), untouched);
    EXPECT_EQ(Fused(574, 459), 7) << "the last row is taken in";
    EXPECT_EQ(Fused(575, 459), untouched) << "the last column is not";
    EXPECT_EQ(Fused(574, 460), untouched);
    m_object.SetParam(260, -64);
    EXPECT_EQ(Fuse(9, 0, 64, 474), 9) << "a negative shift takes no row away";
    EXPECT_EQ(Fused(64, 475), untouched);
}

} // namespace
