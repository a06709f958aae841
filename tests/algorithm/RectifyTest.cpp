// Rectification: the maps against a computation in double precision, and process types 1 and 5 on cameras of which it
// is known where both see a point. Relies on the example where it is built.
#include "algorithm/binostereo/Regions.h"
#include "tests/algorithm/Rigs.h"
#include "tests/support/Files.h"

#include <cstdlib>
#include <sstream>
#include <string>

using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

using Grey = std::vector<uint8_t>;

TEST(Map, AgreesWithDoublePrecision) {
    constexpr int32_t kWidth = 160, kHeight = 120;
    const Camera camera = {{131, 0, 77, 0, 127, 63, 0, 0, 1}, {-0.21F, 0.06F, 0.0012F, -0.0009F, -0.008F}};
    const Matrix3 turn = Turn({0.05, -0.08, 0.03});
    const float p[12] = {118, 0, 82, -900, 0, 121, 57, 0, 0, 0, 1, 0};
    const float flat[12] = {100, 0, 3, 0, 200, 0, 6, 0, 0, 0, 1, 0};
    float r[9];
    std::copy(turn.begin(), turn.end(), r);
    for (const int32_t shift : {0, 9, -9}) {
        std::vector<uint32_t> index(At(0, kHeight, kWidth), 7);
        Grey weights(index.size() * 4, 7);
        double scratch[32];
        const auto make = [&](const float* projection, void* work) {
            return OXB3D_BINOSTEREO_RCT_GeneUndistortRectMap(kWidth, kHeight, &camera, shift, r, projection,
                                                             index.data(), weights.data(), work);
        };
        ASSERT_EQ(make(p, scratch), 0);
        EXPECT_EQ(make(flat, scratch), 0x10000000);
        EXPECT_EQ(make(p, nullptr), 0x10000014);
        for (size_t i = 0; i < index.size(); ++i) {
            const auto column = static_cast<int32_t>(i % kWidth);
            const auto row = static_cast<int32_t>(i / kWidth);
            const Vector3 ray = {(column - shift - 82) / 118.0, (row - 57) / 121.0, 1};
            const auto [x, y] = Project(camera, Multiply(Transposed(turn), ray));
            const double margin = std::min({x - 1, kWidth - 1 - x, y - 1, kHeight - 1 - y});
            const uint8_t* w = &weights[4 * i];
            if (w[0] + w[1] + w[2] + w[3] == 0) {
                ASSERT_LT(margin, 1e-3) << i;
                ASSERT_EQ(index[i], 0U);
                continue;
            }
            ASSERT_GT(margin, -1e-3) << i << ": the outermost row and column of the source are not used";
            ASSERT_EQ(w[0] + w[1] + w[2] + w[3], 64) << i;
            // The fractions are cut to eighths.
            const uint32_t sourceRow = index[i] / kWidth;
            const double dx = x - (index[i] % kWidth + (w[1] + w[3]) / 64.0);
            const double dy = y - (sourceRow + (w[2] + w[3]) / 64.0);
            ASSERT_TRUE(dx > -1e-3 && dx < 0.126 && dy > -1e-3 && dy < 0.126) << i << ": " << dx << ' ' << dy;
        }
    }
}

TEST(Remap, WeighsFourPixelsAndNeverLeavesTheSource) {
    const CPlane<uint8_t> source(Grey{10, 20, 30, 40, 50, 60, 70, 80, 91});
    const uint32_t index[9] = {0, 4, 4, 5, 0xFFFFFFFF};
    const uint8_t weights[36] = {64, 0, 0, 0, 0, 0, 0, 64, 7, 49, 1, 7, 64, 0, 0, 0, 16, 16, 16, 16};
    Grey target(9, 1);
    ASSERT_EQ(OXB3D_BINOSTEREO_RCT_RectifyImage(source.Data(), index, weights, 3, 3, target.data()), 0);
    EXPECT_EQ(target, (Grey{10, 91, (7 * 50 + 49 * 60 + 80 + 7 * 91) / 64, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(OXB3D_BINOSTEREO_RCT_RectifyImage(nullptr, index, weights, 3, 3, target.data()), 0x10000014);
}

// Grey values that rise by a fifth from column to column, or fall, and rise by a fifth from row to row.
double SlopeAt(ESide side, double column, double row) {
    return ((side == ESide::Left ? column : 640 - column) + row) / 5;
}

struct Rectifier {
    explicit Rectifier(const Rig& rig) {
        EXPECT_EQ(m_object.Process(1, rig, m_common), 0);
        for (int32_t i = 0; i < 640 * 480; ++i) {
            const int32_t row = i / 640;
            m_left.push_back(static_cast<uint8_t>(SlopeAt(ESide::Left, i % 640, row)));
            m_right.push_back(static_cast<uint8_t>(SlopeAt(ESide::Right, i % 640, row)));
        }
    }

    // Rectifies the slopes in an object.
    int32_t Run(void* object) {
        OXB3D_BINOSTEREO_IMAGE_PAIR in{Image(1, m_left.data()), Image(1, m_right.data())};
        m_rectified[0] = m_rectified[1] = Grey(m_left.size());
        decltype(in) out{Image(1, m_rectified[0].data()), Image(1, m_rectified[1].data())};
        return OXB3D_BINOSTEREO_Process(object, 5, &in, sizeof in, &out, sizeof out);
    }

    // The source place that a rectified pixel looks at, within a 16th. Not a number for a black pixel.
    Pixel Source(ESide side, int32_t x, int32_t y) const {
        const RectMap map = RectMapOf(*ObjectOf(m_object.Handle()), {640, 480}, side);
        const uint8_t* w = map.m_weightPlane + 4 * At(x, y, 640);
        const uint32_t index = map.m_indexPlane[At(x, y, 640)];
        const uint32_t row = index / 640;
        return w[0] == 0 ? Pixel{NAN, NAN}
                         : Pixel{index % 640 + (w[1] + w[3] + 4) / 64.0, row + (w[2] + w[3] + 4) / 64.0};
    }

    bool Shows(ESide side, const Pixel& place) const {
        for (int32_t i = 0; i < 640 * 480; ++i) {
            const auto [x, y] = Source(side, i % 640, i / 640);
            if (std::hypot(x - place.first, y - place.second) < 2) {
                return true;
            }
        }
        return false;
    }

    CTestObject m_object{1};
    OXB3D_BINOSTEREO_INIT_OUTPUT m_common{};
    Grey m_left, m_right;
    Grey m_rectified[2];
};

// Where the right camera sees the point that a pixel of the left one sees at a distance. The pixel's ray comes from
// fixed-point iteration on the forward model.
Pixel SeenOnTheRight(const Rig& rig, const Pixel& left, double distance) {
    Vector3 ray = {0, 0, 1};
    for (int i = 0; i < 15; ++i) {
        const auto [u, v] = Project(rig.left, ray);
        ray[0] += (left.first - u) / rig.left.matrix[0];
        ray[1] += (left.second - v) / rig.left.matrix[4];
    }
    const double scale = distance / Norm(ray);
    Vector3 moved{};
    for (size_t row = 0; row < 3; ++row) {
        const float* r = rig.rotation + 3 * row;
        moved[row] = scale * (r[0] * ray[0] + r[1] * ray[1] + r[2]) + rig.translation[row];
    }
    return Project(rig.right, moved);
}

TEST(Rectification, ShowsWhatBothCamerasSeeInOneRowAtItsTrueDistance) {
    for (const Rig& rig : {kLevel, kVerging, kRightOnTheLeft, kFarFromLevel}) {
        SCOPED_TRACE(rig.translation[0]);
        const Rectifier rectifier(rig);
        const auto& common = rectifier.m_common;
        const float* t = rig.translation;
        EXPECT_EQ(common.fx, common.fy);
        EXPECT_NEAR(common.baseLine, Norm({t[0], t[1], t[2]}), 1e-3);
        for (const Pixel& corner : {Pixel{12, 12}, Pixel{627, 12}, Pixel{12, 467}, Pixel{627, 467}}) {
            EXPECT_TRUE(rectifier.Shows(ESide::Left, corner) && rectifier.Shows(ESide::Right, corner))
                << "the whole field of view stays: " << corner.first << ' ' << corner.second;
        }
        const int32_t disparity = t[0] < 0 ? 14 : -14;
        const double f = common.fx;
        const double depth = f * common.baseLine / 14;
        int32_t seen = 0;
        for (int32_t i = 0; i < 600 * 480; i += 7) {
            const int32_t x = 20 + i % 600;
            const int32_t y = i / 600;
            const Pixel left = rectifier.Source(ESide::Left, x, y);
            const Pixel right = rectifier.Source(ESide::Right, x - disparity, y);
            if (std::isnan(left.first) || std::isnan(right.first)) {
                continue;
            }
            ++seen;
            const double distance =
                Norm({(x - double{common.cx}) * depth / f, (y - double{common.cy}) * depth / f, depth});
            const auto [u, v] = SeenOnTheRight(rig, left, distance);
            ASSERT_NEAR(right.first, u, 0.16) << x << ' ' << y;
            ASSERT_NEAR(right.second, v, 0.16) << x << ' ' << y;
        }
        EXPECT_GT(seen, 10000);
    }
}

TEST(Rectification, TakesEachSidesPixelsFromItsOwnImage) {
    Rectifier rectifier(kVerging);
    ASSERT_EQ(rectifier.Run(rectifier.m_object.Handle()), 0);
    for (const ESide side : {ESide::Left, ESide::Right}) {
        for (int32_t i = 0; i < 640 * 480; i += 7) {
            const auto [column, row] = rectifier.Source(side, i % 640, i / 640);
            const double grey = std::isnan(column) ? 0 : SlopeAt(side, column, row);
            ASSERT_NEAR(rectifier.m_rectified[static_cast<int>(side)][At(i, 0, 640)], grey, 1.5) << i;
        }
    }
}

TEST(Rectification, OfTwoLevelCamerasLeavesThemAsTheyAreAndEnlargesNothing) {
    const auto same = Rectifier(kLevel).m_common;
    EXPECT_NEAR(same.fx, 500, 1e-3);
    EXPECT_NEAR(same.cx, 320, 1e-3);
    EXPECT_NEAR(same.cy, 240, 1e-3);
    Camera longer = kPincushion;
    longer.matrix[0] = longer.matrix[4] = 560;
    EXPECT_EQ(Rectifier(StereoRig(longer, kPincushion, Turn({}), {-80, 0, 0})).m_common.fx, 498);
}

TEST(Rectify, WorksOnAfterARefusedCalibrationAndInOtherMemoryButNotAfterARestart) {
    Rectifier rectifier(kVerging);
    void* handle = rectifier.m_object.Handle();
    ASSERT_EQ(rectifier.Run(handle), 0);
    const Grey rectified[2] = {rectifier.m_rectified[0], rectifier.m_rectified[1]};
    Rig refused = kRightOnTheLeft;
    refused.translation[0] = NAN;
    EXPECT_EQ(rectifier.m_object.Process(1, refused, rectifier.m_common), 0x10000000);
    ASSERT_EQ(rectifier.Run(handle), 0);
    EXPECT_TRUE(std::equal(rectified, rectified + 2, rectifier.m_rectified));

    const OXB3D_BINOSTEREO_ABILITY larger = Ability(5, 800, 600);
    CMemory memory(larger);
    ASSERT_EQ(OXB3D_BINOSTEREO_Create(&larger, memory.Tab(), &handle), 0);
    ASSERT_EQ(rectifier.Run(handle), 0);
    EXPECT_TRUE(std::equal(rectified, rectified + 2, rectifier.m_rectified));
    EXPECT_EQ(OXB3D_BINOSTEREO_Restart(handle), 0);
    EXPECT_EQ(rectifier.Run(handle), 0x10000000);
}

#ifdef EXAMPLE_RECTIFY
TEST(RectifyExample, WritesWhatTheProcessesDeliver) {
    const CWorkFolder folder;
    Rectifier rectifier(kVerging);
    ASSERT_EQ(rectifier.Run(rectifier.m_object.Handle()), 0);
    const auto pgm = [](const Grey& image) {
        return "P5\n640 480\n255\n" + std::string(image.begin(), image.end());
    };
    WriteFile("left.pgm", pgm(rectifier.m_left));
    WriteFile("right.pgm", pgm(rectifier.m_right));
    std::ostringstream numbers; // cameras, rotation and translation stand one after the other in the record
    numbers.precision(9);
    std::copy_n(reinterpret_cast<const float*>(&kVerging.left), 40,
                std::ostream_iterator<float>(numbers, "\n"));
    WriteFile("calibration.txt", numbers.str());
    const auto run = [](const std::string& arguments) {
        return std::system((std::string(EXAMPLE_RECTIFY) + ' ' + arguments).c_str());
    };
    ASSERT_EQ(run("calibration.txt left.pgm right.pgm left_out.pgm right_out.pgm"), 0);
    EXPECT_TRUE(ReadFile("left_out.pgm") == pgm(rectifier.m_rectified[0]));
    EXPECT_TRUE(ReadFile("right_out.pgm") == pgm(rectifier.m_rectified[1]));
    EXPECT_NE(run("left.pgm left.pgm right.pgm left_out.pgm right_out.pgm 2>/dev/null"), 0);
}
#endif

} // namespace
