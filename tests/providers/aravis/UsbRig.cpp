// UsbRig.cpp - the provider over Aravis, with a camera on the bus that the stand-in for libusb has.
#include "tests/doubles/usb3/UsbStandIn.h"
#include "tests/providers/conformance/Provider.h"

namespace ox3d::test {
namespace {

class CUsbRig final : public CRig {
public:
    const char* Library() const override { return OX3D_PROVIDER; }
    uint32_t Layer() const override { return OX_CC_USB_DEVICE; }
    void Plug(const std::string& list) override {
        std::vector<std::string> errors;
        const auto cameras = ParseCameraList(list, "list", ".", &errors);
        ASSERT_EQ(cameras.size(), 1U) << errors.front();
        PlugUsbCamera(cameras.front());
    }
    bool CanShare(uint32_t /*first*/, uint32_t /*second*/) const override { return false; }
    bool HasEvents() const override { return false; }
};

} // namespace

CRig& Rig() {
    static CUsbRig s_rig;
    return s_rig;
}

} // namespace ox3d::test
