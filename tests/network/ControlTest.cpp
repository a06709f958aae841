// ControlTest.cpp - finding, opening and maintaining cameras over the network.
#include "tests/support/OpenThings.h"
#include "tests/network/Cameras.h"

#include <algorithm>
#include <cstring>

using namespace ox3d::test;

namespace {

std::vector<OX3D_RGBD_DEVICE_INFO> List() {
    std::vector<OX3D_RGBD_DEVICE_INFO> cameras(8);
    uint32_t count = 0;
    EXPECT_EQ(OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ETHERNET, cameras.data(), 8, &count), OX3D_RGBD_OK);
    cameras.resize(count);
    std::sort(cameras.begin(), cameras.end(), [](const auto& a, const auto& b) {
        return std::strcmp(a.chSerialNumber, b.chSerialNumber) < 0;
    });
    return cameras;
}

TEST(NetworkControl, ListsEveryCameraWithItsRecord) {
    const CCameras cameras({"--camera", "serial=ONE,user_name=left,mac=02:00:00:aa:bb:cc", "--camera",
                            "serial=TWO,model=Other,device_version=3.2.1"});
    const std::vector<OX3D_RGBD_DEVICE_INFO> list = List();
    ASSERT_EQ(list.size(), 2U);
    const uint8_t mac[] = {2, 0, 0, 0xaa, 0xbb, 0xcc};
    EXPECT_STREQ(list[0].chSerialNumber, "ONE");
    EXPECT_STREQ(list[0].chUserDefinedName, "left");
    EXPECT_STREQ(list[0].chManufacturerName, "Ox3d");
    EXPECT_STREQ(list[0].chCurrentIp, "127.0.0.1");
    EXPECT_STREQ(list[0].chCurrentSubNetMask, "255.0.0.0");
    EXPECT_STREQ(list[0].chNetExport, "127.0.0.1");
    EXPECT_EQ(std::memcmp(list[0].chMacAddress, mac, sizeof(mac)), 0);
    EXPECT_STREQ(list[1].chSerialNumber, "TWO");
    EXPECT_STREQ(list[1].chModelName, "Other");
    EXPECT_STREQ(list[1].chDeviceVersion, "3.2.1");
    EXPECT_STREQ(list[1].chCurrentIp, "127.0.0.2");
}

TEST(NetworkControl, OpensBySerialNumberAddressAndModelAndFetchesTheCalibration) {
    const CCameras cameras({"--camera", "serial=ONE,cycle=8", "--camera", "serial=TWO,model=Other"});
    using Open = uint32_t (*)(void**, const char*);
    const std::pair<Open, const char*> rows[] = {{&OX3D_RGBD_OpenDeviceBySerialNumber, "TWO"},
                                                 {&OX3D_RGBD_OpenDeviceByIp, "127.0.0.2"},
                                                 {&OX3D_RGBD_OpenDeviceByName, "Other"}};
    for (const auto& [open, key] : rows) {
        std::filesystem::remove("RGBDSensorCali_TWO.xml");
        void* handle = nullptr;
        ASSERT_EQ(open(&handle, key), OX3D_RGBD_OK) << key;
        OX3D_RGBD_DEVICE_INFO info{};
        EXPECT_EQ(OX3D_RGBD_GetDeviceInfo(handle, &info), OX3D_RGBD_OK);
        EXPECT_STREQ(info.chSerialNumber, "TWO");
        OX3D_RGBD_PARAM mode{};
        EXPECT_EQ(OX3D_RGBD_GetParam(handle, "CameraWorkingMode", &mode), OX3D_RGBD_OK);
        EXPECT_EQ(mode.stEnumParam.nCurValue, 4U);
        EXPECT_EQ(ReadBytes("RGBDSensorCali_TWO.xml"), CTruth().CalibrationXml());
        EXPECT_EQ(OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
    }
}

TEST(NetworkControl, RefusesTheSecondOpener) {
    const CCameras cameras({"--camera", "serial=ONE", "--camera", "serial=TWO"});
    std::vector<OX3D_RGBD_DEVICE_INFO> list = List();
    ASSERT_EQ(list.size(), 2U);
    const CDevice first("ONE");
    void* second = nullptr;
    EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&second, "ONE"), OX3D_RGBD_E_CAMERA_0E);
    EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&list[0], 1), 0U);
    EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&list[1], 1), 1U);
    first.SetFloat("Gain", 2.5f); // the first is none the worse for it
    EXPECT_EQ(first.Get("Gain").stFloatParam.fCurValue, 2.5f);
}

TEST(NetworkControl, ABrokenDescriptionOpensNothingAndHarmsNobody) {
    const CCameras cameras({"--camera", "serial=ONE", "--broken-xml"});
    for (int i = 0; i < 2; ++i) {
        void* handle = nullptr;
        EXPECT_NE(OX3D_RGBD_OpenDeviceBySerialNumber(&handle, "ONE"), OX3D_RGBD_OK);
    }
    EXPECT_EQ(List().size(), 1U);
}

TEST(NetworkControl, MovesACameraToAnotherAddress) {
    const CCameras cameras({"--camera", "serial=ONE,cycle=8"});
    OX3D_RGBD_IP_CONFIG config{OX3D_RGBD_IP_STATIC, "127.0.0.77", "255.0.0.0", "127.0.0.9", {}};
    ASSERT_EQ(OX3D_RGBD_SetIpConfig("ONE", &config), OX3D_RGBD_OK);
    const std::vector<OX3D_RGBD_DEVICE_INFO> list = List();
    ASSERT_EQ(list.size(), 1U);
    EXPECT_STREQ(list[0].chCurrentIp, "127.0.0.77");
    EXPECT_STREQ(list[0].chDefaultGateWay, "127.0.0.9");
    void* handle = nullptr;
    ASSERT_EQ(OX3D_RGBD_OpenDeviceByIp(&handle, "127.0.0.77"), OX3D_RGBD_OK);
    EXPECT_EQ(OX3D_RGBD_CloseDevice(&handle), OX3D_RGBD_OK);
}

TEST(NetworkControl, ChecksRangesAndSavesAndLoadsFeatures) {
    const CCameras cameras({"--camera", "serial=ONE"});
    const CDevice device("ONE");
    OX3D_RGBD_PARAM tooMuch{};
    tooMuch.enParamType = OX3D_RGBD_PARAM_FLOAT;
    tooMuch.stFloatParam.fCurValue = 1e9f;
    EXPECT_EQ(OX3D_RGBD_SetParam(device, "Gain", &tooMuch), OX3D_RGBD_E_CAMERA_0F);
    device.SetFloat("Gain", 3.5f);
    device.SetFloat("ExposureTime", 4000);
    ASSERT_EQ(OX3D_RGBD_ExportAllParam(device, "features.txt"), OX3D_RGBD_OK);
    device.SetFloat("Gain", 1);
    device.SetFloat("ExposureTime", 9000);
    ASSERT_EQ(OX3D_RGBD_ImportAllParam(device, "features.txt"), OX3D_RGBD_OK);
    EXPECT_EQ(device.Get("Gain").stFloatParam.fCurValue, 3.5f);
    EXPECT_EQ(device.Get("ExposureTime").stFloatParam.fCurValue, 4000);
}

TEST(NetworkControl, CarriesFilesBothWays) {
    const CCameras cameras({"--camera", "serial=ONE"});
    const CDevice device("ONE");
    std::string bytes(1 << 20, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 2654435761U >> 13U);
    }
    WriteBytes("sent.bin", bytes);
    OX3D_RGBD_FILE_ACCESS file{"sent.bin", "UserFile1", {}};
    ASSERT_EQ(OX3D_RGBD_FileAccessWrite(device, &file), OX3D_RGBD_OK);
    file.pUserFileName = "received.bin";
    ASSERT_EQ(OX3D_RGBD_FileAccessRead(device, &file), OX3D_RGBD_OK);
    EXPECT_EQ(ReadBytes("received.bin"), bytes);
    file.pDevFileName = "NoSuchFile";
    EXPECT_NE(OX3D_RGBD_FileAccessRead(device, &file), OX3D_RGBD_OK);
}

TEST(NetworkControl, UpgradesFirmwareAndTellsHowFarItIs) {
    const CCameras cameras({"--camera", "serial=ONE,device_version=1.0.0"});
    const CDevice device("ONE");
    WriteBytes("firmware.bin", std::string(300000, 'f'));
    ASSERT_EQ(OX3D_RGBD_LocalUpgrade(device, "firmware.bin"), OX3D_RGBD_OK);
    uint32_t before = 0;
    uint32_t percent = 0;
    while (percent < 100) {
        ASSERT_EQ(OX3D_RGBD_GetUpgradeProcess(device, &percent), OX3D_RGBD_OK);
        ASSERT_GE(percent, before);
        before = percent;
    }
    EXPECT_STREQ(device.Get("DeviceVersion").stStringParam.chCurValue, "1.0.1");
}

TEST(NetworkControl, ACameraThatCameAfterTheLastSearchIsFound) {
    const CCameras first({"--camera", "serial=ONE"});
    ASSERT_EQ(List().size(), 1u);
    const CCameras second({"--camera", "serial=TWO,ip=127.0.0.9,mac=02:00:00:aa:bb:dd"});
    size_t found = 0;
    for (int search = 0; search < 100 && found < 2; ++search) { // in time for a whole search among them
        found = List().size();
    }
    EXPECT_EQ(found, 2u);
}

TEST(NetworkControl, ManyRoundsLeaveNothingBehind) {
    const CCameras cameras({"--camera", "serial=ONE,cycle=8,fps=100"});
    size_t files = 0;
    size_t threads = 0;
    for (int round = 0; round < 10; ++round) {
        {
            const CDevice device("ONE");
            ASSERT_EQ(OX3D_RGBD_Start(device), OX3D_RGBD_OK);
            OX3D_RGBD_FRAME_DATA frame;
            ASSERT_EQ(OX3D_RGBD_FetchFrame(device, &frame, 20000), OX3D_RGBD_OK) << "round " << round;
        }
        if (round < 2) { // the first open what stays open
            files = OpenFiles();
            threads = Threads();
        }
        EXPECT_EQ(OpenFiles(), files);
        EXPECT_LE(ThreadsSettled(threads), threads);
    }
}

} // namespace
