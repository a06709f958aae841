// StreamTest.cpp - frames over the network: every byte of them, lost packets, and the loss of the camera.
#include "tests/network/Cameras.h"

#include <condition_variable>
#include <mutex>

using namespace ox3d::test;

namespace {

constexpr uint32_t kTimeoutMs = 20000; // a sanitizer on a busy machine is slow
#ifdef OX3D_FEW_FRAMES
constexpr uint32_t kManyFrames = 40;
#else
constexpr uint32_t kManyFrames = 600; // 20 s
#endif

// Fetches so many frames; each must be the one after the last and show what it should.
void ExpectWholeFrames(const CDevice& device, const CTruth& truth, uint32_t frames) {
    ASSERT_EQ(OX3D_RGBD_SetImageNodeNum(device, 8), OX3D_RGBD_OK);
    ASSERT_EQ(OX3D_RGBD_Start(device), OX3D_RGBD_OK);
    for (uint32_t number = 1; number <= frames; ++number) {
        OX3D_RGBD_FRAME_DATA frame;
        ASSERT_EQ(OX3D_RGBD_FetchFrame(device, &frame, kTimeoutMs), OX3D_RGBD_OK) << "frame " << number;
        ASSERT_EQ(frame.stImageData[0].nFrameNum, number) << "frames are lost";
        ASSERT_TRUE(truth.IsShownBy(frame)) << "frame " << number;
    }
    EXPECT_EQ(device.Get("StreamLostFrameCount").stIntParam.nCurValue, 0);
    EXPECT_EQ(OX3D_RGBD_Stop(device), OX3D_RGBD_OK);
}

TEST(NetworkStream, BringsLargeFramesWithoutLoss) {
    const CTruth truth(1280, 720, 1920, 1080);
    const CCameras cameras({"--camera", BigCamera()});
    const CDevice device("BIG");
    ExpectWholeFrames(device, truth, kManyFrames);
}

TEST(NetworkStream, AsksForLostAndSwappedPacketsAgain) {
    const CTruth truth;
    const CCameras cameras({"--camera", "serial=A,cycle=8", "--drop", "2", "--reorder", "2"});
    const CDevice device("A");
    ExpectWholeFrames(device, truth, 60);
    ExpectWholeFrames(device, truth, 20); // the next start counts from one again
}

TEST(NetworkStream, AFrameThatIsNotWholeIsAGapInTheNumbers) {
    const CTruth truth;
    const CCameras cameras({"--camera", "serial=A,cycle=8", "--truncate-frame", "4"});
    const CDevice device("A");
    ASSERT_EQ(OX3D_RGBD_SetImageNodeNum(device, 8), OX3D_RGBD_OK);
    ASSERT_EQ(OX3D_RGBD_Start(device), OX3D_RGBD_OK);
    for (const uint32_t number : {1U, 2U, 3U, 5U, 6U}) {
        OX3D_RGBD_FRAME_DATA frame;
        ASSERT_EQ(OX3D_RGBD_FetchFrame(device, &frame, kTimeoutMs), OX3D_RGBD_OK);
        EXPECT_EQ(frame.stImageData[0].nFrameNum, number);
        EXPECT_TRUE(truth.IsShownBy(frame));
    }
    EXPECT_EQ(device.Get("StreamLostFrameCount").stIntParam.nCurValue, 1);
}

TEST(NetworkStream, ChunksWithLyingLengthsAreNoFrames) {
    const CCameras cameras({"--camera", "serial=A,cycle=8", "--corrupt-chunk-length", "2000000000"});
    const CDevice device("A");
    ASSERT_EQ(OX3D_RGBD_Start(device), OX3D_RGBD_OK);
    OX3D_RGBD_FRAME_DATA frame;
    EXPECT_EQ(OX3D_RGBD_FetchFrame(device, &frame, 1000), OX3D_RGBD_E_NO_DATA);
    EXPECT_GT(device.Get("StreamLostFrameCount").stIntParam.nCurValue, 0);
}

struct Offline {
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<uint32_t> m_ids;

    static void Called(OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
        auto* self = static_cast<Offline*>(user);
        const std::lock_guard lock(self->m_mutex);
        self->m_ids.push_back(info->nExceptionId);
        self->m_changed.notify_all();
    }
    // The documented bound is 5 s; what is waited for here only keeps a failure from hanging.
    bool WaitForIt() {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(30), [this] { return !m_ids.empty(); });
    }
};

TEST(NetworkLoss, OfTheCameraIsToldAndTheNextOneWorks) {
    const CTruth truth;
    auto cameras = std::make_unique<CCameras>(std::vector<std::string>{"--camera", "serial=A,cycle=8"});
    Offline offline;
    {
        const CDevice device("A");
        ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(device, &Offline::Called, &offline), OX3D_RGBD_OK);
        ASSERT_EQ(OX3D_RGBD_Start(device), OX3D_RGBD_OK);
        OX3D_RGBD_FRAME_DATA frame;
        ASSERT_EQ(OX3D_RGBD_FetchFrame(device, &frame, kTimeoutMs), OX3D_RGBD_OK);
        cameras->Kill();
        ASSERT_TRUE(offline.WaitForIt());
        uint32_t status = OX3D_RGBD_OK;
        for (int i = 0; i < 20 && status == OX3D_RGBD_OK; ++i) { // what had arrived before
            status = OX3D_RGBD_FetchFrame(device, &frame, kTimeoutMs);
        }
        EXPECT_EQ(status, OX3D_RGBD_E_NO_DATA);
        OX3D_RGBD_PARAM value{};
        EXPECT_NE(OX3D_RGBD_GetParam(device, "Gain", &value), OX3D_RGBD_OK);
        cameras = nullptr;
    }
    EXPECT_EQ(offline.m_ids, std::vector<uint32_t>{OX3D_RGBD_EXCEPTION_OFFLINE}) << "told once";
    const CCameras again({"--camera", "serial=A,cycle=8"});
    const CDevice device("A");
    ExpectWholeFrames(device, truth, 10);
}

TEST(NetworkLoss, OfControlIsToldWhenTheCameraRestarts) {
    const CCameras cameras({"--camera", "serial=A,cycle=8", "--reboot-after", "1"});
    const CDevice device("A");
    Offline offline;
    ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(device, &Offline::Called, &offline), OX3D_RGBD_OK);
    EXPECT_TRUE(offline.WaitForIt());
    ASSERT_EQ(OX3D_RGBD_RegisterExceptionCallBack(device, nullptr, nullptr), OX3D_RGBD_OK);
}

} // namespace
