// GigETest.cpp - what only cameras on the network have: packets that get lost, and control that runs out.
#include <thread>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Waiting.h"

using namespace ox3d::test;

namespace {

// Frames of more than ten packets.
void OpenWithSmallPackets(const CHandle& handle) {
    handle.Open();
    handle.EnableColor();
    ASSERT_EQ(CC(OX_CC_SetIntValueEx)(handle, "GevSCPSPacketSize", 576), 0);
}

TEST(GigEStream, AsksForLostAndSwappedPacketsAgain) {
    const CHandle handle("fault = drop_packets 30\nfault = reorder_packets 30\n");
    OpenWithSmallPackets(handle);
    for (const uint32_t frames : {60U, 10U}) {
        handle.Start();
        for (uint32_t number = 1; number <= frames; ++number) {
            ASSERT_EQ(handle.Fetch(), number) << "frames are lost";
        }
        EXPECT_EQ(handle.Lost(), 0);
        EXPECT_EQ(handle.Stop(), 0);
    }
    OX_CC_INT_VALUE size{};
    EXPECT_EQ(CC(OX_CC_GetIntValue)(handle, "GevSCPSPacketSize", &size), 0);
    EXPECT_EQ(size.nCurValue, 576U) << "the application's choice";
}

TEST(GigEStream, LosesFramesWithTheirPacketsWhenResendIsOff) {
    const CHandle handle("fault = drop_packets 30\n"); // as many as are asked for again above
    ASSERT_EQ(CC(OX_GIGE_SetResend)(handle, 0, 100, 20), 0);
    OpenWithSmallPackets(handle);
    handle.Start();
    uint32_t number = 1;
    while (number > 0 && number < 60) {
        number = handle.Fetch();
    }
    EXPECT_GE(handle.Lost(), 10);
}

TEST(GigEStream, CountsNumbersThatTheCameraLeavesOutAsLostBesideFramesThatAreNotWhole) {
    const CHandle handle("fault = drop_every 3\nfault = truncate_frame 4\n");
    OpenWithSmallPackets(handle);
    handle.Start();
    for (const uint32_t number : {1U, 2U, 5U, 7U, 8U}) {
        EXPECT_EQ(handle.Fetch(), number);
    }
    EXPECT_GE(handle.Lost(), 3);
}

TEST(GigEStream, TakesNoFramesWhoseChunksLieAboutTheirLength) {
    const CHandle handle("fault = claim_chunk_length 2000000000\n");
    OpenWithSmallPackets(handle);
    handle.Start();
    EXPECT_TRUE(Eventually([&] { return handle.Lost() > 2; }));
    EXPECT_EQ(handle.FetchStatus(), kNoData);
}

TEST(GigEStream, FindsThePacketSizeOfThePath) {
    const CHandle handle;
    handle.Open();
    EXPECT_EQ(CC(OX_CC_GetOptimalPacketSize)(handle), 9000);
    handle.Start();
    EXPECT_EQ(handle.Fetch(), 1U);
    OX_CC_INT_VALUE size{};
    EXPECT_EQ(CC(OX_CC_GetIntValue)(handle, "GevSCPSPacketSize", &size), 0);
    EXPECT_EQ(size.nCurValue, 9000U);
}

TEST(GigEControl, IsHeldLongerThanTheHeartbeatLasts) {
    const CHandle handle;
    handle.Open();
    ASSERT_EQ(CC(OX_CC_SetIntValueEx)(handle, "GevHeartbeatTimeout", 500), 0);
    const CHandle other(handle.Record());
    for (int i = 0; i < 12; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100)); // time is what this is about
        ASSERT_EQ(CC(OX_CC_OpenDevice)(other, 3, 0), Status(OX_CC_E_ACCESS_DENIED));
    }
    EXPECT_EQ(CC(OX_CC_SetFloatValue)(handle, "Gain", 1), 0);
}

TEST(GigEControl, IsGivenBackByAnOpeningThatFails) {
    const CHandle handle("fault = broken_xml\n");
    OX_CC_DEVICE_INFO record = handle.Record();
    for (int i = 0; i < 2; ++i) {
        const int status = CC(OX_CC_OpenDevice)(handle, 1, 0);
        EXPECT_NE(status, 0);
        EXPECT_NE(status, Status(OX_CC_E_ACCESS_DENIED));
        EXPECT_TRUE(CC(OX_CC_IsDeviceAccessible)(&record, 1));
    }
    const CHandle denied("fault = deny_open\n");
    EXPECT_EQ(CC(OX_CC_OpenDevice)(denied, 1, 0), Status(OX_CC_E_ACCESS_DENIED));
}

TEST(GigEEvents, BringTheirData) {
    CWatched<std::string> told;
    const CHandle handle;
    handle.Open();
    const OX_CC_EVENT_CALLBACK note = [](OX_EVENT_OUT_INFO* info, void* user) {
        EXPECT_EQ(info->nEventID, 0x9001);
        EXPECT_EQ(info->nEventDataSize, 4U);
        EXPECT_EQ(*static_cast<const uint8_t*>(info->pEventData), 0x42) << "a temperature from 32 on";
        static_cast<CWatched<std::string>*>(user)->Set(info->chEventName);
    };
    ASSERT_EQ(CC(OX_CC_RegisterAllEventCallBack)(handle, note, &told), 0);
    handle.Set("EventSelector", 1);
    handle.Set("EventNotification", 1);
    EXPECT_TRUE(told.WaitFor([](const std::string& name) { return name == "DeviceTemperature"; }));
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
    EXPECT_TRUE(Eventually([&] { return (found = List()).size() == 2; }));
    ASSERT_EQ(found.size(), 2U);
    EXPECT_STREQ(found[1].stGigEInfo.chSerialNumber, "S2");
    EXPECT_EQ(found[1].stGigEInfo.nCurrentIp, found[0].stGigEInfo.nCurrentIp + 1);
    const CHandle second(found[1]);
    second.Open();
    const CHandle other(found[0]);
    other.Open(); // each is a camera of its own
}

} // namespace
