// A C++ program against the installed library: list, open by serial number, take frames by callback, close.
#include "Ox3dRgbdApi.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>

namespace {

struct Received {
    std::mutex mutex;
    std::condition_variable more;
    int frames = 0;
};

void OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
    auto* received = static_cast<Received*>(user);
    const std::lock_guard<std::mutex> lock(received->mutex);
    received->frames += frame->nImageCount > 0 ? 1 : 0;
    received->more.notify_all();
}

int Failed(const char* what, uint32_t status) {
    std::fprintf(stderr, "consumer.cpp: %s: 0x%08x\n", what, status);
    return 1;
}

} // namespace

int main() {
    std::array<OX3D_RGBD_DEVICE_INFO, 4> list{};
    uint32_t count = 0;
    uint32_t status = OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ALL, list.data(), list.size(), &count);
    if (status != OX3D_RGBD_OK || count == 0) {
        return Failed("list", status);
    }
    std::string serial(list[0].chSerialNumber, sizeof(list[0].chSerialNumber));
    serial.resize(serial.find_last_not_of('\0') + 1);

    void* handle = nullptr;
    if ((status = OX3D_RGBD_OpenDeviceBySerialNumber(&handle, serial.c_str())) != OX3D_RGBD_OK) {
        return Failed("open", status);
    }
    Received received;
    if ((status = OX3D_RGBD_RegisterFrameCallBack(handle, OnFrame, &received)) != OX3D_RGBD_OK) {
        return Failed("register", status);
    }
    if ((status = OX3D_RGBD_Start(handle)) != OX3D_RGBD_OK) {
        return Failed("start", status);
    }
    bool enough = false;
    {
        std::unique_lock<std::mutex> lock(received.mutex);
        enough = received.more.wait_for(lock, std::chrono::seconds(10), [&] { return received.frames >= 3; });
    }
    if ((status = OX3D_RGBD_CloseDevice(&handle)) != OX3D_RGBD_OK) {
        return Failed("close", status);
    }
    return enough ? 0 : Failed("fewer than three frames came", 0);
}
