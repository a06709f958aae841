// ReconnectTest.cpp - a device that is lost and looked for, on the scripted camera.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/doubles/ScriptedCamera.h"
#include "tests/support/Waiting.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace {

class Reconnect : public COpened {
protected:
    void SetUp() override {
        COpened::SetUp();
        Register();
    }
    void Register() {
        ASSERT_EQ(SetSwitch(OX3D_RGBD_KEY_AUTO_RECONNECT, 1), OX3D_RGBD_OK);
        ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, &Note, this), OX3D_RGBD_OK);
    }
    static void Note(OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
        auto* self = static_cast<Reconnect*>(user);
        self->m_ids.Change([&](auto& ids) { ids.push_back(info->nExceptionId); });
        if (info->nExceptionId == self->m_closeAt) {
            EXPECT_EQ(OX3D_RGBD_CloseDevice(&self->m_handle), OX3D_RGBD_OK);
            self->m_ids.Set({});
        }
    }
    static void Lose() {
        Double().SetDevices({UsbDevice("USB1")});
        Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
    }
    static void BringBack() {
        Double().SetDevices({UsbDevice("USB1"), EthernetDevice("ETH1", "RGBD-E", 0xC0A80163u)});
    }
    [[nodiscard]] bool Hears(const std::vector<uint32_t>& ids) {
        return m_ids.WaitFor([&](const auto& heard) { return heard == ids; });
    }
    void Set(const char* key, uint32_t type, uint32_t value) {
        OX3D_RGBD_PARAM param = IntParam(value);
        param.enParamType = type;
        ASSERT_EQ(OX3D_RGBD_SetParam(m_handle, key, &param), OX3D_RGBD_OK);
    }

    CWatched<std::vector<uint32_t>> m_ids;
    uint32_t m_closeAt = 0;
};

TEST_F(Reconnect, BringsTheDeviceBackAsTheApplicationHadLeftIt) {
    Set("Gain", OX3D_RGBD_PARAM_INT, 3);
    Set("TriggerSelector", OX3D_RGBD_PARAM_ENUM, 5);
    Set("TriggerDelay", OX3D_RGBD_PARAM_INT, 7);
    Set("TriggerSelector", OX3D_RGBD_PARAM_ENUM, 6);
    Set("TriggerDelay", OX3D_RGBD_PARAM_INT, 8);
    Set("Gain", OX3D_RGBD_PARAM_INT, 4);
    SwitchOff(OX3D_RGBD_KEY_IMAGE_ALIGN);
    ASSERT_EQ(OX3D_RGBD_SetGvcpTimeout(m_handle, 600), OX3D_RGBD_OK);
    Fail(DOUBLE_OX_CC_GetEnumValue, OX_CC_E_GC_ACCESS, Double().CallCount(DOUBLE_OX_CC_GetEnumValue) + 1);
    ASSERT_EQ(OX3D_RGBD_SetEnumByName(m_handle, "LineMode", "Strobe"), OX3D_RGBD_OK) << "not readable";
    WriteFile("features", "Width=320");
    ASSERT_EQ(OX3D_RGBD_ImportAllParam(m_handle, "features"), OX3D_RGBD_OK);
    std::string imported;
    OnCall(DOUBLE_OX_CC_FeatureLoad, 2, [&](const DoubleCall& call) {
        imported = ReadFile(call.m_text.substr(18, call.m_text.size() - 19)); // OX_CC_FeatureLoad(file)
    });
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    CRawFrame frame(64, 48);
    ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
    Lose();
    ASSERT_TRUE(Hears({OX3D_RGBD_EXCEPTION_RETRYING}));
    EXPECT_TRUE(Eventually([] { return Double().Handles() == 0; })) << "closed before it is looked for";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 100), OX3D_RGBD_E_NO_DATA);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
    OX3D_RGBD_PARAM param = {};
    EXPECT_EQ(OX3D_RGBD_GetParam(m_handle, "Gain", &param), OX3D_RGBD_E_CAMERA_07);
    EXPECT_EQ(OX3D_RGBD_RegisterFrameCallBack(m_handle, nullptr, nullptr), OX3D_RGBD_OK) << "taken away";
    Fail(DOUBLE_OX_CC_OpenDevice, OX_CC_E_ACCESS_DENIED, 2); // the first attempt
    const uint32_t sets = Double().CallCount(DOUBLE_OX_CC_SetIntValueEx);
    Fail(DOUBLE_OX_CC_SetIntValueEx, OX_CC_E_GC_ACCESS, sets + 2); // locked by a setting to come
    Lines calls = CallsOf([&] {
        Double().QueueFrame(frame.Out());
        BringBack();
        EXPECT_EQ(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 10000), OX3D_RGBD_OK) << "waits for the device";
    });
    ASSERT_TRUE(Hears({OX3D_RGBD_EXCEPTION_RETRYING, OX3D_RGBD_EXCEPTION_RECONNECTED}));
    std::erase_if(calls, [](const std::string& call) {
        return call.find("Set") == std::string::npos && call.find("Start") == std::string::npos;
    });
    EXPECT_EQ(calls, (Lines{"OX_CC_SetEnumValue(CameraWorkingMode, 4)", "OX_CC_SetEnumValue(ImageMode, 2)",
                            "OX_CC_SetBoolValue(ChunkModeActive, 1)", "OX_CC_SetEnumValue(ChunkSelector, 24)",
                            "OX_CC_SetBoolValue(ChunkEnable, 1)", "OX_CC_SetIntValueEx(Gain, 3)",
                            "OX_CC_SetEnumValue(TriggerSelector, 5)", "OX_CC_SetIntValueEx(TriggerDelay, 7)",
                            "OX_CC_SetEnumValue(TriggerSelector, 6)", "OX_CC_SetIntValueEx(TriggerDelay, 8)",
                            "OX_CC_SetIntValueEx(Gain, 4)", "OX_GIGE_SetGvcpTimeout(600)",
                            "OX_CC_SetEnumValueByString(LineMode, Strobe)",
                            "OX_CC_SetEnumValue(TriggerSelector, 5)", "OX_CC_SetIntValueEx(TriggerDelay, 7)",
                            "OX_CC_SetEnumValue(TriggerSelector, 6)", "OX_CC_StartGrabbing()"}));
    EXPECT_EQ(imported, "Width=320");
    OX3D_RGBD_DEVICE_INFO info = {};
    EXPECT_EQ(OX3D_RGBD_GetDeviceInfo(m_handle, &info), OX3D_RGBD_OK);
    EXPECT_STREQ(info.chCurrentIp, "192.168.1.99");
}

TEST_F(Reconnect, CanBeGivenUpByItsSwitchByAStopAndByAClose) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    Lose();
    ASSERT_TRUE(Hears({OX3D_RGBD_EXCEPTION_RETRYING}));
    EXPECT_EQ(Stop(), OX3D_RGBD_OK);
    BringBack();
    ASSERT_TRUE(Hears({OX3D_RGBD_EXCEPTION_RETRYING, OX3D_RGBD_EXCEPTION_RECONNECTED}));
    EXPECT_EQ(Double().CallCount(DOUBLE_OX_CC_StartGrabbing), 1u) << "stopped meanwhile";
    Lose();
    SwitchOff(OX3D_RGBD_KEY_AUTO_RECONNECT);
    ASSERT_TRUE(m_ids.WaitFor([](const auto& heard) { return heard.back() == OX3D_RGBD_EXCEPTION_OFFLINE; }));
    BringBack();
    EXPECT_EQ(Start(), OX3D_RGBD_E_CAMERA_07) << "stays lost";
    EXPECT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, nullptr, nullptr), OX3D_RGBD_OK);
    Close();
    for (const uint32_t closeAt : {0u, OX3D_RGBD_EXCEPTION_RETRYING, OX3D_RGBD_EXCEPTION_RECONNECTED}) {
        Open();
        Register();
        m_closeAt = closeAt;
        m_ids.Set({OX3D_RGBD_EXCEPTION_OFFLINE});
        Lose();
        if (closeAt == 0) {
            Close();
        } else {
            if (closeAt == OX3D_RGBD_EXCEPTION_RECONNECTED) {
                BringBack();
            }
            ASSERT_TRUE(Hears({}));
        }
        EXPECT_TRUE(Eventually([] { return Double().Handles() == 0; })) << closeAt;
        BringBack();
    }
}

} // namespace
