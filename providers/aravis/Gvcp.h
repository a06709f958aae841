// Gvcp.h - packets of the GigE Vision control protocol: written and read here, sent elsewhere. Everything is
// big-endian; what comes in is not trusted.
#ifndef OX3D_ARAVIS_GVCP_H
#define OX3D_ARAVIS_GVCP_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include <ox3drgbd/OxCameraControl.h>

namespace ox3d::gvcp {

constexpr uint16_t kPort = 3956;
constexpr size_t kHeaderBytes = 8;
constexpr size_t kMostPacketBytes = 576;

enum ECommand : uint16_t {
    kDiscovery = 0x0002,
    kForceIp = 0x0004,
    kReadRegister = 0x0080,
    kWriteRegister = 0x0082,
    kPending = 0x0089, // an acknowledge: the real one comes later
    kEvent = 0x00C0,
    kEventData = 0x00C2
};

constexpr uint8_t kAckRequired = 0x01;
constexpr uint8_t kBroadcastAck = 0x10; // of a discovery: the answer may be a broadcast

// Registers.
constexpr uint32_t kIpModeRegister = 0x0014;
constexpr uint32_t kPersistentIpRegister = 0x064C;
constexpr uint32_t kPersistentMaskRegister = 0x065C;
constexpr uint32_t kPersistentGatewayRegister = 0x066C;
constexpr uint32_t kMessageChannelsRegister = 0x0900;
constexpr uint32_t kControlRegister = 0x0A00;
constexpr uint32_t kMessagePortRegister = 0x0B00;
constexpr uint32_t kMessageAddressRegister = 0x0B10;
constexpr uint32_t kMessageTimeoutRegister = 0x0B14;
constexpr uint32_t kMessageRetriesRegister = 0x0B18;

constexpr uint32_t kControlExclusive = 0x01;
constexpr uint32_t kControlHeld = 0x02;

// Status words of acknowledges.
constexpr uint16_t kSuccess = 0x0000;
constexpr uint16_t kAccessDenied = 0x8006;

using Packet = std::vector<uint8_t>;
using Bytes = std::span<const uint8_t>;

uint16_t Read16(Bytes bytes, size_t offset); // the caller has checked the bounds
uint32_t Read32(Bytes bytes, size_t offset);

Packet Command(uint16_t command, uint8_t flags, uint16_t requestId, Bytes payload);
Packet ReadRegisterCommand(uint16_t requestId, uint32_t address);
Packet WriteRegisterCommand(uint16_t requestId, uint32_t address, uint32_t value);
Packet DiscoveryCommand(uint16_t requestId);
Packet ForceIpCommand(uint16_t requestId, uint64_t mac, uint32_t ip, uint32_t mask, uint32_t gateway);
Packet Acknowledge(uint16_t command, uint16_t requestId);

struct Ack {
    uint16_t m_status;
    uint16_t m_command;
    uint16_t m_requestId;
    Bytes m_payload; // of the packet it was read from
};
std::optional<Ack> ReadAck(Bytes packet);

// A camera as it describes itself; the host's address is left to the caller. Nothing when the payload is
// shorter than a description or has an unusable address.
std::optional<OX_CC_DEVICE_INFO> ReadDiscovery(Bytes payload);
uint64_t MacOf(const OX_CC_DEVICE_INFO& record);

struct Event {
    uint16_t m_id;
    uint16_t m_streamChannel;
    uint16_t m_blockId;
    uint64_t m_timestamp;
    Bytes m_data; // of the packet it was read from
};
struct EventCommand {
    uint16_t m_command;
    uint16_t m_requestId;
    bool m_isAckWanted;
    std::vector<Event> m_events;
};
std::optional<EventCommand> ReadEvents(Bytes packet);

} // namespace ox3d::gvcp

#endif
