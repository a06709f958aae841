// SceneTest.cpp - the scene's images against its truth, without a camera in between, and its geometry.
#include "base/PngFile.h"
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

// Planes at a width of 160 pixels, as 16-bit samples.
std::vector<uint16_t> Shrunk(const std::vector<uint8_t>& planes, uint32_t width) {
    const uint32_t side = width / 160;
    std::vector<uint16_t> small(planes.size() / (side * side));
    for (size_t i = 0; i < planes.size(); ++i) {
        small[i / width / side * 160 + i % width / side] +=
            static_cast<uint16_t>(planes[i] * 256U / (side * side));
    }
    return small;
}

// The kept pictures, one below the other: red, green, blue, left, right. Where these differ they are left behind.
TEST(ScenePictures, LookLikeTheKeptOnes) {
    const FrameImages images = RenderFrame(FrameSourceConfig(), 80, true);
    std::vector<uint16_t> seen = Shrunk(images.m_color, 1280);
    const std::vector<uint16_t> grey = Shrunk(images.m_greyPair, 640);
    seen.insert(seen.end(), grey.begin(), grey.end());
    PngSize size;
    std::vector<uint16_t> kept;
    std::string error;
    ASSERT_TRUE(ReadDepthPng(OX3D_DATA_DIR "/scene.png", &size, &kept, &error)) << error;
    ASSERT_EQ(seen.size(), kept.size());
    size_t different = 0;
    for (size_t i = 0; i < kept.size(); ++i) {
        different += std::abs(seen[i] - kept[i]) > 4 * 256 ? 1 : 0;
    }
    EXPECT_LT(different, 20U);
    EXPECT_TRUE(different == 0 || WriteDepthPng("scene.png", {160, 600}, seen.data(), &error)) << error;
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
            {"Left_correct", "Intrins", "cx", (set.m_depth.m_cx + 0.5) * scale - 0.5},
            {"RGB", "Intrins", "cy", (set.m_color.m_cy + 0.5) * scale - 0.5},
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

} // namespace
} // namespace ox3d
