// FeatureTest.cpp - features by name, the description, the feature file and register memory.
#include <cmath>
#include <cstring>
#include <filesystem>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Files.h"

using namespace ox3d::test;

namespace {

bool IsUsb() {
    return Rig().Layer() == OX_CC_USB_DEVICE;
}

TEST(Features, AnswerWithTheCodeOfEachFault) {
    const CHandle handle;
    handle.Open();
    OX_CC_INT_VALUE_EX wide{};
    OX_CC_FLOAT_VALUE number{};
    bool isOn = false;
    const struct {
        int m_got;
        uint32_t m_wanted;
    } rows[] = {
        {CC(OX_CC_GetIntValueEx)(handle, "Nothing", &wide), OX_CC_E_GC_ARGUMENT},
        {CC(OX_CC_SetIntValueEx)(handle, "Nothing", 1), OX_CC_E_GC_ARGUMENT},
        {CC(OX_CC_GetIntValueEx)(handle, "Gain", &wide), OX_CC_E_GC_DYNAMIC_CAST},
        {CC(OX_CC_GetFloatValue)(handle, "Width", &number), OX_CC_E_GC_DYNAMIC_CAST},
        {CC(OX_CC_GetBoolValue)(handle, "TriggerMode", &isOn), OX_CC_E_GC_DYNAMIC_CAST},
        {CC(OX_CC_SetCommandValue)(handle, "Width"), OX_CC_E_GC_DYNAMIC_CAST},
        {CC(OX_CC_SetIntValueEx)(handle, "Width", 64), OX_CC_E_GC_ACCESS},
        {CC(OX_CC_SetStringValue)(handle, "DeviceModelName", "X"), OX_CC_E_GC_ACCESS},
        {CC(OX_CC_SetIntValueEx)(handle, "FileAccessLength", 4097), OX_CC_E_GC_RANGE},
        {CC(OX_CC_SetIntValueEx)(handle, "FileAccessLength", -1), OX_CC_E_GC_RANGE},
        {CC(OX_CC_SetFloatValue)(handle, "Gain", 24.5F), OX_CC_E_GC_RANGE},
        {CC(OX_CC_SetFloatValue)(handle, "Gain", NAN), OX_CC_E_GC_RANGE},
        {CC(OX_CC_SetEnumValue)(handle, "TriggerSource", 6), OX_CC_E_GC_RANGE},
        {CC(OX_CC_SetEnumValueByString)(handle, "TriggerMode", "on"), OX_CC_E_GC_RANGE},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.m_got, Status(row.m_wanted)) << "row " << &row - rows;
    }
    if (!IsUsb()) {
        OX_CC_INT_VALUE narrow{};
        EXPECT_EQ(CC(OX_CC_SetIntValueEx)(handle, "GevSCPSPacketSize", 1502), Status(OX_CC_E_GC_RANGE))
            << "a step";
        EXPECT_EQ(CC(OX_CC_GetIntValue)(handle, "GevMACAddress", &narrow), Status(OX_CC_E_GC_RANGE))
            << "48 bits";
        EXPECT_EQ(CC(OX_CC_GetIntValueEx)(handle, "GevMACAddress", &wide), 0);
        EXPECT_EQ(wide.nCurValue, 0x020000000001);
    }
}

TEST(Features, KeepWhatTheyAreSetToWithRangeStepAndEntries) {
    const CHandle handle;
    handle.Open();
    OX_CC_INT_VALUE count{};
    ASSERT_EQ(CC(OX_CC_SetIntValueEx)(handle, "AcquisitionFrameCount", 77), 0);
    ASSERT_EQ(CC(OX_CC_GetIntValue)(handle, "AcquisitionFrameCount", &count), 0);
    EXPECT_EQ(count.nCurValue, 77U);
    EXPECT_EQ(count.nMin, 1U);
    EXPECT_EQ(count.nMax, 65535U);
    EXPECT_EQ(count.nInc, 1U);
    OX_CC_FLOAT_VALUE gain{};
    ASSERT_EQ(CC(OX_CC_SetFloatValue)(handle, "Gain", 2.5F), 0);
    ASSERT_EQ(CC(OX_CC_GetFloatValue)(handle, "Gain", &gain), 0);
    EXPECT_EQ(gain.fCurValue, 2.5F);
    EXPECT_EQ(gain.fMin, 0);
    EXPECT_EQ(gain.fMax, 24);
    OX_CC_ENUM_VALUE source{};
    ASSERT_EQ(CC(OX_CC_SetEnumValueByString)(handle, "TriggerSource", "Line1"), 0);
    ASSERT_EQ(CC(OX_CC_GetEnumValue)(handle, "TriggerSource", &source), 0);
    EXPECT_EQ(source.nCurValue, 1U);
    ASSERT_EQ(source.nSupportedNum, 3U);
    EXPECT_EQ(source.nSupportValue[0] + 10 * source.nSupportValue[1] + 100 * source.nSupportValue[2], 710U);
    OX_CC_STRING_VALUE name{};
    ASSERT_EQ(CC(OX_CC_SetStringValue)(handle, "DeviceUserID", "a longer name"), 0);
    ASSERT_EQ(CC(OX_CC_SetStringValue)(handle, "DeviceUserID", "left"), 0);
    ASSERT_EQ(CC(OX_CC_GetStringValue)(handle, "DeviceUserID", &name), 0);
    EXPECT_STREQ(name.chCurValue, "left");
    EXPECT_EQ(name.nMaxLength, IsUsb() ? 64 : 16);
    EXPECT_NE(CC(OX_CC_SetStringValue)(handle, "DeviceUserID", std::string(65, 'x').c_str()), 0);
    bool isOn = false;
    ASSERT_EQ(CC(OX_CC_SetBoolValue)(handle, "ChunkModeActive", true), 0);
    ASSERT_EQ(CC(OX_CC_GetBoolValue)(handle, "ChunkModeActive", &isOn), 0);
    EXPECT_TRUE(isOn);
    handle.Start();
    EXPECT_EQ(CC(OX_CC_SetBoolValue)(handle, "ChunkModeActive", false), Status(OX_CC_E_GC_ACCESS))
        << "locked";
    EXPECT_EQ(handle.Stop(), 0);
    EXPECT_EQ(CC(OX_CC_SetBoolValue)(handle, "ChunkModeActive", false), 0);
    EXPECT_EQ(handle.Close(), 0);
    handle.Open(); // at the settings of the start-up set
    ASSERT_EQ(CC(OX_CC_GetFloatValue)(handle, "Gain", &gain), 0);
    EXPECT_EQ(gain.fCurValue, 0);
}

TEST(Features, SayTheirTypeAndAccess) {
    const CHandle handle;
    handle.Open();
    const struct {
        const char* m_name;
        uint32_t m_type;
        uint32_t m_access;
    } rows[] = {{"Width", OX_IFT_IInteger, OX_AM_RO},
                {"Gain", OX_IFT_IFloat, OX_AM_RW},
                {"ChunkModeActive", OX_IFT_IBoolean, OX_AM_RW},
                {"TriggerMode", OX_IFT_IEnumeration, OX_AM_RW},
                {"DeviceUserID", OX_IFT_IString, OX_AM_RW},
                {"TriggerSoftware", OX_IFT_ICommand, OX_AM_WO},
                {"FileAccessBuffer", OX_IFT_IRegister, OX_AM_RW},
                {"DeviceControl", OX_IFT_ICategory, OX_AM_RO},
                {"StreamLostFrameCount", OX_IFT_IInteger, OX_AM_RO}};
    for (const auto& row : rows) {
        uint32_t type = 99;
        uint32_t access = 99;
        EXPECT_EQ(CC(OX_XML_GetNodeInterfaceType)(handle, row.m_name, &type), 0);
        EXPECT_EQ(CC(OX_XML_GetNodeAccessMode)(handle, row.m_name, &access), 0);
        EXPECT_EQ(type, row.m_type) << row.m_name;
        EXPECT_EQ(access, row.m_access) << row.m_name;
    }
    uint32_t untouched = 99;
    EXPECT_EQ(CC(OX_XML_GetNodeInterfaceType)(handle, "Nothing", &untouched), Status(OX_CC_E_GC_ARGUMENT));
    EXPECT_EQ(untouched, 99U);
    handle.Start();
    EXPECT_EQ(CC(OX_XML_GetNodeAccessMode)(handle, "ChunkModeActive", &untouched), 0);
    EXPECT_EQ(untouched, OX_AM_RO);
}

TEST(Description, IsCopiedAsFarAsThereIsRoom) {
    const CHandle handle;
    handle.Open();
    uint32_t length = 0;
    uint32_t again = 0;
    std::vector<uint8_t> part(101, 0xEE);
    ASSERT_EQ(CC(OX_XML_GetGenICamXML)(handle, part.data(), 100, &length), 0);
    ASSERT_GT(length, 1000U);
    std::vector<uint8_t> whole(length);
    ASSERT_EQ(CC(OX_XML_GetGenICamXML)(handle, whole.data(), length, &again), 0);
    EXPECT_EQ(length, again);
    EXPECT_EQ(std::memcmp(whole.data(), part.data(), 100), 0);
    EXPECT_EQ(part[100], 0xEE);
    EXPECT_EQ(std::string(whole.begin(), whole.begin() + 5), "<?xml");
}

TEST(FeatureFile, BringsSettingsBack) {
    const CHandle handle;
    handle.Open();
    handle.EnableColor();
    ASSERT_EQ(CC(OX_CC_SetFloatValue)(handle, "Gain", 2.5F), 0);
    ASSERT_EQ(CC(OX_CC_SetStringValue)(handle, "DeviceUserID", "one"), 0);
    ASSERT_EQ(CC(OX_CC_FeatureSave)(handle, "features.txt"), 0);
    ASSERT_EQ(handle.Close(), 0);
    handle.Open();
    ASSERT_EQ(CC(OX_CC_SetStringValue)(handle, "DeviceUserID", "two"), 0);
    handle.Set("ChunkSelector", 24);
    bool isEnabled = true;
    ASSERT_EQ(CC(OX_CC_GetBoolValue)(handle, "ChunkEnable", &isEnabled), 0);
    EXPECT_FALSE(isEnabled);
    ASSERT_EQ(CC(OX_CC_FeatureLoad)(handle, "features.txt"), 0);
    ASSERT_EQ(CC(OX_CC_GetBoolValue)(handle, "ChunkEnable", &isEnabled), 0);
    EXPECT_TRUE(isEnabled);
    OX_CC_FLOAT_VALUE gain{};
    ASSERT_EQ(CC(OX_CC_GetFloatValue)(handle, "Gain", &gain), 0);
    EXPECT_EQ(gain.fCurValue, 2.5F);
    OX_CC_STRING_VALUE name{};
    ASSERT_EQ(CC(OX_CC_GetStringValue)(handle, "DeviceUserID", &name), 0);
    EXPECT_STREQ(name.chCurValue, "two") << "one camera's name is no setting";
}

TEST(FeatureFile, ChangesNothingWhenALineIsWrong) {
    const CHandle handle;
    handle.Open();
    for (const char* bad : {"NoSuchFeature=1", "Gain=1e9", "TriggerMode=Maybe", "Gain", "Width=3",
                            "AcquisitionFrameCount=many", "DeviceUserID=x"}) {
        WriteFile("wrong.txt", std::string("# x\n\nGain=5\nTriggerMode=On\n") + bad + "\n");
        testing::internal::CaptureStderr();
        EXPECT_NE(CC(OX_CC_FeatureLoad)(handle, "wrong.txt"), 0) << bad;
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_NE(said.find(std::string("line 5: ") + bad), said.npos) << said;
        OX_CC_FLOAT_VALUE gain{};
        OX_CC_ENUM_VALUE mode{};
        EXPECT_EQ(CC(OX_CC_GetFloatValue)(handle, "Gain", &gain), 0);
        EXPECT_EQ(CC(OX_CC_GetEnumValue)(handle, "TriggerMode", &mode), 0);
        EXPECT_EQ(gain.fCurValue, 0) << bad;
        EXPECT_EQ(mode.nCurValue, 0U) << bad;
    }
}

TEST(Memory, IsReadAndWrittenAtAnyAddressAndLength) {
    constexpr int64_t kBuffer = 0x20000; // the file buffer: 4096 bytes that may be written anywhere
    const CHandle handle;
    handle.Open();
    std::string wanted(4096, '\0');
    for (size_t i = 0; i < wanted.size(); ++i) {
        wanted[i] = static_cast<char>(i * 2654435761U >> 13U);
    }
    ASSERT_EQ(CC(OX_CC_WriteMemory)(handle, wanted.data(), kBuffer, 4096), 0);
    for (const auto& [at, length] : {std::pair{0, 4096}, {3, 2000}, {1, 4}, {2, 1}, {511, 1025}, {4095, 1}}) {
        std::string got(static_cast<size_t>(length) + 1, '#');
        ASSERT_EQ(CC(OX_CC_ReadMemory)(handle, got.data(), kBuffer + at, length), 0) << at << ' ' << length;
        EXPECT_EQ(got, wanted.substr(static_cast<size_t>(at), static_cast<size_t>(length)) + '#');
    }
    for (const auto& [at, length] : {std::pair{5, 1201}, {2, 1}, {1023, 2}}) {
        const std::string piece(static_cast<size_t>(length), 'p');
        ASSERT_EQ(CC(OX_CC_WriteMemory)(handle, piece.data(), kBuffer + at, length), 0)
            << at << ' ' << length;
        wanted.replace(static_cast<size_t>(at), piece.size(), piece);
    }
    std::string got(4096, '#');
    ASSERT_EQ(CC(OX_CC_ReadMemory)(handle, got.data(), kBuffer, 4096), 0);
    EXPECT_EQ(got, wanted);
    EXPECT_EQ(CC(OX_CC_ReadMemory)(handle, got.data(), 0x00900000, 4), Status(OX_CC_E_PARAMETER));
    EXPECT_EQ(CC(OX_CC_ReadMemory)(handle, got.data(), kBuffer + 4092, 8), Status(OX_CC_E_PARAMETER));
    EXPECT_EQ(CC(OX_CC_WriteMemory)(handle, got.data(), IsUsb() ? 0x144 : 0xD8, 4),
              Status(OX_CC_E_GC_ACCESS));
}

// ---- Files and firmware ----

int Transfer(decltype(&::OX_CC_FileAccessRead) function, void* handle, const char* local,
             const char* device) {
    OX_CC_FILE_ACCESS request{};
    request.pUserFileName = local;
    request.pDevFileName = device;
    return function(handle, &request);
}

TEST(Files, AreCopiedOutWholeAndIn) {
    const CHandle handle;
    handle.Open();
    ASSERT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "calibration.xml", "RGBDSensorCali"), 0);
    EXPECT_EQ(ReadFile("calibration.xml"), CalibrationText());
    OX_CC_FILE_ACCESS_PROGRESS progress{};
    ASSERT_EQ(CC(OX_CC_GetFileAccessProgress)(handle, &progress), 0);
    EXPECT_EQ(progress.nCompleted, static_cast<int64_t>(CalibrationText().size()));
    std::string bytes(50001, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 2654435761U >> 13U);
    }
    for (const std::string& sent :
         {bytes, bytes.substr(7, 1000)}) { // a shorter one takes the longer one's place
        WriteFile("in.bin", sent);
        ASSERT_EQ(Transfer(CC(OX_CC_FileAccessWrite), handle, "in.bin", "UserFile1"), 0);
        ASSERT_EQ(CC(OX_CC_GetFileAccessProgress)(handle, &progress), 0);
        EXPECT_EQ(progress.nCompleted, static_cast<int64_t>(sent.size()));
        EXPECT_EQ(progress.nTotal, static_cast<int64_t>(sent.size()));
        ASSERT_EQ(handle.Close(), 0);
        handle.Open(); // files stay
        ASSERT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "out.bin", "UserFile1"), 0);
        EXPECT_EQ(ReadFile("out.bin"), sent);
    }
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "none.bin", "NoSuchFile"),
              Status(OX_CC_E_PARAMETER));
    EXPECT_FALSE(std::filesystem::exists("none.bin"));
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "no/such/folder", "UserFile1"),
              Status(OX_CC_E_PARAMETER));
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessWrite), handle, "/dev/zero", "UserFile1"),
              Status(OX_CC_E_PARAMETER));
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "out.bin", "UserFile1"), 0) << "none is left open";
}

TEST(Upgrade, RunsBehindTheCallFromNothingToAHundredAndChangesTheVersion) {
    const CHandle handle("device_version = 4.0\nfault = slow_commands 1\n"); // to be seen in its middle
    handle.Open();
    WriteFile("empty.bin", "");
    WriteFile("firmware.bin", std::string(300000, 'f'));
    EXPECT_EQ(CC(OX_CC_LocalUpgrade)(handle, "empty.bin"), Status(OX_CC_E_PARAMETER));
    uint32_t percent = 99;
    ASSERT_EQ(CC(OX_CC_GetUpgradeProcess)(handle, &percent), 0);
    EXPECT_EQ(percent, 0U);
    handle.Start();
    EXPECT_EQ(CC(OX_CC_LocalUpgrade)(handle, "firmware.bin"), kCallOrder) << "not while frames come";
    EXPECT_EQ(handle.Stop(), 0);
    ASSERT_EQ(CC(OX_CC_LocalUpgrade)(handle, "firmware.bin"), 0);
    EXPECT_EQ(CC(OX_CC_LocalUpgrade)(handle, "firmware.bin"), kCallOrder) << "one at a time";
    bool isBetween = false;
    for (uint32_t last = 0; last < 100; last = percent) {
        ASSERT_EQ(CC(OX_CC_GetUpgradeProcess)(handle, &percent), 0);
        ASSERT_GE(percent, last);
        isBetween = isBetween || (percent > 0 && percent < 100);
    }
    EXPECT_TRUE(isBetween);
    OX_CC_STRING_VALUE version{};
    ASSERT_EQ(CC(OX_CC_GetStringValue)(handle, "DeviceVersion", &version), 0);
    EXPECT_STREQ(version.chCurValue, "4.1");
    ASSERT_EQ(CC(OX_CC_LocalUpgrade)(handle, "firmware.bin"), 0);
    EXPECT_EQ(handle.Close(), 0) << "ends it in its middle";
}

// ---- Network ----

TEST(Network, ConfigurationIsSetAndSticks) {
    const CHandle handle("ip = 127.0.0.1\nmask = 255.0.0.0\n");
    if (IsUsb()) {
        EXPECT_EQ(CC(OX_GIGE_SetIpConfig)(handle, OX_GIGE_IP_CFG_DHCP), Status(OX_CC_E_SUPPORT));
        EXPECT_EQ(CC(OX_GIGE_ForceIp)(handle, 0x7F000042), Status(OX_CC_E_SUPPORT));
        EXPECT_EQ(CC(OX_GIGE_SetResend)(handle, 1, 10, 10), Status(OX_CC_E_SUPPORT));
        return;
    }
    ASSERT_EQ(CC(OX_GIGE_SetIpConfig)(handle, OX_GIGE_IP_CFG_STATIC), 0);
    ASSERT_EQ(CC(OX_GIGE_ForceIpEx)(handle, 0x7F000042, 0xFF000000, 0x7F000009), 0);
    const OX_CC_GIGE_DEVICE_INFO moved = List().at(0).stGigEInfo;
    EXPECT_EQ(moved.nCurrentIp, 0x7F000042U);
    EXPECT_EQ(moved.nCurrentSubNetMask, 0xFF000000U);
    EXPECT_EQ(moved.nDefaultGateWay, 0x7F000009U);
    const CHandle other(List().at(0));
    handle.Open();
    EXPECT_EQ(CC(OX_GIGE_ForceIp)(other, 0x7F000044), Status(OX_CC_E_ACCESS_DENIED));
    handle.Start();
    EXPECT_EQ(CC(OX_GIGE_ForceIp)(handle, 0x7F000044), kCallOrder);
    EXPECT_EQ(handle.Close(), 0);
    ASSERT_EQ(CC(OX_GIGE_ForceIp)(handle, 0x7F000043), 0);
    ASSERT_EQ(CC(OX_GIGE_SetIpConfig)(handle, OX_GIGE_IP_CFG_DHCP), 0);
    const OX_CC_GIGE_DEVICE_INFO after = List().at(0).stGigEInfo;
    EXPECT_EQ(after.nCurrentIp, 0x7F000043U);
    EXPECT_EQ(after.nIpCfgCurrent & OX_GIGE_IP_CFG_DHCP & OX_GIGE_IP_CFG_STATIC, 0x04000000U);
    for (const auto& [ip, mask] :
         {std::pair{0U, 0xFF000000U}, {0xE0000001U, 0xFF000000U}, {0x7F000001U, 0xFF00FF00U}}) {
        EXPECT_EQ(CC(OX_GIGE_ForceIpEx)(handle, ip, mask, 0), Status(OX_CC_E_PARAMETER));
    }
    EXPECT_EQ(CC(OX_GIGE_SetResend)(handle, 1, 101, 10), Status(OX_CC_E_PARAMETER));
    uint32_t timeoutMs = 0;
    EXPECT_EQ(CC(OX_GIGE_SetGvcpTimeout)(handle, 900), 0);
    EXPECT_EQ(CC(OX_GIGE_GetGvcpTimeout)(handle, &timeoutMs), 0);
    EXPECT_EQ(timeoutMs, 900U);
}

} // namespace
