// Where the library's files lie, and what is said when they cannot be written. Each case runs in a process of its own,
// since the log opens its file once.
#include "tests/doubles/ScriptedCamera.h"

namespace {

class DataFolder : public CScripted {
protected:
    // The variable is set before the library's first call.
    void SetUp() override {}
    void Begin(const std::string& folder) {
        setenv("OX3D_RGBD_DATA_DIR", folder.c_str(), 1);
        testing::internal::CaptureStderr();
        CScripted::SetUp();
    }
    static bool LogSays(const std::string& text) {
        return Eventually(
            [&] { return ReadFile("data/Ox3dRgbdLog/Ox3dRgbd_00.log").find(text) != std::string::npos; });
    }
};

TEST_F(DataFolder, HoldsLogProfileAndCalibrationAndIsMadeWhereThereIsNone) {
    Begin("data");
    EXPECT_TRUE(std::filesystem::exists("data/Ox3dRgbdLog"));
    WriteFile("data/Ox3dRgbdCfg.ini", "[CameraConfig]\nBufferNode=7\n[Debug]\nDebugMode=1\n");
    const Lines calls = CallsOf([&] { Open(); });
    EXPECT_NE(std::find(calls.begin(), calls.end(), "OX_CC_SetImageNodeNum(7)"), calls.end());
    EXPECT_EQ(ReadFile("data/RGBDSensorCali_ETH1.xml"), kCalibration);
    OX3D_RGBD_CALIB_INFO info = {};
    EXPECT_EQ(OX3D_RGBD_GetCalibInfo(m_handle, OX3D_RGBD_CALIB_DEPTH, &info), OX3D_RGBD_OK);
    EXPECT_EQ(info.fFx, 500.0f);
    EXPECT_TRUE(LogSays("Config (data/Ox3dRgbdCfg.ini) exist .\r\n"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1) << "and nothing lies elsewhere";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(DataFolder, ThatCannotTakeTheCalibrationIsNamedInTheLogOfTheFailedOpen) {
    Begin("data");
    std::filesystem::create_directories("data/RGBDSensorCali_ETH1.xml");
    Fail(DOUBLE_OX_CC_FileAccessRead, OX_CC_E_PARAMETER);
    EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, "ETH1"), OX3D_RGBD_E_PARAMETER);
    m_handle = nullptr;
    EXPECT_TRUE(
        LogSays("[DepthMapConvert] Get FileAccessRead RGBDSensorCali failed, nRet:[0x80060004].\r\n"));
    EXPECT_TRUE(LogSays("] data/RGBDSensorCali_ETH1.xml cannot be written: Is a directory.\r\n"));
    std::filesystem::remove_all("data/RGBDSensorCali_ETH1.xml");
    EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, "ETH1"), OX3D_RGBD_E_PARAMETER);
    m_handle = nullptr;
    const std::string log = ReadFile("data/Ox3dRgbdLog/Ox3dRgbd_00.log");
    EXPECT_EQ(log.find("cannot be written"), log.rfind("cannot be written")) << "the camera's own failure";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("data"), {}), 1) << "no trial is left";
    testing::internal::GetCapturedStderr();
}

TEST_F(DataFolder, WithoutRoomForTheLogsNameIsRefusedByTheLogAloneAndSaysSo) {
    const std::string folder(230, 'd');
    Begin(folder);
    Open();
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("Ox3dRgbd: no log, " + folder +
                                                          "/Ox3dRgbdLog/Ox3dRgbd_00.log cannot be written: "
                                                          "File name too long\n"),
              0u);
    EXPECT_EQ(ReadFile(folder + "/RGBDSensorCali_ETH1.xml"), kCalibration);
}

TEST_F(DataFolder, ThatCannotBeMadeLeavesNoLogAndTheReasonOnStandardError) {
    WriteFile("file", "");
    Begin("file/data");
    Fail(DOUBLE_OX_CC_FileAccessRead, OX_CC_E_PARAMETER);
    EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, "ETH1"), OX3D_RGBD_E_PARAMETER);
    m_handle = nullptr;
    const std::string log = "Ox3dRgbd: no log, file/data cannot be written: Not a directory\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              log + log + "Ox3dRgbd: file/data/RGBDSensorCali_ETH1.xml cannot be written: Not a directory\n");
}

} // namespace
