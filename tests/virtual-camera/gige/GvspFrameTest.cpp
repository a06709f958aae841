// How a frame becomes packets, and when they go.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>

#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/gige/FramePool.h"
#include "virtual-camera/gige/GvcpPacket.h"
#include "virtual-camera/gige/MessageChannel.h"
#include "virtual-camera/gige/SendPlan.h"

namespace ox3d::test {
namespace {

using namespace ox3d::gige;
using std::chrono::microseconds;
using std::chrono::milliseconds;

CameraFrame SmallFrame(bool isChunked) {
    CameraFrame frame;
    frame.m_width = 30;
    frame.m_height = 20;
    frame.m_pixelFormat = kPixelDepth;
    frame.m_timestampNs = 0x0102030405060708;
    frame.m_image.resize(1200);
    std::iota(frame.m_image.begin(), frame.m_image.end(), uint8_t{0});
    frame.m_imageLengthBytes = 1200;
    frame.m_isChunked = isChunked;
    if (isChunked) {
        frame.m_chunkCount = 1;
        frame.m_chunks[0] = {kChunkExtendedImage, 50, ImageBytes(50, 0xAB)};
    }
    return frame;
}

void Pack(const CameraFrame& frame, uint32_t claimed, GvspFrame* packed) {
    packed->m_blockId = 0x1234;
    packed->m_dataBytes = 540; // packet size 576
    PackGvspFrame(frame, claimed, packed);
}

TEST(GvspFrame, is_leader_full_data_packets_and_trailer) {
    GvspFrame frame;
    Pack(SmallFrame(true), kNoFault, &frame);
    ASSERT_EQ(frame.m_payload.size(), 1200U + 8 + 50 + 8);
    ASSERT_EQ(frame.Packets(), 5U);
    Bytes payload;
    GvspPacket packet;
    for (uint32_t id = 0; id < 5; ++id) {
        MakeGvspPacket(frame, id, &packet);
        EXPECT_EQ(Get32(packet.m_head.data()), 0x1234U);
        const uint32_t format = id == 0 ? 1 : id == 4 ? 2 : 3;
        EXPECT_EQ(Get32(packet.m_head.data() + 4), format << 24 | id);
        EXPECT_TRUE(id == 0 || id >= 3 || packet.m_data.size() == 540U);
        payload.insert(payload.end(), packet.m_data.begin(), packet.m_data.end());
    }
    EXPECT_EQ(payload, frame.m_payload);
    EXPECT_EQ(packet.m_headBytes, 8U + 16);
    const uint8_t* trailer = packet.m_head.data() + 8;
    EXPECT_EQ(Get16(trailer + 2), 0x4001);
    EXPECT_EQ(Get32(trailer + 4), 20U);
    EXPECT_EQ(Get32(trailer + 8), 1266U);

    MakeGvspPacket(frame, 0, &packet);
    EXPECT_EQ(packet.m_headBytes, 8U + 36);
    const uint8_t* leader = packet.m_head.data() + 8;
    EXPECT_EQ(Get16(leader + 2), 0x4001);
    EXPECT_EQ(Get32(leader + 4), 0x01020304U);
    EXPECT_EQ(Get32(leader + 8), 0x05060708U);
    EXPECT_EQ(Get32(leader + 12), kPixelDepth);
    EXPECT_EQ(Get32(leader + 16), 30U);
    EXPECT_EQ(Get32(leader + 20), 20U);
}

TEST(GvspFrame, chunks_are_found_from_the_end) {
    GvspFrame frame;
    Pack(SmallFrame(true), kNoFault, &frame);
    const uint8_t* end = frame.m_payload.data() + frame.m_payload.size();
    EXPECT_EQ(Get32(end - 8), kChunkExtendedImage);
    EXPECT_EQ(Get32(end - 4), 50U);
    end -= 58;
    EXPECT_EQ(Get32(end - 8), kChunkMainImage);
    EXPECT_EQ(Get32(end - 4), 1200U);
    EXPECT_EQ(end - 8 - 1200, frame.m_payload.data());

    Pack(SmallFrame(true), 77, &frame); // the claim changes, the layout does not
    ASSERT_EQ(frame.m_payload.size(), 1266U);
    EXPECT_EQ(Get32(frame.m_payload.data() + 1262), 77U);
}

TEST(GvspFrame, without_chunk_mode_is_the_image_alone) {
    GvspFrame frame;
    const CameraFrame image = SmallFrame(false);
    Pack(image, kNoFault, &frame);
    EXPECT_THAT(frame.m_payload, testing::ElementsAreArray(image.m_image));
    GvspPacket packet;
    MakeGvspPacket(frame, frame.Packets() - 1, &packet);
    EXPECT_EQ(packet.m_headBytes, 8U + 8);
    EXPECT_EQ(Get16(packet.m_head.data() + 10), 0x0001);
}

TEST(GvspFrame, test_packets_fill_the_packet_size) {
    EXPECT_EQ(MakeGvspTestPacket(1500).size(), 1500U - 28);
}

TEST(BlockIds, go_on_over_acquisitions_and_round_past_zero) {
    CBlockIds ids;
    EXPECT_EQ(ids.Next(1), 1);
    EXPECT_EQ(ids.Next(3), 3); // a skipped frame skips a block
    EXPECT_EQ(ids.Next(1), 4);
    EXPECT_EQ(ids.Next(65532), 0xFFFF);
    EXPECT_EQ(ids.Next(65533), 1);
    ids.ChannelOpened();
    EXPECT_EQ(ids.Next(1), 1);
}

TEST(SendPlan, spreads_packets_over_most_of_the_period_and_keeps_the_packet_delay) {
    const struct {
        uint32_t m_packets;
        microseconds m_period;
        microseconds m_delay;
    } table[] = {{5509, microseconds(33333), microseconds(0)},
                 {900, microseconds(33333), microseconds(0)},
                 {3, microseconds(1000000), microseconds(0)},
                 {900, microseconds(33333), microseconds(500)},
                 {100000, microseconds(4000), microseconds(0)}};
    for (const auto& row : table) {
        const SendPlan plan = PlanSending(row.m_packets, row.m_period, row.m_delay);
        EXPECT_GE(plan.m_groupPackets, 1U);
        EXPECT_LE(plan.m_groupPackets, kMaxGroupPackets);
        EXPECT_GE(plan.m_groupInterval, row.m_delay * plan.m_groupPackets);
        const auto whole = plan.m_groupInterval * row.m_packets / plan.m_groupPackets;
        if (row.m_delay.count() == 0) {
            EXPECT_LE(whole, row.m_period * 0.76);
            EXPECT_GE(whole, row.m_period * 0.70);
        }
    }
}

TEST(FramePool, remembers_the_last_frames_and_uses_memory_again) {
    CFramePool pool;
    const GvspFrame* first = nullptr;
    for (uint16_t id = 1; id <= CFramePool::kMaxSentFrames + 1; ++id) {
        std::shared_ptr<GvspFrame> frame = pool.Take();
        frame->m_blockId = id;
        first = id == 1 ? frame.get() : first;
        pool.Remember(std::move(frame));
    }
    EXPECT_EQ(pool.Find(1), nullptr);
    ASSERT_NE(pool.Find(2), nullptr);
    EXPECT_EQ(pool.Find(2)->m_blockId, 2);
    EXPECT_EQ(pool.Take().get(), first);
}

TEST(Events, carry_number_block_time_and_data) {
    const Bytes payload = EventPayload({kEventExposureEnd, 9, 0x0102030405060708, {1, 2, 3}});
    const Bytes expected = {0, 0, 0, 4, 0, 0, 0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 0};
    EXPECT_EQ(payload, expected);
    const Bytes message = GvcpMessage(EGvcpCommand::EventData, 3, payload);
    EXPECT_EQ(Get32(message.data()), 0x420000C2U);
    EXPECT_EQ(Get32(message.data() + 4), 20U << 16 | 3);
}

} // namespace
} // namespace ox3d::test
