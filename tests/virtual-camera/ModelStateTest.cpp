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
    CameraConfig config = FakeConfig();
    config.m_faults.m_isCalibrationMissing = 1;
    EXPECT_EQ(CFakeCamera(config).ReadFile("RGBDSensorCali", &bytes), NoData);
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
