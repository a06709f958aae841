// NetworkTest.cpp - the public interface over the whole way: the library, the provider over Aravis, and cameras of
// another process on a private network.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/Files.h"
#include "tests/support/OpenThings.h"
#include "tests/support/Process.h"
#include "virtual-camera/frames/FrameSource.h"
#include <ox3drgbd/Ox3dRgbdApi.h>

using namespace ox3d;
using namespace ox3d::test;

namespace {

constexpr uint32_t kTimeoutMs = 20000; // a sanitizer on a busy machine is slow
constexpr uint32_t kCycle = 3;         // frames that differ, over and over
constexpr uint32_t kManyFrames = kSanitized ? 40 : 150;

TEST(Network, BringsTheCalibrationAndLargeFramesWholeAndWithoutLoss) {
    FrameSourceConfig config;
    config.m_depthWidth = 1280;
    config.m_depthHeight = 720;
    config.m_colorWidth = 1920;
    config.m_colorHeight = 1080;
    std::string error;
    const auto source = CreateFrameSource(config, &error);
    ASSERT_NE(source, nullptr) << error;
    FrameImages truth[kCycle];
    for (uint32_t i = 0; i < kCycle; ++i) {
        ASSERT_TRUE(source->Render(i, true, false, &truth[i]));
    }
    CProcess cameras({OX3D_VIRTUAL_CAMERA, "--camera",
                      "serial=BIG,width=1280,height=720,color_width=1920,color_height=1080,cycle=3,fps=15"},
                     ".");
    ASSERT_TRUE(cameras.WaitForOutput("\nready\n")) << cameras.Output();
    std::filesystem::remove("RGBDSensorCali_BIG.xml");
    void* device = nullptr;
    ASSERT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&device, "BIG"), OX3D_RGBD_OK);
    EXPECT_EQ(ReadFile("RGBDSensorCali_BIG.xml"), source->CalibrationXml());
    for (const char* key : {OX3D_RGBD_KEY_IMAGE_ALIGN, OX3D_RGBD_KEY_RESOLUTION_ALIGN}) {
        OX3D_RGBD_PARAM value{};
        value.enParamType = OX3D_RGBD_PARAM_INT; // images as the camera sends them
        ASSERT_EQ(OX3D_RGBD_SetParam(device, key, &value), OX3D_RGBD_OK) << key;
    }
    ASSERT_EQ(OX3D_RGBD_SetImageNodeNum(device, 8), OX3D_RGBD_OK);
    ASSERT_EQ(OX3D_RGBD_Start(device), OX3D_RGBD_OK);
    for (uint32_t number = 1; number <= kManyFrames; ++number) {
        SCOPED_TRACE(number);
        OX3D_RGBD_FRAME_DATA frame;
        ASSERT_EQ(OX3D_RGBD_FetchFrame(device, &frame, kTimeoutMs), OX3D_RGBD_OK);
        ASSERT_EQ(frame.nImageCount, 2U);
        const OX3D_RGBD_IMAGE_DATA& depth = frame.stImageData[0];
        const OX3D_RGBD_IMAGE_DATA& color = frame.stImageData[1];
        const FrameImages& images = truth[(number - 1) % kCycle];
        ASSERT_EQ(depth.nFrameNum, number) << "frames are lost";
        ASSERT_EQ(depth.nDataLen, images.m_depth.size() * 2);
        ASSERT_EQ(color.nDataLen, images.m_color.size());
        ASSERT_EQ(std::memcmp(depth.pData, images.m_depth.data(), depth.nDataLen), 0);
        ASSERT_EQ(std::memcmp(color.pData, images.m_color.data(), color.nDataLen), 0);
    }
    EXPECT_EQ(OX3D_RGBD_CloseDevice(&device), OX3D_RGBD_OK);
}

#ifdef OX3D_TOOL
TEST(Network, ShowsARecordingsCameraToTheToolWhichLeavesItFree) {
    CProcess cameras(
        {OX3D_VIRTUAL_CAMERA, "--camera", "serial=REC,user_name=left,recording=" OX3D_DATA_DIR "/office"},
        ".");
    ASSERT_TRUE(cameras.WaitForOutput("\nready\n")) << cameras.Output();
    for (int again = 0; again < 2; ++again) {
        CProcess tool({OX3D_TOOL, "info", "--provider", "aravis", "--serial", "REC"}, ".");
        EXPECT_EQ(tool.Finish(), 0) << tool.Output();
        for (const char* text : {"GigE Vision", "left\n", "127.0.0.1\n", "fx 390.431", "fx 613.204"}) {
            EXPECT_NE(tool.Output().find(text), std::string::npos) << text << " in " << tool.Output();
        }
    }
    CProcess mover({OX3D_TOOL, "network", "--serial", "REC", "--set-ip", "10.9.8.7"}, ".");
    EXPECT_EQ(mover.Finish(), 0) << mover.Output();
    CProcess doctor({OX3D_TOOL, "doctor", "--provider", "aravis"}, ".");
    EXPECT_TRUE(doctor.WaitForOutput("REC: not asked, it is out of reach\n")) << doctor.Output();
}

TEST(Network, IsKnownToTheToolWithEveryAddressOfAnInterface) {
    const std::string script = "ip link set lo up && ip address add 192.168.1.10/24 dev lo && "
                               "ip address add 192.0.2.1/24 dev lo && exec '" OX3D_TOOL
                               "' network --provider virtual --serial VC00000001 --set-ip 192.168.1.10";
    CProcess tool({"/usr/bin/env", "unshare", "-n", "sh", "-c", script}, ".");
    EXPECT_EQ(tool.Finish(), 2);
    EXPECT_NE(tool.Output().find("192.168.1.10 is this host's own"), std::string::npos) << tool.Output();
}
#endif

} // namespace
