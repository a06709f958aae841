// NetworkTest.cpp - the public interface over the whole way: the library, the provider over Aravis, and cameras of
// another process on a private network.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "tests/support/Files.h"
#include "tests/support/OpenThings.h"
#include "tests/support/Process.h"
#include "tests/support/Waiting.h"
#include "virtual-camera/frames/FrameSource.h"
#include <ox3drgbd/Ox3dRgbdApi.h>

using namespace ox3d;
using namespace ox3d::test;

namespace {

constexpr uint32_t kTimeoutMs = 20000; // a sanitizer on a busy machine is slow
constexpr uint32_t kCycle = 3;         // frames that differ, over and over
constexpr uint32_t kManyFrames = kSanitized ? 40 : 300;

#define OX3D_OFFICE "recording=" OX3D_DATA_DIR "/office"

std::unique_ptr<CProcess> StartCameras(const std::vector<std::string>& cameras) {
    std::vector<std::string> command = {OX3D_VIRTUAL_CAMERA};
    for (const std::string& camera : cameras) {
        command.insert(command.end(), {"--camera", camera});
    }
    auto process = std::make_unique<CProcess>(command, ".");
    EXPECT_TRUE(process->WaitForOutput("\nready\n")) << process->Output();
    return process;
}

void* Open(const char* serial) {
    void* handle = nullptr;
    EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&handle, serial), OX3D_RGBD_OK);
    for (const char* key : {OX3D_RGBD_KEY_IMAGE_ALIGN, OX3D_RGBD_KEY_RESOLUTION_ALIGN}) {
        OX3D_RGBD_PARAM value{};
        value.enParamType = OX3D_RGBD_PARAM_INT; // images as the camera sends them
        EXPECT_EQ(OX3D_RGBD_SetParam(handle, key, &value), OX3D_RGBD_OK) << key;
    }
    return handle;
}

TEST(NetworkControl, OpensByEveryKeyFetchesTheCalibrationAndMovesACamera) {
    const auto cameras =
        StartCameras({"serial=ONE," OX3D_OFFICE, "serial=TWO,model=Other,user_name=left," OX3D_OFFICE});
    using Opener = uint32_t (*)(void**, const char*);
    const std::pair<Opener, const char*> rows[] = {{&OX3D_RGBD_OpenDeviceBySerialNumber, "TWO"},
                                                   {&OX3D_RGBD_OpenDeviceByIp, "127.0.0.2"},
                                                   {&OX3D_RGBD_OpenDeviceByName, "Other"}};
    for (const auto& [open, key] : rows) {
        std::filesystem::remove("RGBDSensorCali_TWO.xml");
        void* handle = nullptr;
        ASSERT_EQ(open(&handle, key), OX3D_RGBD_OK) << key;
        OX3D_RGBD_DEVICE_INFO info{};
        EXPECT_EQ(OX3D_RGBD_GetDeviceInfo(handle, &info), OX3D_RGBD_OK);
        EXPECT_STREQ(info.chSerialNumber, "TWO");
        EXPECT_STREQ(info.chUserDefinedName, "left");
        EXPECT_STREQ(info.chCurrentIp, "127.0.0.2");
        EXPECT_STREQ(info.chNetExport, "127.0.0.1");
        EXPECT_EQ(ReadFile("RGBDSensorCali_TWO.xml"), ReadFile(OX3D_DATA_DIR "/office/calibration.xml"));
        void* second = nullptr;
        EXPECT_EQ(open(&second, key), OX3D_RGBD_E_CAMERA_0E);
        EXPECT_EQ(OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
    }
    OX3D_RGBD_IP_CONFIG config{OX3D_RGBD_IP_STATIC, "127.0.0.77", "255.0.0.0", "127.0.0.9", {}};
    ASSERT_EQ(OX3D_RGBD_SetIpConfig("TWO", &config), OX3D_RGBD_OK);
    void* handle = nullptr;
    ASSERT_EQ(OX3D_RGBD_OpenDeviceByIp(&handle, "127.0.0.77"), OX3D_RGBD_OK);
    EXPECT_EQ(OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
}

TEST(NetworkStream, BringsLargeFramesWholeAndWithoutLoss) {
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
    const auto cameras =
        StartCameras({"serial=BIG,width=1280,height=720,color_width=1920,color_height=1080,cycle=" +
                      std::to_string(kCycle)});
    void* device = Open("BIG");
    ASSERT_EQ(OX3D_RGBD_SetImageNodeNum(device, 8), OX3D_RGBD_OK);
    ASSERT_EQ(OX3D_RGBD_Start(device), OX3D_RGBD_OK);
    for (uint32_t number = 1; number <= kManyFrames; ++number) {
        OX3D_RGBD_FRAME_DATA frame;
        ASSERT_EQ(OX3D_RGBD_FetchFrame(device, &frame, kTimeoutMs), OX3D_RGBD_OK) << "frame " << number;
        ASSERT_EQ(frame.nImageCount, 2U);
        const OX3D_RGBD_IMAGE_DATA& depth = frame.stImageData[0];
        const OX3D_RGBD_IMAGE_DATA& color = frame.stImageData[1];
        const FrameImages& images = truth[(number - 1) % kCycle];
        ASSERT_EQ(depth.nFrameNum, number) << "frames are lost";
        ASSERT_EQ(depth.nDataLen, images.m_depth.size() * 2);
        ASSERT_EQ(color.nDataLen, images.m_color.size());
        ASSERT_EQ(std::memcmp(depth.pData, images.m_depth.data(), depth.nDataLen), 0) << "frame " << number;
        ASSERT_EQ(std::memcmp(color.pData, images.m_color.data(), color.nDataLen), 0) << "frame " << number;
    }
    EXPECT_EQ(OX3D_RGBD_CloseDevice(&device), OX3D_RGBD_OK);
}

TEST(NetworkLoss, OfTheCameraIsToldOnceAndTheNextOneWorks) {
    const auto onLoss = [](OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
        static_cast<CWatched<std::vector<uint32_t>>*>(user)->Change(
            [&](std::vector<uint32_t>& all) { all.push_back(info->nExceptionId); });
    };
    CWatched<std::vector<uint32_t>> told;
    OX3D_RGBD_FRAME_DATA frame;
    for (int camera = 0; camera < 2; ++camera) {
        const auto cameras = StartCameras({"serial=A," OX3D_OFFICE});
        void* device = Open("A");
        ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(device, onLoss, &told), OX3D_RGBD_OK);
        ASSERT_EQ(OX3D_RGBD_Start(device), OX3D_RGBD_OK);
        ASSERT_EQ(OX3D_RGBD_FetchFrame(device, &frame, kTimeoutMs), OX3D_RGBD_OK);
        if (camera == 0) {
            cameras->Signal(9); // gone without a word, as by a cut cable
            ASSERT_TRUE(told.WaitFor([](const auto& ids) { return !ids.empty(); }));
            uint32_t status = OX3D_RGBD_OK;
            for (int i = 0; i < 20 && status == OX3D_RGBD_OK; ++i) { // what had arrived before
                status = OX3D_RGBD_FetchFrame(device, &frame, kTimeoutMs);
            }
            EXPECT_EQ(status, OX3D_RGBD_E_NO_DATA);
        }
        EXPECT_EQ(OX3D_RGBD_CloseDevice(&device), OX3D_RGBD_OK);
    }
    EXPECT_EQ(told.Get(), std::vector<uint32_t>{OX3D_RGBD_EXCEPTION_OFFLINE});
}

} // namespace
