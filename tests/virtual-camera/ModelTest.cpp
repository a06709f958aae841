// ModelTest.cpp - features by name and by address, and what a camera keeps: settings, files, firmware, address.
#include <gtest/gtest.h>

#include "tests/virtual-camera/FakeSource.h"

using namespace ox3d;
using ox3d::test::CFakeCamera;
using ox3d::test::FakeConfig;
using enum EModelStatus;

namespace {

int64_t Integer(CCameraModel& camera, const char* name) {
    IntegerValue value;
    EXPECT_EQ(camera.GetInteger(name, &value), Ok) << name;
    return value.m_value;
}

bool Boolean(CCameraModel& camera, const char* name) {
    bool value = false;
    EXPECT_EQ(camera.GetBoolean(name, &value), Ok) << name;
    return value;
}

float Float(CCameraModel& camera, const char* name) {
    FloatValue value;
    EXPECT_EQ(camera.GetFloat(name, &value), Ok) << name;
    return value.m_value;
}

TEST(Feature, KeepsAValueForEveryEntryOfItsSelectorAndKnowsOnlyItsTransports) {
    CFakeCamera camera(FakeConfig(ETransport::Usb));
    IntegerValue value;
    EXPECT_EQ(camera.GetInteger("GevSCPD", &value), UnknownFeature);
    EXPECT_EQ(CFakeCamera().SetEnum("ChunkSelector", 19), Range); // the demosaic pair
    ASSERT_EQ(camera.SetEnum("ChunkSelector", 24), Ok);
    ASSERT_EQ(camera.SetBoolean("ChunkEnable", true), Ok);
    ASSERT_EQ(camera.SetEnum("ChunkSelector", 19), Ok);
    EXPECT_FALSE(Boolean(camera, "ChunkEnable"));
    ASSERT_EQ(camera.SetEnum("ChunkSelector", 24), Ok);
    EXPECT_TRUE(Boolean(camera, "ChunkEnable"));
}

TEST(Feature, FollowsFromOthersWhereItIsComputed) {
    CFakeCamera camera;
    EXPECT_EQ(Integer(camera, "PayloadSize"), 8 * 4 * 2);
    ASSERT_EQ(camera.SetEnum("CameraWorkingMode", 4), Ok);
    ASSERT_EQ(camera.SetBoolean("ChunkModeActive", true), Ok);
    ASSERT_EQ(camera.SetBoolean("ChunkEnable", true), Ok);
    EXPECT_EQ(Integer(camera, "PayloadSize"), 8 * 4 * 2 + 8 + 32 + 6 * 2 * 3 + 8);
    ASSERT_EQ(camera.SetEnum("ImageMode", 1), Ok);
    EXPECT_EQ(Integer(camera, "PayloadSize"), 8 * 4 + 8 + 32 + 6 * 2 * 3 + 8);
    EXPECT_EQ(Integer(camera, "WidthMax") * 10 + Integer(camera, "Height"), 84);
    EXPECT_EQ(Integer(camera, "ColorWidth") * 10 + Integer(camera, "ColorHeight"), 62);
    ASSERT_EQ(camera.SetFloat("ExposureTime", 100000), Ok);
    EXPECT_FLOAT_EQ(Float(camera, "ResultingFrameRate"), 10);
    ASSERT_EQ(camera.SetEnum("ExposureAuto", 2), Ok);
    EXPECT_EQ(camera.SetFloat("ExposureTime", 100), Access);
    const auto before = std::chrono::steady_clock::now();
    camera.Execute("TimestampReset");
    camera.Execute("TimestampLatch");
    EXPECT_GT(Integer(camera, "TimestampLatchValue"), 0);
    EXPECT_LE(Integer(camera, "TimestampLatchValue"), (std::chrono::steady_clock::now() - before).count());
}

TEST(Register, IsWrittenWholeAndTakesAllOfAWriteOrNothing) {
    CFakeCamera camera;
    const uint8_t packet[] = {0x00, 0x00, 0x1F, 0x40}; // big-endian 8000, "don't fragment" off
    ASSERT_EQ(camera.WriteMemory(0x0D04, packet, sizeof(packet)), Ok);
    EXPECT_EQ(Integer(camera, "GevSCPSPacketSize"), 8000);
    EXPECT_FALSE(Boolean(camera, "GevSCPSDoNotFragment"));
    // Packet delay is writable, the gap behind it is not.
    const uint8_t bytes[8] = {0, 0, 0, 9};
    EXPECT_EQ(camera.WriteMemory(0x0D08, bytes, 8), Access);
    EXPECT_EQ(Integer(camera, "GevSCPD"), 0);
    EXPECT_EQ(camera.WriteMemory(0x0D08, bytes, 4), Ok);
    EXPECT_EQ(Integer(camera, "GevSCPD"), 9);
    const std::pair<uint64_t, uint64_t> rows[] = {
        {kFileBuffer + kFileBufferBytes - 4, 8}, {UINT64_MAX - 3, 8}, {0x0D04, 0}};
    for (const auto& [address, length] : rows) {
        uint8_t out[8] = {};
        EXPECT_EQ(camera.WriteMemory(address, bytes, length), Argument);
        EXPECT_EQ(camera.ReadMemory(address, out, length), Argument);
    }
}

TEST(FeatureText, CanBeLoadedAgainWhateverIsLockedMeanwhile) {
    CFakeCamera camera;
    camera.SetEnum("ExposureAuto", 2);
    const std::string automatic = camera.SaveFeatures();
    camera.SetEnum("ExposureAuto", 0);
    camera.SetFloat("ExposureTime", 123);
    std::string where;
    EXPECT_EQ(camera.LoadFeatures(automatic, &where), Ok) << where;
    camera.Execute("AcquisitionStart");
    EXPECT_EQ(camera.LoadFeatures(camera.SaveFeatures(), &where), Ok) << where;
}

TEST(UserSet, ComesBackWhenLoadedAndAtPowerUp) {
    CFakeCamera camera;
    camera.SetFloat("Gain", 7);
    camera.SetEnumByName("UserSetSelector", "UserSet2");
    ASSERT_EQ(camera.Execute("UserSetSave"), Ok);
    camera.SetFloat("Gain", 1);
    ASSERT_EQ(camera.Execute("UserSetLoad"), Ok);
    EXPECT_EQ(Float(camera, "Gain"), 7);
    camera.PowerUp();
    EXPECT_EQ(Float(camera, "Gain"), 0);
    camera.SetEnumByName("UserSetDefault", "UserSet2");
    camera.PowerUp();
    EXPECT_EQ(Float(camera, "Gain"), 7);
    camera.SetEnumByName("UserSetSelector", "Default");
    EXPECT_EQ(camera.Execute("UserSetSave"), Access);
}

TEST(File, IsKeptUnderANameThatIsOneAndWithinBounds) {
    CFakeCamera camera;
    std::vector<uint8_t> bytes;
    EXPECT_EQ(camera.ReadFile("LSLSystemCali", &bytes), Ok);
    for (const char* bad : {"", "a/b", "with blank", "tab\t"}) {
        EXPECT_EQ(camera.WriteFile(bad, {1}), Argument) << bad;
    }
    EXPECT_EQ(camera.WriteFile("huge", std::vector<uint8_t>(CFileStore::kMaxBytes + 1)), Full);
    EXPECT_EQ(camera.ReadFile("huge", &bytes), Argument);
    EXPECT_EQ(camera.WriteFile(std::string(65, 'x'), {1}), Argument);
    CameraConfig config = FakeConfig();
    config.m_faults.m_isCalibrationMissing = 1;
    EXPECT_EQ(CFakeCamera(config).ReadFile("RGBDSensorCali", &bytes), NoData);
}

TEST(File, FeaturesSayHowEachOperationEnded) {
    CFakeCamera camera;
    camera.SetEnumByName("FileSelector", "UserFile1");
    camera.SetInteger("FileAccessLength", 6);
    const std::tuple<const char*, const char*, int64_t> rows[] = {
        {"Read", "Read", 1},  {"Open", "Read", 2},   {"Open", "Write", 0},  {"Open", "Read", 1},
        {"Write", "Read", 0}, {"Read", "Read", 1},   {"Delete", "Read", 1}, {"Close", "Read", 0},
        {"Close", "Read", 1}, {"Open", "Read", 0},   {"Write", "Write", 1}, {"Read", "Read", 0},
        {"Close", "Read", 0}, {"Delete", "Read", 0}, {"Delete", "Read", 1}};
    for (const auto& [operation, mode, status] : rows) {
        camera.SetEnumByName("FileOperationSelector", operation);
        camera.SetEnumByName("FileOpenMode", mode);
        camera.Execute("FileOperationExecute");
        EnumValue ended;
        camera.GetEnum("FileOperationStatus", &ended);
        EXPECT_EQ(ended.m_value, status) << operation << " as " << mode;
    }
}

TEST(Firmware, RaisesTheLastNumberOfTheVersion) {
    for (const auto& [before, after] :
         {std::pair{"1.0.9", "1.0.10"}, {"7", "8"}, {"2.0-beta", "2.0-beta.1"}}) {
        CameraConfig config = FakeConfig();
        config.m_deviceVersion = before;
        CFakeCamera camera(config);
        camera.InstallFirmware();
        EXPECT_EQ(camera.Identity().m_version, after);
    }
}

TEST(Network, KeepsAForcedAddressAndStartsFromThePersistentOne) {
    CFakeCamera camera;
    const uint32_t configured = camera.Identity().m_ip;
    const auto afterReset = [&](uint32_t mode, uint32_t forcedIp) {
        EXPECT_EQ(camera.SetIpMode(mode), Ok);
        EXPECT_EQ(camera.ForceIp(forcedIp, 0xFF000000, forcedIp + 1), Ok);
        EXPECT_EQ(camera.Identity().m_ip, forcedIp);
        EXPECT_EQ(camera.Identity().m_ipMode, mode | kIpModeLinkLocal);
        EXPECT_EQ(camera.Execute("DeviceReset"), Ok);
        return camera.Identity().m_ip;
    };
    EXPECT_EQ(afterReset(kIpModeDhcp, 0x0A000005), configured); // forced is for now only
    EXPECT_EQ(camera.Identity().m_mask, camera.Config().m_mask);
    EXPECT_EQ(camera.Identity().m_gateway, camera.Config().m_gateway);
    EXPECT_EQ(afterReset(kIpModePersistent, 0x0A000006), 0x0A000006U);
    EXPECT_EQ(camera.Identity().m_mask, 0xFF000000U);
    EXPECT_EQ(camera.Identity().m_gateway, 0x0A000007U);
    EXPECT_EQ(afterReset(kIpModeLinkLocal, 0x0A000007) >> 16, 0xA9FEU);
    EXPECT_EQ(camera.Identity().m_mask, 0xFFFF0000U);
    EXPECT_EQ(camera.SetIpMode(3), Argument);
}

TEST(State, OutlivesANewConfigurationWhereThatDoesNotDiffer) {
    CFakeCamera before;
    before.SetString("DeviceUserID", "mine");
    before.ForceIp(0x0A000006, 0xFF000000, 0);
    before.WriteFile("RGBDSensorCali", {1});
    before.SetFloat("Gain", 7);
    before.SetEnumByName("UserSetSelector", "UserSet1");
    before.Execute("UserSetSave");
    before.SetEnumByName("UserSetDefault", "UserSet1");
    CameraConfig config = FakeConfig();
    config.m_fps = 5;
    CFakeCamera after(config, UINT64_MAX, &before);
    after.PowerUp();
    EXPECT_EQ(Float(after, "Gain"), 7);
    after.SetEnumByName("UserSetSelector", "UserSet2");
    after.Execute("UserSetLoad");
    EXPECT_EQ(Float(after, "AcquisitionFrameRate"), 5) << "a set that was never stored";
    std::vector<uint8_t> bytes;
    EXPECT_EQ(after.Identity().m_userName, "mine");
    EXPECT_EQ(after.Identity().m_ip, 0x0A000006U);
    EXPECT_EQ(after.ReadFile("RGBDSensorCali", &bytes), Ok);
    EXPECT_EQ(bytes.size(), 1U);
    config.m_userName = "theirs";
    config.m_ip = 0x0A000009;
    config.m_source.m_depthWidth = 800;
    CFakeCamera renamed(config, UINT64_MAX, &before);
    EXPECT_EQ(renamed.ReadFile("RGBDSensorCali", &bytes), Ok);
    EXPECT_GT(bytes.size(), 1U) << "belongs to the images";
    EXPECT_EQ(renamed.Identity().m_userName, "theirs");
    EXPECT_EQ(renamed.Identity().m_ip, 0x0A000009U);
    CFakeCamera usb(FakeConfig(ETransport::Usb));
    usb.AdoptState(before);
    usb.PowerUp();
    EXPECT_EQ(Float(usb, "Gain"), 0);
}

} // namespace
