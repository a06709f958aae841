// VirtualTest.cpp - the provider with virtual cameras inside the process, and what only those have: their list, and
// faults that spoil frames.
#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Files.h"
#include "tests/support/OpenThings.h"
#include "tests/support/Waiting.h"

namespace ox3d::test {

const char* const kLibrary = OX3D_PROVIDER;
const uint32_t kLayer = OX_CC_GIGE_DEVICE;
const bool kHasEvents = true;

void PlugCameras(const std::string& list) {
    static int s_plugs = 0;
    setenv("OX3D_VIRTUAL_CAMERAS", "cameras.ini", 1);
    // A camera that looks different is a new one, whatever has become of the one before.
    WriteFile("cameras.ini", list + "host_ip = 10.0.0." + std::to_string(++s_plugs % 200 + 1) + "\n");
}

bool CanShare(uint32_t first, uint32_t second) {
    return (first == OX_CC_ACCESS_MONITOR && second != OX_CC_ACCESS_EXCLUSIVE) ||
           (first == OX_CC_ACCESS_CONTROL && second == OX_CC_ACCESS_MONITOR);
}

namespace {

TEST(VirtualList, HasOneEthernetCameraWhenNoneIsNamed) {
    Plug("");
    unsetenv("OX3D_VIRTUAL_CAMERAS");
    const auto cameras = List(OX_CC_GIGE_DEVICE | OX_CC_USB_DEVICE);
    ASSERT_EQ(cameras.size(), 1U);
    EXPECT_EQ(cameras[0].nTLayerType, OX_CC_GIGE_DEVICE);
    EXPECT_STREQ(cameras[0].stGigEInfo.chSerialNumber, "VC00000001");
}

TEST(VirtualList, IsReadForARecordThatIsOlderThanTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe"; // a process that has listed nothing yet
    PlugCameras("[camera]\nserial = R1\n");
    OX_CC_DEVICE_INFO record{};
    record.nTLayerType = OX_CC_GIGE_DEVICE;
    std::strcpy(record.stGigEInfo.chSerialNumber, "R1");
    void* handle = nullptr;
    EXPECT_EXIT(std::_Exit(CC(OX_CC_CreateHandle)(&handle, &record)), testing::ExitedWithCode(0), "");
}

// Sanitizers do not take part: the allocator of one is not freed for a child, the other allows it no thread.
TEST(VirtualList, IsAForkedChildsOwnWhateverThreadsOfTheParentAreIn) {
    constexpr int kChildren = kSanitized ? 0 : 20;
    const COpenCamera camera;
    std::atomic<bool> isOver{false};
    std::thread listing([&] {
        while (!isOver) {
            EXPECT_EQ(List().size(), 1U);
        }
    });
    std::thread setting([&] {
        while (!isOver) {
            camera.SetGain(1);
        }
    });
    for (int i = 0; i < kChildren; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            const CHandle own(List().at(0));
            own.Open(); // the camera that its parent has open is another one
            _exit(testing::Test::HasFailure() ? 1 : 0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    isOver = true;
    listing.join();
    setting.join();
}

TEST(VirtualList, HoldsCamerasOfBothTransportsWithTheirPlaceInTheNetwork) {
    Plug("[camera]\nserial = U1\ntransport = usb\ndevice_version = 3.1\n[camera]\nserial = E1\n"
         "ip = 10.1.2.3\nmask = 255.255.0.0\ngateway = 10.1.0.1\nmac = 02:11:22:33:44:55\n");
    const auto cameras = List(UINT32_MAX);
    ASSERT_EQ(cameras.size(), 2U);
    EXPECT_EQ(cameras[0].nMacAddrHigh | cameras[0].nMacAddrLow, 0U);
    EXPECT_STREQ(cameras[0].stUsb3Info.chSerialNumber, "U1");
    EXPECT_STREQ(cameras[0].stUsb3Info.chDeviceVersion, "3.1");
    EXPECT_EQ(cameras[0].stUsb3Info.nBcdUsb, 0x0300U);
    EXPECT_EQ(cameras[1].nMacAddrHigh, 0x0211U);
    EXPECT_EQ(cameras[1].nMacAddrLow, 0x22334455U);
    EXPECT_EQ(cameras[1].stGigEInfo.nCurrentIp, 0x0A010203U);
    EXPECT_EQ(cameras[1].stGigEInfo.nCurrentSubNetMask, 0xFFFF0000U);
    EXPECT_EQ(cameras[1].stGigEInfo.nDefaultGateWay, 0x0A010001U);
    EXPECT_EQ(cameras[1].stGigEInfo.nNetExport >> 8, 0x0A0000U);
    EXPECT_EQ(List(OX_CC_USB_DEVICE).size(), 1U);
}

TEST(VirtualList, LeavesOutACameraWithAnErrorAndSaysWhereOnce) {
    for (const char* expected : {"cameras.ini:4: unknown key 'haste'", ""}) {
        testing::internal::CaptureStderr();
        Plug("[camera]\nserial=B1\n[camera]\nhaste = high\n");
        EXPECT_EQ(List().size(), 1U);
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(*expected == '\0' ? said.empty() : said.find(expected) != said.npos) << said;
    }
    setenv("OX3D_VIRTUAL_CAMERAS", "/", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(List().size(), 0U);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("cannot be read"));
}

TEST(VirtualList, FreesCamerasThatRestartAndHidesThoseThatItNoLongerHas) {
    const COpenCamera first(kComesBack);
    const CHandle second(first.Record());
    OX_CC_DEVICE_INFO record = first.Record();
    first.Reset();
    const auto isFree = [&] { return CC(OX_CC_IsDeviceAccessible)(&record, OX_CC_ACCESS_EXCLUSIVE); };
    EXPECT_TRUE(Eventually(isFree)) << "although the first is still open";
    second.Open();
    EXPECT_EQ(second.Close(), 0);
    Plug("[camera]\nserial = S3\n");
    EXPECT_EQ(List().size(), 1U);
    EXPECT_FALSE(isFree());
    EXPECT_EQ(CC(OX_CC_OpenDevice)(second, OX_CC_ACCESS_EXCLUSIVE, 0), kGone);
    EXPECT_EQ(CC(OX_GIGE_ForceIp)(second, 0x0A000001), kGone);
}

TEST(VirtualFault, SpoilsFramesWithinTheirMemory) {
    const COpenCamera camera("fault = chunk_length 16\nfault = chunk_count 64\nfault = depth_length 99\n");
    camera.EnableColor();
    camera.Start();
    const OX_FRAME_OUT_INFO_EX info = camera.Borrow().stFrameInfo;
    EXPECT_EQ(info.nFrameLen, 99U);
    ASSERT_EQ(info.nUnparsedChunkNum, 64U);
    EXPECT_EQ(info.pUnparsedChunkContent[0].nChunkLen, 16U);
    EXPECT_EQ(info.pUnparsedChunkContent[63].pChunkData, nullptr);
    const CHandle denied("fault = deny_open\n");
    EXPECT_EQ(CC(OX_CC_OpenDevice)(denied, OX_CC_ACCESS_EXCLUSIVE, 0), kDenied);
}

} // namespace
} // namespace ox3d::test
