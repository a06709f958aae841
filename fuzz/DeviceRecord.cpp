// DeviceRecord.cpp - the record of a camera as a camera-control library fills it, with texts that need not end: what
// the library makes of it, and what the command-line tool shows of that. The input is the record.
#include "src/Manager/DeviceRecord.h"

#include <algorithm>
#include <memory>

#include "fuzz/Input.h"
#include "src/Manager/CalibrationFile.h"
#include "tools/ox3d/Camera.h"

namespace {

using namespace ox3d::fuzz;

void ExpectPrintable(const std::string& text) {
    OX3D_FUZZ_EXPECT(std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    // In memory of their own, so that reading on behind a text's field is seen at the record's end.
    const auto device = std::make_unique<OX_CC_DEVICE_INFO>(input.Take<OX_CC_DEVICE_INFO>());
    const auto info = std::make_unique<OX3D_RGBD_DEVICE_INFO>();
    FillDeviceInfo(*device, info.get());
    FillMacAddress(*device, info.get());
    GetUserUSBType(input.Take<int>());
    char address[16] = {};
    GetIPString(address, input.Take<uint32_t>());
    OX3D_FUZZ_EXPECT(memchr(address, '\0', sizeof(address)) != nullptr);

    ExpectPrintable(ox3d::tool::AddressOf(*info));
    ExpectPrintable(ox3d::tool::MacText(*info));
    ExpectPrintable(ox3d::tool::TextOf(info->chSerialNumber));
    ExpectPrintable(ox3d::tool::TextOf(info->chModelName));

    char name[kCalibrationNameBytes] = {};
    const std::string serial = input.TextUntil('\0');
    CalibrationFileName(serial.c_str(), name);
    OX3D_FUZZ_EXPECT(strchr(name, '/') == nullptr && strlen(name) > strlen("RGBDSensorCali_.xml") - 1);
    return 0;
}
