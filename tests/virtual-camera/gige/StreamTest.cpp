// StreamTest.cpp - what is not seen in a stream that works: packets that are asked for again, numbers that go round,
// when packets go, which frames are remembered.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/gige/FramePool.h"
#include "virtual-camera/gige/GvcpPacket.h"
#include "virtual-camera/gige/MessageChannel.h"
#include "virtual-camera/gige/SendPlan.h"
#include "virtual-camera/gige/StreamSender.h"

namespace ox3d::test {
namespace {

using namespace ox3d::gige;
using std::chrono::microseconds;

// The next datagram; empty when none comes for a long time.
Bytes Receive(CUdpSocket& receiver) {
    pollfd wait{receiver.Descriptor(), POLLIN, 0};
    Bytes bytes(20000);
    Endpoint from;
    bytes.resize(poll(&wait, 1, 10000) > 0 ? receiver.Receive(bytes, &from).value_or(0) : 0);
    return bytes;
}

TEST(GigeStream, SendsLostPacketsAgainAndRefusesForgottenOnes) {
    constexpr uint32_t kLocal = 0x7F000001;
    CFakeCamera camera;
    CMessageChannel messages(camera);
    CStreamSender stream(camera, messages);
    CUdpSocket receiver;
    stream.Move(kLocal);
    ASSERT_TRUE(receiver.Open({kLocal, 0}));
    camera.SetTransportValue(EFeature::GevSCDA, kLocal);
    camera.SetTransportValue(EFeature::GevSCPHostPort, receiver.Port());
    stream.OnChannelWritten();
    stream.Start();
    camera.SetEnumByName("AcquisitionMode", "SingleFrame");
    camera.Execute("AcquisitionStart");
    Bytes packets[3]; // leader, image, trailer
    for (Bytes& packet : packets) {
        packet = Receive(receiver);
        ASSERT_GE(packet.size(), 8U);
    }
    ASSERT_EQ(packets[1].size(), 8U + 64);
    stream.Resend({1, 1, 1});
    EXPECT_EQ(Receive(receiver), packets[1]);
    stream.Resend({1, 3, 0xFFFFFF}); // beyond the frame's end
    stream.Resend({1, 2, 1});        // the wrong way round
    stream.Resend({7, 4, 5});        // of a block that is not known
    for (const uint32_t id : {4U, 5U}) {
        const Bytes refusal = Receive(receiver);
        ASSERT_EQ(refusal.size(), 8U);
        EXPECT_EQ(Get32(refusal.data()), 0x80120007U);
        EXPECT_EQ(Get32(refusal.data() + 4) & 0xFFFFFF, id);
    }
}

TEST(BlockIds, GoOnOverAcquisitionsAndRoundPastZero) {
    CBlockIds ids;
    EXPECT_EQ(ids.Next(1), 1);
    EXPECT_EQ(ids.Next(3), 3); // a skipped frame skips a block
    EXPECT_EQ(ids.Next(1), 4);
    EXPECT_EQ(ids.Next(65532), 0xFFFF);
    EXPECT_EQ(ids.Next(65533), 1);
    ids.ChannelOpened();
    EXPECT_EQ(ids.Next(1), 1);
}

TEST(SendPlan, SpreadsPacketsOverMostOfThePeriodAndKeepsThePacketDelay) {
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

TEST(FramePool, RemembersTheLastFramesAndUsesMemoryAgain) {
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

TEST(Events, CarryNumberBlockTimeAndData) {
    const Bytes payload = EventPayload({kEventExposureEnd, 9, 0x0102030405060708, {1, 2, 3}});
    const Bytes expected = {0, 0, 0, 4, 0, 0, 0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 0};
    EXPECT_EQ(payload, expected);
    const Bytes message = GvcpMessage(EGvcpCommand::EventData, 3, payload);
    EXPECT_EQ(Get32(message.data()), 0x420000C2U);
    EXPECT_EQ(Get32(message.data() + 4), 20U << 16 | 3);
}

} // namespace
} // namespace ox3d::test
