// Features by name, the library's own keys, commands and the software trigger, with the lines of the log.
#include "tests/doubles/ScriptedCamera.h"

namespace {

class Params : public COpened {
protected:
    uint32_t Set(const char* key, OX3D_RGBD_PARAM param) { return OX3D_RGBD_SetParam(m_handle, key, &param); }
    uint32_t Get(const char* key, uint32_t type = 0) {
        memset(&m_param, 0x77, sizeof(m_param));
        m_param.enParamType = type;
        return OX3D_RGBD_GetParam(m_handle, key, &m_param);
    }
    // Asks for a feature that is of this kind and has this value in the camera.
    template <class Record>
    void ExpectValue(uint32_t interfaceType, uint32_t function, uint32_t type, const Record& answer) {
        Answer(DOUBLE_OX_XML_GetNodeInterfaceType, interfaceType);
        Answer(function, answer);
        EXPECT_EQ(Get("Key"), OX3D_RGBD_OK);
        EXPECT_EQ(m_param.enParamType, type);
        const auto& value = reinterpret_cast<const Record&>(m_param.stIntParam); // one layout for both
        EXPECT_EQ(RecordBytes(value), RecordBytes(answer));
    }
    static OX3D_RGBD_PARAM Param(uint32_t type, uint32_t firstWord = 1) {
        OX3D_RGBD_PARAM param = {};
        param.enParamType = type;
        param.bBoolValue = firstWord;
        return param;
    }
    OX3D_RGBD_PARAM m_param = {};
};

const struct {
    const char* m_key;
    int64_t m_default, m_min, m_max;
} kOwn[] = {{"ImageAlign", 1, 0, 1},      {"ResolutionAlign", 1, 0, 1},
            {"OutputRgbd", 0, 0, 1},      {"Ox3dThreads", 1, 1, 16},
            {"Ox3dAlignMode", 0, 0, 1},   {"Ox3dAlignStepPermille", 30, 0, 1000},
            {"Ox3dAlignTarget", 0, 0, 1}, {"Ox3dOcclusionMask", 0, 0, 1}};

TEST_F(Params, TheOwnKeysAreIntegersThatNeverReachTheCamera) {
    const auto expect = [&](const auto& own, int64_t value) {
        EXPECT_EQ(Get(own.m_key, OX3D_RGBD_PARAM_ENUM), OX3D_RGBD_OK) << own.m_key;
        EXPECT_EQ(m_param.enParamType, OX3D_RGBD_PARAM_INT) << "whatever the caller put in";
        EXPECT_EQ(RecordBytes(m_param.stIntParam),
                  RecordBytes(OX3D_RGBD_INTPARAM{value, own.m_max, own.m_min, 1}))
            << own.m_key;
    };
    const Lines calls = CallsOf([&] {
        for (const auto& own : kOwn) {
            expect(own, own.m_default);
            for (const int64_t value : {own.m_min, own.m_max}) {
                EXPECT_EQ(SetSwitch(own.m_key, value), OX3D_RGBD_OK);
                EXPECT_EQ(SetSwitch(own.m_key, own.m_min - 1), OX3D_RGBD_E_PARAMETER);
                EXPECT_EQ(SetSwitch(own.m_key, own.m_max + 1), OX3D_RGBD_E_PARAMETER);
                expect(own, value);
            }
        }
    });
    EXPECT_EQ(calls, Lines{});
    Close();
    Open();
    for (const auto& own : kOwn) {
        expect(own, own.m_default); // each open begins anew
    }
}

TEST_F(Params, TheOwnKeysTakeNothingButIntegersOfTheirRange) {
    EXPECT_LINES(SetSwitch("OutputRgbd", 2), OX3D_RGBD_E_PARAMETER,
                 "[CamSetValue] nParamType[2] nParamData[2].");
    for (const int64_t value : {int64_t{1} << 32, INT64_MIN}) {
        EXPECT_EQ(SetSwitch("OutputRgbd", value), OX3D_RGBD_E_PARAMETER) << value;
    }
    for (const uint32_t type : {0u, 1u, 3u, 4u, 5u, 6u}) {
        EXPECT_EQ(Set("OutputRgbd", Param(type)), OX3D_RGBD_E_PARAMETER) << type;
    }
    EXPECT_EQ(Get("OutputRgbd"), OX3D_RGBD_OK);
    EXPECT_EQ(m_param.stIntParam.nCurValue, 0);
    for (const std::string key : {"imagealign", "ImageAlign ", "ImageAlig", "OutputRGBD"}) { // others
        EXPECT_CALLS(SetSwitch(key.c_str(), 1), OX3D_RGBD_OK, "OX_CC_SetIntValueEx(" + key + ", 1)");
    }
}

TEST_F(Params, SettingIsForwardedByTheCallersType) {
    OX3D_RGBD_PARAM real = Param(OX3D_RGBD_PARAM_FLOAT);
    real.stFloatParam.fCurValue = 2.5f;
    OX3D_RGBD_PARAM text = Param(OX3D_RGBD_PARAM_STRING);
    memset(&text.stStringParam, 'x', sizeof(text.stStringParam)); // without an end in its field
    EXPECT_CALLS(Set("B", Param(OX3D_RGBD_PARAM_BOOL, 256)), OX3D_RGBD_OK, "OX_CC_SetBoolValue(B, 1)");
    EXPECT_CALLS(SetSwitch("I", -5000000000), OX3D_RGBD_OK, "OX_CC_SetIntValueEx(I, -5000000000)");
    EXPECT_CALLS(Set("F", real), OX3D_RGBD_OK, "OX_CC_SetFloatValue(F, 2.5)");
    EXPECT_CALLS(Set("E", Param(OX3D_RGBD_PARAM_ENUM, 9)), OX3D_RGBD_OK, "OX_CC_SetEnumValue(E, 9)");
    EXPECT_CALLS(Set("S", text), OX3D_RGBD_OK, "OX_CC_SetStringValue(S, " + std::string(256, 'x') + ")");
    for (const uint32_t type : {0u, 6u, 0xFFFFFFFFu}) {
        EXPECT_CALLS(Set("Width", Param(type)), OX3D_RGBD_E_PARAMETER);
    }
    EXPECT_LINES(SetSwitch("I", -5000000000), OX3D_RGBD_OK,
                 "camera module SetIntValue:strKey(I) nValue(-5000000000.000000).");
    Fail(DOUBLE_OX_CC_SetIntValueEx, OX_CC_E_GC_RANGE);
    EXPECT_LAST_LINE(SetSwitch("Width", 1), OX3D_RGBD_E_CAMERA_0F,
                     "camera module OX_CC_SetValue fail, strKey(Width) ValueType(2), nRet:(0x80000102).");
}

TEST_F(Params, WithoutAValueAreNotAskedForIt) {
    for (const uint32_t without : {0u, 1u, 4u, 7u, 8u, 10u, 11u, 12u}) {
        Answer(DOUBLE_OX_XML_GetNodeInterfaceType, without);
        EXPECT_CALLS(Get("Key"), OX3D_RGBD_E_PARAMETER, "OX_XML_GetNodeInterfaceType(Key)");
    }
    EXPECT_LINES(Get("Key"), OX3D_RGBD_E_PARAMETER, "parameter pInterfaceType is out of limit.",
                 "GetCamParamsType failed, errcode is (0x80060004)");
    Answer(DOUBLE_OX_XML_GetNodeInterfaceType, 1u);
    EXPECT_LINES(Get("Key"), OX3D_RGBD_E_PARAMETER, "pInterfaceType  is error , pInterfaceType is 1.",
                 "GetParamValue fail, pInterfaceType(1), nRet:[0x80060004].",
                 "GetCamParamsType failed, errcode is (0x80060004)");
    Fail(DOUBLE_OX_XML_GetNodeInterfaceType, OX_CC_E_GC_ACCESS);
    EXPECT_EQ(Get("Key"), OX3D_RGBD_E_CAMERA_07);
}

TEST_F(Params, ValuesArriveInTheCallersRecord) {
    ExpectValue(OX_IFT_IInteger, DOUBLE_OX_CC_GetIntValueEx, OX3D_RGBD_PARAM_INT,
                OX_CC_INT_VALUE_EX{640, 4000, 1, 2});
    ExpectValue(OX_IFT_IFloat, DOUBLE_OX_CC_GetFloatValue, OX3D_RGBD_PARAM_FLOAT,
                OX_CC_FLOAT_VALUE{1.5f, 3.0f, -2.0f, {}});
    ExpectValue(OX_IFT_IEnumeration, DOUBLE_OX_CC_GetEnumValue, OX3D_RGBD_PARAM_ENUM,
                OX_CC_ENUM_VALUE{7, 2, {7, 9}, {}});
    ExpectValue(OX_IFT_IString, DOUBLE_OX_CC_GetStringValue, OX3D_RGBD_PARAM_STRING,
                OX_CC_STRING_VALUE{"text", 64, {}});
    ExpectValue(OX_IFT_IBoolean, DOUBLE_OX_CC_GetBoolValue, OX3D_RGBD_PARAM_BOOL, true);
    EXPECT_EQ(m_param.bBoolValue, 1u);
    Fail(DOUBLE_OX_CC_GetBoolValue, OX_CC_E_GC_ACCESS);
    EXPECT_LINES(Get("Key"), OX3D_RGBD_E_CAMERA_07, "GetParamValue pstValue->enParamType is [1].",
                 "camera module OX_CC_GetValue fail, strKey(Key), ValueType(1), nRet:(0x80000106).");
    EXPECT_EQ(m_param.bBoolValue, 0x77777777u) << "after a failure there is none";
}

const char* const kTrigger = "OX_CC_SetCommandValue(TriggerSoftware)";
const std::vector<std::string> kFirstTrigger = {"OX_CC_SetEnumValue(TriggerMode, 1)",
                                                "OX_CC_SetEnumValue(TriggerSource, 7)", kTrigger};

TEST_F(Params, TheFirstSoftwareTriggerSwitchesTheTriggerMode) {
    const auto trigger = [&] { EXPECT_EQ(OX3D_RGBD_SoftTrigger(m_handle), OX3D_RGBD_OK); };
    EXPECT_EQ(CallsOf(trigger), kFirstTrigger);
    EXPECT_EQ(CallsOf(trigger), Lines{kTrigger});
    EXPECT_EQ(CallsOf([&] { OX3D_RGBD_Execute(m_handle, "TriggerSoftware"); }), Lines{kTrigger});
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    EXPECT_EQ(CallsOf(trigger), Lines{kTrigger});
    ASSERT_EQ(Stop(), OX3D_RGBD_OK);
    EXPECT_EQ(CallsOf(trigger), kFirstTrigger) << "stopping forgets the switch";
}

TEST_F(Params, ACameraThatRefusesTheSwitchIsTriggeredAllTheSame) {
    Fail(DOUBLE_OX_CC_SetEnumValue, OX_CC_E_GC_ACCESS, 4); // opening took three
    const auto execute = [&] { EXPECT_EQ(OX3D_RGBD_Execute(m_handle, "TriggerSoftware"), OX3D_RGBD_OK); };
    Lines lines;
    EXPECT_EQ(CallsOf([&] { lines = LinesOf(execute); }), (Lines{kFirstTrigger[0], kTrigger}));
    EXPECT_EQ(lines[2], "Set trigger mode failed! err code:0x80060007.");
    EXPECT_EQ(CallsOf(execute), kFirstTrigger) << "and switched at the next";
}

} // namespace
