// GvcpPacket.h - datagrams of the control protocol: commands are taken apart, acknowledgements are built.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_GVCP_PACKET_H
#define OX3D_VIRTUAL_CAMERA_GIGE_GVCP_PACKET_H

#include "gigevision/Wire.h"

namespace ox3d::gige {

constexpr uint16_t kGvcpPort = 3956;
constexpr uint32_t kGvcpHeaderBytes = 8;
constexpr uint32_t kMostGvcpBytes = 548;   // of a control datagram: nothing on its way may fragment it
constexpr uint32_t kMostMemoryBytes = 536; // of one memory access
constexpr uint32_t kDiscoveryBytes = 0xF8; // of the bootstrap registers
constexpr uint32_t kForceIpBytes = 56;
constexpr uint32_t kPacketResendBytes = 12;

enum class EGvcpCommand : uint16_t {
    Discovery = 0x0002,
    ForceIp = 0x0004,
    PacketResend = 0x0040,
    ReadReg = 0x0080,
    WriteReg = 0x0082,
    ReadMem = 0x0084,
    WriteMem = 0x0086,
    Event = 0x00C0,
    EventData = 0x00C2,
};

enum class EGvcpStatus : uint16_t {
    Success = 0x0000,
    NotImplemented = 0x8001,
    InvalidParameter = 0x8002,
    InvalidAddress = 0x8003,
    WriteProtect = 0x8004,
    BadAlignment = 0x8005,
    AccessDenied = 0x8006,
    InvalidHeader = 0x800E,
    PacketNotYetAvailable = 0x8010,
    PacketRemoved = 0x8012,
    Error = 0x8FFF,
};

struct GvcpCommand {
    uint8_t m_flags = 0;
    uint16_t m_command = 0;
    uint16_t m_requestId = 0;
    ByteView m_payload;

    bool WantsAck() const { return (m_flags & 0x01) != 0; }
    bool MayAckByBroadcast() const { return (m_flags & 0x10) != 0; }
};

enum class EGvcpParse { Ok, Foreign, BadLength };

// Foreign: no control command at all, nothing is known of its sender's intent. BadLength: the header is one,
// and the rest is not what it says.
EGvcpParse ParseGvcp(ByteView datagram, GvcpCommand* command);

// The acknowledgement's code is the command's and one.
Bytes GvcpAck(const GvcpCommand& command, EGvcpStatus status, ByteView payload = {});

// A command that the camera sends itself; it wants no acknowledgement.
Bytes GvcpMessage(EGvcpCommand command, uint16_t requestId, ByteView payload);

} // namespace ox3d::gige

#endif
