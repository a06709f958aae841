// Callbacks that call back, devices that are closed while others use them, and what many rounds leave.
#include "tests/doubles/ScriptedCamera.h"

#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <stdexcept>

namespace {

// Gives a return that comes too early the time to happen.
void LetOthersGoOn() {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

uint32_t SetParam(void* handle) {
    OX3D_RGBD_PARAM param = IntParam(0);
    return OX3D_RGBD_SetParam(handle, "OutputRgbd", &param);
}
uint32_t GetParam(void* handle) {
    OX3D_RGBD_PARAM param = {};
    return OX3D_RGBD_GetParam(handle, "Width", &param);
}

class Callbacks : public CScripted {
protected:
    void SetUp() override {
        CScripted::SetUp();
        OpenAndStart();
        SwitchOff("ImageAlign");
        SwitchOff("ResolutionAlign");
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
    uint32_t DropFrames() { return OX3D_RGBD_RegisterFrameCallBack(m_handle, nullptr, nullptr); }
    uint32_t DropExceptions() { return OX3D_RGBD_RegisterExceptionCallBack(m_handle, nullptr, nullptr); }
    static void Raise(bool isAwaited = true) {
        Double().RaiseException(OX_CC_EXCEPTION_DEV_DISCONNECT, isAwaited);
    }
    // Raises the flag when the camera is asked for the function the next time.
    static void RaiseOnCall(uint32_t function, CFlag& flag) {
        OnCall(function, Double().CallCount(function) + 1, [&flag](auto&) { flag.Raise(); });
    }
    enum class EKind { Frame, Exception };
    // Lets a callback in, then makes the call, which succeeds. The callback does its work once the camera has
    // been asked for the function, that is, in the middle of the call; the call must not end before it.
    void InTheMiddleOf(uint32_t function, const std::function<uint32_t()>& call, EKind kind,
                       const FrameWork& work) {
        CFlag inside;
        CFlag reached;
        std::atomic<bool> isDone{false};
        const auto callback = [&](OX3D_RGBD_FRAME_DATA* frame) {
            inside.Raise();
            ASSERT_TRUE(reached.Wait());
            LetOthersGoOn();
            work(frame);
            isDone = true;
        };
        OnFrames(callback);
        OnException([&] { callback(nullptr); });
        RaiseOnCall(function, reached);
        kind == EKind::Frame ? Deliver(m_raw, false) : Raise(false);
        ASSERT_TRUE(inside.Wait());
        EXPECT_EQ(call(), OX3D_RGBD_OK);
        EXPECT_TRUE(isDone);
    }

    // For closing from inside a callback, which answers at once and shuts the camera down afterwards.
    void CloseInside() {
        void* const handle = m_handle;
        const uint32_t closes = Double().CallCount(DOUBLE_OX_CC_CloseDevice);
        EXPECT_EQ(m_close(), OX3D_RGBD_OK);
        EXPECT_EQ(m_handle, nullptr);
        EXPECT_EQ(SetParam(handle), OX3D_RGBD_E_HANDLE) << "nobody gets in any more";
        LetOthersGoOn();
        EXPECT_EQ(Double().Handles(), 1u) << "the camera is needed while the callback runs";
        EXPECT_EQ(Double().CallCount(DOUBLE_OX_CC_CloseDevice), closes);
    }
    static void ExpectClosed() {
        EXPECT_TRUE(Eventually([] { return Double().Handles() == 0; }));
    }

    CRawFrame m_raw{64, 48};
    const std::function<uint32_t()> m_close = [this] { return OX3D_RGBD_CloseDevice(&m_handle); };
    FrameWork m_frameWork;
    std::function<void()> m_exceptionWork;
};

TEST_F(Callbacks, OfFramesMayCallEverything) {
    OnFrames([&](auto*) {
        EXPECT_EQ(SetParam(m_handle), OX3D_RGBD_OK);
        EXPECT_EQ(GetParam(m_handle), OX3D_RGBD_OK);
        EXPECT_EQ(OX3D_RGBD_SoftTrigger(m_handle), OX3D_RGBD_OK);
        EXPECT_EQ(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 0), OX3D_RGBD_E_STATE) << "in push mode";
        EXPECT_EQ(DropFrames(), OX3D_RGBD_OK) << "at once";
        EXPECT_EQ(Stop(), OX3D_RGBD_OK);
    });
    Deliver(m_raw);
    EXPECT_EQ(Start(), OX3D_RGBD_OK) << "stopped from inside";
}

// The other thread holds the device's lock and waits for this callback: waiting for the lock would never end.
TEST_F(Callbacks, AreTurnedAwayWhileAnotherThreadStops) {
    const auto stop = [&] { return Stop(); };
    InTheMiddleOf(DOUBLE_OX_CC_StopGrabbing, stop, EKind::Frame, [&](auto*) {
        EXPECT_EQ(SetParam(m_handle), OX3D_RGBD_E_STATE);
        EXPECT_EQ(stop(), OX3D_RGBD_E_STATE);
        EXPECT_EQ(GetParam(m_handle), OX3D_RGBD_OK) << "takes no lock";
    });
}

TEST_F(Callbacks, FindNoDeviceWhileAnotherThreadClosesIt) {
    void* const handle = m_handle;
    InTheMiddleOf(DOUBLE_OX_CC_StopGrabbing, m_close, EKind::Frame, [&](auto*) {
        void* copy = handle;
        EXPECT_EQ(SetParam(handle), OX3D_RGBD_E_HANDLE);
        EXPECT_EQ(OX3D_RGBD_Stop(handle), OX3D_RGBD_E_HANDLE);
        EXPECT_EQ(OX3D_RGBD_CloseDevice(&copy), OX3D_RGBD_E_HANDLE);
        EXPECT_EQ(GetParam(handle), OX3D_RGBD_E_HANDLE);
    });
}

// A camera library that does not wait for its callbacks: the device must outlast them all the same.
TEST_F(Callbacks, AreWaitedForByCloseEvenWhereTheCameraDoesNot) {
    Double().Script()->m_isPatient = false;
    InTheMiddleOf(DOUBLE_OX_CC_DestroyHandle, m_close, EKind::Frame, [](OX3D_RGBD_FRAME_DATA* frame) {
        EXPECT_EQ(frame->stImageData[1].pData[0], 7) << "its buffer is still there";
    });
    Open();
    InTheMiddleOf(DOUBLE_OX_CC_DestroyHandle, m_close, EKind::Exception, [](auto*) {});
}

TEST_F(Callbacks, InFlightAreWaitedForByUnregistering) {
    const auto work = [&](auto*) {
        EXPECT_EQ(SetParam(m_handle), OX3D_RGBD_OK) << "who waits holds no lock";
    };
    const auto dropFrames = [&] { return DropFrames(); };
    const auto dropExceptions = [&] { return DropExceptions(); };
    InTheMiddleOf(DOUBLE_OX_CC_RegisterImageCallBackEx, dropFrames, EKind::Frame, work);
    InTheMiddleOf(DOUBLE_OX_CC_RegisterExceptionCallBack, dropExceptions, EKind::Exception, work);
}

TEST_F(Callbacks, ThatUnregisterAnotherWaitForItEveryTime) {
    CFlag inside;
    std::atomic<bool> isDone{true};
    OnFrames([&](auto*) {
        EXPECT_EQ(DropExceptions(), OX3D_RGBD_OK);
        EXPECT_TRUE(isDone);
    });
    Deliver(m_raw);
    isDone = false;
    OnException([&] {
        inside.Raise();
        LetOthersGoOn();
        isDone = true;
    });
    Raise(false);
    ASSERT_TRUE(inside.Wait());
    Deliver(m_raw);
}

TEST_F(Callbacks, StillRunningKeepFramesFromBeingFetched) {
    CFlag inside;
    CFlag fetched;
    CFlag ended;
    OnFrames([&](auto*) {
        EXPECT_EQ(DropFrames(), OX3D_RGBD_OK);
        inside.Raise();
        EXPECT_TRUE(fetched.Wait());
        ended.Raise();
    });
    Deliver(m_raw, false);
    ASSERT_TRUE(inside.Wait());
    EXPECT_EQ(OX3D_RGBD_FetchFrame(m_handle, &m_frame, 0), OX3D_RGBD_E_STATE) << "on the same buffers";
    fetched.Raise();
    EXPECT_TRUE(ended.Wait());
}

TEST_F(Callbacks, OfFramesComeOneAtATimeFromHoweverManyThreads) {
    const auto& lane = Double().m_frames;
    std::atomic<int> inside{0};
    OnFrames([&](auto*) {
        EXPECT_EQ(++inside, 1);
        LetOthersGoOn();
        --inside;
    });
    const auto deliver = [&, info = m_raw.Info()] {
        lane.m_callback(m_raw.m_main.data(), info, lane.m_user);
    };
    std::thread other(deliver);
    deliver();
    other.join();
}

// Each is inside a callback that the other one takes away: neither must wait for ever, and nor must a close.
TEST_F(Callbacks, MayUnregisterEachOther) {
    CFlag inside[2];
    CFlag done[2];
    const auto meetAndDropBoth = [&](int own) {
        inside[own].Raise();
        EXPECT_TRUE(inside[1 - own].Wait());
        EXPECT_EQ(DropFrames(), OX3D_RGBD_OK);
        EXPECT_EQ(DropExceptions(), OX3D_RGBD_OK);
        done[own].Raise();
    };
    OnFrames([&](auto*) { meetAndDropBoth(0); });
    OnException([&] { meetAndDropBoth(1); });
    Deliver(m_raw, false);
    Raise(false);
    EXPECT_TRUE(done[0].Wait() && done[1].Wait());
}

TEST_F(Callbacks, ThatWaitForAnotherGiveWayToItsStop) {
    CFlag inException;
    CFlag dropping;
    CFlag stopped;
    OnFrames([&](auto*) {
        EXPECT_TRUE(inException.Wait());
        DropExceptions();
    });
    OnException([&] {
        inException.Raise();
        EXPECT_TRUE(dropping.Wait());
        LetOthersGoOn();
        EXPECT_EQ(Stop(), OX3D_RGBD_OK);
        stopped.Raise();
    });
    RaiseOnCall(DOUBLE_OX_CC_RegisterExceptionCallBack, dropping);
    Deliver(m_raw, false);
    Raise(false);
    EXPECT_TRUE(stopped.Wait());
}

TEST_F(Callbacks, OfFramesThatCloseAreFollowedByNoOther) {
    int exceptions = 0;
    OnCall(DOUBLE_OX_CC_DestroyHandle, 0, [](auto&) {
        sigset_t blocked{};
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        EXPECT_TRUE(sigismember(&blocked, SIGUSR1) == 1 && sigismember(&blocked, SIGSEGV) == 0);
    });
    OnException([&] { ++exceptions; });
    OnFrames([&](OX3D_RGBD_FRAME_DATA* frame) {
        CloseInside();
        Raise();
        EXPECT_EQ(frame->stImageData[1].pData[0], 7) << "still there";
    });
    Deliver(m_raw);
    ExpectClosed();
    EXPECT_EQ(exceptions, 0);
}

TEST_F(Callbacks, ThatCloseLeaveTheCameraToACallThatIsInsideWithoutALock) {
    CFlag inCall;
    CFlag goOn;
    OnCall(DOUBLE_OX_CC_GetIntValueEx, Double().CallCount(DOUBLE_OX_CC_GetIntValueEx) + 1, [&](auto&) {
        inCall.Raise();
        EXPECT_TRUE(goOn.Wait());
    });
    std::thread reading([&, handle = m_handle] { EXPECT_EQ(GetParam(handle), OX3D_RGBD_OK); });
    ASSERT_TRUE(inCall.Wait());
    OnFrames([&](auto*) { EXPECT_EQ(OX3D_RGBD_CloseDevice(&m_handle), OX3D_RGBD_OK); });
    Deliver(m_raw);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(Double().Handles(), 1u);
    goOn.Raise();
    reading.join();
    ExpectClosed();
}

TEST_F(Callbacks, OfExceptionsThatCloseLeaveNothing) {
    Close();
    const auto round = [&] {
        CScripted::SetUp(); // NOLINT(bugprone-parent-virtual-call): the device is not yet to be opened
        Open("USB1");
        OnException([&] { CloseInside(); });
        Raise();
        ExpectClosed();
    };
    ExpectRoundsLeaveNothing(5, 20, 8192, round);
}

TEST_F(Callbacks, MayThrowWhichIsCaughtAndLogged) {
    int frames = 0;
    OnFrames([&](auto*) {
        ++frames;
        throw std::runtime_error("of the application");
    });
    OnException([] { throw 42; }); // NOLINT(hicpp-exception-baseclass): applications may
    EXPECT_EQ(LinesOf([&] { Deliver(m_raw); }),
              Lines{"[ImageCallBack] the application's callback threw: of the application"});
    EXPECT_EQ(LinesOf([] { Raise(); }), Lines{"[ExceptionCallBack] the application's callback threw."});
    Deliver(m_raw);
    EXPECT_EQ(frames, 2) << "and the next frame comes";
}

TEST_F(Callbacks, AreNotNeededForATriggerWhileAnotherThreadWaitsForTheFrame) {
    OnCall(DOUBLE_OX_CC_SetCommandValue, 0, [&](auto&) { Double().QueueFrame(m_raw.Out()); });
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

// ---- Threads and processes that end or fork --------------------------------------------------------------

// What the call answers on a thread that is cancelled while the camera is asked for the function; 9 where the call
// itself was left.
uint32_t CancelledAt(uint32_t function, const std::function<uint32_t()>& call) {
    Double().AddRule(
        {.m_function = function, .m_ordinal = Double().CallCount(function) + 1, .m_work = [](auto&) {
             pthread_cancel(pthread_self());
             pthread_testcancel();
         }});
    std::pair<const std::function<uint32_t()>&, uint32_t> work(call, 9);
    const auto run = [](void* user) -> void* {
        auto* const own = static_cast<decltype(work)*>(user);
        own->second = own->first();
        pthread_testcancel();
        return nullptr;
    };
    pthread_t thread{};
    void* result = nullptr;
    EXPECT_EQ(pthread_create(&thread, nullptr, run, &work), 0);
    EXPECT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    return work.second;
}

// What the child of a fork ends with, which does the work; 0 where all was as expected.
int InAChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        work();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

using Ending = CScripted;

TEST_F(Ending, AThreadThatIsCancelledLeavesACallWholeButTheWaitForAFrameAtOnce) {
    const auto open = [&] { return OX3D_RGBD_OpenDeviceBySerialNumber(&m_handle, "ETH1"); };
    EXPECT_EQ(CancelledAt(DOUBLE_OX_CC_FileAccessRead, open), OX3D_RGBD_OK);
    EXPECT_EQ(CancelledAt(DOUBLE_OX_CC_StartGrabbing, [&] { return Start(); }), OX3D_RGBD_OK);
    EXPECT_EQ(CancelledAt(DOUBLE_OX_CC_GetIntValueEx, [&] { return GetParam(m_handle); }), OX3D_RGBD_OK);
    const auto fetch = [&] { return OX3D_RGBD_FetchFrame(m_handle, &m_frame, 20000); };
    EXPECT_EQ(CancelledAt(DOUBLE_OX_CC_GetImageBuffer, fetch), 9u);
    EXPECT_EQ(CancelledAt(DOUBLE_OX_CC_StopGrabbing, [&] { return Stop(); }), OX3D_RGBD_OK);
    const auto close = [&] { return OX3D_RGBD_CloseDevice(&m_handle); };
    EXPECT_EQ(CancelledAt(DOUBLE_OX_CC_CloseDevice, close), OX3D_RGBD_OK);
}

TEST_F(Ending, AForkedChildMayCloseWhatItInheritsAndOpenItsOwn) {
    OpenAndStart("USB1");
    CFlag waiting;
    OnCall(DOUBLE_OX_CC_GetImageBuffer, 1, [&](auto&) { waiting.Raise(); });
    uint32_t fetched = 9;
    std::thread fetching([&] { fetched = OX3D_RGBD_FetchFrame(m_handle, &m_frame, 20000); });
    EXPECT_TRUE(waiting.Wait());
    LetOthersGoOn();
    const auto useAndClose = [&] { // while the other thread has the device's lock
        void* copy = m_handle;
        const size_t calls = Double().m_script.m_calls.size();
        const size_t bytes = HeapBytes();
        EXPECT_EQ(SetParam(m_handle), OX3D_RGBD_E_HANDLE);
        EXPECT_EQ(GetParam(m_handle), OX3D_RGBD_E_HANDLE);
        Close();
        EXPECT_TRUE(kSanitized || HeapBytes() + (10U << 20) <= bytes);
        EXPECT_EQ(OX3D_RGBD_CloseDevice(&copy), OX3D_RGBD_E_HANDLE);
        EXPECT_EQ(Double().m_script.m_calls.size(), calls) << "the camera is the parent's";
        if (!kSanitized) { // the thread sanitizer allows the child no thread
            Open();
            EXPECT_EQ(SetParam(m_handle), OX3D_RGBD_OK);
            Close();
        }
    };
    EXPECT_EQ(InAChild(useAndClose), 0);
    CRawFrame frame(64, 48);
    Double().QueueFrame(frame.Out());
    fetching.join();
    EXPECT_EQ(fetched, OX3D_RGBD_OK) << "and the parent notices nothing";
}

// ---- Many rounds -----------------------------------------------------------------------------------------

constexpr int kRounds = kSanitized ? 50 : 200;

using Rounds = CScripted;

// Runs the work over and over on another thread while devices come and go.
template <class Work, class Round>
void WhileOthers(int rounds, Work work, Round round) {
    std::atomic<bool> isOver{false};
    std::thread other([&] {
        while (!isOver) {
            work();
        }
    });
    for (int i = 0; i < rounds; ++i) {
        round();
    }
    isOver = true;
    other.join();
}

TEST_F(Rounds, LeaveNoMemoryThreadOrFile) {
    CRawFrame frame(640, 480, 1, 0); // a depth of 0 costs no time
    frame.AddColor(320, 240);
    ExpectRoundsLeaveNothing(kRounds / 10, kRounds, 8 * kRounds, [&] {
        CScripted::SetUp(); // forgets the calls of the round before
        OpenAndStart();
        ASSERT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
        ASSERT_EQ(Fetch(frame), OX3D_RGBD_OK);
        ASSERT_EQ(Stop(), OX3D_RGBD_OK);
        Close();
    });
}

// Handles that are valid, being closed, or gone, in the hands of threads that take no device lock.
TEST_F(Rounds, OfOpeningAndClosingAreSurvivedByUnlockedCalls) {
    std::atomic<void*> shared{nullptr};
    std::atomic<int> answered{0};
    std::vector<uint8_t> samples(size_t{640} * 480 * 2, 1);
    const auto note = [&](uint32_t status) {
        EXPECT_TRUE(status == OX3D_RGBD_OK || status == OX3D_RGBD_E_HANDLE || status == OX3D_RGBD_E_STATE ||
                    status == OX3D_RGBD_E_NO_DATA)
            << std::hex << status;
        answered += status == OX3D_RGBD_OK ? 1 : 0;
    };
    const auto use = [&] {
        note(GetParam(shared));
        OX3D_RGBD_IMAGE_DATA depth = DepthImage(samples, 640, 480);
        OX3D_RGBD_IMAGE_DATA cloud = {};
        note(OX3D_RGBD_MapDepthToPointCloud(shared, &depth, &cloud));
    };
    WhileOthers(kRounds / 2, use, [&] {
        Open();
        shared = m_handle;
        const int before = answered;
        EXPECT_TRUE(Eventually([&] { return answered > before; }));
        Close();
    });
}

TEST_F(Rounds, OfCopyingLeaveAForkedChildItsCopies) {
    OpenAndStart("USB1");
    CRawFrame raw(64, 48);
    ASSERT_EQ(Fetch(raw), OX3D_RGBD_OK);
    OX3D_RGBD_FRAME_DATA* kept = nullptr;
    ASSERT_EQ(OX3D_RGBD_CopyFrame(m_handle, &m_frame, &kept), OX3D_RGBD_OK);
    const auto copyAndFree = [&] {
        OX3D_RGBD_FRAME_DATA* copy = nullptr;
        EXPECT_EQ(OX3D_RGBD_CopyFrame(m_handle, &m_frame, &copy), OX3D_RGBD_OK);
        EXPECT_EQ(OX3D_RGBD_FreeFrame(copy), OX3D_RGBD_OK);
    };
    const auto readAndFree = [&] {
        EXPECT_EQ(memcmp(kept->stImageData[0].pData, raw.m_main.data(), raw.m_main.size()), 0);
        EXPECT_EQ(OX3D_RGBD_FreeFrame(kept), OX3D_RGBD_OK);
    };
    WhileOthers(kRounds / 2, copyAndFree, [&] { EXPECT_EQ(InAChild(readAndFree), 0); });
    readAndFree();
}

// All switches are on, and points are mapped, on one device.
TEST_F(Rounds, OfThreadsAtAFrameGiveTheSameBytesAndLeaveNone) {
    CRawFrame raw(1280, 720);
    for (size_t i = 0; i < raw.m_main.size(); ++i) {
        raw.m_main[i] = static_cast<uint8_t>(i % 2 == 0 ? i / 7 : i % 19);
    }
    raw.AddColor(1920, 1080);
    const auto bytesAt = [&](int64_t threads) {
        std::vector<uint8_t> bytes;
        OpenAndStart();
        EXPECT_EQ(SetSwitch("OutputRgbd", 1), OX3D_RGBD_OK);
        EXPECT_EQ(SetSwitch("Ox3dThreads", threads), OX3D_RGBD_OK);
        const size_t before = Threads();
        EXPECT_EQ(Fetch(raw), OX3D_RGBD_OK);
        EXPECT_EQ(Threads(), before + static_cast<size_t>(threads) - 1);
        OX3D_RGBD_IMAGE_DATA depth = Image(0);
        EXPECT_EQ(OX3D_RGBD_MapDepthToPointCloud(m_handle, &depth, &m_frame.stImageData[3]), OX3D_RGBD_OK);
        for (uint32_t i = 0; i < 4; ++i) {
            bytes.insert(bytes.end(), Image(i).pData, Image(i).pData + Image(i).nDataLen);
        }
        const OX3D_RGBD_CLOUD_OPTIONS valid = {OX3D_RGBD_CAMERA_DEPTH,       0, OX3D_RGBD_CLOUD_VALID,
                                               OX3D_RGBD_CLOUD_COLOR_BESIDE, 1, {}};
        OX3D_RGBD_CLOUD cloud = {};
        EXPECT_EQ(OX3D_RGBD_MapFrameToPointCloud(m_handle, &m_frame, &valid, &cloud), OX3D_RGBD_OK);
        EXPECT_GT(cloud.nCount, 10000u);
        const auto add = [&](const void* items, uint32_t stride) {
            const auto* const first = static_cast<const uint8_t*>(items);
            bytes.insert(bytes.end(), first, first + size_t{cloud.nCount} * stride);
        };
        add(cloud.pPoints, cloud.nPointStride);
        add(cloud.pColors, cloud.nColorStride);
        add(cloud.pNormals, cloud.nNormalStride);
        Close();
        EXPECT_LE(ThreadsSettled(before), before);
        return bytes;
    };
    const std::vector<uint8_t> expected = bytesAt(1);
    for (const int64_t threads : {2, 3, 7, 16}) {
        EXPECT_TRUE(bytesAt(threads) == expected) << threads;
    }
}

// A new device often gets the address of one that was closed. Somebody who closes by an old copy may close it
// once it is open, and not while it opens.
TEST_F(Rounds, OfOpeningAreNotHarmedByAnOldCopyOfAHandle) {
    std::atomic<void*> last{nullptr};
    const auto close = [](void* handle) {
        const uint32_t status = OX3D_RGBD_CloseDevice(&handle);
        EXPECT_TRUE(status == OX3D_RGBD_OK || status == OX3D_RGBD_E_HANDLE);
    };
    const auto round = [&] {
        Open("USB1");
        last = m_handle;
        close(std::exchange(m_handle, nullptr));
    };
    WhileOthers(
        5 * kRounds, [&] { close(last); }, round);
}

// The provider's device records die at each enumeration, whoever enumerates.
TEST_F(Rounds, OfOpeningAreNotHarmedByEnumerations) {
    const auto list = [] {
        OX3D_RGBD_DEVICE_INFO records[2] = {};
        uint32_t count = 0;
        EXPECT_EQ(OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ALL, records, 2, &count), OX3D_RGBD_OK);
        EXPECT_EQ(OX3D_RGBD_CamIsAccessible(&records[0], 1), 1u);
    };
    WhileOthers(kRounds / 2, list, [&] {
        Open("USB1");
        Close();
    });
}

} // namespace
