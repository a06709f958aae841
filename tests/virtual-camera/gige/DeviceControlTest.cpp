// DeviceControlTest.cpp - what an application can get out of a camera's control channel, and what it cannot.
#include <gtest/gtest.h>

#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/gige/DeviceControl.h"

namespace ox3d::test {
namespace {

using namespace ox3d::gige;
using enum EGvcpStatus;
using enum EGvcpCommand;

constexpr Endpoint kClient{0x7F000001, 50000};
constexpr Endpoint kOther{0x7F000001, 50001};
constexpr uint32_t kCcp = 0x0A00;
constexpr uint32_t kHeartbeat = 0x0938;
constexpr uint32_t kPacketDelay = 0x0D08;
constexpr uint32_t kNothing = UINT32_MAX;

Bytes Words(std::initializer_list<uint32_t> words) {
    Bytes bytes;
    for (const uint32_t word : words) {
        bytes.resize(bytes.size() + 4);
        Put32(bytes.data() + bytes.size() - 4, word);
    }
    return bytes;
}

Bytes Command(EGvcpCommand command, uint16_t requestId, const Bytes& payload = {}, uint8_t flags = 1) {
    return GvcpDatagram(0x4200U | flags, static_cast<uint32_t>(command), requestId, payload);
}

EGvcpStatus StatusOf(const Bytes& answer) {
    return answer.empty() ? Error : EGvcpStatus{Get16(answer.data())};
}

Bytes PayloadOf(const Bytes& answer) {
    return answer.empty() ? answer : Bytes(answer.begin() + 8, answer.end());
}

uint32_t AddressOf(EFeature id) {
    return CFeatureMap(ETransport::GigE).Find(id)->m_address;
}

// A camera's control channel with a clock that the test moves; it notes what is asked of the other channels.
struct Device : public CDevicePorts {
    explicit Device(const CameraConfig& config = FakeConfig())
        : m_camera(config), m_control(m_camera, *this) {}
    void OnChannelWritten() override { ++m_channelWrites; }
    void FireTestPacket() override { ++m_testPackets; }
    void Resend(const ResendRequest& request) override { m_resends.push_back(request); }
    void Notify(const CameraEvent& event) override { m_events.push_back(event); }

    Bytes Give(const Bytes& datagram, const Endpoint& from = kClient, bool isBroadcast = false) {
        return m_control.Handle(datagram, from, isBroadcast, m_now);
    }
    Bytes Run(EGvcpCommand command, const Bytes& payload, const Endpoint& from = kClient) {
        return Give(Command(command, ++m_requestId, payload), from);
    }
    uint32_t Read(uint32_t address, const Endpoint& from = kClient) {
        const Bytes value = PayloadOf(Run(ReadReg, Words({address}), from));
        return value.empty() ? kNothing : Get32(value.data());
    }
    EGvcpStatus Write(uint32_t address, uint32_t value, const Endpoint& from = kClient) {
        return StatusOf(Run(WriteReg, Words({address, value}), from));
    }
    void Pass(int ms) {
        m_now += std::chrono::milliseconds(ms);
        m_control.Tick(m_now);
    }

    CFakeCamera m_camera;
    CDeviceControl m_control;
    Time m_now = std::chrono::steady_clock::now();
    uint16_t m_requestId = 0;
    int m_channelWrites = 0;
    int m_testPackets = 0;
    std::vector<ResendRequest> m_resends;
    std::vector<CameraEvent> m_events;
};

TEST(Discovery, IsAnsweredToEverybodyWhereOnlyThatFindsTheSender) {
    Device camera;
    const uint32_t ip = camera.m_camera.Config().m_ip;
    const Endpoint neighbour{ip ^ 2, 40000};
    const Endpoint stranger{ip ^ 0x01000000, 40000};
    const Bytes flagged = Command(EGvcpCommand::Discovery, 1, {}, 0x11);
    EXPECT_EQ(camera.Give(flagged, stranger, true).size(), 256U);
    EXPECT_EQ(camera.m_control.AnswerTo(flagged, neighbour), neighbour);
    EXPECT_EQ(camera.m_control.AnswerTo(flagged, stranger), (Endpoint{0xFFFFFFFF, 40000}));
    for (const Bytes& other : {Command(EGvcpCommand::Discovery, 1), Command(ReadReg, 1, Words({0}), 0x11)}) {
        EXPECT_EQ(camera.m_control.AnswerTo(other, stranger), stranger);
    }
}

TEST(Registers, SeveralAreReadAndWrittenByOneCommand) {
    Device camera;
    camera.Write(kCcp, 2);
    const Bytes written =
        camera.Run(WriteReg, Words({kHeartbeat, 5000, kPacketDelay, 1000, 0x0000, 1, kPacketDelay, 2}));
    EXPECT_EQ(StatusOf(written), WriteProtect);
    EXPECT_EQ(PayloadOf(written), Words({2})) << "so many went well";
    EXPECT_EQ(PayloadOf(camera.Run(ReadReg, Words({kHeartbeat, kPacketDelay, 0x0000, 0x0004, 0x0934}))),
              Words({5000, 1000, 0x00010002, 0x80000001, 0xC000001F}));
    EXPECT_EQ(PayloadOf(camera.Run(WriteMem, Words({kPacketDelay, 7}))), Words({4}));
    EXPECT_EQ(PayloadOf(camera.Run(ReadMem, Words({kPacketDelay, 4}))), Words({kPacketDelay, 7}));
    EXPECT_EQ(PayloadOf(camera.Run(ReadReg, Words({kHeartbeat, 0x00F00000, kPacketDelay}))), Words({5000}));
}

TEST(Registers, MistakesGetTheStatusThatNamesThem) {
    Device camera;
    camera.Write(kCcp, 2);
    const std::tuple<const char*, EGvcpCommand, Bytes, EGvcpStatus> rows[] = {
        {"a register that is not there", ReadReg, Words({0x00F00000}), InvalidAddress},
        {"no register at all", ReadReg, {}, InvalidParameter},
        {"a crooked address", ReadReg, Words({0x0A02}), BadAlignment},
        {"memory beyond an area", ReadMem, Words({0x0FFC, 8}), InvalidAddress},
        {"memory of length 0", ReadMem, Words({0x0000, 0}), InvalidParameter},
        {"memory of half a word", ReadMem, Words({0x0000, 6}), InvalidParameter},
        {"too much memory", ReadMem, Words({0x0000, 540}), InvalidParameter},
        {"as much memory as goes", ReadMem, Words({0x0000, 536}), Success},
        {"an address without a length", ReadMem, Words({0x0000}), InvalidParameter},
        {"an address without a value", WriteReg, Words({kHeartbeat}), InvalidParameter},
        {"a value out of range", WriteReg, Words({kHeartbeat, 1}), InvalidParameter},
        {"a read-only register", WriteReg, Words({0x0024, 1}), WriteProtect},
        {"the description", WriteMem, Words({kXmlArea, 0}), WriteProtect},
        {"memory that is not there", WriteMem, Words({0x00F00000, 0}), InvalidAddress},
        {"half of a number", WriteMem, Words({AddressOf(EFeature::GevMACAddress), 0}), InvalidParameter},
        {"control in passing", WriteMem, Words({0x09FC, 0, 2}), InvalidParameter},
        {"a command that there is not", EGvcpCommand{0x0100}, {}, NotImplemented},
    };
    for (const auto& [what, command, payload, status] : rows) {
        EXPECT_EQ(StatusOf(camera.Run(command, payload)), status) << what;
    }
}

TEST(Control, BelongsToOneApplicationAndTheOthersMayLook) {
    Device camera;
    EXPECT_EQ(camera.Write(kHeartbeat, 1000), AccessDenied); // nobody has control yet
    EXPECT_EQ(camera.Write(kCcp, 0), Success);
    EXPECT_EQ(camera.Write(kCcp, 2), Success);
    for (const uint32_t access : {2U, 0U}) {
        EXPECT_EQ(camera.Write(kCcp, access, kOther), AccessDenied);
    }
    EXPECT_EQ(camera.Write(kHeartbeat, 1000, kOther), AccessDenied);
    EXPECT_NE(camera.Read(kHeartbeat, kOther), kNothing);
    EXPECT_EQ(camera.Read(kCcp, kOther), 2U);
    EXPECT_EQ(camera.Write(kCcp, 3), Success); // now exclusively, which wins
    EXPECT_EQ(StatusOf(camera.Run(ReadReg, Words({kHeartbeat}), kOther)), AccessDenied);
    EXPECT_EQ(StatusOf(camera.Run(ReadMem, Words({0, 4}), kOther)), AccessDenied);
    EXPECT_EQ(camera.Read(kCcp, kOther), 1U);
    EXPECT_EQ(camera.Write(kCcp, 0), Success);
    EXPECT_EQ(camera.Write(kCcp, 2, kOther), Success);
}

TEST(Control, EndsWithTheHeartbeatAndTakesStreamAndAcquisitionAlong) {
    Device camera;
    camera.Write(kCcp, 2);
    camera.Write(kHeartbeat, 1000);
    for (const uint32_t channel : {0x0B00U, 0x0B10U, 0x0D00U, 0x0D18U}) {
        camera.Write(channel, 40000);
    }
    camera.Write(AddressOf(EFeature::AcquisitionStart), 1);
    camera.Pass(900);
    EXPECT_EQ(camera.Read(kCcp), 2U); // every command is a heartbeat
    camera.Read(kCcp, kOther);        // that of others is not
    camera.Pass(900);
    EXPECT_EQ(camera.Read(kCcp, kOther), 2U);
    camera.Pass(200);
    const Bytes all = Words({kCcp, 0x0B00, 0x0B10, 0x0D00, 0x0D18, AddressOf(EFeature::AcquisitionActive)});
    EXPECT_EQ(PayloadOf(camera.Run(ReadReg, all, kOther)), Words({0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(camera.m_channelWrites, 3); // port, address, closed
    EXPECT_EQ(camera.Write(kHeartbeat, 1000), AccessDenied);
}

TEST(Control, RunsACommandOnceThatComesTwice) {
    Device camera;
    camera.Write(kCcp, 2);
    const Bytes fire = Command(WriteReg, 900, Words({0x0D04, 0xC0000000 | 2000}));
    EXPECT_EQ(StatusOf(camera.Give(fire)), Success);
    EXPECT_EQ(camera.Give(fire), GvcpDatagram(0, 0x0083, 900, Words({1})));
    EXPECT_EQ(camera.m_testPackets, 1);
    camera.Write(kCcp, 0);
    EXPECT_EQ(StatusOf(camera.Give(fire)), AccessDenied) << "an answer lives no longer than control";
}

TEST(Resend, IsAskedForByTheReceiverAloneAndNeverAcknowledged) {
    Device camera;
    camera.Write(kCcp, 2);
    const Endpoint stream{kClient.m_ip, 61000};
    EXPECT_TRUE(camera.Run(PacketResend, Words({5, 0xFF000002, 7}), stream).empty());
    EXPECT_TRUE(camera.Run(PacketResend, Words({5, 2, 7}), {0x7F000063, 61000}).empty());
    EXPECT_TRUE(camera.Run(PacketResend, Words({5, 2}), stream).empty());
    ASSERT_EQ(camera.m_resends.size(), 1U);
    EXPECT_EQ(camera.m_resends[0].m_blockId, 5U);
    EXPECT_EQ(camera.m_resends[0].m_firstPacket, 2U);
    EXPECT_EQ(camera.m_resends[0].m_lastPacket, 7U);
    camera.Run(PacketResend, Words({0, 0x01000002, 0x01000007, 1, 5}), stream); // extended ids
    ASSERT_EQ(camera.m_resends.size(), 2U);
    EXPECT_EQ(camera.m_resends[1].m_blockId, 0x100000005U);
    EXPECT_EQ(camera.m_resends[1].m_firstPacket, 0x01000002U);
}

TEST(ForceIp, MovesTheCameraWhoseHardwareAddressItNames) {
    Device camera;
    const auto force = [&](uint32_t mac, uint32_t ip, uint32_t mask, const Endpoint& from = kClient) {
        const Bytes payload = Words({0x0200, mac, 0, 0, 0, ip, 0, 0, 0, mask, 0, 0, 0, 0});
        return camera.Give(Command(EGvcpCommand::ForceIp, ++camera.m_requestId, payload), from, true);
    };
    EXPECT_TRUE(force(9, 0x7F000009, 0xFF000000).empty());
    EXPECT_EQ(StatusOf(force(1, 0x7F000009, 0xFF00FF00)), InvalidParameter);
    EXPECT_EQ(StatusOf(force(1, 0x7F000009, 0xFF000000)), Success);
    EXPECT_EQ(camera.m_camera.Identity().m_ip, 0x7F000009U);
    camera.Write(kCcp, 2);
    EXPECT_EQ(StatusOf(force(1, 0x7F00000A, 0xFF000000, kOther)), AccessDenied);
}

TEST(Restart, IsAnnouncedEndsControlAndLeavesTheCameraDarkForAWhile) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_replugAfterMs = 600000;
    Device camera(config);
    camera.Write(kCcp, 2);
    camera.Write(AddressOf(EFeature::EventNotification) + 8, 1);
    EXPECT_EQ(camera.Write(AddressOf(EFeature::DeviceReset), 1), Success);
    ASSERT_EQ(camera.m_events.size(), 1U);
    EXPECT_EQ(camera.m_events[0].m_id, kEventDeviceLost);
    EXPECT_EQ(camera.Read(kCcp), kNothing);
    EXPECT_TRUE(camera.m_control.IsDark(camera.m_now));
}

TEST(Faults, CountFromTheFirstTakingOfControl) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_silentAfterMs = 2000;
    config.m_faults.m_silentForMs = 5000;
    config.m_faults.m_rebootAfterMs = 9000;
    Device camera(config);
    camera.Pass(10000);
    EXPECT_EQ(camera.Read(kCcp), 0U);
    camera.Write(kCcp, 2);
    camera.Pass(2100);
    EXPECT_EQ(camera.Read(kCcp), kNothing);
    camera.Pass(5000);
    EXPECT_EQ(camera.Read(kCcp), 0U); // the heartbeat ran out meanwhile
    const uint32_t plugs = camera.m_camera.PlugCount();
    camera.Pass(2000);
    camera.Pass(2000);
    EXPECT_EQ(camera.m_camera.PlugCount(), plugs + 1); // once
}

TEST(Temperature, IsToldEverySecondToThoseWhoAsk) {
    Device camera;
    camera.Pass(5000);
    camera.Write(kCcp, 2);
    camera.Write(AddressOf(EFeature::EventNotification) + 4, 1);
    for (int i = 0; i < 4; ++i) {
        camera.Pass(500);
    }
    EXPECT_EQ(camera.m_events.size(), 2U);
}

TEST(Datagrams, ThatAreNoCommandsArePassedOver) {
    Device camera;
    const Bytes read = Command(ReadReg, 3, Words({kCcp}));
    const Bytes wrongKey = GvcpDatagram(0x4101, 0x0080, 3, Words({kCcp}));
    const Bytes acknowledgement = Command(EGvcpCommand{0x0081}, 3, Words({kCcp}));
    const Bytes noId = Command(ReadReg, 0, Words({kCcp}));
    const Bytes noAnswerWanted = Command(ReadReg, 4, Words({kCcp}), 0);
    for (const Bytes& datagram : {Bytes(), wrongKey, acknowledgement, noId, noAnswerWanted, Bytes(7, 0x42)}) {
        EXPECT_TRUE(camera.Give(datagram).empty());
    }
    EXPECT_EQ(StatusOf(camera.Give(Bytes(read.begin(), read.end() - 4))), InvalidHeader);
    EXPECT_TRUE(camera.Give(Command(WriteReg, 5, Words({kCcp, 2})), kClient, true).empty());
    EXPECT_EQ(camera.Read(kCcp), 0U) << "a broadcast does not take control";
}

} // namespace
} // namespace ox3d::test
