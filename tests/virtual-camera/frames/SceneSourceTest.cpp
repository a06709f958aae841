// SceneSourceTest.cpp - the scene's images against its truth, without a camera in between.
#include "virtual-camera/frames/SceneSource.h"
#include "virtual-camera/frames/GroundTruth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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

double Median(std::vector<double> values) {
    if (values.empty()) {
        ADD_FAILURE() << "nothing to take the median of";
        return 0.0;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

size_t At(int width, int x, int y) {
    return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
}

// Registers depth to the color camera with the arithmetic of the library that reads the calibration: single
// precision, truncation towards zero, the nearest point wins, whole millimetres.
std::vector<uint16_t> Registered(const FrameImages& images, const RgbdCalibration& set) {
    const int width = static_cast<int>(images.m_depthWidth);
    const int height = static_cast<int>(images.m_depthHeight);
    const auto f = [](double value) { return static_cast<float>(value); };
    const auto row = [&](size_t r, float x, float y, float z) {
        const double* m = set.m_rotation + 3 * r;
        return f(m[0]) * x + f(m[1]) * y + f(m[2]) * z + f(set.m_translationMm[r]);
    };
    std::vector<uint16_t> registered(images.m_depth.size(), 0);
    for (int v = 0; v < height; ++v) {
        for (int u = 0; u < width; ++u) {
            const float d = images.m_depth[At(width, u, v)];
            const float x = (f(u) - f(set.m_depth.m_cx)) * d / f(set.m_depth.m_fx);
            const float y = (f(v) - f(set.m_depth.m_cy)) * d / f(set.m_depth.m_fy);
            const float z = row(2, x, y, d);
            const int i = static_cast<int>(row(0, x, y, d) / z * f(set.m_color.m_fx) + f(set.m_color.m_cx));
            const int j = static_cast<int>(row(1, x, y, d) / z * f(set.m_color.m_fy) + f(set.m_color.m_cy));
            if (d <= 0.0F || i < 0 || i >= width || j < 0 || j >= height) {
                continue;
            }
            uint16_t& target = registered[At(width, i, j)];
            if (target == 0 || static_cast<float>(target) > z) {
                target = static_cast<uint16_t>(z);
            }
        }
    }
    return registered;
}

// A point of the color camera's frame from the color image's coordinates and a depth.
Vec3 ColorPoint(const RgbdCalibration& set, double x, double y, double depth) {
    return {(x - set.m_color.m_cx) / set.m_color.m_fx * depth,
            (y - set.m_color.m_cy) / set.m_color.m_fy * depth, depth};
}

Vec3 ToColorFrame(const RgbdCalibration& set, const Vec3& p) {
    const double* r = set.m_rotation;
    const double* t = set.m_translationMm;
    return {r[0] * p.x + r[1] * p.y + r[2] * p.z + t[0], r[3] * p.x + r[4] * p.y + r[5] * p.z + t[1],
            r[6] * p.x + r[7] * p.y + r[8] * p.z + t[2]};
}

// Whether the depth camera sees the same point; undoes the transform of a rotation matrix and a translation.
bool DepthCameraSees(const CGroundTruth& truth, const RgbdCalibration& set, uint64_t index,
                     const Vec3& colorPoint) {
    const double* r = set.m_rotation;
    const Vec3 p = colorPoint - Vec3{set.m_translationMm[0], set.m_translationMm[1], set.m_translationMm[2]};
    const Vec3 inDepth{r[0] * p.x + r[3] * p.y + r[6] * p.z, r[1] * p.x + r[4] * p.y + r[7] * p.z,
                       r[2] * p.x + r[5] * p.y + r[8] * p.z};
    const double u = inDepth.x / inDepth.z * set.m_depth.m_fx + set.m_depth.m_cx;
    const double v = inDepth.y / inDepth.z * set.m_depth.m_fy + set.m_depth.m_cy;
    return std::fabs(truth.FromDepthCamera(index, u, v).m_depthMm - inDepth.z) < 0.001;
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

TEST(SceneDepth, RegisteredDepthAgreesWithWhatTheColorCameraWouldMeasure) {
    FrameSourceConfig wide;
    wide.m_depthWidth = 1280;
    wide.m_depthHeight = 720;
    wide.m_colorWidth = 1920;
    wide.m_colorHeight = 1080;
    for (const FrameSourceConfig& config : {FrameSourceConfig(), wide}) {
        const CGroundTruth truth(config);
        const RgbdCalibration set = truth.Calibration();
        const FrameImages images = RenderFrame(config, 200);
        const std::vector<uint16_t> registered = Registered(images, set);
        std::vector<double> errors;
        double signedFloor = 0.0;
        double floorCount = 0.0;
        for (size_t i = 0; i < registered.size(); i += 3) {
            const size_t row = i / images.m_depthWidth;
            const double x = static_cast<double>(i % images.m_depthWidth) + 0.5;
            const double y = static_cast<double>(row) + 0.5;
            const SceneSample exact = truth.FromColorCamera(200, x, y);
            if (registered[i] == 0 ||
                !DepthCameraSees(truth, set, 200, ColorPoint(set, x, y, exact.m_depthMm))) {
                continue;
            }
            const double error = registered[i] - exact.m_depthMm;
            errors.push_back(std::fabs(error));
            if (exact.m_object == kSceneFloor && std::fabs(error) < 50.0) {
                signedFloor += error + 0.5; // what truncation takes away on average
                ++floorCount;
            }
        }
        EXPECT_GT(static_cast<double>(errors.size()), 0.26 * static_cast<double>(registered.size()));
        const double median = Median(errors);
        RecordProperty("medianErrorMm" + std::to_string(config.m_depthWidth), std::to_string(median));
        EXPECT_LT(median, 1.0);
        // The floor is steep: half a pixel of misplacement would be 2 mm and more.
        EXPECT_NEAR(signedFloor / floorCount, 0.0, 0.3);
    }
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

TEST(SceneColor, TheBallIsWhereRegisteredDepthHasIt) {
    const FrameSourceConfig config = WithoutNoise();
    const CGroundTruth truth(config);
    const RgbdCalibration set = truth.Calibration();
    for (const uint64_t index : {uint64_t{0}, uint64_t{80}, uint64_t{265}}) {
        const FrameImages images = RenderFrame(config, index);
        const std::vector<uint16_t> registered = Registered(images, set);
        const int width = static_cast<int>(images.m_depthWidth);
        const int height = static_cast<int>(images.m_depthHeight);
        const Sphere ball = truth.BallAt(index);
        const Vec3 center = ToColorFrame(set, ball.m_center);
        const Outline inDepth = OutlineOf(width, height, [&](int x, int y) {
            const double depth = registered[At(width, x, y)];
            const double distance = Length(ColorPoint(set, x + 0.5, y + 0.5, depth) - center);
            return std::fabs(distance - ball.m_radius) < 6.0 &&
                   y < height * 87 / 100; // not the floor below it
        });
        // Nothing else is as saturated. Two by two color pixels make one of the depth image's size.
        const size_t plane = images.m_color.size() / 3;
        const Outline inColor = OutlineOf(width, height, [&](int x, int y) {
            const size_t at = static_cast<size_t>(2 * y) * images.m_colorWidth + static_cast<size_t>(2 * x);
            int red = 0;
            int blue = 0;
            for (const size_t offset :
                 {size_t{0}, size_t{1}, size_t{images.m_colorWidth}, size_t{images.m_colorWidth} + 1}) {
                red += images.m_color[at + offset];
                blue += images.m_color[2 * plane + at + offset];
            }
            return red - blue > 0.47 * red && y < height * 87 / 100;
        });
        EXPECT_NEAR(inColor.m_centerX, inDepth.m_centerX, 0.3) << "frame " << index;
        EXPECT_NEAR(inColor.m_centerY, inDepth.m_centerY, 0.3) << "frame " << index;
        EXPECT_NEAR(inColor.m_left, inDepth.m_left, 1) << "frame " << index;
        EXPECT_NEAR(inColor.m_right, inDepth.m_right, 1) << "frame " << index;
        EXPECT_NEAR(inColor.m_top, inDepth.m_top, 1) << "frame " << index;
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

TEST(SceneFrames, CarryColorOnlyWhenItIsWantedAndThere) {
    FrameSourceConfig colorless;
    colorless.m_colorWidth = 0;
    colorless.m_colorHeight = 0;
    FrameImages images = RenderFrame(colorless, 0);
    EXPECT_EQ(images.m_colorWidth, 0U);
    images = RenderFrame(FrameSourceConfig(), 0);
    EXPECT_EQ(images.m_colorWidth, 1280U);
    EXPECT_EQ(images.m_color.size(), size_t{1280} * 960 * 3);
    ASSERT_TRUE(MakeSource(FrameSourceConfig())->Render(0, false, false, &images));
    EXPECT_EQ(images.m_colorWidth, 0U);
}

TEST(SceneSizes, OutOfRangeAreRefusedWithAReason) {
    struct Case {
        std::array<uint32_t, 4> m_sizes; // depth, color
        const char* m_reason;            // empty: accepted
    };
    const Case cases[] = {{{640, 480, 640, 480}, ""},
                          {{639, 480, 640, 480}, "depth size 639 x 480"},
                          {{640, 479, 640, 480}, "depth size 640 x 479"},
                          {{4001, 480, 640, 480}, "depth size 4001 x 480"},
                          {{640, 480, 640, 3001}, "color size 640 x 3001"},
                          {{640, 480, 0, 480}, "color size 0 x 480"},
                          {{640, 0xFFFFFFFF, 640, 480}, "depth size 640 x 4294967295"}};
    for (const Case& c : cases) {
        FrameSourceConfig config;
        config.m_depthWidth = c.m_sizes[0];
        config.m_depthHeight = c.m_sizes[1];
        config.m_colorWidth = c.m_sizes[2];
        config.m_colorHeight = c.m_sizes[3];
        std::string error;
        const bool isMade = CreateFrameSource(config, &error) != nullptr;
        EXPECT_EQ(isMade, *c.m_reason == '\0') << c.m_reason;
        EXPECT_NE(error.find(c.m_reason), std::string::npos) << error;
    }
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
