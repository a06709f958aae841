// FeatureTest.cpp - features by name, the description, the feature file and register memory.
#include <cmath>
#include <cstring>
#include <filesystem>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/Files.h"
#include "tests/support/Waiting.h"

using namespace ox3d::test;

namespace {

const bool kIsUsb = kLayer == OX_CC_USB_DEVICE;

TEST(Features, AnswerWithTheCodeOfEachFault) {
    const COpenCamera handle;
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
    if (!kIsUsb) {
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
    const COpenCamera handle;
    ASSERT_EQ(CC(OX_CC_SetIntValueEx)(handle, "AcquisitionFrameCount", 77), 0);
    const auto count = Value(CC(OX_CC_GetIntValue), handle, "AcquisitionFrameCount");
    EXPECT_EQ(count.nCurValue, 77U);
    EXPECT_EQ(count.nMin, 1U);
    EXPECT_EQ(count.nMax, 65535U);
    EXPECT_EQ(count.nInc, 1U);
    ASSERT_EQ(handle.SetGain(2.5F), 0);
    const auto gain = Value(CC(OX_CC_GetFloatValue), handle, "Gain");
    EXPECT_EQ(gain.fCurValue, 2.5F);
    EXPECT_EQ(gain.fMin, 0);
    EXPECT_EQ(gain.fMax, 24);
    ASSERT_EQ(CC(OX_CC_SetEnumValueByString)(handle, "TriggerSource", "Line1"), 0);
    const auto source = Value(CC(OX_CC_GetEnumValue), handle, "TriggerSource");
    EXPECT_EQ(source.nCurValue, 1U);
    ASSERT_EQ(source.nSupportedNum, 3U);
    EXPECT_EQ(source.nSupportValue[0] + 10 * source.nSupportValue[1] + 100 * source.nSupportValue[2], 710U);
    const size_t longest = kIsUsb ? 64 : 16;
    for (const std::string& text : {std::string(longest, 'n'), std::string("left")}) {
        ASSERT_EQ(CC(OX_CC_SetStringValue)(handle, "DeviceUserID", text.c_str()), 0);
        const auto name = Value(CC(OX_CC_GetStringValue), handle, "DeviceUserID");
        EXPECT_EQ(name.chCurValue, text);
        EXPECT_EQ(name.nMaxLength, longest);
    }
    EXPECT_NE(CC(OX_CC_SetStringValue)(handle, "DeviceUserID", std::string(longest + 1, 'x').c_str()), 0);
    EXPECT_EQ(CC(OX_CC_GetOptimalPacketSize)(handle), kIsUsb ? Status(OX_CC_E_SUPPORT) : 9000);
    ASSERT_EQ(CC(OX_CC_SetBoolValue)(handle, "ChunkModeActive", true), 0);
    EXPECT_TRUE(Value(CC(OX_CC_GetBoolValue), handle, "ChunkModeActive"));
    handle.Start();
    EXPECT_EQ(CC(OX_CC_SetBoolValue)(handle, "ChunkModeActive", false), Status(OX_CC_E_GC_ACCESS))
        << "locked";
    EXPECT_EQ(handle.Stop(), 0);
    EXPECT_EQ(CC(OX_CC_SetBoolValue)(handle, "ChunkModeActive", false), 0);
    EXPECT_EQ(handle.Close(), 0);
    handle.Open(); // at the settings of the start-up set
    EXPECT_EQ(handle.Gain(), 0);
}

TEST(Features, SayTheirTypeAndAccess) {
    const COpenCamera handle;
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
    const COpenCamera handle;
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
    const COpenCamera handle;
    handle.EnableColor();
    ASSERT_EQ(handle.SetGain(2.5F), 0);
    ASSERT_EQ(CC(OX_CC_SetStringValue)(handle, "DeviceUserID", "one"), 0);
    ASSERT_EQ(CC(OX_CC_FeatureSave)(handle, "features.txt"), 0);
    for (const char* other : {"\nGev", "\nFile", "\nTLParams", "\nUserSet", "\nDeviceUserID"}) {
        EXPECT_EQ(ReadFile("features.txt").find(other), std::string::npos) << "no settings:" << other;
    }
    ASSERT_EQ(handle.Close(), 0);
    handle.Open();
    ASSERT_EQ(CC(OX_CC_SetStringValue)(handle, "DeviceUserID", "two"), 0);
    handle.Set("ChunkSelector", 24);
    EXPECT_FALSE(Value(CC(OX_CC_GetBoolValue), handle, "ChunkEnable"));
    ASSERT_EQ(CC(OX_CC_FeatureLoad)(handle, "features.txt"), 0);
    EXPECT_TRUE(Value(CC(OX_CC_GetBoolValue), handle, "ChunkEnable"));
    EXPECT_EQ(handle.Gain(), 2.5F);
    EXPECT_STREQ(Value(CC(OX_CC_GetStringValue), handle, "DeviceUserID").chCurValue, "two")
        << "one camera's name is no setting";
    WriteFile("edited.txt", "ExposureAuto=Off\r\n ExposureTime = 300 \r\nChunkEnable=0\r\n");
    ASSERT_EQ(CC(OX_CC_FeatureLoad)(handle, "edited.txt"), 0);
    EXPECT_EQ(Value(CC(OX_CC_GetFloatValue), handle, "ExposureTime").fCurValue, 300);
}

TEST(FeatureFile, ChangesNothingWhenALineIsWrong) {
    const COpenCamera handle;
    for (const char* bad : {"NoSuchFeature=1", "Gain=1e9", "TriggerMode=Maybe", "Gain", "Width=3",
                            "AcquisitionFrameCount=many", "DeviceUserID=x", "UserSetDefault=UserSet1"}) {
        WriteFile("wrong.txt", std::string("# x\n\nGain=5\nTriggerMode=On\n") + bad + "\n");
        testing::internal::CaptureStderr();
        EXPECT_NE(CC(OX_CC_FeatureLoad)(handle, "wrong.txt"), 0) << bad;
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_NE(said.find(std::string("line 5: ") + bad), said.npos) << said;
        EXPECT_EQ(handle.Gain(), 0) << bad;
        EXPECT_EQ(Value(CC(OX_CC_GetEnumValue), handle, "TriggerMode").nCurValue, 0U) << bad;
    }
}

TEST(Memory, IsReadAndWrittenAtAnyAddressAndLength) {
    constexpr int64_t kBuffer = 0x20000; // the file buffer: 4096 bytes that may be written anywhere
    const COpenCamera handle;
    std::string wanted = Noise(4096);
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
    EXPECT_EQ(CC(OX_CC_ReadMemory)(handle, got.data(), 0x00900000, 4), kBadArgument);
    EXPECT_EQ(CC(OX_CC_ReadMemory)(handle, got.data(), kBuffer + 4092, 8), kBadArgument);
    EXPECT_EQ(CC(OX_CC_WriteMemory)(handle, got.data(), kIsUsb ? 0x144 : 0xD8, 4), Status(OX_CC_E_GC_ACCESS));
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
    const COpenCamera handle;
    OX_CC_FILE_ACCESS_PROGRESS progress{};
    const auto completed = [&] {
        EXPECT_EQ(CC(OX_CC_GetFileAccessProgress)(handle, &progress), 0);
        EXPECT_EQ(progress.nTotal, progress.nCompleted);
        return progress.nCompleted;
    };
    ASSERT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "calibration.xml", "RGBDSensorCali"), 0);
    EXPECT_EQ(ReadFile("calibration.xml"), ReadFile("recording/calibration.xml"));
    EXPECT_EQ(completed(), 9999);
    for (const int length : {50001, 1000}) { // a shorter one takes the longer one's place
        WriteFile("in.bin", Noise(static_cast<size_t>(length)));
        ASSERT_EQ(Transfer(CC(OX_CC_FileAccessWrite), handle, "in.bin", "UserFile1"), 0);
        EXPECT_EQ(completed(), length);
        ASSERT_EQ(handle.Close(), 0);
        handle.Open(); // files stay
        ASSERT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "out.bin", "UserFile1"), 0);
        EXPECT_EQ(ReadFile("out.bin"), ReadFile("in.bin"));
    }
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "none.bin", "NoSuchFile"), kBadArgument);
    EXPECT_EQ(completed(), 0) << "nor has it the progress of the one before";
    EXPECT_FALSE(std::filesystem::exists("none.bin"));
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "no/such/folder", "UserFile1"), kBadArgument);
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessWrite), handle, "/dev/zero", "UserFile1"), kBadArgument);
    EXPECT_EQ(completed(), 0);
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "out.bin", "UserFile1"), 0) << "none is left open";
    ASSERT_EQ(handle.Close(), 0);
    const COpenCamera bare("fault = no_calibration\n");
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), bare, "out.bin", "RGBDSensorCali"), kNoData);
}

TEST(Upgrade, RunsBehindTheCallFromNothingToAHundredAndChangesTheVersion) {
    const COpenCamera handle("device_version = 4.0\nfault = slow_commands 1\n"); // to be seen in its middle
    WriteFile("empty.bin", "");
    WriteFile("firmware.bin", std::string(300000, 'f'));
    EXPECT_EQ(CC(OX_CC_LocalUpgrade)(handle, "empty.bin"), kBadArgument);
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
    EXPECT_STREQ(Value(CC(OX_CC_GetStringValue), handle, "DeviceVersion").chCurValue, "4.1");
    ASSERT_EQ(CC(OX_CC_LocalUpgrade)(handle, "firmware.bin"), 0);
    EXPECT_EQ(handle.Close(), 0) << "ends it in its middle";
    handle.Open();
    // A camera that gets its firmware as a file has a part of it, others have nothing.
    const bool isFile = Transfer(CC(OX_CC_FileAccessRead), handle, "part.bin", "DeviceFirmware") == 0;
    EXPECT_TRUE(!isFile || std::filesystem::file_size("part.bin") < 300000);
    EXPECT_STREQ(Value(CC(OX_CC_GetStringValue), handle, "DeviceVersion").chCurValue, "4.1");
    if (isFile) {
        ASSERT_EQ(CC(OX_CC_LocalUpgrade)(handle, "firmware.bin"), 0);
        EXPECT_TRUE(Eventually([&] {
            handle.Set("FileOperationSelector", 0); // until a block is not written
            return CC(OX_CC_GetUpgradeProcess)(handle, &percent) == Status(OX_CC_E_UNKNOWN);
        }));
        EXPECT_EQ(handle.Close(), 0);
        handle.Open();
        EXPECT_STREQ(Value(CC(OX_CC_GetStringValue), handle, "DeviceVersion").chCurValue, "4.1");
    }
    std::filesystem::resize_file("empty.bin", (256U << 20) + 1); // which only the transfer finds too long
    ASSERT_EQ(CC(OX_CC_LocalUpgrade)(handle, "empty.bin"), 0);
    EXPECT_TRUE(
        Eventually([&] { return CC(OX_CC_GetUpgradeProcess)(handle, &percent) == Status(OX_CC_E_UNKNOWN); }));
    EXPECT_EQ(Transfer(CC(OX_CC_FileAccessRead), handle, "out.bin", "RGBDSensorCali"), 0);
}

// ---- Network ----

TEST(Network, ConfigurationIsSetAndSticks) {
    const CHandle handle("ip = 127.0.0.1\nmask = 255.0.0.0\n");
    if (kIsUsb) {
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
    EXPECT_EQ(CC(OX_GIGE_ForceIp)(other, 0x7F000044), kDenied);
    handle.Start();
    EXPECT_EQ(CC(OX_GIGE_ForceIp)(handle, 0x7F000044), kCallOrder);
    EXPECT_EQ(handle.Close(), 0);
    ASSERT_EQ(CC(OX_GIGE_ForceIp)(handle, 0x7F000043), 0);
    ASSERT_EQ(CC(OX_GIGE_SetIpConfig)(handle, OX_GIGE_IP_CFG_DHCP), 0);
    const OX_CC_GIGE_DEVICE_INFO after = List().at(0).stGigEInfo;
    EXPECT_EQ(after.nCurrentIp, 0x7F000043U);
    EXPECT_EQ(after.nIpCfgCurrent, OX_GIGE_IP_CFG_DHCP);
    ASSERT_EQ(CC(OX_GIGE_SetIpConfig)(handle, OX_GIGE_IP_CFG_LLA), 0);
    EXPECT_EQ(List().at(0).stGigEInfo.nIpCfgCurrent, OX_GIGE_IP_CFG_LLA);
    for (const auto& [ip, mask] :
         {std::pair{0U, 0xFF000000U}, {0xE0000001U, 0xFF000000U}, {0x7F000001U, 0xFF00FF00U}}) {
        EXPECT_EQ(CC(OX_GIGE_ForceIpEx)(handle, ip, mask, 0), kBadArgument);
    }
    EXPECT_EQ(CC(OX_GIGE_SetResend)(handle, 1, 101, 10), kBadArgument);
    uint32_t timeoutMs = 0;
    EXPECT_EQ(CC(OX_GIGE_GetGvcpTimeout)(handle, &timeoutMs), 0);
    EXPECT_EQ(timeoutMs, 500U);
    EXPECT_EQ(CC(OX_GIGE_SetGvcpTimeout)(handle, 900), 0);
    EXPECT_EQ(CC(OX_GIGE_GetGvcpTimeout)(handle, &timeoutMs), 0);
    EXPECT_EQ(timeoutMs, 900U);
}

} // namespace
