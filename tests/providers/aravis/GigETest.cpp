// GigETest.cpp - the provider over Aravis with cameras on a private network, in a process of their own, and what only
// those have: packets that get lost, and control that runs out.
#include <memory>
#include <thread>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"
#include "tests/support/Waiting.h"

namespace ox3d::test {

const char* const kLibrary = OX3D_PROVIDER;
const uint32_t kLayer = OX_CC_GIGE_DEVICE;
const bool kHasEvents = true;

void PlugCameras(const std::string& list) {
    static std::unique_ptr<CProcess> s_cameras;
    WriteFile("cameras.ini", list);
    s_cameras.reset();
    const std::vector<std::string> command{OX3D_VIRTUAL_CAMERA, "--config", "cameras.ini"};
    s_cameras = std::make_unique<CProcess>(command, ".");
    EXPECT_TRUE(s_cameras->WaitForOutput("\nready\n")) << s_cameras->Output();
}

// Exclusive access is not asked for with the register that would lock out those who only look.
bool CanShare(uint32_t first, uint32_t second) {
    return first == OX_CC_ACCESS_MONITOR || second == OX_CC_ACCESS_MONITOR;
}

namespace {

int64_t PacketSize(const CHandle& camera) {
    return Value(CC(OX_CC_GetIntValueEx), camera, "GevSCPSPacketSize").nCurValue;
}

// Frames of more than ten packets.
void UseSmallPackets(const CHandle& camera) {
    camera.EnableColor();
    ASSERT_EQ(CC(OX_CC_SetIntValueEx)(camera, "GevSCPSPacketSize", 576), 0);
}

TEST(GigEStream, AsksForLostAndSwappedPacketsAgain) {
    const COpenCamera camera("fault = drop_packets 30\nfault = reorder_packets 30\n");
    UseSmallPackets(camera);
    for (const int frames : {60, 10}) {
        camera.Start();
        for (int number = 1; number <= frames; ++number) {
            ASSERT_EQ(camera.Fetch(), number) << "frames are lost";
        }
        EXPECT_EQ(camera.Lost(), 0);
        EXPECT_EQ(camera.Stop(), 0);
    }
    EXPECT_EQ(PacketSize(camera), 576) << "the application's choice";
}

TEST(GigEStream, LosesFramesWithTheirPacketsWhenResendIsOff) {
    const CHandle camera("fault = drop_packets 30\n"); // as many as are asked for again above
    ASSERT_EQ(CC(OX_GIGE_SetResend)(camera, 0, 100, 20), 0);
    camera.Open();
    UseSmallPackets(camera);
    camera.Start();
    int number = 1;
    while (number > 0 && number < 60) {
        number = camera.Fetch();
    }
    EXPECT_GE(camera.Lost(), 10);
}

TEST(GigEStream, CountsNumbersThatTheCameraLeavesOutAsLostBesideFramesThatAreNotWhole) {
    const COpenCamera camera("fault = drop_every 3\nfault = truncate_frame 4\n");
    UseSmallPackets(camera);
    camera.Start();
    for (const int number : {1, 2, 5, 7, 8}) {
        EXPECT_EQ(camera.Fetch(), number);
    }
    EXPECT_GE(camera.Lost(), 3);
}

TEST(GigEStream, TakesNoFramesWhoseChunksLieAboutTheirLength) {
    const COpenCamera camera("fault = claim_chunk_length 2000000000\n");
    UseSmallPackets(camera);
    camera.Start();
    EXPECT_TRUE(Eventually([&] { return camera.Lost() > 2; }));
    EXPECT_EQ(camera.Fetch(0), kNoData);
}

TEST(GigEStream, FindsThePacketSizeOfThePath) {
    const COpenCamera camera;
    EXPECT_EQ(CC(OX_CC_GetOptimalPacketSize)(camera), 9000);
    camera.Start();
    EXPECT_EQ(camera.Fetch(), 1);
    EXPECT_EQ(PacketSize(camera), 9000);
}

TEST(GigEControl, IsHeldLongerThanTheHeartbeatLasts) {
    const COpenCamera camera;
    ASSERT_EQ(CC(OX_CC_SetIntValueEx)(camera, "GevHeartbeatTimeout", 500), 0);
    const CHandle other(camera.Record());
    for (int i = 0; i < 12; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100)); // time is what this is about
        ASSERT_EQ(CC(OX_CC_OpenDevice)(other, OX_CC_ACCESS_CONTROL, 0), kDenied);
    }
    EXPECT_EQ(camera.SetGain(1), 0);
}

TEST(GigEControl, OfALostCameraIsNotNeededToBeToldOfIt) {
    CFlag isTold;
    const CHandle monitor(kStaysAway);
    monitor.Open(OX_CC_ACCESS_MONITOR);
    const OX_CC_EXCEPTION_CALLBACK note = [](uint32_t, void* user) { static_cast<CFlag*>(user)->Raise(); };
    CC(OX_CC_RegisterExceptionCallBack)(monitor, note, &isTold);
    const CHandle owner(monitor.Record());
    owner.Open(OX_CC_ACCESS_CONTROL);
    owner.Reset();
    EXPECT_TRUE(isTold.Wait());
}

TEST(GigEControl, IsGivenBackByAnOpeningThatFails) {
    const CHandle handle("fault = broken_xml\n");
    OX_CC_DEVICE_INFO record = handle.Record();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(CC(OX_CC_OpenDevice)(handle, OX_CC_ACCESS_EXCLUSIVE, 0), Status(OX_CC_E_GC_GENERIC));
        EXPECT_TRUE(CC(OX_CC_IsDeviceAccessible)(&record, OX_CC_ACCESS_EXCLUSIVE));
    }
    const CHandle denied("fault = deny_open\n");
    EXPECT_EQ(CC(OX_CC_OpenDevice)(denied, OX_CC_ACCESS_EXCLUSIVE, 0), kDenied);
}

TEST(GigEEvents, BringTheirData) {
    CWatched<std::string> told;
    const COpenCamera camera;
    const OX_CC_EVENT_CALLBACK note = [](OX_EVENT_OUT_INFO* info, void* user) {
        EXPECT_EQ(info->nEventID, 0x9001);
        EXPECT_EQ(info->nEventDataSize, 4U);
        EXPECT_EQ(*static_cast<const uint8_t*>(info->pEventData), 0x42) << "a temperature from 32 on";
        static_cast<CWatched<std::string>*>(user)->Set(info->chEventName);
    };
    ASSERT_EQ(CC(OX_CC_RegisterAllEventCallBack)(camera, note, &told), 0);
    camera.Set("EventSelector", 1);
    camera.Set("EventNotification", 1);
    EXPECT_TRUE(told.WaitFor([](const std::string& name) { return name == "DeviceTemperature"; }));
}

TEST(GigEDiscovery, FindsACameraWhoseAddressTheHostDoesNotHave) {
    const CHandle camera;
    ASSERT_EQ(CC(OX_GIGE_ForceIp)(camera, 0x0A090909), 0);
    EXPECT_TRUE(
        Eventually([] { return List().size() == 1 && List()[0].stGigEInfo.nCurrentIp == 0x0A090909; }));
}

TEST(GigEDiscovery, WaitsForACameraThatIsSlow) {
    Plug(CameraText("fault = slow_commands 700\n"));
    EXPECT_EQ(List().size(), 1U);
}

TEST(GigEDiscovery, FindsACameraThatCameAfterTheLastSearch) {
    const CHandle first;
    ASSERT_EQ(List().size(), 1U);
    Plug(CameraText() + CameraText("serial = S2\n"));
    std::vector<OX_CC_DEVICE_INFO> found;
    ASSERT_TRUE(Eventually([&] { return (found = List()).size() == 2; }));
    EXPECT_STREQ(found[1].stGigEInfo.chSerialNumber, "S2");
    EXPECT_EQ(found[1].stGigEInfo.nCurrentIp, found[0].stGigEInfo.nCurrentIp + 1);
    const CHandle second(found[1]);
    second.Open();
    const CHandle other(found[0]);
    other.Open(); // each is a camera of its own
}

} // namespace
} // namespace ox3d::test
