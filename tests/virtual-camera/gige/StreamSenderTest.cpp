// The stream channel over loopback: what is sent arrives, and what got lost is sent again when it is asked for.
#include <gtest/gtest.h>
#include <map>
#include <poll.h>

#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/gige/StreamSender.h"

namespace ox3d::test {
namespace {

using namespace ox3d::gige;

constexpr uint32_t kLocal = 0x7F000001;

class GigeStream : public testing::Test {
protected:
    void Open(const CameraConfig& config = FakeConfig()) {
        m_camera = std::make_unique<CFakeCamera>(config);
        m_messages = std::make_unique<CMessageChannel>(*m_camera);
        m_messages->Move(kLocal);
        m_stream = std::make_unique<CStreamSender>(*m_camera, *m_messages);
        m_stream->Move(kLocal);
        ASSERT_TRUE(m_receiver.Open({kLocal, 0}));
        m_camera->SetTransportValue(EFeature::GevSCDA, kLocal);
        m_camera->SetTransportValue(EFeature::GevSCPHostPort, m_receiver.Port());
        m_stream->OnChannelWritten();
        m_stream->Start();
    }
    // The next datagram; empty when none comes for a long time.
    Bytes Receive() {
        pollfd wait{m_receiver.Descriptor(), POLLIN, 0};
        Bytes bytes(20000);
        Endpoint from;
        if (poll(&wait, 1, 10000) <= 0) {
            return {};
        }
        bytes.resize(m_receiver.Receive(bytes, &from).value_or(0));
        return bytes;
    }
    // Packets of frames by block until a trailer comes; headers are cut off.
    std::map<uint32_t, Bytes> ReceiveFrame(uint32_t* blockId) {
        std::map<uint32_t, Bytes> packets;
        for (;;) {
            const Bytes packet = Receive();
            if (packet.size() < 8) {
                ADD_FAILURE() << "no packet came";
                return packets;
            }
            *blockId = Get16(packet.data() + 2);
            packets[Get32(packet.data() + 4) & 0xFFFFFF] = Bytes(packet.begin() + 8, packet.end());
            if (packet[4] == 2) {
                return packets;
            }
        }
    }
    void Acquire(uint32_t frames) {
        m_camera->SetEnumByName("AcquisitionMode", "MultiFrame");
        m_camera->SetInteger("AcquisitionFrameCount", frames);
        m_camera->Execute("AcquisitionStart");
    }

    std::unique_ptr<CFakeCamera> m_camera;
    std::unique_ptr<CMessageChannel> m_messages;
    CUdpSocket m_receiver;
    std::unique_ptr<CStreamSender> m_stream;
};

TEST_F(GigeStream, frames_arrive_whole_and_in_order) {
    Open();
    Acquire(5);
    for (uint32_t number = 1; number <= 5; ++number) {
        uint32_t blockId = 0;
        const auto packets = ReceiveFrame(&blockId);
        EXPECT_EQ(blockId, number);
        ASSERT_EQ(packets.size(), 3U);
        const Bytes& image = packets.at(1); // 8 x 4 pixels of 1000 and the frame's index, little-endian
        ASSERT_EQ(image.size(), 64U);
        EXPECT_EQ(image[62] | image[63] << 8, static_cast<int>(1000 + number - 1));
    }
}

TEST_F(GigeStream, lost_packets_are_sent_again_and_forgotten_ones_refused) {
    Open();
    Acquire(1);
    uint32_t blockId = 0;
    const auto packets = ReceiveFrame(&blockId);
    m_stream->Resend({1, 1, 1});
    const Bytes again = Receive();
    ASSERT_GE(again.size(), 8U);
    EXPECT_EQ(Bytes(again.begin() + 8, again.end()), packets.at(1));
    m_stream->Resend({1, 3, 0xFFFFFF}); // beyond the frame's end
    m_stream->Resend({1, 2, 1});        // the wrong way round
    m_stream->Resend({7, 4, 5});        // of a block that is not known
    for (const uint32_t id : {4U, 5U}) {
        const Bytes refusal = Receive();
        ASSERT_EQ(refusal.size(), 8U);
        EXPECT_EQ(Get32(refusal.data()), 0x80120007U);
        EXPECT_EQ(Get32(refusal.data() + 4) & 0xFFFFFF, id);
    }
}

TEST_F(GigeStream, a_truncated_frame_ends_in_its_middle) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_truncateFrame = 1;
    Open(config);
    Acquire(2);
    uint32_t blockId = 0;
    const Bytes leader = Receive();
    ASSERT_GE(leader.size(), 8U);
    EXPECT_EQ(Get16(leader.data() + 2), 1);
    EXPECT_EQ(ReceiveFrame(&blockId).size(), 3U); // nothing of the first frame is among them
    EXPECT_EQ(blockId, 2U);
}

TEST_F(GigeStream, test_packets_have_the_packet_size) {
    Open();
    m_camera->SetInteger("GevSCPSPacketSize", 3000);
    m_stream->FireTestPacket();
    EXPECT_EQ(Receive().size(), 3000U - 28);
}

TEST_F(GigeStream, exposure_ends_are_told_on_the_message_channel) {
    Open();
    m_camera->SetEnumByName("EventNotification", "On");
    m_camera->SetTransportValue(EFeature::GevSCPHostPort, 0); // images go nowhere
    m_stream->OnChannelWritten();
    m_camera->SetTransportValue(EFeature::GevMCDA, kLocal);
    m_camera->SetTransportValue(EFeature::GevMCPHostPort, m_receiver.Port());
    Acquire(1);
    const Bytes event = Receive();
    ASSERT_EQ(event.size(), 8U + 16);
    EXPECT_EQ(Get32(event.data()), 0x420000C0U);
    EXPECT_EQ(Get16(event.data() + 10), kEventExposureEnd);
    EXPECT_EQ(Get16(event.data() + 14), 1);
}

} // namespace
} // namespace ox3d::test
