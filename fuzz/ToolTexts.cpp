// ToolTexts.cpp - texts that the command-line tool reads: addresses that the user names, rules of udev, and values of
// features as a camera gives them. The first byte says which.
#include "fuzz/Input.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/commands/FeatureText.h"
#include "tools/ox3d/host/CameraAddress.h"
#include "tools/ox3d/host/UdevRules.h"

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    switch (input.Take<uint8_t>() % 3) {
    case 0:
        Address(input);
        break;
    case 1:
        CoversUsb3Vision(input.Text(input.Left()));
        break;
    default:
        OX3D_FUZZ_EXPECT(ValueText(input.Take<OX3D_RGBD_PARAM>()).size() < 4096);
        break;
    }
    return 0;
}
