// How frames reach the application: fetched or pushed, never both; what is logged, given back and dropped.
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

class Delivery : public CScripted {
protected:
    void SetUp() override {
        CScripted::SetUp();
        Open();
        ASSERT_EQ(SetSwitch("ImageAlign", 0), OX3D_RGBD_OK);
    }

    // Counts frames and keeps the last record.
    struct Receiver {
        static void OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
            auto* self = static_cast<Receiver*>(user);
            self->m_last = *frame;
            ++self->m_count;
        }
        OX3D_RGBD_FRAME_DATA m_last = {};
        int m_count = 0;
    };
    uint32_t Register(Receiver* receiver) {
        return OX3D_RGBD_RegisterFrameCallBack(m_handle, receiver != nullptr ? &Receiver::OnFrame : nullptr,
                                               receiver);
    }
    void Start() { ASSERT_EQ(OX3D_RGBD_Start(m_handle), OX3D_RGBD_OK); }
    uint32_t FetchNothing(uint32_t timeoutMs = 0) {
        return OX3D_RGBD_FetchFrame(m_handle, &m_frame, timeoutMs);
    }
    static void Deliver(CRawFrame& frame) { Double().DeliverFrame(frame.Main().data(), frame.Info()); }
};

TEST_F(Delivery, FetchingNeedsAStartedCamera) {
    EXPECT_LINES(FetchNothing(), OX3D_RGBD_E_STATE, "[FetchFrame] The camera is not start work.");
    Start();
    ASSERT_EQ(OX3D_RGBD_Stop(m_handle), OX3D_RGBD_OK);
    EXPECT_EQ(FetchNothing(), OX3D_RGBD_E_STATE);
    EXPECT_EQ(Double().CallCount(DOUBLE_OX_CC_GetImageBuffer), 0u);
}

TEST_F(Delivery, TheTimeOutIsTheCamerasAndEveryFailureOfItMeansNoFrame) {
    Start();
    auto look = [](const DoubleCall& call) {
        const OX_FRAME_OUT empty = {};
        EXPECT_EQ(memcmp(call.m_output, &empty, sizeof(empty)), 0) << "the camera gets a zeroed record";
    };
    OnCall(DOUBLE_OX_CC_GetImageBuffer, look);
    EXPECT_CALLS(FetchNothing(12), OX3D_RGBD_E_NO_DATA, "OX_CC_GetImageBuffer(12)");
    Fail(DOUBLE_OX_CC_GetImageBuffer, OX_CC_E_RESOURCE);
    EXPECT_EQ(FetchNothing(0xFFFFFFFF), OX3D_RGBD_E_NO_DATA);
}

TEST_F(Delivery, PullAndPushExcludeEachOther) {
    Start();
    Receiver receiver;
    EXPECT_LINES(Register(&receiver), OX3D_RGBD_OK,
                 "[RegisterFrameCallBack] register RegisterDataCB success");
    EXPECT_LINES(FetchNothing(), OX3D_RGBD_E_STATE,
                 "[FetchFrame] Have already register result output,  not support use this func.");
    EXPECT_LINES(Register(nullptr), OX3D_RGBD_OK,
                 "[RegisterFrameCallBack] Cancel  register RegisterDataCB success");
    CRawFrame frame(64, 48);
    EXPECT_EQ(Fetch(frame), OX3D_RGBD_OK);
    CRawFrame pushed(64, 48, 2);
    Deliver(pushed); // the library stays registered with the camera
    EXPECT_EQ(receiver.m_count, 0);
}

TEST_F(Delivery, ARefusedRegistrationLeavesPullMode) {
    Start();
    Receiver receiver;
    Fail(DOUBLE_OX_CC_RegisterImageCallBackEx, OX_CC_E_SUPPORT);
    EXPECT_LAST_LINE(Register(&receiver), OX3D_RGBD_E_CAMERA,
                     "[RegisterFrameCallBack] register image callback fail nRet:[0x80060001].");
    CRawFrame frame(64, 48);
    EXPECT_EQ(Fetch(frame), OX3D_RGBD_OK);
}

TEST_F(Delivery, APushedFrameIsTheCamerasBufferInAWholeRecord) {
    Receiver receiver;
    ASSERT_EQ(Register(&receiver), OX3D_RGBD_OK);
    Start();
    CRawFrame frame(64, 48, 5);
    frame.AddColor(64, 48);
    Deliver(frame);
    ASSERT_EQ(receiver.m_count, 1);
    EXPECT_EQ(receiver.m_last.nImageCount, 2u);
    EXPECT_EQ(receiver.m_last.stImageData[0].pData, frame.Main().data());
    EXPECT_EQ(receiver.m_last.stImageData[0].nFrameNum, 5u);
    EXPECT_EQ(receiver.m_last.stImageData[1].nDataLen, 64u * 48 * 3);
    const OX3D_RGBD_IMAGE_DATA empty = {};
    EXPECT_EQ(memcmp(&receiver.m_last.stImageData[2], &empty, sizeof(empty)), 0);
}

TEST_F(Delivery, FramesBeforeStartAndFramesWithoutPartsAreDropped) {
    Receiver receiver;
    ASSERT_EQ(Register(&receiver), OX3D_RGBD_OK);
    CRawFrame frame(64, 48, 5);
    EXPECT_EQ(LinesOf([&] { Deliver(frame); }),
              Lines{"[ImageCallBack] ImageCallBack begin, but not start job!"});
    Start();
    EXPECT_EQ(LinesOf([&] { Double().DeliverFrame(nullptr, frame.Info()); }),
              Lines{"[ImageCallBack] param  pData is null."});
    EXPECT_EQ(LinesOf([&] { Double().DeliverFrame(frame.Main().data(), nullptr); }),
              Lines{"[ImageCallBack] param  pFrameInfo is null."});
    EXPECT_EQ(receiver.m_count, 0);
}

TEST_F(Delivery, AFrameThatCannotBeAssembledIsNotPushed) {
    Receiver receiver;
    ASSERT_EQ(Register(&receiver), OX3D_RGBD_OK);
    Start();
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    CRawFrame frame(64, 48); // no color
    EXPECT_EQ(LinesOf([&] { Deliver(frame); }).back(), "[ImageCallBack] FillFrameData fail [0x80060006]");
    EXPECT_EQ(receiver.m_count, 0);
    CRawFrame good(64, 48, 2);
    good.AddColor(64, 48);
    Deliver(good);
    EXPECT_EQ(receiver.m_count, 1);
}

TEST_F(Delivery, LostFramesAreLoggedOnBothPaths) {
    Start();
    const auto fetched = [&](uint32_t number) {
        CRawFrame frame(64, 48, number);
        return LinesOf([&] { EXPECT_EQ(Fetch(frame), OX3D_RGBD_OK); });
    };
    EXPECT_EQ(fetched(7), Lines{"[FetchFrame] error lost frameID from[0] to [7]."});
    EXPECT_EQ(fetched(9), Lines{"[FetchFrame] error lost frameID from[7] to [9]."});
    EXPECT_EQ(fetched(1), Lines{}) << "a restart is no loss";
    EXPECT_EQ(fetched(2), Lines{});
    Receiver receiver;
    ASSERT_EQ(Register(&receiver), OX3D_RGBD_OK);
    CRawFrame frame(64, 48, 4);
    EXPECT_EQ(LinesOf([&] { Deliver(frame); }), Lines{"[ImageCallBack] error lost frameID from[2] to [4]."});
    ASSERT_EQ(OX3D_RGBD_Stop(m_handle), OX3D_RGBD_OK);
    Start();
    EXPECT_EQ(LinesOf([&] { Deliver(frame); }), Lines{"[ImageCallBack] error lost frameID from[0] to [4]."})
        << "starting begins anew";
}

TEST_F(Delivery, ABufferThatCannotBeGivenBackFailsTheFetch) {
    Start();
    Fail(DOUBLE_OX_CC_FreeImageBuffer, OX_CC_E_RESOURCE, 1);
    CRawFrame frame(64, 48, 1);
    EXPECT_LAST_LINE(Fetch(frame), OX3D_RGBD_E_MEMORY, "[FetchFrame] FreeImageBuffer fail [0x80060005]");
    OX_FRAME_OUT out = frame.Out();
    EXPECT_EQ(Double().Ledger().m_lentFrames, 1u);
    Double().QueueFrame(out); // the refused buffer comes again
    EXPECT_EQ(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 0), OX3D_RGBD_OK);
    Double().Reset(); // one is out for good: the camera refused it
}

TEST_F(Delivery, ANullBufferOfTheCameraIsNoFrame) {
    Start();
    CRawFrame frame(64, 48);
    OX_FRAME_OUT out = frame.Out();
    out.pBufAddr = nullptr;
    Double().QueueFrame(out);
    EXPECT_NE(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 0), OX3D_RGBD_OK);
    EXPECT_EQ(Double().Ledger().m_lentFrames, 0u);
    EXPECT_EQ(Fetch(frame), OX3D_RGBD_OK);
}

// Limits the process's memory for a scope, so that a block of four GiB cannot be had.
class CScarceMemory {
public:
    CScarceMemory() {
        getrlimit(RLIMIT_AS, &m_former);
        if (!kSanitized) { // sanitizers have a limit of their own
            const rlimit scarce = {rlim_t{3} << 30, m_former.rlim_max};
            setrlimit(RLIMIT_AS, &scarce);
        }
    }
    ~CScarceMemory() { setrlimit(RLIMIT_AS, &m_former); }
    CScarceMemory(const CScarceMemory&) = delete;
    CScarceMemory& operator=(const CScarceMemory&) = delete;

private:
    rlimit m_former = {};
};

TEST_F(Delivery, AFetchWithoutMemoryKeepsTheCamerasBufferUntilStop) {
    Start();
    CRawFrame frame(64, 48, 1);
    frame.m_info.nFrameLen = 0xFFFFFFF0;
    {
        const CScarceMemory scarce;
        EXPECT_LAST_LINE(Fetch(frame), OX3D_RGBD_E_MEMORY, "[FetchFrame] malloc m_pImageBuff (-16) failed.");
    }
    EXPECT_EQ(Double().Ledger().m_lentFrames, 1u);
    CRawFrame good(64, 48, 2);
    EXPECT_EQ(Fetch(good), OX3D_RGBD_OK) << "the next good frame works";
    EXPECT_EQ(Double().Ledger().m_lentFrames, 1u);
    EXPECT_CALLS(OX3D_RGBD_Stop(m_handle), OX3D_RGBD_OK, "OX_CC_FreeImageBuffer()", "OX_CC_StopGrabbing()");
    EXPECT_EQ(Double().Ledger().m_lentFrames, 0u);
}

TEST_F(Delivery, ColorWithoutMemoryIsLeftOutAndTheNextFrameHasIt) {
    Start();
    CRawFrame frame(64, 48, 1);
    std::vector<uint8_t> chunk(64, 0);
    frame.AddRecord(chunk.data(), OX_CHUNK_EXTENDED_IMAGE, 0xFFFFFFF0);
    {
        const CScarceMemory scarce;
        EXPECT_LINES(Fetch(frame), OX3D_RGBD_OK,
                     "[UpdateChunkDataToLocalInput] New m_pExtendImageData buf fail.",
                     "[FetchFrame] UpdateChunkDataToLocal fail [0x80060005]");
    }
    EXPECT_EQ(m_frame.nImageCount, 1u);
    CRawFrame good(64, 48, 2);
    good.AddColor(64, 48);
    ASSERT_EQ(Fetch(good), OX3D_RGBD_OK);
    EXPECT_EQ(m_frame.nImageCount, 2u);
}

TEST_F(Delivery, TheDebugModeOfTheProfileAddsALineForEachStep) {
    ASSERT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK);
    WriteFile("Ox3dRgbdCfg.ini", "[Debug]\nDebugMode=7\n");
    OpenAndStart();
    SetSwitch("ImageAlign", 0);
    CRawFrame frame(64, 48, 1);
    const Lines lines = LinesOf([&] { EXPECT_EQ(Fetch(frame), OX3D_RGBD_OK); });
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "[FetchFrame] GetImageBuffer info[64] [48] [0x11000b8] [1].");
    EXPECT_EQ(lines[1].substr(0, 40), "[FetchFrame]  ReceiveDataSet  total cost");
    EXPECT_EQ(lines[2], "[FetchFrame] GetImageBuffer info[64] [48] [1].");
}

// ---- Exceptions ------------------------------------------------------------------------------------------

struct Witness {
    static void OnException(OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
        static_cast<Witness*>(user)->m_seen.push_back(*info);
    }
    std::vector<OX3D_RGBD_EXCEPTION_INFO> m_seen;
};

TEST_F(Delivery, TheLossOfTheDeviceIsTheOneException) {
    Witness witness;
    ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, &Witness::OnException, &witness), OX3D_RGBD_OK);
    Double().RaiseException(0x8002);
    EXPECT_TRUE(witness.m_seen.empty());
    Double().RaiseException(0x8001);
    ASSERT_EQ(witness.m_seen.size(), 1u);
    EXPECT_EQ(witness.m_seen[0].nExceptionId, OX3D_RGBD_EXCEPTION_OFFLINE);
    EXPECT_STREQ(witness.m_seen[0].chExceptionDes, "\xC9\xE8\xB1\xB8\xB5\xF4\xCF\xDF");
    ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, nullptr, nullptr), OX3D_RGBD_OK);
    Double().RaiseException(0x8001);
    EXPECT_EQ(witness.m_seen.size(), 1u);
    Fail(DOUBLE_OX_CC_RegisterExceptionCallBack, OX_CC_E_SUPPORT);
    EXPECT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, &Witness::OnException, &witness),
              OX3D_RGBD_E_CAMERA);
}

} // namespace
