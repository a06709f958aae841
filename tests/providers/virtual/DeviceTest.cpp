// DeviceTest.cpp - finding cameras, handles, and who may open what.
#include <gmock/gmock.h>

#include "tests/providers/virtual/Provider.h"

using namespace ox3d::test;

namespace {

TEST(Enumeration, FindsOneEthernetCameraWhenNoListIsNamed) {
    unsetenv("OX3D_VIRTUAL_CAMERAS");
    OX_CC_DEVICE_INFO_LIST list{};
    ASSERT_EQ(CC(OX_CC_EnumDevices)(OX_CC_GIGE_DEVICE | OX_CC_USB_DEVICE, &list), 0);
    ASSERT_EQ(list.nDeviceNum, 1u);
    EXPECT_EQ(list.pDeviceInfo[0]->nTLayerType, OX_CC_GIGE_DEVICE);
    EXPECT_STREQ(list.pDeviceInfo[0]->stGigEInfo.chSerialNumber, "VC00000001");
}

TEST(Enumeration, FillsTheRecordOfEachTransport) {
    const OX_CC_DEVICE_INFO_LIST list =
        List(CameraText("E1", "ip = 10.1.2.3\nmask = 255.255.0.0\ngateway = 10.1.0.1\nhost_ip = 10.1.0.9\n"
                              "mac = 02:11:22:33:44:55\nuser_name = fifteen letters\nmodel = M1\n") +
             CameraText("E2", "transport = usb\nmodel = M2\nmanufacturer = Maker\ndevice_version = 3.1"));
    ASSERT_EQ(list.nDeviceNum, 2u);
    const OX_CC_DEVICE_INFO& gige = *list.pDeviceInfo[0];
    EXPECT_EQ(gige.nMacAddrHigh, 0x0211u);
    EXPECT_EQ(gige.nMacAddrLow, 0x22334455u);
    EXPECT_EQ(gige.stGigEInfo.nCurrentIp, 0x0A010203u);
    EXPECT_EQ(gige.stGigEInfo.nCurrentSubNetMask, 0xFFFF0000u);
    EXPECT_EQ(gige.stGigEInfo.nDefaultGateWay, 0x0A010001u);
    EXPECT_EQ(gige.stGigEInfo.nNetExport, 0x0A010009u);
    EXPECT_EQ(gige.stGigEInfo.nIpCfgOption, 0x07000000u);
    EXPECT_EQ(gige.stGigEInfo.nIpCfgCurrent, OX_GIGE_IP_CFG_STATIC);
    EXPECT_STREQ(gige.stGigEInfo.chUserDefinedName, "fifteen letters");
    EXPECT_STREQ(gige.stGigEInfo.chModelName, "M1");
    const OX_CC_DEVICE_INFO& usb = *list.pDeviceInfo[1];
    EXPECT_EQ(usb.nTLayerType, OX_CC_USB_DEVICE);
    EXPECT_EQ(usb.nMacAddrHigh | usb.nMacAddrLow, 0u);
    EXPECT_STREQ(usb.stUsb3Info.chSerialNumber, "E2");
    EXPECT_STREQ(usb.stUsb3Info.chModelName, "M2");
    EXPECT_STREQ(usb.stUsb3Info.chManufacturerName, "Maker");
    EXPECT_STREQ(usb.stUsb3Info.chDeviceVersion, "3.1");
    EXPECT_EQ(usb.stUsb3Info.nBcdUsb, 0x0300u);
}

TEST(Enumeration, LooksOnlyAtTheLayersAskedFor) {
    const std::string text = CameraText("L1") + CameraText("L2", "transport = usb");
    EXPECT_EQ(List(text, OX_CC_GIGE_DEVICE).nDeviceNum, 1u);
    EXPECT_EQ(List(text, OX_CC_USB_DEVICE).nDeviceNum, 1u);
    EXPECT_EQ(List(text, 2).nDeviceNum, 0u);
    EXPECT_EQ(List(text, UINT32_MAX).nDeviceNum, 2u);
}

TEST(Enumeration, LeavesOutACameraWithAnErrorAndSaysWhereOnce) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(List(CameraText("B1") + "[camera]\nserial = B2\nspeed = high\n").nDeviceNum, 1u);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("cameras.ini:10: unknown key 'speed'"));
    testing::internal::CaptureStderr();
    EXPECT_EQ(List(CameraText("B1") + "[camera]\nserial = B2\nspeed = high\n").nDeviceNum, 1u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Enumeration, FindsNothingWhenTheListCannotBeRead) {
    testing::internal::CaptureStderr();
    setenv("OX3D_VIRTUAL_CAMERAS", "/", 1);
    OX_CC_DEVICE_INFO_LIST list{};
    EXPECT_EQ(CC(OX_CC_EnumDevices)(5, &list), 0);
    EXPECT_EQ(list.nDeviceNum, 0u);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("cannot be read"));
}

TEST(Handle, IsRefusedEverywhereOnceItIsDestroyed) {
    CHandle handle(CameraText("H1"));
    void* dead = handle;
    ASSERT_EQ(handle.Destroy(), 0);
    EXPECT_EQ(CC(OX_CC_DestroyHandle)(dead), Status(OX_CC_E_HANDLE));
    EXPECT_EQ(CC(OX_CC_OpenDevice)(dead, 1, 0), Status(OX_CC_E_HANDLE));
    CHandle next(CameraText("H1"));
    EXPECT_EQ(CC(OX_CC_OpenDevice)(dead, 1, 0), Status(OX_CC_E_HANDLE));
}

TEST(Handle, IsNotMadeForCamerasThatAreUnknown) {
    OX_CC_DEVICE_INFO record = *List(CameraText("H2")).pDeviceInfo[0];
    void* handle = nullptr;
    record.nTLayerType = OX_CC_USB_DEVICE;
    EXPECT_EQ(CC(OX_CC_CreateHandle)(&handle, &record), Status(OX_CC_E_PARAMETER));
    record.nTLayerType = 77;
    EXPECT_EQ(CC(OX_CC_CreateHandle)(&handle, &record), Status(OX_CC_E_PARAMETER));
    record.nTLayerType = OX_CC_GIGE_DEVICE;
    std::memset(record.stGigEInfo.chSerialNumber, 'x', sizeof(record.stGigEInfo.chSerialNumber));
    EXPECT_EQ(CC(OX_CC_CreateHandle)(&handle, &record), Status(OX_CC_E_PARAMETER));
    EXPECT_EQ(handle, nullptr);
}

// Every function with an invalid handle, and with a valid one of an open camera but bad arguments.
TEST(Arguments, AreCheckedAfterTheHandle) {
    CHandle handle(CameraText("A1"));
    handle.Open();
    uint32_t word = 0;
    uint8_t bytes[8] = {};
    bool isOn = false;
    OX_FRAME_OUT_INFO_EX info{};
    OX_CC_FILE_ACCESS file{};
    using Call = std::function<int(void*)>;
    const std::pair<const char*, Call> calls[] = {
        {"GetDeviceInfo", [](void* h) { return CC(OX_CC_GetDeviceInfo)(h, nullptr); }},
        {"GetAllMatchInfo", [](void* h) { return CC(OX_CC_GetAllMatchInfo)(h, nullptr); }},
        {"GetImageBuffer", [](void* h) { return CC(OX_CC_GetImageBuffer)(h, nullptr, 0); }},
        {"FreeImageBuffer", [](void* h) { return CC(OX_CC_FreeImageBuffer)(h, nullptr); }},
        {"GetOneFrameTimeout data",
         [&](void* h) { return CC(OX_CC_GetOneFrameTimeout)(h, nullptr, 8, &info, 0); }},
        {"GetOneFrameTimeout info",
         [&](void* h) { return CC(OX_CC_GetOneFrameTimeout)(h, bytes, 8, nullptr, 0); }},
        {"SetImageNodeNum 0", [](void* h) { return CC(OX_CC_SetImageNodeNum)(h, 0); }},
        {"SetImageNodeNum many", [](void* h) { return CC(OX_CC_SetImageNodeNum)(h, UINT32_MAX); }},
        {"SetResend", [](void* h) { return CC(OX_GIGE_SetResend)(h, 1, 101, 10); }},
        {"RegisterEventCallBackEx",
         [](void* h) { return CC(OX_CC_RegisterEventCallBackEx)(h, nullptr, nullptr, nullptr); }},
        {"SetIntValue", [](void* h) { return CC(OX_CC_SetIntValue)(h, nullptr, 1); }},
        {"GetIntValue", [](void* h) { return CC(OX_CC_GetIntValue)(h, "Width", nullptr); }},
        {"GetIntValueEx", [](void* h) { return CC(OX_CC_GetIntValueEx)(h, "Width", nullptr); }},
        {"SetEnumValueByString",
         [](void* h) { return CC(OX_CC_SetEnumValueByString)(h, "TriggerMode", nullptr); }},
        {"GetEnumValue", [](void* h) { return CC(OX_CC_GetEnumValue)(h, "TriggerMode", nullptr); }},
        {"GetFloatValue", [](void* h) { return CC(OX_CC_GetFloatValue)(h, "Gain", nullptr); }},
        {"SetStringValue", [](void* h) { return CC(OX_CC_SetStringValue)(h, "DeviceUserID", nullptr); }},
        {"GetStringValue", [](void* h) { return CC(OX_CC_GetStringValue)(h, "DeviceUserID", nullptr); }},
        {"GetBoolValue", [&](void* h) { return CC(OX_CC_GetBoolValue)(h, nullptr, &isOn); }},
        {"SetCommandValue", [](void* h) { return CC(OX_CC_SetCommandValue)(h, nullptr); }},
        {"FeatureLoad", [](void* h) { return CC(OX_CC_FeatureLoad)(h, "no/such/file"); }},
        {"FeatureSave", [](void* h) { return CC(OX_CC_FeatureSave)(h, "/dev/null"); }},
        {"GetGenICamXML", [&](void* h) { return CC(OX_XML_GetGenICamXML)(h, nullptr, 8, &word); }},
        {"GetNodeAccessMode", [](void* h) { return CC(OX_XML_GetNodeAccessMode)(h, "Gain", nullptr); }},
        {"GetNodeInterfaceType", [&](void* h) { return CC(OX_XML_GetNodeInterfaceType)(h, nullptr, &word); }},
        {"ReadMemory", [&](void* h) { return CC(OX_CC_ReadMemory)(h, bytes, -4, 4); }},
        {"ReadMemory length", [&](void* h) { return CC(OX_CC_ReadMemory)(h, bytes, 0, INT64_MAX); }},
        {"WriteMemory", [](void* h) { return CC(OX_CC_WriteMemory)(h, nullptr, 0, 4); }},
        {"ForceIp", [](void* h) { return CC(OX_GIGE_ForceIp)(h, 0); }},
        {"ForceIpEx", [](void* h) { return CC(OX_GIGE_ForceIpEx)(h, 0x0A000001, 0xFF00FF00, 0); }},
        {"SetIpConfig", [](void* h) { return CC(OX_GIGE_SetIpConfig)(h, 0x03000000); }},
        {"GetGvcpTimeout", [](void* h) { return CC(OX_GIGE_GetGvcpTimeout)(h, nullptr); }},
        {"FileAccessRead", [&](void* h) { return CC(OX_CC_FileAccessRead)(h, &file); }},
        {"FileAccessWrite", [](void* h) { return CC(OX_CC_FileAccessWrite)(h, nullptr); }},
        {"GetFileAccessProgress", [](void* h) { return CC(OX_CC_GetFileAccessProgress)(h, nullptr); }},
        {"LocalUpgrade", [](void* h) { return CC(OX_CC_LocalUpgrade)(h, "/dev/zero"); }},
        {"GetUpgradeProcess", [](void* h) { return CC(OX_CC_GetUpgradeProcess)(h, nullptr); }},
        {"SaveImageEx2", [](void* h) { return CC(OX_CC_SaveImageEx2)(h, nullptr); }},
        {"DisplayOneFrame", [](void* h) { return CC(OX_CC_DisplayOneFrame)(h, nullptr); }},
    };
    for (const auto& [name, call] : calls) {
        EXPECT_EQ(call(handle), Status(OX_CC_E_PARAMETER)) << name;
        EXPECT_EQ(call(nullptr), Status(OX_CC_E_HANDLE)) << name;
        EXPECT_EQ(call(&word), Status(OX_CC_E_HANDLE)) << name;
    }
    EXPECT_EQ(CC(OX_CC_EnumDevices)(5, nullptr), Status(OX_CC_E_PARAMETER));
    EXPECT_EQ(CC(OX_CC_SaveImageEx)(nullptr), Status(OX_CC_E_PARAMETER));
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(nullptr, 1));
}

TEST(CallOrder, IsAskedForOpenAndStartedCameras) {
    CHandle handle(CameraText("O1"));
    OX_CC_INT_VALUE_EX value{};
    OX_FRAME_OUT frame{};
    const int wrong = Status(OX_CC_E_CALL_ORDER);
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(handle, "Width", &value), wrong);
    EXPECT_EQ(CC(OX_CC_StartGrabbing)(handle), wrong);
    EXPECT_EQ(CC(OX_CC_CloseDevice)(handle), wrong);
    handle.Open();
    EXPECT_EQ(CC(OX_CC_OpenDevice)(handle, 1, 0), wrong);
    EXPECT_EQ(CC(OX_CC_StopGrabbing)(handle), wrong);
    EXPECT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, 1000), wrong);
    handle.Start();
    EXPECT_EQ(CC(OX_CC_StartGrabbing)(handle), wrong);
}

TEST(Access, IsSharedAsTheModesAllow) {
    struct {
        uint32_t m_first;
        uint32_t m_second;
        bool m_isShared;
    } const cases[] = {{1, 1, false}, {1, 3, false}, {1, 7, false}, {3, 1, false}, {3, 3, false},
                       {3, 7, true},  {7, 1, false}, {7, 3, true},  {7, 7, true}};
    for (const auto& c : cases) {
        CHandle first(CameraText("X1"));
        CHandle second(CameraText("X1"));
        OX_CC_DEVICE_INFO record{};
        ASSERT_EQ(CC(OX_CC_GetDeviceInfo)(second, &record), 0);
        EXPECT_TRUE(CC(OX_CC_IsDeviceAccessible)(&record, c.m_second));
        ASSERT_EQ(CC(OX_CC_OpenDevice)(first, c.m_first, 0), 0);
        EXPECT_EQ(CC(OX_CC_IsDeviceAccessible)(&record, c.m_second), c.m_isShared);
        EXPECT_EQ(CC(OX_CC_OpenDevice)(second, c.m_second, 0),
                  c.m_isShared ? 0 : Status(OX_CC_E_ACCESS_DENIED))
            << c.m_first << " then " << c.m_second;
        ASSERT_EQ(CC(OX_CC_CloseDevice)(first), 0);
        if (!c.m_isShared) {
            EXPECT_EQ(CC(OX_CC_OpenDevice)(second, c.m_second, 0), 0);
        }
    }
}

TEST(Access, LetsAMonitorLookAndNotTouch) {
    CHandle handle(CameraText("X2"));
    ASSERT_EQ(CC(OX_CC_OpenDevice)(handle, OX_CC_ACCESS_MONITOR, 0), 0);
    OX_CC_FLOAT_VALUE value{};
    EXPECT_EQ(CC(OX_CC_GetFloatValue)(handle, "Gain", &value), 0);
    EXPECT_EQ(CC(OX_CC_SetFloatValue)(handle, "Gain", 1), Status(OX_CC_E_ACCESS_DENIED));
    EXPECT_EQ(CC(OX_CC_StartGrabbing)(handle), Status(OX_CC_E_ACCESS_DENIED));
}

} // namespace
