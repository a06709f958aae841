// The common data transform: where points and registered depths land, and what is cleared.
// Relies on small images.
#include "tests/algorithm/TestObject.h"

#include <cmath>
#include <gmock/gmock.h>
#include <string>

using namespace ox3d::test;

namespace {

using Depth = std::vector<int16_t>;

constexpr float kIdentity[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

// Either kernel, by the type of the points, on rows without padding. The rest: target depth and its width, the
// intrinsics, the transform, the target's intrinsics and its distortion.
template <typename TPoint, typename... TRest>
int32_t Transform(const Depth& depth, int32_t width, TPoint* points, TRest... rest) {
    const auto height = static_cast<int32_t>(depth.size()) / width;
    if constexpr (std::is_same_v<TPoint, float>) {
        return OXB3D_BINOSTEREO_Comn_Trans_f32(depth.data(), width, width, height, points, rest...);
    } else {
        return OXB3D_BINOSTEREO_Comn_Trans_s16(depth.data(), width, width, height, points, rest...);
    }
}

// For each way of calling, what the kernels clear of the point buffer (bytes a pixel) and of the target depth. An
// image without depth shows it: every byte that a mode touches is then zero.
template <typename TPoint>
void CheckModes(size_t clearedInA, size_t clearedInC2) {
    const struct {
        std::string m_given;               // points, target depth, its intrinsics, transform, distortion
        size_t m_pointBytes, m_depthBytes; // none: refused
    } kModes[] = {{"ptid", clearedInA, 0}, {"p", clearedInA, 0}, {"tid", 0, 0},  {"timd", 0, 2},
                  {"tmd", 0, 0},           {"ptimd", 12, 2},     {"ptmd", 0, 0}, {"pmd", 12, 0},
                  {"pimd", 12, 0},         {"tim", 0, 2},        {"tm", 0, 0},   {"pim", clearedInC2, 0},
                  {"ptim", 12, 2},         {"ptm", 0, 0},        {"imd", 0, 0}};
    const float k[4] = {500, 500, 0, 0};
    for (const auto& [given, pointBytes, depthBytes] : kModes) {
        SCOPED_TRACE(given);
        const auto ifGiven = [&given = given](char letter, auto* pointer) {
            return given.find(letter) != std::string::npos ? pointer : nullptr;
        };
        std::vector<uint8_t> points(6 * 16, 0x5A);
        std::vector<uint8_t> target(6 * 4, 0x5A);
        EXPECT_EQ(Transform(Depth(6), 3, ifGiven('p', reinterpret_cast<TPoint*>(points.data())),
                            ifGiven('t', reinterpret_cast<int16_t*>(target.data())), 3, k,
                            ifGiven('m', kIdentity), ifGiven('i', k), ifGiven('d', k)),
                  pointBytes + depthBytes == 0 ? OXB3D_BINOSTEREO_E_NULL : 0);
        std::vector<uint8_t> expected(6 * pointBytes);
        expected.resize(points.size(), 0x5A);
        EXPECT_EQ(points, expected);
        expected.assign(6 * depthBytes, 0);
        expected.resize(target.size(), 0x5A);
        EXPECT_EQ(target, expected);
    }
}

TEST(Modes, FollowFromWhatIsGiven) {
    CheckModes<float>(12, 12);
    CheckModes<int16_t>(8, 6);
}

TEST(Modes, ClearRowsOfPointsAsFarAsTheyReach) {
    const float k[4] = {500, 500, 0, 0};
    const Depth depth(10); // two rows of three samples, five apart, so points up to the eighth
    for (const auto& [transform, distortion] :
         {std::pair<const float*, const float*>{nullptr, nullptr}, {kIdentity, nullptr}, {kIdentity, k}}) {
        std::vector<float> points(25, 1);
        EXPECT_EQ(OXB3D_BINOSTEREO_Comn_Trans_f32(depth.data(), 5, 3, 2, points.data(), nullptr, 0, k,
                                                  transform, nullptr, distortion),
                  0);
        EXPECT_EQ(std::count(points.begin(), points.begin() + 24, 0), 24);
        EXPECT_EQ(points[24], 1);
        Depth points16(48, 1);
        EXPECT_EQ(OXB3D_BINOSTEREO_Comn_Trans_s16(depth.data(), 5, 3, 2, points16.data(), nullptr, 0, k,
                                                  transform, nullptr, distortion),
                  0);
        const int64_t cleared = distortion != nullptr ? 36 : 24; // 12 bytes a pixel are more than 6 a point
        EXPECT_EQ(std::count(points16.begin(), points16.end(), 0), cleared);
    }
}

TEST(PointCloud, HoldsEveryPixelInTheDepthCamerasFrame) {
    const float k[4] = {500, 250, 2, 1};
    const Depth depth = {1000, 0, -32768, 777};
    float points[12];
    ASSERT_EQ(Transform(depth, 2, points, nullptr, 0, k, nullptr, nullptr, nullptr), 0);
    const std::vector<float> expected = {-4, -4, 1000, 0, 0, 0, 131.072F, 0, -32768, -1.554F, 0, 777};
    EXPECT_THAT(points, testing::Pointwise(testing::FloatEq(), expected));
    int16_t points16[24]; // of 6 bytes; 8 are cleared
    ASSERT_EQ(Transform(depth, 2, points16, nullptr, 0, k, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(Depth(points16, points16 + 12), (Depth{-4, -4, 1000, 0, 0, 0, 131, 0, -32768, -1, 0, 777}));
    const float flat[4] = {0, 0.02F, 1, 1};
    ASSERT_EQ(Transform(Depth{1000}, 1, points, nullptr, 0, flat, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(points[0], -1000.0F / 1.1920929e-7F) << "a focal length of zero is no fault";
    ASSERT_EQ(Transform(Depth{1000}, 1, points16, nullptr, 0, flat, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(Depth(points16, points16 + 2), (Depth{0, 15537})) << "the low 16 bits";
}

TEST(MovedPoints, StandAtTheirSourcePixelAndSkipMissingDepth) {
    const float t[12] = {0, -1, 0, 10, 1, 0, 0, 20, 0, 0, 1, 30}; // a quarter turn about the optical axis
    const float k[4] = {100, 100, 0, 0};
    float points[12];
    ASSERT_EQ(Transform(Depth{0, 1000, -5, 500}, 2, points, nullptr, 0, k, t, nullptr, nullptr), 0);
    EXPECT_THAT(points, testing::ElementsAre(0, 0, 0, 10, 30, 1030, 0, 0, 0, 5, 25, 530));
}

TEST(MovedPoints, LieOnTheDistortedRayAndAreRegisteredThere) {
    const float distortion[4] = {0.11F, -0.07F, 0.013F, -0.021F};
    const float k[4] = {100, 100, -37, 52}; // the first pixel looks along (0.37, -0.52)
    const float onRow[4] = {1000, 0, 0, 0}; // a target one row tall
    Depth depth(1000);
    depth[0] = 2000;
    std::vector<float> points(3 * depth.size());
    ASSERT_EQ(Transform(depth, 1000, points.data(), nullptr, 0, k, kIdentity, nullptr, distortion), 0);
    EXPECT_NEAR(points[0], 0.36297497 * 2000, 0.002);
    EXPECT_NEAR(points[1], -0.51685294 * 2000, 0.002);
    EXPECT_EQ(points[2], 2000);
    Depth target(depth.size());
    ASSERT_EQ(Transform(depth, 1000, points.data(), target.data(), 1000, k, kIdentity, onRow, distortion), 0);
    EXPECT_EQ(target[362], 2000);
    EXPECT_NEAR(points[3 * 362 + 1], -0.51685294 * 2000, 0.002);
}

TEST(Registration, TruncatesTowardZeroAndDropsWhatFallsOutside) {
    const struct {
        float m_column, m_row;          // of the first of 4 x 3 pixels in the target
        int32_t m_targetWidth, m_place; // the target is as tall as the source; 12: nowhere
    } kCases[] = {{0, 0, 4, 0},        {2.9F, 1.9F, 4, 6}, {-0.5F, -0.5F, 4, 0}, {3.9F, 0, 4, 3},
                  {1.5F, 2.9F, 2, 5},  {2, 0, 2, 12},      {-1, 0, 4, 12},       {0, -1, 4, 12},
                  {4, 0, 4, 12},       {0, 3, 4, 12},      {1e20F, 0, 4, 12},    {NAN, 0, 4, 12},
                  {0, INFINITY, 4, 12}};
    for (const auto& [column, row, targetWidth, place] : kCases) {
        const Depth depth = {100, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        const float k[4] = {1, 1, 0, 0};
        const float k2[4] = {1, 1, column, row};
        Depth target(12);
        EXPECT_EQ(OXB3D_BINOSTEREO_Comn_Trans_f32(depth.data(), 4, 4, 3, nullptr, target.data(), targetWidth,
                                                  k, kIdentity, k2, nullptr),
                  0);
        EXPECT_EQ(std::find(target.begin(), target.end(), 100) - target.begin(), place)
            << column << ' ' << row;
    }
}

TEST(Registration, KeepsTheNearestAndOnATieTheFirst) {
    using Winner = std::pair<int, long>; // depth and source column
    const auto winner = [](const Depth& depth, const float* transform) {
        const float k[4] = {1, 1, 0, 0};
        const float k2[4] = {0, 0, 1, 0}; // every pixel lands in column 1 of row 0
        int16_t target[3];
        float points[9];
        EXPECT_EQ(Transform(depth, 3, points, target, 3, k, transform, k2, nullptr), 0);
        return Winner{target[1], std::lround(points[3] / points[5])};
    };
    EXPECT_EQ(winner({300, 200, 250}, kIdentity), (Winner{200, 1}));
    EXPECT_EQ(winner({0, 200, 200}, kIdentity), (Winner{200, 1}));
    EXPECT_EQ(winner({-7, 0, 50}, kIdentity), (Winner{50, 2}));
    const float lift[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 2, 0}; // doubles the depth
    EXPECT_EQ(winner({20000, 15000, 0}, lift).first, -25536)
        << "stored in 16 bits, less than any later depth";
}

} // namespace
