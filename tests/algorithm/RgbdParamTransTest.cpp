// Process type 9: what is known of the camera that depth is seen by, whose turn no record says, and that a registration with
// the result lands where the color camera sees the point.
#include "algorithm/binostereo/Regions.h"
#include "tests/algorithm/Rigs.h"

#include <climits>

using namespace ox3d::stereo;
using namespace ox3d::test;

namespace {

using Param = OXB3D_BINOSTEREO_RGBD_PARAM;
using Input = OXB3D_BINOSTEREO_RGBD_PARAM_TRANS_INPUT;

static_assert(sizeof(Param) == 192 && offsetof(Param, color) == 72 && offsetof(Param, rotation) == 128 &&
              sizeof(Input) == 224 && offsetof(Input, rig) == 192 &&
              offsetof(Input, targetColorWidth) == 208);

constexpr Camera kColor = {{940, 0, 655, 0, 936, 487, 0, 0, 1}, {0.08F, -0.05F, 0.0006F, -0.0011F, 0}};
const Matrix3 kTurned = Turn({0.03, -0.05, 0.01});
const Vector3 kMoved = {-31, 2.5, -4};

Input Calibrated(const Rig* rig) {
    const Rig color = StereoRig(kBarrel, kColor, kTurned, kMoved);
    Input in{};
    in.param = {640, 480, rig == nullptr ? kPlain : rig->left, 1280, 960, kColor, {}, {}, {}};
    std::copy(std::begin(color.rotation), std::end(color.rotation), in.param.rotation);
    std::copy(std::begin(color.translation), std::end(color.translation), in.param.translation);
    in.rig = rig;
    in.targetDepthWidth = 640, in.targetDepthHeight = 480;
    in.targetColorWidth = 1280, in.targetColorHeight = 960;
    return in;
}

TEST(RgbdParamTrans, GivesBackWhatNeedsNoChange) {
    CTestObject object(16);
    const Input in = Calibrated(nullptr);
    Param out{};
    EXPECT_EQ(object.Process(9, in, out), 0);
    const auto* const bytes = reinterpret_cast<const uint8_t*>(&out);
    EXPECT_TRUE(std::equal(bytes, bytes + sizeof out, reinterpret_cast<const uint8_t*>(&in.param)));
}

TEST(RgbdParamTrans, ScalesCamerasFromBorderToBorder) {
    CTestObject object(16);
    Input in = Calibrated(nullptr);
    in.targetDepthWidth = 320, in.targetDepthHeight = 960;
    in.targetColorWidth = 427, in.targetColorHeight = 1;
    Param out{};
    ASSERT_EQ(object.Process(9, in, out), 0);
    EXPECT_EQ(out.depthWidth, 320);
    EXPECT_EQ(out.colorHeight, 1);
    const Vector3 rays[] = {{0.3, -0.2, 1}, {-0.4, 0.1, 1}, {0, 0, 1}};
    for (const Vector3& ray : rays) {
        const auto [x, y] = Project(in.param.depth, ray);
        const auto [scaledX, scaledY] = Project(out.depth, ray);
        EXPECT_NEAR((scaledX + 0.5) / 320, (x + 0.5) / 640, 1e-6);
        EXPECT_NEAR((scaledY + 0.5) / 960, (y + 0.5) / 480, 1e-6);
        EXPECT_NEAR((Project(out.color, ray).first + 0.5) / 427, (Project(kColor, ray).first + 0.5) / 1280,
                    1e-6);
    }
}

// The turn of the left camera follows from both rotations. It is that of type 1: it lays the base line along the rows, and the
// maps take the left image's pixels from where it says.
TEST(RgbdParamTrans, TakesTheCameraOfTheDepthImage) {
    for (const Rig& rig : {kLevel, kVerging, kFarFromLevel}) {
        CTestObject object(17);
        OXB3D_BINOSTEREO_INIT_OUTPUT common{};
        ASSERT_EQ(object.Process(1, rig, common), 0);
        Param out{};
        ASSERT_EQ(object.Process(9, Calibrated(&rig), out), 0);
        EXPECT_EQ(out.depth.matrix[0], common.fx);
        EXPECT_EQ(out.depth.matrix[4], common.fy);
        EXPECT_EQ(out.depth.matrix[2], common.cx);
        EXPECT_EQ(out.depth.matrix[5], common.cy);
        EXPECT_EQ(out.depth.distortion[0], 0);
        EXPECT_EQ(out.translation[0], static_cast<float>(kMoved[0]));
        const Matrix3 left = Multiply(Transposed(Widened(out.rotation)), kTurned);
        const Matrix3 right = Multiply(left, Transposed(Widened(rig.rotation)));
        const Vector3 base =
            Multiply(right, Vector3{rig.translation[0], rig.translation[1], rig.translation[2]});
        const double length = common.baseLine;
        EXPECT_NEAR(base[0], -length, 1e-6 * length);
        EXPECT_NEAR(base[1], 0, 1e-6 * length);
        EXPECT_NEAR(base[2], 0, 1e-6 * length);
        const uint32_t* const index =
            RectMapOf(*ObjectOf(object.Handle()), {640, 480}, ESide::Left).m_indexPlane;
        for (const auto& [x, y] : {std::pair{200, 200}, {320, 240}, {380, 270}}) {
            const Vector3 ray = {(x - static_cast<double>(common.cx)) / common.fx,
                                 (y - static_cast<double>(common.cy)) / common.fy, 1};
            const Pixel source = Project(rig.left, Multiply(Transposed(left), ray));
            const uint32_t column = index[At(x, y, 640)] % 640;
            const uint32_t row = index[At(x, y, 640)] / 640;
            EXPECT_NEAR(column, source.first, 1.01);
            EXPECT_NEAR(row, source.second, 1.01);
        }
    }
}

TEST(RgbdParamTrans, LetsARegistrationLandWhereTheColorCameraSees) {
    CTestObject object(17 + 32);
    Param out{};
    const Input in = Calibrated(&kVerging);
    ASSERT_EQ(object.Process(9, in, out), 0);
    const Matrix3 left = Multiply(Transposed(Widened(out.rotation)), kTurned);
    std::vector<int16_t> depth(size_t{640} * 480, 900);
    std::vector<float> points(depth.size() * 3);
    const auto intrinsics = [](const Camera& camera) {
        return std::vector<float>{camera.matrix[0], camera.matrix[4], camera.matrix[2], camera.matrix[5]};
    };
    const std::vector<float> source = intrinsics(out.depth);
    const std::vector<float> target = intrinsics(out.color);
    float transform[12];
    for (size_t row = 0; row < 3; ++row) {
        std::copy_n(out.rotation + 3 * row, 3, transform + 4 * row);
        transform[4 * row + 3] = out.translation[row];
    }
    OXB3D_BINOSTEREO_COMMON_DATA_TRANS_OUTPUT moved = {nullptr, points.data(), {}};
    const OXB3D_BINOSTEREO_COMMON_DATA_TRANS_INPUT trans = {
        Image(3, depth.data()), source.data(), transform, target.data(), out.color.distortion, {}};
    ASSERT_EQ(object.Process(15, trans, moved), 0);
    double worst = 0;
    for (int32_t y = 0; y < 480; y += 31) {
        for (int32_t x = 0; x < 640; x += 29) {
            // As the factory sees it: a point of the left camera's frame.
            const Vector3 ray = {900 * (x - static_cast<double>(source[2])) / source[0],
                                 900 * (y - static_cast<double>(source[3])) / source[1], 900};
            Vector3 point = Multiply(kTurned, Multiply(Transposed(left), ray));
            for (size_t i = 0; i < 3; ++i) {
                point[i] += kMoved[i];
            }
            const auto [column, row] = Project(kColor, point);
            const float* const p = points.data() + 3 * At(x, y, 640);
            worst =
                std::max({worst, std::abs(static_cast<double>(p[0] / p[2] * target[0] + target[2]) - column),
                          std::abs(static_cast<double>(p[1] / p[2] * target[1] + target[3]) - row)});
        }
    }
    EXPECT_LT(worst, 0.05);
}

TEST(RgbdParamTrans, RefusesWhatIsNoCalibrationWithoutAWord) {
    CTestObject object(16);
    const auto status = [&object](auto change) {
        Rig rig = kVerging;
        Input in = Calibrated(&rig);
        change(in, rig);
        Param out{};
        out.depthWidth = -77;
        const int32_t result = object.Process(9, in, out);
        EXPECT_TRUE(result == 0 || (out.depthWidth == -77 && out.color.matrix[0] == 0));
        return result;
    };
    constexpr int32_t kSize = 0x10000008, kGeneral = 0x10000000;
    EXPECT_EQ(status([](Input&, Rig&) {}), 0);
    EXPECT_EQ(status([](Input& in, Rig&) { in.targetDepthWidth = 0; }), kSize);
    EXPECT_EQ(status([](Input& in, Rig&) { in.targetColorHeight = INT_MIN; }), kSize);
    EXPECT_EQ(status([](Input& in, Rig&) { in.param.colorWidth = 0; }), kSize);
    EXPECT_EQ(status([](Input&, Rig& rig) { rig.height = 481; }), kSize);
    EXPECT_EQ(status([](Input& in, Rig&) { in.param.depth.matrix[0] = 0; }), kGeneral);
    EXPECT_EQ(status([](Input& in, Rig&) { in.param.color.distortion[4] = NAN; }), kGeneral);
    EXPECT_EQ(status([](Input& in, Rig&) { in.param.rotation[8] = -1; }), kGeneral);
    EXPECT_EQ(status([](Input& in, Rig&) { in.param.translation[1] = INFINITY; }), kGeneral);
    EXPECT_EQ(status([](Input& in, Rig&) {
                  in.param.color.matrix[4] = 1e38F;
                  in.targetColorHeight = INT_MAX;
              }),
              kGeneral);
    EXPECT_EQ(status([](Input&, Rig& rig) { rig.left.matrix[5] = NAN; }), kGeneral);
    EXPECT_EQ(status([](Input&, Rig& rig) { rig = kRightOnTheLeft; }), kGeneral);
    EXPECT_EQ(status([](Input&, Rig& rig) { std::fill_n(rig.translation, 3, 0.0F); }), kGeneral);
}

} // namespace
