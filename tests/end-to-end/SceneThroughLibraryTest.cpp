// SceneThroughLibraryTest.cpp - what an application gets from the virtual camera through the public
// interface, against what a perfect camera would have measured in the same scene.
#include "virtual-camera/frames/GroundTruth.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <ox3drgbd/Ox3dRgbdImgProc.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
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

// ---- Features of the camera ----------------------------------------------------------------------------------

TEST(FeaturesThroughLibrary, AreListedWithEntriesAndSetByName) {
    void* handle = nullptr;
    ASSERT_EQ(OX3D_RGBD_OpenDevice(&handle, nullptr), OX3D_RGBD_OK);
    uint32_t count = 0;
    ASSERT_EQ(OX3D_RGBD_GetFeatures(handle, nullptr, nullptr, 0, &count), OX3D_RGBD_OK);
    std::vector<OX3D_RGBD_FEATURE> features(count);
    ASSERT_EQ(OX3D_RGBD_GetFeatures(handle, nullptr, features.data(), count, &count), OX3D_RGBD_OK);
    ASSERT_EQ(count, features.size());
    EXPECT_STREQ(features.back().chCategory, "Ox3d");
    EXPECT_STREQ(features.back().chName, OX3D_RGBD_KEY_OCCLUSION_MASK);
    for (const OX3D_RGBD_FEATURE& feature : features) {
        OX3D_RGBD_FEATURE alone = {};
        EXPECT_EQ(OX3D_RGBD_GetFeatures(handle, feature.chName, &alone, 1, &count), OX3D_RGBD_OK);
        EXPECT_STREQ(alone.chToolTip, feature.chToolTip);
        uint32_t access = 0;
        if (strcmp(feature.chCategory, "Ox3d") != 0) {
            EXPECT_EQ(OX3D_RGBD_XML_GetNodeAccessMode(handle, feature.chName, &access), OX3D_RGBD_OK);
            EXPECT_EQ(access, feature.nAccess) << feature.chName;
        }
        OX3D_RGBD_PARAM value = {};
        const bool isRead = OX3D_RGBD_GetParam(handle, feature.chName, &value) == OX3D_RGBD_OK;
        EXPECT_EQ(isRead ? value.enParamType : 0, feature.nHasValue == 1 ? feature.nType : 0)
            << feature.chName;
    }
    OX3D_RGBD_FEATURE exposure = {};
    ASSERT_EQ(OX3D_RGBD_GetFeatures(handle, "ExposureTime", &exposure, 1, &count), OX3D_RGBD_OK);
    EXPECT_STREQ(exposure.chUnit, "us");
    EXPECT_STREQ(exposure.chCategory, "AcquisitionControl");
    EXPECT_EQ(exposure.stValue.stFloatParam.fMin, 20.0F);
    EXPECT_EQ(OX3D_RGBD_GetFeatures(handle, "Nothing", &exposure, 1, &count), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(OX3D_RGBD_GetFeatureEntries(handle, "Width", nullptr, 0, &count), OX3D_RGBD_E_PARAMETER);

    OX3D_RGBD_FEATURE_ENTRY entries[4] = {};
    ASSERT_EQ(OX3D_RGBD_GetFeatureEntries(handle, "TriggerSource", entries, 2, &count), OX3D_RGBD_OK);
    EXPECT_EQ(count, 3U);
    EXPECT_STREQ(entries[1].chName, "Line1");
    EXPECT_EQ(entries[1].nIsAvailable, 1U);
    EXPECT_EQ(entries[2].chName[0], '\0') << "beyond the capacity";
    EXPECT_EQ(OX3D_RGBD_SetEnumByName(handle, "TriggerSource", "Line1"), OX3D_RGBD_OK);
    OX3D_RGBD_PARAM value = {};
    EXPECT_EQ(OX3D_RGBD_GetParam(handle, "TriggerSource", &value), OX3D_RGBD_OK);
    EXPECT_EQ(value.stEnumParam.nCurValue, entries[1].nValue);
    EXPECT_NE(OX3D_RGBD_SetEnumByName(handle, "TriggerSource", "Line9"), OX3D_RGBD_OK);
    EXPECT_EQ(OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
}

// ---- Times ---------------------------------------------------------------------------------------------------

uint64_t UtcNs() {
    timespec time = {};
    clock_gettime(CLOCK_REALTIME, &time);
    return uint64_t{1000000000} * static_cast<uint64_t>(time.tv_sec) + static_cast<uint64_t>(time.tv_nsec);
}

TEST(TimesThroughLibrary, OfTriggeredFramesLieBehindTheirTriggers) {
    void* handle = nullptr;
    ASSERT_EQ(OX3D_RGBD_OpenDevice(&handle, nullptr), OX3D_RGBD_OK);
    ASSERT_EQ(OX3D_RGBD_SetEnumByName(handle, "TriggerSource", "Software"), OX3D_RGBD_OK);
    ASSERT_EQ(OX3D_RGBD_SetEnumByName(handle, "TriggerMode", "On"), OX3D_RGBD_OK);
    ASSERT_EQ(OX3D_RGBD_Start(handle), OX3D_RGBD_OK);
    OX3D_RGBD_FRAME_CLOCK clock = {};
    uint32_t status = OX3D_RGBD_E_NO_DATA;
    for (int i = 0; i < 30 && status == OX3D_RGBD_E_NO_DATA; ++i) { // until the frames tell the rate
        const uint64_t triggered = UtcNs();
        ASSERT_EQ(OX3D_RGBD_SoftTrigger(handle), OX3D_RGBD_OK);
        // The trigger is executed when the call returns. The exposure, and a period after the last, are waited for.
        const uint64_t latest = UtcNs() + 40000000;
        OX3D_RGBD_FRAME_DATA frame;
        ASSERT_EQ(OX3D_RGBD_FetchFrame(handle, &frame, kTimeoutMs), OX3D_RGBD_OK);
        status = OX3D_RGBD_GetFrameClock(handle, &clock);
        OX3D_RGBD_FRAME_TIMES times = {};
        ASSERT_EQ(OX3D_RGBD_GetFrameTimes(handle, &frame, &times), OX3D_RGBD_OK);
        if (status == OX3D_RGBD_OK) {
            EXPECT_EQ(times.nSource, OX3D_RGBD_CLOCK_LATCH);
            EXPECT_GE(times.nCaptureUtcNs + times.nCaptureErrorNs, triggered);
            EXPECT_LE(times.nCaptureUtcNs - times.nCaptureErrorNs, latest);
        }
    }
    EXPECT_EQ(status, OX3D_RGBD_OK);
    EXPECT_EQ(clock.dNominalNsPerTick, 1);
    EXPECT_EQ(OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
}

// ---- Points, whatever the switches ---------------------------------------------------------------------------

double Median(std::vector<double> numbers) {
    if (numbers.empty()) {
        return NAN;
    }
    const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
    std::nth_element(numbers.begin(), middle, numbers.end());
    return *middle;
}

// How far points of the depth camera's frame, three floats each, are in front of what it should see there.
double MedianError(const void* points, size_t count, uint64_t state) {
    const CGroundTruth truth{FrameSourceConfig()};
    const RgbdIntrinsics lens = truth.Calibration().m_depth;
    std::vector<double> errors;
    for (size_t i = 0; i < count; i += 7) {
        float point[3];
        memcpy(point, static_cast<const uint8_t*>(points) + 12 * i, sizeof(point));
        if (point[2] > 0.0F) {
            const double u = lens.m_fx * point[0] / point[2] + lens.m_cx;
            const double v = lens.m_fy * point[1] / point[2] + lens.m_cy;
            errors.push_back(std::fabs(point[2] - truth.FromDepthCamera(state, u, v).m_depthMm));
        }
    }
    EXPECT_GT(errors.size(), count / 40);
    return Median(errors);
}

class ScenePoints : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(OX3D_RGBD_OpenDevice(&m_handle, nullptr), OX3D_RGBD_OK); }
    void TearDown() override { EXPECT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK); }
    void Switch(const char* key, int64_t value) {
        OX3D_RGBD_PARAM param = {};
        param.enParamType = OX3D_RGBD_PARAM_INT;
        param.stIntParam.nCurValue = value;
        ASSERT_EQ(OX3D_RGBD_SetParam(m_handle, key, &param), OX3D_RGBD_OK);
    }
    void Fetch() { ASSERT_EQ(OX3D_RGBD_FetchFrame(m_handle, &m_frame, kTimeoutMs), OX3D_RGBD_OK); }
    uint64_t State() const { return m_frame.stImageData[0].nFrameNum - 1; }
    void Map(const OX3D_RGBD_CLOUD_OPTIONS& options) {
        ASSERT_EQ(OX3D_RGBD_MapFrameToPointCloud(m_handle, &m_frame, &options, &m_cloud), OX3D_RGBD_OK);
    }
    void* m_handle = nullptr;
    OX3D_RGBD_FRAME_DATA m_frame = {};
    OX3D_RGBD_CLOUD m_cloud = {};
};

TEST_F(ScenePoints, LieWhereTheSceneIsWhateverTheSwitches) {
    ASSERT_EQ(OX3D_RGBD_Start(m_handle), OX3D_RGBD_OK);
    for (const int64_t isAligned : {1, 0}) {
        for (const int64_t isScaled : {1, 0}) {
            Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, isAligned);
            Switch(OX3D_RGBD_KEY_RESOLUTION_ALIGN, isScaled);
            Fetch();
            Map({});
            const double error = MedianError(m_cloud.pPoints, m_cloud.nCount, State());
            EXPECT_LT(error, 1.0) << isAligned << isScaled;
            OX3D_RGBD_IMAGE_DATA points = {};
            ASSERT_EQ(OX3D_RGBD_MapDepthToPointCloud(m_handle, &m_frame.stImageData[0], &points),
                      OX3D_RGBD_OK);
            const double other = MedianError(points.pData, m_cloud.nCount, State());
            EXPECT_EQ(other > 10.0, isAligned == 1) << "by the depth camera's lens: " << other;
        }
    }
    Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, 1);
    for (const int64_t way : {1, 2, 3}) { // filled, color moved, both
        Switch(OX3D_RGBD_KEY_ALIGN_MODE, way % 2);
        Switch(OX3D_RGBD_KEY_ALIGN_TARGET, way / 2);
        Fetch();
        Map({});
        EXPECT_LT(MedianError(m_cloud.pPoints, m_cloud.nCount, State()), 1.0) << way;
    }
}

} // namespace
} // namespace ox3d
