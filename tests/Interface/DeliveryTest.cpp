// How frames reach the application: fetched or pushed, never both; what is given back, dropped and logged.
#include "tests/doubles/ScriptedCamera.h"

#include <sys/resource.h>

// Sanitizers abort on a block that cannot be had; the library has to get null, as without them.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "allocator_may_return_null=1:max_allocation_size_mb=2048";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "allocator_may_return_null=1:max_allocation_size_mb=2048";
}

namespace {

class Delivery : public COpened {
protected:
    void SetUp() override {
        COpened::SetUp();
        SwitchOff("ImageAlign");
    }

    // Counts frames and keeps the last record.
    static void OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
        auto* self = static_cast<Delivery*>(user);
        self->m_last = *frame;
        ++self->m_count;
    }
    uint32_t Register() { return OX3D_RGBD_RegisterFrameCallBack(m_handle, &OnFrame, this); }
    uint32_t Unregister() { return OX3D_RGBD_RegisterFrameCallBack(m_handle, nullptr, nullptr); }
    uint32_t FetchNothing(uint32_t waitMs = 0) { return OX3D_RGBD_FetchFrame(m_handle, &m_frame, waitMs); }
    uint32_t FetchNumber(uint32_t frameNumber) {
        CRawFrame frame(64, 48, frameNumber);
        return Fetch(frame);
    }
    CRawFrame m_raw{64, 48};
    OX3D_RGBD_FRAME_DATA m_last = {};
    int m_count = 0;
};

TEST_F(Delivery, NeedsACameraThatWasStartedAndDidNotRefuse) {
    ASSERT_EQ(Register(), OX3D_RGBD_OK);
    Fail(DOUBLE_OX_CC_StartGrabbing, OX_CC_E_RESOURCE, 1);
    EXPECT_LAST_LINE(Start(), OX3D_RGBD_E_MEMORY, "[Start] StartGrabbing failed. nRet[0x80060005].");
    EXPECT_EQ(LinesOf([&] { Deliver(m_raw); }),
              Lines{"[ImageCallBack] ImageCallBack begin, but not start job!"});
    EXPECT_LINES(Stop(), OX3D_RGBD_E_STATE, "[Stop] begin.", "[Stop] The camera is already stop job. ");
    EXPECT_LINES(Start(), OX3D_RGBD_OK, "[Start] begin.", "[Start] StartGrabbing success.",
                 "[Start] end success.");
    EXPECT_LINES(Start(), OX3D_RGBD_E_STATE, "[Start] begin.", "[Start] The camera is already start job.");
    Deliver(m_raw);
    EXPECT_EQ(m_count, 1);
    Fail(DOUBLE_OX_CC_StopGrabbing, OX_CC_E_NO_DATA, 1); // which does not keep it
    EXPECT_LINES(Stop(), OX3D_RGBD_OK, "[Stop] begin.",
                 "camera module OX_CC_StopGrabbing fail, nRet:[0x80000007].",
                 "[Stop] StopGrabbing failed. nRet[0x80060006]. ", "[Stop] end success.");
    Deliver(m_raw);
    EXPECT_EQ(m_count, 1);
    EXPECT_LINES(FetchNothing(), OX3D_RGBD_E_STATE, "[FetchFrame] The camera is not start work.");
    EXPECT_CALLS(Start(), OX3D_RGBD_E_STATE, "OX_CC_StartGrabbing()"); // the camera's answer, not ours
}

TEST_F(Delivery, CountsTheFramesThatAreLostAnewFromEachStart) {
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(Start(), OX3D_RGBD_OK);
        EXPECT_LINES(FetchNumber(7), OX3D_RGBD_OK, "[FetchFrame] error lost frameID from[0] to [7].");
        EXPECT_LINES(FetchNumber(9), OX3D_RGBD_OK, "[FetchFrame] error lost frameID from[7] to [9].");
        EXPECT_LINES(FetchNumber(1), OX3D_RGBD_OK); // a restart is no loss
        EXPECT_LINES(FetchNumber(2), OX3D_RGBD_OK);
        EXPECT_LINES(Stop(), OX3D_RGBD_OK, "[Stop] begin.", "[Stop] Camera StopGrabbing success. ",
                     "[Stop] end success.");
    }
}

TEST_F(Delivery, TheTimeOutIsTheCamerasAndEveryFailureOfItMeansNoFrame) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    OnCall(DOUBLE_OX_CC_GetImageBuffer, 0, [](const DoubleCall& call) {
        const OX_FRAME_OUT empty = {};
        EXPECT_EQ(memcmp(call.m_output, &empty, sizeof(empty)), 0) << "the camera gets a zeroed record";
    });
    EXPECT_CALLS(FetchNothing(12), OX3D_RGBD_E_NO_DATA, "OX_CC_GetImageBuffer(12)");
    Fail(DOUBLE_OX_CC_GetImageBuffer, OX_CC_E_RESOURCE);
    EXPECT_EQ(FetchNothing(0xFFFFFFFF), OX3D_RGBD_E_NO_DATA);
}

TEST_F(Delivery, PullAndPushExcludeEachOther) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    EXPECT_LINES(Register(), OX3D_RGBD_OK, "[RegisterFrameCallBack] register RegisterDataCB success");
    EXPECT_LINES(FetchNothing(), OX3D_RGBD_E_STATE,
                 "[FetchFrame] Have already register result output,  not support use this func.");
    EXPECT_LINES(Unregister(), OX3D_RGBD_OK,
                 "[RegisterFrameCallBack] Cancel  register RegisterDataCB success");
    EXPECT_EQ(Fetch(m_raw), OX3D_RGBD_OK);
    Deliver(m_raw); // the library stays registered with the camera
    EXPECT_EQ(m_count, 0);
    Fail(DOUBLE_OX_CC_RegisterImageCallBackEx, OX_CC_E_SUPPORT);
    EXPECT_LAST_LINE(Register(), OX3D_RGBD_E_CAMERA,
                     "[RegisterFrameCallBack] register image callback fail nRet:[0x80060001].");
    EXPECT_EQ(Fetch(m_raw), OX3D_RGBD_OK) << "what was refused leaves pull mode";
}

TEST_F(Delivery, APushedFrameIsTheCamerasBufferInAWholeRecord) {
    ASSERT_EQ(Register(), OX3D_RGBD_OK);
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    m_raw.AddColor(64, 48);
    Deliver(m_raw);
    ASSERT_EQ(m_count, 1);
    EXPECT_EQ(m_last.nImageCount, 2u);
    EXPECT_EQ(m_last.stImageData[0].pData, m_raw.m_main.data());
    EXPECT_EQ(m_last.stImageData[1].nDataLen, 64u * 48 * 3);
    const OX3D_RGBD_IMAGE_DATA empty = {};
    EXPECT_EQ(memcmp(&m_last.stImageData[2], &empty, sizeof(empty)), 0);
}

TEST_F(Delivery, AFrameThatCannotBeAssembledIsNeitherPushedNorFetched) {
    ASSERT_EQ(Register(), OX3D_RGBD_OK);
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    ASSERT_EQ(SetSwitch("ImageAlign", 1), OX3D_RGBD_OK);
    EXPECT_EQ(LinesOf([&] { Double().DeliverFrame(nullptr, m_raw.Info()); }),
              Lines{"[ImageCallBack] param  pData is null."});
    EXPECT_EQ(LinesOf([&] { Double().DeliverFrame(m_raw.m_main.data(), nullptr); }),
              Lines{"[ImageCallBack] param  pFrameInfo is null."});
    m_raw.m_info.nFrameNum = 4;
    m_raw.m_info.nFrameLen -= 1;
    EXPECT_EQ(LinesOf([&] { Deliver(m_raw); }),
              (Lines{"[ImageCallBack] error lost frameID from[0] to [4].",
                     "[DepthMapConvert] nWidth 64  len (6143) not match Imagelen(6144), invalid ",
                     "[FillFrameData] DepthMapConvert process failed [0x80060004]",
                     "[ImageCallBack] FillFrameData fail [0x80060004]"}));
    EXPECT_EQ(m_count, 0);
    CRawFrame good(640, 480, 5);
    Deliver(good);
    EXPECT_EQ(m_count, 1) << "the next good frame comes";
    ASSERT_EQ(Unregister(), OX3D_RGBD_OK);
    EXPECT_LAST_LINE(Fetch(m_raw), OX3D_RGBD_E_PARAMETER, "[FetchFrame] FillFrameData fail [0x80060004]");
    EXPECT_EQ(Double().LentFrames(), 0u);
}

TEST_F(Delivery, ABufferThatCannotBeGivenBackFailsTheFetch) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    Fail(DOUBLE_OX_CC_FreeImageBuffer, OX_CC_E_RESOURCE, 1);
    EXPECT_LAST_LINE(Fetch(m_raw), OX3D_RGBD_E_MEMORY, "[FetchFrame] FreeImageBuffer fail [0x80060005]");
    EXPECT_EQ(Fetch(m_raw), OX3D_RGBD_OK) << "the refused buffer comes again";
    EXPECT_EQ(Double().LentFrames(), 1u);
    Double().Reset(); // one is out for good: the camera refused it
}

TEST_F(Delivery, ANullBufferOfTheCameraIsNoFrameAndNullChunksAreNone) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    OX_FRAME_OUT out = m_raw.Out();
    out.pBufAddr = nullptr;
    Double().QueueFrame(out);
    EXPECT_EQ(FetchNothing(), OX3D_RGBD_E_NO_DATA);
    EXPECT_EQ(Double().LentFrames(), 0u);
    out.stFrameInfo.nUnparsedChunkNum = 3;
    out.stFrameInfo.pUnparsedChunkContent = nullptr;
    out.stFrameInfo.nFrameLen = 0;
    Double().QueueFrame(out);
    EXPECT_LINES(FetchNothing(), OX3D_RGBD_OK, "[UpdateChunkDataToLocalInput] param is null.",
                 "[FetchFrame] UpdateChunkDataToLocal fail [0x80060004]");
}

TEST_F(Delivery, HasALineForEachStepInDebugMode) {
    Close();
    WriteFile("Ox3dRgbdCfg.ini", "[Debug]\nDebugMode=7\n");
    OpenAndStart();
    SwitchOff("ImageAlign");
    const Lines lines = LinesOf([&] { EXPECT_EQ(FetchNumber(1), OX3D_RGBD_OK); });
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "[FetchFrame] GetImageBuffer info[64] [48] [0x11000b8] [1].");
    EXPECT_EQ(lines[1].substr(0, 40), "[FetchFrame]  ReceiveDataSet  total cost");
    EXPECT_EQ(lines[2], "[FetchFrame] GetImageBuffer info[64] [48] [1].");
}

// A block of four GiB cannot be had meanwhile.
template <class Work>
void WithScarceMemory(Work work) {
    rlimit former = {};
    getrlimit(RLIMIT_AS, &former);
    // Sanitizers have a limit of their own.
    const rlimit scarce = {kSanitized ? former.rlim_cur : rlim_t{3} << 30, former.rlim_max};
    setrlimit(RLIMIT_AS, &scarce);
    work();
    setrlimit(RLIMIT_AS, &former);
}

TEST_F(Delivery, AFetchWithoutMemoryKeepsTheCamerasBufferUntilStop) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    m_raw.m_info.nFrameLen = 0xFFFFFFF0;
    WithScarceMemory([&] {
        EXPECT_LAST_LINE(Fetch(m_raw), OX3D_RGBD_E_MEMORY, "[FetchFrame] malloc m_pImageBuff (-16) failed.");
    });
    EXPECT_EQ(FetchNumber(2), OX3D_RGBD_OK) << "the next good frame works";
    EXPECT_EQ(Double().LentFrames(), 1u);
    EXPECT_CALLS(Stop(), OX3D_RGBD_OK, "OX_CC_FreeImageBuffer()", "OX_CC_StopGrabbing()");
    EXPECT_EQ(Double().LentFrames(), 0u);
}

TEST_F(Delivery, ColorWithoutMemoryIsLeftOutAndTheNextFrameHasIt) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    std::vector<uint8_t> chunk(64, 0);
    m_raw.AddRecord(chunk.data(), OX_CHUNK_EXTENDED_IMAGE, 0xFFFFFFF0);
    WithScarceMemory([&] {
        EXPECT_LINES(Fetch(m_raw), OX3D_RGBD_OK,
                     "[UpdateChunkDataToLocalInput] New m_pExtendImageData buf fail.",
                     "[FetchFrame] UpdateChunkDataToLocal fail [0x80060005]");
    });
    EXPECT_EQ(m_frame.nImageCount, 1u);
    EXPECT_EQ(chunk, std::vector<uint8_t>(64, 0)) << "nothing is written back";
    CRawFrame good(64, 48, 2);
    good.AddColor(64, 48);
    ASSERT_EQ(Fetch(good), OX3D_RGBD_OK);
    EXPECT_EQ(m_frame.nImageCount, 2u);
}

TEST_F(Delivery, TheLossOfTheDeviceIsTheOneException) {
    using Seen = std::vector<OX3D_RGBD_EXCEPTION_INFO>;
    const auto witness = [](OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
        static_cast<Seen*>(user)->push_back(*info);
    };
    Seen seen;
    Seen other;
    ASSERT_EQ(Register(), OX3D_RGBD_OK); // its user is not to be taken for the exception's
    ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, witness, &seen), OX3D_RGBD_OK);
    Double().RaiseException(0x8002);
    EXPECT_TRUE(seen.empty());
    Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].nExceptionId, OX3D_RGBD_EXCEPTION_OFFLINE);
    EXPECT_STREQ(seen[0].chExceptionDes, "\xC9\xE8\xB1\xB8\xB5\xF4\xCF\xDF");
    Fail(DOUBLE_OX_CC_RegisterExceptionCallBack, OX_CC_E_SUPPORT, 2);
    EXPECT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, witness, &other), OX3D_RGBD_E_CAMERA);
    Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
    EXPECT_EQ(seen.size(), 2u) << "a refused registration leaves the former one";
    EXPECT_TRUE(other.empty());
    ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, nullptr, nullptr), OX3D_RGBD_OK);
    Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
    EXPECT_EQ(seen.size(), 2u);
}

} // namespace
