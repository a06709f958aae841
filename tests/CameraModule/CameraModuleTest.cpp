// What of the camera module cannot be seen through the public interface.
#include "src/CameraModule/CameraModule.h"

#include "tests/doubles/ScriptedCamera.h"

namespace {

TEST(IpText, BecomesANumberFieldByField) {
    const std::pair<const char*, uint32_t> rows[] = {
        {"192.168.1.10", 0xC0A8010A}, {"255.255.255.255", 0xFFFFFFFF}, {"010.001.000.009", 0x0A010009},
        {"1.2.3.300", 0x01020300},    {"300.2.3.4", 0x00020304},       {"1.256.3.4", 0x01000304},
        {"1.2", 0x01020000},          {"1.2.3.4.5", 0x01020304},       {"", 0}};
    for (const auto& [text, expected] : rows) {
        unsigned int number = 99;
        EXPECT_EQ(CCameraModule::GetIPVal(number, text, 16), OX3D_RGBD_OK);
        EXPECT_EQ(number, expected) << text;
    }
    unsigned int number = 99;
    const char unterminated[16] = {'1', '.', '2', '.', '3', '.', '0', '0',
                                   '0', '0', '0', '0', '0', '0', '0', '7'};
    EXPECT_EQ(CCameraModule::GetIPVal(number, unterminated, 16), OX3D_RGBD_OK);
    EXPECT_EQ(number, 0x01020307u);
    EXPECT_EQ(CCameraModule::GetIPVal(number, nullptr, 16), OX3D_RGBD_E_PARAMETER);
    EXPECT_EQ(number, 0x01020307u);
}

class Module : public CScripted {
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

TEST_F(Module, IntegersPassTheCamerasOwnCode) {
    OX3D_RGBD_INTPARAM value = {};
    EXPECT_CALLS(m_module.SetIntValue("Key", int64_t{1} << 40), OX3D_RGBD_OK,
                 "OX_CC_SetIntValueEx(Key, 0x10000000000)");
    Fail(DOUBLE_OX_CC_SetIntValueEx, OX_CC_E_GC_RANGE);
    Fail(DOUBLE_OX_CC_GetIntValueEx, OX_CC_E_GC_ACCESS);
    EXPECT_EQ(m_module.SetIntValue("Key", 1), OX_CC_E_GC_RANGE);
    EXPECT_EQ(m_module.GetIntValue("Key", &value), OX_CC_E_GC_ACCESS);
}

TEST_F(Module, OtherCallsOfTheCameraAreMadeAsTheyAre) {
    EXPECT_EQ(m_module.GetOptimalPacketSize(), 1500);
    OX_FRAME_OUT_INFO_EX info = {};
    uint8_t bytes[8];
    const Lines calls = CallsOf([&] {
        EXPECT_EQ(m_module.GetOneFrameTimeout(bytes, sizeof(bytes), &info, 20), OX3D_RGBD_OK);
        EXPECT_EQ(m_module.SetEnumValueByString("Key", "Entry"), OX3D_RGBD_OK);
        EXPECT_EQ(m_module.SetFloatValue("Key", 1.5f), OX3D_RGBD_OK);
        EXPECT_EQ(m_module.GetOneFrameTimeout(bytes, sizeof(bytes), nullptr, 20), OX3D_RGBD_E_PARAMETER);
    });
    EXPECT_EQ(calls, (Lines{"OX_CC_GetOneFrameTimeout(8, 20)", "OX_CC_SetEnumValueByString(Key, Entry)",
                            "OX_CC_SetFloatValue(Key, 1.5)"}));
}

// Both volume events share one callback.
TEST_F(Module, VolumeEventsReachTheirCallback) {
    OX_CC_EVENT_CALLBACK trampoline = nullptr;
    void* user = nullptr;
    auto look = [&](const DoubleCall& call) {
        trampoline = reinterpret_cast<OX_CC_EVENT_CALLBACK>(call.m_callback);
        user = call.m_output;
    };
    OnCall(DOUBLE_OX_CC_RegisterEventCallBackEx, look);
    const auto count = [](OX_EVENT_OUT_INFO* info, void* counter) {
        *static_cast<int*>(counter) += info->nEventID;
    };
    int seen = 0;
    OX_EVENT_OUT_INFO event = {};
    event.nEventID = 5;
    const Lines calls = CallsOf([&] {
        EXPECT_EQ(m_module.RegisterDwsVolumeEventInfoCallBack(count, &seen), OX3D_RGBD_OK);
        trampoline(&event, user);
        EXPECT_EQ(m_module.RegisterStereoVolumeEventInfoCallBack(nullptr, nullptr), OX3D_RGBD_OK);
    });
    EXPECT_EQ(seen, 5);
    EXPECT_EQ(trampoline, nullptr) << "none unregisters";
    EXPECT_EQ(calls, (Lines{"OX_CC_RegisterEventCallBackEx(DwsVolume)",
                            "OX_CC_RegisterEventCallBackEx(StereoVolume)"}));
}

class ModuleWithoutExtended : public Module {};

TEST_F(ModuleWithoutExtended, FallsBackToTheNarrowIntegersAndRefusesTheRest) {
    OX3D_RGBD_INTPARAM value = {};
    OX_CC_FILE_ACCESS access = {"local", "device", {}};
    uint32_t word = 0;
    const Lines calls = CallsOf([&] {
        EXPECT_EQ(m_module.SetIntValue("Key", 0x700000005), OX3D_RGBD_OK);
        EXPECT_EQ(m_module.GetIntValue("Key", &value), OX3D_RGBD_OK);
        EXPECT_EQ(m_module.SetEnumValueByString("Key", "Entry"), OX3D_RGBD_E_CAMERA);
        EXPECT_EQ(m_module.FileAccessRead(&access), OX3D_RGBD_E_CAMERA);
        EXPECT_EQ(m_module.FileAccessWrite(&access), OX3D_RGBD_E_CAMERA);
        EXPECT_EQ(m_module.GetCamParamsType("Key", &word), OX3D_RGBD_E_CAMERA);
        EXPECT_EQ(m_module.XML_GetNodeAccessMode("Key", &word), OX3D_RGBD_E_CAMERA);
        EXPECT_EQ(m_module.Upgrade("file"), OX3D_RGBD_E_CAMERA);
    });
    EXPECT_EQ(calls, (Lines{"OX_CC_SetIntValue(Key, 5)", "OX_CC_GetIntValue(Key)"}));
    EXPECT_EQ(value.nCurValue, 640);
    EXPECT_EQ(value.nMax, 4000);
    EXPECT_EQ(value.nMin, 1);
    EXPECT_EQ(value.nInc, 2);
    value.nMax = 7;
    Fail(DOUBLE_OX_CC_GetIntValue, OX_CC_E_GC_ACCESS);
    EXPECT_EQ(m_module.GetIntValue("Key", &value), OX_CC_E_GC_ACCESS);
    EXPECT_EQ(value.nMax, 7) << "a failure writes nothing";
}

} // namespace
