// The lines of the log, each once: what is done, what it answers, and the exact text. Refused arguments, operations
// of maintenance and failures of an opening have theirs in the tables of their own tests.
#include "tests/doubles/ScriptedCamera.h"

namespace {

class LogLines : public CScripted {
protected:
    void OpenForPlainFrames(const char* serial = "ETH1") {
        OpenAndStart(serial);
        SwitchOff({"ImageAlign", "ResolutionAlign"});
    }
    uint32_t Fetch(uint32_t frameNumber) {
        CRawFrame frame(64, 48, frameNumber);
        return CScripted::Fetch(frame);
    }
    uint32_t Get(const char* key = "Key") { return OX3D_RGBD_GetParam(m_handle, key, &m_param); }
    uint32_t Register(OX3D_RGBD_FrameDataCallBack callback) {
        return OX3D_RGBD_RegisterFrameCallBack(m_handle, callback, nullptr);
    }
    static void Ignore(OX3D_RGBD_FRAME_DATA* /*frame*/, void* /*user*/) {}

    OX3D_RGBD_PARAM m_param = {};
};

TEST_F(LogLines, OfTheEnumeration) {
    Fail(DOUBLE_OX_CC_EnumDevices, OX_CC_E_RESOURCE, 1);
    uint32_t count = 0;
    EXPECT_LINES(OX3D_RGBD_GetDeviceNumber(3, &count), OX_CC_E_RESOURCE, "[Enum] begin.",
                 "[Enum] OX_CC_EnumDevices fail, nRet:[0x80000006].",
                 "[CamGetDeviceNumber] Enum fail.error code:[0x80000006]");
    OX3D_RGBD_DEVICE_INFO info = {};
    SetText(info.chSerialNumber, "none");
    EXPECT_LAST_LINE(OX3D_RGBD_CamIsAccessible(&info, 1), OX3D_RGBD_E_PARAMETER,
                     "[CamIsAccessible] No find the chParm[none]  devices ");
}

TEST_F(LogLines, OfABannerThatReportsTheSettings) {
    const std::pair<const char*, const char*> rows[] = {
        {"[LogConfig]\nLogSize=3\n", "DebugMode[0], nLogSize[5]."},
        {"[LogConfig]\nLogSize = 0x10\n", "DebugMode[0], nLogSize[16]."},
        {"[LogConfig]\nLogSize=0\n", "DebugMode[0], nLogSize[100]."},
        {"[LogConfig]\nLogSize=-1\n", "DebugMode[0], nLogSize[1000]."},
        {"[Debug]\nDebugMode=7\n", "DebugMode[1], nLogSize[100]."}};
    DrainLogAtEveryCall();
    for (const auto& [profile, settings] : rows) {
        WriteFile("Ox3dRgbdCfg.ini", profile);
        const Lines lines = LinesOf([&] { Open(); });
        ASSERT_GT(lines.size(), 5u);
        EXPECT_EQ(lines[0], "---------------------Start call Ox3dRgbd.dll start--------------------");
        EXPECT_EQ(lines[1].substr(0, 11) + lines[1].substr(lines[1].size() - 23),
                  "Build Time[SDK version[0x1010000].");
        EXPECT_EQ(lines[2], "Config (Ox3dRgbdCfg.ini) exist .");
        EXPECT_EQ(lines[3], settings);
        EXPECT_EQ(lines.back(), "[ConnectDevice] end success.");
        Close();
    }
}

TEST_F(LogLines, OfStartAndStop) {
    Open();
    EXPECT_LINES(Stop(), OX3D_RGBD_E_STATE, "[Stop] begin.", "[Stop] The camera is already stop job. ");
    EXPECT_LINES(Start(), OX3D_RGBD_OK, "[Start] begin.", "[Start] StartGrabbing success.",
                 "[Start] end success.");
    EXPECT_LINES(Start(), OX3D_RGBD_E_STATE, "[Start] begin.", "[Start] The camera is already start job.");
    EXPECT_LINES(Stop(), OX3D_RGBD_OK, "[Stop] begin.", "[Stop] Camera StopGrabbing success. ",
                 "[Stop] end success.");
    Fail(DOUBLE_OX_CC_StartGrabbing, OX_CC_E_RESOURCE, 2);
    EXPECT_LAST_LINE(Start(), OX3D_RGBD_E_MEMORY, "[Start] StartGrabbing failed. nRet[0x80060005].");
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    Fail(DOUBLE_OX_CC_StopGrabbing, OX_CC_E_NO_DATA, 2);
    EXPECT_LINES(Stop(), OX3D_RGBD_OK, "[Stop] begin.",
                 "camera module OX_CC_StopGrabbing fail, nRet:[0x80000007].",
                 "[Stop] StopGrabbing failed. nRet[0x80060006]. ", "[Stop] end success.");
}

TEST_F(LogLines, OfFetching) {
    Open();
    EXPECT_LINES(Fetch(1), OX3D_RGBD_E_STATE, "[FetchFrame] The camera is not start work.");
    Close();
    SetUp();
    OpenForPlainFrames();
    EXPECT_LINES(Fetch(7), OX3D_RGBD_OK, "[FetchFrame] error lost frameID from[0] to [7].");
    EXPECT_LINES(Fetch(9), OX3D_RGBD_OK, "[FetchFrame] error lost frameID from[7] to [9].");
    EXPECT_LINES(Fetch(1), OX3D_RGBD_OK); // a restart is no loss
    EXPECT_LINES(Fetch(2), OX3D_RGBD_OK);
    CRawFrame wrongLength(640, 480, 3);
    wrongLength.m_info.nFrameLen -= 1;
    ASSERT_EQ(SetSwitch("ImageAlign", 1), OX3D_RGBD_OK);
    EXPECT_LAST_LINE(CScripted::Fetch(wrongLength), OX3D_RGBD_E_PARAMETER,
                     "[FetchFrame] FillFrameData fail [0x80060004]");
    SwitchOff({"ImageAlign"});
    Fail(DOUBLE_OX_CC_FreeImageBuffer, OX_CC_E_RESOURCE, 6);
    EXPECT_LAST_LINE(Fetch(3), OX3D_RGBD_E_MEMORY, "[FetchFrame] FreeImageBuffer fail [0x80060005]");
    Double().Reset(); // the camera refused its buffer for good
    CRawFrame unknown(64, 48, 4);
    unknown.AddChunk(0xA5A53D99, 32, 1, 1, 10);
    EXPECT_LINES(CScripted::Fetch(unknown), OX3D_RGBD_OK,
                 "[UpdateChunkDataToLocalInput] unSupport trunk ID(0xa5a53d99).");
    OX_FRAME_OUT out = CRawFrame(64, 48, 5).Out();
    out.stFrameInfo.nUnparsedChunkNum = 3;
    out.stFrameInfo.pUnparsedChunkContent = nullptr;
    out.stFrameInfo.nFrameLen = 0;
    Double().QueueFrame(out);
    EXPECT_LINES(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 0), OX3D_RGBD_OK,
                 "[UpdateChunkDataToLocalInput] param is null.",
                 "[FetchFrame] UpdateChunkDataToLocal fail [0x80060004]");
}

TEST_F(LogLines, OfPushedFrames) {
    Open();
    EXPECT_LINES(Register(&Ignore), OX3D_RGBD_OK, "[RegisterFrameCallBack] register RegisterDataCB success");
    CRawFrame frame(64, 48, 4);
    const auto deliver = [&](uint8_t* data, OX_FRAME_OUT_INFO_EX* info) {
        return LinesOf([&] { Double().DeliverFrame(data, info); });
    };
    EXPECT_EQ(deliver(frame.Main().data(), frame.Info()),
              Lines{"[ImageCallBack] ImageCallBack begin, but not start job!"});
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    EXPECT_EQ(deliver(nullptr, frame.Info()), Lines{"[ImageCallBack] param  pData is null."});
    EXPECT_EQ(deliver(frame.Main().data(), nullptr), Lines{"[ImageCallBack] param  pFrameInfo is null."});
    frame.m_info.nFrameLen -= 1;
    EXPECT_EQ(deliver(frame.Main().data(), frame.Info()),
              (Lines{"[ImageCallBack] error lost frameID from[0] to [4].",
                     "[DepthMapConvert] nWidth 64  len (6143) not match Imagelen(6144), invalid ",
                     "[FillFrameData] DepthMapConvert process failed [0x80060004]",
                     "[ImageCallBack] FillFrameData fail [0x80060004]"}));
    EXPECT_LINES(Fetch(1), OX3D_RGBD_E_STATE,
                 "[FetchFrame] Have already register result output,  not support use this func.");
    EXPECT_LINES(Register(nullptr), OX3D_RGBD_OK,
                 "[RegisterFrameCallBack] Cancel  register RegisterDataCB success");
    Fail(DOUBLE_OX_CC_RegisterImageCallBackEx, OX_CC_E_SUPPORT);
    EXPECT_LAST_LINE(Register(&Ignore), OX3D_RGBD_E_CAMERA,
                     "[RegisterFrameCallBack] register image callback fail nRet:[0x80060001].");
}

TEST_F(LogLines, OfTheDebugModeAreOneForEachStep) {
    WriteFile("Ox3dRgbdCfg.ini", "[Debug]\nDebugMode=7\n");
    OpenForPlainFrames();
    const Lines lines = LinesOf([&] { EXPECT_EQ(Fetch(1), OX3D_RGBD_OK); });
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "[FetchFrame] GetImageBuffer info[64] [48] [0x11000b8] [1].");
    EXPECT_EQ(lines[1].substr(0, 40), "[FetchFrame]  ReceiveDataSet  total cost");
    EXPECT_EQ(lines[2], "[FetchFrame] GetImageBuffer info[64] [48] [1].");
}

TEST_F(LogLines, OfParameters) {
    Open();
    EXPECT_LINES(SetSwitch("OutputRgbd", 2), OX3D_RGBD_E_PARAMETER,
                 "[CamSetValue] nParamType[2] nParamData[2].");
    EXPECT_LINES(SetSwitch("I", -5000000000), OX3D_RGBD_OK,
                 "camera module SetIntValue:strKey(I) nValue(-5000000000.000000).");
    EXPECT_LINES(Get(), OX3D_RGBD_OK, "GetParamValue pstValue->enParamType is [2].");
    Answer(DOUBLE_OX_XML_GetNodeInterfaceType, 1u);
    EXPECT_LINES(Get(), OX3D_RGBD_E_PARAMETER, "pInterfaceType  is error , pInterfaceType is 1.",
                 "GetParamValue fail, pInterfaceType(1), nRet:[0x80060004].",
                 "GetCamParamsType failed, errcode is (0x80060004)");
    Answer(DOUBLE_OX_XML_GetNodeInterfaceType, 12u);
    EXPECT_LINES(Get(), OX3D_RGBD_E_PARAMETER, "parameter pInterfaceType is out of limit.",
                 "GetCamParamsType failed, errcode is (0x80060004)");
    Answer(DOUBLE_OX_XML_GetNodeInterfaceType, uint32_t{OX_IFT_IInteger});
    Fail(DOUBLE_OX_CC_GetIntValueEx, OX_CC_E_GC_ACCESS);
    EXPECT_LAST_LINE(Get(), OX3D_RGBD_E_CAMERA_07,
                     "camera module OX_CC_GetValue fail, strKey(Key), ValueType(2), nRet:(0x80000106).");
    Fail(DOUBLE_OX_CC_SetIntValueEx, OX_CC_E_GC_RANGE);
    EXPECT_LAST_LINE(SetSwitch("Width", 1), OX3D_RGBD_E_CAMERA_0F,
                     "camera module OX_CC_SetValue fail, strKey(Width) ValueType(2), nRet:(0x80000102).");
    Fail(DOUBLE_OX_CC_SetEnumValue, OX_CC_E_GC_ACCESS);
    EXPECT_EQ(LinesOf([&] { OX3D_RGBD_SoftTrigger(m_handle); })[2],
              "Set trigger mode failed! err code:0x80060007.");
}

} // namespace
