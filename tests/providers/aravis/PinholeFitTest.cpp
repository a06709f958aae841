// PinholeFitTest.cpp - a lens from maps and points of a known one, with what cameras do to them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "providers/aravis/PinholeFit.h"

using namespace ox3d;

namespace {

constexpr uint32_t kMapX = 0x012000BD;
constexpr uint32_t kMapY = 0x012000BE;
constexpr uint32_t kAbc32f = 0x026000C0;
constexpr uint32_t kAbc16Planar = 0x023000BA;
constexpr RgbdIntrinsics kLens{461.5, 458.25, 311.75, 250.5};
constexpr ImageShape kShape{640, 480, 0};

std::vector<uint8_t> BytesOf(const std::vector<float>& values) {
    std::vector<uint8_t> bytes(values.size() * sizeof(float));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

double XAt(double u) {
    return (u - kLens.m_cx) / kLens.m_fx;
}
double YAt(double v) {
    return (v - kLens.m_cy) / kLens.m_fy;
}

// What each pixel sees, bent at will.
std::vector<Ray> Rays(const std::function<void(Ray*)>& bend) {
    std::vector<Ray> rays;
    for (uint32_t v = 0; v < kShape.m_height; v += 8) {
        for (uint32_t u = 0; u < kShape.m_width; u += 8) {
            rays.push_back({static_cast<double>(u), static_cast<double>(v), XAt(u), YAt(v)});
            bend(&rays.back());
        }
    }
    return rays;
}

void ExpectLens(const std::vector<Ray>& rays, double share = 1e-3) {
    RgbdIntrinsics lens;
    ASSERT_EQ(FitPinhole(rays, kShape, &lens), nullptr);
    for (const auto& field :
         {&RgbdIntrinsics::m_fx, &RgbdIntrinsics::m_fy, &RgbdIntrinsics::m_cx, &RgbdIntrinsics::m_cy}) {
        EXPECT_NEAR(lens.*field, kLens.*field, kLens.*field * share);
    }
}

TEST(PinholeFit, FindsTheLensOfMapsAndOfPoints) {
    std::vector<float> x;
    std::vector<float> y;
    std::vector<float> points;
    std::vector<uint16_t> planes[3];
    DepthRule rule; // tenths of a millimetre, sideways of either sign
    rule.m_coordinates = {SampleRule{0.2, -6553.6, 0.0}, {0.2, -6553.6, 0.0}, {0.1, 0.0, 0.0}};
    for (uint32_t v = 0; v < kShape.m_height; ++v) {
        for (uint32_t u = 0; u < kShape.m_width; ++u) {
            const double depth = 700 + (u * 7 + v * 13) % 900;
            x.push_back(static_cast<float>(XAt(u)));
            y.push_back(static_cast<float>(YAt(v)));
            const double point[3] = {XAt(u) * depth, YAt(v) * depth, depth};
            const bool isNone = (u + v) % 3 == 0;
            for (int axis = 0; axis < 3; ++axis) {
                points.push_back(isNone ? std::numeric_limits<float>::quiet_NaN()
                                        : static_cast<float>(point[axis]));
                const SampleRule& side = rule.m_coordinates[static_cast<size_t>(axis)];
                planes[axis].push_back(isNone ? uint16_t{0}
                                              : static_cast<uint16_t>(std::lround(
                                                    (point[axis] - side.m_offset) / side.m_scale)));
            }
        }
    }
    const std::vector<uint8_t> bytesX = BytesOf(x);
    const std::vector<uint8_t> bytesY = BytesOf(y);
    const std::vector<uint8_t> bytes = BytesOf(points);
    std::vector<uint8_t> planar(3 * planes[0].size() * sizeof(uint16_t));
    for (size_t axis = 0; axis < 3; ++axis) {
        std::memcpy(planar.data() + axis * planar.size() / 3, planes[axis].data(), planar.size() / 3);
    }
    const SentImage mapX{kMapX, kShape, bytesX};
    const SentImage mapY{kMapY, kShape, bytesY};
    ExpectLens(RaysOfMaps(mapX, mapY), 1e-6);
    ExpectLens(RaysOfPoints({}, {kAbc32f, kShape, bytes}), 1e-6);
    ExpectLens(RaysOfPoints(rule, {kAbc16Planar, kShape, planar}));

    const std::span<const uint8_t> cut = std::span(bytesY).first(bytesY.size() - 1);
    EXPECT_TRUE(RaysOfMaps(mapX, {kMapY, kShape, cut}).empty());
    EXPECT_TRUE(RaysOfMaps(mapX, {kMapY, {320, 480, 0}, bytesY}).empty());
    EXPECT_TRUE(RaysOfMaps(mapX, {0x011000B7, kShape, bytesY}).empty()) << "whole numbers of no known scale";
    EXPECT_TRUE(RaysOfPoints({}, {kAbc32f, kShape, std::span(bytes).first(bytes.size() - 1)}).empty());
    EXPECT_TRUE(RaysOfPoints({}, {0x012000BF, kShape, bytes}).empty()) << "depth alone";
}

TEST(PinholeFit, IsNotMovedByPixelsThatAreWideOff) {
    uint32_t number = 0;
    ExpectLens(Rays([&](Ray* ray) {
        if (++number % 25 == 0) {
            ray->m_x = number % 2 == 0 ? 90.0 : -3.0;
            ray->m_y = 0.7;
        }
    }));
}

TEST(PinholeFit, RefusesWhatIsNoPinhole) {
    RgbdIntrinsics lens;
    const std::function<void(Ray*)> bends[] = {
        [](Ray* ray) { // a lens that bends
            const double bent = 1 + 0.1 * (ray->m_x * ray->m_x + ray->m_y * ray->m_y);
            ray->m_x *= bent;
            ray->m_y *= bent;
        },
        [](Ray* ray) { // a camera that is turned about its axis
            const double x = ray->m_x;
            ray->m_x = x - 0.05 * ray->m_y;
            ray->m_y = ray->m_y + 0.05 * x;
        },
        [](Ray* ray) { ray->m_y = -ray->m_y; }, // Y is up
        [](Ray* ray) { ray->m_x = 0.25; },      // all see one direction
        [](Ray* ray) { ray->m_x = (ray->m_u - 300) * 2 / (500 + ray->m_v); }};
    for (const auto& bend : bends) {
        EXPECT_NE(FitPinhole(Rays(bend), kShape, &lens), nullptr);
    }
    std::vector<Ray> corner = Rays([](Ray*) {});
    std::erase_if(corner, [](const Ray& ray) { return ray.m_u > 150; });
    EXPECT_NE(FitPinhole(corner, kShape, &lens), nullptr) << "it says little of the rest";
    EXPECT_NE(FitPinhole(std::span(corner).first(5), kShape, &lens), nullptr);
    EXPECT_NE(FitPinhole({}, kShape, &lens), nullptr);
}

} // namespace
