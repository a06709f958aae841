// SceneThroughLibraryTest.cpp - what an application gets from the virtual camera through the public
// interface, against what a perfect camera would have measured in the same scene.
#include "virtual-camera/frames/GroundTruth.h"
#include <ox3drgbd/Ox3dRgbdApi.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace ox3d {
namespace {

constexpr uint32_t kTimeoutMs = 60000; // a sanitizer on a busy machine renders slowly

TEST(SceneThroughLibrary, RegisteredDepthAgreesWithWhatTheColorCameraWouldMeasure) {
    void* handle = nullptr;
    ASSERT_EQ(OX3D_RGBD_OpenDevice(&handle, nullptr), OX3D_RGBD_OK);
    OX3D_RGBD_FRAME_DATA frame = {};
    ASSERT_EQ(OX3D_RGBD_Start(handle), OX3D_RGBD_OK);
    do {
        ASSERT_EQ(OX3D_RGBD_FetchFrame(handle, &frame, kTimeoutMs), OX3D_RGBD_OK);
    } while (frame.stImageData[0].nFrameNum < 3); // numbers count up by then
    ASSERT_EQ(frame.nImageCount, 2u);
    const OX3D_RGBD_IMAGE_DATA& depth = frame.stImageData[0];
    const OX3D_RGBD_IMAGE_DATA& color = frame.stImageData[1];
    ASSERT_EQ(depth.enImageType, OX3D_RGBD_PIXEL_DEPTH16);
    ASSERT_EQ(color.enImageType, OX3D_RGBD_PIXEL_RGB8_PLANAR);
    EXPECT_EQ(color.nWidth, depth.nWidth);
    EXPECT_EQ(color.nHeight, depth.nHeight);
    EXPECT_EQ(color.nDataLen, depth.nWidth * depth.nHeight * 3);

    const CGroundTruth truth{FrameSourceConfig()};
    const uint64_t state = depth.nFrameNum - 1; // frame 1 shows state 0
    std::vector<double> errors;
    const size_t pixels = size_t{depth.nWidth} * depth.nHeight;
    for (size_t i = 0; i < pixels; i += 3) {
        uint16_t measured = 0;
        memcpy(&measured, depth.pData + 2 * i, sizeof(measured));
        const size_t row = i / depth.nWidth;
        const double x = static_cast<double>(i % depth.nWidth) + 0.5;
        const double y = static_cast<double>(row) + 0.5;
        if (measured != 0) {
            errors.push_back(std::fabs(measured - truth.FromColorCamera(state, x, y).m_depthMm));
        }
    }
    ASSERT_GT(errors.size(), pixels / 5);
    const auto middle = errors.begin() + static_cast<std::ptrdiff_t>(errors.size() / 2);
    std::nth_element(errors.begin(), middle, errors.end());
    EXPECT_LT(*middle, 1.0) << "the median: not everything is seen by both cameras";
    EXPECT_EQ(OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
}

} // namespace
} // namespace ox3d
