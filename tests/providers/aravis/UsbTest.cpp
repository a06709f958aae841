// UsbTest.cpp - the provider over Aravis with a camera on the bus that the stand-in for libusb has, and what only
// cameras on USB have.
#include "tests/doubles/usb3/UsbStandIn.h"
#include "tests/providers/conformance/Provider.h"
#include "tests/support/Waiting.h"

namespace ox3d::test {

const char* const kLibrary = OX3D_PROVIDER;
const uint32_t kLayer = OX_CC_USB_DEVICE;
const bool kHasEvents = false;

void PlugCameras(const std::string& list) {
    std::vector<std::string> errors;
    const auto cameras = ParseCameraList(list, "list", ".", &errors);
    ASSERT_EQ(cameras.size(), 1U) << errors.front();
    PlugUsbCamera(cameras.front());
}

bool CanShare(uint32_t /*first*/, uint32_t /*second*/) {
    return false;
}

namespace {

TEST(Usb, ACameraOfAnotherProcessIsRefusedUntilThatHasClosedIt) {
    const CHandle handle;
    OX_CC_DEVICE_INFO record = handle.Record();
    SetUsbBusy(true);
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(&record, OX_CC_ACCESS_EXCLUSIVE));
    EXPECT_EQ(CC(OX_CC_OpenDevice)(handle, OX_CC_ACCESS_EXCLUSIVE, 0), kDenied);
    SetUsbBusy(false);
    handle.Open();
}

// Pulled, and not restarted by command: nothing of the provider's own has a hand in it.
// Whatever the camera thinks of a file it says when that is closed.
TEST(Usb, AFileIsNotWrittenUntilTheCameraHasClosedIt) {
    const COpenCamera camera("fault = reboot_on_firmware\n");
    OX_CC_FILE_ACCESS file{};
    file.pUserFileName = "recording/calibration.xml";
    file.pDevFileName = "DeviceFirmware";
    EXPECT_EQ(CC(OX_CC_FileAccessWrite)(camera, &file), kGone);
}

TEST(Usb, ACameraThatIsPulledIsToldOfOnceWithAndWithoutAStream) {
    for (const bool isGrabbing : {false, true}) {
        CWatched<int> count;
        const COpenCamera camera(kComesBack);
        const OX_CC_EXCEPTION_CALLBACK note = [](uint32_t, void* user) {
            static_cast<CWatched<int>*>(user)->Change([](int& all) { ++all; });
        };
        CC(OX_CC_RegisterExceptionCallBack)(camera, note, &count);
        if (isGrabbing) {
            camera.Start();
            EXPECT_EQ(camera.Fetch(), 1);
        }
        UnplugUsbCamera();
        EXPECT_TRUE(count.WaitFor([](int all) { return all > 0; }));
        EXPECT_EQ(camera.Close(), 0);
        EXPECT_EQ(count.Get(), 1);
        EXPECT_EQ(List().size(), 0U);
    }
}

} // namespace
} // namespace ox3d::test
