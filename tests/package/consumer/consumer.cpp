// A C++ program against the installed library: list, open by serial number, fetch, close. With an argument it only
// lists, and expects that no camera-control library can be found ("none"), or that one is ("list").
#include "Ox3dRgbdApi.h"
#include "Oxb3dBinoStereo.h"

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
    OX3D_RGBD_DEVICE_INFO info = {};
    OX3D_RGBD_FRAME_DATA frame = {};
    uint32_t count = 0;
    uint32_t status = OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ALL, &info, 1, &count);
    if (argc > 1) {
        return status == (std::string(argv[1]) == "none" ? OX3D_RGBD_E_LOAD_LIBRARY : OX3D_RGBD_OK) ? 0 : 1;
    }
    status |= OXB3D_BINOSTEREO_GetVersion() == 0x04C12A58 ? 0 : 1;
    const std::string serial(info.chSerialNumber, sizeof(info.chSerialNumber));
    void* handle = nullptr;
    status |= OX3D_RGBD_OpenDeviceBySerialNumber(&handle, serial.c_str());
    status |= OX3D_RGBD_Start(handle);
    status |= OX3D_RGBD_FetchFrame(handle, &frame, 5000);
    status |= OX3D_RGBD_CloseDevice(&handle);
    std::printf("status 0x%08x, %u images\n", status, frame.nImageCount);
    return status == OX3D_RGBD_OK && frame.nImageCount == 2 ? 0 : 1;
}
