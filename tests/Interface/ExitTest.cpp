// A process that ends, or unloads the library, with a device open and frames coming. Each case runs in a
// process of its own, which loads the library by hand.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/doubles/Double.h"
#include "tests/support/Files.h"
#include <ox3drgbd/Ox3dRgbdApi.h>

namespace {

template <class Fn>
Fn* Look(void* library, const char* name) {
    void* const address = dlsym(library, name);
    if (address == nullptr) {
        fprintf(stderr, "%s is missing\n", name);
        _exit(2);
    }
    return reinterpret_cast<Fn*>(address);
}

std::atomic<int> g_frames{0};
uint8_t g_pixels[64 * 48 * 2];
OX_FRAME_OUT_INFO_EX g_info = {};

// Opens the first device in push mode and keeps frames coming for ever.
void* LoadAndStream() {
    const ox3d::test::CWorkFolder folder;
    void* const library = dlopen(OX3D_LIBRARY, RTLD_NOW);
    if (library == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        _exit(2);
    }
    ox3d::test::CDouble& scripted = ox3d::test::Double();
    OX_CC_DEVICE_INFO device = {};
    device.nTLayerType = OX_CC_USB_DEVICE;
    scripted.SetDevices({device});
    scripted.SetFile("RGBDSensorCali", "<Calib/>");
    void* handle = nullptr;
    uint32_t status = Look<decltype(OX3D_RGBD_OpenDevice)>(library, "OX3D_RGBD_OpenDevice")(&handle, nullptr);
    status |= Look<decltype(OX3D_RGBD_RegisterFrameCallBack)>(library, "OX3D_RGBD_RegisterFrameCallBack")(
        handle, [](OX3D_RGBD_FRAME_DATA*, void*) { ++g_frames; }, nullptr);
    status |= Look<decltype(OX3D_RGBD_Start)>(library, "OX3D_RGBD_Start")(handle);
    if (status != OX3D_RGBD_OK) {
        _exit(2);
    }
    g_info.nWidth = 64;
    g_info.nHeight = 48;
    g_info.nFrameLen = sizeof(g_pixels);
    std::thread([&scripted] {
        for (;;) {
            scripted.DeliverFrame(g_pixels, &g_info);
        }
    }).detach();
    while (g_frames < 10) {
        std::this_thread::yield();
    }
    return library;
}

class Exit : public testing::Test {
protected:
    void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(Exit, WithADeviceOpenIsClean) {
    EXPECT_EXIT(
        {
            LoadAndStream();
            exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Exit, UnloadingWithADeviceOpenIsClean) {
    EXPECT_EXIT(
        {
            void* const library = LoadAndStream();
            dlclose(library);
            const int before = g_frames;
            while (g_frames < before + 10) { // callbacks may still be coming: their code must be there
                std::this_thread::yield();
            }
            exit(0);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
