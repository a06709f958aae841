// FramesTest.cpp - the frames of a camera: clock, triggers, chunks, what faults do to them, and cycles of frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/frames/CycleSource.h"

using namespace ox3d;
using ox3d::test::CFakeCamera;
using ox3d::test::CFakeSource;
using ox3d::test::FakeConfig;
using namespace std::chrono_literals;

namespace {

CameraFrame Next(CCameraModel& camera) {
    CameraFrame frame;
    EXPECT_EQ(camera.NextFrame(camera.PlugCount(), {}, &frame), ENextFrame::Frame);
    return frame;
}

// Looks from another thread whether a frame comes.
bool IsIdle(CCameraModel& camera) {
    std::stop_source stop;
    auto next = std::async(std::launch::async, [&, plugCount = camera.PlugCount()] {
        CameraFrame frame;
        return camera.NextFrame(plugCount, stop.get_token(), &frame);
    });
    const bool isWaiting = next.wait_for(30ms) == std::future_status::timeout;
    stop.request_stop();
    return isWaiting && next.get() == ENextFrame::Stopped;
}

void EnableChunk(CCameraModel& camera, int64_t selector) {
    camera.SetEnum("CameraWorkingMode", 4);
    camera.SetBoolean("ChunkModeActive", true);
    camera.SetEnum("ChunkSelector", selector);
    camera.SetBoolean("ChunkEnable", true);
}

TEST(Frames, CarryColorOnlyWhenEverySwitchIsOn) {
    for (int off = 0; off < 4; ++off) {
        CFakeCamera camera;
        EnableChunk(camera, 24);
        camera.SetEnum("CameraWorkingMode", off == 0 ? 1 : 4);
        camera.SetBoolean("ChunkModeActive", off != 1);
        camera.SetBoolean("ChunkEnable", off != 2);
        camera.Execute("AcquisitionStart");
        EXPECT_EQ(Next(camera).m_declaredChunkCount, off == 3 ? 1U : 0U) << off;
    }
}

TEST(Frames, OfARecordingTellTheTimeThatIsLatched) {
    static constexpr uint64_t kTicks = 5000000000000000;
    CCameraModel camera(FakeConfig(), [](const FrameSourceConfig&, std::string*) {
        return std::make_unique<CFakeSource>(3, kTicks);
    });
    std::string error;
    ASSERT_EQ(camera.Prepare(&error), EModelStatus::Ok);
    camera.Execute("AcquisitionStart");
    for (int i = 0; i < 2; ++i) {
        const auto shown = static_cast<int64_t>(Next(camera).m_timestampNs);
        camera.Execute("TimestampLatch");
        IntegerValue latched;
        camera.GetInteger("TimestampLatchValue", &latched);
        EXPECT_GE(latched.m_value, shown);
        EXPECT_LT(latched.m_value - shown, 3600000000000) << "nanoseconds";
    }
}

TEST(Frames, CarryTheDemosaicPairFromUsbCamerasWhenSelectedAlsoInGreyMode) {
    CFakeCamera camera(FakeConfig(ETransport::Usb));
    EnableChunk(camera, 24);
    EnableChunk(camera, 19);
    camera.SetEnum("ImageMode", 1);
    camera.Execute("AcquisitionStart");
    const CameraFrame frame = Next(camera);
    EXPECT_EQ(frame.m_pixelFormat, 0x01080001U);
    EXPECT_EQ(frame.m_imageLengthBytes, 32U);
    EXPECT_EQ(frame.m_image[0], 100);
    ASSERT_EQ(frame.m_chunkCount, 2U);
    const CameraChunk& pair = frame.m_chunks[1];
    EXPECT_EQ(pair.m_id, 0xA5A53D11U);
    EXPECT_EQ(pair.m_lengthBytes, 28U + 64U);
    const std::vector<uint8_t> header = {1, 0, 8, 1, 8, 0, 0, 0, 8, 0, 0, 0}; // two views of four rows
    EXPECT_TRUE(std::equal(header.begin(), header.end(), pair.m_bytes.begin()));
    EXPECT_EQ(pair.m_bytes.at(28 + 63), 100);
    IntegerValue payload;
    camera.GetInteger("PayloadSize", &payload);
    EXPECT_EQ(payload.m_value, 32 + 8 + 32 + 36 + 8 + 28 + 64 + 8);
}

TEST(Trigger, CountsEveryTriggerAlsoWhenTheyComeAtOnce) {
    CFakeCamera camera;
    EXPECT_EQ(camera.Execute("TriggerSoftware"), EModelStatus::Access); // triggers are off
    camera.SetEnum("TriggerMode", 1);
    camera.SetEnumByName("TriggerSource", "Line0");
    EXPECT_EQ(camera.Execute("TriggerSoftware"), EModelStatus::Access);
    camera.SetEnumByName("TriggerSource", "Software");
    camera.Execute("AcquisitionStart");
    for (int i = 0; i < 3; ++i) {
        camera.Execute("TriggerSoftware");
    }
    for (uint32_t number = 1; number <= 3; ++number) {
        EXPECT_EQ(Next(camera).m_number, number);
    }
    EXPECT_TRUE(IsIdle(camera));
}

TEST(Frames, ComeAsSoonAsARaisedRateLetsThem) {
    CameraConfig config = FakeConfig();
    config.m_fps = 0.001;
    CFakeCamera camera(config);
    camera.Execute("AcquisitionStart");
    auto next = std::async(std::launch::async, [&] { return Next(camera).m_number; });
    EXPECT_EQ(next.wait_for(30ms), std::future_status::timeout);
    camera.SetFloat("AcquisitionFrameRate", 240);
    EXPECT_EQ(next.wait_for(30s), std::future_status::ready);
    camera.Execute("DeviceReset"); // ends a wait that has not ended
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
        Next(*camera);
        EXPECT_EQ(camera->Execute("AcquisitionStart"), EModelStatus::Ok); // runs already
        EXPECT_EQ(Next(*camera).m_number, 2U);
        EXPECT_TRUE(IsIdle(*camera));
    }
}

TEST(Fault, SpoilsChunksAndImageOfEveryNthFrameOnly) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_chunkLengthBytes = 16;
    config.m_faults.m_chunkCount = 5;
    config.m_faults.m_depthLengthBytes = 10;
    config.m_faults.m_isChunkListMissing = 1;
    config.m_faults.m_badEvery = 3;
    CFakeCamera camera(config);
    EnableChunk(camera, 24);
    camera.Execute("AcquisitionStart");
    CameraFrame frame;
    for (const bool isBad : {false, false, true, false}) {
        ASSERT_EQ(camera.NextFrame(camera.PlugCount(), {}, &frame), ENextFrame::Frame);
        EXPECT_EQ(frame.m_chunks[0].m_lengthBytes, isBad ? 16U : 68U);
        EXPECT_EQ(frame.m_declaredChunkCount, isBad ? 5U : 1U);
        EXPECT_EQ(frame.m_imageLengthBytes, isBad ? 10U : 64U);
        EXPECT_EQ(frame.m_isChunkListMissing, isBad);
    }
}

TEST(CycleSource, ShowsTheFirstFramesOverAndOverWithWhatIsWantedOfThem) {
    std::string error;
    FrameImages images;
    for (const uint64_t frames : {100U, 3U}) { // a source that is shorter than the cycle as well
        const auto source =
            CCycleSource::Create(std::make_unique<CFakeSource>(frames), frames == 3 ? 10U : 3U, &error);
        ASSERT_NE(source, nullptr) << error;
        for (const uint64_t index : {0U, 1U, 2U, 3U, 7U}) {
            ASSERT_TRUE(source->Render(index, index != 1, index == 7, &images));
            EXPECT_EQ(images.m_depth[31], 1000 + index % 3);
            EXPECT_EQ(images.m_colorWidth, index != 1 ? 6U : 0U);
            EXPECT_TRUE(index == 1 || images.m_color[35] == index % 3);
            EXPECT_TRUE(index != 7 || images.m_greyPair[63] == 100 + index % 3);
        }
    }
    EXPECT_EQ(CCycleSource::Create(std::make_unique<CFakeSource>(0), 10, &error), nullptr);
    EXPECT_FALSE(error.empty());
}

} // namespace
