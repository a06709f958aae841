// A process that ends, or unloads the library, with a device open and frames coming. Each case runs in a process of
// its own, which loads the library by hand.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/doubles/Double.h"
#include "tests/support/Files.h"
#include <ox3drgbd/Ox3dRgbdApi.h>

namespace {

std::atomic<int> g_frames{0};
uint8_t g_pixels[64 * 48 * 2];
OX_FRAME_OUT_INFO_EX g_info = {};

void WaitForFrames(int count) {
    for (const int before = g_frames; g_frames < before + count;) {
        std::this_thread::yield();
    }
}

// Opens the first device in push mode and keeps frames coming for ever.
void* LoadAndStream() {
    const ox3d::test::CWorkFolder folder;
    void* const library = dlopen(OX3D_LIBRARY, RTLD_NOW);
    ox3d::test::CDouble& scripted = ox3d::test::Double();
    OX_CC_DEVICE_INFO device = {};
    device.nTLayerType = OX_CC_USB_DEVICE;
    scripted.SetDevices({device});
    scripted.SetFile("RGBDSensorCali", "<Calib/>");
    void* handle = nullptr;
#define LOADED(name) reinterpret_cast<decltype(&(name))>(dlsym(library, #name))
    uint32_t status = LOADED(OX3D_RGBD_OpenDevice)(&handle, nullptr);
    status |= LOADED(OX3D_RGBD_RegisterFrameCallBack)(
        handle, [](OX3D_RGBD_FRAME_DATA*, void*) { ++g_frames; }, nullptr);
    status |= LOADED(OX3D_RGBD_Start)(handle);
    if (status != OX3D_RGBD_OK) {
        _exit(2);
    }
    g_info.nWidth = 64;
    g_info.nHeight = 48;
    g_info.nFrameLen = sizeof(g_pixels);
    std::thread([fromCamera = scripted.m_frames.m_callback, user = scripted.m_frames.m_user] {
        for (;;) {
            fromCamera(g_pixels, &g_info, user);
        }
    }).detach();
    WaitForFrames(10);
    return library;
}

// Ends the process with frames coming; whether the library is unloaded before.
[[noreturn]] void EndWithFramesComing(bool isUnloaded) {
    void* const library = LoadAndStream();
    if (isUnloaded) {
        dlclose(library);
        WaitForFrames(10); // callbacks may still be coming: their code must be there
    }
    exit(0);
}

TEST(Exit, WithADeviceOpenIsClean) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(EndWithFramesComing(false), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(EndWithFramesComing(true), testing::ExitedWithCode(0), "");
}

} // namespace
