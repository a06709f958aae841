// StreamingTest.cpp - frames by fetching: content, nodes, triggers, ends of streams, and what remains behind.
#include <fstream>
#include <pthread.h>
#include <thread>
#include <vector>

#include "tests/support/OpenThings.h"
#include "tests/providers/virtual/Provider.h"

using namespace ox3d::test;

namespace {

constexpr uint32_t kForever = UINT32_MAX;

// The address sanitizer keeps freed memory for a while; it looks for leaks itself.
#ifdef OX3D_HOLDS_FREED_MEMORY
constexpr bool kHoldsFreedMemory = true;
#else
constexpr bool kHoldsFreedMemory = false;
#endif

size_t ResidentKb() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line) && line.rfind("VmRSS:", 0) != 0) {
    }
    return std::stoul(line.substr(6));
}

TEST(Streaming, DeliversDepthWithColorAsAChunk) {
    CHandle handle(CameraText("T1"));
    handle.Open();
    handle.EnableColor();
    handle.Start();
    uint64_t lastTime = 0;
    for (uint32_t number = 1; number <= 3; ++number) {
        OX_FRAME_OUT frame{};
        ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, 20000), 0);
        const OX_FRAME_OUT_INFO_EX& info = frame.stFrameInfo;
        EXPECT_EQ(info.nFrameNum, number);
        EXPECT_EQ(info.nWidth * 10000 + info.nHeight, 6400480);
        EXPECT_EQ(info.enPixelType, 0x011000B8u);
        EXPECT_EQ(info.nFrameLen, 640u * 480 * 2);
        const uint64_t time = (uint64_t{info.nDevTimeStampHigh} << 32) + info.nDevTimeStampLow;
        EXPECT_GT(time, lastTime);
        lastTime = time;
        ASSERT_EQ(info.nUnparsedChunkNum, 1u);
        const OX_CHUNK_DATA_CONTENT& color = *info.pUnparsedChunkContent;
        EXPECT_EQ(color.nChunkID, OX_CHUNK_EXTENDED_IMAGE);
        EXPECT_EQ(color.nChunkLen, 32u + 3 * 640 * 480);
        uint32_t header[8];
        std::memcpy(header, color.pChunkData, sizeof(header));
        EXPECT_EQ(header[0], 0x02180021u);
        EXPECT_EQ(header[1], 640u);
        EXPECT_EQ(header[2], 480u);
        EXPECT_EQ(header[3], 0u);
        EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), 0);
        EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), Status(OX_CC_E_PARAMETER)); // once only
    }
}

TEST(Streaming, CopiesAFrameIntoABufferThatIsLargeEnough) {
    CHandle handle(CameraText("T5"));
    handle.Open();
    handle.EnableColor();
    ASSERT_EQ(CC(OX_CC_SetEnumValue)(handle, "TriggerMode", 1), 0);
    handle.Start();
    ASSERT_EQ(CC(OX_CC_SetCommandValue)(handle, "TriggerSoftware"), 0);
    std::vector<uint8_t> image(640U * 480 * 2);
    OX_FRAME_OUT_INFO_EX info{};
    EXPECT_EQ(CC(OX_CC_GetOneFrameTimeout)(handle, image.data(), 100, &info, 20000),
              Status(OX_CC_E_NO_BUFFER_SPACE));
    ASSERT_EQ(CC(OX_CC_GetOneFrameTimeout)(handle, image.data(), 640 * 480 * 2, &info, 20000), 0);
    EXPECT_EQ(info.nFrameNum, 1u); // the frame that did not fit was kept
    EXPECT_EQ(info.pUnparsedChunkContent->nChunkID, OX_CHUNK_EXTENDED_IMAGE);
    EXPECT_TRUE(std::any_of(image.begin(), image.end(), [](uint8_t byte) { return byte != 0; }));
    EXPECT_EQ(CC(OX_CC_GetOneFrameTimeout)(handle, image.data(), 640 * 480 * 2, &info, 0),
              Status(OX_CC_E_NO_DATA));
}

TEST(Nodes, KeepAsManyFramesAsAskedForAndLoseTheOldest) {
    CHandle handle(CameraText("N1"));
    handle.Open();
    ASSERT_EQ(CC(OX_CC_SetImageNodeNum)(handle, 4), 0);
    ASSERT_EQ(CC(OX_CC_SetEnumValueByString)(handle, "AcquisitionMode", "MultiFrame"), 0);
    ASSERT_EQ(CC(OX_CC_SetIntValue)(handle, "AcquisitionFrameCount", 10), 0);
    handle.Start();
    OX_CC_INT_VALUE_EX lost{};
    while (lost.nCurValue < 6) {
        ASSERT_EQ(CC(OX_CC_GetIntValueEx)(handle, "StreamLostFrameCount", &lost), 0);
        std::this_thread::yield();
    }
    for (const uint32_t expected : {7u, 8u, 9u, 10u}) {
        EXPECT_EQ(handle.Fetch(), expected);
    }
    EXPECT_EQ(handle.Fetch(0), 0u);
}

TEST(Nodes, ForgetTheirFramesWhenCleared) {
    CHandle handle(CameraText("N2"));
    handle.Open();
    ASSERT_EQ(CC(OX_CC_SetEnumValue)(handle, "TriggerMode", 1), 0);
    handle.Start();
    ASSERT_EQ(CC(OX_CC_SetCommandValue)(handle, "TriggerSoftware"), 0);
    OX_FRAME_OUT frame{};
    ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, 20000), 0);
    ASSERT_EQ(CC(OX_CC_ClearImageBuffer)(handle), 0);
    EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), 0); // a lent frame is not touched
    EXPECT_EQ(handle.Fetch(0), 0u);
}

TEST(Nodes, AreLentBeyondStopAndClose) {
    CHandle handle(CameraText("N3"));
    handle.Open();
    handle.Start();
    OX_FRAME_OUT frame{};
    ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, 20000), 0);
    const std::vector<uint8_t> before(frame.pBufAddr, frame.pBufAddr + frame.stFrameInfo.nFrameLen);
    ASSERT_EQ(CC(OX_CC_CloseDevice)(handle), 0);
    EXPECT_EQ(std::memcmp(before.data(), frame.pBufAddr, before.size()), 0);
    EXPECT_EQ(CC(OX_CC_FreeImageBuffer)(handle, &frame), 0);
}

TEST(Trigger, GivesExactlyOneFrame) {
    CHandle handle(CameraText("G1"));
    handle.Open();
    ASSERT_EQ(CC(OX_CC_SetEnumValue)(handle, "TriggerMode", 1), 0);
    ASSERT_EQ(CC(OX_CC_SetEnumValue)(handle, "TriggerSource", 7), 0);
    handle.Start();
    EXPECT_EQ(handle.Fetch(50), 0u);
    for (uint32_t number = 1; number <= 2; ++number) {
        ASSERT_EQ(CC(OX_CC_SetCommandValue)(handle, "TriggerSoftware"), 0);
        EXPECT_EQ(handle.Fetch(), number);
        EXPECT_EQ(handle.Fetch(50), 0u);
    }
}

TEST(Fetch, ReturnsAtOnceWhenTheStreamIsStopped) {
    CHandle handle(CameraText("F1"));
    handle.Open();
    ASSERT_EQ(CC(OX_CC_SetEnumValue)(handle, "TriggerMode", 1), 0);
    handle.Start();
    CWatched<int> code;
    std::thread waiter([&] {
        OX_FRAME_OUT frame{};
        int result = Status(OX_CC_E_CALL_ORDER);
        while (result == Status(OX_CC_E_CALL_ORDER)) { // it came between two streams
            result = CC(OX_CC_GetImageBuffer)(handle, &frame, kForever);
        }
        code.Set(result);
    });
    while (code.Get() == 0) {
        ASSERT_EQ(CC(OX_CC_StopGrabbing)(handle), 0);
        handle.Start();
        std::this_thread::yield();
    }
    waiter.join();
    EXPECT_EQ(code.Get(), Status(OX_CC_E_NO_DATA));
}

TEST(Fetch, MayBeCancelledWithItsThread) {
    CHandle handle(CameraText("T10"));
    handle.Open();
    ASSERT_EQ(CC(OX_CC_SetEnumValueByString)(handle, "TriggerMode", "On"), 0);
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
    ASSERT_EQ(CC(OX_CC_SetCommandValue)(handle, "TriggerSoftware"), 0);
    EXPECT_EQ(handle.Fetch(), 1u) << "and the next one gets its frame";
}

TEST(Unplug, LeavesTheLastFramesAndThenCleanCodes) {
    CWatched<uint32_t> raised;
    CHandle handle(CameraText("U1", "fault = unplug_after 3"));
    handle.Open();
    CC(OX_CC_RegisterExceptionCallBack)
    (
        handle,
        [](uint32_t type, void* user) {
            static_cast<CWatched<uint32_t>*>(user)->Change([&](uint32_t& all) { all += type; });
        },
        &raised);
    handle.Start();
    EXPECT_EQ(handle.Fetch(), 1u);
    EXPECT_EQ(handle.Fetch(), 2u);
    EXPECT_EQ(handle.Fetch(), 3u);
    OX_FRAME_OUT frame{};
    EXPECT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, kForever), Status(OX_CC_E_NO_DATA));
    EXPECT_TRUE(raised.WaitFor([](uint32_t all) { return all != 0; }));
    OX_CC_INT_VALUE_EX value{};
    EXPECT_EQ(CC(OX_CC_GetIntValueEx)(handle, "Width", &value), Status(OX_CC_E_PRECONDITION));
    EXPECT_EQ(CC(OX_CC_SetCommandValue)(handle, "TriggerSoftware"), Status(OX_CC_E_PRECONDITION));
    EXPECT_EQ(CC(OX_CC_StopGrabbing)(handle), 0);
    EXPECT_EQ(CC(OX_CC_StartGrabbing)(handle), Status(OX_CC_E_PRECONDITION));
    EXPECT_EQ(raised.Get(), OX_CC_EXCEPTION_DEV_DISCONNECT);  // once
    CHandle next(CameraText("U1", "fault = unplug_after 3")); // free again, although the old handle is open
    next.Open();
    next.Start();
    EXPECT_EQ(next.Fetch(), 1u);
}

TEST(Unplug, HidesTheCameraUntilItIsBack) {
    const std::string text = CameraText("U2", "fault = unplug_after 0\nfault = replug_after 600000");
    CHandle handle(text);
    OX_CC_DEVICE_INFO record = *List(text).pDeviceInfo[0];
    handle.Open();
    handle.Start();
    OX_FRAME_OUT frame{};
    EXPECT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, kForever), Status(OX_CC_E_NO_DATA));
    EXPECT_EQ(List(text).nDeviceNum, 0u);
    EXPECT_FALSE(CC(OX_CC_IsDeviceAccessible)(&record, 1));
    ASSERT_EQ(CC(OX_CC_CloseDevice)(handle), 0);
    EXPECT_EQ(CC(OX_CC_OpenDevice)(handle, 1, 0), Status(OX_CC_E_PRECONDITION));
}

TEST(Fault, HandsOutSpoiledChunksWithinTheirMemory) {
    CHandle handle(
        CameraText("Q1", "fault = chunk_length 16\nfault = chunk_count 64\nfault = depth_length 99"));
    handle.Open();
    handle.EnableColor();
    handle.Start();
    OX_FRAME_OUT frame{};
    ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, 20000), 0);
    EXPECT_EQ(frame.stFrameInfo.nFrameLen, 99u);
    ASSERT_EQ(frame.stFrameInfo.nUnparsedChunkNum, 64u);
    EXPECT_EQ(frame.stFrameInfo.pUnparsedChunkContent[0].nChunkLen, 16u);
    EXPECT_EQ(frame.stFrameInfo.pUnparsedChunkContent[63].pChunkData, nullptr);
}

TEST(Lifetime, LeavesNothingBehind) {
    constexpr int kWarmUp = 20;
    constexpr int kRounds = 100; // short here; the whole library is put through a thousand
    size_t threads = 0;
    size_t files = 0;
    size_t memoryKb = 0;
    const OX_CC_DEVICE_INFO_LIST list = List(CameraText("Z1", "fps = 240"));
    for (int round = 0; round < kWarmUp + kRounds; ++round) {
        if (round == kWarmUp) {
            threads = Threads();
            files = OpenFiles();
            memoryKb = ResidentKb();
        }
        void* handle = nullptr;
        OX_FRAME_OUT frame{};
        ASSERT_EQ(CC(OX_CC_CreateHandle)(&handle, list.pDeviceInfo[0]), 0);
        ASSERT_EQ(CC(OX_CC_OpenDevice)(handle, 1, 0), 0);
        ASSERT_EQ(CC(OX_CC_StartGrabbing)(handle), 0);
        ASSERT_EQ(CC(OX_CC_GetImageBuffer)(handle, &frame, 20000), 0); // and not given back
        ASSERT_EQ(CC(OX_CC_DestroyHandle)(handle), 0);
    }
    EXPECT_LE(ThreadsSettled(threads), threads);
    EXPECT_EQ(OpenFiles(), files);
    if (!kHoldsFreedMemory) { // a single frame lost in each round would be 60 MB
        EXPECT_LT(ResidentKb(), memoryKb + 30000);
    }
}

} // namespace
