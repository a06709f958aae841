// Points of frames that were aligned in each of the ways there are, from what their notes say.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "src/Manager/FrameCloud.h"
#include "src/Manager/LensRays.h"

namespace {

constexpr uint32_t kWidth = 80;
constexpr uint32_t kHeight = 60;

class AlignedCloud : public testing::Test {
protected:
    AlignedCloud() {
        m_known.m_isCalibrated = true;
        m_known.m_calibration = {{70, 71, 39, 30},
                                 {0.8F, -0.6F, 0, 20, 0.6F, 0.8F, 0, -7, 0, 0, 1, 30, 0, 0, 0, 1},
                                 {60, 61, 40, 29, 0.1F, -0.05F, 0.004F, -0.003F, 0.01F},
                                 kWidth,
                                 kHeight};
        FrameNote& note = m_known.m_note;
        note.m_imageCount = 2;
        note.m_hasColor = true;
        note.m_isAligned = true;
        note.m_images[0] = Image(m_depth.data(), OX3D_RGBD_PIXEL_DEPTH16, 2);
        note.m_images[1] = Image(m_color.data(), OX3D_RGBD_PIXEL_RGB8_PLANAR, 3);
    }
    static NotedImage Image(const void* data, uint32_t type, uint32_t pixelBytes) {
        return {static_cast<const uint8_t*>(data), type, kWidth, kHeight, kWidth * kHeight * pixelBytes};
    }
    // The point of pixel (u, v) in the camera's frame.
    std::vector<double> PointOf(uint32_t u, uint32_t v, uint32_t camera) {
        OX3D_RGBD_CLOUD_OPTIONS options = {};
        options.nCamera = camera;
        options.nColor = OX3D_RGBD_CLOUD_COLOR_BESIDE;
        EXPECT_EQ(CFrameCloud::Check(m_known.m_note, options), OX3D_RGBD_OK);
        EXPECT_EQ(m_cloud.Map(m_known, options, 0, 1, &m_out), OX3D_RGBD_OK);
        const float* const point = static_cast<const float*>(m_out.pPoints) + 3 * (v * kWidth + u);
        return {point[0], point[1], point[2]};
    }
    uint32_t ColorOf(uint32_t u, uint32_t v) const {
        uint32_t color = 0;
        memcpy(&color, m_out.pColors + 4 * (v * kWidth + u), sizeof(color));
        return color;
    }
    // Where the color camera sees a point of its frame.
    std::pair<double, double> Seen(const std::vector<double>& p) const {
        const float* const k = m_known.m_calibration.m_colorIntrinsics;
        const double x = p[0] / p[2];
        const double y = p[1] / p[2];
        const double r2 = x * x + y * y;
        const double q = 1 + k[4] * r2 + k[5] * r2 * r2 + k[8] * r2 * r2 * r2;
        return {k[0] * (x * q + 2 * k[6] * x * y + k[7] * (r2 + 2 * x * x)) + k[2],
                k[1] * (y * q + 2 * k[7] * x * y + k[6] * (r2 + 2 * y * y)) + k[3]};
    }
    std::vector<uint16_t> m_depth = std::vector<uint16_t>(kWidth * kHeight, 1000);
    std::vector<uint8_t> m_color = std::vector<uint8_t>(kWidth * kHeight * 3, 77);
    KnownFrame m_known;
    CFrameCloud m_cloud;
    OX3D_RGBD_CLOUD m_out = {};
};

constexpr uint32_t kPixels[][2] = {{0, 0}, {79, 0}, {40, 29}, {0, 59}, {79, 59}, {13, 47}};

TEST_F(AlignedCloud, OfFilledDepthGoesBackThroughTheDistortion) {
    m_known.m_note.m_alignMode = 1;
    for (const uint32_t times : {1, 2}) { // the set may be for larger images
        m_known.m_calibration.m_setWidth = times * kWidth;
        m_known.m_calibration.m_setHeight = times * kHeight;
        for (const auto& [u, v] : kPixels) {
            const auto point = PointOf(u, v, OX3D_RGBD_CAMERA_COLOR);
            EXPECT_EQ(point[2], 1000);
            EXPECT_NEAR(Seen(point).first, (u + 0.5) * times - 0.5, 1e-3);
            EXPECT_NEAR(Seen(point).second, (v + 0.5) * times - 0.5, 1e-3);
            EXPECT_EQ(ColorOf(u, v), 0xFF4D4D4Du) << "each pixel has its own";
        }
    }
}

TEST_F(AlignedCloud, OfDepthInThePlainWayIsAtTheMiddleOfWhatFellIntoThePixel) {
    const float* const k = m_known.m_calibration.m_colorIntrinsics;
    for (const auto& [u, v] : kPixels) {
        const auto point = PointOf(u, v, OX3D_RGBD_CAMERA_COLOR);
        EXPECT_NEAR(point[0], (u + 0.5 - k[2]) / k[0] * 1000, 1e-2);
        EXPECT_NEAR(point[1], (v + 0.5 - k[3]) / k[1] * 1000, 1e-2);
    }
    const auto inColor = PointOf(13, 47, OX3D_RGBD_CAMERA_COLOR);
    const auto inDepth = PointOf(13, 47, OX3D_RGBD_CAMERA_DEPTH);
    EXPECT_NEAR(0.8 * inDepth[0] - 0.6 * inDepth[1] + 20, inColor[0], 1e-2);
    EXPECT_NEAR(0.6 * inDepth[0] + 0.8 * inDepth[1] - 7, inColor[1], 1e-2);
    EXPECT_NEAR(inDepth[2] + 30, 1000, 1e-2);
}

TEST_F(AlignedCloud, OfDepthThatColorWasMovedToIsTheDepthCameras) {
    m_known.m_note.m_alignTarget = 1;
    m_color[7] = m_color[kWidth * kHeight + 7] = m_color[2 * kWidth * kHeight + 7] = 0;
    for (const uint32_t mode : {0, 1}) {
        m_known.m_note.m_alignMode = mode;
        for (const auto& [u, v] : kPixels) {
            const auto point = PointOf(u, v, OX3D_RGBD_CAMERA_DEPTH);
            EXPECT_NEAR(point[0], (u - 39.0) / 70 * 1000, 1e-2);
            EXPECT_NEAR(point[1], (v - 30.0) / 71 * 1000, 1e-2);
            EXPECT_EQ(ColorOf(u, v), 0xFF4D4D4Du);
        }
        EXPECT_EQ(ColorOf(7, 0), 0u) << "the color camera does not see it";
    }
}

TEST_F(AlignedCloud, IsNotMadeWithLensesThatCannotBe) {
    m_known.m_note.m_alignMode = 1;
    const OX3D_RGBD_CLOUD_OPTIONS options = {};
    for (float* const number :
         {&m_known.m_calibration.m_colorIntrinsics[0], &m_known.m_calibration.m_colorIntrinsics[3],
          &m_known.m_calibration.m_colorIntrinsics[8], &m_known.m_calibration.m_depthToColor[10],
          &m_known.m_calibration.m_depthToColor[3]}) {
        for (const float broken : {NAN, INFINITY}) {
            const float sound = *number;
            *number = broken;
            EXPECT_EQ(m_cloud.Map(m_known, options, 0, 1, &m_out), OX3D_RGBD_E_NO_DATA) << *number;
            *number = sound;
        }
    }
    m_known.m_calibration.m_colorIntrinsics[4] = -300; // turns back before the first pixel
    EXPECT_EQ(m_cloud.Map(m_known, options, 0, 1, &m_out), OX3D_RGBD_OK);
    EXPECT_LT(m_out.nValid, 100u) << "pixels to which no direction leads have no points";
}

TEST_F(AlignedCloud, OfPlainDepthTakesTheLeftAndUpperOfTwoColorsThatAreAsNear) {
    std::fill_n(m_known.m_calibration.m_colorIntrinsics + 4, 5, 0.0F);
    // Of twice the size: red is the column, green the row.
    std::vector<uint8_t> color(size_t{12} * kWidth * kHeight);
    for (uint32_t i = 0; i < 4 * kWidth * kHeight; ++i) {
        color[i] = static_cast<uint8_t>(i % (2 * kWidth));
        color[4 * kWidth * kHeight + i] = static_cast<uint8_t>(i / (2 * kWidth));
    }
    m_known.m_note.m_images[1] = {color.data(), OX3D_RGBD_PIXEL_RGB8_PLANAR, 2 * kWidth, 2 * kHeight,
                                  12 * kWidth * kHeight};
    PointOf(0, 0, OX3D_RGBD_CAMERA_COLOR);
    for (uint32_t i = 0; i < kWidth * kHeight; ++i) {
        ASSERT_EQ(ColorOf(i, 0), 0xFF000000u | (i / kWidth * 2 + 1) << 8 | (i % kWidth * 2 + 1));
    }
}

TEST_F(AlignedCloud, LeavesOutWhoseDepthIsNoneInTheCameraThatIsAskedFor) {
    m_known.m_note.m_alignTarget = 1;
    for (const float z : {0.0F, 0.4F, -9.0F}) {
        m_known.m_calibration.m_depthToColor[11] = z - 1000;
        for (const uint32_t format : {OX3D_RGBD_CLOUD_FLOAT32, OX3D_RGBD_CLOUD_INT16}) {
            const bool isThere = std::abs(z) >= (format == OX3D_RGBD_CLOUD_INT16 ? 0.5F : 0.1F);
            ASSERT_EQ(m_cloud.Map(m_known, {1, format, 0, 0, 0, {}}, 0, 1, &m_out), OX3D_RGBD_OK);
            EXPECT_EQ(m_out.nValid, isThere ? kWidth * kHeight : 0) << z;
            const auto* const first = static_cast<const uint8_t*>(m_out.pPoints);
            EXPECT_EQ(std::count(first, first + 6, 0) < 6, isThere) << z;
        }
    }
}

// A point that is seen a last digit before, at and behind the edge of a color image of one column, or one row.
TEST(CloudColor, OfANarrowImageIsReadInsideOfItAlone) {
    const float before = std::nextafter(0.5F, 0.0F);
    const float edges[][2] = {{before, 0}, {0, before}, {0.5F, 0}, {0, -0.5F}, {-before, -before}, {0, 0}};
    for (size_t i = 0; i < std::size(edges); ++i) {
        const uint16_t depth = 1000;
        const uint8_t colors[] = {10, 20, 30, 40}; // and one behind
        const float ray = 0;
        float point[4];
        std::vector<float> scratch(ox3d::CloudScratchBytes(1, 1) / sizeof(float));
        const ox3d::PointView view = {
            {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, {9, 9, edges[i][0], edges[i][1]}, {}, 25, false, 1, 1};
        ox3d::CloudArgs args = {};
        args.m_depth = reinterpret_cast<const uint8_t*>(&depth);
        args.m_width = args.m_height = 1;
        args.m_rays = {&ray, &ray, false};
        args.m_color = colors;
        args.m_view = &view;
        args.m_points = reinterpret_cast<uint8_t*>(point);
        args.m_pointStride = sizeof(point);
        args.m_colors = args.m_points + 12;
        args.m_scratch = scratch.data();
        args.m_threads = 1;
        EXPECT_EQ(ox3d::BuildCloud(args), 1u);
        EXPECT_EQ(std::bit_cast<uint32_t>(point[3]), i < 4 ? 0 : 0xFF1E140Au) << i;
    }
}

} // namespace
