// StreamTest.cpp - what is not seen in a stream that works: packets that are asked for again, numbers that go round,
// when packets go, which frames are remembered.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>

#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/gige/GvcpPacket.h"
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
    stream.FireTestPacket();
    EXPECT_EQ(Receive(receiver).size(), 1500U - 28);
    camera.SetEnumByName("AcquisitionMode", "SingleFrame");
    const uint64_t before = camera.TimestampNs();
    camera.Execute("AcquisitionStart");
    const Bytes leader = Receive(receiver);
    ASSERT_EQ(leader.size(), 8U + 36);
    EXPECT_GT(Get64(leader.data() + 12), before); // nanoseconds
    EXPECT_LT(Get64(leader.data() + 12), camera.TimestampNs());
    const Bytes image = Receive(receiver);
    ASSERT_EQ(image.size(), 8U + 64);
    EXPECT_EQ(Receive(receiver), (Bytes{0, 0, 0, 1, 2, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 4})); // the trailer
    stream.SetMuted(true);
    stream.Resend({1, 0, 0});
    stream.SetMuted(false);
    stream.Resend({1, 1, 1});
    EXPECT_EQ(Receive(receiver), image);
    stream.Resend({1, 3, 0xFFFFFF}); // beyond the frame's end
    stream.Resend({1, 2, 1});        // the wrong way round
    stream.Resend({7, 4, 5});        // of a block that is not known
    for (const uint8_t id : {4, 5}) {
        EXPECT_EQ(Receive(receiver), (Bytes{0x80, 0x12, 0, 7, 3, 0, 0, id}));
    }
}

TEST(GigeStream, SocketsFragmentOnlyWhereTheyMay) {
    CUdpSocket socket;
    ASSERT_TRUE(socket.Open({0x7F000001, 0}));
    for (const bool isSet : {true, false}) {
        int value = -1;
        socklen_t lengthBytes = sizeof(value);
        socket.SetDoNotFragment(isSet);
        getsockopt(socket.Descriptor(), IPPROTO_IP, IP_MTU_DISCOVER, &value, &lengthBytes);
        EXPECT_EQ(value, isSet ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT);
    }
}

TEST(BlockIds, GoOnOverAcquisitionsAndRoundPastZero) {
    CBlockIds ids;
    EXPECT_EQ(ids.Next(1), 1);
    EXPECT_EQ(ids.Next(3), 3); // a skipped frame skips a block
    EXPECT_EQ(ids.Next(1), 4);
    EXPECT_EQ(ids.Next(65532), 0xFFFF);
    EXPECT_EQ(CBlockIds::Short(ids.Next(65533)), 1);
    ids.ChannelOpened();
    EXPECT_EQ(ids.Next(1), 1);
}

TEST(SendPlan, SpreadsPacketsOverMostOfThePeriodAndKeepsThePacketDelay) {
    const std::tuple<uint32_t, int, int, uint32_t, int64_t> rows[] = {{5509, 33333, 0, 55, 4537},
                                                                      {100000, 4000, 0, 64, 30},
                                                                      {3, 1000000, 0, 1, 250000000},
                                                                      {900, 33333, 500, 1, 500000}};
    for (const auto& [packets, periodUs, delayUs, groupPackets, packetNs] : rows) {
        const SendPlan plan = PlanSending(packets, microseconds(periodUs), microseconds(delayUs));
        EXPECT_EQ(plan.m_groupPackets, groupPackets);
        EXPECT_EQ(plan.m_groupInterval.count(), packetNs * groupPackets);
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

void ParseFaults(const std::vector<const char*>& lines, FaultSet* faults) {
    for (const char* const line : lines) {
        std::string error;
        EXPECT_TRUE(ParseFault(line, faults, &error)) << error;
    }
}

// What receivers must not believe. Byte positions are those of extended ids: a header of 20 bytes, 12 of the leader.
TEST(Parts, LieAsTheFaultsSay) {
    CameraFrame frame;
    frame.m_isMultiPart = frame.m_isExtendedId = true;
    frame.m_partCount = 2;
    frame.m_parts = {{kRange, kCoord3dC16, 4, 2, 0, 0, ImageBytes(16)},
                     {kIntensity, kMono8, 4, 2, 0, 0, ImageBytes(8)}};
    FaultSet faults;
    GvspFrame packed;
    const auto leader = [&] {
        PackGvspParts(frame, faults, &packed);
        packed.SetPacketSize(576);
        GvspPacket packet;
        MakeGvspPacket(packed, 0, &packet);
        Bytes bytes(packet.m_head.begin(), packet.m_head.begin() + packet.m_headBytes);
        bytes.insert(bytes.end(), packet.m_data.begin(), packet.m_data.end());
        return bytes;
    };
    const Bytes honest = leader();
    ASSERT_EQ(honest.size(), 32U + 2 * part::kBytes);
    EXPECT_EQ(Get32(&honest[4]), 0x81000002U);
    EXPECT_EQ(Get32(&honest[32 + 4]), 16U);
    EXPECT_EQ(Get32(&honest[32 + 48 + 4]), 8U);
    GvspPacket data;
    MakeGvspPacket(packed, 2, &data);
    EXPECT_EQ(packed.Packets(), 4U) << "no packet has data of two parts";
    EXPECT_EQ(data.m_data.size(), 8U);
    EXPECT_EQ(Get32(&data.m_head[20]), 0x01410000U);
    EXPECT_EQ(Get32(&data.m_head[24]), 16U) << "behind the first";

    ParseFaults({"part_count 255", "part_length 4000000000", "part_format 17301505", "part_shift 5"},
                &faults);
    const Bytes lying = leader();
    EXPECT_EQ(lying.size(), 32U + 255 * part::kBytes);
    EXPECT_EQ(Get32(&lying[4]), 0x810000FFU);
    EXPECT_EQ(Get32(&lying[32 + 254 * 48 + 4]), 4000000000U);
    EXPECT_EQ(Get32(&lying[32 + 8]), kMono8);
    MakeGvspPacket(packed, 2, &data);
    EXPECT_EQ(Get32(&data.m_head[24]), 21U);
}

TEST(Events, CarryNumberBlockTimeAndData) {
    const Bytes payload = EventPayload({kEventExposureEnd, 9, 0x0102030405060708, {1, 2, 3}});
    EXPECT_EQ(payload, (Bytes{0, 0, 0, 4, 0, 0, 0, 9, 1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 0}));
    const Bytes message = GvcpMessage(EGvcpCommand::EventData, 3, Bytes{1, 2, 3, 4});
    EXPECT_EQ(message, (Bytes{0x42, 0, 0, 0xC2, 0, 4, 0, 3, 1, 2, 3, 4}));
}

} // namespace
} // namespace ox3d::test
