// ToolTexts.cpp - texts that the command-line tool reads: addresses that the user names, rules of udev, values of
// features as a camera gives them, and pictures, disparities and calibrations of stereo pairs. The first byte says which.
#include "fuzz/Input.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/commands/FeatureText.h"
#include "tools/ox3d/host/CameraAddress.h"
#include "tools/ox3d/host/UdevRules.h"
#include "tools/ox3d/stereo/Netpbm.h"
#include "tools/ox3d/stereo/StereoCalibration.h"

#include <cmath>

namespace {

using namespace ox3d::fuzz;
using namespace ox3d::tool;

void Address(CInput& input) {
    AddressRequest request;
    request.m_ip = input.TextUntil('\n');
    request.m_mask = input.TextUntil('\n');
    request.m_gateway = input.TextUntil('\n');
    const auto around = input.Take<AddressSurroundings>();
    try {
        CheckAddressTexts(request);
        const StaticAddress address = PlanAddress(request, around);
        OX3D_FUZZ_EXPECT(WhyNoHostAddress(address.m_ip) == nullptr);
        OX3D_FUZZ_EXPECT(((address.m_ip ^ address.m_gateway) & address.m_mask) == 0);
    } catch (const CToolError& error) {
        OX3D_FUZZ_EXPECT(error.Code() == EExitCode::Usage);
    }
}

void Picture(const std::string& bytes) {
    GreyImage grey;
    FloatImage numbers;
    OX3D_FUZZ_EXPECT(!ReadPgm(bytes, &grey) || grey.m_samples.size() < bytes.size());
    OX3D_FUZZ_EXPECT(!ReadPfm(bytes, &numbers) || numbers.m_samples.size() * sizeof(float) < bytes.size());
}

void StereoPair(const std::string& text) {
    try {
        const OXB3D_BINOSTEREO_INIT_INPUT read = StereoCalibrationOf(text, "stereo.json");
        OX3D_FUZZ_EXPECT(read.width > 0 && read.height > 0 && std::isfinite(read.left.matrix[0]));
    } catch (const CToolError& error) {
        OX3D_FUZZ_EXPECT(error.Code() == EExitCode::File);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    switch (input.Take<uint8_t>() % 5) {
    case 0:
        Address(input);
        break;
    case 1:
        CoversUsb3Vision(input.Text(input.Left()));
        break;
    case 2:
        OX3D_FUZZ_EXPECT(ValueText(input.Take<OX3D_RGBD_PARAM>()).size() < 4096);
        break;
    case 3:
        Picture(input.Text(input.Left()));
        break;
    default:
        StereoPair(input.Text(input.Left()));
        break;
    }
    return 0;
}
