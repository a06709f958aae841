// Rectification: the maps against a computation in double precision, and process types 1 and 5 on cameras of which the
// ground truth is known: they see a painted plane. Relies on the example where it is built.
#include "algorithm/binostereo/Regions.h"
#include "tests/algorithm/StereoRig.h"
#include "tests/algorithm/TestObject.h"
#include "tests/support/Files.h"

#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

using Camera = OXB3D_BINOSTEREO_CAMERA;
using Pair = OXB3D_BINOSTEREO_IMAGE_PAIR;
using Grey = std::vector<uint8_t>;

constexpr Camera kPlain = {{500, 0, 320, 0, 500, 240, 0, 0, 1}, {}};
constexpr Camera kBarrel = {{520, 0, 311, 0, 516, 247, 0, 0, 1}, {-0.21F, 0.06F, 0.0012F, -0.0009F, -0.008F}};
constexpr Camera kPincushion = {{498, 0, 331, 0, 503, 229, 0, 0, 1},
                                {0.11F, -0.03F, -0.0007F, 0.0015F, 0.002F}};
const StereoRig kRigs[] = {
    {kPlain, kPlain, Turn({0, 0, 0}), {-80, 0, 0}},
    {kBarrel, kPincushion, Turn({0.02, 0.09, -0.03}), {-80, 4, 6}},  // verging
    {kBarrel, kBarrel, Turn({-0.04, -0.05, 0.06}), {75, -6, 3}},     // right camera on the left
    {kPincushion, kBarrel, Turn({0.06, 0.01, 0.12}), {-60, 30, -8}}, // base line far from level
};

TEST(Map, AgreesWithDoublePrecision) {
    constexpr int32_t kWidth = 160;
    constexpr int32_t kHeight = 120;
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
        int used = 0;
        for (int32_t i = 0; i < kWidth * kHeight; ++i) {
            const uint8_t* w = &weights[size_t{4} * static_cast<size_t>(i)];
            const int32_t row = i / kWidth;
            const Vector3 ray = {(i % kWidth - shift - 82) / 118.0, (row - 57) / 121.0, 1};
            const auto [x, y] = Project(camera, Multiply(Transposed(turn), ray));
            const double margin = std::min({x - 1, kWidth - 1 - x, y - 1, kHeight - 1 - y});
            if (w[0] + w[1] + w[2] + w[3] == 0) {
                ASSERT_LT(margin, 1e-3) << i;
                ASSERT_EQ(index[static_cast<size_t>(i)], 0U);
                continue;
            }
            ++used;
            ASSERT_GT(margin, -1e-3) << i << ": the outermost row and column of the source are not used";
            ASSERT_EQ(w[0] + w[1] + w[2] + w[3], 64) << i;
            // The fractions are cut to eighths.
            const uint32_t sourceRow = index[static_cast<size_t>(i)] / kWidth;
            const double dx = x - (index[static_cast<size_t>(i)] % kWidth + (w[1] + w[3]) / 64.0);
            const double dy = y - (sourceRow + (w[2] + w[3]) / 64.0);
            ASSERT_TRUE(dx > -1e-3 && dx < 0.126 && dy > -1e-3 && dy < 0.126) << i << ": " << dx << ' ' << dy;
        }
        EXPECT_GT(used, kWidth * kHeight / 2);
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

ZQA_IMAGE Picture(const Grey& pixels) {
    return Image(1, 640, 480, pixels.data());
}

class CRectifier {
public:
    explicit CRectifier(const StereoRig& rig) { EXPECT_EQ(m_object.Process(1, rig.m_input, m_common), 0); }

    int32_t Run(const Grey& left, const Grey& right) {
        Pair out{Picture(m_left), Picture(m_right)};
        return m_object.Process(5, Pair{Picture(left), Picture(right)}, out);
    }
    // The source place that a rectified pixel looks at, cut to an eighth.
    // Not a number for a black pixel, which so fails every comparison.
    Pixel Source(ESide side, int32_t x, int32_t y) const {
        if (x < 0 || y < 0 || x >= 640 || y >= 480) {
            return {NAN, NAN};
        }
        const RectMap map = RectMapOf(*ObjectOf(m_object.Handle()), {640, 480}, side);
        const uint8_t* w = map.m_weightPlane + 4 * At(x, y, 640);
        const uint32_t index = map.m_indexPlane[At(x, y, 640)];
        const uint32_t row = index / 640;
        return w[0] == 0 ? Pixel{NAN, NAN}
                         : Pixel{index % 640 + (w[1] + w[3]) / 64.0, row + (w[2] + w[3]) / 64.0};
    }
    // Where the map of a side takes a place of its source image: Newton's steps on the map from its middle, halved
    // at first so that none leaves the map. No value where no rectified pixel looks at the place.
    std::optional<Pixel> Rectified(ESide side, const Pixel& source) const {
        Pixel at{320, 240};
        for (int step = 0; step < 15 && at.first >= 2 && at.second >= 2; ++step) {
            const auto x = static_cast<int32_t>(std::lround(at.first));
            const auto y = static_cast<int32_t>(std::lround(at.second));
            const Pixel here = Source(side, x, y);
            const auto slope = [&](int32_t dx, int32_t dy) {
                const Pixel before = Source(side, x - dx, y - dy);
                const Pixel after = Source(side, x + dx, y + dy);
                return Pixel{(after.first - before.first) / 4, (after.second - before.second) / 4};
            };
            const Pixel along = slope(2, 0);
            const Pixel down = slope(0, 2);
            const double reach =
                (step < 12 ? 0.5 : 1) / (along.first * down.second - down.first * along.second);
            const double du = reach * (source.first - here.first - 0.0625);
            const double dv = reach * (source.second - here.second - 0.0625);
            at = {x + down.second * du - down.first * dv, y + along.first * dv - along.second * du};
        }
        const bool isInside = at.first >= 2 && at.second >= 2 && at.first <= 637 && at.second <= 477;
        return isInside ? std::optional(at) : std::nullopt;
    }

    CTestObject m_object{1};
    OXB3D_BINOSTEREO_INIT_OUTPUT m_common{};
    Grey m_left = Grey(size_t{640} * 480);
    Grey m_right = m_left;
};

// A painted plane before a rig, oblique to its left camera.
struct PaintedPlane {
    explicit PaintedPlane(const StereoRig& rig) : m_rig(rig) {}

    // The point that a pixel of a side sees, in the left camera's frame.
    Vector3 Seen(ESide side, const Pixel& pixel) const {
        const OXB3D_BINOSTEREO_INIT_INPUT& rig = m_rig.m_input;
        Vector3 from{};
        Vector3 along = RayOf(side == ESide::Left ? rig.left : rig.right, pixel);
        if (side == ESide::Right) {
            Matrix3 turn{};
            std::copy_n(rig.rotation, 9, turn.begin());
            const Matrix3 back = Transposed(turn);
            from = Multiply(back, Vector3{-rig.translation[0], -rig.translation[1], -rig.translation[2]});
            along = Multiply(back, along);
        }
        const double distance = (3000 + 0.2 * from[0] - from[2]) / (along[2] - 0.2 * along[0]);
        return {from[0] + distance * along[0], from[1] + distance * along[1], from[2] + distance * along[2]};
    }
    double GreyAt(ESide side, const Pixel& pixel) const {
        const Vector3 point = Seen(side, pixel);
        return 128 + 60 * std::sin(point[0] / 50) + 60 * std::sin(point[1] / 40);
    }
    Grey Picture(ESide side) const {
        Grey grey;
        for (int32_t i = 0; i < 640 * 480; ++i) {
            const int32_t row = i / 640;
            grey.push_back(static_cast<uint8_t>(std::lround(GreyAt(side, {i % 640, row}))));
        }
        return grey;
    }

    const StereoRig& m_rig;
};

TEST(Rectification, MapsWhatBothCamerasSeeToOneRowAtItsTrueDistance) {
    for (const StereoRig& rig : kRigs) {
        SCOPED_TRACE(&rig - kRigs);
        const CRectifier rectifier(rig);
        const PaintedPlane plane(rig);
        const auto& common = rectifier.m_common;
        const float* t = rig.m_input.translation;
        EXPECT_EQ(common.fx, common.fy);
        EXPECT_LE(common.fx, 520) << "nothing is enlarged";
        for (const Pixel& corner : {Pixel{12, 12}, Pixel{627, 12}, Pixel{12, 467}, Pixel{627, 467}}) {
            EXPECT_TRUE(rectifier.Rectified(ESide::Left, corner) && rectifier.Rectified(ESide::Right, corner))
                << "the whole field of view stays: " << corner.first << ' ' << corner.second;
        }
        EXPECT_NEAR(common.baseLine, Norm({t[0], t[1], t[2]}), 1e-3);
        int seen = 0;
        int right = 0;
        for (int32_t i = 0; i < 80 * 60; ++i) {
            const Pixel pixel{i % 80 * 8, i / 80 * 8}; // NOLINT(bugprone-integer-division): whole rows
            const Vector3 point = plane.Seen(ESide::Left, pixel);
            const auto l = rectifier.Rectified(ESide::Left, pixel);
            const auto r = rectifier.Rectified(ESide::Right, Project(rig.m_input.right, rig.ToRight(point)));
            if (!l || !r) {
                continue;
            }
            // A negative depth would be an image turned over.
            const double depth =
                (t[0] < 0 ? 1 : -1) * double{common.fx} * double{common.baseLine} / (l->first - r->first);
            const Vector3 found = {(l->first - double{common.cx}) * depth / double{common.fx},
                                   (l->second - double{common.cy}) * depth / double{common.fy}, depth};
            const bool isInPlace = depth > 0 && std::fabs(Norm(found) / Norm(point) - 1) < 0.02;
            ++seen;
            right += isInPlace && std::fabs(l->second - r->second) < 0.5 ? 1 : 0;
        }
        EXPECT_GT(seen, 2000);
        EXPECT_GE(right, 0.95 * seen);
    }
}

TEST(Rectification, ShowsOnEachSideWhatItsSourceShows) {
    for (const StereoRig& rig : {kRigs[1], kRigs[3]}) {
        CRectifier rectifier(rig);
        const PaintedPlane plane(rig);
        ASSERT_EQ(rectifier.Run(plane.Picture(ESide::Left), plane.Picture(ESide::Right)), 0);
        for (const ESide side : {ESide::Left, ESide::Right}) {
            const Grey& rectified = side == ESide::Left ? rectifier.m_left : rectifier.m_right;
            for (int32_t i = 0; i < 640 * 480; i += 7) {
                const Pixel source = rectifier.Source(side, i % 640, i / 640);
                const double grey = std::isnan(source.first) ? 0 : plane.GreyAt(side, source);
                ASSERT_NEAR(rectified[static_cast<size_t>(i)], grey, 2.0) << i;
            }
        }
    }
}

TEST(Rectification, OfTwoLevelCamerasLeavesThemAsTheyAre) {
    const auto same = CRectifier(kRigs[0]).m_common;
    EXPECT_NEAR(same.fx, 500, 1e-3);
    EXPECT_NEAR(same.cx, 320, 1e-3);
    EXPECT_NEAR(same.cy, 240, 1e-3);
}

// An image without two pixels in a row alike.
Grey Ramp() {
    Grey image(size_t{640} * 480);
    for (size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<uint8_t>(i * 7);
    }
    return image;
}

TEST(Rectify, WorksOnAfterARefusedCalibrationAndInOtherMemoryButNotAfterARestart) {
    CRectifier rectifier(kRigs[1]);
    const Grey source = Ramp();
    ASSERT_EQ(rectifier.Run(source, source), 0);
    const Grey left = rectifier.m_left;
    const Grey right = rectifier.m_right;
    OXB3D_BINOSTEREO_INIT_INPUT refused = kRigs[2].m_input;
    refused.translation[0] = NAN;
    EXPECT_EQ(rectifier.m_object.Process(1, refused, rectifier.m_common), 0x10000000);
    ASSERT_EQ(rectifier.Run(source, source), 0);
    EXPECT_TRUE(rectifier.m_left == left && rectifier.m_right == right);

    const OXB3D_BINOSTEREO_ABILITY larger = Ability(5, 800, 600);
    CMemory memory(larger);
    void* handle = rectifier.m_object.Handle();
    ASSERT_EQ(OXB3D_BINOSTEREO_Create(&larger, memory.Tab(), &handle), 0);
    rectifier.m_left.assign(source.size(), 0);
    rectifier.m_right = rectifier.m_left;
    Pair in{Picture(source), Picture(source)};
    Pair out{Picture(rectifier.m_left), Picture(rectifier.m_right)};
    ASSERT_EQ(OXB3D_BINOSTEREO_Process(handle, 5, &in, sizeof in, &out, sizeof out), 0);
    EXPECT_TRUE(rectifier.m_left == left && rectifier.m_right == right);
    EXPECT_EQ(OXB3D_BINOSTEREO_Restart(handle), 0);
    EXPECT_EQ(OXB3D_BINOSTEREO_Process(handle, 5, &in, sizeof in, &out, sizeof out), 0x10000000);
}

#ifdef EXAMPLE_RECTIFY
TEST(RectifyExample, WritesWhatTheProcessesDeliver) {
    const CWorkFolder folder;
    const auto pgm = [](const Grey& image) {
        return "P5\n640 480\n255\n" + std::string(image.begin(), image.end());
    };
    const Grey left = Ramp();
    const Grey right(left.rbegin(), left.rend());
    WriteFile("left.pgm", pgm(left));
    WriteFile("right.pgm", pgm(right));
    std::ostringstream
        calibration; // both cameras, rotation and translation stand one after the other in the record
    calibration.precision(9);
    for (size_t i = 0; i < 40; ++i) {
        calibration << reinterpret_cast<const float*>(&kRigs[1].m_input.left)[i] << '\n';
    }
    WriteFile("calibration.txt", calibration.str());
    const auto run = [](const std::string& arguments) {
        return std::system((std::string(EXAMPLE_RECTIFY) + ' ' + arguments).c_str());
    };
    ASSERT_EQ(run("calibration.txt left.pgm right.pgm left_out.pgm right_out.pgm"), 0);
    CRectifier rectifier(kRigs[1]);
    ASSERT_EQ(rectifier.Run(left, right), 0);
    EXPECT_TRUE(ReadFile("left_out.pgm") == pgm(rectifier.m_left));
    EXPECT_TRUE(ReadFile("right_out.pgm") == pgm(rectifier.m_right));
    EXPECT_NE(run("left.pgm left.pgm right.pgm left_out.pgm right_out.pgm 2>/dev/null"), 0);
}
#endif

} // namespace
