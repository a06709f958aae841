// Process type 12: boxes in front of a wall, seen by a depth and a color camera of which all is known.
#include "tests/algorithm/Rigs.h"

using namespace ox3d::test;

namespace {

using Param = OXB3D_BINOSTEREO_RGBD_PARAM;
using Input = OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_INPUT;
using Output = OXB3D_BINOSTEREO_RGBD_CALIB_SCORE_OUTPUT;

static_assert(sizeof(Input) == 144 && offsetof(Input, param) == 128 && sizeof(Output) == 16);

constexpr int32_t kWidth = 640, kHeight = 480;
const Param kTrue = {kWidth,
                     kHeight,
                     kPlain,
                     kWidth,
                     kHeight,
                     {{520, 0, 316, 0, 518, 244, 0, 0, 1}, {}},
                     {1, 0, 0, 0, 1, 0, 0, 0, 1},
                     {-30, 2, 1},
                     {}};

struct Box {
    double m_left, m_top, m_right, m_bottom, m_depth;
    uint8_t m_grey;
};
constexpr Box kBoxes[] = {{-300, -200, -120, 60, 800, 170},
                          {60, -180, 240, -30, 700, 60},
                          {40, 70, 300, 220, 900, 200},
                          {-260, 120, -90, 260, 1000, 40},
                          {-1e6, -1e6, 1e6, 1e6, 1600, 110}};

// What a ray from a place (in the depth camera's frame) meets first.
Box Met(const Vector3& from, double x, double y) {
    Box met = kBoxes[4];
    for (const Box& box : kBoxes) {
        const double length = box.m_depth - from[2];
        const double column = from[0] + length * x;
        const double row = from[1] + length * y;
        const bool isHit =
            column >= box.m_left && column <= box.m_right && row >= box.m_top && row <= box.m_bottom;
        met = isHit && box.m_depth < met.m_depth ? box : met;
    }
    return met;
}

struct Scene {
    CPlane<int16_t> m_depth{size_t{kWidth} * kHeight};
    CPlane<uint8_t> m_grey{size_t{kWidth} * kHeight};

    explicit Scene(int32_t flatDepth = 0) {
        for (int32_t y = 0; y < kHeight; ++y) {
            for (int32_t x = 0; x < kWidth; ++x) {
                const Box near = Met({0, 0, 0}, (x - 320) / 500.0, (y - 240) / 500.0);
                m_depth.Data()[At(x, y, kWidth)] =
                    static_cast<int16_t>(flatDepth != 0 ? flatDepth : near.m_depth);
                double grey = 0; // of nine places in the pixel
                for (int32_t part = 0; part < 9; ++part) {
                    const double column = x + (part % 3 - 1) / 3.0;
                    const double row = y + (part / 3 % 3 - 1) / 3.0;
                    grey += Met({30, -2, -1}, (column - 316) / 520, (row - 244) / 518).m_grey / 9.0;
                }
                m_grey.Data()[At(x, y, kWidth)] = static_cast<uint8_t>(std::lround(grey));
            }
        }
    }
    Input Record(const Param& param) const {
        return {Image(3, m_depth.Data()), Image(1, m_grey.Data()), &param, {}};
    }
};

TEST(Registration, FindsByHowMuchColorStandsOff) {
    const Scene scene;
    CTestObject object(2);
    const double shifts[][2] = {{0, 0}, {1, 0}, {2, -1}, {4, 2}, {-2.5, 1.5}, {-5, -5}};
    for (const auto& [right, down] : shifts) {
        Param param = kTrue;
        param.color.matrix[2] += static_cast<float>(right);
        param.color.matrix[5] += static_cast<float>(down);
        Output out{};
        ASSERT_EQ(object.Process(12, scene.Record(param), out), 0);
        EXPECT_NEAR(out.dx, -right, 0.25);
        EXPECT_NEAR(out.dy, -down, 0.25);
        EXPECT_EQ(out.score, static_cast<int32_t>(100 * (1 - std::hypot(out.dx, out.dy) / 8)));
        EXPECT_EQ(out.passed, out.score >= 80 ? 1U : 0U);
    }
}

TEST(Registration, SaysNothingOfAWall) {
    const Scene scene(1500);
    CTestObject object(2);
    Output out{7, 7, 7, 7};
    ASSERT_EQ(object.Process(12, scene.Record(kTrue), out), 0);
    EXPECT_EQ(out.score, 0);
    EXPECT_EQ(out.passed, 0U);
    EXPECT_EQ(out.dx, 0);
}

TEST(Registration, RefusesWhatDoesNotBelongTogetherWithoutAWord) {
    const Scene scene;
    CTestObject object(2);
    const auto status = [&](auto change) {
        Param param = kTrue;
        Input in = scene.Record(param);
        change(in, param);
        Output out{-77, 0, 0, 0};
        const int32_t result = object.Process(12, in, out);
        EXPECT_EQ(out.score == -77, result != 0);
        return result;
    };
    EXPECT_EQ(status([](Input&, Param&) {}), 0);
    EXPECT_EQ(status([](Input& in, Param&) { in.param = nullptr; }), 0x10000014);
    EXPECT_EQ(status([](Input& in, Param&) { in.depth.format = 1; }), 0x10000007);
    EXPECT_EQ(status([](Input& in, Param&) { in.grey.format = 3; }), 0x10000007);
    EXPECT_EQ(status([](Input&, Param& param) { param.depthWidth = 641; }), 0x10000008);
    EXPECT_EQ(status([](Input& in, Param& param) { in.grey.height = param.colorHeight = 481; }), 0x10000008);
    EXPECT_EQ(status([](Input& in, Param& param) { in.grey.height = param.colorHeight = 0; }), 0x10000008);
    EXPECT_EQ(status([](Input& in, Param&) { in.grey.step[0] = 639; }), 0x10000009);
    EXPECT_EQ(status([](Input& in, Param&) { in.depth.data[0] = nullptr; }), 0x1000000A);
    EXPECT_EQ(status([](Input&, Param& param) { param.rotation[0] = NAN; }), 0x10000000);
    EXPECT_EQ(status([](Input&, Param& param) { param.color.matrix[0] = -1; }), 0x10000000);
    EXPECT_EQ(status([](Input&, Param& param) { param.translation[2] = -1e30F; }), 0); // behind the camera
    EXPECT_EQ(status([](Input&, Param& param) { param.color.distortion[0] = 3e38F; }), 0);
}

} // namespace
