// ControlHarness.h - a camera's control channel without a network: packets in, packets out, time by hand.
#ifndef OX3D_TEST_CONTROL_HARNESS_H
#define OX3D_TEST_CONTROL_HARNESS_H

#include <initializer_list>

#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/gige/DeviceControl.h"

namespace ox3d::test {

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

inline Bytes Words(std::initializer_list<uint32_t> words) {
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

} // namespace ox3d::test

#endif
