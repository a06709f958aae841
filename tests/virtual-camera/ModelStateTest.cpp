// ModelStateTest.cpp - what a camera keeps: settings as text and as user sets, files, firmware, address.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/virtual-camera/FakeSource.h"

using namespace ox3d;
using ox3d::test::CFakeCamera;
using ox3d::test::FakeConfig;
using enum EModelStatus;

namespace {

float Gain(CCameraModel& camera) {
    FloatValue value;
    camera.GetFloat("Gain", &value);
    return value.m_value;
}

TEST(FeatureText, BringsSettingsAndSelectedValuesToAnotherCamera) {
    CFakeCamera from(FakeConfig(ETransport::Usb));
    from.SetFloat("Gain", 3.25F);
    from.SetEnum("TriggerMode", 1);
    from.SetBoolean("ChunkModeActive", true);
    from.SetEnum("ChunkSelector", 19);
    from.SetBoolean("ChunkEnable", true);
    from.SetEnum("ChunkSelector", 24);
    CFakeCamera to(FakeConfig(ETransport::Usb));
    std::string where;
    ASSERT_EQ(to.LoadFeatures(from.SaveFeatures(), &where), Ok) << where;
    EXPECT_EQ(Gain(to), 3.25F);
    EXPECT_EQ(to.SaveFeatures(), from.SaveFeatures());
    EnumValue selector;
    bool isEnabled = true;
    ASSERT_EQ(to.GetEnum("ChunkSelector", &selector), Ok);
    EXPECT_EQ(selector.m_value, 24u);
    ASSERT_EQ(to.GetBoolean("ChunkEnable", &isEnabled), Ok);
    EXPECT_FALSE(isEnabled);
    to.SetEnum("ChunkSelector", 19);
    ASSERT_EQ(to.GetBoolean("ChunkEnable", &isEnabled), Ok);
    EXPECT_TRUE(isEnabled);
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

TEST(FeatureText, ChangesNothingWhenOneLineIsWrong) {
    struct {
        const char* m_line;
        EModelStatus m_expected;
    } const cases[] = {
        {"NoSuchFeature=1", UnknownFeature},
        {"Width=10", UnknownFeature},
        {"Gain", UnknownFeature},
        {"Gain=much", Argument},
        {"Gain=1e9", Range},
        {"TriggerMode=Maybe", Range},
        {"AcquisitionFrameCount=0", Range},
        {"ChunkModeActive=2", Range},
        {"AcquisitionFrameCount=-1", Argument},
    };
    for (const auto& c : cases) {
        CFakeCamera camera;
        const std::string before = camera.SaveFeatures();
        std::string where;
        EXPECT_EQ(camera.LoadFeatures(std::string("# x\n\nGain=5\n") + c.m_line + "\n", &where), c.m_expected)
            << c.m_line;
        EXPECT_EQ(where, std::string("line 4: ") + c.m_line);
        EXPECT_EQ(camera.SaveFeatures(), before) << c.m_line;
    }
}

TEST(UserSet, ComesBackWhenLoadedAndAtPowerUp) {
    CFakeCamera camera;
    camera.SetFloat("Gain", 7);
    camera.SetEnumByName("UserSetSelector", "UserSet2");
    ASSERT_EQ(camera.Execute("UserSetSave"), Ok);
    camera.SetFloat("Gain", 1);
    ASSERT_EQ(camera.Execute("UserSetLoad"), Ok);
    EXPECT_EQ(Gain(camera), 7);
    camera.PowerUp();
    EXPECT_EQ(Gain(camera), 0);
    camera.SetEnumByName("UserSetDefault", "UserSet2");
    camera.PowerUp();
    EXPECT_EQ(Gain(camera), 7);
    camera.SetEnumByName("UserSetSelector", "Default");
    EXPECT_EQ(camera.Execute("UserSetSave"), Access);
}

TEST(File, HoldsTheCalibrationAndWhateverIsWritten) {
    CFakeCamera camera;
    std::vector<uint8_t> bytes;
    ASSERT_EQ(camera.ReadFile("RGBDSensorCali", &bytes), Ok);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "<SensorCali/>");
    EXPECT_EQ(camera.ReadFile("LSLSystemCali", &bytes), Ok);
    EXPECT_EQ(camera.ReadFile("notes", &bytes), Argument);
    ASSERT_EQ(camera.WriteFile("notes", {1, 2, 3}), Ok);
    ASSERT_EQ(camera.ReadFile("notes", &bytes), Ok);
    EXPECT_EQ(bytes, (std::vector<uint8_t>{1, 2, 3}));
    for (const char* bad : {"", "a/b", "with blank", "tab\t"}) {
        EXPECT_EQ(camera.WriteFile(bad, {1}), Argument) << bad;
    }
    EXPECT_EQ(camera.WriteFile("huge", std::vector<uint8_t>(CFileStore::kMaxBytes + 1)), Full);
    EXPECT_EQ(camera.ReadFile("huge", &bytes), Argument);
}

TEST(File, IsMissingWhenTheFaultSaysSo) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_isCalibrationMissing = 1;
    CFakeCamera camera(config);
    std::vector<uint8_t> bytes;
    EXPECT_EQ(camera.ReadFile("RGBDSensorCali", &bytes), NoData);
}

class FileFeatures : public testing::Test {
protected:
    // Runs one file operation; returns bytes moved, or -1 on failure.
    int64_t Run(const char* operation, uint32_t offset = 0, uint32_t length = 0) {
        EnumValue status;
        IntegerValue result;
        EXPECT_EQ(m_camera.SetEnumByName("FileOperationSelector", operation), Ok);
        EXPECT_EQ(m_camera.SetInteger("FileAccessOffset", offset), Ok);
        EXPECT_EQ(m_camera.SetInteger("FileAccessLength", length), Ok);
        EXPECT_EQ(m_camera.Execute("FileOperationExecute"), Ok);
        EXPECT_EQ(m_camera.GetEnum("FileOperationStatus", &status), Ok);
        EXPECT_EQ(m_camera.GetInteger("FileOperationResult", &result), Ok);
        return status.m_value == 0 ? result.m_value : -1;
    }
    CFakeCamera m_camera;
};

TEST_F(FileFeatures, ReadTheCalibrationInPieces) {
    ASSERT_EQ(Run("Read", 0, 4), -1); // nothing is open
    ASSERT_EQ(Run("Open"), 0);
    ASSERT_EQ(Run("Write", 0, 4), -1); // open for reading
    EXPECT_EQ(Run("Read", 1, 6), 6);
    char piece[6];
    ASSERT_EQ(m_camera.ReadMemory(kFileBuffer, piece, sizeof(piece)), Ok);
    EXPECT_EQ(std::string(piece, 6), "Sensor");
    EXPECT_EQ(Run("Read", 10, 4096), 3); // up to the end
    EXPECT_EQ(Run("Read", 99, 4), 0);
    ASSERT_EQ(Run("Close"), 0);
}

TEST_F(FileFeatures, WriteWhatIsThenReadWhole) {
    m_camera.SetEnumByName("FileSelector", "UserFile1");
    m_camera.SetEnumByName("FileOpenMode", "Read");
    EXPECT_EQ(Run("Open"), -1); // not there yet
    m_camera.SetEnumByName("FileOpenMode", "Write");
    ASSERT_EQ(Run("Open"), 0);
    ASSERT_EQ(m_camera.WriteMemory(kFileBuffer, "abcdefgh", 8), Ok);
    EXPECT_EQ(Run("Write", 2, 8), 8);
    EXPECT_EQ(Run("Write", 0xFFFFFFFF, 8), -1); // beyond what a file may hold
    ASSERT_EQ(Run("Close"), 0);
    std::vector<uint8_t> bytes;
    ASSERT_EQ(m_camera.ReadFile("UserFile1", &bytes), Ok);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), std::string("\0\0abcdefgh", 10));
    EXPECT_EQ(Run("Delete"), 0);
    EXPECT_EQ(m_camera.ReadFile("UserFile1", &bytes), Argument);
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
    ASSERT_EQ(camera.SetIpMode(kIpModeDhcp), Ok);
    ASSERT_EQ(camera.ForceIp(0x0A000005, 0xFF000000, 0), Ok);
    EXPECT_EQ(camera.Identity().m_ip, 0x0A000005u);
    EXPECT_EQ(camera.Identity().m_ipMode, kIpModeDhcp | kIpModeLinkLocal);
    ASSERT_EQ(camera.Execute("DeviceReset"), Ok);
    EXPECT_EQ(camera.Identity().m_ip, configured); // forced is for now only
    ASSERT_EQ(camera.SetIpMode(kIpModePersistent), Ok);
    ASSERT_EQ(camera.ForceIp(0x0A000006, 0xFF000000, 0), Ok);
    ASSERT_EQ(camera.Execute("DeviceReset"), Ok);
    EXPECT_EQ(camera.Identity().m_ip, 0x0A000006u);
    ASSERT_EQ(camera.SetIpMode(kIpModeLinkLocal), Ok);
    ASSERT_EQ(camera.Execute("DeviceReset"), Ok);
    EXPECT_EQ(camera.Identity().m_ip >> 16, 0xA9FEu);
}

TEST(Network, RefusesAddressesThatNoHostCanHave) {
    CFakeCamera camera;
    CFakeCamera usb(FakeConfig(ETransport::Usb));
    EXPECT_EQ(camera.ForceIp(0, 0xFFFFFF00, 0), Argument);
    EXPECT_EQ(camera.ForceIp(0xE0000001, 0xFFFFFF00, 0), Argument);
    EXPECT_EQ(camera.ForceIp(0x0A000001, 0, 0), Argument);
    EXPECT_EQ(camera.ForceIp(0x0A000001, 0xFF00FF00, 0), Argument);
    EXPECT_EQ(camera.SetIpMode(3), Argument);
    EXPECT_EQ(usb.ForceIp(0x0A000001, 0xFFFFFF00, 0), Argument);
}

TEST(State, OutlivesANewConfigurationWhereThatDoesNotDiffer) {
    CFakeCamera before;
    before.SetString("DeviceUserID", "mine");
    before.ForceIp(0x0A000006, 0xFF000000, 0);
    before.WriteFile("notes", {1});
    CameraConfig config = FakeConfig();
    config.m_fps = 5;
    CFakeCamera after(config);
    after.AdoptState(before);
    std::vector<uint8_t> bytes;
    EXPECT_EQ(after.Identity().m_userName, "mine");
    EXPECT_EQ(after.Identity().m_ip, 0x0A000006u);
    EXPECT_EQ(after.ReadFile("notes", &bytes), Ok);
    config.m_userName = "theirs";
    config.m_ip = 0x0A000009;
    CFakeCamera renamed(config);
    renamed.AdoptState(before);
    EXPECT_EQ(renamed.Identity().m_userName, "theirs");
    EXPECT_EQ(renamed.Identity().m_ip, 0x0A000009u);
}

} // namespace
