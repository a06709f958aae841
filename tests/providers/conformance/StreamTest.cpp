// StreamTest.cpp - frames by fetching: their content, image nodes, triggers, ends of streams, what remains behind.
#include <pthread.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "tests/providers/conformance/Provider.h"
#include "tests/support/OpenThings.h"
#include "tests/support/Waiting.h"

using namespace ox3d::test;

namespace {

TEST(Stream, BringsWholeFramesNumberedFromOneAfterEachStart) {
    const CHandle handle;
    handle.Open();
    for (int start = 0; start < 3; ++start) {
        if (start == 1) {
            handle.EnableColor();
        }
        handle.Start();
        uint64_t lastTime = 0;
        for (uint32_t number = 1; number <= 6; ++number) {
            OX_FRAME_OUT frame{};
            ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, kLongMs), 0);
            const OX_FRAME_OUT_INFO_EX& info = frame.stFrameInfo;
            EXPECT_EQ(info.nFrameNum, number);
            EXPECT_EQ(info.nUnparsedChunkNum, start == 0 ? 0U : 1U);
            EXPECT_TRUE(IsWhole(frame.pBufAddr, info)) << number;
            const uint64_t time = uint64_t{info.nDevTimeStampHigh} << 32 | info.nDevTimeStampLow;
            EXPECT_GT(time, lastTime);
            lastTime = time;
            EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), 0);
            EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), Status(OX_CC_E_PARAMETER)); // once only
        }
        EXPECT_EQ(handle.Lost(), 0);
        EXPECT_EQ(handle.Stop(), 0);
    }
}

TEST(Stream, CopiesAFrameIntoABufferThatIsLargeEnough) {
    const CHandle handle;
    handle.OpenForTriggers();
    handle.EnableColor();
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 3), 0); // copies that are never given back are soon too many
    handle.Start();
    std::vector<uint8_t> bytes(kDepthBytes + 64);
    uint8_t* image = bytes.data() + (64 - reinterpret_cast<uintptr_t>(bytes.data()) % 64);
    OX_FRAME_OUT_INFO_EX info{};
    handle.Trigger();
    EXPECT_EQ(CC(OX_CC_GetOneFrameTimeout)(handle, image, kDepthBytes - 1, &info, kLongMs),
              Status(OX_CC_E_NO_BUFFER_SPACE));
    for (uint32_t number = 1; number <= 20; ++number) { // the first is the one that did not fit
        ASSERT_EQ(CC(OX_CC_GetOneFrameTimeout)(handle, image, kDepthBytes, &info, kLongMs), 0) << number;
        EXPECT_EQ(info.nFrameNum, number);
        EXPECT_TRUE(IsWhole(image, info));
        EXPECT_EQ(CC(OX_CC_GetOneFrameTimeout)(handle, image, kDepthBytes, &info, 0), kNoData);
        handle.Trigger();
    }
}

TEST(Stream, ThatIsRefusedLeavesNothingRunning) {
    const CHandle handle("fault = deny_start\n");
    handle.Open();
    EXPECT_NE(CC(OX_CC_StartGrabbing)(handle), 0);
    const size_t threads = Threads();
    for (int i = 0; i < 5; ++i) {
        EXPECT_NE(CC(OX_CC_StartGrabbing)(handle), 0);
        EXPECT_NE(CC(OX_CC_StartGrabbing)(handle), kCallOrder);
        EXPECT_EQ(handle.FetchStatus(), kCallOrder);
        EXPECT_EQ(handle.Stop(), kCallOrder);
    }
    EXPECT_LE(ThreadsSettled(threads), threads);
    handle.Set("TriggerMode", 1);
    EXPECT_EQ(CC(OX_CC_SetBoolValue)(handle, "ChunkModeActive", true), 0) << "nothing is locked";
}

TEST(Nodes, KeepAsManyFramesAsAskedForAndLoseTheOldest) {
    const CHandle handle;
    handle.Open();
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 4), 0);
    handle.Set("AcquisitionMode", 2);
    ASSERT_EQ(CC(OX_CC_SetIntValue)(handle, "AcquisitionFrameCount", 10), 0);
    handle.Start();
    while (handle.Lost() < 6) {
        std::this_thread::yield();
    }
    for (const uint32_t expected : {7U, 8U}) {
        EXPECT_EQ(handle.Fetch(), expected);
    }
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 1), 0);
    EXPECT_EQ(handle.Lost(), 7);
    EXPECT_EQ(handle.Fetch(), 10U);
    EXPECT_EQ(handle.Fetch(0), 0U);
    EXPECT_EQ(handle.Stop(), 0);
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 64), 0);
    handle.Start();
    EXPECT_EQ(handle.Fetch(), 1U);
    EXPECT_EQ(handle.Lost(), 0) << "counted anew";
}

TEST(Nodes, AreForgottenWhenClearedAndAtTheNextStart) {
    const CHandle handle;
    handle.OpenForTriggers();
    handle.Start();
    handle.Trigger();
    OX_FRAME_OUT frame{};
    ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, kLongMs), 0);
    handle.Trigger();
    EXPECT_EQ(handle.Fetch(), 2U); // one more, so that the next is there when it is cleared
    handle.Trigger();
    std::vector<uint8_t> small(1);
    OX_FRAME_OUT_INFO_EX info{};
    EXPECT_EQ(CC(OX_CC_GetOneFrameTimeout)(handle, small.data(), 1, &info, kLongMs),
              Status(OX_CC_E_NO_BUFFER_SPACE)); // it waits
    ASSERT_EQ(CC(OX_CC_ClearImageBuffer)(handle), 0);
    EXPECT_EQ(handle.Fetch(0), 0U);
    EXPECT_EQ(handle.Lost(), 0) << "dropped on purpose";
    EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), 0) << "a lent frame is not touched";
    handle.Trigger();
    EXPECT_EQ(CC(OX_CC_GetOneFrameTimeout)(handle, small.data(), 1, &info, kLongMs),
              Status(OX_CC_E_NO_BUFFER_SPACE));
    EXPECT_EQ(handle.Stop(), 0);
    EXPECT_EQ(handle.FetchStatus(), kCallOrder);
    handle.Start();
    EXPECT_EQ(handle.Fetch(30), 0U);
    handle.Trigger();
    EXPECT_EQ(handle.Fetch(), 1U);
}

TEST(Nodes, AreLentBeyondStopAndClose) {
    const CHandle handle;
    handle.Open();
    handle.Start();
    OX_FRAME_OUT frame{};
    ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, kLongMs), 0);
    ASSERT_EQ(handle.Stop(), 0);
    handle.Start();
    EXPECT_EQ(handle.Fetch(), 1U);
    EXPECT_TRUE(IsWhole(frame.pBufAddr, frame.stFrameInfo));
    ASSERT_EQ(handle.Close(), 0);
    EXPECT_TRUE(IsWhole(frame.pBufAddr, frame.stFrameInfo));
    EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), 0);
    EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), Status(OX_CC_E_PARAMETER));
}

TEST(Nodes, GiveTheirMemoryBackWhenTheCameraIsClosed) {
    const CHandle handle("fps = 240\n");
    handle.Open();
    const size_t before = HeapBytes();
    handle.Start();
    EXPECT_TRUE(Eventually([&] { return handle.Lost() > 0; })); // all nodes hold frames
    EXPECT_EQ(handle.Close(), 0);
    EXPECT_LE(HeapBytes(), before + 32 * kDepthBytes);
}

TEST(Nodes, AreUsedAgainAndNotLentWithoutEnd) {
    const CHandle handle;
    handle.OpenForTriggers();
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 3), 0);
    handle.Start();
    std::vector<OX_FRAME_OUT> lent(100);
    size_t count = 0;
    int status = 0;
    while (status == 0 && count < lent.size()) {
        handle.Trigger();
        status = CC(OX_CC_GetImageBuffer)(handle, &lent[count], kLongMs);
        count += status == 0 ? 1 : 0;
    }
    EXPECT_EQ(status, Status(OX_CC_E_BUFFER_FULL));
    ASSERT_EQ(count, 16U);
    for (size_t i = 0; i < count; ++i) {
        EXPECT_TRUE(IsWhole(lent[i].pBufAddr, lent[i].stFrameInfo));
        EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &lent[i]), 0);
    }
    std::set<const uint8_t*> images;
    for (int i = 0; i < 60; ++i) {
        OX_FRAME_OUT frame{};
        ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, kLongMs), 0);
        images.insert(frame.pBufAddr);
        EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), 0);
        handle.Trigger();
    }
    EXPECT_LE(images.size(), 32U) << "memory grows";
}

TEST(Trigger, GivesExactlyOneFrame) {
    const CHandle handle;
    handle.OpenForTriggers();
    handle.Start();
    EXPECT_EQ(handle.Fetch(50), 0U);
    for (uint32_t number = 1; number <= 2; ++number) {
        handle.Trigger();
        EXPECT_EQ(handle.Fetch(), number);
        EXPECT_EQ(handle.Fetch(50), 0U);
    }
}

TEST(Fetch, ReturnsAtOnceWhenTheStreamIsStopped) {
    const CHandle handle;
    handle.OpenForTriggers();
    handle.Start();
    CWatched<int> status;
    std::thread waiter([&] {
        int result = kCallOrder;
        while (result == kCallOrder) { // it came between two streams
            result = handle.FetchStatus(kForever);
        }
        status.Set(result);
    });
    while (status.Get() == 0) {
        ASSERT_EQ(handle.Stop(), 0);
        handle.Start();
        std::this_thread::yield();
    }
    waiter.join();
    EXPECT_EQ(status.Get(), kNoData);
}

TEST(Fetch, MayBeCancelledWithItsThread) {
    const CHandle handle;
    handle.OpenForTriggers();
    handle.Start();
    pthread_t thread = {};
    const auto fetch = [](void* camera) -> void* {
        OX_FRAME_OUT frame{};
        CC(OX_CC_GetImageBuffer)(camera, &frame, kForever);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, fetch, static_cast<void*>(handle)), 0);
    ASSERT_EQ(pthread_cancel(thread), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    handle.Trigger();
    EXPECT_EQ(handle.Fetch(), 1U) << "and the next one gets its frame";
}

TEST(Unplug, LeavesTheLastFramesAndThenCleanCodes) {
    CWatched<uint32_t> raised;
    const CHandle handle(std::string("fault = unplug_after 3\n") + kStaysAway);
    CC(OX_GIGE_SetGvcpTimeout)(handle, 50); // many calls are going to wait for it
    handle.Open();
    CC(OX_CC_RegisterExceptionCallBack)
    (
        handle,
        [](uint32_t type, void* user) {
            static_cast<CWatched<uint32_t>*>(user)->Change([&](uint32_t& all) { all += type; });
        },
        &raised);
    handle.Start();
    EXPECT_TRUE(raised.WaitFor([](uint32_t all) { return all != 0; }));
    for (const uint32_t number : {1U, 2U, 3U}) {
        EXPECT_EQ(handle.Fetch(), number);
    }
    EXPECT_EQ(handle.FetchStatus(kForever), kNoData);
    OX_CC_INT_VALUE_EX value{};
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(handle, "Width", &value), kGone);
    EXPECT_EQ(CC(OX_CC_SetCommandValue)(handle, "TriggerSoftware"), kGone);
    EXPECT_EQ(handle.Stop(), 0);
    EXPECT_EQ(CC(OX_CC_StartGrabbing)(handle), kGone);
    EXPECT_EQ(handle.Stop(), kCallOrder);
    OX_CC_DEVICE_INFO record = handle.Record();
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(&record, 1));
    EXPECT_EQ(handle.Close(), 0);
    EXPECT_EQ(raised.Get(), OX_CC_EXCEPTION_DEV_DISCONNECT) << "once";
    EXPECT_EQ(CC(OX_CC_OpenDevice)(handle, 1, 0), kGone);
    EXPECT_EQ(List().size(), 0U);
    const CHandle next; // and the camera that comes then works
    next.Open();
    next.Start();
    EXPECT_EQ(next.Fetch(), 1U);
}

TEST(Lifetime, OfStreamsLeavesNothingBehind) {
    const CHandle handle;
    handle.Open();
    ExpectRoundsLeaveNothing(4, 16, 8 * kDepthBytes, [&] {
        handle.Start();
        EXPECT_EQ(handle.Fetch(), 1U);
        EXPECT_EQ(handle.Stop(), 0);
    });
}

TEST(Lifetime, OfHandlesLeavesNothingBehind) {
    const CHandle camera;
    ExpectRoundsLeaveNothing(6, 12, 12 * kDepthBytes / 2, [&] {
        CHandle handle(camera.Record());
        handle.Open();
        handle.Start();
        OX_FRAME_OUT frame{};
        ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, kLongMs), 0); // and not given back
        ASSERT_EQ(handle.Destroy(), 0);
    });
}

} // namespace
