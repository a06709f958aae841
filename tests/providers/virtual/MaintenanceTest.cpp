// MaintenanceTest.cpp - features, files, firmware and network configuration through the exported functions.
#include <filesystem>
#include <sstream>
#include <thread>

#include "tests/providers/virtual/Provider.h"

using namespace ox3d::test;

namespace {

std::string Contents(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

int Transfer(decltype(&::OX_CC_FileAccessRead) function, void* handle, const char* local,
             const char* device) {
    OX_CC_FILE_ACCESS request{};
    request.pUserFileName = local;
    request.pDevFileName = device;
    return function(handle, &request);
}

TEST(Features, AnswerWithTheCodeOfEachFault) {
    CHandle handle(CameraText("M1"));
    handle.Open();
    OX_CC_INT_VALUE_EX wide{};
    OX_CC_INT_VALUE narrow{};
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(handle, "Nothing", &wide), Status(OX_CC_E_GC_ARGUMENT));
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(handle, "Gain", &wide), Status(OX_CC_E_GC_DYNAMIC_CAST));
    EXPECT_EQ(CC(OX_CC_SetIntValueEx)(handle, "GevHeartbeatTimeout", 1), Status(OX_CC_E_GC_RANGE));
    EXPECT_EQ(CC(OX_CC_SetIntValueEx)(handle, "Width", 640), Status(OX_CC_E_GC_ACCESS));
    ASSERT_EQ(CC(OX_CC_GetIntValue)(handle, "GevHeartbeatTimeout", &narrow), 0);
    EXPECT_EQ(narrow.nMin, 500u);
    EXPECT_EQ(narrow.nMax, 60000u);
    EXPECT_EQ(CC(OX_CC_GetIntValue)(handle, "GevMACAddress", &narrow), Status(OX_CC_E_GC_RANGE)); // 48 bits
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(handle, "GevMACAddress", &wide), 0);
}

TEST(Features, SayTheirTypeAndAccess) {
    CHandle handle(CameraText("M2"));
    handle.Open();
    struct {
        const char* m_name;
        uint32_t m_type;
        uint32_t m_access;
    } const cases[] = {
        {"Width", OX_IFT_IInteger, OX_AM_RO},
        {"Gain", OX_IFT_IFloat, OX_AM_RW},
        {"ChunkModeActive", OX_IFT_IBoolean, OX_AM_RW},
        {"TriggerMode", OX_IFT_IEnumeration, OX_AM_RW},
        {"DeviceUserID", OX_IFT_IString, OX_AM_RW},
        {"TriggerSoftware", OX_IFT_ICommand, OX_AM_WO},
        {"FileAccessBuffer", OX_IFT_IRegister, OX_AM_RW},
        {"DeviceControl", OX_IFT_ICategory, OX_AM_RO},
        {"StreamLostFrameCount", OX_IFT_IInteger, OX_AM_RO},
    };
    for (const auto& c : cases) {
        uint32_t type = 99;
        uint32_t access = 99;
        EXPECT_EQ(CC(OX_XML_GetNodeInterfaceType)(handle, c.m_name, &type), 0);
        EXPECT_EQ(CC(OX_XML_GetNodeAccessMode)(handle, c.m_name, &access), 0);
        EXPECT_EQ(type, c.m_type) << c.m_name;
        EXPECT_EQ(access, c.m_access) << c.m_name;
    }
    uint32_t type = 99;
    EXPECT_EQ(CC(OX_XML_GetNodeInterfaceType)(handle, "Nothing", &type), Status(OX_CC_E_GC_ARGUMENT));
    EXPECT_EQ(type, 99u);
}

TEST(Features, GoToAFileAndComeBack) {
    CHandle handle(CameraText("M3"));
    handle.Open();
    handle.EnableColor();
    ASSERT_EQ(CC(OX_CC_SetFloatValue)(handle, "Gain", 2.5F), 0);
    ASSERT_EQ(CC(OX_CC_FeatureSave)(handle, "features.txt"), 0);
    ASSERT_EQ(CC(OX_CC_CloseDevice)(handle), 0);
    handle.Open(); // settings of the start-up set
    bool isEnabled = true;
    ASSERT_EQ(CC(OX_CC_GetBoolValue)(handle, "ChunkEnable", &isEnabled), 0);
    EXPECT_FALSE(isEnabled);
    ASSERT_EQ(CC(OX_CC_FeatureLoad)(handle, "features.txt"), 0);
    ASSERT_EQ(CC(OX_CC_GetBoolValue)(handle, "ChunkEnable", &isEnabled), 0);
    EXPECT_TRUE(isEnabled);
    OX_CC_FLOAT_VALUE gain{};
    ASSERT_EQ(CC(OX_CC_GetFloatValue)(handle, "Gain", &gain), 0);
    EXPECT_EQ(gain.fCurValue, 2.5F);
    testing::internal::CaptureStderr();
    std::ofstream("features.txt") << "Gain=1\nTriggerMode=Perhaps\n";
    EXPECT_EQ(CC(OX_CC_FeatureLoad)(handle, "features.txt"), Status(OX_CC_E_GC_RANGE));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("line 2: TriggerMode=Perhaps"), std::string::npos);
}

TEST(Description, TellsItsWholeLengthAndNeverWritesMore) {
    CHandle handle(CameraText("M4"));
    handle.Open();
    std::vector<uint8_t> whole(1 << 20);
    std::vector<uint8_t> part(101, 0xEE);
    uint32_t length = 0;
    uint32_t again = 0;
    ASSERT_EQ(CC(OX_XML_GetGenICamXML)(handle, whole.data(), 1 << 20, &length), 0);
    ASSERT_EQ(CC(OX_XML_GetGenICamXML)(handle, part.data(), 100, &again), 0);
    EXPECT_EQ(length, again);
    EXPECT_EQ(std::memcmp(whole.data(), part.data(), 100), 0);
    EXPECT_EQ(part[100], 0xEE);
    EXPECT_EQ(std::string(whole.begin(), whole.begin() + 5), "<?xml");
}

TEST(Files, AreCopiedOutWholeAndIn) {
    CHandle handle(CameraText("M5"));
    handle.Open();
    ASSERT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "cali.xml", "RGBDSensorCali"), 0);
    EXPECT_NE(Contents("cali.xml").find("<Left_correct>"), std::string::npos);
    std::ofstream("in.bin", std::ios::binary) << std::string(1 << 20, 'q');
    ASSERT_EQ(Transfer(CC(OX_CC_FileAccessWrite), handle, "in.bin", "UserFile1"), 0);
    OX_CC_FILE_ACCESS_PROGRESS progress{};
    ASSERT_EQ(CC(OX_CC_GetFileAccessProgress)(handle, &progress), 0);
    EXPECT_EQ(progress.nCompleted, 1 << 20);
    EXPECT_EQ(progress.nTotal, 1 << 20);
    ASSERT_EQ(CC(OX_CC_CloseDevice)(handle), 0);
    handle.Open(); // files stay
    ASSERT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "out.bin", "UserFile1"), 0);
    EXPECT_EQ(Contents("out.bin"), Contents("in.bin"));
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "none.bin", "NoSuchFile"),
              Status(OX_CC_E_PARAMETER));
    EXPECT_FALSE(std::filesystem::exists("none.bin"));
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "no/such/folder", "UserFile1"),
              Status(OX_CC_E_PARAMETER));
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessWrite), handle, "/dev/zero", "UserFile1"),
              Status(OX_CC_E_PARAMETER));
}

TEST(Upgrade, RunsBehindTheCallFromNothingToAHundredAndChangesTheVersion) {
    CHandle handle(CameraText("M7", "device_version = 4.0"));
    handle.Open();
    std::ofstream("empty.bin").flush();
    std::ofstream("firmware.bin") << "new";
    EXPECT_EQ(CC(OX_CC_LocalUpgrade)(handle, "empty.bin"), Status(OX_CC_E_PARAMETER));
    uint32_t percent = 99;
    ASSERT_EQ(CC(OX_CC_GetUpgradeProcess)(handle, &percent), 0);
    EXPECT_EQ(percent, 0u);
    ASSERT_EQ(CC(OX_CC_LocalUpgrade)(handle, "firmware.bin"), 0);
    EXPECT_EQ(CC(OX_CC_LocalUpgrade)(handle, "firmware.bin"), Status(OX_CC_E_CALL_ORDER)); // one at a time
    uint32_t last = 0;
    bool isBetween = false;
    while (last < 100) {
        ASSERT_EQ(CC(OX_CC_GetUpgradeProcess)(handle, &percent), 0);
        ASSERT_GE(percent, last);
        isBetween = isBetween || (percent > 0 && percent < 100);
        last = percent;
        std::this_thread::yield();
    }
    EXPECT_TRUE(isBetween);
    OX_CC_STRING_VALUE version{};
    ASSERT_EQ(CC(OX_CC_GetStringValue)(handle, "DeviceVersion", &version), 0);
    EXPECT_STREQ(version.chCurValue, "4.1");
    EXPECT_STREQ(List(CameraText("M7", "device_version = 4.0")).pDeviceInfo[0]->stGigEInfo.chDeviceVersion,
                 "4.1");
}

TEST(Network, ConfigurationSticksInLaterEnumerations) {
    const std::string text = CameraText("W1");
    CHandle handle(text);
    ASSERT_EQ(CC(OX_GIGE_SetIpConfig)(handle, OX_GIGE_IP_CFG_STATIC), 0);
    ASSERT_EQ(CC(OX_GIGE_ForceIpEx)(handle, 0x0A000042, 0xFF000000, 0x0A000001), 0);
    const OX_CC_GIGE_DEVICE_INFO moved = List(text).pDeviceInfo[0]->stGigEInfo;
    EXPECT_EQ(moved.nCurrentIp, 0x0A000042u);
    EXPECT_EQ(moved.nCurrentSubNetMask, 0xFF000000u);
    EXPECT_EQ(moved.nDefaultGateWay, 0x0A000001u);
    ASSERT_EQ(CC(OX_GIGE_ForceIp)(handle, 0x0A000043), 0);
    ASSERT_EQ(CC(OX_GIGE_SetIpConfig)(handle, OX_GIGE_IP_CFG_DHCP), 0);
    OX_CC_DEVICE_INFO own{};
    ASSERT_EQ(CC(OX_CC_GetDeviceInfo)(handle, &own), 0);
    EXPECT_EQ(own.stGigEInfo.nCurrentIp, 0x0A000043u);
    EXPECT_EQ(own.stGigEInfo.nIpCfgCurrent, OX_GIGE_IP_CFG_DHCP);
}

TEST(Network, IsNotTouchedByWhoDoesNotHoldTheCamera) {
    CHandle owner(CameraText("W2"));
    CHandle other(CameraText("W2"));
    owner.Open();
    EXPECT_EQ(CC(OX_GIGE_ForceIp)(other, 0x0A000001), Status(OX_CC_E_ACCESS_DENIED));
    EXPECT_EQ(CC(OX_GIGE_ForceIp)(owner, 0x0A000001), 0);
    owner.Start();
    EXPECT_EQ(CC(OX_GIGE_ForceIp)(owner, 0x0A000002), Status(OX_CC_E_CALL_ORDER));
    CHandle usb(CameraText("W3", "transport = usb"));
    EXPECT_EQ(CC(OX_GIGE_SetIpConfig)(usb, OX_GIGE_IP_CFG_DHCP), Status(OX_CC_E_SUPPORT));
    EXPECT_EQ(CC(OX_GIGE_ForceIp)(usb, 0x0A000001), Status(OX_CC_E_SUPPORT));
}

} // namespace
