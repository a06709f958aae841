// FramesTest.cpp - the frames of a camera: numbers, clock, triggers, chunks, and what faults do to them.
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "tests/virtual-camera/FakeSource.h"

using namespace ox3d;
using ox3d::test::CFakeCamera;
using ox3d::test::FakeConfig;
using enum EModelStatus;
using namespace std::chrono_literals;

namespace {

uint32_t Word(const CameraChunk& chunk, size_t index) {
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;) {
        value = (value << 8) | chunk.m_bytes.at(4 * index + i);
    }
    return value;
}

CameraFrame Next(CCameraModel& camera) {
    CameraFrame frame;
    EXPECT_EQ(camera.NextFrame(camera.PlugCount(), {}, &frame), ENextFrame::Frame);
    return frame;
}

void EnableRgbd(CCameraModel& camera) {
    camera.SetEnum("CameraWorkingMode", 4);
    camera.SetBoolean("ChunkModeActive", true);
    camera.SetEnum("ChunkSelector", 24);
    camera.SetBoolean("ChunkEnable", true);
}

// Waits for a frame on another thread, so that a test can see that none comes.
class CWaitingFrame {
public:
    explicit CWaitingFrame(CCameraModel& camera)
        : m_result(std::async(std::launch::async, [this, &camera, plugCount = camera.PlugCount()] {
              return camera.NextFrame(plugCount, m_stop.get_token(), &m_frame);
          })) {}
    ~CWaitingFrame() { m_stop.request_stop(); }
    bool ComesWithin(std::chrono::milliseconds time) {
        return m_result.wait_for(time) == std::future_status::ready;
    }
    ENextFrame Result() { return m_result.get(); }
    void Stop() { m_stop.request_stop(); }
    const CameraFrame& Frame() const { return m_frame; }

private:
    CameraFrame m_frame;
    std::stop_source m_stop;
    std::future<ENextFrame> m_result;
};

TEST(Frames, AreNumberedFromOneAfterEachStartAndShowTheirOwnImage) {
    CFakeCamera camera;
    for (int start = 0; start < 2; ++start) {
        camera.Execute("AcquisitionStart");
        uint64_t lastNs = 0;
        for (uint32_t number = 1; number <= 3; ++number) {
            const CameraFrame frame = Next(camera);
            EXPECT_EQ(frame.m_number, number);
            EXPECT_EQ(frame.m_image[0] + 256 * frame.m_image[1], 1000 + static_cast<int>(number) - 1);
            EXPECT_EQ(frame.m_imageLengthBytes, 64u);
            EXPECT_EQ(frame.m_pixelFormat, 0x011000B8u);
            EXPECT_EQ(frame.m_width * 100 + frame.m_height, 804u);
            EXPECT_GT(frame.m_timestampNs, lastNs);
            lastNs = frame.m_timestampNs;
        }
        camera.Execute("AcquisitionStop");
    }
}

TEST(Frames, CarryColorOnlyWhenEverySwitchIsOn) {
    for (int off = 0; off < 4; ++off) {
        CFakeCamera camera;
        EnableRgbd(camera);
        camera.SetEnum("CameraWorkingMode", off == 0 ? 1 : 4);
        camera.SetBoolean("ChunkModeActive", off != 1);
        camera.SetBoolean("ChunkEnable", off != 2);
        camera.Execute("AcquisitionStart");
        const CameraFrame frame = Next(camera);
        ASSERT_EQ(frame.m_chunkCount, off == 3 ? 1u : 0u) << off;
        EXPECT_EQ(frame.m_declaredChunkCount, frame.m_chunkCount);
    }
}

TEST(Frames, CarryTheDemosaicPairFromUsbCamerasWhenSelectedAlsoInGreyMode) {
    CFakeCamera camera(FakeConfig(ETransport::Usb));
    EnableRgbd(camera);
    camera.SetEnum("ChunkSelector", 19);
    camera.SetBoolean("ChunkEnable", true);
    camera.SetEnum("ImageMode", 1);
    camera.Execute("AcquisitionStart");
    const CameraFrame frame = Next(camera);
    EXPECT_EQ(frame.m_pixelFormat, 0x01080001u);
    EXPECT_EQ(frame.m_imageLengthBytes, 32u);
    EXPECT_EQ(frame.m_image[0], 100);
    ASSERT_EQ(frame.m_chunkCount, 2u);
    const CameraChunk& pair = frame.m_chunks[1];
    EXPECT_EQ(pair.m_id, 0xA5A53D11u);
    EXPECT_EQ(pair.m_lengthBytes, 28u + 64u);
    EXPECT_EQ(Word(pair, 0), 0x01080001u);
    EXPECT_EQ(Word(pair, 1), 8u);
    EXPECT_EQ(Word(pair, 2), 8u); // two views of four rows
}

TEST(Trigger, CountsEveryTriggerAlsoWhenTheyComeAtOnce) {
    CFakeCamera camera;
    camera.SetEnum("TriggerMode", 1);
    camera.Execute("AcquisitionStart");
    for (int i = 0; i < 3; ++i) {
        camera.Execute("TriggerSoftware");
    }
    for (uint32_t number = 1; number <= 3; ++number) {
        EXPECT_EQ(Next(camera).m_number, number);
    }
    CWaitingFrame waiting(camera);
    EXPECT_FALSE(waiting.ComesWithin(30ms));
    waiting.Stop();
    EXPECT_EQ(waiting.Result(), ENextFrame::Stopped);
}

TEST(FrameClock, WaitsOnePeriodFirstAndNeverHurries) {
    const CFrameClock::Time start{};
    CFrameClock clock;
    clock.Start(start);
    EXPECT_EQ(clock.Due(false, 10ms, 1ms), start + 10ms);
    clock.Taken(false, start + 10ms, start + 12ms, 10ms); // a little late: the rhythm stays
    EXPECT_EQ(clock.Due(false, 10ms, 1ms), start + 20ms);
    clock.Taken(false, start + 20ms, start + 95ms, 10ms); // very late: a new rhythm
    EXPECT_EQ(clock.Due(false, 10ms, 1ms), start + 105ms);
    EXPECT_EQ(clock.Due(true, 10ms, 1ms), std::nullopt);
    clock.Trigger(start + 200ms);
    EXPECT_EQ(clock.Due(true, 10ms, 1ms), start + 201ms);
    clock.Start(start + 300ms); // triggers of before are forgotten
    EXPECT_EQ(clock.Due(true, 10ms, 1ms), std::nullopt);
}

TEST(Acquisition, EndsByItselfWhereItsModeOrItsSourceSaySo) {
    CFakeCamera counted;
    counted.SetEnumByName("AcquisitionMode", "MultiFrame");
    counted.SetInteger("AcquisitionFrameCount", 2);
    CFakeCamera ending(FakeConfig(), 2);
    for (CCameraModel* camera : {static_cast<CCameraModel*>(&counted), static_cast<CCameraModel*>(&ending)}) {
        camera->Execute("AcquisitionStart");
        EXPECT_EQ(Next(*camera).m_number, 1u);
        EXPECT_EQ(Next(*camera).m_number, 2u);
        CWaitingFrame waiting(*camera);
        EXPECT_FALSE(waiting.ComesWithin(30ms));
    }
}

TEST(Fault, SpoilsChunksAndImageOfEveryNthFrameOnly) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_chunkLengthBytes = 16;
    config.m_faults.m_chunkCount = 5;
    config.m_faults.m_depthLengthBytes = 10;
    config.m_faults.m_isChunkListMissing = 1;
    config.m_faults.m_badEvery = 2;
    CFakeCamera camera(config);
    EnableRgbd(camera);
    camera.Execute("AcquisitionStart");
    const CameraFrame good = Next(camera);
    CameraFrame bad = Next(camera);
    EXPECT_EQ(good.m_chunks[0].m_lengthBytes, 68u);
    EXPECT_EQ(good.m_declaredChunkCount, 1u);
    EXPECT_EQ(good.m_imageLengthBytes, 64u);
    EXPECT_FALSE(good.m_isChunkListMissing);
    EXPECT_EQ(bad.m_chunks[0].m_lengthBytes, 16u);
    EXPECT_EQ(bad.m_declaredChunkCount, 5u);
    EXPECT_EQ(bad.m_imageLengthBytes, 10u);
    EXPECT_TRUE(bad.m_isChunkListMissing);
    ASSERT_EQ(camera.NextFrame(camera.PlugCount(), {}, &bad), ENextFrame::Frame); // into the same memory
    EXPECT_EQ(bad.m_declaredChunkCount, 1u);
    EXPECT_FALSE(bad.m_isChunkListMissing);
}

} // namespace
