// CameraList.cpp - the text file that lists virtual cameras, and single faults. The input is the file.
#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "virtual-camera/CameraConfig.h"
#include "virtual-camera/Faults.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    using namespace ox3d;
    fuzz::CInput input(data, lengthBytes);
    const std::string text = input.Text(lengthBytes);
    std::vector<std::string> errors;
    const std::vector<CameraConfig> cameras = ParseCameraList(text, "cameras.ini", "/nowhere", &errors);
    for (const std::string& error : errors) {
        OX3D_FUZZ_EXPECT(error.starts_with("cameras.ini:"));
    }
    for (const CameraConfig& camera : cameras) {
        // What ends up in fields of a device record, which need room for a terminator.
        OX3D_FUZZ_EXPECT(!camera.m_serial.empty() && camera.m_serial.size() < 16);
        OX3D_FUZZ_EXPECT(camera.m_model.size() < 32 && camera.m_userName.size() < 16);
        OX3D_FUZZ_EXPECT(camera.m_fps > 0 && camera.m_fps <= 240);
        OX3D_FUZZ_EXPECT(camera.m_source.m_depthWidth <= 4000 && camera.m_source.m_colorHeight <= 3000);
        OX3D_FUZZ_EXPECT(IsSameCamera(camera, camera));
    }
    FaultSet faults;
    std::string error;
    OX3D_FUZZ_EXPECT(ParseFault(text, &faults, &error) || !error.empty());
    return 0;
}
