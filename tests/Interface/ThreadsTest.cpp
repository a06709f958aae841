// Callbacks that call back, devices that are closed while others use them, and what a thousand rounds leave.
#include "tests/doubles/ScriptedCamera.h"

#include <atomic>
#include <stdexcept>

namespace {

class Callbacks : public CScripted {
protected:
    void SetUp() override {
        CScripted::SetUp();
        OpenAndStart();
        ASSERT_EQ(SetSwitch("ImageAlign", 0), OX3D_RGBD_OK);
        ASSERT_EQ(SetSwitch("ResolutionAlign", 0), OX3D_RGBD_OK);
        m_raw.AddColor(64, 48, 7);
    }
    using FrameWork = std::function<void(OX3D_RGBD_FRAME_DATA*)>;
    // The work of the next callbacks.
    void OnFrames(FrameWork work) {
        m_frameWork = std::move(work);
        const auto callback = [](OX3D_RGBD_FRAME_DATA* frame, void* user) {
            static_cast<Callbacks*>(user)->m_frameWork(frame);
        };
        ASSERT_EQ(OX3D_RGBD_RegisterFrameCallBack(m_handle, callback, this), OX3D_RGBD_OK);
    }
    void OnException(std::function<void()> work) {
        m_exceptionWork = std::move(work);
        const auto callback = [](OX3D_RGBD_EXCEPTION_INFO*, void* user) {
            static_cast<Callbacks*>(user)->m_exceptionWork();
        };
        ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, callback, this), OX3D_RGBD_OK);
    }
    void Deliver(bool wait = true) { Double().DeliverFrame(m_raw.Main().data(), m_raw.Info(), wait); }
    static void Raise(bool wait = true) { Double().RaiseException(0x8001, wait); }
    // Raises the flag when the camera is asked for the function the next time.
    void RaiseOnCall(uint32_t function, CFlag& flag) {
        OnCall(
            function, [&flag](const DoubleCall&) { flag.Raise(); }, Double().CallCount(function) + 1);
    }
    // Lets a callback in, then makes the call, which succeeds. The callback does its work once the camera has
    // been asked for the function, that is, in the middle of the call; the call must not end before it.
    enum class Kind { FRAME, EXCEPTION };
    void InTheMiddleOf(uint32_t function, const std::function<uint32_t()>& call, const FrameWork& work,
                       Kind kind = Kind::FRAME) {
        CFlag inside;
        CFlag reached;
        std::atomic<bool> done{false};
        const auto callback = [&](OX3D_RGBD_FRAME_DATA* frame) {
            inside.Raise();
            ASSERT_TRUE(reached.Wait());
            std::this_thread::sleep_for(std::chrono::milliseconds(10)); // gives a wrong return time to happen
            work(frame);
            done = true;
        };
        if (kind == Kind::FRAME) {
            OnFrames(callback);
        } else {
            OnException([&] { callback(nullptr); });
        }
        RaiseOnCall(function, reached);
        kind == Kind::FRAME ? Deliver(false) : Raise(false);
        ASSERT_TRUE(inside.Wait());
        EXPECT_EQ(call(), OX3D_RGBD_OK);
        EXPECT_TRUE(done);
    }
    static uint32_t SetParam(void* handle) {
        OX3D_RGBD_PARAM param = {};
        param.enParamType = OX3D_RGBD_PARAM_INT;
        return OX3D_RGBD_SetParam(handle, "OutputRgbd", &param);
    }
    static uint32_t GetParam(void* handle) {
        OX3D_RGBD_PARAM param = {};
        return OX3D_RGBD_GetParam(handle, "Width", &param);
    }

    CRawFrame m_raw{64, 48};

private:
    FrameWork m_frameWork;
    std::function<void()> m_exceptionWork;
};

TEST_F(Callbacks, AFrameCallbackMayCallEverything) {
    OnFrames([&](OX3D_RGBD_FRAME_DATA*) {
        EXPECT_EQ(SetParam(m_handle), OX3D_RGBD_OK);
        EXPECT_EQ(GetParam(m_handle), OX3D_RGBD_OK);
        EXPECT_EQ(OX3D_RGBD_SoftTrigger(m_handle), OX3D_RGBD_OK);
        EXPECT_EQ(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 0), OX3D_RGBD_E_STATE) << "in push mode";
        EXPECT_EQ(OX3D_RGBD_Stop(m_handle), OX3D_RGBD_OK);
    });
    Deliver();
    EXPECT_EQ(OX3D_RGBD_Start(m_handle), OX3D_RGBD_OK) << "stopped from inside";
}

// The other thread holds the device's lock and waits for this callback: waiting for the lock would never end.
TEST_F(Callbacks, ACallbackIsTurnedAwayWhileAnotherThreadStops) {
    const auto stop = [&] { return OX3D_RGBD_Stop(m_handle); };
    InTheMiddleOf(DOUBLE_OX_CC_StopGrabbing, stop, [&](OX3D_RGBD_FRAME_DATA*) {
        EXPECT_EQ(SetParam(m_handle), OX3D_RGBD_E_STATE);
        EXPECT_EQ(stop(), OX3D_RGBD_E_STATE);
        EXPECT_EQ(GetParam(m_handle), OX3D_RGBD_OK) << "takes no lock";
    });
}

TEST_F(Callbacks, ACallbackFindsNoDeviceWhileAnotherThreadClosesIt) {
    void* const handle = m_handle;
    const auto close = [&] { return OX3D_RGBD_CloseDevice(&m_handle); };
    InTheMiddleOf(DOUBLE_OX_CC_StopGrabbing, close, [&](OX3D_RGBD_FRAME_DATA*) {
        void* copy = handle;
        EXPECT_EQ(SetParam(handle), OX3D_RGBD_E_HANDLE);
        EXPECT_EQ(OX3D_RGBD_Stop(handle), OX3D_RGBD_E_HANDLE);
        EXPECT_EQ(OX3D_RGBD_CloseDevice(&copy), OX3D_RGBD_E_HANDLE);
        EXPECT_EQ(GetParam(handle), OX3D_RGBD_E_HANDLE);
    });
}

// A camera library that does not wait for its callbacks: the device's buffers must outlast them all the same.
TEST_F(Callbacks, CloseWaitsForTheCallbackEvenWhereTheCameraDoesNot) {
    Double().SetPatience(false);
    const auto close = [&] { return OX3D_RGBD_CloseDevice(&m_handle); };
    InTheMiddleOf(DOUBLE_OX_CC_DestroyHandle, close, [](OX3D_RGBD_FRAME_DATA* frame) {
        EXPECT_EQ(frame->stImageData[1].pData[0], 7) << "its buffer is still there";
    });
}

TEST_F(Callbacks, UnregisteringWaitsForTheCallbackInFlight) {
    const auto unregister = [&] { return OX3D_RGBD_RegisterFrameCallBack(m_handle, nullptr, nullptr); };
    InTheMiddleOf(DOUBLE_OX_CC_RegisterImageCallBackEx, unregister, [&](OX3D_RGBD_FRAME_DATA*) {
        EXPECT_EQ(SetParam(m_handle), OX3D_RGBD_OK) << "who waits holds no lock";
    });
}

TEST_F(Callbacks, UnregisteringExceptionsWaitsAsWell) {
    const auto unregister = [&] { return OX3D_RGBD_RegisterExceptionCallBack(m_handle, nullptr, nullptr); };
    InTheMiddleOf(
        DOUBLE_OX_CC_RegisterExceptionCallBack, unregister, [](auto*) {}, Kind::EXCEPTION);
}

// Each is inside a callback that the other one takes away: neither must wait for ever, and nor must a close.
TEST_F(Callbacks, TwoCallbacksMayUnregisterEachOther) {
    CFlag inFrame;
    CFlag inException;
    const auto unregisterBoth = [&] {
        EXPECT_EQ(OX3D_RGBD_RegisterFrameCallBack(m_handle, nullptr, nullptr), OX3D_RGBD_OK);
        EXPECT_EQ(OX3D_RGBD_RegisterExceptionCallBack(m_handle, nullptr, nullptr), OX3D_RGBD_OK);
    };
    CFlag frameDone;
    CFlag exceptionDone;
    OnFrames([&](OX3D_RGBD_FRAME_DATA*) {
        inFrame.Raise();
        EXPECT_TRUE(inException.Wait());
        unregisterBoth();
        frameDone.Raise();
    });
    OnException([&] {
        inException.Raise();
        EXPECT_TRUE(inFrame.Wait());
        unregisterBoth();
        exceptionDone.Raise();
    });
    Deliver(false);
    Raise(false);
    EXPECT_TRUE(frameDone.Wait());
    EXPECT_TRUE(exceptionDone.Wait());
}

TEST_F(Callbacks, ACallbackThatWaitsForAnotherGivesWayToItsStop) {
    CFlag inFrame;
    CFlag inException;
    OnFrames([&](OX3D_RGBD_FRAME_DATA*) {
        inFrame.Raise();
        EXPECT_TRUE(inException.Wait());
        OX3D_RGBD_RegisterExceptionCallBack(m_handle, nullptr, nullptr);
    });
    CFlag stopped;
    OnException([&] {
        inException.Raise();
        EXPECT_TRUE(inFrame.Wait());
        EXPECT_EQ(OX3D_RGBD_Stop(m_handle), OX3D_RGBD_OK);
        stopped.Raise();
    });
    Deliver(false);
    Raise(false);
    EXPECT_TRUE(stopped.Wait());
}

TEST_F(Callbacks, UnregisteringInsideTheCallbackReturnsAtOnce) {
    OnFrames([&](OX3D_RGBD_FRAME_DATA*) {
        EXPECT_EQ(OX3D_RGBD_RegisterFrameCallBack(m_handle, nullptr, nullptr), OX3D_RGBD_OK);
    });
    Deliver();
}

// Closing from inside a callback answers at once and shuts the camera down afterwards.
class CloseInside : public Callbacks {
protected:
    void Close() {
        void* const handle = m_handle;
        EXPECT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK);
        EXPECT_EQ(m_handle, nullptr);
        EXPECT_EQ(SetParam(handle), OX3D_RGBD_E_HANDLE) << "nobody gets in any more";
        EXPECT_EQ(Double().Ledger().m_open, 1u) << "the camera is needed while the callback runs";
    }
    static void ExpectClosed() {
        EXPECT_TRUE(Eventually([] { return Double().Ledger().m_handles == 0; }));
    }
};

TEST_F(CloseInside, TheFrameCallback) {
    OnFrames([&](OX3D_RGBD_FRAME_DATA* frame) {
        Close();
        EXPECT_EQ(frame->stImageData[1].pData[0], 7) << "still there";
    });
    Deliver();
    ExpectClosed();
}

TEST_F(CloseInside, TheExceptionCallback) {
    OnException([&] { Close(); });
    Raise();
    ExpectClosed();
}

TEST_F(Callbacks, WhatACallbackThrowsIsCaughtAndLogged) {
    int frames = 0;
    OnFrames([&](OX3D_RGBD_FRAME_DATA*) {
        ++frames;
        throw std::runtime_error("of the application");
    });
    OnException([] { throw 42; }); // NOLINT(hicpp-exception-baseclass): applications may
    const Lines lines = LinesOf([&] { Deliver(); });
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("of the application"), std::string::npos);
    EXPECT_EQ(LinesOf([] { Raise(); }).size(), 1u);
    m_raw.m_info.nFrameNum = 2;
    Deliver();
    EXPECT_EQ(frames, 2) << "and the next frame comes";
}

TEST_F(Callbacks, ATriggerReachesTheCameraWhileAnotherThreadWaitsForTheFrame) {
    const OX_FRAME_OUT out = m_raw.Out();
    auto trigger = [&](const DoubleCall&) { Double().QueueFrame(out); };
    OnCall(DOUBLE_OX_CC_SetCommandValue, trigger);
    CFlag waiting;
    RaiseOnCall(DOUBLE_OX_CC_GetImageBuffer, waiting);
    uint32_t status = 9;
    std::thread fetching([&] { status = OX3D_RGBD_FetchFrame(m_handle, &m_frame, 20000); });
    EXPECT_TRUE(waiting.Wait());
    EXPECT_EQ(OX3D_RGBD_SoftTrigger(m_handle), OX3D_RGBD_OK);
    EXPECT_EQ(GetParam(m_handle), OX3D_RGBD_OK);
    fetching.join();
    EXPECT_EQ(status, OX3D_RGBD_OK);
}

// ---- Many rounds -----------------------------------------------------------------------------------------

class Rounds : public CScripted {
protected:
    static constexpr int kRounds = kSanitized ? 50 : 200;

    void Round(CRawFrame& frame) {
        CScripted::SetUp(); // forgets the calls of the round before
        OpenAndStart();
        ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
        ASSERT_EQ(OX3D_RGBD_Stop(m_handle), OX3D_RGBD_OK);
        ASSERT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK);
    }
};

TEST_F(Rounds, LeaveNoMemoryThreadOrFile) {
    CRawFrame frame(640, 480, 1, 0); // a depth of 0 costs no time
    frame.AddColor(320, 240);
    ExpectRoundsLeaveNothing(kRounds / 10, kRounds, 8 * kRounds, [&] { Round(frame); });
    ExpectNothingLeft();
}

// Handles that are valid, being closed, or gone, in the hands of threads that take no device lock.
TEST_F(Rounds, UnlockedCallsSurviveOpeningAndClosing) {
    std::atomic<void*> shared{nullptr};
    std::atomic<bool> isOver{false};
    std::atomic<int> answered{0};
    const auto isExpected = [](uint32_t status) {
        return status == OX3D_RGBD_OK || status == OX3D_RGBD_E_HANDLE || status == OX3D_RGBD_E_STATE;
    };
    std::thread asking([&] {
        while (!isOver) {
            OX3D_RGBD_PARAM param = {};
            const uint32_t status = OX3D_RGBD_GetParam(shared, "Width", &param);
            EXPECT_TRUE(isExpected(status)) << std::hex << status;
            answered += status == OX3D_RGBD_OK ? 1 : 0;
        }
    });
    std::thread mapping([&] {
        std::vector<uint8_t> samples(size_t{640} * 480 * 2, 1);
        OX3D_RGBD_IMAGE_DATA depth = {};
        depth.enImageType = OX3D_RGBD_PIXEL_DEPTH16;
        depth.nWidth = 640;
        depth.nHeight = 480;
        depth.pData = samples.data();
        depth.nDataLen = static_cast<uint32_t>(samples.size());
        while (!isOver) {
            OX3D_RGBD_IMAGE_DATA cloud = {};
            const uint32_t status = OX3D_RGBD_MapDepthToPointCloud(shared, &depth, &cloud);
            EXPECT_TRUE(isExpected(status) || status == OX3D_RGBD_E_NO_DATA) << std::hex << status;
            answered += status == OX3D_RGBD_OK ? 1 : 0;
        }
    });
    for (int i = 0; i < 100; ++i) {
        Open();
        shared = m_handle;
        const int before = answered;
        EXPECT_TRUE(Eventually([&] { return answered > before; }));
        EXPECT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK);
    }
    isOver = true;
    asking.join();
    mapping.join();
}

// A new device often gets the address of one that was closed. Somebody who closes by an old copy may close it
// once it is open, and not while it opens.
TEST_F(Rounds, AnOldCopyOfAHandleHarmsNoOpen) {
    std::atomic<void*> last{nullptr};
    std::atomic<bool> isOver{false};
    const auto isExpected = [](uint32_t status) {
        return status == OX3D_RGBD_OK || status == OX3D_RGBD_E_HANDLE;
    };
    std::thread closing([&] {
        while (!isOver) {
            void* copy = last;
            EXPECT_TRUE(isExpected(OX3D_RGBD_CloseDevice(&copy)));
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        Open("USB1");
        last = m_handle;
        EXPECT_TRUE(isExpected(OX3D_RGBD_CloseDevice(&m_handle)));
        m_handle = nullptr;
    }
    isOver = true;
    closing.join();
    ExpectNothingLeft();
}

// The provider's device records die at each enumeration, whoever enumerates.
TEST_F(Rounds, EnumeratingWhileOthersOpenHarmsNobody) {
    std::atomic<bool> isOver{false};
    std::thread listing([&] {
        OX3D_RGBD_DEVICE_INFO records[2] = {};
        uint32_t count = 0;
        while (!isOver) {
            EXPECT_EQ(OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ALL, records, 2, &count), OX3D_RGBD_OK);
            EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&records[0], 1), 1u);
        }
    });
    for (int i = 0; i < kRounds / 10; ++i) {
        Open("USB1");
        EXPECT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK);
    }
    isOver = true;
    listing.join();
}

} // namespace
