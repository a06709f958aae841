// SceneTest.cpp - the scene's images against its truth, without a camera in between, and its geometry.
#include "virtual-camera/frames/GroundTruth.h"
#include "virtual-camera/frames/SceneSource.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <tinyxml2.h>

namespace ox3d {
namespace {

FrameImages RenderFrame(const FrameSourceConfig& config, uint64_t index, bool wantGreyPair = false) {
    std::string error;
    FrameImages images;
    EXPECT_TRUE(CreateFrameSource(config, &error)->Render(index, true, wantGreyPair, &images));
    return images;
}

FrameSourceConfig WithoutNoise() {
    FrameSourceConfig config;
    config.m_noise = false;
    return config;
}

TEST(SceneDepth, EqualsTheTruthWhenNoiseIsOff) {
    const FrameSourceConfig config = WithoutNoise();
    const CGroundTruth truth(config);
    const RgbdIntrinsics k = truth.Calibration().m_depth;
    const ScenePlane floor = truth.Floor();
    for (const uint64_t index : {uint64_t{0}, uint64_t{90}, uint64_t{1000000007}}) {
        const FrameImages images = RenderFrame(config, index);
        size_t wrong = 0;
        for (uint32_t v = 0; v < images.m_depthHeight; v += 3) {
            for (uint32_t u = 0; u < images.m_depthWidth; ++u) {
                const SceneSample exact = truth.FromDepthCamera(index, u, v);
                const uint16_t rendered = images.m_depth[size_t{v} * images.m_depthWidth + u];
                const Vec3 ray{(u - k.m_cx) / k.m_fx, (v - k.m_cy) / k.m_fy, 1.0};
                const double height = Dot(floor.m_normal, ray * exact.m_depthMm) + floor.m_offsetMm;
                const bool isOffFloor = exact.m_object == kSceneFloor && std::fabs(height) > 0.001;
                wrong += isOffFloor || std::fabs(rendered - exact.m_depthMm) > 0.501 ? 1 : 0;
            }
        }
        EXPECT_EQ(wrong, 0U) << "frame " << index;
    }
}

TEST(SceneDepth, ScattersAroundTheTruthAsTheNoiseIsSaidTo) {
    const CGroundTruth truth{FrameSourceConfig()};
    const FrameImages images = RenderFrame(FrameSourceConfig(), 17);
    double sum = 0.0;
    double squares = 0.0;
    double count = 0.0;
    for (uint32_t i = 0; i < images.m_depth.size(); ++i) {
        const uint32_t v = i / 640;
        const double exact = truth.FromDepthCamera(17, i % 640, v).m_depthMm;
        if (images.m_depth[i] != 0) {
            // Rounding to whole millimetres adds the variance of an even distribution.
            const double sigma = std::hypot(CGroundTruth::NoiseSigmaMm(exact), std::sqrt(1.0 / 12.0));
            const double error = (images.m_depth[i] - exact) / sigma;
            sum += error;
            squares += error * error;
            ++count;
        }
    }
    EXPECT_GT(count, 200000.0);
    EXPECT_NEAR(sum / count, 0.0, 0.01);
    EXPECT_NEAR(std::sqrt(squares / count), 1.0, 0.01);
}

TEST(SceneDepth, IsMissingExactlyWhereTheSecondImagerCannotSee) {
    constexpr double kEdgeMm = 15.0; // a nearer surface than this in front of a point is no occlusion
    constexpr uint64_t kIndex = 75;
    const CGroundTruth truth{FrameSourceConfig()};
    const FrameImages images = RenderFrame(FrameSourceConfig(), kIndex);
    size_t wrong = 0;
    size_t holes = 0;
    for (uint32_t i = 0; i < images.m_depth.size(); ++i) {
        const uint32_t v = i / 640;
        const SceneSample here = truth.FromDepthCamera(kIndex, i % 640, v);
        const double column = i % 640 - truth.DisparityPixels(here.m_depthMm);
        const auto isHidden = [&](double at) {
            return truth.FromSecondImager(kIndex, at, v).m_depthMm < here.m_depthMm - kEdgeMm;
        };
        const bool hidden = isHidden(column);
        const bool isClear = std::fabs(column) > 0.1;
        if (isClear && hidden == isHidden(column - 1.0) && hidden == isHidden(column + 1.0)) {
            const bool expected = hidden || column < 0.0 || here.m_viewCosine < kSceneMinCosine;
            holes += expected ? 1 : 0;
            wrong += (images.m_depth[i] == 0) != expected ? 1 : 0;
        }
    }
    EXPECT_GT(holes, 4000U);
    EXPECT_EQ(wrong, 0U);
}

TEST(SceneColor, ShowsTheBallWhereTheTruthHasIt) {
    const FrameSourceConfig config = WithoutNoise();
    const CGroundTruth truth(config);
    for (const uint64_t index : {uint64_t{0}, uint64_t{80}, uint64_t{265}}) {
        const FrameImages images = RenderFrame(config, index);
        const size_t blue = images.m_color.size() / 3 * 2;
        size_t missing = 0;
        size_t astray = 0;
        for (uint32_t i = 0; i < 640 * 417; ++i) { // not the floor below it
            const uint32_t x = i % 640;
            const uint32_t y = i / 640;
            const bool isBall = truth.FromColorCamera(index, x + 0.5, y + 0.5).m_object == kSceneBall;
            // Nothing else is as saturated. Two by two color pixels make one of the depth image's size.
            const size_t at = size_t{2} * y * images.m_colorWidth + 2 * x;
            const int red = images.m_color[at];
            const bool isSaturated = red - images.m_color[blue + at] > 0.47 * red;
            missing += isBall && !isSaturated ? 1 : 0;
            astray += !isBall && isSaturated ? 1 : 0;
        }
        EXPECT_LT(missing, 300U) << "more than a highlight of its 6000 pixels";
        EXPECT_LT(astray, 60U) << "as many as half a pixel makes along its edge";
    }
}

TEST(SceneGreyPair, ShowsThePictureOnTheWallShiftedByItsDisparity) {
    const CGroundTruth truth{FrameSourceConfig()};
    const FrameImages images = RenderFrame(FrameSourceConfig(), 0, true);
    ASSERT_EQ(images.m_greyPair.size(), images.m_depth.size() * 2);
    const uint8_t* left = images.m_greyPair.data();
    const uint8_t* right = left + images.m_depth.size();
    double shifted = 0.0;
    double unshifted = 0.0;
    double count = 0.0;
    for (uint32_t at = 60 * 640; at < 180 * 640; ++at) {
        const uint32_t v = at / 640;
        const SceneSample here = truth.FromDepthCamera(0, at % 640, v);
        if (here.m_object == kSceneFirstBox + kBoxPicture && at % 640 < 430) {
            const auto disparity = std::lround(truth.DisparityPixels(here.m_depthMm));
            shifted += std::abs(left[at] - right[at - static_cast<size_t>(disparity)]);
            unshifted += std::abs(left[at] - right[at]);
            ++count;
        }
    }
    EXPECT_GT(count, 10000.0);
    EXPECT_LT(shifted / count, 4.0);
    EXPECT_GT(unshifted, 3.0 * shifted);
}

TEST(SceneFrames, DependOnIndexAndSeedAlone) {
    FrameSourceConfig otherSeed;
    otherSeed.m_seed = 2;
    std::string error;
    const std::unique_ptr<CFrameSource> source = CreateFrameSource({}, &error);
    FrameImages first;
    FrameImages again;
    ASSERT_TRUE(source->Render(7, true, true, &first));
    ASSERT_TRUE(source->Render(8, true, true, &again)); // leaves traces in buffers that are used again
    EXPECT_NE(first.m_depth, again.m_depth);
    EXPECT_NE(first.m_color, again.m_color);
    ASSERT_TRUE(source->Render(7, true, true, &again));
    EXPECT_EQ(first.m_depth, again.m_depth);
    EXPECT_EQ(first.m_color, again.m_color);
    EXPECT_EQ(first.m_greyPair, again.m_greyPair);
    EXPECT_EQ(first.m_depth, RenderFrame(FrameSourceConfig(), 7).m_depth);
    EXPECT_NE(first.m_depth, RenderFrame(otherSeed, 7).m_depth);
    ASSERT_TRUE(source->Render(7 + kSceneBallPeriod, true, false, &again));
    EXPECT_EQ(first.m_color, again.m_color) << "the ball has come back";
    EXPECT_NE(first.m_depth, again.m_depth) << "the noise does not repeat";
}

TEST(SceneSizes, OutOfRangeAreRefusedWithAReason) {
    FrameSourceConfig config;
    config.m_colorWidth = 4001;
    std::string error;
    EXPECT_EQ(CreateFrameSource(config, &error), nullptr);
    EXPECT_THAT(error, ::testing::HasSubstr("color size 4001 x 960"));
}

TEST(SceneCalibration, TextHoldsTheNumbersOfBothResolutions) {
    const CGroundTruth truth{FrameSourceConfig()};
    const RgbdCalibration set = truth.Calibration();
    tinyxml2::XMLDocument document;
    ASSERT_EQ(document.Parse(truth.CalibrationXml().c_str()), tinyxml2::XML_SUCCESS);
    for (const int scale : {1, 2}) {
        const auto* element = document.RootElement()->FirstChildElement(scale == 1 ? "RGBD_1" : "RGBD_2");
        ASSERT_NE(element, nullptr);
        EXPECT_EQ(element->FirstChildElement("Camera")->IntAttribute("img_w"), 640 * scale);
        EXPECT_EQ(element->FirstChildElement("Camera")->IntAttribute("img_h"), 480 * scale);
        const std::tuple<const char*, const char*, const char*, double> rows[] = {
            {"Left_correct", "Intrins", "fx", set.m_depth.m_fx * scale},
            // The depth camera counts from the first pixel's centre, the color camera from its border.
            {"Left_correct", "Intrins", "cx", (set.m_depth.m_cx + 0.5) * scale - 0.5},
            {"RGB", "Intrins", "cy", set.m_color.m_cy * scale},
            {"Left_correct_2_RGB", "RotMat", "r12", set.m_rotation[5]},
            {"Left_correct_2_RGB", "TVec", "t0", set.m_translationMm[0]},
            {"RGB", "Distort", "p3", 0.0},
        };
        for (const auto& [group, child, name, value] : rows) {
            EXPECT_FLOAT_EQ(
                element->FirstChildElement(group)->FirstChildElement(child)->FloatAttribute(name, NAN),
                static_cast<float>(value));
        }
    }
}

TEST(SceneGeometry, ATurnedBoxIsMetAtItsEdge) {
    const OrientedBox box{{0.0, 0.0, 1000.0}, {100.0, 50.0, 100.0}, RotationY(45.0)};
    SurfaceHit hit;
    ASSERT_TRUE(Intersect({{}, {0.001, 0.0, 1.0}}, box, 1.0, 1e9, &hit));
    EXPECT_NEAR(hit.m_t, 1000.0 - 100.0 * std::sqrt(2.0), 1.0);
    EXPECT_NEAR(Length(hit.m_normal), 1.0, 1e-12);
    EXPECT_GT(hit.m_normal.x, 0.7); // the right one of the two faces that meet there
    EXPECT_LT(hit.m_normal.z, -0.7);
    EXPECT_FALSE(Intersect({{}, {0.0, 0.06, 1.0}}, box, 1.0, 1e9, &hit)) << "passes below";
    EXPECT_FALSE(Intersect({{}, {0.0, 0.0, 1.0}}, box, 1.0, 800.0, &hit)) << "something nearer is known";
    EXPECT_FALSE(Intersect({{0.0, 0.0, 2000.0}, {0.0, 0.0, 1.0}}, box, 1.0, 1e9, &hit)) << "lies behind";
}

template <typename TSolid>
void ExpectOnlyTheFarSideBlocked(const TSolid& solid) {
    const Vec3 back{0.0, 0.0, 1100.0};
    EXPECT_FALSE(Blocks(solid, {}, {0.0, 0.0, 900.0}, 0.5));
    EXPECT_TRUE(Blocks(solid, {}, back, 0.5));
    EXPECT_FALSE(Blocks(solid, back, {0.0, 0.0, 3000.0}, 0.5));
}

TEST(SceneGeometry, ASurfaceDoesNotStandInItsOwnWay) {
    ExpectOnlyTheFarSideBlocked(Sphere{{0.0, 0.0, 1000.0}, 100.0});
    ExpectOnlyTheFarSideBlocked(OrientedBox{{0.0, 0.0, 1000.0}, {100.0, 100.0, 100.0}, {}});
}

TEST(SceneGeometry, RotationsKeepLengthsAndUndo) {
    const Mat3 r = RotationX(20.0) * RotationY(-35.0) * RotationZ(110.0);
    const Vec3 v{3.0, -4.0, 12.0};
    EXPECT_NEAR(Length(r * v), 13.0, 1e-12);
    EXPECT_NEAR(Length(ApplyInverse(r, r * v) - v), 0.0, 1e-12);
    EXPECT_NEAR(Length(Transposed(r) * (r * v) - v), 0.0, 1e-12);
}

} // namespace
} // namespace ox3d
