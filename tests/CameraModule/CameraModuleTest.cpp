// What of the camera module and of the manager cannot be seen through the public interface.
#include "src/CameraModule/CameraModule.h"

#include "src/Manager/Ipv4Text.h"
#include "src/Manager/Manager.h"
#include "tests/doubles/ScriptedCamera.h"

namespace {

TEST(Ipv4Text, IsADottedQuadThatBecomesANumber) {
    const std::pair<const char*, uint32_t> rows[] = {{"1.2.3.4", 0x01020304},
                                                     {"255.255.255.255", 0xFFFFFFFF},
                                                     {"010.001.000.255", 0x0A0100FF},
                                                     {"0.0.0.0", 0}};
    for (const auto& [text, expected] : rows) {
        unsigned int number = 99;
        EXPECT_EQ(IsValidIpv4(text), 1) << text;
        EXPECT_EQ(CCameraModule::GetIPVal(number, text, 16), OX3D_RGBD_OK);
        EXPECT_EQ(number, expected) << text;
    }
    for (const char* text :
         {"",         ".",        "...",       "1.2.3",     "1.2.3.",     "1.2.3.4.",   "1.2.3.4.5",
          ".1.2.3",   "1..2.3",   "256.1.1.1", "1.1.1.256", "0001.2.3.4", "1.2.3.0004", "+1.2.3.4",
          "1.2.3.-4", " 1.2.3.4", "1.2.3.4 ",  "0x1.2.3.4", "1.2.3.a",    "1,2,3,4"}) {
        EXPECT_EQ(IsValidIpv4(text), 0) << text;
    }
    EXPECT_EQ(IsValidIpv4(nullptr), 0);
}

class ModuleWithoutExtended : public CScripted {
protected:
    void SetUp() override {
        CScripted::SetUp();
        const OX_CC_DEVICE_INFO device = EthernetDevice("ETH1");
        ASSERT_EQ(m_module.CreateHandle(&device), OX3D_RGBD_OK);
        ASSERT_EQ(m_module.Init(), OX3D_RGBD_OK);
    }
    void TearDown() override {
        EXPECT_EQ(m_module.DeInit(), OX3D_RGBD_OK);
        EXPECT_CALLS(m_module.DeInit(), OX3D_RGBD_OK) << "only once";
        CScripted::TearDown();
    }
    CCameraModule m_module;
};

TEST_F(ModuleWithoutExtended, FallsBackToTheNarrowIntegersAndRefusesTheRest) {
    OX3D_RGBD_INTPARAM value = {};
    OX_CC_FILE_ACCESS access = {"local", "device", {}};
    uint32_t word = 0;
    EXPECT_CALLS(m_module.SetIntValue("Key", 0x700000005), OX3D_RGBD_OK, "OX_CC_SetIntValue(Key, 5)");
    EXPECT_CALLS(m_module.GetIntValue("Key", &value), OX3D_RGBD_OK, "OX_CC_GetIntValue(Key)");
    EXPECT_TRUE(value.nCurValue == 640 && value.nMax == 4000 && value.nMin == 1 && value.nInc == 2);
    EXPECT_CALLS(m_module.SetEnumValueByString("Key", "Entry"), OX3D_RGBD_E_CAMERA);
    EXPECT_CALLS(m_module.FileAccessRead(&access), OX3D_RGBD_E_CAMERA);
    EXPECT_CALLS(m_module.FileAccessWrite(&access), OX3D_RGBD_E_CAMERA);
    EXPECT_CALLS(m_module.GetCamParamsType("Key", &word), OX3D_RGBD_E_CAMERA);
    EXPECT_CALLS(m_module.XML_GetNodeAccessMode("Key", &word), OX3D_RGBD_E_CAMERA);
    EXPECT_CALLS(m_module.Upgrade("file"), OX3D_RGBD_E_CAMERA);
    Fail(DOUBLE_OX_CC_GetIntValue, OX_CC_E_GC_ACCESS);
    EXPECT_EQ(m_module.GetIntValue("Key", &value), OX_CC_E_GC_ACCESS);
    EXPECT_EQ(value.nMax, 4000) << "a failure writes nothing";
}

using ManagerByItself = CScripted;

TEST_F(ManagerByItself, CarriesTheCalibrationOfTheSystemBothWays) {
    CManager manager;
    EXPECT_LINES(manager.CalibFileExport("local", nullptr), OX3D_RGBD_E_STATE, "camera is null");
    EXPECT_EQ(manager.Init() | manager.BindDevice(nullptr) | manager.ConnectDevice(), OX3D_RGBD_OK);
    Double().SetFile("LSLSystemCali", "its text");
    EXPECT_LINES(manager.CalibFileExport("local", nullptr), OX3D_RGBD_OK,
                 "[FileAccessRead] OX_CC_FileAccessRead success.",
                 "[CalibFileExport] FileAccessRead success.");
    EXPECT_EQ(ReadFile("local"), "its text");
    EXPECT_CALLS(manager.CalibFileImport("local", nullptr), OX3D_RGBD_OK,
                 "OX_CC_FileAccessWrite(local, LSLSystemCali)");
    EXPECT_CALLS(manager.CalibFileImport("local", "Other"), OX3D_RGBD_OK,
                 "OX_CC_FileAccessWrite(local, Other)");
    EXPECT_CALLS(manager.CalibFileImport(nullptr, "Other"), OX3D_RGBD_E_PARAMETER);
    Fail(kFunctions, OX_CC_E_GC_RANGE);
    EXPECT_LAST_LINE(manager.CalibFileExport("local", nullptr), OX3D_RGBD_E_CAMERA_0F,
                     "[CalibFileExport] FileAccessRead LSLSystemCali failed, nRet:[0x8006000f].");
    EXPECT_LAST_LINE(manager.CalibFileImport("local", nullptr), OX3D_RGBD_E_CAMERA_0F,
                     "[CalibFileImport] FileAccessWrite LSLSystemCali failed, nRet:[0x8006000f].");
    Double().Script()->m_rules.clear();
}

} // namespace
