// GvcpServer.cpp - the control channel of the network camera: a sequence of datagrams from several senders, and the
// stream packets that requests ask for. No socket is opened.
#include <memory>
#include <vector>

#include "fuzz/Input.h"
#include "fuzz/Renewed.h"
#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/gige/DeviceControl.h"
#include "virtual-camera/gige/GvspFrame.h"

namespace {

using namespace ox3d;
using namespace ox3d::fuzz;
using namespace ox3d::gige;

constexpr int kMaxDatagrams = 24;
constexpr size_t kMaxDatagramBytes = 600;

// A frame that has been sent, in packets of a size that the application chose.
class CSentFrame {
public:
    CSentFrame() {
        FrameImages images;
        test::CFakeSource(1).Render(0, true, true, &images);
        const FrameContent content = {.m_isChunked = true, .m_hasColor = true, .m_hasGreyPair = true};
        OX3D_FUZZ_EXPECT(PackFrame(images, content, &m_images));
    }
    void MakePackets(uint32_t dataBytes, uint32_t claimedChunkLengthBytes, uint32_t first, uint32_t last) {
        GvspFrame frame;
        PackGvspFrame(m_images, claimedChunkLengthBytes, &frame);
        frame.m_dataBytes = dataBytes;
        size_t bytes = 0;
        for (uint32_t id = first; id <= last && id < frame.Packets(); ++id) {
            GvspPacket packet;
            MakeGvspPacket(frame, id, &packet);
            OX3D_FUZZ_EXPECT(packet.m_headBytes <= packet.m_head.size());
            OX3D_FUZZ_EXPECT(packet.m_data.size() <= dataBytes);
            bytes += packet.m_data.size();
        }
        OX3D_FUZZ_EXPECT(bytes <= frame.m_payload.size());
    }

private:
    CameraFrame m_images;
};

class CPorts : public CDevicePorts {
public:
    explicit CPorts(CCameraModel& model) : m_model(model) {}
    void OnChannelWritten() override {}
    void FireTestPacket() override { MakeGvspTestPacket(PacketBytes()); }
    void Resend(const ResendRequest& request) override {
        static CSentFrame s_frame;
        s_frame.MakePackets(PacketBytes() - kPacketOverheadBytes, request.m_blockId % 8 == 7 ? 99 : kNoFault,
                            request.m_firstPacket, request.m_lastPacket);
        GvspPacket packet;
        MakeGvspRefusal(request.m_blockId, request.m_isExtendedId, request.m_firstPacket, 0, &packet);
    }
    void Notify(const CameraEvent&) override {}

private:
    uint32_t PacketBytes() const {
        return static_cast<uint32_t>(m_model.TransportValue(EFeature::GevSCPSPacketSize));
    }
    CCameraModel& m_model;
};

// A datagram as it comes, or one whose header is right, so that its command is reached.
std::vector<uint8_t> TakeDatagram(CInput& input) {
    const auto bits = input.Take<uint8_t>();
    const size_t length = (bits & 0x80) != 0 ? input.Take<uint16_t>() % kMaxDatagramBytes : (bits & 0x3C);
    const auto bytes = input.Bytes(length);
    if ((bits & 3) == 0) {
        return {bytes.begin(), bytes.end()};
    }
    constexpr EGvcpCommand kCommands[] = {
        EGvcpCommand::Discovery, EGvcpCommand::ForceIp, EGvcpCommand::PacketResend, EGvcpCommand::ReadReg,
        EGvcpCommand::WriteReg,  EGvcpCommand::ReadMem, EGvcpCommand::WriteMem,     EGvcpCommand::WriteReg};
    const auto command = static_cast<uint32_t>(kCommands[input.Take<uint8_t>() % std::size(kCommands)]);
    return GvcpDatagram(uint32_t{kCommandKey} << 8 | kAckRequired, command, 1 + input.Take<uint8_t>(), bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    CameraConfig config = test::FakeConfig();
    config.m_faults.m_isXmlBroken = 1;
    static CRenewed<test::CFakeCamera> s_cameras[2];
    CCameraModel& camera = input.Flag() ? s_cameras[1].Get(config) : s_cameras[0].Get(test::FakeConfig());
    CPorts ports(camera);
    CDeviceControl control(camera, ports);
    Time now{};
    camera.PowerUp();
    for (int i = 0; i < kMaxDatagrams && input.Left() > 0; ++i) {
        const auto sender = input.Take<uint8_t>();
        // Now and then longer than a heartbeat.
        now += std::chrono::milliseconds(sender >= 0xF0 ? 4000 : 10);
        const Endpoint from = {0xC0A8010Au + (sender & 1), static_cast<uint16_t>(5000 + (sender >> 1 & 1))};
        const bool isBroadcast = (sender & 0x0C) == 0x0C;
        const std::vector<uint8_t> datagram = TakeDatagram(input);
        const Bytes answer = control.Handle(datagram, from, isBroadcast, now);
        if (!answer.empty()) {
            OX3D_FUZZ_EXPECT(answer.size() >= kGvcpHeaderBytes && answer.size() <= kMaxGvcpBytes);
            OX3D_FUZZ_EXPECT(answer.size() == kGvcpHeaderBytes + size_t{Get16(answer.data() + 4)});
        }
        control.AnswerTo(datagram, from);
    }
    return 0;
}
