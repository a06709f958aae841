// Camera-control libraries that lack functions, or are not there at all. Each group runs in a process of its
// own with its own variant of the scripted library, since a function that was found once stays.
#include "tests/doubles/ScriptedCamera.h"

namespace {

bool LogSays(const std::string& text) {
    return Eventually(
        [&] { return ReadFile("Ox3dRgbdLog/Ox3dRgbd_00.log").find(text) != std::string::npos; });
}

TEST(NoLibrary, EveryWayInSaysSo) {
    uint32_t count = 77;
    OX3D_RGBD_DEVICE_INFO info = {};
    OX3D_RGBD_IP_CONFIG config = {};
    void* handle = nullptr;
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(OX3D_RGBD_GetDeviceNumber(3, &count), OX3D_RGBD_E_LOAD_LIBRARY);
        EXPECT_EQ(OX3D_RGBD_GetDeviceList(3, &info, 1, &count), OX3D_RGBD_E_LOAD_LIBRARY);
        EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&info, 1), OX3D_RGBD_E_LOAD_LIBRARY);
        EXPECT_EQ(OX3D_RGBD_OpenDevice(&handle, nullptr), OX3D_RGBD_E_LOAD_LIBRARY);
        EXPECT_EQ(OX3D_RGBD_SetIpConfig("ETH1", &config), OX3D_RGBD_E_LOAD_LIBRARY);
    }
    EXPECT_EQ(count, 77u);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(LogSays("LoadLibrary fail\r\n") && LogSays("/libOxCameraControl.so: file too short\r\n"));
}

TEST(NoLibrary, IsFoundWhereTheVariableLeadsAndOnlyThere) {
    uint32_t count = 0;
    const std::string folder = "a:b$c";
    std::filesystem::create_directory(folder);
    const std::pair<const char*, const char*> rows[] = {
        {"", "too short"}, // as if it were not set
        {"/none", "[LoadLibrary] /none: cannot open shared object file: No such file"},
        {"libOxCameraControl.so", "[LoadLibrary] ./libOxCameraControl.so: cannot open"}, // and not searched
        {folder.c_str(), "[LoadLibrary] ./a:b$c/libOxCameraControl.so: cannot open"}};
    for (const auto& [value, reason] : rows) {
        setenv("OX3D_PROVIDER", value, 1);
        EXPECT_EQ(OX3D_RGBD_GetDeviceNumber(3, &count), OX3D_RGBD_E_LOAD_LIBRARY) << value;
        EXPECT_TRUE(LogSays(reason)) << reason;
    }
    std::filesystem::create_symlink(OX3D_DOUBLE "/libOxCameraControl.so", folder + "/libOxCameraControl.so");
    EXPECT_EQ(OX3D_RGBD_GetDeviceNumber(3, &count), OX3D_RGBD_OK);
    EXPECT_TRUE(LogSays("[LoadLibrary] camera control: ./a:b$c/libOxCameraControl.so\r\n"));
}

using NoFeatureLoad = CScripted;

TEST_F(NoFeatureLoad, OnlyTheImportSuffers) {
    DrainLogAtEveryCall();
    const Lines lines = LinesOf([&] { Open(); });
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "GetProc OX_CC_FeatureLoad fail"), 1);
    EXPECT_EQ(
        LinesOf([&] { EXPECT_EQ(OX3D_RGBD_ImportAllParam(m_handle, "file"), OX3D_RGBD_E_CAMERA); }).front(),
        "camera module OX_CC_FeatureLoad is null, nRet:[0x80060001].");
    EXPECT_EQ(OX3D_RGBD_ExportAllParam(m_handle, "file"), OX3D_RGBD_OK);
}

using NoExtended = CScripted;

// The calibration file cannot be copied off such a camera, so it cannot be opened; its address can be set.
TEST_F(NoExtended, OpeningFailsAtTheFileTransferAndLeavesNothing) {
    DrainLogAtEveryCall();
    const Lines lines = LinesOf(
        [&] { EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, "ETH1"), OX3D_RGBD_E_CAMERA); });
    m_handle = nullptr;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "GetProc OX_CC_SetIntValueEx fail"), 1);
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "[CreateHandle] camera module LoadCamDllSpeFunction fail, nRet:[0x8006000b]."),
              1);
    EXPECT_EQ(Double().CallCount(DOUBLE_OX_CC_SetBoolValue), 2u) << "everything before it was done";
    EXPECT_EQ(Double().CallCount(DOUBLE_OX_CC_FileAccessRead), 0u);
    OX3D_RGBD_IP_CONFIG config = {};
    config.enIPCfgMode = OX3D_RGBD_IP_DHCP;
    EXPECT_EQ(OX3D_RGBD_SetIpConfig("ETH1", &config), OX3D_RGBD_OK);
}

TEST(NoEnumeration, IsAnswered) {
    uint32_t count = 0;
    EXPECT_EQ(OX3D_RGBD_GetDeviceNumber(OX3D_RGBD_DEVICE_ALL, &count), OX3D_RGBD_E_LOAD_LIBRARY);
}

using NoCore = CScripted;

TEST_F(NoCore, CamerasAreListedButNotOpened) {
    uint32_t count = 0;
    EXPECT_EQ(OX3D_RGBD_GetDeviceNumber(OX3D_RGBD_DEVICE_ALL, &count), OX3D_RGBD_OK);
    EXPECT_EQ(count, 2u);
    DrainLogAtEveryCall();
    const Lines lines = LinesOf(
        [&] { EXPECT_EQ(OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, "ETH1"), OX3D_RGBD_E_LOAD_LIBRARY); });
    EXPECT_EQ(m_handle, nullptr);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "GetProc OX_CC_StartGrabbing fail"), 1);
    EXPECT_EQ(Double().CallCount(DOUBLE_OX_CC_CreateHandle), 0u);
    OX3D_RGBD_DEVICE_INFO info = {};
    SetText(info.chSerialNumber, "ETH1");
    EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&info, 1), 0u) << "what cannot be asked is not accessible";
}

} // namespace
