// StreamTest.cpp - frames by fetching: their content, image nodes, triggers, ends of streams, what remains behind.
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <numeric>
#include <set>
#include <thread>
#include <vector>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/OpenThings.h"
#include "tests/support/Waiting.h"

using namespace ox3d::test;

namespace {

// One frame for each trigger, and none without.
class CTriggeredCamera : public COpenCamera {
public:
    CTriggeredCamera() { Set("TriggerMode", 1); }
};

TEST(Stream, BringsWholeFramesNumberedFromOneAfterEachStart) {
    const COpenCamera camera;
    for (int start = 0; start < 3; ++start) {
        if (start == 1) {
            camera.EnableColor();
        }
        camera.Start();
        uint64_t lastTime = 0;
        for (uint32_t number = 1; number <= 6; ++number) {
            const OX_FRAME_OUT frame = camera.Borrow();
            const OX_FRAME_OUT_INFO_EX& info = frame.stFrameInfo;
            EXPECT_EQ(info.nFrameNum, number);
            EXPECT_EQ(info.nUnparsedChunkNum, start == 0 ? 0U : 1U);
            EXPECT_TRUE(IsWhole(frame.pBufAddr, info)) << number;
            const uint64_t time = uint64_t{info.nDevTimeStampHigh} << 32 | info.nDevTimeStampLow;
            EXPECT_GT(time, lastTime);
            lastTime = time;
            EXPECT_EQ(camera.GiveBack(frame), 0);
            EXPECT_EQ(camera.GiveBack(frame), kBadArgument) << "once only";
        }
        EXPECT_EQ(camera.Lost(), 0);
        EXPECT_EQ(camera.Stop(), 0);
    }
}

TEST(Stream, CopiesAFrameIntoABufferThatIsLargeEnough) {
    const CTriggeredCamera camera;
    camera.EnableColor();
    camera.SetNodes(3); // copies that are never given back are soon too many
    camera.Start();
    std::vector<uint8_t> bytes(kDepthBytes + 64);
    uint8_t* image = bytes.data() + (64 - reinterpret_cast<uintptr_t>(bytes.data()) % 64);
    OX_FRAME_OUT_INFO_EX info{};
    camera.Trigger();
    EXPECT_EQ(CC(OX_CC_GetOneFrameTimeout)(camera, image, kDepthBytes - 1, &info, kLongMs),
              Status(OX_CC_E_NO_BUFFER_SPACE));
    for (uint32_t number = 1; number <= 20; ++number) { // the first is the one that did not fit
        ASSERT_EQ(CC(OX_CC_GetOneFrameTimeout)(camera, image, kDepthBytes, &info, kLongMs), 0) << number;
        EXPECT_EQ(info.nFrameNum, number);
        EXPECT_TRUE(IsWhole(image, info));
        EXPECT_EQ(camera.Fetch(0), kNoData);
        camera.Trigger();
    }
}

TEST(Stream, ThatIsRefusedLeavesNothingRunning) {
    const COpenCamera camera("fault = deny_start\n");
    EXPECT_NE(CC(OX_CC_StartGrabbing)(camera), 0);
    const size_t threads = Threads();
    for (int i = 0; i < 5; ++i) {
        EXPECT_NE(CC(OX_CC_StartGrabbing)(camera), 0);
        EXPECT_NE(CC(OX_CC_StartGrabbing)(camera), kCallOrder);
        EXPECT_EQ(camera.Fetch(0), kCallOrder);
        EXPECT_EQ(camera.Stop(), kCallOrder);
    }
    EXPECT_LE(ThreadsSettled(threads), threads);
    camera.Set("TriggerMode", 1);
    EXPECT_EQ(CC(OX_CC_SetBoolValue)(camera, "ChunkModeActive", true), 0) << "nothing is locked";
}

TEST(Nodes, KeepAsManyFramesAsAskedForAndLoseTheOldest) {
    const COpenCamera camera;
    camera.SetNodes(4);
    camera.Set("AcquisitionMode", 2);
    ASSERT_EQ(CC(OX_CC_SetIntValue)(camera, "AcquisitionFrameCount", 10), 0);
    camera.Start();
    EXPECT_TRUE(Eventually([&] { return camera.Lost() == 6; }));
    EXPECT_EQ(camera.Fetch(), 7);
    EXPECT_EQ(camera.Fetch(), 8);
    camera.SetNodes(1);
    EXPECT_EQ(camera.Lost(), 7);
    EXPECT_EQ(camera.Fetch(), 10);
    EXPECT_EQ(camera.Fetch(0), kNoData);
    EXPECT_EQ(camera.Stop(), 0);
    camera.SetNodes(64);
    camera.Start();
    EXPECT_EQ(camera.Fetch(), 1);
    EXPECT_EQ(camera.Lost(), 0) << "counted anew";
}

TEST(Nodes, AreForgottenWhenClearedAndAtTheNextStart) {
    const CTriggeredCamera camera;
    const auto bringOneThatWaits = [&] {
        uint8_t byte = 0;
        OX_FRAME_OUT_INFO_EX info{};
        camera.Trigger();
        EXPECT_EQ(CC(OX_CC_GetOneFrameTimeout)(camera, &byte, 1, &info, kLongMs),
                  Status(OX_CC_E_NO_BUFFER_SPACE));
    };
    camera.Start();
    camera.Trigger();
    const OX_FRAME_OUT frame = camera.Borrow();
    bringOneThatWaits();
    ASSERT_EQ(CC(OX_CC_ClearImageBuffer)(camera), 0);
    EXPECT_EQ(camera.Fetch(0), kNoData);
    EXPECT_EQ(camera.Lost(), 0) << "dropped on purpose";
    EXPECT_EQ(camera.GiveBack(frame), 0) << "a lent frame is not touched";
    bringOneThatWaits();
    EXPECT_EQ(camera.Stop(), 0);
    EXPECT_EQ(camera.Fetch(0), kCallOrder);
    camera.Start();
    EXPECT_EQ(camera.Fetch(30), kNoData);
    camera.Trigger();
    EXPECT_EQ(camera.Fetch(), 1);
}

TEST(Nodes, AreLentBeyondStopAndClose) {
    const COpenCamera camera;
    camera.Start();
    const OX_FRAME_OUT frame = camera.Borrow();
    ASSERT_EQ(camera.Stop(), 0);
    camera.Start();
    EXPECT_EQ(camera.Fetch(), 1);
    EXPECT_TRUE(IsWhole(frame.pBufAddr, frame.stFrameInfo));
    ASSERT_EQ(camera.Close(), 0);
    EXPECT_TRUE(IsWhole(frame.pBufAddr, frame.stFrameInfo));
    EXPECT_EQ(camera.GiveBack(frame), 0);
}

TEST(Nodes, GiveTheirMemoryBackWhenTheCameraIsClosed) {
    const COpenCamera camera("fps = 240\n");
    const size_t before = HeapBytes();
    camera.Start();
    EXPECT_TRUE(Eventually([&] { return camera.Lost() > 0; })); // all nodes hold frames
    EXPECT_EQ(camera.Close(), 0);
    EXPECT_LE(HeapBytes(), before + 32 * kDepthBytes);
}

TEST(Nodes, AreUsedAgainAndNotLentWithoutEnd) {
    const CTriggeredCamera camera;
    camera.SetNodes(3);
    camera.Start();
    std::vector<OX_FRAME_OUT> lent;
    for (int i = 0; i < 16; ++i) {
        camera.Trigger();
        lent.push_back(camera.Borrow());
    }
    camera.Trigger();
    EXPECT_EQ(camera.Fetch(), Status(OX_CC_E_BUFFER_FULL));
    for (const OX_FRAME_OUT& frame : lent) {
        EXPECT_TRUE(IsWhole(frame.pBufAddr, frame.stFrameInfo));
        EXPECT_EQ(camera.GiveBack(frame), 0);
    }
    std::set<const uint8_t*> images;
    for (int i = 0; i < 60; ++i) {
        const OX_FRAME_OUT frame = camera.Borrow();
        images.insert(frame.pBufAddr);
        EXPECT_EQ(camera.GiveBack(frame), 0);
        camera.Trigger();
    }
    EXPECT_LE(images.size(), 32U) << "memory grows";
}

TEST(Fetch, ReturnsAtOnceWhenTheStreamIsStopped) {
    const CTriggeredCamera camera;
    camera.Start();
    CWatched<int> status;
    std::thread waiter([&] {
        int result = kCallOrder;
        while (result == kCallOrder) { // it came between two streams
            result = camera.Fetch(kForever);
        }
        status.Set(result);
    });
    while (status.Get() == 0) {
        EXPECT_EQ(camera.Stop(), 0);
        camera.Start();
        std::this_thread::yield();
    }
    waiter.join();
    EXPECT_EQ(status.Get(), kNoData);
}

TEST(Fetch, MayBeCancelledWithItsThread) {
    const CTriggeredCamera camera;
    camera.Start();
    pthread_t thread = {};
    const auto fetch = [](void* handle) -> void* {
        OX_FRAME_OUT frame{};
        CC(OX_CC_GetImageBuffer)(handle, &frame, kForever);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, fetch, static_cast<void*>(camera)), 0);
    ASSERT_EQ(pthread_cancel(thread), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    camera.Trigger();
    EXPECT_EQ(camera.Fetch(), 1) << "and the next one gets its frame";
}

TEST(Unplug, LeavesTheLastFramesAndThenCleanCodes) {
    CWatched<uint32_t> raised;
    const CHandle camera(std::string("fault = unplug_after 3\n") + kStaysAway);
    CC(OX_GIGE_SetGvcpTimeout)(camera, 50); // many calls are going to wait for it
    camera.Open();
    const OX_CC_EXCEPTION_CALLBACK note = [](uint32_t type, void* user) {
        static_cast<CWatched<uint32_t>*>(user)->Change([&](uint32_t& all) { all += type; });
    };
    CC(OX_CC_RegisterExceptionCallBack)(camera, note, &raised);
    camera.Start();
    EXPECT_TRUE(raised.WaitFor([](uint32_t all) { return all != 0; }));
    for (const int expected : {1, 2, 3, kNoData}) {
        EXPECT_EQ(camera.Fetch(kForever), expected);
    }
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(camera.Fetch(50), kNoData);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50))
        << "a loop would spin";
    OX_CC_INT_VALUE_EX value{};
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(camera, "Width", &value), kGone);
    EXPECT_EQ(CC(OX_CC_SetCommandValue)(camera, "TriggerSoftware"), kGone);
    EXPECT_EQ(camera.Stop(), 0);
    EXPECT_EQ(CC(OX_CC_StartGrabbing)(camera), kGone);
    EXPECT_EQ(camera.Stop(), kCallOrder);
    OX_CC_DEVICE_INFO record = camera.Record();
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(&record, OX_CC_ACCESS_EXCLUSIVE));
    EXPECT_EQ(camera.Close(), 0);
    EXPECT_EQ(raised.Get(), OX_CC_EXCEPTION_DEV_DISCONNECT) << "once";
    EXPECT_EQ(CC(OX_CC_OpenDevice)(camera, OX_CC_ACCESS_EXCLUSIVE, 0), kGone);
    EXPECT_EQ(List().size(), 0U);
    const COpenCamera next; // and the camera that comes then works
    next.Start();
    EXPECT_EQ(next.Fetch(), 1);
}

TEST(Fork, LeavesTheCameraToTheParentAndTheMemoryToTheChild) {
    const CTriggeredCamera camera;
    camera.SetNodes(2);
    camera.Start();
    for (int i = 0; i < 4; ++i) {
        camera.Trigger();
    }
    ASSERT_TRUE(Eventually([&] { return camera.Lost() == 2; }));
    const OX_FRAME_OUT lent = camera.Borrow();
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        void* const handle = camera;
        const size_t before = HeapBytes();
        const int statuses[] = {camera.SetGain(1) == kGone ? 0 : 1,
                                camera.Fetch(kForever) == kGone ? 0 : 2,
                                camera.Stop() == kGone ? 0 : 4,
                                camera.Close() == 0 ? 0 : 8,
                                kSanitized || HeapBytes() + kDepthBytes <= before ? 0 : 16,
                                IsWhole(lent.pBufAddr, lent.stFrameInfo) ? 0 : 32,
                                CC(OX_CC_DestroyHandle)(handle) == 0 ? 0 : 64};
        _exit(std::accumulate(std::begin(statuses), std::end(statuses), 0));
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(camera.SetGain(1), 0);
    EXPECT_EQ(camera.Fetch(), 4);
}

TEST(Lifetime, OfStreamsLeavesNothingBehind) {
    const COpenCamera camera;
    camera.Set("AcquisitionMode", 1); // frames that wait while the machine is busy need nodes
    ExpectRoundsLeaveNothing(4, 16, 8 * kDepthBytes, [&] {
        camera.Start();
        EXPECT_EQ(camera.Fetch(), 1);
        EXPECT_EQ(camera.Stop(), 0);
    });
}

TEST(Lifetime, OfHandlesLeavesNothingBehind) {
    const CHandle camera;
    ExpectRoundsLeaveNothing(6, 12, 12 * kDepthBytes / 2, [&] {
        CHandle handle(camera.Record());
        handle.Open();
        handle.Start();
        handle.Borrow(); // and not given back
        ASSERT_EQ(handle.Destroy(), 0);
    });
}

} // namespace
