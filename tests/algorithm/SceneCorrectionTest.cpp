// A rig that stands wrong is set right by scenes: the virtual camera's, and a slanted plane that is rendered through lenses.
// Judged by where the corrected rig has points whose places in both views are known exactly.
#include "algorithm/vision/SceneCorrection.h"
#include "tests/algorithm/Rigs.h"
#include "tests/algorithm/StereoPairs.h"
#include "virtual-camera/frames/FrameSource.h"
#include "virtual-camera/frames/SceneModel.h"

using namespace ox3d;
using namespace ox3d::test;
using vision::CorrectByScene;
using vision::SceneCorrection;
using Stand = vision::StereoRig;

namespace {

constexpr int32_t kWidth = 640;
constexpr int32_t kHeight = 480;
constexpr double kDegree = 3.14159265358979 / 180;

Stand Wide(const Rig& rig) {
    const auto lens = [](const Camera& camera) {
        vision::Lens wide{camera.matrix[0], camera.matrix[4], camera.matrix[2], camera.matrix[5], {}};
        std::copy(std::begin(camera.distortion), std::end(camera.distortion), wide.m_distortion);
        return wide;
    };
    return {lens(rig.left),
            lens(rig.right),
            Widened(rig.rotation),
            {rig.translation[0], rig.translation[1], rig.translation[2]}};
}

// Wrong by degrees: the right camera about its axes, the base line about the line of sight.
Stand Turned(Stand rig, const Vector3& degrees, double baseLine) {
    const Vector3 turn = {degrees[0] * kDegree, degrees[1] * kDegree, degrees[2] * kDegree};
    rig.m_rotation = Multiply(Turn(turn), rig.m_rotation);
    rig.m_translation = Multiply(Turn({0, 0, baseLine * kDegree}), rig.m_translation);
    return rig;
}

Stand Corrected(Stand rig, const SceneCorrection& correction) {
    rig.m_rotation = correction.m_rotation;
    rig.m_translation = correction.m_translation;
    return rig;
}

// By how many rows points at several distances are off where the pair is rectified as the rig says: 95 percent by less.
double RowErrorOf(const Stand& exact, const Stand& rig) {
    std::vector<double> errors;
    for (int32_t i = 0; i < 17 * 13 * 3; ++i) {
        Vector3 ray{};
        EXPECT_TRUE(RayOf(exact.m_left, {i % 17 * 39.0 + 8, i / 17 % 13 * 39.0 + 6}, &ray));
        const int32_t farther = i / 17 / 13;
        const double distance = 600 + 900.0 * farther;
        Vector3 right = Multiply(exact.m_rotation, ray);
        for (size_t axis = 0; axis < 3; ++axis) {
            right[axis] += exact.m_translation[axis] / distance;
        }
        const Vector3 plane = vision::Cross(rig.m_translation, Multiply(rig.m_rotation, ray));
        errors.push_back(rig.m_right.m_fy * std::abs(vision::Dot(plane, right)) /
                         (std::hypot(plane[0], plane[1]) * right[2]));
    }
    std::sort(errors.begin(), errors.end());
    return errors[errors.size() * 95 / 100];
}

// In scratch memory of exactly the size that was asked for.
bool Correct(const Stand& start, const std::vector<const Pair*>& pairs, SceneCorrection* correction) {
    std::vector<vision::ScenePair> views;
    for (const Pair* const pair : pairs) {
        const auto view = [pair](const std::vector<uint8_t>& pixels) {
            return vision::GreyView{pixels.data(), pair->m_width, pair->m_width, pair->m_height};
        };
        views.push_back({view(pair->m_left), view(pair->m_right)});
    }
    const CGuardedBlock scratch(vision::SceneScratchBytes(kWidth, kHeight));
    return CorrectByScene(start, views.data(), static_cast<int32_t>(views.size()), scratch.Data(),
                          correction);
}

Pair VirtualPair(uint64_t frame) {
    FrameSourceConfig config;
    config.m_noise = false;
    config.m_colorWidth = config.m_colorHeight = 0;
    std::string error;
    FrameImages images;
    EXPECT_TRUE(CreateFrameSource(config, &error)->Render(frame, false, true, &images)) << error;
    const auto middle = images.m_greyPair.begin() + kWidth * kHeight;
    return {kWidth, kHeight, {images.m_greyPair.begin(), middle}, {middle, images.m_greyPair.end()}};
}

Rig VirtualRig() {
    const PinholeCamera lens = CSceneModel::Get().DepthCamera(kWidth, kHeight);
    const Camera camera = {{static_cast<float>(lens.m_fx), 0, static_cast<float>(lens.m_cx), 0,
                            static_cast<float>(lens.m_fy), static_cast<float>(lens.m_cy), 0, 0, 1},
                           {}};
    return StereoRig(camera, camera, Turn({}), {-kSceneBaselineMm, 0, 0});
}

// How many of a hundred pixels have a depth where types 1 and 2 are given this rig.
double FillOf(const Pair& pair, const Rig& rig) {
    CTestObject object(1);
    OXB3D_BINOSTEREO_INIT_OUTPUT common{};
    std::vector<int16_t> found(size_t{kWidth} * kHeight);
    OXB3D_BINOSTEREO_DEPTH_OUTPUT out{{}, Image(3, found.data())};
    const OXB3D_BINOSTEREO_IMAGE_PAIR in{Image(1, pair.m_left.data()), Image(1, pair.m_right.data())};
    EXPECT_EQ(object.Process(1, rig, common) | object.SetParam(3, 48) | object.SetParam(4, 1) |
                  object.SetParam(5, 2) | object.Process(2, in, out),
              0);
    const auto none = static_cast<double>(std::count(found.begin(), found.end(), 0));
    return 100 - 100 * none / static_cast<double>(found.size());
}

using CalibOut = OXB3D_BINOSTEREO_CALIB_OUTPUT;

// Process type 7, in memory of exactly the size that it asks for.
int32_t RunOn(const Pair& pair, const Rig* start, CalibOut* out) {
    CTestObject object(8);
    const OXB3D_BINOSTEREO_IMAGE_PAIR images{Image(1, pair.m_left.data()), Image(1, pair.m_right.data())};
    const OXB3D_BINOSTEREO_CALIB_INPUT in{{}, 1, OXB3D_BINOSTEREO_CALIB_CORRECTION, &images, start, {}};
    return object.Process(7, in, *out);
}

TEST(SceneCorrection, RefusesARigThatIsNoneAndWritesNothing) {
    const std::vector<uint8_t> grey(size_t{kWidth} * kHeight, 90);
    const Pair flat{kWidth, kHeight, grey, grey};
    Rig none = kLevel;
    none.rotation[4] = NAN;
    Rig small = kLevel;
    small.width = 639;
    Rig still = kLevel;
    still.translation[0] = 0;
    for (const auto& [rig, status] : {std::pair<const Rig*, int32_t>{nullptr, 0x10000014},
                                      {&small, 0x10000008},
                                      {&none, 0x10000000},
                                      {&still, 0x10000000},
                                      {&kRightOnTheLeft, 0x10000000},
                                      {&kLevel, 0x10000000}}) {
        CalibOut out{};
        out.used = -77;
        EXPECT_EQ(RunOn(flat, rig, &out), status);
        EXPECT_TRUE(out.used == -77 && out.rig.width == 0);
    }
}

TEST(SceneCorrection, SetsARigRightByTheSceneOfTheVirtualCamera) {
    const Pair pair = VirtualPair(0);
    const Stand exact = Wide(VirtualRig());
    Rig right = VirtualRig();
    for (const auto& [degrees, baseLine] : {std::pair{Vector3{0, 0, 0}, 0.5},
                                            {Vector3{0.5, -0.5, 0.5}, 0.3},
                                            {Vector3{-0.5, 0.5, -0.5}, -0.5}}) {
        const Stand wrong = Turned(exact, degrees, baseLine);
        Rig start = VirtualRig();
        vision::Narrow(wrong.m_rotation, start.rotation);
        vision::Narrow(wrong.m_translation, start.translation);
        CalibOut out{};
        ASSERT_EQ(RunOn(pair, &start, &out), 0) << degrees[0];
        EXPECT_LT(RowErrorOf(exact, Wide(out.rig)), 0.25) << degrees[0];
        EXPECT_LT(out.rowErrorP95, 0.25) << degrees[0];
        EXPECT_TRUE(out.rmsBoth > 0 && out.rmsBoth < out.rowErrorP95 && out.used == 1 && out.mask == 1);
        EXPECT_NEAR(vision::Norm(Widened(out.rig.translation)), kSceneBaselineMm, 1e-4);
        right = out.rig;
    }
    EXPECT_GT(FillOf(pair, right), FillOf(pair, VirtualRig()) - 3);
}

// A plane through (0, 0, 1400) of the left camera's frame, nearer below and to the left, with a texture.
Pair Plane(const Stand& rig, double noise) {
    const CTexture texture(3);
    const Vector3 normal = {0.3, 0.7, 1};
    std::mt19937 random(1);
    std::normal_distribution<double> sensor(0, noise);
    const auto drawn = [&](const vision::Lens& lens, const Matrix3& toLeft, const Vector3& centre) {
        std::vector<uint8_t> pixels;
        for (int32_t i = 0; i < kWidth * kHeight; ++i) {
            Vector3 ray{};
            const int32_t y = i / kWidth;
            EXPECT_TRUE(RayOf(lens, {1.0 * (i - y * kWidth), 1.0 * y}, &ray));
            ray = Multiply(toLeft, ray);
            const double along = (1400 - vision::Dot(normal, centre)) / vision::Dot(normal, ray);
            const double grey =
                texture.At((centre[0] + along * ray[0]) / 4 + 4000, (centre[1] + along * ray[1]) / 4 + 4000);
            pixels.push_back(static_cast<uint8_t>(std::clamp(std::lround(grey + sensor(random)), 0L, 255L)));
        }
        return pixels;
    };
    const Matrix3 back = Transposed(rig.m_rotation);
    const Vector3 eye = Multiply(back, rig.m_translation);
    return {kWidth, kHeight, drawn(rig.m_left, Turn({}), {}),
            drawn(rig.m_right, back, {-eye[0], -eye[1], -eye[2]})};
}

TEST(SceneCorrection, SetsARigOfDistortingLensesRightByNoisyPairsOfWhichOneShowsNothing) {
    const Stand exact = Wide(kVerging);
    const Pair pair = Plane(exact, 3);
    const Pair flat{kWidth, kHeight, std::vector<uint8_t>(pair.m_left.size(), 90), pair.m_right};
    const Stand wrong = Turned(exact, {0.5, -0.4, -0.5}, 0.2);
    SceneCorrection correction{};
    ASSERT_TRUE(Correct(wrong, {&flat, &pair, &pair}, &correction));
    EXPECT_LT(RowErrorOf(exact, Corrected(wrong, correction)), 0.15);
    EXPECT_EQ(correction.m_pairs, 6U);
}

TEST(SceneCorrection, SaysNothingWhereTheImagesDo) {
    const Stand rig = Wide(kLevel);
    const size_t pixels = size_t{kWidth} * kHeight;
    std::mt19937 random(4);
    Pair noise{kWidth, kHeight, std::vector<uint8_t>(pixels), std::vector<uint8_t>(pixels)};
    for (std::vector<uint8_t>* const view : {&noise.m_left, &noise.m_right}) {
        std::generate(view->begin(), view->end(), [&random] { return static_cast<uint8_t>(random()); });
    }
    const Pair flat{kWidth, kHeight, std::vector<uint8_t>(pixels, 9), std::vector<uint8_t>(pixels, 9)};
    const Pair tiny{3, 2, std::vector<uint8_t>(6, 9), std::vector<uint8_t>(6, 9)};
    SceneCorrection correction{};
    correction.m_matches = 77;
    for (const Pair* const pair : std::initializer_list<const Pair*>{&noise, &flat, &tiny}) {
        EXPECT_FALSE(Correct(rig, {pair}, &correction));
    }
    EXPECT_FALSE(Correct(rig, {}, &correction));
    EXPECT_EQ(correction.m_matches, 77);
}

} // namespace
