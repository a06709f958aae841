// GigETest.cpp - the provider over Aravis with cameras on a private network, in a process of their own, and what only
// those have: packets that get lost, and control that runs out.
#include <memory>
#include <thread>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"
#include "tests/support/Waiting.h"
#include "virtual-camera/gige/CameraSocket.h"
#include "virtual-camera/gige/GvspFrame.h"

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
    const COpenCamera camera("fps = 40\nfault = drop_packets 10\nfault = reorder_packets 10\n");
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
    const CHandle camera("fault = drop_packets 30\n");
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

TEST(GigEStream, LosesFramesThatAreNoImageOfTheSizeTheyAnnounce) {
    const COpenCamera camera;
    camera.Set("TriggerMode", 1);
    camera.Start();
    camera.Trigger();
    EXPECT_EQ(camera.Fetch(), 1);
    const auto port = Value(CC(OX_CC_GetIntValueEx), camera, "GevSCPHostPort").nCurValue;
    const Endpoint stream{camera.Record().stGigEInfo.nNetExport, static_cast<uint16_t>(port)};
    CUdpSocket sender; // has the camera's address
    ASSERT_TRUE(sender.Open({camera.Record().stGigEInfo.nCurrentIp, 0}));
    const std::tuple<uint32_t, uint32_t, size_t> forged[] = {
        {64, kPixelDepth, 0}, {64, kPixelDepth, 6140}, {0, kPixelDepth, 0}, {64, 0, 100}};
    for (const auto& [width, format, lengthBytes] : forged) {
        gige::GvspFrame frame;
        frame.m_blockId = static_cast<uint16_t>(camera.Lost() + 2);
        frame.m_width = width;
        frame.m_height = 48;
        frame.m_pixelFormat = format;
        frame.m_payload.resize(lengthBytes);
        frame.m_dataBytes = 8000;
        gige::GvspPacket packet;
        for (uint32_t id = 0; id < frame.Packets(); ++id) {
            gige::MakeGvspPacket(frame, id, &packet);
            gige::SendPackets(sender, {&packet, 1}, stream);
        }
        EXPECT_TRUE(Eventually([&] { return camera.Lost() + 1 == static_cast<int64_t>(frame.m_blockId); }))
            << lengthBytes;
    }
    for (int block = 2; block <= 6; ++block) { // the first four are none that the forged ones were not
        camera.Trigger();
    }
    EXPECT_EQ(camera.Fetch(), 6);
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

TEST(GigEDiscovery, WaitsForACameraThatIsSlow) {
    Plug(CameraText("fault = slow_commands 700\n"));
    EXPECT_EQ(List().size(), 1U);
}

TEST(GigEDiscovery, FindsACameraOfAnotherSubnetAndBringsItBackForGood) {
    const CHandle camera(kComesBack);
    ASSERT_EQ(CC(OX_GIGE_SetIpConfig)(camera, OX_GIGE_IP_CFG_DHCP), 0);
    ASSERT_EQ(CC(OX_GIGE_ForceIpEx)(camera, 0x0A010203, 0xFFFFFF00, 0x0A010201), 0);
    ASSERT_EQ(List().size(), 1U);
    EXPECT_EQ(List().at(0).stGigEInfo.nCurrentIp, 0x0A010203U);
    for (const char* change : {"add", "del"}) { // the host gets the camera's address, and loses it again
        ASSERT_EQ(std::system((std::string("ip address ") + change + " 10.1.2.3/32 dev lo").c_str()), 0);
        OX_CC_DEVICE_INFO record = List().at(0);
        EXPECT_TRUE(Eventually([&] {
            return CC(OX_CC_IsDeviceAccessible)(&record, OX_CC_ACCESS_EXCLUSIVE) == (*change == 'a');
        }));
    }
    EXPECT_EQ(CC(OX_GIGE_SetIpConfig)(camera, OX_GIGE_IP_CFG_DHCP), kGone);
    EXPECT_EQ(CC(OX_GIGE_SetIpConfig)(camera, OX_GIGE_IP_CFG_STATIC), 0);
    EXPECT_EQ(CC(OX_GIGE_ForceIpEx)(camera, 0x7F000055, 0xFF000000, 0x7F000009), 0);
    camera.Open();
    camera.Reset();
    ASSERT_EQ(camera.Close(), 0);
    ASSERT_EQ(camera.OpenAgain(), 0);
    const OX_CC_GIGE_DEVICE_INFO restarted = List().at(0).stGigEInfo;
    EXPECT_EQ(restarted.nIpCfgCurrent, OX_GIGE_IP_CFG_STATIC);
    EXPECT_EQ(restarted.nCurrentIp, 0x7F000055U);
    EXPECT_EQ(restarted.nDefaultGateWay, 0x7F000009U);
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
