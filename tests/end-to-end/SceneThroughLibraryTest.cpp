// SceneThroughLibraryTest.cpp - what an application gets from the virtual camera through the public
// interface, against what a perfect camera would have measured in the same scene.
#include "virtual-camera/frames/GroundTruth.h"
#include <ox3drgbd/Ox3dRgbdApi.h>
#include <ox3drgbd/Ox3dRgbdImgProc.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace ox3d {
namespace {

constexpr uint32_t kTimeoutMs = 60000; // a sanitizer on a busy machine renders slowly

class SceneThroughLibrary : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(OX3D_RGBD_OpenDevice(&m_handle, nullptr), OX3D_RGBD_OK); }
    void TearDown() override {
        if (m_handle != nullptr) {
            EXPECT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK);
        }
    }

    // The third frame: numbers count up by then.
    void FetchThird(OX3D_RGBD_FRAME_DATA* frame) {
        ASSERT_EQ(OX3D_RGBD_Start(m_handle), OX3D_RGBD_OK);
        do {
            ASSERT_EQ(OX3D_RGBD_FetchFrame(m_handle, frame, kTimeoutMs), OX3D_RGBD_OK);
        } while (frame->stImageData[0].nFrameNum < 3);
    }

    // The scene's state in a frame: frame 1 shows state 0.
    static uint64_t StateOf(const OX3D_RGBD_IMAGE_DATA& image) { return image.nFrameNum - 1; }

    void* m_handle = nullptr;
    CGroundTruth m_truth{FrameSourceConfig()};
};

uint16_t DepthAt(const OX3D_RGBD_IMAGE_DATA& image, size_t index) {
    uint16_t depth = 0;
    memcpy(&depth, image.pData + 2 * index, sizeof(depth));
    return depth;
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Whether the depth camera meets the point that the color camera sees at (x, y).
bool BothSee(const CGroundTruth& truth, uint64_t state, double x, double y, double depthMm) {
    const RgbdCalibration set = truth.Calibration();
    const double p[3] = {(x - set.m_color.m_cx) / set.m_color.m_fx * depthMm - set.m_translationMm[0],
                         (y - set.m_color.m_cy) / set.m_color.m_fy * depthMm - set.m_translationMm[1],
                         depthMm - set.m_translationMm[2]};
    const double* r = set.m_rotation;
    const double z = r[2] * p[0] + r[5] * p[1] + r[8] * p[2];
    const double u = (r[0] * p[0] + r[3] * p[1] + r[6] * p[2]) / z * set.m_depth.m_fx + set.m_depth.m_cx;
    const double v = (r[1] * p[0] + r[4] * p[1] + r[7] * p[2]) / z * set.m_depth.m_fy + set.m_depth.m_cy;
    return std::fabs(truth.FromDepthCamera(state, u, v).m_depthMm - z) < 0.001;
}

TEST_F(SceneThroughLibrary, RegisteredDepthAgreesWithWhatTheColorCameraWouldMeasure) {
    OX3D_RGBD_FRAME_DATA frame = {};
    ASSERT_NO_FATAL_FAILURE(FetchThird(&frame));
    ASSERT_EQ(frame.nImageCount, 2u);
    const OX3D_RGBD_IMAGE_DATA& depth = frame.stImageData[0];
    const OX3D_RGBD_IMAGE_DATA& color = frame.stImageData[1];
    ASSERT_EQ(depth.enImageType, OX3D_RGBD_PIXEL_DEPTH16);
    ASSERT_EQ(color.enImageType, OX3D_RGBD_PIXEL_RGB8_PLANAR);
    EXPECT_EQ(color.nWidth, depth.nWidth);
    EXPECT_EQ(color.nHeight, depth.nHeight);
    EXPECT_EQ(color.nDataLen, depth.nWidth * depth.nHeight * 3);

    std::vector<double> errors;
    const size_t pixels = size_t{depth.nWidth} * depth.nHeight;
    for (size_t i = 0; i < pixels; i += 3) {
        const size_t row = i / depth.nWidth;
        const double x = static_cast<double>(i % depth.nWidth) + 0.5;
        const double y = static_cast<double>(row) + 0.5;
        const uint16_t measured = DepthAt(depth, i);
        const double exact = m_truth.FromColorCamera(StateOf(depth), x, y).m_depthMm;
        if (measured != 0 && BothSee(m_truth, StateOf(depth), x, y, exact)) {
            errors.push_back(std::fabs(measured - exact));
        }
    }
    ASSERT_GT(errors.size(), pixels / 5);
    const double median = Median(errors);
    RecordProperty("medianErrorMm", std::to_string(median));
    EXPECT_LT(median, 1.0);
}

} // namespace
} // namespace ox3d
