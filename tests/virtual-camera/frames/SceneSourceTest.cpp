// SceneSourceTest.cpp - the scene's images against its truth, without a camera in between.
#include "virtual-camera/frames/SceneSource.h"
#include "virtual-camera/frames/GroundTruth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <tinyxml2.h>

namespace ox3d {
namespace {

std::unique_ptr<CFrameSource> MakeSource(const FrameSourceConfig& config) {
    std::string error;
    std::unique_ptr<CFrameSource> source = CreateFrameSource(config, &error);
    EXPECT_NE(source, nullptr) << error;
    return source;
}

FrameImages RenderFrame(const FrameSourceConfig& config, uint64_t index, bool wantGreyPair = false) {
    FrameImages images;
    EXPECT_TRUE(MakeSource(config)->Render(index, true, wantGreyPair, &images));
    return images;
}

FrameSourceConfig WithoutNoise() {
    FrameSourceConfig config;
    config.m_noise = false;
    return config;
}

// Where something is in an image.
struct Outline {
    double m_centerX = 0.0;
    double m_centerY = 0.0;
    int m_left = 1 << 20;
    int m_right = -1;
    int m_top = 1 << 20;
};

// Takes each row as filled from its first to its last pixel inside: a highlight is no hole.
template <class IsInside>
Outline OutlineOf(int width, int height, const IsInside& isInside) {
    Outline o;
    double count = 0.0;
    for (int y = 0; y < height; ++y) {
        int first = width;
        int last = -1;
        for (int x = 0; x < width; ++x) {
            if (isInside(x, y)) {
                first = std::min(first, x);
                last = x;
            }
        }
        const double length = std::max(last - first + 1, 0);
        count += length;
        o.m_centerX += length * (first + last) / 2.0;
        o.m_centerY += length * y;
        o.m_left = std::min(o.m_left, first);
        o.m_right = std::max(o.m_right, last);
        o.m_top = last >= 0 ? std::min(o.m_top, y) : o.m_top;
    }
    EXPECT_GT(count, 1000.0) << "there is nothing to see";
    o.m_centerX /= std::max(count, 1.0);
    o.m_centerY /= std::max(count, 1.0);
    return o;
}

TEST(SceneDepth, EqualsTheTruthWhenNoiseIsOff) {
    const FrameSourceConfig config = WithoutNoise();
    const CGroundTruth truth(config);
    for (const uint64_t index : {uint64_t{0}, uint64_t{90}, uint64_t{1000000007}}) {
        const FrameImages images = RenderFrame(config, index);
        size_t wrong = 0;
        for (uint32_t v = 0; v < images.m_depthHeight; v += 3) {
            for (uint32_t u = 0; u < images.m_depthWidth; ++u) {
                const double exact = truth.FromDepthCamera(index, u, v).m_depthMm;
                const double rendered = images.m_depth[size_t{v} * images.m_depthWidth + u];
                wrong += std::fabs(rendered - exact) > 0.501 ? 1 : 0;
            }
        }
        EXPECT_EQ(wrong, 0U) << "frame " << index;
    }
}

TEST(SceneDepth, FloorPointsFitTheTruePlaneWithinTheSimulatedNoise) {
    const FrameSourceConfig config;
    const CGroundTruth truth(config);
    const RgbdIntrinsics k = truth.Calibration().m_depth;
    const ScenePlane floor = truth.Floor();
    const FrameImages images = RenderFrame(config, 17);
    double sum = 0.0;
    double squares = 0.0;
    size_t count = 0;
    for (uint32_t v = 0; v < images.m_depthHeight; ++v) {
        for (uint32_t u = 0; u < images.m_depthWidth; ++u) {
            const uint16_t depth = images.m_depth[size_t{v} * images.m_depthWidth + u];
            const SceneSample exact = truth.FromDepthCamera(17, u, v);
            if (depth == 0 || exact.m_object != kSceneFloor) {
                continue;
            }
            const Vec3 ray{(u - k.m_cx) / k.m_fx, (v - k.m_cy) / k.m_fy, 1.0};
            const double distance = Dot(floor.m_normal, ray * depth) + floor.m_offsetMm;
            // Rounding to whole millimetres adds the variance of an even distribution.
            const double sigma =
                std::hypot(CGroundTruth::NoiseSigmaMm(exact.m_depthMm), std::sqrt(1.0 / 12.0));
            const double normalized = distance / (sigma * std::fabs(Dot(floor.m_normal, ray)));
            sum += normalized;
            squares += normalized * normalized;
            ++count;
        }
    }
    ASSERT_GT(count, 20000U);
    const double spread = std::sqrt(squares / static_cast<double>(count));
    RecordProperty("distanceOverSigma", std::to_string(spread));
    EXPECT_NEAR(sum / static_cast<double>(count), 0.0, 0.03) << "the plane is shifted";
    EXPECT_NEAR(spread, 1.0, 0.03) << "the noise is not as large as it is said to be";
}

TEST(SceneDepth, IsMissingExactlyWhereTheSecondImagerCannotSee) {
    constexpr double kEdgeMm = 15.0; // a nearer surface than this in front of a point is no occlusion
    constexpr uint64_t kIndex = 75;
    const CGroundTruth truth{FrameSourceConfig()};
    const FrameImages images = RenderFrame(FrameSourceConfig(), kIndex);
    std::map<std::string, size_t> missed;
    size_t holes = 0;
    for (uint32_t v = 0; v < images.m_depthHeight; ++v) {
        for (uint32_t u = 0; u < images.m_depthWidth; ++u) {
            const SceneSample here = truth.FromDepthCamera(kIndex, u, v);
            const double column = u - truth.DisparityPixels(here.m_depthMm);
            const auto isHidden = [&](double at) {
                return truth.FromSecondImager(kIndex, at, v).m_depthMm < here.m_depthMm - kEdgeMm;
            };
            const bool hidden = isHidden(column);
            const bool isClear = column > 0.1 || column < -0.1;
            const bool isSteep = here.m_viewCosine < kSceneMinCosine;
            if (!isClear || hidden != isHidden(column - 1.0) || hidden != isHidden(column + 1.0)) {
                continue; // too close to an edge to tell
            }
            const bool isHole = images.m_depth[size_t{v} * images.m_depthWidth + u] == 0;
            const bool expected = hidden || column < 0.0 || isSteep;
            holes += expected ? 1 : 0;
            if (isHole != expected) {
                ++missed[expected ? "unexpectedly there" : "unexpectedly missing"];
            }
        }
    }
    EXPECT_GT(holes, 4000U);
    for (const auto& [what, count] : missed) {
        EXPECT_LE(count, 0U) << what;
    }
}

TEST(SceneColor, ShowsTheBallWhereTheTruthHasIt) {
    const FrameSourceConfig config = WithoutNoise();
    const CGroundTruth truth(config);
    for (const uint64_t index : {uint64_t{0}, uint64_t{80}, uint64_t{265}}) {
        SCOPED_TRACE(index);
        const FrameImages images = RenderFrame(config, index);
        const int width = static_cast<int>(images.m_depthWidth);
        const int height = static_cast<int>(images.m_depthHeight) * 87 / 100; // not the floor below it
        const Outline inTruth = OutlineOf(width, height, [&](int x, int y) {
            return truth.FromColorCamera(index, x + 0.5, y + 0.5).m_object == kSceneBall;
        });
        // Nothing else is as saturated. Two by two color pixels make one of the depth image's size.
        const size_t plane = images.m_color.size() / 3;
        const Outline inColor = OutlineOf(width, height, [&](int x, int y) {
            const size_t at = static_cast<size_t>(2 * y) * images.m_colorWidth + static_cast<size_t>(2 * x);
            const int red = images.m_color[at];
            return red - images.m_color[2 * plane + at] > 0.47 * red;
        });
        EXPECT_NEAR(inColor.m_centerX, inTruth.m_centerX, 0.5);
        EXPECT_NEAR(inColor.m_centerY, inTruth.m_centerY, 0.5);
        EXPECT_NEAR(inColor.m_left, inTruth.m_left, 1);
        EXPECT_NEAR(inColor.m_right, inTruth.m_right, 1);
        EXPECT_NEAR(inColor.m_top, inTruth.m_top, 1);
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
    for (uint32_t v = 60; v < 180; ++v) {
        for (uint32_t u = 260; u < 430; ++u) {
            const SceneSample here = truth.FromDepthCamera(0, u, v);
            if (here.m_object != kSceneFirstBox + int{kBoxPicture}) {
                continue;
            }
            const size_t at = size_t{v} * images.m_depthWidth + u;
            const auto disparity = static_cast<size_t>(std::lround(truth.DisparityPixels(here.m_depthMm)));
            shifted += std::abs(left[at] - right[at - disparity]);
            unshifted += std::abs(left[at] - right[at]);
            ++count;
        }
    }
    ASSERT_GT(count, 10000.0);
    EXPECT_LT(shifted / count, 4.0);
    EXPECT_GT(unshifted / count, 3.0 * shifted / count);
}

TEST(SceneFrames, DependOnIndexAndSeedAlone) {
    FrameSourceConfig otherSeed;
    otherSeed.m_seed = 2;
    const std::unique_ptr<CFrameSource> source = MakeSource(FrameSourceConfig());
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
    std::string error;
    config.m_colorWidth = 4001;
    EXPECT_EQ(CreateFrameSource(config, &error), nullptr);
    EXPECT_NE(error.find("color size 4001 x 960"), std::string::npos) << error;
    config.m_depthHeight = 0xFFFFFFFF;
    EXPECT_EQ(CreateFrameSource(config, &error), nullptr);
    EXPECT_NE(error.find("depth size 640 x 4294967295"), std::string::npos) << error;
}

TEST(SceneCalibration, TextHoldsTheNumbersOfBothResolutions) {
    const CGroundTruth truth{FrameSourceConfig()};
    const RgbdCalibration set = truth.Calibration();
    tinyxml2::XMLDocument document;
    ASSERT_EQ(document.Parse(MakeSource(FrameSourceConfig())->CalibrationXml().c_str()),
              tinyxml2::XML_SUCCESS);
    const char* const names[] = {"RGBD_1", "RGBD_2"};
    for (int i = 0; i < 2; ++i) {
        const tinyxml2::XMLElement* element = document.RootElement()->FirstChildElement(names[i]);
        ASSERT_NE(element, nullptr);
        const float scale = i == 0 ? 1.0F : 2.0F;
        const auto at = [element](const char* group, const char* child, const char* name) {
            return element->FirstChildElement(group)->FirstChildElement(child)->FloatAttribute(name, NAN);
        };
        EXPECT_EQ(element->FirstChildElement("Camera")->IntAttribute("img_w"), 640 * (i + 1));
        EXPECT_EQ(element->FirstChildElement("Camera")->IntAttribute("img_h"), 480 * (i + 1));
        EXPECT_EQ(at("Left_correct", "Intrins", "fx"), static_cast<float>(set.m_depth.m_fx) * scale);
        // The depth camera counts from the first pixel's centre, the color camera from its border.
        EXPECT_EQ(at("Left_correct", "Intrins", "cx"),
                  static_cast<float>((set.m_depth.m_cx + 0.5) * scale - 0.5));
        EXPECT_EQ(at("RGB", "Intrins", "cy"), static_cast<float>(set.m_color.m_cy) * scale);
        EXPECT_EQ(at("Left_correct_2_RGB", "RotMat", "r12"), static_cast<float>(set.m_rotation[5]));
        EXPECT_EQ(at("Left_correct_2_RGB", "TVec", "t0"), static_cast<float>(set.m_translationMm[0]));
        EXPECT_EQ(at("RGB", "Distort", "p3"), 0.0F);
    }
}

} // namespace
} // namespace ox3d
