// A C++ program against the installed library: list, open by serial number, take frames by callback, close.
#include "Ox3dRgbdApi.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

int main() {
    OX3D_RGBD_DEVICE_INFO info = {};
    uint32_t count = 0;
    uint32_t status = OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ALL, &info, 1, &count);
    const std::string serial(info.chSerialNumber, sizeof(info.chSerialNumber));
    void* handle = nullptr;
    status |= OX3D_RGBD_OpenDeviceBySerialNumber(&handle, serial.c_str());
    std::atomic<uint32_t> images{0};
    const auto onFrame = [](OX3D_RGBD_FRAME_DATA* frame, void* user) {
        *static_cast<std::atomic<uint32_t>*>(user) += frame->nImageCount;
    };
    status |= OX3D_RGBD_RegisterFrameCallBack(handle, onFrame, &images);
    status |= OX3D_RGBD_Start(handle);
    for (int waits = 0; waits < 1000 && images < 6; ++waits) { // depth and color of three frames
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    status |= OX3D_RGBD_CloseDevice(&handle);
    std::printf("status 0x%08x, %u images\n", status, images.load());
    return status == OX3D_RGBD_OK && images >= 6 ? 0 : 1;
}
