// DeviceControlTest.cpp - what an application can get out of a camera's control channel, and what it cannot.
#include <gmock/gmock.h>
#include <random>

#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/gige/DeviceControl.h"

namespace ox3d::test {
namespace {

using namespace ox3d::gige;

constexpr Endpoint kClient{0x7F000001, 50000};
constexpr Endpoint kOther{0x7F000001, 50001};
constexpr uint32_t kCcp = 0x0A00;
constexpr uint32_t kHeartbeat = 0x0938;

class CFakePorts : public CDevicePorts {
public:
    void OnChannelWritten() override { ++m_channelWrites; }
    void FireTestPacket() override { ++m_testPackets; }
    void Resend(const ResendRequest& request) override { m_resends.push_back(request); }
    void Notify(const CameraEvent& event) override { m_events.push_back(event); }

    int m_channelWrites = 0;
    int m_testPackets = 0;
    std::vector<ResendRequest> m_resends;
    std::vector<CameraEvent> m_events;
};

struct Answer {
    bool m_exists = false;
    EGvcpStatus m_status = EGvcpStatus::Success;
    uint16_t m_command = 0;
    uint16_t m_requestId = 0;
    Bytes m_payload;

    uint32_t Word(size_t index) const { return Get32(m_payload.data() + 4 * index); }
};

Bytes Words(std::initializer_list<uint32_t> words) {
    Bytes bytes;
    for (const uint32_t word : words) {
        bytes.resize(bytes.size() + 4);
        Put32(bytes.data() + bytes.size() - 4, word);
    }
    return bytes;
}

class CControlHarness {
public:
    explicit CControlHarness(const CameraConfig& config = FakeConfig())
        : m_camera(config), m_control(m_camera, m_ports) {}

    static Bytes Command(uint16_t command, uint16_t requestId, const Bytes& payload, uint8_t flags = 1) {
        Bytes bytes(8 + payload.size());
        bytes[0] = 0x42;
        bytes[1] = flags;
        Put16(bytes.data() + 2, command);
        Put16(bytes.data() + 4, static_cast<uint32_t>(payload.size()));
        Put16(bytes.data() + 6, requestId);
        std::copy(payload.begin(), payload.end(), bytes.begin() + 8);
        return bytes;
    }
    Answer Give(const Bytes& datagram, const Endpoint& from = kClient, bool isBroadcast = false) {
        const Bytes bytes = m_control.Handle(datagram, from, isBroadcast, m_now);
        if (bytes.empty()) {
            return {};
        }
        EXPECT_GE(bytes.size(), 8U);
        EXPECT_EQ(Get16(bytes.data() + 4), bytes.size() - 8);
        return {true, static_cast<EGvcpStatus>(Get16(bytes.data())), Get16(bytes.data() + 2),
                Get16(bytes.data() + 6), Bytes(bytes.begin() + 8, bytes.end())};
    }
    Answer Run(EGvcpCommand command, const Bytes& payload, const Endpoint& from = kClient) {
        return Give(Command(static_cast<uint16_t>(command), ++m_requestId, payload), from);
    }
    Answer Read(uint32_t address, const Endpoint& from = kClient) {
        return Run(EGvcpCommand::ReadReg, Words({address}), from);
    }
    EGvcpStatus Write(uint32_t address, uint32_t value, const Endpoint& from = kClient) {
        return Run(EGvcpCommand::WriteReg, Words({address, value}), from).m_status;
    }
    EGvcpStatus TakeControl(uint32_t access = 2, const Endpoint& from = kClient) {
        return Write(kCcp, access, from);
    }
    void Pass(int ms) {
        m_now += std::chrono::milliseconds(ms);
        m_control.Tick(m_now);
    }

    CFakeCamera m_camera;
    CFakePorts m_ports;
    CDeviceControl m_control;
    Time m_now = std::chrono::steady_clock::now();
    uint16_t m_requestId = 0;
};

using enum EGvcpStatus;
using enum EGvcpCommand;

uint32_t AddressOf(EFeature id) {
    return CFeatureMap(ETransport::GigE).Find(id)->m_address;
}

TEST(Discovery, TellsWhoTheCameraIs) {
    CControlHarness camera;
    for (const bool isBroadcast : {true, false}) {
        const Answer answer =
            camera.Give(CControlHarness::Command(0x0002, 7, {}, 0x11), kClient, isBroadcast);
        EXPECT_EQ(answer.m_command, 0x0003);
        EXPECT_EQ(answer.m_requestId, 7);
        ASSERT_EQ(answer.m_payload.size(), 0xF8U);
        EXPECT_EQ(Get32(answer.m_payload.data() + 0x24), camera.m_camera.Config().m_ip);
        EXPECT_STREQ(reinterpret_cast<const char*>(answer.m_payload.data() + 0xD8), "VC00000001");
    }
}

TEST(Discovery, IsAnsweredToEverybodyWhereOnlyThatFindsTheSender) {
    CControlHarness camera;
    const uint32_t ip = camera.m_camera.Config().m_ip;
    const Endpoint neighbour{ip ^ 2, 40000};
    const Endpoint stranger{ip ^ 0x01000000, 40000};
    const Bytes plain = CControlHarness::Command(0x0002, 1, {}, 0x01);
    const Bytes flagged = CControlHarness::Command(0x0002, 1, {}, 0x11);
    EXPECT_EQ(camera.m_control.AnswerTo(flagged, neighbour), neighbour);
    EXPECT_EQ(camera.m_control.AnswerTo(plain, stranger), stranger);
    EXPECT_EQ(camera.m_control.AnswerTo(flagged, stranger), (Endpoint{0xFFFFFFFF, 40000}));
    const Bytes read = CControlHarness::Command(0x0080, 1, Words({kCcp}), 0x11);
    EXPECT_EQ(camera.m_control.AnswerTo(read, stranger), stranger);
}

TEST(Registers, SeveralAreReadAndWrittenByOneCommand) {
    CControlHarness camera;
    camera.TakeControl();
    const Answer written =
        camera.Run(WriteReg, Words({kHeartbeat, 5000, 0x0D08, 1000, 0x0000, 1, 0x0D08, 2}));
    EXPECT_EQ(written.m_status, WriteProtect);
    EXPECT_EQ(written.Word(0), 2U); // two went well
    const Answer read = camera.Run(ReadReg, Words({kHeartbeat, 0x0D08, 0x0000}));
    EXPECT_EQ(read.m_status, Success);
    EXPECT_EQ(read.m_payload, Words({5000, 1000, 0x00010002}));
    EXPECT_EQ(camera.Run(ReadReg, Words({kHeartbeat, 0x00F00000, 0x0D08})).m_payload, Words({5000}));
}

TEST(Registers, MistakesGetTheStatusThatNamesThem) {
    CControlHarness camera;
    camera.TakeControl();
    const struct {
        const char* m_what;
        EGvcpCommand m_command;
        Bytes m_payload;
        EGvcpStatus m_status;
    } table[] = {
        {"a register that is not there", ReadReg, Words({0x00F00000}), InvalidAddress},
        {"no register at all", ReadReg, {}, InvalidParameter},
        {"a crooked address", ReadReg, Words({0x0A02}), BadAlignment},
        {"memory beyond an area", ReadMem, Words({0x0FFC, 8}), InvalidAddress},
        {"memory of length 0", ReadMem, Words({0x0000, 0}), InvalidParameter},
        {"memory of half a word", ReadMem, Words({0x0000, 6}), InvalidParameter},
        {"too much memory", ReadMem, Words({0x0000, 540}), InvalidParameter},
        {"an address without a length", ReadMem, Words({0x0000}), InvalidParameter},
        {"an address without a value", WriteReg, Words({kHeartbeat}), InvalidParameter},
        {"a value out of range", WriteReg, Words({kHeartbeat, 1}), InvalidParameter},
        {"a read-only register", WriteReg, Words({0x0024, 1}), WriteProtect},
        {"the description", WriteMem, Words({kXmlArea, 0}), WriteProtect},
        {"memory that is not there", WriteMem, Words({0x00F00000, 0}), InvalidAddress},
        {"half of a number", WriteMem, Words({AddressOf(EFeature::GevMACAddress), 0}), InvalidParameter},
        {"control in passing", WriteMem, Words({0x09FC, 0, 2}), InvalidParameter},
        {"a command that there is not", static_cast<EGvcpCommand>(0x0100), {}, NotImplemented},
    };
    for (const auto& row : table) {
        EXPECT_EQ(camera.Run(row.m_command, row.m_payload).m_status, row.m_status) << row.m_what;
    }
}

TEST(Control, BelongsToOneApplicationAndTheOthersMayLook) {
    CControlHarness camera;
    EXPECT_EQ(camera.Write(kHeartbeat, 1000), AccessDenied); // nobody has control yet
    EXPECT_EQ(camera.TakeControl(2), Success);
    EXPECT_EQ(camera.TakeControl(2, kOther), AccessDenied);
    EXPECT_EQ(camera.Write(kHeartbeat, 1000, kOther), AccessDenied);
    EXPECT_EQ(camera.Write(kCcp, 0, kOther), AccessDenied);
    EXPECT_EQ(camera.Read(kHeartbeat, kOther).m_status, Success);
    EXPECT_EQ(camera.Read(kCcp, kOther).Word(0), 2U);

    EXPECT_EQ(camera.TakeControl(1), Success); // now exclusively
    EXPECT_EQ(camera.Read(kHeartbeat, kOther).m_status, AccessDenied);
    EXPECT_EQ(camera.Run(ReadMem, Words({0, 4}), kOther).m_status, AccessDenied);
    EXPECT_EQ(camera.Read(kCcp, kOther).Word(0), 1U);

    EXPECT_EQ(camera.Write(kCcp, 0), Success);
    EXPECT_EQ(camera.TakeControl(2, kOther), Success);
}

TEST(Control, EndsWithTheHeartbeatAndTakesStreamAndAcquisitionAlong) {
    CControlHarness camera;
    camera.TakeControl();
    camera.Write(kHeartbeat, 1000);
    camera.Write(0x0D00, 40000);
    camera.Write(AddressOf(EFeature::AcquisitionStart), 1);
    camera.Pass(900);
    EXPECT_EQ(camera.Read(kCcp).Word(0), 2U); // every command is a heartbeat
    camera.Read(kCcp, kOther);                // that of others is not
    camera.Pass(900);
    EXPECT_EQ(camera.Read(kCcp, kOther).Word(0), 2U);
    camera.Pass(200);
    const Answer after =
        camera.Run(ReadReg, Words({kCcp, 0x0D00, AddressOf(EFeature::AcquisitionActive)}), kOther);
    EXPECT_EQ(after.m_payload, Words({0, 0, 0}));
    EXPECT_EQ(camera.m_ports.m_channelWrites, 2); // opened, closed
    EXPECT_EQ(camera.Write(kHeartbeat, 1000), AccessDenied);
}

TEST(Control, RunsACommandOnceThatComesTwice) {
    CControlHarness camera;
    camera.TakeControl();
    const Bytes fire = CControlHarness::Command(0x0082, 900, Words({0x0D04, 0xC0000000 | 2000}));
    const Answer first = camera.Give(fire);
    const Answer second = camera.Give(fire);
    EXPECT_EQ(first.m_status, Success);
    EXPECT_EQ(second.m_requestId, 900);
    EXPECT_EQ(second.m_payload, first.m_payload);
    EXPECT_EQ(camera.m_ports.m_testPackets, 1);
    EXPECT_EQ(camera.Read(0x0D04).Word(0) & 0xFFFF, 2000U);
    camera.Give(fire);
    camera.Write(kCcp, 0);
    EXPECT_EQ(camera.Give(fire).m_status, AccessDenied) << "an answer lives no longer than control";
}

TEST(Resend, IsAskedForByTheReceiverAloneAndNeverAcknowledged) {
    CControlHarness camera;
    camera.TakeControl();
    const Endpoint stream{kClient.m_ip, 61000};
    EXPECT_FALSE(camera.Run(PacketResend, Words({5, 0xFF000002, 7}), stream).m_exists);
    EXPECT_FALSE(camera.Run(PacketResend, Words({5, 2, 7}), {0x7F000063, 61000}).m_exists);
    EXPECT_FALSE(camera.Run(PacketResend, Words({5, 2}), stream).m_exists);
    ASSERT_EQ(camera.m_ports.m_resends.size(), 1U);
    EXPECT_EQ(camera.m_ports.m_resends[0].m_blockId, 5);
    EXPECT_EQ(camera.m_ports.m_resends[0].m_firstPacket, 2U);
    EXPECT_EQ(camera.m_ports.m_resends[0].m_lastPacket, 7U);
}

Bytes ForcedAddress(uint32_t macLow, uint32_t ip, uint32_t mask) {
    return Words({0x0200, macLow, 0, 0, 0, ip, 0, 0, 0, mask, 0, 0, 0, 0});
}

TEST(ForceIp, MovesTheCameraWhoseHardwareAddressItNames) {
    CControlHarness camera;
    const auto force = [&](const Bytes& payload, const Endpoint& from = kClient) {
        return camera.Give(CControlHarness::Command(0x0004, ++camera.m_requestId, payload), from, true);
    };
    EXPECT_FALSE(force(ForcedAddress(9, 0x7F000009, 0xFF000000)).m_exists);
    EXPECT_EQ(force(ForcedAddress(1, 0x7F000009, 0xFF00FF00)).m_status, InvalidParameter);
    EXPECT_EQ(force(ForcedAddress(1, 0x7F000009, 0xFF000000)).m_status, Success);
    EXPECT_EQ(camera.m_camera.Identity().m_ip, 0x7F000009U);
    camera.TakeControl();
    EXPECT_EQ(force(ForcedAddress(1, 0x7F00000A, 0xFF000000), kOther).m_status, AccessDenied);
}

TEST(Restart, IsAnnouncedEndsControlAndLeavesTheCameraDarkForAWhile) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_replugAfterMs = 600000;
    CControlHarness camera(config);
    camera.TakeControl();
    camera.Write(AddressOf(EFeature::EventSelector), 2);
    camera.Write(AddressOf(EFeature::EventNotification) + 8, 1);
    EXPECT_EQ(camera.Write(AddressOf(EFeature::DeviceReset), 1), Success);
    ASSERT_EQ(camera.m_ports.m_events.size(), 1U);
    EXPECT_EQ(camera.m_ports.m_events[0].m_id, kEventDeviceLost);
    EXPECT_FALSE(camera.Read(kCcp).m_exists);
    EXPECT_TRUE(camera.m_control.IsDark(camera.m_now));
}

TEST(Faults, CountFromTheFirstTakingOfControl) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_silentAfterMs = 2000;
    config.m_faults.m_silentForMs = 5000;
    config.m_faults.m_rebootAfterMs = 9000;
    CControlHarness camera(config);
    camera.Pass(10000);
    EXPECT_TRUE(camera.Read(kCcp).m_exists);
    camera.TakeControl();
    camera.Pass(2100);
    EXPECT_FALSE(camera.Read(kCcp).m_exists);
    camera.Pass(5000);
    EXPECT_EQ(camera.Read(kCcp).Word(0), 0U); // the heartbeat ran out meanwhile
    const uint32_t plugs = camera.m_camera.PlugCount();
    camera.Pass(2000);
    camera.Pass(2000);
    EXPECT_EQ(camera.m_camera.PlugCount(), plugs + 1); // once
}

TEST(Temperature, IsToldEverySecondToThoseWhoAsk) {
    CControlHarness camera;
    camera.Pass(5000);
    camera.TakeControl();
    camera.Write(AddressOf(EFeature::EventSelector), 1);
    camera.Write(AddressOf(EFeature::EventNotification) + 4, 1);
    for (int i = 0; i < 4; ++i) {
        camera.Pass(500);
    }
    EXPECT_EQ(camera.m_ports.m_events.size(), 2U);
}

TEST(Datagrams, ThatAreNoCommandsArePassedOver) {
    CControlHarness camera;
    const Bytes read = CControlHarness::Command(0x0080, 3, Words({kCcp}));
    Bytes wrongKey = read;
    wrongKey[0] = 0x41;
    Bytes acknowledgement = read;
    acknowledgement[3] = 0x81;
    Bytes noId = read;
    noId[7] = 0;
    for (const Bytes& datagram : {Bytes(), wrongKey, acknowledgement, noId, Bytes(7, 0x42)}) {
        EXPECT_FALSE(camera.Give(datagram).m_exists);
    }
    EXPECT_EQ(camera.Give(Bytes(read.begin(), read.end() - 4)).m_status, InvalidHeader);
    EXPECT_FALSE(
        camera.Give(CControlHarness::Command(0x0080, 4, Words({kCcp}), 0)).m_exists); // no ack wanted
    EXPECT_FALSE(camera.Give(CControlHarness::Command(0x0082, 5, Words({kCcp, 2})), kClient, true).m_exists);
    EXPECT_EQ(camera.Read(kCcp).Word(0), 0U) << "a broadcast does not take control";
}

// Runs under the sanitizers, too.
TEST(Datagrams, OfAnyContentAndLengthDoNoHarm) {
    CControlHarness camera;
    camera.TakeControl();
    std::mt19937 dice(4);
    const uint16_t commands[] = {0x0002, 0x0004, 0x0040, 0x0080, 0x0082, 0x0084, 0x0086};
    const uint32_t places[] = {0, 0x0A00, 0x0D00, kFeatureArea, kFileBuffer, kXmlArea, 0xFFFFFF00};
    for (int i = 0; i < 50000; ++i) {
        Bytes payload(dice() % 140 * 4);
        std::generate(payload.begin(), payload.end(), [&] { return static_cast<uint8_t>(dice()); });
        if (payload.size() >= 8) {
            Put32(payload.data(), places[dice() % 7] + dice() % 80 * 4);
        }
        Bytes datagram =
            CControlHarness::Command(commands[dice() % 7], static_cast<uint16_t>(dice()), payload);
        if (dice() % 4 == 0) {
            datagram.resize(dice() % (datagram.size() + 1));
        } else if (dice() % 4 == 0) {
            datagram[dice() % datagram.size()] = static_cast<uint8_t>(dice());
        }
        camera.Give(datagram, dice() % 2 == 0 ? kClient : kOther, dice() % 8 == 0);
        if (i % 100 == 0) {
            camera.TakeControl();
        }
    }
    camera.Pass(70000);
    EXPECT_EQ(camera.TakeControl(2, kOther), Success);
}

} // namespace
} // namespace ox3d::test
