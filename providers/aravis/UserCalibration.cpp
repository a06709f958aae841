// UserCalibration.cpp - the serial number comes from the camera, so it must not lead out of the folder.
#include "providers/aravis/UserCalibration.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "base/LocalFile.h"
#include "providers/aravis/ArvError.h"

namespace ox3d {
namespace {

constexpr const char* kFolderVariable = "OX3D_CALIBRATION_DIR";
constexpr uint64_t kMaxFileBytes = 1 << 20;
constexpr size_t kMaxNameBytes = 64;

std::string FileNameOf(ArvDevice* device) {
    CArvError error;
    const char* const serial = arv_device_get_string_feature_value(device, "DeviceSerialNumber", error.Out());
    std::string name = serial == nullptr ? "" : serial;
    name.resize(std::min(name.size(), kMaxNameBytes));
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '_');
    return name.empty() ? name : name + ".xml";
}

} // namespace

std::string ReadUserCalibration(ArvDevice* device) {
    const char* const folder =
        secure_getenv(kFolderVariable); // not for programs with more rights than the user
    if (folder == nullptr || *folder == '\0') {
        return "";
    }
    const std::string name = FileNameOf(device);
    const std::string path = std::string(folder).append("/").append(name);
    std::string text;
    if (name.empty() || !ReadLocalFile(path, kMaxFileBytes, &text)) {
        std::fprintf(stderr, "camera control: the calibration file %s is not there, or cannot be read\n",
                     path.c_str());
        return "";
    }
    return text;
}

} // namespace ox3d
