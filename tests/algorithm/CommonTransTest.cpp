// The common data transform: where points and registered depths land, what is cleared, and what is refused.
// Relies on the kernels for small images and on process type 15 for the checks around them.
#include "algorithm/binostereo/FloatToInt.h"
#include "tests/algorithm/StereoRig.h"
#include "tests/algorithm/TestObject.h"

#include <cmath>
#include <random>
#include <type_traits>
#include <vector>

using namespace algorithm_test;

namespace {

using Input = OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT;
using Output = OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT;

constexpr size_t kPixels = size_t{640} * 480;
constexpr float kIdentity[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

// Either kernel, by the type of the points, on rows without padding.
template <typename TPoint>
int32_t Kernel(const int16_t* depth, int32_t width, int32_t height, TPoint* points, int16_t* target,
               int32_t targetWidth, const float* k, const float* t, const float* k2,
               const float* distortion) {
    if constexpr (std::is_same_v<TPoint, float>) {
        return OXB3D_BINOSTEREO_Comn_Trans_f32(depth, width, width, height, points, target, targetWidth, k, t,
                                               k2, distortion);
    } else {
        return OXB3D_BINOSTEREO_Comn_Trans_s16(depth, width, width, height, points, target, targetWidth, k, t,
                                               k2, distortion);
    }
}

TEST(FloatToInt, GivesTheConversionInstructionsResultForEveryInput) {
    for (const float value : {-0.9F, 0.9F}) {
        EXPECT_EQ(ox3d::stereo::FloatToInt32(value), 0);
    }
    EXPECT_EQ(ox3d::stereo::FloatToInt32(-1.5F), -1);
    EXPECT_EQ(ox3d::stereo::FloatToInt32(2147483520.0F), 2147483520);
    for (const float value : {2147483648.0F, -2147483648.0F, -3e9F, HUGE_VALF, -HUGE_VALF, std::nanf("")}) {
        EXPECT_EQ(ox3d::stereo::FloatToInt32(value), INT32_MIN) << value;
    }
    EXPECT_EQ(ox3d::stereo::FloatToInt16(40000.7F), -25536);
    EXPECT_EQ(ox3d::stereo::FloatToInt16(1e10F), 0);
}

// For each way of calling, what the kernels clear of the point buffer (bytes a pixel) and of the target
// depth. An image without depth shows it: every byte that a mode touches is then zero.
template <typename TPoint>
void CheckModes(size_t clearedInA, size_t clearedInC2) {
    constexpr int32_t kRefused = 0x10000014;
    const struct {
        bool points, target, intrinsics, transform, distortion;
        int32_t status;
        size_t pointBytes, depthBytes;
    } kModes[] = {
        {true, true, true, false, true, 0, clearedInA, 0},    // A, with everything else given
        {true, false, false, false, false, 0, clearedInA, 0}, // A
        {false, true, true, false, true, kRefused, 0, 0},
        {false, true, true, true, true, 0, 0, 2}, // B1
        {false, true, false, true, true, kRefused, 0, 0},
        {true, true, true, true, true, 0, 12, 2}, // B2
        {true, true, false, true, true, kRefused, 0, 0},
        {true, false, false, true, true, 0, 12, 0}, // B3
        {true, false, true, true, true, 0, 12, 0},  // B3, intrinsics unused
        {false, true, true, true, false, 0, 0, 2},  // C1
        {false, true, false, true, false, kRefused, 0, 0},
        {true, false, true, true, false, 0, clearedInC2, 0}, // C2
        {true, true, true, true, false, 0, 12, 2},           // C3
        {true, true, false, true, false, kRefused, 0, 0},
        {false, false, true, true, true, kRefused, 0, 0},
    };
    constexpr size_t kCount = 6;
    const int16_t depth[kCount] = {};
    const float k[4] = {500, 500, 0, 0};
    const float distortion[4] = {};
    for (const auto& mode : kModes) {
        SCOPED_TRACE(&mode - kModes);
        std::vector<uint8_t> points(kCount * 16, 0x5A);
        std::vector<uint8_t> target(kCount * 4, 0x5A);
        auto* pointData = reinterpret_cast<TPoint*>(points.data());
        auto* targetData = reinterpret_cast<int16_t*>(target.data());
        EXPECT_EQ(Kernel(depth, 3, 2, mode.points ? pointData : nullptr, mode.target ? targetData : nullptr,
                         3, k, mode.transform ? kIdentity : nullptr, mode.intrinsics ? k : nullptr,
                         mode.distortion ? distortion : nullptr),
                  mode.status);
        std::vector<uint8_t> expected(points.size(), 0x5A);
        std::fill_n(expected.begin(), kCount * mode.pointBytes, uint8_t{0});
        EXPECT_EQ(points, expected);
        expected.assign(target.size(), 0x5A);
        std::fill_n(expected.begin(), kCount * mode.depthBytes, uint8_t{0});
        EXPECT_EQ(target, expected);
    }
}

TEST(Modes, OfTheFloatKernelFollowFromWhatIsGiven) {
    CheckModes<float>(12, 12);
}

TEST(Modes, OfThe16BitKernelFollowFromWhatIsGiven) {
    CheckModes<int16_t>(8, 6);
}

TEST(PointCloud, HoldsEveryPixelInTheDepthCamerasFrame) {
    const int16_t depth[4] = {1000, 0, -32768, 777};
    const float k[4] = {500, 250, 2, 1};
    float points[12];
    ASSERT_EQ(Kernel(depth, 2, 2, points, nullptr, 0, k, nullptr, nullptr, nullptr), 0);
    const float expected[12] = {-4, -4, 1000, 0, 0, 0, 131.072F, 0, -32768, -1.554F, 0, 777};
    for (size_t i = 0; i < 12; ++i) {
        EXPECT_FLOAT_EQ(points[i], expected[i]) << i;
    }
    const float flat[4] = {0, 0, 1, 0};
    ASSERT_EQ(Kernel(depth, 1, 1, points, nullptr, 0, flat, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(points[0], -1000.0F / 1.1920929e-7F) << "a focal length of zero is no fault";
}

TEST(MovedPoints, StandAtTheirSourcePixelAndSkipMissingDepth) {
    const float t[12] = {0, -1, 0, 10, 1, 0, 0, 20, 0, 0, 1, 30}; // a quarter turn about the optical axis
    const int16_t depth[4] = {0, 1000, -5, 500};
    const float k[4] = {100, 100, 0, 0};
    float points[12];
    ASSERT_EQ(Kernel(depth, 2, 2, points, nullptr, 0, k, t, nullptr, nullptr), 0);
    const float expected[12] = {0, 0, 0, 10, 30, 1030, 0, 0, 0, 5, 25, 530};
    for (size_t i = 0; i < 12; ++i) {
        EXPECT_FLOAT_EQ(points[i], expected[i]) << i;
    }
}

TEST(MovedPoints, LieOnTheDistortedRay) {
    const float distortion[4] = {0.11F, -0.07F, 0.013F, -0.021F};
    const int16_t depth[1] = {2000};
    const float k[4] = {100, 100, -37, 52}; // the pixel looks along (0.37, -0.52)
    float points[3];
    ASSERT_EQ(Kernel(depth, 1, 1, points, nullptr, 0, k, kIdentity, nullptr, distortion), 0);
    const auto [x, y] =
        Project({{1, 0, 0, 0, 1, 0, 0, 0, 1}, {0.11F, -0.07F, 0.013F, -0.021F, 0}}, {0.37, -0.52, 1});
    EXPECT_NEAR(points[0], x * 2000, 0.002);
    EXPECT_NEAR(points[1], y * 2000, 0.002);
    EXPECT_EQ(points[2], 2000);

    // and the registered depth lands where that ray meets the target image
    std::vector<int16_t> wide(1000);
    wide[0] = 2000;
    std::vector<int16_t> target(wide.size());
    std::vector<float> targetPoints(3 * wide.size());
    const float onRow[4] = {1000, 0, 0, 0}; // a target one row tall
    ASSERT_EQ(Kernel(wide.data(), 1000, 1, targetPoints.data(), target.data(), 1000, k, kIdentity, onRow,
                     distortion),
              0);
    const auto column = static_cast<size_t>(x * 1000);
    EXPECT_EQ(target[column], 2000);
    EXPECT_NEAR(targetPoints[3 * column + 1], y * 2000, 0.002);
}

// One source pixel at u = 0 that looks along x = position; where in a target of the given width does it land?
int32_t LandsAt(float column, float row, int32_t targetWidth) {
    const int16_t depth[12] = {100};
    const float k[4] = {1, 1, 0, 0};
    const float k2[4] = {1, 1, column, row};
    int16_t target[12];
    EXPECT_EQ(
        Kernel(depth, 4, 3, static_cast<float*>(nullptr), target, targetWidth, k, kIdentity, k2, nullptr), 0);
    for (int32_t i = 0; i < 12; ++i) {
        if (target[i] != 0) {
            return i;
        }
    }
    return -1;
}

TEST(Registration, TruncatesTowardZeroAndDropsWhatFallsOutside) {
    EXPECT_EQ(LandsAt(0.0F, 0.0F, 4), 0);
    EXPECT_EQ(LandsAt(2.9F, 1.9F, 4), 4 + 2);
    EXPECT_EQ(LandsAt(-0.5F, -0.5F, 4), 0) << "between -1 and 0 lands in the first column and row";
    EXPECT_EQ(LandsAt(-1.0F, 0.0F, 4), -1);
    EXPECT_EQ(LandsAt(0.0F, -1.0F, 4), -1);
    EXPECT_EQ(LandsAt(3.9F, 0.0F, 4), 3);
    EXPECT_EQ(LandsAt(4.0F, 0.0F, 4), -1);
    EXPECT_EQ(LandsAt(1.5F, 2.9F, 2), 2 * 2 + 1) << "a narrow target is still as tall as the source";
    EXPECT_EQ(LandsAt(2.0F, 0.0F, 2), -1);
    EXPECT_EQ(LandsAt(0.0F, 3.0F, 4), -1);
    EXPECT_EQ(LandsAt(1e20F, 0.0F, 4), -1);
}

TEST(Registration, KeepsTheNearestAndOnATieTheFirst) {
    const float k[4] = {1, 1, 0, 0};
    const float k2[4] = {0, 0, 1, 0}; // every pixel lands in column 1 of row 0
    const auto winner = [&](std::vector<int16_t> depth) {
        std::vector<int16_t> target(depth.size());
        std::vector<float> points(3 * depth.size());
        EXPECT_EQ(Kernel(depth.data(), static_cast<int32_t>(depth.size()), 1, points.data(), target.data(),
                         static_cast<int32_t>(depth.size()), k, kIdentity, k2, nullptr),
                  0);
        return std::pair<int, long>{target[1], std::lround(points[3] / points[5])}; // depth, source column
    };
    EXPECT_EQ(winner({300, 200, 250}), (std::pair<int, long>{200, 1}));
    EXPECT_EQ(winner({0, 200, 200}), (std::pair<int, long>{200, 1}));
    EXPECT_EQ(winner({-7, 0, 50}), (std::pair<int, long>{50, 2}));
}

TEST(Registration, ComparesWithWhatWasStoredIn16Bits) {
    const float lift[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 2, 0}; // doubles the depth
    const int16_t depth[2] = {20000, 15000};
    const float k[4] = {1, 1, 0, 0};
    const float k2[4] = {0, 0, 0, 0};
    int16_t target[2];
    ASSERT_EQ(Kernel(depth, 2, 1, static_cast<float*>(nullptr), target, 2, k, lift, k2, nullptr), 0);
    EXPECT_EQ(target[0], -25536) << "40000 stored in 16 bits is smaller than any later depth";
}

TEST(Kernels, AgreeUpToTheTruncationOfThePoints) {
    std::mt19937 random(7);
    std::vector<int16_t> depth(size_t{64} * 48);
    for (int16_t& d : depth) {
        d = static_cast<int16_t>(static_cast<int32_t>(random() % 4000) - 400);
    }
    const float k[4] = {60, 61, 31, 23};
    const float t[12] = {0.999F, -0.02F, 0.03F, 25, 0.02F, 0.998F, -0.01F, -7, -0.03F, 0.01F, 0.997F, 3};
    const float k2[4] = {58, 59, 33, 22};
    const float distortion[4] = {0.1F, -0.05F, 0.001F, -0.002F};
    for (int32_t mode = 0; mode < 8; ++mode) {
        std::vector<float> points(3 * depth.size());
        std::vector<int16_t> points16(6 * depth.size());
        std::vector<int16_t> target(depth.size());
        std::vector<int16_t> target16(depth.size());
        const bool registers = (mode & 4) != 0;
        const float* transform = (mode & 1) != 0 ? t : nullptr;
        const float* lens = (mode & 2) != 0 ? distortion : nullptr;
        ASSERT_EQ(Kernel(depth.data(), 64, 48, points.data(), registers ? target.data() : nullptr, 64, k,
                         transform, k2, lens),
                  0);
        ASSERT_EQ(Kernel(depth.data(), 64, 48, points16.data(), registers ? target16.data() : nullptr, 64, k,
                         transform, k2, lens),
                  0);
        EXPECT_EQ(target, target16) << mode;
        for (size_t i = 0; i < points.size(); ++i) {
            ASSERT_EQ(points16[i], static_cast<int16_t>(points[i])) << mode << " at " << i;
        }
    }
}

class TransformChecks : public testing::Test {
protected:
    TransformChecks() {
        m_in.sourceDepth = Image(3, 640, 480, m_Depth.data());
        m_in.sourceIntrinsics = kIntrinsics;
        m_out.pointsFloat = m_Points.data();
    }
    int32_t Run() { return m_Object.Process(15, m_in, m_out); }

    static constexpr float kIntrinsics[4] = {500, 500, 320, 240};
    CTestObject m_Object{32};
    std::vector<int16_t> m_Depth = std::vector<int16_t>(kPixels, 1000);
    std::vector<float> m_Points = std::vector<float>(kPixels * 3);
    Input m_in{};
    Output m_out{};
};

TEST_F(TransformChecks, StandInTheirOrder) {
    EXPECT_EQ(Run(), 0);
    EXPECT_FLOAT_EQ(m_Points.back(), 1000);
    EXPECT_EQ(OXB3D_BINOSTEREO_CommonTransProcess(nullptr, 128, &m_out, 80), 0x10000014);
    EXPECT_EQ(OXB3D_BINOSTEREO_CommonTransProcess(&m_in, 127, &m_out, 80), 0x1000000E);
    EXPECT_EQ(OXB3D_BINOSTEREO_CommonTransProcess(&m_in, 128, &m_out, 81), 0x1000000E);
    m_in.sourceDepth.step[0] = 641;
    EXPECT_EQ(Run(), 0x10000009);
    m_in.sourceDepth.step[0] = 639;
    EXPECT_EQ(Run(), 0x10000009);
    m_in.sourceDepth = Image(3, 639, 480, m_Depth.data());
    EXPECT_EQ(Run(), 0x10000008);
    m_in.sourceDepth = Image(3, 640, 479, m_Depth.data());
    EXPECT_EQ(Run(), 0x10000008);
    m_in.sourceDepth = Image(2, 640, 480, m_Depth.data());
    EXPECT_EQ(Run(), 0x10000007);
    m_in.sourceDepth = Image(3, 640, 480, nullptr);
    EXPECT_EQ(Run(), 0x1000000A);
    m_in.sourceDepth.format = 77;
    EXPECT_EQ(Run(), 0x10000007);
    m_out.pointsFloat = nullptr;
    EXPECT_EQ(Run(), 0x10000014);
}

TEST_F(TransformChecks, HoldTheTargetToTheSourcesWidth) {
    std::vector<int16_t> target(kPixels);
    m_in.transform = kIdentity;
    m_in.targetIntrinsics = kIntrinsics;
    m_out.targetDepth.data[0] = target.data();
    m_out.targetDepth.step[0] = 641;
    EXPECT_EQ(Run(), 0x10000009);
    m_out.targetDepth.step[0] = 640;
    EXPECT_EQ(Run(), 0);
    EXPECT_GT(std::count(target.begin(), target.end(), 1000), 307200 * 9 / 10);
    m_out.targetDepth.step[0] = -5;
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(std::count(target.begin(), target.end(), 0), 640 * 480) << "no column lies inside";
}

TEST_F(TransformChecks, ChooseTheFloatKernelWhenBothPointBuffersAreGiven) {
    std::vector<int16_t> points16(kPixels * 6, 77);
    m_out.points16 = points16.data();
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(std::count(points16.begin(), points16.end(), 77), 640 * 480 * 6);
    m_out.pointsFloat = nullptr;
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(points16[2], 1000);
}

} // namespace
