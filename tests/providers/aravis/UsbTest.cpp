// UsbTest.cpp - what only cameras on USB have.
#include "tests/doubles/usb3/UsbStandIn.h"
#include "tests/providers/conformance/Provider.h"
#include "tests/support/Waiting.h"

using namespace ox3d::test;

namespace {

TEST(Usb, ACameraOfAnotherProcessIsRefusedUntilThatHasClosedIt) {
    const CHandle handle;
    OX_CC_DEVICE_INFO record = handle.Record();
    SetUsbBusy(true);
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(&record, OX_CC_ACCESS_EXCLUSIVE));
    EXPECT_EQ(CC(OX_CC_OpenDevice)(handle, OX_CC_ACCESS_EXCLUSIVE, 0), Status(OX_CC_E_ACCESS_DENIED));
    SetUsbBusy(false);
    handle.Open();
    EXPECT_EQ(CC(OX_CC_GetOptimalPacketSize)(handle), Status(OX_CC_E_SUPPORT));
}

// Pulled, and not restarted by command: nothing of the provider's own has a hand in it.
TEST(Usb, ACameraThatIsPulledIsToldOfOnceWithAndWithoutAStream) {
    for (const bool isGrabbing : {false, true}) {
        const CHandle handle(kComesBack);
        CWatched<int> count;
        handle.Open();
        const OX_CC_EXCEPTION_CALLBACK note = [](uint32_t, void* user) {
            static_cast<CWatched<int>*>(user)->Change([](int& all) { ++all; });
        };
        CC(OX_CC_RegisterExceptionCallBack)(handle, note, &count);
        if (isGrabbing) {
            handle.Start();
            EXPECT_EQ(handle.Fetch(), 1U);
        }
        UnplugUsbCamera();
        EXPECT_TRUE(count.WaitFor([](int all) { return all > 0; }));
        EXPECT_EQ(handle.Close(), 0);
        EXPECT_EQ(count.Get(), 1);
        EXPECT_EQ(List().size(), 0U);
    }
}

} // namespace
