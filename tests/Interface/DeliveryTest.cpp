// How frames reach the application: fetched or pushed, never both; what is given back and what is dropped.
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
        SwitchOff({"ImageAlign"});
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
    uint32_t FetchNothing(uint32_t timeoutMs = 0) {
        return OX3D_RGBD_FetchFrame(m_handle, &m_frame, timeoutMs);
    }
    CRawFrame m_raw{64, 48};
};

TEST_F(Delivery, NeedsACameraThatWasStartedAndDidNotRefuse) {
    Receiver receiver;
    ASSERT_EQ(Register(&receiver), OX3D_RGBD_OK);
    Fail(DOUBLE_OX_CC_StartGrabbing, OX_CC_E_RESOURCE, 1);
    EXPECT_EQ(Start(), OX3D_RGBD_E_MEMORY);
    Deliver(m_raw);
    EXPECT_EQ(Stop(), OX3D_RGBD_E_STATE);
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    Deliver(m_raw);
    EXPECT_EQ(receiver.m_count, 1);
    Fail(DOUBLE_OX_CC_StopGrabbing, OX_CC_E_NO_DATA, 1);
    EXPECT_EQ(Stop(), OX3D_RGBD_OK) << "a failure of the camera does not keep it";
    Deliver(m_raw);
    EXPECT_EQ(receiver.m_count, 1);
    EXPECT_EQ(FetchNothing(), OX3D_RGBD_E_STATE);
    EXPECT_CALLS(Start(), OX3D_RGBD_E_STATE, "OX_CC_StartGrabbing()"); // the camera's answer, not ours
}

TEST_F(Delivery, TheTimeOutIsTheCamerasAndEveryFailureOfItMeansNoFrame) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    OnCall(DOUBLE_OX_CC_GetImageBuffer, [](const DoubleCall& call) {
        const OX_FRAME_OUT empty = {};
        EXPECT_EQ(memcmp(call.m_output, &empty, sizeof(empty)), 0) << "the camera gets a zeroed record";
    });
    EXPECT_CALLS(FetchNothing(12), OX3D_RGBD_E_NO_DATA, "OX_CC_GetImageBuffer(12)");
    Fail(DOUBLE_OX_CC_GetImageBuffer, OX_CC_E_RESOURCE);
    EXPECT_EQ(FetchNothing(0xFFFFFFFF), OX3D_RGBD_E_NO_DATA);
}

TEST_F(Delivery, PullAndPushExcludeEachOther) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    Receiver receiver;
    ASSERT_EQ(Register(&receiver), OX3D_RGBD_OK);
    EXPECT_EQ(FetchNothing(), OX3D_RGBD_E_STATE);
    ASSERT_EQ(Register(nullptr), OX3D_RGBD_OK);
    EXPECT_EQ(Fetch(m_raw), OX3D_RGBD_OK);
    Deliver(m_raw); // the library stays registered with the camera
    EXPECT_EQ(receiver.m_count, 0);
    Fail(DOUBLE_OX_CC_RegisterImageCallBackEx, OX_CC_E_SUPPORT);
    EXPECT_EQ(Register(&receiver), OX3D_RGBD_E_CAMERA);
    EXPECT_EQ(Fetch(m_raw), OX3D_RGBD_OK) << "what was refused leaves pull mode";
}

TEST_F(Delivery, APushedFrameIsTheCamerasBufferInAWholeRecord) {
    Receiver receiver;
    ASSERT_EQ(Register(&receiver), OX3D_RGBD_OK);
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    m_raw.AddColor(64, 48);
    Deliver(m_raw);
    ASSERT_EQ(receiver.m_count, 1);
    EXPECT_EQ(receiver.m_last.nImageCount, 2u);
    EXPECT_EQ(receiver.m_last.stImageData[0].pData, m_raw.Main().data());
    EXPECT_EQ(receiver.m_last.stImageData[1].nDataLen, 64u * 48 * 3);
    const OX3D_RGBD_IMAGE_DATA empty = {};
    EXPECT_EQ(memcmp(&receiver.m_last.stImageData[2], &empty, sizeof(empty)), 0);
}

TEST_F(Delivery, AFrameThatCannotBeAssembledIsNotPushed) {
    Receiver receiver;
    ASSERT_EQ(Register(&receiver), OX3D_RGBD_OK);
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
    Deliver(m_raw); // no color
    EXPECT_EQ(receiver.m_count, 0);
    m_raw.AddColor(64, 48);
    Deliver(m_raw);
    EXPECT_EQ(receiver.m_count, 1);
}

TEST_F(Delivery, StartingCountsFramesAnew) {
    Receiver receiver;
    ASSERT_EQ(Register(&receiver), OX3D_RGBD_OK);
    m_raw.m_info.nFrameNum = 4;
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(Start(), OX3D_RGBD_OK);
        EXPECT_EQ(LinesOf([&] { Deliver(m_raw); }).size(), 1u) << "three are lost";
        ASSERT_EQ(Stop(), OX3D_RGBD_OK);
    }
}

TEST_F(Delivery, ABufferThatCannotBeGivenBackFailsTheFetch) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    Fail(DOUBLE_OX_CC_FreeImageBuffer, OX_CC_E_RESOURCE, 1);
    EXPECT_EQ(Fetch(m_raw), OX3D_RGBD_E_MEMORY);
    EXPECT_EQ(Fetch(m_raw), OX3D_RGBD_OK) << "the refused buffer comes again";
    EXPECT_EQ(Double().Ledger().m_lentFrames, 1u);
    Double().Reset(); // one is out for good: the camera refused it
}

TEST_F(Delivery, ANullBufferOfTheCameraIsNoFrame) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    OX_FRAME_OUT out = m_raw.Out();
    out.pBufAddr = nullptr;
    Double().QueueFrame(out);
    EXPECT_EQ(FetchNothing(), OX3D_RGBD_E_NO_DATA);
    ExpectNoFrameLent();
    EXPECT_EQ(Fetch(m_raw), OX3D_RGBD_OK);
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
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    m_raw.m_info.nFrameLen = 0xFFFFFFF0;
    {
        const CScarceMemory scarce;
        EXPECT_LAST_LINE(Fetch(m_raw), OX3D_RGBD_E_MEMORY, "[FetchFrame] malloc m_pImageBuff (-16) failed.");
    }
    CRawFrame good(64, 48, 2);
    EXPECT_EQ(Fetch(good), OX3D_RGBD_OK) << "the next good frame works";
    EXPECT_EQ(Double().Ledger().m_lentFrames, 1u);
    EXPECT_CALLS(Stop(), OX3D_RGBD_OK, "OX_CC_FreeImageBuffer()", "OX_CC_StopGrabbing()");
    ExpectNoFrameLent();
}

TEST_F(Delivery, ColorWithoutMemoryIsLeftOutAndTheNextFrameHasIt) {
    ASSERT_EQ(Start(), OX3D_RGBD_OK);
    std::vector<uint8_t> chunk(64, 0);
    m_raw.AddRecord(chunk.data(), OX_CHUNK_EXTENDED_IMAGE, 0xFFFFFFF0);
    {
        const CScarceMemory scarce;
        EXPECT_LINES(Fetch(m_raw), OX3D_RGBD_OK,
                     "[UpdateChunkDataToLocalInput] New m_pExtendImageData buf fail.",
                     "[FetchFrame] UpdateChunkDataToLocal fail [0x80060005]");
    }
    EXPECT_EQ(m_frame.nImageCount, 1u);
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
    const auto reg = [&](OX3D_RGBD_ExceptionCallBack callback, Seen* user) {
        return OX3D_RGBD_RegisterExceptionCallBack(m_handle, callback, user);
    };
    int frameUser = 0; // not to be taken for the exception's
    ASSERT_EQ(OX3D_RGBD_RegisterFrameCallBack(
                  m_handle, [](OX3D_RGBD_FRAME_DATA*, void*) {}, &frameUser),
              OX3D_RGBD_OK);
    ASSERT_EQ(reg(witness, &seen), OX3D_RGBD_OK);
    Double().RaiseException(0x8002);
    EXPECT_TRUE(seen.empty());
    Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].nExceptionId, OX3D_RGBD_EXCEPTION_OFFLINE);
    EXPECT_STREQ(seen[0].chExceptionDes, "\xC9\xE8\xB1\xB8\xB5\xF4\xCF\xDF");
    Seen other;
    Fail(DOUBLE_OX_CC_RegisterExceptionCallBack, OX_CC_E_SUPPORT, 2);
    EXPECT_EQ(reg(witness, &other), OX3D_RGBD_E_CAMERA);
    Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
    EXPECT_EQ(seen.size(), 2u) << "a refused registration leaves the former one";
    EXPECT_TRUE(other.empty());
    ASSERT_EQ(reg(nullptr, nullptr), OX3D_RGBD_OK);
    Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT);
    EXPECT_EQ(seen.size(), 2u);
}

} // namespace
